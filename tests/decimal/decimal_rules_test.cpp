// The behaviours of decimal arithmetic that a plain big-number model would
// call wrong, each pinned by name on real byte images; the validators' word
// scans with their accepted gaps; and for multiplication, division and
// scaling the work areas beyond the scratch and operands that are also the
// destination.

#include <gtest/gtest.h>

#include <string>

#include "decimal/decimal.h"
#include "kvr2/decimal.h"
#include "kvr2/decimal_muldiv.h"
#include "model.h"

using model::Bytes;
using model::hex;
using model::Placed;

namespace {

class Rules : public ::testing::Test {
   protected:
    void SetUp() override { zvkBcdMode.store(0); }
    void TearDown() override { zvkBcdMode.store(0); }
};

Bytes B(std::initializer_list<int> v) { return Bytes(v.begin(), v.end()); }
Bytes S(const std::string& s) { return Bytes(s.begin(), s.end()); }

std::string add(bool sub, const Bytes& a, int na, const Bytes& b, int nb, int nd, bool packed = true) {
    Placed p1(a, 1), p2(b, 2), pd(Bytes(packed ? nd / 2 + 1 : nd, 0xEE), 3);
    auto e = packed ? (sub ? _zvkcBCD_SUB_Pckd : _zvkcBCD_ADD_Pckd) : (sub ? _zvkcBCD_SUB_Znd : _zvkcBCD_ADD_Znd);
    e(p1.p(), p2.p(), pd.p(), nd, nb, na);
    return hex(pd.bytes());
}
using Move = void* (*)(const void*, void*, int32_t, int32_t);
std::string move(Move e, const Bytes& src, int sn, int dn, int dstBytes) {
    Placed ps(src, 6), pd(Bytes(dstBytes, 0xEE), 7);
    e(ps.p(), pd.p(), dn, sn);
    return hex(pd.bytes());
}
std::string text(const Bytes& b) { return std::string(b.begin(), b.end()); }
std::string text(const std::string& hexText) {
    std::string s;
    for (size_t i = 0; i < hexText.size(); i += 2) s += char(std::stoi(hexText.substr(i, 2), nullptr, 16));
    return s;
}

// ---- signed zeros ----

TEST_F(Rules, NegativeZeroOfCopiesAndConversions) {
    const Bytes minus100 = B({0x10, 0x0D});
    EXPECT_EQ(move(_zvkcBCD_NEG_Pckd, B({0x10, 0x0C}), 3, 2, 2), "000d");                 // zero test on source
    zvkBcdMode.store(kBcdKeepNegZero);
    EXPECT_EQ(move(_zvkcBCD_Cpy_Pckd, minus100, 3, 2, 2), "000d");
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndTO_To_Pckd, S("10p"), 3, 2, 2), "000d");
}

// ---- comparisons ----

TEST_F(Rules, EqualOnTheSameAddressWithoutLookingAtTheData) {
    Placed p(B({0xAB, 0xCD}), 0);
    EXPECT_EQ(_zvkcBCD_EQU_Pckd(p.p(), p.p(), 3, 3), 1);
    EXPECT_EQ(_zvkcBCD_EQU_Pckd(p.p(), p.p(), 3, 2), 1);  // same byte count
    Placed z(S("A?"), 0);
    EXPECT_EQ(_zvkcBCD_EQU_Znd(z.p(), z.p(), 2, 2), 1);
}
TEST_F(Rules, ZonedQuickPathSeesZones) {
    Placed a(S("12"), 0), b(B({0xF1, 0x32}), 1), c(B({0xF1, 0x32, 0x30}), 2), d(S("012"), 3);
    EXPECT_EQ(_zvkcBCD_EQU_Znd(a.p(), b.p(), 2, 2), 0);  // same length, same sign: bytes
    (void)c;
    EXPECT_EQ(_zvkcBCD_EQU_Znd(a.p(), d.p(), 3, 2), 1);  // different lengths: digits
}

// ---- absolute value and negation of leading overpunch ----

