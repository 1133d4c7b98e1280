// Packed items of up to sixteen bytes whose every digit nibble is 0 to 9
// and whose sign nibble is above 9 (what validation passes without a
// scan), multiplied and divided as whole numbers: eight digits to a limb,
// the carries and the division done by the machine.  docs/decimal.md
// ("by value") says why the results are the digit rounds' for these items;
// anything else is not taken here.
#pragma once

#include <cstring>
#include <type_traits>

#include "decimal/decimal.h"
#include "decimal/words.h"

namespace bcd {

struct Quad {
    uint16_t v[10000];
};
constexpr Quad makeQuads() {
    Quad q{};
    for (int i = 0; i < 10000; ++i) {
        const int hi = i / 100, lo = i % 100;
        q.v[i] = static_cast<uint16_t>((((hi / 10) << 4 | hi % 10) << 8) | ((lo / 10) << 4 | lo % 10));
    }
    return q;
}
inline constexpr Quad kQuads = makeQuads();

// Sixteen digit nibbles, big-endian in a word, to two limbs of eight
// digits in the word's halves (the first eight digits in the upper half),
// in three steps (docs/decimal.md, "limbs").
inline uint64_t limbPair(uint64_t x) {
    x -= 6 * ((x >> 4) & 0x0F0F0F0F0F0F0F0Full);      // bytes 0..99
    x -= 156 * ((x >> 8) & 0x00FF00FF00FF00FFull);    // 16 bits 0..9999
    x -= 55536 * ((x >> 16) & 0x0000FFFF0000FFFFull);  // 32 bits 0..10^8 - 1
    return x;
}
inline uint64_t value16(uint64_t x) {
    const uint64_t l = limbPair(x);
    return (l >> 32) * 100000000 + (l & 0xFFFFFFFF);
}
// A limb (below 10^8) as eight packed digits; a value below 10^16 as
// sixteen.
inline uint32_t quad8(uint32_t limb) {
    return uint32_t(kQuads.v[limb / 10000]) << 16 | kQuads.v[limb % 10000];
}
inline uint64_t packed16(uint64_t v) {
    return uint64_t(quad8(uint32_t(v / 100000000))) << 32 | quad8(uint32_t(v % 100000000));
}

// The item's b bytes (1 to sizeof(W)) right-aligned in W, its sign nibble
// set aside; false when some digit nibble is above 9 or the sign nibble
// is a digit.
template <class W>
inline bool plainItem(const uint8_t* p, int b, W& x, unsigned& sign) {
    x = loadLeft<W>(p, b) >> (8 * (int(sizeof(W)) - b));
    sign = unsigned(x) & 0x0F;
    x &= ~W(0x0F);
    return sign > 9 && !hasNonDigit<W>(x);
}

// n bytes (1 to 32) from s to d, in two overlapping moves of one width:
// no call for the short copies of every product and quotient.
inline void copyShort(uint8_t* d, const uint8_t* s, int n) {
    auto two = [&](auto w) {
        using W = decltype(w);
        const W x = loadLe<W>(s), y = loadLe<W>(s + n - sizeof(W));
        memcpy(d, &x, sizeof(W));
        memcpy(d + n - sizeof(W), &y, sizeof(W));
    };
    if (n >= 16) two(u128());
    else if (n >= 8) two(uint64_t());
    else if (n >= 4) two(uint32_t());
    else if (n >= 2) two(uint16_t());
    else *d = *s;
}
// A packed image of N words (w[0] the low-order eight bytes, each a
// big-endian number) into d[0, db): its low-order db bytes, or zero bytes
// before it.  Stored straight from the words, never through a buffer
// that a wider load would read back.
template <int N>
[[gnu::always_inline]] inline void placeImage(uint8_t* d, int db, const uint64_t* w) {
    static constexpr uint8_t kZeros[32] = {};
    int left = db;
#pragma GCC unroll 4
    for (int k = 0; k < N; ++k) {
        if (left >= 8) {
            storeBe<uint64_t>(d + left - 8, w[k]);
            left -= 8;
        } else {
            if (left > 0) storeLeft<uint64_t>(d, left, w[k] << (64 - 8 * left));
            return;
        }
    }
    if (left > 32) memset(d, 0, left);
    else if (left > 0) copyShort(d, kZeros, left);
}

// (hi 2^64 + lo) / v and its remainder, for hi below v: one machine
// division.
inline uint64_t divide128(uint64_t hi, uint64_t lo, uint64_t v, uint64_t& rem) {
#if defined(__x86_64__)
    uint64_t q;
    __asm__("divq %4" : "=a"(q), "=d"(rem) : "a"(lo), "d"(hi), "rm"(v) : "cc");
    return q;
#else
    const u128 n = (u128(hi) << 64) | lo;
    rem = uint64_t(n % v);
    return uint64_t(n / v);
#endif
}

// The product of plain items a (limbs x) and b (limbs y), N limbs each,
// low first, both times ten: the limbs of 100 ab, column by column (N
// products below 10^16 and the carry stay below 2^64), then its digits
// shifted one nibble right, so that the units digit of ab stands in the
// high nibble of the last byte.
template <int N>
inline void productByValue(const uint64_t* x, const uint64_t* y, uint8_t* d, int db, unsigned sign) {
    constexpr uint64_t kBase = 100000000;
    uint32_t limb[2 * N];
    uint64_t carry = 0;
#pragma GCC unroll 8
    for (int m = 0; m < 2 * N; ++m) {
        uint64_t c = carry;
#pragma GCC unroll 4
        for (int i = m < N ? 0 : m - N + 1; i <= (m < N ? m : N - 1); ++i) c += x[i] * y[m - i];
        carry = c / kBase, limb[m] = uint32_t(c % kBase);
    }
    uint64_t w[N];  // packed digits, sixteen a word, low word first
#pragma GCC unroll 4
    for (int k = 0; k < N; ++k) w[k] = uint64_t(quad8(limb[2 * k + 1])) << 32 | quad8(limb[2 * k]);
    // Shifted one nibble right, the product loses its last digit, a 0 of
    // the hundred, and that nibble takes the sign.
    uint64_t image[N];
#pragma GCC unroll 4
    for (int k = 0; k < N; ++k) {
        image[k] = w[k] >> 4;
        if (k + 1 < N) image[k] |= w[k + 1] << 60;
    }
    image[0] |= sign;
    placeImage<N>(d, db, image);
}

// Packed multiplication of plain items of up to 4 N bytes; false: not
// this path.  The destination may be one of the operands: both are read
// before it is written.
template <int N>
[[gnu::always_inline]] inline bool multiplyPlain(const uint8_t* p1, int b1, const uint8_t* p2, int b2, uint8_t* d,
                                                 int32_t dstDigits) {
    using W = std::conditional_t<(N <= 2), uint64_t, u128>;
    W v1, v2;
    unsigned s1, s2;
    if (!plainItem(p1, b1, v1, s1) || !plainItem(p2, b2, v2, s2)) return false;
    uint64_t x[4], y[4];
    const uint64_t l1 = limbPair(uint64_t(v1)), l2 = limbPair(uint64_t(v2));
    x[0] = l1 & 0xFFFFFFFF, x[1] = l1 >> 32, y[0] = l2 & 0xFFFFFFFF, y[1] = l2 >> 32;
    if constexpr (N > 2) {
        const uint64_t h1 = limbPair(uint64_t(v1 >> 64)), h2 = limbPair(uint64_t(v2 >> 64));
        x[2] = h1 & 0xFFFFFFFF, x[3] = h1 >> 32, y[2] = h2 & 0xFFFFFFFF, y[3] = h2 >> 32;
    }
    const bool negative = packedNegative(uint8_t(s1)) != packedNegative(uint8_t(s2));
    productByValue<N>(x, y, d, packedBytes(dstDigits), negative ? 0x0D : 0x0C);
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
    return true;
}
// The limbs an item of b bytes takes: four bytes a limb; plain items of
// up to sixteen bytes (four limbs) go by value.
inline int limbsFor(int b1, int b2) { return ((b1 > b2 ? b1 : b2) + 3) >> 2; }
inline constexpr int kMaxLimbsByValue = 4;

// Packed division of a plain dividend of up to sixteen bytes by a plain
// nonzero divisor of up to eight, where the dividend's magnitude is above
// the divisor's (the long path).  Returns 1, or -1: not this path.
inline int divideByValue(const uint8_t* p, int pb, const uint8_t* v, int vb, uint8_t* q, int32_t quotientDigits,
                         uint8_t* r, int32_t remainderDigits) {
    if (pb > 16 || vb > 8) return -1;
    u128 a;
    uint64_t b;
    unsigned sa, sb;
    if (!plainItem(p, pb, a, sa) || !plainItem(v, vb, b, sb)) return -1;
    // Both times ten: the dividend as hi 10^16 + lo.
    const uint64_t hi = value16(uint64_t(a >> 64)), lo = value16(uint64_t(a)), y = value16(b);
    if (y == 0 || (hi == 0 && lo <= y)) return -1;
    uint64_t qh = 0, ql, rest;
    if (hi == 0) {
        ql = lo / y, rest = lo % y;
    } else {
        qh = hi / y;
        const u128 n = u128(hi % y) * 10000000000000000ull + lo;  // below y 10^16
        ql = divide128(uint64_t(n >> 64), uint64_t(n), y, rest);
    }
    const bool negA = packedNegative(uint8_t(sa)), negB = packedNegative(uint8_t(sb));
    if (q) {
        // The quotient has at most 31 digits: shifted one nibble left its
        // top nibble is free, and its last takes the sign.  The top nibble
        // of an even digit count is not cleared.
        const uint64_t hiDigits = packed16(qh), loDigits = packed16(ql);
        const uint64_t image[2] = {loDigits << 4 | (negA != negB ? 0x0D : 0x0C), hiDigits << 4 | loDigits >> 60};
        placeImage<2>(q, packedBytes(quotientDigits), image);
    }
    if (r) {
        // The remainder times ten: its last nibble is free for the sign.
        const int rb = packedBytes(remainderDigits);
        const uint64_t image[1] = {packed16(rest) | (negA ? 0x0D : 0x0C)};
        placeImage<1>(r, rb, image);
        if ((digitsOf(remainderDigits) & 1) == 0) r[0] &= 0x0F;
    }
    return 1;
}

}  // namespace bcd
