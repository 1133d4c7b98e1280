// A stand-in file-system module: it logs what the library hands it and
// answers with the statuses a test scripts through the environment.
//   STANDIN_INIT=fs1/fs2   _IO_Init refuses with this status
//   STANDIN_OPEN=fs1/fs2   open answers this status
//   STANDIN_ABSENT=1       open finds an OPTIONAL file absent (05)
//   STANDIN_ABSENT_NAME=n  the same for the file named n only
//   STANDIN_READS=n        READ gives n records, then 10
//   STANDIN_FAILS=n        the first n opens answer 35
// Built once with _IO_Init and once without (STANDIN_NO_INIT), from the
// public header and the module kit alone, as any module is.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/kit.h"
#include "kvr2/filemodule.h"

namespace {

bool scripted(const char* variable, uint16_t& fs1, uint32_t& fs2) {
    const char* v = getenv(variable);
    unsigned a = 0, b = 0;
    if (!v || sscanf(v, "%u/%u", &a, &b) < 1) return false;
    fs1 = static_cast<uint16_t>(a), fs2 = b;
    return true;
}

int reads = 0, opens = 0;

int32_t readRecord(FCB* fcb, IPCB* element, uint32_t how, uint32_t) {
    fcb->verb = ZVK_VERB_READ;
    const char* n = getenv("STANDIN_READS");
    if (reads < (n ? atoi(n) : 0)) {
        ++reads;
        fcb->status = 0, fcb->fs2 = 0;
        fcb->recordArea->length = 1;
        fcb->record[0] = static_cast<uint8_t>('0' + reads);
        fcb->state |= ZVK_STATE_READ_GOOD;
    } else if (fcb->concat) {
        // The end of a volume: the next one opened in this one's place.
        if (char* next = _zvk_Concat_Next(fcb->concat)) {
            fcb->closeOptions |= ZVK_CLOSE_NEXT_VOLUME;
            fcb->close(fcb, element);
            fcb->fileName = next;
            fcb->openMode = ZVK_OPEN_INPUT;
            reads = 0;
            if (fcb->open(fcb, element) > 9) return fcb->status;
            return fcb->read(fcb, element, how, 0);
        }
        fcb->status = 10, fcb->fs2 = 0;
        fcb->state &= ~ZVK_STATE_READ_GOOD;
    } else {
        fcb->status = 10, fcb->fs2 = 0;
        fcb->state &= ~ZVK_STATE_READ_GOOD;
    }
    printf("module: read how=%x -> %02u\n", how, fcb->status);
    fcb->lastVerb = ZVK_VERB_READ;
    // What every module does after a verb, with the kit alone.
    const FIB* fib = zvkFileFib(fcb, element);
    zvkStoreFileStatus(fcb, fib);
    zvkStoreFeedback(fcb, fib);
    if (fcb->status > 9) fcb->useProc(fcb, 0, element);
    return fcb->status;
}

int32_t closeFile(FCB* fcb, IPCB* element) {
    printf("module: close options=%x\n", fcb->closeOptions);
    fcb->status = 0, fcb->fs2 = 0;
    _zvkGenericClose(fcb, element, 0);
    return fcb->status;
}

[[maybe_unused]] int32_t openFile(FCB* fcb, IPCB*) {
    printf("module: open code=%u prefix=%.3s name=%s mode=%x count=%u flag=%u\n", fcb->code, fcb->prefix,
           fcb->fileName, fcb->openMode, fcb->openCount, fcb->openFlag);
    fcb->moduleBuffer = malloc(16);
    fcb->status = 0, fcb->fs2 = 0;
    if (scripted("STANDIN_OPEN", fcb->status, fcb->fs2)) return fcb->status;
    const char* fails = getenv("STANDIN_FAILS");
    if (fails && opens++ < atoi(fails)) {
        fcb->status = 35;
        return 35;
    }
    const char* absent = getenv("STANDIN_ABSENT");
    const char* absentName = getenv("STANDIN_ABSENT_NAME");
    if ((absent && *absent) || (absentName && fcb->fileName && strcmp(absentName, fcb->fileName) == 0)) {
        // The library answers READ, START and CLOSE of an absent file.
        fcb->status = 5;
        fcb->state |= ZVK_STATE_OPTIONAL_ABSENT;
        return 5;
    }
    if (fcb->openMode & (ZVK_OPEN_INPUT | ZVK_OPEN_IO)) fcb->read = readRecord;
    fcb->close = closeFile;
    return 0;
}

const char* statusText(void* buffer, int32_t fs2, int32_t, int32_t) {
    static char text[64];
    snprintf(text, sizeof text, "stand-in FS2 %d%s", fs2, buffer ? "" : " (no buffer)");
    return text;
}

void* table[ZVK_MODULE_TABLE_ENTRIES] = {};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void** vfs(void) {
    table[ZVK_MODULE_STATUS_TEXT] = reinterpret_cast<void*>(statusText);
    return table;
}

#ifndef STANDIN_NO_INIT
__attribute__((visibility("default"))) void _IO_Init(FCB* fcb, IPCB*) {
    printf("module: init code=%u name=%s\n", fcb->code, fcb->fileName);
    if (scripted("STANDIN_INIT", fcb->status, fcb->fs2)) return;
    fcb->open = openFile;
}
#endif

}  // extern "C"
