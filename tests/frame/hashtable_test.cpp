// Unit tests of the general hash table.

#include "frame/hashtable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace {

using Keys = std::vector<std::string>;
struct DestroyTable {
    void operator()(HashTable* t) const { HashTable_Destroy(t); }
};
using TablePtr = std::unique_ptr<HashTable, DestroyTable>;

TablePtr makeTable(uint32_t size = 0, uint32_t load = 0, uint32_t flags = 0, HashTable* parent = nullptr,
                   HashFn hash = nullptr) {
    HashParams p{};
    p.size = size, p.load = load, p.flags = flags, p.parent = parent, p.hash = hash;
    return TablePtr(HashTable_Create(&p));
}
HashEntry* put(HashTable* t, const std::string& key, uint64_t value, int duplicates = 0, int alsoParent = 0) {
    return HashTable_Insert(t, nullptr, key.data(), key.size(), &value, sizeof value, duplicates, alsoParent);
}
HashEntry* find(HashTable* t, const std::string& key, int touch = 0, int inherit = 0) {
    return HashTable_Find(t, nullptr, key.data(), key.size(), touch, inherit);
}
void del(HashTable* t, const std::string& key) { HashTable_DeleteKey(t, key.data(), key.size()); }
uint64_t valueOf(const HashEntry* e) {
    uint64_t v;
    std::memcpy(&v, HashEntry_Value(e), sizeof v);
    return v;
}
std::string keyOf(const HashEntry* e) { return std::string(static_cast<const char*>(e->key), e->keyLength); }
Keys chainKeys(HashTable* t, uint32_t slot) {
    Keys out;
    for (HashEntry* e = t->slots[slot]; e; e = e->next) out.push_back(keyOf(e));
    return out;
}
Keys mruKeys(HashTable* t) {   // a cycle or stale head shows as one entry too many
    Keys out;
    for (HashEntry* e = t->mruHead; e && out.size() <= t->entries; e = e->older) out.push_back(keyOf(e));
    return out;
}
std::string captured(void (*report)(HashTable*), HashTable* t) {
    testing::internal::CaptureStderr();
    report(t);
    return testing::internal::GetCapturedStderr();
}
std::string format(const char* f, ...) {
    char buf[4096];
    va_list ap;
    va_start(ap, f);
    std::vsnprintf(buf, sizeof buf, f, ap);
    va_end(ap);
    return buf;
}
uint32_t constantHash(const void*, uint64_t) { return 0; }
uint32_t firstByteHash(const void* key, uint64_t n) { return n ? *static_cast<const unsigned char*>(key) : 0; }

TEST(HashFunctions, KnownVectors) {
    const char* s = "Four score and seven years ago";
    EXPECT_EQ(zvkHashLookup3("", 0, 0), 0xdeadbeefU);
    EXPECT_EQ(zvkHashLookup3(s, 30, 0), 0x17770551U);
    EXPECT_EQ(zvkHashLookup3(s, 30, 1), 0xcd628161U);
    EXPECT_EQ(zvkHashLookup3("a", 1, 0), 0x58d68708U);  // tail only, one block, block + 1
    EXPECT_EQ(zvkHashLookup3("abcdefghijkl", 12, 0), 0x4012f87bU);
    EXPECT_EQ(zvkHashLookup3("abcdefghijklm", 13, 0), 0x928128f9U);
    EXPECT_EQ(zvkHashWang32(0), 0xc0a9496aU);
    EXPECT_EQ(zvkHashWang32(1), 0x27922c9dU);
    EXPECT_EQ(zvkHashWang32(0xffffffffU), 0x70f499d3U);
    EXPECT_EQ(zvkHashWang64(1), 0x15515fbcU);
    EXPECT_EQ(zvkHashWang64(-1), 0x15515ac1U);  // shifted logically it would be 0x1fbbf8ea
    EXPECT_EQ(zvkHashWang64(INT64_MIN), 0x95755155U);
}

TEST(HashFunctions, Lookup3ReadsOnlyTheKeyAtAnyAlignment) {
    const std::string text = "the quick brown fox jumps over the lazy dog 0123";
    for (size_t n = 0; n <= 40; n++)
        for (size_t shift = 0; shift < 4; shift++) {
            std::unique_ptr<char[]> buf(new char[n + shift]);  // exact size: an over-read trips ASan
            std::memcpy(buf.get() + shift, text.data(), n);
            EXPECT_EQ(zvkHashLookup3(buf.get() + shift, n, 0), zvkHashLookup3(text.data(), n, 0)) << n;
        }
}

