// INSPECT through its argument block, laid out byte by byte at the
// offsets compiled code uses.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cobol.h"

namespace {

constexpr uint32_t TALLY = 0x80000000u, REPL = 0x40000000u, CONV = 0x20000000u, CHARS = 0x10000000u,
                   LEADING = 0x4000000u, FIRST = 0x2000000u, BEFORE = 0x1000000u, AFTER = 0x800000u;
constexpr uint32_t FIG = 0x20000u, DBCS = 0x10000u, NATIONAL = 0x400000u, SIGNED = 0x300000u,
                   SEPARATE = 0x40000u, LEAD_SIGN = 0x80000u;

struct Op {
    uint32_t flags = 0;
    std::string bytes;
};

struct Phrase {
    uint32_t kind;
    Op result, compared, before, after;
    uint64_t counter = 0;
};


// Runs one INSPECT on `item` (changed in place); counters land in the phrases.
void inspect(std::string& item, uint32_t itemFlags, std::vector<Phrase>& phrases) {
    std::vector<uint8_t> block(32 + 96 * phrases.size());
    cobol::put<int32_t>(block.data(), 0, int32_t(phrases.size()));
    cobol::put<uint64_t>(block.data(), 8, itemFlags);
    cobol::put<uint64_t>(block.data(), 16, item.size());
    cobol::put<void*>(block.data(), 24, item.data());
    auto operand = [&](size_t off, uint32_t flags, void* data, size_t len) {
        cobol::put<uint32_t>(block.data(), off, flags);
        cobol::put<uint64_t>(block.data(), off + 8, len);
        cobol::put<void*>(block.data(), off + 16, data);
    };
    for (size_t i = 0; i < phrases.size(); ++i) {
        Phrase& p = phrases[i];
        size_t base = 32 + 96 * i;
        if (p.kind & TALLY)
            operand(base, p.kind, &p.counter, 8);
        else
            operand(base, p.kind | p.result.flags, p.result.bytes.data(), p.result.bytes.size());
        size_t off = base + 24;
        for (Op* op : {&p.compared, &p.before, &p.after}) {
            operand(off, op->flags, op->bytes.data(), op->bytes.size());
            off += 24;
        }
    }
    _zvkcInspect(reinterpret_cast<InspectBlock*>(block.data()));
}

Phrase tally(uint32_t kind, std::string what = "", std::string before = "", std::string after = "") {
    Phrase p{TALLY | kind, {}, {0, what}, {0, before}, {0, after}};
    if (!before.empty()) p.kind |= BEFORE;
    if (!after.empty()) p.kind |= AFTER;
    return p;
}
Phrase replace(uint32_t kind, std::string what, std::string by, std::string before = "", std::string after = "") {
    Phrase p{REPL | kind, {0, by}, {0, what}, {0, before}, {0, after}};
    if (!before.empty()) p.kind |= BEFORE;
    if (!after.empty()) p.kind |= AFTER;
    return p;
}

uint64_t count(std::string item, std::vector<Phrase> ph) {
    inspect(item, 0, ph);
    uint64_t n = 0;
    for (auto& p : ph) n += p.counter;
    return n;
}

std::string replaced(std::string item, std::vector<Phrase> ph) {
    inspect(item, 0, ph);
    return item;
}

}  // namespace

TEST(InspectTallying, EachForm) {
    EXPECT_EQ(count("AABA", {tally(LEADING, "A")}), 2u);
    EXPECT_EQ(count("BAAA", {tally(LEADING, "A")}), 0u);
    EXPECT_EQ(count("ABABA", {tally(0, "A")}), 3u);
    EXPECT_EQ(count("ABCDE", {tally(CHARS)}), 5u);
    EXPECT_EQ(count("ABCDE", {tally(CHARS, "", "D")}), 3u);
    EXPECT_EQ(count("ABCDE", {tally(CHARS, "", "", "B")}), 3u);
    EXPECT_EQ(count("ABCDE", {tally(CHARS, "", "D", "B")}), 1u);
    // LEADING counts the run that starts its region.
    EXPECT_EQ(count("XAAXA", {tally(LEADING, "A", "", "X")}), 2u);
    // LEADING "A" with ALL "B": 2 + 2.
    EXPECT_EQ(count("AABAAB", {tally(LEADING, "A"), tally(0, "B")}), 4u);
    // A match of another phrase in the run ends LEADING.
    std::vector<Phrase> ph = {tally(0, "B"), tally(LEADING, "A")};
    std::string item = "ABAA";
    inspect(item, 0, ph);
    EXPECT_EQ(ph[0].counter, 1u);
    EXPECT_EQ(ph[1].counter, 1u);
}

