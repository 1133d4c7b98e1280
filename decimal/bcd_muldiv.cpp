// Multiplication, division and remainder of packed and zoned items.
//
// Multiplication works on pairs of digits.  An operand is its units digit
// u and the pairs Q to the left of it, value u + 10 Q, each pair read
// through the packed-to-value table; four pairs make a limb, so that one
// multiplication takes four pairs of each operand.  The product above the
// units is u1 Q2 + u2 Q1 + 10 Q1 Q2, column by column, and each pair of
// it becomes one packed byte through the value-to-packed table.
//
// Division works in base 100 too, on the dividend and the divisor times
// ten (the table reads a sign byte dS as 10 d).  Each round finds two
// quotient digits, the tens by comparing the window of the dividend with
// the divisor's multiples times ten, the units with its plain multiples,
// and subtracts the greatest multiple that fits.  Windows and rows of up
// to sixteen pairs are held in one 128-bit word each, where a comparison
// of digit strings is a comparison of numbers and a subtraction in base
// 100 is one binary subtraction and a correction of the borrowing bytes.
//
// Packed items of up to sixteen bytes with nothing but digits and a sign
// nibble, the everyday case, are taken as whole words instead (see "by
// value" below): the same base, eight digits to a limb, with the carries
// and the division done by the machine.

#include <cstring>
#include <type_traits>

#include "kvr2/decimal_muldiv.h"
#include "decimal/frame.h"
#include "decimal/muldiv.h"
#include "decimal/words.h"

using namespace bcd;

