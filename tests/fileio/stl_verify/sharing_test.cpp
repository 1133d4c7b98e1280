// Files shared between FCBs of one process and between processes: a
// record locked through one is status 51 through the other, an OPEN that
// asks for the file alone while another has it open is 61 (and the other
// way round), and concurrent read-lock-rewrite cycles lose no update.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "indexed_program.h"
#include "tempdir.h"

namespace stlverify {
namespace {

// FIB.shareMode 1 SHARING WITH ALL OTHER, 3 WITH NO OTHER; FIB.lockMode
// 1 LOCK MODE MANUAL.
constexpr Sharing kShared{1, 1, 1};
constexpr Sharing kAlone{1, 3, 1};

constexpr uint32_t kContended = 4;   // records both processes update

class Sharing : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(tmp_.path.empty());
        dir_ = tmp_.path;
        file_ = dir_ + "/shared.dat";
        // Records K0000000.. with count 0, alternate keys in 3 groups.
        IndexedProgram& p = IndexedProgram::make(file_, 1);
        ASSERT_EQ(p.open(0, ZVK_OPEN_OUTPUT), 0);
        for (uint32_t i = 0; i < kRecords; ++i) ASSERT_LT(p.write(0, key(i), alt(i % 3), 0), 10);
        ASSERT_EQ(p.close(0), 0);
    }

    // The file's records, each sound, as many by either key.
    void expectContent(uint32_t total) {
        IndexedProgram& p = IndexedProgram::make(file_, 1);
        ASSERT_EQ(p.open(0, ZVK_OPEN_INPUT), 0);
        uint32_t n = 0;
        ASSERT_EQ(p.start(0, 0, ZVK_START_NOT_LESS, std::string(kKey, '\0')), 0);
        while (p.readNext(0) < 10) {
            ++n;
            EXPECT_TRUE(p.recordDataMatches(0)) << p.recordKey(0);
        }
        EXPECT_EQ(p.status(0), "10");
        EXPECT_EQ(n, total);
        // Through the alternate key too.
        n = 0;
        ASSERT_EQ(p.start(0, 1, ZVK_START_NOT_LESS, std::string(kAlt, '\0')), 0);
        while (p.readNext(0) < 10) ++n;
        EXPECT_EQ(n, total);
        EXPECT_EQ(p.close(0), 0);
    }

    static constexpr uint32_t kRecords = 12;
    scenario::TempDir tmp_;
    std::string dir_, file_;
};

TEST_F(Sharing, TwoFcbsInOneProcessSeeEachOthersRecordLocks) {
    IndexedProgram& p = IndexedProgram::make(file_, 2, kShared);
    ASSERT_EQ(p.open(0, ZVK_OPEN_IO), 0);
    ASSERT_EQ(p.open(1, ZVK_OPEN_IO), 0);
    ASSERT_EQ(p.readKey(0, 0, key(3), ZVK_LOCK_WITH), 0);
    EXPECT_EQ(p.readKey(1, 0, key(3), ZVK_LOCK_WITH), 51);
    EXPECT_EQ(p.status(1), "51");
    EXPECT_EQ(p.rewrite(1, key(3), alt(0), 7), 51) << "a locked record is not rewritten through another FCB";
    EXPECT_EQ(p.remove(1, key(3)), 51) << "nor deleted";
    // Another record is free; the lock is the record's, not the file's.
    EXPECT_EQ(p.readKey(1, 0, key(4), ZVK_LOCK_WITH), 0);
    EXPECT_EQ(p.readKey(0, 0, key(4), ZVK_LOCK_WITH), 51);
    // The holder rewrites its own locked record.
    EXPECT_EQ(p.rewrite(0, key(3), alt(0), 1), 0);
    EXPECT_EQ(p.unlock(0), 0);
    EXPECT_EQ(p.unlock(1), 0);
    EXPECT_EQ(p.readKey(1, 0, key(3), ZVK_LOCK_WITH), 0);
    EXPECT_EQ(p.recordCount(1), 1u);
    EXPECT_EQ(p.rewrite(1, key(3), alt(0), 0), 0);
    // CLOSE releases the locks.
    EXPECT_EQ(p.close(1), 0);
    EXPECT_EQ(p.readKey(0, 0, key(3), ZVK_LOCK_WITH), 0);
    EXPECT_EQ(p.close(0), 0);
    expectContent(kRecords);
}

TEST_F(Sharing, OpenForTheFileAloneGives61WhileAnotherHasItOpen) {
    IndexedProgram& alone = IndexedProgram::make(file_, 1, kAlone);
    IndexedProgram& shared = IndexedProgram::make(file_, 1, kShared);
    ASSERT_EQ(alone.open(0, ZVK_OPEN_IO), 0);
    EXPECT_EQ(shared.open(0, ZVK_OPEN_IO), 61);
    EXPECT_EQ(shared.status(0), "61");
    EXPECT_EQ(shared.open(0, ZVK_OPEN_INPUT), 61);
    ASSERT_EQ(alone.close(0), 0);
    ASSERT_EQ(shared.open(0, ZVK_OPEN_IO), 0) << "a refused OPEN can be tried again";
    EXPECT_EQ(alone.open(0, ZVK_OPEN_IO), 61);
    EXPECT_EQ(alone.open(0, ZVK_OPEN_OUTPUT), 61) << "OUTPUT would empty a file in use";
    ASSERT_EQ(shared.close(0), 0);
    expectContent(kRecords);
}

