// Edited moves, called as compiled code calls them: records and prepared
// sources built by the compiler's rules (picture.h), results compared
// byte for byte.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kvr2/kvr2.h"
#include "picture.h"

namespace {

std::string edit(const pic::Compiled& c, const std::string& value) {
    std::string src = pic::prepare(c, value);
    std::string out(c.outputLength + 8, '\x7f');
    _zvkcMoveNumToNumEdit(reinterpret_cast<const NumericEditRecord*>(c.record.data()),
                          reinterpret_cast<const uint8_t*>(src.data()), reinterpret_cast<uint8_t*>(out.data()));
    EXPECT_EQ(out.substr(c.outputLength), std::string(8, '\x7f')) << "stored past the picture";
    return out.substr(0, c.outputLength);
}

// De-edits; returns the digits and sign, or "ERR".
std::string deEdit(const pic::Compiled& c, const std::string& text) {
    std::string out(64, '\x7f');
    int32_t rc = _zvkcMoveNumEditToNum(reinterpret_cast<const DeEditRecord*>(c.deEdit.data()),
                                       reinterpret_cast<const uint8_t*>(text.data()),
                                       reinterpret_cast<uint8_t*>(out.data()));
    if (rc != 0) return "ERR";
    return out.substr(0, out.find('\x7f'));
}

struct Golden {
    char mode;
    std::string picture;
    bool bwz;
    std::string value, edited, back;
};

std::vector<Golden> readGolden() {
    std::ifstream in(std::string(KVR2_VERBS_DATA) + "/numedit_golden.txt");
    std::vector<Golden> rows;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> f;
        size_t start = 0;
        for (int i = 0; i < 5; ++i) {
            size_t bar = line.find('|', start);
            f.push_back(line.substr(start, bar - start));
            start = bar + 1;
        }
        f.push_back(line.substr(start));
        rows.push_back({f[0][0], f[1], f[2] == "1", f[3], f[4], f[5]});
    }
    return rows;
}

}  // namespace

// Where this library and GnuCOBOL (which made the golden images) differ,
// the library keeps its own rules.  Each difference is listed here with
// what the library gives instead of the golden image:
//
// A. Insertion characters ("/", "0", B) inside the zero-suppressed part of
//    the picture: the library stores the fill character there (as the
//    standard has it); GnuCOBOL keeps the insertion character
//    ("ZZ/ZZ/99" of 100: "    1/00", GnuCOBOL "  / 1/00").
// B. "$***,**9.99" of 1000000, whose aligned digits are all zero: the library
//    protects with "*" ("$******0.00"); GnuCOBOL judges by the unaligned
//    value and prints zeros ("$000,000.00").
// C. "+$$$9.99" (fixed sign before a floating currency string): the library
//    shows "-" for negative values and keeps the floating string's first
//    "$" for the symbol ("+$234.00"); GnuCOBOL shows "+" for some negative
//    values and fills the first "$" with a digit ("+1234.00").
// D. A negative value that is zero once aligned ("9999-" of -0.05): the sign
//    is compiled code's to prepare, and it prepares "+", so the library
//    shows "0000 "; GnuCOBOL keeps "-".  De-editing "0000-" the library
//    returns the "-" it finds; GnuCOBOL returns zero as positive.
// E. De-editing DB: the library returns a negative value, as for CR;
//    GnuCOBOL returns DB values as positive.
// F. De-editing "0" insertion positions: the library drops them as
//    insertions; GnuCOBOL takes them as digits ("990099" of "120034":
//    library 1234, GnuCOBOL 120034).
namespace {

bool isInsertionInSuppressed(const std::string& picture) {
    return picture == "ZZ/ZZ/99" || picture == "Z0Z0Z9" || picture == "ZZBZZ9";
}

// A: the golden image with the insertions before the first significant
// digit replaced by the fill (blank for these pictures).
std::string fillInsertions(const std::string& picture, const std::string& image) {
    std::string out = image;
    bool significant = false;
    for (size_t i = 0; i < picture.size() && i < out.size(); ++i) {
        char p = picture[i];
        if (p == 'Z' || p == '9')
            significant |= out[i] != ' ';
        else if (!significant)
            out[i] = ' ';
    }
    return out;
}

const std::map<std::string, std::string> kPlusFloatingCurrency = {
    {"-1", "-  $1.00"},       {"-0.05", "-  $0.05"},    {"-12.34", "- $12.34"},
    {"1234", "+$234.00"},     {"-1234.5", "-$234.50"},  {"123456.78", "+$456.78"},
    {"-987654321.99", "-$321.99"}, {"99999999.99", "+$999.99"}, {"-0.99", "-  $0.99"}};

// The library's image where it differs from the golden one, else the golden.
std::string expectedEdit(const Golden& g, const pic::Compiled& c) {
    if (isInsertionInSuppressed(g.picture)) return fillInsertions(c.picture, g.edited);
    if (g.picture == "$***,**9.99" && g.value == "1000000") return "$******0.00";
    if (g.picture == "+$$$9.99" && kPlusFloatingCurrency.count(g.value)) return kPlusFloatingCurrency.at(g.value);
    if (g.picture == "9999-" && (g.value == "-0.05" || g.value == "-0.99")) return "0000 ";
    return g.edited;
}

}  // namespace