namespace {

const uint8_t* const T = zvkBcdT;
const uint8_t* const P = zvkBcdP;

// Operands are taken by their low-order 255 digits at most (253 for a
// division): far beyond any item, and it bounds what lives on the stack.
constexpr int kMaxPairs = 127;
constexpr int kMaxDigits = 2 * kMaxPairs + 1;

// The work areas of multiplication, per thread: two threads multiplying
// at once each have their own.  Longer products are built in the
// destination, after the operands have been read.
constexpr int kPackedScratch = 64;  // bytes: digit estimates up to 64
constexpr int kZonedScratch = 144;  // digits: digit-count sums up to 126
thread_local uint8_t packedScratch[kPackedScratch];
thread_local uint8_t zonedScratch[kZonedScratch];

// ---- multiplication ----

// An operand: its units digit u and the pairs to the left of it, four
// pairs to a limb (base 10^8), each pair read through the packed-to-value
// table: value u + 10 * sum l[m] 10^(8m).
constexpr int kMaxLimbs = (kMaxPairs + 3) / 4;
struct Pairs {
    unsigned u;
    int n;  // limbs
    uint64_t l[kMaxLimbs];
};

// np pairs, pair(j) the j-th from the right, into limbs.
template <class Pair>
inline void limbs(Pairs& out, int np, Pair pair) {
    out.n = (np + 3) / 4;
    for (int m = 0; m < out.n; ++m) {
        uint64_t v = 0;
        for (int i = 3; i >= 0; --i) {
            const int j = 4 * m + i;
            v = v * 100 + (j < np ? pair(j) : 0u);
        }
        out.l[m] = v;
    }
}

// p[0, b): packed bytes; the units digit is the high nibble of the last.
void packedPairs(const uint8_t* p, int b, Pairs& out) {
    out.u = p[b - 1] >> 4;
    const uint8_t* q = p + b - 2;  // the pair next to the units
    int np = b - 1, m = 0;
    for (; np >= 4; np -= 4, q -= 4)
        out.l[m++] = T[q[0]] + 100u * T[q[-1]] + 10000u * T[q[-2]] + 1000000ull * T[q[-3]];
    if (np) {
        uint64_t v = 0;
        for (int i = np - 1; i >= 0; --i) v = v * 100 + T[q[-i]];
        out.l[m++] = v;
    }
    out.n = m;
}

// z[0, n): zoned digits, each by its low nibble (a pair of them may reach
// 165 with nibbles above 9: still exact).
void zonedPairs(const uint8_t* z, int n, Pairs& out) {
    out.u = n ? z[n - 1] & 0x0F : 0;
    limbs(out, n > 1 ? n / 2 : 0, [&](int j) -> unsigned {
        const int lo = n - 2 - 2 * j, hi = lo - 1;
        return (hi >= 0 ? 10u * (z[hi] & 0x0F) : 0u) + (z[lo] & 0x0F);
    });
}

// 0 to 9999 as two packed bytes, the first in the high half.
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
constexpr Quad kQuads = makeQuads();

// The product's units digit (units(d)) and its pairs 0 to L - 1, weight
// 10 * 100^k, four at a time as packed bytes (out(m, pairs 4m and 4m + 1,
// pairs 4m + 2 and 4m + 3)); what lies beyond is dropped.  Limb
// m of the product above the units is u1 l2[m] + u2 l1[m] + 10 * the sum
// of l1[i] l2[j] over i + j = m, plus the carry: below 2^64 for every
// operand this routine takes.
template <class Units, class Out>
inline void product(const Pairs& a, const Pairs& b, int L, Units&& units, Out&& out) {
    constexpr uint64_t kBase = 100000000;
    const unsigned uv = a.u * b.u;
    units(uv % 10);
    uint64_t carry = uv / 10;
    const int top = a.n + b.n;
    for (int m = 0; 4 * m < L; ++m) {
        uint64_t s = carry;
        if (m < top) {
            if (m < b.n) s += a.u * b.l[m];
            if (m < a.n) s += b.u * a.l[m];
            const int lo = m - b.n + 1 > 0 ? m - b.n + 1 : 0;
            const int hi = m < a.n - 1 ? m : a.n - 1;
            uint64_t c = 0;
            for (int i = lo; i <= hi; ++i) c += a.l[i] * b.l[m - i];
            s += 10 * c;
        }
        const uint64_t limb = s % kBase;
        carry = s / kBase;
        out(m, kQuads.v[limb % 10000], kQuads.v[limb / 10000]);
    }
}

// The product's pairs into packed bytes ending at e (the byte left of the
// units), L of them at most.
inline void storeQuads(uint8_t* e, int L, int m, uint16_t lo, uint16_t hi) {
    const int k = 4 * m;  // pairs k .. k + 3 go to e[-k] .. e[-k - 3]
    uint8_t b[4] = {static_cast<uint8_t>(lo), static_cast<uint8_t>(lo >> 8), static_cast<uint8_t>(hi),
                    static_cast<uint8_t>(hi >> 8)};
    if (L - k >= 4) {
        e[-k] = b[0], e[-k - 1] = b[1], e[-k - 2] = b[2], e[-k - 3] = b[3];
    } else {
        for (int i = 0; i < L - k; ++i) e[-k - i] = b[i];
    }
}

// ---- items of up to sixteen bytes, by value ----
//
// An item whose every digit nibble is 0 to 9 and whose sign nibble is
// above 9 (what validation passes without a scan) is read eight bytes at
// a time as one number: its value times ten, the sign nibble counting as
// the units' 0, exactly the base-100 form that the digit rounds work on.
// Its limbs of eight digits multiply column by column; a division takes
// two machine divisions of the value.  Digits go back into packed bytes
// four at a time through the quad table.  Anything else is not taken here
// and goes the digit-round way, whose results for plain items these are.

// Sixteen digit nibbles, big-endian in a word, to two limbs of eight
// digits in the word's halves (the first eight digits in the upper half).
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
template <int N>
[[gnu::noinline]] bool multiplyPlainOut(const uint8_t* p1, int b1, const uint8_t* p2, int b2, uint8_t* d,
                                        int32_t dstDigits) {
    return multiplyPlain<N>(p1, b1, p2, b2, d, dstDigits);
}
// The limbs an item of b bytes (1 to 16) takes: four bytes a limb.
inline int limbsFor(int b1, int b2) { return ((b1 > b2 ? b1 : b2) + 3) >> 2; }
inline bool multiplyByValue(const uint8_t* p1, int b1, const uint8_t* p2, int b2, uint8_t* d, int32_t dstDigits) {
    switch (limbsFor(b1, b2)) {
        case 1: return multiplyPlainOut<1>(p1, b1, p2, b2, d, dstDigits);
        case 2: return multiplyPlainOut<2>(p1, b1, p2, b2, d, dstDigits);
        case 3: return multiplyPlainOut<3>(p1, b1, p2, b2, d, dstDigits);
        case 4: return multiplyPlainOut<4>(p1, b1, p2, b2, d, dstDigits);
    }
    return false;
}

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


// ---- division ----

using u128 = unsigned __int128;
constexpr u128 everyByte(unsigned v) { return ~u128(0) / 255 * v; }
constexpr u128 k80 = everyByte(0x80);

// Base 100 in the bytes of a word.  Addition: with 156 added to every
// byte of one operand, a byte pair that reaches 100 carries out of its
// byte in the binary sum, and the carry runs on through bytes of 99 by
// itself; the bytes that did not carry out take their 156 back.
constexpr u128 k156 = everyByte(156);
inline u128 add100(u128 x, u128 y) {
    const u128 b = y + k156, z = x + b;
    const u128 carried = ((x & b) | ((x | b) & ~z)) & k80;
    return z - ((~carried & k80) >> 7) * 156;
}
// Subtraction of a smaller or equal value: a byte that borrowed wrapped
// to 156 or more (bit 7 set), and takes 156 less to read as +100.
inline u128 sub100(u128 x, u128 y) {
    const u128 d = x - y;
    return d - ((d & k80) >> 7) * 156;
}

// 10 * row (L pairs) in base 100.
void times10(const uint8_t* row, uint8_t* out, int L) {
    unsigned carry = 0;
    for (int i = L - 1; i >= 0; --i) {
        const unsigned v = 10u * row[i] + carry;
        out[i] = static_cast<uint8_t>(v % 100);
        carry = v / 100;
    }
}

// Long division of A (n pairs, A[0] zero) by B (k pairs), n > k, in
// n - k rounds of two digits: q[0, 2 (n - k)) gets the quotient's digits,
// most significant first, and rem[0, k + 1) the final window (the
// remainder times ten).
void divideWide(const uint8_t* A, int n, const uint8_t* B, int k, uint8_t* q, uint8_t* rem) {
    const int L = k + 1, shift = 128 - 8 * L;
    uint8_t row[16] = {0}, row10[16];
    memcpy(row + 1, B, k);
    times10(row, row10, L);
    u128 M[10], S[10];
    M[0] = S[0] = 0;
    M[1] = loadLeft<u128>(row, L);
    S[1] = loadLeft<u128>(row10, L);
    for (int j = 2; j <= 9; ++j) M[j] = add100(M[j - 1], M[1]), S[j] = add100(S[j - 1], S[1]);
    // The rows rise, so the count of rows at most the window is the
    // greatest of them.  Consecutive rows differ within their first eight
    // bytes, so counting by those bytes alone can only be one too many,
    // where a row ties the window there and exceeds it behind.
    uint64_t hiM[10], hiS[10];
    for (int j = 0; j <= 9; ++j) hiM[j] = uint64_t(M[j] >> 64), hiS[j] = uint64_t(S[j] >> 64);
    auto greatest = [](const u128* rows, const uint64_t* hi, u128 w) {
        const uint64_t wh = uint64_t(w >> 64);
        int j = 0;
#pragma GCC unroll 9
        for (int i = 1; i <= 9; ++i) j += hi[i] <= wh;
        if (hi[j] == wh && rows[j] > w) [[unlikely]]
            --j;
        return j;
    };
    u128 w = loadLeft<u128>(A, L);
    for (int r = 0; r < n - k; ++r) {
        if (r) w = (w << 8) | (u128(A[r + k]) << shift);
        const int t = greatest(S, hiS, w);
        w = sub100(w, S[t]);
        const int o = greatest(M, hiM, w);
        w = sub100(w, M[o]);
        q[2 * r] = static_cast<uint8_t>(t);
        q[2 * r + 1] = static_cast<uint8_t>(o);
    }
    for (int i = 0; i < L; ++i) rem[i] = static_cast<uint8_t>(w >> (120 - 8 * i));
}

// The same for divisors of more than fifteen pairs, on byte strings.
void subtractRow(uint8_t* w, const uint8_t* row, int L) {
    int borrow = 0;
    for (int i = L - 1; i >= 0; --i) {
        int d = w[i] - row[i] - borrow;
        borrow = d < 0;
        w[i] = static_cast<uint8_t>(d < 0 ? d + 100 : d);
    }
}
void addRow(uint8_t* out, const uint8_t* a, const uint8_t* b, int L) {
    unsigned carry = 0;
    for (int i = L - 1; i >= 0; --i) {
        const unsigned v = a[i] + b[i] + carry;
        carry = v >= 100;
        out[i] = static_cast<uint8_t>(carry ? v - 100 : v);
    }
}
void divideLong(uint8_t* A, int n, const uint8_t* B, int k, uint8_t* q, uint8_t* rem) {
    const int L = k + 1;
    uint8_t M[10][kMaxPairs + 2], S[10][kMaxPairs + 2];
    memset(M[1], 0, L);
    memcpy(M[1] + 1, B, k);
    times10(M[1], S[1], L);
    for (int j = 2; j <= 9; ++j) addRow(M[j], M[j - 1], M[1], L), addRow(S[j], S[j - 1], S[1], L);
    auto largest = [&](uint8_t rows[][kMaxPairs + 2], const uint8_t* w) {
        int j = 0;
        while (j < 9 && memcmp(rows[j + 1], w, L) <= 0) ++j;
        return j;
    };
    for (int r = 0; r < n - k; ++r) {
        uint8_t* w = A + r;
        const int t = largest(S, w);
        if (t) subtractRow(w, S[t], L);
        const int o = largest(M, w);
        if (o) subtractRow(w, M[o], L);
        q[2 * r] = static_cast<uint8_t>(t);
        q[2 * r + 1] = static_cast<uint8_t>(o);
    }
    memcpy(rem, A + n - L, L);
}

// The same for divisors of at most eight pairs, where the window (the
// divisor row and the one pair that each round brings down, below 10^18)
// is held by its value in one 64-bit word.  Each round estimates its two
// quotient digits at once, the window times the divisor's reciprocal
// (never above the true pair, and at most one below it, as the window
// stays below 2^60), subtracts the estimate times the divisor in one
// multiplication and corrects with at most one comparison.  Pairs above
// 99 (items not validated) and a zero divisor keep to the digit rounds
// above, whose results for them are what they are.  Returns false then.
bool divideNarrow(const uint8_t* A, int n, const uint8_t* B, int k, uint8_t* q, uint8_t* rem) {
    if (k > 8) return false;
    unsigned over = 0;  // bit 7: some pair above 99
    uint64_t D = 0, w = 0;
    for (int i = 0; i < k; ++i) D = D * 100 + B[i], over |= B[i] + 28u;
    for (int i = 0; i <= k; ++i) w = w * 100 + A[i], over |= A[i] + 28u;
    for (int i = k + 1; i < n; ++i) over |= A[i] + 28u;
    // A divisor row that starts with a pair of 0 (a bad first nibble)
    // leaves the first window more than 99 times the divisor.
    if ((over & 0x80) || D == 0 || w / 100 >= D) return false;
    const uint64_t inv = ~uint64_t(0) / D;
    for (int r = 0; r < n - k; ++r) {
        if (r) w = w * 100 + A[r + k];
        uint64_t qp = static_cast<uint64_t>((u128(w) * inv) >> 64);
        w -= qp * D;
        if (w >= D) w -= D, ++qp;
        const uint8_t digits = P[qp];
        q[2 * r] = digits >> 4;
        q[2 * r + 1] = digits & 0x0F;
    }
    // The final window, below the divisor: k + 1 pairs, the first 0.
    uint8_t pairs[16];
    const uint32_t halves[2] = {static_cast<uint32_t>(w / 100000000), static_cast<uint32_t>(w % 100000000)};
    for (int h = 0; h < 2; ++h) {
        const uint32_t hi = halves[h] / 10000, lo = halves[h] % 10000;
        pairs[8 + 4 * h] = static_cast<uint8_t>(hi / 100);
        pairs[9 + 4 * h] = static_cast<uint8_t>(hi % 100);
        pairs[10 + 4 * h] = static_cast<uint8_t>(lo / 100);
        pairs[11 + 4 * h] = static_cast<uint8_t>(lo % 100);
    }
    pairs[7] = 0;
    memcpy(rem, pairs + 16 - (k + 1), k + 1);
    return true;
}

// A (n pairs) by B (k pairs); returns the quotient's digit count.
int divide(uint8_t* A, int n, const uint8_t* B, int k, uint8_t* q, uint8_t* rem) {
    if (divideNarrow(A, n, B, k, q, rem)) return 2 * (n - k);
    if (k + 1 <= 16) divideWide(A, n, B, k, q, rem);
    else divideLong(A, n, B, k, q, rem);
    return 2 * (n - k);
}

// Zoned digits z[0, n) in the pairs of the packed form times ten: an odd
// digit first alone, then pairs, the last digit (decoded: it carries the
// sign) as the tens of the last pair.  Returns the pairs written.
int zonedToPairs(const uint8_t* z, int n, uint8_t* out) {
    int m = 0, i = 0;
    if ((n - 1) & 1) out[m++] = T[z[i++] & 0x0F];
    for (; i < n - 1; i += 2) out[m++] = T[((z[i] & 0x0F) << 4) | (z[i + 1] & 0x0F)];
    out[m++] = T[zonedDigit(z[n - 1]) << 4];
    return m;
}

const uint8_t kPackedZero[1] = {0x0C};
const uint8_t kZonedZero[1] = {'0'};

}  // namespace