TEST(HashFunctions, TableChoosesHashByKeyType) {
    HashState st;
    uint32_t one = 1;
    int64_t minusOne = -1;
    HashTable_Hash(makeTable().get(), &st, "", 0);
    EXPECT_EQ(st.hashValue, 0xdeadbeefU);
    EXPECT_EQ(st.slot, 0xdeadbeefU & 63);
    HashTable_Hash(makeTable(0, 0, HP_KEY_INT32).get(), &st, &one, sizeof one);
    EXPECT_EQ(st.hashValue, 0x27922c9dU);
    auto i64 = makeTable(0, 0, HP_KEY_INT64);
    HashTable_Hash(i64.get(), HASH_TABLE_STATE, &minusOne, sizeof minusOne);
    EXPECT_EQ(i64->state.hashValue, 0x15515ac1U);
    EXPECT_EQ(i64->searches, 1U);
}

TEST(Create, SizeLimitLoadAndFlags) {
    using P = std::initializer_list<std::pair<uint32_t, uint32_t>>;
    for (auto [asked, got] : P{{1000, 1024}, {10, 64}, {0, 64}, {65, 128}, {65537, 131072}}) {
        auto t = makeTable(asked);
        EXPECT_EQ(t->size, got);
        EXPECT_EQ(t->mask, got - 1);
        EXPECT_EQ(t->freeSlots, got);
    }
    for (auto [load, limit] : P{{93, 60}, {87, 56}, {75, 48}, {0, 48}, {50, 64}})
        EXPECT_EQ(makeTable(64, load)->limit, limit) << load;
    auto t = makeTable(0, 0, HP_MRU | HP_CALLER_MARK);
    EXPECT_EQ(t->load, 75U);
    EXPECT_EQ(t->flags, HT_OWNS_RECORD | HT_MRU | HT_CALLER_MARK);
    EXPECT_EQ(makeTable()->flags, HT_OWNS_RECORD);
    // Small tables take the proportional rule; these sizes tell the two apart.
    using T = std::initializer_list<std::tuple<uint32_t, uint32_t, uint32_t>>;
    for (auto [size, load, limit] : T{{4, 87, 3}, {4, 75, 3}, {8, 93, 7}, {2, 93, 1}}) {
        HashTable_Resize(t.get(), size, load);
        EXPECT_EQ(t->limit, limit) << size << "/" << load;
    }
    HashTable_Resize(t.get(), 64, 0);  // load 0 keeps the current one
    EXPECT_EQ(t->limit, 60U);
}

TEST(Grow, FortyEighthEntryDoublesTable) {
    auto t = makeTable(64, 75);
    for (int i = 0; i < 47; i++) put(t.get(), std::to_string(i), i);
    EXPECT_EQ(t->size, 64U);
    put(t.get(), "47", 47);
    EXPECT_EQ(t->size, 128U);
    EXPECT_EQ(t->grows, 1U);
    EXPECT_EQ(t->limit, 96U);
    EXPECT_EQ(t->used + t->freeSlots, 128U);
    for (int i = 0; i < 48; i++) EXPECT_EQ(valueOf(find(t.get(), std::to_string(i))), uint64_t(i));
}

TEST(Grow, ResizeKeepsChainOrderAndDoesNotRunAwayOnABadHash) {
    auto t = makeTable(0, 0, 0, nullptr, constantHash);
    for (const char* k : {"a", "b", "c"}) put(t.get(), k, 0);
    HashTable_Resize(t.get(), 256, 0);
    EXPECT_EQ(chainKeys(t.get(), 0), (Keys{"c", "b", "a"}));
    HashTable_Resize(t.get(), 32, 0);
    EXPECT_EQ(t->grows, 1U);
    EXPECT_EQ(t->shrinks, 1U);
    EXPECT_EQ(t->collisionsTotal, 2U);  // moving entries is not a new collision
    EXPECT_EQ(t->chainsTotal, 1U);
    HashTable_Resize(t.get(), 0, 0);  // twice the larger of entries and 16
    EXPECT_EQ(t->size, 32U);
    for (int i = 0; i < 1000; i++) put(t.get(), std::to_string(i), i);
    EXPECT_LE(t->size, 16384U);
}

