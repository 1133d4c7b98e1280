// Class conditions on every byte (or unit) value, NUMERIC on packed and
// zoned items, and the national and DBCS tests; comparisons under
// an alphabet against a model, the collating tables, and the text
// functions.

#include <gtest/gtest.h>
#include <locale.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kvr2/classcmp.h"
#include "scenario.h"

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

TEST(ClassAlphabetic, EmptyItemsAreInEveryClass) {
    EXPECT_EQ(_zvkcClasAlpha(nullptr, 0), 1);
    EXPECT_EQ(_zvkcClasAlphaUpper(bytes("X"), 0), 1);
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

// NUMERIC on a packed item: a sign nibble A to F, digit nibbles 0 to 9,
// over the short and the word-wide scans; a single byte with sign nibble 0
// passes whatever its other nibble, as the decimal operands take it.
TEST(ClassNumeric, PackedSignAndDigitNibbles) {
    const struct {
        int digits;
        std::vector<uint8_t> item;
        int32_t in;
    } cases[] = {
        {3, {0x12, 0x3C}, 1}, {3, {0x12, 0x3F}, 1}, {3, {0x12, 0x3D}, 1}, {3, {0x12, 0x3A}, 1},
        {3, {0x1A, 0x3C}, 0}, {3, {0x12, 0x39}, 0}, {3, {0x12, 0xAC}, 0}, {0, {0x00}, 1},
        {1, {0x50}, 1},       {1, {0x05}, 0},       {1, {0xA0}, 1},
        {17, {0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x45, 0x6C}, 1},
        {17, {0x0B, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x45, 0x6C}, 0},
        {17, {0x01, 0x23, 0x45, 0x67, 0x89, 0x0F, 0x23, 0x45, 0x6C}, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(_zvkcClasPackedDec(c.item.data(), c.digits), c.in) << int(c.item[0]);
    EXPECT_EQ(_zvkcClasPackedDec(nullptr, 3), 0);
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
    // The positive check: a "-" fails, a "+" passes even on zero, and an
    // item without a sign needs a digit other than zero.
    const struct {
        uint32_t word;
        const char* text;
        int32_t in;
    } cases[] = {{lead, "+123", 1},       {lead, "-123", 1},       {lead, "123+", 0},      {trail, "123-", 1},
                 {trail, "12 -", 0},      {trail, "123*", 0},      {0, "0123", 1},         {0, "-123", 0},
                 {lead | pos, "-123", 0}, {lead | pos, "+000", 1}, {trail | pos, "001+", 1}, {pos, "0000", 0},
                 {pos, "0010", 1},        {lead | pos, "", 1}};
    for (const auto& c : cases) EXPECT_EQ(sclass(c.word, c.text), c.in) << c.text << " " << c.word;
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

// ---- comparisons, collating tables, case, reversal and trimming ----

using Bytes = std::vector<uint8_t>;

Bytes b(const std::string& s) { return Bytes(s.begin(), s.end()); }

int sgn(int v) { return (v > 0) - (v < 0); }

// The comparison as COBOL defines it: the shorter operand padded with
// blanks, a figurative value repeated (or cut) to the other side's length,
// each byte by its weight.
int model(const Bytes& l, bool lfig, const Bytes& r, bool rfig, const uint8_t* w) {
    size_t n = std::max(l.size(), r.size());
    if (lfig && !rfig) n = r.size();
    if (rfig && !lfig) n = l.size();
    auto at = [&](const Bytes& v, bool fig, size_t i) -> int {
        if (fig) return w[v[i % v.size()]];
        return i < v.size() ? w[v[i]] : w[0x20];
    };
    for (size_t i = 0; i < n; ++i)
        if (int d = at(l, lfig, i) - at(r, rfig, i)) return sgn(d);
    return 0;
}

int cmpACS(const Bytes& l, bool lfig, const Bytes& r, bool rfig, const uint8_t* w) {
    int64_t ll = static_cast<int64_t>(l.size()), rl = static_cast<int64_t>(r.size());
    return sgn(_zvkcCmpACS(l.data(), lfig ? -ll : ll, r.data(), rfig ? -rl : rl, w));
}

// Under random alphabets (the blank anywhere among the weights, bytes of
// equal weight) and none;
// the repeated-literal and pad comparisons are the model with a figurative
// right side under the native order.
TEST(CompareModel, AlphabetsLiteralsAndPadsAgreeWithTheModel) {
    std::mt19937 rng(4);
    uint8_t identity[256], weights[256];
    for (int i = 0; i < 256; ++i) identity[i] = static_cast<uint8_t>(i);
    const char pool[] = "    AB\x1F\xA0";
    for (int round = 0; round < 20000; ++round) {
        std::copy(identity, identity + 256, weights);
        std::shuffle(weights, weights + 256, rng);
        if (round % 2) for (auto& w : weights) w = static_cast<uint8_t>(w % 3);
        Bytes l(rng() % 41), r(1 + rng() % 5);
        for (auto& x : l) x = static_cast<uint8_t>(pool[rng() % 8]);
        for (auto& x : r) x = static_cast<uint8_t>(pool[rng() % 8]);
        if (round % 4 == 0) r.assign(l.begin(), l.begin() + std::min<size_t>(l.size(), 1 + rng() % 5));
        if (r.empty()) r = {' '};
        const std::string what = std::string(l.begin(), l.end()) + " vs " + std::string(r.begin(), r.end());
        const bool lfig = !l.empty() && rng() % 5 == 0, rfig = rng() % 4 == 0;
        ASSERT_EQ(cmpACS(l, lfig, r, rfig, weights), model(l, lfig, r, rfig, weights)) << what;
        ASSERT_EQ(cmpACS(l, lfig, r, rfig, nullptr), model(l, lfig, r, rfig, identity)) << what;
        const int64_t n = static_cast<int64_t>(l.size());
        ASSERT_EQ(sgn(_zvkcCmpMultiByteFig(l.data(), n, r.data(), static_cast<int64_t>(r.size()))),
                  model(l, false, r, true, identity)) << what;
        ASSERT_EQ(_zvkcCmpToPad(l.data(), r[0], n), model(l, false, {r[0]}, true, identity)) << what;
    }
    // A negative item length or an empty literal compares equal.
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("ZZ").data(), -2, b("ABC").data(), 3), 0);
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("ZZ").data(), 2, b("").data(), 0), 0);
}

