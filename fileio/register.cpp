// A program's files at its first entry: compiled-in FCBs get their record
// area and the slots of a closed file; EXTERNAL files share one FCB per run
// unit, made here, and must be declared alike in every program.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "fileio/files.h"
#include "frame/hashtable.h"
#include "frame/hooks.h"
#include "frame/messages.h"
#include "frame/storage.h"

namespace {

// An EXTERNAL file's FCB and record area, in one block.
struct SharedFile {
    FCB fcb;
    ZvkRecordArea area;   // the record follows
};

void freeSharedFile(HashTable*, HashEntry* e) {
    free(e->value);
    free(e);
}
void printSharedFile(uint64_t, HashEntry* e) {
    const FCB* f = static_cast<const FCB*>(e->value);
    if (f) fprintf(stderr, "\tName: %3.3s-%s\n", f->prefix, static_cast<const char*>(e->key));
}

void attachArea(FCB* fcb, ZvkRecordArea* area) {
    fcb->recordArea = area;
    fcb->record = reinterpret_cast<uint8_t*>(area) + sizeof(ZvkRecordArea);
    area->fcb = fcb;
}

const uint8_t* at(const FIB* fib, uint32_t offset) { return reinterpret_cast<const uint8_t*>(fib) + offset; }

// A block that the FIB points to by offset; an offset of 0 (the FIB's own
// start) means the file has none.  Two absent blocks are alike.
bool sameBlock(const FIB* a, uint32_t offsetA, const FIB* b, uint32_t offsetB, size_t size) {
    if (!offsetA || !offsetB) return !offsetA == !offsetB;
    return memcmp(at(a, offsetA), at(b, offsetB), size) == 0;
}

// The attributes in which two declarations of one EXTERNAL file differ, in
// this order, joined by ", ".
void differences(const FIB* a, const FIB* b, char* out, size_t size) {
    size_t n = 0;
    auto add = [&](bool differs, const char* what) {
        if (differs) n += static_cast<size_t>(snprintf(out + n, n < size ? size - n : 0, "%s, ", what));
    };
    const bool locks = a->shareLock != 0;
    const bool linage = (a->linage & ZVK_LINAGE) && (b->linage & ZVK_LINAGE);
    const bool groups = linage && a->linageOffset && b->linageOffset;
    const ZvkLinageGroup* la = groups ? reinterpret_cast<const ZvkLinageGroup*>(at(a, a->linageOffset)) : nullptr;
    const ZvkLinageGroup* lb = groups ? reinterpret_cast<const ZvkLinageGroup*>(at(b, b->linageOffset)) : nullptr;
    add(a->defaultCode != b->defaultCode || memcmp(a->defaultPrefix, b->defaultPrefix, 3) != 0, "FILE SYSTEM");
    add(a->organization != b->organization, "ORGANIZATION");
    add(a->access != b->access, "ACCESS MODE");
    add(a->recordFormat != b->recordFormat, "RECORD FORMAT");
    add(a->maxLength != b->maxLength, "MAXIMUM RECORD LENGTH");
    add(a->minLength != b->minLength, "MINIMUM RECORD LENGTH");
    add((a->flags ^ b->flags) & ZVK_FIB_OPTIONAL, "OPTIONAL");
    add(a->assignLength != b->assignLength || (a->flags ^ b->flags) & ~ZVK_FIB_OPTIONAL ||
            (a->assignment && b->assignment && memcmp(a->assignment, b->assignment, a->assignLength) != 0),
        "FILE ASSIGNMENT NAME");
    add(locks && (a->shareMode & 7) != (b->shareMode & 7), "SHARE MODE");
    add(locks && (a->lockMode & 7) != (b->lockMode & 7), "LOCK MODE");
    add(locks && (a->shareMode ^ b->shareMode) & ZVK_FIB_LOCK_COUNT, "LOCK COUNT");
    add((a->linage ^ b->linage) & ZVK_LINAGE_FOOTING, "LINAGE FOOTING");
    add((a->linage ^ b->linage) & ZVK_LINAGE_TOP, "LINAGE TOP");
    add((a->linage ^ b->linage) & ZVK_LINAGE_BOTTOM, "LINAGE BOTTOM");
    for (int i = 0; i < 4 && groups; ++i) {
        static const char* const kNames[4] = {"LINAGE NAME/VALUE", "LINAGE FOOTING NAME/VALUE",
                                              "LINAGE TOP NAME/VALUE", "LINAGE BOTTOM NAME/VALUE"};
        add(memcmp(&la[i], &lb[i], sizeof la[i]) != 0, kNames[i]);
    }
    add(a->keyCount != b->keyCount, "NUMBER OF KEYS");
    add(a->keyCount == b->keyCount &&
            !sameBlock(a, a->keyTableOffset, b, b->keyTableOffset, sizeof(ZvkFileKey) * a->keyCount),
        "INDEXED KEY");
    add(!sameBlock(a, a->relativeKeyOffset, b, b->relativeKeyOffset, sizeof(ZvkRelativeKey)), "RELATIVE KEY");
    if (n >= 2 && n - 2 < size) out[n - 2] = 0;   // the last ", " cut
    if (n == 0 && size) out[0] = 0;
}

// FIB bytes 8 to 62, the lock bits, LINAGE, keys, relative key and the
// 8-byte attribute: equal or not.
bool sameDeclaration(const FIB* a, const FIB* b) {
    if (memcmp(at(a, 8), at(b, 8), 55) != 0) return false;
    if (a->shareLock && (((a->shareMode ^ b->shareMode) & (7 | ZVK_FIB_LOCK_COUNT)) || ((a->lockMode ^ b->lockMode) & 7)))
        return false;
    if ((a->linage & ZVK_LINAGE) != (b->linage & ZVK_LINAGE)) return false;
    if ((a->linage & ZVK_LINAGE) && !sameBlock(a, a->linageOffset, b, b->linageOffset, 144)) return false;
    if (!sameBlock(a, a->keyTableOffset, b, b->keyTableOffset, sizeof(ZvkFileKey) * a->keyCount)) return false;
    if (!sameBlock(a, a->relativeKeyOffset, b, b->relativeKeyOffset, sizeof(ZvkRelativeKey))) return false;
    return sameBlock(a, a->attributeOffset, b, b->attributeOffset, 8);
}

FCB* sharedFile(FIB* fib, PCB* pcb) {
    Runcom* ru = _zvkProccom ? _zvkProccom->runcom : nullptr;
    if (!ru) return nullptr;
    if (!ru->externalFiles) {
        HashParams p{};
        p.free = freeSharedFile;
        p.print = printSharedFile;
        ru->externalFiles = HashTable_Create(&p);
        if (!ru->externalFiles) zvkWriteMsg(907, 0);
    }
    const size_t nameLength = strnlen(fib->name, sizeof fib->name);
    if (HashEntry* e = HashTable_Find(ru->externalFiles, nullptr, fib->name, nameLength, 0, 0)) {
        FCB* fcb = static_cast<FCB*>(e->value);
        if (!sameDeclaration(fib, fcb->fib)) {
            char list[512], program[161];
            differences(fib, fcb->fib, list, sizeof list);
            const size_t pn = pcb && pcb->name ? (pcb->nameLength < 160 ? pcb->nameLength : 160) : 0;
            if (pn) memcpy(program, pcb->name, pn);
            program[pn] = 0;
            zvkWriteMsg(75, ZVK_MSG_SEVERE, fib->name, program, list);
        }
        return fcb;
    }
    auto* block = static_cast<SharedFile*>(calloc(1, sizeof(SharedFile) + fib->maxLength + 2));
    if (!block) {
        zvkWriteMsg(907, 0);
        return nullptr;
    }
    FCB* fcb = &block->fcb;
    memcpy(fcb->eye, "FCB", 3);
    fcb->shareLock = 1;
    fcb->index = fib->index;
    fcb->maxLength = fib->maxLength;
    attachArea(fcb, &block->area);
    *fib->recordCell = &block->area;
    zvkFileInitSlots(fcb, fib);
    // The key lives in the FIB of the first program, as long as the FCB.
    if (!HashTable_Insert(ru->externalFiles, nullptr, fib->name, nameLength, fcb, 0, 0, 0)) {
        free(block);
        zvkWriteMsg(907, 0);
        return nullptr;
    }
    return fcb;
}

void registerHook(PCB* pcb, IPCB* ipcb) {
    if (pcb && ipcb)
        zvkRegisterFileList(ipcb->fileCount, reinterpret_cast<FCB**>(ipcb->fcbs), static_cast<FIB**>(pcb->fib), pcb);
}

// At the end of a run unit every open file of the program is closed, with
// no USE procedure; CANCEL resets the program's files as well.
void closeHook(IPCB* ipcb, bool resetOnly) {
    if (!ipcb || !ipcb->fcbs) return;
    for (int32_t i = 0; i < ipcb->fileCount; ++i)
        if (FCB* fcb = static_cast<FCB*>(ipcb->fcbs[i])) zvkCloseFile(fcb, ipcb, resetOnly);
}

[[maybe_unused]] const bool hooked =
    (zvkSetFileHooks(registerHook, closeHook), zvkAtRuntimeEnd(zvkUnloadModules), true);

}  // namespace

