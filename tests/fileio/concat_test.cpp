// Concatenated names through the entry points the open loop calls: the
// split of "a:b:c", single generations, and groups walked newest first.

#include "gdg_fixture.h"

#include <thread>

#include "fileio/concat.h"
#include "kvr2/filemodule.h"

namespace {

class Concat : public gdgtest::TempDirTest {
protected:
    uint32_t isConcat = 99;
    char prefix[4] = "sys";
    ConcatRecord* check(const std::string& name, uint32_t create = 0) {
        std::vector<char> copy(name.begin(), name.end());
        copy.push_back(0);
        isConcat = 99;
        uint32_t p;
        memcpy(&p, prefix, 4);
        return _zvk_Concat_Check(copy.data(), &isConcat, create, &p);
    }
    static std::vector<std::string> walk(ConcatRecord* r) {
        std::vector<std::string> names;
        while (const char* n = _zvk_Concat_Next(r)) names.push_back(n);
        return names;
    }
    static std::string dump(ConcatRecord* r) {
        testing::internal::CaptureStdout();
        zvkConcatDump(r);
        return testing::internal::GetCapturedStdout();
    }
    std::string makeGroup(const std::string& name, int generations) {
        std::string grp = path(name);
        EXPECT_EQ(GDG_Create(grp.c_str(), 10, 0, -1, nullptr), 0);
        for (int i = 0; i < generations; ++i) addGeneration(grp);
        return grp;
    }
};

TEST_F(Concat, ColonsSplitRunsCountAsOneAndTheDumpShowsTheRecord) {
    ConcatRecord* r = check("a:b::c:");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(isConcat, 1u);
    EXPECT_EQ(dump(r),
              "Concatenation data:\n  Entries:    3\n  Next:       0\n  Generation: 0\n  Flags:      0\n"
              "  Namespace:  sys\n  Names:\n    a\n    b\n    c\n");
    EXPECT_EQ(walk(r), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(_zvk_Concat_Next(r), nullptr);
    _zvk_Concat_Free(r);

    r = check(":a");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(isConcat, 1u);
    EXPECT_EQ(walk(r), (std::vector<std::string>{"a"}));
    _zvk_Concat_Free(r);

    EXPECT_EQ(check("/.:/txmn/hdk/srv/file"), nullptr) << "the ':' of '/.:/' belongs to the name";
    EXPECT_EQ(isConcat, 0u);
    r = check("/.:/txmn/hdk/s/f1:/.:/txmn/hdk/s/f2");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(walk(r), (std::vector<std::string>{"/.:/txmn/hdk/s/f1", "/.:/txmn/hdk/s/f2"}));
    _zvk_Concat_Free(r);
    EXPECT_EQ(check(path("plain")), nullptr);
    EXPECT_EQ(isConcat, 0u);
}

TEST_F(Concat, AtMost256Names) {
    std::string names = "n";
    for (int i = 1; i < 256; ++i) names += ":n";
    ConcatRecord* r = check(names);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->entries, 256u);
    _zvk_Concat_Free(r);
    EXPECT_EQ(check(names + ":n"), nullptr);
    EXPECT_EQ(isConcat, 1u) << "a list, and one that cannot be opened";
}

TEST_F(Concat, FilesAndAGroupAreWalkedInOrderTheGroupNewestFirst) {
    std::string grp = makeGroup("grp", 3);
    ConcatRecord* r = check("f1:" + grp + ":f2");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(walk(r), (std::vector<std::string>{"f1", generation(grp, 3), generation(grp, 2), generation(grp, 1), "f2"}));
    _zvk_Concat_Free(r);

    // A single generation in the list is its file.
    r = check("f1:" + grp + "(-1):f2");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(walk(r), (std::vector<std::string>{"f1", generation(grp, 2), "f2"}));
    _zvk_Concat_Free(r);

    r = check(grp + "(*)");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(isConcat, 1u);
    EXPECT_EQ(_zvk_Concat_Next(r), generation(grp, 3));
    EXPECT_EQ(dump(r), "Concatenation data:\n  Entries:    1\n  Next:       0\n  Generation: 0\n  Flags:      1\n"
                       "  Namespace:  sys\n  Names:\n    " + grp + "\n");
    _zvk_Concat_Free(r);
}

TEST_F(Concat, AnEmptyGroupGivesNothingAtOnce) {
    std::string grp = makeGroup("grp", 0);
    ConcatRecord* r = check(grp);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(isConcat, 1u);
    EXPECT_EQ(_zvk_Concat_Next(r), nullptr);
    _zvk_Concat_Free(r);
}

TEST_F(Concat, ANewGenerationIsARecordOfOne) {
    std::string grp = makeGroup("grp", 2);
    ConcatRecord* r = check(grp + "(+1)", 1);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(isConcat, 0u);
    EXPECT_EQ(walk(r), (std::vector<std::string>{generation(grp, 3)}));
    _zvk_Concat_Free(r);
    EXPECT_EQ(entriesOf(grp), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(check(grp + "(-5)"), nullptr);
    EXPECT_EQ(isConcat, 0u);
}

// Two walks in one thread, and walks on two threads, do not disturb each
// other: each record keeps its group's name, each thread its own buffer.
TEST_F(Concat, WalksInterleavedAndOnTwoThreadsStayApart) {
    std::string a = makeGroup("a", 2), b = makeGroup("b", 2);
    ConcatRecord* ra = check(a);
    ConcatRecord* rb = check(b);
    EXPECT_EQ(_zvk_Concat_Next(ra), generation(a, 2));
    EXPECT_EQ(_zvk_Concat_Next(rb), generation(b, 2));
    EXPECT_EQ(_zvk_Concat_Next(ra), generation(a, 1));
    EXPECT_EQ(_zvk_Concat_Next(rb), generation(b, 1));
    EXPECT_EQ(_zvk_Concat_Next(ra), nullptr);
    _zvk_Concat_Free(ra);
    _zvk_Concat_Free(rb);

    ra = check(a);
    rb = check(b);
    const char* mine = _zvk_Concat_Next(ra);
    std::string theirs;
    const char* theirBuffer = nullptr;
    std::thread t([&] {
        theirBuffer = _zvk_Concat_Next(rb);
        theirs = theirBuffer;
    });
    t.join();
    EXPECT_NE(static_cast<const void*>(mine), static_cast<const void*>(theirBuffer));
    EXPECT_EQ(std::string(mine), generation(a, 2));
    EXPECT_EQ(theirs, generation(b, 2));
    _zvk_Concat_Free(ra);
    _zvk_Concat_Free(rb);
}

}  // namespace
