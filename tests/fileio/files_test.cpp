// OPEN and CLOSE through the open slot as compiled code calls them, with
// stand-in modules; the error routines' table; the prefix test.

#include <gtest/gtest.h>

#include <string>
#include <unistd.h>
#include <vector>

#include "fileio/files.h"
#include "fileio/kit.h"
#include "scenario.h"
#include "tempdir.h"

using namespace scenario;

namespace {

Result files(std::vector<std::string> args, Options o = {}) {
    if (!o.env.count("LD_LIBRARY_PATH")) o.env["LD_LIBRARY_PATH"] = STANDIN_DIR;
    return run(binDir() + "/file_scenarios", args, o);
}
std::string lineOf(const std::string& out, const std::string& op) {
    for (const std::string& l : lines(out))
        if (l.rfind(op + " fs=", 0) == 0) return l;
    return "";
}
std::string fsOf(const std::string& out, const std::string& op) {
    const std::string l = lineOf(out, op);
    return l.empty() ? "" : l.substr(op.size() + 4, 2);
}

}  // namespace

TEST(Prefix, TheCodeTableDecidesAndTheDashMustStandAtThreeOrLater) {
    struct Case {
        const char* name;
        size_t prefix;
    } cases[] = {{"stl-x", 3}, {"xyz-data", 3}, {"yes-data", 0}, {"data-file.dat", 4}, {"ab-cdef", 0},
                 {"stl-", 0},  {"1tl-abc", 0},  {"Stl-a", 3},    {"zoo-a", 0}};
    for (const Case& c : cases) EXPECT_EQ(zvkFilePrefixLength(c.name, strlen(c.name)), c.prefix) << c.name;
    EXPECT_EQ(zvkFileSystemCode("QVR"), 1);
    EXPECT_EQ(zvkFileSystemCode("nat"), 4);
    EXPECT_EQ(zvkFileSystemCode("xyz"), 0);
}