TEST_F(Rules, AbsAndNegOfLeadingOverpunchAsymmetries) {
    // The digit of the source's first byte lands on the padding.
    EXPECT_EQ(text(move(_zvkcBCD_ABS_ZndLO, S("q2"), 2, 4, 4)), "10q2");
    EXPECT_EQ(text(move(_zvkcBCD_ABS_ZndLO, S("q2"), 2, 2, 2)), "12");
    // NEG_ZndLO keeps the sign it had.
    EXPECT_EQ(text(move(_zvkcBCD_NEG_ZndLO, S("q2"), 2, 2, 2)), "q2");
    EXPECT_EQ(text(move(_zvkcBCD_NEG_ZndLO, S("12"), 2, 2, 2)), "12");
    EXPECT_EQ(text(move(_zvkcBCD_NEG_ZndLO, S("p0"), 2, 2, 2)), "00");
    zvkBcdMode.store(kBcdKeepNegZero);
    EXPECT_EQ(text(move(_zvkcBCD_NEG_ZndLO, S("p0"), 2, 2, 2)), "p0");
    zvkBcdMode.store(0);
    EXPECT_EQ(text(move(_zvkcBCD_NEG_Znd, S("12"), 2, 2, 2)), "1r");
    EXPECT_EQ(text(move(_zvkcBCD_NEG_Znd, S("1r"), 2, 2, 2)), "12");
    EXPECT_EQ(text(move(_zvkcBCD_ABS_Znd, S("1r"), 2, 2, 2)), "12");
    EXPECT_EQ(move(_zvkcBCD_ABS_Pckd, B({0x12, 0x3D}), 3, 3, 2), "123c");
}

// ---- the conversion matrix ----

TEST_F(Rules, ConversionCells) {
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndUS_To_Pckd, S("+123"), 4, 3, 2), "123c");
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndUS_To_Pckd, S("123-"), 4, 3, 2), "123c");
    // The higher digit of each pair is decoded, in either convention; a
    // single last digit only with the EBCDIC bit.
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndLO_To_Pckd, S("J23"), 3, 3, 2), "123d");
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndLO_To_Pckd, S("J2"), 2, 2, 2), "0a2d");  // single digit: low nibble
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndTO_To_Pckd, S("2J"), 2, 2, 2), "02ac");  // native: J by its low nibble
    zvkBcdMode.store(kBcdEbcdic);
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndTO_To_Pckd, S("2J"), 2, 2, 2), "021d");
    EXPECT_EQ(move(_zvkcBCD_CONV_ZndLO_To_Pckd, S("J23"), 3, 3, 2), "123d");
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndTO_To_ZndTO, S("1J"), 2, 2, 2)), "1J");
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndTO_To_ZndTO, S("1y"), 2, 2, 2)), "1R");
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndTO_To_ZndLO, S("2J"), 2, 2, 2)), "J1");  // the source byte, digit and all
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndTO_To_ZndLO, S("2y"), 2, 2, 2)), "K9");
    zvkBcdMode.store(0);
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndUS_To_ZndUS, S("12J"), 3, 3, 3)), "121");
    zvkBcdMode.store(kBcdCleanUnsigned);
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndUS_To_ZndUS, S("J2J"), 3, 3, 3)), ":21");  // by low nibbles
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndUS_To_ZndLS, S("12"), 2, 2, 3)), "+12");
    zvkBcdMode.store(kBcdRawUnsigned | kBcdCleanUnsigned);
    EXPECT_EQ(text(move(_zvkcBCD_CONV_ZndUS_To_ZndUS, S("J2J"), 3, 3, 3)), "J2J");
}
TEST_F(Rules, BinaryConversions) {
    Placed a(B({0x01, 0x20, 0x1C}), 1);
    EXPECT_EQ(_zvkcBCD_CONV_Pckd_To_Len8(a.p(), 4, 2), 13u);  // 12.01
    Placed b(B({0x01, 0x20, 0x0D}), 1);
    EXPECT_EQ(_zvkcBCD_CONV_Pckd_To_Len8(b.p(), 4, 2), 0u);   // -12.00
    EXPECT_EQ(_zvkcBCD_CONV_Pckd_To_Len8(a.p(), 4, 0), 1201u);
    Placed c(Bytes(1, 0xEE), 3);
    _zvkcBCD_CONV_Int4_To_Pckd(0, c.p(), 1);
    EXPECT_EQ(hex(c.bytes()), "0c");
    Placed d(Bytes(2, 0xEE), 3);
    _zvkcBCD_CONV_Int1_To_Pckd(-128, d.p(), 3);
    EXPECT_EQ(hex(d.bytes()), "128d");
    _zvkcBCD_CONV_Uns8_To_Pckd(UINT64_MAX, d.p(), 3);
    EXPECT_EQ(hex(d.bytes()), "615c");
    Placed z(S("12J"), 0);
    EXPECT_EQ(_zvkcBCD_CONV_Znd_To_Int4(z.p(), 3), -130);  // a letter by its low nibble
    Placed w(B({0x12, 0x34, 0x5C}), 0);
    EXPECT_EQ(_zvkcBCD_CONV_Pckd_To_Int1(w.p(), 5), int8_t(12345 & 0xFF));
}

