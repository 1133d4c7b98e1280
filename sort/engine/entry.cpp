// sortmerge: reads the call's words into a Job, runs SORT or MERGE, and
// abandons a running job at op 11.  The engine holds nothing between calls
// but the thread_local pointer to the running job, so that the runtime can
// unload it as soon as a call returns.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <type_traits>
#include <unistd.h>

#include "sort/engine/engine.h"
#include "sort/keys.h"

namespace vort {

thread_local Job* runningJob = nullptr;

bool fail(Job& job, uint32_t error) {
    if (!job.error) job.error = error;
    return false;
}

void releaseJob(Job& job) {
    writeWait(job);
    free(job.arena), job.arena = nullptr;
    free(job.spool.buf), job.spool.buf = nullptr;
    free(job.keyPad), job.keyPad = nullptr;
    free(job.runs), job.runs = nullptr;
    free(job.mergeKeys), job.mergeKeys = nullptr;
    for (int i = 0; i < 2; ++i)
        if (job.work[i] >= 0) close(job.work[i]), job.work[i] = -1;
    if (job.streams) {
        for (uint32_t i = 0; i < job.streamCount; ++i) {
            Stream& s = job.streams[i];
            if (s.kind == StreamKind::File && s.fd >= 0) close(s.fd), s.fd = -1;
            free(s.buf), s.buf = nullptr;
        }
        free(job.streams), job.streams = nullptr;
    }
    if (job.sink.kind == SinkKind::File && job.sink.file.fd >= 0) close(job.sink.file.fd), job.sink.file.fd = -1;
    free(job.sink.file.buf), job.sink.file.buf = nullptr;
}

void recordKey(Job& job, const uint8_t* data, uint32_t length, uint8_t* out) {
    const Config& c = job.cfg;
    if (length < c.keyReach) {
        memcpy(job.keyPad, data, length);
        memset(job.keyPad + length, ' ', c.keyReach - length);
        data = job.keyPad;
    }
    uint32_t at = 0;
    for (uint32_t i = 0; i < c.keyCount; ++i) at += sortkeys::normaliseKey(c.keys[i], data, c.collating, out + at);
    memset(out + at, 0, c.keyBytes - at);
}

namespace {

bool parseSize(const char* p, const char* end, uint64_t* out) {
    uint64_t v = 0;
    if (p == end) return false;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        if (v > (uint64_t(1) << 40)) return false;
        v = v * 10 + uint64_t(*p - '0');
    }
    if (p < end) {
        const char unit = *p++;
        if (unit == 'K' || unit == 'k') v <<= 10;
        else if (unit == 'M' || unit == 'm') v <<= 20;
        else if (unit == 'G' || unit == 'g') v <<= 30;
        else return false;
    }
    *out = v;
    return p == end;
}

// "MEMORY=64M,THREADS=1"
bool parseOptions(Job& job, const char* text) {
    if (!text) return true;
    const char* p = text;
    while (*p) {
        const char* end = strchr(p, ',');
        if (!end) end = p + strlen(p);
        uint64_t v = 0;
        if (end - p > 7 && !memcmp(p, "MEMORY=", 7) && parseSize(p + 7, end, &v)) {
            job.cfg.memory = v < (64u << 10) ? (64u << 10) : v;
        } else if (end - p == 9 && !memcmp(p, "THREADS=", 8) && (p[8] == '1' || p[8] == '2')) {
            job.cfg.threads = uint32_t(p[8] - '0');
        } else if (end != p) {
            return fail(job, ZVK_SORTENG_E_OPTION);
        }
        p = *end ? end + 1 : end;
    }
    return true;
}

bool readKeys(Job& job, uintptr_t fourth) {
    Config& c = job.cfg;
    if (!fourth) return true;
    const auto* block = reinterpret_cast<const ZvkSortKeyBlock*>(fourth);
    if (block->magic != ZVK_SORTENG_KEY_MAGIC || block->version != ZVK_SORTENG_KEY_VERSION ||
        block->count > ZVK_SORTENG_MAX_KEYS)
        return fail(job, ZVK_SORTENG_E_KEY_BLOCK);
    c.keys = ZVK_SORTENG_KEYS(block);
    c.keyCount = block->count;
    for (uint32_t i = 0; i < c.keyCount; ++i) {
        const TableSortKey& k = c.keys[i];
        const uint32_t bytes = sortkeys::maxKeyBytes(k);
        if (!bytes || uint64_t(k.offset) + k.length > c.recordLength) return fail(job, ZVK_SORTENG_E_KEY);
        c.keyBytes += bytes;
        if (k.offset + k.length > c.keyReach) c.keyReach = k.offset + k.length;
    }
    return true;
}

// The element whose pcb is the calling program: the program's own among
// its nested ones.
IPCB* findElement(PCB* program) {
    if (!program || !program->ipcb) return nullptr;
    IPCB* first = program->ipcb;
    const int32_t n = first->nested >= 0 ? first->nested + 1 : 1;
    for (int32_t i = 0; i < n; ++i)
        if (first[i].pcb == program) return &first[i];
    return first;
}

bool setUp(Job& job, uint64_t formatWord, uint32_t recordLength, uintptr_t fourth, const char* fifth,
           const SortEighth& eighth, const SortControlRecord& ctl) {
    Config& c = job.cfg;
    c.format = uint32_t(formatWord);
    c.recordLength = recordLength;
    c.memory = 256u << 20;
    c.threads = 2;
    if (!recordLength || recordLength > ZVK_SORTENG_MAX_RECORD) return fail(job, ZVK_SORTENG_E_RECORD_FORM);
    if (!readKeys(job, fourth)) return false;
    const uint64_t flags = eighth.word[ZVK_SORTENG_WORD_FLAGS];
    if ((flags & ~uint64_t(ZVK_SORTENG_KNOWN_FLAGS)) || eighth.word[ZVK_SORTENG_WORD_RESERVED])
        return fail(job, ZVK_SORTENG_E_FLAGS);
    if (flags & ZVK_SORTENG_ONE_THREAD) c.threads = 1;
    c.collating = reinterpret_cast<const uint8_t*>(eighth.word[ZVK_SORTENG_WORD_COLLATING]);
    if (!parseOptions(job, fifth)) return false;
    job.tempDir = ctl.tempDir && *ctl.tempDir ? ctl.tempDir : ".";
    job.element = findElement(ctl.program);
    job.keyPad = static_cast<uint8_t*>(malloc(c.keyReach + 1));
    if (!job.keyPad) return fail(job, ZVK_SORTENG_E_MEMORY);
    return true;
}

// The inputs in the runtime's order: the USING files, else the spill file
// and then the memory.
bool listInputs(Job& job, const SortIoRecord& in) {
    const uint32_t n = in.path || !in.count ? 2 : in.count;
    job.streams = static_cast<Stream*>(calloc(n, sizeof(Stream)));
    if (!job.streams) return fail(job, ZVK_SORTENG_E_MEMORY);
    for (uint32_t i = 0; i < n; ++i) job.streams[i].fd = -1;
    if (!in.path && in.count) {
        if (!job.element) return fail(job, ZVK_SORTENG_E_NO_PROGRAM);
        if (!in.files) return fail(job, ZVK_SORTENG_E_USING_OPEN);
        for (uint32_t i = 0; i < n; ++i) job.streams[i].kind = StreamKind::Fcb, job.streams[i].fcb = in.files[i];
        job.streamCount = n;
        return true;
    }
    if (in.path) {
        Stream& s = job.streams[job.streamCount++];
        s.kind = StreamKind::File;
        s.fd = open(in.path, O_RDONLY | O_CLOEXEC);
        if (s.fd < 0) return fail(job, ZVK_SORTENG_E_INPUT_FILE);
    }
    if (in.bytes && in.memory) {
        Stream& s = job.streams[job.streamCount++];
        s.kind = StreamKind::Memory;
        s.mem = static_cast<const uint8_t*>(in.memory);
        s.memSize = in.bytes;
    }
    return true;
}

void describeOutput(Job& job, const SortIoRecord& out) {
    Sink& s = job.sink;
    s.file.fd = -1;
    if (out.count) {
        s.kind = SinkKind::Fcbs, s.files = out.files, s.count = out.count;
    } else if (out.path) {
        s.kind = SinkKind::File;
    } else {
        s.kind = SinkKind::Memory, s.mem = static_cast<uint8_t*>(out.memory), s.memCap = out.bytes;
    }
}

// The files a failed sort left open are closed; their statuses no longer
// matter, the first error stands.
void closeAfterFailure(Job& job) {
    for (uint32_t i = 0; i < job.streamCount && !job.abandoned; ++i) streamClose(job, job.streams[i]);
    if (job.sink.kind == SinkKind::Fcbs && !job.abandoned) sinkClose(job, job.sink);
}

int32_t run(Job& job, int32_t op, const SortIoRecord& in, const SortIoRecord& out, const char* outPath) {
    describeOutput(job, out);
    if (job.sink.kind == SinkKind::Fcbs && !job.element) return fail(job, ZVK_SORTENG_E_NO_PROGRAM), 16;
    if (job.sink.kind == SinkKind::Fcbs && !out.files) return fail(job, ZVK_SORTENG_E_GIVING_OPEN), 16;
    if (!listInputs(job, in)) return 16;
    if (job.sink.kind == SinkKind::File) {
        // Made, and emptied, before anything is read: the runtime reads it
        // even when no record came.
        job.sink.file.fd = open(outPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        if (job.sink.file.fd < 0) return fail(job, ZVK_SORTENG_E_OUTPUT_FILE), 16;
    }
    // A MERGE into memory goes through the sort, which reads every input
    // before it writes: the output may be the input's own bytes.  Of
    // ordered inputs a stable sort makes the merge's order.
    const bool ok = op == ZVK_MERGE_START && job.sink.kind != SinkKind::Memory ? mergeStreams(job) : sortInput(job);
    if (!ok && !job.abandoned) closeAfterFailure(job);
    return ok ? 0 : 16;
}

}  // namespace

}  // namespace vort

