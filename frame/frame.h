// Internal interface of the run-unit frame: what every subsystem may rely on
// (the current run unit, the per-thread area, the locks and the message
// route) and the frame's own internal routines.
#pragma once

#include <pthread.h>
#include <cstdarg>
#include <cstdint>

#include "kvr2/kvr2.h"

extern "C" {

// ---- locking idiom ----
// zvkLock tries first and reports contention on stderr, then blocks.
void zvkLock(pthread_mutex_t* mutex);
void zvkUnlock(pthread_mutex_t* mutex);
extern pthread_mutex_t enterMutex;     // ent and active counts
extern pthread_mutex_t runUnitMutex;   // start and end of run units
extern pthread_mutex_t programMutex;   // program tables
extern pthread_mutex_t streamMutex;    // binding of device streams
extern pthread_mutex_t externalMutex;  // EXTERNAL data items

// Lock only when the process is not single-threaded (transaction monitor).
inline bool zvkSingleThreaded() { return _zvkProccom && _zvkProccom->txmn != 0; }
inline void zvkLockMt(pthread_mutex_t* m) { if (!zvkSingleThreaded()) zvkLock(m); }
inline void zvkUnlockMt(pthread_mutex_t* m) { if (!zvkSingleThreaded()) zvkUnlock(m); }

// ---- per-thread area ----
struct ThreadRecord {
    uint64_t threadId;
    void* scratch;
    uint64_t scratchSize;
    uint8_t sort[120];      // the sort subsystem's per-thread fields
};
static_assert(sizeof(ThreadRecord) == 144);
// size -1: the record or null, never allocates; 0: the record; >0 scratch.
void* zvkThreadScratch(int64_t size);
void zvkThreadScratchRelease(void);   // this thread's record, at runtime end

// ---- start-up ----
void zvk_init(void);
void InitCobolRte(PCB* pcb);
void RunUnitInit(PCB* pcb);
void _zvkTxmnRunUnit(uint64_t reserved, zvkHostMsg msg, uint64_t context);
// Marker passed by hosts where a PCB would go: never dereferenced.
#define ZVK_HOST_MARKER (reinterpret_cast<PCB*>(uintptr_t(1)))
inline bool zvkIsRealPcb(const PCB* p) { return p != nullptr && p != ZVK_HOST_MARKER; }

// The acting run unit of the termination routines: runcom, unless it is
// null or the head of freeru is still being finished.
Runcom* zvkActingRunUnit(void);
// runcom, else freeru.
Runcom* zvkCurrentOrFree(void);
bool zvkIsMainWrapper(const PCB* p);

// Trace under __ZVKDEBUG.
void zvkTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
inline bool zvkDebug() { return _zvkProccom && _zvkProccom->debug; }

// ---- messages ----
uint32_t zvkWriteMsg(uint32_t number, uint32_t control, ...);
uint32_t writeERRmsg(uint32_t number, uint32_t control, uint64_t reserved, va_list* args);
// Wraps the lines of text[0..length) in place to width columns; returns
// the new length.  Exposed for tests.
size_t zvkWrapLines(char* text, size_t length, size_t capacity, int width);

// ---- options ----
void zvkParseOptions(void);

// ---- termination ----
void RunUnitTerm(uint32_t reason, uint32_t status);
void TermCobolRte(uint32_t reason);
void zvk_fini(void);

// ---- signals and traceback ----
// Copies the template into the run unit's table and installs it, with
// _zvkSignal as the routine of every row.
void zvkSignalInstall(Runcom* ru);
// Takes the run unit's table off the stack of installed tables, putting
// back the handlers it replaced.
void zvkSignalRestore(Runcom* ru);
bool zvkSignalTableInstalled(const void* table);
void zvkSignalStackRelease(void);
// Traceback of the calling thread on stream (null: stderr).
void zvkTraceback(FILE* stream);
extern const uint32_t zvkSignalTableSize;   // bytes of a run unit's table

// ---- core files ----
int zvkMakeCore(void);          // 1 if a core file was made
int _zvkCore(void);             // as ZVKDUMP, 0 under a monitor
void zvkNoMoreCores(void);      // soft core limit to 0

// ---- program manager ----
// The name of a CALL or CANCEL as the program manager takes it: at most
// 160 bytes, trailing blanks and zero bytes dropped, folded to upper case
// when the caller's PCB asks.  out holds 161 bytes; result the length.
size_t zvkTakeProgramName(const uint8_t* name, int64_t length, const PCB* caller, char* out);
// The row of name in a compiled program's table of nested programs, or -1.
int32_t zvkFindInNames(const int32_t* names, const char* name, size_t length);
// Loads the program named in lle along COBPATH: 0 loaded, 3 no memory,
// 5 no entry point, 7 not found.
int zvkLoadProgram(LLE* lle);
struct HashTable* zvkProgramTableCreate(struct HashTable* parent, bool mru);
// Finds a program by name in the run unit's table; on a miss programMutex
// is left held (when *lockHeld was clear and it was taken) so that lookup
// and insert are one step.
LLE* zvkFindProgram(const char* name, uint32_t length, void* state, int* lockHeld,
                    PCB* caller, const char* verb);
LLE* zvkAddProgram(LLE* lle, void* state, int flag);
void zvkUnloadRunUnitPrograms(Runcom* ru);

// ---- storage ----
void zvkTrackedFreeAll(Runcom* ru);

}  // extern "C"
