// EXTERNAL data items seen from outside, each case in a process of its own.

#include <gtest/gtest.h>

#include <map>

#include "scenario.h"

namespace {

using scenario::hasLine;
using scenario::values;

scenario::Result run(const std::string& what, std::map<std::string, std::optional<std::string>> env = {}) {
    scenario::Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    return scenario::run(scenario::binDir() + "/external_scenarios", {what}, o);
}

}  // namespace

TEST(External, TwoProgramsShareOneItem) {
    scenario::Result r = run("share");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["zeroed"], "1");
    EXPECT_EQ(v["aligned"], "1");
    EXPECT_EQ(v["length.before.data"], "10");
    EXPECT_EQ(v["same"], "1");
    EXPECT_EQ(v["seen"], "0123456789");
    EXPECT_EQ(v["main.sees"], "ABCDE56789");
    EXPECT_EQ(v["other"], "1");
    EXPECT_EQ(v["again"], "1");
    EXPECT_EQ(v["next.zeroed"], "1");
    EXPECT_EQ(r.err, "");
}

TEST(External, NamesOutliveTheTablesThatDefinedThem) {
    // The run unit's end dumps the items under __ZVKDEBUG, long after the
    // compiled tables that named them were released.
    scenario::Result r = run("share", {{"__ZVKDEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0);
    EXPECT_NE(r.err.find("External Variables\n"), std::string::npos);
    EXPECT_NE(r.err.find("\tName: SHARED-REC\n\tLen:  10\n\tData: ABCDE56789\n"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("\tName: COUNTER\n\tLen:  4\n"), std::string::npos);
}

TEST(External, SecondLengthEndsTheRun) {
    scenario::Result r = run("mismatch");
    EXPECT_EQ(r.out, "first\n");
    EXPECT_NE(r.err.find("ZVK066S  The EXTERNAL data item X is defined with a length different from its\n"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("ZVK901S Program exits due to severe or critical error."), std::string::npos);
    EXPECT_TRUE(r.signal != 0 || r.exitCode != 0);
}
