// The locking idiom and the five process-wide mutexes.
//
// Contention is made visible on purpose: a lock that cannot be taken at
// once is reported on stderr before the thread blocks on it.

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include "frame/threads.h"

extern "C" {

pthread_mutex_t enterMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t runUnitMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t programMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t streamMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t externalMutex = PTHREAD_MUTEX_INITIALIZER;

// A mutex that can be neither taken nor released means the process state
// is corrupt; stopping at once on a store to address zero leaves a core
// that shows where.
[[noreturn]] static void lockFailure() {
    *static_cast<volatile int*>(nullptr) = 0;
    __builtin_trap();
}

void zvkLock(pthread_mutex_t* mutex) {
    int rc = pthread_mutex_trylock(mutex);
    if (rc == 0) return;
    int err = errno;
    fprintf(stderr, "pthread_mutex_trylock rc %d %d: %s\n", rc, err, strerror(rc));
    if (pthread_mutex_lock(mutex) != 0) lockFailure();
}

void zvkUnlock(pthread_mutex_t* mutex) {
    int rc = pthread_mutex_unlock(mutex);
    if (rc != 0) {
        fprintf(stderr, "pthread_mutex_unlock rc %d\n", rc);
        lockFailure();
    }
}

}  // extern "C"
