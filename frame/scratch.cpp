// The per-thread area: one record per thread, with a scratch buffer that
// entries returning values of unknown length hand back to compiled code.

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include "frame/messages.h"
#include "frame/threads.h"

namespace {

pthread_once_t keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t threadKey;
bool keyMade = false;

void releaseRecord(void* p) {
    ThreadRecord* rec = static_cast<ThreadRecord*>(p);
    if (!rec) return;
    // The sort's buffer and spill name are kept from sort to sort on a
    // thread; they go with the thread, not to a leak.
    free(rec->buffer);
    free(rec->spillPath);
    free(rec->scratch);
    free(rec);
}

void makeKey() { keyMade = pthread_key_create(&threadKey, releaseRecord) == 0; }

ThreadRecord* currentRecord(Proccom* pc) {
    if (__atomic_load_n(&pc->threadKey, __ATOMIC_RELAXED) == 0xFFFFFFFFu)
        return static_cast<ThreadRecord*>(pc->threadFallback);
    return static_cast<ThreadRecord*>(pthread_getspecific(threadKey));
}

}  // namespace

extern "C" {

void* zvkThreadScratch(int64_t size) {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    pthread_once(&keyOnce, makeKey);
    // Every thread's first call may copy the key: the same value, written
    // and read atomically.
    if (keyMade && __atomic_load_n(&pc->threadKey, __ATOMIC_RELAXED) == 0xFFFFFFFFu)
        __atomic_store_n(&pc->threadKey, static_cast<uint32_t>(threadKey), __ATOMIC_RELAXED);

    ThreadRecord* rec = currentRecord(pc);
    if (size == -1) return rec;
    if (!rec) {
        rec = static_cast<ThreadRecord*>(aligned_alloc(16, sizeof(ThreadRecord)));
        if (!rec) {
            zvkWriteMsg(907, 0);
            return nullptr;
        }
        memset(rec, 0, sizeof *rec);
        rec->threadId = static_cast<uint64_t>(pthread_self());
        if (__atomic_load_n(&pc->threadKey, __ATOMIC_RELAXED) == 0xFFFFFFFFu)
            pc->threadFallback = rec;
        else
            pthread_setspecific(threadKey, rec);
    }
    if (size == 0) return rec;
    uint64_t want = static_cast<uint64_t>(size);
    if (want > rec->scratchSize) {
        free(rec->scratch);
        rec->scratch = nullptr;
        rec->scratchSize = 0;
        uint64_t rounded = (want + 15) & ~uint64_t(15);
        void* p = malloc(rounded);
        if (!p) {
            zvkWriteMsg(907, 0);
            return nullptr;
        }
        rec->scratch = p;
        rec->scratchSize = rounded;
    }
    return rec->scratch;
}

void zvkThreadScratchRelease(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    ThreadRecord* rec = currentRecord(pc);
    if (!rec) return;
    releaseRecord(rec);
    if (pc->threadKey == 0xFFFFFFFFu)
        pc->threadFallback = nullptr;
    else
        pthread_setspecific(threadKey, nullptr);
}

}  // extern "C"
