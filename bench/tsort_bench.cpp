// SORT of a table of 100,000 45-byte elements (a packed S9(9) key, an
// alphanumeric X(10) key, 30 bytes of rest) on either key, called as
// compiled code calls it; and the same SORT compiled by another COBOL
// compiler where one is installed.  Both fill the table with the same
// generator and restore it before every sort, outside the measured time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "kvr2/kvr2.h"
#include "reference.h"

namespace {

constexpr int kRows = 100000;
constexpr uint32_t kElement = 45;

// S9(9) COMP-3 at 0, X(10) at 5, X(30) at 15.
std::vector<uint8_t> makeTable() {
    std::vector<uint8_t> t(size_t(kRows) * kElement, 'R');
    uint64_t seed = 12345;
    for (int i = 0; i < kRows; ++i) {
        uint8_t* e = &t[size_t(i) * kElement];
        seed = seed * 48271 % 2147483647;
        const int64_t v = int64_t(seed % 1000000000) - 500000000;
        uint64_t m = uint64_t(v < 0 ? -v : v);
        e[4] = uint8_t((m % 10) << 4 | (v < 0 ? 0x0D : 0x0C));
        m /= 10;
        for (int b = 3; b >= 0; --b, m /= 100) e[b] = uint8_t((m / 10 % 10) << 4 | m % 10);
        char digits[11];
        snprintf(digits, sizeof digits, "%010llu", static_cast<unsigned long long>(seed % 10000000000ull));
        memcpy(e + 5, digits, 10);
    }
    return t;
}

void sortOn(benchmark::State& s, TableSortKey key) {
    const std::vector<uint8_t> original = makeTable();
    std::vector<uint8_t> table(original.size());
    for (auto _ : s) {
        s.PauseTiming();
        memcpy(table.data(), original.data(), table.size());
        s.ResumeTiming();
        _zvkcTSort(0, table.data(), kElement, kRows, nullptr, 1, &key);
        benchmark::DoNotOptimize(table.data());
    }
}

void BM_TableSortPacked(benchmark::State& s) {
    sortOn(s, TableSortKey{0, 5, ZVK_TSORT_PACKED, 0, ZVK_TSORT_ASCENDING, {}});
}
BENCHMARK(BM_TableSortPacked)->Unit(benchmark::kMillisecond);

void BM_TableSortAlphanumeric(benchmark::State& s) {
    sortOn(s, TableSortKey{5, 10, ZVK_TSORT_ALPHANUMERIC, 0, ZVK_TSORT_ASCENDING, {}});
}
BENCHMARK(BM_TableSortAlphanumeric)->Unit(benchmark::kMillisecond);

#ifdef KVR2_TSORTREF
void BM_Reference_TableSortPacked(benchmark::State& s) { kvr2bench::reference(s, KVR2_TSORTREF, "packed", 5); }
BENCHMARK(BM_Reference_TableSortPacked)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
void BM_Reference_TableSortAlphanumeric(benchmark::State& s) { kvr2bench::reference(s, KVR2_TSORTREF, "alnum", 10); }
BENCHMARK(BM_Reference_TableSortAlphanumeric)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
