// The ends of a run unit and of the runtime.  Every way out (a main's
// return, STOP RUN, a host's call, a fatal message, the unloading of the
// library) meets in RunUnitTerm, and TermCobolRte ends the runtime.

#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <unistd.h>

#include "frame/messages.h"
#include "frame/programs.h"
#include "frame/rununit.h"
#include "frame/signals.h"
#include "frame/storage.h"
#include "frame/threads.h"
#include "frame/hashtable.h"
#include "frame/devices.h"
#include "frame/hooks.h"
#include "frame/termination.h"
#include "kvr2/programs.h"
#include "kvr2/rununit.h"

namespace {

// Set while TermCobolRte runs: a nested end of the runtime (from a run
// unit it is ending, or from exit() called by a host's routine inside it,
// which runs the destructor) must not free the records a second time.
bool terminatingRuntime = false;

void unlockRunUnitMutex() { pthread_mutex_unlock(&runUnitMutex); }

int nameOf(const PCB* pcb, const char** name) {
    if (pcb && pcb != RUNCOM_MAIN_WRAPPER && pcb->name) {
        *name = pcb->name;
        return static_cast<int>(pcb->nameLength);
    }
    *name = "";
    return 0;
}

void syncUnder(FILE* f) {
    flockfile(f);
    fflush(f);
    fdatasync(fileno(f));
    funlockfile(f);
}

// Resets every program of the run unit to its initial state: no entries,
// not main, not registered, files closed without USE procedures.
void resetPrograms(Runcom* ru) {
    HashTable* t = ru->plle;
    for (HashEntry* e = HashTable_Next(t, nullptr); e; e = HashTable_Next(t, e)) {
        // Programs that came through the process-wide cache are this run
        // unit's as much as those it loaded itself.
        LLE* lle = static_cast<LLE*>(HashEntry_Value(e));
        if (!lle || !lle->pcb || !lle->pcb->ipcb) continue;
        IPCB* ipcb = lle->pcb->ipcb;
        int n = ipcb[0].nested + 1;
        for (int i = 0; i < n; ++i) {
            ipcb[i].ent = 0;
            ipcb[i].status &= ~0x40000000u;
            PCB* p = ipcb[i].pcb;
            if (p) {
                p->flag &= ~PCB_FLAG_MAIN;
                p->lle = nullptr;
            }
        }
        for (int i = 0; i < n; ++i) zvkCloseProgramFiles(&ipcb[i], false);
        lle->pcb = nullptr;
    }
}

void clearTable(HashTable* t, const char* title) {
    if (!t) return;
    if (zvkDebug() && !HashTable_IsEmpty(t)) {
        fputs(title, stderr);
        HashTable_Dump(t);
    }
    HashTable_Clear(t);
}

void destroyRuncom(Runcom* ru, bool freeSignals) {
    HashTable_Destroy(ru->externalFiles);
    HashTable_Destroy(ru->externalVars);
    HashTable_Destroy(ru->plle);
    if (freeSignals) free(ru->signals);
    free(ru);
}

}  // namespace

