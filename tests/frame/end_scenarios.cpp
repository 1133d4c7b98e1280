// Scenario programs for dynamic CALL, CANCEL, signals and the ways a run
// unit ends.  Each runs in a process of its own (end_test) and prints on
// stdout what the test looks at.

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "cobol.h"

using cobol::Program;

namespace {

using Entry = int (*)(void);

using cobol::dynamicCall;

int32_t cancel(const char* name, PCB* caller) {
    std::string n = name;
    return _zvkCancel(nullptr, static_cast<int64_t>(n.size()), reinterpret_cast<uint8_t*>(n.data()), caller);
}

// Is the shared object of this program still loaded?
bool loaded(const char* file) { return cobol::loaded(std::string(getenv("COBPATH")) + "/" + file); }

void say(const char* text) {
    printf("%s\n", text);
    fflush(stdout);
}

void subBody() {}

// CALL, CANCEL and the load list along COBPATH.
int dynCall() {
    static Program mainPgm("DYNMAIN", reinterpret_cast<void*>(&dynCall));
    static Program folding("FOLDER", reinterpret_cast<void*>(&subBody), 6, 1, 0, 9999, 0x01000000u);
    COBOL_MAIN(mainPgm, {
        Entry suba = dynamicCall("SUBA", mainPgm.p());
        printf("found=%d\n", suba != nullptr);
        suba();
        suba();
        // the same program by a name with trailing blanks and zero bytes
        Entry again = dynamicCall(std::string("SUBA  \0 ", 8), mainPgm.p());
        printf("same=%d\n", again == suba);
        again();
        printf("cancel=%d\n", cancel("SUBA", mainPgm.p()));
        suba();   // fresh WORKING-STORAGE after CANCEL
        printf("cancel.unknown=%d\n", cancel("NOSUCHPGM", mainPgm.p()));
        printf("cancel.blank=%d\n", cancel("   ", mainPgm.p()));
        // a program found under another name than its object's: main
        Entry alias = dynamicCall("ALIAS", mainPgm.p());
        printf("alias=%d\n", alias ? alias() : -1);
        // ON EXCEPTION: the count goes up, no message
        uint32_t failures = 1;
        Entry none = dynamicCall("NOSUCHPGM", mainPgm.p(), &failures);
        printf("missing=%d\nmissing.failures=%u\n", none != nullptr, failures);
        // folding, when the caller's PCB asks
        cobol::call(folding, [&] {
            Entry lower = dynamicCall("suba", folding.p());
            printf("folded=%d\n", lower == suba);
        });
        failures = 1;
        Entry unfolded = dynamicCall("suba", mainPgm.p(), &failures);
        printf("unfolded=%d\nunfolded.failures=%u\n", unfolded != nullptr, failures);
        // a name cut at 160 bytes
        std::string longName = "SUBA" + std::string(156, ' ') + "X";
        Entry cut = dynamicCall(longName, mainPgm.p());
        printf("cut=%d\n", cut == suba);
        printf("loaded.during=%d\n", loaded("SUBA.so"));
    });
    printf("loaded.after=%d\n", loaded("SUBA.so"));
    return 0;
}

// A CALL that fails without ON EXCEPTION: message 96, run unit ends.
int dynFail(const char* name) {
    static Program mainPgm("FAILMAIN", reinterpret_cast<void*>(&dynFail));
    COBOL_MAIN(mainPgm, {
        dynamicCall(name, mainPgm.p());
        say("not reached");
    });
    return 0;
}

// CANCEL of the program that is running: it stays as it is.
int cancelActive() {
    static Program mainPgm("CANMAIN", reinterpret_cast<void*>(&cancelActive));
    static Program sub("CANSUB", reinterpret_cast<void*>(&subBody));
    COBOL_MAIN(mainPgm, {
        cobol::call(sub, [&] {
            cobol::put<uint32_t>(sub.ipcb, cobol::ipcbo::status, 0xC0000001u);
            printf("cancel.active=%d\n", cancel("CANSUB", mainPgm.p()));
            printf("status.kept=%x\nent=%d\n", cobol::get<uint32_t>(sub.ipcb, cobol::ipcbo::status), sub.ent());
        });
        printf("cancel.inactive=%d\n", cancel("CANSUB", mainPgm.p()));
        printf("status.reset=%x\nlle=%d\n", cobol::get<uint32_t>(sub.ipcb, cobol::ipcbo::status),
               sub.lle() != nullptr);
        // a nested program, by the caller's table of names
        alignas(8) static uint8_t names[4 + 12 + 8];
        cobol::put<int32_t>(names, 0, 1);
        cobol::put<int32_t>(names, 4, 1);    // IPCB element 1
        cobol::put<int32_t>(names, 8, 6);    // name length
        cobol::put<int32_t>(names, 12, 0);   // offset
        memcpy(names + 16, "INNER1", 6);
        cobol::put<int32_t>(mainPgm.ipcb, cobol::ipcbo::nested, 1);
        cobol::put<int32_t>(mainPgm.ipcb, cobol::ipcbo::stride + cobol::ipcbo::ent, 0);
        cobol::put<uint32_t>(mainPgm.ipcb, cobol::ipcbo::stride + cobol::ipcbo::status, 0xC0000000u);
        uint8_t inner[] = "INNER1";
        int32_t r = _zvkCancel(reinterpret_cast<int32_t*>(names), 6, inner, mainPgm.p());
        printf("cancel.nested=%d\nstatus=%x\n", r,
               cobol::get<uint32_t>(mainPgm.ipcb, cobol::ipcbo::stride + cobol::ipcbo::status));
        // and CALL of it gives the address from the caller's own table
        uint64_t entries[1] = {0x1234};
        void* rec = _zvkDynLd(reinterpret_cast<int32_t*>(names), 6, inner, mainPgm.p(), entries, nullptr);
        printf("nested.entry=%llx\n", static_cast<unsigned long long>(*static_cast<uint64_t*>(rec)));
        cobol::put<int32_t>(mainPgm.ipcb, cobol::ipcbo::nested, 0);
    });
    return 0;
}

// Run units one after another, with or without the process-wide cache.
int cacheRuns() {
    static Program first("CACHE1", reinterpret_cast<void*>(&cacheRuns));
    static Program second("CACHE2", reinterpret_cast<void*>(&cacheRuns));
    Entry e1 = nullptr, e2 = nullptr;
    COBOL_MAIN(first, {
        e1 = dynamicCall("SUBA", first.p());
        e1();
        e1();
    });
    printf("cache=%u\n", _zvkProccom->cache);
    printf("loaded.between=%d\n", loaded("SUBA.so"));
    COBOL_MAIN(second, {
        e2 = dynamicCall("SUBA", second.p());
        e2();   // a new run unit: WORKING-STORAGE starts afresh
        printf("unload=%d\n", ZVK_CPM_UNLOAD("SUBA"));
        printf("loaded.unloaded=%d\n", loaded("SUBA.so"));
        Entry e3 = dynamicCall("SUBA", second.p());   // loaded again
        printf("reloaded=%d\n", e3 != nullptr);
        if (e3) e3();
        ZVK_CPM_STATS();
    });
    printf("loaded.end=%d\n", loaded("SUBA.so"));
    return 0;
}

// STOP RUN in a dynamically called program.
int stopFromDynamic() {
    static Program mainPgm("DSTOPMAIN", reinterpret_cast<void*>(&stopFromDynamic));
    COBOL_MAIN(mainPgm, {
        Entry e = dynamicCall("SUBSTOP", mainPgm.p());
        e();
        say("not reached");
    });
    printf("main.ent=%d\nmainflag=%d\n", mainPgm.ent(), (mainPgm.flag() & 0x80000000u) ? 1 : 0);
    printf("runcom=%d\nloaded=%d\n", _zvkProccom->runcom != nullptr, loaded("SUBSTOP.so"));
    return 0;
}

int* volatile nowhere = nullptr;   // opaque to the optimiser
// The faults are the program's own: not caught earlier by the sanitizers.
__attribute__((noinline, no_sanitize("undefined"))) void crashSegv() { *nowhere = 1; }

__attribute__((noinline, no_sanitize("undefined"))) int crashFpe(int d) {
    volatile int divisor = d;
    return 100 / divisor;
}

volatile int depthLimit = 1 << 30;   // never reached: the stack ends first
__attribute__((noinline)) int recurse(int n) {
    volatile char frame[512];
    frame[0] = static_cast<char>(n);
    if (n >= depthLimit) return 0;
    return recurse(n + 1) + frame[0];
}

// A fault inside a called program.
int fault(const char* kind) {
    static Program mainPgm("FAULTMAIN", reinterpret_cast<void*>(&fault));
    static Program sub("FAULTSUB", reinterpret_cast<void*>(&crashSegv));
    std::string k = kind;
    COBOL_MAIN(mainPgm, {
        cobol::call(sub, [&] {
            say("faulting");
            if (k == "segv") crashSegv();
            if (k == "fpe") printf("%d\n", crashFpe(0));
            if (k == "abort") _zvkAbort(0);
            if (k == "overflow") printf("%d\n", recurse(0));
        });
        say("not reached");
    });
    return 0;
}

// Signals that do not end the run.
int harmless() {
    static Program mainPgm("SIGMAIN", reinterpret_cast<void*>(&harmless));
    COBOL_MAIN(mainPgm, {
        raise(SIGUSR1);
        say("after usr1");
        int fds[2];
        if (pipe(fds) == 0) {
            close(fds[0]);
            ssize_t w = write(fds[1], "x", 1);
            printf("write=%zd\nepipe=%d\n", w, errno == EPIPE);
            close(fds[1]);
        }
        struct sigaction sa;
        sigaction(SIGSEGV, nullptr, &sa);
        printf("segv.ours=%d\n", sa.sa_sigaction == default_sigrtn);
    });
    struct sigaction sa;
    sigaction(SIGSEGV, nullptr, &sa);
    printf("segv.after=%d\n", sa.sa_handler == SIG_DFL);
    sigaction(SIGPIPE, nullptr, &sa);
    printf("pipe.after=%d\n", sa.sa_handler == SIG_DFL);
    return 0;
}

// A host with routines: CleanUp ends with its stop routine and status 6; a
// fault ends with its abort routine.
int hostEnd(const char* how) {
    static Program pgm("HOSTPGM", reinterpret_cast<void*>(&hostEnd));
    std::string h = how;
    uint32_t rc = 9;
    _zvkCOBOLInit1(1, host::stop, &rc, 0xFEED, host::msg, host::abrt, 3);
    COBOL_MAIN(pgm, {
        if (h == "cleanup") _zvkCleanUp();
        if (h == "segv") crashSegv();
        if (h == "term") {
            uint32_t trc = 9;
            _zvkCOBOLTerm(1, &trc);
            printf("term.rc=%u proccom=%d\n", trc, _zvkProccom != nullptr);
            fflush(stdout);
            exit(0);
        }
    });
    say("not reached");
    return 0;
}

// Nested run units under a host: a link starts a run unit inside the
// running one, which resumes when the inner one ends.
int nested(const char* how) {
    static Program outer("OUTERPGM", reinterpret_cast<void*>(&nested));
    static Program inner("INNERPGM", reinterpret_cast<void*>(&subBody));
    std::string h = how;
    COBOL_MAIN(outer, {
        Runcom* ru1 = _zvkProccom->runcom;
        printf("ru1=%p\n", static_cast<void*>(ru1));
        _zvkCOBOLLink();
        Runcom* ru2 = _zvkProccom->runcom;
        printf("ru2=%p\nparent.ok=%d\n", static_cast<void*>(ru2), ru2->parent == ru1);
        fflush(stdout);
        if (h == "term") {
            _zvkPgmInit(inner.p());
            uint32_t rc = 9;
            _zvkCOBOLTerm(1, &rc);   // ends both, innermost first
            printf("term rc=%u proccom=%d\n", rc, _zvkProccom != nullptr);
            fflush(stdout);
            _exit(0);
        }
        COBOL_MAIN(inner, { say("inner body"); });
        printf("resumed=%d\n", _zvkProccom->runcom == ru1);
    });
    printf("runcom.end=%d\n", _zvkProccom->runcom != nullptr);
    return 0;
}

// Core files: ZVKDUMP with the limit raised (or not).
int dump(const char* limit) {
    static Program pgm("DUMPPGM", reinterpret_cast<void*>(&dump));
    struct rlimit rl;
    getrlimit(RLIMIT_CORE, &rl);
    rl.rlim_cur = std::string(limit) == "0" ? 0 : rl.rlim_max;
    setrlimit(RLIMIT_CORE, &rl);
    COBOL_MAIN(pgm, { printf("dump=%d\npid=%d\n", ZVKDUMP(), getpid()); });
    return 0;
}

// Two threads call programs while run units start and end.
int threads(const char* rounds) {
    static Program mainA("THRA", reinterpret_cast<void*>(&threads));
    static Program mainB("THRB", reinterpret_cast<void*>(&threads));
    static Program sub("THRSUB", reinterpret_cast<void*>(&subBody));
    static pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 2);
    struct Arg {
        Program* self;
        int rounds;
    };
    auto worker = [](void* p) -> void* {
        Arg* a = static_cast<Arg*>(p);
        for (int r = 0; r < a->rounds; ++r) {
            // Whichever thread comes first starts the run unit and is its main.
            _zvkPgmInit(a->self->p());
            pthread_barrier_wait(&barrier);
            for (int i = 0; i < 20; ++i) {
                cobol::call(sub, [] {});
                uint32_t failures = 1;
                auto plain = cobol::dynamicCall<const char* (*)(void)>("EVA", a->self->p(), &failures);
                if (plain && strcmp(plain(), "EVA") != 0) printf("wrong program\n");
            }
            // The other program leaves first; then the main ends the run
            // unit, which does not wait for threads still in it.
            const bool isMain = a->self->flag() & 0x80000000u;
            if (!isMain) _zvkPgmExit(a->self->i());
            pthread_barrier_wait(&barrier);
            if (isMain) _zvkPgmTerm(a->self->p());
            pthread_barrier_wait(&barrier);
        }
        return nullptr;
    };
    Arg a{&mainA, atoi(rounds)}, b{&mainB, atoi(rounds)};
    pthread_t ta, tb;
    pthread_create(&ta, nullptr, worker, &a);
    pthread_create(&tb, nullptr, worker, &b);
    pthread_join(ta, nullptr);
    pthread_join(tb, nullptr);
    printf("runs=%u runcom=%d\n", _zvkProccom->runUnitCount, _zvkProccom->runcom != nullptr);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    std::string s = argv[1];
    const char* arg = argc > 2 ? argv[2] : "";
    int rc = 2;
    if (s == "dyncall") rc = dynCall();
    else if (s == "dynfail") rc = dynFail(arg);
    else if (s == "cancel") rc = cancelActive();
    else if (s == "cache") rc = cacheRuns();
    else if (s == "stopdyn") rc = stopFromDynamic();
    else if (s == "fault") rc = fault(arg);
    else if (s == "harmless") rc = harmless();
    else if (s == "host") rc = hostEnd(arg);
    else if (s == "nested") rc = nested(arg);
    else if (s == "dump") rc = dump(arg);
    else if (s == "threads") rc = threads(arg);
    fflush(stdout);
    return rc;
}
