// READ: the next line, without its LF (and a CR before it), blank-padded
// to the record's length.  A line longer than the record is cut and the
// rest of it skipped, with status 00 as other systems give; TAB and NUL
// bytes are data.  A last line without LF is a line.

#include <cstdio>
#include <cstring>

#include "lsq.h"

namespace lsq {

int32_t readLine(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_READ;
    OpenFile* file = openFile(fcb);
    if (file->atEnd) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 46, kFs2ReadAfterEnd);
    }
    FILE* stream = file->stream;
    uint8_t* record = fcb->record;
    const uint32_t capacity = fcb->maxLength;
    // The whole line at once (getdelim scans the stream's buffer with
    // memchr), into a buffer kept at FCB.moduleBuffer2, which grows to the
    // longest line and is freed with the file.
    char* line = static_cast<char*>(fcb->moduleBuffer2);
    ssize_t got = getdelim(&line, &file->lineCapacity, '\n', stream);
    fcb->moduleBuffer2 = line;
    if (got <= 0) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        if (ferror(stream)) return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
        if (!feof(stream)) return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2NoMemory);
        file->atEnd = true;
        return finish(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
    }
    size_t size = static_cast<size_t>(got);
    if (line[size - 1] == '\n') --size;
    // A CR ends the line with the LF after it, or at the file's end.
    if (size && line[size - 1] == '\r') --size;
    const bool cut = size > capacity;
    const uint32_t length = cut ? capacity : static_cast<uint32_t>(size);
    memcpy(record, line, length);
    memset(record + length, ' ', capacity - length);
    // A line shorter than the shortest record reads as the shortest one,
    // blanks making up the rest.
    const uint32_t minimum = fib->minLength < capacity ? fib->minLength : capacity;
    fcb->recordArea->length = length < minimum ? minimum : length;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, 0, cut ? kFs2LineTruncated : kFs2None);
}

}  // namespace lsq
