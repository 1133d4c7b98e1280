// Class conditions on every byte (or unit) value, NUMERIC against the
// decimal validators, and the national and DBCS tests.

#include <gtest/gtest.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "kvr2/classcmp.h"
#include "scenario.h"
#include "decimal/decimal.h"

namespace {

const uint8_t* bytes(const char* s) { return reinterpret_cast<const uint8_t*>(s); }

bool isUpper(int b) { return b >= 'A' && b <= 'Z'; }
bool isLower(int b) { return b >= 'a' && b <= 'z'; }

TEST(ClassAlphabetic, EveryByteAloneAndInsideAnItem) {
    for (int b = 0; b < 256; ++b) {
        uint8_t one = static_cast<uint8_t>(b);
        bool blank = b == 0x20;
        EXPECT_EQ(_zvkcClasAlpha(&one, 1), blank || isUpper(b) || isLower(b)) << b;
        EXPECT_EQ(_zvkcClasAlphaUpper(&one, 1), blank || isUpper(b)) << b;
        EXPECT_EQ(_zvkcClasAlphaLower(&one, 1), blank || isLower(b)) << b;
        // The byte at every place of a 19-byte item of letters (past the
        // eight-byte steps and in the byte tail).
        for (size_t at = 0; at < 19; ++at) {
            uint8_t item[19];
            memset(item, 'q', sizeof item);
            item[at] = one;
            EXPECT_EQ(_zvkcClasAlphaLower(item, sizeof item), blank || isLower(b)) << b << " at " << at;
        }
    }
}

TEST(ClassAlphabetic, EmptyAndBlankItemsAreInEveryClass) {
    EXPECT_EQ(_zvkcClasAlpha(nullptr, 0), 1);
    EXPECT_EQ(_zvkcClasAlphaUpper(bytes("X"), 0), 1);
    EXPECT_EQ(_zvkcClasAlpha(bytes("     "), 5), 1);
    EXPECT_EQ(_zvkcClasAlphaUpper(bytes("     "), 5), 1);
    EXPECT_EQ(_zvkcClasAlphaLower(bytes("     "), 5), 1);
    EXPECT_EQ(_zvkcClasAlpha(bytes("Hello World"), 11), 1);
    EXPECT_EQ(_zvkcClasAlphaUpper(bytes("Hello World"), 11), 0);
    EXPECT_EQ(_zvkcClasAlpha(bytes("Hello, World"), 12), 0);
}

TEST(ClassUserDefined, FollowsTheGivenTableForEveryByte) {
    std::mt19937 rng(5);
    uint8_t table[256];
    for (auto& t : table) t = static_cast<uint8_t>(rng() % 3 == 0 ? 0 : rng() % 200 + 1);
    for (int b = 0; b < 256; ++b) {
        uint8_t item[10] = {};
        for (auto& x : item) {
            do x = static_cast<uint8_t>(rng()); while (table[x]);
        }
        item[b % 10] = static_cast<uint8_t>(b);
        EXPECT_EQ(_zvkcClasUserDef(item, 10, table), table[b] == 0) << b;
    }
    EXPECT_EQ(_zvkcClasUserDef(nullptr, 0, table), 1);
}

// The strict packed validation, written from the rules of the decimal
// operands: sign nibble A..F (or a single byte with sign nibble 0), digit
// nibbles 0..9 -- with the accepted gap of the word-wide scan, the highest
// nibble of each word of the digit bytes left unchecked.
int modelPackedBad(const uint8_t* a, int digits, bool withGap) {
    int b = (digits >> 1) + 1;
    uint8_t last = a[b - 1];
    if ((last & 0x0F) == 0 && b == 1) return 0;
    if ((last & 0x0F) <= 9 || (last >> 4) > 9) return 1;
    int end = b - 1;   // digit bytes [0, end), scanned from the right
    while (end > 0) {
        int w = end >= 8 ? 8 : end >= 4 ? 4 : end >= 2 ? 2 : 1;
        for (int i = end - w; i < end; ++i) {
            bool topOfWord = withGap && w > 1 && i == end - 1;
            if (!topOfWord && (a[i] >> 4) > 9) return 1;
            if ((a[i] & 0x0F) > 9) return 1;
        }
        end -= w;
    }
    return 0;
}

// NUMERIC on a packed item is the decimal subsystem's strict validation.
TEST(ClassNumeric, PackedAgreesWithTheValidatorOnEveryByte) {
    auto expected = [&](const uint8_t* a, int digits) { return !zvkBcdCheckPacked(a, digits, 1); };
    // One byte: every value, for one digit (sign nibble low) and zero digits.
    for (int x = 0; x < 256; ++x) {
        uint8_t one = static_cast<uint8_t>(x);
        for (int digits : {0, 1}) {
            EXPECT_EQ(_zvkcClasPackedDec(&one, digits), expected(&one, digits)) << x;
            EXPECT_EQ(expected(&one, digits), !modelPackedBad(&one, digits, true)) << x;
        }
    }
    // Three digits in two bytes: every pair.
    for (int x = 0; x < 65536; ++x) {
        uint8_t two[2] = {static_cast<uint8_t>(x >> 8), static_cast<uint8_t>(x)};
        ASSERT_EQ(_zvkcClasPackedDec(two, 3), expected(two, 3)) << std::hex << x;
    }
    // Longer items: a bad nibble anywhere among the digits.
    std::mt19937 rng(7);
    for (int round = 0; round < 20000; ++round) {
        int digits = 1 + static_cast<int>(rng() % 31);
        int b = (digits >> 1) + 1;
        uint8_t item[16];
        for (int i = 0; i < b; ++i) item[i] = static_cast<uint8_t>((rng() % 10) << 4 | (rng() % 10));
        item[b - 1] = static_cast<uint8_t>((item[b - 1] & 0xF0) | (0xA + rng() % 6));
        if (rng() % 2) item[rng() % b] ^= static_cast<uint8_t>(1u << (rng() % 8));
        ASSERT_EQ(_zvkcClasPackedDec(item, digits), expected(item, digits));
    }
}

// NUMERIC on zoned items, plain (native) mode: the sign byte needs a digit
// 0..9 in its low half, and under the strict flag the zone of a digit or of
// a negative digit; every other byte is "0".."9"; and the item must pass
// the strict validator.
bool validatorEndByte(int b) {
    int zone = b & 0xF0, low = b & 0x0F;
    if (low < 10 && (zone == 0x30 || zone == 0x70 || zone == 0xC0 || zone == 0xD0 || zone == 0xF0)) return true;
    return b == 0x7B || b == 0x7D || (b >= 0x41 && b <= 0x52) || b == 0x00 || b == 0x20;
}

TEST(ClassNumeric, ZonedSignByteEveryValue) {
    for (int strict : {0, 1}) {
        for (int b = 0; b < 256; ++b) {
            const bool signOk = (b & 0x0F) <= 9 && (!strict || (b & 0xB0) == 0x30) && validatorEndByte(b);
            uint8_t trailing[4] = {'1', '2', '3', static_cast<uint8_t>(b)};
            uint8_t leading[4] = {static_cast<uint8_t>(b), '1', '2', '3'};
            uint32_t flag = strict ? ZVK_ZONED_STRICT : 0;
            EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING | flag, trailing, 4), signOk) << b;
            EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_LEADING | flag, leading, 4), signOk) << b;
            // Unsigned (or the digits of a separate-sign item): only digits.
            EXPECT_EQ(_zvkcClasZonedDec(0 | flag, trailing, 4), b >= '0' && b <= '9') << b;
            EXPECT_EQ(_zvkcClasZonedDec(3 | flag, leading, 4), b >= '0' && b <= '9') << b;
            // Any byte but the sign byte must be a digit.
            uint8_t middle[4] = {'1', static_cast<uint8_t>(b), '3', 'p'};
            EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING | flag, middle, 4), b >= '0' && b <= '9') << b;
        }
    }
    // "12s": the lower-case s (0x73) is a negative 3 and NUMERIC; "12S"
    // (0x53) is a letter outside the sign forms.
    EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING | ZVK_ZONED_STRICT, bytes("12s"), 3), 1);
    EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING, bytes("12S"), 3), 0);
    // A blank sign byte reads as +0: it passes the plain rule, not the strict one.
    EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING, bytes("12 "), 3), 1);
    EXPECT_EQ(_zvkcClasZonedDec(ZVK_ZONED_SIGN_TRAILING | ZVK_ZONED_STRICT, bytes("12 "), 3), 0);
    EXPECT_EQ(_zvkcClasZonedDec(0, bytes("x"), 0), 1);
}

