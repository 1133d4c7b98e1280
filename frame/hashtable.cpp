// General chained hash table: program tables, EXTERNAL files and EXTERNAL
// data items all live in one of these.  See hashtable.h for the records.
//
// Entry blocks: the header (64 bytes, 80 when the table keeps an MRU list),
// then the copied value rounded up to 16 bytes, then the copied key.  Blocks
// are 16-byte aligned and zeroed, so a copied key is always NUL-terminated.
// Deleted entries are kept on free lists and handed out again when they fit.

#include "hashtable.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/types.h>

namespace {

// HashEntry.reserved, bit 0: the block came from aligned_alloc here (not from
// the table's alloc routine), so the table may release it with free().
constexpr uint32_t ENTRY_OWNED = 1;

constexpr uint32_t TABLE_RECORD_BYTES = 224;
constexpr uint32_t MIN_SIZE = 64;
constexpr uint64_t MAX_SIZE = uint64_t(1) << 31;   // largest power of two in a u32
// Keys and values beyond this are refused rather than risking a size overflow.
constexpr uint64_t MAX_COPY = uint64_t(1) << 48;

inline uint32_t rotl32(uint32_t x, int k) { return (x << k) | (x >> (32 - k)); }

uint32_t roundPow2(uint64_t n) {
    if (n >= MAX_SIZE) return uint32_t(MAX_SIZE);
    uint64_t p = 1;
    while (p < n) p <<= 1;
    return uint32_t(p);
}

uint32_t limitFor(uint32_t size, uint32_t load) {
    switch (load) {
        case 93: return size < 16 ? size * 15 / 16 : size - size / 16;
        case 87: return size < 8 ? size * 7 / 8 : size - size / 8;
        case 75:
        case 0: return size < 8 ? size * 6 / 8 : size - ((size / 4) & ~uint32_t(1));
        default: return size;
    }
}

inline uint64_t headerBytes(const HashTable* t) { return (t->flags & HT_MRU) ? 80 : 64; }

inline HashState* pickState(HashTable* t, HashState* s, HashState* local) {
    if (s == nullptr) return local;
    if (s == HASH_TABLE_STATE) return &t->state;
    return s;
}

uint32_t hashBytes(const void* key, uint64_t length) { return zvkHashLookup3(key, length, 0); }

// Integer keys: the key points at the integer.  A shorter key is read only
// as far as it goes (zero-extended) so nothing past it is touched.
uint32_t hashInt32Key(const void* key, uint64_t length) {
    uint32_t v = 0;
    if (key) std::memcpy(&v, key, length < sizeof v ? length : sizeof v);
    return zvkHashWang32(v);
}

uint32_t hashInt64Key(const void* key, uint64_t length) {
    int64_t v = 0;
    if (key) std::memcpy(&v, key, length < sizeof v ? length : sizeof v);
    return zvkHashWang64(v);
}

inline int keyPrecision(uint64_t length) { return length > uint64_t(INT_MAX) ? INT_MAX : int(length); }

// The entry has no value length of its own; the block size is what shows how
// much it carries (0 nothing copied, -1 key only).
void defaultPrint(uint64_t index, HashEntry* e) {
    const char* k = e->key ? static_cast<const char*>(e->key) : "";
    std::fprintf(stderr, "  %lu:0x%p key=(%ld)@0x%p %.*s value=(%ld)@0x%p parent=0x%p\n",
                 static_cast<unsigned long>(index), static_cast<void*>(e), static_cast<long>(e->keyLength),
                 e->key, e->key ? keyPrecision(e->keyLength) : 0, k, static_cast<long>(e->blockSize), e->value,
                 static_cast<void*>(e->parent));
}

inline bool keyMatches(const HashEntry* e, uint32_t h, const void* key, uint64_t length) {
    if (e->hashValue != h || e->keyLength != length) return false;
    if (e->key == key || length == 0) return true;
    return e->key && key && std::memcmp(e->key, key, length) == 0;
}

HashEntry* chainFind(const HashTable* t, uint32_t h, const void* key, uint64_t length) {
    for (HashEntry* e = t->slots[h & t->mask]; e; e = e->next)
        if (keyMatches(e, h, key, length)) return e;
    return nullptr;
}

// Put an entry at the front of its chain and count it.  During a resize the
// entries are only being moved, so the running totals are left alone.
void chainAdd(HashTable* t, HashEntry* e, bool countTotals) {
    HashEntry** slot = &t->slots[e->hashValue & t->mask];
    HashEntry* head = *slot;
    t->entries++;
    if (head) {
        t->collisions++;
        if (countTotals) t->collisionsTotal++;
        if (head->next == nullptr) {
            t->chains++;
            if (countTotals) t->chainsTotal++;
            if (t->chains > t->chainsMax) t->chainsMax = t->chains;
        }
        head->prev = e;
    } else {
        t->used++;
        t->freeSlots--;
    }
    e->prev = nullptr;
    e->next = head;
    *slot = e;
}

void chainUnlink(HashTable* t, HashEntry* e) {
    HashEntry** slot = &t->slots[e->hashValue & t->mask];
    if (e->prev) e->prev->next = e->next;
    else *slot = e->next;
    if (e->next) e->next->prev = e->prev;
    if (*slot) {
        t->collisions--;
        if ((*slot)->next == nullptr) t->chains--;
    } else {
        t->used--;
        t->freeSlots++;
    }
}

void moveToChainFront(HashTable* t, HashEntry* e) {
    HashEntry** slot = &t->slots[e->hashValue & t->mask];
    if (*slot == e) return;
    e->prev->next = e->next;   // not the head, so prev is set
    if (e->next) e->next->prev = e->prev;
    e->prev = nullptr;
    e->next = *slot;
    (*slot)->prev = e;
    *slot = e;
}

void mruUnlink(HashTable* t, HashEntry* e) {
    if (e->newer) e->newer->older = e->older;
    else if (t->mruHead == e) t->mruHead = e->older;
    if (e->older) e->older->newer = e->newer;
    else if (t->mruTail == e) t->mruTail = e->newer;
    e->older = e->newer = nullptr;
}

void mruPush(HashTable* t, HashEntry* e) {
    e->newer = nullptr;
    e->older = t->mruHead;
    if (t->mruHead) t->mruHead->newer = e;
    t->mruHead = e;
    if (t->mruTail == nullptr) t->mruTail = e;
}

// Usable bytes of a recycled block.  Blocks that copied nothing are a bare
// header; key-only blocks were sized from their key.
uint64_t blockCapacity(const HashTable* t, const HashEntry* e) {
    uint64_t h = headerBytes(t);
    if (e->blockSize == 0) return h;
    if (e->blockSize == HASH_KEY_ONLY) return (h + e->keyLength + 16) & ~uint64_t(15);
    return e->blockSize;
}

inline void releaseBlock(HashEntry* e) {
    if (e->reserved & ENTRY_OWNED) std::free(e);
}

HashEntry* getBlock(HashTable* t, uint64_t need, bool reference, uint64_t* capacity) {
    HashEntry* e = nullptr;
    bool owned = true;
    if (t->alloc) {
        e = static_cast<HashEntry*>(t->alloc(need, t->user));
        owned = false;
    } else {
        HashEntry** list = reference ? &t->freeChildren : &t->freeEntries;
        if (*list) {
            HashEntry* b = *list;
            *list = b->next;
            uint64_t cap = blockCapacity(t, b);
            if (need <= cap) {
                t->reuses++;
                owned = (b->reserved & ENTRY_OWNED) != 0;
                *capacity = cap;
                std::memset(static_cast<void*>(b), 0, need);
                b->reserved = owned ? ENTRY_OWNED : 0;
                return b;
            }
            t->evicts++;
            releaseBlock(b);
        }
    }
    if (e == nullptr) {
        e = static_cast<HashEntry*>(std::aligned_alloc(16, need));
        if (e == nullptr) return nullptr;
        owned = true;
    }
    std::memset(static_cast<void*>(e), 0, need);
    e->reserved = owned ? ENTRY_OWNED : 0;
    *capacity = need;
    return e;
}

void recycle(HashTable* t, HashEntry* e) {
    if (t->free) {
        t->free(t, e);
        return;
    }
    HashEntry** list = e->parent ? &t->freeChildren : &t->freeEntries;
    e->prev = nullptr;
    e->next = *list;
    *list = e;
}

void freeList(HashEntry* e) {
    while (e) {
        HashEntry* next = e->next;
        releaseBlock(e);
        e = next;
    }
}

// Take an entry out of its chain and the MRU list, keeping the counters and
// any search state that points at it right.
void takeOut(HashTable* t, HashState* st, HashEntry* e) {
    if (st && st->entry == e) st->entry = e->next;
    if (t->state.entry == e) t->state.entry = e->next;
    chainUnlink(t, e);
    t->entries--;
    t->removes++;
    if (t->flags & HT_MRU) mruUnlink(t, e);
    e->prev = e->next = nullptr;
}

// The insert into this table alone.  A non-null parentEntry makes a
// reference entry: it carries the parent entry's key and value pointers and
// owns nothing.
HashEntry* insertLocal(HashTable* t, HashState* st, uint32_t h, const void* key, uint64_t length,
                       const void* value, uint64_t valueLength, int duplicates, HashEntry* parentEntry) {
    if (!duplicates) {
        if (HashEntry* old = chainFind(t, h, key, length)) {
            st->hashValue = h;
            st->slot = h & t->mask;
            st->entry = old;
            return old;
        }
    }

    const uint64_t hdr = headerBytes(t);
    const bool copies = parentEntry == nullptr && valueLength != 0;
    uint64_t need = hdr;
    if (copies) {
        if (length > MAX_COPY || (valueLength != HASH_KEY_ONLY && valueLength > MAX_COPY)) return nullptr;
        if (valueLength == HASH_KEY_ONLY) need = (hdr + length + 16) & ~uint64_t(15);
        else need = (hdr + ((valueLength + 15) & ~uint64_t(15)) + length + 16) & ~uint64_t(15);
    }

    uint64_t capacity = 0;
    HashEntry* e = getBlock(t, need, parentEntry != nullptr, &capacity);
    if (e == nullptr) return nullptr;

    e->hashValue = h;
    e->keyLength = length;
    e->parent = parentEntry;
    if (parentEntry) {
        e->key = parentEntry->key;
        e->value = parentEntry->value;
        e->blockSize = 0;
    } else if (!copies) {
        e->key = key;
        e->value = const_cast<void*>(value);
        e->blockSize = 0;
    } else {
        char* body = reinterpret_cast<char*>(e) + hdr;
        char* k = body;
        if (valueLength == HASH_KEY_ONLY) {
            e->value = k;
            e->blockSize = HASH_KEY_ONLY;
        } else {
            if (value) std::memcpy(body, value, valueLength);
            e->value = body;
            k = body + ((valueLength + 15) & ~uint64_t(15));
            e->blockSize = capacity;
        }
        if (key && length) std::memcpy(k, key, length);
        e->key = k;
    }

    chainAdd(t, e, true);

    if (!(t->flags & HT_RESIZING)) {
        // The chain-length rule is skipped once the table is far larger than
        // its contents: there the chains come from the hash routine itself
        // (say, one that returns a constant), and doubling again would only
        // eat memory.
        bool full = t->entries >= t->limit;
        bool longChains = uint64_t(t->entries) >= 4 * uint64_t(t->used) &&
                          uint64_t(t->size) < 16 * uint64_t(t->entries);
        if ((full || longChains) && t->size < MAX_SIZE) HashTable_Resize(t, t->size * 2, 0);
    }

    if (t->flags & HT_MRU) mruPush(t, e);
    t->inserts++;

    st->hashValue = h;
    st->slot = h & t->mask;
    st->entry = e;
    return e;
}

inline double pct(double x, double d) { return 100.0 * x / (d == 0 ? 1.0 : d); }
inline double ratio(double x, double d) { return x / (d == 0 ? 1.0 : d); }

}  // namespace

