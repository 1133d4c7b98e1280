// The common shapes of the hottest statements, done in registers: ADD A
// TO B on equal-size packed items of one sign, and a comparison of equal-
// size packed items of one sign.  Each applies only where its result is
// the general path's (every nibble a digit, signs alike); anything else
// returns false and goes the general way.
#pragma once

#include <cstring>
#include <type_traits>

#include "decimal/decimal.h"
#include "decimal/dispatch.h"
#include "decimal/words.h"

namespace bcd {

template <int N>
using WordFor = std::conditional_t<(N <= 8), uint64_t, u128>;

// N bytes as a big-endian number at the top of the word, and back.
template <int N>
[[gnu::always_inline]] inline WordFor<N> loadTop(const uint8_t* p) {
    WordFor<N> v = 0;
    memcpy(&v, p, N);
    if constexpr (N <= 8) return __builtin_bswap64(v);
    else return __builtin_bswap128(v);
}
template <int N>
[[gnu::always_inline]] inline void storeTop(uint8_t* p, WordFor<N> v) {
    if constexpr (N <= 8) v = __builtin_bswap64(v);
    else v = __builtin_bswap128(v);
    memcpy(p, &v, N);
}

// The sign nibbles this path takes: 1 positive, 2 negative, 0 (a digit,
// which validation rejects) not here.
constexpr uint8_t kSignClass[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 1, 2, 1, 1};

// N bytes of digits with the sign nibble cleared: some nibble above 9
// (docs/decimal.md, "plain items").
template <int N>
[[gnu::always_inline]] inline bool nonDigits(const uint8_t* p) {
    using W = WordFor<N>;
    const W x = loadTop<N>(p) & ~(W(0x0F) << (8 * sizeof(W) - 8 * N));
    return (x & ((x << 1) | (x << 2)) & nibbles<W>(8)) != 0;
}

// Equal-size packed items of the same sign into a destination of that
// size, in one wide add whose carry out of the top nibble is the word's
// own overflow (docs/decimal.md, "addition").
template <int N>
[[gnu::always_inline]] inline bool addWhole(const uint8_t* a, const uint8_t* b, uint8_t* d, bool evenDigits) {
    using W = WordFor<N>;
    constexpr int bits = 8 * sizeof(W);
    constexpr int shift = bits - 8 * N;  // where the sign nibble sits
    const unsigned sign = kSignClass[a[N - 1] & 0x0F];
    if (sign == 0 || sign != kSignClass[b[N - 1] & 0x0F] || nonDigits<N>(a) || nonDigits<N>(b)) return false;
    constexpr W signMask = ~(W(0x0F) << shift);
    const W x = loadTop<N>(a) & signMask, y = loadTop<N>(b) & signMask;
    W s, t;
    const bool c1 = __builtin_add_overflow(x, y, &s);
    const bool c2 = __builtin_add_overflow(s, nibbles<W>(6), &t);
    const W c = (x ^ y ^ t) & (nibbles<W>(1) & ~W(1));
    W r = s + (c >> 2) + (c >> 3);
    if (c1 | c2) r += W(6) << (bits - 4);  // the top nibble's decimal carry
    r |= W(sign + 0x0B) << shift;          // 0x0C or 0x0D
    if (evenDigits) r &= ~(W(0x0F) << (bits - 4));
    storeTop<N>(d, r);
    return true;
}

// The quick path of the comparison: the bytes but the last, then the
// last bytes' high nibbles, reversed for negative items.  -2: not this
// path.
template <int N>
[[gnu::always_inline]] inline int compareWhole(const uint8_t* a, const uint8_t* b) {
    using W = WordFor<N>;
    constexpr int shift = 8 * sizeof(W) - 8 * N;
    const W x = loadTop<N>(a), y = loadTop<N>(b);
    const bool negative = packedNegative(uint8_t(x >> shift));
    if (negative != packedNegative(uint8_t(y >> shift))) return -2;
    constexpr W keep = ~(W(0x0F) << shift);
    const int c = (x & keep) == (y & keep) ? 0 : ((x & keep) < (y & keep) ? -1 : 1);
    return negative ? -c : c;
}

// The whole-item steps as functions, one per size in bytes (1 to 16).
template <int N>
bool addWholeOf(const uint8_t* a, const uint8_t* b, uint8_t* d, bool evenDigits) {
    return addWhole<N>(a, b, d, evenDigits);
}
inline constexpr auto kAddWhole = bySize<1, 16>([]<int N>() { return &addWholeOf<N>; });

// n bytes each (1 to 16); false: not this path.
inline bool addSameShape(const uint8_t* a, const uint8_t* b, uint8_t* d, int n, bool evenDigits) {
    return kAddWhole[n - 1](a, b, d, evenDigits);
}

}  // namespace bcd