TEST(ClassNumeric, ZonedNeverHoldsWhereTheValidatorRefuses) {
    std::mt19937 rng(11);
    for (int round = 0; round < 50000; ++round) {
        int n = 1 + static_cast<int>(rng() % 20);
        uint8_t item[20];
        for (int i = 0; i < n; ++i) item[i] = static_cast<uint8_t>('0' + rng() % 10);
        item[rng() % n] = static_cast<uint8_t>(rng());
        uint32_t word = static_cast<uint32_t>(rng() % 4) | (rng() % 2 ? ZVK_ZONED_STRICT : 0);
        if (_zvkcClasZonedDec(word, item, n)) {
            ASSERT_EQ(zvkBcdCheckZoned(item, n, 1), 0);
        }
    }
}

void put16(std::vector<uint8_t>& v, uint16_t u) {
    v.push_back(static_cast<uint8_t>(u));
    v.push_back(static_cast<uint8_t>(u >> 8));
}

TEST(ClassNational, EveryUnitValue) {
    for (uint32_t u = 0; u < 0x10000; ++u) {
        std::vector<uint8_t> item;
        put16(item, '5');
        put16(item, static_cast<uint16_t>(u));
        put16(item, 'x' == u ? 'y' : '7');
        bool digit = u >= '0' && u <= '9';
        ASSERT_EQ(_zvkuClasNumeric(item.data(), 6), digit) << u;
        uint8_t single[2] = {static_cast<uint8_t>(u), static_cast<uint8_t>(u >> 8)};
        bool blank = u == 0x20;
        ASSERT_EQ(_zvkuClasAlpha(single, 2), blank || isUpper(u) || isLower(u)) << u;
        ASSERT_EQ(_zvkuClasUpper(single, 2), blank || isUpper(u)) << u;
        ASSERT_EQ(_zvkuClasLower(single, 2), blank || isLower(u)) << u;
    }
    EXPECT_EQ(_zvkuClasNumeric(nullptr, 0), 1);
    EXPECT_EQ(_zvkuClasAlpha(nullptr, 0), 1);
}

