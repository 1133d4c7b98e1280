// Generation names, the wraps the model (gdg_model.py) does not reach,
// roll-off, the catalogue's bounds and the file servers' commands, through
// GDS_Name as the file subsystem calls it.

#include "gdg_fixture.h"

#include <sys/wait.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace {

using gdgtest::Catalogue;
using gdgtest::word;

class Gdg : public gdgtest::TempDirTest {};

TEST_F(Gdg, RelativeAbsoluteAndDirectNamesResolveToTheirFiles) {
    std::string grp = path("grp");
    ASSERT_EQ(GDG_Create(grp.c_str(), 10, 0, -1, nullptr), 0);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(addGeneration(grp), generation(grp, i));
    std::string file;
    EXPECT_EQ(resolve(grp + "(0)", &file), 1);
    EXPECT_EQ(file, grp + ".g0003v00");
    EXPECT_EQ(resolve(grp + "(-2)", &file), 1);
    EXPECT_EQ(file, generation(grp, 1));
    EXPECT_EQ(resolve(grp + "(2)", &file), 1) << "an unsigned number counts back like -n";
    EXPECT_EQ(file, generation(grp, 1));
    EXPECT_EQ(resolve(grp + "(-3)"), 0) << "-n needs more than n entries";
    EXPECT_EQ(resolve(grp + "(+1)"), 0) << "a new generation needs create";
    EXPECT_EQ(resolve(grp + "(10000)"), 0);
    EXPECT_EQ(resolve(grp, &file), -1);
    EXPECT_EQ(file, grp);
    EXPECT_EQ(resolve(grp + "(*)"), -1);

    // The direct form names generation 7 itself; once its file exists it
    // joins the catalogue.  v01 is no generation suffix.
    touch(generation(grp, 7));
    EXPECT_EQ(resolve(grp + ".g0007v00", &file), 1);
    EXPECT_EQ(file, grp + ".g0007v00");
    EXPECT_EQ(entriesOf(grp), (std::vector<uint32_t>{1, 2, 3, 7}));
    touch(grp + ".g0007v01");
    EXPECT_EQ(resolve(grp + ".g0007v01"), 0);
    EXPECT_EQ(resolve(path("nogroup") + "(0)"), 0);
}

TEST_F(Gdg, NewestOfAnEmptyGroupIsOutOfRange) {
    std::string grp = path("grp");
    ASSERT_EQ(GDG_Create(grp.c_str(), 0, 0, -1, nullptr), 0);
    EXPECT_EQ(word(readBytes(grp), 12), 255u) << "limit 0 counts as 255";
    GdgContext* ctx = GDG_context();
    testing::internal::CaptureStderr();
    EXPECT_EQ(GDG_stat(ctx, (grp + "(0)").c_str(), 1), 1);
    GDG_close(ctx);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Relative access exceeds the entries allocated for GDG " + grp + "\n");
    EXPECT_EQ(ctx->generation, -1);
    EXPECT_EQ(resolve(grp + "(0)"), 0);
}

TEST_F(Gdg, TheAddJustBeforeTheWrapKeepsTheEpochAndPlusTwoWrapsPastIt) {
    std::string grp = path("grp");
    writeCatalogue(grp, {.limit = 10, .newest = 9998, .entries = {9998}});
    touch(generation(grp, 9998));
    EXPECT_EQ(addGeneration(grp), generation(grp, 9999));
    EXPECT_EQ(entriesOf(grp), (std::vector<uint32_t>{9998, 9999}));
    char* file = nullptr;
    ASSERT_EQ(GDS_Name((grp + "(+2)").c_str(), &file, 1, nullptr), 1);
    EXPECT_EQ(std::string(file), generation(grp, 2)) << "9999 + 2 is 10001, less 9999";
    free(file);
    EXPECT_EQ(entriesOf(grp), (std::vector<uint32_t>{9998, 9999, 32768 | 2}));
}

TEST_F(Gdg, AnEpochThatWouldOverflowRenumbersTheListFromZero) {
    std::string grp = path("grp");
    writeCatalogue(grp, {.limit = 10, .newest = 9999, .epoch = 0xFFFF8000u,
                         .entries = {0xFFFF0000u | 9000, 0xFFFF8000u | 9998, 0xFFFF8000u | 9999}});
    for (int n : {9000, 9998, 9999}) touch(generation(grp, n));
    EXPECT_EQ(addGeneration(grp), generation(grp, 1));
    EXPECT_EQ(entriesOf(grp), (std::vector<uint32_t>{9000, 9998, 9999, 32768 | 1}));
    EXPECT_EQ(word(readBytes(grp), 32), 32768u);
}

