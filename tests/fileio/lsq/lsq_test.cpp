// The line-sequential module through the library's OPEN, as compiled code
// calls it, for what the comparison with cobc cannot show: secondary
// statuses and their texts, the record length READ leaves, variable
// records, files left open at the end of the run unit, failing devices,
// and input no text editor wrote.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "scenario.h"
#include "tempdir.h"

using namespace scenario;

namespace {

// A scenario in a directory of its own, whose lsq.txt holds `before`.
struct FileRun {
    TempDir tmp;
    const std::string dir = tmp.path;
    Result result;
    FileRun(const std::vector<std::string>& args, const std::string* before = nullptr, Options o = {}) {
        if (before) std::ofstream(dir + "/lsq.txt", std::ios::binary) << *before;
        std::vector<std::string> all = args;
        for (std::string& a : all)
            if (a.rfind("assign=", 0) == 0 && a.find('/') == std::string::npos) a = "assign=" + dir + "/" + a.substr(7);
        all.insert(all.begin(), {"verbose", "assign=" + dir + "/lsq.txt"});
        // The later assign= wins: a test's own name replaces the default.
        result = run(binDir() + "/lsq_scenarios", all, o);
    }
    std::string file() const {
        std::ifstream in(dir + "/lsq.txt", std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    // The line the scenario printed for the n-th statement (from 0).
    std::string line(size_t n) const {
        std::vector<std::string> all = lines(result.out);
        return n < all.size() ? all[n] : "";
    }
};

}  // namespace

TEST(LineSequential, InputOutputIsRefusedWithTheModulesSecondaryStatusAndItsText) {
    Options o;
    o.env["VFS_DEBUG_ERROR"] = "1";
    FileRun r({"open:io", "close"}, nullptr, o);
    EXPECT_EQ(r.line(0), "open:io fs=37 fs2=413 feedback=[000413          ] field=37") << r.result.out;
    // The library asks the module's table for the words of FS2.
    EXPECT_NE(r.result.err.find("FS2=OPEN I-O is not available for a line-sequential file"), std::string::npos)
        << r.result.err;
    FileRun absent({"open:input"});
    EXPECT_EQ(absent.line(0).substr(0, 32), "open:input fs=35 fs2=411 feedbac") << absent.result.out;
}

TEST(LineSequential, ReadLeavesTheLineLengthAndFlagsALineCutToTheRecord) {
    const std::string text = "ab\n0123456789ABC\n\n";
    FileRun variable({"variable", "open:input", "read", "read", "read"}, &text);
    EXPECT_NE(variable.line(1).find("rec=[ab        ] length=2 fs2=0 "), std::string::npos) << variable.result.out;
    EXPECT_NE(variable.line(2).find("read fs=00 rec=[0123456789] length=10 fs2=421 feedback=[000421"),
              std::string::npos)
        << variable.result.out;
    // An empty line is a record of the shortest length.
    EXPECT_NE(variable.line(3).find("length=1 fs2=0 "), std::string::npos) << variable.result.out;
    FileRun fixed({"open:input", "read"}, &text);
    EXPECT_NE(fixed.line(1).find("length=10 fs2=0 "), std::string::npos) << fixed.result.out;
}

TEST(LineSequential, VariableRecordsWriteTheirOwnLengthWithoutTrailingBlanks) {
    FileRun r({"variable", "open:output", "write:plain:ab  ", "write:b1:", "write:plain:x y", "close"});
    EXPECT_EQ(r.file(), "ab\n\nx y\n");
    EXPECT_EQ(r.result.exitCode, 0) << r.result.err;
}

TEST(LineSequential, TheEndOfTheRunUnitClosesAndEndsAnOpenLine) {
    FileRun r({"open:output", "write:plain:one", "write:a1:two"});
    EXPECT_EQ(r.file(), "one\n\ntwo\n") << r.result.out;
    EXPECT_TRUE(hasLine(r.result.out, "epilogue 255")) << r.result.out;
}

TEST(LineSequential, WriteErrorsOfTheDeviceReachTheProgramAtCloseAt30) {
    // /dev/full takes the buffered lines at CLOSE only, and refuses them.
    FileRun r({"assign=/dev/full", "open:output", "write:plain:x", "close"});
    EXPECT_EQ(r.line(1), "write:plain fs=00 fs2=0 feedback=[000000          ] field=00") << r.result.out;
    EXPECT_EQ(r.line(2), "close fs=30 fs2=417 feedback=[000417          ] field=30") << r.result.out;
    // Enough lines to fill the buffer fail at the WRITE that flushes it.
    std::vector<std::string> many = {"assign=/dev/full", "open:output"};
    for (int i = 0; i < 2000; ++i) many.push_back("write:plain:0123456789");
    FileRun full(many);
    EXPECT_NE(full.result.out.find("write:plain fs=30 fs2=416"), std::string::npos);
}

TEST(LineSequential, AReadFailureWithNoStatusFieldEndsTheRunUnitThroughTheUseSlot) {
    // A directory opens for input, and its READ fails.
    FileRun r({"assign=.", "nostatus", "open:input", "read", "read"});
    EXPECT_NE(r.result.err.find("ZVK200S  I/O error on READ of file LSQ-FILE, status 30."), std::string::npos)
        << r.result.err;
    EXPECT_EQ(r.line(0).substr(0, 16), "open:input fs=00") << r.result.out;
    EXPECT_EQ(r.result.out.find("read fs="), std::string::npos) << r.result.out;
}

// Bytes of every value, long runs without LF, CRs and NULs: each line is
// a record, whatever it holds, and the end comes as 10.
TEST(LineSequential, ForeignBytesReadAsLinesWithoutHarm) {
    std::string bytes;
    uint32_t x = 12345;
    for (int i = 0; i < 200000; ++i) {
        x = x * 1103515245u + 12345u;
        const uint8_t b = static_cast<uint8_t>(x >> 16);
        bytes += static_cast<char>(i % 1000 < 700 && b == '\n' ? 'n' : b);
    }
    bytes += std::string(100000, 'L') + "\r";
    size_t records = 0;
    for (char c : bytes) records += c == '\n';
    records += bytes.back() != '\n';
    std::vector<std::string> args = {"record=7", "open:input"};
    for (size_t i = 0; i <= records; ++i) args.push_back("read");
    args.push_back("close");
    FileRun r(args, &bytes);
    const std::vector<std::string> out = lines(r.result.out);
    size_t good = 0;
    for (const std::string& l : out) good += l.rfind("read fs=00", 0) == 0;
    EXPECT_EQ(good, records);
    EXPECT_NE(r.result.out.find("read fs=10 rec=[#######]"), std::string::npos);
    EXPECT_NE(r.result.out.find("close fs=00"), std::string::npos);
    // A sanitizer's finding ends the program otherwise.
    EXPECT_EQ(r.result.exitCode, 0) << r.result.err;
}
