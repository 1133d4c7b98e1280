// EXTERNAL data items seen from outside (external_scenarios, each case in
// a process of its own); the allocators and the tracked storage of a run
// unit, called directly.

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "frame/storage.h"
#include "scenario.h"
#include "kvr2/records.h"

namespace {

scenario::Result run(const std::string& what, std::map<std::string, std::optional<std::string>> env = {}) {
    scenario::Options o;
    o.env = std::move(env);
    if (!o.env.count("LC_ALL")) o.env["LC_ALL"] = "C";
    return scenario::run(scenario::binPath("external_scenarios"), {what}, o);
}

bool aligned(const void* p) { return reinterpret_cast<uintptr_t>(p) % 16 == 0; }

bool zeroed(const void* p, size_t n) {
    auto* b = static_cast<const uint8_t*>(p);
    return std::all_of(b, b + n, [](uint8_t c) { return c == 0; });
}

}  // namespace

// One item per exact name in a run unit, zeroed, aligned, its length in
// front of the data; the next run unit starts with none.
TEST(External, TwoProgramsShareOneItem) {
    scenario::Result r = run("share");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(scenario::mismatches(r.out, "zeroed=1 aligned=1 length.before.data=10 same=1 seen=0123456789 "
                                          "main.sees=ABCDE56789 other=1 again=1 next.zeroed=1"),
              "");
    EXPECT_EQ(r.err, "");
}