// ---- validators ----

TEST_F(Rules, PackedValidatorSingleBytes) {
    for (int mode : {0, 1}) {
        Placed good(B({0x0C}), 0), zero(B({0x00}), 0), five(B({0x05}), 0), high(B({0xAC}), 0);
        EXPECT_EQ(zvkBcdCheckPacked(good.p(), 1, mode), 0);
        EXPECT_EQ(zvkBcdCheckPacked(zero.p(), 1, mode), 0);
        EXPECT_EQ(zvkBcdCheckPacked(five.p(), 1, mode), 1);
        EXPECT_EQ(zvkBcdCheckPacked(high.p(), 1, mode), 1);
    }
    Placed sh(B({0x00, 0x00, 0x50}), 0);  // shortened to one byte: the shortcut
    EXPECT_EQ(zvkBcdCheckPacked(sh.p(), 5, 0), 0);
    EXPECT_EQ(zvkBcdCheckPacked(sh.p(), 5, 1), 1);
    zvkBcdMode.store(kBcdNoValidate);
    EXPECT_EQ(zvkBcdCheckPacked(B({0x05}).data(), 1, 0), 0);  // muted
    EXPECT_EQ(zvkBcdCheckPacked(B({0x05}).data(), 1, 1), 1);
}

// Bad digits are found at every nibble but the top one of each 8, 4 or 2
// byte word of the right-to-left scan, at any alignment.
TEST_F(Rules, PackedValidatorTopNibbleGap) {
    for (int n = 1; n <= 31; n += 2) {
        const int b = n / 2 + 1;
        // The words of the scan over bytes [0, b-1), from the right.
        std::vector<int> tops;
        int end = b - 1;
        for (; end >= 8; end -= 8) tops.push_back(end - 1);
        if (end >= 4) tops.push_back(end - 1), end -= 4;
        if (end >= 2) tops.push_back(end - 1), end -= 2;
        for (int byte = 0; byte < b - 1; ++byte)
            for (int high : {0, 1}) {
                Bytes img = model::packed(0, n, 0xC);
                img[byte] |= high ? 0xA0 : 0x0A;
                const bool gap = high && std::find(tops.begin(), tops.end(), byte) != tops.end();
                for (int off = 0; off < 8; ++off) {
                    Placed p(img, off);
                    EXPECT_EQ(zvkBcdCheckPacked(p.p(), n, 1), gap ? 0 : 1) << n << " byte " << byte << " high " << high;
                }
            }
    }
}

