// Signal handling and traceback.
//
// The signal table, its handlers and the traceback are not in place yet:
// until they are, a run unit that asks for trapping (the TRAP option)
// leaves the process's own handlers alone, and a traceback prints nothing.

#include "frame/frame.h"

extern "C" {

// 26 rows of 336 bytes: each run unit keeps its own copy.
const uint32_t zvkSignalTableSize = 26 * 336;

void zvkSignalInstall(Runcom*) {}
void zvkSignalRestore(Runcom*) {}
void zvkSignalStackRelease(void) {}
void zvkTraceback(FILE*) {}

}  // extern "C"