TEST(Parent, AlsoParentAndInheritMakeReferences) {
    auto parent = makeTable();
    auto child = makeTable(0, 0, 0, parent.get());
    HashEntry* e = put(child.get(), "EXTDATA", 9, 0, 1);
    HashEntry* pe = find(parent.get(), "EXTDATA");
    ASSERT_NE(pe, nullptr);
    EXPECT_EQ(e->parent, pe);
    EXPECT_EQ(e->key, pe->key);
    EXPECT_EQ(valueOf(e), 9U);

    HashEntry* prog = put(parent.get(), "PROG", 7);
    EXPECT_EQ(find(child.get(), "PROG"), nullptr);
    HashEntry* ref = find(child.get(), "PROG", 0, 1);
    ASSERT_NE(ref, nullptr);
    EXPECT_EQ(ref->parent, prog);
    EXPECT_EQ(ref->blockSize, 0U);
    EXPECT_EQ(valueOf(ref), 7U);
    EXPECT_EQ(find(child.get(), "PROG"), ref);
    del(child.get(), "PROG");
    EXPECT_EQ(child->freeChildren, ref);
    EXPECT_EQ(child->freeEntries, nullptr);
    EXPECT_EQ(find(parent.get(), "PROG"), prog);
    EXPECT_EQ(find(child.get(), "PROG", 0, 1), ref);  // recycled block
    EXPECT_EQ(child->reuses, 1U);
}

TEST(FreeList, ReuseEvictAndRemove) {
    auto t = makeTable();
    std::string big(40, 'v'), huge(200, 'w');
    HashEntry* a = HashTable_Insert(t.get(), nullptr, "a", 1, big.data(), big.size(), 0, 0);
    ASSERT_EQ(a->blockSize, 128U);
    del(t.get(), "a");
    EXPECT_EQ(t->freeEntries, a);
    EXPECT_EQ(put(t.get(), "b", 2), a);  // needs 96 of the 128
    EXPECT_EQ(t->reuses, 1U);
    del(t.get(), "b");
    HashEntry* c = HashTable_Insert(t.get(), nullptr, "c", 1, huge.data(), huge.size(), 0, 0);
    EXPECT_EQ(t->evicts, 1U);
    EXPECT_EQ(t->freeEntries, nullptr);
    EXPECT_EQ(std::memcmp(c->value, huge.data(), huge.size()), 0);

    HashEntry* r = HashTable_Remove(t.get(), "c", 1);
    EXPECT_EQ(r, c);
    EXPECT_EQ(t->freeEntries, nullptr);
    EXPECT_EQ(t->removes, 3U);
    EXPECT_EQ(t->deletes, 2U);
    EXPECT_EQ(HashTable_Remove(t.get(), "c", 1), nullptr);
    std::free(r);
}

// Deleting the entry the table's own state points at moves the state on.
TEST(Delete, StateMovesOnFromTheDeletedEntry) {
    auto c = makeTable(0, 0, 0, nullptr, constantHash);
    for (const char* k : {"a", "b", "c"}) put(c.get(), k, 0);  // chain c, b, a
    HashTable_Find(c.get(), HASH_TABLE_STATE, "b", 1, 0, 0);
    del(c.get(), "b");
    ASSERT_NE(c->state.entry, nullptr);  // moved on, not left dangling
    EXPECT_EQ(keyOf(c->state.entry), "a");
}

// A touch moves the entry to its chain's front; touch 1 does the same in
// the parent (the MRU lists' order is the model test's).
TEST(Touch, ChainFrontHereAndInTheParent) {
    auto parent = makeTable(0, 0, HP_MRU, nullptr, constantHash);
    auto t = makeTable(0, 0, HP_MRU, parent.get(), constantHash);
    for (const char* k : {"a", "b", "c"}) put(t.get(), k, 0, 0, 1);
    find(t.get(), "a", 0);
    EXPECT_EQ(chainKeys(t.get(), 0), (Keys{"c", "b", "a"}));
    find(t.get(), "a", 2);
    EXPECT_EQ(chainKeys(t.get(), 0), (Keys{"a", "c", "b"}));
    EXPECT_EQ(chainKeys(parent.get(), 0), (Keys{"c", "b", "a"}));  // touch 2 stays local
    find(t.get(), "b", 1);
    EXPECT_EQ(chainKeys(parent.get(), 0), (Keys{"b", "c", "a"}));
}

