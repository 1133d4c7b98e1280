// The frame's view of a program's files: registration at program start,
// closing at the end of a run unit, and the file-system modules loaded
// for them.  Until file dispatch is in place a program's files are not
// registered and there is nothing to close or unload.

#include "frame/frame.h"

extern "C" {

void zvkRegisterFiles(PCB*, IPCB*) {}
void zvkCloseProgramFiles(IPCB*, bool) {}
void zvkUnloadModules(void) {}

}  // extern "C"
