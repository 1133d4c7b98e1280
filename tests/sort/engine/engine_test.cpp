// The sort engine called as the library calls it: text keys against GNU
// sort -s, keys of every type against the value model (engine_model.py),
// through every input and output the library hands over, with a budget
// small enough for many runs and merge passes; MERGE; the contract's
// errors; and op 11 re-entered from inside a file operation.
#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

#include "engine_call.h"

using namespace enginetest;
using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

namespace {

// Lines of letters from a small alphabet, so that keys tie often.
Lines randomLines(unsigned seed, size_t n, size_t minLength, size_t maxLength) {
    std::mt19937 rng(seed);
    Lines out;
    for (size_t i = 0; i < n; ++i) {
        std::string s(minLength + rng() % (maxLength - minLength + 1), ' ');
        for (char& c : s) c = "abcAB"[rng() % 5];
        out.push_back(s + "\n");
    }
    return out;
}

Lines gnuSort(const TempDir& dir, const Lines& lines, const std::string& keys) {
    std::string all;
    for (const auto& l : lines) all += l;
    writeFile(dir.file("gnu.in"), Bytes(all.begin(), all.end()));
    const std::string cmd = "LC_ALL=C sort -s " + keys + " " + dir.file("gnu.in") + " > " + dir.file("gnu.out");
    EXPECT_EQ(std::system(cmd.c_str()), 0);
    Lines out;
    std::istringstream in(std::string(reinterpret_cast<const char*>(readFile(dir.file("gnu.out")).data()),
                                      readFile(dir.file("gnu.out")).size()));
    for (std::string l; std::getline(in, l);) out.push_back(l + "\n");
    std::remove(dir.file("gnu.in").c_str());
    std::remove(dir.file("gnu.out").c_str());
    return out;
}

Bytes forms(const Lines& lines, bool variable) {
    Bytes b;
    for (const auto& l : lines) {
        if (variable) {
            const uint32_t total = uint32_t(l.size() + 4);
            b.insert(b.end(), reinterpret_cast<const uint8_t*>(&total), reinterpret_cast<const uint8_t*>(&total) + 4);
        }
        b.insert(b.end(), l.begin(), l.end());
    }
    return b;
}

Lines fromForms(const Bytes& b, bool variable, uint32_t recordLength) {
    Lines out;
    for (size_t at = 0; at < b.size();) {
        uint32_t n = recordLength;
        if (variable) memcpy(&n, &b[at], 4), at += 4, n -= 4;
        out.emplace_back(reinterpret_cast<const char*>(&b[at]), n);
        at += n;
    }
    return out;
}

enum class Path { InPlace, SpillFileAndTail, Files };

// Sorts lines through one of the library's routes; returns the engine's
// output as lines.
Lines sortThrough(Call& call, Path path, const Lines& lines, const TempDir& dir, int32_t* result) {
    const bool variable = call.format == ZVK_SORT_VARIABLE;
    Bytes all = forms(lines, variable);
    ProgramImage program;
    MemoryFile in1(call.recordLength), in2(call.recordLength), out1(call.recordLength), out2(call.recordLength);
    FCB* using_[2] = {&in1.fcb, &in2.fcb};
    FCB* giving[2] = {&out1.fcb, &out2.fcb};
    Bytes tail;
    if (path == Path::InPlace) {
        call.in = SortIoRecord{nullptr, uint32_t(all.size()), 0, all.data(), 0, 0, nullptr};
        call.out = call.in;
    } else if (path == Path::SpillFileAndTail) {
        const size_t half = lines.size() / 2;
        writeFile(dir.file("sortwki.test"), forms(Lines(lines.begin(), lines.begin() + long(half)), variable));
        tail = forms(Lines(lines.begin() + long(half), lines.end()), variable);
        call.in = SortIoRecord{const_cast<char*>(""), uint32_t(tail.size()), 0, tail.data(), 0, 0, nullptr};
        static std::string in, out;
        in = dir.file("sortwki.test"), out = dir.file("sortwko.test");
        call.in.path = in.data();
        call.out = SortIoRecord{out.data(), 0, 0, nullptr, 0, 0, nullptr};
    } else {
        for (size_t i = 0; i < lines.size(); ++i) (i % 3 ? in1 : in2).records.push_back(lines[i]);
        for (auto* m : {&in1, &in2, &out1, &out2}) m->expectedElement = &program.ipcb[0];
        call.program = &program.pcb;
        call.in = SortIoRecord{nullptr, 0, 0, nullptr, 2, 0, using_};
        call.out = SortIoRecord{nullptr, 0, 0, nullptr, 2, 0, giving};
    }
    *result = call.run();
    if (path == Path::InPlace) return fromForms(all, variable, call.recordLength);
    if (path == Path::SpillFileAndTail) return fromForms(readFile(call.out.path), variable, call.recordLength);
    EXPECT_FALSE(in1.wrongElement || in2.wrongElement || out1.wrongElement);
    EXPECT_EQ(in1.opens, 1);
    EXPECT_EQ(in2.closes, 1);
    EXPECT_EQ(out1.written, out2.written) << "every GIVING file gets every record";
    EXPECT_EQ(out2.closes, 1);
    return out1.written;
}

}  // namespace

