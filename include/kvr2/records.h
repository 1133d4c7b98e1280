/*
 * Records shared between compiled COBOL programs and the run-time library.
 *
 * The compiler lays out PCB and IPCB in the program's own data; Proccom and
 * Runcom belong to the library but compiled code addresses some of their
 * fields directly (Runcom.upsi through PCB offset 56, Runcom.jmp through
 * _zvkGetJmpBuffer), so every offset below is frozen.  Usable from C and C++.
 */
#ifndef KVR2_RECORDS_H
#define KVR2_RECORDS_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <setjmp.h>
#include <sys/ioctl.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The run unit's jump buffer, as the system library lays out sigjmp_buf;
   named through its tag so that the header needs no POSIX feature macro
   and compiles as strict C11. */
typedef struct __jmp_buf_tag zvkJmpBuf[1];

struct HashTable;
struct LLE;
struct IPCB;

/* PCB flag bits */
#define PCB_FLAG_MAIN        0x80000000u /* the run unit's main program */
#define PCB_FLAG_ENTER_LOCK  0x20000000u /* enter with enterMutex held */
#define PCB_FLAG_CHECK       0x08000000u
#define PCB_FLAG_DEBUG       0x02000000u
#define PCB_FLAG_FOLD_NAMES  0x01000000u /* fold CALL/CANCEL names to upper case */

/* One per program, laid out by the compiler. */
typedef struct PCB {
    uint8_t reserved0[5];
    uint8_t version[3];          /* 5: version, release, modification */
    struct IPCB* ipcb;           /* 8 */
    const char* name;            /* 16: not terminated */
    uint32_t nameLength;         /* 24 */
    uint32_t flag;               /* 28 */
    struct LLE* lle;             /* 32: set at registration */
    uint8_t reserved40[8];       /* 40 */
    void* fib;                   /* 48: file information blocks */
    uint8_t* upsi;               /* 56: -> Runcom.upsi */
    uint8_t reserved64[36];      /* 64 */
    int32_t yearWindow;          /* 100: 9999 none, <0 offset, else base */
    uint64_t* pgmWord;           /* 104: -> Proccom.pgmWord (version >= 5.1.1) */
} PCB;

KVR2_STATIC_ASSERT(offsetof(PCB, version) == 5, "PCB.version");
KVR2_STATIC_ASSERT(offsetof(PCB, ipcb) == 8, "PCB.ipcb");
KVR2_STATIC_ASSERT(offsetof(PCB, name) == 16, "PCB.name");
KVR2_STATIC_ASSERT(offsetof(PCB, nameLength) == 24, "PCB.nameLength");
KVR2_STATIC_ASSERT(offsetof(PCB, flag) == 28, "PCB.flag");
KVR2_STATIC_ASSERT(offsetof(PCB, lle) == 32, "PCB.lle");
KVR2_STATIC_ASSERT(offsetof(PCB, fib) == 48, "PCB.fib");
KVR2_STATIC_ASSERT(offsetof(PCB, upsi) == 56, "PCB.upsi");
KVR2_STATIC_ASSERT(offsetof(PCB, yearWindow) == 100, "PCB.yearWindow");
KVR2_STATIC_ASSERT(offsetof(PCB, pgmWord) == 104, "PCB.pgmWord");
KVR2_STATIC_ASSERT(sizeof(PCB) == 112, "PCB size");

/* IPCB: array of 56-byte elements, the program first, its nested ones behind. */
typedef struct IPCB {
    int32_t ent;                 /* 0: current entries */
    uint32_t status;             /* 4 */
    void* entry;                 /* 8: entry address */
    int32_t nested;              /* 16: nested programs (first element only) */
    int32_t reserved20;
    void** fcbs;                 /* 24: file control records */
    int32_t fileCount;           /* 32 */
    int32_t reserved36;
    uint8_t reserved40[8];
    PCB* pcb;                    /* 48: back pointer, set by _zvkPgmInit */
} IPCB;

