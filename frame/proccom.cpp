// The process record, the library constructor, runtime and run-unit start,
// program entry and exit, the jump buffer and the host start-up entries.

#include <dlfcn.h>
#include <fenv.h>
#include <locale.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "frame/clock.h"
#include "frame/messages.h"
#include "frame/options.h"
#include "frame/programs.h"
#include "frame/rununit.h"
#include "frame/signals.h"
#include "frame/threads.h"
#include "frame/hooks.h"
#include "frame/hashtable.h"
#include "frame/version.h"
#include "kvr2/programs.h"
#include "kvr2/rununit.h"

extern "C" {

KVR2_API Proccom* _zvkProccom = nullptr;
KVR2_API alignas(16) uint8_t _Dmr_rut[168];
KVR2_API char* _zvkDebugBuf = nullptr;
KVR2_API uint32_t _zvkDebugBufLen = 0;

}  // extern "C"

namespace {

constexpr const char kInstallDir[] = "/opt/tqx/cobol/rte/usr/lib/";
constexpr const char kInstallNls[] = "/opt/tqx/cobol/rte/usr/share/locale/%L/%N";

void emptyAbortHook() {}

void* libgccHandle = nullptr;

void* zeroedAligned(size_t size) {
    size_t rounded = (size + 15) & ~size_t(15);
    void* p = aligned_alloc(16, rounded);
    if (p) memset(p, 0, rounded);
    return p;
}

void readWindow(int fd, struct winsize* ws) {
    memset(ws, 0, sizeof *ws);
    if (ioctl(fd, TIOCGWINSZ, ws) != 0) memset(ws, 0, sizeof *ws);
}

// Reads a level from the environment: strtol base 0, where 0 counts as 1.
uint32_t envLevel(const char* name) {
    const char* v = getenv(name);
    if (!v || !*v) return 0;
    long n = strtol(v, nullptr, 0);
    return n == 0 ? 1u : static_cast<uint32_t>(n);
}

int mainName(const Runcom* ru, const char** name) {
    if (ru && ru->main && ru->main != RUNCOM_MAIN_WRAPPER) {
        *name = ru->main->name;
        return static_cast<int>(ru->main->nameLength);
    }
    *name = "";
    return 0;
}

// Is part (a colon-separated component) already in list?
bool pathListHas(const char* list, const char* part) {
    size_t n = strlen(part);
    for (const char* p = list; p && *p;) {
        const char* end = strchr(p, ':');
        size_t len = end ? static_cast<size_t>(end - p) : strlen(p);
        if (len == n && memcmp(p, part, n) == 0) return true;
        if (!end) break;
        p = end + 1;
    }
    return false;
}

void prependNlsPath(const char* entry) {
    const char* old = getenv("NLSPATH");
    if (old && pathListHas(old, entry)) return;
    size_t n = strlen(entry) + (old ? strlen(old) + 1 : 0) + 1;
    char* value = static_cast<char*>(malloc(n));
    if (!value) return;
    if (old && *old)
        snprintf(value, n, "%s:%s", entry, old);
    else
        snprintf(value, n, "%s", entry);
    setenv("NLSPATH", value, 1);
    free(value);
}

bool endsWithComponent(const char* path, size_t len, const char* comp) {
    size_t n = strlen(comp);
    return len >= n && memcmp(path + len - n, comp, n) == 0;
}

// Derives the catalog path from the library's directory: a library in
// <p>/lib, <p>/usr/lib, <p>/usr or <p>/profiled looks in
// <p>/usr/share/locale; anywhere else in <dir>/%L/%N.
void deriveLocalePath(const char* libDir, char* out, size_t size) {
    char path[4096];
    snprintf(path, sizeof path, "%s", libDir);
    size_t len = strlen(path);
    if (len > 0 && path[len - 1] == '/') path[--len] = 0;
    bool profiled = false;
    if (endsWithComponent(path, len, "/profiled")) {
        len -= strlen("/profiled");
        path[len] = 0;
        profiled = true;
    }
    const char* tail = "/usr/share/locale/%L/%N";
    if (endsWithComponent(path, len, "/lib")) {
        len -= 4;
        path[len] = 0;
        if (endsWithComponent(path, len, "/usr")) {
            len -= 4;
            path[len] = 0;
        }
    } else if (endsWithComponent(path, len, "/usr")) {
        len -= 4;
        path[len] = 0;
    } else if (!profiled) {
        tail = "/%L/%N";
    }
    snprintf(out, size, "%s%s", path, tail);
}

void constructorBody() {
    const bool banner = getenv("__ZVKDEBUG") != nullptr;
    if (banner) fprintf(stderr, "%s\n", kvr2Banner);

    if (!setlocale(LC_ALL, "")) {
        const char* lang = getenv("LANG");
        if (lang && *lang) setlocale(LC_ALL, lang);
    }

    Proccom* pc = static_cast<Proccom*>(zeroedAligned(sizeof(Proccom)));
    if (!pc) {
        zvkWriteMsg(907, 0);
        return;
    }
    memcpy(pc->eyecatcher, "PROCCOM", 8);
    pc->ccsid = -1;
    pc->codePageRow = -1;
    pc->abortHook = emptyAbortHook;
    pc->pid = getpid();
    pc->mainThread = static_cast<uint64_t>(pthread_self());
    pc->threadKey = 0xFFFFFFFFu;
    pc->debug = envLevel("__ZVKDEBUG");
    _zvkProccom = pc;

    if (pc->debug)
        zvkTrace("zvk_init: PID %d Proccom @%p Runcom @%p freeru @%p jvc=%d  txmn=%d  preinit=%d  cache=%d\n",
                 pc->pid, (void*)pc, (void*)pc->runcom, (void*)pc->freeru, pc->jvc, pc->txmn,
                 (pc->flags & PROC_FLAG_PREINIT) ? 1 : 0, pc->cache);

    // The first record exists before any program does.
    RunUnitInit(nullptr);
    if (Runcom* ru = pc->runcom) {
        pc->runcom = ru->link;
        ru->link = pc->freeru;
        pc->freeru = ru;
    }

    Dl_info info;
    char dir[4096] = "";
    if (dladdr(reinterpret_cast<void*>(&zvk_init), &info) && info.dli_fname) {
        char resolved[4096];
        const char* file = realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
        snprintf(dir, sizeof dir, "%s", file);
        char* slash = strrchr(dir, '/');
        if (slash)
            slash[1] = 0;
        else
            dir[0] = 0;
    }
    pc->libDir = strdup(dir);
    pc->installDir = strdup(kInstallDir);

    char derived[4200];
    deriveLocalePath(dir, derived, sizeof derived);
    if (strcmp(derived, kInstallNls) != 0) prependNlsPath(kInstallNls);
    prependNlsPath(derived);

    readWindow(0, &pc->winStdin);
    readWindow(1, &pc->winStdout);
    readWindow(2, &pc->winStderr);

    zvkWriteMsg(0, ZVK_MSG_OPEN);

    if (pc->debug)
        zvkTrace("zvk_init: PID %d Proccom @%p Runcom @%p freeru @%p jvc=%d  txmn=%d  preinit=%d  cache=%d\n",
                 pc->pid, (void*)pc, (void*)pc->runcom, (void*)pc->freeru, pc->jvc, pc->txmn,
                 (pc->flags & PROC_FLAG_PREINIT) ? 1 : 0, pc->cache);
}

Runcom* newRuncom() {
    Runcom* ru = static_cast<Runcom*>(zeroedAligned(sizeof(Runcom)));
    void* sig = ru ? zeroedAligned(zvkSignalTableSize) : nullptr;
    if (!ru || !sig) {
        free(ru);
        free(sig);
        zvkWriteMsg(907, 0);
        return nullptr;
    }
    memcpy(ru->eyecatcher, "RUNCOM  ", 8);
    ru->signals = sig;
    return ru;
}

void createProcessCache() {
    Proccom* pc = _zvkProccom;
    pc->cache = 1;
    if (!pc->plle) pc->plle = zvkProgramTableCreate(nullptr, true);
}

// Step 4 of the runtime start, also used when CPM_CACHE asks for the cache.
void decideCache() {
    Proccom* pc = _zvkProccom;
    pc->cache = 2;
    if (!pc->plle) _zvk_cpm_create();
    if (pc->cache == 1 || (pc->cache == 2 && (pc->txmn || pc->jvc))) createProcessCache();
}

bool versionAtLeast(const PCB* pcb, uint8_t v, uint8_t r, uint8_t m) {
    const uint8_t want[3] = {v, r, m};
    return memcmp(pcb->version, want, 3) >= 0;
}

void enterProgram(PCB* pcb, IPCB* ipcb) {
    if (pcb->flag & PCB_FLAG_ENTER_LOCK) {
        _zvkPgmEnterLock(reinterpret_cast<int32_t*>(ipcb));
        return;
    }
    Proccom* pc = _zvkProccom;
    zvkLockMt(&enterMutex);
    ipcb->ent++;
    if (pc->runcom) pc->runcom->active++;
    zvkUnlockMt(&enterMutex);
}

// The year window of a program: a negative window is resolved against the
// current year and stored as the base; a base too old for the current
// year is reported.
void yearWindow(PCB* pcb) {
    Proccom* pc = _zvkProccom;
    if (pcb->yearWindow == 9999 || !versionAtLeast(pcb, 2, 2, 0)) return;
    char date[9];
    zvkCurrentDateDigits(date);
    date[8] = 0;
    if (pc->debug) zvkTrace("current date %s\n", date);
    pc->currentYear = static_cast<uint32_t>((date[0] - '0') * 1000 + (date[1] - '0') * 100 +
                                            (date[2] - '0') * 10 + (date[3] - '0'));
    if (pc->debug) zvkTrace("current year %d\n", pc->currentYear);
    char name[161];
    size_t n = pcb->nameLength < 160 ? pcb->nameLength : 160;
    memcpy(name, pcb->name, n);
    name[n] = 0;
    int32_t window = pcb->yearWindow;
    if (window < 0) {
        int32_t base = static_cast<int32_t>(pc->currentYear) + window;
        if (pc->debug) zvkTrace("curr year %d  base %d\n", pc->currentYear, base);
        if (base < 1900 || base > 2099)
            zvkWriteMsg(240, 0, name, window, base);
        else
            pcb->yearWindow = base;
    } else {
        if (pc->debug) zvkTrace("curr year %d  base %d\n", pc->currentYear, window);
        if (static_cast<int64_t>(pc->currentYear) > static_cast<int64_t>(window) + 100)
            zvkWriteMsg(241, 0, window, window + 100, name);
    }
}

bool optionsParsed() { return _zvkProccom && _zvkProccom->optionsParsed; }

void startIfNeeded(PCB* marker) {
    if (!optionsParsed()) InitCobolRte(marker);
}

}  // namespace

