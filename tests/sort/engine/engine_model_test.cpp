// Keys of every type, both ways, several to a record, fixed and variable
// records, against the value model (engine_model.py, on top of the table
// sort's model); MERGE of ordered inputs against the same model.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "engine_call.h"
#include "model_cases.h"

using namespace enginetest;

namespace {

// The engine's model: A is the format, B the record length.
struct ModelCase : modelcases::Case {
    uint32_t format, recordLength;
    ModelCase(const modelcases::Case& c) : modelcases::Case(c), format(c.a), recordLength(c.b) {}
};

std::vector<ModelCase> modelCases(int seed, int cases) {
    const auto all = modelcases::read(std::string(KVR2_ENGINE_TESTS) + "/engine_model.py", seed, cases);
    return std::vector<ModelCase>(all.begin(), all.end());
}

Call callFor(const ModelCase& m, const TempDir& dir) {
    Call call;
    call.format = m.format;
    call.recordLength = m.recordLength;
    call.keys = m.keys;
    call.collating = m.coll();
    call.tempDir = dir.path;
    return call;
}

// Splits the forms of a buffer into records.
std::vector<Bytes> records(const Bytes& b, const ModelCase& m) {
    std::vector<Bytes> out;
    for (size_t at = 0; at < b.size();) {
        uint32_t n = m.recordLength;
        if (m.format == ZVK_SORT_VARIABLE) memcpy(&n, &b[at], 4);
        out.emplace_back(b.begin() + long(at), b.begin() + long(at + n));
        at += n;
    }
    return out;
}

}  // namespace

TEST(SortEngine, KeysOfEveryTypeAgreeWithTheValueModelInMemoryAndThroughFiles) {
    const auto cases = modelCases(20261125, 60);
    ASSERT_EQ(cases.size(), 60u);
    TempDir dir;
    const std::string inPath = dir.file("in"), outPath = dir.file("out");
    int variable = 0, fixed = 0;
    for (const auto& m : cases) {
        (m.format == ZVK_SORT_VARIABLE ? variable : fixed)++;
        // In place, in a small budget.
        Call call = callFor(m, dir);
        call.options = "MEMORY=64K";
        Bytes buffer = m.in;
        call.in = SortIoRecord{nullptr, uint32_t(buffer.size()), 0, buffer.data(), 0, 0, nullptr};
        call.out = call.in;
        ASSERT_EQ(call.run(), 0) << m.text << " error " << call.error;
        ASSERT_EQ(buffer, m.out) << m.text;
        // File to file, one thread.
        writeFile(inPath, m.in);
        Call file = callFor(m, dir);
        file.options = "MEMORY=80K,THREADS=1";
        file.in = SortIoRecord{const_cast<char*>(inPath.c_str()), 0, 0, nullptr, 0, 0, nullptr};
        file.out = SortIoRecord{const_cast<char*>(outPath.c_str()), 0, 0, nullptr, 0, 0, nullptr};
        ASSERT_EQ(file.run(), 0) << m.text << " error " << file.error;
        ASSERT_EQ(readFile(outPath), m.out) << m.text;
    }
    EXPECT_GT(variable, 10);
    EXPECT_GT(fixed, 10);
}

TEST(SortEngine, MergeOfOrderedInputsEqualsTheStableSortOfTheirConcatenation) {
    // A case's sorted records dealt round to three USING files stay in
    // order in each; merged, equal keys come from the earlier file first,
    // which is what a stable sort of the files one after the other gives.
    const auto cases = modelCases(99, 24);
    TempDir dir;
    ProgramImage program;
    for (const auto& m : cases) {
        const bool variable = m.format == ZVK_SORT_VARIABLE;
        const auto sorted = records(m.out, m);
        MemoryFile files[3] = {MemoryFile(m.recordLength), MemoryFile(m.recordLength), MemoryFile(m.recordLength)};
        MemoryFile giving(m.recordLength);
        Bytes dealt[3];
        for (size_t i = 0; i < sorted.size(); ++i) {
            const Bytes& r = sorted[i];
            const size_t skip = variable ? 4 : 0;
            files[i % 3].records.emplace_back(reinterpret_cast<const char*>(r.data()) + skip, r.size() - skip);
            dealt[i % 3].insert(dealt[i % 3].end(), r.begin(), r.end());
        }
        Bytes concatenation = dealt[0];
        concatenation.insert(concatenation.end(), dealt[1].begin(), dealt[1].end());
        concatenation.insert(concatenation.end(), dealt[2].begin(), dealt[2].end());
        Call sort = callFor(m, dir);
        sort.in = SortIoRecord{nullptr, uint32_t(concatenation.size()), 0, concatenation.data(), 0, 0, nullptr};
        sort.out = sort.in;
        ASSERT_EQ(sort.run(), 0);

        FCB* using_[3] = {&files[0].fcb, &files[1].fcb, &files[2].fcb};
        FCB* givingList[1] = {&giving.fcb};
        Call merge = callFor(m, dir);
        merge.op = ZVK_MERGE_START;
        merge.program = &program.pcb;
        merge.in = SortIoRecord{nullptr, 0, 0, nullptr, 3, 0, using_};
        merge.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, givingList};
        ASSERT_EQ(merge.run(), 0) << m.text << " error " << merge.error;
        Bytes merged;
        for (const auto& r : giving.written) {
            if (variable) {
                const uint32_t total = uint32_t(r.size() + 4);
                merged.insert(merged.end(), reinterpret_cast<const uint8_t*>(&total),
                              reinterpret_cast<const uint8_t*>(&total) + 4);
            }
            merged.insert(merged.end(), r.begin(), r.end());
        }
        ASSERT_EQ(merged, concatenation) << m.text;
        for (auto& f : files) EXPECT_EQ(f.closes, 1);

        // The spill file and the buffer's bytes as two ordered inputs.
        const std::string inPath = dir.file("in"), outPath = dir.file("out");
        writeFile(inPath, dealt[0]);
        Call two = callFor(m, dir);
        two.op = ZVK_MERGE_START;
        two.in = SortIoRecord{const_cast<char*>(inPath.c_str()), uint32_t(dealt[1].size()), 0, dealt[1].data(), 0, 0,
                              nullptr};
        two.out = SortIoRecord{const_cast<char*>(outPath.c_str()), 0, 0, nullptr, 0, 0, nullptr};
        ASSERT_EQ(two.run(), 0) << m.text << " error " << two.error;
        Bytes firstTwo = dealt[0];
        firstTwo.insert(firstTwo.end(), dealt[1].begin(), dealt[1].end());
        Call check = callFor(m, dir);
        check.in = SortIoRecord{nullptr, uint32_t(firstTwo.size()), 0, firstTwo.data(), 0, 0, nullptr};
        check.out = check.in;
        ASSERT_EQ(check.run(), 0);
        ASSERT_EQ(readFile(outPath), firstTwo) << m.text;
    }
}
