// The runtime's allocators.
//
// Every block handed out is 16-byte aligned.  Tracked blocks carry a header
// that links them into their run unit's list (Runcom.storage) while storage
// tracking is on, so that the end of a run unit under a monitor frees all
// of them at once.  The header also records whether the block was tracked
// and by which run unit, so that a free after tracking was switched on or
// off, or after another run unit became current, releases the right
// pointer from the right list.

#include <assert.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "frame/messages.h"
#include "frame/storage.h"
#include "kvr2/records.h"

// The C library's assertion routine, declared here because <assert.h>
// leaves it out of NDEBUG builds.
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line, const char* function) noexcept
    __attribute__((noreturn));

namespace {

struct TrackedHeader {
    TrackedHeader* next;
    TrackedHeader* prev;
    Runcom* owner;        // run unit whose list holds the block; null: untracked
    uint64_t magic;
};
static_assert(sizeof(TrackedHeader) == 32);
static_assert(sizeof(TrackedHeader) % 16 == 0);

constexpr uint64_t kTrackedMagic = 0x4B5652324D454D54ull;    // marks a live block
constexpr uint64_t kDeadMagic = 0x4B56523244454144ull;       // freed

struct SizedHeader {
    uint64_t size;
    uint64_t reserved;
};
static_assert(sizeof(SizedHeader) == 16);

// Sizes beyond this cannot be rounded or given a header without wrapping.
constexpr uint64_t kMaxBlock = ~uint64_t(0) - 64;

inline Runcom* trackingRunUnit() {
    Proccom* pc = _zvkProccom;
    if (!pc || !(pc->flags & PROC_FLAG_TRACKING)) return nullptr;
    return pc->runcom;
}

void* trackedBlock(uint64_t size, bool clear) {
    if (size > kMaxBlock) return nullptr;
    auto* h = static_cast<TrackedHeader*>(zvkAlignedAlloc(size + sizeof(TrackedHeader)));
    if (!h) return nullptr;
    if (clear) memset(h + 1, 0, size);
    h->magic = kTrackedMagic;
    h->prev = nullptr;
    h->owner = trackingRunUnit();
    if (Runcom* ru = h->owner) {
        h->next = static_cast<TrackedHeader*>(ru->storage);
        if (h->next) h->next->prev = h;
        ru->storage = h;
    } else {
        h->next = nullptr;
    }
    return h + 1;
}

[[noreturn]] void failAssert(const char* expression, const char* function) {
    // Not assert(): the check must hold in every build, NDEBUG or not.
    __assert_fail(expression, __FILE__, __LINE__, function);
}

inline void checkS1(const void* p, const char* function) {
    if (p == nullptr) failAssert("(s1)!=((void *)0)", function);
}
inline void checkS2(const void* p, const char* function) {
    if (p == nullptr) failAssert("(s2)!=((void *)0)", function);
}

}  // namespace