extern "C" {

void zvkTrace(const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    vfprintf(stderr, format, ap);
    va_end(ap);
    fflush(stderr);
}

__attribute__((constructor)) void zvk_init(void) { constructorBody(); }

Runcom* zvkActingRunUnit(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    if (!pc->runcom || (pc->freeru && (pc->freeru->flags & RU_FLAG_RU_TERM))) return pc->freeru;
    return pc->runcom;
}

Runcom* zvkCurrentOrFree(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    return pc->runcom ? pc->runcom : pc->freeru;
}

bool zvkIsMainWrapper(const PCB* p) { return p == nullptr || p == RUNCOM_MAIN_WRAPPER; }

void InitCobolRte(PCB* pcb) {
    if (!_zvkProccom) {
        fputs("Delayed Init!\n", stderr);
        constructorBody();
        if (!_zvkProccom) return;
    }
    Proccom* pc = _zvkProccom;

    if (!libgccHandle) {
        libgccHandle = dlopen("libgcc_s.so.2", RTLD_NOW | RTLD_GLOBAL);
        if (!libgccHandle) libgccHandle = dlopen("libgcc_s.so.1", RTLD_NOW | RTLD_GLOBAL);
        if (!libgccHandle) fputs("Cannot load libgcc_s.so\n", stderr);
    }

    const char* jvc = getenv("__COBOL_JVC_CONTAINER");
    if (jvc && *jvc) {
        pc->jvc = envLevel("__COBOL_JVC_CONTAINER");
        pc->txmn = 1;
    }
    const char* txmn = getenv("__COBOL_TXMN_CONTAINER");
    if (txmn && *txmn) pc->txmn = 1;

    if (pcb) {
        decideCache();
    } else {
        pc->flags |= PROC_FLAG_PREINIT;
        pc->cache = 0;
    }

    if (pc->debug) {
        zvkTrace("InitCobolRte: PID %d Proccom @%p Runcom @%p jvc=%d  txmn=%d  preinit=%d  cache=%d\n", pc->pid,
                 (void*)pc, (void*)pc->runcom, pc->jvc, pc->txmn, (pc->flags & PROC_FLAG_PREINIT) ? 1 : 0,
                 pc->cache);
        const char* opts = getenv("COBRTOPT");
        zvkTrace("COBRTOPT=%s\n", opts ? opts : "(null)");
    }

    zvkParseOptions();
    feenableexcept(FE_DIVBYZERO);

    readWindow(0, &pc->winStdout);
    readWindow(1, &pc->winStdout);
    readWindow(2, &pc->winStderr);

    if (getenv("CPM_CACHE")) decideCache();
    if (pc->txmn || pc->jvc) pc->flags |= PROC_FLAG_TRACKING;
    pc->abortHook = nullptr;
}

void RunUnitInit(PCB* pcb) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    const bool preinit = pc->flags & PROC_FLAG_PREINIT;
    Runcom* ru = pc->freeru;
    if (ru) {
        pc->freeru = ru->link;
        ru->link = nullptr;
        ru->id = pc->runUnitCount++;
        // The second run unit of a process turns caching on by itself.
        if (ru->id == 2 && pc->cache >= 2 && !pc->runcom) createProcessCache();
        if (!preinit && !pc->txmn && !pc->jvc) {
            memset(&ru->jmp, 0, sizeof ru->jmp);
            ru->context = 0;
            ru->stop = nullptr;
            ru->abrt = nullptr;
            ru->reserved96 = 0;
            ru->msg = nullptr;
            ru->token = 0;
        }
    } else {
        ru = newRuncom();
        if (!ru) return;
        ru->id = pc->runUnitCount++;
    }

    ru->main = (preinit && !pc->runcom) ? RUNCOM_MAIN_WRAPPER : nullptr;
    ru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);
    if (pc->freeru) pc->freeru->flags &= static_cast<uint8_t>(~RU_FLAG_RU_TERM);

    ru->link = pc->runcom;
    ru->parent = pc->runcom;
    pc->flags &= static_cast<uint8_t>(~(PROC_FLAG_ABORT | PROC_FLAG_SIGNAL));
    pc->runcom = ru;

    if (pc->debug)
        zvkTrace("RunUnitInit: PID %d Proccom @%p Runcom @%p  PLLE @%p  id=%d  sig=%d  pcb=@%p  main=@%p txmn=%d\n",
                 pc->pid, (void*)pc, (void*)ru, (void*)ru->plle, ru->id, (ru->flags & RU_FLAG_SIG) ? 1 : 0,
                 (void*)pcb, (void*)ru->main, pc->txmn);

    if (ru->id == 0) return;
    if ((pc->runtimeOptions & OPT_TRAP) && !(ru->flags & RU_FLAG_SIG)) {
        ru->flags |= RU_FLAG_SIG;
        zvkSignalInstall(ru);
    }
    ru->errCount = pc->errCount;
    memcpy(ru->upsi, pc->upsi, sizeof ru->upsi);
    ru->active = 0;
    ru->randomSeed = 1;
    ru->century = 80;
    ru->storage = nullptr;
    ru->reserved152[0] = ru->reserved152[1] = 0;
    if (!ru->plle) {
        ru->plle = zvkProgramTableCreate(pc->plle, false);
        if (!ru->plle) zvkWriteMsg(907, 0);
    } else {
        // A reused record's table falls through to the cache as it is now.
        ru->plle->parent = pc->plle;
    }
}