extern "C" {

void RunUnitTerm(uint32_t reason, uint32_t status) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    Runcom* ru = zvkActingRunUnit();
    if (!ru) return;
    if (pc->debug)
        zvkTrace("RunUnitTerm: PID %d Proccom @%p Runcom @%p  PLLE @%p  reason=%d  signal=%u  abort=%u  stop=@%p  "
                 "abrt=@%p  jmp=@%p  txmn=%d  ru_term %d\n",
                 pc->pid, (void*)pc, (void*)ru, (void*)ru->plle, reason, (pc->flags & PROC_FLAG_SIGNAL) ? 1u : 0u,
                 (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u, (void*)ru->stop, (void*)ru->abrt, (void*)&ru->jmp,
                 pc->txmn, (ru->flags & RU_FLAG_RU_TERM) ? 1 : 0);
    ru->flags |= RU_FLAG_RU_TERM;

    zvkLockMt(&runUnitMutex);
    // Nothing current (or only a record already on the free list): there
    // is no run unit left to end.  The lock is given back so that the next
    // program start in this thread does not wait on itself.
    if (!pc->runcom || ru != pc->runcom) {
        zvkUnlockMt(&runUnitMutex);
        return;
    }
    if (!pc->txmn) pc->abortHook = unlockRunUnitMutex;

    if (ru->plle) {
        resetPrograms(ru);
        zvkUnloadRunUnitPrograms(ru);
    }
    if (!pc->msgs) syncUnder(stderr);
    if (!pc->sysout && !pc->conOut) syncUnder(stdout);
    // Blocks tracked for this run unit go with it, also when tracking was
    // switched off in the meantime (the runtime's end does that first).
    if ((pc->flags & PROC_FLAG_TRACKING) || ru->storage) zvkTrackedFreeAll(ru);

    clearTable(ru->externalFiles, "External Files\n");
    clearTable(ru->externalVars, "External Variables\n");
    clearTable(ru->plle, "External Programs - RunUnit PLLE\n");
    if (pc->debug && pc->plle && !HashTable_IsEmpty(pc->plle)) {
        fputs("External Programs - Global PLLE\n", stderr);
        HashTable_Dump(pc->plle);
    }

    pc->abortHook = nullptr;
    zvkUnlockMt(&runUnitMutex);

    zvkHostStop stop = ru->stop, abrt = ru->abrt;
    uint64_t token = ru->token;
    if (pc->txmn) {
        pc->txmn--;
        ru->msg = nullptr;
    }

    Runcom* parent = ru->parent;
    ru->link = pc->freeru;
    pc->freeru = ru;

    if (parent) {
        pc->runcom = parent;
        ru->parent = nullptr;
        if (pc->debug) {
            const char* name;
            int n = nameOf(parent->main, &name);
            zvkTrace("RunUnitTerm: %p Resuming prior Run Unit... PID %d Proccom @%p Runcom @@%p txmn %d  Name: %*.*s\n",
                     (void*)ru, pc->pid, (void*)pc, (void*)parent, pc->txmn, n, n, name);
        }
    } else {
        pc->runcom = nullptr;
        if (reason == 6) {
            ru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);
            if (pc->debug) zvkTrace("RunUnitTerm: %p returning due to Fini\n", (void*)ru);
            return;
        }
        if (reason == 2) {
            if (!terminatingRuntime) {
                TermCobolRte(2);
                return;   // the records are gone
            }
        } else if (pc->cache != 1) {
            _zvk_cpm_destroy();
        }
    }

    if (!(pc->flags & PROC_FLAG_SIGNAL) && (ru->flags & RU_FLAG_SIG)) {
        ru->flags &= static_cast<uint8_t>(~RU_FLAG_SIG);
        zvkSignalRestore(ru);
    }

    if (reason > 2) {
        ru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);
        if (reason == 5 && abrt) {
            abrt(token);
            exit(static_cast<int>(status));
        }
        if (stop) {
            stop(token);
            exit(static_cast<int>(status));
        }
        if (pc->debug) zvkTrace("RunUnitTerm: returning due to %d\n", reason);
        return;
    }
    if (pc->debug) zvkTrace("RunUnitTerm: %p returning due to <= COBOLterm\n", (void*)ru);
    ru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);
}

