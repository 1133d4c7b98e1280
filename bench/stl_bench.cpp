// Record I/O through the file-system modules, called as compiled code
// calls them: 100-byte records with a 10-digit key at the front.
//   line sequential: WRITE, then READ, N lines;
//   indexed: WRITE N records (keys a permutation of 0..N-1) into a new
//   file and, without a reference, over the full file; READ N by random
//   key, READ NEXT through the file; and the same three with the
//   file declared SHARING WITH ALL OTHER, LOCK MODE AUTOMATIC, opened I-O.
// N is 1,000,000, or KVR2_STL_BENCH_RECORDS.  Beside each, the same
// statements compiled by another COBOL compiler (bench/cobol/stlref.cbl),
// where one is installed: its CPU time less that of the same loop without
// the I/O.  Each benchmark reports records per second (items_per_second);
// stl_ratios.py prints the ratios.  The files live in a fresh directory
// under /tmp, removed at the end.
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kvr2/kvr2.h"
#include "reference.h"

namespace {

// FIB.shareMode 1: SHARING WITH ALL OTHER; FIB.lockMode 2: LOCK MODE IS
// AUTOMATIC (every READ of the file opened I-O locks its record).
constexpr uint8_t kShareAll = 1;
constexpr uint8_t kLockAutomatic = 2;

constexpr uint32_t kRecord = 100;
constexpr uint32_t kKey = 10;
long records = 1000000;

// The program's files, in FIB order.
enum File { kLsq, kIdx, kShared, kFiles };

struct FibWithKey {
    FIB fib;
    ZvkFileKey key;   // behind the FIB, at keyTableOffset
};

struct Program {
    alignas(16) PCB pcb{};
    alignas(16) IPCB ipcb[1]{};
    alignas(16) FibWithKey fibs[kFiles]{};
    alignas(16) FCB fcbs[kFiles]{};
    FIB* fibList[kFiles];
    void* fcbList[kFiles];
    struct alignas(16) Area {
        uint8_t header[32];
        uint8_t record[kRecord];
    } areas[kFiles]{};
    void* cells[kFiles];
    char status[2 * kFiles];
    void* statusCell = status;

    void declare(File f, const char* name, const char* assignment, uint8_t organization) {
        FIB& fib = fibs[f].fib;
        FCB& fcb = fcbs[f];
        fibList[f] = &fib;
        fcbList[f] = &fcb;
        cells[f] = &areas[f];
        fib.index = fcb.index = f + 1;
        memcpy(fib.defaultPrefix, "???", 3);
        fib.organization = organization;
        fib.access = organization == ZVK_ORG_INDEXED ? ZVK_ACCESS_DYNAMIC : ZVK_ACCESS_SEQUENTIAL;
        fib.recordFormat = ZVK_RECORD_FIXED;
        fib.flags = ZVK_FIB_ASSIGN_LITERAL;
        fib.maxLength = fib.minLength = fcb.maxLength = kRecord;
        snprintf(fib.name, sizeof fib.name, "%s", name);
        fib.assignment = const_cast<char*>(assignment);
        fib.assignLength = static_cast<uint16_t>(strlen(assignment));
        fib.recordCell = &cells[f];
        fib.statusCell = &statusCell;
        fib.statusOffset = 2 * f;
        if (organization == ZVK_ORG_INDEXED) {
            fib.keyCount = 1;
            fib.keyTableOffset = offsetof(FibWithKey, key);
            fibs[f].key = ZvkFileKey{kKey, 0, 0, {}};
        }
        memcpy(fcb.eye, "FCB", 3);
    }

