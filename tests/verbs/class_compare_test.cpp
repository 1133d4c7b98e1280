// Comparisons under an alphabet, with a repeated literal and a pad byte;
// the collating tables; case, reversal and trimming.

#include <gtest/gtest.h>
#include <locale.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kvr2/classcmp.h"

namespace {

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

TEST(CompareAlphabet, AgreesWithTheModelUnderAReversedAlphabet) {
    uint8_t reversed[256], identity[256];
    for (int i = 0; i < 256; ++i) {
        reversed[i] = static_cast<uint8_t>(255 - i);
        identity[i] = static_cast<uint8_t>(i);
    }
    // A table that ties upper and lower case.
    uint8_t folded[256];
    for (int i = 0; i < 256; ++i) folded[i] = static_cast<uint8_t>((i >= 'a' && i <= 'z') ? i - 32 : i);
    std::mt19937 rng(3);
    const char alphabet[] = " AaBbc";
    for (int round = 0; round < 20000; ++round) {
        Bytes l(rng() % 7 + (round % 3 == 0 ? 0 : 1)), r(rng() % 7 + 1);
        for (auto& x : l) x = static_cast<uint8_t>(alphabet[rng() % 6]);
        for (auto& x : r) x = static_cast<uint8_t>(alphabet[rng() % 6]);
        if (round % 4 == 0) r = l;
        bool lfig = !l.empty() && rng() % 5 == 0, rfig = rng() % 4 == 0;
        for (const uint8_t* w : {static_cast<const uint8_t*>(reversed), static_cast<const uint8_t*>(identity),
                                 static_cast<const uint8_t*>(folded)})
            ASSERT_EQ(cmpACS(l, lfig, r, rfig, w), model(l, lfig, r, rfig, w))
                << std::string(l.begin(), l.end()) << (lfig ? "*" : "") << " vs "
                << std::string(r.begin(), r.end()) << (rfig ? "*" : "");
    }
}

TEST(CompareAlphabet, UnequalLengthsCompareTheTailWithTheBlanksWeight) {
    uint8_t w[256];
    for (int i = 0; i < 256; ++i) w[i] = static_cast<uint8_t>(i);
    w[0x20] = 0xF0;   // the blank sorts high under this alphabet
    EXPECT_EQ(cmpACS(b("AB"), false, b("ABC"), false, w), 1);   // blank (0xF0) above "C"
    EXPECT_EQ(cmpACS(b("AB "), false, b("AB"), false, w), 0);
    EXPECT_EQ(cmpACS(b("AB"), false, b("AB\xFF"), false, w), -1);
    // Null weights: native order.
    EXPECT_EQ(cmpACS(b("AB"), false, b("ABC"), false, nullptr), -1);
    // A figurative value repeated: ALL "AB" against "ABABA" and "ABABB".
    EXPECT_EQ(cmpACS(b("ABABA"), false, b("AB"), true, w), 0);
    EXPECT_EQ(cmpACS(b("ABABB"), false, b("AB"), true, w), 1);
    EXPECT_EQ(cmpACS(b("AB"), true, b("ABABB"), false, w), -1);
    // A figurative longer than the item is cut to it.
    EXPECT_EQ(cmpACS(b("AB"), false, b("ABC"), true, w), 0);
}

TEST(CompareLiteral, RepeatedLiteralAndPad) {
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("ABCABCAB").data(), 8, b("ABC").data(), 3), 0);
    EXPECT_GT(_zvkcCmpMultiByteFig(b("ABCABCAC").data(), 8, b("ABC").data(), 3), 0);   // partial last piece
    EXPECT_LT(_zvkcCmpMultiByteFig(b("ABCAAC").data(), 6, b("ABC").data(), 3), 0);
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("AB").data(), 2, b("ABC").data(), 3), 0);         // shorter than the literal
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("ZZ").data(), -2, b("ABC").data(), 3), 0);
    EXPECT_EQ(_zvkcCmpMultiByteFig(b("ZZ").data(), 2, b("").data(), 0), 0);

    EXPECT_EQ(_zvkcCmpToPad(nullptr, ' ', 0), 0);
    Bytes blanks(37, ' ');
    EXPECT_EQ(_zvkcCmpToPad(blanks.data(), ' ', 37), 0);
    for (size_t at = 0; at < blanks.size(); ++at) {
        Bytes v = blanks;
        v[at] = 0x1F;
        EXPECT_EQ(_zvkcCmpToPad(v.data(), ' ', 37), -1) << at;
        v[at] = 0xA0;   // unsigned: above the blank
        EXPECT_EQ(_zvkcCmpToPad(v.data(), ' ', 37), 1) << at;
    }
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

TEST(TextFunctions, CaseAndReversal) {
    Bytes s = b("Hello, World 123"), d(s.size());
    _zvkToUpper(16, s.data(), d.data());
    EXPECT_EQ(std::string(d.begin(), d.end()), "HELLO, WORLD 123");
    _Dmr_lower_case(16, s.data(), d.data());
    EXPECT_EQ(std::string(d.begin(), d.end()), "hello, world 123");
    // In place and overlapping.
    Bytes buf = b("abcdef..");
    _zvkToUpper(6, buf.data(), buf.data() + 2);
    EXPECT_EQ(std::string(buf.begin(), buf.end()), "abABCDEF");
    _Dmr_reverse(16, s.data(), d.data());
    EXPECT_EQ(std::string(d.begin(), d.end()), "321 dlroW ,olleH");
    Bytes in = b("abc");
    _Dmr_reverse(3, in.data(), in.data());
    EXPECT_EQ(std::string(in.begin(), in.end()), "cba");
    // A surrogate pair (U+1F600: D83D DE00) between "A" and "B", low byte first.
    Bytes u = {'A', 0, 0x3D, 0xD8, 0x00, 0xDE, 'B', 0}, r(8);
    _zvkcReverseUnicode(8, u.data(), r.data());
    EXPECT_EQ(r, (Bytes{'B', 0, 0x00, 0xDE, 0x3D, 0xD8, 'A', 0}));
    Bytes oddLen = {'A', 0, 'B', 0, 0x7F}, ro(5);
    _zvkcReverseUnicode(5, oddLen.data(), ro.data());
    EXPECT_EQ(ro, (Bytes{'B', 0, 'A', 0, 0x7F}));
}

std::string trimmed(int which, const std::string& s, const uint8_t* set, int64_t setLength, int kind = 1) {
    Bytes d(s.size() + 1, '#');
    auto fn = which == 0 ? _zvk_triml : which == 1 ? _zvk_trimr : _zvk_trim;
    int64_t n = fn(static_cast<int64_t>(s.size()), reinterpret_cast<const uint8_t*>(s.data()), setLength, set,
                   d.data(), kind);
    return std::string(d.begin(), d.begin() + n);
}

TEST(TextFunctions, Trimming) {
    EXPECT_EQ(trimmed(0, "  ab c  ", nullptr, 0), "ab c  ");
    EXPECT_EQ(trimmed(1, "  ab c  ", nullptr, 0), "  ab c");
    EXPECT_EQ(trimmed(2, "  ab c  ", nullptr, 0), "ab c");
    EXPECT_EQ(trimmed(2, "     ", nullptr, 0), "");
    EXPECT_EQ(trimmed(2, "", nullptr, 0), "");
    const uint8_t set[] = {'x', '-'};
    EXPECT_EQ(trimmed(2, "x-xab-x x-", set, 2), "ab-x ");
    EXPECT_EQ(trimmed(2, "  ab  ", set, 0), "  ab  ");   // an empty set copies
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