TEST(Collating, TablesAreInversePermutationsAndLeaveTheLocaleAlone) {
    AlphabetRecord rec{};
    _zvkcCollSeq(&rec);
    ASSERT_NE(rec.collatingOrder, nullptr);
    ASSERT_NE(rec.collatingWeights, nullptr);
    std::vector<bool> seen(256);
    for (int i = 0; i < 256; ++i) {
        EXPECT_FALSE(seen[rec.collatingOrder[i]]);
        seen[rec.collatingOrder[i]] = true;
        EXPECT_EQ(rec.collatingWeights[rec.collatingOrder[i]], i);
    }
    // Under the C collation every key differs in its first byte, so the
    // order is the byte order.
    for (int i = 0; i < 256; ++i) EXPECT_EQ(rec.collatingOrder[i], i);
    // A second record gets the same tables.
    AlphabetRecord again{};
    _zvkcCollSeq(&again);
    EXPECT_EQ(again.collatingOrder, rec.collatingOrder);
    EXPECT_EQ(again.collatingWeights, rec.collatingWeights);
    _zvkcCollSeq(nullptr);
}

// Each test runs in a process of its own, so the tables are built here,
// under a multi-byte locale.
TEST(Collating, UnderAMultiByteLocaleTheLocaleStaysAsItWas) {
    if (!setlocale(LC_ALL, "C.UTF-8")) GTEST_SKIP() << "no C.UTF-8 locale";
    ASSERT_GE(MB_CUR_MAX, 2u);
    std::string before = setlocale(LC_COLLATE, nullptr);
    AlphabetRecord rec{};
    _zvkcCollSeq(&rec);
    EXPECT_EQ(before, setlocale(LC_COLLATE, nullptr));
    std::vector<int> order(rec.collatingOrder, rec.collatingOrder + 256);
    std::sort(order.begin(), order.end());
    for (int i = 0; i < 256; ++i) ASSERT_EQ(order[i], i);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(rec.collatingWeights[rec.collatingOrder[i]], i);
    setlocale(LC_ALL, "C");
}

std::string trimmed(int which, const std::string& s, const uint8_t* set, int64_t setLength, int kind = 1) {
    Bytes d(s.size() + 1, '#');
    auto fn = which == 0 ? _zvk_triml : which == 1 ? _zvk_trimr : _zvk_trim;
    int64_t n = fn(static_cast<int64_t>(s.size()), reinterpret_cast<const uint8_t*>(s.data()), setLength, set,
                   d.data(), kind);
    return std::string(d.begin(), d.begin() + n);
}


