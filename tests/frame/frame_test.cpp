// The run-unit frame: programs enter and leave, run units start and end,
// messages come out in their fixed form (scenario programs, each in a
// process of its own); and its internal routines: option parsing,
// wrapping, the per-thread area.

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <filesystem>

#include "frame/messages.h"
#include "frame/options.h"
#include "frame/rununit.h"
#include "frame/termination.h"
#include "frame/threads.h"
#include "scenario.h"

extern "C" size_t zvkOptionKeywordCount(void);
extern "C" const char* zvkOptionKeyword(size_t i);

namespace fs = std::filesystem;
using scenario::hasLine;
using scenario::mismatches;
using scenario::Options;
using scenario::Result;

namespace {

Result run(const std::vector<std::string>& args, Options o = {}) {
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    return scenario::run(scenario::binPath("frame_scenarios"), args, o);
}

Options env(std::map<std::string, std::optional<std::string>> vars) {
    Options o;
    o.env = std::move(vars);
    return o;
}

const std::string kEnd901 = "  ZVK901S Program exits due to severe or critical error.\n";

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

// The library writes at the compiler's offsets (the harness lays the
// records out byte by byte), and the main's last exit ends the run unit.
TEST(ProgramEntry, MainAndCalledProgramRegisterAndExit) {
    Result r = run({"enter"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "id=1 mainflag=1 main.lle.set=1 main.upsi.ok=1 main.pgmword.ok=1 main.back.ok=1 "
                                "main.ent=1 active=1 sub.ent=1 sub.flagmain=0 sub.lle.set=1 sub.upsi.ok=1 "
                                "sub.back.ok=1 active.in.sub=2 sub.checkdebug=1 sub.ent.after=0 sub.lle.same=1 "
                                "active.after=1 main.lle.after=0 mainflag.after=0 runcom.after=0"),
              "");
    EXPECT_TRUE(hasLine(r.out, "epilogue 0"));
    EXPECT_EQ(r.err, "");
}

TEST(ProgramEntry, TraceLinesUnderDebug) {
    Result r = run({"enter"}, env({{"__ZVKDEBUG", "1"}}));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    auto v = scenario::values(r.out);
    const std::string pid = v["pid"], pc = v["proccom"], ru = v["runcom"], plle = v["plle"], pcb = v["pcb"],
                      jmp = v["jmp"], head = "PID " + pid + " Proccom @" + pc;
    for (const std::string& line : {
             "RunUnitInit: " + head + " Runcom @" + ru + "  PLLE @(nil)  id=1  sig=0  pcb=@" + pcb +
                 "  main=@(nil) txmn=0",
             "_zvkPgmInit: " + head + " Runcom @" + ru + "  sig 0  PLLE @" + plle + "  Main=@" + pcb + "  Name=DEMOMAIN",
             "_zvkGetJmpBuffer: returning jmp_buf (" + jmp + ") for current run unit (DEMOMAIN) " + ru,
             "_zvkPgmInit: " + head + " Runcom @" + ru + "  sig 0  PLLE @" + plle + "  Main=@" + pcb + "  Name=SUBPGM",
             "_zvkPgmInit: subsequent usage PCB " + v["subpcb"] + "  PLLE " + plle,
             "_zvkPgmTerm: " + head + " Runcom @@" + ru + "  main=1  name=DEMOMAIN jmp=@" + jmp + " txmn=0 ru_term 0",
             "RunUnitTerm: " + ru + " returning due to <= COBOLterm",
             "_zvkPgmTerm: " + ru + " return to COBOL epilogue of DEMOMAIN ru_term 0",
             "InitCobolRte: " + head + " Runcom @(nil) jvc=0  txmn=0  preinit=0  cache=2",
             std::string("COBRTOPT=TRAP=OFF"),
             std::string("TermCobolRte: returning..."),
             "RTE Terminated... PID " + pid + " Proccom (nil)",
             "zvk_fini: " + head,
         })
        EXPECT_TRUE(hasLine(r.err, line)) << line << "\n---\n" << r.err;
    // The banner comes first, then the constructor's two traces.
    auto ls = scenario::lines(r.err);
    ASSERT_GE(ls.size(), 3u);
    EXPECT_EQ(ls[0].rfind("KVR2 COBOL Runtime", 0), 0u);
    EXPECT_EQ(ls[1].rfind("zvk_init: " + head + " Runcom @(nil) freeru @(nil) jvc=0  txmn=0", 0), 0u) << ls[1];
}

// A second run unit takes the first one's record back, cleared and with
// the options of this process; it turns the program cache on.
TEST(RunUnit, SecondRunUnitReusesTheFreeRecord) {
    Result r = run({"reuse"}, env({{"COBRTOPT", "TRAP=OFF,ERRCOUNT=5,UPSI=01000001"}}));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "first.id=1 free.is.first=1 same.record=1 second.id=2 jmp.cleared=1 context=0 "
                                "upsi=01000001 errcount=5 century=80 seed=1 cache.before=2 cache.after=1 "
                                "global.plle=1 plle.parent.ok=1 second.main=1"),
              "");
    EXPECT_TRUE(hasLine(r.out, "epilogue 255"));   // STOP RUN with status 0
}