KVR2_API void _zvkPgmInit(PCB* pcb) {
    if (!_zvkProccom) InitCobolRte(pcb);
    Proccom* pc = _zvkProccom;
    if (!pc || !pcb) return;

    zvkLockMt(&runUnitMutex);
    if (!pc->optionsParsed) {
        InitCobolRte(pcb);
        pc->abortHook = nullptr;
        if (pc->txmn) pc->firstEntry = 0;
    } else {
        pc->firstEntry = 1;
    }
    if (!pc->runcom || !pc->runcom->main) {
        if (!pc->runcom) RunUnitInit(pcb);
        if (pc->runcom) {
            pc->runcom->main = pcb;
            pcb->flag |= PCB_FLAG_MAIN;
        }
    }
    zvkUnlockMt(&runUnitMutex);

    Runcom* ru = pc->runcom;
    if (!ru) return;
    if (pc->debug)
        zvkTrace("_zvkPgmInit: PID %d Proccom @%p Runcom @%p  sig %d  PLLE @%p  Main=@%p  Name=%*.*s\n", pc->pid,
                 (void*)pc, (void*)ru, (ru->flags & RU_FLAG_SIG) ? 1 : 0, (void*)ru->plle, (void*)ru->main,
                 (int)pcb->nameLength, (int)pcb->nameLength, pcb->name);

    IPCB* ipcb = pcb->ipcb;
    // Another thread may be registering this program right now: its LLE
    // is published last (release), so a set lle means a finished PCB.
    if (__atomic_load_n(&pcb->lle, __ATOMIC_ACQUIRE)) {
        enterProgram(pcb, ipcb);
        if (pc->debug) zvkTrace("_zvkPgmInit: subsequent usage PCB %p  PLLE %p\n", (void*)pcb, (void*)ru->plle);
        return;
    }

    int lockHeld = 0;
    HashState state{};
    LLE* lle = zvkFindProgram(pcb->name, pcb->nameLength, &state, &lockHeld, pcb, "CALL");
    void* entry = ipcb ? ipcb->entry : nullptr;
    if (lle && (lle->entry == entry || lle->entry == nullptr)) {
        lle->ipcb = ipcb;
        if (!lle->entry) lle->entry = entry;
    } else {
        // Not known, or known under this name with another entry address
        // (a program of the same name bound elsewhere): the new one goes
        // in front so that it is found from now on.
        LLE fresh{};
        fresh.ipcb = ipcb;
        fresh.name = pcb->name;
        fresh.nameLength = pcb->nameLength;
        fresh.entry = entry;
        lle = zvkAddProgram(&fresh, lle ? nullptr : &state, 0);
        if (!lle) {
            if (lockHeld) zvkUnlockMt(&programMutex);
            zvkWriteMsg(907, 0);
            return;
        }
    }

    bool registration = lle->pcb == nullptr;
    if (registration) {
        pcb->flag = (pcb->flag & ~(OPT_CHECK | OPT_DEBUG)) | (pc->programOptions & (OPT_CHECK | OPT_DEBUG));
        pcb->upsi = ru->upsi;
        if (versionAtLeast(pcb, 5, 1, 1)) pcb->pgmWord = &pc->pgmWord;
        lle->pcb = pcb;
        if (ipcb) {
            ipcb->pcb = pcb;
            if (ipcb->fileCount > 0) zvkRegisterFiles(pcb, ipcb);
        }
    }
    __atomic_store_n(&pcb->lle, lle, __ATOMIC_RELEASE);
    if (lockHeld) zvkUnlockMt(&programMutex);
    // The year window is resolved after the table lock is released, so
    // that a message ending the run unit never leaves the lock held.
    if (registration) yearWindow(pcb);
    enterProgram(pcb, ipcb);
}