    Program() {
        pcb.version[0] = 6, pcb.version[1] = 1;
        pcb.ipcb = ipcb;
        pcb.name = "STLBENCH";
        pcb.nameLength = 8;
        pcb.yearWindow = 9999;
        pcb.fib = fibList;
        ipcb[0].fcbs = fcbList;
        ipcb[0].fileCount = kFiles;
        declare(kLsq, "L", "lsq-lsqbench.txt", ZVK_ORG_LINE_SEQUENTIAL);
        declare(kIdx, "X", "stl-idxbench.dat", ZVK_ORG_INDEXED);
        declare(kShared, "S", "stl-idxbench.dat", ZVK_ORG_INDEXED);
        // SHARING WITH ALL OTHER, LOCK MODE IS AUTOMATIC.
        fibs[kShared].fib.shareLock = 1;
        fibs[kShared].fib.shareMode = kShareAll;
        fibs[kShared].fib.lockMode = kLockAutomatic;
    }
};

Program* program;

// The 10 digits of a key, as MOVE of a binary item to PIC 9(10) gives.
inline void putKey(uint8_t* to, uint64_t value) {
    for (int i = kKey - 1; i >= 0; --i, value /= 10) to[i] = static_cast<uint8_t>('0' + value % 10);
}
inline uint64_t permuted(uint64_t i) { return (i * 7919 + 13) % static_cast<uint64_t>(records); }
inline uint64_t randomKey(uint64_t i) { return (i * 104729 + 7) % static_cast<uint64_t>(records); }

bool openFile(File f, uint16_t mode) {
    FCB& fcb = program->fcbs[f];
    fcb.openMode = mode;
    return fcb.open(&fcb, program->ipcb) < 10;
}
void closeFile(File f) {
    FCB& fcb = program->fcbs[f];
    fcb.closeOptions = 0;
    fcb.close(&fcb, program->ipcb);
}

// Every verb's failure is reported and stops the benchmark.
bool fail(benchmark::State& s, File f, const char* what) {
    char text[96];
    snprintf(text, sizeof text, "%s: status %02d, fs2 %u", what, program->fcbs[f].status, program->fcbs[f].fs2);
    s.SkipWithError(text);
    return false;
}

bool writeAll(benchmark::State& s, File f, bool keyed) {
    FCB& fcb = program->fcbs[f];
    uint8_t* record = program->areas[f].record;
    memset(record, 'a', kRecord);
    for (uint32_t i = kKey; i < kRecord; ++i) record[i] = static_cast<uint8_t>('a' + (i - kKey) % 10);
    fcb.clauses = ZVK_CLAUSE_INVALID_KEY;
    for (long i = 0; i < records; ++i) {
        putKey(record, keyed ? permuted(static_cast<uint64_t>(i)) : static_cast<uint64_t>(i));
        if (fcb.write(&fcb, program->ipcb, ZVK_WRITE_PLAIN, kRecord) > 9) return fail(s, f, "WRITE");
    }
    return true;
}

bool readAll(benchmark::State& s, File f, uint32_t how) {
    FCB& fcb = program->fcbs[f];
    uint8_t* record = program->areas[f].record;
    fcb.clauses = ZVK_CLAUSE_INVALID_KEY | ZVK_CLAUSE_AT_END;
    for (long i = 0; i < records; ++i) {
        if (how == ZVK_READ_KEY) putKey(record, randomKey(static_cast<uint64_t>(i)));
        if (fcb.read(&fcb, program->ipcb, how, 0) > 9) return fail(s, f, "READ");
        benchmark::DoNotOptimize(record[kKey]);
    }
    return true;
}

bool exists(const char* name) {
    struct stat st;
    return stat(name, &st) == 0;
}

// The file a READ benchmark reads, written first when absent (a benchmark
// run alone).
bool ensureFile(benchmark::State& s, File f) {
    if (exists(f == kLsq ? "lsqbench.txt" : "idxbench.dat")) return true;
    if (!openFile(f, ZVK_OPEN_OUTPUT)) return fail(s, f, "OPEN OUTPUT");
    const bool ok = writeAll(s, f, f != kLsq);
    closeFile(f);
    return ok;
}

// The file gone, so that a WRITE benchmark starts from nothing, as the
// reference's does.
void removeIndexed(const char* name) {
    char lock[64];
    snprintf(lock, sizeof lock, "%s-lock", name);
    unlink(name);
    unlink(lock);
}

// One iteration: OPEN, the N statements, CLOSE.
template <class Body>
void measure(benchmark::State& s, File f, uint16_t mode, Body body, bool overFile = false) {
    if ((!(mode & ZVK_OPEN_OUTPUT) || overFile) && !ensureFile(s, f)) return;
    for (auto _ : s) {
        s.PauseTiming();
        if ((mode & ZVK_OPEN_OUTPUT) && !overFile)
            f == kLsq ? (void)unlink("lsqbench.txt") : removeIndexed("idxbench.dat");
        s.ResumeTiming();
        if (!openFile(f, mode)) {
            fail(s, f, "OPEN");
            return;
        }
        const bool ok = body();
        closeFile(f);
        if (!ok) return;
    }
    s.SetItemsProcessed(s.iterations() * records);
}

void BM_LineSequentialWrite(benchmark::State& s) {
    measure(s, kLsq, ZVK_OPEN_OUTPUT, [&] { return writeAll(s, kLsq, false); });
}
void BM_LineSequentialRead(benchmark::State& s) {
    measure(s, kLsq, ZVK_OPEN_INPUT, [&] { return readAll(s, kLsq, ZVK_READ_NEXT); });
}
void BM_IndexedWrite(benchmark::State& s) {
    measure(s, kIdx, ZVK_OPEN_OUTPUT, [&] { return writeAll(s, kIdx, true); });
}
// OPEN OUTPUT over a full file, which the module empties in place.
void BM_IndexedWriteOverFile(benchmark::State& s) {
    measure(s, kIdx, ZVK_OPEN_OUTPUT, [&] { return writeAll(s, kIdx, true); }, true);
}
void BM_IndexedReadRandom(benchmark::State& s) {
    measure(s, kIdx, ZVK_OPEN_INPUT, [&] { return readAll(s, kIdx, ZVK_READ_KEY | ZVK_HOW_KEY(0)); });
}
void BM_IndexedReadNext(benchmark::State& s) {
    measure(s, kIdx, ZVK_OPEN_INPUT, [&] { return readAll(s, kIdx, ZVK_READ_NEXT); });
}
void BM_SharedWrite(benchmark::State& s) {
    for (auto _ : s) {
        s.PauseTiming();
        removeIndexed("idxbench.dat");
        const bool created = openFile(kShared, ZVK_OPEN_OUTPUT);
        if (created) closeFile(kShared);
        s.ResumeTiming();
        if (!created) return (void)fail(s, kShared, "OPEN OUTPUT");
        if (!openFile(kShared, ZVK_OPEN_IO)) return (void)fail(s, kShared, "OPEN I-O");
        const bool ok = writeAll(s, kShared, true);
        closeFile(kShared);
        if (!ok) return;
    }
    s.SetItemsProcessed(s.iterations() * records);
}
void BM_SharedReadRandom(benchmark::State& s) {
    measure(s, kShared, ZVK_OPEN_IO, [&] { return readAll(s, kShared, ZVK_READ_KEY | ZVK_HOW_KEY(0)); });
}
void BM_SharedReadNext(benchmark::State& s) {
    measure(s, kShared, ZVK_OPEN_IO, [&] { return readAll(s, kShared, ZVK_READ_NEXT); });
}

#define KVR2_RECORD_BENCH(name) BENCHMARK(name)->Iterations(1)->Unit(benchmark::kMillisecond)
KVR2_RECORD_BENCH(BM_LineSequentialWrite);
KVR2_RECORD_BENCH(BM_LineSequentialRead);
KVR2_RECORD_BENCH(BM_IndexedWrite);
KVR2_RECORD_BENCH(BM_IndexedWriteOverFile);
KVR2_RECORD_BENCH(BM_IndexedReadRandom);
KVR2_RECORD_BENCH(BM_IndexedReadNext);
KVR2_RECORD_BENCH(BM_SharedWrite);
KVR2_RECORD_BENCH(BM_SharedReadRandom);
KVR2_RECORD_BENCH(BM_SharedReadNext);

#ifdef KVR2_STLREF
// The reference program's mode, less its baseline loop; the reads first
// have it write the file they read, outside the measured time.
void reference(benchmark::State& s, const char* mode, const char* base, const char* setup, const char* file) {
    if (setup && !exists(file) && kvr2bench::runReference(KVR2_STLREF, setup, records) < 0) {
        s.SkipWithError("reference program failed to write its file");
        return;
    }
    for (auto _ : s) {
        if (!setup && file) unlink(file);   // a WRITE starts from nothing
        const auto start = std::chrono::steady_clock::now();
        const double t = kvr2bench::runReference(KVR2_STLREF, mode, records);
        const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const double b = kvr2bench::runReference(KVR2_STLREF, base, records);
        if (t < 0 || b < 0) {
            s.SkipWithError("reference program failed");
            return;
        }
        s.SetIterationTime(t - b);
        s.counters["wall_s"] = wall;
    }
    s.SetItemsProcessed(s.iterations() * records);
}
#define KVR2_REFERENCE(name, mode, base, setup, file) \
    void BM_Reference_##name(benchmark::State& s) { reference(s, mode, base, setup, file); } \
    BENCHMARK(BM_Reference_##name)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)
KVR2_REFERENCE(LineSequentialWrite, "lsqw", "base1", nullptr, "lsqref.txt");
KVR2_REFERENCE(LineSequentialRead, "lsqr", "base0", "lsqw", "lsqref.txt");
KVR2_REFERENCE(IndexedWrite, "idxw", "basew", nullptr, "idxref.dat");
KVR2_REFERENCE(IndexedReadRandom, "idxr", "baser", "idxw", "idxref.dat");
KVR2_REFERENCE(IndexedReadNext, "idxn", "base0", "idxw", "idxref.dat");
KVR2_REFERENCE(SharedWrite, "shw", "basew", nullptr, "idxref.dat");
KVR2_REFERENCE(SharedReadRandom, "shr", "baser", "shw", "idxref.dat");
KVR2_REFERENCE(SharedReadNext, "shn", "base0", "shw", "idxref.dat");
#endif

int removeEntry(const char* path, const struct stat*, int, struct FTW*) { return remove(path); }

}  // namespace

int main(int argc, char** argv) {
    if (const char* n = getenv("KVR2_STL_BENCH_RECORDS")) records = atol(n) > 0 ? atol(n) : records;
    char dir[] = "/tmp/kvr2stlbenchXXXXXX";
    if (!mkdtemp(dir) || chdir(dir) != 0) return 1;
    static Program p;
    program = &p;
    _zvkPgmInit(&p.pcb);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (chdir("/") == 0) nftw(dir, removeEntry, 16, FTW_DEPTH | FTW_PHYS);
    return 0;
}
