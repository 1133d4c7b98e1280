// Relative files: slot n (from 1) holds a presence byte, the record's
// length and the record.  Every change is written at once (pwrite), so a
// verb that returned survives the death of the process.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "stl.h"

namespace stl {

namespace {

const ZvkRelativeKey* relativeKeyOf(const FIB* fib) {
    if (!fib->relativeKeyOffset) return nullptr;
    return reinterpret_cast<const ZvkRelativeKey*>(reinterpret_cast<const uint8_t*>(fib) + fib->relativeKeyOffset);
}

// The largest number the relative key item holds.
uint64_t keyLimit(const ZvkRelativeKey* rk) {
    uint32_t digits = rk->kind == ZVK_RELKEY_ZONED || rk->kind == ZVK_RELKEY_PACKED ? rk->digits : 0;
    if (digits) {
        uint64_t limit = 1;
        for (uint32_t i = 0; i < digits && i < 19; ++i) limit *= 10;
        return limit - 1;
    }
    return rk->length >= 8 ? UINT64_MAX : (uint64_t{1} << (8 * rk->length)) - 1;
}

// The relative key's value; false when the program has none.
bool getKey(const FIB* fib, uint64_t* value) {
    const ZvkRelativeKey* rk = relativeKeyOf(fib);
    const uint8_t* at = rk ? zvkFileField(rk->cell, rk->offset) : nullptr;
    if (!at) return false;
    uint64_t v = 0;
    switch (rk->kind) {
        case ZVK_RELKEY_BINARY:
            for (uint32_t i = rk->length; i-- > 0;) v = v << 8 | at[i];
            break;
        case ZVK_RELKEY_BINARY_BIG:
            for (uint32_t i = 0; i < rk->length; ++i) v = v << 8 | at[i];
            break;
        case ZVK_RELKEY_PACKED:
            for (uint32_t i = 0; i < rk->length; ++i) {
                v = v * 10 + (at[i] >> 4 & 0xF) % 10;
                if (i + 1 < rk->length) v = v * 10 + (at[i] & 0xF) % 10;
            }
            break;
        default:
            for (uint32_t i = 0; i < rk->length; ++i) v = v * 10 + (at[i] & 0xF) % 10;
            break;
    }
    *value = v;
    return true;
}

// Stores n in the relative key; false when it does not fit.
bool putKey(const FIB* fib, uint64_t n) {
    const ZvkRelativeKey* rk = relativeKeyOf(fib);
    uint8_t* at = rk ? zvkFileField(rk->cell, rk->offset) : nullptr;
    if (!at) return true;
    if (n > keyLimit(rk)) return false;
    switch (rk->kind) {
        case ZVK_RELKEY_BINARY:
            for (uint32_t i = 0; i < rk->length; ++i, n >>= 8) at[i] = static_cast<uint8_t>(n);
            break;
        case ZVK_RELKEY_BINARY_BIG:
            for (uint32_t i = rk->length; i-- > 0; n >>= 8) at[i] = static_cast<uint8_t>(n);
            break;
        case ZVK_RELKEY_PACKED:
            // The sign nibble last: F, unsigned.
            at[rk->length - 1] = static_cast<uint8_t>((n % 10) << 4 | 0xF), n /= 10;
            for (uint32_t i = rk->length - 1; i-- > 0; n /= 100) at[i] = static_cast<uint8_t>((n / 10 % 10) << 4 | n % 10);
            break;
        default:
            for (uint32_t i = rk->length; i-- > 0; n /= 10) at[i] = static_cast<uint8_t>('0' + n % 10);
            break;
    }
    return true;
}

uint8_t* slotBuffer(FCB* fcb) { return static_cast<uint8_t*>(fcb->moduleBuffer2); }
off_t slotOffset(const OpenFile* file, uint64_t n) {
    return static_cast<off_t>((file->header ? kHeaderSize : 0) + (n - 1) * file->slotSize);
}

// Slot n into the slot buffer: 1 a record, 0 empty, -1 past the end, -2 error.
int readSlot(FCB* fcb, uint64_t n) {
    OpenFile* file = openFile(fcb);
    if (n == 0) return 0;
    const ssize_t got = pread(file->fd, slotBuffer(fcb), file->slotSize, slotOffset(file, n));
    if (got < 0) return -2;
    if (got == 0) return -1;
    return got == static_cast<ssize_t>(file->slotSize) && slotBuffer(fcb)[0] == 1 ? 1 : 0;
}

uint64_t slotCount(const OpenFile* file) {
    struct stat st;
    if (fstat(file->fd, &st) != 0) return 0;
    const uint64_t base = file->header ? kHeaderSize : 0;
    return static_cast<uint64_t>(st.st_size) > base ? (st.st_size - base) / file->slotSize : 0;
}

bool writeSlot(FCB* fcb, uint64_t n, uint32_t length) {
    OpenFile* file = openFile(fcb);
    uint8_t* slot = slotBuffer(fcb);
    slot[0] = 1;
    memcpy(slot + 1, &length, 4);
    memcpy(slot + 5, fcb->record, length);
    memset(slot + 5 + length, 0, fcb->maxLength - length);
    return pwrite(file->fd, slot, file->slotSize, slotOffset(file, n)) == static_cast<ssize_t>(file->slotSize);
}

int32_t failed(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2) {
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    if (verb == ZVK_VERB_START || (verb == ZVK_VERB_READ && status != 46)) fcb->state &= ~ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, verb, status, fs2);
}

// The slot buffer's record into the record area.
int32_t deliver(FCB* fcb, IPCB* element, const FIB* fib, uint64_t n, uint32_t how) {
    OpenFile* file = openFile(fcb);
    if (readLocks(fcb, fib, how) && !lockRecord(fcb, fib, &n, sizeof n)) {
        // Another holds it: nothing read, the position as it was.
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 51, kFs2RecordLocked);
    }
    uint32_t length;
    memcpy(&length, slotBuffer(fcb) + 1, 4);
    if (length > fcb->maxLength) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Damaged);
    memcpy(fcb->record, slotBuffer(fcb) + 5, length);
    fcb->recordArea->length = length;
    file->slot = n;
    file->pending = false;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    // 14: the record's number does not fit the relative key.
    const bool fits = putKey(fib, n);
    return finish(fcb, element, fib, ZVK_VERB_READ, fits ? 0 : 14, fits ? kFs2None : kFs2Boundary);
}

