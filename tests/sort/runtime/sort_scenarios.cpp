// A program with SORT and MERGE statements, as compiled code calls the
// library: the verb block, record description, USING and GIVING lists and
// the fifth and eighth words in the program's own data, driven by its
// arguments, one after the other:
//   fmt=N len=N using=N giving=N msgoff=N line=N flags=N order=desc cwd=DIR
//   op:N            _zvkSortMerge(N, ...); prints "opN=<SORT-RETURN>"
//   release:N[:L]   N records of the model (length L, default len); prints
//                   "release.refused=<records given status 16>"
//   releasev:LIST   records of these lengths ("996*261,596")
//   return          RETURN to the end: "returned=<count/bytes/digest>"
//   return1         one RETURN: "ret.status= ret.len= ret.text="
//   errno           both names of the error number: "errno=<a>/<b>"
//   stale           spill files of this process and thread, 1000 bytes each
//   rm:PATH         removes a file (the engine, say)
//   restart         the runtime ends (_zvkCOBOLTerm 1) and the program enters again
//   thread          a thread starts a sort, releases, and ends inside it:
//                   "mmapped.delta=<bytes still mapped>"
//   threads         two threads each sort 3000 records through spill files
// It first prints its pid, thread, the program's addresses and the lists'.
#include <malloc.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cobol.h"
#include "kvr2/filemodule.h"
#include "model.h"