extern "C" {

int zvkBcdMulPacked(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, void* dst,
                    int32_t dstDigits) {
    const uint8_t* p1 = static_cast<const uint8_t*>(op1);
    const uint8_t* p2 = static_cast<const uint8_t*>(op2);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b1 = packedBytes(op1Digits), b2 = packedBytes(op2Digits);
    if (multiplyByValue(p1, b1, p2, b2, d, dstDigits)) return 1;
    const int db = packedBytes(dstDigits);
    const bool negative = packedNegative(p1[b1 - 1]) != packedNegative(p2[b2 - 1]);
    while (b1 > 1 && *p1 == 0) ++p1, --b1;
    while (b2 > 1 && *p2 == 0) ++p2, --b2;
    int e1 = significantDigits(p1, b1), e2 = significantDigits(p2, b2);
    // Only the low-order bytes that the destination can hold take part.
    if (b1 > db) p1 += b1 - db, b1 = db, e1 = digitsOf(dstDigits);
    if (b2 > db) p2 += b2 - db, b2 = db, e2 = digitsOf(dstDigits);
    if (b1 > kMaxPairs + 1) p1 += b1 - (kMaxPairs + 1), b1 = kMaxPairs + 1;
    if (b2 > kMaxPairs + 1) p2 += b2 - (kMaxPairs + 1), b2 = kMaxPairs + 1;
    Pairs a, b;
    packedPairs(p1, b1, a);
    packedPairs(p2, b2, b);
    uint8_t* work = d;
    int W = db;
    if (e1 + e2 <= 64) {
        W = db < kPackedScratch ? db : kPackedScratch;
        work = packedScratch + kPackedScratch - W;
    }
    product(
        a, b, W - 1, [&](unsigned u) { work[W - 1] = static_cast<uint8_t>(u << 4); },
        [&](int m, uint16_t lo, uint16_t hi) { storeQuads(work + W - 2, W - 1, m, lo, hi); });
    if (work != d) {
        memset(d, 0, db - W);
        memcpy(d + db - W, work, W);
    }
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
    return 1;
}

int zvkBcdMulZoned(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, void* dst,
                   int32_t dstDigits) {
    const uint8_t* z1 = static_cast<const uint8_t*>(op1);
    const uint8_t* z2 = static_cast<const uint8_t*>(op2);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int n1 = digitsOf(op1Digits), n2 = digitsOf(op2Digits);
    const int dn = digitsOf(dstDigits);
    if (dn == 0) return 1;
    const bool negative = (n1 && zonedNegative(z1[n1 - 1])) != (n2 && zonedNegative(z2[n2 - 1]));
    const bool scratch = n1 + n2 <= 126;
    while (n1 > 1 && (*z1 & 0x0F) == 0) ++z1, --n1;
    while (n2 > 1 && (*z2 & 0x0F) == 0) ++z2, --n2;
    const int keep = dn < kMaxDigits ? dn : kMaxDigits;
    if (n1 > keep) z1 += n1 - keep, n1 = keep;
    if (n2 > keep) z2 += n2 - keep, n2 = keep;
    Pairs a, b;
    zonedPairs(z1, n1, a);
    zonedPairs(z2, n2, b);
    uint8_t* work = d;
    int W = dn;
    if (scratch) {
        W = dn < kZonedScratch ? dn : kZonedScratch;
        work = zonedScratch + kZonedScratch - W;
    }
    product(
        a, b, W / 2, [&](unsigned u) { work[W - 1] = static_cast<uint8_t>(0x30 | u); },
        [&](int m, uint16_t lo, uint16_t hi) {
            // four packed bytes, eight digits, from the right
            const uint32_t v = uint32_t(hi) << 16 | lo;
            for (int i = 0; i < 8; ++i) {
                const int at = W - 2 - 8 * m - i;
                if (at < 0) break;
                work[at] = static_cast<uint8_t>(0x30 | ((v >> (4 * i)) & 0x0F));
            }
        });
    if (work != d) {
        memset(d, '0', dn - W);
        memcpy(d + dn - W, work, W);
    }
    d[dn - 1] = static_cast<uint8_t>((negative ? 0x70 : 0x30) | (d[dn - 1] & 0x0F));
    return 1;
}

int zvkBcdDivPacked(const void* dividend, int32_t dividendDigits, const void* divisor, int32_t divisorDigits,
                    void* quotient, int32_t quotientDigits, void* remainder, int32_t remainderDigits) {
    const uint8_t* p = static_cast<const uint8_t*>(dividend);
    const uint8_t* v = static_cast<const uint8_t*>(divisor);
    uint8_t* q = static_cast<uint8_t*>(quotient);
    uint8_t* r = static_cast<uint8_t*>(remainder);
    int pb = packedBytes(dividendDigits), vb = packedBytes(divisorDigits);
    const int byValue = divideByValue(p, pb, v, vb, q, quotientDigits, r, remainderDigits);
    if (byValue >= 0) return byValue;
    const int qb = packedBytes(quotientDigits), rb = packedBytes(remainderDigits);
    const bool negD = packedNegative(p[pb - 1]), negV = packedNegative(v[vb - 1]);
    while (pb > 1 && *p == 0) ++p, --pb;
    while (vb > 1 && *v == 0) ++v, --vb;
    if (pb > kMaxPairs) p += pb - kMaxPairs, pb = kMaxPairs;
    if (vb > kMaxPairs) v += vb - kMaxPairs, vb = kMaxPairs;
    const int dd = significantDigits(p, pb), vd = significantDigits(v, vb);
    int order = dd < vd ? -1 : 1;
    if (dd == vd) order = zvkBcdCmpPacked(p, 2 * pb - 1, v, 2 * vb - 1, 1);
    if (order == 0) {  // equal magnitudes: 1, remainder +0
        if (q) {
            memset(q, 0, qb);
            q[qb - 1] = negD != negV ? 0x1D : 0x1C;
        }
        if (r) {
            memset(r, 0, rb);
            r[rb - 1] = 0x0C;
        }
        return 1;
    }
    if (order < 0) {  // quotient +0, remainder the dividend
        if (r) zvkBcdMovePacked(dividend, dividendDigits, r, remainderDigits);
        if (q) {
            memset(q, 0, qb);
            q[qb - 1] = 0x0C;
        }
        return 0;
    }
    uint8_t A[kMaxPairs + 1], B[kMaxPairs], digits[2 * kMaxPairs + 2], rem[kMaxPairs + 1];
    A[0] = 0;
    for (int i = 0; i < pb; ++i) A[1 + i] = T[p[i]];
    for (int i = 0; i < vb; ++i) B[i] = T[v[i]];
    const int n = pb + 1, L = vb + 1;
    const int count = divide(A, n, B, vb, digits, rem);
    if (q) {
        // Two digits a round, the last with the sign: the quotient's top
        // nibble is not cleared, whatever the parity of its digit count.
        uint8_t qbytes[kMaxPairs + 2];
        const int nb = count / 2 + 1;
        qbytes[0] = digits[0];
        for (int i = 1; i < nb - 1; ++i) qbytes[i] = static_cast<uint8_t>((digits[2 * i - 1] << 4) | digits[2 * i]);
        qbytes[nb - 1] = static_cast<uint8_t>((digits[count - 1] << 4) | (negD != negV ? 0x0D : 0x0C));
        if (qb >= nb) {
            memset(q, 0, qb - nb);
            memcpy(q + qb - nb, qbytes, nb);
        } else {
            memcpy(q, qbytes + nb - qb, qb);
        }
    }
    if (r) {
        for (int i = 0; i < rb; ++i) r[rb - 1 - i] = i < L ? P[rem[L - 1 - i]] : 0;
        r[rb - 1] = static_cast<uint8_t>((r[rb - 1] & 0xF0) | (negD ? 0x0D : 0x0C));
        if ((digitsOf(remainderDigits) & 1) == 0) r[0] &= 0x0F;
    }
    return 1;
}

int zvkBcdDivZoned(const void* dividend, int32_t dividendDigits, const void* divisor, int32_t divisorDigits,
                   void* quotient, int32_t quotientDigits, void* remainder, int32_t remainderDigits) {
    const uint8_t* z = static_cast<const uint8_t*>(dividend);
    const uint8_t* y = static_cast<const uint8_t*>(divisor);
    uint8_t* q = static_cast<uint8_t*>(quotient);
    uint8_t* r = static_cast<uint8_t*>(remainder);
    int zn = digitsOf(dividendDigits), yn = digitsOf(divisorDigits);
    if (zn == 0) z = kZonedZero, zn = 1;
    if (yn == 0) y = kZonedZero, yn = 1;
    const int qn = digitsOf(quotientDigits), rn = digitsOf(remainderDigits);
    const bool negD = zonedNegative(z[zn - 1]), negV = zonedNegative(y[yn - 1]);
    const uint8_t* zs = z;
    const uint8_t* ys = y;
    int zc = zn, yc = yn;
    while (zc > 1 && (*zs & 0x0F) == 0) ++zs, --zc;
    while (yc > 1 && (*ys & 0x0F) == 0) ++ys, --yc;
    if (zc > kMaxDigits - 2) zs += zc - (kMaxDigits - 2), zc = kMaxDigits - 2;
    if (yc > kMaxDigits - 2) ys += yc - (kMaxDigits - 2), yc = kMaxDigits - 2;
    int order = zc < yc ? -1 : 1;
    if (zc == yc) order = zvkBcdCmpZoned(zs, zc, ys, yc, 1);
    if (order == 0) {
        if (q && qn) {
            memset(q, '0', qn);
            q[qn - 1] = negD != negV ? 'q' : '1';
        }
        if (r) memset(r, '0', rn);
        return 1;
    }
    if (order < 0) {
        if (q) memset(q, '0', qn);
        if (r && rn) zvkBcdMoveZoned(z, zn, r, rn);
        return 0;
    }
    uint8_t A[kMaxPairs + 1], B[kMaxPairs], digits[2 * kMaxPairs + 2], rem[kMaxPairs + 1];
    A[0] = 0;
    const int n = 1 + zonedToPairs(zs, zc, A + 1);
    const int k = zonedToPairs(ys, yc, B), L = k + 1;
    const int count = divide(A, n, B, k, digits, rem);
    if (q && qn) {
        for (int i = 0; i < qn; ++i) q[qn - 1 - i] = static_cast<uint8_t>(0x30 | (i < count ? digits[count - 1 - i] : 0));
        if (negD != negV) q[qn - 1] = static_cast<uint8_t>(0x70 | (q[qn - 1] & 0x0F));
    }
    if (r && rn) {
        // The final window is the remainder times ten: its last digit is 0.
        for (int i = 0; i < rn; ++i) {
            const int pos = 2 * L - 2 - i;  // digit index in the window, from the left
            const int digit = pos < 0 ? 0 : (pos & 1) ? rem[pos / 2] % 10 : rem[pos / 2] / 10;
            r[rn - 1 - i] = static_cast<uint8_t>(0x30 | digit);
        }
        if (negD) r[rn - 1] = static_cast<uint8_t>(0x70 | (r[rn - 1] & 0x0F));
    }
    return 1;
}

}  // extern "C"