TEST(InspectTallying, OverlappingAndAdjacentMatches) {
    EXPECT_EQ(count("AAAA", {tally(0, "AA")}), 2u);
    EXPECT_EQ(count("AAA", {tally(0, "AA")}), 1u);
    EXPECT_EQ(count("ABAB", {tally(0, "AB")}), 2u);
    // Two phrases able to match at one position: the first acts and the
    // position moves past its match.
    std::vector<Phrase> ph = {tally(0, "AB"), tally(0, "BA")};
    std::string item = "ABAB";
    inspect(item, 0, ph);
    EXPECT_EQ(ph[0].counter, 2u);
    EXPECT_EQ(ph[1].counter, 0u);
}

TEST(InspectTallying, Regions) {
    // BEFORE and AFTER the same value: empty region.
    EXPECT_EQ(count("ABXAB", {tally(0, "A", "X", "X")}), 0u);
    // AFTER not found closes the phrase; BEFORE not found means to the end.
    EXPECT_EQ(count("AAAA", {tally(0, "A", "", "Q")}), 0u);
    EXPECT_EQ(count("AAAA", {tally(0, "A", "Q")}), 4u);
    // A match never runs past its BEFORE delimiter.
    EXPECT_EQ(count("ABCD", {tally(0, "BC", "C")}), 0u);
    EXPECT_EQ(count("ABCD", {tally(0, "BC", "D")}), 1u);
    // AFTER delimiter at the very end: nothing after it.
    EXPECT_EQ(count("ABCD", {tally(CHARS, "", "", "CD")}), 0u);
    // A delimiter longer than the item.
    EXPECT_EQ(count("AB", {tally(CHARS, "", "", "ABC")}), 0u);
    EXPECT_EQ(count("AB", {tally(CHARS, "", "ABC")}), 2u);
    // The counter is added to, not set.
    std::vector<Phrase> ph = {tally(0, "A")};
    ph[0].counter = 40;
    std::string item = "AA";
    inspect(item, 0, ph);
    EXPECT_EQ(ph[0].counter, 42u);
}

TEST(InspectReplacing, EachForm) {
    EXPECT_EQ(replaced("AABA", {replace(0, "A", "X")}), "XXBX");
    EXPECT_EQ(replaced("AABA", {replace(LEADING, "A", "X")}), "XXBA");
    EXPECT_EQ(replaced("AABA", {replace(FIRST, "A", "X")}), "XABA");
    EXPECT_EQ(replaced("ABCD", {replace(CHARS, "", "Z", "D", "A")}), "AZZD");
    // FIRST phrases each act once, for themselves.
    EXPECT_EQ(replaced("ABAB", {replace(FIRST, "A", "1"), replace(FIRST, "B", "2")}), "12AB");
    // A figurative replacing value fills the whole match.
    Phrase fig = replace(0, "ABC", "*");
    fig.result.flags = FIG;
    EXPECT_EQ(replaced("XABCX", {fig}), "X***X");
    // TALLYING then REPLACING: two passes, counts from before.
    std::vector<Phrase> ph = {tally(0, "A"), replace(0, "A", "B"), replace(0, "B", "A")};
    std::string item = "AAB";
    inspect(item, 0, ph);
    EXPECT_EQ(ph[0].counter, 2u);
    EXPECT_EQ(item, "BBA");
}

TEST(InspectConverting, FirstOccurrenceAndRegion) {
    Phrase c{CONV, {0, "123"}, {0, "AAB"}, {}, {}};
    EXPECT_EQ(replaced("ABCDA", {c}), "13CD1");
    Phrase r{CONV | AFTER | BEFORE, {0, "xy"}, {0, "AB"}, {0, "|"}, {0, ":"}};
    EXPECT_EQ(replaced("AB:AB|AB", {r}), "AB:xy|AB");
    Phrase f{CONV, {FIG, "0"}, {0, "ABC"}, {}, {}};
    EXPECT_EQ(replaced("ABCDCBA", {f}), "000D000");
}

