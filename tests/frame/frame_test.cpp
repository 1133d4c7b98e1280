// The run-unit frame seen from outside: programs enter and leave, run
// units start and end, messages come out in their fixed form.  Each case
// runs a scenario program in a process of its own.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "scenario.h"

namespace fs = std::filesystem;
using scenario::Options;
using scenario::Result;

namespace {

using scenario::hasLine;
using scenario::values;

std::string scenarios() { return scenario::binDir() + "/frame_scenarios"; }

Result run(const std::vector<std::string>& args, Options o = {}) {
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    return scenario::run(scenarios(), args, o);
}

// "key=value" lines of a scenario's stdout.
int currentYear() {
    time_t t = time(nullptr);
    struct tm tm;
    localtime_r(&t, &tm);
    return tm.tm_year + 1900;
}

const char* kEnd901 = "  ZVK901S Program exits due to severe or critical error.\n";

// stderr without the traceback that comes before the message of a run
// unit's end; *had tells whether there was one.
std::string withoutTraceback(const std::string& err, bool* had = nullptr) {
    const std::string head = "  Traceback:\n", tail = "    --- End of call chain ---\n";
    std::string out = err;
    size_t a = out.find(head);
    size_t b = a == std::string::npos ? a : out.find(tail, a);
    if (had) *had = b != std::string::npos;
    if (b != std::string::npos) out.erase(a, b + tail.size() - a);
    return out;
}

}  // namespace

