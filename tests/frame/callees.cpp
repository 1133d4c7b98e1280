// Programs loaded by dynamic CALL in the tests, one shared object each
// (PROGRAM_* selects which).  They enter and leave as compiled programs
// do; their WORKING-STORAGE (a counter) is set to its initial value when
// the IPCB's initialised bit is clear, as compiled code does after CANCEL
// or at a new run unit.

#include <stdio.h>

#include "cobol.h"

#define EXPORT extern "C" __attribute__((visibility("default")))

#if defined(PROGRAM_SUBA) || defined(PROGRAM_SUBSTOP)
namespace {
int counter;   // WORKING-STORAGE

template <class Body>
int program(cobol::Program& p, Body body) {
    _zvkPgmInit(p.p());
    uint32_t status = cobol::get<uint32_t>(p.ipcb, cobol::ipcbo::status);
    if (!(status & 0x40000000u)) {
        counter = 0;
        cobol::put<uint32_t>(p.ipcb, cobol::ipcbo::status, status | 0x40000000u);
    }
    int r = body();
    _zvkPgmExit(p.i());
    return r;
}
}  // namespace
#endif

#ifdef PROGRAM_SUBA
EXPORT int SUBA(void);
static cobol::Program self("SUBA", reinterpret_cast<void*>(&SUBA));
EXPORT int SUBA(void) {
    return program(self, [] {
        ++counter;
        printf("SUBA count=%d\n", counter);
        fflush(stdout);
        return counter;
    });
}
#endif

#ifdef PROGRAM_SUBSTOP
EXPORT int SUBSTOP(void);
static cobol::Program self("SUBSTOP", reinterpret_cast<void*>(&SUBSTOP));
EXPORT int SUBSTOP(void) {
    return program(self, [] {
        printf("SUBSTOP stops the run\n");
        fflush(stdout);
        _zvkRunUnitTerm(7);
        return 0;
    });
}
#endif

#ifdef PROGRAM_ALIAS
// The object's name is not the program's: the loader takes main.
EXPORT int main(void) {
    printf("ALIAS main\n");
    fflush(stdout);
    return 5;
}
#endif

#ifdef PROGRAM_NOENTRY
EXPORT int somethingElse(void) { return 0; }
#endif

#ifdef PROGRAM_PLAIN
// A program that needs nothing of the library (for the cache tests).
#define STR2(x) #x
#define STR(x) STR2(x)
extern "C" __attribute__((visibility("default"))) const char* PLAIN_NAME(void) { return STR(PLAIN_NAME); }
#endif