int allocs, frees, rehashes;
TEST(Routines, AllocFreeAndRehashAreCalled) {
    HashParams p{};
    p.user = 77;
    p.alloc = [](uint64_t size, uint64_t user) { return allocs += user == 77, std::aligned_alloc(16, size); };
    p.free = [](HashTable*, HashEntry* e) { frees++, std::free(e); };
    p.rehash = [](uint64_t user, HashEntry** old, uint32_t oldMask) {
        rehashes += user == 77 && oldMask == 63;
        for (uint32_t i = 0; i <= oldMask; i++)
            for (HashEntry *e = old[i], *n; e; e = n) n = e->next, std::free(e);
    };
    HashTable* t = HashTable_Create(&p);
    for (const char* k : {"one", "two", "three"}) put(t, k, 1);
    del(t, "one");
    HashTable_Clear(t);
    EXPECT_EQ(allocs, 3);
    EXPECT_EQ(frees, 3);
    EXPECT_EQ(t->freeEntries, nullptr);
    put(t, "four", 4);
    HashTable_Resize(t, 256, 0);
    EXPECT_EQ(rehashes, 1);
    HashTable_Destroy(t);
}

TEST(Reports, EmptyStatsGolden) {
    auto t = makeTable();
    EXPECT_EQ(captured(HashTable_Stats, t.get()),
              format("Hash table at: %p\n\tParent at:  (nil)\n\tSlots at:   %p\n\tSize:       64\n\t  Mask:       3f\n"
                     "\t  Avail:      48 (75%%)\n\t    Used:        0 (0%% of Avail, 0%% of Size)\n"
                     "\t    Free:        64 (133%% of Avail, 100%% of Size)\n\tResizes:    0  , +0 -0\n"
                     "\tSearches:   0\n\t  Lookups:    0 (0%%)\n\t  Inserts:    0 (0%%)\n\t  Deletes:    0 (0%%)\n"
                     "\t  Removes:    0 (0%%)\n\t  Reuses:     0 (0%%)\n\t  Evicts:     0 (0%%)\n\tEntries:    0\n"
                     "\tCollisions: 0 (0%% of Entries, 0%% of Used)\n\t  Total:      0 (0%% of Inserts)\n"
                     "\t  Chains:     0 (0%% of Used)\n\t    Total:      0\n\t    Max:        0\n\t    Min len:    0\n"
                     "\t    Max len:    0\n\t    Avg len:    0.00\n"
                     "\tAvg Search len: 0.00 of Used, 0.00 of Avail, 0.00 of Size\n"
                     "\tAvg entry size: 0.00\n\tBad stats:      0\n",
                     static_cast<void*>(t.get()), static_cast<void*>(t->slots)));
}

TEST(Reports, StatsFiguresAndBadCounters) {
    auto t = makeTable(0, 0, 0, nullptr, constantHash);
    for (const char* k : {"ab", "c", "d"}) put(t.get(), k, 0);
    find(t.get(), "ab");
    std::string out = captured(HashTable_Stats, t.get());
    EXPECT_EQ(out.rfind("Largest hash chain: d,c,ab,\nHash table at: ", 0), 0U) << out;
    for (const char* s : {"\tSearches:   4\n\t  Lookups:    1 (25%)\n\t  Inserts:    3 (75%)\n",
                          "\t    Used:        1 (2% of Avail, 2% of Size)\n",
                          "\tCollisions: 2 (67% of Entries, 200% of Used)\n\t  Total:      2 (67% of Inserts)\n",
                          "\t    Max len:    3\n\t    Avg len:    3.00\n\tAvg Search len: 3.00 of Used, 0.06 of"})
        EXPECT_NE(out.find(s), std::string::npos) << s << "\n---\n" << out;

    t->collisions = 1;
    out = captured(HashTable_Stats, t.get());
    EXPECT_NE(out.find("Hash stats bad...\n  Collisions = 1 vs 2 (actual)\n  Chains     = 1 vs 1 (actual)\n"
                       "Hash table at:"), std::string::npos) << out;
    EXPECT_NE(out.find("\tBad stats:      1\n"), std::string::npos);
    EXPECT_EQ(captured(HashTable_Stats, t.get()).find(" bad..."), std::string::npos);  // repaired silently
    EXPECT_EQ(t->collisions, 2U);
    t->inserts++;
    out = captured(HashTable_Stats, t.get());
    EXPECT_NE(out.find("Hash entry counts bad...\nHash table at:"), std::string::npos) << out;
    EXPECT_NE(out.find("\tBad stats:      0\n"), std::string::npos);
}