TEST_F(Rules, ZonedValidatorLastByteAndNulByAlignment) {
    for (int b : {0x30, 0x39, 0x70, 0x79, 0xC5, 0xD5, 0xF9, 0x7B, 0x7D, 0x41, 0x52, 0x00, 0x20})
        EXPECT_EQ(zvkBcdCheckZoned(Bytes{uint8_t(b)}.data(), 1, 1), 0) << b;
    for (int b : {0xA5, 0xB5, 0xE5, 0x3A, 0x53, 0x7A})
        EXPECT_EQ(zvkBcdCheckZoned(Bytes{uint8_t(b)}.data(), 1, 1), 1) << b;
    // A NUL between the digits passes only where the byte-wise part of the
    // scan reaches it; the words follow the alignment of the scan's end.
    int passed = 0, failed = 0;
    for (int n = 3; n <= 20; ++n)
        for (int nul = 1; nul < n - 1; ++nul)
            for (int off = 0; off < 8; ++off) {
                Bytes img(n, '7');
                img[nul] = 0;
                Placed p(img, off);
                bool byByte = false;
                for (int end = n - 1; end > 1;) {
                    const uintptr_t a = reinterpret_cast<uintptr_t>(p.p() + end);
                    const int left = end - 1;
                    const int w = (left >= 8 && a % 8 == 0) ? 8 : (left >= 4 && a % 4 == 0) ? 4
                                                                  : (left >= 2 && a % 2 == 0) ? 2 : 1;
                    if (nul >= end - w && nul < end) byByte = w == 1;
                    end -= w;
                }
                const int r = zvkBcdCheckZoned(p.p(), n, 1);
                EXPECT_EQ(r, byByte ? 0 : 1) << "n " << n << " nul at " << nul << " offset " << off;
                (r ? failed : passed)++;
            }
    EXPECT_GT(passed, 0);
    EXPECT_GT(failed, 0);
    Placed lo(S("J23"), 3);
    EXPECT_EQ(zvkBcdCheckZoned(lo.p(), 3, 1), 0);  // a leading overpunch passes
    Placed mid(S("1J3"), 3);
    EXPECT_EQ(zvkBcdCheckZoned(mid.p(), 3, 1), 1);
}

TEST_F(Rules, ZonedDecodingTable) {
    auto value = [](const char* s) { return _zvkcBCD_CONV_Znd_To_Int4(s, int32_t(strlen(s))); };
    Placed minusZero(S("}"), 0), plusZero(S("{"), 0);
    EXPECT_EQ(_zvkcBCD_NOT_Znd(minusZero.p(), 1), 1);
    EXPECT_EQ(_zvkcBCD_NOT_Znd(plusZero.p(), 1), 1);
    Placed j(S("J"), 0), a(S("A"), 0), sp(S(" "), 0), nul(Bytes{0}, 0);
    EXPECT_EQ(_zvkcBCD_NOT_Znd(j.p(), 1), 0);
    EXPECT_EQ(_zvkcBCD_NOT_Znd(sp.p(), 1), 1);
    EXPECT_EQ(_zvkcBCD_NOT_Znd(nul.p(), 1), 1);
    // through the decoding in arithmetic: 10 + J is 9, 10 + A is 11
    EXPECT_EQ(text(add(false, S("10"), 2, S("J"), 1, 2, false)), "09");
    EXPECT_EQ(text(add(false, S("10"), 2, S("A"), 1, 2, false)), "11");
    EXPECT_EQ(text(add(false, S("10"), 2, Bytes{0xE5}, 1, 2, false)), "15");  // unvalidated
    EXPECT_EQ(value("12"), 12);
}

TEST_F(Rules, EbcdicBitAloneChangesNoArithmeticOrCopy) {
    const std::string sum = add(false, S("12J"), 3, S("5"), 1, 3, false);
    const std::string cpy = move(_zvkcBCD_Cpy_Znd, S("12J"), 3, 3, 3);
    zvkBcdMode.store(kBcdEbcdic);
    EXPECT_EQ(add(false, S("12J"), 3, S("5"), 1, 3, false), sum);
    EXPECT_EQ(move(_zvkcBCD_Cpy_Znd, S("12J"), 3, 3, 3), cpy);
}

// ---- bad operands reach the message route and the computation goes on ----

