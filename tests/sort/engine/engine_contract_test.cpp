// What the engine promises the library and compiled code beyond the
// order: the error numbers of bad words, the output file made for no
// record, the element passed to the files, op 11 re-entered from inside a
// file operation, and sorts on two threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>

#include "engine_call.h"

using namespace enginetest;

namespace {

Bytes fixedRecords(const std::vector<std::string>& texts) {
    Bytes b;
    for (const auto& t : texts) b.insert(b.end(), t.begin(), t.end());
    return b;
}

Call textSort(uint32_t recordLength) {
    Call call;
    call.recordLength = recordLength;
    call.keys = {key(0, recordLength, ZVK_TSORT_ALPHANUMERIC, true)};
    return call;
}

}  // namespace

TEST(SortEngine, BadWordsGive16WithTheirOwnNumbers) {
    struct Case {
        const char* what;
        void (*spoil)(Call&);
        uint32_t error;
    };
    const Case cases[] = {
        {"magic", [](Call& c) { c.magic = 0x12345678; }, ZVK_SORTENG_E_KEY_BLOCK},
        {"key type", [](Call& c) { c.keys[0].keyType = 9; }, ZVK_SORTENG_E_KEY},
        {"key past the record", [](Call& c) { c.keys[0].offset = 1; }, ZVK_SORTENG_E_KEY},
        {"binary of 9 bytes", [](Call& c) { c.recordLength = 9, c.keys = {key(0, 9, ZVK_TSORT_BINARY, true)}; },
         ZVK_SORTENG_E_KEY},
        {"unknown flag", [](Call& c) { c.flags = 0x80; }, ZVK_SORTENG_E_FLAGS},
        {"unknown option", [](Call& c) { c.options = "MEMORY=1X"; }, ZVK_SORTENG_E_OPTION},
        {"threads", [](Call& c) { c.options = "THREADS=3"; }, ZVK_SORTENG_E_OPTION},
        {"record length 0", [](Call& c) { c.recordLength = 0; }, ZVK_SORTENG_E_RECORD_FORM},
        {"op 3", [](Call& c) { c.op = 3; }, ZVK_SORTENG_E_OP},
        {"cut variable record", [](Call& c) { c.format = ZVK_SORT_VARIABLE; }, ZVK_SORTENG_E_BAD_RECORD},
        {"files but no program", [](Call& c) { c.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, nullptr}; },
         ZVK_SORTENG_E_NO_PROGRAM},
        {"no GIVING list", [](Call& c) {
             static ProgramImage p;
             c.program = &p.pcb, c.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, nullptr};
         },
         ZVK_SORTENG_E_GIVING_OPEN},
        {"missing spill file", [](Call& c) { c.in.path = const_cast<char*>("/nonexistent/sortwki.x"); },
         ZVK_SORTENG_E_INPUT_FILE},
    };
    for (const Case& k : cases) {
        Bytes data = fixedRecords({"bb", "aa"});
        Call call = textSort(2);
        call.in = SortIoRecord{nullptr, uint32_t(data.size()), 0, data.data(), 0, 0, nullptr};
        call.out = call.in;
        k.spoil(call);
        EXPECT_EQ(call.run(), 16) << k.what;
        EXPECT_EQ(call.error, k.error) << k.what;
        EXPECT_EQ(data, fixedRecords({"bb", "aa"})) << k.what << ": the buffer is left as it was";
    }
    // A null errnoOut is not written through, and success stores 0.
    Bytes data = fixedRecords({"bb", "aa"});
    Call call = textSort(2);
    call.in = SortIoRecord{nullptr, uint32_t(data.size()), 0, data.data(), 0, 0, nullptr};
    call.out = call.in;
    call.nullErrno = true;
    call.magic = 1;
    EXPECT_EQ(call.run(), 16);
    call.nullErrno = false, call.magic = ZVK_SORTENG_KEY_MAGIC;
    EXPECT_EQ(call.run(), 0);
    EXPECT_EQ(call.error, 0u);
    EXPECT_EQ(data, fixedRecords({"aa", "bb"}));
}

