// Scenario programs for the run-unit frame, each run in a process of its
// own by frame_test.  They call the library exactly as compiled programs
// and hosts do, and print on stdout what the test needs to see.

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "cobol.h"

using cobol::Program;

namespace {

void show(const char* what, const void* p) { printf("%s=%p\n", what, p); }
void showInt(const char* what, long v) { printf("%s=%ld\n", what, v); }

void subBody() {}

// Main and called program enter, register and exit.
int enter() {
    static Program mainPgm("DEMOMAIN", reinterpret_cast<void*>(&enter));
    static Program sub("SUBPGM", reinterpret_cast<void*>(&subBody));
    COBOL_MAIN(mainPgm, {
        Proccom* pc = _zvkProccom;
        Runcom* ru = pc->runcom;
        showInt("pid", getpid());
        show("proccom", pc);
        show("runcom", ru);
        show("plle", ru->plle);
        show("pcb", mainPgm.p());
        show("jmp", &ru->jmp);
        show("subpcb", sub.p());
        showInt("id", ru->id);
        showInt("mainflag", (mainPgm.flag() & 0x80000000u) ? 1 : 0);
        showInt("main.lle.set", mainPgm.lle() != nullptr);
        showInt("main.upsi.ok", mainPgm.upsi() == ru->upsi);
        showInt("main.pgmword.ok", mainPgm.pgmWord() == &pc->pgmWord);
        showInt("main.back.ok", mainPgm.backPointer() == mainPgm.p());
        showInt("main.ent", mainPgm.ent());
        showInt("active", ru->active);
        cobol::call(sub, [&] {
            showInt("sub.ent", sub.ent());
            showInt("sub.flagmain", (sub.flag() & 0x80000000u) ? 1 : 0);
            showInt("sub.lle.set", sub.lle() != nullptr);
            showInt("sub.upsi.ok", sub.upsi() == ru->upsi);
            showInt("sub.back.ok", sub.backPointer() == sub.p());
            showInt("active.in.sub", ru->active);
            // CHECK and DEBUG come from the options (both on by default).
            showInt("sub.checkdebug", (sub.flag() & 0x0A000000u) == 0x0A000000u);
        });
        showInt("sub.ent.after", sub.ent());
        void* firstLle = sub.lle();
        cobol::call(sub, [] {});
        showInt("sub.lle.same", sub.lle() == firstLle);
        showInt("active.after", ru->active);
    });
    showInt("main.lle.after", mainPgm.lle() != nullptr);
    showInt("mainflag.after", (mainPgm.flag() & 0x80000000u) ? 1 : 0);
    showInt("runcom.after", _zvkProccom->runcom != nullptr);
    return 0;
}

// A second run unit takes the Runcom back from the free list.
int reuse() {
    static Program first("FIRST", reinterpret_cast<void*>(&reuse));
    static Program second("SECOND", reinterpret_cast<void*>(&reuse));
    Runcom* firstRu = nullptr;
    COBOL_MAIN(first, {
        firstRu = _zvkProccom->runcom;
        showInt("first.id", firstRu->id);
        firstRu->upsi[0] = '1';
        firstRu->errCount = 1;
        firstRu->century = 50;
        firstRu->randomSeed = 99;
        firstRu->context = 77;
    });
    Proccom* pc = _zvkProccom;
    showInt("free.is.first", pc->freeru == firstRu);
    showInt("cache.before", pc->cache);
    // The second main's prologue, inspected before the epilogue is armed.
    _zvkPgmInit(second.p());
    Runcom* ru = pc->runcom;
    showInt("same.record", ru == firstRu);
    showInt("second.id", ru->id);
    static const uint8_t zero[sizeof(sigjmp_buf)] = {};
    showInt("jmp.cleared", memcmp(&ru->jmp, zero, sizeof zero) == 0);
    showInt("context", static_cast<long>(ru->context));
    printf("upsi=%.8s\n", reinterpret_cast<const char*>(ru->upsi));
    showInt("errcount", ru->errCount);
    showInt("century", ru->century);
    showInt("seed", ru->randomSeed);
    showInt("cache.after", pc->cache);
    showInt("global.plle", pc->plle != nullptr);
    showInt("plle.parent.ok", ru->plle && *reinterpret_cast<void**>(ru->plle) == pc->plle);
    showInt("second.main", (second.flag() & 0x80000000u) ? 1 : 0);
    volatile int v = sigsetjmp(*_zvkGetJmpBuffer(), 1);
    if (v == 0) _zvkRunUnitTerm(0);   // STOP RUN
    printf("epilogue %d\n", v);
    _zvkPgmTerm(second.p());
    return 0;
}

// Year windows of programs of several compiler versions.
int yearWindows() {
    static Program cur("CURWIN", reinterpret_cast<void*>(&yearWindows), 6, 1, 0, -30);
    static Program old("OLDWIN", reinterpret_cast<void*>(&yearWindows), 6, 1, 0, -200);
    static Program base("BASEWIN", reinterpret_cast<void*>(&yearWindows), 6, 1, 0, 1900);
    static Program early("EARLY", reinterpret_cast<void*>(&yearWindows), 2, 1, 9, -200);
    static Program v510("V510", reinterpret_cast<void*>(&yearWindows), 5, 1, 0);
    static Program v511("V511", reinterpret_cast<void*>(&yearWindows), 5, 1, 1);
    COBOL_MAIN(cur, {
        showInt("cur.window", cur.yearWindow());
        cobol::call(old, [] {});
        showInt("old.window", old.yearWindow());
        cobol::call(base, [] {});
        showInt("base.window", base.yearWindow());
        cobol::call(early, [] {});
        showInt("early.window", early.yearWindow());
        cobol::call(v510, [] {});
        showInt("v510.pgmword", v510.pgmWord() != nullptr);
        cobol::call(v511, [] {});
        showInt("v511.pgmword", v511.pgmWord() == &_zvkProccom->pgmWord);
        showInt("year", _zvkProccom->currentYear);
    });
    return 0;
}

// Messages of each severity and control bit, as argv[2] says.
int message(const char* which) {
    static Program pgm("MSGPGM", reinterpret_cast<void*>(&message));
    std::string w = which;
    COBOL_MAIN(pgm, {
        if (w == "warning") {
            _zvkWriteERRmsg(171, 0x400, "FOO");
        } else if (w == "severe") {
            _zvkWriteERRmsg(907, 0);
        } else if (w == "critical") {
            ZVKABEND();
        } else if (w == "info-critical") {
            _zvkWriteERRmsg(901, 0x1000);
        } else if (w == "forced-severe") {
            _zvkWriteERRmsg(171, 0x0800, "FOO");
        } else if (w == "no-traceback") {
            _zvkWriteERRmsg(907, 0x0400);
        } else if (w == "variant") {
            _zvkWriteERRmsg(230, 1, "TQX-1140", "es_ES");
        } else if (w == "unknown-number") {
            _zvkWriteERRmsg(4242, 0);
        } else if (w == "wide-number") {
            _zvkWriteERRmsg(1001, 0x1000, "LC_TIME", "xx_YY");
        } else if (w == "errcount") {
            for (int i = 1; i <= 3; ++i) {
                _zvkWriteERRmsg(171, 0x400, "FOO");
                printf("after %d\n", i);
                fflush(stdout);
            }
        } else if (w == "string") {
            char buf[200];
            memset(buf, '#', sizeof buf);
            uint32_t rc = _zvkWriteERRmsg(240, 0x2000, buf, uint64_t(sizeof buf), "PGM", -200, 1826);
            printf("rc=%u text=[%s]\n", rc, buf);
            char small[21];
            memset(small, '#', sizeof small);
            _zvkWriteERRmsg(240, 0x2000, small, uint64_t(sizeof small), "PGM", -200, 1826);
            printf("small=[%s] len=%zu\n", small, strlen(small));
            // A severe text in string mode is only text: nothing ends.
            _zvkWriteERRmsg(907, 0x2000, buf, uint64_t(sizeof buf));
            printf("severe=[%s]\n", buf);
            // The message stream is not left locked: another thread can
            // still write on it.
            pthread_t t;
            pthread_create(
                &t, nullptr,
                [](void*) -> void* {
                    fputs("other thread writes\n", stderr);
                    return nullptr;
                },
                nullptr);
            pthread_join(t, nullptr);
        } else if (w == "mod-rem-char-ord") {
            _Dmr_issue_Mod_ErrMsg();
            _Dmr_issue_Rem_ErrMsg();
            _Dmr_char_msg();
            _Dmr_ord_msg();
        }
        printf("continued\n");
        fflush(stdout);
    });
    return 0;
}

// Wrapping at a width set in the record.
int wrap(const char* width) {
    static Program pgm("WRAPPGM", reinterpret_cast<void*>(&wrap));
    COBOL_MAIN(pgm, {
        if (atoi(width) > 0) _zvkProccom->winStderr.ws_col = static_cast<unsigned short>(atoi(width));
        _zvkWriteERRmsg(173, 0x400, "0101010101010101", "UPSI", 8, "01");
        _zvkWriteERRmsg(172, 0x400, "A_VERY_LONG_VALUE_WITHOUT_ANY_BLANKS_AT_ALL_IN_IT_REALLY", "FILESYS");
    });
    return 0;
}

// Messages under a transaction monitor: one host call per line, and the
// abort of the task jumps back to its epilogue.
int txmn() {
    static Program task("TASK", reinterpret_cast<void*>(&txmn));
    _zvk_cpm_init(host::msg, 0x1234);
    printf("txmn=%u\n", _zvkProccom->txmn);
    COBOL_MAIN(task, {
        _zvkProccom->winStderr.ws_col = 40;
        _zvkWriteERRmsg(173, 0x400, "0101010101010101", "UPSI", 8, "01");
        _zvkWriteERRmsg(907, 0);
        printf("not reached\n");
    });
    return 0;
}

// A host that gave its routines through _zvkCOBOLInit1: one call per
// message, and on abort its abrt routine and exit with the status.
int hostRoutines() {
    static Program pgm("HOSTED", reinterpret_cast<void*>(&hostRoutines));
    uint32_t rc = 99;
    _zvkCOBOLInit1(1, host::stop, &rc, 0xABC, host::msg, host::abrt, 7);
    printf("rc=%u\n", rc);
    COBOL_MAIN(pgm, {
        _zvkWriteERRmsg(171, 0x400, "FOO");
        _zvkWriteERRmsg(907, 0);
    });
    printf("not reached\n");
    return 0;
}

// Host stop routine at STOP RUN: called with its token, then exit(status).
int hostStop() {
    static Program pgm("HOSTSTOP", reinterpret_cast<void*>(&hostStop));
    uint32_t rc = 99;
    _zvkCOBOLInit(1, host::stop, &rc, 0x5150);
    printf("rc=%u main.wrapper=%d\n", rc, _zvkProccom->runcom->main == RUNCOM_MAIN_WRAPPER);
    fflush(stdout);
    COBOL_MAIN(pgm, { _zvkRunUnitTerm(42); });
    printf("not reached\n");
    return 0;
}

// STOP RUN from a called program reaches the main's epilogue.
int stopRun(const char* status) {
    static Program mainPgm("STOPMAIN", reinterpret_cast<void*>(&stopRun));
    static Program sub("STOPSUB", reinterpret_cast<void*>(&subBody));
    int st = atoi(status);
    COBOL_MAIN(mainPgm, {
        cobol::call(sub, [st] { _zvkRunUnitTerm(st); });
        printf("not reached\n");
    });
    showInt("main.ent", mainPgm.ent());
    showInt("sub.ent", sub.ent());
    showInt("mainflag", (mainPgm.flag() & 0x80000000u) ? 1 : 0);
    return 0;
}

// Contention on enterMutex shows the trylock line.
int contention() {
    static Program pgm("LOCKPGM", reinterpret_cast<void*>(&contention));
    COBOL_MAIN(pgm, {
        _zvkPgmEnterLock(pgm.i());
        pthread_t t;
        pthread_create(
            &t, nullptr,
            [](void*) -> void* {
                _zvkPgmEnterLock(pgm.i());
                _zvkPgmEnterUnlock();
                return nullptr;
            },
            nullptr);
        usleep(200000);
        _zvkPgmEnterUnlock();
        pthread_join(t, nullptr);
        showInt("ent", pgm.ent());
    });
    return 0;
}

// Host start-up entries and their return codes.
int hostInit() {
    uint32_t rc = 99;
    _zvkCOBOLInit(7, nullptr, &rc, 0);
    showInt("init7.rc", rc);
    rc = 99;
    _zvkCOBOLHostInit(&rc);
    showInt("hostinit.rc", rc);
    showInt("preinit", (_zvkProccom->flags & 0x02) ? 1 : 0);
    showInt("cache", _zvkProccom->cache);
    rc = 99;
    _zvkCOBOLInit1(2, nullptr, &rc, 0, nullptr, nullptr, 0);
    showInt("init1.bad.rc", rc);
    rc = 99;
    _zvkCOBOLInit(10, nullptr, &rc, 0x77);
    showInt("init10.rc", rc);
    showInt("context", static_cast<long>(_zvkProccom->freeru->context));
    return 0;
}

// The monitor's end of a task (a STOP RUN that lands in the task's
// epilogue) and its cancel (the run unit ends and the task goes on), and
// the upper-case names of the host entries.
int monitorEnds(const char* which) {
    static Program task("TASK", reinterpret_cast<void*>(&monitorEnds));
    std::string w = which;
    uint32_t rc = 99;
    if (w == "names") {
        ZVKCOBOLINIT(7, nullptr, &rc, 0);
        showInt("init.rc", rc);
        rc = 99;
        ZVKCOBOLTERM(5, &rc);
        showInt("term.rc", rc);
        ZVKABORT();
        return 0;
    }
    _zvk_cpm_init(host::msg, 0x99);
    COBOL_MAIN(task, {
        if (w == "exit") _zvk_cpm_exit();
        if (w == "cancel") _zvk_cpm_cancel();
        printf("after %s\n", which);
    });
    showInt("runcom.after", _zvkProccom->runcom != nullptr);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    std::string s = argv[1];
    const char* arg = argc > 2 ? argv[2] : "";
    int rc = 2;
    if (s == "enter") rc = enter();
    else if (s == "reuse") rc = reuse();
    else if (s == "yearwindow") rc = yearWindows();
    else if (s == "message") rc = message(arg);
    else if (s == "wrap") rc = wrap(arg);
    else if (s == "txmn") rc = txmn();
    else if (s == "host") rc = hostRoutines();
    else if (s == "hoststop") rc = hostStop();
    else if (s == "stoprun") rc = stopRun(arg);
    else if (s == "contention") rc = contention();
    else if (s == "hostinit") rc = hostInit();
    else if (s == "monitor") rc = monitorEnds(arg);
    fflush(stdout);
    return rc;
}