TEST_F(Rules, BadOperandsAreReportedAndComputedOn) {
    Placed a(B({0x1A, 0x2C}), 1), b(B({0x1C}), 2), d(Bytes(2, 0xEE), 3);
    testing::internal::CaptureStderr();
    _zvkcBCD_ADD_Pckd(a.p(), b.p(), d.p(), 3, 1, 3);
    _zvkcBCD_ADD_Pckd(a.p(), a.p(), d.p(), 3, 3, 3);  // each operand reported
    const std::string err = testing::internal::GetCapturedStderr();
    size_t count = 0;
    for (size_t at = 0; (at = err.find("ZVK903W", at)) != std::string::npos; ++at) ++count;
    EXPECT_EQ(count, 3u) << err;
    EXPECT_TRUE(d.canariesIntact());
    // A blank separate sign: message 40 in every mode, then the digits.
    for (uint32_t m : {0u, uint32_t(kBcdNoValidate)}) {
        zvkBcdMode.store(m);
        testing::internal::CaptureStderr();
        const std::string r = move(_zvkcBCD_CONV_ZndTS_To_Pckd, S("12 "), 2, 2, 2);
        const std::string e = testing::internal::GetCapturedStderr();
        EXPECT_NE(e.find("ZVK040W"), std::string::npos) << e;
        EXPECT_EQ(r, "012c");
    }
}

// ---- multiplication, division and scaling ----

class MulDiv : public Rules {};

// A packed image of the low n digits of a decimal string, sign nibble
// given, the top nibble of an even count cleared.
Bytes pk(const std::string& digits, int n, uint8_t sign) {
    const int b = n / 2 + 1;
    std::string nib = digits.size() >= size_t(2 * b - 1) ? digits.substr(digits.size() - (2 * b - 1))
                                                          : std::string(2 * b - 1 - digits.size(), '0') + digits;
    if (n % 2 == 0) nib[0] = '0';
    Bytes out(b);
    for (int i = 0; i < b; ++i)
        out[i] = uint8_t(((nib[2 * i] - '0') << 4) | (i == b - 1 ? sign : nib[2 * i + 1] - '0'));
    return out;
}

using Op = void* (*)(const void*, const void*, void*, int32_t, int32_t, int32_t);
std::string op(Op e, const Bytes& a, int na, const Bytes& b, int nb, int nd, int dstBytes) {
    Placed p1(a, 1), p2(b, 6), pd(Bytes(dstBytes, 0xEE), 3);
    e(p1.p(), p2.p(), pd.p(), nd, nb, na);
    EXPECT_TRUE(pd.canariesIntact() && p1.canariesIntact() && p2.canariesIntact());
    return hex(pd.bytes());
}
struct Divr {
    int result;
    std::string q, r;
};
Divr divr(const Bytes& a, int na, const Bytes& b, int nb, int qd, int rd) {
    Placed p1(a, 0), p2(b, 5), pq(Bytes(qd / 2 + 1, 0xEE), 2), pr(Bytes(rd / 2 + 1, 0xEE), 7);
    const int res = _zvkcBCD_DIVR_Pckd(p1.p(), p2.p(), pq.p(), pr.p(), rd, qd, nb, na);
    return {res, hex(pq.bytes()), hex(pr.bytes())};
}

// ---- letters and non-digit nibbles ----

// Zoned division decodes an overpunched last byte ("J" is -1); zoned
// multiplication takes it by its low nibble (0x4A: ten), as the system
// always has: only zones 0x3n, 0x7n (and 0xCn, 0xDn, 0xFn) multiply right
// in the last position.
TEST_F(MulDiv, OverpunchLettersDivideButDoNotMultiply) {
    Placed a(S("12J"), 0), b(S("1"), 1), q(Bytes(3, 0xEE), 2), p(Bytes(3, 0xEE), 3);
    _zvkcBCD_DIV_Znd(a.p(), b.p(), q.p(), 3, 1, 3);
    EXPECT_EQ(text(q.bytes()), "12q");  // -121
    _zvkcBCD_MPY_Znd(a.p(), b.p(), p.p(), 3, 1, 3);
    EXPECT_EQ(text(p.bytes()), "13p");  // 12 * 10 + 10 = 130, negative
}