std::vector<uint8_t> national(const char* s) {
    std::vector<uint8_t> v;
    for (; *s; ++s) put16(v, static_cast<uint8_t>(*s));
    return v;
}

int32_t sclass(uint32_t word, const char* text) {
    auto v = national(text);
    return _zvkuSClasNumeric(word, v.data(), static_cast<int64_t>(v.size()));
}

TEST(ClassNational, SignedNumeric) {
    const uint32_t lead = ZVK_NATIONAL_SIGN_LEADING, trail = ZVK_NATIONAL_SIGN_TRAILING;
    const uint32_t pos = ZVK_NATIONAL_POSITIVE;
    EXPECT_EQ(sclass(lead, "+123"), 1);
    EXPECT_EQ(sclass(lead, "-123"), 1);
    EXPECT_EQ(sclass(lead, "123+"), 0);
    EXPECT_EQ(sclass(trail, "123-"), 1);
    EXPECT_EQ(sclass(trail, "12 -"), 0);
    EXPECT_EQ(sclass(trail, "123*"), 0);
    EXPECT_EQ(sclass(0, "0123"), 1);
    EXPECT_EQ(sclass(0, "-123"), 0);
    // The positive check: a "-" fails, a "+" passes even on zero, and an
    // item without a sign needs a digit other than zero.
    EXPECT_EQ(sclass(lead | pos, "-123"), 0);
    EXPECT_EQ(sclass(lead | pos, "+000"), 1);
    EXPECT_EQ(sclass(trail | pos, "001+"), 1);
    EXPECT_EQ(sclass(0 | pos, "0000"), 0);
    EXPECT_EQ(sclass(0 | pos, "0010"), 1);
    EXPECT_EQ(sclass(lead | pos, ""), 1);
}

TEST(ClassDbcs, EveryPairOfEbcdicBytes) {
    for (int b1 = 0; b1 < 256; ++b1) {
        for (int b2 = 0; b2 < 256; ++b2) {
            uint8_t item[4] = {0x42, 0x42, static_cast<uint8_t>(b1), static_cast<uint8_t>(b2)};
            bool blank = b1 == 0x40 && b2 == 0x40;
            bool dbcs = blank || (b1 >= 0x41 && b1 <= 0xFE && b2 >= 0x41 && b2 <= 0xFE);
            bool kanji = blank || (b1 >= 0x41 && b1 <= 0x7F && b2 >= 0x41 && b2 <= 0xFE);
            ASSERT_EQ(_zvkcClasDBCS(item, -4), dbcs) << b1 << "," << b2;
            ASSERT_EQ(_zvkcClasKanji(item, -4), kanji) << b1 << "," << b2;
        }
    }
    const uint8_t odd[3] = {0x42, 0x42, 0x42};
    EXPECT_EQ(_zvkcClasDBCS(odd, -3), 0);
    EXPECT_EQ(_zvkcClasDBCS(odd, 0), 1);
    EXPECT_EQ(_zvkcClasKanji(odd, 0), 1);
}

TEST(ClassDbcs, NativeSingleByteTextIsNoDbcsText) {
    // Converted to a single-byte EBCDIC page, "AB" has no shift-out.
    EXPECT_EQ(_zvkcClasDBCS(bytes("AB"), 2), 0);
    EXPECT_EQ(_zvkcClasKanji(bytes("AB"), 2), 0);
}

// The EBCDIC convention of the mode word takes the letter forms of a sign.
TEST(ClassNumeric, ZonedLetterFormsUnderTheEbcdicConvention) {
    auto plain = scenario::run(scenario::binDir() + "/class_scenario", {});
    scenario::Options o;
    o.env["COBOL_BCD_EBCDIC"] = "1";
    auto ebcdic = scenario::run(scenario::binDir() + "/class_scenario", {}, o);
    ASSERT_EQ(plain.exitCode, 0) << plain.err;
    ASSERT_EQ(ebcdic.exitCode, 0) << ebcdic.err;
    // Inputs: "12{" "12}" "12J" "12A" "12R" "123" "12p" "12\xC3", trailing sign; then strict.
    EXPECT_EQ(plain.out, "00011111\n00000110\n");
    EXPECT_EQ(ebcdic.out, "11111111\n11111110\n");
}

}  // namespace
