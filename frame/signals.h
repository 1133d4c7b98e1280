// The signal table of the frame: one row per signal the runtime catches.
#pragma once

#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>

#include "kvr2/records.h"

extern "C" {

struct SignalRow {
    const char* name;
    int32_t signal;            // 0 ends the table
    uint32_t extraFlags;       // added to sa_flags
    uint64_t cls;              // what happens after the routine
    void (*routine)(int, siginfo_t*, void*);
    struct sigaction action;
    struct sigaction previous;
};
static_assert(sizeof(struct sigaction) == 152);
static_assert(sizeof(SignalRow) == 336);

constexpr int kSignalRows = 26;

// table null: the default table; handler null: default_sigrtn.
void zvkSignalInstallTable(SignalRow* table, void (*handler)(int, siginfo_t*, void*),
                           void (*routine)(int, siginfo_t*, void*));
void zvkSignalCopyTemplate(SignalRow* table);
// Pops the innermost table and puts back what it replaced.
void zvkSignalRestoreTop(void);
bool zvkSignalTableInstalled(const void* table);
const char* zvkSignalName(const void* table, int sig);
sigjmp_buf* zvkSignalClassOneBuffer(void);

// Copies the template into the run unit's table and installs it, with
// _zvkSignal as the routine of every row.
void zvkSignalInstall(Runcom* ru);
// Takes the run unit's table off the stack of installed tables, putting
// back the handlers it replaced.
void zvkSignalRestore(Runcom* ru);
void zvkSignalStackRelease(void);
// Traceback of the calling thread on stream (null: stderr).
void zvkTraceback(FILE* stream);
extern const uint32_t zvkSignalTableSize;   // bytes of a run unit's table

}  // extern "C"
