// Dynamic CALL, CANCEL, signals and every way a run unit ends, each in a
// process of its own (end_scenarios); and the internal routines behind
// them: the signal table and its stack, default_sigrtn's own decisions,
// the program cache's decision and eviction.

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "cobol.h"
#include "frame/termination.h"
#include "frame/signals.h"
#include "scenario.h"

extern "C" void* (*zvkCpmDlopen)(const char* path, int mode);

namespace fs = std::filesystem;
using scenario::hasLine;
using scenario::mismatches;
using scenario::Options;
using scenario::Result;

namespace {

std::string cobpath() { return scenario::binPath("cobpath"); }

Result run(const std::vector<std::string>& args, std::map<std::string, std::optional<std::string>> env = {}) {
    Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    if (!o.env.count("COBPATH")) o.env["COBPATH"] = cobpath();
    return scenario::run(scenario::binPath("end_scenarios"), args, o);
}

// Messages wrap at 80 columns: join continuation lines for searching.
std::string unwrapped(const std::string& err) { return std::regex_replace(err, std::regex("\n {9,10}"), " "); }

// What SUBA counted at each call: its WORKING-STORAGE.
std::vector<std::string> subaCounts(const std::string& out) {
    std::vector<std::string> counts;
    for (auto& l : scenario::lines(out))
        if (l.rfind("SUBA count=", 0) == 0) counts.push_back(l.substr(11));
    return counts;
}

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
    // names with trailing blanks and zero bytes, cut at 160 bytes or folded
    // when the caller's PCB asks are the same program; ON EXCEPTION counts
    EXPECT_EQ(mismatches(r.out, "found=1 same=1 cancel=0 cancel.unknown=0 cancel.blank=0 alias=5 missing=0 "
                                "missing.failures=2 folded=1 unfolded=0 unfolded.failures=2 cut=1 loaded.during=1 "
                                "loaded.after=0"),
              "");
    EXPECT_EQ(subaCounts(r.out), (std::vector<std::string>{"1", "2", "3", "1"}));   // CANCEL starts afresh
    EXPECT_TRUE(hasLine(r.out, "ALIAS main"));
    EXPECT_EQ(r.err, "");
}

// The first directory that has the program wins; an empty part ends the
// list; unset, the current directory.
TEST(DynamicCall, CobpathOrderAndItsEnd) {
    EXPECT_EQ(mismatches(run({"dyncall"}, {{"COBPATH", "/nonexistent:" + cobpath()}}).out, "found=1"), "");
    Result r = run({"dynfail", "SUBA"}, {{"COBPATH", "/nonexistent::" + cobpath()}});
    EXPECT_NE(unwrapped(r.err).find("ZVK096S  CALL of program SUBA failed: no loadable SUBA in COBPATH"),
              std::string::npos)
        << r.err;
    r = run({"dynfail", "SUBA"}, {{"COBPATH", std::nullopt}});
    EXPECT_NE(r.err.find("ZVK096S"), std::string::npos);
}

