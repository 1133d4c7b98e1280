// SORT and MERGE statements: _zvkSortMerge starts a sort, runs the engine
// after an INPUT PROCEDURE, reports a failure, and ends with the runtime.
// Records between the procedures and the engine pass through the thread's
// buffer (records.cpp).
//
// Each engine call is bracketed by `active`; a call that finds it set (a
// sort started from inside a running one) is reported with message 13 and
// goes on.  No object with a destructor lives here: message 907 may leave
// by longjmp.

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "frame/hooks.h"
#include "frame/messages.h"
#include "kvr2/filemodule.h"
#include "sort/sortrun.h"

namespace {

uint32_t countOf(const SortFileList* list) { return list ? list->count : 0; }
FCB** filesOf(const SortFileList* list) { return list ? list->files : nullptr; }

// The fifth argument reaches the engine cut at its first blank, in place.
void cutAtBlank(char* text) {
    if (!text) return;
    for (; *text; ++text)
        if (*text == ' ') {
            *text = 0;
            return;
        }
}

SortControlRecord controlRecord(const SortVerbBlock* block, uint32_t engineFlags) {
    SortControlRecord control{};
    control.engineFlags = engineFlags;
    const Proccom* pc = _zvkProccom;
    control.tempDir = pc ? pc->tempDir : nullptr;
    control.program = block ? block->program : nullptr;
    return control;
}

int32_t callEngine(zvkSortEngine engine, SortThreadRecord* rec, int32_t op, const SortRecordDesc* desc,
                   uintptr_t fourth, char* fifth, const uint64_t* eighth, const SortIoRecord& in,
                   const SortIoRecord& out, SortControlRecord& control) {
    if (rec->active) zvkWriteMsg(13, 0);
    uint64_t formatWord = 0;
    uint32_t recordLength = 0;
    if (desc) {
        memcpy(&formatWord, desc, sizeof formatWord);
        recordLength = desc->recordLength;
    }
    SortEighth words{};
    if (eighth) memcpy(words.word, eighth, sizeof words.word);
    // The engine stores its error number in this call's own record.
    control.errnoOut = &control.errnoValue;
    control.errnoValue = 0;
    rec->active = 1;
    const int32_t result = engine(op, formatWord, recordLength, fourth, fifth, words, in, out, control);
    rec->active = 0;
    return result;
}

void setSortReturn(const SortVerbBlock* block, uint16_t value) {
    if (block && block->sortReturn) *block->sortReturn = value;
}

// SORT-RETURN, message 26 for a failure the program did not silence, and
// the engine's error number for ZVKGETSORTERRNO.
void finish(const SortVerbBlock* block, SortThreadRecord* rec, int32_t value, uint32_t errnoValue) {
    const uint16_t sortReturn = static_cast<uint16_t>(value);
    setSortReturn(block, sortReturn);
    if (sortReturn != 0 && block && !block->messageOff) {
        char name[161] = "";
        if (const PCB* program = block->program; program && program->name) {
            const size_t n = program->nameLength < sizeof name - 1 ? program->nameLength : sizeof name - 1;
            memcpy(name, program->name, n);
            name[n] = 0;
        }
        zvkWriteMsg(26, 0, name, static_cast<int>(block->lineNumber), static_cast<int>(errnoValue));
    }
    if (rec) rec->sortErrno = errnoValue;
}

// The buffer and the spill name, allocated once per thread and kept for
// later sorts.
bool ensureBuffers(SortThreadRecord* rec) {
    if (!rec->buffer) rec->buffer = static_cast<uint8_t*>(aligned_alloc(16, kSortBufferSize));
    if (!rec->spillPath) rec->spillPath = static_cast<char*>(aligned_alloc(16, kSpillPathSize));
    if (rec->buffer && rec->spillPath) return true;
    zvkWriteMsg(907, 0);
    return false;
}

// Spill files an earlier sort of this thread left behind (it ended inside
// a procedure): released records are appended to the input file, so a
// stale one would join this sort.
void removeStaleSpills(SortThreadRecord* rec) {
    zvkSortSpillName(rec->spillPath, rec->tempDir, kSpillInput, rec);
    unlink(rec->spillPath);
    zvkSortSpillName(rec->spillPath, rec->tempDir, kSpillOutput, rec);
    unlink(rec->spillPath);
    rec->spillPath[0] = 0;
}

void start(zvkSortEngine engine, int32_t op, SortVerbBlock* block, SortRecordDesc* desc, uintptr_t fourth,
           char* fifth, SortFileList* usingList, SortFileList* givingList, uint64_t* eighth) {
    cutAtBlank(fifth);
    SortControlRecord control = controlRecord(block, block ? block->engineFlags : 0);
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(0));
    if (!rec) return;
    SortIoRecord in{}, out{};
    in.count = countOf(usingList);
    in.files = filesOf(usingList);
    out.files = filesOf(givingList);