// Packed items with a nibble that is not a digit (let through with
// validation off) take the pair table: a low nibble above 9 counts 0, a
// high one makes the pair 100, and a digit in the sign nibble leaves the
// item positive.  Items of every digit and a proper sign are taken by
// value; these are not, and must come out as the table says.
TEST_F(MulDiv, NonDigitNibblesGoByThePairTable) {
    zvkBcdMode.store(kBcdNoValidate);
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, B({0x1A, 0x2C}), 3, B({0x3C}), 1, 5, 3), "00306c");  // 102 x 3
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, B({0xA1, 0x2C}), 3, B({0x3C}), 1, 5, 3), "03006c");  // 1002 x 3
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, B({0x12, 0x34}), 3, B({0x3D}), 1, 5, 3), "00369d");  // 123 x -3
    // A digit in the dividend's sign nibble cannot change a quotient of
    // whole pairs; the remainder's units stay in the high nibble.
    const Divr d = divr(B({0x01, 0x99}), 3, B({0x2C}), 1, 3, 1);  // 19 / 2
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.q, "009c");
    EXPECT_EQ(d.r, "1c");
}

// ---- work areas ----

// Beyond the scratch the product is built in the destination: digits of
// an earlier product never show through.
TEST_F(MulDiv, ProductBeyondTheScratchHasNoStaleDigits) {
    const std::string x(40, '7'), y = std::string("1") + std::string(39, '0');  // 777..7 x 10^39
    const Bytes a = pk(x, 40, 0xC), b = pk(y, 40, 0xC);
    op(_zvkcBCD_MPY_Pckd, pk(std::string(31, '9'), 31, 0xC), 31, pk(std::string(31, '9'), 31, 0xC), 31, 62, 32);
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, a, 40, b, 40, 80, 41), hex(pk(x + std::string(39, '0'), 80, 0xC)));
    Placed za(S(x), 1), zb(S(y), 2), zd(Bytes(80, 0xEE), 3);  // zoned, in the scratch
    _zvkcBCD_MPY_Znd(za.p(), zb.p(), zd.p(), 80, 40, 40);
    EXPECT_EQ(text(zd.bytes()), std::string(1, '0') + x + std::string(39, '0'));
    Placed wa(S(std::string(70, '3')), 1), wb(S(std::string("2") + std::string(69, '0')), 2), wd(Bytes(140, 0xEE), 3);
    _zvkcBCD_MPY_Znd(wa.p(), wb.p(), wd.p(), 140, 70, 70);  // digit counts 140: the destination
    EXPECT_EQ(text(wd.bytes()), std::string(1, '0') + std::string(70, '6') + std::string(69, '0'));
}

// MULTIPLY A BY B and DIVIDE A INTO B: the destination is an operand.
TEST_F(MulDiv, DestinationMayBeAnOperand) {
    for (int n : {7, 31, 40}) {
        const std::string x(n, '9');
        Placed a(pk(x, n, 0xC), 0), b(pk(x, n, 0xC), 3);
        _zvkcBCD_MPY_Pckd(a.p(), b.p(), b.p(), n, n, n);  // 99..9^2 mod 10^n = 1
        EXPECT_EQ(hex(b.bytes()), hex(pk("1", n, 0xC))) << n;
        Placed c(pk(std::string("1") + std::string(n - 1, '0'), n, 0xC), 1), d(B({0x4C}), 2);
        _zvkcBCD_DIV_Pckd(c.p(), d.p(), c.p(), n, 1, n);
        EXPECT_EQ(hex(c.bytes()), hex(pk("25" + std::string(n - 3, '0'), n, 0xC))) << n;
    }
}

// ---- scaling ----

using Shift = void* (*)(const void*, void*, int32_t, int32_t, int32_t);
std::string shift(Shift e, const Bytes& src, int sn, int dn, int k, int dstBytes) {
    Placed ps(src, 4), pd(Bytes(dstBytes, 0xEE), 1);
    e(ps.p(), pd.p(), dn, sn, k);
    EXPECT_TRUE(ps.canariesIntact() && pd.canariesIntact());
    return hex(pd.bytes());
}
std::string zshift(Shift e, const std::string& src, int sn, int dn, int k, int dstBytes) {
    Placed ps(S(src), 4), pd(Bytes(dstBytes, 0xEE), 1);
    e(ps.p(), pd.p(), dn, sn, k);
    return text(pd.bytes());
}

