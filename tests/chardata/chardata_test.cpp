// The code pages seen from outside: the choice from locale and
// EBCDIC_CODEPAGE, the conversions of all byte values against Python's
// codecs, named code pages, DBCS shift codes and the messages.  Each case
// runs a scenario program in a process of its own.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>

#include "scenario.h"

#include "ebcdic_tables.inc"

namespace fs = std::filesystem;
using scenario::Options;
using scenario::Result;

namespace {

using scenario::hasLine;
using scenario::values;

// A private LOCPATH in the build tree, where locales are built on first
// need and kept for the next test.
std::string locales = scenario::binDir() + "/locales";

Result run(const std::string& what, std::map<std::string, std::optional<std::string>> env = {}) {
    Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    if (!locales.empty()) o.env["LOCPATH"] = locales;
    return scenario::run(scenario::binDir() + "/chardata_scenarios", {what}, o);
}

std::string hexOf(const unsigned char* p, size_t n) {
    std::string s;
    char b[3];
    for (size_t i = 0; i < n; ++i) {
        snprintf(b, sizeof b, "%02X", p[i]);
        s += b;
    }
    return s;
}

bool buildLocale(const char* input, const char* charmap, const char* name) {
    if (fs::exists(locales + "/" + name + "/LC_CTYPE")) return true;
    std::error_code ec;
    fs::create_directories(locales, ec);
    std::string cmd = "localedef -i " + std::string(input) + " -f " + charmap + " " + locales + "/" + name +
                      " >/dev/null 2>&1";
    int rc = system(cmd.c_str());
    (void)rc;   // localedef warns (exit 1) about some sources and still builds
    return fs::exists(locales + "/" + name + "/LC_CTYPE");
}

class CodePages : public ::testing::Test {};

}  // namespace

TEST_F(CodePages, LocaleCIsEnglishLatinOneWithTheEuroPage) {
    Result r = run("locale");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["locale"], "en_US.ISO8859-1");
    EXPECT_EQ(v["row"], "8");
    EXPECT_EQ(v["ebcdic"], "TQX-1140");
    EXPECT_EQ(r.err, "");
}

