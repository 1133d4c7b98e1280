// Dynamic CALL, CANCEL, signals and every way a run unit ends, each in a
// process of its own (end_scenarios).

#include <sys/stat.h>
#include <unistd.h>
#include <gtest/gtest.h>
#include <fstream>
#include <sys/resource.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <regex>

#include "scenario.h"

namespace fs = std::filesystem;
using scenario::Options;
using scenario::Result;

namespace {

using scenario::hasLine;

std::string cobpath() { return scenario::binDir() + "/cobpath"; }

Result run(const std::vector<std::string>& args, Options o = {}) {
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    if (!o.env.count("COBPATH")) o.env["COBPATH"] = cobpath();
    return scenario::run(scenario::binDir() + "/end_scenarios", args, o);
}

std::map<std::string, std::string> values(const std::string& out) {
    std::map<std::string, std::string> m;
    for (auto& l : scenario::lines(out)) {
        std::istringstream words(l);
        std::string w;
        while (words >> w) {
            auto eq = w.find('=');
            if (eq != std::string::npos) m[w.substr(0, eq)] = w.substr(eq + 1);
        }
    }
    return m;
}

// Messages wrap at 80 columns: join continuation lines for searching.
std::string unwrapped(const std::string& err) { return std::regex_replace(err, std::regex("\n {9,10}"), " "); }

bool underSanitizer() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#else
    return false;
#endif
}

const char* kEnd901 = "  ZVK901S Program exits due to severe or critical error.";

}  // namespace

