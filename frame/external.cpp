// EXTERNAL data items: shared by name by all programs of a run unit.  The
// first definition creates the item, zero-filled, and its length rules; a
// later definition of another length ends the run (message 66).
//
// Each item is one block: a 16-byte header whose second word is the length,
// the data (16-byte aligned, directly behind the header, so the length
// stands just before the data) and then a copy of the name.  The table's key
// is that copy, never the name in the compiled program's table, so that the
// entry stays usable after the program that defined it is unloaded.
//
// Lookups as well as inserts run under externalMutex (unless the process is
// single-threaded): the table resizes itself on insert, which frees the old
// slot array under a concurrent reader.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "frame/messages.h"
#include "frame/rununit.h"
#include "frame/threads.h"
#include "frame/hashtable.h"
#include "frame/storage.h"

namespace {

struct ExternalBlock {
    uint64_t reserved;
    uint64_t length;
    // the data follows, then the name
    uint8_t* data() { return reinterpret_cast<uint8_t*>(this + 1); }
};
static_assert(sizeof(ExternalBlock) == 16);

void freeItem(HashTable*, HashEntry* e) {
    free(e->value);
    free(e);
}

void printItem(uint64_t, HashEntry* e) {
    auto* b = static_cast<ExternalBlock*>(e->value);
    if (!b) return;
    int n = b->length > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(b->length);
    fprintf(stderr, "\tName: %s\n\tLen:  %ld\n\tData: %*.*s\n", static_cast<const char*>(e->key),
            static_cast<long>(b->length), n, n, reinterpret_cast<const char*>(b->data()));
}

HashTable* createTable() {
    HashParams p{};
    p.free = freeItem;
    p.print = printItem;
    return HashTable_Create(&p);
}

ExternalBlock* lookup(HashTable* t, const char* name, size_t length) {
    HashEntry* e = HashTable_Find(t, nullptr, name, length, 0, 0);
    return e ? static_cast<ExternalBlock*>(e->value) : nullptr;
}

// Creates an item; null when storage is exhausted.
ExternalBlock* create(HashTable* t, const char* name, size_t nameLength, uint32_t length) {
    auto* b = static_cast<ExternalBlock*>(zvkAlignedAlloc(sizeof(ExternalBlock) + uint64_t(length) + nameLength + 1));
    if (!b) return nullptr;
    b->reserved = 0;
    b->length = length;
    memset(b->data(), 0, length);
    char* key = reinterpret_cast<char*>(b->data()) + length;
    memcpy(key, name, nameLength);
    key[nameLength] = 0;
    if (!HashTable_Insert(t, nullptr, key, nameLength, b, 0, 0, 0)) {
        free(b);
        return nullptr;
    }
    return b;
}

}  // namespace

extern "C" {

KVR2_API void _zvkExtVarInit(uint32_t* items, void** addresses) {
    if (!items || !addresses) return;
    if (!_zvkProccom) InitCobolRte(nullptr);
    Runcom* ru = zvkCurrentOrFree();
    if (!ru) {
        zvkWriteMsg(907, 0x800);
        return;
    }
    uint32_t count;
    memcpy(&count, items, sizeof count);
    const uint8_t* rows = reinterpret_cast<const uint8_t*>(items) + ZVK_EXTVAR_FIRST_ROW;

    for (uint32_t i = 0; i < count; ++i) {
        const uint8_t* row = rows + uint64_t(i) * ZVK_EXTVAR_ROW;
        uint32_t length;
        memcpy(&length, row, sizeof length);
        const char* name = reinterpret_cast<const char*>(row + 4);
        // The name is terminated within its row; an unterminated one is
        // taken as the row holds it.
        const size_t nameLength = strnlen(name, ZVK_EXTVAR_ROW - 4);

        zvkLockMt(&externalMutex);
        if (!ru->externalVars) ru->externalVars = createTable();
        ExternalBlock* b = nullptr;
        bool exhausted = ru->externalVars == nullptr;
        if (!exhausted) {
            b = lookup(ru->externalVars, name, nameLength);
            if (!b) {
                b = create(ru->externalVars, name, nameLength, length);
                exhausted = b == nullptr;
            }
        }
        zvkUnlockMt(&externalMutex);

        if (exhausted) {
            addresses[i] = nullptr;
            zvkWriteMsg(907, 0x800);
            return;
        }
        if (b->length != length) {
            char text[ZVK_EXTVAR_ROW - 3];
            memcpy(text, name, nameLength);
            text[nameLength] = 0;
            zvkWriteMsg(66, 0x800, text);
        }
        addresses[i] = b->data();
    }
}

}  // extern "C"