int32_t readRelative(FCB* fcb, IPCB* element, uint32_t how, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_READ;
    const uint32_t direction = how & 0xFF;
    if (direction == ZVK_READ_KEY) {
        uint64_t n = 0;
        getKey(fib, &n);
        const int r = readSlot(fcb, n);
        if (r == -2) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
        if (r != 1) return failed(fcb, element, fib, ZVK_VERB_READ, 23, kFs2NotFound);
        return deliver(fcb, element, fib, n, how);
    }
    if (!(fcb->state & ZVK_STATE_POSITIONED)) return failed(fcb, element, fib, ZVK_VERB_READ, 46, kFs2AfterEnd);
    const bool next = direction != ZVK_READ_PREVIOUS;
    uint64_t n = file->pending ? file->slot : next ? file->slot + 1 : file->slot ? file->slot - 1 : 0;
    for (;; n = next ? n + 1 : n - 1) {
        const int r = n ? readSlot(fcb, n) : -1;
        if (r == -2) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
        if (r == -1 && next && nextVolume(fcb, element)) {
            if (fcb->status > 9) return finish(fcb, element, fib, ZVK_VERB_READ, fcb->status, fcb->fs2);
            return fcb->read(fcb, element, how, 0);
        }
        if (r == -1) return failed(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
        if (r == 1) return deliver(fcb, element, fib, n, how);
    }
}

int32_t startRelative(FCB* fcb, IPCB* element, uint32_t how, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_START;
    uint64_t n = 0;
    getKey(fib, &n);
    const uint32_t relation = how & 0xFF;
    const bool up = relation == ZVK_START_EQUAL || relation == ZVK_START_GREATER || relation == ZVK_START_NOT_LESS;
    const uint64_t count = slotCount(file);
    if (relation == ZVK_START_GREATER) ++n;
    if (relation == ZVK_START_LESS) n = n ? n - 1 : 0;
    if (!up && n > count) n = count;
    for (; n && n <= count; n = up ? n + 1 : n - 1) {
        const int r = readSlot(fcb, n);
        if (r == -2) return failed(fcb, element, fib, ZVK_VERB_START, 30, kFs2ReadFailed);
        if (r == 1) {
            file->slot = n;
            file->pending = true;
            fcb->state = (fcb->state & ~ZVK_STATE_READ_GOOD) | ZVK_STATE_POSITIONED;
            return finish(fcb, element, fib, ZVK_VERB_START, 0, kFs2None);
        }
        if (relation == ZVK_START_EQUAL) break;
    }
    return failed(fcb, element, fib, ZVK_VERB_START, 23, kFs2NotFound);
}

int32_t writeRelative(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_WRITE;
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    bool bad;
    const uint32_t size = recordLength(fcb, fib, length, bad);
    if (bad) return finish(fcb, element, fib, ZVK_VERB_WRITE, 44, kFs2Length);
    uint64_t n = 0;
    if ((fib->access & ZVK_ACCESS_SEQUENTIAL) && file->mode != ZVK_OPEN_IO) {
        n = file->lastWritten + 1;
        if (!putKey(fib, n)) return finish(fcb, element, fib, ZVK_VERB_WRITE, 24, kFs2Boundary);
    } else {
        getKey(fib, &n);
        if (n == 0) return finish(fcb, element, fib, ZVK_VERB_WRITE, 24, kFs2Boundary);
        const int r = readSlot(fcb, n);
        if (r == -2) return finish(fcb, element, fib, ZVK_VERB_WRITE, 30, kFs2ReadFailed);
        if (r == 1) return finish(fcb, element, fib, ZVK_VERB_WRITE, 22, kFs2Duplicate);
    }
    if (!recordFree(fcb, &n, sizeof n)) return finish(fcb, element, fib, ZVK_VERB_WRITE, 51, kFs2RecordLocked);
    if (!writeSlot(fcb, n, size)) return finish(fcb, element, fib, ZVK_VERB_WRITE, 30, kFs2WriteFailed);
    file->lastWritten = n;
    return finish(fcb, element, fib, ZVK_VERB_WRITE, 0, kFs2None);
}

// REWRITE and DELETE: the record READ last (sequential access) or the
// relative key's; 0 with the status set when there is none.
uint64_t target(FCB* fcb, const FIB* fib, uint16_t* status, uint32_t* fs2) {
    if (fib->access & ZVK_ACCESS_SEQUENTIAL) {
        uint64_t n = openFile(fcb)->slot;
        if (!(fcb->state & ZVK_STATE_READ_GOOD) || fcb->lastVerb != ZVK_VERB_READ) {
            *status = 43, *fs2 = kFs2NoCurrent;
            return 0;
        }
        if (recordFree(fcb, &n, sizeof n)) return n;
        *status = 51, *fs2 = kFs2RecordLocked;
        return 0;
    }
    uint64_t n = 0;
    getKey(fib, &n);
    const int r = readSlot(fcb, n);
    if (r == 1 && !recordFree(fcb, &n, sizeof n)) {
        *status = 51, *fs2 = kFs2RecordLocked;
        return 0;
    }
    if (r == 1) return n;
    *status = r == -2 ? 30 : 23, *fs2 = r == -2 ? kFs2ReadFailed : kFs2NotFound;
    return 0;
}

int32_t rewriteRelative(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_REWRITE;
    uint16_t status = 0;
    uint32_t fs2 = kFs2None;
    const uint64_t n = target(fcb, fib, &status, &fs2);
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    if (!n) return finish(fcb, element, fib, ZVK_VERB_REWRITE, status, fs2);
    bool bad;
    const uint32_t size = recordLength(fcb, fib, length, bad);
    if (bad) return finish(fcb, element, fib, ZVK_VERB_REWRITE, 44, kFs2Length);
    if (!writeSlot(fcb, n, size)) return finish(fcb, element, fib, ZVK_VERB_REWRITE, 30, kFs2WriteFailed);
    return finish(fcb, element, fib, ZVK_VERB_REWRITE, 0, kFs2None);
}

int32_t deleteRelative(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_DELETE;
    uint16_t status = 0;
    uint32_t fs2 = kFs2None;
    const uint64_t n = target(fcb, fib, &status, &fs2);
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    if (!n) return finish(fcb, element, fib, ZVK_VERB_DELETE, status, fs2);
    const uint8_t empty = 0;
    if (pwrite(file->fd, &empty, 1, slotOffset(file, n)) != 1)
        return finish(fcb, element, fib, ZVK_VERB_DELETE, 30, kFs2WriteFailed);
    return finish(fcb, element, fib, ZVK_VERB_DELETE, 0, kFs2None);
}

}  // namespace

