// The code pages seen from outside: the choice from locale and
// EBCDIC_CODEPAGE, the conversions of all byte values against Python's
// codecs, named code pages, DBCS shift codes and the messages.  Each case
// runs a scenario program in a process of its own.

#include <gtest/gtest.h>

#include <iostream>
#include <map>

#include "scenario.h"

#include "ebcdic_tables.inc"

using scenario::Result;
using scenario::values;

namespace {

// Locales built on first need, in the build tree.
struct LocaleDef {
    const char *input, *charmap;
};

Result run(const std::string& what, std::map<std::string, std::optional<std::string>> env = {},
           const LocaleDef* def = nullptr) {
    scenario::Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    if (def) o.env["LOCPATH"] = scenario::locale(def->input, def->charmap, *o.env["LC_ALL"]);
    return scenario::run(scenario::binDir() + "/chardata_scenarios", {what}, o);
}

void expectValues(const std::string& out, const std::map<std::string, std::string>& want) {
    auto v = values(out);
    for (const auto& [key, value] : want) EXPECT_EQ(v[key], value) << key;
}

class CodePages : public ::testing::Test {};

}  // namespace

// The pages a process takes from its locale and EBCDIC_CODEPAGE.  A
// locale without a "." at its sixth byte gains one and its code set, and
// the native page is read from the seventh byte on; a page of another
// locale's row is kept with a warning; an unknown name takes the row of
// its length (4 EN_AU, 10 ES_ES); a name too long for any is the locale's.
TEST_F(CodePages, ChosenFromTheLocaleAndTheEnvironment) {
    struct Case {
        const char* locale;
        const LocaleDef* def;
        const char* page;
        const char* name;        // expected; null: not checked
        const char* row;
        const char* ebcdic;
        std::string err;         // "~" first: the text need only contain the rest
    };
    const LocaleDef enUS{"en_US", "ISO-8859-1"}, esES{"es_ES", "ISO-8859-1"}, jaJP{"ja_JP", "EUC-JP"};
    const std::string longName(80, 'X');
    const Case cases[] = {
        {"C", nullptr, nullptr, "en_US.ISO8859-1", "8", "TQX-1140", ""},
        {"C.UTF-8", nullptr, nullptr, "C.UTF.UTF-8", "8", nullptr, ""},
        {"en_US", &enUS, nullptr, "en_US.ISO-8859-1", nullptr, nullptr, ""},
        {"es_ES.ISO-8859-1", &esES, "tqx-1140", nullptr, "10", "tqx-1140",
         "ZVK230W  EBCDIC_CODEPAGE tqx-1140 does not belong to locale es_ES.ISO-8859-1; it\n"
         "         is used as given.\n\n"},
        {"es_ES.ISO-8859-1", &esES, "TQX-284", nullptr, nullptr, "TQX-284", ""},
        {"ja_JP.eucJP", &jaJP, "TQX-930", "ja_JP.eucJP", "48", "TQX-930", ""},
        {"C", nullptr, "NOPE", nullptr, nullptr, "TQX-1140",
         "ZVK230W  EBCDIC_CODEPAGE NOPE is not known; code page TQX-1140 is used.\n\n"},
        {"C", nullptr, "ABCDEFGHIJ", nullptr, "8", "TQX-1145", "~ZVK230W"},
        {"C", nullptr, longName.c_str(), nullptr, nullptr, "TQX-1140", "~ZVK230W"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.locale) + " " + (c.page ? c.page : "-"));
        if (c.def && scenario::locale(c.def->input, c.def->charmap, c.locale).empty()) {
            std::cerr << "localedef " << c.locale << " failed: case skipped\n";
            continue;
        }
        std::map<std::string, std::optional<std::string>> env = {{"LC_ALL", c.locale}};
        if (c.page) env["EBCDIC_CODEPAGE"] = c.page;
        Result r = run("locale", env, c.def);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::map<std::string, std::string> want;
        for (auto [key, value] : {std::pair{"locale", c.name}, {"row", c.row}, {"ebcdic", c.ebcdic}})
            if (value) want[key] = value;
        expectValues(r.out, want);
        if (!c.err.empty() && c.err[0] == '~')
            EXPECT_NE(r.err.find(c.err.substr(1)), std::string::npos) << r.err;
        else
            EXPECT_EQ(r.err, c.err);
    }
}