KVR2_API void _zvkPgmEnterLock(int32_t* ipcb) {
    Proccom* pc = _zvkProccom;
    zvkLock(&enterMutex);
    if (ipcb) (*ipcb)++;
    if (pc && pc->runcom) pc->runcom->active++;
}

KVR2_API void _zvkPgmEnterUnlock(void) { zvkUnlock(&enterMutex); }

KVR2_API void _zvkPgmExit(int32_t* ipcb) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    zvkLockMt(&enterMutex);
    if (ipcb && *ipcb > 0) (*ipcb)--;
    Runcom* ru = zvkCurrentOrFree();
    if (ru && ru->active > 0) ru->active--;
    zvkUnlockMt(&enterMutex);
}

KVR2_API zvkJmpBuf* _zvkGetJmpBuffer(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    Runcom* ru = zvkCurrentOrFree();
    if (!ru) return nullptr;
    if (pc->debug) {
        if (zvkIsMainWrapper(ru->main)) {
            zvkTrace("_zvkGetJmpBuffer: returning jmp_buf (%p) for current run unit wrapper stub %p\n",
                     (void*)&ru->jmp, (void*)ru);
        } else {
            const char* name;
            int n = mainName(ru, &name);
            zvkTrace("_zvkGetJmpBuffer: returning jmp_buf (%p) for current run unit (%*.*s) %p\n", (void*)&ru->jmp,
                     n, n, name, (void*)ru);
        }
    }
    return &ru->jmp;
}