    if (in.count && countOf(givingList)) {   // files on both sides: the engine does it all
        out.count = countOf(givingList);
        const int32_t result = callEngine(engine, rec, op, desc, fourth, fifth, eighth, in, out, control);
        finish(block, rec, result, control.errnoValue);
        return;
    }

    if (!ensureBuffers(rec)) {
        setSortReturn(block, 16);
        return;
    }
    rec->capacity = kSortBufferSize;
    rec->fill = 0;
    rec->fileOffset = 0;
    rec->cursor = rec->buffer;
    rec->recordDesc = desc;
    rec->eighth = eighth;
    rec->usingList = usingList;
    rec->givingList = givingList;
    rec->fourth = fourth;
    rec->fifth = fifth;
    rec->tempDir = control.tempDir;
    rec->engineFlags = control.engineFlags;
    removeStaleSpills(rec);

    if (!in.count) {   // an INPUT PROCEDURE releases the records
        setSortReturn(block, 0);
        return;
    }
    // USING files feed an OUTPUT PROCEDURE: the engine leaves its result in
    // the output spill file, which RETURN reads.
    zvkSortSpillName(rec->spillPath, rec->tempDir, kSpillOutput, rec);
    out.path = rec->spillPath;
    const int32_t result = callEngine(engine, rec, op, desc, fourth, fifth, eighth, in, out, control);
    rec->fill = -1;
    finish(block, rec, result, control.errnoValue);
}

// The IPCB element of the calling program, which file operations take.
IPCB* programElement(const PCB* program) {
    if (!program || !program->ipcb) return nullptr;
    IPCB* elements = program->ipcb;
    const int32_t n = elements[0].nested >= 0 ? elements[0].nested + 1 : 1;
    for (int32_t i = 0; i < n; ++i)
        if (elements[i].pcb == program) return &elements[i];
    return elements;
}

// Nothing was released and GIVING files wait: each is opened for output
// and closed, so that it exists, empty, as after a sort of no records.
void createEmptyGiving(const SortVerbBlock* block, const SortFileList* giving) {
    IPCB* element = programElement(block ? block->program : nullptr);
    for (uint32_t i = 0; i < countOf(giving); ++i) {
        FCB* fcb = giving->files ? giving->files[i] : nullptr;
        if (!fcb) continue;
        fcb->openMode = ZVK_OPEN_OUTPUT;
        if (fcb->open) fcb->open(fcb, element);
        if (fcb->close) fcb->close(fcb, element);
    }
}

