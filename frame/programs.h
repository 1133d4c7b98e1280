// The program manager: names, loading along COBPATH, the program tables.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvr2/records.h"

extern "C" {

// The name of a CALL or CANCEL as the program manager takes it: at most
// 160 bytes, trailing blanks and zero bytes dropped, folded to upper case
// when the caller's PCB asks.  out holds 161 bytes; result the length.
size_t zvkTakeProgramName(const uint8_t* name, int64_t length, const PCB* caller, char* out);
// The row of name in a compiled program's table of nested programs, or -1.
int32_t zvkFindInNames(const int32_t* names, const char* name, size_t length);
// Loads the program named in lle along COBPATH: 0 loaded, 3 no memory,
// 5 no entry point, 7 not found.
int zvkLoadProgram(LLE* lle);
struct HashTable* zvkProgramTableCreate(struct HashTable* parent, bool mru);
// Finds a program by name in the run unit's table; on a miss programMutex
// is left held (when *lockHeld was clear and it was taken) so that lookup
// and insert are one step.
LLE* zvkFindProgram(const char* name, uint32_t length, void* state, int* lockHeld,
                    PCB* caller, const char* verb);
LLE* zvkAddProgram(LLE* lle, void* state, int flag);
void zvkUnloadRunUnitPrograms(Runcom* ru);

}  // extern "C"
