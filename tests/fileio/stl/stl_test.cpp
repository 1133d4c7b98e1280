// The record module through the library's OPEN, as compiled code calls
// it, for what the comparison with cobc cannot show: which module the
// library's sniff picks for the files it writes, files of other layouts
// or damaged ones (39 and 30, never a crash), keys the store refuses, a
// map that grows, concatenated volumes, variable records, synchronous
// commits, SHARE and LOCK between two processes.

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "scenario.h"
#include "tempdir.h"

using namespace scenario;

namespace {

struct Dir : TempDir {
    // The scenario's statements on the file `name` in this directory.
    Result run(std::vector<std::string> args, const std::string& name = "f.dat", Options o = {}) const {
        args.insert(args.begin(), "assign=" + path + "/" + name);
        return scenario::run(binDir() + "/stl_scenarios", args, o);
    }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path + "/" + name, std::ios::binary) << bytes;
    }
};

std::string statusOf(const Result& r, size_t n) {
    const std::vector<std::string> all = lines(r.out);
    if (n >= all.size()) return "";
    const size_t at = all[n].find("fs=");
    return at == std::string::npos ? "" : all[n].substr(at + 3, 2);
}

const std::vector<std::string> kIndexed = {"org=idx", "access=dyn", "key=0:3", "key=3:2:dup"};