TEST(Reports, DumpGolden) {
    auto t = makeTable(0, 0, HP_MRU, nullptr, firstByteHash);
    for (const char* k : {"A", "a", "!", "b"}) put(t.get(), k, 1);  // slots 1, 33, 33, 34
    auto line = [&](int i, const char* k) {
        HashEntry* e = find(t.get(), k);
        return format("  %d:0x%p key=(1)@0x%p %s value=(112)@0x%p parent=0x(nil)\n", i, static_cast<void*>(e),
                      e->key, k, e->value);
    };
    EXPECT_EQ(captured(HashTable_Dump, t.get()),
              format("Hash table @0x%p contents:\nEntries: 4\nState:   0x0 0 0x(nil)\n", static_cast<void*>(t.get())) +
                  "Slot # 1\n" + line(0, "A") + "Slot # 33\n" + line(1, "!") + line(2, "a") + "Slot # 34\n" +
                  line(3, "b") + "MRU ordering:\n" + line(0, "b") + line(1, "!") + line(2, "a") + line(3, "A"));
    HashTable_Clear(t.get());
    EXPECT_EQ(captured(HashTable_Dump, t.get()), "");
    char* key = static_cast<char*>(std::malloc(3));  // not terminated, kept by pointer
    std::memcpy(key, "XYZ", 3);
    HashTable_Insert(t.get(), nullptr, key, 3, nullptr, 0, 0, 0);
    EXPECT_NE(captured(HashTable_Dump, t.get()).find(" XYZ value=(0)@0x(nil) "), std::string::npos);
    HashTable_Clear(t.get());
    std::free(key);
}

// ---------------------------------------------------------------- model test

using Model = std::unordered_map<std::string, std::string>;

void toFront(Keys& order, const std::string& k) {
    order.erase(std::remove(order.begin(), order.end(), k), order.end());
    order.insert(order.begin(), k);
}

void checkAgainstModel(HashTable* t, const Model& model, const Keys& mruOrder) {
    EXPECT_EQ(t->used + t->freeSlots, t->size);
    EXPECT_EQ(t->entries, model.size());
    EXPECT_EQ(t->entries, t->inserts - t->removes);
    for (uint32_t i = 0; i < t->size; i++)
        for (HashEntry *e = t->slots[i], *prev = nullptr; e; prev = e, e = e->next)
            ASSERT_TRUE(e->prev == prev && (e->hashValue & t->mask) == i);
    std::set<HashEntry*> seen;
    for (HashEntry* e = HashTable_Next(t, nullptr); e; e = HashTable_Next(t, e)) {
        ASSERT_TRUE(seen.insert(e).second) << "visited twice";
        ASSERT_TRUE(model.count(keyOf(e))) << "stray key " << keyOf(e);
    }
    EXPECT_EQ(seen.size(), model.size());
    for (const auto& [k, v] : model) {
        HashEntry* e = find(t, k);
        ASSERT_NE(e, nullptr) << k;
        ASSERT_EQ(std::memcmp(HashEntry_Value(e), v.data(), v.size()), 0) << k;
    }
    if (t->flags & HT_MRU) {
        HashEntry* newer = nullptr;
        for (HashEntry* e = t->mruHead; e && seen.count(e); newer = e, e = e->older) ASSERT_EQ(e->newer, newer);
        EXPECT_EQ(t->mruTail, newer);
        EXPECT_EQ(mruKeys(t), mruOrder);
    }
    std::string out = captured(HashTable_Stats, t);
    EXPECT_EQ(out.find(" bad..."), std::string::npos) << out;
}

class HashModel : public testing::TestWithParam<std::tuple<bool, bool>> {};

