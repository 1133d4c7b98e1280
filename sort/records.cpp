// RELEASE and RETURN: records between a SORT's procedures and the engine.
//
// Records lie in the thread's 262,144-byte buffer, and in the spill files,
// in the engine's form: a variable record (format 2) as a native 4-byte
// length word that counts itself, then its bytes; any other record as
// recordLength bytes, a short one padded (blanks in format 1, zeros
// otherwise).  RELEASE appends to the buffer and, when the next record
// would not fit, appends the buffer to the input spill file.  RETURN reads
// the sorted records from the buffer, or from the output spill file one
// buffer at a time; a record that the chunk cuts is read again whole at the
// start of the next chunk.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "sort/sortrun.h"

namespace {

bool variableFormat(const SortRecordDesc* desc) { return desc->recordFormat == ZVK_SORT_VARIABLE; }

int openRetrying(const char* path, int flags, mode_t mode) {
    int fd;
    do fd = open(path, flags, mode);
    while (fd < 0 && (errno == EINTR || errno == EAGAIN || errno == ETIMEDOUT));
    return fd;
}

bool writeAll(int fd, const uint8_t* data, size_t size) {
    while (size) {
        const ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// The buffer's records go to the end of the input spill file, on disk
// before the next record is taken.
bool spill(SortThreadRecord* rec) {
    zvkSortSpillName(rec->spillPath, rec->tempDir, kSpillInput, rec);
    const int fd = openRetrying(rec->spillPath, O_RDWR | O_CREAT | O_APPEND, 0666);
    if (fd < 1) {
        if (fd == 0) close(fd);
        return false;
    }
    const bool written = writeAll(fd, rec->buffer, static_cast<size_t>(rec->fill));
    fdatasync(fd);
    close(fd);
    if (!written) return false;
    rec->fill = 0;
    rec->cursor = rec->buffer;
    return true;
}

// The next chunk of the output spill file.  False at its end, which
// removes the file (and so does a file that cannot be opened: the engine
// left nothing to read).
bool refill(SortThreadRecord* rec) {
    const uint64_t want = rec->capacity < kSortBufferSize ? rec->capacity : kSortBufferSize;
    ssize_t n = 0;
    const int fd = open(rec->spillPath, O_RDONLY);
    if (fd >= 0) {
        n = pread(fd, rec->buffer, want, static_cast<off_t>(rec->fileOffset));
        close(fd);
        if (n < 0) n = 0;
    }
    rec->fileOffset += static_cast<uint64_t>(n);
    if (static_cast<uint64_t>(n) < want || n == 0) {
        unlink(rec->spillPath);
        rec->spillPath[0] = 0;
        if (n == 0) return false;
    }
    rec->capacity = static_cast<uint64_t>(n);
    rec->cursor = rec->buffer;
    return true;
}

// What cannot be a record ends the data, for this RETURN and the next.
void endData(SortThreadRecord* rec, uint16_t* status) {
    if (rec->spillPath[0]) {
        unlink(rec->spillPath);
        rec->spillPath[0] = 0;
    }
    rec->fill = 0;
    rec->capacity = 0;
    *status = 1;
}

}  // namespace

extern "C" {

KVR2_API void _zvkRelease(uint32_t length, void* record, uint16_t* status) {
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1));
    // No sort taking records (none started, or its engine failed to load):
    // the record is refused.
    if (!rec || !rec->buffer || !rec->recordDesc || rec->fill < 0) {
        *status = 16;
        return;
    }
    const SortRecordDesc* desc = rec->recordDesc;
    const bool variable = variableFormat(desc);
    const uint64_t total = variable ? uint64_t{length} + 4 : desc->recordLength;
    if (length > desc->recordLength || total > kSortBufferSize) {
        *status = 16;
        return;
    }
    if (total + static_cast<uint64_t>(rec->fill) > rec->capacity && !spill(rec)) {
        *status = 16;
        return;
    }
    uint8_t* at = rec->cursor;
    if (variable) {
        const uint32_t word = static_cast<uint32_t>(total);
        memcpy(at, &word, sizeof word);
        at += sizeof word;
    }
    if (length) memcpy(at, record, length);
    if (!variable && total > length) memset(at + length, desc->recordFormat == ZVK_SORT_FIXED_BLANK ? ' ' : 0,
                                             static_cast<size_t>(total - length));
    rec->cursor += total;
    rec->fill += static_cast<int64_t>(total);
}

KVR2_API void _zvkReturn(uint32_t* length, void* record, uint16_t* status) {
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1));
    if (!rec || !rec->buffer || !rec->recordDesc) {
        *status = 1;
        return;
    }
    if (rec->fill < 1) {
        if (rec->spillPath[0]) {
            if (!refill(rec)) {
                rec->fill = 0;
                *status = 1;
                return;
            }
        } else if (rec->fill == 0) {
            *status = 1;
            return;
        }
        // fill -1 and no file: the sorted records wait in the buffer.
        rec->fill = 0;
        rec->cursor = rec->buffer;
    }

    const SortRecordDesc* desc = rec->recordDesc;
    const bool variable = variableFormat(desc);
    const uint64_t capacity = rec->capacity;
    uint64_t fill = static_cast<uint64_t>(rec->fill);
    uint64_t size = desc->recordLength;
    if (variable) {
        uint32_t word = 0;
        if (fill + sizeof word > capacity) return endData(rec, status);
        memcpy(&word, rec->cursor, sizeof word);
        if (word < 4 || word > uint64_t{desc->recordLength} + 4 || fill + word > capacity)
            return endData(rec, status);
        rec->cursor += sizeof word;
        fill += sizeof word;
        size = word - 4;
    } else if (size == 0 || fill + size > capacity) {
        return endData(rec, status);
    }
    if (size) memcpy(record, rec->cursor, static_cast<size_t>(size));
    rec->cursor += size;
    fill += size;
    *length = static_cast<uint32_t>(size);

    if (rec->spillPath[0]) {
        // The file goes on past this chunk: a next record the chunk cuts
        // (or whose length word it cuts) is read from its first byte.
        uint64_t next = desc->recordLength;
        if (variable) {
            uint32_t word = 0;
            if (capacity - fill <= 4)
                next = capacity + 1;
            else
                memcpy(&word, rec->cursor, sizeof word), next = word;
        }
        if (fill + next > capacity) {
            rec->fileOffset -= capacity - fill;
            fill = 0;
            rec->cursor = rec->buffer;
        }
    }
    if (fill == capacity) fill = 0;
    rec->fill = static_cast<int64_t>(fill);
}

}  // extern "C"