// READ WITH LOCK until the record is free, pause with the lock held, then
// REWRITE one more, UNLOCK; and a WRITE of a record of one's own.  Returns
// 0, or the step that failed; *busy counts the 51s met.
int increments(const std::string& file, uint32_t rounds, uint32_t firstOwn, uint32_t* busy) {
    IndexedProgram& p = IndexedProgram::make(file, 1, kShared);
    if (p.open(0, ZVK_OPEN_IO) != 0) return 1;
    for (uint32_t i = 0; i < rounds; ++i) {
        const std::string k = key(i % kContended);
        int32_t s;
        for (int tries = 0; (s = p.readKey(0, 0, k, ZVK_LOCK_WITH)) == 51; ++tries, ++*busy) {
            if (tries > 200000) return 2;
            usleep(10);
        }
        if (s != 0) return 3;
        usleep(20);
        if (p.rewrite(0, k, p.recordAlt(0), p.recordCount(0) + 1) != 0) return 4;
        if (p.unlock(0) != 0) return 5;
        if (p.write(0, key(firstOwn + i), alt(i % 5), 0) > 9) return 6;
    }
    return p.close(0) == 0 ? 0 : 7;
}

TEST_F(Sharing, TwoProcessesSeeEachOthersLocksAndLoseNoUpdate) {
    int toChild[2], toParent[2];
    ASSERT_EQ(pipe(toChild), 0);
    ASSERT_EQ(pipe(toParent), 0);
    constexpr uint32_t kRounds = 600;
    const pid_t pid = fork();
    if (pid == 0) {
        // The child locks K0000005 and holds it until the parent has seen
        // the lock; then both update the shared records together.
        char c = 0;
        IndexedProgram& p = IndexedProgram::make(file_, 1, kShared);
        if (p.open(0, ZVK_OPEN_IO) != 0 || p.readKey(0, 0, key(5), ZVK_LOCK_WITH) != 0) _exit(10);
        if (write(toParent[1], "L", 1) != 1 || read(toChild[0], &c, 1) != 1) _exit(11);
        if (p.unlock(0) != 0 || p.close(0) != 0) _exit(12);
        if (write(toParent[1], "U", 1) != 1 || read(toChild[0], &c, 1) != 1) _exit(13);
        uint32_t busy = 0;
        const int step = increments(file_, kRounds, 1000000, &busy);
        if (write(toParent[1], &busy, sizeof busy) != sizeof busy) _exit(14);
        _exit(step);
    }
    char c = 0;
    IndexedProgram& p = IndexedProgram::make(file_, 1, kShared);
    ASSERT_EQ(p.open(0, ZVK_OPEN_IO), 0);
    ASSERT_EQ(read(toParent[0], &c, 1), 1);
    EXPECT_EQ(p.readKey(0, 0, key(5), ZVK_LOCK_WITH), 51) << "the child's lock is not seen";
    EXPECT_EQ(p.rewrite(0, key(5), alt(2), 9), 51);
    EXPECT_EQ(p.readKey(0, 0, key(6), ZVK_LOCK_WITH), 0);
    EXPECT_EQ(p.unlock(0), 0);
    ASSERT_EQ(write(toChild[1], "1", 1), 1);
    ASSERT_EQ(read(toParent[0], &c, 1), 1);
    EXPECT_EQ(p.readKey(0, 0, key(5), ZVK_LOCK_WITH), 0) << "the child's lock outlived its UNLOCK and CLOSE";
    EXPECT_EQ(p.unlock(0), 0);
    ASSERT_EQ(p.close(0), 0);
    ASSERT_EQ(write(toChild[1], "2", 1), 1);
    uint32_t busy = 0, childBusy = 0;
    EXPECT_EQ(increments(file_, kRounds, 2000000, &busy), 0);
    EXPECT_EQ(read(toParent[0], &childBusy, sizeof childBusy), static_cast<ssize_t>(sizeof childBusy));
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_TRUE(WIFEXITED(status)) << status;
    ASSERT_EQ(WEXITSTATUS(status), 0) << "the child failed at step " << WEXITSTATUS(status);
    EXPECT_GT(busy + childBusy, 0u) << "the two never met on a record: nothing was shown";
    // Every increment is there: 2 * kRounds over the contended records.
    IndexedProgram& check = IndexedProgram::make(file_, 1);
    ASSERT_EQ(check.open(0, ZVK_OPEN_INPUT), 0);
    for (uint32_t i = 0; i < kRecords; ++i) {
        ASSERT_EQ(check.readKey(0, 0, key(i)), 0);
        EXPECT_EQ(check.recordCount(0), i < kContended ? 2 * kRounds / kContended : 0) << key(i);
    }
    ASSERT_EQ(check.close(0), 0);
    expectContent(kRecords + 2 * kRounds);
}

}  // namespace
}  // namespace stlverify
