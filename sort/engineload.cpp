// The sort engine, a library of its own loaded on the first SORT or MERGE
// of the process, and the names of the spill files.

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "frame/loader.h"
#include "frame/messages.h"
#include "sort/sortrun.h"

namespace {

// Unlocked in the sense that the first sorts of two threads may both load:
// the loser gives its reference back.
zvkSortEngine engineEntry = nullptr;
void* engineHandle = nullptr;

// TMPDIR, unless unset, empty or not writable: then the current directory.
void chooseTempDir(Proccom* pc) {
    const char* dir = getenv("TMPDIR");
    if (!dir || !*dir || access(dir, W_OK) != 0) dir = ".";
    char* copy = strdup(dir);
    if (!copy) {
        zvkWriteMsg(907, 0);
        return;
    }
    free(pc->tempDir);
    pc->tempDir = copy;
}

zvkSortEngine load(Proccom* pc) {
    char why[512] = "";
    void* handle = zvkLoadModule(ZVK_SORT_ENGINE_LIBRARY, RTLD_NOW, pc->libDir, pc->installDir, why, sizeof why);
    if (!handle) {
        fprintf(stderr, "dlopen fail: %s\n", why);
        return nullptr;
    }
    dlerror();
    void* entry = dlvsym(handle, "sortmerge", ZVK_SORT_ENGINE_VERSION);
    if (!entry) entry = dlsym(handle, "sortmerge");
    if (!entry) {
        const char* text = dlerror();
        fprintf(stderr, "dlsym fail: %s\n", text ? text : "");
        dlclose(handle);
        return nullptr;
    }
    void* none = nullptr;
    if (!__atomic_compare_exchange_n(&engineHandle, &none, handle, false, __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
        dlclose(handle);   // another thread's load won: the same library
        return __atomic_load_n(&engineEntry, __ATOMIC_ACQUIRE);
    }
    auto typed = reinterpret_cast<zvkSortEngine>(entry);
    __atomic_store_n(&engineEntry, typed, __ATOMIC_RELEASE);
    return typed;
}

}  // namespace

extern "C" {

zvkSortEngine zvkSortEngineEntry(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    zvkSortEngine entry = __atomic_load_n(&engineEntry, __ATOMIC_ACQUIRE);
    if (!entry && !(entry = load(pc))) return nullptr;
    // Chosen at the load, and again after a restart of the runtime, whose
    // end frees it while the engine may stay loaded.
    if (!pc->tempDir) chooseTempDir(pc);
    return entry;
}

void zvkSortEndRun(void) {
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1));
    if (!rec) return;
    zvkSortEngine entry = __atomic_load_n(&engineEntry, __ATOMIC_ACQUIRE);
    if (rec->active == 1 && entry) entry(ZVK_SORT_END_RUN, 0, 0, 0, nullptr, {}, {}, {}, {});
    // The entry goes with its library: a later sort (after a restart of the
    // runtime in this process) loads the engine again.
    __atomic_store_n(&engineEntry, nullptr, __ATOMIC_RELEASE);
    if (void* handle = __atomic_exchange_n(&engineHandle, nullptr, __ATOMIC_ACQ_REL)) dlclose(handle);
}

void zvkSortSpillName(char* out, const char* tempDir, const char* prefix, const SortThreadRecord* rec) {
    const Proccom* pc = _zvkProccom;
    if (!tempDir) tempDir = ".";
    const size_t n = strlen(tempDir);
    const char* slash = n && tempDir[n - 1] == '/' ? "" : "/";
    snprintf(out, kSpillPathSize, "%s%s%s%010u.%010u", tempDir, slash, prefix,
             static_cast<unsigned>(pc ? pc->pid : 0), static_cast<unsigned>(rec->threadId & 0xFFFFFFFFu));
}

}  // extern "C"
