// READ: the next line, without its LF (and a CR before it), blank-padded
// to the record's length.  A line longer than the record is cut and the
// rest of it skipped, with status 00 as other systems give; TAB and NUL
// bytes are data.  A last line without LF is a line.
//
// The file is read in blocks into a buffer of the module's (FCB offset
// 120), past stdio, and each line found with memchr: memory stays bounded
// however long a line is.

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "lsq.h"

namespace lsq {

namespace {

// The next block into the buffer: its length, 0 at the end, -1 on error.
ssize_t refill(OpenFile* file, uint8_t* buffer) {
    ssize_t got;
    do got = read(fileno(file->stream), buffer, kReadBlock);
    while (got < 0 && errno == EINTR);
    file->begin = 0;
    file->end = got > 0 ? static_cast<uint32_t>(got) : 0;
    return got;
}

}  // namespace

int32_t readLine(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_READ;
    OpenFile* file = openFile(fcb);
    if (file->atEnd) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 46, kFs2ReadAfterEnd);
    }
    auto* buffer = static_cast<uint8_t*>(fcb->moduleBuffer2);
    uint8_t* record = fcb->record;
    const uint32_t capacity = fcb->maxLength;
    uint64_t total = 0;       // bytes of the line, kept or not
    uint32_t stored = 0;      // bytes of it in the record
    uint8_t last = 0;         // its last byte
    bool any = false;
    for (;;) {
        if (file->begin == file->end) {
            const ssize_t got = refill(file, buffer);
            if (got < 0) {
                fcb->state &= ~ZVK_STATE_READ_GOOD;
                return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
            }
            if (got == 0) break;
        }
        const uint8_t* from = buffer + file->begin;
        const size_t available = file->end - file->begin;
        const auto* lf = static_cast<const uint8_t*>(memchr(from, '\n', available));
        const size_t take = lf ? static_cast<size_t>(lf - from) : available;
        any = true;
        if (take) {
            const size_t room = capacity - stored, kept = take < room ? take : room;
            memcpy(record + stored, from, kept);
            stored += static_cast<uint32_t>(kept);
            total += take;
            last = from[take - 1];
        }
        file->begin += static_cast<uint32_t>(take + (lf ? 1 : 0));
        if (lf) break;
    }
    if (!any) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        file->atEnd = true;
        return finish(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
    }
    // A CR ends the line with the LF after it, or at the file's end.
    if (total && last == '\r') --total;
    const bool cut = total > capacity;
    const uint32_t length = cut ? capacity : static_cast<uint32_t>(total);
    memset(record + length, ' ', capacity - length);
    // A line shorter than the shortest record reads as the shortest one,
    // blanks making up the rest.
    const uint32_t minimum = fib->minLength < capacity ? fib->minLength : capacity;
    fcb->recordArea->length = length < minimum ? minimum : length;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, 0, cut ? kFs2LineTruncated : kFs2None);
}

}  // namespace lsq
