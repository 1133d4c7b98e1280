// Locks and the per-thread area: what every subsystem may take from the
// frame to be safe on the program's own threads.
#pragma once

#include <pthread.h>
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

struct ThreadRecord {
    uint64_t threadId;
    void* scratch;
    uint64_t scratchSize;
    uint8_t sort[120];      // the sort subsystem's per-thread fields
};
static_assert(sizeof(ThreadRecord) == 144);
// size -1: the record or null, never allocates; 0: the record; >0 scratch.
void* zvkThreadScratch(int64_t size);
void zvkThreadScratchRelease(void);   // this thread's record, at runtime end

}  // extern "C"