TEST(InspectSigned, ZoneCarryingDigitIsPlainAndSignSurvives) {
    // -12355 with the sign in the last digit's zone (0x7n negative).
    std::string item = "1235\x75";
    std::vector<Phrase> ph = {replace(0, "5", "7")};
    inspect(item, SIGNED, ph);
    EXPECT_EQ(item, "1237\x77");
    // Leading sign in the zone, counted as a plain digit.
    std::string lead = "\x75" "125";
    std::vector<Phrase> t = {tally(0, "5")};
    inspect(lead, SIGNED | LEAD_SIGN, t);
    EXPECT_EQ(t[0].counter, 2u);
    EXPECT_EQ(lead, "\x75" "125");
    // Separate leading sign: the sign byte is not inspected.
    std::string sep = "+5555";
    std::vector<Phrase> s = {tally(CHARS), replace(0, "5", "6")};
    inspect(sep, SIGNED | SEPARATE | LEAD_SIGN, s);
    EXPECT_EQ(s[0].counter, 4u);
    EXPECT_EQ(sep, "+6666");
    // A signed operand: compared as plain digits too.
    std::string it = "12345";
    Phrase op = tally(0, "3\x74");
    op.compared.flags = SIGNED;
    std::vector<Phrase> o = {op};
    inspect(it, 0, o);
    EXPECT_EQ(o[0].counter, 1u);
}

TEST(InspectTwoByte, StepsByCharacter) {
    // U+4100 U+4200 in little-endian bytes: "A" (41 00) stands at an odd
    // offset only, which is no character boundary.
    std::string item("\x00\x41\x00\x42", 4);
    std::vector<Phrase> ph = {tally(0, std::string("\x41\x00", 2))};
    inspect(item, NATIONAL, ph);
    EXPECT_EQ(ph[0].counter, 0u);
    std::string n = std::string("A\0B\0A\0", 6);
    std::vector<Phrase> r = {tally(CHARS), replace(0, std::string("A\0", 2), std::string("Z\0", 2))};
    inspect(n, NATIONAL, r);
    EXPECT_EQ(r[0].counter, 3u);
    EXPECT_EQ(n, std::string("Z\0B\0Z\0", 6));
    // DBCS: CONVERTING whole characters; a figurative fills pair by pair.
    std::string d = "\x82\xA0\x82\xA2\x82\xA0";
    Phrase c{CONV, {0, "\x83\x41"}, {0, "\x82\xA0"}, {}, {}};
    std::vector<Phrase> cv = {c};
    inspect(d, DBCS, cv);
    EXPECT_EQ(d, "\x83\x41\x82\xA2\x83\x41");
    Phrase fig = replace(CHARS, "", "\x81\x40", std::string("\x82\xA2"));
    fig.result.flags = FIG;
    std::vector<Phrase> fv = {fig};
    inspect(d, DBCS, fv);
    EXPECT_EQ(d, "\x81\x40\x82\xA2\x83\x41");
}

TEST(InspectMessages, UnequalLengthsGoOnWithTheShorter) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(replaced("ABAB", {replace(0, "AB", "X")}), "XBXB");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("ZVK077W"), std::string::npos) << err;
    EXPECT_NE(err.find("REPLACING"), std::string::npos) << err;

    testing::internal::CaptureStderr();
    EXPECT_EQ(replaced("ABAB", {replace(CHARS, "", "XY")}), "XXXX");
    err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("ZVK076W"), std::string::npos) << err;

    // A zero-length item: no scan, no count, but the phrases are set up.
    testing::internal::CaptureStderr();
    std::string empty;
    std::vector<Phrase> ph = {tally(0, "A"), Phrase{CONV, {0, "12"}, {0, "A"}, {}, {}}};
    inspect(empty, 0, ph);
    err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(ph[0].counter, 0u);
    EXPECT_NE(err.find("CONVERTING"), std::string::npos) << err;
}

TEST(InspectMany, PhrasesBeyondTheStackArea) {
    // Enough phrases to need the one allocation; the last of them counts.
    std::vector<Phrase> ph;
    for (int i = 0; i < 80; ++i) ph.push_back(tally(0, std::string(1, char('a' + i % 20)) + "!"));
    ph.push_back(tally(0, "Q"));
    std::string item = "QQxQ";
    inspect(item, 0, ph);
    EXPECT_EQ(ph.back().counter, 3u);
}
