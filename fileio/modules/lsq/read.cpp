// READ: the next line, without its LF (and a CR before it), blank-padded
// to the record's length.  A line longer than the record is cut and the
// rest of it skipped, with status 00 as other systems give; TAB and NUL
// bytes are data.  A last line without LF is a line.

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
    uint32_t length = 0;
    bool any = false, cut = false;
    int c;
    while ((c = getc_unlocked(stream)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (c == '\r') {
            // A CR ends the line with the LF after it, or at the file's end.
            const int next = getc_unlocked(stream);
            if (next == '\n' || next == EOF) break;
            ungetc(next, stream);
        }
        if (length < capacity) record[length++] = static_cast<uint8_t>(c);
        else cut = true;
    }
    if (!any) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        if (ferror(stream)) return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2ReadFailed);
        file->atEnd = true;
        return finish(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
    }
    memset(record + length, ' ', capacity - length);
    // A line shorter than the shortest record reads as the shortest one,
    // blanks making up the rest.
    const uint32_t minimum = fib->minLength < capacity ? fib->minLength : capacity;
    fcb->recordArea->length = length < minimum ? minimum : length;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, 0, cut ? kFs2LineTruncated : kFs2None);
}

}  // namespace lsq