// ---- entry points ----

namespace {

template <Form F>
[[gnu::noinline]] void* multiply(const char* title, const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle(title);
        dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
        dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
    }
    if (!(m & kBcdNoValidate)) {
        checkArith(F, op1, d1);
        checkArith(F, op2, d2);
    }
    if constexpr (F == Form::Pckd) zvkBcdMulPacked(op1, d1, op2, d2, dst, dd);
    else zvkBcdMulZoned(op1, d1, op2, d2, dst, dd);
    if (m & kBcdDebug) [[unlikely]]
        dumpItem("dst: %p %d: ", dst, dd, storedBytes(F, dd));
    return dst;
}

// Leading zero bytes off an operand, as the division workers want it: a
// packed count two digits a byte and then made odd, so that it fills its
// bytes; a zoned count one a byte.
template <Form F>
inline void strip(const void*& op, int32_t& n) {
    const uint8_t* p = static_cast<const uint8_t*>(op);
    n = digitsOf(n);
    if constexpr (F == Form::Pckd) {
        while (*p == 0 && n >= 2) ++p, n -= 2;
        n |= 1;
    } else {
        while (n > 1 && *p == 0) ++p, --n;
    }
    op = p;
}

// title null: an entry without a dump.
template <Form F>
[[gnu::noinline]] int division(const char* title, const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd,
             int32_t qd, int32_t d2, int32_t d1) {
    const uint32_t m = mode();
    const bool dump = title && (m & kBcdDebug);
    if (dump) [[unlikely]] {
        dumpTitle(title);
        dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
        dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
    }
    if (!(m & kBcdNoValidate)) {
        checkArith(F, op1, d1);
        checkArith(F, op2, d2);
    }
    strip<F>(op1, d1);
    strip<F>(op2, d2);
    if (F == Form::Pckd ? zvkBcdIsZeroPacked(op2, d2) : zvkBcdIsZeroZoned(op2, d2)) zvkWriteMsg(902, 0);
    const int result = F == Form::Pckd ? zvkBcdDivPacked(op1, d1, op2, d2, quotient, qd, remainder, rd)
                                       : zvkBcdDivZoned(op1, d1, op2, d2, quotient, qd, remainder, rd);
    if (dump) [[unlikely]] {
        if (quotient) dumpItem("dst: %p %d: ", quotient, qd, storedBytes(F, qd));
        else dumpItem("dst: %p %d: ", remainder, rd, storedBytes(F, rd));
        if (quotient && remainder) {
            fputs("rem: ", stderr);
            const uint8_t* b = static_cast<const uint8_t*>(remainder);
            for (int i = 0, n = storedBytes(F, rd); i < n; ++i) fprintf(stderr, "%2.2x", b[i]);
            fputc('\n', stderr);
        }
    }
    return result;
}

