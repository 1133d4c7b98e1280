// General chained hash table of the runtime: program tables, EXTERNAL files
// and EXTERNAL data items.  Power-of-two sizes, optional MRU list, optional
// parent table with fall-through lookups, free lists that recycle entries,
// and counters for the health report.  No lock of its own.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct HashTable;
struct HashEntry;

using HashFn = uint32_t (*)(const void* key, uint64_t length);
using HashCompareFn = int (*)(const void* a, const void* b, uint64_t length);
using HashPrintFn = void (*)(uint64_t index, HashEntry* entry);
using HashAllocFn = void* (*)(uint64_t size, uint64_t user);
using HashFreeFn = void (*)(HashTable* table, HashEntry* entry);
using HashRehashFn = void (*)(uint64_t user, HashEntry** oldSlots, uint32_t oldMask);

struct HashEntry {
    HashEntry* parent;     // entry of the parent table this one refers to
    HashEntry* prev;       // chain
    HashEntry* next;
    const void* key;
    void* value;
    uint64_t keyLength;
    uint64_t blockSize;    // 0 nothing copied, ~0 key-only block, else size
    uint32_t hashValue;
    uint32_t reserved;
    // present only in tables with an MRU list (80-byte header)
    HashEntry* older;
    HashEntry* newer;
};
static_assert(offsetof(HashEntry, hashValue) == 56);
static_assert(offsetof(HashEntry, older) == 64);
static_assert(sizeof(HashEntry) == 80);

struct HashState {
    uint32_t hashValue;
    uint32_t slot;
    HashEntry* entry;
};
static_assert(sizeof(HashState) == 16);

// A state argument may be null (use a private one) or this value (use the
// table's own state).
#define HASH_TABLE_STATE (reinterpret_cast<HashState*>(~uintptr_t(0)))

// HashTable.flags
constexpr uint8_t HT_OWNS_RECORD = 0x01;
constexpr uint8_t HT_REPAIR_STATS = 0x02;
constexpr uint8_t HT_RESIZING = 0x04;
constexpr uint8_t HT_MRU = 0x08;
constexpr uint8_t HT_CALLER_MARK = 0x10;  // set at the creator's request; the table never reads it

struct HashTable {
    HashTable* parent;
    HashEntry** slots;
    HashEntry* mruHead;
    HashEntry* mruTail;
    HashEntry* freeEntries;
    HashEntry* freeChildren;
    HashState state;
    uint32_t size;
    uint32_t load;
    uint32_t limit;
    uint32_t used;
    uint32_t entries;
    uint32_t mask;
    uint32_t grows, shrinks;
    uint32_t freeSlots;
    uint32_t searches, inserts, deletes, removes;
    uint32_t collisions, chains;
    uint32_t collisionsTotal, chainsTotal, chainsMax;
    uint32_t reuses, evicts;
    uint32_t entryBytes;
    uint8_t flags;
    HashFn hash;
    HashCompareFn compare;
    HashPrintFn print;
    HashAllocFn alloc;
    HashFreeFn free;
    HashRehashFn rehash;
    uint64_t user;
};
static_assert(offsetof(HashTable, state) == 48);
static_assert(offsetof(HashTable, size) == 64);
static_assert(offsetof(HashTable, entryBytes) == 144);
static_assert(offsetof(HashTable, flags) == 148);
static_assert(offsetof(HashTable, hash) == 152);
static_assert(offsetof(HashTable, user) == 200);
static_assert(sizeof(HashTable) <= 224);

// Creation flags (HashParams.flags)
constexpr uint32_t HP_MRU = 1;
constexpr uint32_t HP_CALLER_MARK = 2;   // sets HT_CALLER_MARK
constexpr uint32_t HP_KEY_INT32 = 4;
constexpr uint32_t HP_KEY_INT64 = 8;

struct HashParams {   // zeroed by the caller
    HashTable* parent;
    uint64_t user;
    HashFn hash;
    HashCompareFn compare;
    HashPrintFn print;
    HashAllocFn alloc;
    HashFreeFn free;
    HashRehashFn rehash;
    uint32_t size;
    uint32_t load;
    uint32_t flags;
};

// Value length meaning "copy the key only; value points at the key".
constexpr uint64_t HASH_KEY_ONLY = ~uint64_t(0);

HashTable* HashTable_Create(const HashParams* params);
void HashTable_Destroy(HashTable* table);
void HashTable_Clear(HashTable* table);
HashEntry** HashTable_Hash(HashTable* table, HashState* state, const void* key, uint64_t length);
HashEntry* HashTable_FindHashed(HashTable* table, HashState* state, const void* key, uint64_t length,
                                int touch, int inherit);
HashEntry* HashTable_Find(HashTable* table, HashState* state, const void* key, uint64_t length,
                          int touch, int inherit);
HashEntry* HashTable_Insert(HashTable* table, HashState* state, const void* key, uint64_t length,
                            const void* value, uint64_t valueLength, int duplicates, int alsoParent);
int HashTable_Delete(HashTable* table, HashState* state, const void* key, uint64_t length);
int HashTable_DeleteKey(HashTable* table, const void* key, uint64_t length);
HashEntry* HashTable_Remove(HashTable* table, const void* key, uint64_t length);
HashEntry* HashTable_Next(HashTable* table, HashEntry* entry);
int HashTable_IsEmpty(const HashTable* table);
void HashTable_Dump(HashTable* table);
void HashTable_Stats(HashTable* table);
void HashTable_Resize(HashTable* table, uint32_t size, uint32_t load);

// The value of an entry, following a reference entry to its parent's entry.
inline void* HashEntry_Value(const HashEntry* e) {
    while (e && e->parent) e = e->parent;
    return e ? e->value : nullptr;
}

// Hash functions by key type.
uint32_t zvkHashWang32(uint32_t key);
uint32_t zvkHashWang64(int64_t key);
uint32_t zvkHashLookup3(const void* key, size_t length, uint32_t initval);

}  // extern "C"
