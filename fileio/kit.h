// The module kit: what the library and every file-system module share to
// find a file's FIB and to store its status and feedback in the forms the
// program declared.  Built into the library and, as a static archive of its
// own, into each module, so that modules need no export of the library's
// beyond the specified routines.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kvr2/filemodule.h"

extern "C" {

// The FIB of a file: through the program's array when the FCB is shared
// (EXTERNAL, ZVK_STATE_FIB_BY_PROGRAM), else the FCB's own pointer.
FIB* zvkFileFib(const FCB* fcb, const IPCB* element);
// A program's field at *cell + offset; null when cell is null (the program
// has no such field) or holds null.
uint8_t* zvkFileField(void** cell, uint32_t offset);

// The length of the name of the file in force: a closed file's name is
// its assignment, which is not terminated and is read by its length.
size_t zvkFileNameLength(const FCB* fcb);

// FCB.status into the FILE STATUS field, as two ASCII digits, two 16-bit
// units or two EBCDIC digits by FIB.shareMode.
void zvkStoreFileStatus(const FCB* fcb, const FIB* fib);
// The feedback field: blanks; from 6 bytes FS2 as six digits; from 7 bytes
// and status 33 or 35 "," and the file name; status 96 ",prefix,name",
// the last 4 bytes left blank.  ASCII.
void zvkFormatFeedback(uint8_t* area, uint64_t length, int32_t fs2, const FCB* fcb);
// The feedback field as an error routine leaves it: blanks, and "000000"
// from 6 bytes, in EBCDIC when FIB.shareMode asks.
void zvkResetFeedback(const FIB* fib);
// FCB.fs2 formatted into the program's feedback field, if it has one.
void zvkStoreFeedback(const FCB* fcb, const FIB* fib);

}  // extern "C"
