// The signal table of the frame: one row per signal the runtime catches.
#pragma once

#include <setjmp.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>

#include "kvr2/kvr2.h"

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

}  // extern "C"