void TermCobolRte(uint32_t reason) {
    Proccom* pc = _zvkProccom;
    if (!pc || (!pc->runcom && !pc->freeru) || terminatingRuntime) return;
    terminatingRuntime = true;
    const uint32_t debug = pc->debug;
    const bool mainThread = static_cast<uint64_t>(pthread_self()) == pc->mainThread;
    if (debug) {
        Runcom* ru = zvkCurrentOrFree();
        zvkTrace("%s: PID %d Proccom @%p  Runcom @%p  reason=%d  signal=%u  abort=%u  stop=@%p  abrt=@%p  jmp=@%p\n",
                 mainThread ? "TermCobolRte" : "TermCobolThd", pc->pid, (void*)pc, (void*)ru, reason,
                 (pc->flags & PROC_FLAG_SIGNAL) ? 1u : 0u, (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u,
                 ru ? (void*)ru->stop : nullptr, ru ? (void*)ru->abrt : nullptr, ru ? (void*)&ru->jmp : nullptr);
    }

    if (zvkThreadScratch(-1)) zvkRunThreadEndHook();
    zvkThreadScratchRelease();
    pc->flags &= static_cast<uint8_t>(~PROC_FLAG_TRACKING);
    pc->abortHook = nullptr;

    while (Runcom* ru = pc->runcom) {
        // Whatever record an interrupted end left half-finished on the free
        // list, the run unit to end now is the current one.
        if (pc->freeru) pc->freeru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);
        RunUnitTerm(reason, 19);
        if (pc->runcom == ru) pc->runcom = ru->parent;
    }

    zvkWriteMsg(0, ZVK_MSG_CLOSE);

    const bool inSignal = pc->flags & PROC_FLAG_SIGNAL;
    for (Runcom* ru = pc->freeru; ru;) {
        Runcom* next = ru->link;
        // A table the handlers may still read is left alone.
        destroyRuncom(ru, !inSignal && !zvkSignalTableInstalled(ru->signals));
        ru = next;
    }
    pc->freeru = nullptr;

    zvkSignalStackRelease();

    zvkRunRuntimeEndHooks();
    zvkDeviceStreamsRelease();
    pc->sysin = pc->sysout = pc->msgs = pc->conIn = pc->conOut = pc->syspunch = nullptr;
    memset(pc->spare, 0, sizeof pc->spare);
    free(pc->installDir);
    free(pc->libDir);
    free(pc->cobpath);
    free(pc->tempDir);
    pc->installDir = pc->libDir = pc->cobpath = pc->tempDir = nullptr;

    _zvk_cpm_destroy();
    HashTable_Destroy(pc->plle);
    pc->plle = nullptr;

    if (debug) zvkTrace("TermCobolRte: returning...\n");
    free(pc);
    _zvkProccom = nullptr;
    if (debug == 1) fprintf(stderr, "RTE Terminated... PID %d Proccom %p\n", getpid(), (void*)_zvkProccom);
    terminatingRuntime = false;
}

__attribute__((destructor)) void zvk_fini(void) {
    Proccom* pc = _zvkProccom;
    if (!pc || terminatingRuntime) return;
    const bool debug = pc->debug;
    const int pid = pc->pid;
    if (debug) zvkTrace("zvk_fini: PID %d Proccom @%p\n", pid, (void*)pc);
    TermCobolRte(6);
    if (debug) zvkTrace("zvk_fini: PID %d Proccom @%p\n", pid, (void*)_zvkProccom);
}

KVR2_API void _zvkPgmTerm(PCB* pcb) {
    Proccom* pc = _zvkProccom;
    if (!pc || !pcb) return;
    IPCB* ipcb = pcb->ipcb;
    zvkLock(&enterMutex);
    if (ipcb && ipcb->ent > 0) ipcb->ent--;
    if (Runcom* cur = zvkCurrentOrFree(); cur && cur->active > 0) cur->active--;
    const bool lastMainExit = (pcb->flag & PCB_FLAG_MAIN) && (!ipcb || ipcb->ent == 0);
    if (lastMainExit) {
        pcb->lle = nullptr;
        pcb->flag &= ~PCB_FLAG_MAIN;
    }
    zvkUnlock(&enterMutex);

    Runcom* ru = zvkActingRunUnit();
    const int n = static_cast<int>(pcb->nameLength);
    if (pc->debug)
        zvkTrace("_zvkPgmTerm: PID %d Proccom @%p Runcom @@%p  main=%d  name=%*.*s jmp=@%p txmn=%d ru_term %u\n",
                 pc->pid, (void*)pc, (void*)ru, lastMainExit ? 1 : 0, n, n, pcb->name,
                 ru ? (void*)&ru->jmp : nullptr, pc->txmn, ru && (ru->flags & RU_FLAG_RU_TERM) ? 1u : 0u);
    if (ru && (ru->flags & RU_FLAG_RU_TERM)) {
        if (pc->debug)
            zvkTrace("_zvkPgmTerm: no-op, return to COBOL epilogue of %*.*s ru_term %d\n", n, n, pcb->name, 1);
        return;
    }
    if (lastMainExit) {
        RunUnitTerm(0, 255);
        if (_zvkProccom && _zvkProccom->debug) {
            Runcom* after = zvkActingRunUnit();
            zvkTrace("_zvkPgmTerm: %p return to COBOL epilogue of %*.*s ru_term %d\n", (void*)after, n, n, pcb->name,
                     after && (after->flags & RU_FLAG_RU_TERM) ? 1 : 0);
        }
        return;
    }
    if (pc->debug)
        zvkTrace("_zvkPgmTerm: return to COBOL epilogue of %*.*s run unit @%p  ru_term %d\n", n, n, pcb->name,
                 (void*)ru, ru && (ru->flags & RU_FLAG_RU_TERM) ? 1 : 0);
}

