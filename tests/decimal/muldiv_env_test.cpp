// The message route of division by zero and the debug dumps of
// multiplication, division and scaling, each in a process of its own.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "scenario.h"

using scenario::Options;
using scenario::Result;

namespace {

Result run(const std::string& what, std::map<std::string, std::string> env = {}) {
    Options o;
    for (const char* v : {"COBOL_BCD_NOVALIDATE", "COBOL_BCD_SAFE", "COBOL_BCD_FAST", "COBOL_BCD_DEBUG",
                          "COBOL_BCD_EBCDIC"})
        o.env[v] = std::nullopt;
    for (auto& [k, v] : env) o.env[k] = v;
    return scenario::run(scenario::binDir() + "/muldiv_scenarios", {what}, o);
}

// Every division by zero raises 902 as a warning and the program goes on
// to its end, with what the division left: all nines, or 1 for 0 / 0.
TEST(DivideByZero, WarnsAndTheProgramGoesOn) {
    Result r = run("divzero");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    std::string step;
    std::set<std::string> warned;
    for (auto& l : scenario::lines(r.err)) {
        if (l.rfind("--", 0) == 0) step = l.substr(2);
        else if (l.rfind("ZVK902W", 0) == 0) warned.insert(step);
        else if (!l.empty()) ADD_FAILURE() << "unexpected line: " << l;
    }
    EXPECT_EQ(warned, std::set<std::string>({"div", "divr", "mod", "divznd", "zerobyzero"}));
    std::map<std::string, std::string> out;
    for (auto& l : scenario::lines(r.out)) {
        auto eq = l.find('=');
        if (eq != std::string::npos) out[l.substr(0, eq)] = l.substr(eq + 1);
    }
    EXPECT_EQ(out["div"], "099c");
    EXPECT_EQ(out["divr"], "1");
    EXPECT_EQ(out["divrr"], "007c");
    EXPECT_EQ(out["mod"], "007c");
    EXPECT_EQ(out["divznd"], "393939");
    EXPECT_EQ(out["zerobyzero"], "001c");
    EXPECT_NE(r.err.find("--end"), std::string::npos);
    EXPECT_NE(r.out.find("epilogue 0"), std::string::npos) << r.out;
}

TEST(MulDivDebug, Dumps) {
    Result r = run("dump", {{"COBOL_BCD_DEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    char a[32], b[32], d[32], rm[32], z[32], zo[32];
    ASSERT_EQ(sscanf(r.out.c_str(), "a=%31s b=%31s d=%31s r=%31s z=%31s zo=%31s", a, b, d, rm, z, zo), 6);
    const std::string A = a, B = b, D = d, Z = z, ZO = zo;
    const std::string expected =
        "mpy packed...\n"
        "op1: " + A + " 3: 123c\n"
        "op2: " + B + " 1: 4d\n"
        "dst: " + D + " 5: 00492d\n"
        "div packed remainder...\n"
        "op1: " + A + " 3: 123c\n"
        "op2: " + B + " 1: 4d\n"
        "dst: " + D + " 5: 00030d\n"
        "rem: 003c\n"
        "Shift packed right round 1 ...\n"
        "op1: " + A + " 3 123c\n"
        "res: " + D + " 5 00012c\n"
        "Shift zonedlo left 2 ...\n"
        "op1: " + Z + " 4 31323334\n"
        "op2: " + ZO + " 4 33343030\n";
    EXPECT_EQ(r.err, expected);
}

}  // namespace
