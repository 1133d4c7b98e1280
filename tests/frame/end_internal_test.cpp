// Internal routines of the run unit's ends: the signal table and its
// stack, default_sigrtn's own decisions, the cache decision and eviction
// of the program manager.

#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "cobol.h"
#include "frame/signals.h"

extern "C" void* (*zvkCpmDlopen)(const char* path, int mode);

namespace {

void foreignHandler(int) {}

struct sigaction current(int sig) {
    struct sigaction sa;
    sigaction(sig, nullptr, &sa);
    return sa;
}

int recorded = 0;
void recorder(int, siginfo_t*, void*) { ++recorded; }

const int kTableSignals[] = {SIGHUP,  SIGWINCH, SIGINT,  SIGQUIT, SIGTTIN, SIGTTOU, SIGTSTP, SIGTERM,
                             SIGABRT, SIGSEGV,  SIGILL,  SIGFPE,  SIGBUS,  SIGSYS,  SIGPWR,  SIGSTKFLT,
                             SIGXCPU, SIGXFSZ,  SIGUSR1, SIGUSR2, SIGCONT, SIGTRAP, SIGPIPE, SIGIO};

}  // namespace

TEST(SignalTable, LayoutOfTheRunUnitsCopy) {
    EXPECT_EQ(sizeof(SignalRow), 336u);
    EXPECT_EQ(zvkSignalTableSize, 8736u);
}

TEST(SignalTable, InstallThenRestoreGivesBackWhatWasThere) {
    signal(SIGUSR1, foreignHandler);
    signal(SIGHUP, SIG_IGN);
    struct sigaction before[sizeof kTableSignals / sizeof(int)];
    for (size_t i = 0; i < std::size(kTableSignals); ++i) before[i] = current(kTableSignals[i]);

    static SignalRow table[kSignalRows];
    zvkSignalInstallTable(nullptr, nullptr, nullptr);   // the default table
    for (int sig : kTableSignals) {
        struct sigaction sa = current(sig);
        if (sig == SIGPIPE || sig == SIGIO) {
            EXPECT_EQ(sa.sa_handler, SIG_IGN) << sig;
            continue;
        }
        EXPECT_EQ(sa.sa_sigaction, default_sigrtn) << sig;
        EXPECT_TRUE(sa.sa_flags & SA_SIGINFO) << sig;
        EXPECT_TRUE(sigismember(&sa.sa_mask, SIGABRT)) << sig;   // every signal of the table is blocked
        EXPECT_EQ((sa.sa_flags & SA_ONSTACK) != 0, sig == SIGSEGV || sig == SIGSTKFLT) << sig;
    }
    // a second, nested table, then the outer one ends first
    zvkSignalCopyTemplate(table);
    zvkSignalInstallTable(table, nullptr, recorder);
    EXPECT_EQ(current(SIGUSR1).sa_sigaction, default_sigrtn);
    zvkSignalRestoreTop();   // the nested one
    EXPECT_EQ(current(SIGUSR1).sa_sigaction, default_sigrtn);
    zvkSignalRestoreTop();   // the default table
    for (size_t i = 0; i < std::size(kTableSignals); ++i) {
        struct sigaction sa = current(kTableSignals[i]);
        EXPECT_EQ(sa.sa_handler, before[i].sa_handler) << kTableSignals[i];
        EXPECT_EQ(sa.sa_flags & SA_SIGINFO, before[i].sa_flags & SA_SIGINFO) << kTableSignals[i];
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

TEST(DefaultSigrtn, RunsTheRowRoutineAndReturnsForClassZero) {
    static SignalRow table[kSignalRows];
    zvkSignalCopyTemplate(table);
    zvkSignalInstallTable(table, nullptr, recorder);
    recorded = 0;
    raise(SIGUSR1);
    EXPECT_EQ(recorded, 1);
    // resource limits: two warnings, then the routine is no longer run
    testing::internal::CaptureStderr();
    for (int i = 0; i < 3; ++i) default_sigrtn(SIGXCPU, nullptr, nullptr);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(recorded, 3);
    EXPECT_EQ(err, "SIGXCPU: `ulimit -t` exceeded, we may get killed.\n"
                   "SIGXCPU: `ulimit -t` exceeded, we may get killed.\n");
    // a handler of the old kind put in by other code: left to itself
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
}

namespace {

int failNext = 0;   // dlopen calls to fail for lack of memory
void* scarceDlopen(const char* path, int mode) {
    if (failNext != 0) {
        if (failNext > 0) --failNext;
        errno = ENOMEM;
        return nullptr;
    }
    return dlopen(path, mode);
}

bool loaded(const char* name) {
    std::string path = std::string(KVR2_COBPATH_DIR) + "/" + name + ".so";
    void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
}

const char* callPlain(const char* name, PCB* caller, uint32_t* failures = nullptr) {
    std::string n = name;
    void* rec = _zvkDynLd(nullptr, static_cast<int64_t>(n.size()), reinterpret_cast<uint8_t*>(n.data()), caller,
                          nullptr, failures);
    if (!rec) return nullptr;
    return reinterpret_cast<const char* (*)(void)>(*static_cast<void**>(rec))();
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
    EXPECT_STREQ(callPlain("EVA", mainPgm.p()), "EVA");
    EXPECT_STREQ(callPlain("EVB", mainPgm.p()), "EVB");
    EXPECT_STREQ(callPlain("EVC", mainPgm.p()), "EVC");
    EXPECT_STREQ(callPlain("EVA", mainPgm.p()), "EVA");   // EVA is now the most recent
    failNext = 1;
    EXPECT_STREQ(callPlain("EVD", mainPgm.p()), "EVD");
    EXPECT_FALSE(loaded("EVB"));   // the oldest went
    EXPECT_TRUE(loaded("EVA"));
    EXPECT_TRUE(loaded("EVC"));
    EXPECT_TRUE(loaded("EVD"));
    // the evicted program is loaded again when it is called
    EXPECT_STREQ(callPlain("EVB", mainPgm.p()), "EVB");
    EXPECT_TRUE(loaded("EVB"));
}

TEST_F(Eviction, NothingLeftToEvictIsLackOfMemory) {
    EXPECT_STREQ(callPlain("EVA", mainPgm.p()), "EVA");
    failNext = -1;
    uint32_t failures = 1;
    EXPECT_EQ(callPlain("EVB", mainPgm.p(), &failures), nullptr);
    EXPECT_EQ(failures, 2u);
    EXPECT_FALSE(loaded("EVA"));
    EXPECT_DEATH(callPlain("EVC", mainPgm.p()),
                 "ZVK096S  CALL of program EVC failed: not enough storage to load EVC\\.");
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