KVR2_API void _zvkRunUnitTerm(int32_t status) {
    Proccom* pc = _zvkProccom;
    if (!pc) {
        // Nothing to end and nowhere to jump: the run ends here.
        exit(status);
    }
    Runcom* ru = zvkActingRunUnit();
    if (!ru) exit(status);
    sigjmp_buf* jmp = &ru->jmp;
    if (pc->debug)
        zvkTrace("_zvkRunUnitTerm: PID %d Proccom @%p  Runcom @%p  reason=%d  stop=0%p jmp=@%p txmn %d ru_term %d\n",
                 pc->pid, (void*)pc, (void*)ru, 3, (void*)ru->stop, (void*)jmp, pc->txmn,
                 (ru->flags & RU_FLAG_RU_TERM) ? 1 : 0);
    const char* name;
    int n = nameOf(ru->main, &name);
    const int value = status == 0 ? 255 : status;
    if (ru->flags & RU_FLAG_RU_TERM) {
        if (pc->debug)
            zvkTrace("_zvkRunUnitTerm: no-op, siglongjmp() to COBOL epilogue of %*.*s via @%p  run unit @%p\n", n, n,
                     name, (void*)jmp, (void*)ru);
        siglongjmp(*jmp, value);
    }
    const bool wrapper = zvkIsMainWrapper(ru->main);
    RunUnitTerm(3, static_cast<uint32_t>(status));
    if (_zvkProccom && _zvkProccom->debug) {
        if (wrapper)
            zvkTrace("_zvkRunUnitTerm: siglongjmp() to current wrapper stub via %p  run unit @%p\n", (void*)jmp,
                     (void*)ru);
        else
            zvkTrace("_zvkRunUnitTerm: siglongjmp() to COBOL epilogue of %*.*s via @%p  run unit @%p\n", n, n, name,
                     (void*)jmp, (void*)ru);
    }
    siglongjmp(*jmp, value);
}

