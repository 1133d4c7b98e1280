// One edited MOVE of a 9-digit value into -Z,ZZZ,ZZ9.99 and one INSPECT
// TALLYING over 80 bytes, called as compiled code calls them.

#include <benchmark/benchmark.h>
#include <string.h>

#include <vector>

#include "kvr2/kvr2.h"

namespace {

void EditedMove(benchmark::State& state) {
    const char picture[] = "-Z,ZZZ,ZZ9.99";
    std::vector<uint8_t> rec(5 + 13);
    int16_t length = 13;
    memcpy(rec.data(), &length, 2);
    rec[2] = '.';
    rec[3] = '$';
    rec[4] = 3;   // fixed "-"
    memcpy(rec.data() + 5, picture, 13);
    uint8_t source[] = "-123456789";
    uint8_t out[16];
    for (auto _ : state) {
        _zvkcMoveNumToNumEdit(reinterpret_cast<const NumericEditRecord*>(rec.data()), source, out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(EditedMove);

void InspectTallying80(benchmark::State& state) {
    char item[81] = "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG AND A CAT AT A BANANA STAND ALL DAY ";
    uint64_t counter = 0;
    alignas(16) uint8_t block[32 + 96] = {};
    int32_t one = 1;
    uint64_t len = 80;
    void* data = item;
    memcpy(block, &one, 4);
    memcpy(block + 16, &len, 8);
    memcpy(block + 24, &data, 8);
    uint32_t kind = ZVK_INSP_TALLYING;
    void* ctr = &counter;
    uint64_t one64 = 1, eight = 8;
    static const char a[] = "A";
    const void* ap = a;
    memcpy(block + 32, &kind, 4);
    memcpy(block + 32 + 8, &eight, 8);
    memcpy(block + 32 + 16, &ctr, 8);
    memcpy(block + 32 + 24 + 8, &one64, 8);
    memcpy(block + 32 + 24 + 16, &ap, 8);
    for (auto _ : state) {
        _zvkcInspect(reinterpret_cast<InspectBlock*>(block));
        benchmark::DoNotOptimize(counter);
    }
    state.counters["tally"] = double(counter) / double(state.iterations());
}
BENCHMARK(InspectTallying80);

}  // namespace

BENCHMARK_MAIN();