// Case and reversal against the byte rules (C locale: ASCII letters only),
// trimming against a scan for the set's bytes from either end.
TEST(TextFunctions, CaseReversalAndTrimmingAgreeWithTheModel) {
    std::mt19937 rng(9);
    for (int round = 0; round < 3000; ++round) {
        Bytes s(rng() % 40), d(s.size() + 1, '#');
        for (auto& x : s) x = static_cast<uint8_t>(rng() % 2 ? rng() : " x-ab"[rng() % 5]);
        const int64_t n = static_cast<int64_t>(s.size());
        Bytes up = s, low = s, rev(s.rbegin(), s.rend());
        for (auto& x : up) if (isLower(x)) x = static_cast<uint8_t>(x - 32);
        for (auto& x : low) if (isUpper(x)) x = static_cast<uint8_t>(x + 32);
        using Fn = void* (*)(int64_t, const uint8_t*, uint8_t*);
        for (auto [fn, want] : {std::pair<Fn, Bytes>{_zvkToUpper, up}, {_Dmr_upper_case, up}, {_zvkToLower, low},
                                {_Dmr_lower_case, low}, {_Dmr_reverse, rev}}) {
            fn(n, s.data(), d.data());
            ASSERT_EQ(Bytes(d.begin(), d.begin() + n), want);
        }
        Bytes set(rng() % 3);
        set.reserve(3);   // an empty set still has an address
        for (auto& x : set) x = static_cast<uint8_t>(" x-"[rng() % 3]);
        const bool blank = set.empty() && rng() % 2;   // no set: the blank; an empty one: a copy
        auto in = [&](uint8_t c) { return blank ? c == ' ' : std::count(set.begin(), set.end(), c) > 0; };
        size_t from = 0, to = s.size(), right = s.size();
        while (from < to && in(s[from])) ++from;
        while (to > from && in(s[to - 1])) --to;
        while (right > 0 && in(s[right - 1])) --right;
        const std::string text(s.begin(), s.end());
        const uint8_t* sp = blank ? nullptr : set.data();
        const int64_t sl = static_cast<int64_t>(set.size());
        ASSERT_EQ(trimmed(0, text, sp, sl), text.substr(from)) << text;
        ASSERT_EQ(trimmed(1, text, sp, sl), text.substr(0, right)) << text;
        ASSERT_EQ(trimmed(2, text, sp, sl), text.substr(from, to - from)) << text;
    }
    // In place and overlapping.
    Bytes buf = b("abcdef..");
    _zvkToUpper(6, buf.data(), buf.data() + 2);
    EXPECT_EQ(std::string(buf.begin(), buf.end()), "abABCDEF");
    Bytes in = b("abc");
    _Dmr_reverse(3, in.data(), in.data());
    EXPECT_EQ(std::string(in.begin(), in.end()), "cba");
}

TEST(TextFunctions, NationalReversalKeepsSurrogatePairsAndTrimmingStepsByUnit) {
    // A surrogate pair (U+1F600: D83D DE00) between "A" and "B", low byte first.
    Bytes u = {'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 'B', 0}, r(8);
    _zvkcReverseUnicode(8, u.data(), r.data());
    EXPECT_EQ(r, (Bytes{'B', 0, 0x00, 0xDE, 0x3D, 0xD8, 'A', 0}));
    Bytes oddLen = {'A', 0, 'B', 0, 0x7F}, ro(5);
    _zvkcReverseUnicode(5, oddLen.data(), ro.data());
    EXPECT_EQ(ro, (Bytes{'B', 0, 'A', 0, 0x7F}));
    // Units: U+0020 is the blank; an odd last byte stays.
    std::string units("\x20\x00" "A\x00" "\x20\x00", 6);
    EXPECT_EQ(trimmed(2, units, nullptr, 0, ZVK_TRIM_UNITS), std::string("A\x00", 2));
    std::string odd("\x20\x00" "A\x00" "\x20\x00" "\x7F", 7);
    EXPECT_EQ(trimmed(2, odd, nullptr, 0, ZVK_TRIM_UNITS), std::string("A\x00\x7F", 3));
    // A unit 0x2000 is no blank.
    std::string swapped("\x00\x20" "A\x00", 4);
    EXPECT_EQ(trimmed(0, swapped, nullptr, 0, ZVK_TRIM_UNITS), swapped);
}

}  // namespace
