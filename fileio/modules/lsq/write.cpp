// WRITE: the record without its trailing blanks, then LF.  ADVANCING and
// LINAGE give the bytes other systems give for the same statements:
//   BEFORE n: the record, then n LF (0: CR); BEFORE PAGE: the record, FF.
//   AFTER n:  n LF (0: CR), then the record with no end of line, so that
//             the next WRITE continues that line (or CLOSE ends it);
//             AFTER PAGE: FF, then the record.
//   LINAGE:   every record ends with LF, and a plain WRITE counts as
//             BEFORE 1.  Advancing n lines moves LINAGE-COUNTER by n and
//             writes n-1 LF; past the page body, or at PAGE, it writes
//             the rest of the body, the bottom and the next top margin
//             instead, and LINAGE-COUNTER is 1 again.  The first page's
//             top margin comes before the first record.

#include "lsq.h"

namespace lsq {

namespace {

bool repeat(FILE* stream, int c, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        if (putc_unlocked(c, stream) == EOF) return false;
    return true;
}

bool advance(FILE* stream, uint32_t how) {
    if (how & ZVK_WRITE_PAGE) return putc_unlocked('\f', stream) != EOF;
    const uint32_t lines = ZVK_WRITE_LINES_OF(how);
    return lines == 0 ? putc_unlocked('\r', stream) != EOF : repeat(stream, '\n', lines);
}

bool advancePage(FCB* fcb, FILE* stream, uint32_t how) {
    const uint64_t lines = (how & ZVK_WRITE_PAGE) ? 0 : ZVK_WRITE_LINES_OF(how);
    const uint32_t counter = fcb->linageCounter;
    const uint64_t reached = uint64_t{counter} + lines;
    if (!(how & ZVK_WRITE_PAGE) && reached <= fcb->linageLines) {
        fcb->linageCounter = static_cast<uint32_t>(reached);
        return lines == 0 || repeat(stream, '\n', static_cast<uint32_t>(lines - 1));
    }
    const uint32_t rest = fcb->linageLines > counter ? fcb->linageLines - counter : 0;
    fcb->linageCounter = 1;
    return repeat(stream, '\n', rest) && repeat(stream, '\n', fcb->linageBottom) &&
           repeat(stream, '\n', fcb->linageTop);
}

}  // namespace

int32_t writeLine(FCB* fcb, IPCB* element, uint32_t how, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_WRITE;
    OpenFile* file = openFile(fcb);
    FILE* stream = file->stream;
    uint32_t size = fib->recordFormat == ZVK_RECORD_VARIABLE ? length : fib->maxLength;
    if (size > fcb->maxLength) size = fcb->maxLength;
    const uint8_t* record = fcb->record;
    while (size && record[size - 1] == ' ') --size;
    const bool linage = (fib->linage & ZVK_LINAGE) && fcb->linageLines;
    const bool before = how & ZVK_WRITE_BEFORE, after = how & ZVK_WRITE_AFTER;
    bool ok = true;
    if (linage && file->needsTop) ok = repeat(stream, '\n', fcb->linageTop);
    file->needsTop = false;
    if (after) ok = ok && (linage ? advancePage(fcb, stream, how) : advance(stream, how));
    ok = ok && fwrite_unlocked(record, 1, size, stream) == size;
    if (linage) {
        ok = ok && putc_unlocked('\n', stream) != EOF;
        if (!after) ok = ok && advancePage(fcb, stream, before ? how : ZVK_WRITE_LINES(1));
    } else if (before) {
        ok = ok && advance(stream, how);
    } else if (!after) {
        ok = ok && putc_unlocked('\n', stream) != EOF;
    }
    file->needsNewline = after && !linage;
    if (!ok) return finish(fcb, element, fib, ZVK_VERB_WRITE, 30, kFs2WriteFailed);
    return finish(fcb, element, fib, ZVK_VERB_WRITE, 0, kFs2None);
}

}  // namespace lsq