TEST(NumericEditGolden, MatchesImages) {
    auto rows = readGolden();
    ASSERT_GT(rows.size(), 1000u);
    int failures = 0, differing = 0;
    for (const Golden& g : rows) {
        pic::Compiled c = pic::compile(g.picture, g.mode, g.bwz);
        std::string want = expectedEdit(g, c);
        differing += want != g.edited;
        std::string got = edit(c, g.value);
        if (got != want && ++failures < 40)
            ADD_FAILURE() << g.mode << " " << g.picture << (g.bwz ? " BWZ" : "") << " value " << g.value
                          << " class " << c.editClass << "\n  want [" << want << "]\n  got  [" << got << "]";
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(differing, 39);   // the rows of differences A to D
}

TEST(NumericEditGolden, DeEditsBack) {
    auto rows = readGolden();
    int failures = 0;
    for (const Golden& g : rows) {
        pic::Compiled c = pic::compile(g.picture, g.mode, g.bwz);
        if (expectedEdit(g, c) != g.edited) continue;   // not the library's image
        // GnuCOBOL's value, aligned as the de-edit aligns its digits.
        std::string back = g.back.substr(1);
        if (g.mode == ',') std::replace(back.begin(), back.end(), ',', '.');
        std::string prepared = pic::prepare(c, back);
        std::string want = prepared.substr(1) + (g.back[0] == '-' ? "-" : "+");
        const std::string& p = c.picture;
        if (p.find('0') != std::string::npos) {   // F
            want.clear();
            for (size_t i = 0; i < p.size(); ++i)
                if (p[i] == '9' || p[i] == 'Z') want += g.edited[i] == ' ' ? '0' : g.edited[i];
            want += '+';
        }
        if (g.edited.size() >= 2 && g.edited.substr(g.edited.size() - 2) == "DB") want.back() = '-';   // E
        if (g.picture == "9999-" && g.edited == "0000-") want.back() = '-';                              // D
        std::string got = deEdit(c, g.edited);
        if (got != want && ++failures < 40)
            ADD_FAILURE() << g.mode << " " << g.picture << (g.bwz ? " BWZ" : "") << " text [" << g.edited
                          << "]\n  want " << want << "\n  got  " << got;
    }
    EXPECT_EQ(failures, 0);
}

// ---- what the golden pictures do not reach ----

namespace {
// A record straight from its fields, for what the compiler's rules above
// never make.
std::string editRaw(const std::string& picture, int16_t length, uint8_t editClass, const std::string& source,
                    uint8_t decimalPoint = '.', uint8_t currency = '$') {
    std::vector<uint8_t> rec(5 + picture.size());
    memcpy(rec.data(), &length, 2);
    rec[2] = decimalPoint;
    rec[3] = currency;
    rec[4] = editClass;
    memcpy(rec.data() + 5, picture.data(), picture.size());
    std::string out(picture.size() + 4, '\x7f');
    _zvkcMoveNumToNumEdit(reinterpret_cast<const NumericEditRecord*>(rec.data()),
                          reinterpret_cast<const uint8_t*>(source.data()), reinterpret_cast<uint8_t*>(out.data()));
    return out.substr(0, out.find('\x7f'));
}

std::string withCurrency(const std::vector<uint8_t>& record, const std::string& source, size_t bytes,
                         const std::string& symbol, bool edit) {
    std::vector<uint8_t> cs = {uint8_t(symbol.size()), 0};
    cs.insert(cs.end(), symbol.begin(), symbol.end());
    std::string out(bytes + 4, '\x7f');
    auto* text = reinterpret_cast<const uint8_t*>(source.data());
    auto* to = reinterpret_cast<uint8_t*>(out.data());
    auto* currency = reinterpret_cast<const CurrencyString*>(cs.data());
    if (edit)
        _zvkcMoveNumToNumEdit2(reinterpret_cast<const NumericEditRecord*>(record.data()), text, to, currency);
    else if (_zvkcMoveNumEditToNum2(reinterpret_cast<const DeEditRecord*>(record.data()), text, to, currency))
        return "ERR";
    return out.substr(0, out.find('\x7f'));
}
}  // namespace

TEST(NumericEdit, ClassesAndRecordsTheCompilerRulesDoNotMake) {
    // A zero where every position suppresses: classes from 8 on blank the
    // "*" picture; a positive length leaves the walk's own result.
    EXPECT_EQ(editRaw("**.**", -5, ZVK_EDIT_PLAIN, "+0000"), "**.**");
    EXPECT_EQ(editRaw("**.**", -5, ZVK_EDIT_FLOAT_PLUS_B, "+0000"), "     ");
    EXPECT_EQ(editRaw("ZZ.ZZ", 5, ZVK_EDIT_PLAIN, "+0000"), "  .00");
    // The record's picture keeps "." as point; only the output swaps.
    EXPECT_EQ(editRaw("Z,ZZ9.99", 8, ZVK_EDIT_PLAIN, "+123450", ','), "1.234,50");
    EXPECT_EQ(editRaw("", 0, ZVK_EDIT_PLAIN, "+"), "");
    // A class beyond the last, or its complement, edits without a sign.
    EXPECT_EQ(editRaw("+99", 3, 40, "-12"), " 12");
}

TEST(NumericEdit, CurrencyOfSeveralCharacters) {
    // "EUR" for the one-byte "$": the receiver is two bytes longer than the
    // picture; a text without the currency byte stands as it is.
    pic::Compiled c = pic::compile("$$$,$$9.99");
    EXPECT_EQ(withCurrency(c.record, pic::prepare(c, "1234.5"), c.outputLength + 2, "EUR", true), " EUR1,234.50");
    pic::Compiled b = pic::compile("$$$9.99", '.', true);
    EXPECT_EQ(withCurrency(b.record, pic::prepare(b, "0"), b.outputLength, "EUR", true), "       ");
    // De-editing finds the symbol, or takes the text as it stands.
    EXPECT_EQ(withCurrency(c.deEdit, " EUR1,234.50", 8, "EUR", false), "0123450+");
    EXPECT_EQ(withCurrency(c.deEdit, " $1,234.50", 8, "EUR", false), "0123450+");
}

TEST(DeEdit, TextsThatDoNotFitThePicture) {
    pic::Compiled cr = pic::compile("ZZ9.99CR"), fl = pic::compile("+++9.99");
    EXPECT_EQ(deEdit(cr, " 12.34cr"), "ERR");
    EXPECT_EQ(deEdit(cr, " 12.34C "), "ERR");
    EXPECT_EQ(deEdit(fl, "1+23.45"), "ERR");   // a digit in the first sign position
    EXPECT_EQ(deEdit(fl, "+-23.45"), "ERR");   // a second sign
    // An empty picture stores just the sign; a negative length is none.
    for (std::vector<uint8_t> rec : {std::vector<uint8_t>{0, 0}, std::vector<uint8_t>{0xFD, 0xFF, '9', '9', '9'}}) {
        uint8_t out[8] = {};
        EXPECT_EQ(_zvkcMoveNumEditToNum(reinterpret_cast<const DeEditRecord*>(rec.data()),
                                        reinterpret_cast<const uint8_t*>("123"), out), 0);
        EXPECT_EQ(out[0], '+');
    }
}

// ---- alphanumeric and national editing ----

namespace {
std::string alphaEdit(const std::string& picture, const std::string& source, bool repeat, size_t outBytes) {
    std::vector<uint8_t> rec(3 + picture.size());
    int16_t n = 0;
    for (size_t i = 0; i < picture.size(); ++i, ++n)
        if (uint8_t(picture[i]) == 0x81 && i + 1 < picture.size() && picture[i + 1] == 0x40) ++i;
    memcpy(rec.data(), &n, 2);
    rec[2] = repeat;
    memcpy(rec.data() + 3, picture.data(), picture.size());
    std::string out(outBytes + 4, '\x7f');
    _zvkcMoveAlphaNumEdit(reinterpret_cast<const AlphaEditRecord*>(rec.data()),
                          reinterpret_cast<const uint8_t*>(source.data()), int32_t(source.size()),
                          reinterpret_cast<uint8_t*>(out.data()));
    EXPECT_EQ(out.substr(outBytes), "\x7f\x7f\x7f\x7f");
    return out.substr(0, outBytes);
}

// Runs of (unit, count); returns the units stored, checking a guard zone.
std::u16string nationalEdit(const std::vector<std::pair<char16_t, int16_t>>& runs, const std::u16string& source,
                            bool repeat, size_t expectUnits) {
    std::vector<uint8_t> rec(4 + 4 * runs.size());
    int16_t runBytes = int16_t(4 * runs.size());
    memcpy(rec.data(), &runBytes, 2);
    rec[2] = repeat;
    for (size_t i = 0; i < runs.size(); ++i) {
        memcpy(rec.data() + 4 + 4 * i, &runs[i].first, 2);
        memcpy(rec.data() + 6 + 4 * i, &runs[i].second, 2);
    }
    std::u16string out(expectUnits + 8, u'\xFFFF');
    _zvkcMoveUnicodeEdit(reinterpret_cast<const NationalEditRecord*>(rec.data()),
                         reinterpret_cast<const uint8_t*>(source.data()), int32_t(2 * source.size()),
                         reinterpret_cast<uint8_t*>(out.data()));
    EXPECT_EQ(out.substr(expectUnits), std::u16string(8, u'\xFFFF')) << "stored more than expected";
    return out.substr(0, expectUnits);
}
}  // namespace

TEST(AlphaEdit, InsertionsShortSourceAndRepeat) {
    EXPECT_EQ(alphaEdit("XX/XX/XXXX", "01022026", false, 10), "01/02/2026");
    EXPECT_EQ(alphaEdit("XX/XX X0", "AB", false, 8), "AB/    0");
    EXPECT_EQ(alphaEdit("XX/XX X0", "AB", true, 8), "AB/AB A0");
    EXPECT_EQ(alphaEdit("XX\x81\x40XX", "ABCD", false, 6), "AB\x81\x40" "CD");
    EXPECT_EQ(alphaEdit("XXX", "", true, 3), "   ");   // nothing to repeat
}

TEST(NationalEdit, RunsAndQuirks) {
    // N(2)/N(2): insertion runs stored as they stand.
    EXPECT_EQ(nationalEdit({{u'N', 2}, {u'/', 1}, {u'N', 2}}, u"ABCD", false, 5), u"AB/CD");
    // Source used up before a run: blanks, or (repeating) from the start.
    EXPECT_EQ(nationalEdit({{u'N', 2}, {u'0', 1}, {u'N', 2}}, u"AB", false, 5), u"AB0  ");
    EXPECT_EQ(nationalEdit({{u'N', 2}, {u'0', 1}, {u'N', 2}}, u"AB", true, 5), u"AB0AB");
    // Running out inside a run: one blank, and the run ends there.
    EXPECT_EQ(nationalEdit({{u'N', 4}, {u'/', 1}, {u'N', 1}}, u"AB", false, 5), u"AB / ");
    // Repeating with a one-unit source: 2 * count - 1 units for the run.
    EXPECT_EQ(nationalEdit({{u'N', 3}}, u"A", true, 5), u"AAAAA");
    EXPECT_EQ(nationalEdit({{u'N', 4}, {u'/', 1}}, u"A", true, 8), u"AAAAAAA/");
    EXPECT_EQ(nationalEdit({{u'N', 2}}, u"A", true, 2), u"AA");
}

// ---- figurative fill and the variable-length move ----

TEST(FigConst, JustifiedAndPlain) {
    uint8_t d[9];
    memset(d, '.', sizeof d);
    _zvkcMoveFigConst(d, -7, reinterpret_cast<const uint8_t*>("ABC"), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(d), 9), "CABCABC..");
    _zvkcMoveFigConst(d, 7, reinterpret_cast<const uint8_t*>("ABC"), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(d), 9), "ABCABCA..");
    _zvkcMoveFigConst(d, 2, reinterpret_cast<const uint8_t*>("ABC"), 3);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(d), 9), "ABCABCA..");
    _zvkcMoveFigConst(d, 9, reinterpret_cast<const uint8_t*>("ABC"), 0);   // no literal: untouched
    EXPECT_EQ(std::string(reinterpret_cast<char*>(d), 9), "ABCABCA..");
}