using namespace vort;

static_assert(std::is_same_v<decltype(&sortmerge), zvkSortEngine>, "sortmerge has the library's type");

int32_t sortmerge(int32_t op, uint64_t formatWord, uint32_t recordLength, uintptr_t fourth, char* fifth,
                  SortEighth eighth, SortIoRecord in, SortIoRecord out, SortControlRecord ctl) {
    if (op == ZVK_SORT_END_RUN) {
        // Abandon: the running job's frames may lie below us on this
        // thread; they see abandoned after the file call returns, if it does.
        if (Job* job = runningJob) {
            job->abandoned = true;
            fail(*job, ZVK_SORTENG_E_ABANDONED);
            releaseJob(*job);
            runningJob = nullptr;
        }
        if (ctl.errnoOut) *ctl.errnoOut = 0;
        return 0;
    }
    Job job;
    memset(&job, 0, sizeof job);
    job.work[0] = job.work[1] = -1;
    job.sink.file.fd = -1;
    job.spool.fd = -1;
    int32_t result = 16;
    if (runningJob) {
        job.error = ZVK_SORTENG_E_NESTED;
    } else if (op != ZVK_SORT_START && op != ZVK_MERGE_START) {
        job.error = ZVK_SORTENG_E_OP;
    } else if (setUp(job, formatWord, recordLength, fourth, fifth, eighth, ctl)) {
        runningJob = &job;
        result = run(job, op, in, out, out.path);
        if (result == 0 && job.error) result = 16;
        if (runningJob == &job) runningJob = nullptr;
        if (ctl.engineFlags & ZVK_SORTENG_TRACE)
            fprintf(stderr, "sortmerge: op %d records %llu runs %u passes %u result %d error %u\n", op,
                    static_cast<unsigned long long>(job.records), job.spilledRuns, job.passes, result, job.error);
    }
    releaseJob(job);
    if (result == 0) job.error = 0;
    if (ctl.errnoOut) *ctl.errnoOut = job.error;
    return result;
}
