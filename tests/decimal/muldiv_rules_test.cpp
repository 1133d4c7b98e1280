// Multiplication, division and scaling on real byte images: the rules of
// this system that a plain big-number model would call wrong, each pinned
// by name, the work areas beyond the scratch, operands that are also the
// destination, and carries through every digit.

#include <gtest/gtest.h>

#include <string>

#include "decimal/decimal.h"
#include "decimal/muldiv.h"
#include "kvr2/decimal.h"
#include "kvr2/decimal_muldiv.h"
#include "model.h"

using model::Bytes;
using model::hex;
using model::Placed;

namespace {

class MulDiv : public ::testing::Test {
   protected:
    void SetUp() override { zvkBcdMode.store(0); }
    void TearDown() override { zvkBcdMode.store(0); }
};

Bytes B(std::initializer_list<int> v) { return Bytes(v.begin(), v.end()); }
Bytes S(const std::string& s) { return Bytes(s.begin(), s.end()); }
std::string text(const Bytes& b) { return std::string(b.begin(), b.end()); }
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

// ---- signs, zeros and the quotient's top nibble ----

TEST_F(MulDiv, ZeroProductKeepsTheSignOfUnequalSigns) {  // -5 x 0 is -0
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, B({0x5D}), 1, B({0x0C}), 1, 3, 2), "000d");
    Placed a(S("5"), 0), z(S("0"), 1), d(Bytes(3, 0xEE), 2);
    a.p()[0] = 'u';  // -5
    _zvkcBCD_MPY_Znd(a.p(), z.p(), d.p(), 3, 1, 1);
    EXPECT_EQ(text(d.bytes()), "00p");
}

TEST_F(MulDiv, SmallerDividendGivesPositiveZeroAndReturnsZero) {
    Divr r = divr(B({0x7C}), 1, B({0x9C}), 1, 1, 1);  // 7 / 9
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.q, "0c");
    EXPECT_EQ(r.r, "7c");
    r = divr(B({0x7D}), 1, B({0x9C}), 1, 1, 1);  // -7 / 9: +0, remainder -7
    EXPECT_EQ(r.q, "0c");
    EXPECT_EQ(r.r, "7d");
    EXPECT_EQ(op(_zvkcBCD_MOD_Pckd, B({0x7C}), 1, B({0x9C}), 1, 1, 1), "7c");
    EXPECT_EQ(op(_zvkcBCD_DIV_Pckd, B({0x7C}), 1, B({0x9C}), 1, 1, 1), "0c");
}

TEST_F(MulDiv, EqualMagnitudesGiveOneAndPositiveZeroRemainder) {
    Divr r = divr(B({0x9C}), 1, B({0x9C}), 1, 3, 3);
    EXPECT_EQ(r.result, 1);
    EXPECT_EQ(r.q, "001c");
    EXPECT_EQ(r.r, "000c");
    r = divr(B({0x9D}), 1, B({0x9C}), 1, 3, 3);  // -9 / 9
    EXPECT_EQ(r.q, "001d");
    EXPECT_EQ(r.r, "000c");
    r = divr(B({0x00, 0x9D}), 3, B({0x9B}), 1, 3, 3);  // equal after leading zeros, both negative
    EXPECT_EQ(r.q, "001c");
}

// The unused top nibble of an even-count quotient keeps the next digit:
// 1000 / 3 into two digits stores 3 3 (of 333), remainder 1 of the whole
// quotient.
TEST_F(MulDiv, QuotientTopNibbleIsNotCleared) {
    Divr r = divr(B({0x01, 0x00, 0x0C}), 4, B({0x3C}), 1, 2, 4);
    EXPECT_EQ(r.result, 1);
    EXPECT_EQ(r.q, "333c");
    EXPECT_EQ(r.r, "00001c");
    EXPECT_EQ(op(_zvkcBCD_DIV_Pckd, B({0x01, 0x00, 0x0C}), 4, B({0x3C}), 1, 2, 2), "333c");
    // The remainder's top nibble is cleared.
    EXPECT_EQ(op(_zvkcBCD_MOD_Pckd, pk("123456", 6, 0xC), 6, pk("1000", 4, 0xC), 4, 2, 2), "056c");
    // Zoned quotients have no such nibble: 333 cut to 33.
    Placed a(S("1000"), 0), b(S("3"), 1), q(Bytes(2, 0xEE), 2);
    _zvkcBCD_DIV_Znd(a.p(), b.p(), q.p(), 2, 1, 4);
    EXPECT_EQ(text(q.bytes()), "33");
}

TEST_F(MulDiv, DivrReturnsWhetherTheQuotientWasComputed) {
    EXPECT_EQ(divr(B({0x01, 0x0C}), 2, B({0x3C}), 1, 3, 3).result, 1);  // 10 / 3
    EXPECT_EQ(divr(B({0x3C}), 1, B({0x01, 0x0C}), 2, 3, 3).result, 0);  // 3 / 10
    Placed a(S("10"), 0), b(S("3"), 1), q(Bytes(2, 0xEE), 2), r(Bytes(2, 0xEE), 3);
    EXPECT_EQ(_zvkcBCD_DIVR_Znd(a.p(), b.p(), q.p(), r.p(), 2, 2, 1, 2), q.p());  // the zoned form: the quotient
    EXPECT_EQ(text(q.bytes()) + text(r.bytes()), "0301");
}

// The remainder has the dividend's sign, also when it is zero.
TEST_F(MulDiv, ExactDivisionLeavesNegativeZeroRemainder) {
    EXPECT_EQ(op(_zvkcBCD_MOD_Pckd, B({0x6D}), 1, B({0x3C}), 1, 3, 2), "000d");  // -6 mod 3
    EXPECT_EQ(op(_zvkcBCD_DIV_Pckd, B({0x6D}), 1, B({0x3C}), 1, 3, 2), "002d");
    // A long-path quotient cut to zero keeps its sign: -200 / 2 into one digit.
    EXPECT_EQ(op(_zvkcBCD_DIV_Pckd, pk("200", 3, 0xD), 3, B({0x2C}), 1, 1, 1), "0d");
}

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
    const std::string x(40, '7'), y = "1" + std::string(39, '0');  // 777..7 x 10^39
    const Bytes a = pk(x, 40, 0xC), b = pk(y, 40, 0xC);
    op(_zvkcBCD_MPY_Pckd, pk(std::string(31, '9'), 31, 0xC), 31, pk(std::string(31, '9'), 31, 0xC), 31, 62, 32);
    EXPECT_EQ(op(_zvkcBCD_MPY_Pckd, a, 40, b, 40, 80, 41), hex(pk(x + std::string(39, '0'), 80, 0xC)));
    Placed za(S(x), 1), zb(S(y), 2), zd(Bytes(80, 0xEE), 3);  // zoned, in the scratch
    _zvkcBCD_MPY_Znd(za.p(), zb.p(), zd.p(), 80, 40, 40);
    EXPECT_EQ(text(zd.bytes()), std::string(1, '0') + x + std::string(39, '0'));
    Placed wa(S(std::string(70, '3')), 1), wb(S("2" + std::string(69, '0')), 2), wd(Bytes(140, 0xEE), 3);
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
        Placed c(pk("1" + std::string(n - 1, '0'), n, 0xC), 1), d(B({0x4C}), 2);
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
