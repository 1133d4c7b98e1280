// SORT and MERGE at run time, each scenario a process of its own (the
// engine, once loaded, and the temporary directory are the process's), with
// a stand-in engine beside the library that records every argument.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "model.h"
#include "scenario.h"

namespace {

namespace fs = std::filesystem;
using Env = std::map<std::string, std::optional<std::string>>;

struct SortRun {
    scenario::Result result;
    std::map<std::string, std::string> out;       // key=value lines of the program
    std::vector<std::map<std::string, std::string>> calls;   // the engine's calls
    std::vector<std::string> left;                // files left in the work directory
    std::string work;                             // TMPDIR, unless the test sets its own
    std::string spill(const char* prefix) const {
        char t[64];
        snprintf(t, sizeof t, "%s%010u.%010u", prefix, static_cast<unsigned>(std::stoul(out.at("pid"))),
                 static_cast<unsigned>(std::stoul(out.at("tid"))));
        return work + "/" + t;
    }
};

// "in=path:x,file:y,..." becomes in.path=x, in.file=y, ...
std::map<std::string, std::string> parseCall(const std::string& line) {
    std::map<std::string, std::string> m;
    std::istringstream words(line);
    std::string w;
    while (words >> w) {
        const size_t eq = w.find('=');
        const std::string key = w.substr(0, eq), value = w.substr(eq + 1);
        if (value.find(':') == std::string::npos || key == "fifth") {
            m[key] = value;
            continue;
        }
        std::istringstream parts(value);
        std::string part;
        while (std::getline(parts, part, ',')) {
            const size_t colon = part.find(':');
            m[key + "." + part.substr(0, colon)] = part.substr(colon + 1);
        }
    }
    return m;
}

// A scenario that should end normally (no sanitizer report, no abort).
SortRun runSort(const std::string& engine, std::vector<std::string> args, Env env = {}, bool endsNormally = true) {
    SortRun run;
    std::string pattern = scenario::binDir() + "/sortwork.XXXXXX";
    run.work = mkdtemp(pattern.data());
    const std::string record = run.work + "/engine.calls";
    scenario::Options o;
    o.env = {{"LD_LIBRARY_PATH", engine[0] == '/' ? engine : std::string(SORT_ENGINES_DIR) + "/" + engine},
             {"TMPDIR", run.work},
             {"SORT_RECORD", record}};
    for (auto& [k, v] : env) o.env[k] = v && v->rfind("@work", 0) == 0 ? run.work + v->substr(5) : v;
    args.insert(args.begin(), "cwd=" + run.work);
    run.result = scenario::run(scenario::binPath("sort_scenarios"), args, o);
    if (endsNormally) {
        EXPECT_EQ(run.result.exitCode, 0) << run.result.err;
    }
    run.out = scenario::values(run.result.out);
    std::ifstream calls(record);
    for (std::string line; std::getline(calls, line);) run.calls.push_back(parseCall(line));
    for (auto& e : fs::directory_iterator(run.work))
        if (e.path().filename() != "engine.calls") run.left.push_back(e.path().filename());
    fs::remove_all(run.work);
    return run;
}

std::string digestOf(const std::vector<uint32_t>& lengths, bool descending = false, bool reversed = false) {
    sortmodel::Digest d;
    std::vector<uint8_t> data(300000);
    for (size_t k = 0; k < lengths.size(); ++k) {
        const uint32_t i = static_cast<uint32_t>(reversed ? lengths.size() - 1 - k : k);
        sortmodel::fill(i, descending, data.data(), lengths[i]);
        d.add(data.data(), lengths[i]);
    }
    return d.text();
}

const char* const kEmptyGivingRecord = "in.path=null in.file=none in.bytes=0 in.mem=(nil) in.count=0";

// ---- the engine's calls, row by row ----

TEST(SortCallMatrix, FilesOnBothSidesGoToTheEngineAsTheyStand) {
    for (const char* op : {"1", "2"}) {
        SortRun r = runSort("recorder", {"using=2", "giving=1", "flags=7", std::string("op:") + op});
        ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
        EXPECT_EQ(scenario::mismatches(r.calls[0], std::string("engine=recorder op=") + op +
                                              " fmt=1 len=80 fourth=f0f0 fifth=[OPTIONS] eighth=1111,2222,3333"
                                              " in.path=null in.bytes=0 in.mem=(nil) in.count=2 in.files=" +
                                              r.out["using"] + " out.path=null out.bytes=0 out.mem=(nil) out.count=1" +
                                              " out.files=" + r.out["giving"] + " ctl.flags=7 ctl.tmp=" + r.work +
                                              " ctl.errnoOut=set ctl.errnoValue=0 ctl.program=" + r.out["program"]),
                  "");
        EXPECT_EQ(r.out["op" + std::string(op)], "0");
        EXPECT_EQ(r.out["fifth.after"], "[OPTIONS]");   // cut in place
    }
}

TEST(SortCallMatrix, UsingFilesFeedAnOutputProcedureThroughTheOutputSpillFile) {
    // 100-byte records: the 2,622nd lies across the first chunk's end.
    SortRun r = runSort("recorder", {"len=100", "using=1", "op:1", "return"}, {{"SORT_ENGINE_GEN", "3000"}});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(scenario::mismatches(r.calls[0], "op=1 in.path=null in.count=1 in.files=" + r.out["using"] + " out.path=" +
                                          r.spill("sortwko.") + " out.file=missing out.bytes=0 out.mem=(nil)" +
                                          " out.count=0 out.files=" + r.out["giving"]),
              "");
    EXPECT_EQ(r.out["returned"], digestOf(std::vector<uint32_t>(3000, 100)));
    EXPECT_TRUE(r.left.empty());   // the output spill file goes at the end of the data

    // Variable records of all lengths the same way.
    r = runSort("recorder", {"fmt=2", "len=700", "using=1", "op:1", "return"}, {{"SORT_ENGINE_GEN", "2000"}});
    std::vector<uint32_t> lengths;
    for (uint32_t i = 0; i < 2000; ++i) lengths.push_back(sortmodel::generatedLength(i, 700));
    EXPECT_EQ(r.out["returned"], digestOf(lengths));
}

TEST(SortCallMatrix, AnInputProcedureCallsNoEngineUntilItEnds) {
    SortRun r = runSort("recorder", {"op:1", "release:10"});
    EXPECT_TRUE(r.calls.empty());
    EXPECT_EQ(r.out["op1"], "0");
    EXPECT_EQ(r.out["release.refused"], "0");
}

TEST(SortCallMatrix, ReleasedRecordsGoToGivingFilesFromBufferAndInputSpillFile) {
    SortRun r = runSort("recorder", {"giving=1", "op:1", "release:10", "op:3"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(scenario::mismatches(r.calls[0], "op=1 in.path=null in.bytes=800 in.count=0 in.files=" + r.out["using"] +
                                          " out.path=null out.bytes=0 out.mem=(nil) out.count=1 out.files=" +
                                          r.out["giving"] + " ctl.program=" + r.out["program"]),
              "");
    EXPECT_NE(r.calls[0]["in.mem"], "(nil)");
    EXPECT_EQ(std::stoull(r.calls[0]["in.mem"], nullptr, 16) % 16, 0u);

    // 2,621 records of 100 bytes fill the buffer to 262,100; the next spills them.
    r = runSort("recorder", {"len=100", "giving=1", "op:1", "release:3000", "op:3"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(scenario::mismatches(r.calls[0], "op=1 in.path=" + r.spill("sortwki.") +
                                          " in.file=262100 in.bytes=37900 in.count=0 out.path=null out.count=1"),
              "");
    EXPECT_TRUE(r.left.empty());   // the input spill file is removed after the engine
    EXPECT_EQ(r.out["op3"], "0");
}

TEST(SortCallMatrix, WithoutGivingTheBufferIsSortedInPlaceAndReturned) {
    SortRun r = runSort("recorder", {"order=desc", "op:1", "release:10", "op:3", "return"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    auto& c = r.calls[0];
    EXPECT_EQ(scenario::mismatches(c, "op=1 in.path=null in.bytes=800 in.count=0 out.path=null out.bytes=800 out.count=0"
                             " out.files=" + r.out["giving"]),
              "");
    EXPECT_EQ(c["in.mem"], c["out.mem"]);
    EXPECT_EQ(r.out["returned"], digestOf(std::vector<uint32_t>(10, 80), true, true));
}

TEST(SortCallMatrix, WithoutGivingSpilledRecordsComeBackThroughTheOutputSpillFile) {
    SortRun r = runSort("recorder", {"len=100", "op:1", "release:3000", "op:3", "return"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(scenario::mismatches(r.calls[0], "op=1 in.path=" + r.spill("sortwki.") + " in.file=262100 in.bytes=37900" +
                                          " in.count=0 out.path=" + r.spill("sortwko.") +
                                          " out.bytes=0 out.mem=(nil) out.count=0"),
              "");
    // Chunks of 262,144 bytes: each cut record is read again whole.
    EXPECT_EQ(r.out["returned"], digestOf(std::vector<uint32_t>(3000, 100)));
    EXPECT_TRUE(r.left.empty());
}

TEST(SortCallMatrix, NothingReleasedMakesEmptyGivingFilesWithoutTheEngine) {
    SortRun r = runSort("recorder", {"giving=2", "op:1", "op:3"});
    EXPECT_TRUE(r.calls.empty());
    EXPECT_EQ(r.out["op3"], "0");
    // Each GIVING file is opened for output and closed, with the element of
    // the program that sorts (the nested one, second in the IPCB array).
    const std::string element = r.out["element"];
    for (const char* fcb : {"2", "3"}) {
        EXPECT_TRUE(scenario::hasLine(r.result.out, std::string("open fcb=") + fcb + " mode=4000 element=" + element))
            << r.result.out;
        EXPECT_TRUE(scenario::hasLine(r.result.out, std::string("close fcb=") + fcb + " element=" + element));
    }

    r = runSort("recorder", {"op:1", "op:3", "return1"});   // an OUTPUT PROCEDURE instead
    EXPECT_TRUE(r.calls.empty());
    EXPECT_EQ(r.out["op3"], "0");
    EXPECT_EQ(r.out["ret.status"], "1");
}

// ---- the buffer and the spill files ----

TEST(SortSpill, ARecordThatExactlyFillsTheBufferDoesNotSpill) {
    SortRun r = runSort("recorder", {"len=256", "op:1", "release:1024", "op:3"});
    ASSERT_EQ(r.calls.size(), 1u);
    EXPECT_EQ(scenario::mismatches(r.calls[0], "in.path=null in.bytes=262144"), "");
    r = runSort("recorder", {"len=256", "op:1", "release:1025", "op:3"});
    ASSERT_EQ(r.calls.size(), 1u);
    EXPECT_EQ(scenario::mismatches(r.calls[0], "in.path=" + r.spill("sortwki.") + " in.file=262144 in.bytes=256"), "");
}

TEST(SortSpill, VariableRecordsComeBackWholeWhateverTheChunkCuts) {
    // The first chunk ends `gap` bytes after a record: a length word cut
    // (gap 1 to 4), no room for a word (0), or a record cut after its word.
    for (int gap : {0, 3, 4, 5, 8}) {
        const std::string list = "996*261,596," + std::to_string(537 + 3 - gap) + ",100*10,37*5";
        SortRun r = runSort("recorder", {"fmt=2", "len=1000", "op:1", "releasev:" + list, "op:3", "return"});
        EXPECT_EQ(r.out["returned"], digestOf(sortmodel::lengths(list))) << "gap " << gap << r.result.err;
        EXPECT_EQ(r.out["release.refused"], "0");
        EXPECT_TRUE(r.left.empty());
    }
}

TEST(SortSpill, StaleSpillFilesOfThisProcessAndThreadDoNotJoinTheSort) {
    SortRun r = runSort("recorder", {"len=100", "stale", "op:1", "release:3000", "op:3", "return"});
    ASSERT_EQ(r.calls.size(), 1u);
    EXPECT_EQ(scenario::mismatches(r.calls[0], "in.file=262100 out.file=missing"), "");
    EXPECT_EQ(r.out["returned"], digestOf(std::vector<uint32_t>(3000, 100)));
}

TEST(SortSpill, TemporaryDirectoryFallsBackToTheCurrentOne) {
    for (const std::optional<std::string>& tmpdir :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("/nonexistent/x")}) {
        SortRun r = runSort("recorder", {"using=1", "op:1", "return"}, {{"TMPDIR", tmpdir}, {"SORT_ENGINE_GEN", "3"}});
        ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
        char name[64];
        snprintf(name, sizeof name, "./sortwko.%010u.%010u", static_cast<unsigned>(std::stoul(r.out["pid"])),
                 static_cast<unsigned>(std::stoul(r.out["tid"])));
        EXPECT_EQ(scenario::mismatches(r.calls[0], std::string("ctl.tmp=. out.path=") + name), "");
        EXPECT_EQ(r.out["returned"], digestOf(std::vector<uint32_t>(3, 80)));
    }
    // A directory given with its final "/" gets no second one.
    SortRun r = runSort("recorder", {"using=1", "op:1"}, {{"TMPDIR", "@work/"}});
    ASSERT_EQ(r.calls.size(), 1u);
    EXPECT_EQ(scenario::mismatches(r.calls[0], "ctl.tmp=" + r.work + "/ out.path=" + r.spill("sortwko.")), "");
}

// ---- what the library guards against ----

TEST(SortGuards, RecordsLongerThanTheRecordOrTheBufferAreRefused) {
    SortRun r = runSort("recorder", {"op:1", "release:1:81", "fmt=2", "release:1:81", "release:1:80"});
    EXPECT_EQ(r.out["release.refused"], "0");   // the last: a variable record of the maximum length
    int refused = 0;
    for (auto& l : scenario::lines(r.result.out)) refused += l == "release.refused=1";
    EXPECT_EQ(refused, 2);
    r = runSort("recorder", {"len=300000", "op:1", "release:1:10"});
    EXPECT_EQ(r.out["release.refused"], "1");
}

TEST(SortGuards, ShortRecordsArePaddedAndKeepTheirPlace) {
    SortRun r = runSort("recorder", {"len=20", "op:1", "release:1:12", "op:3", "return1"});
    EXPECT_EQ(r.out["ret.text"], "0000000000aa        ");   // format 1: blanks
    r = runSort("recorder", {"fmt=3", "len=20", "op:1", "release:1:12", "release:1", "op:3", "return1", "return1"});
    EXPECT_EQ(r.out["ret.text"], "0000000001bbbbbbbbbb");   // the second record, whole
    EXPECT_TRUE(scenario::hasLine(r.result.out, "ret.text=0000000000aa~~~~~~~~"));   // zeros
}

TEST(SortGuards, ALengthWordOutsideTheRecordEndsTheData) {
    SortRun r = runSort("recorder", {"fmt=2", "len=100", "using=1", "op:1", "return"},
                    {{"SORT_ENGINE_GEN", "3000"}, {"SORT_ENGINE_BADWORD", "2"}});
    EXPECT_EQ(r.out["returned"].substr(0, 2), "2/");
    EXPECT_TRUE(r.left.empty());
}

TEST(SortGuards, AThreadEndingInsideASortGivesItsBufferBack) {
    SortRun r = runSort("recorder", {"thread"});
    EXPECT_EQ(r.out["mmapped.delta"], "0");
}

TEST(SortGuards, TwoThreadsSpillAndReturnEachTheirOwnRecords) {
    SortRun r = runSort("recorder", {"threads"});
    EXPECT_EQ(r.out["threads.ok"], "11") << r.result.err;
    EXPECT_TRUE(r.left.empty());
}

// ---- results, messages and the engine's loading ----

TEST(SortResults, AFailureSetsSortReturnAndErrnoAndMessage26UnlessSilenced) {
    const Env failing = {{"SORT_ENGINE_RC", "16"}, {"SORT_ENGINE_ERRNO", "5"}};
    SortRun r = runSort("recorder", {"using=1", "giving=1", "line=321", "op:1", "errno"}, failing);
    EXPECT_EQ(r.out["op1"], "16");
    EXPECT_EQ(r.out["errno"], "5/5/5/5");
    EXPECT_NE(r.result.err.find("ZVK026W"), std::string::npos) << r.result.err;
    EXPECT_NE(r.result.err.find("SORTNESTEDPGM at line 321 with error code 5"), std::string::npos);

    r = runSort("recorder", {"using=1", "giving=1", "msgoff=1", "op:1", "errno"}, failing);
    EXPECT_EQ(r.out["op1"], "16");
    EXPECT_EQ(r.out["errno"], "5/5/5/5");
    EXPECT_EQ(r.result.err.find("ZVK026"), std::string::npos);
}

TEST(SortResults, Op4FailsAndAnyOtherOpSucceedsWithoutTheEngine) {
    SortRun r = runSort("recorder", {"line=9", "op:4", "using=1", "giving=1", "op:1", "errno", "op:7", "errno"},
                    {{"SORT_ENGINE_ERRNO", "5"}});
    EXPECT_TRUE(scenario::hasLine(r.result.out, "op4=16"));
    EXPECT_NE(r.result.err.find("SORTNESTEDPGM at line 9 with error code 0"), std::string::npos) << r.result.err;
    EXPECT_TRUE(scenario::hasLine(r.result.out, "errno=5/5/5/5"));
    EXPECT_EQ(r.out["op7"], "0");
    EXPECT_EQ(r.out["errno"], "0/0/0/0");
    EXPECT_EQ(r.calls.size(), 1u);
}

TEST(SortResults, ASortStartedInsideARunningOneIsReportedAndRuns) {
    SortRun r = runSort("reentrant", {"using=1", "giving=1", "op:1"});
    EXPECT_NE(r.result.err.find("ZVK013W"), std::string::npos) << r.result.err;
    EXPECT_NE(r.result.err.find("nested SORT-RETURN 0"), std::string::npos);
    EXPECT_EQ(r.calls.size(), 2u);
    EXPECT_EQ(r.out["op1"], "0");
}

TEST(SortResults, TheRuntimesEndInsideASortAbandonsItAndSaysSo) {
    SortRun r = runSort("reentrant", {"using=1", "giving=1", "op:1"}, {{"SORT_ENGINE_ABEND", "1"}}, false);
    EXPECT_EQ(r.result.signal, SIGABRT);
    EXPECT_NE(r.result.err.find("ZVK012W"), std::string::npos) << r.result.err;
    ASSERT_EQ(r.calls.size(), 2u);
    EXPECT_EQ(scenario::mismatches(r.calls[1], std::string("op=11 fmt=0 len=0 fourth=0 fifth=[(null)] eighth=0,0,0 ") +
                                          kEmptyGivingRecord +
                                          " in.files=(nil) out.path=null out.count=0 out.files=(nil) ctl.flags=0"
                                          " ctl.tmp=null ctl.errnoOut=null ctl.program=(nil)"),
              "");
}

TEST(SortResults, TheEngineIsLoadedAgainAfterARestartOfTheRuntime) {
    SortRun r = runSort("recorder", {"using=1", "giving=1", "op:1", "restart", "op:1"});
    ASSERT_EQ(r.calls.size(), 2u) << r.result.err;
    EXPECT_EQ(r.calls[1]["ctl.tmp"], r.work);   // chosen again
    EXPECT_EQ(r.out["restart"], "0");
    EXPECT_EQ(r.out["op1"], "0");
}

TEST(SortLoad, AnUnversionedEngineIsFoundByItsPlainName) {
    SortRun r = runSort("plain", {"using=1", "giving=1", "op:1"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(r.calls[0]["engine"], "plain");
}

TEST(SortLoad, TheEntryOfTheSortVersionComesBeforeTheDefaultOne) {
    SortRun r = runSort("twoversions", {"using=1", "giving=1", "op:1"});
    ASSERT_EQ(r.calls.size(), 1u) << r.result.err;
    EXPECT_EQ(r.calls[0]["engine"], "versioned");
}

TEST(SortLoad, WithoutAnEngineTheStatementsHaveNoEffect) {
    SortRun r = runSort("none", {"op:1", "release:1", "op:3", "return1"});
    EXPECT_NE(r.result.err.find("dlopen(libvortlite_64r.so) error "), std::string::npos) << r.result.err;
    EXPECT_NE(r.result.err.find("dlopen fail: "), std::string::npos);
    EXPECT_EQ(r.out["op1"], "77");   // SORT-RETURN as it was
    EXPECT_EQ(r.out["op3"], "77");
    EXPECT_EQ(r.out["release.refused"], "1");
    EXPECT_EQ(r.out["ret.status"], "1");
    EXPECT_EQ(r.out["ret.len"], "65535");

    // A failed load after a sort of the thread: RELEASE and RETURN do not
    // take the last sort's records for this one's.
    std::string pattern = scenario::binDir() + "/sortengine.XXXXXX";
    const std::string dir = mkdtemp(pattern.data());
    for (const char* lib : {"libkvr2_64r.so", "libvortlite_64r.so"})
        fs::copy_file(std::string(SORT_ENGINES_DIR) + "/recorder/" + lib, dir + "/" + lib);
    r = runSort(dir, {"op:1", "release:5", "op:3", "op:11", "rm:" + dir + "/libvortlite_64r.so", "op:1", "release:1",
                      "return1"});
    fs::remove_all(dir);
    EXPECT_EQ(r.calls.size(), 1u);
    EXPECT_TRUE(scenario::hasLine(r.result.out, "op3=0"));
    EXPECT_NE(r.result.err.find("dlopen fail: "), std::string::npos) << r.result.err;
    EXPECT_EQ(r.out["release.refused"], "1");
    EXPECT_EQ(r.out["ret.status"], "1");

    r = runSort("noentry", {"using=1", "giving=1", "op:1"});
    EXPECT_NE(r.result.err.find("dlsym fail: "), std::string::npos) << r.result.err;
    EXPECT_EQ(r.out["op1"], "77");
}

}  // namespace