TEST(DynamicCall, FailedCallWithoutOnExceptionGetsItsMessageAndEnds) {
    for (auto [name, text] : {
             std::pair{"NOSUCHPGM", "CALL of program NOSUCHPGM failed: no loadable NOSUCHPGM in COBPATH or the "
                                    "system's search path."},
             {"NOENTRY", "CALL of program NOENTRY failed: no entry point was found for NOENTRY."},
             {"    ", "CALL failed: the program name is blank."},
         }) {
        Result r = run({"dynfail", name});
        EXPECT_EQ(r.signal, SIGABRT) << name;
        std::string e = unwrapped(r.err);
        EXPECT_NE(e.find(std::string("ZVK096S  ") + text), std::string::npos) << r.err;
        EXPECT_NE(e.find(kEnd901), std::string::npos) << r.err;
        EXPECT_FALSE(hasLine(r.out, "not reached"));
    }
    // A file that is there but is no shared object: the loader says why.
    char dir[] = "/tmp/kvr2cobpathXXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string file = std::string(dir) + "/BROKEN.so";
    FILE* f = fopen(file.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs("not an object\n", f);
    fclose(f);
    chmod(file.c_str(), 0755);
    Result r = run({"dynfail", "BROKEN"}, {{"COBPATH", dir}});
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
    EXPECT_EQ(mismatches(r.out, "cancel.active=1 status.kept=c0000001 ent=1 cancel.inactive=0 status.reset=1 lle=0 "
                                "cancel.nested=0 status=0 nested.entry=1234"),
              "");
}

TEST(ProgramCache, OnKeepsProgramsAcrossRunUnitsOffUnloadsAtEachEnd) {
    Result r = run({"cache"}, {{"COBOL_CPM_CACHE", "Yes"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "cache=1 loaded.between=1 unload=1 loaded.unloaded=0 reloaded=1 loaded.end=1"), "");
    EXPECT_EQ(subaCounts(r.out), (std::vector<std::string>{"1", "2", "1", "1"}));
    EXPECT_TRUE(hasLine(r.err, "COBOL is Active")) << r.err;
    EXPECT_TRUE(hasLine(r.err, "External Programs - Cache")) << r.err;

    r = run({"cache"}, {{"COBOL_CPM_CACHE", "off"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "cache=0 loaded.between=0 unload=0 loaded.end=0"), "");
    EXPECT_FALSE(hasLine(r.err, "External Programs - Cache"));
}

TEST(Endings, StopRunInDynamicProgramReachesMainEpilogue) {
    Result r = run({"stopdyn"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "SUBSTOP stops the run"));
    EXPECT_TRUE(hasLine(r.out, "epilogue 7"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    EXPECT_EQ(mismatches(r.out, "main.ent=0 mainflag=0 runcom=0 loaded=0"), "");
}

// A fatal signal with TRAP on (the default): the explanation, the
// traceback, message 995 saying where, and the end by SIGABRT.
TEST(Endings, FatalSignalEndsWithExplanationTracebackAnd995) {
    struct Case {
        const char *kind, *trap, *explanation, *signal;
    } cases[] = {
        {"segv", nullptr, "SIGSEGV: Likely NULL pointer dereference ((nil)).\n", "SIGSEGV"},
        {"fpe", "TRAP=ON", "SIGFPE: Integer division by zero.\n", "SIGFPE"},
        // from the alternate stack
        {"overflow", "TRAP=ON", "SIGSEGV: bad branch or `ulimit -s` may have been exceeded (0x", "SIGSEGV"},
    };
    for (const Case& c : cases) {
        if (underSanitizer() && std::string(c.kind) == "overflow") continue;   // the sanitizer owns the stack
        Result r = run({"fault", c.kind}, {{"COBRTOPT", c.trap ? std::optional<std::string>(c.trap) : std::nullopt}});
        EXPECT_EQ(r.signal, SIGABRT) << r.err;
        EXPECT_TRUE(hasLine(r.out, "faulting"));
        EXPECT_FALSE(hasLine(r.out, "not reached"));
        std::string e = unwrapped(r.err);
        EXPECT_EQ(e.rfind(c.explanation, 0), 0u) << r.err.substr(0, 300);
        size_t tb = e.find("  Traceback:\n"), end = e.find("    --- End of call chain ---\n", tb);
        size_t msg = e.find(std::string("ZVK995C  Program ends on signal ") + c.signal + " at 0x", end);
        ASSERT_NE(msg, std::string::npos) << r.err;
        EXPECT_LT(tb, end);
        EXPECT_NE(e.find("(end_scenarios).", msg), std::string::npos) << r.err;   // where, in words
        EXPECT_NE(e.find(kEnd901, msg), std::string::npos);
    }
}

TEST(Endings, TracebackLinesThroughAddr2line) {
    Result r = run({"fault", "segv"}, {{"COBRTOPT", "TRAP"}, {"traceback_lines", "1"}});
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_TRUE(std::regex_search(r.err, std::regex("crashSegv.* at .*end_scenarios\\.cpp:[0-9]+"))) << r.err;
}

TEST(Endings, TrapOffLeavesTheSignalToTheProcess) {
    Result r = run({"fault", "segv"}, {{"COBRTOPT", "TRAP=OFF"}});
    if (!underSanitizer()) {
        EXPECT_EQ(r.signal, SIGSEGV);
    }
    EXPECT_EQ(r.err.find("ZVK995"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Likely NULL"), std::string::npos);
}

TEST(Endings, AbortTracesEachStepOfTheEnd) {
    Result r = run({"fault", "abort"}, {{"COBRTOPT", "TRAP=ON"}, {"__ZVKDEBUG", "1"}});
    EXPECT_EQ(r.signal, SIGABRT);
    for (const char* re : {"\n_zvkAbort: PID [0-9]+ Proccom @0x[0-9a-f]+ Runcom @@0x[0-9a-f]+  reason=5  signal=0  "
                           "abort=0  stop=@\\(nil\\)  abrt=@\\(nil\\)  jmp=@0x[0-9a-f]+  main 1 cored 0\n",
                           "\nTermCobolRte: PID [0-9]+ .* reason=5 ", "\nRunUnitTerm: PID [0-9]+ .* reason=5 "})
        EXPECT_TRUE(std::regex_search(r.err, std::regex(re))) << re << "\n---\n" << r.err;
}

// SIGUSR1 is traced and the run goes on; SIGPIPE is ignored; the run
// unit's end puts back the handlers that were there before.
TEST(Signals, HarmlessSignalsLetTheRunGoOn) {
    Result r = run({"harmless"}, {{"COBRTOPT", "TRAP=ON"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "after usr1"));
    EXPECT_NE(r.err.find("\n  Signal received: 10 (User defined signal 1)\n\n  Traceback:\n"), std::string::npos)
        << r.err;
    EXPECT_EQ(mismatches(r.out, underSanitizer() ? "write=-1 epipe=1 segv.ours=1 pipe.after=1"
                                                 : "write=-1 epipe=1 segv.ours=1 pipe.after=1 segv.after=1"),
              "");
}

TEST(HostEndings, CleanUpStopsFaultAbortsTermReturns) {
    Result r = run({"host", "cleanup"});
    EXPECT_EQ(r.exitCode, 6) << r.err;
    EXPECT_TRUE(hasLine(r.out, "host stop token=feed"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));

    r = run({"host", "segv"}, {{"COBRTOPT", "TRAP=ON"}});
    EXPECT_EQ(r.exitCode, 19) << r.err;
    EXPECT_NE(r.out.find("host msg exit=1 facility=QRNB token=feed"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ZVK995C  Program ends on signal SIGSEGV"), std::string::npos) << r.out;
    EXPECT_TRUE(hasLine(r.out, "host abrt token=feed"));
    EXPECT_FALSE(hasLine(r.out, "host stop token=feed"));

    r = run({"host", "term"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "term.rc=0 proccom=0"));
    EXPECT_FALSE(hasLine(r.out, "host stop token=feed"));   // stop was taken off first
}

TEST(NestedRunUnits, InnerEndsAndOuterResumes) {
    Result r = run({"nested", "return"}, {{"__ZVKDEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = scenario::values(r.out);
    EXPECT_EQ(mismatches(r.out, "parent.ok=1 resumed=1 runcom.end=0"), "");
    EXPECT_TRUE(hasLine(r.out, "inner body"));
    EXPECT_TRUE(std::regex_search(r.err, std::regex("RunUnitTerm: " + v["ru2"] +
                                                    " Resuming prior Run Unit\\.\\.\\. PID [0-9]+ Proccom @0x[0-9a-f]+ "
                                                    "Runcom @@" + v["ru1"] + " txmn 0  Name: OUTERPGM\n")))
        << r.err;
}

TEST(NestedRunUnits, RuntimeEndEndsThemInnermostFirst) {
    Result r = run({"nested", "term"}, {{"__ZVKDEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = scenario::values(r.out);
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

// A core by gcore where COBCORE says, when this machine allows one (a
// hard core limit above zero, tracing by a child); none at limit zero or
// when gcore fails.
TEST(CoreFiles, WrittenWhereCobcoreSaysOrNone) {
    char tmpl[] = "/tmp/kvr2coreXXXXXX";
    const fs::path dir = mkdtemp(tmpl);
    Result r = run({"dump", "0"}, {{"COBCORE", dir.string() + "/%"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "dump=0"), "");
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(fs::is_empty(dir));

    struct rlimit rl;
    int scope = 0;
    std::ifstream("/proc/sys/kernel/yama/ptrace_scope") >> scope;
    if (access("/usr/bin/gcore", X_OK) == 0 && !underSanitizer() && getrlimit(RLIMIT_CORE, &rl) == 0 &&
        rl.rlim_max != 0 && scope == 0) {
        r = run({"dump", "max"}, {{"COBCORE", dir.string() + "/%"}});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        auto v = scenario::values(r.out);
        EXPECT_EQ(v["dump"], "1") << r.err;
        std::smatch m;
        EXPECT_TRUE(std::regex_search(r.err, m, std::regex("Created core file: (" + dir.string() +
                                                           "/core\\.DUMPPGM\\.[0-9]{8}\\.[0-9]{6}\\.[0-9]{6}[-+][0-9]+\\." +
                                                           v["pid"] + ")\n")))
            << r.err;
        EXPECT_TRUE(!m.empty() && fs::exists(m[1].str())) << r.err;
        r = run({"dump", "max"}, {{"COBCORE", dir.string() + "/no/such/dir/core"}});
        EXPECT_EQ(mismatches(r.out, "dump=0"), "");
        EXPECT_TRUE(std::regex_search(r.err, std::regex("^Create core file failed: 1 - "))) << r.err;
    }
    fs::remove_all(dir);
}

// The test ThreadSanitizer runs (build-tsan): two threads calling
// programs while run units start and end.
TEST(Threads, TwoThreadsCallProgramsWhileRunUnitsStartAndEnd) {
    Result r = run({"threads", "5"}, {{"COBRTOPT", "TRAP=ON"}});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "runs=6 runcom=0")) << r.out;
    EXPECT_EQ(r.out.find("wrong program"), std::string::npos);
}

// ------------------------------------------------------------ internals

namespace {

void foreignHandler(int) {}

struct sigaction current(int sig) {
    struct sigaction sa;
    sigaction(sig, nullptr, &sa);
    return sa;
}

int recorded = 0;
void recorder(int, siginfo_t*, void*) { ++recorded; }

}  // namespace

// The default table: default_sigrtn with SA_SIGINFO and every signal of
// the table blocked, the alternate stack for the two that need it, SIGPIPE
// and SIGIO ignored.  Tables stack; the last restore gives back exactly
// what was there before.
TEST(SignalTable, InstallThenRestoreGivesBackWhatWasThere) {
    const int sigs[] = {SIGHUP,  SIGWINCH, SIGINT,  SIGQUIT, SIGTTIN, SIGTTOU, SIGTSTP, SIGTERM,
                        SIGABRT, SIGSEGV,  SIGILL,  SIGFPE,  SIGBUS,  SIGSYS,  SIGPWR,  SIGSTKFLT,
                        SIGXCPU, SIGXFSZ,  SIGUSR1, SIGUSR2, SIGCONT, SIGTRAP, SIGPIPE, SIGIO};
    signal(SIGUSR1, foreignHandler);
    signal(SIGHUP, SIG_IGN);
    struct sigaction before[std::size(sigs)];
    for (size_t i = 0; i < std::size(sigs); ++i) before[i] = current(sigs[i]);

    zvkSignalInstallTable(nullptr, nullptr, nullptr);   // the default table
    for (int sig : sigs) {
        struct sigaction sa = current(sig);
        if (sig == SIGPIPE || sig == SIGIO) {
            EXPECT_EQ(sa.sa_handler, SIG_IGN) << sig;
            continue;
        }
        EXPECT_EQ(sa.sa_sigaction, default_sigrtn) << sig;
        EXPECT_TRUE(sa.sa_flags & SA_SIGINFO) << sig;
        EXPECT_TRUE(sigismember(&sa.sa_mask, SIGABRT)) << sig;
        EXPECT_EQ((sa.sa_flags & SA_ONSTACK) != 0, sig == SIGSEGV || sig == SIGSTKFLT) << sig;
    }
    static SignalRow table[kSignalRows];
    zvkSignalCopyTemplate(table);
    zvkSignalInstallTable(table, nullptr, recorder);
    zvkSignalRestoreTop();   // the nested one
    EXPECT_EQ(current(SIGUSR1).sa_sigaction, default_sigrtn);
    zvkSignalRestoreTop();   // the default table
    for (size_t i = 0; i < std::size(sigs); ++i) {
        EXPECT_EQ(current(sigs[i]).sa_handler, before[i].sa_handler) << sigs[i];
        EXPECT_EQ(current(sigs[i]).sa_flags & SA_SIGINFO, before[i].sa_flags & SA_SIGINFO) << sigs[i];
    }
    EXPECT_EQ(current(SIGUSR1).sa_handler, foreignHandler);
    EXPECT_EQ(current(SIGHUP).sa_handler, SIG_IGN);
}

TEST(SignalTable, RunUnitsEndingOutOfOrderStillRestoreTheOriginal) {
    signal(SIGUSR2, foreignHandler);
    Runcom a{}, b{};
    std::vector<uint8_t> ta(zvkSignalTableSize), tb(zvkSignalTableSize);
    a.signals = ta.data();
    b.signals = tb.data();
    zvkSignalInstall(&a);
    zvkSignalInstall(&b);
    EXPECT_TRUE(zvkSignalTableInstalled(ta.data()));
    zvkSignalRestore(&a);   // the outer one first
    EXPECT_FALSE(zvkSignalTableInstalled(ta.data()));
    EXPECT_EQ(current(SIGUSR2).sa_sigaction, default_sigrtn);   // b is still in force
    zvkSignalRestore(&b);
    EXPECT_EQ(current(SIGUSR2).sa_handler, foreignHandler);
    EXPECT_EQ(current(SIGSTKFLT).sa_handler, SIG_DFL);   // two rows, put back latest first
}

// Class 0: the row's routine runs and the run goes on; resource limits
// warn twice, then the routine is no longer run; a handler of the old
// kind put in by other code is left to itself.
TEST(DefaultSigrtn, RunsTheRowRoutineAndReturnsForClassZero) {
    static SignalRow table[kSignalRows];
    zvkSignalCopyTemplate(table);
    zvkSignalInstallTable(table, nullptr, recorder);
    recorded = 0;
    raise(SIGUSR1);
    EXPECT_EQ(recorded, 1);
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) default_sigrtn(SIGXCPU, nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "SIGXCPU: `ulimit -t` exceeded, we may get killed.\n"
                                                      "SIGXCPU: `ulimit -t` exceeded, we may get killed.\n");
    EXPECT_EQ(recorded, 3);
    signal(SIGUSR2, foreignHandler);
    default_sigrtn(SIGUSR2, nullptr, nullptr);
    EXPECT_EQ(recorded, 3);
    EXPECT_EQ(current(SIGUSR2).sa_handler, foreignHandler);
    zvkSignalRestoreTop();
}

TEST(ProgramCache, DecisionFromTheEnvironment) {
    struct Case {
        const char *cache, *size;
        uint32_t start, expect;
    } cases[] = {
        {"1", nullptr, 2, 1},  {"Active", nullptr, 2, 1}, {"enabled", nullptr, 0, 1}, {"Yes", nullptr, 0, 1},
        {"true", nullptr, 0, 1}, {"0", nullptr, 1, 0},    {"Disabled", nullptr, 1, 0}, {"no", nullptr, 1, 0},
        {"false", nullptr, 1, 0}, {"ON", nullptr, 0, 1},   {"off", nullptr, 1, 0},     {"Ox", nullptr, 7, 7},
        {"maybe", nullptr, 0, 2}, {"", "0x10", 0, 1},      {nullptr, "0", 1, 0},       {nullptr, nullptr, 2, 2},
        {"0", "5", 1, 0},
    };
    for (const Case& c : cases) {
        if (c.cache) setenv("COBOL_CPM_CACHE", c.cache, 1); else unsetenv("COBOL_CPM_CACHE");
        if (c.size) setenv("COB_CPM_SIZE_MAX", c.size, 1); else unsetenv("COB_CPM_SIZE_MAX");
        _zvkProccom->cache = c.start;
        _zvk_cpm_create();
        EXPECT_EQ(_zvkProccom->cache, c.expect) << (c.cache ? c.cache : "(unset)") << " " << (c.size ? c.size : "");
    }
    unsetenv("COBOL_CPM_CACHE");
    unsetenv("COB_CPM_SIZE_MAX");
}

namespace {

int failNext = 0;   // dlopen calls to fail for lack of memory (-1: all)
void* scarceDlopen(const char* path, int mode) {
    if (failNext != 0) {
        if (failNext > 0) --failNext;
        errno = ENOMEM;
        return nullptr;
    }
    return dlopen(path, mode);
}

bool loaded(const char* name) { return cobol::loaded(std::string(KVR2_COBPATH_DIR) + "/" + name + ".so"); }

const char* callPlain(const char* name, PCB* caller, uint32_t* failures = nullptr) {
    auto plain = cobol::dynamicCall<const char* (*)(void)>(name, caller, failures);
    return plain ? plain() : nullptr;
}

void noop() {}

}  // namespace

class Eviction : public ::testing::Test {
protected:
    // static: the run unit refers to it up to the end of the process
    static inline cobol::Program mainPgm{"EVMAIN", reinterpret_cast<void*>(&noop)};
    void SetUp() override {
        setenv("COBPATH", KVR2_COBPATH_DIR, 1);
        _zvkPgmInit(mainPgm.p());
        _zvk_cpm_enable();   // the cache, and this run unit falls through to it
        zvkCpmDlopen = scarceDlopen;
    }
};

TEST_F(Eviction, TheLeastRecentlyUsedProgramMakesRoom) {
    ASSERT_NE(_zvkProccom->plle, nullptr);
    for (const char* name : {"EVA", "EVB", "EVC", "EVA"}) EXPECT_STREQ(callPlain(name, mainPgm.p()), name);
    failNext = 1;
    EXPECT_STREQ(callPlain("EVD", mainPgm.p()), "EVD");
    EXPECT_FALSE(loaded("EVB"));   // the oldest went
    EXPECT_TRUE(loaded("EVA") && loaded("EVC") && loaded("EVD"));
    EXPECT_STREQ(callPlain("EVB", mainPgm.p()), "EVB");   // loaded again when called
    EXPECT_TRUE(loaded("EVB"));
}

TEST_F(Eviction, NothingLeftToEvictIsLackOfMemory) {
    EXPECT_STREQ(callPlain("EVA", mainPgm.p()), "EVA");
    failNext = -1;
    uint32_t failures = 1;
    EXPECT_EQ(callPlain("EVB", mainPgm.p(), &failures), nullptr);
    EXPECT_EQ(failures, 2u);
    EXPECT_FALSE(loaded("EVA"));
    EXPECT_DEATH(callPlain("EVC", mainPgm.p()), "ZVK096S  CALL of program EVC failed: not enough storage to load EVC\\.");
    failNext = 0;
}

TEST(DynamicCall, KnownProgramWithoutAddressIsReportedNotStringMode) {
    static cobol::Program mainPgm("NAMAIN", reinterpret_cast<void*>(&noop));
    static cobol::Program noAddress("NOADDR", nullptr);
    _zvkPgmInit(mainPgm.p());
    _zvkPgmInit(noAddress.p());
    _zvkPgmExit(noAddress.i());
    uint32_t failures = 1;
    EXPECT_EQ(callPlain("NOADDR", mainPgm.p(), &failures), nullptr);
    EXPECT_EQ(failures, 2u);
    EXPECT_DEATH(callPlain("NOADDR", mainPgm.p()),
                 "ZVK096S  CALL of program NOADDR failed: NOADDR is known but has no entry\\s+address\\.");
}
