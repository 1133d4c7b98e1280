// Multiplication of packed and zoned items.  Plain packed items of up to
// sixteen bytes go by value (byvalue.h); the others in limbs of four digit
// pairs read through the pair table, column by column (docs/decimal.md,
// "limbs").

#include <cstring>

#include "kvr2/decimal_muldiv.h"
#include "decimal/byvalue.h"
#include "decimal/dispatch.h"
#include "decimal/frame.h"
#include "decimal/muldiv.h"
#include "decimal/words.h"

using namespace bcd;

namespace {

// The work areas of multiplication, per thread: two threads multiplying
// at once each have their own.  Longer products are built in the
// destination, after the operands have been read.
constexpr int kPackedScratch = 64;  // bytes: digit estimates up to 64
constexpr int kZonedScratch = 144;  // digits: digit-count sums up to 126
thread_local uint8_t packedScratch[kPackedScratch];
thread_local uint8_t zonedScratch[kZonedScratch];

// An operand: its units digit u and the pairs to the left of it, four
// pairs to a limb (base 10^8), each pair read through the packed-to-value
// table: value units + 10 * sum limb[m] 10^(8m).
constexpr int kMaxLimbs = (kMaxPairs + 3) / 4;
struct Pairs {
    unsigned units;
    int count;  // limbs
    uint64_t limb[kMaxLimbs];
};

// np pairs, pair(j) the j-th from the right, into limbs.
template <class Pair>
inline void limbs(Pairs& out, int np, Pair pair) {
    out.count = (np + 3) / 4;
    for (int m = 0; m < out.count; ++m) {
        uint64_t v = 0;
        for (int i = 3; i >= 0; --i) {
            const int j = 4 * m + i;
            v = v * 100 + (j < np ? pair(j) : 0u);
        }
        out.limb[m] = v;
    }
}

// p[0, b): packed bytes; the units digit is the high nibble of the last.
void packedPairs(const uint8_t* p, int b, Pairs& out) {
    out.units = p[b - 1] >> 4;
    const uint8_t* q = p + b - 2;  // the pair next to the units
    int np = b - 1, m = 0;
    for (; np >= 4; np -= 4, q -= 4)
        out.limb[m++] = pairValue[q[0]] + 100u * pairValue[q[-1]] + 10000u * pairValue[q[-2]] + 1000000ull * pairValue[q[-3]];
    if (np) {
        uint64_t v = 0;
        for (int i = np - 1; i >= 0; --i) v = v * 100 + pairValue[q[-i]];
        out.limb[m++] = v;
    }
    out.count = m;
}

// z[0, n): zoned digits, each by its low nibble (a pair of them may reach
// 165 with nibbles above 9: still exact).
void zonedPairs(const uint8_t* z, int n, Pairs& out) {
    out.units = n ? z[n - 1] & 0x0F : 0;
    limbs(out, n > 1 ? n / 2 : 0, [&](int j) -> unsigned {
        const int lo = n - 2 - 2 * j, hi = lo - 1;
        return (hi >= 0 ? 10u * (z[hi] & 0x0F) : 0u) + (z[lo] & 0x0F);
    });
}

// 0 to 9999 as two packed bytes, the first in the high half.

// The product's units digit (units(d)) and its pairs 0 to L - 1, weight
// 10 * 100^k, four at a time as packed bytes (out(m, pairs 4m and 4m + 1,
// pairs 4m + 2 and 4m + 3)); what lies beyond is dropped.  Limb
// m of the product above the units is u1 l2[m] + u2 l1[m] + 10 * the sum
// of l1[i] l2[j] over i + j = m, plus the carry: below 2^64 for every
// operand this routine takes.
template <class Units, class Out>
inline void product(const Pairs& a, const Pairs& b, int L, Units&& units, Out&& out) {
    constexpr uint64_t kBase = 100000000;
    const unsigned uv = a.units * b.units;
    units(uv % 10);
    uint64_t carry = uv / 10;
    const int top = a.count + b.count;
    for (int m = 0; 4 * m < L; ++m) {
        uint64_t s = carry;
        if (m < top) {
            if (m < b.count) s += a.units * b.limb[m];
            if (m < a.count) s += b.units * a.limb[m];
            const int lo = m - b.count + 1 > 0 ? m - b.count + 1 : 0;
            const int hi = m < a.count - 1 ? m : a.count - 1;
            uint64_t c = 0;
            for (int i = lo; i <= hi; ++i) c += a.limb[i] * b.limb[m - i];
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

// The by-value product as a function per limb count (1 to 4).
template <int N>
[[gnu::noinline]] bool multiplyPlainOf(const uint8_t* p1, int b1, const uint8_t* p2, int b2, uint8_t* d,
                                       int32_t dstDigits) {
    return multiplyPlain<N>(p1, b1, p2, b2, d, dstDigits);
}
constexpr auto kMultiplyPlain = bySize<1, kMaxLimbsByValue>([]<int N>() { return &multiplyPlainOf<N>; });
inline bool multiplyByValue(const uint8_t* p1, int b1, const uint8_t* p2, int b2, uint8_t* d, int32_t dstDigits) {
    const int limbs = limbsFor(b1, b2);
    return limbs <= kMaxLimbsByValue && kMultiplyPlain[limbs - 1](p1, b1, p2, b2, d, dstDigits);
}

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
    int workSize = db;
    if (e1 + e2 <= 64) {
        workSize = db < kPackedScratch ? db : kPackedScratch;
        work = packedScratch + kPackedScratch - workSize;
    }
    product(
        a, b, workSize - 1, [&](unsigned u) { work[workSize - 1] = static_cast<uint8_t>(u << 4); },
        [&](int m, uint16_t lo, uint16_t hi) { storeQuads(work + workSize - 2, workSize - 1, m, lo, hi); });
    if (work != d) {
        memset(d, 0, db - workSize);
        memcpy(d + db - workSize, work, workSize);
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
    int workSize = dn;
    if (scratch) {
        workSize = dn < kZonedScratch ? dn : kZonedScratch;
        work = zonedScratch + kZonedScratch - workSize;
    }
    product(
        a, b, workSize / 2, [&](unsigned u) { work[workSize - 1] = static_cast<uint8_t>(0x30 | u); },
        [&](int m, uint16_t lo, uint16_t hi) {
            // four packed bytes, eight digits, from the right
            const uint32_t v = uint32_t(hi) << 16 | lo;
            for (int i = 0; i < 8; ++i) {
                const int at = workSize - 2 - 8 * m - i;
                if (at < 0) break;
                work[at] = static_cast<uint8_t>(0x30 | ((v >> (4 * i)) & 0x0F));
            }
        });
    if (work != d) {
        memset(d, '0', dn - workSize);
        memcpy(d + dn - workSize, work, workSize);
    }
    d[dn - 1] = static_cast<uint8_t>((negative ? 0x70 : 0x30) | (d[dn - 1] & 0x0F));
    return 1;
}

}  // extern "C"

// ---- entry points ----

namespace {

template <Form F>
[[gnu::noinline]] void* multiply(const char* title, const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2,
                                 int32_t d1) {
    return operandsFrame<F, Family::Arithmetic>(title, {op1, d1}, {op2, d2}, {dst, dd}, [&](uint32_t) {
        if constexpr (F == Form::Packed) zvkBcdMulPacked(op1, d1, op2, d2, dst, dd);
        else zvkBcdMulZoned(op1, d1, op2, d2, dst, dd);
        return dst;
    });
}

// The packed entry takes plain items by value before any frame: plain
// items are valid, and with no dump asked for the product is the whole
// call.
inline const uint8_t* bytes(const void* p) { return static_cast<const uint8_t*>(p); }
inline uint8_t* bytes(void* p) { return static_cast<uint8_t*>(p); }

// Multiply entry: the whole call by value, or the frame; both ends are
// tail calls, so that the entry itself saves no registers.
template <int N>
[[gnu::noinline]] void* multiplyEntry(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2,
                                      int32_t d1) {
    if (multiplyPlain<N>(bytes(op1), packedBytes(d1), bytes(op2), packedBytes(d2), bytes(dst), dd)) [[likely]]
        return dst;
    return multiply<Form::Packed>("mpy packed...", op1, op2, dst, dd, d2, d1);
}
constexpr auto kMultiplyEntry = bySize<1, kMaxLimbsByValue>([]<int N>() { return &multiplyEntry<N>; });

}  // namespace

extern "C" {

KVR2_API void* _zvkcBCD_MPY_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    const int limbs = limbsFor(packedBytes(d1), packedBytes(d2));
    if (!(mode() & kBcdDebug) && limbs <= kMaxLimbsByValue) [[likely]]
        return kMultiplyEntry[limbs - 1](op1, op2, dst, dd, d2, d1);
    return multiply<Form::Packed>("mpy packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_MPY_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return multiply<Form::ZonedTrailingOverpunch>("mpy zoned...", op1, op2, dst, dd, d2, d1);
}

}  // extern "C"