KVR2_STATIC_ASSERT(offsetof(IPCB, ent) == 0, "IPCB.ent");
KVR2_STATIC_ASSERT(offsetof(IPCB, status) == 4, "IPCB.status");
KVR2_STATIC_ASSERT(offsetof(IPCB, entry) == 8, "IPCB.entry");
KVR2_STATIC_ASSERT(offsetof(IPCB, nested) == 16, "IPCB.nested");
KVR2_STATIC_ASSERT(offsetof(IPCB, fcbs) == 24, "IPCB.fcbs");
KVR2_STATIC_ASSERT(offsetof(IPCB, fileCount) == 32, "IPCB.fileCount");
KVR2_STATIC_ASSERT(offsetof(IPCB, pcb) == 48, "IPCB.pcb");
KVR2_STATIC_ASSERT(sizeof(IPCB) == 56, "IPCB size");

/* Load list entry: the value kept for a program in a program table. */
#define LLE_LOADED_BY_MANAGER 0x01u
#define LLE_SURVIVES_RUN_UNIT 0x10u
typedef struct LLE {
    void* load;                  /* loader handle, null if statically bound */
    void* entry;
    const char* name;
    PCB* pcb;
    IPCB* ipcb;
    uint32_t nameLength;
    uint32_t flags;
} LLE;

KVR2_STATIC_ASSERT(offsetof(LLE, load) == 0, "LLE.load");
KVR2_STATIC_ASSERT(offsetof(LLE, entry) == 8, "LLE.entry");
KVR2_STATIC_ASSERT(offsetof(LLE, name) == 16, "LLE.name");
KVR2_STATIC_ASSERT(offsetof(LLE, pcb) == 24, "LLE.pcb");
KVR2_STATIC_ASSERT(offsetof(LLE, ipcb) == 32, "LLE.ipcb");
KVR2_STATIC_ASSERT(offsetof(LLE, nameLength) == 40, "LLE.nameLength");
KVR2_STATIC_ASSERT(offsetof(LLE, flags) == 44, "LLE.flags");
KVR2_STATIC_ASSERT(sizeof(LLE) == 48, "LLE size");

/* Host routines. */
typedef void (*zvkHostStop)(uint64_t token);
typedef void (*zvkHostMsg)(int32_t exitIndication, const char* facility,
                           const char* text, uint32_t length, uint64_t token);

/* Proccom.flags */
#define PROC_FLAG_PREINIT  0x02u
#define PROC_FLAG_TRACKING 0x04u
#define PROC_FLAG_ABORT    0x08u
#define PROC_FLAG_SIGNAL   0x10u

/* Proccom.programOptions / runtimeOptions bits */
#define OPT_CHECK      0x08000000u
#define OPT_DEBUG      0x02000000u
#define OPT_ACCEPT_NEW 0x10000000u
#define OPT_TRAP       0x80000000u
#define OPT_TRAP_CORE  0x40000000u
#define OPT_TRAP_DUMP  0x20000000u

/* The process record: one per process, 16-byte aligned, zeroed. */
typedef struct Proccom {
    char eyecatcher[8];          /* "PROCCOM" */
    struct Runcom* runcom;       /* current run unit or null */
    struct Runcom* freeru;       /* free list through Runcom.link */
    struct HashTable* plle;      /* process-wide program cache */
    char* libDir;
    char* installDir;
    char* cobpath;
    uint64_t pgmWord;
    char* tempDir;
    void (*abortHook)(void);
    void* codePageHook;
    void* codePageWord;
    FILE* sysin;
    FILE* sysout;
    FILE* msgs;
    FILE* conIn;
    FILE* conOut;
    FILE* syspunch;
    uint64_t spare[6];
    int32_t pid;
    uint64_t mainThread;
    uint32_t firstEntry;
    uint32_t threadKey;
    void* threadFallback;
    uint32_t runUnitCount;
    uint32_t errCount;
    uint32_t programOptions;
    uint32_t runtimeOptions;
    uint32_t txmn;
    uint32_t jvc;
    uint32_t debug;
    uint32_t cache;
    int32_t ccsid;
    uint32_t currentYear;
    struct winsize winStdin;
    struct winsize winStdout;
    struct winsize winStderr;
    uint8_t flags;
    char fileSystem[3];
    char upsi[8];
    /* code-page state */
    int32_t codePageRow;
    char ebcdicCodePage[16];
    char localeName[64];
    /* set once the options have been parsed for this runtime start; a
       separate flag because parsed options may leave every bit clear */
    uint32_t optionsParsed;
    uint32_t reserved388;
} Proccom;

