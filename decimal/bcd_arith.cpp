// Addition, subtraction, increment, decrement and comparison of packed and
// zoned items, in place on the stored digits.  Packed addition takes up to
// sixteen digits in one binary add, one bit wider than the word; words
// with a nibble above 9 take the byte step (docs/decimal.md, "addition").

#include <cstring>

#include "decimal/decimal.h"
#include "decimal/fast.h"
#include "decimal/words.h"

using namespace bcd;
using u128 = unsigned __int128;

namespace {

const uint8_t kZonedZero[1] = {'0'};

inline void skipZeroBytes(const uint8_t*& p, int& b) {
    while (b > 1 && *p == 0) ++p, --b;
}
inline void skipZeroDigits(const uint8_t*& p, int& n) {
    while (n > 1 && (*p & 0x0F) == 0) ++p, --n;
}

// The byte step: two packed bytes and a carry, decimal.
inline uint8_t addByte(unsigned a, unsigned b, unsigned& carry) {
    const unsigned s = a + b + carry;
    const unsigned t = s + 0x66;
    const unsigned x = (a ^ b ^ t) & 0x110;
    carry = (t >> 8) & 1;
    return static_cast<uint8_t>(s + (x >> 2) + (x >> 3));
}
// The last bytes: high nibbles only, the sign nibble is written apart.
inline uint8_t addLastByte(unsigned a, unsigned b, unsigned& carry) {
    unsigned h = (a & 0xF0) + (b & 0xF0);
    carry = 0;
    if (h > 0x90) h += 0x60, carry = 1;
    return static_cast<uint8_t>(h & 0xF0);
}

template <int N> struct Word;
template <> struct Word<8> { using T = uint64_t; };
template <> struct Word<4> { using T = uint32_t; };
template <> struct Word<2> { using T = uint16_t; };

// Adds N bytes ending at a, b (pointers to the chunk's first byte) into d.
// last: the chunk ends with the sign bytes.
template <int N>
inline void addChunk(const uint8_t* a, const uint8_t* b, uint8_t* d, unsigned& carry, bool last) {
    using W = typename Word<N>::T;
    constexpr int bits = 8 * N;
    constexpr uint64_t k6 = 0x6666666666666666ull >> (64 - bits);
    constexpr uint64_t k8 = 0x8888888888888888ull >> (64 - bits);
    constexpr u128 mask = (u128(1) << bits) | (0x1111111111111110ull >> (64 - bits));
    uint64_t x = loadBe<W>(a), y = loadBe<W>(b);
    if (last) x &= ~uint64_t(0x0F), y &= ~uint64_t(0x0F);
    if (((x & ((x << 1) | (x << 2))) | (y & ((y << 1) | (y << 2)))) & k8) [[unlikely]] {
        for (int k = N - 1; k >= 0; --k)
            d[k] = (last && k == N - 1) ? addLastByte(a[k], b[k], carry) : addByte(a[k], b[k], carry);
        return;
    }
    const u128 s = u128(x) + y + carry;
    const u128 t = s + k6;
    const u128 c = (u128(x) ^ y ^ t) & mask;
    carry = static_cast<unsigned>(t >> bits) & 1;
    storeBe<W>(d, static_cast<W>(s + (c >> 2) + (c >> 3)));
}

// Ten's complement of the stored digits span[0, n) (the last byte holding
// the sign nibble), with the pair reduction this system has always made:
// once the complement's carry has ended, a pair of 91 to 99 loses 90.
void complementPacked(uint8_t* span, int n) {
    unsigned carry;
    const int h = span[n - 1] >> 4;
    int nh;
    if (h == 0) nh = 0, carry = 1;
    else nh = 10 - h, carry = 0;
    span[n - 1] = static_cast<uint8_t>(((nh & 0x0F) << 4) | (span[n - 1] & 0x0F));
    for (int j = n - 2; j >= 0; --j) {
        int w = 99 - pairValue[span[j]] + static_cast<int>(carry);
        if (w > 99) {
            w = 0;
        } else {
            carry = 0;
            if (w >= 91) w -= 90;
            if (w < 0) w += 100;
        }
        span[j] = pairByte[w];
    }
}

// A proper ten's complement of zoned digits.
void complementZoned(uint8_t* span, int n) {
    int carry = 1;
    for (int j = n - 1; j >= 0; --j) {
        int d = 9 - (span[j] & 0x0F) + carry;
        if (d > 9) d = 0;
        else carry = 0;
        span[j] = static_cast<uint8_t>(0x30 | (d & 0x0F));
    }
}

inline uint64_t magnitude(int64_t v) { return v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v); }

}  // namespace

