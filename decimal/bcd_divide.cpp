// Division and remainder of packed and zoned items.  Plain packed items
// of up to sixteen bytes go by value (byvalue.h); the others in rounds of
// two quotient digits on base-100 windows (docs/decimal.md, "division").

#include <cstring>

#include "kvr2/decimal_muldiv.h"
#include "decimal/byvalue.h"
#include "decimal/frame.h"
#include "decimal/muldiv.h"
#include "decimal/words.h"

using namespace bcd;

namespace {

constexpr u128 everyByte(unsigned v) { return ~u128(0) / 255 * v; }
constexpr u128 k80 = everyByte(0x80);

// Base 100 in the bytes of a word (docs/decimal.md, "division").
constexpr u128 k156 = everyByte(156);
inline u128 add100(u128 x, u128 y) {
    const u128 b = y + k156, z = x + b;
    const u128 carried = ((x & b) | ((x | b) & ~z)) & k80;
    return z - ((~carried & k80) >> 7) * 156;
}
// Subtraction of a smaller or equal value.
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
    // Counted on the upper halves: at most one too many, corrected by one
    // full comparison.
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

// The same for divisors of at most eight pairs, the window held by its
// value in one 64-bit word and both quotient digits of a round estimated
// at once by the divisor's reciprocal (docs/decimal.md, "division").
// Pairs above 99 (items not validated) and a zero divisor keep to the
// digit rounds above, whose results for them are what they are.  Returns
// false then.
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
        const uint8_t digits = pairByte[qp];
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
    if ((n - 1) & 1) out[m++] = pairValue[z[i++] & 0x0F];
    for (; i < n - 1; i += 2) out[m++] = pairValue[((z[i] & 0x0F) << 4) | (z[i + 1] & 0x0F)];
    out[m++] = pairValue[zonedDigit(z[n - 1]) << 4];
    return m;
}

const uint8_t kZonedZero[1] = {'0'};

}  // namespace

extern "C" {

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
    for (int i = 0; i < pb; ++i) A[1 + i] = pairValue[p[i]];
    for (int i = 0; i < vb; ++i) B[i] = pairValue[v[i]];
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
        for (int i = 0; i < rb; ++i) r[rb - 1 - i] = i < L ? pairByte[rem[L - 1 - i]] : 0;
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

// Leading zero bytes off an operand, as the division workers want it: a
// packed count two digits a byte and then made odd, so that it fills its
// bytes; a zoned count one a byte.
template <Form F>
inline void strip(const void*& op, int32_t& n) {
    const uint8_t* p = static_cast<const uint8_t*>(op);
    n = digitsOf(n);
    if constexpr (F == Form::Packed) {
        while (*p == 0 && n >= 2) ++p, n -= 2;
        n |= 1;
    } else {
        while (n > 1 && *p == 0) ++p, --n;
    }
    op = p;
}

// title null: an entry without a dump.  The dump shows the quotient, or
// the remainder where there is none, and the remainder after a quotient.
template <Form F>
[[gnu::noinline]] int division(const char* title, const void* op1, const void* op2, void* quotient, void* remainder,
                               int32_t rd, int32_t qd, int32_t d2, int32_t d1) {
    return entryFrame(
        title != nullptr,
        [&] {
            dumpTitle(title);
            dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
            dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
        },
        [&](uint32_t m) {
            validate<F, Family::Arithmetic>(m, Operand{op1, d1}, Operand{op2, d2});
        },
        [&](uint32_t) {
            strip<F>(op1, d1);
            strip<F>(op2, d2);
            if (F == Form::Packed ? zvkBcdIsZeroPacked(op2, d2) : zvkBcdIsZeroZoned(op2, d2)) zvkWriteMsg(902, 0);
            return F == Form::Packed ? zvkBcdDivPacked(op1, d1, op2, d2, quotient, qd, remainder, rd)
                                     : zvkBcdDivZoned(op1, d1, op2, d2, quotient, qd, remainder, rd);
        },
        [&](int) {
            if (quotient) dumpItem("dst: %p %d: ", quotient, qd, storedBytes(F, qd));
            else dumpItem("dst: %p %d: ", remainder, rd, storedBytes(F, rd));
            if (quotient && remainder) {
                fputs("rem: ", stderr);
                const uint8_t* b = static_cast<const uint8_t*>(remainder);
                for (int i = 0, n = storedBytes(F, rd); i < n; ++i) fprintf(stderr, "%2.2x", b[i]);
                fputc('\n', stderr);
            }
        });
}

// The packed entries take plain items by value before any frame: plain
// items are valid, a plain nonzero divisor needs no zero test, and with
// no dump asked for the result is the whole call.
inline const uint8_t* bytes(const void* p) { return static_cast<const uint8_t*>(p); }
inline uint8_t* bytes(void* p) { return static_cast<uint8_t*>(p); }
inline bool quick() { return !(mode() & kBcdDebug); }
inline bool quickDivide(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd, int32_t qd,
                        int32_t d2, int32_t d1) {
    return quick() && divideByValue(bytes(op1), packedBytes(d1), bytes(op2), packedBytes(d2), bytes(quotient), qd,
                                    bytes(remainder), rd) >= 0;
}

}  // namespace

extern "C" {

KVR2_API void* _zvkcBCD_DIV_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, dst, nullptr, 0, dd, d2, d1)) [[likely]]
        return dst;
    division<Form::Packed>("div packed...", op1, op2, dst, nullptr, 0, dd, d2, d1);
    return dst;
}
KVR2_API void* _zvkcBCD_DIV_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    division<Form::ZonedTrailingOverpunch>("div zoned...", op1, op2, dst, nullptr, 0, dd, d2, d1);
    return dst;
}
KVR2_API int _zvkcBCD_DIVR_Pckd(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd,
                                int32_t qd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, quotient, remainder, rd, qd, d2, d1)) [[likely]]
        return 1;
    return division<Form::Packed>("div packed remainder...", op1, op2, quotient, remainder, rd, qd, d2, d1);
}
KVR2_API void* _zvkcBCD_DIVR_Znd(const void* op1, const void* op2, void* quotient, void* remainder, int32_t rd,
                                 int32_t qd, int32_t d2, int32_t d1) {
    division<Form::ZonedTrailingOverpunch>(nullptr, op1, op2, quotient, remainder, rd, qd, d2, d1);
    return quotient;
}
KVR2_API void* _zvkcBCD_MOD_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (quickDivide(op1, op2, nullptr, dst, dd, 0, d2, d1)) [[likely]]
        return dst;
    division<Form::Packed>("mod packed...", op1, op2, nullptr, dst, dd, 0, d2, d1);
    return dst;
}
KVR2_API void* _zvkcBCD_MOD_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    division<Form::ZonedTrailingOverpunch>(nullptr, op1, op2, nullptr, dst, dd, 0, d2, d1);
    return dst;
}

}  // extern "C"
