// The line-sequential file-system module: LF-terminated text lines, one
// record each.  Shared by its open/close, read and write families.
#pragma once

#include <cstdint>
#include <cstdio>
#include <type_traits>

#include "fileio/kit.h"
#include "kvr2/filemodule.h"

// The module's entries, as the library looks them up.
extern "C" {
__attribute__((visibility("default"))) void _IO_Init(FCB* fcb, IPCB* element);
__attribute__((visibility("default"))) void** vfs(void);
}
static_assert(std::is_same_v<decltype(&_IO_Init), zvkIoInit> && std::is_same_v<decltype(&vfs), zvkVfs>);

namespace lsq {

// Secondary statuses (FCB.fs2) of this module; texts in statusText.
enum Fs2 : uint32_t {
    kFs2None = 0,
    kFs2AtEnd = 410,          // 10: no more lines
    kFs2NoFile = 411,         // 35
    kFs2Denied = 412,         // 37: the system refused access
    kFs2NoInputOutput = 413,  // 37: OPEN I-O
    kFs2OpenFailed = 414,     // 30
    kFs2ReadFailed = 415,     // 30
    kFs2WriteFailed = 416,    // 30
    kFs2CloseFailed = 417,    // 30: buffered lines could not be written
    kFs2NoMemory = 418,       // 30
    kFs2ReadAfterEnd = 420,   // 46
    kFs2LineTruncated = 421,  // 00: the rest of a long line was skipped
};

// READ's blocks: bytes read from the file at once.
constexpr size_t kReadBlock = size_t{64} << 10;
// WRITE's stdio buffer for a regular file: the kernel's cost of a page-cache write is mostly
// per call, so lines go out in megabyte writes (4 KiB ones cost about four
// times the system time for the same bytes).  Written at CLOSE at the
// latest; the library closes every open file at the run unit's end.
constexpr size_t kWriteBlock = size_t{1} << 20;

// The open file, at FCB.moduleBuffer: malloc'd, so that the library's
// free at CLOSE releases it; hence a plain struct with no destructor.
struct OpenFile {
    FILE* stream;
    bool atEnd;         // the last READ found no line
    bool needsNewline;  // a record written AFTER ADVANCING still lacks its end of line
    bool needsTop;      // LINAGE: the first page's top margin is still to write
    uint32_t begin, end;  // READ: the unread bytes of the block at FCB.moduleBuffer2
};

inline OpenFile* openFile(FCB* fcb) { return static_cast<OpenFile*>(fcb->moduleBuffer); }

// The end of every verb: statuses stored, the program told of a failure.
int32_t finish(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2);

int32_t readLine(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
int32_t writeLine(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);

}  // namespace lsq