TEST(VarLenOverlap, AgainstModelOnEveryOverlap) {
    // Every offset of destination against source in one buffer, every
    // length pair and both justifications and pads: the result is what a
    // copy taken before the move would give.
    for (int srcOff = 0; srcOff < 8; ++srcOff)
        for (int dstOff = 0; dstOff < 8; ++dstOff)
            for (int s = 0; s <= 5; ++s)
                for (int d = 0; d <= 5; ++d)
                    for (int flags = 0; flags < 4; ++flags) {
                        std::string buf = "abcdefghijklmnop";
                        std::string src = buf.substr(size_t(srcOff), size_t(s));
                        bool right = flags & 1, ebcdicPad = (flags & 2) && s > 0;
                        char pad = ebcdicPad ? '\x40' : ' ';
                        std::string want;
                        if (d >= s)
                            want = right ? std::string(size_t(d - s), pad) + src : src + std::string(size_t(d - s), pad);
                        else
                            want = right ? src.substr(size_t(s - d)) : src.substr(0, size_t(d));
                        _zvkcMoveVarLenOverlap(reinterpret_cast<uint8_t*>(buf.data()) + dstOff, right ? -d : d,
                                               reinterpret_cast<const uint8_t*>(buf.data()) + srcOff,
                                               ebcdicPad ? -s : s);
                        ASSERT_EQ(buf.substr(size_t(dstOff), size_t(d)), want)
                            << srcOff << " " << dstOff << " " << s << " " << d << " " << flags;
                    }
}

