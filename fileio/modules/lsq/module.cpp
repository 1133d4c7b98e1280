// The line-sequential module's entries (_IO_Init, vfs), OPEN and CLOSE.

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

#include "lsq.h"

namespace lsq {

int32_t finish(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2) {
    fcb->status = status;
    fcb->fs2 = fs2;
    zvkStoreFileStatus(fcb, fib);
    zvkStoreFeedback(fcb, fib);
    if (status > 9) fcb->useProc(fcb, 0, element);
    fcb->lastVerb = verb;
    return status;
}

namespace {

// OPEN's statuses: stored in the FCB only; the library's OPEN stores the
// FILE STATUS and calls the USE procedure.
int32_t answer(FCB* fcb, uint16_t status, uint32_t fs2) {
    fcb->status = status;
    fcb->fs2 = fs2;
    return status;
}

uint32_t openErrorFs2(int error) {
    if (error == ENOENT || error == ENOTDIR) return kFs2NoFile;
    if (error == EACCES || error == EPERM || error == EROFS || error == EISDIR) return kFs2Denied;
    if (error == ENOMEM) return kFs2NoMemory;
    return kFs2OpenFailed;
}

int32_t closeFile(FCB* fcb, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_CLOSE;
    fcb->status = 0, fcb->fs2 = kFs2None;
    if (OpenFile* file = openFile(fcb); file && file->stream) {
        // A record written AFTER ADVANCING ends its line at CLOSE, unless a
        // LINAGE page already ended it.
        bool written = !(file->needsNewline && putc('\n', file->stream) == EOF);
        written = fclose(file->stream) == 0 && written;
        file->stream = nullptr;
        if (!written) fcb->status = 30, fcb->fs2 = kFs2CloseFailed;
    }
    // The library stores the FILE STATUS; the feedback is this module's.
    if (!(fcb->closeOptions & ZVK_CLOSE_NO_USE)) zvkStoreFeedback(fcb, fib);
    _zvkGenericClose(fcb, element, 0);
    return fcb->status;
}

int32_t openFileSlot(FCB* fcb, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_OPEN;
    fcb->status = 0, fcb->fs2 = kFs2None;
    const char* name = fcb->fileName ? fcb->fileName : "";
    const bool optional = fib->flags & ZVK_FIB_OPTIONAL;
    const uint16_t mode = fcb->openMode;
    const char* how = nullptr;
    uint16_t status = 0;
    if (mode & ZVK_OPEN_IO) {
        // A text file has no record boundaries to rewrite in place.
        return answer(fcb, 37, kFs2NoInputOutput);
    } else if (mode & ZVK_OPEN_INPUT) {
        if (access(name, F_OK) != 0 && errno == ENOENT) {
            if (!optional) return answer(fcb, 35, kFs2NoFile);
            // The library answers READ (10, then 46) and CLOSE of a file
            // that is not there.
            fcb->state |= ZVK_STATE_OPTIONAL_ABSENT;
            return answer(fcb, 5, kFs2None);
        }
        how = "rbe";
    } else if (mode & ZVK_OPEN_EXTEND) {
        if (access(name, F_OK) != 0 && errno == ENOENT) {
            if (!optional) return answer(fcb, 35, kFs2NoFile);
            status = 5;
        }
        how = "abe";
    } else {
        how = "wbe";
    }
    FILE* stream = fopen(name, how);
    if (!stream) {
        const int error = errno;
        const uint32_t fs2 = openErrorFs2(error);
        if (fs2 == kFs2NoFile) return answer(fcb, (mode & ZVK_OPEN_OUTPUT) || status == 5 ? 30 : 35, fs2);
        return answer(fcb, fs2 == kFs2Denied ? 37 : 30, fs2);
    }
    // READ's block buffer or WRITE's stream buffer, at FCB.moduleBuffer2:
    // the library frees it after CLOSE has closed the stream.  Output to a
    // device or a pipe keeps stdio's own buffer, so that a reader at the
    // other end gets lines as they come in blocks of the device's size.
    const bool input = mode & ZVK_OPEN_INPUT;
    struct stat st;
    const bool bigWrites = !input && fstat(fileno(stream), &st) == 0 && S_ISREG(st.st_mode);
    void* block = input ? malloc(kReadBlock) : bigWrites ? malloc(kWriteBlock) : nullptr;
    auto* file = static_cast<OpenFile*>(malloc(sizeof(OpenFile)));
    if (!file || ((input || bigWrites) && !block) ||
        (bigWrites && setvbuf(stream, static_cast<char*>(block), _IOFBF, kWriteBlock) != 0)) {
        free(block);
        free(file);
        fclose(stream);
        return answer(fcb, 30, kFs2NoMemory);
    }
    *file = OpenFile{stream, false, false, true, 0, 0};
    fcb->moduleBuffer = file;
    fcb->moduleBuffer2 = block;
    if (mode & ZVK_OPEN_INPUT) {
        fcb->read = readLine;
    } else {
        fcb->write = writeLine;
    }
    fcb->close = closeFile;
    fcb->state &= ~ZVK_STATE_OPTIONAL_ABSENT;
    return answer(fcb, status, kFs2None);
}

const char* statusText(void*, int32_t fs2, int32_t, int32_t) {
    switch (fs2) {
        case kFs2None: return "no error";
        case kFs2AtEnd: return "end of file: no more lines";
        case kFs2NoFile: return "no such file or directory";
        case kFs2Denied: return "access to the file denied";
        case kFs2NoInputOutput: return "OPEN I-O is not available for a line-sequential file";
        case kFs2OpenFailed: return "the file could not be opened";
        case kFs2ReadFailed: return "reading the file failed";
        case kFs2WriteFailed: return "writing the file failed";
        case kFs2CloseFailed: return "closing the file failed: lines may not have been written";
        case kFs2NoMemory: return "no memory for the file";
        case kFs2ReadAfterEnd: return "READ after the end of the file";
        case kFs2LineTruncated: return "line longer than the record: the rest was skipped";
        default: return "secondary status of the library";
    }
}

void* table[ZVK_MODULE_TABLE_ENTRIES] = {};

}  // namespace
}  // namespace lsq

extern "C" {

void** vfs(void) {
    lsq::table[ZVK_MODULE_STATUS_TEXT] = reinterpret_cast<void*>(lsq::statusText);
    return lsq::table;
}

void _IO_Init(FCB* fcb, IPCB*) { fcb->open = lsq::openFileSlot; }

}  // extern "C"