TEST_F(MulDiv, ShiftKeepsNegativeZeroOnlyUnderModeBit2) {
    // -100 right 1 into one digit: 10 cut to 0.
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_Right, B({0x10, 0x0D}), 3, 1, 1, 1), "0c");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_Znd_Right, "10p", 3, 1, 1, 1), "0");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndTS_Right, "100-", 3, 1, 1, 2), "0+");
    zvkBcdMode.store(kBcdKeepNegZero);
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_Right, B({0x10, 0x0D}), 3, 1, 1, 1), "0d");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_Znd_Right, "10p", 3, 1, 1, 1), "p");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLS_Right, "-100", 3, 1, 1, 2), "-0");
    // The zero rule gives +0 whatever the mode: -5 right by 1.
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_Right, B({0x5D}), 1, 1, 1, 1), "0c");
}

// A negative count shifts the other way, without rounding.
TEST_F(MulDiv, NegativeShiftGoesTheOtherWay) {
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_Left, B({0x12, 0x5C}), 3, 3, -1, 2), "012c");
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_RightRnd, B({0x12, 0x5C}), 3, 5, -2, 3), "12500c");
    EXPECT_EQ(shift(_zvkcBCD_SHFD_Pckd_Right, B({0x12, 0x5C}), 3, 5, INT32_MIN, 3), "00000c");
}

// In place: a scaled item that is its own destination.
TEST_F(MulDiv, ShiftInPlace) {
    Placed p(pk("1234567", 7, 0xC), 2);
    _zvkcBCD_SHFD_Pckd_Left(p.p(), p.p(), 7, 7, 3);
    EXPECT_EQ(hex(p.bytes()), hex(pk("4567000", 7, 0xC)));
    _zvkcBCD_SHFD_Pckd_RightRnd(p.p(), p.p(), 7, 7, 3);
    EXPECT_EQ(hex(p.bytes()), hex(pk("4567", 7, 0xC)));
    Placed z(S("1234567"), 3);
    _zvkcBCD_SHFD_Znd_Left(z.p(), z.p(), 7, 7, 2);
    EXPECT_EQ(text(z.bytes()), "3456700");
    _zvkcBCD_SHFD_Znd_RightRnd(z.p(), z.p(), 7, 7, 3);
    EXPECT_EQ(text(z.bytes()), "0003457");
}

// Leading overpunch: the worker moves the digits as they are; then the
// first destination byte takes the source's first byte's sign, as a copy
// of the form does.  A source shorter than the destination leaves its
// overpunched byte inside the item.
TEST_F(MulDiv, LeadingOverpunchTakesTheSignOnTheFirstByte) {
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLO_Left, "q23", 3, 3, 1, 3), "r30");    // -123 -> -230
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLO_Right, "q23", 3, 3, 1, 3), "pq2");   // overpunch kept inside
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLO_Right, "q23", 3, 2, 1, 2), "q2");    // -12
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLO_Right, "p03", 3, 1, 1, 1), "0");     // -0 -> +0
    zvkBcdMode.store(kBcdKeepNegZero);
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_ZndLO_Right, "p03", 3, 1, 1, 1), "p");
}

// Letter-form sign bytes: the left shift cleans the source's last digit by
// its low nibble, and the right shift rounds by the low nibble of the
// first dropped byte, so "{" (+0, low nibble 0xB) rounds up.
TEST_F(MulDiv, LetterSignBytesGoByTheirLowNibble) {
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_Znd_Left, "12J", 3, 4, 1, 4), "12:p");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_Znd_RightRnd, "12{", 3, 2, 1, 2), "13");
    EXPECT_EQ(zshift(_zvkcBCD_SHFD_Znd_RightRnd, "12}", 3, 2, 1, 2), "1s");  // -13
}

}  // namespace