extern "C" {

uint32_t zvkHashWang32(uint32_t key) {
    key = (key ^ 61) ^ (key >> 16);
    key *= 9;
    key ^= key >> 4;
    key *= 0x27d4eb2dU;
    key ^= key >> 15;
    return key;
}

// The right shifts are arithmetic: integer keys are signed, and keys with the
// top bit set must land where they always have.
uint32_t zvkHashWang64(int64_t key) {
    uint64_t k = static_cast<uint64_t>(key);
    k = ~k + (k << 18);
    k ^= static_cast<uint64_t>(static_cast<int64_t>(k) >> 31);
    k *= 21;
    k ^= static_cast<uint64_t>(static_cast<int64_t>(k) >> 11);
    k *= 65;
    k ^= static_cast<uint64_t>(static_cast<int64_t>(k) >> 22);
    return static_cast<uint32_t>(k);
}

// Bob Jenkins' lookup3 hashlittle.  Reads the key a byte at a time so that a
// key at the very end of a mapping is never over-read; the result is the
// same as the word-at-a-time forms on a little-endian machine.
uint32_t zvkHashLookup3(const void* key, size_t length, uint32_t initval) {
    const uint8_t* k = static_cast<const uint8_t*>(key);
    uint32_t a, b, c;
    a = b = c = 0xdeadbeefU + static_cast<uint32_t>(length) + initval;

    while (length > 12) {
        a += k[0] + (uint32_t(k[1]) << 8) + (uint32_t(k[2]) << 16) + (uint32_t(k[3]) << 24);
        b += k[4] + (uint32_t(k[5]) << 8) + (uint32_t(k[6]) << 16) + (uint32_t(k[7]) << 24);
        c += k[8] + (uint32_t(k[9]) << 8) + (uint32_t(k[10]) << 16) + (uint32_t(k[11]) << 24);
        a -= c; a ^= rotl32(c, 4);  c += b;
        b -= a; b ^= rotl32(a, 6);  a += c;
        c -= b; c ^= rotl32(b, 8);  b += a;
        a -= c; a ^= rotl32(c, 16); c += b;
        b -= a; b ^= rotl32(a, 19); a += c;
        c -= b; c ^= rotl32(b, 4);  b += a;
        length -= 12;
        k += 12;
    }

    switch (length) {
        case 12: c += uint32_t(k[11]) << 24; [[fallthrough]];
        case 11: c += uint32_t(k[10]) << 16; [[fallthrough]];
        case 10: c += uint32_t(k[9]) << 8; [[fallthrough]];
        case 9: c += k[8]; [[fallthrough]];
        case 8: b += uint32_t(k[7]) << 24; [[fallthrough]];
        case 7: b += uint32_t(k[6]) << 16; [[fallthrough]];
        case 6: b += uint32_t(k[5]) << 8; [[fallthrough]];
        case 5: b += k[4]; [[fallthrough]];
        case 4: a += uint32_t(k[3]) << 24; [[fallthrough]];
        case 3: a += uint32_t(k[2]) << 16; [[fallthrough]];
        case 2: a += uint32_t(k[1]) << 8; [[fallthrough]];
        case 1: a += k[0]; break;
        case 0: return c;
    }

    c ^= b; c -= rotl32(b, 14);
    a ^= c; a -= rotl32(c, 11);
    b ^= a; b -= rotl32(a, 25);
    c ^= b; c -= rotl32(b, 16);
    a ^= c; a -= rotl32(c, 4);
    b ^= a; b -= rotl32(a, 14);
    c ^= b; c -= rotl32(b, 24);
    return c;
}

HashTable* HashTable_Create(const HashParams* params) {
    HashParams none{};
    const HashParams* p = params ? params : &none;

    HashTable* t = static_cast<HashTable*>(std::aligned_alloc(16, TABLE_RECORD_BYTES));
    if (t == nullptr) return nullptr;
    std::memset(static_cast<void*>(t), 0, TABLE_RECORD_BYTES);

    t->flags = HT_OWNS_RECORD;
    if (p->flags & HP_MRU) t->flags |= HT_MRU;
    if (p->flags & HP_CALLER_MARK) t->flags |= HT_CALLER_MARK;

    t->size = roundPow2(p->size < MIN_SIZE ? MIN_SIZE : p->size);
    t->mask = t->size - 1;
    t->load = p->load == 0 ? 75 : p->load;
    t->limit = limitFor(t->size, t->load);
    t->freeSlots = t->size;

    t->parent = p->parent;
    t->user = p->user;
    if (p->hash) t->hash = p->hash;
    else if (p->flags & HP_KEY_INT32) t->hash = hashInt32Key;
    else if (p->flags & HP_KEY_INT64) t->hash = hashInt64Key;
    else t->hash = hashBytes;
    t->compare = p->compare;
    t->print = p->print ? p->print : defaultPrint;
    t->alloc = p->alloc;
    t->free = p->free;
    t->rehash = p->rehash;

    t->slots = static_cast<HashEntry**>(std::calloc(t->size, sizeof(HashEntry*)));
    if (t->slots == nullptr) {
        std::free(t);
        return nullptr;
    }
    return t;
}

void HashTable_Clear(HashTable* t) {
    if (t == nullptr) return;
    for (uint32_t i = 0; i < t->size; i++) {
        HashEntry* e = t->slots[i];
        t->slots[i] = nullptr;
        while (e) {
            HashEntry* next = e->next;
            t->removes++;
            t->deletes++;
            if (t->flags & HT_MRU) e->older = e->newer = nullptr;
            e->prev = e->next = nullptr;
            recycle(t, e);
            e = next;
        }
    }
    t->entries = 0;
    t->used = 0;
    t->freeSlots = t->size;
    t->collisions = 0;
    t->chains = 0;
    t->mruHead = t->mruTail = nullptr;
    t->state.entry = nullptr;
}

void HashTable_Destroy(HashTable* t) {
    if (t == nullptr) return;
    HashTable_Clear(t);
    freeList(t->freeEntries);
    freeList(t->freeChildren);
    t->freeEntries = t->freeChildren = nullptr;
    std::free(t->slots);
    t->slots = nullptr;
    if (t->flags & HT_OWNS_RECORD) std::free(t);
}

HashEntry** HashTable_Hash(HashTable* t, HashState* state, const void* key, uint64_t length) {
    if (t == nullptr) return nullptr;
    HashState local;
    HashState* st = pickState(t, state, &local);
    uint32_t h = t->hash(key, length);
    st->hashValue = h;
    st->slot = h & t->mask;
    st->entry = nullptr;
    t->searches++;
    return &t->slots[st->slot];
}

// The state carries the hash; a null state has none yet, so the key is
// hashed here.
HashEntry* HashTable_FindHashed(HashTable* t, HashState* state, const void* key, uint64_t length, int touch,
                                int inherit) {
    if (t == nullptr) return nullptr;
    HashState local;
    HashState* st = pickState(t, state, &local);
    if (state == nullptr) HashTable_Hash(t, st, key, length);

    const uint32_t h = st->hashValue;
    st->slot = h & t->mask;
    HashEntry* e = chainFind(t, h, key, length);

    if (e) {
        if (touch) {
            moveToChainFront(t, e);
            if (touch == 1 && t->parent) {
                // Keep the parent's chain and MRU order in step with ours.
                HashState ps;
                HashTable_Hash(t->parent, &ps, key, length);
                HashTable_FindHashed(t->parent, &ps, key, length, 1, 0);
            }
            if ((t->flags & HT_MRU) && t->mruHead != e) {
                mruUnlink(t, e);
                mruPush(t, e);
            }
        }
        st->entry = e;
        return e;
    }

    if (inherit && t->parent) {
        HashState ps;
        HashTable_Hash(t->parent, &ps, key, length);
        HashEntry* pe = HashTable_FindHashed(t->parent, &ps, key, length, touch, 0);
        if (pe) {
            HashEntry* ref = insertLocal(t, st, h, pe->key, length, nullptr, 0, 1, pe);
            if (ref) return ref;
        }
    }

    st->slot = h & t->mask;
    st->entry = nullptr;
    return nullptr;
}

HashEntry* HashTable_Find(HashTable* t, HashState* state, const void* key, uint64_t length, int touch,
                          int inherit) {
    if (t == nullptr) return nullptr;
    HashState local;
    HashState* st = pickState(t, state, &local);
    HashTable_Hash(t, st, key, length);
    return HashTable_FindHashed(t, st, key, length, touch, inherit);
}

HashEntry* HashTable_Insert(HashTable* t, HashState* state, const void* key, uint64_t length, const void* value,
                            uint64_t valueLength, int duplicates, int alsoParent) {
    if (t == nullptr) return nullptr;
    HashState local;
    HashState* st = pickState(t, state, &local);
    if (state == nullptr) HashTable_Hash(t, st, key, length);
    const uint32_t h = st->hashValue;

    HashEntry* pe = nullptr;
    if (alsoParent && t->parent) {
        // The parent is reached with our hash, so count its search here to
        // keep its lookup figures balanced.
        HashTable* parent = t->parent;
        parent->searches++;
        HashState ps{h, h & parent->mask, nullptr};
        pe = HashTable_Insert(parent, &ps, key, length, value, valueLength, duplicates, 0);
        if (pe == nullptr) return nullptr;
    }
    return insertLocal(t, st, h, key, length, value, valueLength, duplicates, pe);
}

int HashTable_Delete(HashTable* t, HashState* state, const void* key, uint64_t length) {
    if (t == nullptr) return 0;
    HashState local;
    HashState* st = pickState(t, state, &local);
    if (state == nullptr) HashTable_Hash(t, st, key, length);
    HashEntry* e = HashTable_FindHashed(t, st, key, length, 0, 0);
    if (e == nullptr) return 0;
    takeOut(t, st, e);
    t->deletes++;
    recycle(t, e);
    return 0;
}

int HashTable_DeleteKey(HashTable* t, const void* key, uint64_t length) {
    return HashTable_Delete(t, nullptr, key, length);
}

HashEntry* HashTable_Remove(HashTable* t, const void* key, uint64_t length) {
    if (t == nullptr) return nullptr;
    HashState st;
    HashTable_Hash(t, &st, key, length);
    HashEntry* e = HashTable_FindHashed(t, &st, key, length, 0, 0);
    if (e) takeOut(t, &st, e);
    return e;
}

HashEntry* HashTable_Next(HashTable* t, HashEntry* entry) {
    if (t == nullptr || t->entries == 0) return nullptr;
    uint32_t i = 0;
    if (entry) {
        if (entry->next) return entry->next;
        i = (entry->hashValue & t->mask) + 1;
    }
    for (; i < t->size; i++)
        if (t->slots[i]) return t->slots[i];
    return nullptr;
}

int HashTable_IsEmpty(const HashTable* t) { return (t == nullptr || t->entries == 0) ? 1 : 0; }

void HashTable_Resize(HashTable* t, uint32_t size, uint32_t load) {
    if (t == nullptr || (t->flags & HT_RESIZING)) return;
    t->flags |= HT_RESIZING;

    uint64_t want = size ? uint64_t(size) : 2 * uint64_t(t->entries > 16 ? t->entries : 16);
    uint32_t n = roundPow2(want);
    HashEntry** slots = static_cast<HashEntry**>(std::calloc(n, sizeof(HashEntry*)));
    if (slots == nullptr) {
        std::fprintf(stderr, "HashTable_Resize alloc error, continuing\n");
        t->flags &= ~HT_RESIZING;
        return;
    }

    HashEntry** oldSlots = t->slots;
    const uint32_t oldSize = t->size;
    const uint32_t oldMask = t->mask;

    t->slots = slots;
    t->size = n;
    t->mask = n - 1;
    if (load) t->load = load;
    t->limit = limitFor(n, t->load);
    t->used = t->entries = t->collisions = t->chains = 0;
    t->freeSlots = n;
    if (n > oldSize) t->grows++;
    else if (n < oldSize) t->shrinks++;

    if (t->rehash) {
        t->rehash(t->user, oldSlots, oldMask);
    } else {
        // Every entry is re-added from the old slot array, MRU table or not,
        // and the MRU list is left as it is: its links do not depend on the
        // slots.  Rebuilding from the MRU list instead would miss whatever
        // has dropped out of it, and those entries would be lost for good.
        // Each chain is walked from its last entry so that pushing onto the
        // new chain fronts keeps the old order.
        for (uint32_t i = 0; i < oldSize; i++) {
            HashEntry* e = oldSlots[i];
            if (e == nullptr) continue;
            while (e->next) e = e->next;
            while (e) {
                HashEntry* prev = e->prev;
                chainAdd(t, e, false);
                e = prev;
            }
        }
    }
    std::free(oldSlots);
    t->state.slot = t->state.hashValue & t->mask;
    t->flags &= ~HT_RESIZING;
}

void HashTable_Dump(HashTable* t) {
    if (t == nullptr || t->entries == 0) return;
    HashPrintFn print = t->print ? t->print : defaultPrint;
    std::fprintf(stderr, "Hash table @0x%p contents:\n", static_cast<void*>(t));
    std::fprintf(stderr, "Entries: %d\n", static_cast<int>(t->entries));
    std::fprintf(stderr, "State:   0x%x %d 0x%p\n", t->state.hashValue, static_cast<int>(t->state.slot),
                 static_cast<void*>(t->state.entry));
    uint64_t index = 0;
    for (uint32_t i = 0; i < t->size; i++) {
        if (t->slots[i] == nullptr) continue;
        std::fprintf(stderr, "Slot # %d\n", static_cast<int>(i));
        for (HashEntry* e = t->slots[i]; e; e = e->next) print(index++, e);
    }
    if (t->flags & HT_MRU) {
        std::fprintf(stderr, "MRU ordering:\n");
        index = 0;
        for (HashEntry* e = t->mruHead; e; e = e->older) print(index++, e);
    }
}

void HashTable_Stats(HashTable* t) {
    if (t == nullptr) return;

    // Recount the chains from the slots.
    uint64_t collisions = 0, chains = 0, used = 0, minLen = 0, maxLen = 0;
    uint32_t longest = 0;
    for (uint32_t i = 0; i < t->size; i++) {
        uint64_t len = 0;
        for (HashEntry* e = t->slots[i]; e; e = e->next) len++;
        if (len == 0) continue;
        used++;
        collisions += len - 1;
        if (len > 1) chains++;
        if (minLen == 0 || len < minLen) minLen = len;
        if (len > maxLen) {
            maxLen = len;
            longest = i;
        }
    }

    if (chains) {
        std::fprintf(stderr, "Largest hash chain: ");
        for (HashEntry* e = t->slots[longest]; e; e = e->next) {
            int n = e->key ? keyPrecision(e->keyLength) : 0;
            std::fprintf(stderr, "%*.*s,", n, n, e->key ? static_cast<const char*>(e->key) : "");
        }
        std::fprintf(stderr, "\n");
    }

    if (collisions != t->collisions || chains != t->chains) {
        if (t->flags & HT_REPAIR_STATS) {
            t->collisions = uint32_t(collisions);
            t->chains = uint32_t(chains);
            t->used = uint32_t(used);
            t->freeSlots = t->size - t->used;
        } else {
            std::fprintf(stderr,
                         "Hash stats bad...\n  Collisions = %zd vs %zd (actual)\n  Chains     = %zd vs %zd (actual)\n",
                         static_cast<ssize_t>(t->collisions), static_cast<ssize_t>(collisions),
                         static_cast<ssize_t>(t->chains), static_cast<ssize_t>(chains));
            t->flags ^= HT_REPAIR_STATS;
        }
    }
    if (t->entries != t->inserts - t->removes) {
        std::fprintf(stderr, "Hash entry counts bad...\n");
        t->flags ^= HT_REPAIR_STATS;
    }

    // Deletes are counted as removes too, so this can dip below zero; a
    // negative lookup count means nothing, so it stops at zero.
    int64_t lookups = int64_t(t->searches) - t->inserts - t->deletes - t->removes;
    if (lookups < 0) lookups = 0;

    const double size = t->size, limit = t->limit, usedF = t->used, freeF = t->freeSlots;
    const double searches = t->searches, inserts = t->inserts, entries = t->entries;
    const double chainsF = double(chains);
    std::fprintf(stderr,
                 "Hash table at: %p\n\tParent at:  %p\n\tSlots at:   %p\n\tSize:       %zd\n\t  Mask:       %zx\n"
                 "\t  Avail:      %zd (%.0f%%)\n\t    Used:        %zd (%.0f%% of Avail, %.0f%% of Size)\n"
                 "\t    Free:        %zd (%.0f%% of Avail, %.0f%% of Size)\n\tResizes:    %d %c, +%zd -%zd\n"
                 "\tSearches:   %zd\n\t  Lookups:    %zd (%0.f%%)\n\t  Inserts:    %zd (%.0f%%)\n"
                 "\t  Deletes:    %zd (%.0f%%)\n\t  Removes:    %zd (%.0f%%)\n\t  Reuses:     %zd (%.0f%%)\n"
                 "\t  Evicts:     %zd (%.0f%%)\n\tEntries:    %zd\n"
                 "\tCollisions: %zd (%.0f%% of Entries, %0.f%% of Used)\n\t  Total:      %zd (%.0f%% of Inserts)\n"
                 "\t  Chains:     %zd (%.0f%% of Used)\n\t    Total:      %zd\n\t    Max:        %zd\n"
                 "\t    Min len:    %zd\n\t    Max len:    %zd\n\t    Avg len:    %0.2f\n"
                 "\tAvg Search len: %.2f of Used, %.2f of Avail, %.2f of Size\n\tAvg entry size: %0.2f\n"
                 "\tBad stats:      %d\n",
                 static_cast<void*>(t), static_cast<void*>(t->parent), static_cast<void*>(t->slots),
                 static_cast<ssize_t>(t->size), static_cast<size_t>(t->mask),
                 static_cast<ssize_t>(t->limit), pct(limit, size),
                 static_cast<ssize_t>(t->used), pct(usedF, limit), pct(usedF, size),
                 static_cast<ssize_t>(t->freeSlots), pct(freeF, limit), pct(freeF, size),
                 static_cast<int>(t->grows + t->shrinks), (t->flags & HT_RESIZING) ? 'A' : ' ',
                 static_cast<ssize_t>(t->grows), static_cast<ssize_t>(t->shrinks),
                 static_cast<ssize_t>(t->searches),
                 static_cast<ssize_t>(lookups), pct(double(lookups), searches),
                 static_cast<ssize_t>(t->inserts), pct(inserts, searches),
                 static_cast<ssize_t>(t->deletes), pct(t->deletes, searches),
                 static_cast<ssize_t>(t->removes), pct(t->removes, searches),
                 static_cast<ssize_t>(t->reuses), pct(t->reuses, inserts),
                 static_cast<ssize_t>(t->evicts), pct(t->evicts, inserts),
                 static_cast<ssize_t>(t->entries),
                 static_cast<ssize_t>(t->collisions), pct(t->collisions, entries), pct(t->collisions, usedF),
                 static_cast<ssize_t>(t->collisionsTotal), pct(t->collisionsTotal, inserts),
                 static_cast<ssize_t>(t->chains), pct(t->chains, usedF),
                 static_cast<ssize_t>(t->chainsTotal), static_cast<ssize_t>(t->chainsMax),
                 static_cast<ssize_t>(minLen), static_cast<ssize_t>(maxLen),
                 ratio(double(collisions) + chainsF, chainsF),
                 ratio(entries, usedF), ratio(entries, limit), ratio(entries, size),
                 ratio(t->entryBytes, entries),
                 (t->flags & HT_REPAIR_STATS) ? 1 : 0);
}

}  // extern "C"