// The INPUT PROCEDURE has ended: the released records (buffer, and the
// input spill file if the buffer overflowed) go to the engine.
void runAfterInput(zvkSortEngine engine, SortVerbBlock* block) {
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1));
    if (!rec || !rec->buffer || !rec->recordDesc || rec->fill < 0) {
        // No sort of this thread is taking records: nothing to run.
        finish(block, rec, 16, 0);
        return;
    }
    SortControlRecord control = controlRecord(block, rec->engineFlags);
    const SortFileList* giving = rec->givingList;
    const bool spilled = rec->spillPath[0] != 0;
    char* inPath = nullptr;
    char* inCopy = nullptr;
    SortIoRecord in{}, out{};

    if (countOf(giving)) {
        if (spilled) inPath = rec->spillPath;
    } else if (!spilled) {
        // Everything fitted: the engine sorts the buffer in place.
        out.bytes = static_cast<uint32_t>(rec->fill);
        out.memory = rec->buffer;
        rec->capacity = static_cast<uint64_t>(rec->fill);
        rec->cursor = rec->buffer;
    } else {
        inCopy = static_cast<char*>(aligned_alloc(16, kSpillPathSize));
        if (!inCopy) {
            zvkWriteMsg(907, 0);
            finish(block, rec, 16, 0);
            return;
        }
        memcpy(inCopy, rec->spillPath, kSpillPathSize);
        inPath = inCopy;
        zvkSortSpillName(rec->spillPath, rec->tempDir, kSpillOutput, rec);
        out.path = rec->spillPath;
    }
    if (countOf(giving) || spilled) {
        rec->capacity = kSortBufferSize;
        rec->fileOffset = 0;
    }

    if (!inPath && rec->fill == 0) {   // nothing released: the engine is not called
        createEmptyGiving(block, giving);
        setSortReturn(block, 0);
        return;
    }

    in.path = inPath;
    in.bytes = static_cast<uint32_t>(rec->fill);
    in.memory = rec->buffer;
    in.files = filesOf(rec->usingList);
    out.count = countOf(giving);
    out.files = filesOf(giving);
    // Always a SORT here: a MERGE has no INPUT PROCEDURE.
    const int32_t result = callEngine(engine, rec, ZVK_SORT_START, rec->recordDesc, rec->fourth, rec->fifth,
                                      rec->eighth, in, out, control);
    rec->fill = -1;
    rec->cursor = rec->buffer;
    if (inPath) {
        unlink(inPath);
        if (inPath == rec->spillPath) rec->spillPath[0] = 0;
        free(inCopy);
    }
    finish(block, rec, result, control.errnoValue);
}

// A failed load leaves the statement without effect: a RELEASE or RETURN
// that follows must not take the thread's last sort for this one.
void forgetProcedures(void) {
    if (auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1))) rec->recordDesc = nullptr;
}

// At the runtime's end, for the ending thread: abandon its sort, say so if
// one was running.
void atThreadEnd(void) {
    _zvkSortMerge(ZVK_SORT_END_RUN, nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr);
    auto* rec = static_cast<SortThreadRecord*>(zvkThreadScratch(-1));
    if (rec && rec->active) zvkWriteMsg(12, 0);
}

[[maybe_unused]] const bool hooked = (zvkSetThreadEndHook(atThreadEnd), true);

}  // namespace

extern "C" {

KVR2_API void _zvkSortMerge(int32_t op, SortVerbBlock* block, SortRecordDesc* desc, uintptr_t fourth, char* fifth,
                            SortFileList* usingList, SortFileList* givingList, uint64_t* eighth) {
    if (op == ZVK_SORT_END_RUN) {
        zvkSortEndRun();
        return;
    }
    zvkSortEngine engine = zvkSortEngineEntry();
    if (!engine) {   // reported on stderr; SORT-RETURN stays as it was
        forgetProcedures();
        return;
    }
    switch (op) {
    case ZVK_SORT_START:
    case ZVK_MERGE_START:
        start(engine, op, block, desc, fourth, fifth, usingList, givingList, eighth);
        break;
    case ZVK_SORT_RUN:
        runAfterInput(engine, block);
        break;
    case ZVK_SORT_FAIL:
        finish(block, static_cast<SortThreadRecord*>(zvkThreadScratch(0)), 16, 0);
        break;
    default:
        finish(block, static_cast<SortThreadRecord*>(zvkThreadScratch(0)), 0, 0);
        break;
    }
}

KVR2_API uint32_t ZVKGETSORTERRNO(uint32_t* value) {
    const auto* rec = static_cast<const SortThreadRecord*>(zvkThreadScratch(-1));
    const uint32_t sortErrno = rec ? rec->sortErrno : 0;
    if (value) *value = sortErrno;
    return sortErrno;
}

KVR2_API uint32_t zvkGetSortErrno(uint32_t*) __attribute__((alias("ZVKGETSORTERRNO")));

}  // extern "C"