// Every byte value, native to EBCDIC and back, against Python's codecs.
class AllBytes : public CodePages, public ::testing::WithParamInterface<int> {};

TEST_P(AllBytes, AgreeWithAnIndependentTable) {
    const EbcdicExpected& x = kEbcdicExpected[GetParam()];
    std::map<std::string, std::optional<std::string>> env;
    // The default page is the one of the locale, not named.
    if (std::string(x.page) != "TQX-1140") env["EBCDIC_CODEPAGE"] = x.page;
    Result r = run("table", env);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["atoe.rc"], "0 left=0");
    for (const char* k : {"atoe", "toebcdic", "toebcdic1"}) EXPECT_EQ(v[k], x.toEbcdic) << k;
    // Both tables of the alphabet record hold the EBCDIC-to-native image.
    for (const char* k : {"etoa", "toascii", "toascii1", "table80", "table88"}) EXPECT_EQ(v[k], x.toNative) << k;
    EXPECT_EQ(v["tables.distinct"], "1");
    EXPECT_EQ(r.out.find("cap["), std::string::npos) << r.out;
}

INSTANTIATE_TEST_SUITE_P(Pages, AllBytes, ::testing::Values(0, 1, 2),
                         [](const ::testing::TestParamInfo<int>& i) {
                             std::string n = kEbcdicExpected[i.param].page;
                             return n.substr(4);
                         });

TEST_F(CodePages, NamedPagesAndTheirFailures) {
    Result r = run("named");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // Overflow: the part that fits; the message is informational and the
    // run goes on.  A shorter destination: its capacity's worth.
    expectValues(r.out, {{"tounicode.rc", "0 cap=6 u=0041 0062 00E9"}, {"fromunicode.rc", "0 cap=3 e=C1 82 51"},
                         {"native.rc", "0 cap=6 u=00E9"}, {"ebcdic.rc", "0 cap=3 e=C1 82 51"},
                         {"overflow.rc", "15 cap=4"}, {"unknown.rc", "4"}, {"validate", "0 0 1 1"},
                         {"ccsid.TQX-1140", "0 1140"}, {"ccsid.UTF-8", "0 1208"}, {"ccsid.NOPE", "2 4294967295"},
                         {"maxchar", "1 3 0"}, {"short.rc", "0 left=0 e=C1 82 00"},
                         {"pad6.rc", "0 cap=2 [AB    ]"}, {"pad-6.rc", "0 cap=2 [    AB]"}});
    EXPECT_EQ(r.err,
              "ZVK222W  Code page conversion failed (status 15).\n\n"
              "ZVK221W  Code page converter NOSUCHPAGE cannot be opened (status 4).\n\n");
}

TEST_F(CodePages, ShiftCodesOfDbcsData) {
    Result r = run("dbcs", {{"LC_ALL", "C.UTF-8"}, {"EBCDIC_CODEPAGE", "TQX-1390"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // Independent reference: uconv -f utf-8 -t ibm-1390 of the same text.
    expectValues(r.out, {{"mixed", "0E456245660F"}, {"pure", "45624566"}, {"cut", "0E456245"}, {"shift", "0E"},
                         {"bare.rc", "0 cap=6"}, {"bare", "E697A5E69CAC"},
                         {"open.rc", "0 cap=6"}, {"open", "E697A5E69CAC"}});
    // The page belongs to another locale's row: a warning, and on.
    EXPECT_NE(r.err.find("ZVK230W  EBCDIC_CODEPAGE TQX-1390 does not belong to locale C.UTF.UTF-8"),
              std::string::npos)
        << r.err;
}