extern "C" {

// ---------------------------------------------------------------- packed

int zvkBcdAddPacked(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                    int32_t dstDigits, bool signsResolved) {
    const uint8_t* p1 = static_cast<const uint8_t*>(first);
    const uint8_t* p2 = static_cast<const uint8_t*>(second);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b1 = packedBytes(firstDigits), b2 = packedBytes(secondDigits);
    const int db = packedBytes(dstDigits);
    const bool n1 = packedNegative(p1[b1 - 1]), n2 = packedNegative(p2[b2 - 1]);
    if (b1 == db && b2 == db && db <= 16 && (signsResolved || n1 == n2)) {
        if (addSameShape(p1, p2, d, db, (digitsOf(dstDigits) & 1) == 0)) return 1;
    }
    skipZeroBytes(p1, b1);
    skipZeroBytes(p2, b2);
    if (!signsResolved && n1 != n2) {
        const int c1 = significantDigits(p1, b1), c2 = significantDigits(p2, b2);
        if (c2 > c1 || (c1 == c2 && zvkBcdCmpPacked(first, firstDigits, second, secondDigits, 1) < 0))
            return zvkBcdSubPacked(second, secondDigits, first, firstDigits, dst, dstDigits, true);
        return zvkBcdSubPacked(first, firstDigits, second, secondDigits, dst, dstDigits, true);
    }
    const uint8_t sign = n1 ? 0x0D : 0x0C;
    if (b1 > db) p1 += b1 - db, b1 = db;
    if (b2 > db) p2 += b2 - db, b2 = db;
    const uint8_t *L = p1, *S = p2;
    int bl = b1, bs = b2;
    if (b2 > b1) L = p2, S = p1, bl = b2, bs = b1;
    if (db > bl) memset(d, 0, db - bl);
    // Bytes from the end: the last ones, then the rest both have.
    const uint8_t* el = L + bl;
    const uint8_t* es = S + bs;
    uint8_t* ed = d + db;
    unsigned carry = 0;
    int i = 0;
    bool last = true;
    for (; bs - i >= 8; i += 8, last = false) addChunk<8>(el - i - 8, es - i - 8, ed - i - 8, carry, last);
    if (bs - i >= 4) addChunk<4>(el - i - 4, es - i - 4, ed - i - 4, carry, last), i += 4, last = false;
    if (bs - i >= 2) addChunk<2>(el - i - 2, es - i - 2, ed - i - 2, carry, last), i += 2, last = false;
    if (bs - i >= 1) {
        ed[-i - 1] = last ? addLastByte(el[-i - 1], es[-i - 1], carry) : addByte(el[-i - 1], es[-i - 1], carry);
        ++i;
    }
    ed[-1] = static_cast<uint8_t>((ed[-1] & 0xF0) | sign);
    // A carry runs on through the long operand; the rest is copied.
    for (; carry && i < bl; ++i) ed[-i - 1] = addByte(el[-i - 1], 0, carry);
    if (i < bl) memmove(ed - bl, el - bl, bl - i);
    if (carry && db > bl) d[db - bl - 1] = 0x01;
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
    return 1;
}

int zvkBcdSubPacked(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                    int32_t dstDigits, bool signsResolved) {
    const uint8_t* p1 = static_cast<const uint8_t*>(first);
    const uint8_t* p2 = static_cast<const uint8_t*>(second);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b1 = packedBytes(firstDigits), b2 = packedBytes(secondDigits);
    const int db = packedBytes(dstDigits);
    const bool n1 = packedNegative(p1[b1 - 1]), n2 = packedNegative(p2[b2 - 1]);
    if (!signsResolved && n1 != n2) return zvkBcdAddPacked(first, firstDigits, second, secondDigits, dst, dstDigits, true);
    skipZeroBytes(p1, b1);
    skipZeroBytes(p2, b2);
    bool negative = n1;
    const uint8_t *L = p1, *S = p2;
    int bl = b1, bs = b2;
    if (significantDigits(p1, b1) < significantDigits(p2, b2)) L = p2, S = p1, bl = b2, bs = b1, negative = !n1;
    if (db > bl) memset(d, 0, db - bl);
    int borrow = 0, i = 1;
    for (; i <= bs; ++i) {
        int v = pairValue[L[bl - i]] - pairValue[S[bs - i]] - borrow;
        borrow = v < 0;
        while (v < 0) v += 100;
        if (i <= db) d[db - i] = pairByte[v];
    }
    for (; borrow && i <= bl; ++i) {
        int v = pairValue[L[bl - i]] - 1;
        if (v < 0) v = 99;
        else borrow = 0;
        if (i <= db) d[db - i] = pairByte[v];
    }
    const int stored = bl < db ? bl : db;
    if (i <= stored) memmove(d + db - stored, L + bl - stored, stored - i + 1);
    if (borrow) {
        complementPacked(d + db - stored, stored);
        negative = !negative;
    }
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
    return 1;
}

int zvkBcdIncPacked(void* op, int32_t opDigits, int64_t value, bool signsResolved) {
    if (value == 0) return 1;
    uint8_t* p = static_cast<uint8_t*>(op);
    const int b = packedBytes(opDigits);
    const bool negative = packedNegative(p[b - 1]);
    if (!signsResolved && negative != (value < 0)) return zvkBcdDecPacked(op, opDigits, value, true);
    uint64_t m = magnitude(value);
    unsigned carry = 0;
    unsigned h = (p[b - 1] & 0xF0) + static_cast<unsigned>(m % 10) * 16;
    if (h > 0x90) h += 0x60, carry = 1;
    p[b - 1] = static_cast<uint8_t>((h & 0xF0) | (p[b - 1] & 0x0F));
    m /= 10;
    int i = 2;
    for (; m && i <= b; ++i, m /= 100) p[b - i] = addByte(p[b - i], pairByte[m % 100], carry);
    for (; carry && i <= b; ++i) p[b - i] = addByte(p[b - i], 0, carry);
    if ((digitsOf(opDigits) & 1) == 0) p[0] &= 0x0F;
    p[b - 1] = static_cast<uint8_t>((p[b - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    return 1;
}

// The units digit's borrow inverts the item's sign for good, even when the
// next digit absorbs it (15 - 7 is -8): the behaviour of this system.
int zvkBcdDecPacked(void* op, int32_t opDigits, int64_t value, bool signsResolved) {
    if (value == 0) return 1;
    uint8_t* p = static_cast<uint8_t*>(op);
    const int b = packedBytes(opDigits);
    bool negative = packedNegative(p[b - 1]);
    const bool valueNegative = value < 0;
    if (!signsResolved && negative != valueNegative) return zvkBcdIncPacked(op, opDigits, value, true);
    const bool negativeWhenValueIsLonger = signsResolved ? valueNegative : !valueNegative;
    uint64_t m = magnitude(value);
    int borrow = 0;
    int u = (p[b - 1] >> 4) - static_cast<int>(m % 10);
    if (u < 0) u += 10, borrow = 1, negative = !negative;
    p[b - 1] = static_cast<uint8_t>(((u & 0x0F) << 4) | (p[b - 1] & 0x0F));
    m /= 10;
    int i = 2;
    for (; m && i <= b; ++i, m /= 100) {
        int v = pairValue[p[b - i]] - static_cast<int>(m % 100) - borrow;
        borrow = v < 0;
        while (v < 0) v += 100;
        p[b - i] = pairByte[v];
    }
    if (borrow) {
        for (; borrow && i <= b; ++i) {
            int v = pairValue[p[b - i]] - 1;
            if (v < 0) v = 99;
            else borrow = 0;
            p[b - i] = pairByte[v];
        }
        if (borrow) {
            complementPacked(p, b);
            negative = !negative;
        }
    }
    if (m) {
        complementPacked(p, b);
        negative = negativeWhenValueIsLonger;
    }
    if ((digitsOf(opDigits) & 1) == 0) p[0] &= 0x0F;
    p[b - 1] = static_cast<uint8_t>((p[b - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    return 1;
}

int zvkBcdCmpPacked(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, int magnitudeOnly) {
    const uint8_t* a = static_cast<const uint8_t*>(op1);
    const uint8_t* b = static_cast<const uint8_t*>(op2);
    int na = packedBytes(op1Digits), nb = packedBytes(op2Digits);
    if (na == nb && a == b) return 0;
    const bool neg1 = packedNegative(a[na - 1]), neg2 = packedNegative(b[nb - 1]);
    const bool same = neg1 == neg2;
    const int big1 = magnitudeOnly ? 1 : (neg1 ? -1 : 1);
    const int big2 = magnitudeOnly ? -1 : (neg2 ? 1 : -1);
    auto quick = [&](int n) {
        int c = compareBytes(a, b, n - 1);
        if (c == 0) {
            const int h1 = a[n - 1] >> 4, h2 = b[n - 1] >> 4;
            c = h1 == h2 ? 0 : (h1 > h2 ? 1 : -1);
        }
        return (magnitudeOnly || !neg1) ? c : -c;
    };
    if (na == nb && (same || magnitudeOnly)) return quick(na);
    skipZeroBytes(a, na);
    skipZeroBytes(b, nb);
    // The first byte of the longer one is not zero: it is the bigger.
    if (na != nb) return na > nb ? big1 : big2;
    if (same || magnitudeOnly) return quick(na);
    const int c = compareBytes(a, b, na - 1);
    if (c) return c > 0 ? big1 : big2;
    const int h1 = a[na - 1] >> 4, h2 = b[na - 1] >> 4;
    if (h1 != h2) return h1 > h2 ? big1 : big2;
    if (h1 == 0 && allZero(a, na - 1)) return 0;
    return neg1 ? -1 : 1;
}

// ---------------------------------------------------------------- zoned

int zvkBcdAddZoned(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                   int32_t dstDigits, bool signsResolved) {
    const uint8_t* p1 = static_cast<const uint8_t*>(first);
    const uint8_t* p2 = static_cast<const uint8_t*>(second);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int n1 = digitsOf(firstDigits), n2 = digitsOf(secondDigits);
    const int dn = digitsOf(dstDigits);
    if (n1 == 0) p1 = kZonedZero, n1 = 1;
    if (n2 == 0) p2 = kZonedZero, n2 = 1;
    const uint8_t c1 = kZonedDecode[p1[n1 - 1]], c2 = kZonedDecode[p2[n2 - 1]];
    const bool neg1 = c1 & 0x80, neg2 = c2 & 0x80;
    skipZeroDigits(p1, n1);
    skipZeroDigits(p2, n2);
    if (!signsResolved && neg1 != neg2) {
        if (n2 > n1 || (n1 == n2 && zvkBcdCmpZoned(first, firstDigits, second, secondDigits, 1) < 0))
            return zvkBcdSubZoned(second, secondDigits, first, firstDigits, dst, dstDigits, true);
        return zvkBcdSubZoned(first, firstDigits, second, secondDigits, dst, dstDigits, true);
    }
    if (dn == 0) return 1;
    if (n1 > dn) p1 += n1 - dn, n1 = dn;
    if (n2 > dn) p2 += n2 - dn, n2 = dn;
    const uint8_t *L = p1, *S = p2;
    int nl = n1, ns = n2;
    uint8_t cl = c1, cs = c2;
    if (n2 > n1) L = p2, S = p1, nl = n2, ns = n1, cl = c2, cs = c1;
    if (dn > nl) memset(d, '0', dn - nl);
    unsigned carry = 0;
    int i = 1;
    for (; i <= ns; ++i) {
        unsigned s = (i == 1 ? (cl & 0x0F) + (cs & 0x0F) : (L[nl - i] & 0x0Fu) + (S[ns - i] & 0x0Fu)) + carry;
        carry = s > 9;
        if (carry) s = (s + 6) & 0x0F;
        d[dn - i] = static_cast<uint8_t>(0x30 | s);
    }
    for (; carry && i <= nl; ++i) {
        unsigned s = (L[nl - i] & 0x0Fu) + 1;
        carry = s > 9;
        if (carry) s = (s + 6) & 0x0F;
        d[dn - i] = static_cast<uint8_t>(0x30 | s);
    }
    if (i <= nl) memmove(d + dn - nl, L, nl - i + 1);
    if (carry && dn > nl) d[dn - nl - 1] = '1';
    d[dn - 1] = static_cast<uint8_t>((d[dn - 1] & 0x0F) | (neg1 ? 0x70 : 0x30));
    return 1;
}

int zvkBcdSubZoned(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                   int32_t dstDigits, bool signsResolved) {
    const uint8_t* p1 = static_cast<const uint8_t*>(first);
    const uint8_t* p2 = static_cast<const uint8_t*>(second);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int n1 = digitsOf(firstDigits), n2 = digitsOf(secondDigits);
    const int dn = digitsOf(dstDigits);
    if (n1 == 0) p1 = kZonedZero, n1 = 1;
    if (n2 == 0) p2 = kZonedZero, n2 = 1;
    const uint8_t c1 = kZonedDecode[p1[n1 - 1]], c2 = kZonedDecode[p2[n2 - 1]];
    const bool neg1 = c1 & 0x80, neg2 = c2 & 0x80;
    if (!signsResolved && neg1 != neg2) return zvkBcdAddZoned(first, firstDigits, second, secondDigits, dst, dstDigits, true);
    if (dn == 0) return 1;
    skipZeroDigits(p1, n1);
    skipZeroDigits(p2, n2);
    bool negative = neg1;
    const uint8_t *L = p1, *S = p2;
    int nl = n1, ns = n2;
    uint8_t cl = c1, cs = c2;
    if (n1 < n2) L = p2, S = p1, nl = n2, ns = n1, cl = c2, cs = c1, negative = !neg1;
    if (dn > nl) memset(d, '0', dn - nl);
    int borrow = 0, i = 1;
    for (; i <= ns; ++i) {
        int v = (i == 1 ? (cl & 0x0F) - (cs & 0x0F) : (L[nl - i] & 0x0F) - (S[ns - i] & 0x0F)) - borrow;
        borrow = v < 0;
        while (v < 0) v += 10;
        if (i <= dn) d[dn - i] = static_cast<uint8_t>(0x30 | (v & 0x0F));
    }
    for (; borrow && i <= nl; ++i) {
        int v = (L[nl - i] & 0x0F) - 1;
        if (v < 0) v = 9;
        else borrow = 0;
        if (i <= dn) d[dn - i] = static_cast<uint8_t>(0x30 | v);
    }
    const int stored = nl < dn ? nl : dn;
    if (i <= stored) memmove(d + dn - stored, L + nl - stored, stored - i + 1);
    if (borrow) {
        complementZoned(d + dn - stored, stored);
        negative = !negative;
    }
    d[dn - 1] = static_cast<uint8_t>((d[dn - 1] & 0x0F) | (negative ? 0x70 : 0x30));
    return 1;
}

int zvkBcdIncZoned(void* op, int32_t opDigits, int64_t value, bool signsResolved) {
    uint8_t* p = static_cast<uint8_t*>(op);
    const int n = digitsOf(opDigits);
    if (value == 0 || n == 0) return 1;
    const bool negative = zonedNegative(p[n - 1]);
    if (!signsResolved && negative != (value < 0)) return zvkBcdDecZoned(op, opDigits, value, true);
    uint64_t m = magnitude(value);
    unsigned carry = 0;
    for (int i = 1; i <= n && (m || carry); ++i, m /= 10) {
        unsigned s = (i == 1 ? zonedDigit(p[n - 1]) : (p[n - i] & 0x0Fu)) + static_cast<unsigned>(m % 10) + carry;
        carry = s > 9;
        if (carry) s = (s + 6) & 0x0F;
        p[n - i] = static_cast<uint8_t>(0x30 | s);
    }
    p[n - 1] = static_cast<uint8_t>((p[n - 1] & 0x0F) | (negative ? 0x70 : 0x30));
    return 1;
}

int zvkBcdDecZoned(void* op, int32_t opDigits, int64_t value, bool signsResolved) {
    uint8_t* p = static_cast<uint8_t*>(op);
    const int n = digitsOf(opDigits);
    if (value == 0 || n == 0) return 1;
    bool negative = zonedNegative(p[n - 1]);
    const bool valueNegative = value < 0;
    if (!signsResolved && negative != valueNegative) return zvkBcdIncZoned(op, opDigits, value, true);
    const bool negativeWhenValueIsLonger = signsResolved ? valueNegative : !valueNegative;
    uint64_t m = magnitude(value);
    int borrow = 0;
    int i = 1;
    for (; i <= n && (m || borrow); ++i, m /= 10) {
        int v = (i == 1 ? zonedDigit(p[n - 1]) : (p[n - i] & 0x0F)) - static_cast<int>(m % 10) - borrow;
        borrow = v < 0;
        while (v < 0) v += 10;
        p[n - i] = static_cast<uint8_t>(0x30 | (v & 0x0F));
    }
    if (i == 1) p[n - 1] = static_cast<uint8_t>(0x30 | zonedDigit(p[n - 1]));
    if (borrow) {
        complementZoned(p, n);
        negative = !negative;
    }
    if (m) {
        complementZoned(p, n);
        negative = negativeWhenValueIsLonger;
    }
    p[n - 1] = static_cast<uint8_t>((p[n - 1] & 0x0F) | (negative ? 0x70 : 0x30));
    return 1;
}

int zvkBcdCmpZoned(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, int magnitudeOnly) {
    const uint8_t* a = static_cast<const uint8_t*>(op1);
    const uint8_t* b = static_cast<const uint8_t*>(op2);
    int na = digitsOf(op1Digits), nb = digitsOf(op2Digits);
    if (na == nb && a == b) return 0;
    if (na == 0) a = kZonedZero, na = 1;
    if (nb == 0) b = kZonedZero, nb = 1;
    const uint8_t ca = kZonedDecode[a[na - 1]], cb = kZonedDecode[b[nb - 1]];
    const bool neg1 = ca & 0x80, neg2 = cb & 0x80;
    const bool same = neg1 == neg2;
    const int big1 = magnitudeOnly ? 1 : (neg1 ? -1 : 1);
    const int big2 = magnitudeOnly ? -1 : (neg2 ? 1 : -1);
    const int da = ca & 0x0F, db = cb & 0x0F;
    // The quick path compares the bytes as they are, zones included.
    auto quick = [&](int n) {
        int c = compareBytes(a, b, n - 1);
        if (c == 0) c = da == db ? 0 : (da > db ? 1 : -1);
        return (magnitudeOnly || !neg1) ? c : -c;
    };
    if (na == nb && (same || magnitudeOnly)) return quick(na);
    skipZeroDigits(a, na);
    skipZeroDigits(b, nb);
    if (na != nb) return na > nb ? big1 : big2;
    if (same || magnitudeOnly) return quick(na);
    const int c = compareBytes(a, b, na - 1, 0x0F0F0F0F0F0F0F0Full);
    if (c) return c > 0 ? big1 : big2;
    if (da != db) return da > db ? big1 : big2;
    if (da == 0 && lowNibblesZero(a, na - 1)) return 0;
    return neg1 ? -1 : 1;
}

}  // extern "C"
