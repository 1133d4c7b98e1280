// The program manager: dynamic CALL by name.  A name becomes the address of
// a program, loading its shared object along COBPATH if need be.  What was
// loaded is kept in the run unit's program table and, when caching is on,
// in the process-wide table (an MRU list) that the run unit's table falls
// through to, so that a program loaded in one run unit is still there in
// the next.  When the loader runs out of memory, the least recently used
// cached program is unloaded to make room.

#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "frame/messages.h"
#include "frame/programs.h"
#include "frame/rununit.h"
#include "frame/threads.h"
#include "frame/hashtable.h"
#include "kvr2/programs.h"

// The loader, replaceable by tests that need it to run out of memory.
extern "C" void* (*zvkCpmDlopen)(const char* path, int mode);
void* (*zvkCpmDlopen)(const char* path, int mode) = dlopen;

namespace {

constexpr size_t kMaxName = 160;
constexpr size_t kPathMax = 1024;

// Set on an LLE whose program the manager unloaded while the entry had to
// stay in its table (a run unit was active): the next CALL loads it again.
constexpr uint32_t LLE_UNLOADED = 0x02u;

HashTable* runUnitTable() {
    Proccom* pc = _zvkProccom;
    return pc && pc->runcom ? pc->runcom->plle : nullptr;
}

// The directories of COBPATH as consecutive terminated strings, ended by
// an empty one.  An empty part of the variable ends the list there.
const char* cobpathList() {
    Proccom* pc = _zvkProccom;
    if (pc->cobpath) return pc->cobpath;
    const char* v = getenv("COBPATH");
    if (!v || !*v) v = ".";
    size_t n = strlen(v);
    char* list = static_cast<char*>(malloc(n + 2));
    if (!list) return "\0";
    for (size_t i = 0; i < n; ++i) list[i] = v[i] == ':' ? '\0' : v[i];
    list[n] = list[n + 1] = '\0';
    pc->cobpath = list;
    return list;
}

void foldUpper(char* s, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (s[i] >= 'a' && s[i] <= 'z') s[i] = static_cast<char>(s[i] - 'a' + 'A');
}

// The name of a CALL or CANCEL: at most 160 bytes, trailing blanks and zero
// bytes dropped, folded when the calling program asks.  Result its length.
size_t takeName(const uint8_t* name, int64_t length, const PCB* caller, char out[kMaxName + 1]) {
    size_t n = length > 0 ? static_cast<size_t>(length) : 0;
    if (n > kMaxName) n = kMaxName;
    if (!name) n = 0;
    while (n > 0 && (name[n - 1] == ' ' || name[n - 1] == 0)) --n;
    if (n) memcpy(out, name, n);
    out[n] = 0;
    if (zvkIsRealPcb(caller) && (caller->flag & PCB_FLAG_FOLD_NAMES)) foldUpper(out, n);
    return n;
}

bool isAccessible(const char* path) { return access(path, R_OK | X_OK) == 0; }

bool debugOn() { return _zvkProccom && _zvkProccom->debug; }

// Unloads one LLE: its entry and registration go, and its object is closed
// if the manager opened it.
void unloadLle(LLE* lle) {
    if (!lle) return;
    lle->entry = nullptr;
    if (lle->pcb) lle->pcb->lle = nullptr;
    lle->pcb = nullptr;
    lle->ipcb = nullptr;
    if (lle->load && (lle->flags & LLE_LOADED_BY_MANAGER)) {
        errno = 0;
        dlerror();
        if (dlclose(lle->load) != 0) {
            const char* why = dlerror();
            if (why) fprintf(stderr, "CPM: dlclose(%p) for %.*s error: %d %s\n", lle->load,
                             static_cast<int>(lle->nameLength), lle->name, errno, why);
        }
        lle->load = nullptr;
        lle->flags = (lle->flags & ~LLE_LOADED_BY_MANAGER) | LLE_UNLOADED;
    }
}

// A program now entered must not have its code unloaded under it.
bool isEntered(const LLE* lle) { return lle->ipcb && lle->ipcb->ent > 0; }

// Makes room after the loader ran out of memory: unloads the least
// recently used cached program.  While a run unit is active its entry stays
// (unloaded) in the table.  Result: whether anything was freed.
bool evictOldest() {
    Proccom* pc = _zvkProccom;
    if (!pc || HashTable_IsEmpty(pc->plle)) return false;
    HashTable* t = pc->plle;
    HashEntry* victim = nullptr;
    // Oldest first along the MRU list; entries not on it (after a resize)
    // count as oldest of all.
    for (HashEntry* e = HashTable_Next(t, nullptr); e && !victim; e = HashTable_Next(t, e)) {
        LLE* lle = static_cast<LLE*>(e->value);
        if (e != t->mruHead && !e->newer && !e->older && lle && lle->load && !isEntered(lle)) victim = e;
    }
    for (HashEntry* e = t->mruTail; e && !victim; e = e->newer) {
        LLE* lle = static_cast<LLE*>(e->value);
        if (lle && lle->load && !isEntered(lle)) victim = e;
    }
    if (!victim) return false;
    LLE* lle = static_cast<LLE*>(victim->value);
    if (debugOn())
        zvkTrace("_zvk_cpm: evicting %.*s  load %p\n", static_cast<int>(lle->nameLength), lle->name, lle->load);
    unloadLle(lle);
    if (!pc->runcom) HashTable_Delete(t, nullptr, victim->key, victim->keyLength);
    return true;
}

// dlopen with the retry after eviction.  Result the handle; *noMemory tells
// why there is none.
void* openObject(const char* path, bool* noMemory) {
    for (;;) {
        errno = 0;
        dlerror();
        void* h = zvkCpmDlopen(path, RTLD_NOW);
        if (h) return h;
        *noMemory = errno == ENOMEM;
        if (!*noMemory || !evictOldest()) return nullptr;
    }
}

// Looks the name up in a compiled program's table of its nested programs.
// Result the row, or -1.
int findInNames(const int32_t* names, const char* name, size_t length) {
    if (!names || names[0] <= 0) return -1;
    const int32_t count = names[0];
    const int32_t* rows = names + 1;
    const char* text = reinterpret_cast<const char*>(rows + 3 * count);
    for (int32_t r = 0; r < count; ++r) {
        const int32_t len = rows[3 * r + 1], off = rows[3 * r + 2];
        if (len >= 0 && static_cast<size_t>(len) == length && memcmp(text + off, name, length) == 0) return r;
    }
    return -1;
}

uint64_t* resultRecord(void* entry) {
    uint64_t* rec = static_cast<uint64_t*>(zvkThreadScratch(16));
    if (!rec) return nullptr;
    rec[0] = reinterpret_cast<uint64_t>(entry);
    rec[1] = 0;
    return rec;
}

// Unloads every program of the process table; entries go too unless a run
// unit is active.  A program now entered (the one asking, say) keeps its
// code: unloading it would pull the ground from under it.
void destroyCache() {
    Proccom* pc = _zvkProccom;
    if (!pc || !pc->plle) return;
    HashTable* t = pc->plle;
    for (HashEntry* e = HashTable_Next(t, nullptr); e;) {
        HashEntry* next = HashTable_Next(t, e);
        LLE* lle = static_cast<LLE*>(e->value);
        if (!(pc->runcom && lle && isEntered(lle))) unloadLle(lle);
        e = next;
    }
    if (!pc->runcom) HashTable_Clear(t);
}

void printCache(bool contents) {
    Proccom* pc = _zvkProccom;
    fprintf(stderr, "COBOL is %s\n", pc && pc->runcom ? "Active" : "Inactive");
    if (!pc || !pc->plle) return;
    fputs("External Programs - Cache\n", stderr);
    HashTable_Stats(pc->plle);
    if (contents) HashTable_Dump(pc->plle);
    fflush(stderr);
}

// Why the last search of this thread found a file but could not load it
// (the loader's own words), for the message of a failed CALL; empty when
// nothing was found.
thread_local char loadFailure[512];

}  // namespace