TEST_P(HashModel, RandomOperationsAgreeWithMap) {
    const auto [mru, withParent] = GetParam();
    std::mt19937_64 rng(20240611 + mru * 2 + withParent);
    auto pick = [&](uint64_t n) { return rng() % n; };
    std::set<std::string> pool;
    while (pool.size() < 600) {
        std::string k(pick(41), ' ');
        for (char& c : k) c = char('A' + pick(58));
        pool.insert(k);
    }
    const Keys keys(pool.begin(), pool.end());
    const uint32_t loads[] = {0, 75, 87, 93};

    // Parent entries are never deleted: child references point at them.
    TablePtr parent = withParent ? makeTable(0, 0, mru ? HP_MRU : 0) : nullptr;
    Model pmodel, model;
    Keys porder, order;
    for (int i = 0; withParent && i < 150; i++) {
        const std::string& k = keys[pick(keys.size())];
        if (!pmodel.count(k)) pmodel[k] = std::to_string(1000 + i), toFront(porder, k);
        HashTable_Insert(parent.get(), nullptr, k.data(), k.size(), pmodel[k].data(), pmodel[k].size(), 0, 0);
    }
    TablePtr child = makeTable(uint32_t(pick(200)), loads[pick(4)], mru ? HP_MRU : 0, parent.get());
    HashTable* t = child.get();

    for (int batch = 0; batch < 30; batch++) {
        for (int op = 0; op < 300; op++) {
            const std::string& k = keys[pick(keys.size())];
            const uint64_t r = pick(100);
            HashState st, *sp = nullptr;  // null, the caller's or the table's own state
            if (uint64_t how = pick(3)) {
                sp = how == 1 ? &st : HASH_TABLE_STATE;
                HashTable_Hash(t, sp, k.data(), k.size());
            }
            if (r < 35) {
                const bool keyOnly = pick(4) == 0;
                std::string v = keyOnly ? k : std::string(1 + pick(30), char('a' + pick(26)));
                const int alsoParent = withParent && pick(4) == 0;
                if (alsoParent && !pmodel.count(k)) pmodel[k] = v, toFront(porder, k);
                if (!model.count(k)) model[k] = alsoParent ? pmodel[k] : v, toFront(order, k);
                HashEntry* e = HashTable_Insert(t, sp, k.data(), k.size(), keyOnly ? nullptr : v.data(),
                                                keyOnly ? HASH_KEY_ONLY : v.size(), 0, alsoParent);
                ASSERT_NE(e, nullptr);
                ASSERT_EQ(std::memcmp(HashEntry_Value(e), model[k].data(), model[k].size()), 0);
            } else if (r < 60) {
                const int touch = int(pick(3)), inherit = int(pick(2));
                HashEntry* e = sp ? HashTable_FindHashed(t, sp, k.data(), k.size(), touch, inherit)
                                  : HashTable_Find(t, nullptr, k.data(), k.size(), touch, inherit);
                if (model.count(k)) {
                    if (touch) toFront(order, k);
                    if (touch == 1 && pmodel.count(k)) toFront(porder, k);
                } else if (inherit && pmodel.count(k)) {
                    model[k] = pmodel[k];
                    toFront(order, k);
                    if (touch) toFront(porder, k);
                    ASSERT_TRUE(e && e->parent);
                } else {
                    ASSERT_EQ(e, nullptr);
                    continue;
                }
                ASSERT_NE(e, nullptr);
                ASSERT_EQ(std::memcmp(HashEntry_Value(e), model[k].data(), model[k].size()), 0);
            } else if (r < 90) {
                HashEntry* e = nullptr;
                if (r < 78) HashTable_Delete(t, sp, k.data(), k.size());
                else e = HashTable_Remove(t, k.data(), k.size());
                ASSERT_EQ(e != nullptr, r >= 78 && model.count(k));
                if (e) {
                    ASSERT_EQ(keyOf(e), k);
                    std::free(e);
                }
                model.erase(k);
                order.erase(std::remove(order.begin(), order.end(), k), order.end());
            } else if (r < 98) {
                const uint32_t sizes[] = {0, t->size * 2, std::max(t->size / 2, 1U), uint32_t(1 + pick(3000))};
                HashTable_Resize(t, sizes[pick(4)], loads[pick(4)]);
            } else if (pick(20) == 0) {
                HashTable_Clear(t);
                model.clear(), order.clear();
            }
        }
        ASSERT_NO_FATAL_FAILURE(checkAgainstModel(t, model, order)) << "batch " << batch;
        if (withParent) {
            ASSERT_NO_FATAL_FAILURE(checkAgainstModel(parent.get(), pmodel, porder)) << "batch " << batch;
        }
    }
    EXPECT_GT(t->reuses, 0U);
    child.reset();  // before the parent it refers to
}

INSTANTIATE_TEST_SUITE_P(Variants, HashModel, testing::Combine(testing::Bool(), testing::Bool()),
                         [](const testing::TestParamInfo<HashModel::ParamType>& info) {
                             return std::string(std::get<0>(info.param) ? "Mru" : "NoMru") +
                                    (std::get<1>(info.param) ? "WithParent" : "Alone");
                         });

}  // namespace