TEST_F(Gdg, LimitThreeWithScratchDeletesTheOldestAndDaysKeepThem) {
    std::string scratch = path("scratch"), kept = path("kept");
    ASSERT_EQ(GDG_Create(scratch.c_str(), 3, 0, GDG_SCRATCH, nullptr), 0);
    ASSERT_EQ(GDG_Create(kept.c_str(), 3, 7, GDG_SCRATCH, nullptr), 0);
    for (int i = 0; i < 4; ++i) {
        addGeneration(scratch);
        addGeneration(kept);
    }
    EXPECT_EQ(entriesOf(scratch), (std::vector<uint32_t>{2, 3, 4}));
    EXPECT_FALSE(exists(generation(scratch, 1)));
    EXPECT_TRUE(exists(generation(scratch, 2)));
    EXPECT_EQ(entriesOf(kept), (std::vector<uint32_t>{1, 2, 3, 4})) << "files younger than 7 days stay";
    EXPECT_TRUE(exists(generation(kept, 1)));

    // Without Scratch the rolled-off file stays on disk.
    std::string plain = path("plain");
    ASSERT_EQ(GDG_Create(plain.c_str(), 1, 0, 0, nullptr), 0);
    addGeneration(plain);
    addGeneration(plain);
    EXPECT_EQ(entriesOf(plain), (std::vector<uint32_t>{2}));
    EXPECT_TRUE(exists(generation(plain, 1)));
}

// plx (the default) and ora have no rule of their own for testing and
// deleting a generation: they keep plain files.
TEST_F(Gdg, FileSystemsWithoutRulesOfTheirOwnActAsPlainFiles) {
    for (const char* prefix : {"plx", "ORA"}) {
        std::string grp = path(prefix);
        ASSERT_EQ(GDG_Create(grp.c_str(), 1, 0, GDG_SCRATCH, prefix), 0) << prefix;
        EXPECT_EQ(addGeneration(grp, prefix), generation(grp, 1));
        EXPECT_EQ(addGeneration(grp, prefix), generation(grp, 2));
        EXPECT_FALSE(exists(generation(grp, 1))) << prefix;
        touch(generation(grp, 5));
        unlink(generation(grp, 2).c_str());
        char* file = nullptr;
        EXPECT_EQ(GDS_Name((grp + ".g0005v00").c_str(), &file, 0, prefix), 1);
        free(file);
    }
    EXPECT_EQ(entriesOf(path("plx")), (std::vector<uint32_t>{5})) << "the missing generation 2 was dropped";
    EXPECT_EQ(entriesOf(dir + "/home/ora/ORA"), (std::vector<uint32_t>{5})) << "kept apart, as for every code above 3";
}

TEST_F(Gdg, AFullCatalogueRefusesTheThousandAndFirstEntry) {
    std::string grp = path("grp");
    Catalogue c{.limit = 1000, .days = 7, .newest = 1000, .entries = {}};
    for (uint32_t n = 1; n <= 1000; ++n) {
        c.entries.push_back(n);
        touch(generation(grp, static_cast<int>(n)));
    }
    writeCatalogue(grp, c);
    std::vector<uint8_t> before = readBytes(grp);
    errno = 0;
    EXPECT_EQ(addGeneration(grp), "");
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(readBytes(grp), before);
}

