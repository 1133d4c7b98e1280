// OPEN INPUT and CLOSE of an existing sequential file, called as compiled
// code calls them, through a module that does only the system calls; and
// the same statements compiled by another COBOL compiler where one is
// installed.  The module's directory must be on LD_LIBRARY_PATH when the
// process starts: the benchmark starts itself again with it.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kvr2/kvr2.h"
#include "reference.h"

namespace {

constexpr char kFile[] = "openref.dat";

struct Program {
    alignas(16) PCB pcb{};
    alignas(16) IPCB ipcb[1]{};
    alignas(16) FIB fib{};
    alignas(16) FCB fcb{};
    FIB* fibs[1] = {&fib};
    void* fcbs[1] = {&fcb};
    alignas(16) uint8_t area[32 + 80]{};
    void* recordCell = area;
    char status[2];
    void* statusCell = status;
    char assignment[32] = "stl-openref.dat";

    Program() {
        pcb.version[0] = 6, pcb.version[1] = 1;
        pcb.ipcb = ipcb;
        pcb.name = "OPENBENCH";
        pcb.nameLength = 9;
        pcb.yearWindow = 9999;
        pcb.fib = fibs;
        ipcb[0].fcbs = fcbs;
        ipcb[0].fileCount = 1;
        memcpy(fcb.eye, "FCB", 3);
        fcb.index = fib.index = 1;
        fcb.maxLength = fib.maxLength = 80;
        memcpy(fib.defaultPrefix, "???", 3);
        fib.access = ZVK_ACCESS_SEQUENTIAL;
        fib.flags = ZVK_FIB_ASSIGN_LITERAL;
        fib.assignment = assignment;
        fib.assignLength = static_cast<uint16_t>(strlen(assignment));
        fib.recordCell = &recordCell;
        fib.statusCell = &statusCell;
    }
};

void BM_OpenInputClose(benchmark::State& s) {
    static Program p;
    static bool entered = false;
    if (!entered) _zvkPgmInit(&p.pcb), entered = true;
    for (auto _ : s) {
        p.fcb.openMode = ZVK_OPEN_INPUT;
        if (p.fcb.open(&p.fcb, p.ipcb) != 0) {
            s.SkipWithError("OPEN failed");
            break;
        }
        p.fcb.closeOptions = 0;
        p.fcb.close(&p.fcb, p.ipcb);
    }
}
BENCHMARK(BM_OpenInputClose);

#ifdef KVR2_OPENREF
void BM_Reference_OpenInputClose(benchmark::State& s) { kvr2bench::reference(s, KVR2_OPENREF, "open", 200000); }
BENCHMARK(BM_Reference_OpenInputClose)->UseManualTime()->Iterations(3)->Unit(benchmark::kNanosecond);
#endif

}  // namespace

int main(int argc, char** argv) {
    if (!getenv("KVR2_BENCH_RESTARTED")) {
        setenv("KVR2_BENCH_RESTARTED", "1", 1);
        setenv("LD_LIBRARY_PATH", KVR2_BENCH_MODULES, 1);
        execv("/proc/self/exe", argv);
        return 1;
    }
    if (FILE* f = fopen(kFile, "w")) {
        fputs("a record\n", f);
        fclose(f);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    unlink(kFile);
    return 0;
}