KVR2_STATIC_ASSERT(offsetof(Proccom, runcom) == 8, "Proccom.runcom");
KVR2_STATIC_ASSERT(offsetof(Proccom, freeru) == 16, "Proccom.freeru");
KVR2_STATIC_ASSERT(offsetof(Proccom, plle) == 24, "Proccom.plle");
KVR2_STATIC_ASSERT(offsetof(Proccom, libDir) == 32, "Proccom.libDir");
KVR2_STATIC_ASSERT(offsetof(Proccom, installDir) == 40, "Proccom.installDir");
KVR2_STATIC_ASSERT(offsetof(Proccom, cobpath) == 48, "Proccom.cobpath");
KVR2_STATIC_ASSERT(offsetof(Proccom, pgmWord) == 56, "Proccom.pgmWord");
KVR2_STATIC_ASSERT(offsetof(Proccom, tempDir) == 64, "Proccom.tempDir");
KVR2_STATIC_ASSERT(offsetof(Proccom, abortHook) == 72, "Proccom.abortHook");
KVR2_STATIC_ASSERT(offsetof(Proccom, codePageHook) == 80, "Proccom.codePageHook");
KVR2_STATIC_ASSERT(offsetof(Proccom, sysin) == 96, "Proccom.sysin");
KVR2_STATIC_ASSERT(offsetof(Proccom, sysout) == 104, "Proccom.sysout");
KVR2_STATIC_ASSERT(offsetof(Proccom, msgs) == 112, "Proccom.msgs");
KVR2_STATIC_ASSERT(offsetof(Proccom, conIn) == 120, "Proccom.conIn");
KVR2_STATIC_ASSERT(offsetof(Proccom, conOut) == 128, "Proccom.conOut");
KVR2_STATIC_ASSERT(offsetof(Proccom, syspunch) == 136, "Proccom.syspunch");
KVR2_STATIC_ASSERT(offsetof(Proccom, spare) == 144, "Proccom.spare");
KVR2_STATIC_ASSERT(offsetof(Proccom, pid) == 192, "Proccom.pid");
KVR2_STATIC_ASSERT(offsetof(Proccom, mainThread) == 200, "Proccom.mainThread");
KVR2_STATIC_ASSERT(offsetof(Proccom, firstEntry) == 208, "Proccom.firstEntry");
KVR2_STATIC_ASSERT(offsetof(Proccom, threadKey) == 212, "Proccom.threadKey");
KVR2_STATIC_ASSERT(offsetof(Proccom, threadFallback) == 216, "Proccom.threadFallback");
KVR2_STATIC_ASSERT(offsetof(Proccom, runUnitCount) == 224, "Proccom.runUnitCount");
KVR2_STATIC_ASSERT(offsetof(Proccom, errCount) == 228, "Proccom.errCount");
KVR2_STATIC_ASSERT(offsetof(Proccom, programOptions) == 232, "Proccom.programOptions");
KVR2_STATIC_ASSERT(offsetof(Proccom, runtimeOptions) == 236, "Proccom.runtimeOptions");
KVR2_STATIC_ASSERT(offsetof(Proccom, txmn) == 240, "Proccom.txmn");
KVR2_STATIC_ASSERT(offsetof(Proccom, jvc) == 244, "Proccom.jvc");
KVR2_STATIC_ASSERT(offsetof(Proccom, debug) == 248, "Proccom.debug");
KVR2_STATIC_ASSERT(offsetof(Proccom, cache) == 252, "Proccom.cache");
KVR2_STATIC_ASSERT(offsetof(Proccom, ccsid) == 256, "Proccom.ccsid");
KVR2_STATIC_ASSERT(offsetof(Proccom, currentYear) == 260, "Proccom.currentYear");
KVR2_STATIC_ASSERT(offsetof(Proccom, winStdin) == 264, "Proccom.winStdin");
KVR2_STATIC_ASSERT(offsetof(Proccom, winStdout) == 272, "Proccom.winStdout");
KVR2_STATIC_ASSERT(offsetof(Proccom, winStderr) == 280, "Proccom.winStderr");
KVR2_STATIC_ASSERT(offsetof(Proccom, flags) == 288, "Proccom.flags");
KVR2_STATIC_ASSERT(offsetof(Proccom, fileSystem) == 289, "Proccom.fileSystem");
KVR2_STATIC_ASSERT(offsetof(Proccom, upsi) == 292, "Proccom.upsi");
KVR2_STATIC_ASSERT(offsetof(Proccom, codePageRow) == 300, "Proccom.codePageRow");
KVR2_STATIC_ASSERT(offsetof(Proccom, ebcdicCodePage) == 304, "Proccom.ebcdicCodePage");
KVR2_STATIC_ASSERT(offsetof(Proccom, localeName) == 320, "Proccom.localeName");
KVR2_STATIC_ASSERT(offsetof(Proccom, optionsParsed) == 384, "Proccom.optionsParsed");
KVR2_STATIC_ASSERT(sizeof(Proccom) == 392, "Proccom size");

