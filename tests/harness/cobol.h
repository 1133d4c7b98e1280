// What a compiled COBOL program looks like to the library, for tests and
// scenario programs: PCB and IPCB images laid out byte by byte at the
// compiler's offsets (not through the library's own structs, so that a
// wrong offset in the library's header shows), the main-program epilogue
// armed with sigsetjmp, and recorders for a host's routines.
#pragma once

#include <dlfcn.h>
#include <setjmp.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "kvr2/kvr2.h"

namespace cobol {

// Compiler offsets of the program records.
namespace pcbo {
constexpr size_t version = 5, ipcb = 8, name = 16, nameLength = 24, flag = 28, lle = 32, fib = 48, upsi = 56,
                 yearWindow = 100, pgmWord = 104, size = 112;
}
namespace ipcbo {
constexpr size_t ent = 0, status = 4, entry = 8, nested = 16, fcbs = 24, fileCount = 32, pcb = 48, stride = 56;
}

template <class T>
inline T get(const void* base, size_t off) {
    T v;
    memcpy(&v, static_cast<const uint8_t*>(base) + off, sizeof v);
    return v;
}
template <class T>
inline void put(void* base, size_t off, T v) {
    memcpy(static_cast<uint8_t*>(base) + off, &v, sizeof v);
}

// One program: its PCB and an IPCB array (the program and its nested ones).
struct Program {
    alignas(16) uint8_t pcb[pcbo::size];
    alignas(16) uint8_t ipcb[ipcbo::stride * 4];
    char name[32];

    Program(const char* programName, void* entry, uint8_t v = 6, uint8_t r = 1, uint8_t m = 0,
            int32_t yearWindow = 9999, uint32_t flag = 0, int nested = 0) {
        memset(pcb, 0, sizeof pcb);
        memset(ipcb, 0, sizeof ipcb);
        snprintf(name, sizeof name, "%s", programName);
        pcb[pcbo::version] = v;
        pcb[pcbo::version + 1] = r;
        pcb[pcbo::version + 2] = m;
        put<void*>(pcb, pcbo::ipcb, ipcb);
        put<const char*>(pcb, pcbo::name, name);
        put<uint32_t>(pcb, pcbo::nameLength, static_cast<uint32_t>(strlen(name)));
        put<uint32_t>(pcb, pcbo::flag, flag);
        put<int32_t>(pcb, pcbo::yearWindow, yearWindow);
        put<void*>(ipcb, ipcbo::entry, entry);
        put<int32_t>(ipcb, ipcbo::nested, nested);
    }
    PCB* p() { return reinterpret_cast<PCB*>(pcb); }
    int32_t* i() { return reinterpret_cast<int32_t*>(ipcb); }
    int32_t ent() const { return get<int32_t>(ipcb, ipcbo::ent); }
    uint32_t flag() const { return get<uint32_t>(pcb, pcbo::flag); }
    void* lle() const { return get<void*>(pcb, pcbo::lle); }
    void* upsi() const { return get<void*>(pcb, pcbo::upsi); }
    void* pgmWord() const { return get<void*>(pcb, pcbo::pgmWord); }
    int32_t yearWindow() const { return get<int32_t>(pcb, pcbo::yearWindow); }
    void* backPointer() const { return get<void*>(ipcb, ipcbo::pcb); }
};

// A called program: prologue, body, exit (GOBACK).
template <class Body>
inline void call(Program& p, Body body) {
    _zvkPgmInit(p.p());
    body();
    _zvkPgmExit(p.i());
}

// CALL identifier: the entry point from the record _zvkDynLd gives back,
// null when the call failed under ON EXCEPTION (failures counts it).
template <class Entry = int (*)(void)>
inline Entry dynamicCall(std::string name, PCB* caller, uint32_t* failures = nullptr) {
    void* rec = _zvkDynLd(nullptr, static_cast<int64_t>(name.size()), reinterpret_cast<uint8_t*>(name.data()), caller,
                          nullptr, failures);
    return rec ? reinterpret_cast<Entry>(*static_cast<void**>(rec)) : nullptr;
}

// Whether the shared object at this path is loaded in this process.
inline bool loaded(const std::string& path) {
    void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
}

}  // namespace cobol

// The main program's frame: prologue, the epilogue armed on the run unit's
// jump buffer, the body, and the main's exit.  STOP RUN anywhere in the run
// unit (_zvkRunUnitTerm) lands at the epilogue with its status.  Prints
// "epilogue <value>" so that tests see where control arrived.
#define COBOL_MAIN(program, ...)                                                 \
    do {                                                                       \
        _zvkPgmInit((program).p());                                            \
        volatile int cobolJumpValue_ = sigsetjmp(*_zvkGetJmpBuffer(), 1);      \
        if (cobolJumpValue_ == 0) {                                            \
            __VA_ARGS__;                                                       \
        }                                                                      \
        printf("epilogue %d\n", cobolJumpValue_);                              \
        fflush(stdout);                                                        \
        _zvkPgmTerm((program).p());                                            \
    } while (0)

// Host routine recorders: each call is a line on stdout.
namespace host {
inline void stop(uint64_t token) {
    printf("host stop token=%llx\n", static_cast<unsigned long long>(token));
    fflush(stdout);
}
inline void abrt(uint64_t token) {
    printf("host abrt token=%llx\n", static_cast<unsigned long long>(token));
    fflush(stdout);
}
inline void msg(int32_t exitIndication, const char* facility, const char* text, uint32_t length, uint64_t token) {
    printf("host msg exit=%d facility=%s token=%llx len=%u text=[%.*s]\n", exitIndication, facility,
           static_cast<unsigned long long>(token), length, static_cast<int>(length), text);
    fflush(stdout);
}
}  // namespace host
