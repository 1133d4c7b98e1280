// The routines that stand in an FCB's slots while a verb makes no sense in
// the file's state, and the one road of every file error to the program:
// AT END, INVALID KEY, a USE procedure, or message 200.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/files.h"
#include "fileio/kit.h"
#include "frame/messages.h"
#include "kvr2/filemodule.h"

namespace {

struct Outcome {
    uint16_t status;
    uint32_t fs2;
};

bool openFor(const FCB* fcb, uint16_t modes) { return fcb->modeInForce & modes; }
bool keyed(const FIB* fib) { return fib->organization == ZVK_ORG_INDEXED || fib->organization == ZVK_ORG_RELATIVE; }

// The first row of the verb's table that matches the file's state.
Outcome readOutcome(const FCB* fcb, const FIB* fib) {
    if (!openFor(fcb, ZVK_OPEN_INPUT | ZVK_OPEN_IO)) return {47, 9};
    if (!(fcb->state & ZVK_STATE_OPTIONAL_ABSENT)) return {30, 5};
    if (keyed(fib) && !(fcb->clauses & ZVK_CLAUSE_KEY_READ) && (fib->access & ZVK_ACCESS_RANDOM)) return {23, 29};
    if ((fcb->lastVerb == ZVK_VERB_START && !(fcb->state & ZVK_STATE_POSITIONED)) ||
        (fcb->lastVerb == ZVK_VERB_READ && !(fcb->state & ZVK_STATE_READ_GOOD)))
        return {46, 29};
    return {10, 29};
}
Outcome writeOutcome(const FCB* fcb, const FIB* fib) {
    if (openFor(fcb, ZVK_OPEN_IO) && (fib->access & ZVK_ACCESS_SEQUENTIAL) &&
        fib->organization != ZVK_ORG_LINE_SEQUENTIAL)
        return {92, 29};
    if (openFor(fcb, ZVK_OPEN_OUTPUT)) return {30, 5};
    return {48, 30};
}
Outcome rewriteOrDeleteOutcome(const FCB* fcb) { return openFor(fcb, ZVK_OPEN_IO) ? Outcome{30, 5} : Outcome{49, 30}; }
Outcome startOutcome(const FCB* fcb) {
    if (!openFor(fcb, ZVK_OPEN_INPUT | ZVK_OPEN_IO)) return {47, 29};
    if (fcb->state & ZVK_STATE_OPTIONAL_ABSENT) return {23, 29};
    return {30, 5};
}
Outcome unlockOutcome(const FCB* fcb) { return fcb->modeInForce ? Outcome{30, 5} : Outcome{42, 9}; }
Outcome openOutcome(const FCB* fcb) {
    if (fcb->lastCloseOptions & ZVK_CLOSE_WITH_LOCK) return {38, 16};
    if (fcb->modeInForce) return {41, 17};
    return {30, 5};
}

// The common path: status and FS2 stored, the feedback field reset, the
// program told; the verb is this one, then the last one.
int32_t fail(FCB* fcb, IPCB* element, uint8_t verb, Outcome (*decide)(const FCB*, const FIB*)) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = verb;
    const Outcome o = decide(fcb, fib);
    fcb->status = o.status;
    fcb->fs2 = o.fs2;
    if (!(fcb->closeOptions & ZVK_CLOSE_NO_USE)) {
        zvkStoreFileStatus(fcb, fib);
        zvkResetFeedback(fib);
        _zvkCallUseProc(fcb, 0, element);
    }
    fcb->lastVerb = verb;
    return o.status;
}

const char* verbName(const FCB* fcb) {
    switch (fcb->verb) {
        case ZVK_VERB_OPEN: return "OPEN";
        case ZVK_VERB_CLOSE: return "CLOSE";
        case ZVK_VERB_READ: return "READ";
        case ZVK_VERB_WRITE: return "WRITE";
        case ZVK_VERB_REWRITE: return "REWRITE";
        case ZVK_VERB_START: return "START";
        case ZVK_VERB_UNLOCK: return "UNLOCK";
        default: return "DELETE";
    }
}

const ZvkUseProcedure* useFor(const ZvkUseTable* t, uint16_t mode) {
    if (!t) return nullptr;
    if (mode & ZVK_OPEN_INPUT) return t->input;
    if (mode & ZVK_OPEN_OUTPUT) return t->output;
    if (mode & ZVK_OPEN_IO) return t->inputOutput;
    if (mode & ZVK_OPEN_EXTEND) return t->extend;
    return t->anyMode;
}

bool debugErrors() {
    const char* v = getenv("VFS_DEBUG_ERROR");
    return v && *v;
}

}  // namespace