/* Runcom.flags */
#define RU_FLAG_SIG     0x01u  /* this run unit installed signal handlers */
#define RU_FLAG_RU_TERM 0x02u  /* termination under way */

/* The run-unit record. */
typedef struct Runcom {
    char eyecatcher[8];          /* "RUNCOM  " */
    struct Runcom* link;
    struct Runcom* parent;
    struct HashTable* externalFiles;
    struct HashTable* externalVars;
    struct HashTable* plle;
    PCB* main;                   /* all bits set: host wrapper stub */
    uint64_t token;
    void* signals;
    uint64_t context;
    zvkHostStop stop;
    zvkHostStop abrt;
    uint64_t reserved96;
    zvkHostMsg msg;
    uint32_t id;
    uint32_t active;
    uint32_t errCount;
    uint32_t century;
    uint32_t randomSeed;
    uint8_t flags;
    uint8_t upsi[8];
    void* storage;
    uint32_t reserved152[2];
    zvkJmpBuf jmp;
} Runcom;

KVR2_STATIC_ASSERT(offsetof(Runcom, link) == 8, "Runcom.link");
KVR2_STATIC_ASSERT(offsetof(Runcom, parent) == 16, "Runcom.parent");
KVR2_STATIC_ASSERT(offsetof(Runcom, externalFiles) == 24, "Runcom.externalFiles");
KVR2_STATIC_ASSERT(offsetof(Runcom, externalVars) == 32, "Runcom.externalVars");
KVR2_STATIC_ASSERT(offsetof(Runcom, plle) == 40, "Runcom.plle");
KVR2_STATIC_ASSERT(offsetof(Runcom, main) == 48, "Runcom.main");
KVR2_STATIC_ASSERT(offsetof(Runcom, token) == 56, "Runcom.token");
KVR2_STATIC_ASSERT(offsetof(Runcom, signals) == 64, "Runcom.signals");
KVR2_STATIC_ASSERT(offsetof(Runcom, context) == 72, "Runcom.context");
KVR2_STATIC_ASSERT(offsetof(Runcom, stop) == 80, "Runcom.stop");
KVR2_STATIC_ASSERT(offsetof(Runcom, abrt) == 88, "Runcom.abrt");
KVR2_STATIC_ASSERT(offsetof(Runcom, msg) == 104, "Runcom.msg");
KVR2_STATIC_ASSERT(offsetof(Runcom, id) == 112, "Runcom.id");
KVR2_STATIC_ASSERT(offsetof(Runcom, active) == 116, "Runcom.active");
KVR2_STATIC_ASSERT(offsetof(Runcom, errCount) == 120, "Runcom.errCount");
KVR2_STATIC_ASSERT(offsetof(Runcom, century) == 124, "Runcom.century");
KVR2_STATIC_ASSERT(offsetof(Runcom, randomSeed) == 128, "Runcom.randomSeed");
KVR2_STATIC_ASSERT(offsetof(Runcom, flags) == 132, "Runcom.flags");
KVR2_STATIC_ASSERT(offsetof(Runcom, upsi) == 133, "Runcom.upsi");
KVR2_STATIC_ASSERT(offsetof(Runcom, storage) == 144, "Runcom.storage");
KVR2_STATIC_ASSERT(offsetof(Runcom, reserved152) == 152, "Runcom.reserved");
KVR2_STATIC_ASSERT(offsetof(Runcom, jmp) == 160, "Runcom.jmp");
KVR2_STATIC_ASSERT(sizeof(zvkJmpBuf) == 200, "the jump buffer is 200 bytes");
KVR2_STATIC_ASSERT(sizeof(Runcom) == 360, "Runcom size");

#define RUNCOM_MAIN_WRAPPER ((PCB*)~(uintptr_t)0)

/* The process record, null before the library is loaded and after the
   runtime has ended. */
extern KVR2_API Proccom* _zvkProccom;

#ifdef __cplusplus
}
#endif
#endif