void _zvkTxmnRunUnit(uint64_t, zvkHostMsg msg, uint64_t context) {
    Proccom* pc = _zvkProccom;
    if (!pc || (!pc->runcom && !pc->freeru)) {
        setenv("__COBOL_TXMN_CONTAINER", "1", 1);
        InitCobolRte(ZVK_HOST_MARKER);
        pc = _zvkProccom;
        if (!pc) return;
    }
    Runcom* parent = pc->runcom;
    RunUnitInit(ZVK_HOST_MARKER);
    Runcom* ru = pc->runcom;
    if (!ru) return;
    ru->context = context;
    ru->msg = msg;
    if (pc->debug) {
        if (!parent)
            zvkTrace("_zvkTxmnRunUnit: TXMN transaction: PID %d Proccom @%p Runcom @%p  Parent @%p\n", pc->pid,
                     (void*)pc, (void*)ru, (void*)parent);
        else
            zvkTrace("_zvkTxmnRunUnit: EXEC TXMN LINK: PID Proccom @%p Runcom @%p  Parent @%p\n", (void*)pc,
                     (void*)ru, (void*)parent);
    }
}

KVR2_API void _zvkCOBOLInit(uint32_t function, zvkHostStop stop, uint32_t* rc, uint64_t token) {
    uint32_t result = 0;
    switch (function) {
        case 1:
            // A host starts the runtime before any program: preinit state,
            // and a run unit of its own ("wrapper stub") to hold stop/token.
            startIfNeeded(nullptr);
            if (_zvkProccom && !_zvkProccom->runcom) RunUnitInit(nullptr);
            if (stop && _zvkProccom && _zvkProccom->runcom) {
                _zvkProccom->runcom->stop = stop;
                _zvkProccom->runcom->token = token;
            }
            break;
        case 9:
            startIfNeeded(nullptr);
            _zvkTxmnRunUnit(0, nullptr, 0);
            if (Runcom* ru = zvkCurrentOrFree()) ru->abrt = reinterpret_cast<zvkHostStop>(token);
            break;
        case 10:
            startIfNeeded(nullptr);
            if (Runcom* ru = zvkCurrentOrFree()) ru->context = token;
            break;
        default:
            result = 1;
            break;
    }
    if (rc) *rc = result;
}

