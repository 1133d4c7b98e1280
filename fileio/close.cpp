// The end of every CLOSE: the slots of a closed file back, the module's
// buffers freed, the status stored and the program told.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/files.h"
#include "fileio/kit.h"
#include "kvr2/codepage.h"

extern "C" {

bool zvkDebugOpen(void) {
    const char* v = getenv("VFS_DEBUG_OPEN");
    return v && *v;
}

KVR2_API void _zvkGenericClose(FCB* fcb, IPCB* element, uint32_t variant) {
    FIB* fib = zvkFileFib(fcb, element);
    if (zvkDebugOpen())
        fprintf(stderr, "Closing %c%c%c-%s as '%.*s' %s %s FS1=%.2d FS2=%d\n", fcb->prefix[0], fcb->prefix[1],
                fcb->prefix[2], fib->name, static_cast<int>(zvkFileNameLength(fcb)), fcb->fileName ? fcb->fileName : "",
                (fcb->state & ZVK_STATE_CONCATENATION) ? "(concat)" : "",
                fcb->concat && !(fcb->state & ZVK_STATE_CONCATENATION) ? "(GDS)" : "", fcb->status,
                static_cast<int>(fcb->fs2));
    fcb->verb = ZVK_VERB_CLOSE;
    if (fcb->state & ZVK_STATE_NAME_ALLOCATED) free(fcb->fileName);
    fcb->state &= ZVK_STATE_FIB_BY_PROGRAM | ZVK_STATE_CONCATENATION;
    zvkFileInitSlots(fcb, fcb->fib);
    // The assignment is not terminated: whoever reads the name of a closed
    // file reads FIB.assignLength bytes of it.
    fcb->fileName = fib->assignment;
    fcb->lastCloseOptions = fcb->closeOptions;
    free(fcb->moduleBuffer);
    free(fcb->moduleBuffer2);
    fcb->moduleBuffer = fcb->moduleBuffer2 = nullptr;
    if (fcb->closeOptions & ZVK_CLOSE_NEXT_VOLUME) {
        fcb->closeOptions &= ~ZVK_CLOSE_NEXT_VOLUME;
        return;
    }
    fcb->state &= ~ZVK_STATE_CONCATENATION;
    _zvk_Concat_Free(fcb->concat);
    fcb->concat = nullptr;
    if (fcb->closeOptions & ZVK_CLOSE_WITH_LOCK) fcb->open = _zvkOpenError;
    fcb->lastVerb = ZVK_VERB_CLOSE;
    fcb->modeInForce = 0;
    if (fcb->status < 30 && (fcb->closeOptions & ZVK_CLOSE_GIVES_07)) fcb->status = 7;
    zvkStoreFileStatus(fcb, fib);
    if (fib->shareMode & ZVK_FIB_FEEDBACK_EBCDIC) {
        if (uint8_t* field = zvkFileField(fib->feedbackCell, fib->feedbackOffset)) {
            uint8_t converted[256];
            int32_t capacity = sizeof converted;
            const int32_t n = fib->feedbackLength < sizeof converted ? fib->feedbackLength : sizeof converted;
            if (_zvkConvToEBCDIC(field, n, converted, &capacity) == 0 && capacity == n) memcpy(field, converted, n);
        }
    }
    if (!(fcb->closeOptions & ZVK_CLOSE_NO_USE) && fcb->status > 9) _zvkCallUseProc(fcb, variant, element);
}

// A file still open when its run unit ends is closed with no USE
// procedure.  A cancelled program's files are closed as a CLOSE statement
// would close them, USE procedures included; its EXTERNAL files stay open
// for the other programs.
void zvkCloseFile(FCB* fcb, IPCB* element, bool resetOnly) {
    if (!fcb->modeInForce || !fcb->close) return;
    if (resetOnly) {
        if (!(fcb->state & ZVK_STATE_FIB_BY_PROGRAM)) fcb->close(fcb, element);
        return;
    }
    fcb->closeOptions |= ZVK_CLOSE_NO_USE;
    fcb->close(fcb, element);
    fcb->closeOptions &= ~ZVK_CLOSE_NO_USE;
}

}  // extern "C"
