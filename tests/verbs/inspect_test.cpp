// INSPECT through its argument block, laid out byte by byte at the
// offsets compiled code uses.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
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

std::string replaced(std::string item, std::vector<Phrase> ph) {
    inspect(item, 0, ph);
    return item;
}

// ---- the model ----
// One statement: its region per phrase fixed on the item as it stands
// (from the end of the first AFTER value to the first BEFORE value; no
// region when the AFTER value is absent); then a scan from the left where,
// at each position, the first phrase still in play whose value matches
// within its region acts and the scan moves past the match, else by one.
// LEADING acts only where its last match ended (at first, where its region
// starts), and drops out at the first position past that; FIRST drops out
// once it has acted.  TALLYING phrases run in a pass of their
// own before the REPLACING ones.
struct Region {
    size_t from, to;
};
Region region(const std::string& item, const Phrase& p) {
    size_t to = item.size(), from = 0;
    if (p.kind & BEFORE) to = std::min(item.find(p.before.bytes), item.size());
    if (p.kind & AFTER) {
        size_t a = item.find(p.after.bytes);
        if (a == std::string::npos) return {1, 0};
        from = a + p.after.bytes.size();
    }
    return {from, to};
}

void modelPass(std::string& item, std::vector<Phrase>& ph, uint32_t kind) {
    const std::string original = item;
    std::vector<Region> rg;
    std::vector<bool> live;
    for (auto& p : ph) rg.push_back(region(original, p)), live.push_back((p.kind & kind) != 0);
    for (size_t pos = 0; pos < original.size();) {
        size_t step = 1;
        for (size_t i = 0; i < ph.size(); ++i) {
            if (!live[i] || pos < rg[i].from) continue;
            const std::string& v = ph[i].compared.bytes;
            size_t n = ph[i].kind & CHARS ? 1 : v.size();
            bool match = pos + n <= rg[i].to && (ph[i].kind & CHARS || original.compare(pos, n, v) == 0) &&
                         (!(ph[i].kind & LEADING) || pos == rg[i].from);
            if (!match) {
                if (ph[i].kind & LEADING) live[i] = false;
                continue;
            }
            if (kind == TALLY) ++ph[i].counter;
            else
                for (size_t k = 0; k < n; ++k) item[pos + k] = ph[i].result.bytes[ph[i].result.flags & FIG ? 0 : k];
            if (ph[i].kind & FIRST) live[i] = false;
            if (ph[i].kind & LEADING) rg[i].from = pos + n;
            step = n;
            break;
        }
        pos += step;
    }
}

// CONVERTING: within the region each byte of the from-string becomes the
// to-string's byte at the position of its first occurrence.
void modelConvert(std::string& item, const Phrase& p) {
    Region r = region(item, p);
    for (size_t pos = r.from; pos < r.to; ++pos) {
        size_t k = p.compared.bytes.find(item[pos]);
        if (k != std::string::npos) item[pos] = p.result.bytes[p.result.flags & FIG ? 0 : k];
    }
}

std::string randomText(std::mt19937& r, size_t lo, size_t hi) {
    std::string s(lo + r() % (hi - lo + 1), ' ');
    for (char& c : s) c = "ABC"[r() % 3];
    return s;
}
void randomRegion(std::mt19937& r, Phrase& p) {
    if (r() % 3 == 0) p.kind |= BEFORE, p.before.bytes = randomText(r, 1, 2);
    if (r() % 3 == 0) p.kind |= AFTER, p.after.bytes = randomText(r, 1, 2);
}

}  // namespace

TEST(InspectModel, TallyingAndReplacingAgreeWithTheLeftToRightScan) {
    std::mt19937 r(11);
    for (int round = 0; round < 20000; ++round) {
        std::string item = randomText(r, 0, 12);
        std::vector<Phrase> ph;
        for (int n = 1 + r() % 3; n > 0; --n) {
            const bool tallying = round % 3 == 0 || (round % 3 == 2 && r() % 2);
            uint32_t form = tallying ? std::vector<uint32_t>{0, LEADING, CHARS}[r() % 3]
                                     : std::vector<uint32_t>{0, LEADING, FIRST, CHARS}[r() % 4];
            Phrase p{(tallying ? TALLY : REPL) | form, {}, {}, {}, {}};
            p.counter = r() % 50;   // added to, not set
            if (!(form & CHARS)) p.compared.bytes = randomText(r, 1, 2);
            if (!tallying) {
                p.result.bytes = randomText(r, form & CHARS ? 1 : p.compared.bytes.size(), form & CHARS ? 1 : 2);
                if (p.result.bytes.size() == 1 && r() % 2) p.result.flags = FIG;
                p.result.bytes.resize(p.result.flags & FIG || form & CHARS ? 1 : p.compared.bytes.size(), 'C');
            }
            randomRegion(r, p);
            ph.push_back(p);
        }
        std::stable_partition(ph.begin(), ph.end(), [](const Phrase& p) { return p.kind & TALLY; });
        std::string want = item, got = item;
        std::vector<Phrase> expect = ph;
        modelPass(want, expect, TALLY);
        modelPass(want, expect, REPL);
        inspect(got, 0, ph);
        std::string what = "item \"" + item + "\" phrases";
        for (auto& p : ph)
            what += " [" + std::to_string(p.kind >> 23) + " '" + p.compared.bytes + "' by '" + p.result.bytes +
                    "' before '" + p.before.bytes + "' after '" + p.after.bytes + "']";
        ASSERT_EQ(got, want) << what;
        for (size_t i = 0; i < ph.size(); ++i) ASSERT_EQ(ph[i].counter, expect[i].counter) << i << " of " << what;
    }
}

TEST(InspectModel, ConvertingMapsEachByteByItsFirstOccurrence) {
    std::mt19937 r(12);
    for (int round = 0; round < 5000; ++round) {
        std::string item = randomText(r, 0, 12);
        Phrase p{CONV, {0, ""}, {0, randomText(r, 1, 4)}, {}, {}};
        p.result.bytes = r() % 3 ? randomText(r, p.compared.bytes.size(), p.compared.bytes.size()) : "x";
        if (p.result.bytes == "x") p.result.flags = FIG;
        for (char& c : p.result.bytes) c = static_cast<char>(c | 0x20);   // lower case: never compared again
        randomRegion(r, p);
        std::string want = item, got = item;
        modelConvert(want, p);
        std::vector<Phrase> ph = {p};
        inspect(got, 0, ph);
        ASSERT_EQ(got, want) << item << " converting " << p.compared.bytes << " to " << p.result.bytes
                             << " before " << p.before.bytes << " after " << p.after.bytes;
    }
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