KVR2_API void ZVKCOBOLINIT(uint32_t, zvkHostStop, uint32_t*, uint64_t) __attribute__((alias("_zvkCOBOLInit")));

KVR2_API void _zvkCOBOLInit1(int32_t function, zvkHostStop stop, uint32_t* rc, uint64_t token, zvkHostMsg msg,
                             zvkHostStop abrt, uint64_t context) {
    if (function != 1) {
        if (rc) *rc = 1;
        return;
    }
    startIfNeeded(nullptr);
    Proccom* pc = _zvkProccom;
    if (pc && !pc->freeru) {
        // A run unit is active and none is free: make the spare that the
        // next run unit will take, rather than lose the host's routines.
        if (Runcom* ru = newRuncom()) {
            ru->id = 0;
            pc->freeru = ru;
        }
    }
    if (pc && pc->freeru) {
        Runcom* ru = pc->freeru;
        ru->stop = stop;
        ru->token = token;
        ru->msg = msg;
        ru->abrt = abrt;
        ru->context = context;
    }
    if (rc) *rc = 0;
}

KVR2_API void _zvkCOBOLHostInit(uint32_t* rc) {
    Proccom* pc = _zvkProccom;
    if (!pc || !pc->optionsParsed) {
        InitCobolRte(nullptr);
        if (rc) *rc = 0;
        return;
    }
    if ((pc->txmn || pc->jvc) && rc) *rc = 1;
}

KVR2_API void _zvkCOBOLLink(void) {
    startIfNeeded(ZVK_HOST_MARKER);
    RunUnitInit(ZVK_HOST_MARKER);
}

KVR2_API void _zvk_cpm_init(zvkHostMsg msg, uint64_t context) {
    startIfNeeded(ZVK_HOST_MARKER);
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    // The monitor's nesting count; under a monitor the run unit's storage
    // is tracked.
    pc->txmn += 1;
    pc->flags |= PROC_FLAG_TRACKING;
    if (pc->debug)
        zvkTrace("_zvk_cpm_init: PID %d Proccom @%p Runcom @%p  reason=%d  txmn %d\n", pc->pid, (void*)pc,
                 (void*)pc->runcom, 1000, pc->txmn);
    _zvkTxmnRunUnit(0, msg, context);
}

}  // extern "C"