// Every row of the error routines' table, in first-match order.
TEST(ErrorRoutines, FirstMatchingRowGivesStatusAndSecondaryStatus) {
    struct Row {
        int32_t (*routine)(FCB*, IPCB*, uint32_t, uint32_t);
        uint16_t mode;
        uint32_t state;
        uint8_t org, access, lastVerb, clauses;
        uint16_t fs1;
        uint32_t fs2;
    };
    const Row rows[] = {
        {_zvkReadError, ZVK_OPEN_OUTPUT, 0, 0, ZVK_ACCESS_SEQUENTIAL, 0, 0, 47, 9},
        {_zvkReadError, ZVK_OPEN_INPUT, 0, 0, ZVK_ACCESS_SEQUENTIAL, 0, 0, 30, 5},
        {_zvkReadError, ZVK_OPEN_IO, ZVK_STATE_OPTIONAL_ABSENT, ZVK_ORG_INDEXED, ZVK_ACCESS_RANDOM, 0, 0, 23, 29},
        {_zvkReadError, ZVK_OPEN_INPUT, ZVK_STATE_OPTIONAL_ABSENT, ZVK_ORG_INDEXED, ZVK_ACCESS_RANDOM,
         ZVK_VERB_START, ZVK_CLAUSE_KEY_READ, 46, 29},
        {_zvkReadError, ZVK_OPEN_INPUT, ZVK_STATE_OPTIONAL_ABSENT, 0, ZVK_ACCESS_SEQUENTIAL, ZVK_VERB_READ, 0, 46, 29},
        {_zvkReadError, ZVK_OPEN_INPUT, ZVK_STATE_OPTIONAL_ABSENT, 0, ZVK_ACCESS_SEQUENTIAL, ZVK_VERB_OPEN, 0, 10, 29},
        {_zvkWriteError, ZVK_OPEN_IO, 0, 0, ZVK_ACCESS_SEQUENTIAL, 0, 0, 92, 29},
        {_zvkWriteError, ZVK_OPEN_IO, 0, ZVK_ORG_LINE_SEQUENTIAL, ZVK_ACCESS_SEQUENTIAL, 0, 0, 48, 30},
        {_zvkWriteError, ZVK_OPEN_OUTPUT, 0, 0, ZVK_ACCESS_SEQUENTIAL, 0, 0, 30, 5},
        {_zvkWriteError, ZVK_OPEN_INPUT, 0, 0, ZVK_ACCESS_SEQUENTIAL, 0, 0, 48, 30},
        {_zvkRewriteError, ZVK_OPEN_IO, 0, 0, 0, 0, 0, 30, 5},
        {_zvkRewriteError, ZVK_OPEN_OUTPUT, 0, 0, 0, 0, 0, 49, 30},
        {_zvkDeleteError, ZVK_OPEN_INPUT, 0, 0, 0, 0, 0, 49, 30},
        {_zvkStartError, ZVK_OPEN_OUTPUT, 0, 0, 0, 0, 0, 47, 29},
        {_zvkStartError, ZVK_OPEN_INPUT, ZVK_STATE_OPTIONAL_ABSENT, 0, 0, 0, 0, 23, 29},
        {_zvkStartError, ZVK_OPEN_IO, 0, 0, 0, 0, 0, 30, 5},
        {_zvkUnlockError, ZVK_OPEN_IO, 0, 0, 0, 0, 0, 30, 5},
        {_zvkUnlockError, 0, 0, 0, 0, 0, 0, 42, 9},
    };
    uint8_t fields[16];
    void* cell = fields;
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        const Row& r = rows[i];
        FIB fib{};
        fib.organization = r.org;
        fib.access = r.access;
        fib.statusCell = &cell;
        fib.feedbackCell = &cell;
        fib.feedbackOffset = 2;
        fib.feedbackLength = 8;
        FCB fcb{};
        fcb.fib = &fib;
        fcb.modeInForce = r.mode;
        fcb.state = r.state | ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
        if (r.lastVerb == ZVK_VERB_START) fcb.state &= ~ZVK_STATE_POSITIONED;
        if (r.lastVerb == ZVK_VERB_READ) fcb.state &= ~ZVK_STATE_READ_GOOD;
        fcb.lastVerb = r.lastVerb;
        fcb.clauses = r.clauses;
        EXPECT_EQ(r.routine(&fcb, nullptr, 0, 0), r.fs1) << "row " << i;
        EXPECT_EQ(fcb.fs2, r.fs2) << "row " << i;
        EXPECT_EQ(std::string(reinterpret_cast<char*>(fields), 10),
                  std::to_string(r.fs1 / 10) + std::to_string(r.fs1 % 10) + "000000  ")
            << "row " << i;
    }
    // OPEN: WITH LOCK before an open mode, an open mode before the rest.
    FIB fib{};
    FCB fcb{};
    fcb.fib = &fib;
    fcb.closeOptions = ZVK_CLOSE_NO_USE;   // nothing stored, nobody told
    fcb.lastCloseOptions = ZVK_CLOSE_WITH_LOCK;
    fcb.modeInForce = ZVK_OPEN_INPUT;
    EXPECT_EQ(_zvkOpenError(&fcb, nullptr), 38);
    fcb.lastCloseOptions = 0;
    EXPECT_EQ(_zvkOpenError(&fcb, nullptr), 41);
    fcb.modeInForce = 0;
    EXPECT_EQ(_zvkOpenError(&fcb, nullptr), 30);
}

TEST(Feedback, SixDigitsThenTheNameOrThePrefixAndName) {
    FCB fcb{};
    char name[] = "/data/in.txt";
    fcb.fileName = name;
    memcpy(fcb.prefix, "xyz", 3);
    uint8_t area[24];
    fcb.status = 35;
    zvkFormatFeedback(area, sizeof area, 39, &fcb);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(area), sizeof area), "000039,/data/in.txt     ");
    fcb.status = 96;
    zvkFormatFeedback(area, sizeof area, 2, &fcb);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(area), sizeof area), "000002,xyz,/data/in.    ");
    fcb.status = 30;
    zvkFormatFeedback(area, 5, 2, &fcb);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(area), 5), "     ");
}