TEST(SortEngine, TextKeysAgreeWithGnuSortThroughEveryInputAndOutput) {
    ASSERT_NE(engine(), nullptr);
    TempDir dir;
    for (bool variable : {false, true}) {
        const Lines lines = variable ? randomLines(7, 12000, 14, 40) : randomLines(5, 12000, 30, 30);
        // USING files hand over the lines in file order: in1 takes all but
        // every third, in2 every third.
        Lines fileOrder, second;
        for (size_t i = 0; i < lines.size(); ++i) (i % 3 ? fileOrder : second).push_back(lines[i]);
        fileOrder.insert(fileOrder.end(), second.begin(), second.end());
        const std::string keys = "-k1.3,1.5 -k1.10,1.13r -k1.1,1.1";
        const Lines expected = gnuSort(dir, lines, keys), expectedFiles = gnuSort(dir, fileOrder, keys);
        for (Path path : {Path::InPlace, Path::SpillFileAndTail, Path::Files})
            for (const char* options : {"MEMORY=64K", "", "MEMORY=100K,THREADS=1"}) {
                Call call;
                call.format = variable ? ZVK_SORT_VARIABLE : ZVK_SORT_FIXED_BLANK;
                call.recordLength = variable ? 41 : 31;
                call.keys = {key(2, 3, ZVK_TSORT_ALPHANUMERIC, true), key(9, 4, ZVK_TSORT_ALPHANUMERIC, false),
                             key(0, 1, ZVK_TSORT_ALPHANUMERIC, true)};
                call.options = options;
                call.tempDir = dir.path;
                call.engineFlags = ZVK_SORTENG_TRACE;
                int32_t result = -1;
                testing::internal::CaptureStderr();
                const Lines got = sortThrough(call, path, lines, dir, &result);
                unsigned runs = 0, passes = 0;
                sscanf(testing::internal::GetCapturedStderr().c_str(), "sortmerge: op 1 records %*u runs %u passes %u",
                       &runs, &passes);
                if (!strcmp(options, "MEMORY=64K")) {
                    EXPECT_GE(passes, 2u) << "runs " << runs;
                }
                if (!*options) {
                    EXPECT_EQ(runs, 0u) << "all in memory";
                }
                const std::string what = std::string(variable ? "variable " : "fixed ") + options + " path " +
                                         std::to_string(int(path));
                ASSERT_EQ(result, 0) << what << " error " << call.error;
                EXPECT_EQ(call.error, 0u);
                ASSERT_EQ(got, path == Path::Files ? expectedFiles : expected) << what;
            }
    }
    std::remove(dir.file("sortwki.test").c_str());
    std::remove(dir.file("sortwko.test").c_str());
    EXPECT_EQ(dir.entries(), 0) << "no work file is left";
}
