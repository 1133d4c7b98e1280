// The console verbs seen from outside: the text of each kind of item, the
// device streams bound from the environment, ACCEPT from a file, a pipe and
// a terminal, the clock forms and STOP with a literal.  Each case runs a
// scenario program in a process of its own.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "scenario.h"

namespace fs = std::filesystem;
using scenario::Options;
using scenario::Result;

namespace {

std::string program() { return scenario::binDir() + "/console_scenarios"; }

Result run(const std::vector<std::string>& args, std::map<std::string, std::optional<std::string>> env = {},
           const std::string& input = "") {
    Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    o.input = input;
    return scenario::run(program(), args, o);
}

std::string slurp(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

struct TempDir {
    fs::path path;
    TempDir() {
        char tmpl[] = "/tmp/kvr2-console-XXXXXX";
        path = mkdtemp(tmpl);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
};

const char kEpilogue[] = "epilogue 0\n";

}  // namespace

TEST(Display, TextOfEachKindOfItem) {
    Result r = run({"kinds"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const std::string expected = std::string(
                                     "HELLO, WORLD\n"
                                     "0012s\n"
                                     "\x12\x34\x5C\n"
                                     "N\0A\0\n",
                                     28) +
                                 "-005\n"
                                 "250\n"
                                 "-1234\n"
                                 "65535\n"
                                 "-0000002\n"
                                 "16777214\n"
                                 "123456789\n"
                                 "4000000000\n"
                                 "-0549755813887\n"
                                 "0549755813889\n"
                                 "-001\n"
                                 "00281474976710656\n"
                                 "-9223372036854775808\n"
                                 "18446744073709551615\n"
                                 "345\n"
                                 "-0005\n"
                                 "0012\n"
                                 " .1500E 01\n"
                                 " .1500E 00\n"
                                 " .1500E-01\n"
                                 "-,123456E 03\n"
                                 " .100E 101\n"
                                 " .0000E 01\n"
                                 " .25000E 01\n"
                                 "Infinity\n"
                                 "NaN\n"
                                 "A=(NULL)042Infinity\n"
                                 "widths=2 6 3 8\n"
                                 "NO-ADV END\n"
                                 "\n" +
                                 kEpilogue;
    EXPECT_EQ(r.out, expected);
}

TEST(Display, CaptureBufferTakesTheFirstItemOnly) {
    Result r = run({"capture"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, std::string("\ncaptured=[-0077] len=5\n") + kEpilogue);
}

TEST(Display, InvalidItemsAndDevices) {
    Result r = run({"invalid"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // Items before the bad one and the line end are written; the message
    // follows; an unknown device writes nothing.
    EXPECT_EQ(r.out, std::string("AB\n\n\nGOES ON\n") + kEpilogue);
    const std::string m170 = "ZVK170W  DISPLAY of an item of a kind or size that cannot be displayed.\n\n";
    EXPECT_EQ(r.err, m170 + m170 + m170 + "ZVK169W  DISPLAY UPON an unknown device; nothing is displayed.\n\n");
}

TEST(Display, DevicesBoundToFilesByTheEnvironment) {
    TempDir t;
    const std::string out = (t.path / "out.txt").string(), con = (t.path / "con.txt").string(),
                      msgs = (t.path / "msgs.txt").string();
    Result r = run({"devices"}, {{"SYSOUT", out}, {"CONSOLE", con}, {"COBMSGS", msgs}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(slurp(out), "TO SYSOUT\n");
    EXPECT_EQ(slurp(con), "TO CONSOLE\n");
    // SYSPUNCH has no file: its text goes to stdout, the message to COBMSGS.
    EXPECT_EQ(r.out, std::string("TO SYSPUNCH\n") + kEpilogue);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(slurp(msgs), "ZVK168W  SYSPUNCH is not assigned; the output goes to standard output.\n\n");

    // The second name of a device, and SYSPUNCH given a file.
    const std::string lst = (t.path / "lst.txt").string(), pch = (t.path / "pch.txt").string();
    Result second = run({"devices"}, {{"SYSLIST", lst}, {"SYSPCH", pch}});
    EXPECT_EQ(slurp(lst), "TO SYSOUT\n");
    EXPECT_EQ(slurp(pch), "TO SYSPUNCH\n");
    EXPECT_EQ(second.out, std::string("TO CONSOLE\n") + kEpilogue);
    EXPECT_EQ(second.err, "");
}

TEST(Display, GeneratedFileNames) {
    TempDir t;
    Result r = run({"devices"}, {{"SYSOUT", "%"}, {"CONSOLE", "con%"}, {"COBOUTDIR", t.path.string()}, {"TZ", "EST5"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string pid = "\\.[0-9]+";
    const std::string stamp = "CONSOLE1\\.[0-9]{8}\\.[0-9]{6}\\.[0-9]{6}\\+0500";
    std::smatch m;
    const std::string dir = t.path.string();
    std::regex sysout("Creating SYSOUT file: (" + dir + "/stdout\\." + stamp + pid + ")\n");
    ASSERT_TRUE(std::regex_search(r.out, m, sysout)) << r.out;
    EXPECT_EQ(slurp(m[1].str()), "TO SYSOUT\n");
    // A value with more than "%" takes no default word.
    std::regex console("Creating CONSOLE file: (" + dir + "/con\\." + stamp + pid + ")\n");
    ASSERT_TRUE(std::regex_search(r.out, m, console)) << r.out;
    EXPECT_EQ(slurp(m[1].str()), "TO CONSOLE\n");

    // A plain relative name is put in COBOUTDIR, with the notice.
    Result plain = run({"devices"}, {{"SYSOUT", "plain.txt"}, {"COBOUTDIR", dir + "/"}});
    EXPECT_EQ(slurp(t.path / "plain.txt"), "TO SYSOUT\n");
    EXPECT_NE(plain.out.find("Creating SYSOUT file: " + dir + "/plain.txt\n"), std::string::npos) << plain.out;
    // A directory ending in "/%" takes the default word.
    fs::create_directory(t.path / "sub");
    Result sub = run({"devices"}, {{"SYSOUT", "sub/%"}, {"COBOUTDIR", dir}});
    std::regex subName("Creating SYSOUT file: (" + dir + "/sub/stdout\\.CONSOLE1\\.[^\n]+)\n");
    ASSERT_TRUE(std::regex_search(sub.out, m, subName)) << sub.out;
    EXPECT_EQ(slurp(m[1].str()), "TO SYSOUT\n");
    // A file that cannot be made: the default stream, silently.
    Result bad = run({"devices"}, {{"SYSOUT", "/nonexistent/dir/x"}});
    EXPECT_EQ(bad.out.substr(0, 10), "TO SYSOUT\n");
}

TEST(Display, FlushByEnvironment) {
    EXPECT_EQ(run({"flush"}, {{"COBOL_DISPLAY_FLUSH", "1"}}).out, "FLUSHED?\n");
    EXPECT_EQ(run({"flush"}, {{"COBOL_DISPLAY_FLUSH", "0"}}).out, "");
    EXPECT_EQ(run({"flush"}).out, "");
}

TEST(Accept, FromAPipeContinuousAndLineMode) {
    // Continuous mode (no terminal): the newline is dropped and the read
    // goes on; end of input with nothing stored leaves the field as it was.
    Result r = run({"accept", "4", "3"}, {}, "AB\nCD\nXY\n");
    EXPECT_EQ(r.out, std::string("[ABCD]\n[XY  ]\n[****]\n") + kEpilogue);
    // Line mode by option: one line per ACCEPT, the rest of a long line
    // dropped, an empty line stores nothing.
    Result line = run({"accept", "4", "4"}, {{"COBRTOPT", "TRAP=OFF,ACCEPT=NEW"}}, "AB\nCDEFGH\n\nIJ");
    EXPECT_EQ(line.out, std::string("[AB  ]\n[CDEF]\n[****]\n[IJ  ]\n") + kEpilogue);
    EXPECT_EQ(line.err, "");
}

TEST(Accept, FromAFileNamedBySysin) {
    TempDir t;
    std::ofstream(t.path / "in.txt") << "AB\nCD\n";
    Result r = run({"accept", "4", "2"}, {{"SYSIN", (t.path / "in.txt").string()}}, "ignored\n");
    EXPECT_EQ(r.out, std::string("[ABCD]\n[****]\n") + kEpilogue);
    Result ipt = run({"accept", "3", "1"}, {{"SYSIPT", (t.path / "in.txt").string()}});
    EXPECT_EQ(ipt.out, std::string("[ABC]\n") + kEpilogue);
    // From the console, bound to the same file.
    Result con = run({"accept", "2", "1", "0x20"}, {{"CONSOLE", (t.path / "in.txt").string()}});
    EXPECT_EQ(con.out, std::string("[AB]\n") + kEpilogue);
}

TEST(Accept, FromATerminal) {
    // A terminal is read in line mode; ^D at the start of a line is the end
    // of input.
    Options o;
    o.env["LC_ALL"] = "C";
    o.ptyColumns = 80;
    o.input = "AB\nCDEFG\n\n\x04";
    const std::string shown = scenario::run(program(), {"accept", "4", "4"}, o).out;
    EXPECT_NE(shown.find("[AB  ]\r\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("[CDEF]\r\n"), std::string::npos) << shown;
    size_t first = shown.find("[****]");
    ASSERT_NE(first, std::string::npos) << shown;
    EXPECT_NE(shown.find("[****]", first + 1), std::string::npos) << shown;
    EXPECT_EQ(shown.find("G]"), std::string::npos) << shown;
}

TEST(Accept, NationalItem) {
    TempDir t;
    const char data[] = {'A', 0, 'B', 0, '\n', 0, 'C', 0, 'D', 0, '\n', 0};
    std::ofstream(t.path / "u.txt", std::ios::binary).write(data, sizeof data);
    const std::string file = (t.path / "u.txt").string();
    // Continuous: the newline unit is dropped; a short input is not padded.
    Result r = run({"national", "3", "2"}, {{"SYSIN", file}});
    EXPECT_EQ(r.out, std::string("[0041 0042 0043 ]\n[0044 002A 002A ]\n") + kEpilogue);
    Result line = run({"national", "3", "2"}, {{"SYSIN", file}, {"COBRTOPT", "TRAP=OFF,ACCEPT=NEW"}});
    EXPECT_EQ(line.out, std::string("[0041 0042 002A ]\n[0043 0044 002A ]\n") + kEpilogue);
}

namespace {
// From the same clock as the library's (time() may lag it by a tick).
std::string clockNow(const char* format) {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    time_t t = tv.tv_sec;
    struct tm tm;
    localtime_r(&t, &tm);
    char b[64];
    strftime(b, sizeof b, format, &tm);
    return b;
}
}  // namespace

TEST(Accept, ClockForms) {
    // Retried if the clock crossed a second (or a day) during the run.
    for (int attempt = 0; attempt < 3; ++attempt) {
        std::string before = clockNow("%Y%m%d%H%M%S %j %u");
        Result r = run({"clock"});
        std::string after = clockNow("%Y%m%d%H%M%S %j %u");
        if (before != after) continue;
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::string y4 = before.substr(0, 4), y2 = before.substr(2, 2), md = before.substr(4, 4),
                    hms = before.substr(8, 6), doy = before.substr(15, 3), dow = before.substr(19, 1);
        auto v = scenario::values(r.out);
        EXPECT_EQ(v["10"], "[" + y2 + md + "    **]");
        EXPECT_EQ(v["50"], "[" + y4 + md + "  **]");
        EXPECT_EQ(v["08"], "[" + y2 + doy + "     **]");
        EXPECT_EQ(v["48"], "[" + y4 + doy + "   **]");
        std::regex time("\\[" + hms + "[0-9]{2}  \\*\\*\\]");
        EXPECT_TRUE(std::regex_match(v["04"], time)) << v["04"];
        EXPECT_EQ(v["01"], "[" + dow + "         **]");   // 1 Monday ... 7 Sunday
        EXPECT_EQ(v["18"], v["10"]);                       // DATE wins over DAY
        EXPECT_EQ(v["hhmm"], "[" + hms.substr(0, 4) + "]");
        EXPECT_EQ(v["zero"], "[***]");
        return;
    }
    FAIL() << "the clock never stood still for a run";
}

TEST(Stop, LiteralWaitsForAnAnswer) {
    Result r = run({"stop"}, {}, "yes, go on\nDATA\n");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, std::string("OPERATOR, PLEASE REPLY\n[DATA]\nafter\n") + kEpilogue);
    // End of input is an answer too.
    Result eof = run({"stop"});
    EXPECT_EQ(eof.out, std::string("OPERATOR, PLEASE REPLY\n[****]\nafter\n") + kEpilogue);
    EXPECT_EQ(eof.err, "");
}

TEST(Accept, ReadErrorIsReportedAndTheRunGoesOn) {
    TempDir t;
    // A directory opens for reading but every read of it fails (EISDIR).
    Result r = run({"accept", "4", "1"}, {{"SYSIN", t.path.string()}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, std::string("[****]\n") + kEpilogue);
    EXPECT_EQ(r.err, "ZVK200W  Input/output error in ACCEPT, errno 21.\n\n");
    Result stop = run({"stop"}, {{"SYSIN", t.path.string()}});
    EXPECT_EQ(stop.out, std::string("OPERATOR, PLEASE REPLY\n[****]\nafter\n") + kEpilogue);
    EXPECT_EQ(stop.err,
              "ZVK200W  Input/output error in STOP, errno 21.\n\n"
              "ZVK200W  Input/output error in ACCEPT, errno 21.\n\n");
}

TEST(Accept, DbcsItemIsPaddedWithTheLocalesDbcsBlank) {
    const std::string locales = scenario::locale("ja_JP", "EUC-JP", "ja_JP.eucJP");
    if (locales.empty()) GTEST_SKIP() << "localedef ja_JP failed";
    std::map<std::string, std::optional<std::string>> env = {{"LC_ALL", "ja_JP.eucJP"}, {"LOCPATH", locales}};
    // An even remainder takes the two-byte blank; an odd one single blanks.
    EXPECT_EQ(run({"accept", "6", "1", "0x82"}, env, "AB\n").out, std::string("[AB\x81\x40\x81\x40]\n") + kEpilogue);
    EXPECT_EQ(run({"accept", "5", "1", "0x82"}, env, "AB\n").out, std::string("[AB   ]\n") + kEpilogue);
    EXPECT_EQ(run({"accept", "6", "1", "0x82"}, {}, "AB\n").out, std::string("[AB    ]\n") + kEpilogue);
}
