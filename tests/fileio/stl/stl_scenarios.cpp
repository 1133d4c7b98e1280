// A main program with one record file, laid out as compiled code lays it
// out, that runs the statements its arguments name through the real
// module (zvkrfstl_64r.so, found beside the library):
//   stl_scenarios [org=seq|rel|idx] [access=seq|rand|dyn] [assign=NAME]
//                 [optional] [record=N] [variable=MIN] [key=POS:LEN[:dup]]...
//                 [share=N] [lock=N] [lockcount] [two] [nostatus] [verbose] OP...
// The first key= is the prime key, the others alternate keys; relative
// files have a RELATIVE KEY of 4 zoned digits.  OP is
//   open:input|output|io|extend, close, read (NEXT), read:prev,
//   read:key:N (by key N), start:eq|gt|ge|lt|le:N[:LEN], write:TEXT,
//   rewrite:TEXT, delete, set:TEXT (the record area), rk:N (the relative key),
//   fill:N (N records by ascending key), count (READ NEXT to the end),
//   read:lock, read:nolock (READ NEXT WITH LOCK / NO LOCK), unlock,
//   wait:PATH (until PATH exists), touch:PATH.  share= and lock= set
//   SHARE and LOCK (the module's codes, stl.h).
// Each prints the line the COBOL program of cobol_program.py displays for
// it; verbose adds FS2 and the length READ leaves in the record area.  A
// variable record's WRITE passes TEXT's length.  The program ends as STOP
// RUN does, closing what is open.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "file_image.h"

