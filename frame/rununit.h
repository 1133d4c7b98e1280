// Start of the runtime and of run units, the acting run unit, and the
// frame's trace.
#pragma once

#include "kvr2/records.h"

extern "C" {

void zvk_init(void);
void InitCobolRte(PCB* pcb);
void RunUnitInit(PCB* pcb);
void _zvkTxmnRunUnit(uint64_t reserved, zvkHostMsg msg, uint64_t context);
// Marker passed by hosts where a PCB would go: never dereferenced.
#define ZVK_HOST_MARKER (reinterpret_cast<PCB*>(uintptr_t(1)))
inline bool zvkIsRealPcb(const PCB* p) { return p != nullptr && p != ZVK_HOST_MARKER; }

// The acting run unit of the termination routines: runcom, unless it is
// null or the head of freeru is still being finished.
Runcom* zvkActingRunUnit(void);
// runcom, else freeru.
Runcom* zvkCurrentOrFree(void);
bool zvkIsMainWrapper(const PCB* p);

// Trace under __ZVKDEBUG.
void zvkTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline bool zvkDebug() { return _zvkProccom && _zvkProccom->debug; }

}  // extern "C"