TEST(Open, PrefixChoosesTheModuleAndSuccessInstallsItsSlots) {
    Result r = files({"assign=stl-data.txt", "open:input", "open:input", "read", "read", "close", "read", "close"},
                     [] {
                         Options o;
                         o.env["STANDIN_READS"] = "1";
                         return o;
                     }());
    EXPECT_TRUE(hasLine(r.out, "module: init code=5 name=data.txt")) << r.out << r.err;
    EXPECT_TRUE(hasLine(r.out, "module: open code=5 prefix=stl name=data.txt mode=8000 count=0 flag=1")) << r.out;
    EXPECT_EQ(fsOf(r.out, "open:input"), "00");
    EXPECT_NE(lineOf(r.out, "open:input").find("open=error"), std::string::npos);
    // The second OPEN, the second CLOSE and the READ after CLOSE are the
    // library's: 41, 42, 47.  The READ at the end: 10.
    const std::vector<std::string> seq = lines(r.out);
    std::vector<std::string> statuses;
    for (const std::string& l : seq)
        if (l.find(" fs=") != std::string::npos) statuses.push_back(l.substr(0, l.find(" fs=") + 6));
    const std::vector<std::string> want = {"open:input fs=00", "open:input fs=41", "read fs=00", "read fs=10",
                                           "close fs=00",      "read fs=47",       "close fs=42"};
    EXPECT_EQ(statuses, want) << r.out;
    EXPECT_EQ(r.err, "");
}

TEST(Open, FailuresLeaveTheGenericOpenForARetry) {
    struct Case {
        std::vector<std::string> args;
        std::map<std::string, std::string> env;
        std::string fs;
        std::string fs2;
    } cases[] = {
        {{"assign=xyz-data", "open:input"}, {}, "96", "2"},       // a prefix no file system has
        {{"assign=data-file.dat", "open:input"}, {}, "96", "2"},  // the hyphen trap
        {{"assign=psx-data", "open:input"}, {}, "96", "2"},       // a module without _IO_Init
        {{"assign=hdk-data", "open:input"}, {}, "96", "2"},       // a short HDK name, no server set
        {{"assign=rsd-data", "open:input"}, {}, "96", "2"},       // no such module at all
        {{"assign=   ", "open:input"}, {}, "95", "2"},
        {{"assign=stl-$HOME/a b", "open:input"}, {{"HOME", "/tmp"}}, "95", "0"},
        {{"assign=stl-x", "open:input"}, {{"STANDIN_INIT", "39/7"}}, "39", "7"},
        {{"assign=stl-x", "open:input"}, {{"STANDIN_OPEN", "35/3"}}, "35", "3"},
        {{"assign=stl-x", "open:input07"}, {}, "07", "0"},
    };
    for (const Case& c : cases) {
        Options o;
        for (const auto& [k, v] : c.env) o.env[k] = v;
        std::vector<std::string> args = c.args;
        Result r = files(args, o);
        const std::string l = lineOf(r.out, c.args.back());
        EXPECT_EQ(fsOf(r.out, c.args.back()), c.fs) << c.args[0] << "\n" << r.out << r.err;
        EXPECT_NE(l.find("fs2=" + c.fs2 + " "), std::string::npos) << c.args[0] << ": " << l;
        if (c.fs > "09") {
            EXPECT_NE(l.find("open=generic"), std::string::npos) << c.args[0] << ": " << l;
        }
    }
    Result r = files({"assign=hdk-data", "open:input"});
    EXPECT_NE(r.err.find("HDK shortname usage requires setting:\n`export TXMN_TK_HDK_SERVER=/.:/txmn/hdk/<server>`\n"),
              std::string::npos);
    // The feedback of 96 names the prefix and the file.
    r = files({"assign=xyz-data", "open:input"});
    EXPECT_NE(lineOf(r.out, "open:input").find("feedback=[000002,xyz,data"), std::string::npos) << r.out;
}

TEST(Open, EnvironmentVariableAndDefaultFileSystems) {
    // The OPEN trace names the file system chosen; lsq is the real module,
    // found beside the library before any stand-in.
    Options o;
    o.env["VFS_DEBUG_OPEN"] = "1";
    o.env["MYFILE"] = "stl-/tmp/x.txt";
    Result r = files({"assign=MYFILE", "env", "open:output", "close"}, o);
    EXPECT_TRUE(hasLine(r.out, "module: open code=5 prefix=stl name=/tmp/x.txt mode=4000 count=0 flag=1")) << r.out;
    // Line sequential files default to lsq; others to "plx", which reads
    // the file: an absent one goes to stl, or to jgt with VFS_NO_FORCE_FS.
    r = files({"assign=/nonexistent/x", "lsq", "open:input"}, o);
    EXPECT_NE(r.err.find("Opening lsq-IN-FILE as '/nonexistent/x'"), std::string::npos) << r.err;
    r = files({"assign=/nonexistent/x", "open:input"});
    EXPECT_TRUE(hasLine(r.out, "module: init code=5 name=/nonexistent/x")) << r.out;
    o.env["VFS_NO_FORCE_FS"] = "1";
    r = files({"assign=/nonexistent/x", "open:input"}, o);
    EXPECT_TRUE(hasLine(r.out, "module: open code=1 prefix=jgt name=/nonexistent/x mode=8000 count=0 flag=1"))
        << r.out;
}