extern "C" {

int32_t zvkFindInNames(const int32_t* names, const char* name, size_t length) {
    return findInNames(names, name, length);
}

size_t zvkTakeProgramName(const uint8_t* name, int64_t length, const PCB* caller, char* out) {
    return takeName(name, length, caller, out);
}

int zvkLoadProgram(LLE* lle) {
    Proccom* pc = _zvkProccom;
    const char* name = lle->name;
    char path[kPathMax];
    const char* found = nullptr;
    const char* list = cobpathList();
    if (pc->txmn) {
        for (const char* d = list; *d && !found; d += strlen(d) + 1) {
            snprintf(path, sizeof path, "%s%c%s.tqxcob", d, '/', name);
            if (isAccessible(path)) found = path;
            if (!found) {
                snprintf(path, sizeof path, "%s%c%s.so", d, '/', name);
                if (isAccessible(path)) found = path;
            }
        }
    }
    for (const char* d = list; *d && !found; d += strlen(d) + 1) {
        snprintf(path, sizeof path, "%s%c%s", d, '/', name);
        if (isAccessible(path)) found = path;
        if (!found) {
            snprintf(path, sizeof path, "%s%c%s.so", d, '/', name);
            if (isAccessible(path)) found = path;
        }
    }

    bool noMemory = false;
    void* handle = nullptr;
    loadFailure[0] = 0;
    if (found) {
        handle = openObject(found, &noMemory);
        if (!handle) {
            const char* why = dlerror();
            if (snprintf(loadFailure, sizeof loadFailure, " (%s)", why ? why : found) < 0) loadFailure[0] = 0;
            if (pc->debug) {
                zvkTrace("_zvk_cpm: Failed to locate %s in COBPATH (%s)\n", name, found);
                if (why) zvkTrace("CPM: dlopen(%s) error: %d %s\n", found, errno, why);
            }
            return noMemory ? 3 : 7;
        }
    } else {
        if (pc->txmn) {
            snprintf(path, sizeof path, "%s%s", name, ".tqxcob");
            handle = openObject(path, &noMemory);
        }
        if (!handle && !noMemory) handle = openObject(name, &noMemory);
        if (!handle) {
            if (pc->debug) zvkTrace("_zvk_cpm: Failed to locate %s in default search\n", name);
            return noMemory ? 3 : 7;
        }
    }

    lle->load = handle;
    void* entry = dlsym(handle, name);
    if (!entry && pc->txmn) entry = dlsym(handle, "_zvk_cobol_main");
    if (!entry) entry = dlsym(handle, "main");
    if (!entry) entry = dlsym(handle, "_start");
    if (entry) {
        lle->flags = (lle->flags | LLE_LOADED_BY_MANAGER) & ~LLE_UNLOADED;
        lle->entry = entry;
        return 0;
    }
    dlerror();
    if (dlclose(handle) != 0) {
        const char* why = dlerror();
        if (why) fprintf(stderr, "CPM: dlclose(%s) error: %d %s\n", name, errno, why);
    }
    lle->flags &= ~LLE_LOADED_BY_MANAGER;
    if (pc->debug) zvkTrace("_zvk_cpm: Failed to load %s  load %p  entry %p\n", name, lle->load, lle->entry);
    if (!lle->load) return 7;
    if (lle->entry) return 1;
    lle->load = nullptr;
    return 5;
}

KVR2_API void* _zvkDynLd(int32_t* names, int64_t length, uint8_t* name, PCB* caller, uint64_t* entries,
                         uint32_t* failures) {
    Proccom* pc = _zvkProccom;
    char text[kMaxName + 1];
    const size_t n = takeName(name, length, caller, text);
    int cause = 6;
    if (n > 0 && pc) {
        if (entries) {
            int row = findInNames(names, text, n);
            if (row >= 0) return &entries[row];
        }
        int lockHeld = 0;
        HashState state{};
        LLE* lle = zvkFindProgram(text, static_cast<uint32_t>(n), &state, &lockHeld, caller, "CALL");
        if (lle) {
            if (!lle->entry && (lle->flags & LLE_UNLOADED)) {
                // Unloaded to make room, or by ZVK_CPM_UNLOAD, while its
                // entry had to stay: load it again under the table's lock.
                zvkLockMt(&programMutex);
                if (!lle->entry) {
                    LLE fresh{};
                    fresh.name = lle->name;
                    fresh.nameLength = lle->nameLength;
                    if (zvkLoadProgram(&fresh) == 0) {
                        lle->load = fresh.load;
                        lle->entry = fresh.entry;
                        lle->flags = (lle->flags | LLE_LOADED_BY_MANAGER) & ~LLE_UNLOADED;
                    }
                }
                zvkUnlockMt(&programMutex);
            }
            if (lle->entry) return resultRecord(lle->entry);
            cause = 0;
        } else {
            LLE fresh{};
            fresh.name = text;
            fresh.nameLength = static_cast<uint32_t>(n);
            cause = zvkLoadProgram(&fresh);
            if (cause == 0) {
                LLE* stored = zvkAddProgram(&fresh, &state, 1);
                if (lockHeld) zvkUnlockMt(&programMutex);
                lockHeld = 0;
                if (stored && stored->entry) return resultRecord(stored->entry);
                cause = stored ? 0 : 3;
                if (!stored) {
                    dlclose(fresh.load);
                }
            }
            if (lockHeld) zvkUnlockMt(&programMutex);
        }
    }
    if (failures && *failures) {
        // The CALL has an ON EXCEPTION phrase, which looks at this count.
        ++*failures;
        return nullptr;
    }
    // The variant is the cause less one, kept to the variant's eight bits:
    // cause 0 (a known program without an entry address) must not turn on
    // control bits such as string mode.
    zvkWriteMsg(96, static_cast<uint32_t>(cause - 1) & 0xFFu, text, text, cause == 7 ? loadFailure : "");
    return nullptr;
}

void _zvk_cpm_create(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    const char* v = getenv("COBOL_CPM_CACHE");
    if (v && *v) {
        switch (v[0]) {
            case '1': case 'A': case 'a': case 'E': case 'e': case 'S': case 's':
            case 'T': case 't': case 'Y': case 'y':
                pc->cache = 1;
                break;
            case '0': case 'D': case 'd': case 'F': case 'f': case 'N': case 'n':
                pc->cache = 0;
                break;
            case 'O': case 'o':
                if (v[1] == 'N' || v[1] == 'n')
                    pc->cache = 1;
                else if (v[1] == 'F' || v[1] == 'f')
                    pc->cache = 0;
                break;
            default:
                pc->cache = 2;
                break;
        }
        return;
    }
    const char* size = getenv("COB_CPM_SIZE_MAX");
    if (size && *size) pc->cache = strtol(size, nullptr, 0) != 0 ? 1 : 0;
}

void _zvk_cpm_destroy(void) { destroyCache(); }

HashTable* zvkProgramTableCreate(HashTable* parent, bool mru) {
    HashParams p{};
    p.parent = parent;
    p.flags = mru ? HP_MRU : 0;
    return HashTable_Create(&p);
}

LLE* zvkFindProgram(const char* name, uint32_t length, void* state, int* lockHeld, PCB*, const char*) {
    HashTable* t = runUnitTable();
    if (!t) return nullptr;
    if (!*lockHeld) {
        zvkLockMt(&programMutex);
        *lockHeld = 1;
    }
    HashEntry* e = HashTable_Find(t, static_cast<HashState*>(state), name, length, 1, 1);
    if (e) {
        zvkUnlockMt(&programMutex);
        *lockHeld = 0;
        return static_cast<LLE*>(HashEntry_Value(e));
    }
    return nullptr;   // programMutex stays held for the insert
}

LLE* zvkAddProgram(LLE* lle, void* state, int flag) {
    HashTable* t = runUnitTable();
    if (!t) return nullptr;
    const int alsoParent = flag == 1 && t->parent != nullptr;
    HashEntry* e = HashTable_Insert(t, static_cast<HashState*>(state), lle->name, lle->nameLength, lle, sizeof(LLE),
                                    state == nullptr, alsoParent);
    if (!e) return nullptr;
    LLE* stored = static_cast<LLE*>(HashEntry_Value(e));
    // The table's copy of the name lives as long as the entry, whatever
    // becomes of the program that supplied it.
    HashEntry* owner = e;
    while (owner->parent) owner = owner->parent;
    stored->name = static_cast<const char*>(owner->key);
    return stored;
}

// At the end of a run unit: programs it loaded itself (not through the
// process-wide cache) are unloaded.
void zvkUnloadRunUnitPrograms(Runcom* ru) {
    if (!ru || !ru->plle) return;
    HashTable* t = ru->plle;
    for (HashEntry* e = HashTable_Next(t, nullptr); e; e = HashTable_Next(t, e)) {
        if (e->parent) continue;
        LLE* lle = static_cast<LLE*>(e->value);
        if (!lle || !lle->load) continue;
        unloadLle(lle);
        lle->flags &= LLE_SURVIVES_RUN_UNIT;
    }
}

KVR2_API void _zvk_cpm_enable(void) {
    Proccom* pc = _zvkProccom;
    if (pc) {
        zvkLockMt(&programMutex);
        pc->cache = 1;
        if (!pc->plle) pc->plle = zvkProgramTableCreate(nullptr, true);
        // Run units now active fall through to the new cache from now on.
        for (Runcom* ru = pc->runcom; ru; ru = ru->parent)
            if (ru->plle && !ru->plle->parent) ru->plle->parent = pc->plle;
        zvkUnlockMt(&programMutex);
    }
    setenv("COBOL_CPM_CACHE", "1", 1);
}

KVR2_API void _zvk_cpm_disable(void) {
    Proccom* pc = _zvkProccom;
    if (pc) {
        zvkLockMt(&programMutex);
        destroyCache();
        pc->cache = 0;
        zvkUnlockMt(&programMutex);
    }
    setenv("COBOL_CPM_CACHE", "0", 1);
}

KVR2_API int32_t _zvk_cpm_unload(const char* name) {
    Proccom* pc = _zvkProccom;
    if (!pc || !pc->plle || !name) return 0;
    size_t n = strnlen(name, kMaxName);
    zvkLockMt(&programMutex);
    HashEntry* e = HashTable_Find(pc->plle, nullptr, name, n, 0, 0);
    if (e) {
        LLE* lle = static_cast<LLE*>(e->value);
        if (!(pc->runcom && isEntered(lle))) unloadLle(lle);
        if (!pc->runcom) HashTable_Delete(pc->plle, nullptr, name, n);
    }
    zvkUnlockMt(&programMutex);
    return e ? 1 : 0;
}

KVR2_API void _zvk_cpm_unload_all(void) {
    zvkLockMt(&programMutex);
    destroyCache();
    zvkUnlockMt(&programMutex);
}

KVR2_API void _zvk_cpm_stats(void) { printCache(false); }
KVR2_API void _zvk_cpm_print(void) { printCache(true); }

KVR2_API void ZVK_CPM_ENABLE(void) __attribute__((alias("_zvk_cpm_enable")));
KVR2_API void ZVK_CPM_DISABLE(void) __attribute__((alias("_zvk_cpm_disable")));
KVR2_API int32_t ZVK_CPM_UNLOAD(const char*) __attribute__((alias("_zvk_cpm_unload")));
KVR2_API void ZVK_CPM_UNLOAD_ALL(void) __attribute__((alias("_zvk_cpm_unload_all")));
KVR2_API void ZVK_CPM_STATS(void) __attribute__((alias("_zvk_cpm_stats")));

}  // extern "C"
