// The record module's entries (_IO_Init, vfs), OPEN and CLOSE, and what
// its verbs share: the end of a verb, record lengths, the file header.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "stl.h"

namespace stl {

int32_t finish(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2) {
    afterVerb(fcb, fib, verb);
    fcb->status = status;
    fcb->fs2 = fs2;
    zvkStoreFileStatus(fcb, fib);
    zvkStoreFeedback(fcb, fib);
    if (status > 9) fcb->useProc(fcb, 0, element);
    fcb->lastVerb = verb;
    return status;
}

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

uint16_t openErrorStatus(uint32_t fs2) {
    switch (fs2) {
        case kFs2NoFile: return 35;
        case kFs2Denied:
        case kFs2BadMode: return 37;
        case kFs2Foreign:
        case kFs2Layout:
        case kFs2KeyTooLong: return 39;
        case kFs2FileLocked: return 61;
        default: return 30;
    }
}

uint32_t recordLength(const FCB* fcb, const FIB* fib, uint32_t length, bool& bad) {
    bad = false;
    if (fib->recordFormat != ZVK_RECORD_VARIABLE) return fcb->maxLength;
    const uint32_t minimum = fib->minLength ? fib->minLength : 1;
    if (length < minimum || length > fcb->maxLength) bad = true;
    return length;
}

namespace {

void put32(uint8_t* at, uint32_t v) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t get32(const uint8_t* at) {
    return at[0] | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
}

}  // namespace

// The next volume of a concatenation, opened through the library: the
// READ goes on in it.  False at the last volume.
bool nextVolume(FCB* fcb, IPCB* element) {
    if (!fcb->concat || !(fcb->state & ZVK_STATE_CONCATENATION)) return false;
    char* next = _zvk_Concat_Next(fcb->concat);
    if (!next) return false;
    fcb->closeOptions |= ZVK_CLOSE_NEXT_VOLUME;
    fcb->close(fcb, element);
    fcb->fileName = next;
    fcb->openMode = ZVK_OPEN_INPUT;
    fcb->open(fcb, element);
    return true;
}

void makeHeader(uint8_t* header, const FIB* fib, char organization) {
    memset(header, 0, kHeaderSize);
    memcpy(header, "KVR2FILESTL", 11);
    header[11] = static_cast<uint8_t>(organization);
    put32(header + 12, 1);
    put32(header + 16, fib->maxLength);
    put32(header + 20, fib->recordFormat == ZVK_RECORD_VARIABLE ? fib->minLength : fib->maxLength);
    put32(header + 24, fib->recordFormat == ZVK_RECORD_VARIABLE ? 2 : 1);
}

uint32_t checkHeader(const uint8_t* header, const FIB* fib, char organization) {
    if (memcmp(header, "KVR2FILESTL", 11) != 0 || get32(header + 12) != 1) return kFs2Foreign;
    uint8_t want[kHeaderSize];
    makeHeader(want, fib, organization);
    // Sequential files of variable records admit any shortest length.
    const size_t compared = organization == 'S' && fib->recordFormat == ZVK_RECORD_VARIABLE ? 20 : 28;
    if (memcmp(header, want, compared) != 0 || (compared == 20 && get32(header + 24) != 2)) return kFs2Layout;
    return kFs2None;
}

namespace {

// The file's own storage closed; false when buffered records were lost.
bool closeOpened(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    if (file->organization == ZVK_ORG_INDEXED) {
        closeIndexed(fcb);
        return true;
    }
    return file->organization == ZVK_ORG_RELATIVE ? closeRelative(fcb) : closeSequential(fcb);
}

// An OPEN that failed, or found an OPTIONAL file absent, keeps nothing:
// the library's routines answer the verbs, and the buffers are freed now.
int32_t release(FCB* fcb) {
    closeLocks(fcb);
    fcb->read = _zvkReadError;
    fcb->write = _zvkWriteError;
    fcb->rewrite = _zvkRewriteError;
    fcb->start = _zvkStartError;
    fcb->deleteRecord = _zvkDeleteError;
    free(fcb->moduleBuffer);
    free(fcb->moduleBuffer2);
    fcb->moduleBuffer = fcb->moduleBuffer2 = nullptr;
    return fcb->status;
}

int32_t closeFile(FCB* fcb, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_CLOSE;
    fcb->status = 0, fcb->fs2 = kFs2None;
    if (openFile(fcb)) {
        closeLocks(fcb);
        if (!closeOpened(fcb)) fcb->status = 30, fcb->fs2 = kFs2CloseFailed;
    }
    if (!(fcb->closeOptions & ZVK_CLOSE_NO_USE)) zvkStoreFeedback(fcb, fib);
    _zvkGenericClose(fcb, element, 0);
    return fcb->status;
}

int32_t openFileSlot(FCB* fcb, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_OPEN;
    fcb->status = 0, fcb->fs2 = kFs2None;
    auto* file = static_cast<OpenFile*>(calloc(1, sizeof(OpenFile)));
    if (!file) return answer(fcb, 30, kFs2NoMemory);
    file->mode = fcb->openMode & (ZVK_OPEN_INPUT | ZVK_OPEN_OUTPUT | ZVK_OPEN_IO | ZVK_OPEN_EXTEND);
    file->organization = fib->organization & (ZVK_ORG_RELATIVE | ZVK_ORG_INDEXED);
    file->header = fcb->code == 5;
    file->variable = fib->recordFormat == ZVK_RECORD_VARIABLE;
    file->fd = file->lockFd = -1;
    fcb->moduleBuffer = file;
    // Sharing is settled before the file is touched: OUTPUT empties it.
    const bool shared = fib->shareLock;
    uint32_t fs2 = shared ? openLocks(fcb, fib) : kFs2None;
    if (fs2) {
        answer(fcb, openErrorStatus(fs2), fs2);
        return release(fcb);
    }
    int32_t status;
    if (file->organization == ZVK_ORG_INDEXED) status = openIndexed(fcb, element, fib);
    else if (file->organization == ZVK_ORG_RELATIVE) status = openRelative(fcb, element, fib);
    else status = openSequential(fcb, element, fib);
    if (shared && status < 10 && file->lockFd < 0 && !(fcb->state & ZVK_STATE_OPTIONAL_ABSENT)) {
        // A file the OPEN created.
        if ((fs2 = openLocks(fcb, fib))) {
            closeOpened(fcb);
            status = answer(fcb, openErrorStatus(fs2), fs2);
        }
    }
    if (status > 9 || (fcb->state & ZVK_STATE_OPTIONAL_ABSENT)) {
        release(fcb);
        return status;
    }
    fcb->close = closeFile;
    if (shared) fcb->unlock = unlockSlot;
    return status;
}

const char* statusText(void*, int32_t fs2, int32_t, int32_t) {
    switch (fs2) {
        case kFs2None: return "no error";
        case kFs2AtEnd: return "end of file";
        case kFs2NoFile: return "no such file or directory";
        case kFs2Denied: return "access to the file denied";
        case kFs2BadMode: return "the open mode is not available for this file";
        case kFs2OpenFailed: return "the file could not be opened";
        case kFs2ReadFailed: return "reading the file failed";
        case kFs2WriteFailed: return "writing the file failed";
        case kFs2CloseFailed: return "closing the file failed: records may not have been written";
        case kFs2NoMemory: return "no memory for the file";
        case kFs2Foreign: return "not a file of this organization";
        case kFs2Layout: return "the file has other record lengths or keys than the program declares";
        case kFs2KeyTooLong: return "a key is longer than the indexed file store allows";
        case kFs2Engine: return "the indexed file store failed";
        case kFs2Damaged: return "a damaged record in the file";
        case kFs2Duplicate: return "a record with this key exists";
        case kFs2NotFound: return "no record with this key";
        case kFs2Sequence: return "key out of sequence";
        case kFs2NoCurrent: return "no record read before REWRITE or DELETE";
        case kFs2Length: return "record length out of the declared bounds";
        case kFs2AfterEnd: return "READ after the end of the file or a failed READ or START";
        case kFs2Boundary: return "relative key out of range";
        case kFs2RecordLocked: return "the record is locked by another";
        case kFs2FileLocked: return "the file is locked by another";
        case kFs2PrimeChanged: return "REWRITE changed the prime key";
        case kFs2DuplicateWritten: return "written; another record has the same alternate key";
        default: return "secondary status of the library";
    }
}

void* table[ZVK_MODULE_TABLE_ENTRIES] = {};

}  // namespace
}  // namespace stl

extern "C" {

void** vfs(void) {
    stl::table[ZVK_MODULE_STATUS_TEXT] = reinterpret_cast<void*>(stl::statusText);
    return stl::table;
}

void _IO_Init(FCB* fcb, IPCB*) { fcb->open = stl::openFileSlot; }

}  // extern "C"
