// SHARING at OPEN and record locks, by open-file-description locks on the
// data file through a descriptor of each FCB's own: two FCBs of one
// process conflict as two processes do, and the locks go with CLOSE or
// the death of the process.
//   byte 0: every opener holds it shared; an exclusive opener alone.
//   byte 1: held shared by every opener that may write.
//   byte 2: held shared by every opener SHARING WITH READ ONLY.
//   byte 3: held while an OPEN tests and takes the bytes above.
//   2^62 + a 62-bit hash of the record's key: the record's lock.

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "stl.h"

namespace stl {

namespace {

constexpr off_t kRecordLocks = off_t{1} << 62;

bool setLock(int fd, short type, off_t at, off_t length, bool wait = false) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = at;
    lock.l_len = length;
    return fcntl(fd, wait ? F_OFD_SETLKW : F_OFD_SETLK, &lock) == 0;
}

// Whether another holds a lock that a write lock on the byte would meet.
bool heldByOther(int fd, off_t at) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = at;
    lock.l_len = 1;
    return fcntl(fd, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

off_t recordOffset(const void* key, size_t length) {
    uint64_t h = 1469598103934665603ull;
    for (size_t i = 0; i < length; ++i) h = (h ^ static_cast<const uint8_t*>(key)[i]) * 1099511628211ull;
    return kRecordLocks + static_cast<off_t>(h & (kRecordLocks - 1));
}

void releaseHeld(OpenFile* file) {
    if (file->hasKeptLock) setLock(file->lockFd, F_UNLCK, static_cast<off_t>(file->lockOffset), 1);
    file->hasKeptLock = false;
}

}  // namespace

uint32_t openLocks(FCB* fcb, const FIB* fib) {
    OpenFile* file = openFile(fcb);
    const char* name = fcb->fileName ? fcb->fileName : "";
    int fd = open(name, O_RDWR | O_CLOEXEC | (file->mode == ZVK_OPEN_OUTPUT ? O_CREAT : 0), 0666);
    if (fd < 0 && (errno == EACCES || errno == EROFS)) fd = open(name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return errno == ENOENT ? kFs2None : openErrorFs2(errno);
    const uint8_t share = fib->shareMode & 7, lock = fib->lockMode & 7;
    const bool exclusive = share == kShareNoOther || lock == kLockExclusive || file->mode == ZVK_OPEN_OUTPUT;
    const bool writes = file->mode != ZVK_OPEN_INPUT;
    uint32_t fs2 = kFs2None;
    if (!setLock(fd, F_WRLCK, 3, 1, true)) {
        fs2 = errno == EBADF ? kFs2Denied : kFs2FileLocked;
    } else {
        if (!setLock(fd, exclusive ? F_WRLCK : F_RDLCK, 0, 1)) fs2 = errno == EBADF ? kFs2Denied : kFs2FileLocked;
        if (!fs2 && writes && (heldByOther(fd, 2) || !setLock(fd, F_RDLCK, 1, 1))) fs2 = kFs2FileLocked;
        if (!fs2 && share == kShareReadOnly && (heldByOther(fd, 1) || !setLock(fd, F_RDLCK, 2, 1)))
            fs2 = kFs2FileLocked;
        setLock(fd, F_UNLCK, 3, 1);
    }
    if (fs2) {
        close(fd);
        return fs2;
    }
    file->lockFd = fd;
    return kFs2None;
}

void closeLocks(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    if (file->lockFd >= 0) close(file->lockFd);
    file->lockFd = -1;
    file->hasKeptLock = false;
}

bool readLocks(const FCB* fcb, const FIB* fib, uint32_t how) {
    const OpenFile* file = static_cast<const OpenFile*>(fcb->moduleBuffer);
    if (file->lockFd < 0 || file->mode != ZVK_OPEN_IO || (how & (ZVK_LOCK_NONE | ZVK_LOCK_IGNORE))) return false;
    if (how & (ZVK_LOCK_WITH | ZVK_LOCK_KEPT)) return true;
    return (fib->lockMode & 7) == kLockAutomatic;
}

bool lockRecord(FCB* fcb, const FIB* fib, const void* key, size_t length) {
    OpenFile* file = openFile(fcb);
    const off_t at = recordOffset(key, length);
    if (file->hasKeptLock && static_cast<off_t>(file->lockOffset) == at) return true;
    if (!setLock(file->lockFd, F_WRLCK, at, 1)) return false;
    // One record at a time, unless the file locks many.
    if (!(fib->shareMode & ZVK_FIB_LOCK_COUNT)) releaseHeld(file);
    file->hasKeptLock = true;
    file->lockOffset = static_cast<uint64_t>(at);
    return true;
}

bool recordFree(FCB* fcb, const void* key, size_t length) {
    const OpenFile* file = openFile(fcb);
    return file->lockFd < 0 || !heldByOther(file->lockFd, recordOffset(key, length));
}

void afterVerb(FCB* fcb, const FIB* fib, uint8_t verb) {
    OpenFile* file = openFile(fcb);
    if (file && file->hasKeptLock && verb != ZVK_VERB_READ && !(fib->shareMode & ZVK_FIB_LOCK_COUNT))
        releaseHeld(file);
}

int32_t unlockSlot(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_UNLOCK;
    if (file->lockFd >= 0) setLock(file->lockFd, F_UNLCK, kRecordLocks, 0);
    file->hasKeptLock = false;
    return finish(fcb, element, fib, ZVK_VERB_UNLOCK, 0, kFs2None);
}

}  // namespace stl