TEST(DynamicCall, FindsCallsCancelsAlongCobpath) {
    Result r = run({"dyncall"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["found"], "1");
    EXPECT_EQ(v["same"], "1");
    EXPECT_EQ(v["cancel"], "0");
    EXPECT_EQ(v["cancel.unknown"], "0");
    EXPECT_EQ(v["cancel.blank"], "0");
    EXPECT_EQ(v["alias"], "5");
    EXPECT_EQ(v["missing"], "0");
    EXPECT_EQ(v["failures"], "2");
    EXPECT_EQ(v["folded"], "1");
    EXPECT_EQ(v["unfolded"], "0");
    EXPECT_EQ(v["cut"], "1");
    EXPECT_EQ(v["loaded.during"], "1");
    // without a cache the run unit's end unloads what it loaded
    EXPECT_EQ(v["loaded.after"], "0");
    // three calls count up, CANCEL starts the program afresh
    std::vector<std::string> counts;
    for (auto& l : scenario::lines(r.out))
        if (l.rfind("SUBA count=", 0) == 0) counts.push_back(l.substr(11));
    EXPECT_EQ(counts, (std::vector<std::string>{"1", "2", "3", "1"}));
    EXPECT_TRUE(hasLine(r.out, "ALIAS main"));
    EXPECT_EQ(r.err, "");
}

TEST(DynamicCall, CobpathOrderAndItsEnd) {
    // the first directory that has the program wins; an empty part ends the list
    Options o;
    o.env["COBPATH"] = "/nonexistent:" + cobpath();
    EXPECT_EQ(values(run({"dyncall"}, o).out)["found"], "1");
    o.env["COBPATH"] = "/nonexistent::" + cobpath();
    Result r = run({"dynfail", "SUBA"}, o);
    EXPECT_NE(unwrapped(r.err).find("ZVK096S  CALL of program SUBA failed: no loadable SUBA in COBPATH"),
              std::string::npos)
        << r.err;
    // unset: the current directory
    o.env["COBPATH"] = std::nullopt;
    r = run({"dynfail", "SUBA"}, o);
    EXPECT_NE(r.err.find("ZVK096S"), std::string::npos);
}

TEST(DynamicCall, MissingProgramGetsItsMessage) {
    Result r = run({"dynfail", "NOSUCHPGM"});
    EXPECT_EQ(r.signal, SIGABRT);
    std::string e = unwrapped(r.err);
    EXPECT_NE(e.find("ZVK096S  CALL of program NOSUCHPGM failed: no loadable NOSUCHPGM in COBPATH or the "
                     "system's search path."),
              std::string::npos)
        << r.err;
    EXPECT_NE(e.find(kEnd901), std::string::npos);
    EXPECT_FALSE(hasLine(r.out, "not reached"));

    r = run({"dynfail", "NOENTRY"});
    EXPECT_NE(unwrapped(r.err).find("ZVK096S  CALL of program NOENTRY failed: no entry point was found for NOENTRY."),
              std::string::npos)
        << r.err;
    r = run({"dynfail", "    "});
    EXPECT_NE(unwrapped(r.err).find("ZVK096S  CALL failed: the program name is blank."), std::string::npos) << r.err;

    // A file that is there but is no shared object: the loader says why.
    char dir[] = "/tmp/kvr2cobpathXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string file = std::string(dir) + "/BROKEN.so";
    FILE* f = fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("not an object\n", f);
    fclose(f);
    chmod(file.c_str(), 0755);
    Options o;
    o.env["COBPATH"] = dir;
    r = run({"dynfail", "BROKEN"}, o);
    EXPECT_NE(unwrapped(r.err).find("ZVK096S  CALL of program BROKEN failed: no loadable BROKEN in COBPATH or the "
                                    "system's search path (" + file + ": "),
              std::string::npos)
        << r.err;
    unlink(file.c_str());
    rmdir(dir);
}

TEST(Cancel, ActiveProgramStaysAndNestedProgramsReset) {
    Result r = run({"cancel"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["cancel.active"], "1");
    EXPECT_EQ(v["status.kept"], "c0000001");
    EXPECT_EQ(v["ent"], "1");
    EXPECT_EQ(v["cancel.inactive"], "0");
    EXPECT_EQ(v["status.reset"], "1");
    EXPECT_EQ(v["lle"], "0");
    EXPECT_EQ(v["cancel.nested"], "0");
    EXPECT_EQ(v["status"], "0");
    EXPECT_EQ(v["nested.entry"], "1234");
}

TEST(ProgramCache, KeepsProgramsAcrossRunUnits) {
    Options o;
    o.env["COBOL_CPM_CACHE"] = "Yes";
    Result r = run({"cache"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["cache"], "1");
    EXPECT_EQ(v["loaded.between"], "1");
    EXPECT_EQ(v["unload"], "1");
    EXPECT_EQ(v["loaded.unloaded"], "0");
    EXPECT_EQ(v["reloaded"], "1");
    EXPECT_EQ(v["loaded.end"], "1");
    std::vector<std::string> counts;
    for (auto& l : scenario::lines(r.out))
        if (l.rfind("SUBA count=", 0) == 0) counts.push_back(l.substr(11));
    EXPECT_EQ(counts, (std::vector<std::string>{"1", "2", "1", "1"}));
    EXPECT_TRUE(hasLine(r.err, "COBOL is Active")) << r.err;
    EXPECT_TRUE(hasLine(r.err, "External Programs - Cache")) << r.err;
}

TEST(ProgramCache, OffUnloadsAtEachEnd) {
    Options o;
    o.env["COBOL_CPM_CACHE"] = "off";
    Result r = run({"cache"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["cache"], "0");
    EXPECT_EQ(v["loaded.between"], "0");
    EXPECT_EQ(v["unload"], "0");   // nothing in a cache to unload
    EXPECT_EQ(v["loaded.end"], "0");
    EXPECT_FALSE(hasLine(r.err, "External Programs - Cache"));
}

TEST(Endings, StopRunInDynamicProgramReachesMainEpilogue) {
    Result r = run({"stopdyn"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "SUBSTOP stops the run"));
    EXPECT_TRUE(hasLine(r.out, "epilogue 7"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    auto v = values(r.out);
    EXPECT_EQ(v["main.ent"], "0");
    EXPECT_EQ(v["mainflag"], "0");
    EXPECT_EQ(v["runcom"], "0");
    EXPECT_EQ(v["loaded"], "0");
}

// A fatal signal with TRAP on: the explanation, the traceback, message 995
// and the run unit's end by SIGABRT.
TEST(Endings, SegvInsideAProgramEndsWithTraceback) {
    Options o;
    o.env["COBRTOPT"] = std::nullopt;   // TRAP is on by default
    Result r = run({"fault", "segv"}, o);
    EXPECT_EQ(r.signal, SIGABRT) << r.err;
    EXPECT_TRUE(hasLine(r.out, "faulting"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    std::string e = unwrapped(r.err);
    EXPECT_TRUE(std::regex_search(e, std::regex("^SIGSEGV: Likely NULL pointer dereference \\(\\(nil\\)\\)\\.\n")))
        << r.err;
    size_t tb = e.find("  Traceback:\n"), end = e.find("    --- End of call chain ---\n");
    size_t msg = e.find("ZVK995C  Program ends on signal SIGSEGV at 0x");
    ASSERT_NE(tb, std::string::npos) << r.err;
    ASSERT_NE(end, std::string::npos);
    ASSERT_NE(msg, std::string::npos) << r.err;
    EXPECT_LT(tb, end);
    EXPECT_LT(end, msg);
    EXPECT_NE(e.find("(end_scenarios).", msg), std::string::npos) << r.err;   // where, in words
    EXPECT_NE(e.find(kEnd901, msg), std::string::npos);
}

TEST(Endings, FpeInsideAProgramEndsWithTraceback) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    Result r = run({"fault", "fpe"}, o);
    EXPECT_EQ(r.signal, SIGABRT) << r.err;
    std::string e = unwrapped(r.err);
    EXPECT_EQ(e.rfind("SIGFPE: Integer division by zero.\n", 0), 0u) << r.err;
    EXPECT_NE(e.find("  Traceback:\n"), std::string::npos);
    EXPECT_NE(e.find("ZVK995C  Program ends on signal SIGFPE at"), std::string::npos) << r.err;
}

TEST(Endings, StackOverflowIsReportedFromTheAlternateStack) {
    if (underSanitizer()) GTEST_SKIP() << "the sanitizer has its own view of the stack";
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    Result r = run({"fault", "overflow"}, o);
    EXPECT_EQ(r.signal, SIGABRT) << r.err;
    std::string e = unwrapped(r.err);
    EXPECT_EQ(e.rfind("SIGSEGV: bad branch or `ulimit -s` may have been exceeded (0x", 0), 0u) << r.err.substr(0, 300);
    EXPECT_NE(e.find("ZVK995C  Program ends on signal SIGSEGV at"), std::string::npos);
}

TEST(Endings, TracebackLinesThroughAddr2line) {
    Options o;
    o.env["COBRTOPT"] = "TRAP";
    o.env["traceback_lines"] = "1";
    Result r = run({"fault", "segv"}, o);
    EXPECT_EQ(r.signal, SIGABRT);
    // source lines of the scenario's own frames, from addr2line
    EXPECT_TRUE(std::regex_search(r.err, std::regex("crashSegv.* at .*end_scenarios\\.cpp:[0-9]+"))) << r.err;
}

TEST(Endings, TrapOffLeavesTheSignalToTheProcess) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=OFF";
    Result r = run({"fault", "segv"}, o);
    if (!underSanitizer()) {
        EXPECT_EQ(r.signal, SIGSEGV);
    }
    EXPECT_EQ(r.err.find("ZVK995"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Likely NULL"), std::string::npos);
}

TEST(Endings, AbortPrintsTracebackAndEnds) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    o.env["__ZVKDEBUG"] = "1";
    Result r = run({"fault", "abort"}, o);
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_TRUE(std::regex_search(r.err, std::regex("\n_zvkAbort: PID [0-9]+ Proccom @0x[0-9a-f]+ Runcom @@0x[0-9a-f]+  "
                                                    "reason=5  signal=0  abort=0  stop=@\\(nil\\)  abrt=@\\(nil\\)  "
                                                    "jmp=@0x[0-9a-f]+  main 1 cored 0\n")))
        << r.err;
    EXPECT_TRUE(std::regex_search(r.err, std::regex("\nTermCobolRte: PID [0-9]+ .* reason=5 ")));
    EXPECT_TRUE(std::regex_search(r.err, std::regex("\nRunUnitTerm: PID [0-9]+ .* reason=5 ")));
}

TEST(Signals, HarmlessSignalsLetTheRunGoOn) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    Result r = run({"harmless"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "after usr1"));
    EXPECT_NE(r.err.find("\n  Signal received: 10 (User defined signal 1)\n\n  Traceback:\n"), std::string::npos)
        << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["write"], "-1");   // SIGPIPE is ignored: the write fails
    EXPECT_EQ(v["epipe"], "1");
    EXPECT_EQ(v["segv.ours"], "1");
    // the run unit's end puts back what was there before
    if (!underSanitizer()) {
        EXPECT_EQ(v["segv.after"], "1");
    }
    EXPECT_EQ(v["pipe.after"], "1");
}

TEST(HostEndings, CleanUpCallsStopWithTokenAndExitsSix) {
    Result r = run({"host", "cleanup"});
    EXPECT_EQ(r.exitCode, 6) << r.err;
    EXPECT_TRUE(hasLine(r.out, "host stop token=feed"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
}

TEST(HostEndings, FaultCallsMsgAndAbrtWithToken) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    Result r = run({"host", "segv"}, o);
    EXPECT_EQ(r.exitCode, 19) << r.err;
    EXPECT_NE(r.out.find("host msg exit=1 facility=QRNB token=feed"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ZVK995C  Program ends on signal SIGSEGV"), std::string::npos) << r.out;
    EXPECT_TRUE(hasLine(r.out, "host abrt token=feed"));
    EXPECT_FALSE(hasLine(r.out, "host stop token=feed"));
}

TEST(HostEndings, CobolTermEndsTheRuntimeAndReturns) {
    Result r = run({"host", "term"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "term.rc=0 proccom=0"));
    EXPECT_FALSE(hasLine(r.out, "host stop token=feed"));   // stop was taken off first
}

TEST(NestedRunUnits, InnerEndsAndOuterResumes) {
    Options o;
    o.env["__ZVKDEBUG"] = "1";
    Result r = run({"nested", "return"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["parent.ok"], "1");
    EXPECT_EQ(v["resumed"], "1");
    EXPECT_EQ(v["runcom.end"], "0");
    EXPECT_TRUE(hasLine(r.out, "inner body"));
    EXPECT_TRUE(std::regex_search(r.err, std::regex("RunUnitTerm: " + v["ru2"] +
                                                    " Resuming prior Run Unit\\.\\.\\. PID [0-9]+ Proccom @0x[0-9a-f]+ "
                                                    "Runcom @@" + v["ru1"] + " txmn 0  Name: OUTERPGM\n")))
        << r.err;
}

TEST(NestedRunUnits, RuntimeEndEndsThemInnermostFirst) {
    Options o;
    o.env["__ZVKDEBUG"] = "1";
    Result r = run({"nested", "term"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_TRUE(hasLine(r.out, "term rc=0 proccom=0"));
    size_t inner = r.err.find("RunUnitTerm: PID");
    ASSERT_NE(inner, std::string::npos);
    size_t innerRu = r.err.find("Runcom @" + v["ru2"], inner);
    size_t outerRu = r.err.find("RunUnitTerm: PID", inner + 1);
    ASSERT_NE(outerRu, std::string::npos) << r.err;
    EXPECT_LT(innerRu, outerRu);
    EXPECT_NE(r.err.find("Runcom @" + v["ru1"], outerRu), std::string::npos);
    EXPECT_NE(r.err.find("TermCobolRte: returning..."), std::string::npos);
}

class CoreFiles : public ::testing::Test {
protected:
    fs::path dir;
    void SetUp() override {
        char tmpl[] = "/tmp/kvr2coreXXXXXX";
        dir = mkdtemp(tmpl);
    }
    void TearDown() override { fs::remove_all(dir); }
};

// Whether this machine lets a process have a core made by gcore: a hard
// core limit above zero, and a process may be traced by its child.
bool coresPossible() {
    struct rlimit rl;
    if (getrlimit(RLIMIT_CORE, &rl) != 0 || rl.rlim_max == 0) return false;
    std::ifstream yama("/proc/sys/kernel/yama/ptrace_scope");
    int scope = 0;
    if (yama >> scope && scope != 0) return false;
    return true;
}

TEST_F(CoreFiles, WrittenWhereCobcoreSays) {
    if (access("/usr/bin/gcore", X_OK) != 0) GTEST_SKIP() << "no gcore";
    if (underSanitizer()) GTEST_SKIP() << "a core of a sanitized process is too large";
    if (!coresPossible()) GTEST_SKIP() << "this machine allows no core files or no tracing";
    Options o;
    o.env["COBCORE"] = dir.string() + "/%";
    Result r = run({"dump", "max"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["dump"], "1") << r.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(r.err, m, std::regex("Created core file: (" + dir.string() +
                                                       "/core\\.DUMPPGM\\.[0-9]{8}\\.[0-9]{6}\\.[0-9]{6}[-+][0-9]+\\." +
                                                       v["pid"] + ")\n")))
        << r.err;
    EXPECT_TRUE(fs::exists(m[1].str())) << m[1].str();
}

TEST_F(CoreFiles, NoneWhenTheLimitIsZeroOrGcoreFails) {
    Options o;
    o.env["COBCORE"] = dir.string() + "/%";
    Result r = run({"dump", "0"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(values(r.out)["dump"], "0");
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(fs::is_empty(dir));
    if (access("/usr/bin/gcore", X_OK) != 0 || underSanitizer() || !coresPossible()) return;
    o.env["COBCORE"] = dir.string() + "/no/such/dir/core";
    r = run({"dump", "max"}, o);
    EXPECT_EQ(values(r.out)["dump"], "0");
    EXPECT_TRUE(std::regex_search(r.err, std::regex("^Create core file failed: 1 - "))) << r.err;
}

TEST(Threads, TwoThreadsCallProgramsWhileRunUnitsStartAndEnd) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=ON";
    Result r = run({"threads", "5"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "runs=6 runcom=0")) << r.out;
    EXPECT_EQ(r.out.find("wrong program"), std::string::npos);
}
