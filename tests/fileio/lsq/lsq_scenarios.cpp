// A main program with one line-sequential file, laid out as compiled code
// lays it out, that runs the statements its arguments name through the
// real module:
//   lsq_scenarios [assign=NAME] [optional] [record=N] [variable]
//                 [linage=LINES,FOOTING,TOP,BOTTOM] [nostatus] [verbose] OP...
// OP is open:input|output|extend|io, close, close:lock, read, or
// write:HOW:TEXT, HOW being plain, aN or bN (AFTER or BEFORE ADVANCING N
// LINES), ap or bp (PAGE).  Each prints the line the COBOL program of
// cobol_program.py displays for it; verbose adds FS2, the feedback and
// the length READ leaves in the record area.  A variable record's WRITE
// passes TEXT's length, the bytes after it being 'Z', not the record's.
// The program ends as STOP RUN does, closing what is open.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "file_image.h"

namespace {

cobol::Program program("LSQPGM", nullptr);
cobol::FibImage image;
FIB& fib = image.fib;
alignas(16) FCB fcb;
FIB* fibs[1] = {&fib};
void* fcbs[1] = {&fcb};
void* recordCell;
uint8_t workingStorage[32];   // FILE STATUS at 0, feedback at 8
void* statusCell = workingStorage;
std::string assignment = "lsq.txt";
bool linage = false, verbose = false;

// The record may hold NUL bytes: the line is built, then written whole.
void show(const std::string& op, const std::string& extra = "") {
    char text[128];
    std::string line = op + " fs=" + (snprintf(text, sizeof text, "%02d", fcb.status), text) + extra;
    if (linage && op.rfind("write", 0) == 0) line += (snprintf(text, sizeof text, " lc=%04u", fcb.linageCounter), text);
    if (verbose) {
        snprintf(text, sizeof text, " fs2=%u feedback=[%.*s] field=%.2s", fcb.fs2, static_cast<int>(fib.feedbackLength),
                 workingStorage + 8, reinterpret_cast<const char*>(workingStorage));
        line += text;
    }
    line += '\n';
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}

uint32_t writeHow(const std::string& how) {
    if (how == "plain") return ZVK_WRITE_PLAIN;
    const uint32_t when = how[0] == 'b' ? ZVK_WRITE_BEFORE : ZVK_WRITE_AFTER;
    if (how.substr(1) == "p") return when | ZVK_WRITE_PAGE;
    return when | ZVK_WRITE_LINES(atoi(how.c_str() + 1));
}

void run(int argc, char** argv) {
    IPCB* element = reinterpret_cast<IPCB*>(program.ipcb);
    for (int i = 1; i < argc; ++i) {
        const std::string op = argv[i];
        memset(workingStorage, '.', sizeof workingStorage);
        if (op.rfind("open:", 0) == 0) {
            const std::string mode = op.substr(5);
            fcb.openMode = mode == "input" ? ZVK_OPEN_INPUT : mode == "output" ? ZVK_OPEN_OUTPUT
                         : mode == "extend" ? ZVK_OPEN_EXTEND : ZVK_OPEN_IO;
            fcb.open(&fcb, element);
            show(op);
        } else if (op == "close" || op == "close:lock") {
            fcb.closeOptions = op == "close" ? 0 : ZVK_CLOSE_WITH_LOCK;
            fcb.close(&fcb, element);
            show(op);
        } else if (op == "read") {
            memset(fcb.record, '#', fib.maxLength);
            fcb.read(&fcb, element, ZVK_READ_NEXT, 0);
            std::string extra = " rec=[" + std::string(reinterpret_cast<char*>(fcb.record), fib.maxLength) + "]";
            if (verbose) extra += " length=" + std::to_string(fcb.recordArea->length);
            show("read", extra);
        } else if (op.rfind("write:", 0) == 0) {
            const size_t colon = op.find(':', 6);
            const std::string how = op.substr(6, colon - 6);
            const std::string text = colon == std::string::npos ? "" : op.substr(colon + 1);
            memset(fcb.record, fib.recordFormat == ZVK_RECORD_VARIABLE ? 'Z' : ' ', fib.maxLength);
            memcpy(fcb.record, text.data(), text.size() < fib.maxLength ? text.size() : fib.maxLength);
            fcb.write(&fcb, element, writeHow(how), static_cast<uint32_t>(text.size()));
            show("write:" + how);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    uint32_t length = 10;
    cobol::select(fib, fcb, 1, "LSQ-FILE", ZVK_ORG_LINE_SEQUENTIAL, ZVK_ACCESS_SEQUENTIAL, 10, nullptr, 0);
    cobol::statusFields(fib, &statusCell, 16);
    fib.recordCell = &recordCell;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        unsigned lines = 0, footing = 0, top = 0, bottom = 0;
        if (a.rfind("assign=", 0) == 0) assignment = a.substr(7);
        else if (a == "optional") fib.flags |= ZVK_FIB_OPTIONAL;
        else if (a.rfind("record=", 0) == 0) length = static_cast<uint32_t>(atoi(a.c_str() + 7));
        else if (a == "variable") fib.recordFormat = ZVK_RECORD_VARIABLE;
        else if (a == "verbose") verbose = true;
        else if (a == "nostatus") fib.statusCell = fib.feedbackCell = nullptr;
        else if (sscanf(a.c_str(), "linage=%u,%u,%u,%u", &lines, &footing, &top, &bottom) == 4) {
            linage = true;
            fib.linage = ZVK_LINAGE | (footing ? ZVK_LINAGE_FOOTING : 0) | (top ? ZVK_LINAGE_TOP : 0) |
                         (bottom ? ZVK_LINAGE_BOTTOM : 0);
            fib.linageOffset = offsetof(cobol::FibImage, linage);
            const unsigned values[4] = {lines, footing, top, bottom};
            for (int g = 0; g < 4; ++g)
                image.linage[g] = {static_cast<uint16_t>(values[g] ? ZVK_LINAGE_LITERAL : ZVK_LINAGE_ABSENT), {}, values[g]};
        }
    }
    fib.maxLength = length;
    fib.minLength = fib.recordFormat == ZVK_RECORD_VARIABLE ? 1 : length;
    fcb.maxLength = length;
    // The record area exactly as long as the record, so that a sanitizer
    // sees a byte written past it.
    recordCell = calloc(1, sizeof(ZvkRecordArea) + length);
    fib.assignment = assignment.data();
    fib.assignLength = static_cast<uint16_t>(assignment.size());
    cobol::attachFiles(program, fibs, fcbs, 1);
    COBOL_MAIN(program, {
        run(argc, argv);
        _zvkRunUnitTerm(0);
    });
    free(recordCell);
    return 0;
}