namespace {

// The main program and a nested one behind it in the IPCB array; the SORT
// statements are the nested program's.
cobol::Program mainProgram("SORTMAIN", nullptr, 6, 1, 0, 9999, 0, 1);
alignas(16) uint8_t nestedPcb[cobol::pcbo::size];
const char nestedName[] = "SORTNESTEDPGM";

uint16_t sortReturn = 77;
SortVerbBlock block{&sortReturn, 0, 0, 0, nullptr};
SortRecordDesc desc{1, 0, 80, 0};
char fifth[] = "OPTIONS AND MORE ";
uint64_t eighth[3] = {0x1111, 0x2222, 0x3333};

FCB fcbs[4];
FCB* usingFiles[2] = {&fcbs[0], &fcbs[1]};
FCB* givingFiles[2] = {&fcbs[2], &fcbs[3]};
SortFileList usingList{0, 0, usingFiles};
SortFileList givingList{0, 0, givingFiles};

bool descending = false;
uint32_t released = 0;   // the model's index of the next record

int32_t fakeOpen(FCB* fcb, IPCB* element) {
    printf("open fcb=%d mode=%x element=%p\n", static_cast<int>(fcb - fcbs), fcb->openMode, static_cast<void*>(element));
    return 0;
}
int32_t fakeClose(FCB* fcb, IPCB* element) {
    printf("close fcb=%d element=%p\n", static_cast<int>(fcb - fcbs), static_cast<void*>(element));
    return 0;
}

void setUp() {
    memset(nestedPcb, 0, sizeof nestedPcb);
    cobol::put<void*>(nestedPcb, cobol::pcbo::ipcb, mainProgram.ipcb);
    cobol::put<const char*>(nestedPcb, cobol::pcbo::name, nestedName);
    cobol::put<uint32_t>(nestedPcb, cobol::pcbo::nameLength, sizeof nestedName - 1);
    cobol::put<void*>(mainProgram.ipcb + cobol::ipcbo::stride, cobol::ipcbo::pcb, nestedPcb);
    block.program = reinterpret_cast<PCB*>(nestedPcb);
    for (FCB& f : fcbs) {
        memset(&f, 0, sizeof f);
        f.open = fakeOpen;
        f.close = fakeClose;
    }
}

uint16_t releaseOne(uint32_t length) {
    uint8_t data[300000];
    sortmodel::fill(released++, descending, data, length);
    uint16_t status = 0;
    _zvkRelease(length, data, &status);
    return status;
}

std::string returnAll() {
    sortmodel::Digest d;
    std::vector<uint8_t> data(300000);
    for (;;) {
        uint32_t length = 0;
        uint16_t status = 0;
        _zvkReturn(&length, data.data(), &status);
        if (status == 1) break;
        d.add(data.data(), length);
    }
    return d.text();
}

void* sortInThread(void* arg) {
    const int which = static_cast<int>(reinterpret_cast<intptr_t>(arg));
    uint16_t rc = 0;
    SortVerbBlock b{&rc, 0, 0, 0, block.program};
    SortRecordDesc d{1, 0, 100, 0};
    SortFileList none{0, 0, nullptr};
    _zvkSortMerge(ZVK_SORT_START, &b, &d, 0, nullptr, &none, &none, nullptr);
    uint8_t data[100];
    sortmodel::Digest want;
    for (uint32_t i = 0; i < 3000; ++i) {
        sortmodel::fill(i + 10000 * which, false, data, 100);
        want.add(data, 100);
        uint16_t status = 0;
        _zvkRelease(100, data, &status);
    }
    _zvkSortMerge(ZVK_SORT_RUN, &b, &d, 0, nullptr, &none, &none, nullptr);
    return reinterpret_cast<void*>(static_cast<intptr_t>(returnAll() == want.text() && rc == 0));
}

void* sortAndLeave(void*) {
    uint16_t rc = 0;
    SortVerbBlock b{&rc, 0, 0, 0, block.program};
    SortRecordDesc d{1, 0, 100, 0};
    SortFileList none{0, 0, nullptr};
    _zvkSortMerge(ZVK_SORT_START, &b, &d, 0, nullptr, &none, &none, nullptr);
    uint8_t data[100] = {};
    uint16_t status = 0;
    for (int i = 0; i < 5; ++i) _zvkRelease(100, data, &status);
    return nullptr;
}

void spillName(char* out, size_t size, const char* prefix) {
    const char* dir = getenv("TMPDIR");
    snprintf(out, size, "%s/%s%010u.%010u", dir ? dir : ".", prefix, static_cast<unsigned>(getpid()),
             static_cast<unsigned>(static_cast<uint64_t>(pthread_self()) & 0xFFFFFFFFu));
}

void act(const std::string& a) {
    const size_t colon = a.find(':');
    const std::string verb = a.substr(0, colon), arg = colon == std::string::npos ? "" : a.substr(colon + 1);
    if (verb == "op") {
        const int op = std::stoi(arg);
        _zvkSortMerge(op, &block, &desc, 0xF0F0, fifth, &usingList, &givingList, eighth);
        printf("op%d=%u\nfifth.after=[%s]\n", op, sortReturn, fifth);
    } else if (verb == "release" || verb == "releasev") {
        int refused = 0;
        if (verb == "release") {
            const size_t c2 = arg.find(':');
            const uint32_t n = static_cast<uint32_t>(std::stoul(arg.substr(0, c2)));
            const uint32_t length = c2 == std::string::npos ? desc.recordLength : std::stoul(arg.substr(c2 + 1));
            for (uint32_t i = 0; i < n; ++i) refused += releaseOne(length) == 16;
        } else {
            for (uint32_t length : sortmodel::lengths(arg)) refused += releaseOne(length) == 16;
        }
        printf("release.refused=%d\n", refused);
    } else if (verb == "return") {
        printf("returned=%s\n", returnAll().c_str());
    } else if (verb == "return1") {
        uint8_t data[4096];
        memset(data, '#', sizeof data);
        uint32_t length = 0xFFFF;
        uint16_t status = 0;
        _zvkReturn(&length, data, &status);
        std::string text;
        for (uint32_t k = 0; k < length && k < 64; ++k) text += data[k] >= 32 && data[k] < 127 ? char(data[k]) : '~';
        printf("ret.status=%u\nret.len=%u\nret.text=%s\n", status, length, text.c_str());
    } else if (verb == "errno") {
        uint32_t a1 = 0xDEAD, a2 = 0xDEAD;
        const uint32_t r1 = ZVKGETSORTERRNO(&a1), r2 = zvkGetSortErrno(&a2);
        printf("errno=%u/%u/%u/%u\n", a1, r1, a2, r2);
    } else if (verb == "stale") {
        char path[1024];
        for (const char* prefix : {"sortwki.", "sortwko."}) {
            spillName(path, sizeof path, prefix);
            FILE* f = fopen(path, "wb");
            for (int i = 0; f && i < 1000; ++i) fputc('Z', f);
            if (f) fclose(f);
        }
    } else if (verb == "rm") {
        printf("rm=%d\n", unlink(arg.c_str()));
    } else if (verb == "restart") {
        uint32_t rc = 9;
        _zvkCOBOLTerm(1, &rc);
        _zvkPgmInit(mainProgram.p());
        printf("restart=%u\n", rc);
    } else if (verb == "thread") {
        const size_t before = mallinfo2().hblkhd;
        pthread_t t;
        pthread_create(&t, nullptr, sortAndLeave, nullptr);
        pthread_join(t, nullptr);
        printf("mmapped.delta=%zu\n", mallinfo2().hblkhd - before);
    } else if (verb == "threads") {
        pthread_t t[2];
        void* ok[2];
        for (intptr_t i = 0; i < 2; ++i) pthread_create(&t[i], nullptr, sortInThread, reinterpret_cast<void*>(i));
        for (int i = 0; i < 2; ++i) pthread_join(t[i], &ok[i]);
        printf("threads.ok=%d%d\n", ok[0] != nullptr, ok[1] != nullptr);
    } else if (verb == "fmt") {
        desc.recordFormat = std::stoul(arg);
    } else if (verb == "len") {
        desc.recordLength = std::stoul(arg);
    } else if (verb == "using") {
        usingList.count = std::stoul(arg);
    } else if (verb == "giving") {
        givingList.count = std::stoul(arg);
    } else if (verb == "msgoff") {
        block.messageOff = std::stoul(arg);
    } else if (verb == "line") {
        block.lineNumber = std::stoul(arg);
    } else if (verb == "flags") {
        block.engineFlags = std::stoul(arg);
    } else if (verb == "order") {
        descending = arg == "desc";
    } else if (verb == "cwd") {
        if (chdir(arg.c_str()) != 0) printf("chdir failed\n");
    } else {
        printf("unknown action %s\n", a.c_str());
    }
    fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    setUp();
    _zvkPgmInit(mainProgram.p());
    printf("pid=%d\ntid=%u\nprogram=%p\nelement=%p\nusing=%p\ngiving=%p\n", getpid(),
           static_cast<unsigned>(static_cast<uint64_t>(pthread_self()) & 0xFFFFFFFFu), static_cast<void*>(nestedPcb),
           static_cast<void*>(mainProgram.ipcb + cobol::ipcbo::stride), static_cast<void*>(usingFiles),
           static_cast<void*>(givingFiles));
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        // settings are written key=value, actions verb:arg
        const size_t eq = a.find('=');
        if (eq != std::string::npos && a.find(':') == std::string::npos) a[eq] = ':';
        act(a);
    }
    _zvkPgmTerm(mainProgram.p());
    return 0;
}
