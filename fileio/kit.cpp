// The module kit (see kit.h).  Nothing here allocates or calls the rest of
// the library.

#include "fileio/kit.h"

#include <cstdio>
#include <cstring>

namespace {

inline bool ebcdicFeedback(const FIB* fib) { return fib->shareMode & ZVK_FIB_FEEDBACK_EBCDIC; }

}  // namespace

extern "C" {

FIB* zvkFileFib(const FCB* fcb, const IPCB* element) {
    if ((fcb->state & ZVK_STATE_FIB_BY_PROGRAM) && element && element->pcb && element->pcb->fib && fcb->index > 0)
        return static_cast<FIB**>(element->pcb->fib)[fcb->index - 1];
    return fcb->fib;
}

uint8_t* zvkFileField(void** cell, uint32_t offset) {
    if (!cell || !*cell) return nullptr;
    return static_cast<uint8_t*>(*cell) + offset;
}

size_t zvkFileNameLength(const FCB* fcb) {
    if (!fcb->fileName) return 0;
    if (fcb->fib && fcb->fileName == fcb->fib->assignment) return strnlen(fcb->fileName, fcb->fib->assignLength);
    return strlen(fcb->fileName);
}

void zvkStoreFileStatus(const FCB* fcb, const FIB* fib) {
    uint8_t* field = zvkFileField(fib->statusCell, fib->statusOffset);
    if (!field) return;
    const unsigned status = fcb->status % 100;
    const uint8_t digits[2] = {static_cast<uint8_t>(status / 10), static_cast<uint8_t>(status % 10)};
    if (fib->shareMode & ZVK_FIB_STATUS_NATIONAL) {
        for (int i = 0; i < 2; ++i) {
            const uint16_t unit = static_cast<uint16_t>(0x30 + digits[i]);
            memcpy(field + 2 * i, &unit, 2);
        }
    } else {
        const uint8_t zone = (fib->shareMode & ZVK_FIB_STATUS_EBCDIC) ? 0xF0 : 0x30;
        field[0] = static_cast<uint8_t>(zone | digits[0]);
        field[1] = static_cast<uint8_t>(zone | digits[1]);
    }
}

void zvkFormatFeedback(uint8_t* area, uint64_t length, int32_t fs2, const FCB* fcb) {
    if (!area) return;
    memset(area, ' ', length);
    if (length < 6) return;
    char six[16];
    snprintf(six, sizeof six, "%6.6d", fs2);
    memcpy(area, six, 6);
    if (length <= 6) return;
    const char* name = fcb->fileName ? fcb->fileName : "";
    const size_t nameLength = zvkFileNameLength(fcb);
    uint64_t at = 6;
    auto put = [&](const char* s, uint64_t n, uint64_t end) {
        for (uint64_t i = 0; i < n && at < end; ++i) area[at++] = static_cast<uint8_t>(s[i]);
    };
    if (fcb->status == 33 || fcb->status == 35) {
        put(",", 1, length);
        put(name, nameLength, length);
    } else if (fcb->status == 96) {
        const uint64_t end = length > 10 ? length - 4 : at;
        put(",", 1, end);
        put(fcb->prefix, strnlen(fcb->prefix, sizeof fcb->prefix), end);
        put(",", 1, end);
        put(name, nameLength, end);
    }
}

void zvkResetFeedback(const FIB* fib) {
    uint8_t* field = zvkFileField(fib->feedbackCell, fib->feedbackOffset);
    if (!field) return;
    const bool ebcdic = ebcdicFeedback(fib);
    memset(field, ebcdic ? 0x40 : ' ', fib->feedbackLength);
    if (fib->feedbackLength > 5) memset(field, ebcdic ? 0xF0 : '0', 6);
}

void zvkStoreFeedback(const FCB* fcb, const FIB* fib) {
    uint8_t* field = zvkFileField(fib->feedbackCell, fib->feedbackOffset);
    if (field) zvkFormatFeedback(field, fib->feedbackLength, static_cast<int32_t>(fcb->fs2), fcb);
}

}  // extern "C"
