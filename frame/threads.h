// Locks and the per-thread area: what every subsystem may take from the
// frame to be safe on the program's own threads.
#pragma once

#include <pthread.h>
#include <cstddef>
#include <cstdint>

#include "kvr2/records.h"

extern "C" {

// zvkLock tries first and reports contention on stderr, then blocks.
void zvkLock(pthread_mutex_t* mutex);
void zvkUnlock(pthread_mutex_t* mutex);
extern pthread_mutex_t enterMutex;     // ent and active counts
extern pthread_mutex_t runUnitMutex;   // start and end of run units
extern pthread_mutex_t programMutex;   // program tables
extern pthread_mutex_t streamMutex;    // binding of device streams
extern pthread_mutex_t externalMutex;  // EXTERNAL data items

// Lock only when the process is not single-threaded (transaction monitor).
inline bool zvkSingleThreaded() { return _zvkProccom && _zvkProccom->txmn != 0; }
inline void zvkLockMt(pthread_mutex_t* m) { if (!zvkSingleThreaded()) zvkLock(m); }
inline void zvkUnlockMt(pthread_mutex_t* m) { if (!zvkSingleThreaded()) zvkUnlock(m); }

struct SortRecordDesc;
struct SortFileList;

// Zeroed at creation, kept for the life of the thread.  Behind the scratch
// area lie the fields of a SORT or MERGE that lives across several calls
// (start, RELEASEs, the engine's run, RETURNs); the frame only frees their
// two blocks with the record.
struct ThreadRecord {
    uint64_t threadId;          // pthread_self() at creation
    void* scratch;
    uint64_t scratchSize;
    int64_t fill;               // bytes held (RELEASE) or consumed (RETURN); -1: sorted, not yet read
    uint64_t fileOffset;        // next read position in the output spill file
    char* spillPath;            // 1,024 bytes; empty: no spill file
    uint8_t* buffer;            // the 262,144-byte record buffer, 16-aligned
    uint8_t* cursor;            // next byte of the buffer to write or read
    SortRecordDesc* recordDesc; // the start's arguments, for the later calls
    uint64_t* eighth;
    SortFileList* usingList;
    SortFileList* givingList;
    uintptr_t fourth;
    char* fifth;
    const char* tempDir;
    uint64_t capacity;          // bytes the buffer may hold or holds
    uint32_t engineFlags;
    uint32_t sortErrno;         // the engine's error number after its last call
    uint16_t active;            // 1 while the engine runs
    uint8_t reserved[6];
};
static_assert(offsetof(ThreadRecord, threadId) == 0);
static_assert(offsetof(ThreadRecord, scratch) == 8);
static_assert(offsetof(ThreadRecord, scratchSize) == 16);
static_assert(offsetof(ThreadRecord, fill) == 24);
static_assert(offsetof(ThreadRecord, fileOffset) == 32);
static_assert(offsetof(ThreadRecord, spillPath) == 40);
static_assert(offsetof(ThreadRecord, buffer) == 48);
static_assert(offsetof(ThreadRecord, cursor) == 56);
static_assert(offsetof(ThreadRecord, recordDesc) == 64);
static_assert(offsetof(ThreadRecord, eighth) == 72);
static_assert(offsetof(ThreadRecord, usingList) == 80);
static_assert(offsetof(ThreadRecord, givingList) == 88);
static_assert(offsetof(ThreadRecord, fourth) == 96);
static_assert(offsetof(ThreadRecord, fifth) == 104);
static_assert(offsetof(ThreadRecord, tempDir) == 112);
static_assert(offsetof(ThreadRecord, capacity) == 120);
static_assert(offsetof(ThreadRecord, engineFlags) == 128);
static_assert(offsetof(ThreadRecord, sortErrno) == 132);
static_assert(offsetof(ThreadRecord, active) == 136);
static_assert(sizeof(ThreadRecord) == 144);
// size -1: the record or null, never allocates; 0: the record; >0 scratch.
void* zvkThreadScratch(int64_t size);
void zvkThreadScratchRelease(void);   // this thread's record, at runtime end

}  // extern "C"