extern "C" {

KVR2_API int32_t _zvkOpenError(FCB* fcb, IPCB* element) {
    return fail(fcb, element, ZVK_VERB_OPEN, [](const FCB* f, const FIB*) { return openOutcome(f); });
}
KVR2_API int32_t _zvkReadError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const int32_t status = fail(fcb, element, ZVK_VERB_READ, readOutcome);
    fcb->state &= ~ZVK_STATE_READ_GOOD;
    return status;
}
KVR2_API int32_t _zvkWriteError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    return fail(fcb, element, ZVK_VERB_WRITE, writeOutcome);
}
KVR2_API int32_t _zvkRewriteError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    return fail(fcb, element, ZVK_VERB_REWRITE, [](const FCB* f, const FIB*) { return rewriteOrDeleteOutcome(f); });
}
KVR2_API int32_t _zvkDeleteError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    return fail(fcb, element, ZVK_VERB_DELETE, [](const FCB* f, const FIB*) { return rewriteOrDeleteOutcome(f); });
}
KVR2_API int32_t _zvkStartError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const int32_t status = fail(fcb, element, ZVK_VERB_START, [](const FCB* f, const FIB*) { return startOutcome(f); });
    fcb->state &= ~ZVK_STATE_POSITIONED;
    return status;
}
KVR2_API int32_t _zvkUnlockError(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    return fail(fcb, element, ZVK_VERB_UNLOCK, [](const FCB* f, const FIB*) { return unlockOutcome(f); });
}

// CLOSE of a file that is not open, or of an OPTIONAL file that was absent
// (which closes as any other: status 00).
KVR2_API int32_t _zvkCloseError(FCB* fcb, IPCB* element) {
    if (fcb->state & ZVK_STATE_OPTIONAL_ABSENT) {
        fcb->state &= ~ZVK_STATE_OPTIONAL_ABSENT;
        fcb->status = 0, fcb->fs2 = 0;
    } else if (!fcb->modeInForce) {
        fcb->status = 42, fcb->fs2 = 9;
    } else {
        fcb->status = 30, fcb->fs2 = 5;
    }
    _zvkGenericClose(fcb, element, 0);
    return fcb->status;
}

KVR2_API void _zvkCallUseProc(FCB* fcb, uint32_t variant, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    const uint8_t* statusField = zvkFileField(fib->statusCell, fib->statusOffset);
    const uint8_t* feedbackField = zvkFileField(fib->feedbackCell, fib->feedbackOffset);
    const char* fs2Text = "";
    // A module's own words for FS2, asked only while the module is loaded.
    if (fcb->moduleTable && zvkFileModuleLoaded(fcb->moduleTable)) {
        auto text = reinterpret_cast<zvkFileStatusText>(fcb->moduleTable[ZVK_MODULE_STATUS_TEXT]);
        if (text) {
            const char* t = text(fcb->moduleBuffer, static_cast<int32_t>(fcb->fs2), 0, 1);
            if (t) fs2Text = t;
        }
    }
    const bool debug = debugErrors();
    if (debug) {
        char fs1[3];
        snprintf(fs1, sizeof fs1, "%2.2u", static_cast<unsigned>(fcb->status % 100));
        fprintf(stderr, "FS=%d:%d errno=%d verb=%x last=%x file=%.*s\nFS1=%2.2s FS2=%s\n", fcb->status,
                static_cast<int>(fcb->fs2), errno, fcb->verb, fcb->lastVerb, static_cast<int>(zvkFileNameLength(fcb)),
                fcb->fileName ? fcb->fileName : "", fs1, fs2Text);
    }
    if ((fcb->clauses & ZVK_CLAUSE_INVALID_KEY) && fcb->status >= 20 && fcb->status <= 24) return;
    if (fcb->status == 10 && (fcb->clauses & ZVK_CLAUSE_AT_END)) {
        if (debug) fputs("taking at end!\n", stdout);
        return;
    }
    const uint16_t mode = fcb->verb == ZVK_VERB_OPEN ? fcb->openMode : fcb->modeInForce;
    if (const ZvkUseProcedure* use = useFor(fcb->useTable, mode); use && use->routine) {
        use->routine(nullptr, nullptr, use->arg, mode);
        return;
    }
    if (statusField || feedbackField || fcb->status < 30) return;
    char text[81] = "";
    if (variant) zvkWriteMsg(201, (variant & 0xFF) | ZVK_MSG_STRING | ZVK_MSG_INFO, text, uint64_t(sizeof text - 1));
    zvkWriteMsg(200, ZVK_MSG_SEVERE, verbName(fcb), fib->name, static_cast<int>(fcb->status), text);
}

}  // extern "C"
