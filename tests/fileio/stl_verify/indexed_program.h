// A program with indexed files on one assignment, laid out as compiled
// code lays it out (PCB, IPCB, FIB with its key table, FCB, record areas,
// FILE STATUS fields), whose verbs the tests call through the FCB slots.
// The record, 40 bytes:
//   05 R-KEY   PIC X(8).   prime key
//   05 R-ALT   PIC X(6).   alternate key WITH DUPLICATES
//   05 R-COUNT PIC 9(8).
//   05 R-DATA  PIC X(18).
// Each process opens its own files (after fork, too): a module's open
// file is never used across fork.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "kvr2/kvr2.h"

namespace stlverify {

constexpr uint32_t kRecord = 40, kKey = 8, kAlt = 6, kAltAt = 8, kCountAt = 14, kDataAt = 22;
constexpr int kMaxFiles = 2;

// SHARE and LOCK as FIB offsets 80 and 82 carry them.
struct Sharing {
    uint8_t shareLock = 0;   // FIB offset 3: the clauses are present
    uint8_t shareMode = 0;
    uint8_t lockMode = 0;
};

std::string key(uint64_t n);                  // "K" and 7 digits
std::string alt(uint64_t n);                  // "A" and 5 digits

class IndexedProgram {
public:
    // A new program whose `files` FCBs (SELECTs) name the same file.  Its
    // records live to the process end, as compiled code's static records
    // do: the run unit's end closes what is still open through them.
    static IndexedProgram& make(const std::string& assignment, int files, Sharing sharing = {});
    IndexedProgram(const IndexedProgram&) = delete;

    int32_t open(int f, uint16_t mode);
    int32_t close(int f);
    // WRITE and REWRITE of R-KEY, R-ALT, R-COUNT; R-DATA from the key.
    int32_t write(int f, const std::string& k, const std::string& a, uint32_t count);
    int32_t rewrite(int f, const std::string& k, const std::string& a, uint32_t count);
    // READ by a key (0 prime, 1 alternate) of the value given; more: lock phrases.
    int32_t readKey(int f, uint32_t keyOfReference, const std::string& value, uint32_t more = 0);
    int32_t readNext(int f, uint32_t more = 0);
    int32_t readPrevious(int f);
    int32_t start(int f, uint32_t keyOfReference, uint32_t relation, const std::string& value);
    int32_t remove(int f, const std::string& k);
    int32_t unlock(int f);

    // The record area's fields after a READ.
    std::string recordKey(int f) const;
    std::string recordAlt(int f) const;
    uint32_t recordCount(int f) const;
    bool recordDataMatches(int f) const;   // R-DATA is what WRITE put there for R-KEY
    // The FILE STATUS field, as the program sees it.
    std::string status(int f) const { return std::string(statusFields_ + 2 * f, 2); }
    FCB& fcb(int f) { return fcbs_[f]; }

private:
    IndexedProgram(const std::string& assignment, int files, Sharing sharing);
    void put(int f, const std::string& k, const std::string& a, uint32_t count);
    int32_t verb(int f, zvkFileVerb slot, uint32_t how, uint32_t length);

    struct FibImage {
        FIB fib;
        ZvkFileKey keys[2];
    };
    struct alignas(16) Area {
        uint8_t header[32];
        uint8_t record[kRecord];
    };
    alignas(16) PCB pcb_{};
    alignas(16) IPCB ipcb_[1]{};
    alignas(16) FibImage fibs_[kMaxFiles]{};
    alignas(16) FCB fcbs_[kMaxFiles]{};
    FIB* fibList_[kMaxFiles]{};
    void* fcbList_[kMaxFiles]{};
    Area areas_[kMaxFiles]{};
    void* cells_[kMaxFiles]{};
    char statusFields_[2 * kMaxFiles]{};
    void* statusCell_ = statusFields_;
    char assignment_[256]{};
    char name_[16]{};
};

}  // namespace stlverify