TEST_F(Gdg, ACatalogueClaimingTooMuchIsNoGroup) {
    std::string grp = path("grp");
    touch(generation(grp, 1));
    writeCatalogue(grp, {.limit = 10, .newest = 1, .entryCount = 1001, .entries = {1}});
    EXPECT_EQ(resolve(grp + "(0)"), 0);
    EXPECT_EQ(addGeneration(grp), "");
    writeCatalogue(grp, {.limit = 5000, .newest = 1, .entries = {1}});
    EXPECT_EQ(resolve(grp + "(0)"), 0);
    EXPECT_EQ(resolve(grp), 0);
    writeCatalogue(grp, {.newest = 1, .version = 7, .entries = {1}});
    testing::internal::CaptureStderr();
    EXPECT_EQ(resolve(grp + "(0)"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: GDG catalogue version unkown!\n");
    writeCatalogue(grp, {.limit = 1000, .newest = 1, .entries = {1}});
    EXPECT_EQ(resolve(grp + "(0)"), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(GDG_Create(path("big").c_str(), 1001, 0, 0, nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: GDG_Create name/limit invalid\n");
}

TEST_F(Gdg, NamesLongerThanTheBuffersFailWithoutOverflow) {
    std::string longName = path(std::string(1100, 'n'));
    errno = 0;
    EXPECT_EQ(resolve(longName + "(0)"), 0);
    EXPECT_EQ(errno, ENAMETOOLONG);
    // Fits as a name, but not with ".catalogue" or the generation suffix.
    std::string edge = path(std::string(1020 - dir.size() - 1, 'e'));
    ASSERT_EQ(edge.size(), 1020u);
    errno = 0;
    EXPECT_EQ(resolve(edge + "(+1)"), 0);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(GDG_Create(edge.c_str(), 3, 0, 0, nullptr), -1);
}

// The same +1 from two threads and from two processes at once: the lock
// spans resolution and entry, so no generation is handed out twice.
TEST_F(Gdg, ConcurrentPlusOneGivesDistinctGenerations) {
    std::string grp = path("grp");
    ASSERT_EQ(GDG_Create(grp.c_str(), 1000, 0, 0, nullptr), 0);
    constexpr int kEach = 40;
    std::vector<std::string> a, b;
    auto adder = [&grp](std::vector<std::string>* out) {
        for (int i = 0; i < kEach; ++i) out->push_back(addGeneration(grp));
    };
    std::thread t1(adder, &a), t2(adder, &b);
    t1.join();
    t2.join();
    std::set<std::string> all(a.begin(), a.end());
    all.insert(b.begin(), b.end());
    all.erase("");
    EXPECT_EQ(all.size(), 2u * kEach);

    std::string log = path("children.log");
    pid_t pids[2];
    for (pid_t& pid : pids) {
        pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            FILE* f = fopen(log.c_str(), "a");
            for (int i = 0; i < kEach; ++i) {
                std::string name = addGeneration(grp);
                fprintf(f, "%s\n", name.c_str());
                fflush(f);
            }
            _exit(0);
        }
    }
    for (pid_t pid : pids) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::ifstream in(log);
    std::string line;
    std::set<std::string> children;
    int lines = 0;
    while (std::getline(in, line)) {
        EXPECT_FALSE(line.empty());
        EXPECT_EQ(all.count(line), 0u) << line;
        children.insert(line);
        ++lines;
    }
    EXPECT_EQ(lines, 2 * kEach);
    EXPECT_EQ(children.size(), 2u * kEach);
    EXPECT_EQ(entriesOf(grp).size(), 4u * kEach);
}

// Fake administration commands first on PATH record their arguments, one a
// line; "query"/"describe" answer "absent" unless FAKE_PRESENT is set.
class GdgServers : public gdgtest::TempDirTest {
protected:
    std::string oldPath, log;
    void SetUp() override {
        TempDirTest::SetUp();
        std::string bin = path("bin");
        mkdir(bin.c_str(), 0755);
        log = path("commands.log");
        for (const char* tool : {"hdkadmin", "rql"}) {
            std::ofstream s(bin + "/" + tool);
            s << "#!/bin/sh\n{ printf '" << tool << "'; for a in \"$@\"; do printf ' [%s]' \"$a\"; done; echo; } >> '" << log
              << "'\ncase \"$1\" in query|describe) test -n \"$FAKE_PRESENT\" ;; esac\n";
            s.close();
            chmod((bin + "/" + tool).c_str(), 0755);
        }
        oldPath = getenv("PATH");
        setenv("PATH", (bin + ":" + oldPath).c_str(), 1);
        setenv("TXMN_TK_HDK_SERVER", "/opt/txmn/servers/srv1", 1);
        setenv("RQLINSTANCE", "inst", 1);
        unsetenv("RQLDBDFT");
        unsetenv("FAKE_PRESENT");
    }
    void TearDown() override {
        setenv("PATH", oldPath.c_str(), 1);
        unsetenv("FAKE_PRESENT");
        TempDirTest::TearDown();
    }
    std::vector<std::string> commands() {
        std::ifstream in(log);
        std::vector<std::string> lines;
        std::string line;
        while (std::getline(in, line)) lines.push_back(line);
        std::ofstream(log, std::ios::trunc).close();
        return lines;
    }
};

TEST_F(GdgServers, HdkGenerationsAreQueriedAndDestroyedThroughTheServer) {
    std::string grp = "/.:/txmn/hdk/srv/grp";
    testing::internal::CaptureStderr();
    ASSERT_EQ(GDG_Create(grp.c_str(), 1, 7, GDG_SCRATCH, "HDK"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Warning: File System hdk does not support the -D option, forcing a value of 0!\n");
    EXPECT_TRUE(exists(dir + "/home/hdk/srv1/grp.catalogue")) << "kept apart, under gdg_home";
    EXPECT_EQ(addGeneration(grp, "hdk"), grp + ".g0001v00");
    EXPECT_EQ(commands(), (std::vector<std::string>{"hdkadmin [query] [file] [-server] [/.:/txmn/hdk/srv] [grp.g0001v00]"}));
    setenv("FAKE_PRESENT", "1", 1);
    EXPECT_EQ(addGeneration(grp, "hdk"), grp + ".g0002v00");
    std::vector<std::string> seen = commands();
    EXPECT_NE(std::find(seen.begin(), seen.end(), "hdkadmin [destroy] [file] [-server] [/.:/txmn/hdk/srv] [grp.g0001v00]"),
              seen.end());
    EXPECT_EQ(entriesOf(dir + "/home/hdk/srv1/grp"), (std::vector<uint32_t>{2}));
}

TEST_F(GdgServers, RqlTablesAreNamedBySchemaAndQuotedTable) {
    setenv("RQLDBDFT", "db", 1);
    std::string grp = path("sch.tab");
    ASSERT_EQ(GDG_Create(grp.c_str(), 1, 0, GDG_SCRATCH, "rql"), 0);
    EXPECT_TRUE(exists(dir + "/home/rql/inst/db/sch.tab.catalogue"));
    EXPECT_EQ(addGeneration(grp, "rql"), grp + ".g0001v00");
    setenv("FAKE_PRESENT", "1", 1);
    EXPECT_EQ(addGeneration(grp, "rql"), grp + ".g0002v00");
    std::vector<std::string> seen = commands();
    EXPECT_EQ(seen.front(), "rql [describe] [table] [sch.\"tab.g0001v00\"]");
    EXPECT_NE(std::find(seen.begin(), seen.end(), "rql [drop] [table] [sch.\"tab.g0001v00\"]"), seen.end());
    unsetenv("RQLINSTANCE");
    EXPECT_EQ(GDG_Create(path("sch.other").c_str(), 1, 0, 0, "rql"), -1) << "RQLINSTANCE is required";
}

// Blanks, quotes and ";" in a name reach the command as one argument and
// run nothing; directories are made without a shell.
TEST_F(GdgServers, NamesReachCommandsAsOneWordAndRunNothing) {
    // Run from the test's directory, an injected "touch pwned" would leave
    // its file here.
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    std::string pwned = path("pwned");
    std::string evil = "a b'; touch pwned; echo 'c\"d";
    std::string grp = "/.:/txmn/hdk/srv/" + evil;
    setenv("gdg_home", (dir + "/home; touch pwned/x y").c_str(), 1);
    ASSERT_EQ(GDG_Create(grp.c_str(), 1, 0, GDG_SCRATCH, "hdk"), 0);
    EXPECT_TRUE(exists(dir + "/home; touch pwned/x y/hdk/srv1/" + evil + ".catalogue"));
    addGeneration(grp, "hdk");
    setenv("FAKE_PRESENT", "1", 1);
    addGeneration(grp, "hdk");
    std::vector<std::string> seen = commands();
    EXPECT_EQ(seen.front(), "hdkadmin [query] [file] [-server] [/.:/txmn/hdk/srv] [" + evil + ".g0001v00]");
    EXPECT_NE(std::find(seen.begin(), seen.end(),
                        "hdkadmin [destroy] [file] [-server] [/.:/txmn/hdk/srv] [" + evil + ".g0001v00]"),
              seen.end());
    EXPECT_FALSE(exists(pwned));

    // The jgt files and their companions go by rm -f with the name quoted
    // and the glob left to the shell.
    std::string jgt = path(evil);
    touch(path("." + evil + ".QVREA"));
    ASSERT_EQ(GDG_Create(jgt.c_str(), 1, 0, GDG_SCRATCH, "jgt"), 0);
    for (int n = 1; n <= 2; ++n) {
        std::string g = generation(evil, n);
        touch(path(g));
        touch(path("." + g + ".QVREA"));
        touch(path("." + g + ".@1.QVREA"));
        touch(path(g + ".@2"));
        ASSERT_EQ(resolve(path(g)), 1);
    }
    EXPECT_FALSE(exists(path(generation(evil, 1))));
    EXPECT_FALSE(exists(path("." + generation(evil, 1) + ".QVREA")));
    EXPECT_FALSE(exists(path("." + generation(evil, 1) + ".@1.QVREA")));
    EXPECT_FALSE(exists(path(generation(evil, 1) + ".@2")));
    EXPECT_TRUE(exists(path("." + generation(evil, 2) + ".@1.QVREA")));
    EXPECT_FALSE(exists(pwned));
    ASSERT_EQ(chdir(cwd), 0);
}

}  // namespace
