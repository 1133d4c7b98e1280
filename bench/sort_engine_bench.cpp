// The sort engine against GNU sort on one file of 100-byte records (99
// printable bytes and a line feed, the key the first 10 bytes): spill file
// in, spill file out, the same memory budget and work directory, both on
// the same two cores.  The outputs are compared byte for byte at the end.
//
//   sort_engine_bench [benchmark flags]
//   SORT_BENCH_BYTES   input size (default 1G; K, M, G suffixes)
//   SORT_BENCH_MEMORY  budget of both sorts (default 256M)
//   SORT_BENCH_DIR     where the files go (default /tmp)
//   SORT_BENCH_ENGINE  another build of the engine to measure
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kvr2/sortengine.h"

namespace {

constexpr uint32_t kRecord = 100, kKey = 10;

std::string env(const char* name, const char* fallback) {
    const char* v = getenv(name);
    return v && *v ? v : fallback;
}

uint64_t size(const std::string& s) {
    char* end = nullptr;
    uint64_t v = strtoull(s.c_str(), &end, 10);
    if (*end == 'K' || *end == 'k') v <<= 10;
    if (*end == 'M' || *end == 'm') v <<= 20;
    if (*end == 'G' || *end == 'g') v <<= 30;
    return v;
}

struct Setup {
    std::string dir, input, engineOut, gnuOut, memory;
    uint64_t bytes = 0;
} setup;

void generate() {
    FILE* f = fopen(setup.input.c_str(), "wb");
    std::vector<char> block(kRecord * 10000);
    uint64_t x = 88172645463325252ull;
    for (uint64_t done = 0; done < setup.bytes; done += block.size()) {
        for (size_t r = 0; r < block.size(); r += kRecord) {
            for (size_t i = 0; i < kRecord - 1; ++i) {
                x ^= x << 13, x ^= x >> 7, x ^= x << 17;
                block[r + i] = char(0x21 + (x >> 33) % 94);
            }
            block[r + kRecord - 1] = '\n';
        }
        const uint64_t left = setup.bytes - done;
        fwrite(block.data(), 1, left < block.size() ? size_t(left) : block.size(), f);
    }
    fclose(f);
    struct stat st;
    stat(setup.input.c_str(), &st);
    setup.bytes = uint64_t(st.st_size);
}

zvkSortEngine engine() {
    void* h = dlopen(env("SORT_BENCH_ENGINE", KVR2_ENGINE_PATH).c_str(), RTLD_NOW);
    return h ? reinterpret_cast<zvkSortEngine>(dlvsym(h, "sortmerge", ZVK_SORT_ENGINE_VERSION)) : nullptr;
}

void report(benchmark::State& state) {
    state.counters["MB/s"] = benchmark::Counter(double(setup.bytes) / 1e6 * double(state.iterations()),
                                                benchmark::Counter::kIsRate);
    state.SetBytesProcessed(int64_t(setup.bytes) * int64_t(state.iterations()));
}

void BM_Engine(benchmark::State& state) {
    const zvkSortEngine sortmerge = engine();
    if (!sortmerge) return state.SkipWithError("no engine");
    struct {
        ZvkSortKeyBlock head;
        TableSortKey key;
    } keys{{ZVK_SORTENG_KEY_MAGIC, ZVK_SORTENG_KEY_VERSION, 0, 1, 0},
           {0, kKey, ZVK_TSORT_ALPHANUMERIC, 0, ZVK_TSORT_ASCENDING, {0, 0}}};
    std::string options = "MEMORY=" + setup.memory;
    for (auto _ : state) {
        SortIoRecord in{setup.input.data(), 0, 0, nullptr, 0, 0, nullptr};
        SortIoRecord out{setup.engineOut.data(), 0, 0, nullptr, 0, 0, nullptr};
        SortControlRecord ctl{};
        ctl.tempDir = setup.dir.c_str();
        ctl.errnoOut = &ctl.errnoValue;
        const int32_t r = sortmerge(ZVK_SORT_START, ZVK_SORT_FIXED_BLANK, kRecord, reinterpret_cast<uintptr_t>(&keys),
                                    options.data(), SortEighth{}, in, out, ctl);
        if (r) state.SkipWithError(("engine error " + std::to_string(ctl.errnoValue)).c_str());
    }
    report(state);
}

void BM_GnuSort(benchmark::State& state) {
    const std::string cmd = "taskset -c 0,1 env LC_ALL=C sort -s -k1.1,1.10 --parallel=2 -S " + setup.memory + " -T " +
                            setup.dir + " -o " + setup.gnuOut + " " + setup.input;
    for (auto _ : state)
        if (std::system(cmd.c_str()) != 0) state.SkipWithError("sort failed");
    report(state);
}

BENCHMARK(BM_Engine)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();
BENCHMARK(BM_GnuSort)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    // Both sorts on cores 0 and 1: this process (the engine's threads are
    // its own) and GNU sort through taskset.
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(0, &cpus), CPU_SET(1, &cpus);
    sched_setaffinity(0, sizeof cpus, &cpus);
    setup.dir = env("SORT_BENCH_DIR", "/tmp") + "/sort_engine_bench." + std::to_string(getpid());
    mkdir(setup.dir.c_str(), 0700);
    setup.input = setup.dir + "/records";
    setup.engineOut = setup.dir + "/engine.out";
    setup.gnuOut = setup.dir + "/gnu.out";
    setup.memory = env("SORT_BENCH_MEMORY", "256M");
    setup.bytes = size(env("SORT_BENCH_BYTES", "1G")) / kRecord * kRecord;
    generate();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const std::string compare = "cmp -s " + setup.engineOut + " " + setup.gnuOut;
    const bool same = std::system(compare.c_str()) == 0;
    printf("%s: %llu bytes, outputs %s\n", same ? "ok" : "MISMATCH", static_cast<unsigned long long>(setup.bytes),
           same ? "identical" : "differ");
    std::system(("rm -rf " + setup.dir).c_str());
    return same ? 0 : 1;
}
