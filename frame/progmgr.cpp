// The program manager's tables: the run unit's program table, with the
// process-wide cache as its parent when caching is on.
//
// Loading programs by name (dynamic CALL) comes with the program manager
// proper; what is here registers statically bound programs and decides
// whether the process keeps a cache.

#include <stdlib.h>
#include <string.h>

#include "frame/frame.h"
#include "frame/hashtable.h"

namespace {

HashTable* runUnitTable() {
    Proccom* pc = _zvkProccom;
    return pc && pc->runcom ? pc->runcom->plle : nullptr;
}

}  // namespace

extern "C" {

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

void _zvk_cpm_destroy(void) {
    Proccom* pc = _zvkProccom;
    if (!pc || !pc->plle) return;
    // Nothing in the cache was loaded by the library yet; entries go when
    // no run unit refers to them.
    if (!pc->runcom) HashTable_Clear(pc->plle);
}

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

void zvkUnloadRunUnitPrograms(Runcom*) {}

}  // extern "C"
