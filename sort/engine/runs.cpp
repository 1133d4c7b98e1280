// SORT: records are read into one block of the budget, each as its
// normalised key (K bytes) followed by its form, while an index of
// 16-byte entries (the key's first 8 bytes as a number, and the record's
// place) grows down from the block's end.  A full block is sorted on two
// threads and written to a work file as a run; the last block goes
// straight to the output when it is the only one.  Ties are broken by the
// record's place in the block, that is by input order, and runs keep
// their order in the merge: the sort is stable.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

#include "sort/engine/engine.h"
#include "sort/engine/order.h"

namespace vort {

namespace {

struct Block {
    uint8_t* base;
    size_t used;
    Entry* top;      // entries at top - n .. top, newest lowest
    size_t n;
};

size_t entrySpace(size_t n) { return 2 * n * sizeof(Entry); }  // the index and its merge scratch

struct SortTask {
    Entry* first;
    size_t n;
    const uint8_t* base;
    uint32_t keyBytes;
};

void* sortTask(void* arg) {
    auto* t = static_cast<SortTask*>(arg);
    const EntryLess less{t->base, t->keyBytes};
    std::sort(t->first, t->first + t->n, less);
    return nullptr;
}

struct MergeTask {
    const Entry *a, *b;
    size_t na, nb;
    Entry* out;
    size_t count;     // outputs to make
    bool fromBack;
    const uint8_t* base;
    uint32_t keyBytes;
};

// Two sorted halves into out: from the front the smallest count, from the
// back the largest; the order is total, so the two meet exactly.
void* mergeTask(void* arg) {
    auto* t = static_cast<MergeTask*>(arg);
    const EntryLess less{t->base, t->keyBytes};
    if (!t->fromBack) {
        size_t i = 0, j = 0;
        for (size_t k = 0; k < t->count; ++k)
            t->out[k] = (j < t->nb && (i == t->na || less(t->b[j], t->a[i]))) ? t->b[j++] : t->a[i++];
    } else {
        size_t i = t->na, j = t->nb, k = t->na + t->nb;
        for (size_t c = 0; c < t->count; ++c)
            t->out[--k] = (i > 0 && (j == 0 || less(t->b[j - 1], t->a[i - 1]))) ? t->a[--i] : t->b[--j];
    }
    return nullptr;
}

// Runs fn(args[1]) on a second thread and fn(args[0]) on this one; all
// on this one if no thread can be had.  The thread is joined here.
template <class T>
void onTwoThreads(void* (*fn)(void*), T* args, bool two) {
    pthread_t helper;
    const bool started = two && pthread_create(&helper, nullptr, fn, &args[1]) == 0;
    fn(&args[0]);
    if (started) pthread_join(helper, nullptr);
    else fn(&args[1]);
}

// Sorts the block's index; returns where the sorted entries lie.
Entry* sortIndex(const Job& job, Block& b) {
    Entry* e = b.top - b.n;
    const uint32_t K = job.cfg.keyBytes;
    const size_t n = b.n;
    if (job.cfg.threads < 2 || n < 4096) {
        SortTask t{e, n, b.base, K};
        sortTask(&t);
        return e;
    }
    const size_t half = n / 2;
    SortTask sorts[2] = {{e, half, b.base, K}, {e + half, n - half, b.base, K}};
    onTwoThreads(sortTask, sorts, true);
    Entry* out = e - n;
    MergeTask merges[2] = {{e, e + half, half, n - half, out, half, false, b.base, K},
                           {e, e + half, half, n - half, out, n - half, true, b.base, K}};
    onTwoThreads(mergeTask, merges, true);
    return out;
}

uint32_t formAt(const Config& c, const uint8_t* form) {
    if (!c.variable()) return c.recordLength;
    uint32_t total;
    memcpy(&total, form, 4);
    return total;
}

bool addRun(Job& job, uint64_t offset, uint64_t bytes) {
    if (job.runCount == job.runCap) {
        const uint32_t cap = job.runCap ? job.runCap * 2 : 64;
        Run* r = static_cast<Run*>(realloc(job.runs, cap * sizeof(Run)));
        if (!r) return fail(job, ZVK_SORTENG_E_MEMORY);
        job.runs = r, job.runCap = cap;
    }
    job.runs[job.runCount++] = Run{offset, bytes};
    return true;
}

// The sorted block to the end of work file 0, keys and all.
bool writeRun(Job& job, Block& b) {
    if (job.work[0] < 0 && (job.work[0] = workFile(job)) < 0) return false;
    const Entry* e = sortIndex(job, b);
    const uint32_t K = job.cfg.keyBytes;
    Spool& sp = job.spool;
    sp.fd = job.work[0], sp.handed = job.workEnd[0];
    const uint64_t start = sp.handed;
    for (size_t i = 0; i < b.n; ++i) {
        const uint8_t* rec = b.base + e[i].at;
        const size_t size = K + formAt(job.cfg, rec + K);
        uint8_t* to = spoolRoom(job, sp, size);
        if (!to) return fail(job, ZVK_SORTENG_E_WORK_FILE);
        memcpy(to, rec, size);
        sp.fill += size;
    }
    if (!spoolFlush(job, sp)) return fail(job, ZVK_SORTENG_E_WORK_FILE);
    job.workEnd[0] = sp.handed;
    b.used = 0, b.n = 0;
    ++job.spilledRuns;
    return addRun(job, start, job.workEnd[0] - start);
}

bool writeOutput(Job& job, Block& b) {
    const Entry* e = sortIndex(job, b);
    if (!sinkOpen(job, job.sink)) return false;
    const Config& c = job.cfg;
    const uint32_t skip = c.keyBytes + (c.variable() ? 4 : 0);
    for (size_t i = 0; i < b.n; ++i) {
        const uint8_t* rec = b.base + e[i].at;
        const uint32_t length = c.variable() ? formAt(c, rec + c.keyBytes) - 4 : c.recordLength;
        if (!sinkPut(job, job.sink, rec + skip, length)) return false;
    }
    return sinkClose(job, job.sink);
}

bool allocate(Job& job) {
    const Config& c = job.cfg;
    // Room for a few of the longest records, whatever the budget says.
    const size_t least = 4 * (size_t(c.keyBytes) + c.maxForm() + 2 * sizeof(Entry)) + 4096;
    job.arenaSize = c.memory > least ? size_t(c.memory) : least;
    job.arenaSize &= ~size_t(15);
    job.arena = static_cast<uint8_t*>(aligned_alloc(16, job.arenaSize));
    size_t half = size_t(4) << 20;
    if (half < 2 * (size_t(c.keyBytes) + c.maxForm())) half = 2 * (size_t(c.keyBytes) + c.maxForm());
    if (!job.arena) return fail(job, ZVK_SORTENG_E_MEMORY);
    return spoolOpen(job, job.spool, half);
}

}  // namespace

bool sortInput(Job& job) {
    if (!allocate(job)) return false;
    const Config& c = job.cfg;
    const uint32_t K = c.keyBytes;
    Block b{job.arena, 0, reinterpret_cast<Entry*>(job.arena + job.arenaSize), 0};
    for (uint32_t i = 0; i < job.streamCount; ++i) {
        Stream& s = job.streams[i];
        if (!streamOpen(job, s)) return false;
        Rec rec;
        int got;
        while ((got = streamNext(job, s, rec)) == 1) {
            const size_t size = K + (c.variable() ? 4 : 0) + size_t(rec.length);
            if (b.used + size + entrySpace(b.n + 1) > job.arenaSize && !writeRun(job, b)) return false;
            uint8_t* at = b.base + b.used;
            recordKey(job, rec.data, rec.length, at);
            uint8_t* form = at + K;
            if (c.variable()) {
                const uint32_t total = rec.length + 4;
                memcpy(form, &total, 4), form += 4;
            }
            memcpy(form, rec.data, rec.length);
            *(b.top - ++b.n) = Entry{keyPrefix(at, K), b.used};
            b.used += size;
            ++job.records;
        }
        if (got < 0 || !streamClose(job, s)) return false;
    }
    if (job.runCount == 0) return writeOutput(job, b);
    if (b.n && !writeRun(job, b)) return false;
    return mergeRuns(job);
}

}  // namespace vort
