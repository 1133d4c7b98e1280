// A process killed with SIGKILL while it writes an indexed file loses no
// record whose WRITE returned a good status: a child writes records with
// an alternate key WITH DUPLICATES and tells the parent each key it saw
// acknowledged through a pipe; the parent kills it mid-run, then opens the
// file and finds every acknowledged record by its prime key and by its
// alternate key, and the two indexes agreeing.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <map>
#include <random>
#include <set>
#include <vector>

#include "indexed_program.h"
#include "tempdir.h"

namespace stlverify {
namespace {

constexpr uint32_t kAlternates = 97;   // alternate key values: many duplicates each
constexpr uint32_t kUniverse = 9999991;

// Record i: a prime key spread over the key space, an alternate key
// shared with every 97th record, i as its count.
std::string primeOf(uint32_t i) { return key(static_cast<uint64_t>(i) * 7919 % kUniverse); }
std::string altOf(uint32_t i) { return alt(i % kAlternates); }

class Crash : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(tmp_.path.empty());
        dir_ = tmp_.path;
        file_ = dir_ + "/crash.dat";
    }

    // A child writes records first, first + 1, ... after OPEN mode, acknowledging each on
    // the pipe; it is killed once `ackBeforeKill` have come, after a
    // random pause.  Returns the acknowledged record numbers.
    std::vector<uint32_t> writeAndKill(uint32_t first, uint16_t mode, uint32_t ackBeforeKill, unsigned seed) {
        int fds[2];
        EXPECT_EQ(pipe(fds), 0);
        const pid_t pid = fork();
        if (pid == 0) {
            close(fds[0]);
            IndexedProgram& p = IndexedProgram::make(file_, 1);
            if (p.open(0, mode) > 9) _exit(3);
            for (uint32_t i = first;; ++i) {
                if (p.write(0, primeOf(i), altOf(i), i) > 9) _exit(4);
                if (::write(fds[1], &i, sizeof i) != sizeof i) _exit(5);
            }
        }
        close(fds[1]);
        std::vector<uint32_t> acked;
        std::mt19937 random(seed);
        uint32_t i;
        bool killed = false;
        while (read(fds[0], &i, sizeof i) == sizeof i) {
            acked.push_back(i);
            if (!killed && acked.size() >= ackBeforeKill) {
                usleep(random() % 3000);
                kill(pid, SIGKILL);
                killed = true;
            }
        }
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
            << "the writer ended by itself, status " << status;
        return acked;
    }

    // Every acknowledged record by both keys; the prime index and the
    // alternate index hold the same records.
    void verify(const std::vector<uint32_t>& acked) {
        IndexedProgram& p = IndexedProgram::make(file_, 1);
        ASSERT_EQ(p.open(0, ZVK_OPEN_INPUT), 0) << "FCB status " << p.fcb(0).status << " fs2 " << p.fcb(0).fs2;
        ASSERT_EQ(p.status(0), "00");
        for (uint32_t i : acked) {
            ASSERT_EQ(p.readKey(0, 0, primeOf(i)), 0) << "record " << i << " lost";
            ASSERT_EQ(p.recordAlt(0), altOf(i));
            ASSERT_EQ(p.recordCount(0), i);
            ASSERT_TRUE(p.recordDataMatches(0));
        }
        // The whole file by prime key, in order.
        std::map<std::string, uint32_t> byPrime;
        ASSERT_EQ(p.start(0, 0, ZVK_START_NOT_LESS, std::string(kKey, '\0')), 0);
        std::string last;
        while (p.readNext(0) < 10) {
            ASSERT_GT(p.recordKey(0), last);
            last = p.recordKey(0);
            byPrime[last] = p.recordCount(0);
        }
        ASSERT_EQ(p.status(0), "10");
        // Each alternate value: its duplicates in the order written.
        std::map<std::string, uint32_t> byAlt;
        for (uint32_t a = 0; a < kAlternates; ++a) {
            const int32_t s = p.readKey(0, 1, alt(a));
            if (s == 23) continue;
            ASSERT_LT(s, 10) << alt(a);   // 02 while more records follow with this value
            uint32_t previous = p.recordCount(0);
            byAlt[p.recordKey(0)] = previous;
            while (p.readNext(0) < 10 && p.recordAlt(0) == alt(a)) {
                ASSERT_GT(p.recordCount(0), previous) << "duplicates out of their order of writing";
                previous = p.recordCount(0);
                byAlt[p.recordKey(0)] = previous;
            }
        }
        EXPECT_EQ(byAlt, byPrime) << "the indexes disagree";
        for (uint32_t i : acked) EXPECT_EQ(byAlt.count(primeOf(i)), 1u) << "record " << i << " not on its alternate key";
        EXPECT_EQ(p.close(0), 0);
    }

    scenario::TempDir tmp_;
    std::string dir_, file_;
};

TEST_F(Crash, AcknowledgedWritesSurviveKillDuringOutputThenInputOutput) {
    const char* n = getenv("KVR2_CRASH_RECORDS");
    const uint32_t records = n && atoi(n) > 0 ? static_cast<uint32_t>(atoi(n)) : 4000;
    std::vector<uint32_t> all = writeAndKill(0, ZVK_OPEN_OUTPUT, records, 1);
    ASSERT_GE(all.size(), records);
    verify(all);
    // Killed again, adding to the file it reopened.
    std::vector<uint32_t> more = writeAndKill(all.back() + 1, ZVK_OPEN_IO, records, 2);
    ASSERT_GE(more.size(), records);
    all.insert(all.end(), more.begin(), more.end());
    verify(all);
}

TEST_F(Crash, KilledAtOnceLeavesAFileThatOpens) {
    // Killed within its first records, five times over.
    for (unsigned round = 0; round < 5; ++round) {
        std::vector<uint32_t> acked = writeAndKill(round * 1000000, round ? ZVK_OPEN_IO : ZVK_OPEN_OUTPUT, 1, round);
        if (round == 0 && acked.empty()) continue;
        verify(acked);
    }
}

}  // namespace
}  // namespace stlverify