TEST(SortEngine, NoKeyBlockKeepsTheInputOrderAndShortVariableRecordsReadAsBlanksPastTheirEnd) {
    Bytes data = fixedRecords({"cc", "aa", "bb"});
    Call call = textSort(2);
    call.noKeyBlock = true;
    call.in = SortIoRecord{nullptr, uint32_t(data.size()), 0, data.data(), 0, 0, nullptr};
    call.out = call.in;
    ASSERT_EQ(call.run(), 0);
    EXPECT_EQ(data, fixedRecords({"cc", "aa", "bb"}));
    // Variable "a" (key "a ") sorts after "a!" and before "aa".
    Bytes v;
    for (std::string s : {"aa", "a", "a!"}) {
        const uint32_t total = uint32_t(s.size() + 4);
        v.insert(v.end(), reinterpret_cast<const uint8_t*>(&total), reinterpret_cast<const uint8_t*>(&total) + 4);
        v.insert(v.end(), s.begin(), s.end());
    }
    Call var = textSort(2);
    var.format = ZVK_SORT_VARIABLE;
    var.in = SortIoRecord{nullptr, uint32_t(v.size()), 0, v.data(), 0, 0, nullptr};
    var.out = var.in;
    ASSERT_EQ(var.run(), 0);
    const Bytes want = {5, 0, 0, 0, 'a', 6, 0, 0, 0, 'a', '!', 6, 0, 0, 0, 'a', 'a'};
    EXPECT_EQ(v, want);
}

TEST(SortEngine, OutputFileIsMadeAndEmptiedEvenForNoRecord) {
    TempDir dir;
    const std::string out = dir.file("sortwko.0000000001.0000000002");
    writeFile(out, {'s', 't', 'a', 'l', 'e'});
    Call call = textSort(4);
    call.out = SortIoRecord{const_cast<char*>(out.c_str()), 0, 0, nullptr, 0, 0, nullptr};
    ASSERT_EQ(call.run(), 0);
    EXPECT_TRUE(readFile(out).empty());
}

TEST(SortEngine, FilesGetTheCallingProgramsOwnElement) {
    ProgramImage program;
    MemoryFile in(2), out(2);
    in.records = {"bb", "aa"};
    in.expectedElement = out.expectedElement = &program.ipcb[1];
    FCB* using_[1] = {&in.fcb};
    FCB* giving[1] = {&out.fcb};
    Call call = textSort(2);
    call.program = &program.nested;
    call.in = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, using_};
    call.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, giving};
    ASSERT_EQ(call.run(), 0);
    EXPECT_FALSE(in.wrongElement || out.wrongElement);
    EXPECT_EQ(out.written, (std::vector<std::string>{"aa", "bb"}));
    EXPECT_EQ(in.fcb.openMode, ZVK_OPEN_INPUT);
    EXPECT_EQ(out.fcb.openMode, ZVK_OPEN_OUTPUT);
}

TEST(SortEngine, MergeStopsAtARecordOutOfOrderAndClosesItsFiles) {
    ProgramImage program;
    MemoryFile a(2), b(2), out(2);
    a.records = {"aa", "cc"};
    b.records = {"bb", "ab", "dd"};
    FCB* using_[2] = {&a.fcb, &b.fcb};
    FCB* giving[1] = {&out.fcb};
    Call call = textSort(2);
    call.op = ZVK_MERGE_START;
    call.program = &program.pcb;
    call.in = SortIoRecord{nullptr, 0, 0, nullptr, 2, 0, using_};
    call.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, giving};
    EXPECT_EQ(call.run(), 16);
    EXPECT_EQ(call.error, uint32_t(ZVK_SORTENG_E_OUT_OF_ORDER));
    EXPECT_EQ(out.written, (std::vector<std::string>{"aa", "bb"}));
    EXPECT_EQ(a.closes + b.closes + out.closes, 3);
}

