// What the subsystems above the frame do at its turning points.  The frame
// never names them: a subsystem registers its routines when the library is
// loaded (a static initialiser of its own), and the frame calls whatever
// is registered.
#pragma once

#include "kvr2/records.h"

extern "C" {

// A program's files: registered when the program is first entered, closed
// when its run unit ends (resetOnly: by CANCEL, without USE procedures).
typedef void (*zvkRegisterFilesHook)(PCB* pcb, IPCB* ipcb);
typedef void (*zvkCloseFilesHook)(IPCB* ipcb, bool resetOnly);
void zvkSetFileHooks(zvkRegisterFilesHook registerFiles, zvkCloseFilesHook closeFiles);

// Called once when the runtime ends, in the order of registration, before
// the device streams are closed.  At most kMaxRuntimeEndHooks.
constexpr int kMaxRuntimeEndHooks = 8;
void zvkAtRuntimeEnd(void (*hook)(void));

// Called by the runtime's end for the ending thread, when it has a
// per-thread record, before that record is released: the sort abandons a
// sort of the thread and unloads its engine.
void zvkSetThreadEndHook(void (*hook)(void));

// The frame's side.
void zvkRegisterFiles(PCB* pcb, IPCB* ipcb);
void zvkCloseProgramFiles(IPCB* ipcb, bool resetOnly);
void zvkRunRuntimeEndHooks(void);
void zvkRunThreadEndHook(void);

}  // extern "C"
