// Decimal multiplication, division and scaling: 15 x 15 and 31 x 31 digit
// packed multiplication, a 31-digit packed dividend by a 15-digit divisor,
// and a 15-digit rounding shift, with items in 16-byte aligned records as a
// compiler lays them out.  Where another COBOL runtime's compiler was found
// at build time, the same statements on COMP-3 items run there as a
// reference (CPU ns per statement, the bare loop taken off), to be set
// beside the cpu_time of the benchmarks above.

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

// A packed item of the decimal string's digits, sign nibble given.
void packed(uint8_t* p, int n, const char* digits, uint8_t sign) {
    const int bytes = n / 2 + 1, len = int(strlen(digits));
    memset(p, 0, bytes);
    for (int i = 0; i < len && i < n; ++i) {
        const int nib = 2 * bytes - 2 - i;  // nibble from the left of the i-th digit from the right
        const int v = digits[len - 1 - i] - '0';
        p[nib / 2] |= uint8_t(nib & 1 ? v : v << 4);
    }
    p[bytes - 1] |= sign;
}

// MULTIPLY A BY B GIVING C: 15 x 15 into 30 digits, 31 x 31 into 31 and 62.
void BM_MultiplyPacked(benchmark::State& s) {
    const int n = int(s.range(0)), nd = int(s.range(1));
    Record ra{}, rb{}, rc{};
    packed(ra.b, n, "1234567890123456789012345678901", 0xC);
    packed(rb.b, n, "9876543210987654321098765432109", 0xD);
    for (auto _ : s) {
        _zvkcBCD_MPY_Pckd(ra.b, rb.b, rc.b, nd, n, n);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_MultiplyPacked)->Args({15, 30})->Args({31, 31})->Args({31, 62});

// DIVIDE A BY B GIVING Q: 31 digits by 15 into 16.
void BM_DividePacked(benchmark::State& s) {
    Record ra{}, rb{}, rq{};
    packed(ra.b, 31, "1234567890123456789012345678901", 0xC);
    packed(rb.b, 15, "987654321098765", 0xC);
    for (auto _ : s) {
        _zvkcBCD_DIV_Pckd(ra.b, rb.b, rq.b, 16, 15, 31);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DividePacked);

// DIVIDE ... REMAINDER and MOD of the same items.
void BM_DivideRemainderPacked(benchmark::State& s) {
    Record ra{}, rb{}, rq{}, rr{};
    packed(ra.b, 31, "1234567890123456789012345678901", 0xC);
    packed(rb.b, 15, "987654321098765", 0xC);
    for (auto _ : s) {
        benchmark::DoNotOptimize(_zvkcBCD_DIVR_Pckd(ra.b, rb.b, rq.b, rr.b, 15, 16, 15, 31));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_DivideRemainderPacked);

// COMPUTE T ROUNDED = S: 15 digits with two decimal places into 13.
void BM_ShiftRoundPacked(benchmark::State& s) {
    Record rs{}, rt{};
    packed(rs.b, 15, "123456789012345", 0xC);
    for (auto _ : s) {
        _zvkcBCD_SHFD_Pckd_RightRnd(rs.b, rt.b, 13, 15, 2);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ShiftRoundPacked);

// An odd shift: one digit, each byte made of two.
void BM_ShiftRoundOddPacked(benchmark::State& s) {
    Record rs{}, rt{};
    packed(rs.b, 15, "123456789012345", 0xC);
    for (auto _ : s) {
        _zvkcBCD_SHFD_Pckd_RightRnd(rs.b, rt.b, 14, 15, 1);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ShiftRoundOddPacked);

#ifdef KVR2_MULDIVREF
void reference(benchmark::State& s, const char* mode, long count) {
    kvr2bench::reference(s, KVR2_MULDIVREF, mode, count);
}
void BM_Reference_Multiply15(benchmark::State& s) { reference(s, "mpy15", 2000000); }
void BM_Reference_Multiply31(benchmark::State& s) { reference(s, "mpy31", 1000000); }
void BM_Reference_Divide31By15(benchmark::State& s) { reference(s, "div", 1000000); }
void BM_Reference_ShiftRound15(benchmark::State& s) { reference(s, "rnd", 2000000); }
BENCHMARK(BM_Reference_Multiply15)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_Reference_Multiply31)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_Reference_Divide31By15)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_Reference_ShiftRound15)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
#endif

}  // namespace

BENCHMARK_MAIN();
