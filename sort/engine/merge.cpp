// Merging: the runs of a SORT, as many at a time as the budget gives
// read buffers for, in passes from one work file to the other until one
// pass can write the output; and MERGE, where each input is already in
// order.  Both go through a loser tree, in which the earlier input wins a
// tie, so equal records keep their input order.
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "sort/engine/engine.h"
#include "sort/engine/order.h"

namespace vort {

namespace {

constexpr uint32_t kMaxFanIn = 256;

// A loser tree over k inputs (leaves k..2k-1 of a heap-shaped array, any
// k): node[0] is the winner, node[1..k-1] the losers of each match.
struct Tree {
    uint32_t k;
    uint32_t* node;
    const uint8_t** keys;
    uint32_t keyBytes;
    bool before(uint32_t a, uint32_t b) const { return keyBefore(keys[a], a, keys[b], b, keyBytes); }
};

void treeInit(Tree& t, uint32_t* win) {
    for (uint32_t i = 0; i < t.k; ++i) win[t.k + i] = i;
    for (uint32_t n = t.k - 1; n >= 1; --n) {
        const uint32_t a = win[2 * n], b = win[2 * n + 1];
        if (t.before(a, b)) win[n] = a, t.node[n] = b;
        else win[n] = b, t.node[n] = a;
    }
    t.node[0] = t.k == 1 ? 0 : win[1];
}

void treeReplay(Tree& t, uint32_t leaf) {
    for (uint32_t n = (leaf + t.k) >> 1; n >= 1; n >>= 1)
        if (t.before(t.node[n], leaf)) {
            const uint32_t w = t.node[n];
            t.node[n] = leaf, leaf = w;
        }
    t.node[0] = leaf;
}

// Space for a merge's bookkeeping, owned by the job so that op 11 frees it.
void* mergeSpace(Job& job, size_t bytes) {
    free(job.mergeKeys);
    job.mergeKeys = static_cast<uint8_t*>(calloc(1, bytes + 16));
    if (!job.mergeKeys) fail(job, ZVK_SORTENG_E_MEMORY);
    return job.mergeKeys;
}

struct RunReader {
    int fd;
    uint64_t next, end;   // file bytes not yet read
    uint8_t* buf;
    size_t size, pos, fill;
};

size_t recordSize(const Config& c, const uint8_t* rec) {
    if (!c.variable()) return size_t(c.keyBytes) + c.recordLength;
    uint32_t total;
    memcpy(&total, rec + c.keyBytes, 4);
    return size_t(c.keyBytes) + total;
}

bool readMore(Job& job, RunReader& r) {
    memmove(r.buf, r.buf + r.pos, r.fill - r.pos);
    r.fill -= r.pos, r.pos = 0;
    size_t want = r.size - r.fill;
    if (want > r.end - r.next) want = size_t(r.end - r.next);
    size_t got = 0;
    if (!readAt(r.fd, r.buf + r.fill, want, r.next, &got) || got != want) return fail(job, ZVK_SORTENG_E_WORK_FILE);
    r.fill += got, r.next += got;
    return true;
}

// The reader's current record, whole in its buffer, or null at its end.
bool readerKey(Job& job, RunReader& r, const uint8_t** key) {
    const Config& c = job.cfg;
    const size_t head = size_t(c.keyBytes) + (c.variable() ? 4 : 0);
    if (r.fill - r.pos < head && r.next < r.end && !readMore(job, r)) return false;
    if (r.fill - r.pos < head) {
        *key = nullptr;
        return r.fill == r.pos || fail(job, ZVK_SORTENG_E_WORK_FILE);
    }
    const size_t size = recordSize(c, r.buf + r.pos);
    if (r.fill - r.pos < size && !readMore(job, r)) return false;
    if (r.fill - r.pos < size) return fail(job, ZVK_SORTENG_E_WORK_FILE);
    *key = r.buf + r.pos;
    return true;
}

// Merges count runs of work file 0 into a new run of work file 1, or into
// the output when last.
bool mergeGroup(Job& job, const Run* runs, uint32_t count, bool last) {
    const Config& c = job.cfg;
    auto* readers = static_cast<RunReader*>(mergeSpace(job, count * (sizeof(RunReader) + 4 * sizeof(uint32_t) +
                                                                     sizeof(uint8_t*))));
    if (!readers) return false;
    auto* node = reinterpret_cast<uint32_t*>(readers + count);
    uint32_t* win = node + count;
    auto* keys = reinterpret_cast<const uint8_t**>(win + 2 * count + (count & 1));
    const size_t share = (job.arenaSize / count) & ~size_t(15);
    for (uint32_t i = 0; i < count; ++i) {
        readers[i] = RunReader{job.work[0], runs[i].offset, runs[i].offset + runs[i].bytes,
                               job.arena + i * share, share, 0, 0};
        if (!readerKey(job, readers[i], &keys[i])) return false;
    }
    Tree t{count, node, keys, c.keyBytes};
    treeInit(t, win);
    Spool& sp = job.spool;
    sp.fd = job.work[1], sp.handed = job.workEnd[1];
    const uint64_t start = sp.handed;
    if (last && !sinkOpen(job, job.sink)) return false;
    const uint32_t skip = c.keyBytes + (c.variable() ? 4 : 0);
    for (;;) {
        const uint32_t w = t.node[0];
        const uint8_t* rec = keys[w];
        if (!rec) break;
        const size_t size = recordSize(c, rec);
        if (last) {
            if (!sinkPut(job, job.sink, rec + skip, uint32_t(size - skip))) return false;
        } else {
            uint8_t* to = spoolRoom(job, sp, size);
            if (!to) return fail(job, ZVK_SORTENG_E_WORK_FILE);
            memcpy(to, rec, size);
            sp.fill += size;
        }
        readers[w].pos += size;
        if (!readerKey(job, readers[w], &keys[w])) return false;
        treeReplay(t, w);
    }
    if (last) return sinkClose(job, job.sink);
    if (!spoolFlush(job, sp)) return fail(job, ZVK_SORTENG_E_WORK_FILE);
    job.workEnd[1] = sp.handed;
    job.runs[job.runCount++] = Run{start, job.workEnd[1] - start};
    return true;
}

}  // namespace

bool mergeRuns(Job& job) {
    const Config& c = job.cfg;
    // Runs are read back: their last bytes must have reached the file.
    if (!writeWait(job)) return fail(job, ZVK_SORTENG_E_WORK_FILE);
    const size_t least = 2 * (size_t(c.keyBytes) + c.maxForm()) + 64;
    size_t share = job.arenaSize / 8 < (size_t(4) << 20) ? job.arenaSize / 8 : size_t(4) << 20;
    if (share < least) share = least;
    uint32_t fanIn = uint32_t(job.arenaSize / share);
    if (fanIn > kMaxFanIn) fanIn = kMaxFanIn;
    if (fanIn < 2) fanIn = 2;
    while (job.runCount > fanIn) {
        if (job.work[1] < 0 && (job.work[1] = workFile(job)) < 0) return false;
        const uint32_t runs = job.runCount;
        job.runCount = 0;
        // The merged runs are written over the front of the list, behind
        // the groups they come from.
        for (uint32_t g = 0; g < runs; g += fanIn) {
            const Run* group = job.runs + g;
            if (!mergeGroup(job, group, runs - g < fanIn ? runs - g : fanIn, false)) return false;
        }
        if (!writeWait(job)) return fail(job, ZVK_SORTENG_E_WORK_FILE);
        const int fd = job.work[0];
        job.work[0] = job.work[1], job.work[1] = fd;
        job.workEnd[0] = job.workEnd[1], job.workEnd[1] = 0;
        if (ftruncate(job.work[1], 0) != 0) return fail(job, ZVK_SORTENG_E_WORK_FILE);
        ++job.passes;
    }
    ++job.passes;
    return mergeGroup(job, job.runs, job.runCount, true);
}

bool mergeStreams(Job& job) {
    const Config& c = job.cfg;
    const uint32_t n = job.streamCount;
    const size_t K = c.keyBytes;
    auto* recs = static_cast<Rec*>(
        mergeSpace(job, n * (sizeof(Rec) + sizeof(uint8_t*) + 4 * sizeof(uint32_t) + 2 * K)));
    if (!recs) return false;
    auto* keys = reinterpret_cast<const uint8_t**>(recs + n);
    auto* node = reinterpret_cast<uint32_t*>(keys + n);
    uint32_t* win = node + n;
    uint8_t* keyBytes = reinterpret_cast<uint8_t*>(win + 2 * n);
    for (uint32_t i = 0; i < n; ++i) {
        Stream& s = job.streams[i];
        if (!streamOpen(job, s)) return false;
        const int got = streamNext(job, s, recs[i]);
        if (got < 0) return false;
        keys[i] = nullptr;
        if (got) {
            uint8_t* k = keyBytes + 2 * K * i;
            recordKey(job, recs[i].data, recs[i].length, k);
            keys[i] = k;
        }
    }
    if (!sinkOpen(job, job.sink)) return false;
    Tree t{n, node, keys, c.keyBytes};
    if (n) treeInit(t, win);
    while (n) {
        const uint32_t w = t.node[0];
        if (!keys[w]) break;
        if (!sinkPut(job, job.sink, recs[w].data, recs[w].length)) return false;
        ++job.records;
        // The next key goes in the other of the input's two slots, so the
        // one just written is there to check the order against.
        uint8_t* slot = keyBytes + 2 * K * w;
        uint8_t* next = keys[w] == slot ? slot + K : slot;
        const int got = streamNext(job, job.streams[w], recs[w]);
        if (got < 0) return false;
        if (got) {
            recordKey(job, recs[w].data, recs[w].length, next);
            if (memcmp(next, keys[w], K) < 0) return fail(job, ZVK_SORTENG_E_OUT_OF_ORDER);
            keys[w] = next;
        } else {
            keys[w] = nullptr;
        }
        treeReplay(t, w);
    }
    for (uint32_t i = 0; i < n; ++i)
        if (!streamClose(job, job.streams[i])) return false;
    return sinkClose(job, job.sink);
}

}  // namespace vort