int32_t openRelative(FCB* fcb, IPCB*, const FIB* fib) {
    OpenFile* file = openFile(fcb);
    const char* name = fcb->fileName ? fcb->fileName : "";
    const bool optional = fib->flags & ZVK_FIB_OPTIONAL;
    struct stat st;
    const bool exists = stat(name, &st) == 0;
    if (exists && S_ISDIR(st.st_mode)) return answer(fcb, file->mode == ZVK_OPEN_OUTPUT ? 30 : 37, kFs2Denied);
    uint16_t status = 0;
    int flags = file->mode == ZVK_OPEN_INPUT ? O_RDONLY : O_RDWR;
    if (file->mode == ZVK_OPEN_OUTPUT) flags |= O_CREAT | O_TRUNC;
    if (!exists && file->mode != ZVK_OPEN_OUTPUT) {
        if (!optional) return answer(fcb, 35, kFs2NoFile);
        if (file->mode == ZVK_OPEN_INPUT) {
            fcb->state |= ZVK_STATE_OPTIONAL_ABSENT;
            return answer(fcb, 5, kFs2None);
        }
        flags |= O_CREAT;
        status = 5;
    }
    file->slotSize = 5 + uint64_t{fib->maxLength};
    fcb->moduleBuffer2 = malloc(file->slotSize);
    if (!fcb->moduleBuffer2) return answer(fcb, 30, kFs2NoMemory);
    file->fd = open(name, flags | O_CLOEXEC, 0666);
    if (file->fd < 0) {
        const uint32_t fs2 = openErrorFs2(errno);
        return answer(fcb, fs2 == kFs2NoFile ? 30 : openErrorStatus(fs2), fs2);
    }
    if (file->header) {
        uint8_t header[kHeaderSize];
        const ssize_t got = pread(file->fd, header, kHeaderSize, 0);
        uint32_t fs2 = kFs2None;
        if (got == static_cast<ssize_t>(kHeaderSize)) fs2 = checkHeader(header, fib, 'R');
        else if (got != 0) fs2 = kFs2Foreign;
        else if (file->mode != ZVK_OPEN_INPUT) {
            makeHeader(header, fib, 'R');
            if (pwrite(file->fd, header, kHeaderSize, 0) != static_cast<ssize_t>(kHeaderSize)) fs2 = kFs2WriteFailed;
        }
        if (fs2) {
            closeRelative(fcb);
            return answer(fcb, fs2 == kFs2WriteFailed ? 30 : 39, fs2);
        }
    } else if (exists && file->mode != ZVK_OPEN_OUTPUT && (st.st_size % file->slotSize) != 0) {
        closeRelative(fcb);
        return answer(fcb, 39, kFs2Foreign);
    }
    if (file->mode == ZVK_OPEN_EXTEND) file->lastWritten = slotCount(file);
    if (file->mode == ZVK_OPEN_INPUT || file->mode == ZVK_OPEN_IO) {
        fcb->read = readRelative;
        if (!(fib->access & ZVK_ACCESS_RANDOM)) fcb->start = startRelative;
    }
    if (file->mode == ZVK_OPEN_IO) {
        if (!(fib->access & ZVK_ACCESS_SEQUENTIAL)) fcb->write = writeRelative;
        fcb->rewrite = rewriteRelative;
        fcb->deleteRecord = deleteRelative;
    }
    if (file->mode == ZVK_OPEN_OUTPUT || file->mode == ZVK_OPEN_EXTEND) fcb->write = writeRelative;
    return answer(fcb, status, kFs2None);
}

bool closeRelative(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    if (file->fd < 0) return true;
    const bool ok = close(file->fd) == 0;
    file->fd = -1;
    return ok;
}

}  // namespace stl
