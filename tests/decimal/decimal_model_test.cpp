// Differential tests of the decimal entry points against the wide-integer
// model of model.h: random operands of 1 to 31 digits, every sign nibble
// and zone, negative zero, results too long for the destination, and
// operands at every address alignment 0 to 7, so that each word width and
// the byte path run.  The model follows the system's rules, the packed
// subtraction's pair reduction and the packed decrement's sign included.

#include "decimal/decimal.h"
#include "kvr2/decimal.h"
#include "model.h"

using namespace model;

namespace {

constexpr int kCases = 6000;

class Decimal : public ::testing::Test {
   protected:
    void SetUp() override { zvkBcdMode.store(0); }
    void TearDown() override { zvkBcdMode.store(0); }
    std::mt19937_64 rng{0x5EED0007};
    int digits() { return 1 + int(rng() % 31); }
    int offset(int i, int k) { return (i >> (3 * k)) & 7; }
};

// ---- the model of the arithmetic ----

// Subtraction of magnitudes with the signs alike (or one worker calling
// the other): the operand with fewer significant digits goes second; a
// borrow left at the end complements the stored digits, packed with the
// pair reduction, zoned truly.
Value subSame(u128 a, bool negA, u128 b, int dd, bool packedForm) {
    bool neg = negA;
    if (sig(a) < sig(b)) std::swap(a, b), neg = !negA;
    if (packedForm) {
        const int L = pbytes(sig(a)), c = std::min(pbytes(dd), L), w = 2 * c - 1;
        if (a >= b) return {neg, ((a - b) % p10(w)) % p10(dd)};
        const u128 pre = (a + p10(2 * L - 1) - b) % p10(w);
        return {!neg, complementReduced(pre, c) % p10(dd)};
    }
    const int w = std::min(dd, sig(a));
    if (a >= b) return {neg, (a - b) % p10(dd)};
    return {!neg, (b - a) % p10(w)};
}

Value addModel(Value a, Value b, int dd, bool subtract, bool packedForm) {
    if (subtract) {
        if (a.neg != b.neg) return {a.neg, (a.mag + b.mag) % p10(dd)};
        return subSame(a.mag, a.neg, b.mag, dd, packedForm);
    }
    if (a.neg == b.neg) return {a.neg, (a.mag + b.mag) % p10(dd)};
    const bool secondFirst = sig(b.mag) > sig(a.mag) || (sig(b.mag) == sig(a.mag) && b.mag > a.mag);
    return secondFirst ? subSame(b.mag, b.neg, a.mag, dd, packedForm) : subSame(a.mag, a.neg, b.mag, dd, packedForm);
}

// Increment and decrement of an n-digit item in place.
Value incDecModel(Value x, int n, int64_t value, bool decrement, bool packedForm) {
    const bool vneg = value < 0;
    const u128 m = vneg ? u128(0 - uint64_t(value)) : u128(uint64_t(value));
    if (value == 0) return x;
    const bool sub = decrement ? (x.neg == vneg) : (x.neg != vneg);
    const int width = packedForm ? 2 * pbytes(n) - 1 : n;
    if (!sub) return {x.neg, (x.mag + m) % p10(n)};
    bool neg = x.neg;
    const bool reserved = !x.neg;
    // the packed units borrow inverts the sign for good
    if (packedForm && int(x.mag % 10) < int(m % 10)) neg = !neg;
    const u128 mt = m % p10(width);
    u128 stored;
    if (x.mag >= mt) {
        stored = x.mag - mt;
    } else {
        stored = x.mag + p10(width) - mt;
        stored = packedForm ? complementReduced(stored, pbytes(n)) : (p10(width) - stored) % p10(width);
        neg = !neg;
    }
    if (m >= p10(width)) {
        stored = packedForm ? complementReduced(stored, pbytes(n)) : (p10(width) - stored) % p10(width);
        neg = reserved;
    }
    return {neg, stored % p10(n)};
}

struct Operand {
    Value v;
    Bytes image;
};
Operand randomPacked(std::mt19937_64& rng, int n) {
    u128 mag = randomMagnitude(rng, n);
    bool neg = rng() % 2;
    return {{neg, mag}, packed(mag, n, randomSignNibble(rng, neg))};
}
Operand randomZoned(std::mt19937_64& rng, int n) {
    u128 mag = randomMagnitude(rng, n);
    bool neg = rng() % 2;
    Bytes img = zoned(TO, mag, n, neg);
    img[n - 1] = randomZonedSign(rng, digitAt(mag, 0), neg);
    return {{neg, mag}, img};
}

// ---- add and subtract ----

using Entry2 = void* (*)(const void*, const void*, void*, int32_t, int32_t, int32_t);

void runBinary(std::mt19937_64& rng, Entry2 entry, bool subtract, bool packedForm) {
    for (int i = 0; i < kCases; ++i) {
        const int n1 = 1 + int(rng() % 31), n2 = 1 + int(rng() % 31);
        const int nd = (i % 5 == 0) ? 1 + int(rng() % 31) : std::max(n1, n2) + int(rng() % 3) - 1;
        Operand a = packedForm ? randomPacked(rng, n1) : randomZoned(rng, n1);
        Operand b = packedForm ? randomPacked(rng, n2) : randomZoned(rng, n2);
        const Value want = addModel(a.v, b.v, std::max(nd, 1), subtract, packedForm);
        const int ndd = std::max(nd, 1);
        const Bytes expect = packedForm ? packedResult(want.mag, ndd, want.neg) : zoned(TO, want.mag, ndd, want.neg);
        const int o1 = i & 7, o2 = (i >> 3) & 7, od = (i >> 6) & 7;
        Placed p1(a.image, o1), p2(b.image, o2);
        Placed pd(Bytes(expect.size(), 0xEE), od);
        void* r = entry(p1.p(), p2.p(), pd.p(), ndd, n2, n1);
        ASSERT_EQ(r, pd.p());
        ASSERT_EQ(hex(pd.bytes()), hex(expect))
            << (subtract ? "SUB " : "ADD ") << hex(a.image) << " (" << n1 << ") , " << hex(b.image) << " (" << n2
            << ") into " << ndd << " at " << o1 << o2 << od;
        ASSERT_TRUE(p1.canariesIntact() && p2.canariesIntact() && pd.canariesIntact());
        ASSERT_EQ(p1.bytes(), a.image);
        ASSERT_EQ(p2.bytes(), b.image);
        // The second operand as destination: ADD A TO B.
        if (n2 == ndd) {
            Placed q1(a.image, o1), q2(b.image, od);
            entry(q1.p(), q2.p(), q2.p(), ndd, n2, n1);
            ASSERT_EQ(hex(q2.bytes()), hex(expect)) << "aliased with the second operand";
        }
        if (n1 == ndd) {
            Placed q1(a.image, o1), q2(b.image, o2);
            entry(q1.p(), q2.p(), q1.p(), ndd, n2, n1);
            ASSERT_EQ(hex(q1.bytes()), hex(expect)) << "aliased with the first operand";
        }
    }
}

TEST_F(Decimal, PackedAddMatchesModel) { runBinary(rng, _zvkcBCD_ADD_Pckd, false, true); }
TEST_F(Decimal, PackedSubtractMatchesModel) { runBinary(rng, _zvkcBCD_SUB_Pckd, true, true); }
TEST_F(Decimal, ZonedAddMatchesModel) { runBinary(rng, _zvkcBCD_ADD_Znd, false, false); }
TEST_F(Decimal, ZonedSubtractMatchesModel) { runBinary(rng, _zvkcBCD_SUB_Znd, true, false); }

// Carries across every word boundary: all nines and 9000-like operands of
// every length at every alignment.
TEST_F(Decimal, PackedCarryStormsAtEveryLengthAndAlignment) {
    for (int n = 1; n <= 31; ++n)
        for (int pat = 0; pat < 4; ++pat)
            for (int off = 0; off < 8; ++off) {
                u128 a = pat == 0 ? p10(n) - 1 : pat == 1 ? 9 * p10(n - 1) : pat == 2 ? p10(n) - 1 : p10(n) / 2;
                u128 b = pat == 0 ? 1 : pat == 1 ? 9 * p10(n - 1) : pat == 2 ? p10(n) - 1 : p10(n) / 2;
                for (int dd : {n, n + 1}) {
                    Placed p1(packed(a, n, 0xC), off), p2(packed(b, n, 0xC), (off + 3) & 7);
                    Placed pd(Bytes(pbytes(dd), 0), (off + 5) & 7);
                    _zvkcBCD_ADD_Pckd(p1.p(), p2.p(), pd.p(), dd, n, n);
                    ASSERT_EQ(hex(pd.bytes()), hex(packedResult((a + b) % p10(dd), dd, false)))
                        << "n=" << n << " pattern " << pat << " offset " << off;
                }
            }
}

// With validation off any nibble reaches the addition; the word steps must
// give what the byte steps give.  The reference here adds byte by byte.
uint8_t refAddByte(unsigned a, unsigned b, unsigned& carry) {
    const unsigned s = a + b + carry, t = s + 0x66, x = (a ^ b ^ t) & 0x110;
    carry = (t >> 8) & 1;
    return uint8_t(s + (x >> 2) + (x >> 3));
}
Bytes refAddSameSign(Bytes a, Bytes b, int dd) {
    auto skip = [](Bytes& v) {
        while (v.size() > 1 && v[0] == 0) v.erase(v.begin());
    };
    const uint8_t sign = (a.back() & 15) == 0xB || (a.back() & 15) == 0xD ? 0xD : 0xC;
    skip(a), skip(b);
    const size_t db = pbytes(dd);
    if (a.size() > db) a.erase(a.begin(), a.end() - db);
    if (b.size() > db) b.erase(b.begin(), b.end() - db);
    if (b.size() > a.size()) std::swap(a, b);
    Bytes d(db, 0);
    unsigned h = (a.back() & 0xF0) + (b.back() & 0xF0), carry = 0;
    if (h > 0x90) h += 0x60, carry = 1;
    d[db - 1] = uint8_t((h & 0xF0) | sign);
    size_t i = 2;
    for (; i <= b.size(); ++i) d[db - i] = refAddByte(a[a.size() - i], b[b.size() - i], carry);
    for (; i <= a.size(); ++i) d[db - i] = carry ? refAddByte(a[a.size() - i], 0, carry) : a[a.size() - i];
    if (carry && db > a.size()) d[db - a.size() - 1] = 1;
    if (dd % 2 == 0) d[0] &= 0x0F;
    return d;
}

TEST_F(Decimal, PackedAddWordStepsEqualByteStepsOnAnyNibbles) {
    zvkBcdMode.store(kBcdNoValidate);
    for (int i = 0; i < kCases; ++i) {
        const int n1 = digits(), n2 = digits(), nd = digits();
        Bytes a(pbytes(n1)), b(pbytes(n2));
        for (auto& x : a) x = uint8_t(rng());
        for (auto& x : b) x = uint8_t(rng());
        a.back() = uint8_t((a.back() & 0xF0) | 0xC);
        b.back() = uint8_t((b.back() & 0xF0) | (rng() % 2 ? 0xC : 0xF));
        Placed p1(a, i & 7), p2(b, (i >> 3) & 7), pd(Bytes(pbytes(nd), 0), (i >> 6) & 7);
        _zvkcBCD_ADD_Pckd(p1.p(), p2.p(), pd.p(), nd, n2, n1);
        ASSERT_EQ(hex(pd.bytes()), hex(refAddSameSign(a, b, nd))) << hex(a) << " + " << hex(b) << " into " << nd;
    }
}

// ADD A TO B on items of one size takes a path of its own; it must give the
// byte steps' bytes and raise the validator's messages, whatever the
// nibbles.  The reference adds byte by byte; the validator is asked
// directly how many messages to expect.
TEST_F(Decimal, EqualShapeAddEqualsByteStepsAndReportsAsTheValidator) {
    for (int i = 0; i < kCases; ++i) {
        const int n = digits();
        const int b = pbytes(n);
        Bytes x(b), y(b);
        for (auto& v : x) v = uint8_t(rng());
        for (auto& v : y) v = uint8_t(rng());
        if (i % 3) {  // mostly digits, so that the whole-item step runs
            x = packed(randomMagnitude(rng, n), n, randomSignNibble(rng, rng() % 2));
            y = packed(randomMagnitude(rng, n), n, randomSignNibble(rng, rng() % 2));
            if (i % 7 == 0) y[rng() % b] |= 0xA0;
        }
        const bool sameSign = ((x.back() & 15) == 0xB || (x.back() & 15) == 0xD) ==
                              ((y.back() & 15) == 0xB || (y.back() & 15) == 0xD);
        Placed p1(x, i & 7), p2(y, (i >> 3) & 7), pd(Bytes(b, 0), (i >> 6) & 7);
        const int expectedMessages = zvkBcdCheckPacked(p1.p(), n, 0) + zvkBcdCheckPacked(p2.p(), n, 0);
        testing::internal::CaptureStderr();
        _zvkcBCD_ADD_Pckd(p1.p(), p2.p(), pd.p(), n, n, n);
        const std::string err = testing::internal::GetCapturedStderr();
        int messages = 0;
        for (size_t at = 0; (at = err.find("ZVK903W", at)) != std::string::npos; ++at) ++messages;
        ASSERT_EQ(messages, expectedMessages) << hex(x) << " + " << hex(y);
        if (sameSign) {  // the whole-item step applies only to one sign
            ASSERT_EQ(hex(pd.bytes()), hex(refAddSameSign(x, y, n))) << hex(x) << " + " << hex(y);
        }
    }
}

// ---- increment and decrement ----

TEST_F(Decimal, IncrementAndDecrementMatchModel) {
    using E8 = void* (*)(void*, int32_t, int64_t);
    using E4 = void* (*)(void*, int32_t, int32_t);
    for (int i = 0; i < 4 * kCases; ++i) {
        const bool packedForm = i % 2, decrement = (i >> 1) % 2, wide = (i >> 2) % 2;
        const int n = digits();
        Operand x = packedForm ? randomPacked(rng, n) : randomZoned(rng, n);
        int64_t v;
        switch (rng() % 4) {
            case 0: v = int64_t(rng() % 20) - 10; break;
            case 1: v = int64_t(rng() % 2000001) - 1000000; break;
            case 2: v = int64_t(rng()); break;
            default: v = wide ? INT64_MIN + int64_t(rng() % 2) : INT32_MIN;
        }
        if (!wide) v = int32_t(v);
        const Value want = incDecModel(x.v, n, v, decrement, packedForm);
        Bytes expect = packedForm ? packedResult(want.mag, n, want.neg) : zoned(TO, want.mag, n, want.neg);
        if (v == 0) expect = x.image;
        Placed p(x.image, i & 7);
        void* r;
        if (wide) {
            E8 e = packedForm ? (decrement ? _zvkcBCD_SUB_Pckd_Int8 : _zvkcBCD_ADD_Pckd_Int8)
                              : (decrement ? _zvkcBCD_SUB_Znd_Int8 : _zvkcBCD_ADD_Znd_Int8);
            r = e(p.p(), n, v);
        } else {
            E4 e = packedForm ? (decrement ? _zvkcBCD_SUB_Pckd_Int4 : _zvkcBCD_ADD_Pckd_Int4)
                              : (decrement ? _zvkcBCD_SUB_Znd_Int4 : _zvkcBCD_ADD_Znd_Int4);
            r = e(p.p(), n, int32_t(v));
        }
        ASSERT_EQ(r, p.p());
        ASSERT_EQ(hex(p.bytes()), hex(expect)) << (decrement ? "SUB " : "ADD ") << (packedForm ? "packed " : "zoned ")
                                               << hex(x.image) << " (" << n << ") value " << v;
        ASSERT_TRUE(p.canariesIntact());
    }
}

// ---- comparisons ----

TEST_F(Decimal, ComparisonsMatchModel) {
    using C = int (*)(const void*, const void*, int32_t, int32_t);
    const C packedRel[] = {_zvkcBCD_EQU_Pckd, _zvkcBCD_NEQ_Pckd, _zvkcBCD_GRT_Pckd,
                           _zvkcBCD_GEQ_Pckd, _zvkcBCD_LES_Pckd, _zvkcBCD_LEQ_Pckd};
    const C zonedRel[] = {_zvkcBCD_EQU_Znd, _zvkcBCD_NEQ_Znd, _zvkcBCD_GRT_Znd,
                          _zvkcBCD_GEQ_Znd, _zvkcBCD_LES_Znd, _zvkcBCD_LEQ_Znd};
    for (int i = 0; i < 2 * kCases; ++i) {
        const bool packedForm = i % 2;
        const int n1 = digits(), n2 = (i % 3 == 0) ? n1 : digits();
        Operand a = packedForm ? randomPacked(rng, n1) : randomZoned(rng, n1);
        Operand b = packedForm ? randomPacked(rng, n2) : randomZoned(rng, n2);
        if (i % 4 == 0) {  // the same value, perhaps with another sign or length
            b = packedForm ? Operand{{b.v.neg, a.v.mag % p10(n2)}, packed(a.v.mag % p10(n2), n2, b.image.back() & 15)}
                           : Operand{{b.v.neg, a.v.mag % p10(n2)}, zoned(TO, a.v.mag % p10(n2), n2, b.v.neg)};
        }
        auto signedValue = [](Value v) { return v.neg ? -__int128(v.mag) : __int128(v.mag); };
        const __int128 x = signedValue(a.v), y = signedValue(b.v);
        const int c = x < y ? -1 : x > y ? 1 : 0;
        const int want[] = {c == 0, c != 0, c > 0, c >= 0, c < 0, c <= 0};
        Placed p1(a.image, i & 7), p2(b.image, (i >> 3) & 7);
        for (int r = 0; r < 6; ++r) {
            const int got = (packedForm ? packedRel[r] : zonedRel[r])(p1.p(), p2.p(), n2, n1);
            ASSERT_EQ(got, want[r]) << "relation " << r << " of " << hex(a.image) << " (" << n1 << ") and "
                                    << hex(b.image) << " (" << n2 << ")";
        }
        const int zero = packedForm ? _zvkcBCD_NOT_Pckd(p1.p(), n1) : _zvkcBCD_NOT_Znd(p1.p(), n1);
        ASSERT_EQ(zero, a.v.mag == 0 ? 1 : 0) << hex(a.image);
    }
}

// ---- the conversion matrix and copies ----

using Move = void* (*)(const void*, void*, int32_t, int32_t);

const Move kPackedTo[5] = {_zvkcBCD_CONV_Pckd_To_ZndTO, _zvkcBCD_CONV_Pckd_To_ZndTS, _zvkcBCD_CONV_Pckd_To_ZndLO,
                           _zvkcBCD_CONV_Pckd_To_ZndLS, _zvkcBCD_CONV_Pckd_To_ZndUS};
const Move kToPacked[5] = {_zvkcBCD_CONV_ZndTO_To_Pckd, _zvkcBCD_CONV_ZndTS_To_Pckd, _zvkcBCD_CONV_ZndLO_To_Pckd,
                           _zvkcBCD_CONV_ZndLS_To_Pckd, _zvkcBCD_CONV_ZndUS_To_Pckd};
const Move kZoned[5][5] = {
    {_zvkcBCD_CONV_ZndTO_To_ZndTO, _zvkcBCD_CONV_ZndTO_To_ZndTS, _zvkcBCD_CONV_ZndTO_To_ZndLO,
     _zvkcBCD_CONV_ZndTO_To_ZndLS, _zvkcBCD_CONV_ZndTO_To_ZndUS},
    {_zvkcBCD_CONV_ZndTS_To_ZndTO, _zvkcBCD_CONV_ZndTS_To_ZndTS, _zvkcBCD_CONV_ZndTS_To_ZndLO,
     _zvkcBCD_CONV_ZndTS_To_ZndLS, _zvkcBCD_CONV_ZndTS_To_ZndUS},
    {_zvkcBCD_CONV_ZndLO_To_ZndTO, _zvkcBCD_CONV_ZndLO_To_ZndTS, _zvkcBCD_CONV_ZndLO_To_ZndLO,
     _zvkcBCD_CONV_ZndLO_To_ZndLS, _zvkcBCD_CONV_ZndLO_To_ZndUS},
    {_zvkcBCD_CONV_ZndLS_To_ZndTO, _zvkcBCD_CONV_ZndLS_To_ZndTS, _zvkcBCD_CONV_ZndLS_To_ZndLO,
     _zvkcBCD_CONV_ZndLS_To_ZndLS, _zvkcBCD_CONV_ZndLS_To_ZndUS},
    {_zvkcBCD_CONV_ZndUS_To_ZndTO, _zvkcBCD_CONV_ZndUS_To_ZndTS, _zvkcBCD_CONV_ZndUS_To_ZndLO,
     _zvkcBCD_CONV_ZndUS_To_ZndLS, _zvkcBCD_CONV_ZndUS_To_ZndUS}};

// Native source forms; the model's destination sign is negative unless
// the stored value is zero (from packed: unless the source is zero).  With
// the EBCDIC bit the overpunched destinations take the letter form; from a
// separate sign the letter follows the source's sign byte.
TEST_F(Decimal, ConversionMatrixMatchesModel) {
    for (uint32_t mode : {0u, uint32_t(kBcdEbcdic)}) {
        zvkBcdMode.store(mode);
        const bool letters = mode & kBcdEbcdic;
        for (int i = 0; i < kCases; ++i) {
            const int sn = digits(), dn = (i % 3) ? digits() : sn;
            const u128 mag = randomMagnitude(rng, sn);
            const bool neg = rng() % 2;
            const u128 dmag = mag % p10(dn);
            const int from = int(rng() % 6) - 1, to = int(rng() % 6) - 1;  // -1: packed
            if (from < 0 && to < 0) continue;
            const bool sourceSigned = from != US;
            const Bytes src = from < 0 ? packed(mag, sn, neg ? 0xD : 0xC) : zoned(Form(from), mag, sn, neg);
            bool dneg = sourceSigned && neg && (from < 0 ? mag != 0 : dmag != 0);
            Bytes expect;
            if (to < 0) {
                expect = packedResult(dmag, dn, dneg);
            } else {
                expect = zoned(Form(to), dmag, dn, to == US ? false : dneg);
                if (letters && (to == TO || to == LO)) {
                    const bool letterSign = (from == TS || from == LS) ? neg : dneg;
                    uint8_t& b = to == TO ? expect[dn - 1] : expect[0];
                    b = letter(b & 15, letterSign);
                }
            }
            Placed ps(src, i & 7), pd(Bytes(expect.size(), 0xEE), (i >> 3) & 7);
            const Move e = from < 0 ? kPackedTo[to] : to < 0 ? kToPacked[from] : kZoned[from][to];
            ASSERT_EQ(e(ps.p(), pd.p(), dn, sn), pd.p());
            ASSERT_EQ(hex(pd.bytes()), hex(expect))
                << "from " << (from < 0 ? "Pckd" : formName(Form(from))) << " to " << (to < 0 ? "Pckd" : formName(Form(to)))
                << " " << hex(src) << " (" << sn << ") into " << dn << " mode " << mode;
            ASSERT_TRUE(ps.canariesIntact() && pd.canariesIntact());
        }
    }
}

TEST_F(Decimal, CopiesMatchModel) {
    const Move copies[6] = {_zvkcBCD_Cpy_Znd, _zvkcBCD_Cpy_ZndTS, _zvkcBCD_Cpy_ZndLO,
                            _zvkcBCD_Cpy_ZndLS, _zvkcBCD_Cpy_ZndUS, _zvkcBCD_Cpy_Pckd};
    for (int i = 0; i < kCases; ++i) {
        const int f = int(rng() % 6);
        const int sn = digits(), dn = digits();
        const u128 mag = randomMagnitude(rng, sn);
        const bool neg = f != US && rng() % 2;
        const u128 dmag = mag % p10(dn);
        const Bytes src = f == 5 ? packed(mag, sn, neg ? 0xD : 0xC) : zoned(Form(f), mag, sn, neg);
        Bytes expect = f == 5 ? packedResult(dmag, dn, neg && dmag) : zoned(Form(f), dmag, dn, neg && dmag);
        // The move cleans only the last byte: a leading overpunch of a
        // shorter source stays where it lands.
        if (f == LO && dn > sn && sn > 1) expect[dn - sn] = src[0];
        Placed ps(src, i & 7), pd(Bytes(expect.size(), 0xEE), (i >> 3) & 7);
        copies[f](ps.p(), pd.p(), dn, sn);
        ASSERT_EQ(hex(pd.bytes()), hex(expect)) << "copy " << f << " " << hex(src) << " into " << dn;
        ASSERT_TRUE(ps.canariesIntact() && pd.canariesIntact());
    }
}

TEST_F(Decimal, BinaryConversionsMatchModel) {
    for (int i = 0; i < kCases; ++i) {
        const int n = digits();
        int64_t v = int64_t(rng());
        if (i % 3 == 0) v >>= rng() % 63;
        if (i % 7 == 0) v = i % 2 ? INT64_MIN : INT64_MAX;
        const bool neg = v < 0;
        const u128 mag = neg ? u128(0 - uint64_t(v)) : u128(uint64_t(v));
        const u128 dmag = mag % p10(n);
        Placed pp(Bytes(pbytes(n), 0xEE), i & 7), pz(Bytes(n, 0xEE), (i >> 3) & 7);
        _zvkcBCD_CONV_Int8_To_Pckd(v, pp.p(), n);
        ASSERT_EQ(hex(pp.bytes()), hex(packedResult(dmag, n, neg && dmag))) << int64_t(v) << " into " << n;
        _zvkcBCD_CONV_Int8_To_Znd(v, pz.p(), n);
        ASSERT_EQ(hex(pz.bytes()), hex(zoned(TO, dmag, n, neg && dmag))) << int64_t(v) << " into " << n;
        // and back, wrapping in 64 bits
        const u128 smag = randomMagnitude(rng, n);
        const bool sneg = rng() % 2;
        const uint64_t w = uint64_t(smag);
        const int64_t want = (sneg && w) ? int64_t(0 - w) : int64_t(w);
        Placed sp(packed(smag, n, sneg ? 0xD : 0xC), i & 7), sz(zoned(TO, smag, n, sneg), (i >> 3) & 7);
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Int8(sp.p(), n), want) << hex(sp.bytes());
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Uns8(sp.p(), n), w);
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Int4(sp.p(), n), int32_t(want));
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Int2(sp.p(), n), int16_t(want));
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Int1(sp.p(), n), int8_t(want));
        ASSERT_EQ(_zvkcBCD_CONV_Pckd_To_Uns2(sp.p(), n), uint16_t(w));
        ASSERT_EQ(_zvkcBCD_CONV_Znd_To_Int8(sz.p(), n), want) << hex(sz.bytes());
        ASSERT_EQ(_zvkcBCD_CONV_Znd_To_UInt4(sz.p(), n), uint32_t(w));
    }
}

}  // namespace