TEST(Optional, AbsentFileReadsAtEndThenFailsThenClosesClean) {
    Options o;
    o.env["STANDIN_ABSENT"] = "1";
    Result r = files({"assign=stl-x", "optional", "open:input", "read", "read", "close"}, o);
    EXPECT_EQ(fsOf(r.out, "open:input"), "05") << r.out << r.err;
    std::vector<std::string> got;
    for (const std::string& l : lines(r.out))
        if (l.rfind("read fs=", 0) == 0 || l.rfind("close fs=", 0) == 0) got.push_back(l.substr(0, 10));
    EXPECT_EQ(got, (std::vector<std::string>{"read fs=10", "read fs=46", "close fs=0"})) << r.out;
}

TEST(StatusField, AsciiNationalAndEbcdicForms) {
    Result r = files({"read"});
    EXPECT_NE(lineOf(r.out, "read").find("field=3437"), std::string::npos) << r.out;
    r = files({"ebcdic", "read"});
    EXPECT_NE(lineOf(r.out, "read").find("field=f4f7"), std::string::npos) << r.out;
    r = files({"national", "read"});
    EXPECT_NE(lineOf(r.out, "read").find("field=34003700"), std::string::npos) << r.out;
}

TEST(UseProcedure, NoFieldNoUseAndThirtyOrAboveEndsTheProgramWithMessage200) {
    Result r = files({"nostatus", "read"});
    EXPECT_NE(r.err.find("ZVK200S  I/O error on READ of file IN-FILE, status 47."), std::string::npos) << r.err;
    EXPECT_NE(r.exitCode, 0);
    // A missing module: 200 with the text of variant 51.
    r = files({"nostatus", "assign=rsd-x", "open:input"});
    EXPECT_NE(r.err.find("ZVK200S  I/O error on OPEN of file IN-FILE, status 96. No file system could take the file"),
              std::string::npos)
        << r.err;
    // Below 30, or AT END in the statement: silent.
    r = files({"nostatus", "assign=stl-x", "open:input", "read:atend", "read"});
    EXPECT_EQ(r.err, "") << r.out;
    EXPECT_EQ(r.exitCode, 0);
}

