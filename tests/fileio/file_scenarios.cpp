// A main program with one file, as compiled code lays it out (PCB, IPCB,
// FIB, FCB, record area, FILE STATUS and feedback fields behind their
// cells), driven by its arguments:
//   file_scenarios [assign=NAME] [optional] [env] [item] [external] [nostatus]
//                  [national|ebcdic] [feedback=N] [lsq] [access=random] [org=indexed]
//                  [second|second=differ] OP...
// "second" calls a second program that declares the same EXTERNAL file,
// alike or (differ) with another record length and organization.
// OP is open:input|output|io|extend|input07, close, close:lock, read,
// read:atend, write, rewrite, start, delete, unlock.  Each prints its status,
// FS2, the status field's bytes and the feedback field.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "file_image.h"

namespace {

cobol::Program program("FILEPGM", nullptr);
alignas(16) FIB fib;
alignas(16) FCB fcb;
FIB* fibs[1] = {&fib};
void* fcbs[1] = {&fcb};
alignas(16) uint8_t area[32 + 80];
void* recordCell = area;
FCB* file = &fcb;
uint8_t workingStorage[64];   // FILE STATUS at 0, feedback at 8
void* statusCell = workingStorage;
std::string assignment = "stl-data.txt";
char unterminated[64];   // an assignment as compiled code leaves it: no NUL

void show(const char* op, int32_t result) {
    char feedback[40] = {};
    memcpy(feedback, workingStorage + 8, fib.feedbackLength < 39 ? fib.feedbackLength : 39);
    printf("%s fs=%02d ret=%02d fs2=%u field=%02x%02x%02x%02x feedback=[%s] open=%s\n", op, file->status, result,
           file->fs2, workingStorage[0], workingStorage[1], workingStorage[2], workingStorage[3], feedback,
           file->open == _zvkGenericOpen ? "generic" : file->open == _zvkOpenError ? "error" : "module");
    fflush(stdout);
}

cobol::Program secondProgram("SECOND", nullptr);
alignas(16) FIB secondFib;
FIB* secondFibs[1] = {&secondFib};
void* secondFcbs[1] = {nullptr};

void callSecond(bool differ) {
    secondFib = fib;
    if (differ) secondFib.maxLength = 90, secondFib.organization = ZVK_ORG_RELATIVE;
    cobol::attachFiles(secondProgram, secondFibs, secondFcbs, 1);
    cobol::call(secondProgram, [] {});
    printf("second shares=%d\n", secondFcbs[0] == file ? 1 : 0);
    fflush(stdout);
}

void run(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string op = argv[i];
        IPCB* element = reinterpret_cast<IPCB*>(program.ipcb);
        int32_t r = -1;
        memset(workingStorage, '.', 4);
        if (op.rfind("open:", 0) == 0) {
            const std::string mode = op.substr(5);
            file->openMode = mode == "input" ? ZVK_OPEN_INPUT : mode == "output" ? ZVK_OPEN_OUTPUT
                           : mode == "io" ? ZVK_OPEN_IO : mode == "extend" ? ZVK_OPEN_EXTEND
                           : ZVK_OPEN_INPUT | ZVK_OPEN_GIVES_07;
            r = file->open(file, element);
        } else if (op == "close" || op == "close:lock") {
            file->closeOptions = op == "close" ? 0 : ZVK_CLOSE_WITH_LOCK;
            r = file->close(file, element);
        } else if (op == "read" || op == "read:atend") {
            file->clauses = op == "read" ? 0 : ZVK_CLAUSE_AT_END;
            r = file->read(file, element, ZVK_READ_NEXT, 0);
        } else if (op == "write") {
            r = file->write(file, element, ZVK_WRITE_PLAIN, 1);
        } else if (op == "rewrite") {
            r = file->rewrite(file, element, 0, 1);
        } else if (op == "start") {
            r = file->start(file, element, ZVK_START_EQUAL, 0);
        } else if (op == "delete") {
            r = file->deleteRecord(file, element, 0, 0);
        } else if (op == "reset") {   // what CANCEL does to the program's files
            _zvkCloseReset(reinterpret_cast<int32_t*>(program.ipcb));
            r = file->status;
        } else if (op == "second" || op == "second=differ") {
            callSecond(op == "second=differ");
            continue;
        } else if (op == "unlock") {
            r = file->unlock(file, element, 0, 0);
        } else {
            continue;
        }
        show(op.c_str(), r);
    }
}

}  // namespace

int main(int argc, char** argv) {
    cobol::select(fib, fcb, 1, "IN-FILE", ZVK_ORG_SEQUENTIAL, ZVK_ACCESS_SEQUENTIAL, 80, nullptr, 0);
    cobol::statusFields(fib, &statusCell, 20);
    fib.recordCell = &recordCell;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a.rfind("assign=", 0) == 0) assignment = a.substr(7);
        else if (a == "optional") fib.flags |= ZVK_FIB_OPTIONAL;
        else if (a == "env") fib.flags = ZVK_FIB_ASSIGN_ENV;
        else if (a == "external") fib.flags |= ZVK_FIB_EXTERNAL, fcbs[0] = nullptr;
        else if (a == "nostatus") fib.statusCell = fib.feedbackCell = nullptr;
        else if (a == "national") fib.shareMode |= ZVK_FIB_STATUS_NATIONAL;
        else if (a == "ebcdic") fib.shareMode |= ZVK_FIB_STATUS_EBCDIC;
        else if (a.rfind("feedback=", 0) == 0) fib.feedbackLength = static_cast<uint16_t>(atoi(a.c_str() + 9));
        else if (a == "lsq") fib.organization = ZVK_ORG_LINE_SEQUENTIAL;
        else if (a == "access=random") fib.access = ZVK_ACCESS_RANDOM;
        else if (a == "org=indexed") fib.organization = ZVK_ORG_INDEXED;
        else if (a == "unterminated") fib.shareLock = 0xFF;   // marker, reset below
    }
    fib.assignment = assignment.data();
    fib.assignLength = static_cast<uint16_t>(assignment.size());
    if (fib.shareLock == 0xFF) {
        fib.shareLock = 0;
        memset(unterminated, '#', sizeof unterminated);
        memcpy(unterminated, assignment.data(), assignment.size());
        fib.assignment = unterminated;
    }
    cobol::attachFiles(program, fibs, fcbs, 1);
    COBOL_MAIN(program, {
        file = static_cast<FCB*>(fcbs[0]);   // an EXTERNAL file's is the library's
        run(argc, argv);
        _zvkRunUnitTerm(0);
    });
    return 0;
}