namespace {

cobol::Program program("STLPGM", nullptr);
cobol::FibImage image;
FIB& fib = image.fib;
alignas(16) FCB fcb, fcb2;
// two= declares a second file on the same assignment, its own FCB and
// record area: ops prefixed "2:" run on it.
cobol::FibImage image2;
FIB* fibs[2] = {&fib, &image2.fib};
void* fcbs[2] = {&fcb, &fcb2};
FCB* F = &fcb;
void* recordCell;
void* recordCell2;
uint8_t workingStorage[48];   // FILE STATUS at 0, feedback at 8, relative key at 40
void* statusCell = workingStorage;
std::string assignment = "stl.dat";
bool verbose = false, relative = false;

std::string relativeKey() { return std::string(reinterpret_cast<char*>(workingStorage + 40), 4); }

void show(const std::string& op, const std::string& extra = "") {
    char text[160];
    std::string line = op + " fs=" + (snprintf(text, sizeof text, "%02d", F->status), text) + extra;
    if (verbose) {
        snprintf(text, sizeof text, " fs2=%u field=%.2s", F->fs2, reinterpret_cast<const char*>(workingStorage));
        line += text;
    }
    line += '\n';
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}

uint32_t setRecord(const std::string& text) {
    memset(F->record, ' ', fib.maxLength);
    const size_t n = text.size() < fib.maxLength ? text.size() : fib.maxLength;
    memcpy(F->record, text.data(), n);
    return static_cast<uint32_t>(n);
}

std::string recordText() {
    const uint32_t n = fib.recordFormat == ZVK_RECORD_VARIABLE ? F->recordArea->length : fib.maxLength;
    std::string r = " rec=[" + std::string(reinterpret_cast<char*>(F->record), n < fib.maxLength ? n : fib.maxLength) + "]";
    if (relative) r += " rk=" + relativeKey();
    if (verbose) r += " length=" + std::to_string(F->recordArea->length);
    return r;
}

uint32_t startHow(const std::string& rel) {
    if (rel == "eq") return ZVK_START_EQUAL;
    if (rel == "gt") return ZVK_START_GREATER;
    if (rel == "ge") return ZVK_START_NOT_LESS;
    if (rel == "lt") return ZVK_START_LESS;
    return ZVK_START_NOT_GREATER;
}

void run(int argc, char** argv) {
    IPCB* element = reinterpret_cast<IPCB*>(program.ipcb);
    for (int i = 1; i < argc; ++i) {
        std::string op = argv[i];
        F = &fcb;
        if (op.rfind("2:", 0) == 0) F = &fcb2, op = op.substr(2);
        memset(workingStorage, '.', 40);
        if (op.rfind("open:", 0) == 0) {
            const std::string mode = op.substr(5);
            F->openMode = mode == "input" ? ZVK_OPEN_INPUT : mode == "output" ? ZVK_OPEN_OUTPUT
                         : mode == "extend" ? ZVK_OPEN_EXTEND : ZVK_OPEN_IO;
            F->open(F, element);
            show(op);
        } else if (op == "close") {
            F->closeOptions = 0;
            F->close(F, element);
            show(op);
        } else if (op == "read" || op == "read:prev" || op.rfind("read:key:", 0) == 0) {
            uint32_t how = op == "read" ? ZVK_READ_NEXT : op == "read:prev" ? ZVK_READ_PREVIOUS : ZVK_READ_KEY;
            if (how == ZVK_READ_KEY) how |= ZVK_HOW_KEY(atoi(op.c_str() + 9));
            F->read(F, element, how, 0);
            show(op, F->status < 10 ? recordText() : relative ? " rk=" + relativeKey() : "");
        } else if (op.rfind("start:", 0) == 0) {
            const std::string rest = op.substr(6);
            unsigned key = 0, length = 0;
            sscanf(rest.c_str() + 3, "%u:%u", &key, &length);
            F->start(F, element, startHow(rest.substr(0, 2)) | ZVK_HOW_KEY(key), length);
            show(op);
        } else if (op.rfind("write:", 0) == 0) {
            const uint32_t n = setRecord(op.substr(6));
            F->write(F, element, ZVK_WRITE_PLAIN, n);
            show("write", relative ? " rk=" + relativeKey() : "");
        } else if (op.rfind("rewrite:", 0) == 0) {
            const uint32_t n = setRecord(op.substr(8));
            F->rewrite(F, element, 0, n);
            show("rewrite");
        } else if (op == "delete") {
            F->deleteRecord(F, element, 0, 0);
            show(op);
        } else if (op.rfind("fill:", 0) == 0) {
            // N records keyed 00000000 up, the record filled with the key;
            // the last status shown, and how many failed.
            const long count = atol(op.c_str() + 5);
            long failures = 0;
            for (long r = 0; r < count; ++r) {
                char key[24];
                snprintf(key, sizeof key, "%08ld", r);
                memset(F->record, 'a' + r % 26, fib.maxLength);
                memcpy(F->record, key, fib.maxLength < 8 ? fib.maxLength : 8);
                F->write(F, element, ZVK_WRITE_PLAIN, fib.maxLength);
                failures += F->status >= 10;
            }
            show("fill", " failures=" + std::to_string(failures));
        } else if (op == "count") {
            // READ NEXT to the end: how many records, the end's status.
            long count = 0;
            while (F->read(F, element, ZVK_READ_NEXT, 0) < 10) ++count;
            show("count", " records=" + std::to_string(count));
        } else if (op == "read:lock" || op == "read:nolock") {
            F->read(F, element, ZVK_READ_NEXT | (op == "read:lock" ? ZVK_LOCK_WITH : ZVK_LOCK_NONE), 0);
            show(op, F->status < 10 ? recordText() : "");
        } else if (op == "unlock") {
            F->unlock(F, element, 0, 0);
            show(op);
        } else if (op.rfind("wait:", 0) == 0) {
            // Until the file named appears: another process's turn.
            for (int t = 0; t < 3000 && access(op.c_str() + 5, F_OK) != 0; ++t) usleep(10000);
        } else if (op.rfind("touch:", 0) == 0) {
            if (FILE* f = fopen(op.c_str() + 6, "w")) fclose(f);
        } else if (op.rfind("set:", 0) == 0) {
            setRecord(op.substr(4));
        } else if (op.rfind("rk:", 0) == 0) {
            snprintf(reinterpret_cast<char*>(workingStorage + 40), 5, "%04d", atoi(op.c_str() + 3));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    uint32_t length = 10, minimum = 0;
    int32_t files = 1;
    std::vector<ZvkFileKey> keys;
    cobol::select(fib, fcb, 1, "STL-FILE", ZVK_ORG_SEQUENTIAL, ZVK_ACCESS_SEQUENTIAL, 10, nullptr, 0);
    cobol::statusFields(fib, &statusCell, 16);
    fib.recordCell = &recordCell;
    memcpy(workingStorage + 40, "0000", 4);
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        unsigned pos = 0, len = 0;
        char dup[8] = {};
        if (a.rfind("assign=", 0) == 0) assignment = a.substr(7);
        else if (a == "optional") fib.flags |= ZVK_FIB_OPTIONAL;
        else if (a.rfind("record=", 0) == 0) length = static_cast<uint32_t>(atoi(a.c_str() + 7));
        else if (a.rfind("variable=", 0) == 0) fib.recordFormat = ZVK_RECORD_VARIABLE, minimum = atoi(a.c_str() + 9);
        else if (a == "verbose") verbose = true;
        else if (a == "two") files = 2;
        else if (a == "nostatus") fib.statusCell = fib.feedbackCell = nullptr;
        else if (a == "org=rel") fib.organization = ZVK_ORG_RELATIVE, relative = true;
        else if (a == "org=idx") fib.organization = ZVK_ORG_INDEXED;
        else if (a.rfind("share=", 0) == 0) fib.shareLock = fcb.shareLock = 1, fib.shareMode |= atoi(a.c_str() + 6) & 7;
        else if (a.rfind("lock=", 0) == 0) fib.shareLock = fcb.shareLock = 1, fib.lockMode = atoi(a.c_str() + 5) & 7;
        else if (a == "lockcount") fib.shareMode |= ZVK_FIB_LOCK_COUNT;
        else if (a == "access=rand") fib.access = ZVK_ACCESS_RANDOM;
        else if (a == "access=dyn") fib.access = ZVK_ACCESS_DYNAMIC;
        else if (sscanf(a.c_str(), "key=%u:%u:%7s", &pos, &len, dup) >= 2)
            keys.push_back(ZvkFileKey{len, pos, static_cast<uint8_t>(dup[0] ? 1 : 0), {}});
    }
    fib.maxLength = length;
    fib.minLength = fib.recordFormat == ZVK_RECORD_VARIABLE ? minimum : length;
    fcb.maxLength = length;
    if (!keys.empty()) {
        fib.keyCount = static_cast<uint32_t>(keys.size());
        fib.keyTableOffset = offsetof(cobol::FibImage, keys);
        for (size_t k = 0; k < keys.size() && k < 8; ++k) image.keys[k] = keys[k];
    }
    static void* relativeCell = workingStorage;
    if (relative) {
        image.relativeKey.cell = &relativeCell;
        image.relativeKey.offset = 40;
        image.relativeKey.length = 4;
        image.relativeKey.kind = ZVK_RELKEY_ZONED;
        image.relativeKey.digits = 4;
        fib.relativeKeyOffset = offsetof(cobol::FibImage, relativeKey);
    }
    // The record area exactly as long as the record, so that a sanitizer
    // sees a byte written past it.
    recordCell = calloc(1, sizeof(ZvkRecordArea) + length);
    fib.assignment = assignment.data();
    fib.assignLength = static_cast<uint16_t>(assignment.size());
    image2 = image;
    image2.fib.index = 2;
    image2.fib.recordCell = &recordCell2;
    recordCell2 = calloc(1, sizeof(ZvkRecordArea) + length);
    memcpy(fcb2.eye, "FCB", 3);
    fcb2.index = 2;
    fcb2.maxLength = length;
    fcb2.shareLock = fcb.shareLock;
    cobol::attachFiles(program, fibs, fcbs, files);
    COBOL_MAIN(program, {
        run(argc, argv);
        _zvkRunUnitTerm(0);
    });
    free(recordCell);
    free(recordCell2);
    return 0;
}