TEST_F(CodePages, CodeSetStandsFromTheSeventhByte) {
    // "C.UTF-8" has no "." at its sixth byte: one goes there, the code set
    // follows, and the native page is read from the seventh byte on.
    Result r = run("locale", {{"LC_ALL", "C.UTF-8"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["locale"], "C.UTF.UTF-8");
    EXPECT_EQ(v["row"], "8");   // unknown key: EN_US
}

TEST_F(CodePages, LocaleWithoutCodeSetGainsIt) {
    if (!buildLocale("en_US", "ISO-8859-1", "en_US")) GTEST_SKIP() << "localedef en_US failed";
    Result r = run("locale", {{"LC_ALL", "en_US"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(values(r.out)["locale"], "en_US.ISO-8859-1");
}

TEST_F(CodePages, ForeignPageIsKeptAsWrittenWithAWarning) {
    if (!buildLocale("es_ES", "ISO-8859-1", "es_ES.ISO-8859-1")) GTEST_SKIP() << "localedef es_ES failed";
    Result r = run("locale", {{"LC_ALL", "es_ES.ISO-8859-1"}, {"EBCDIC_CODEPAGE", "tqx-1140"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["row"], "10");
    EXPECT_EQ(v["ebcdic"], "tqx-1140");
    EXPECT_EQ(r.err,
              "ZVK230W  EBCDIC_CODEPAGE tqx-1140 does not belong to locale es_ES.ISO-8859-1; it\n"
              "         is used as given.\n\n");
    // A page of the locale's own row: no message.
    Result own = run("locale", {{"LC_ALL", "es_ES.ISO-8859-1"}, {"EBCDIC_CODEPAGE", "TQX-284"}});
    EXPECT_EQ(values(own.out)["ebcdic"], "TQX-284");
    EXPECT_EQ(own.err, "");
}

TEST_F(CodePages, SecondRowOfAKeyCountsAsTheLocales) {
    if (!buildLocale("ja_JP", "EUC-JP", "ja_JP.eucJP")) GTEST_SKIP() << "localedef ja_JP failed";
    Result r = run("locale", {{"LC_ALL", "ja_JP.eucJP"}, {"EBCDIC_CODEPAGE", "TQX-930"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["row"], "48");
    EXPECT_EQ(v["ebcdic"], "TQX-930");
    EXPECT_EQ(v["locale"], "ja_JP.eucJP");
    EXPECT_EQ(r.err, "");
}

TEST_F(CodePages, UnknownPageTakesTheRowOfItsLength) {
    Result r = run("locale", {{"EBCDIC_CODEPAGE", "NOPE"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(values(r.out)["ebcdic"], "TQX-1140");   // row 4, EN_AU
    EXPECT_EQ(r.err, "ZVK230W  EBCDIC_CODEPAGE NOPE is not known; code page TQX-1140 is used.\n\n");
    Result ten = run("locale", {{"EBCDIC_CODEPAGE", "ABCDEFGHIJ"}});
    EXPECT_EQ(values(ten.out)["ebcdic"], "TQX-1145");   // row 10, ES_ES
    EXPECT_EQ(values(ten.out)["row"], "8");
    // Too long to be any name: the locale's own page, no overrun.
    Result longer = run("locale", {{"EBCDIC_CODEPAGE", std::string(80, 'X')}});
    ASSERT_EQ(longer.exitCode, 0) << longer.err;
    EXPECT_EQ(values(longer.out)["ebcdic"], "TQX-1140");
    EXPECT_NE(longer.err.find("ZVK230W"), std::string::npos);
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
    const std::string toE = hexOf(x.toEbcdic, 256), toN = hexOf(x.toNative, 256);
    EXPECT_EQ(v["atoe"], toE);
    EXPECT_EQ(v["etoa"], toN);
    EXPECT_EQ(v["toebcdic"], toE);
    EXPECT_EQ(v["toascii"], toN);
    EXPECT_EQ(v["toebcdic1"], toE);
    EXPECT_EQ(v["toascii1"], toN);
    EXPECT_EQ(v["atoe.rc"], "0 left=0");
    // Both tables of the alphabet record hold the EBCDIC-to-native image.
    EXPECT_EQ(v["tables.distinct"], "1");
    EXPECT_EQ(v["table80"], toN);
    EXPECT_EQ(v["table88"], toN);
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
    auto v = values(r.out);
    EXPECT_EQ(v["tounicode.rc"], "0 cap=6 u=0041 0062 00E9");
    EXPECT_EQ(v["fromunicode.rc"], "0 cap=3 e=C1 82 51");
    EXPECT_EQ(v["native.rc"], "0 cap=6 u=00E9");
    EXPECT_EQ(v["ebcdic.rc"], "0 cap=3 e=C1 82 51");
    // The part that fits; the message is informational and the run goes on.
    EXPECT_EQ(v["overflow.rc"], "15 cap=4");
    EXPECT_EQ(v["unknown.rc"], "4");
    EXPECT_EQ(v["validate"], "0 0 1 1");
    EXPECT_EQ(v["ccsid"], "0 1140");
    EXPECT_EQ(v["ccsid.utf8"], "0 1208");
    EXPECT_EQ(v["ccsid.nope"], "2 4294967295");
    EXPECT_EQ(v["maxchar"], "1 3 0");
    EXPECT_EQ(v["short.rc"], "0 left=0 e=C1 82 00");
    EXPECT_EQ(v["pad.rc"], "0 cap=2 [AB    ]");
    EXPECT_EQ(v["right.rc"], "0 cap=2 [    AB]");
    EXPECT_EQ(r.err,
              "ZVK222W  Code page conversion failed (status 15).\n\n"
              "ZVK221W  Code page converter NOSUCHPAGE cannot be opened (status 4).\n\n");
}

TEST_F(CodePages, ShiftCodesOfDbcsData) {
    Result r = run("dbcs", {{"LC_ALL", "C.UTF-8"}, {"EBCDIC_CODEPAGE", "TQX-1390"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    // Independent reference: uconv -f utf-8 -t ibm-1390 of the same text.
    EXPECT_EQ(v["mixed"], "0E456245660F");
    EXPECT_EQ(v["pure"], "45624566");
    EXPECT_EQ(v["cut"], "0E456245");
    EXPECT_EQ(v["shift"], "0E");
    EXPECT_EQ(v["bare.rc"], "0 cap=6");
    EXPECT_EQ(v["bare"], "E697A5E69CAC");
    EXPECT_EQ(v["open.rc"], "0 cap=6");
    EXPECT_EQ(v["open"], "E697A5E69CAC");
    // The page belongs to another locale's row: a warning, and on.
    EXPECT_NE(r.err.find("ZVK230W  EBCDIC_CODEPAGE TQX-1390 does not belong to locale C.UTF.UTF-8"),
              std::string::npos)
        << r.err;
}