std::vector<std::string> with(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace

TEST(Sniff, FilesThisModuleWroteComeBackToIt) {
    Dir d;
    Options o;
    o.env["VFS_DEBUG_OPEN"] = "1";
    o.env["FILESYS"] = std::nullopt;
    // An absent file is created by code 5; reopened, the library reads it.
    ASSERT_EQ(statusOf(d.run(with(kIndexed, {"open:output", "write:aaa11", "close"}), "i.dat"), 0), "00");
    Result r = d.run(with(kIndexed, {"open:input", "read", "close"}), "i.dat", o);
    EXPECT_NE(r.err.find("Opening jgt-STL-FILE"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("psx"), std::string::npos) << r.err;
    EXPECT_TRUE(hasLine(r.out, "read fs=00 rec=[aaa11     ]")) << r.out;
    for (const char* org : {"org=seq", "org=rel"}) {
        ASSERT_EQ(statusOf(d.run({org, "open:output", "write:x", "close"}, "s.dat"), 1), "00");
        r = d.run({org, "open:input", "read", "close"}, "s.dat", o);
        EXPECT_NE(r.err.find("Opening stl-STL-FILE"), std::string::npos) << org << r.err;
        EXPECT_EQ(statusOf(r, 1), "00") << org << r.out;
    }
    // Code 1 (no header) reads a file another program wrote.
    d.write("plain.dat", "abcdefghij0123456789");
    r = d.run({"assign=jgt-" + d.path + "/plain.dat", "open:input", "read", "read", "read", "close"});
    EXPECT_TRUE(hasLine(r.out, "read fs=00 rec=[0123456789]")) << r.out;
    EXPECT_EQ(statusOf(r, 3), "10") << r.out;
}

TEST(Layout, OtherKeysLengthsOrForeignBytesGive39) {
    Dir d;
    ASSERT_EQ(statusOf(d.run(with(kIndexed, {"open:output", "close"})), 0), "00");
    EXPECT_EQ(statusOf(d.run({"org=idx", "key=0:4", "open:input"}), 0), "39");
    EXPECT_EQ(statusOf(d.run({"org=idx", "key=0:3", "open:io"}), 0), "39");
    EXPECT_EQ(statusOf(d.run(with(kIndexed, {"record=12", "open:input"})), 0), "39");
    EXPECT_EQ(statusOf(d.run(with(kIndexed, {"open:io", "close"})), 0), "00");
    // OUTPUT starts afresh with the program's keys.
    EXPECT_EQ(statusOf(d.run({"org=idx", "key=0:4", "open:output", "close", "open:input"}), 2), "00");
    // Not a store at all; a code-5 file of other records.
    d.write("text.dat", std::string(5000, 'x'));
    Result r = d.run(with(kIndexed, {"verbose", "open:input"}), "text.dat");
    EXPECT_EQ(statusOf(r, 0), "39") << r.out;
    EXPECT_NE(access((d.path + "/text.dat-lock").c_str(), F_OK), 0);
    EXPECT_EQ(statusOf(d.run(with(kIndexed, {"open:output", "write:aaa11", "close", "open:input", "read"}),
                             "text.dat"), 3), "00");
    ASSERT_EQ(statusOf(d.run({"record=10", "open:output", "write:a", "close"}, "s.dat"), 0), "00");
    EXPECT_EQ(statusOf(d.run({"record=11", "open:input"}, "s.dat"), 0), "39");
    EXPECT_EQ(statusOf(d.run({"org=rel", "open:input"}, "s.dat"), 0), "39");
    // A key longer than the store takes.
    r = d.run({"org=idx", "record=700", "key=0:600", "verbose", "open:output"}, "long.dat");
    EXPECT_TRUE(hasLine(r.out, "open:output fs=39 fs2=441 field=39")) << r.out;
}

TEST(SecondaryStatus, TheModuleNamesItsOwnInTheErrorTrace) {
    Dir d;
    Options o;
    o.env["VFS_DEBUG_ERROR"] = "1";
    Result r = d.run({"org=idx", "key=0:2", "access=dyn", "verbose", "open:output", "close", "open:io", "set:zz",
                      "read:key:0", "write:zz", "write:zz", "close"}, "f.dat", o);
    EXPECT_TRUE(hasLine(r.out, "read:key:0 fs=23 fs2=445 field=23")) << r.out;
    EXPECT_NE(r.err.find("FS2=no record with this key"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("FS2=a record with this key exists"), std::string::npos) << r.err;
}

TEST(Damage, ADamagedStoreGivesStatusesNotACrash) {
    Dir d;
    const std::vector<std::string> layout = {"org=idx", "access=dyn", "key=0:8", "key=4:4:dup"};
    ASSERT_EQ(statusOf(d.run(with(layout, {"open:output", "fill:3000", "close"})), 1), "00");
    // Overwrite pages past the two meta pages with garbage, in turn.
    for (off_t at : {off_t{8192}, off_t{16384}, off_t{65536}, off_t{0}}) {
        const int fd = open((d.path + "/f.dat").c_str(), O_WRONLY);
        ASSERT_GE(fd, 0);
        const std::string junk(4096, '\x5a');
        ASSERT_EQ(pwrite(fd, junk.data(), junk.size(), at), 4096);
        close(fd);
        Result r = d.run(with(layout, {"open:io", "count", "set:zzz99", "start:le:0", "read:prev", "close"}));
        EXPECT_EQ(r.signal, 0) << r.err;
        EXPECT_EQ(r.exitCode, 0) << r.out << r.err;
        const std::string open = statusOf(r, 0);
        EXPECT_TRUE(open == "00" || open == "39" || open == "30") << r.out;
    }
}

TEST(Indexed, TheMapGrowsAndSynchronousCommitsWork) {
    Dir d;
    Result r = d.run({"org=idx", "key=0:8", "key=4:4:dup", "record=1000", "open:output", "fill:6000", "close",
                      "open:input", "count", "close"});
    EXPECT_TRUE(hasLine(r.out, "fill fs=00 failures=0")) << r.out;
    EXPECT_TRUE(hasLine(r.out, "count fs=10 records=6000")) << r.out;
    Options o;
    o.env["KVR2_STL_SYNC"] = "1";
    r = d.run({"org=idx", "key=0:8", "key=4:4:dup", "record=1000", "open:extend", "fill:3", "close"}, "f.dat", o);
    EXPECT_TRUE(hasLine(r.out, "fill fs=21 failures=3")) << r.out;
    r = d.run({"org=idx", "access=dyn", "key=0:8", "key=4:4:dup", "record=1000", "open:io", "set:00000007", "read:key:0",
               "rewrite:00000007x", "delete", "close", "open:input", "count"}, "f.dat", o);
    EXPECT_EQ(lines(r.out).at(3), "delete fs=00") << r.out;
    EXPECT_TRUE(hasLine(r.out, "count fs=10 records=5999")) << r.out;
}

// OUTPUT over a store no one has open truncates it (the same file, back
// to its first map); while this program's other file or another process
// has it open it is emptied through the store, and they read on.
TEST(Indexed, OutputOverAStoreStartsFromAnEmptyFile) {
    Dir d;
    const std::vector<std::string> big = {"org=idx", "key=0:8", "record=1000"};
    ASSERT_TRUE(hasLine(d.run(with(big, {"open:output", "fill:3000", "close"})).out, "fill fs=00 failures=0"));
    const std::string name = d.path + "/f.dat";
    struct stat before, after;
    ASSERT_EQ(stat(name.c_str(), &before), 0);
    ASSERT_GT(before.st_size, 2 << 20);
    Result r = d.run(with(big, {"open:output", "write:00000001", "close", "open:input", "count", "close"}));
    EXPECT_TRUE(hasLine(r.out, "count fs=10 records=1")) << r.out;
    ASSERT_EQ(stat(name.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_LE(after.st_size, 1 << 20);
    r = d.run(with(big, {"two", "open:output", "fill:3", "close", "2:open:input", "2:read", "open:output",
                         "write:00000009", "close", "2:start:ge:0", "2:read", "2:close"}));
    EXPECT_EQ(r.signal, 0) << r.err;
    EXPECT_EQ(lines(r.out).at(9).substr(0, 24), "read fs=00 rec=[00000009") << r.out;
    const std::string a = d.path + "/A", b = d.path + "/B";
    std::thread t([&] {
        r = d.run(with(big, {"open:input", "read", "touch:" + a, "wait:" + b, "set:0", "start:ge:0", "read", "close"}));
    });
    Result second = d.run(with(big, {"wait:" + a, "open:output", "write:00000005", "close", "touch:" + b}));
    t.join();
    EXPECT_EQ(statusOf(second, 0), "00") << second.out;
    EXPECT_EQ(r.signal, 0) << r.err;
    EXPECT_EQ(lines(r.out).at(3).substr(0, 24), "read fs=00 rec=[00000005") << r.out;
}

// READ NEXT reads ahead from the second READ on: a change committed
// through the program's other file in between is seen at once.
TEST(Indexed, ReadNextSeesChangesMadeBetweenItsReads) {
    Dir d;
    Result r = d.run({"two", "org=idx", "key=0:8", "record=12", "access=dyn", "open:output", "fill:40", "close",
                      "2:open:input", "open:io", "2:read", "2:read", "2:read", "set:00000003", "delete",
                      "set:00000004", "rewrite:00000004new", "2:read", "2:read", "2:count", "close", "2:close"});
    const std::vector<std::string> out = lines(r.out);
    ASSERT_GE(out.size(), 13u) << r.out;
    EXPECT_EQ(out[6], "read fs=00 rec=[00000001bbbb]") << r.out;
    EXPECT_EQ(out[7], "read fs=00 rec=[00000002cccc]") << r.out;
    EXPECT_EQ(out[10], "read fs=00 rec=[00000004new ]") << r.out;
    EXPECT_EQ(out[11], "read fs=00 rec=[00000005ffff]") << r.out;
    EXPECT_EQ(out[12], "count fs=10 records=34") << r.out;
}

TEST(Variable, RecordsKeepTheirLengthsInEveryOrganization) {
    Dir d;
    for (const std::vector<std::string>& org : {std::vector<std::string>{"org=seq"}, {"org=rel"},
                                                {"org=idx", "key=0:2"}}) {
        Result r = d.run(with(org, {"variable=2", "verbose", "open:output", "write:ab", "write:cdefghij",
                                    "write:x", "write:klmnopqrstu", "close", "open:input", "read", "read",
                                    "read", "close"}),
                         org[0] + ".dat");
        EXPECT_EQ(lines(r.out).at(3).substr(0, 11), "write fs=44") << r.out;
        const std::vector<std::string> got = lines(r.out);
        ASSERT_GE(got.size(), 10u) << r.out;
        EXPECT_NE(got[7].find("rec=[ab]"), std::string::npos) << r.out;
        EXPECT_NE(got[7].find("length=2 "), std::string::npos) << r.out;
        EXPECT_NE(got[8].find("length=8 "), std::string::npos) << r.out;
        EXPECT_NE(got[9].find("rec=[klmnopqrst]"), std::string::npos) << r.out;
    }
}

TEST(Concatenation, VolumesReadInTurn) {
    Dir d;
    ASSERT_EQ(statusOf(d.run({"open:output", "write:a1", "write:a2", "close"}, "a"), 0), "00");
    ASSERT_EQ(statusOf(d.run({"open:output", "close"}, "b"), 0), "00");
    ASSERT_EQ(statusOf(d.run({"open:output", "write:c1", "close"}, "c"), 0), "00");
    Result r = d.run({"assign=" + d.path + "/a:" + d.path + "/b:" + d.path + "/c", "open:input", "read", "read",
                      "read", "read", "read", "close"});
    const std::vector<std::string> got = lines(r.out);
    ASSERT_GE(got.size(), 7u) << r.out << r.err;
    EXPECT_EQ(got[3], "read fs=00 rec=[c1        ]") << r.out;
    EXPECT_EQ(got[4], "read fs=10") << r.out;
    EXPECT_EQ(got[5], "read fs=46") << r.out;
    EXPECT_EQ(got[6], "close fs=00") << r.out;
    // Relative and indexed files of sequential access too.
    for (const std::vector<std::string>& org : {std::vector<std::string>{"org=rel"}, {"org=idx", "key=0:2"}}) {
        for (const char* v : {"x", "y"})
            ASSERT_EQ(statusOf(d.run(with(org, {"open:output", std::string("write:") + v + "1", "close"}), v), 0), "00");
        r = d.run(with(org, {"assign=" + d.path + "/x:" + d.path + "/y", "open:input", "read", "read", "read"}));
        EXPECT_EQ(lines(r.out).at(2).substr(0, 23), "read fs=00 rec=[y1     ") << r.out;
        EXPECT_EQ(lines(r.out).at(3).substr(0, 10), "read fs=10") << r.out;
    }
}

// Two processes on one file: the first holds what it took until the
// second has run.
TEST(Sharing, OpenConflictsGive61AndLockedRecords51) {
    Dir d;
    ASSERT_EQ(statusOf(d.run({"org=idx", "key=0:3", "open:output", "write:aaa", "write:bbb", "close"}), 0), "00");
    const std::string a = d.path + "/A", b = d.path + "/B";
    auto pair = [&](std::vector<std::string> first, std::vector<std::string> second) {
        unlink(a.c_str()), unlink(b.c_str());
        first.insert(first.end(), {"touch:" + a, "wait:" + b, "close"});
        second.insert(second.begin(), "wait:" + a);
        second.push_back("touch:" + b);
        Result held;
        std::thread t([&] { held = d.run(first); });
        Result r = d.run(second);
        t.join();
        return r;
    };
    const std::vector<std::string> idx = {"org=idx", "key=0:3", "access=dyn"};
    // share: 1 all other, 2 read only, 3 no other.
    struct Case {
        int first, second;
        const char* status;
    } cases[] = {{3, 1, "61"}, {1, 1, "00"}, {1, 2, "00"}, {1, 3, "61"}, {2, 1, "61"}};
    for (const Case& c : cases) {
        Result r = pair(with(idx, {"share=" + std::to_string(c.first), "open:input"}),
                        with(idx, {"share=" + std::to_string(c.second), "open:io", "close"}));
        EXPECT_EQ(statusOf(r, 0), c.status) << c.first << " " << c.second << r.out;
    }
    // lock=1: manual.  The record the first READ WITH LOCK holds: 51 for
    // READ WITH LOCK and REWRITE, readable WITH NO LOCK; the next record free.
    Result r = pair(with(idx, {"share=1", "lock=1", "open:io", "read:lock"}),
                    with(idx, {"share=1", "lock=1", "open:io", "read:lock", "read:nolock", "set:aaa", "rewrite:aaaX",
                               "delete", "set:bbb", "read:key:0", "read:lock", "close"}));
    EXPECT_EQ(lines(r.out), (std::vector<std::string>{"open:io fs=00", "read:lock fs=51",
                                                      "read:nolock fs=00 rec=[aaa       ]", "rewrite fs=51",
                                                      "delete fs=51", "read:key:0 fs=00 rec=[bbb       ]",
                                                      "read:lock fs=10", "close fs=00", "epilogue 255"}))
        << r.out;
    // UNLOCK frees it; CLOSE too.
    r = pair(with(idx, {"share=1", "lock=2", "open:io", "read", "unlock"}),
             with(idx, {"share=1", "lock=2", "open:io", "read", "close"}));
    EXPECT_EQ(statusOf(r, 1), "00") << r.out;
}

// Two files of one program on one data file: one store shared, and their
// locks conflict as two programs' do.
TEST(Sharing, TwoFilesOfOneProgram) {
    Dir d;
    Result r = d.run({"two", "org=idx", "key=0:3", "key=3:2:dup", "access=dyn", "open:output", "write:aaa11",
                      "2:open:input", "2:read", "write:bbb11", "2:read", "close", "2:close", "2:open:io", "2:set:aaa",
                      "2:delete", "open:input", "read", "read", "2:close", "close"});
    EXPECT_EQ(lines(r.out), (std::vector<std::string>{
                                "open:output fs=00", "write fs=00", "open:input fs=00", "read fs=00 rec=[aaa11     ]",
                                "write fs=02", "read fs=00 rec=[bbb11     ]", "close fs=00", "close fs=00",
                                "open:io fs=00", "delete fs=00", "open:input fs=00", "read fs=00 rec=[bbb11     ]",
                                "read fs=10", "close fs=00", "close fs=00", "epilogue 255"}))
        << r.out;
    r = d.run({"two", "share=1", "lock=1", "org=idx", "key=0:3", "key=3:2:dup", "access=dyn", "open:io",
               "2:open:io", "read:lock", "2:read:lock", "2:set:bbb", "2:rewrite:bbb22", "unlock", "2:set:bbb",
               "2:rewrite:bbb22", "2:close", "close"});
    EXPECT_EQ(statusOf(r, 3), "51") << r.out;
    EXPECT_EQ(statusOf(r, 4), "51") << r.out;
    EXPECT_EQ(statusOf(r, 6), "00") << r.out;
    // OUTPUT over another file's bytes, while the other file of the
    // program waits for it: 61, then read after its CLOSE.
    r = d.run({"two", "share=3", "org=rel", "open:output", "write:a", "2:open:input", "close", "2:open:input",
               "2:read", "2:close"});
    EXPECT_EQ(statusOf(r, 0), "00") << r.out;
    EXPECT_EQ(statusOf(r, 2), "61") << r.out;
    EXPECT_TRUE(hasLine(r.out, "read fs=00 rec=[a         ] rk=0001")) << r.out;
}