// ---- segment refresh ----

TEST(SegmentRefresh, ConditionsAndSelection) {
    int a = 0, b = 0, c = 0;
    void* init[3] = {&a, &b, &c};
    const uint8_t segs[3] = {50, 60, 50};
    auto fresh = [] { return std::vector<void*>{nullptr, nullptr, nullptr}; };
    auto t = fresh();
    _zvkcRfshUncond(50, 3, t.data(), init, segs);
    EXPECT_EQ(t, (std::vector<void*>{&a, nullptr, &c}));
    t = fresh();
    _zvkcRfshCond(10, 3, 49, t.data(), init, segs);   // below 50: nothing
    EXPECT_EQ(t, fresh());
    _zvkcRfshCond(60, 3, 60, t.data(), init, segs);   // same segment: nothing
    EXPECT_EQ(t, fresh());
    _zvkcRfshCond(10, 3, 60, t.data(), init, segs);
    EXPECT_EQ(t, (std::vector<void*>{nullptr, &b, nullptr}));
    t = fresh();
    _zvkcRfshCond(10, 3, 0x80 + 50, t.data(), init, segs);   // negative as a byte
    EXPECT_EQ(t, fresh());
    _zvkcRfshCond(10, 0, 50, t.data(), init, segs);
    EXPECT_EQ(t, fresh());
    const uint8_t table[2] = {60, 50};
    _zvkcRfshGoDepend(2, 10, 3, table, t.data(), init, segs);
    EXPECT_EQ(t, (std::vector<void*>{&a, nullptr, &c}));
    t = fresh();
    _zvkcRfshGoDepend(0, 10, 3, table, t.data(), init, segs);   // selector out of range: falls through
    EXPECT_EQ(t, fresh());
}
