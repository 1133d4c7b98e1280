// One SELECT as compiled code lays it out for the library and its file
// modules: the FIB (with the key table, LINAGE groups and RELATIVE KEY
// the compiler places behind it) and the FCB, filled as the compiler
// fills them; and the program's file lists in its PCB and IPCB.
#pragma once

#include <stdio.h>
#include <string.h>

#include "cobol.h"
#include "kvr2/filemodule.h"

namespace cobol {

struct alignas(16) FibImage {
    FIB fib;
    ZvkFileKey keys[8];
    ZvkLinageGroup linage[4];
    ZvkRelativeKey relativeKey;
};

// A SELECT of file `index` (from 1) with fixed records of `length` bytes
// and a literal assignment of `assignLength` bytes (not NUL-terminated
// for the library: compiled code leaves none).
inline void select(FIB& fib, FCB& fcb, uint32_t index, const char* name, uint8_t organization, uint8_t access,
                   uint32_t length, char* assignment, size_t assignLength) {
    memcpy(fcb.eye, "FCB", 3);
    fcb.index = fib.index = index;
    memcpy(fib.defaultPrefix, "???", 3);
    fib.organization = organization;
    fib.access = access;
    fib.recordFormat = ZVK_RECORD_FIXED;
    fib.flags = ZVK_FIB_ASSIGN_LITERAL;
    snprintf(fib.name, sizeof fib.name, "%s", name);
    fib.maxLength = fib.minLength = fcb.maxLength = length;
    fib.assignment = assignment;
    fib.assignLength = static_cast<uint16_t>(assignLength);
}

// FILE STATUS at 0 and the feedback field at feedbackOffset of the
// working storage behind `cell`.
inline void statusFields(FIB& fib, void** cell, uint16_t feedbackLength, uint32_t feedbackOffset = 8) {
    fib.feedbackLength = feedbackLength;
    fib.feedbackOffset = feedbackOffset;
    fib.statusCell = fib.feedbackCell = cell;
}

// The program's FIB list (PCB) and FCB slots (IPCB).
inline void attachFiles(Program& program, FIB** fibs, void** fcbs, int32_t count) {
    put<void*>(program.pcb, pcbo::fib, fibs);
    put<void*>(program.ipcb, ipcbo::fcbs, fcbs);
    put<int32_t>(program.ipcb, ipcbo::fileCount, count);
}

}  // namespace cobol