extern "C" {

void* zvkAlignedAlloc(uint64_t size) {
    if (size > kMaxBlock) return nullptr;
    uint64_t rounded = (size + 15) & ~uint64_t(15);
    if (rounded == 0) rounded = 16;
    return aligned_alloc(16, rounded);
}

KVR2_API void* _zvkMalloc(uint64_t size, uint32_t number, uint32_t control) {
    void* p = zvkAlignedAlloc(size);
    if (!p) zvkWriteMsg(number, control);
    return p;
}

KVR2_API void* _zvkcalloc(int32_t clear, uint64_t size) {
    if (size == 0) return nullptr;
    void* p = zvkAlignedAlloc(size);
    if (p && clear == 1) memset(p, 0, size);
    return p;
}

KVR2_API void _zvkcfree(void* p) { free(p); }
KVR2_API void _Dmr_mem_free(void* p) { free(p); }
KVR2_API void* _Dmr_mem_alloc(uint64_t size) { return zvkAlignedAlloc(size); }

void* zvkTrackedAlloc(uint64_t size) { return trackedBlock(size, false); }

void* zvkTrackedCalloc(uint64_t count, uint64_t size) {
    if (size != 0 && count > kMaxBlock / size) return nullptr;
    return trackedBlock(count * size, true);
}

void zvkTrackedFree(void* p) {
    if (!p) return;
    TrackedHeader* h = static_cast<TrackedHeader*>(p) - 1;
    // Not one of ours, or freed already (by zvkTrackedFreeAll at the end of
    // its run unit): releasing it again would corrupt the heap.
    if (h->magic != kTrackedMagic) return;
    if (Runcom* ru = h->owner) {
        if (h->prev)
            h->prev->next = h->next;
        else if (ru->storage == h)
            ru->storage = h->next;
        if (h->next) h->next->prev = h->prev;
    }
    h->magic = kDeadMagic;
    free(h);
}

void zvkTrackedFreeAll(Runcom* ru) {
    if (!ru) return;
    TrackedHeader* h = static_cast<TrackedHeader*>(ru->storage);
    ru->storage = nullptr;
    while (h) {
        TrackedHeader* next = h->next;
        h->magic = kDeadMagic;
        free(h);
        h = next;
    }
}

void* zvkSizedAlloc(uint64_t size) {
    if (size > kMaxBlock) return nullptr;
    auto* h = static_cast<SizedHeader*>(zvkAlignedAlloc(size + sizeof(SizedHeader)));
    if (!h) return nullptr;
    h->size = size;
    h->reserved = 0;
    return h + 1;
}

void* zvkSizedCalloc(uint64_t count, uint64_t size) {
    if (size != 0 && count > kMaxBlock / size) return nullptr;
    void* p = zvkSizedAlloc(count * size);
    if (p) memset(p, 0, count * size);
    return p;
}

// A new block with the old contents; the old block stays allocated, as
// callers of this routine expect to release it themselves.  Only as much
// as both blocks hold is copied, so a shrinking call stays in bounds.
void* zvkSizedRealloc(void* p, uint64_t size) {
    void* fresh = zvkSizedAlloc(size);
    if (!fresh || !p) return fresh;
    uint64_t old = (static_cast<SizedHeader*>(p) - 1)->size;
    memcpy(fresh, p, old < size ? old : size);
    return fresh;
}

void zvkSizedFree(void* p) {
    if (p) free(static_cast<SizedHeader*>(p) - 1);
}

KVR2_API void* dbg_memset(void* s, int c, size_t n) {
    fprintf(stderr, "memset(@%p, 0x%x, %d\n", s, static_cast<unsigned>(c), static_cast<int>(n));
    return memset(s, c, n);
}

KVR2_API void* dbg_memcpy(void* s1, const void* s2, size_t n) {
    fprintf(stderr, "memcpy(@%p, @%p, %d\n", s1, s2, static_cast<int>(n));
    return memcpy(s1, s2, n);
}

KVR2_API int dbg_memcmp(const void* s1, const void* s2, size_t n) {
    fprintf(stderr, "memcmp(@%p, @%p, %d\n", s1, s2, static_cast<int>(n));
    return memcmp(s1, s2, n);
}

KVR2_API void* c__memcpy(void* s1, const void* s2, size_t n) {
    checkS1(s1, __func__);
    checkS2(s2, __func__);
    return memcpy(s1, s2, n);
}

KVR2_API int c__memcmp(const void* s1, const void* s2, size_t n) {
    checkS1(s1, __func__);
    checkS2(s2, __func__);
    return memcmp(s1, s2, n);
}

KVR2_API void* c__memset(void* s1, int c, size_t n) {
    checkS1(s1, __func__);
    return memset(s1, c, n);
}

KVR2_API char* c__strcpy(char* s1, const char* s2) {
    checkS1(s1, __func__);
    checkS2(s2, __func__);
    return strcpy(s1, s2);
}

KVR2_API int c__strcmp(const char* s1, const char* s2) {
    checkS1(s1, __func__);
    checkS2(s2, __func__);
    return strcmp(s1, s2);
}

KVR2_API size_t c__strlen(const char* s1) {
    checkS1(s1, __func__);
    return strlen(s1);
}

}  // extern "C"
