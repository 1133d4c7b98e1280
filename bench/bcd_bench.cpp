// Decimal arithmetic benchmarks: packed ADD, SUB, comparisons, zoned ADD
// and packed <-> zoned conversions at 7, 15 and 31 digits, with items at
// the start of 16-byte aligned records (as a compiler lays them out) and at
// odd offsets.  Where another COBOL runtime's compiler was found at build
// time, the same statements run there as a reference (ns per statement,
// the bare loop subtracted), so that the two are measured in one run.

#include <benchmark/benchmark.h>

#include "reference.h"
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstring>
#include <string>

#include "kvr2/kvr2.h"

extern char** environ;

namespace {

struct alignas(16) Record {
    uint8_t b[64];
};

// A packed item of n digits: 1234567890123... with the given sign nibble.
void packed(uint8_t* p, int n, uint8_t sign, int first = 1) {
    const int bytes = n / 2 + 1;
    int d = first;
    auto next = [&] { int v = d; d = d == 9 ? 1 : d + 1; return v; };
    std::memset(p, 0, bytes);
    int nib = 2 * bytes - 1 - n;  // leading unused nibble for even n
    for (int i = 0; i < n; ++i, ++nib) {
        const int v = next();
        if (nib & 1) p[nib / 2] |= uint8_t(v); else p[nib / 2] |= uint8_t(v << 4);
    }
    p[bytes - 1] |= sign;
}
void zoned(uint8_t* p, int n, int first = 1) {
    int d = first;
    for (int i = 0; i < n; ++i) p[i] = uint8_t('0' + d), d = d == 9 ? 1 : d + 1;
}

// range(0): digits, range(1): offset of the items in their records.
void args(benchmark::internal::Benchmark* b) {
    for (int n : {7, 15, 31})
        for (int off : {0, 3}) b->Args({n, off});
}

void BM_AddPacked(benchmark::State& s) {  // ADD A TO B
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *a = ra.b + off, *b = rb.b + off;
    packed(a, n, 0xC, 3);
    packed(b, n, 0xC, 1);
    b[0] &= 0x0F;  // room to grow
    for (auto _ : s) {
        _zvkcBCD_ADD_Pckd(a, b, b, n, n, n);
        benchmark::ClobberMemory();
    }
}
void BM_SubPacked(benchmark::State& s) {  // SUBTRACT A FROM B GIVING C
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{}, rc{};
    uint8_t *a = ra.b + off, *b = rb.b + off, *c = rc.b + off;
    packed(a, n, 0xC, 1);
    packed(b, n, 0xC, 5);
    for (auto _ : s) {
        _zvkcBCD_SUB_Pckd(b, a, c, n, n, n);
        benchmark::ClobberMemory();
    }
}
void BM_CompareEqualPacked(benchmark::State& s) {
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *a = ra.b + off, *b = rb.b + off;
    packed(a, n, 0xC);
    packed(b, n, 0xC);
    for (auto _ : s) benchmark::DoNotOptimize(_zvkcBCD_EQU_Pckd(a, b, n, n));
}
void BM_CompareUnequalPacked(benchmark::State& s) {  // IF A < B, false at the last digit
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *a = ra.b + off, *b = rb.b + off;
    packed(a, n, 0xC);
    packed(b, n, 0xC);
    a[n / 2] += 0x10;
    for (auto _ : s) benchmark::DoNotOptimize(_zvkcBCD_LES_Pckd(a, b, n, n));
}
void BM_AddZoned(benchmark::State& s) {
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *a = ra.b + off, *b = rb.b + off;
    zoned(a, n, 3);
    zoned(b, n, 1);
    b[0] = '0';
    for (auto _ : s) {
        _zvkcBCD_ADD_Znd(a, b, b, n, n, n);
        benchmark::ClobberMemory();
    }
}
void BM_PackedToZoned(benchmark::State& s) {
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *a = ra.b + off, *z = rb.b + off;
    packed(a, n, 0xD);
    for (auto _ : s) {
        _zvkcBCD_CONV_Pckd_To_ZndTO(a, z, n, n);
        benchmark::ClobberMemory();
    }
}
void BM_ZonedToPacked(benchmark::State& s) {
    const int n = int(s.range(0)), off = int(s.range(1));
    Record ra{}, rb{};
    uint8_t *z = ra.b + off, *p = rb.b + off;
    zoned(z, n);
    for (auto _ : s) {
        _zvkcBCD_CONV_ZndTO_To_Pckd(z, p, n, n);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_AddPacked)->Apply(args);
BENCHMARK(BM_SubPacked)->Apply(args);
BENCHMARK(BM_CompareEqualPacked)->Apply(args);
BENCHMARK(BM_CompareUnequalPacked)->Apply(args);
BENCHMARK(BM_AddZoned)->Apply(args);
BENCHMARK(BM_PackedToZoned)->Apply(args);
BENCHMARK(BM_ZonedToPacked)->Apply(args);

#ifdef KVR2_BCDREF
void reference(benchmark::State& s, const char* mode, long count) {
    kvr2bench::reference(s, KVR2_BCDREF, mode, count);
}
void BM_Reference_AddPacked15(benchmark::State& s) { reference(s, "add", 2000000); }
void BM_Reference_ComparePacked15(benchmark::State& s) { reference(s, "cmp", 10000000); }
BENCHMARK(BM_Reference_AddPacked15)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_Reference_ComparePacked15)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
#endif

}  // namespace

BENCHMARK_MAIN();