extern "C" {

void zvkFileInitSlots(FCB* fcb, FIB* fib) {
    fcb->fib = fib;
    if (fib->organization == ZVK_ORG_LINE_SEQUENTIAL) {
        fcb->defaultCode = kCodeLineSequential;
        memcpy(fcb->defaultPrefix, "lsq", 3);
    } else {
        Proccom* pc = _zvkProccom;
        uint8_t code = pc ? zvkFileSystemCode(pc->fileSystem) : 0;
        // Only these name the default file system; anything else is "plx".
        static const char kDefaults[][4] = {"plx", "wbr", "rsd", "psx", "stl", "lsq", "hdk", "rql", "jgt", "nat"};
        bool known = false;
        for (const char* d : kDefaults)
            if (pc && strncasecmp(pc->fileSystem, d, 3) == 0) known = true;
        if (!known) {
            code = kCodeSniff;
            if (pc) memcpy(pc->fileSystem, "plx", 3);
        }
        fcb->defaultCode = code;
        memcpy(fcb->defaultPrefix, zvkFileSystemPrefix(code), 3);
    }
    fcb->open = _zvkGenericOpen;
    fcb->close = _zvkCloseError;
    fcb->read = _zvkReadError;
    fcb->write = _zvkWriteError;
    fcb->rewrite = _zvkRewriteError;
    fcb->start = _zvkStartError;
    fcb->deleteRecord = _zvkDeleteError;
    fcb->useProc = _zvkCallUseProc;
    if (fcb->shareLock) fcb->unlock = _zvkUnlockError;
}

void zvkRegisterFileList(int32_t count, FCB** fcbs, FIB** fibs, PCB* pcb) {
    if (!fcbs || !fibs) return;
    for (int32_t i = 0; i < count; ++i) {
        FIB* fib = fibs[i];
        if (!fib || (!fcbs[i] && !(fib->flags & ZVK_FIB_EXTERNAL))) continue;
        if (fib->flags & ZVK_FIB_EXTERNAL) {
            FCB* fcb = sharedFile(fib, pcb);
            if (!fcb) continue;
            fcbs[i] = fcb;
            fcb->state |= ZVK_STATE_FIB_BY_PROGRAM;
        } else {
            FCB* fcb = fcbs[i];
            if (fib->recordCell && *fib->recordCell) attachArea(fcb, static_cast<ZvkRecordArea*>(*fib->recordCell));
            zvkFileInitSlots(fcb, fib);
        }
    }
}

}  // extern "C"