TEST(SortEngine, AFileThatDoesNotOpenGives16AndTheFilesOpenedBeforeAreClosed) {
    ProgramImage program;
    MemoryFile a(2), b(2), out1(2), out2(2);
    a.records = {"bb", "aa"};
    out2.openStatus = 35;
    FCB* using_[1] = {&a.fcb};
    FCB* giving[2] = {&out1.fcb, &out2.fcb};
    Call call = textSort(2);
    call.program = &program.pcb;
    call.in = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, using_};
    call.out = SortIoRecord{nullptr, 0, 0, nullptr, 2, 0, giving};
    EXPECT_EQ(call.run(), 16);
    EXPECT_EQ(call.error, uint32_t(ZVK_SORTENG_E_GIVING_OPEN));
    EXPECT_EQ(out1.opens, 1);
    EXPECT_EQ(out1.closes, 1);
    EXPECT_EQ(out2.closes, 0);
    b.openStatus = 35;
    FCB* missing[2] = {&a.fcb, &b.fcb};
    call.in.files = missing, call.in.count = 2;
    EXPECT_EQ(call.run(), 16);
    EXPECT_EQ(call.error, uint32_t(ZVK_SORTENG_E_USING_OPEN));
    EXPECT_EQ(a.opens, 2);
    EXPECT_EQ(a.closes, 2);
}

namespace {

int32_t abandonedResult = -1;
void abandon(MemoryFile&, size_t count) {
    // The run unit ends from inside the file operation, as an abort does:
    // op 11 with every word empty, on the sort's own thread.
    if (count == 1500) abandonedResult = engine()(ZVK_SORT_END_RUN, 0, 0, 0, nullptr, SortEighth{}, SortIoRecord{},
                                                  SortIoRecord{}, SortControlRecord{});
}

}  // namespace

TEST(SortEngine, Op11FromInsideAFileOperationAbandonsTheSortAndLeavesNoFile) {
    for (bool fromRead : {true, false}) {
        TempDir dir;
        ProgramImage program;
        MemoryFile in(8), out(8);
        for (int i = 0; i < 4000; ++i) in.records.push_back(std::to_string(100000 + (i * 7919) % 4000) + "xx");
        (fromRead ? in : out).hook = abandon;
        FCB* using_[1] = {&in.fcb};
        FCB* giving[1] = {&out.fcb};
        Call call = textSort(8);
        call.options = "MEMORY=64K";
        call.tempDir = dir.path;
        call.program = &program.pcb;
        call.in = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, using_};
        call.out = SortIoRecord{nullptr, 0, 0, nullptr, 1, 0, giving};
        abandonedResult = -1;
        EXPECT_EQ(call.run(), 16);
        EXPECT_EQ(abandonedResult, 0);
        EXPECT_EQ(call.error, uint32_t(ZVK_SORTENG_E_ABANDONED));
        EXPECT_EQ(out.written.size(), fromRead ? 0u : 1501u) << "the write under way ends, and no other follows";
        EXPECT_EQ(dir.entries(), 0);
        // The thread can sort again.
        MemoryFile again(8);
        again.records = {"bbbbbbbb", "aaaaaaaa"};
        MemoryFile result(8);
        FCB* u2[1] = {&again.fcb};
        FCB* g2[1] = {&result.fcb};
        call.in.files = u2, call.out.files = g2;
        EXPECT_EQ(call.run(), 0);
        EXPECT_EQ(result.written, (std::vector<std::string>{"aaaaaaaa", "bbbbbbbb"}));
    }
    // Op 11 with nothing running does nothing.
    EXPECT_EQ(engine()(ZVK_SORT_END_RUN, 0, 0, 0, nullptr, SortEighth{}, SortIoRecord{}, SortIoRecord{},
                       SortControlRecord{}),
              0);
}

TEST(SortEngine, TwoThreadsSortAtOnceWithWorkFilesOfTheirOwn) {
    TempDir dir;
    auto sortOn = [&](int seed, bool* ok) {
        std::vector<std::string> texts;
        for (int i = 0; i < 20000; ++i) texts.push_back(std::to_string(1000000 + (i * 104729 + seed) % 20000));
        Bytes data = fixedRecords(texts);
        Call call = textSort(7);
        call.options = "MEMORY=64K";
        call.tempDir = dir.path;
        call.in = SortIoRecord{nullptr, uint32_t(data.size()), 0, data.data(), 0, 0, nullptr};
        call.out = call.in;
        std::sort(texts.begin(), texts.end());
        *ok = call.run() == 0 && data == fixedRecords(texts);
    };
    bool ok1 = false, ok2 = false;
    std::thread t1(sortOn, 1, &ok1), t2(sortOn, 2, &ok2);
    t1.join(), t2.join();
    EXPECT_TRUE(ok1 && ok2);
    EXPECT_EQ(dir.entries(), 0);
}