TEST(ProgramEntry, MainAndCalledProgramRegisterAndExit) {
    Result r = run({"enter"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["id"], "1");
    EXPECT_EQ(v["mainflag"], "1");
    EXPECT_EQ(v["main.lle.set"], "1");
    EXPECT_EQ(v["main.upsi.ok"], "1");      // PCB offset 56
    EXPECT_EQ(v["main.pgmword.ok"], "1");   // PCB offset 104, version 6.1.0
    EXPECT_EQ(v["main.back.ok"], "1");      // IPCB offset 48
    EXPECT_EQ(v["main.ent"], "1");
    EXPECT_EQ(v["active"], "1");
    EXPECT_EQ(v["sub.ent"], "1");
    EXPECT_EQ(v["sub.flagmain"], "0");
    EXPECT_EQ(v["sub.lle.set"], "1");
    EXPECT_EQ(v["sub.upsi.ok"], "1");
    EXPECT_EQ(v["sub.back.ok"], "1");
    EXPECT_EQ(v["active.in.sub"], "2");
    EXPECT_EQ(v["sub.checkdebug"], "1");
    EXPECT_EQ(v["sub.ent.after"], "0");
    EXPECT_EQ(v["sub.lle.same"], "1");
    EXPECT_EQ(v["active.after"], "1");
    // The main's last exit ends the run unit and unregisters it.
    EXPECT_EQ(v["main.lle.after"], "0");
    EXPECT_EQ(v["mainflag.after"], "0");
    EXPECT_EQ(v["runcom.after"], "0");
    EXPECT_TRUE(hasLine(r.out, "epilogue 0"));
    EXPECT_EQ(r.err, "");
}

TEST(ProgramEntry, TraceLinesUnderDebug) {
    Options o;
    o.env["__ZVKDEBUG"] = "1";
    Result r = run({"enter"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    const std::string pid = v["pid"], pc = v["proccom"], ru = v["runcom"], plle = v["plle"], pcb = v["pcb"],
                      jmp = v["jmp"], sub = v["subpcb"];
    const std::string& e = r.err;
    EXPECT_TRUE(hasLine(e, "RunUnitInit: PID " + pid + " Proccom @" + pc + " Runcom @" + ru +
                               "  PLLE @(nil)  id=1  sig=0  pcb=@" + pcb + "  main=@(nil) txmn=0"))
        << e;
    EXPECT_TRUE(hasLine(e, "_zvkPgmInit: PID " + pid + " Proccom @" + pc + " Runcom @" + ru + "  sig 0  PLLE @" +
                               plle + "  Main=@" + pcb + "  Name=DEMOMAIN"))
        << e;
    EXPECT_TRUE(hasLine(e, "_zvkGetJmpBuffer: returning jmp_buf (" + jmp + ") for current run unit (DEMOMAIN) " + ru))
        << e;
    EXPECT_TRUE(hasLine(e, "_zvkPgmInit: PID " + pid + " Proccom @" + pc + " Runcom @" + ru + "  sig 0  PLLE @" +
                               plle + "  Main=@" + pcb + "  Name=SUBPGM"))
        << e;
    EXPECT_TRUE(hasLine(e, "_zvkPgmInit: subsequent usage PCB " + sub + "  PLLE " + plle)) << e;
    EXPECT_TRUE(hasLine(e, "_zvkPgmTerm: PID " + pid + " Proccom @" + pc + " Runcom @@" + ru +
                               "  main=1  name=DEMOMAIN jmp=@" + jmp + " txmn=0 ru_term 0"))
        << e;
    EXPECT_TRUE(hasLine(e, "RunUnitTerm: " + ru + " returning due to <= COBOLterm")) << e;
    EXPECT_TRUE(hasLine(e, "_zvkPgmTerm: " + ru + " return to COBOL epilogue of DEMOMAIN ru_term 0")) << e;
    EXPECT_TRUE(hasLine(e, "InitCobolRte: PID " + pid + " Proccom @" + pc +
                               " Runcom @(nil) jvc=0  txmn=0  preinit=0  cache=2"))
        << e;
    EXPECT_TRUE(hasLine(e, "COBRTOPT=TRAP=OFF")) << e;
    EXPECT_TRUE(hasLine(e, "TermCobolRte: returning...")) << e;
    EXPECT_TRUE(hasLine(e, "RTE Terminated... PID " + pid + " Proccom (nil)")) << e;
    EXPECT_TRUE(hasLine(e, "zvk_fini: PID " + pid + " Proccom @" + pc)) << e;
    // The banner comes first, then the constructor's two traces.
    auto ls = scenario::lines(e);
    ASSERT_GE(ls.size(), 3u);
    EXPECT_EQ(ls[0].rfind("KVR2 COBOL Runtime", 0), 0u);
    EXPECT_EQ(ls[1].rfind("zvk_init: PID " + pid + " Proccom @" + pc + " Runcom @(nil) freeru @(nil) jvc=0  txmn=0", 0),
              0u);
}

TEST(RunUnit, SecondRunUnitReusesTheFreeRecord) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=OFF,ERRCOUNT=5,UPSI=01000001";
    Result r = run({"reuse"}, o);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["first.id"], "1");
    EXPECT_EQ(v["free.is.first"], "1");
    EXPECT_EQ(v["same.record"], "1");
    EXPECT_EQ(v["second.id"], "2");
    EXPECT_EQ(v["jmp.cleared"], "1");
    EXPECT_EQ(v["context"], "0");
    EXPECT_EQ(v["upsi"], "01000001");
    EXPECT_EQ(v["errcount"], "5");
    EXPECT_EQ(v["century"], "80");
    EXPECT_EQ(v["seed"], "1");
    // The second run unit turns the process-wide program cache on.
    EXPECT_EQ(v["cache.before"], "2");
    EXPECT_EQ(v["cache.after"], "1");
    EXPECT_EQ(v["global.plle"], "1");
    EXPECT_EQ(v["plle.parent.ok"], "1");
    EXPECT_EQ(v["second.main"], "1");
    EXPECT_TRUE(hasLine(r.out, "epilogue 255"));   // STOP RUN with status 0
}

TEST(RunUnit, StopRunFromCalledProgramReachesMainEpilogue) {
    Result r = run({"stoprun", "0"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "epilogue 255"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    auto v = values(r.out);
    EXPECT_EQ(v["main.ent"], "0");
    EXPECT_EQ(v["sub.ent"], "0");
    EXPECT_EQ(v["mainflag"], "0");
    r = run({"stoprun", "12"});
    EXPECT_TRUE(hasLine(r.out, "epilogue 12"));
}

TEST(YearWindow, ResolvedOrReported) {
    Result r = run({"yearwindow"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const int year = currentYear();
    auto v = values(r.out);
    EXPECT_EQ(v["year"], std::to_string(year));
    EXPECT_EQ(v["cur.window"], std::to_string(year - 30));
    EXPECT_EQ(v["old.window"], "-200");
    EXPECT_EQ(v["base.window"], "1900");
    EXPECT_EQ(v["early.window"], "-200");   // below 2.2.0: no year window
    EXPECT_EQ(v["v510.pgmword"], "0");      // below 5.1.1: offset 104 untouched
    EXPECT_EQ(v["v511.pgmword"], "1");
    const std::string expected =
        "ZVK240W  The year window of program OLDWIN (-200) gives base year " + std::to_string(year - 200) +
        ", outside\n         1900 to 2099; it is not used.\n\n"
        "ZVK241W  The year window 1900 to 2000 of program BASEWIN no longer contains the\n"
        "         current year.\n\n";
    EXPECT_EQ(r.err, expected);
}

TEST(Messages, WarningLineAndGoOn) {
    Result r = run({"message", "warning"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, "ZVK171W  Runtime option FOO is not known and is ignored.\n\n");
    EXPECT_TRUE(hasLine(r.out, "continued"));
}

TEST(Messages, SevereEndsTheRunUnit) {
    Result r = run({"message", "severe"});
    EXPECT_EQ(r.signal, SIGABRT);
    bool traced = false;
    EXPECT_EQ(withoutTraceback(r.err, &traced), std::string("ZVK907S  Insufficient storage.\n") + kEnd901 + "\n");
    EXPECT_FALSE(hasLine(r.out, "continued"));
    EXPECT_TRUE(traced) << r.err;
}

TEST(Messages, CriticalAbend) {
    Result r = run({"message", "critical"});
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(withoutTraceback(r.err), std::string("ZVK901C  ZVK901S Program exits due to severe or critical error.\n") + kEnd901 + "\n");
}

TEST(Messages, InformationBitKeepsLetterAndGoesOn) {
    Result r = run({"message", "info-critical"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, "ZVK901C  ZVK901S Program exits due to severe or critical error.\n\n");
    EXPECT_TRUE(hasLine(r.out, "continued"));
}

TEST(Messages, SevereBitEndsAWarning) {
    Result r = run({"message", "forced-severe"});
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(withoutTraceback(r.err), std::string("ZVK171W  Runtime option FOO is not known and is ignored.\n") + kEnd901 + "\n");
}

TEST(Messages, NoTracebackBitStillEnds) {
    Result r = run({"message", "no-traceback"});
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(r.err, std::string("ZVK907S  Insufficient storage.\n") + kEnd901 + "\n");
}

TEST(Messages, VariantSelectsMessageInSet) {
    Result r = run({"message", "variant"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, "ZVK230W  EBCDIC_CODEPAGE TQX-1140 does not belong to locale es_ES; it is used as\n"
                     "         given.\n\n");
}

TEST(Messages, UnknownNumberIsSevere) {
    Result r = run({"message", "unknown-number"});
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(withoutTraceback(r.err), std::string("ZVK4242S Cannot find message 4242 in kvr2run.cat\n") + kEnd901 + "\n");
}

TEST(Messages, FourDigitNumberMovesTheLetter) {
    Result r = run({"message", "wide-number"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, "ZVK1001S Locale category LC_TIME cannot be set to xx_YY.\n\n");
}

TEST(Messages, ErrcountBudgetEndsAtTheThirdWarning) {
    Options o;
    o.env["COBRTOPT"] = "TRAP=OFF,ERRCOUNT=3";
    Result r = run({"message", "errcount"}, o);
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_TRUE(hasLine(r.out, "after 1"));
    EXPECT_TRUE(hasLine(r.out, "after 2"));
    EXPECT_FALSE(hasLine(r.out, "after 3"));
    const std::string w = "ZVK171W  Runtime option FOO is not known and is ignored.\n";
    EXPECT_EQ(r.err, w + "\n" + w + "\n" + w + "  ZVK901S Program exits: more than ERRCOUNT errors occurred.\n\n");
}

TEST(Messages, StringModeFormatsIntoTheCallersBuffer) {
    Result r = run({"message", "string"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(hasLine(r.out, "rc=0 text=[The year window of program PGM (-200) gives base year 1826, outside 1900 "
                               "to 2099; it is not used.]"))
        << r.out;
    EXPECT_TRUE(hasLine(r.out, "small=[The year window of p] len=20")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "severe=[Insufficient storage.]")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "continued"));
    EXPECT_EQ(r.err, "other thread writes\n");
}

TEST(Messages, SmallEntries) {
    Result r = run({"message", "mod-rem-char-ord"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err,
              "ZVK177W  Function MOD: an argument is zero or out of range.\n\n"
              "ZVK177W  Function REM: an argument is zero or out of range.\n\n"
              "ZVK162W  Argument of function CHAR is out of range.\n\n"
              "ZVK157W  Argument of function ORD is out of range.\n\n");
}

const char* kWrapped40 =
    "ZVK173W  Value 0101010101010101 of\n"
    "         runtime option UPSI does not\n"
    "         have 8 characters of \"01\"; the\n"
    "         default is used.\n"
    "\n"
    "ZVK172W  Value A_VERY_LONG_VALUE_WITHO\n"
    "          UT_ANY_BLANKS_AT_ALL_IN_IT_R\n"
    "          EALLY is not allowed for\n"
    "         runtime option FILESYS; the\n"
    "         option is ignored.\n"
    "\n";

TEST(Wrapping, AtTheWidthInTheRecord) {
    Result r = run({"wrap", "40"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.err, kWrapped40);
}

TEST(Wrapping, NarrowTerminalWrapsAtEighty) {
    Result narrow = run({"wrap", "10"});
    Result eighty = run({"wrap", "80"});
    EXPECT_EQ(narrow.err, eighty.err);
    EXPECT_NE(eighty.err.find("\n         "), std::string::npos);   // it did wrap
}

TEST(Wrapping, NotUnderAMultibyteLocale) {
    Options o;
    o.env["LC_ALL"] = "C.UTF-8";
    Result r = run({"wrap", "40"}, o);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(scenario::lines(r.err).size(), 4u) << r.err;   // two lines and two empty ones
}

TEST(Wrapping, OnATerminalOfFiftyColumns) {
    Options o;
    o.ptyColumns = 50;
    Result r = run({"wrap", "0"}, o);
    std::string text;
    for (char c : r.out)
        if (c != '\r') text += c;
    EXPECT_NE(text.find("ZVK173W  Value 0101010101010101 of runtime option\n"
                        "         UPSI does not have 8 characters of \"01\";\n"
                        "         the default is used.\n"),
              std::string::npos)
        << text;
}

TEST(HostRouting, OneCallPerLineUnderTransactionMonitor) {
    Result r = run({"txmn"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "txmn=1"));
    auto ls = scenario::lines(r.out);
    std::vector<std::string> calls;
    for (auto& l : ls)
        if (l.rfind("host msg", 0) == 0) calls.push_back(l);
    ASSERT_EQ(calls.size(), 7u) << r.out;
    EXPECT_EQ(calls[0], "host msg exit=0 facility=QRNB token=0 len=34 text=[ZVK173W  Value 0101010101010101 of]");
    EXPECT_EQ(calls[1], "host msg exit=0 facility=QRNB token=0 len=37 text=[         runtime option UPSI does not]");
    EXPECT_EQ(calls[4], "host msg exit=0 facility=QRNB token=0 len=30 text=[ZVK907S  Insufficient storage.]");
    EXPECT_EQ(calls[5], "host msg exit=0 facility=QRNB token=0 len=40 text=[  ZVK901S Program exits due to severe or]");
    EXPECT_EQ(calls[6], "host msg exit=0 facility=QRNB token=0 len=24 text=[         critical error.]");
    // The abort of the task jumps back to its epilogue with 6.
    EXPECT_TRUE(hasLine(r.out, "epilogue 6"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    EXPECT_EQ(withoutTraceback(r.err), "");
}

TEST(HostRouting, OneCallWithTheWholeTextAndAbortRoutine) {
    Result r = run({"host"});
    EXPECT_EQ(r.exitCode, 19) << r.err;
    EXPECT_TRUE(hasLine(r.out, "rc=0"));
    std::string out = r.out;
    EXPECT_NE(out.find("host msg exit=0 facility=QRNB token=abc len=58 text=[ZVK171W  Runtime option FOO is not "
                       "known and is ignored.\n\n]"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("host msg exit=1 facility=QRNB token=abc len=89 text=[ZVK907S  Insufficient storage.\n  "
                       "ZVK901S Program exits due to severe or critical error.\n\n]"),
              std::string::npos)
        << out;
    EXPECT_TRUE(hasLine(r.out, "host abrt token=abc"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    EXPECT_EQ(withoutTraceback(r.err), "");
}

TEST(HostRouting, StopRoutineAtStopRun) {
    Result r = run({"hoststop"});
    EXPECT_EQ(r.exitCode, 42) << r.err;
    EXPECT_TRUE(hasLine(r.out, "rc=0 main.wrapper=1"));
    EXPECT_TRUE(hasLine(r.out, "host stop token=5150"));
}

TEST(HostRouting, StartUpEntries) {
    Result r = run({"hostinit"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    auto v = values(r.out);
    EXPECT_EQ(v["init7.rc"], "1");
    EXPECT_EQ(v["hostinit.rc"], "0");
    EXPECT_EQ(v["preinit"], "1");
    EXPECT_EQ(v["cache"], "0");
    EXPECT_EQ(v["init1.bad.rc"], "1");
    EXPECT_EQ(v["init10.rc"], "0");
    EXPECT_EQ(v["context"], "119");
}

TEST(Locks, ContentionPrintsTheTrylockLine) {
    Result r = run({"contention"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    // "pthread_mutex_trylock rc <code> <errno>: <text of the code>"
    auto ls = scenario::lines(r.err);
    ASSERT_FALSE(ls.empty());
    const std::string head = "pthread_mutex_trylock rc 16 ", tail = ": Device or resource busy";
    EXPECT_EQ(ls[0].rfind(head, 0), 0u) << r.err;
    EXPECT_TRUE(ls[0].size() > head.size() + tail.size() &&
                ls[0].compare(ls[0].size() - tail.size(), tail.size(), tail) == 0)
        << r.err;
    EXPECT_TRUE(hasLine(r.out, "ent=3"));
}

// The catalog is found through the path the constructor derives from the
// library's own place, with the locale fallback, or not at all.
class CatalogPlacement : public ::testing::Test {
protected:
    fs::path dir;
    void SetUp() override {
        char tmpl[] = "/tmp/kvr2catXXXXXX";
        dir = mkdtemp(tmpl);
    }
    void TearDown() override { fs::remove_all(dir); }
    fs::path placeLibrary(const std::string& sub) {
        fs::path d = dir / sub;
        fs::create_directories(d);
        fs::copy_file(scenario::libDir() + "/libkvr2_64r.so", d / "libkvr2_64r.so");
        return d;
    }
};

TEST_F(CatalogPlacement, NoCatalogFormIsSevere) {
    fs::path lib = placeLibrary("nowhere");
    Options o;
    o.env["LD_LIBRARY_PATH"] = lib.string();
    o.env["NLSPATH"] = std::nullopt;
    Result r = run({"message", "warning"}, o);
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(r.err, std::string("ZVK994S  Cannot find message catalog kvr2run.cat in NLSPATH. Message number is\n"
                                     "         171.\n") +
                         kEnd901 + "\n");
}

TEST_F(CatalogPlacement, LocaleFallbackFindsTheCatalogUnderC) {
    fs::path lib = placeLibrary("inst/lib");
    fs::create_directories(dir / "inst/usr/share/locale/C");
    fs::copy_file(scenario::libDir() + "/../usr/share/locale/C/kvr2run.cat", dir / "inst/usr/share/locale/C/kvr2run.cat");
    Options o;
    o.env["LD_LIBRARY_PATH"] = lib.string();
    o.env["NLSPATH"] = std::nullopt;
    o.env["LC_ALL"] = std::nullopt;
    o.env["LC_MESSAGES"] = std::nullopt;
    o.env["LANG"] = "C.UTF-8";
    Result r = run({"message", "warning"}, o);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "ZVK171W  Runtime option FOO is not known and is ignored.\n\n");
}

TEST(HostRouting, MonitorEndsTheTaskOrCancelsIt) {
    Result r = run({"monitor", "exit"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "epilogue 1")) << r.out;   // STOP RUN with status 1
    EXPECT_FALSE(hasLine(r.out, "after exit"));
    EXPECT_EQ(values(r.out)["runcom.after"], "0");
    r = run({"monitor", "cancel"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "after cancel")) << r.out;   // the caller goes on
    EXPECT_TRUE(hasLine(r.out, "epilogue 0"));
    EXPECT_EQ(values(r.out)["runcom.after"], "0");
}

TEST(HostRouting, UpperCaseNamesAreTheSameEntries) {
    Result r = run({"monitor", "names"});
    auto v = values(r.out);
    EXPECT_EQ(v["init.rc"], "1");
    EXPECT_EQ(v["term.rc"], "1");
    EXPECT_EQ(r.signal, SIGABRT);   // ZVKABORT is ZVKABEND
    EXPECT_NE(r.err.find("ZVK901C  ZVK901S Program exits due to severe or critical error."), std::string::npos) << r.err;
}