TEST(External, NamesOutliveTheTablesThatDefinedThem) {
    // The run unit's end dumps the items under __ZVKDEBUG, long after the
    // compiled tables that named them were released.
    scenario::Result r = run("share", {{"__ZVKDEBUG", "1"}});
    ASSERT_EQ(r.exitCode, 0);
    EXPECT_NE(r.err.find("External Variables\n"), std::string::npos);
    EXPECT_NE(r.err.find("\tName: SHARED-REC\n\tLen:  10\n\tData: ABCDE56789\n"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("\tName: COUNTER\n\tLen:  4\n"), std::string::npos);
}

TEST(External, SecondLengthEndsTheRun) {
    scenario::Result r = run("mismatch");
    EXPECT_EQ(r.out, "first\n");
    EXPECT_NE(r.err.find("ZVK066S  The EXTERNAL data item X is defined with a length different from its\n"),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("ZVK901S Program exits due to severe or critical error."), std::string::npos);
    EXPECT_TRUE(r.signal != 0 || r.exitCode != 0);
}

TEST(Allocators, AlignedZeroedWhereAskedNullWhenNotGiven) {
    for (uint64_t n : {1u, 15u, 16u, 17u, 1000u}) {
        void* a = _zvkMalloc(n, 907, 0);
        void* b = _Dmr_mem_alloc(n);
        void* c = _zvkcalloc(1, n);
        EXPECT_TRUE(aligned(a) && aligned(b) && aligned(c)) << n;
        EXPECT_TRUE(zeroed(c, n)) << n;
        _zvkcfree(a);
        _Dmr_mem_free(b);
        _zvkcfree(c);
    }
    EXPECT_EQ(_zvkcalloc(1, 0), nullptr);
    EXPECT_EQ(_zvkcalloc(0, 0), nullptr);
    void* empty = _zvkMalloc(0, 907, 0);
    EXPECT_NE(empty, nullptr);
    _zvkcfree(empty);
    // Not given at all: no message, null.
    EXPECT_EQ(_Dmr_mem_alloc(~uint64_t(0)), nullptr);
    EXPECT_EQ(_zvkcalloc(1, ~uint64_t(0) - 8), nullptr);
}

// Growing copies the old contents, shrinking only what fits; the old
// block stays the caller's.
TEST(Allocators, SizedReallocCopiesWhatFits) {
    auto* p = static_cast<uint8_t*>(zvkSizedAlloc(40));
    ASSERT_TRUE(aligned(p));
    for (int i = 0; i < 40; ++i) p[i] = static_cast<uint8_t>(i);
    auto* bigger = static_cast<uint8_t*>(zvkSizedRealloc(p, 100));
    EXPECT_EQ(memcmp(bigger, p, 40), 0);
    auto* smaller = static_cast<uint8_t*>(zvkSizedRealloc(p, 8));
    EXPECT_EQ(memcmp(smaller, p, 8), 0);
    EXPECT_EQ(p[39], 39);
    void* z = zvkSizedCalloc(3, 5);
    EXPECT_TRUE(zeroed(z, 15));
    void* fresh = zvkSizedRealloc(nullptr, 4);
    EXPECT_NE(fresh, nullptr);
    for (void* q : {static_cast<void*>(p), static_cast<void*>(bigger), static_cast<void*>(smaller), z, fresh})
        zvkSizedFree(q);
    zvkSizedFree(nullptr);
}

// Tracking on, with a run unit of the test's own.
class Tracked : public ::testing::Test {
protected:
    void SetUp() override {
        pc = _zvkProccom;
        ASSERT_NE(pc, nullptr);
        savedRu = pc->runcom;
        savedFlags = pc->flags;
        memset(&ru, 0, sizeof ru);
        pc->runcom = &ru;
        pc->flags |= PROC_FLAG_TRACKING;
    }
    void TearDown() override {
        zvkTrackedFreeAll(&ru);
        pc->runcom = savedRu;
        pc->flags = savedFlags;
    }
    int listLength() {
        int n = 0;
        for (void** h = static_cast<void**>(ru.storage); h; h = static_cast<void**>(h[0])) ++n;
        return n;
    }
    Proccom* pc = nullptr;
    Runcom* savedRu = nullptr;
    uint8_t savedFlags = 0;
    Runcom ru;
};

TEST_F(Tracked, BlocksJoinTheRunUnitsListAndLeaveIt) {
    void* a = zvkTrackedAlloc(24);
    void* b = zvkTrackedCalloc(4, 8);
    void* c = zvkTrackedAlloc(1);
    EXPECT_TRUE(aligned(a) && aligned(b) && aligned(c));
    EXPECT_TRUE(zeroed(b, 32));
    EXPECT_EQ(listLength(), 3);
    zvkTrackedFree(b);   // from the middle
    EXPECT_EQ(listLength(), 2);
    zvkTrackedFree(c);   // the head
    EXPECT_EQ(listLength(), 1);
    zvkTrackedFree(nullptr);
    zvkTrackedFreeAll(&ru);
    EXPECT_EQ(ru.storage, nullptr);
}

TEST_F(Tracked, FreeAfterTrackingChangedReleasesTheRightBlock) {
    void* tracked = zvkTrackedAlloc(16);
    pc->flags &= static_cast<uint8_t>(~PROC_FLAG_TRACKING);
    void* plain = zvkTrackedAlloc(16);
    EXPECT_EQ(listLength(), 1);
    zvkTrackedFree(tracked);   // still unlinked from its own list
    EXPECT_EQ(listLength(), 0);
    pc->flags |= PROC_FLAG_TRACKING;
    zvkTrackedFree(plain);     // and a plain block is not looked for there
    EXPECT_EQ(listLength(), 0);
}

TEST(Allocators, CheckingWrappersAssertOnNullTracingWrappersPrintThenWork) {
    char buf[8] = "abc";
    EXPECT_EQ(c__strlen(buf), 3u);
    EXPECT_EQ(c__strcmp(buf, "abc"), 0);
    EXPECT_DEATH(c__memcpy(nullptr, buf, 1), "\\(s1\\)!=\\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(c__strcpy(buf, nullptr), "\\(s2\\)!=\\(\\(void \\*\\)0\\)");
    EXPECT_DEATH(c__strlen(nullptr), "\\(s1\\)!=\\(\\(void \\*\\)0\\)");

    char a[4] = "xyz", b[4] = "xyq";
    testing::internal::CaptureStderr();
    dbg_memset(a, 'k', 1);
    int cmp = dbg_memcmp(a, b, 3);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(a[0], 'k');
    EXPECT_LT(cmp, 0);
    char expected[128];
    snprintf(expected, sizeof expected, "memset(@%p, 0x6b, 1\nmemcmp(@%p, @%p, 3\n", static_cast<void*>(a),
             static_cast<void*>(a), static_cast<void*>(b));
    EXPECT_EQ(err, expected);
}
