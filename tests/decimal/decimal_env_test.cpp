// The COBOL_BCD_* environment, the debug dumps and the message route of
// decimal arithmetic (903 for bad operands, 902 for a zero divisor), each
// case in a process of its own.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "scenario.h"

using scenario::Options;
using scenario::Result;

namespace {

const char* kVars[] = {"COBOL_BCD_NOVALIDATE", "COBOL_BCD_SAFE", "COBOL_BCD_FAST", "COBOL_BCD_DEBUG",
                       "COBOL_BCD_EBCDIC"};

Result run(const std::string& what, std::map<std::string, std::string> env) {
    Options o;
    for (const char* v : kVars) o.env[v] = std::nullopt;
    for (auto& [k, v] : env) o.env[k] = v;
    return scenario::run(scenario::binDir() + "/decimal_scenarios", {what}, o);
}

// Each variable's mode bits, seen in the steps whose section of stderr
// holds a message line, and in the key=value lines of stdout.
TEST(DecimalEnvironment, EachVariableSetsItsModeBits) {
    using Set = std::set<std::string>;
    struct Row {
        std::map<std::string, std::string> env;
        Set reported;
        const char* out;
    } rows[] = {
        // nothing set validates arithmetic only, and computes on with the bad operand
        {{}, {"add"}, "add=1a3c us=313231 negzero=000c letter=313273"},
        {{{"COBOL_BCD_SAFE", "1"}}, {"add", "equ", "cpy"}, "us=313231"},   // cleans unsigned too
        // FAST after SAFE undoes its validation but not arithmetic's; 0x008: the last byte raw
        {{{"COBOL_BCD_SAFE", "1"}, {"COBOL_BCD_FAST", "1"}}, {"add"}, "us=31324a"},
        {{{"COBOL_BCD_NOVALIDATE", "1"}}, {}, ""},
        {{{"COBOL_BCD_NOVALIDATE", "0x41"}}, {"equ"}, ""},
        {{{"COBOL_BCD_NOVALIDATE", "010"}}, {"add"}, "us=31324a"},   // base 0: octal 8
        {{{"COBOL_BCD_NOVALIDATE", "2"}}, {"add"}, "negzero=000d"},
        {{{"COBOL_BCD_NOVALIDATE", ""}}, {"add"}, ""},                         // empty: not set
        {{{"COBOL_BCD_NOVALIDATE", "0x180"}}, {"add"}, "letter=31324c"},     // low eight bits only
        {{{"COBOL_BCD_EBCDIC", "yes"}}, {"add"}, "letter=31324c"},           // "12L": -123
    };
    for (const Row& row : rows) {
        Result r = run("probe", row.env);
        std::string what;
        for (auto& [k, v] : row.env) what += k + "=" + v + " ";
        EXPECT_EQ(r.exitCode, 0) << what << r.err;
        Set reported;
        std::string step;
        for (auto& l : scenario::lines(r.err)) {
            if (l.rfind("--", 0) == 0) step = l.substr(2);
            else if (l.rfind("ZVK903W", 0) == 0) reported.insert(step);
        }
        EXPECT_EQ(reported, row.reported) << what;
        EXPECT_EQ(scenario::mismatches(r.out, row.out), "") << what;
    }
}

TEST(DecimalEnvironment, ReadOnceAtTheFirstCall) {
    Result r = run("reread", {});
    EXPECT_NE(r.err.find("--add\nZVK903W"), std::string::npos) << r.err;
}

TEST(DecimalEnvironment, DebugDumps) {
    Result r = run("dump", {{"COBOL_BCD_DEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    char a[32], b[32], d[32], zo[32];
    ASSERT_EQ(sscanf(r.out.c_str(), "a=%31s b=%31s d=%31s zo=%31s", a, b, d, zo), 4);
    const std::string A = a, B = b, D = d, Z = zo;
    const std::string expected =
        "add packed...\n"
        "op1: " + A + " 4: 01234c\n"
        "op2: " + B + " 3: 567d\n"
        "dst: " + D + " 5: 00667c\n"
        "les packed...\n"
        "op1: " + A + " 4: 01234c\n"
        "op2: " + B + " 3: 567d\n"
        "res: 0\n"
        "packed to zonedto ...\n"
        "in:  " + B + " 3 567d\n"
        "out: " + Z + " 5 3030353677\n";
    EXPECT_EQ(r.err, expected);
}

// Every division by zero raises 902 as a warning and the program goes on
// to its end, with what the division left: all nines, or 1 for 0 / 0.
TEST(DivideByZero, WarnsAndTheProgramGoesOn) {
    Result r = run("divzero", {});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    std::string step;
    std::set<std::string> warned;
    for (auto& l : scenario::lines(r.err)) {
        if (l.rfind("--", 0) == 0) step = l.substr(2);
        else if (l.rfind("ZVK902W", 0) == 0) warned.insert(step);
        else if (!l.empty()) ADD_FAILURE() << "unexpected line: " << l;
    }
    EXPECT_EQ(warned, std::set<std::string>({"div", "divr", "mod", "divznd", "zerobyzero"}));
    auto out = scenario::values(r.out);
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
    Result r = run("muldivdump", {{"COBOL_BCD_DEBUG", "1"}});
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