TEST(External, OneRecordForAlikeDeclarationsMessage75OtherwiseListingTheDifferences) {
    Result r = files({"assign=stl-x", "external", "open:input", "second", "close"});
    EXPECT_TRUE(hasLine(r.out, "second shares=1")) << r.out << r.err;
    EXPECT_EQ(fsOf(r.out, "close"), "00");
    r = files({"assign=stl-x", "external", "second=differ"});
    EXPECT_NE(r.err.find("ZVK075S  The attributes of EXTERNAL file IN-FILE in program SECOND differ from its first "
                         "definition: ORGANIZATION, MAXIMUM RECORD LENGTH."),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(hasLine(r.out, "second shares=1"));
}

TEST(Lifecycle, RetryAfterFailureAndFilesLeftOpenAreClosedAtTheEndOfTheRunUnit) {
    Options o;
    o.env["STANDIN_FAILS"] = "1";
    o.env["VFS_DEBUG_OPEN"] = "1";
    Result r = files({"assign=stl-x", "open:output", "open:output"}, o);
    std::vector<std::string> opens;
    for (const std::string& l : lines(r.out))
        if (l.rfind("open:output fs=", 0) == 0) opens.push_back(l.substr(0, 17));
    EXPECT_EQ(opens, (std::vector<std::string>{"open:output fs=35", "open:output fs=00"})) << r.out;
    // STOP RUN with the file open: the module's close, with no USE.
    EXPECT_TRUE(hasLine(r.out, "module: close options=1")) << r.out;
    EXPECT_NE(r.err.find("Opening stl-IN-FILE as 'x'   FS1=00 FS2=0\n"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Closing stl-IN-FILE as 'x'   FS1=00 FS2=0\n"), std::string::npos) << r.err;
}

TEST(Lifecycle, CancelClosesWithUseProceduresAndLeavesExternalFilesOpen) {
    Result r = files({"assign=stl-x", "open:input", "reset"});
    EXPECT_TRUE(hasLine(r.out, "module: close options=0")) << r.out;
    EXPECT_FALSE(hasLine(r.out, "module: close options=1")) << r.out;   // nothing left for the run unit's end
    r = files({"assign=stl-x", "external", "open:input", "reset"});
    EXPECT_FALSE(hasLine(r.out, "module: close options=0")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "module: close options=1")) << r.out;    // closed at the run unit's end
}

TEST(Lifecycle, AClosedFileIsNamedByItsAssignmentsLength) {
    Options o;
    o.env["VFS_DEBUG_OPEN"] = "1";
    o.env["VFS_DEBUG_ERROR"] = "1";
    Result r = files({"assign=stl-x", "unterminated", "open:input", "close", "close", "read"}, o);
    EXPECT_NE(r.err.find("Closing stl-IN-FILE as 'stl-x'   FS1=42 FS2=9\n"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("file=stl-x\n"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('#'), std::string::npos) << r.err;
}

TEST(Open, TheFileItselfChoosesItsFileSystem) {
    TempDir tmp;
    const std::string dir = tmp.path;
    auto write = [&](const char* name, const std::string& bytes) {
        const std::string path = tmp.file(name);
        FILE* f = fopen(path.c_str(), "w");
        fwrite(bytes.data(), 1, bytes.size(), f);
        fclose(f);
        return path;
    };
    const std::string stl = write("own", std::string("01234567STL") + std::string(17, '\0'));
    const std::string psx = write("psx", std::string(24, 'x') + std::string("vfs\0", 4));
    const std::string other = write("other", "plain text, no header of ours\n");
    const std::string empty = write("empty", "");
    Result r = files({"assign=" + stl, "open:input"});
    EXPECT_TRUE(hasLine(r.out, "module: init code=5 name=" + stl)) << r.out;
    r = files({"assign=" + other, "open:input"});
    EXPECT_TRUE(hasLine(r.out, "module: init code=1 name=" + other)) << r.out;
    r = files({"assign=" + empty, "open:input"});
    EXPECT_TRUE(hasLine(r.out, "module: init code=5 name=" + empty)) << r.out;
    r = files({"assign=" + psx, "open:input"});   // psx's module has no _IO_Init
    EXPECT_EQ(fsOf(r.out, "open:input"), "96") << r.out;
    r = files({"assign=" + dir, "open:input"});   // a directory cannot be read
    EXPECT_EQ(fsOf(r.out, "open:input"), "93") << r.out;
}

namespace {
struct UseCall {
    void* arg = nullptr;
    uint32_t mode = 0;
    int calls = 0;
} useCall;
void useRoutine(void* a, void* b, void* arg, uint32_t mode) {
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(b, nullptr);
    useCall.arg = arg, useCall.mode = mode, ++useCall.calls;
}
}  // namespace

TEST(UseProcedure, ChosenByTheModeAndSparedByAtEndAndInvalidKey) {
    int inputArg = 1, anyArg = 2;
    const ZvkUseProcedure forInput{useRoutine, &inputArg}, forAny{useRoutine, &anyArg};
    const ZvkUseTable table{&forInput, nullptr, nullptr, nullptr, &forAny};
    uint8_t status[2];
    void* cell = status;
    FIB fib{};
    fib.statusCell = &cell;   // the program sees its statuses: never message 200
    FCB fcb{};
    fcb.fib = &fib;
    fcb.useTable = &table;
    struct Case {
        uint8_t verb;
        uint16_t openMode, modeInForce, status;
        uint8_t clauses;
        void* arg;   // null: no call
        uint32_t mode;
    } cases[] = {
        {ZVK_VERB_OPEN, ZVK_OPEN_INPUT, 0, 35, 0, &inputArg, ZVK_OPEN_INPUT},    // OPEN: the requested mode
        {ZVK_VERB_READ, 0, ZVK_OPEN_INPUT, 30, 0, &inputArg, ZVK_OPEN_INPUT},    // others: the mode in force
        {ZVK_VERB_WRITE, 0, ZVK_OPEN_OUTPUT, 30, 0, nullptr, 0},                 // no OUTPUT entry: none
        {ZVK_VERB_CLOSE, 0, 0, 42, 0, &anyArg, 0},                              // no mode: the fifth
        {ZVK_VERB_READ, 0, ZVK_OPEN_INPUT, 10, ZVK_CLAUSE_AT_END, nullptr, 0},
        {ZVK_VERB_READ, 0, ZVK_OPEN_INPUT, 10, ZVK_CLAUSE_INVALID_KEY, &inputArg, ZVK_OPEN_INPUT},
        {ZVK_VERB_READ, 0, ZVK_OPEN_IO, 23, ZVK_CLAUSE_INVALID_KEY, nullptr, 0},
        {ZVK_VERB_READ, 0, ZVK_OPEN_INPUT, 25, ZVK_CLAUSE_INVALID_KEY, &inputArg, ZVK_OPEN_INPUT},
    };
    for (const Case& c : cases) {
        useCall = {};
        fcb.verb = c.verb, fcb.openMode = c.openMode, fcb.modeInForce = c.modeInForce;
        fcb.status = c.status, fcb.clauses = c.clauses;
        _zvkCallUseProc(&fcb, 0, nullptr);
        EXPECT_EQ(useCall.calls, c.arg ? 1 : 0) << int(c.verb) << " " << c.status;
        EXPECT_EQ(useCall.arg, c.arg);
        EXPECT_EQ(useCall.mode, c.mode);
    }
    // CLOSE of an absent OPTIONAL file is a clean close.
    fcb = FCB{};
    fcb.fib = &fib;
    fcb.state = ZVK_STATE_OPTIONAL_ABSENT;
    fcb.modeInForce = ZVK_OPEN_INPUT;
    EXPECT_EQ(_zvkCloseError(&fcb, nullptr), 0);
    EXPECT_EQ(fcb.state & ZVK_STATE_OPTIONAL_ABSENT, 0u);
    EXPECT_EQ(fcb.modeInForce, 0);
    EXPECT_EQ(fcb.open, _zvkGenericOpen);
}

TEST(Concatenation, VolumesInTurnThenAtEndAndTheStatusesOfBadLists) {
    Options o;
    o.env["STANDIN_READS"] = "1";
    Result r = files({"assign=stl-a:b::c:", "open:input", "read", "read", "read", "read", "close"}, o);
    std::vector<std::string> volumes, reads;
    for (const std::string& l : lines(r.out)) {
        if (l.rfind("module: open ", 0) == 0) volumes.push_back(l.substr(l.find("name="), 6));
        if (l.rfind("read fs=", 0) == 0) reads.push_back(l.substr(0, 10));
    }
    EXPECT_EQ(volumes, (std::vector<std::string>{"name=a", "name=b", "name=c"})) << r.out << r.err;
    EXPECT_EQ(reads, (std::vector<std::string>{"read fs=00", "read fs=00", "read fs=00", "read fs=10"})) << r.out;
    EXPECT_EQ(fsOf(r.out, "close"), "00");

    // An absent OPTIONAL volume is passed over.
    o.env["STANDIN_ABSENT_NAME"] = "b";
    r = files({"assign=stl-a:b:c", "optional", "open:input", "read", "read", "read"}, o);
    volumes.clear(), reads.clear();
    for (const std::string& l : lines(r.out)) {
        if (l.rfind("module: open ", 0) == 0) volumes.push_back(l.substr(l.find("name="), 6));
        if (l.rfind("read fs=", 0) == 0) reads.push_back(l.substr(0, 10));
    }
    EXPECT_EQ(volumes, (std::vector<std::string>{"name=a", "name=b", "name=c"})) << r.out << r.err;
    EXPECT_EQ(reads, (std::vector<std::string>{"read fs=00", "read fs=00", "read fs=10"})) << r.out;
    o.env.erase("STANDIN_ABSENT_NAME");

    // OUTPUT to a list: 37.  A later volume of another file system: 33/39.
    // 257 names: 33/34.
    r = files({"assign=stl-a:b", "open:output"});
    EXPECT_EQ(fsOf(r.out, "open:output"), "37") << r.out;
    r = files({"assign=stl-a:lsq-b", "open:input", "read", "read"}, o);
    EXPECT_NE(r.out.find("read fs=33 ret=33 fs2=39"), std::string::npos) << r.out;
    std::string many = "stl-x";
    for (int i = 1; i < 257; ++i) many += ":x" + std::to_string(i);
    r = files({"assign=" + many, "open:input"});
    EXPECT_NE(lineOf(r.out, "open:input").find("fs=33 ret=33 fs2=34"), std::string::npos) << r.out;
}