TEST(RunUnit, StopRunFromCalledProgramReachesMainEpilogueWithItsStatus) {
    for (auto [status, epilogue] : {std::pair{"0", "epilogue 255"}, {"12", "epilogue 12"}}) {
        Result r = run({"stoprun", status});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(hasLine(r.out, epilogue)) << r.out;
        EXPECT_FALSE(hasLine(r.out, "not reached"));
        EXPECT_EQ(mismatches(r.out, "main.ent=0 sub.ent=0 mainflag=0"), "");
    }
}

TEST(YearWindow, ResolvedByCompilerVersionOrReported) {
    Result r = run({"yearwindow"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    time_t t = time(nullptr);
    struct tm tm;
    localtime_r(&t, &tm);
    const int year = tm.tm_year + 1900;
    // below 2.2.0 no year window; below 5.1.1 offset 104 is left alone
    EXPECT_EQ(mismatches(r.out, "year=" + std::to_string(year) + " cur.window=" + std::to_string(year - 30) +
                                    " old.window=-200 base.window=1900 early.window=-200 v510.pgmword=0 v511.pgmword=1"),
              "");
    EXPECT_EQ(r.err, "ZVK240W  The year window of program OLDWIN (-200) gives base year " + std::to_string(year - 200) +
                         ", outside\n         1900 to 2099; it is not used.\n\n"
                         "ZVK241W  The year window 1900 to 2000 of program BASEWIN no longer contains the\n"
                         "         current year.\n\n");
}

// Each severity and control bit: the exact text on stderr (a traceback
// before the end's message is taken out), and whether the run went on.
TEST(Messages, SeverityAndControlBitsDecideTextAndEnd) {
    const std::string w171 = "ZVK171W  Runtime option FOO is not known and is ignored.\n",
                      s907 = "ZVK907S  Insufficient storage.\n",
                      c901 = "ZVK901C  ZVK901S Program exits due to severe or critical error.\n";
    struct Case {
        const char* which;
        bool goesOn;
        std::string err;
    } cases[] = {
        {"warning", true, w171 + "\n"},
        {"severe", false, s907 + kEnd901 + "\n"},
        {"critical", false, c901 + kEnd901 + "\n"},
        {"info-critical", true, c901 + "\n"},   // information bit: letter kept, run goes on
        {"forced-severe", false, w171 + kEnd901 + "\n"},
        {"no-traceback", false, s907 + kEnd901 + "\n"},
        {"variant", true, "ZVK230W  EBCDIC_CODEPAGE TQX-1140 does not belong to locale es_ES; it is used as\n"
                          "         given.\n\n"},
        {"unknown-number", false, "ZVK4242S Cannot find message 4242 in kvr2run.cat\n" + kEnd901 + "\n"},
        {"wide-number", true, "ZVK1001S Locale category LC_TIME cannot be set to xx_YY.\n\n"},
        {"mod-rem-char-ord", true, "ZVK177W  Function MOD: an argument is zero or out of range.\n\n"
                                   "ZVK177W  Function REM: an argument is zero or out of range.\n\n"
                                   "ZVK162W  Argument of function CHAR is out of range.\n\n"
                                   "ZVK157W  Argument of function ORD is out of range.\n\n"},
    };
    for (const Case& c : cases) {
        Result r = run({"message", c.which});
        bool traced = false;
        EXPECT_EQ(withoutTraceback(r.err, &traced), c.err) << c.which;
        EXPECT_EQ(hasLine(r.out, "continued"), c.goesOn) << c.which;
        EXPECT_EQ(r.signal, c.goesOn ? 0 : SIGABRT) << c.which;
        // the traceback comes with an end, unless the message's bit says no
        EXPECT_EQ(traced, !c.goesOn && strcmp(c.which, "no-traceback") != 0) << c.which << "\n" << r.err;
    }
}

TEST(Messages, ErrcountBudgetEndsAtTheThirdWarning) {
    Result r = run({"message", "errcount"}, env({{"COBRTOPT", "TRAP=OFF,ERRCOUNT=3"}}));
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_TRUE(hasLine(r.out, "after 2"));
    EXPECT_FALSE(hasLine(r.out, "after 3"));
    const std::string w = "ZVK171W  Runtime option FOO is not known and is ignored.\n";
    EXPECT_EQ(r.err, w + "\n" + w + "\n" + w + "  ZVK901S Program exits: more than ERRCOUNT errors occurred.\n\n");
}

TEST(Messages, StringModeFormatsIntoTheCallersBufferAndEndsNothing) {
    Result r = run({"message", "string"});
    EXPECT_EQ(r.exitCode, 0);
    for (const char* line : {"rc=0 text=[The year window of program PGM (-200) gives base year 1826, outside 1900 to "
                             "2099; it is not used.]",
                             "small=[The year window of p] len=20", "severe=[Insufficient storage.]", "continued"})
        EXPECT_TRUE(hasLine(r.out, line)) << line << "\n" << r.out;
    EXPECT_EQ(r.err, "other thread writes\n");   // the stream was not left locked
}

TEST(Wrapping, AtTheRecordsWidthNotBelowEightyNorUnderAMultibyteLocale) {
    EXPECT_EQ(run({"wrap", "40"}).err,
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
              "\n");
    std::string eighty = run({"wrap", "80"}).err;
    EXPECT_EQ(run({"wrap", "10"}).err, eighty);
    EXPECT_NE(eighty.find("\n         "), std::string::npos);   // it did wrap
    Result r = run({"wrap", "40"}, env({{"LC_ALL", "C.UTF-8"}}));
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
    std::vector<std::string> calls;
    for (auto& l : scenario::lines(r.out))
        if (l.rfind("host msg exit=0 facility=QRNB token=0 ", 0) == 0) calls.push_back(l.substr(38));
    ASSERT_EQ(calls.size(), 7u) << r.out;
    EXPECT_EQ(calls[0], "len=34 text=[ZVK173W  Value 0101010101010101 of]");
    EXPECT_EQ(calls[1], "len=37 text=[         runtime option UPSI does not]");
    EXPECT_EQ(calls[4], "len=30 text=[ZVK907S  Insufficient storage.]");
    EXPECT_EQ(calls[5], "len=40 text=[  ZVK901S Program exits due to severe or]");
    EXPECT_EQ(calls[6], "len=24 text=[         critical error.]");
    // The abort of the task jumps back to its epilogue with 6.
    EXPECT_TRUE(hasLine(r.out, "epilogue 6"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    EXPECT_EQ(withoutTraceback(r.err), "");
}

TEST(HostRouting, OneCallWithTheWholeTextThenAbortRoutine) {
    Result r = run({"host"});
    EXPECT_EQ(r.exitCode, 19) << r.err;
    for (const char* text :
         {"\nhost msg exit=0 facility=QRNB token=abc len=58 text=[ZVK171W  Runtime option FOO is not known and is "
          "ignored.\n\n]\n",
          "\nhost msg exit=1 facility=QRNB token=abc len=89 text=[ZVK907S  Insufficient storage.\n  ZVK901S Program "
          "exits due to severe or critical error.\n\n]\n",
          "\nhost abrt token=abc\n"})
        EXPECT_NE(r.out.find(text), std::string::npos) << text << "\n---\n" << r.out;
    EXPECT_TRUE(hasLine(r.out, "rc=0"));
    EXPECT_FALSE(hasLine(r.out, "not reached"));
    EXPECT_EQ(withoutTraceback(r.err), "");
}

TEST(HostRouting, StopRoutineAtStopRunExitsWithTheStatus) {
    Result r = run({"hoststop"});
    EXPECT_EQ(r.exitCode, 42) << r.err;
    EXPECT_TRUE(hasLine(r.out, "rc=0 main.wrapper=1"));
    EXPECT_TRUE(hasLine(r.out, "host stop token=5150"));
}

TEST(HostRouting, StartUpEntriesAndTheirReturnCodes) {
    Result r = run({"hostinit"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(mismatches(r.out, "init7.rc=1 hostinit.rc=0 preinit=1 cache=0 init1.bad.rc=1 init10.rc=0 context=119"), "");
}

// The monitor's end of a task is a STOP RUN with status 1; its cancel
// ends the run unit and the caller goes on.
TEST(HostRouting, MonitorEndsTheTaskOrCancelsIt) {
    Result r = run({"monitor", "exit"});
    EXPECT_TRUE(hasLine(r.out, "epilogue 1")) << r.out;
    EXPECT_FALSE(hasLine(r.out, "after exit"));
    EXPECT_EQ(mismatches(r.out, "runcom.after=0"), "");
    r = run({"monitor", "cancel"});
    EXPECT_TRUE(hasLine(r.out, "after cancel")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "epilogue 0"));
    EXPECT_EQ(mismatches(r.out, "runcom.after=0"), "");
    r = run({"monitor", "names"});   // upper-case names, ZVKABORT is ZVKABEND
    EXPECT_EQ(mismatches(r.out, "init.rc=1 term.rc=1"), "");
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_NE(r.err.find("ZVK901C  ZVK901S Program exits due to severe or critical error."), std::string::npos) << r.err;
}

TEST(Locks, ContentionPrintsTheTrylockLine) {
    Result r = run({"contention"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    // "pthread_mutex_trylock rc <code> <errno>: <text of the code>"
    auto ls = scenario::lines(r.err);
    ASSERT_FALSE(ls.empty());
    const std::string head = "pthread_mutex_trylock rc 16 ", tail = ": Device or resource busy";
    EXPECT_EQ(ls[0].rfind(head, 0), 0u) << r.err;
    EXPECT_TRUE(ls[0].size() > head.size() + tail.size() && ls[0].ends_with(tail)) << r.err;
    EXPECT_TRUE(hasLine(r.out, "ent=3"));
}

// The catalog is found through the path the constructor derives from the
// library's own place, with the locale fallback, or not at all.
TEST(CatalogPlacement, FoundBesideTheLibraryUnderCOrMissingIsSevere) {
    char tmpl[] = "/tmp/kvr2catXXXXXX";
    const fs::path dir = mkdtemp(tmpl);
    for (const char* sub : {"nowhere", "inst/lib"}) {
        fs::create_directories(dir / sub);
        fs::copy_file(scenario::libDir() + "/libkvr2_64r.so", dir / sub / "libkvr2_64r.so");
    }
    fs::create_directories(dir / "inst/usr/share/locale/C");
    fs::copy_file(scenario::libDir() + "/../usr/share/locale/C/kvr2run.cat", dir / "inst/usr/share/locale/C/kvr2run.cat");
    Result r = run({"message", "warning"}, env({{"LD_LIBRARY_PATH", (dir / "nowhere").string()}, {"NLSPATH", {}}}));
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_EQ(r.err, "ZVK994S  Cannot find message catalog kvr2run.cat in NLSPATH. Message number is\n"
                     "         171.\n" + kEnd901 + "\n");
    r = run({"message", "warning"}, env({{"LD_LIBRARY_PATH", (dir / "inst/lib").string()}, {"NLSPATH", {}},
                                         {"LC_ALL", {}}, {"LC_MESSAGES", {}}, {"LANG", "C.UTF-8"}}));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "ZVK171W  Runtime option FOO is not known and is ignored.\n\n");
    fs::remove_all(dir);
}

// ------------------------------------------------------------ options

namespace {

struct Parsed {
    uint32_t program, runtime, errCount;
    std::string upsi, fs, messages;
};

Parsed parse(const char* cobrtopt) {
    if (cobrtopt)
        setenv("COBRTOPT", cobrtopt, 1);
    else
        unsetenv("COBRTOPT");
    Proccom* pc = _zvkProccom;
    pc->runtimeOptions = 0;
    memset(pc->fileSystem, 0, sizeof pc->fileSystem);
    testing::internal::CaptureStderr();
    zvkParseOptions();
    Parsed p{pc->programOptions, pc->runtimeOptions, pc->errCount, std::string(pc->upsi, 8),
             std::string(pc->fileSystem, strnlen(pc->fileSystem, 3)), testing::internal::GetCapturedStderr()};
    setenv("COBRTOPT", "TRAP=OFF", 1);
    return p;
}

}  // namespace

// Every keyword of the table is found (the lookup is a binary search) in
// each spelling: "=" or "(...)", any case, blanks anywhere.
TEST(Options, EveryKeywordIsAcceptedInEverySpelling) {
    for (size_t i = 0; i < zvkOptionKeywordCount(); ++i) {
        std::string k = zvkOptionKeyword(i), alt = k, spaced = "\n";
        Parsed p = parse(k.c_str());
        EXPECT_EQ(p.messages, "") << k;
        if (auto eq = k.find('='); eq != std::string::npos) alt = k.substr(0, eq) + "(" + k.substr(eq + 1) + ")";
        for (auto& c : alt) c = static_cast<char>(tolower(c));
        for (char c : k) spaced += std::string(1, c) + " \t";
        for (const std::string& other : {alt, spaced + ","}) {
            Parsed q = parse(other.c_str());
            EXPECT_EQ(q.messages, "") << other;
            EXPECT_EQ(q.runtime, p.runtime) << other;
            EXPECT_EQ(q.program, p.program) << other;
            EXPECT_EQ(q.fs, p.fs) << other;
        }
    }
}

// What each keyword does: a row of the wrong kind, field or value shows
// here even where the table is sorted.
TEST(Options, EachKeywordHasItsEffect) {
    struct Row {
        const char* options;
        uint32_t program, runtime;
        const char* fs;
    } rows[] = {
        {nullptr, 0x0A000000u, 0xC0000000u, ""},   // TRAP, CHECK and DEBUG on by default
        {"", 0x0A000000u, 0xC0000000u, ""},
        {"ACCEPT", 0x0A000000u, 0xD0000000u, ""},     {"ACCEPT=OLD", 0x0A000000u, 0xC0000000u, ""},
        {"CHECK=OFF", 0x02000000u, 0xC0000000u, ""},  {"CHECK=ON", 0x0A000000u, 0xC0000000u, ""},
        {"NOCHECK", 0x02000000u, 0xC0000000u, ""},    {"NOCHECK,NODEBUG", 0u, 0xC0000000u, ""},
        {"DEBUG=OFF", 0x08000000u, 0xC0000000u, ""},  {"NODEBUG", 0x08000000u, 0xC0000000u, ""},
        {"FILEMODE=LARGE", 0x0A000000u, 0xC0000000u, ""}, {"FM=S", 0x0A000000u, 0xC0000000u, ""},
        {"FILESYS", 0x0A000000u, 0xC0000000u, ""},    {"FS=RQL", 0x0A000000u, 0xC0000000u, "rql"},
        {"FILESYS=LSQ", 0x0A000000u, 0xC0000000u, "lsq"}, {"FS=PSX", 0x0A000000u, 0xC0000000u, "psx"},
        {"FILESYS=WBRN", 0x0A000000u, 0xC0000000u, "wbr"}, {"FS=RSD", 0x0A000000u, 0xC0000000u, "rsd"},
        {"FILESYS=JGT", 0x0A000000u, 0xC0000000u, "jgt"}, {"FS=HDK", 0x0A000000u, 0xC0000000u, "hdk"},
        {"FILESYS=STL", 0x0A000000u, 0xC0000000u, "stl"}, {"FS=PLX", 0x0A000000u, 0xC0000000u, "plx"},
        {"fs=nat", 0x0A000000u, 0xC0000000u, "lsq"},  {"FILESYS(RAW)", 0x0A000000u, 0xC0000000u, "wbr"},
        {"FS=PLXD", 0x0A000000u, 0xC0000000u, "plx"},
        {"TRAP=NEW", 0x0A000000u, 0xC0000000u, ""},   {"TRAP=OLD", 0x0A000000u, 0x80000000u, ""},
        {"TRAP=DUMP", 0x0A000000u, 0xE0000000u, ""},  {"TRAP=OFF", 0x0A000000u, 0x00000000u, ""},
        {"TRAP=OLD,TRAP", 0x0A000000u, 0xC0000000u, ""}, {"TRAP=DUMP,TRAP=OFF", 0x0A000000u, 0x60000000u, ""},
        {" trap = old ", 0x0A000000u, 0x80000000u, ""},
        // the options around a bad one still count
        {"NOCHECK,FS=XYZ,TRAP=OLD", 0x02000000u, 0x80000000u, ""},
    };
    for (const Row& r : rows) {
        Parsed p = parse(r.options);
        EXPECT_EQ(p.program, r.program) << (r.options ? r.options : "(unset)");
        EXPECT_EQ(p.runtime, r.runtime) << (r.options ? r.options : "(unset)");
        EXPECT_EQ(p.fs, r.fs) << (r.options ? r.options : "(unset)");
    }
}

TEST(Options, ParametersAndTheMessagesOfBadValues) {
    struct Row {
        const char *options, *upsi;
        uint32_t errCount;
        const char* message;
    } rows[] = {
        {nullptr, "00000000", 0, ""},
        {",,,", "00000000", 0, ""},
        {"upsi(10000001)", "10000001", 0, ""},
        {"UPSI", "00000000", 0, ""},
        {"UPSI=1", "00000000", 0, "ZVK173W  Value 1 of runtime option UPSI does not have 8 characters of \"01\"; the "
                                  "default is used."},
        {"UPSI=0000000X", "00000000", 0, "ZVK174W  Value 0000000X of runtime option UPSI has characters that are not "
                                         "allowed; the default is used."},
        {"ERRCOUNT=7", "00000000", 7, ""},
        {"ERRCOUNT=4294967297", "00000000", 1, ""},
        {"ERRCOUNT=-1", "00000000", 0, "ZVK181W  Value -1 of runtime option ERRCOUNT is not a number of 0 or more; the "
                                       "default is used."},
        {"ERRCOUNT=99999999999999999999", "00000000", 0,
         "ZVK182W  Value 99999999999999999999 of runtime option ERRCOUNT is out of the range 0 to 9223372036854775807; "
         "the default is used."},
        {"FILESYS=ABC", "00000000", 0, "ZVK172W  Value ABC is not allowed for runtime option FILESYS; the option is ignored."},
        {"CHECK=MAYBE", "00000000", 0, "ZVK172W  Value MAYBE is not allowed for runtime option CHECK; the option is ignored."},
        {"TRAP((ON))", "00000000", 0, "ZVK172W  Value =ON is not allowed for runtime option TRAP; the option is ignored."},
        {"FOO=1", "00000000", 0, "ZVK171W  Runtime option FOO is not known and is ignored."},
        {"TRAPX", "00000000", 0, "ZVK171W  Runtime option TRAPX is not known and is ignored."},
    };
    for (const Row& r : rows) {
        Parsed p = parse(r.options);
        const char* what = r.options ? r.options : "(unset)";
        EXPECT_EQ(p.upsi, r.upsi) << what;
        EXPECT_EQ(p.errCount, r.errCount) << what;
        EXPECT_EQ(p.messages, *r.message ? std::string(r.message) + "\n\n" : "") << what;
    }
    EXPECT_EQ(parse("UPSI=").upsi, std::string(8, '\0'));
}

// Lines longer than the width break at a blank at or before it (the
// blanks dropped, the rest indented by nine), after "=", or hard at the
// width when there is no blank after column 18 (indent ten); not at all
// when the buffer has no room.
TEST(Wrap, BreaksAtBlankEqualsOrHard) {
    const std::string a20(20, 'a'), a18(18, 'a'), a19(19, 'a'), b10(10, 'b'), x8(8, 'x');
    const std::string exact = "ZVK171W  " + std::string(70, 'x') + "y\n";
    const std::string roomless = std::string(30, 'a') + " " + std::string(30, 'b') + "\n";
    struct Case {
        std::string text;
        int width;
        size_t capacity;
        std::string wrapped;
    } cases[] = {
        {exact, 80, 4096, exact},
        {a20 + " " + b10 + "\n", 20, 4096, a20 + "\n         " + b10 + "\n"},
        {a19 + "=" + b10 + "\n", 25, 4096, a19 + "=\n          " + b10 + "\n"},
        {a20 + "  " + b10 + "\n", 20, 4096, a20 + "\n        " + b10 + "\n"},
        {a18 + "  " + b10 + "\n", 24, 4096, a18 + " \n         " + b10 + "\n"},
        {"ab " + std::string(40, 'x') + "\n", 20, 4096,
         "ab " + std::string(15, 'x') + "\n          " + x8 + "\n          " + x8 + "\n          " + x8 + "x\n"},
        {roomless, 40, roomless.size() + 3, roomless},
    };
    for (const Case& c : cases) {
        std::string buf = c.text;
        buf.resize(c.capacity);
        buf.resize(zvkWrapLines(buf.data(), c.text.size(), c.capacity, c.width));
        EXPECT_EQ(buf, c.wrapped) << c.text;
    }
}

TEST(ThreadScratch, OneAlignedRecordPerThreadGrowingInSixteens) {
    EXPECT_EQ(zvkThreadScratch(-1), nullptr);   // never allocates
    auto* rec = static_cast<ThreadRecord*>(zvkThreadScratch(0));
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(zvkThreadScratch(-1), rec);
    EXPECT_EQ(rec->threadId, static_cast<uint64_t>(pthread_self()));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(rec) % 16, 0u);
    void* s = zvkThreadScratch(10);
    EXPECT_EQ(rec->scratchSize, 16u);
    EXPECT_EQ(zvkThreadScratch(16), s);
    EXPECT_NE(zvkThreadScratch(100), nullptr);
    EXPECT_EQ(rec->scratchSize, 112u);
    void* other = nullptr;
    pthread_t th;
    pthread_create(
        &th, nullptr, [](void* out) -> void* { return *static_cast<void**>(out) = zvkThreadScratch(0); }, &other);
    pthread_join(th, nullptr);
    EXPECT_NE(other, nullptr);
    EXPECT_NE(other, rec);
}