// The packed entries take plain items by value before any frame: plain
// items are valid, a plain nonzero divisor needs no zero test, and with
// no dump asked for the result is the whole call.
inline const uint8_t* bytes(const void* p) { return static_cast<const uint8_t*>(p); }
inline uint8_t* bytes(void* p) { return static_cast<uint8_t*>(p); }
inline bool quick() { return !(mode() & kBcdDebug); }

// Multiply entry: the whole call by value, or the frame; both ends are
// tail calls, so that the entry itself saves no registers.
template <int N>
[[gnu::noinline]] void* multiplyEntry(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2,
                                      int32_t d1) {
    if (multiplyPlain<N>(bytes(op1), packedBytes(d1), bytes(op2), packedBytes(d2), bytes(dst), dd)) [[likely]]
        return dst;
    return multiply<Form::Pckd>("mpy packed...", op1, op2, dst, dd, d2, d1);
}
inline bool quickDivide(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd, int32_t qd,
                        int32_t d2, int32_t d1) {
    return quick() && divideByValue(bytes(op1), packedBytes(d1), bytes(op2), packedBytes(d2), bytes(quotient), qd,
                                    bytes(remainder), rd) >= 0;
}

}  // namespace

extern "C" {

KVR2_API void* _zvkcBCD_MPY_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (quick()) [[likely]] {
        switch (limbsFor(packedBytes(d1), packedBytes(d2))) {
            case 1: return multiplyEntry<1>(op1, op2, dst, dd, d2, d1);
            case 2: return multiplyEntry<2>(op1, op2, dst, dd, d2, d1);
            case 3: return multiplyEntry<3>(op1, op2, dst, dd, d2, d1);
            case 4: return multiplyEntry<4>(op1, op2, dst, dd, d2, d1);
        }
    }
    return multiply<Form::Pckd>("mpy packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_MPY_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return multiply<Form::TO>("mpy zoned...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_DIV_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, dst, nullptr, 0, dd, d2, d1)) [[likely]]
        return dst;
    division<Form::Pckd>("div packed...", op1, op2, dst, nullptr, 0, dd, d2, d1);
    return dst;
}
KVR2_API void* _zvkcBCD_DIV_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    division<Form::TO>("div zoned...", op1, op2, dst, nullptr, 0, dd, d2, d1);
    return dst;
}
KVR2_API int _zvkcBCD_DIVR_Pckd(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd,
                                int32_t qd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, quotient, remainder, rd, qd, d2, d1)) [[likely]]
        return 1;
    return division<Form::Pckd>("div packed remainder...", op1, op2, quotient, remainder, rd, qd, d2, d1);
}
KVR2_API void* _zvkcBCD_DIVR_Znd(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd,
                                 int32_t qd, int32_t d2, int32_t d1) {
    division<Form::TO>(nullptr, op1, op2, quotient, remainder, rd, qd, d2, d1);
    return quotient;
}
KVR2_API void* _zvkcBCD_MOD_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, nullptr, dst, dd, 0, d2, d1)) [[likely]]
        return dst;
    division<Form::Pckd>("mod packed...", op1, op2, nullptr, dst, dd, 0, d2, d1);
    return dst;
}
KVR2_API void* _zvkcBCD_MOD_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    division<Form::TO>(nullptr, op1, op2, nullptr, dst, dd, 0, d2, d1);
    return dst;
}

}  // extern "C"