KVR2_API void _zvkCleanUp(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    Runcom* ru = zvkActingRunUnit();
    if (pc->debug)
        zvkTrace("_zvkCleanUp: PID %d Proccom @%p  Runcom @%p  signal=%u  abort=%u\n", pc->pid, (void*)pc, (void*)ru,
                 (pc->flags & PROC_FLAG_SIGNAL) ? 1u : 0u, (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u);
    if (ru && (ru->flags & RU_FLAG_RU_TERM)) {
        if (pc->debug) zvkTrace("_zvkCleanup: no-op, return to caller,  run unit @%p\n", (void*)ru);
        return;
    }
    pc->flags |= PROC_FLAG_ABORT;
    RunUnitTerm(4, 6);
    if (_zvkProccom && _zvkProccom->debug) zvkTrace("_zvkCleanup: done, return to caller,  run unit @%p\n", (void*)ru);
}

KVR2_API void _zvkCOBOLTerm(uint32_t function, uint32_t* rc) {
    Proccom* pc = _zvkProccom;
    if (!pc) {
        if (rc) *rc = 0;
        return;
    }
    if (function != 1 && function != 9) {
        if (rc) *rc = 1;
        return;
    }
    if (rc) *rc = 0;
    Runcom* ru = zvkActingRunUnit();
    if (pc->debug)
        zvkTrace("_zvkCOBOLTerm: PID %d Proccom @%p  Runcom @%p  signal=%u  abort=%u\n", pc->pid, (void*)pc,
                 (void*)ru, (pc->flags & PROC_FLAG_SIGNAL) ? 1u : 0u, (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u);
    if (ru && !(ru->flags & RU_FLAG_RU_TERM)) {
        ru->stop = nullptr;
        ru->token = 0;
        RunUnitTerm(function == 1 ? 3 : 4, 19);
    }
    if (function == 1) TermCobolRte(2);
}

KVR2_API void ZVKCOBOLTERM(uint32_t, uint32_t*) __attribute__((alias("_zvkCOBOLTerm")));

KVR2_API void _zvk_cpm_exit(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    if (pc->debug)
        zvkTrace("_zvk_cpm_exit: PID %d Proccom @%p Runcom @%p txmn %d reason=%d\n", pc->pid, (void*)pc,
                 (void*)pc->runcom, pc->txmn, 1001);
    Runcom* ru = zvkActingRunUnit();
    if (ru && !(ru->flags & RU_FLAG_RU_TERM)) {
        // STOP RUN of the task: its jump lands in the task's epilogue.
        _zvkRunUnitTerm(1);
    }
    if (pc->debug) zvkTrace("_zvk_cpm_exit: return to TXMN\n");
}

KVR2_API void _zvk_cpm_cancel(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    if (pc->debug)
        zvkTrace("_zvk_cpm_cancel: PID %d Proccom @%p Runcom @%p txmn %d reason=%d\n", pc->pid, (void*)pc,
                 (void*)pc->runcom, pc->txmn, 1002);
    Runcom* ru = zvkActingRunUnit();
    if (ru && !(ru->flags & RU_FLAG_RU_TERM)) _zvkCleanUp();
    if (_zvkProccom && _zvkProccom->debug) zvkTrace("_zvk_cpm_cancel: return to TXMN\n");
}


KVR2_API void _zvkAbort(int32_t cored) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    sigjmp_buf jmp;
    Runcom* ru = zvkCurrentOrFree();
    if (ru) memcpy(&jmp, &ru->jmp, sizeof jmp);
    const uint32_t txmn = pc->txmn;
    const bool isMain = static_cast<uint64_t>(pthread_self()) == pc->mainThread;
    if (pc->debug)
        zvkTrace("_zvkAbort: PID %d Proccom @%p Runcom @@%p  reason=%d  signal=%u  abort=%u  stop=@%p  abrt=@%p  "
                 "jmp=@%p  main %d cored %d\n",
                 pc->pid, (void*)pc, (void*)ru, 5, (pc->flags & PROC_FLAG_SIGNAL) ? 1u : 0u,
                 (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u, ru ? (void*)ru->stop : nullptr,
                 ru ? (void*)ru->abrt : nullptr, ru ? (void*)&ru->jmp : nullptr, isMain ? 1 : 0, cored);
    pc->flags |= PROC_FLAG_ABORT;
    if (cored == 0 && (pc->runtimeOptions & (OPT_TRAP_CORE | OPT_TRAP_DUMP)) && !txmn) cored = zvkMakeCore();
    if (void (*hook)(void) = pc->abortHook) {
        pc->abortHook = nullptr;
        hook();
    }
    TermCobolRte(5);
    if (txmn && ru) siglongjmp(jmp, 6);
    if (!isMain) pthread_exit(reinterpret_cast<void*>(-1));
    if (cored == 1) {
        zvkNoMoreCores();
        signal(SIGABRT, SIG_DFL);
    }
    // From inside a handler SIGABRT is blocked (the handlers block every
    // signal of the table): it must reach the process now.
    sigset_t abrt;
    sigemptyset(&abrt);
    sigaddset(&abrt, SIGABRT);
    pthread_sigmask(SIG_UNBLOCK, &abrt, nullptr);
    raise(SIGABRT);
    // A handler that returned must not let the failed program go on.
    signal(SIGABRT, SIG_DFL);
    raise(SIGABRT);
    _exit(134);
}

}  // extern "C"
