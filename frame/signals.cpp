// Signal handling and traceback.
//
// A table names each signal the runtime catches and what becomes of it.
// Each run unit installs its own copy of the table (when the TRAP option is
// on); the installed tables form a stack, so that the end of a run unit
// puts back exactly the handlers that were there before it.  One handler,
// default_sigrtn, serves every row: it explains the fault in words, runs
// the row's routine (the run unit's _zvkSignal) and then does what the
// row's class says.  SIGSEGV runs on an alternate stack so that a stack
// overflow can still be reported.

#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <execinfo.h>
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <ucontext.h>
#include <unistd.h>

#include "frame/devices.h"
#include "frame/signals.h"
#include "kvr2/signals.h"

namespace {

using Routine = void (*)(int, siginfo_t*, void*);

// What happens after the row's routine.
enum SignalClass : uint64_t { ReturnToCode = 0, JumpBack = 1, PassOn = 2, DefaultAndRaise = 3 };

Routine initialHandler(__sighandler_t h) { return reinterpret_cast<Routine>(reinterpret_cast<void*>(h)); }

SignalRow templateRow(const char* name, int sig, uint32_t extraFlags, uint64_t cls, Routine initial = nullptr) {
    SignalRow r;
    memset(&r, 0, sizeof r);
    r.name = name;
    r.signal = sig;
    r.extraFlags = extraFlags;
    r.cls = cls;
    r.routine = initial;
    return r;
}

// The template every table is copied from.  A routine given here is the
// row's initial handler: it goes into the action when the table is
// installed (SIGPIPE and SIGIO are ignored while a run unit is active).
const SignalRow kTemplate[kSignalRows] = {
    templateRow("SIGHUP", SIGHUP, 0, DefaultAndRaise),
    templateRow("SIGWINCH", SIGWINCH, 0, ReturnToCode),
    templateRow("SIGINT", SIGINT, 0, DefaultAndRaise),
    templateRow("SIGQUIT", SIGQUIT, 0, DefaultAndRaise),
    templateRow("SIGTTIN", SIGTTIN, 0, DefaultAndRaise),
    templateRow("SIGTTOU", SIGTTOU, 0, DefaultAndRaise),
    templateRow("SIGTSTP", SIGTSTP, 0, DefaultAndRaise),
    templateRow("SIGTERM", SIGTERM, 0, PassOn),
    templateRow("SIGABRT", SIGABRT, 0, PassOn),
    templateRow("SIGSEGV", SIGSEGV, SA_ONSTACK, PassOn),
    templateRow("SIGILL", SIGILL, 0, PassOn),
    templateRow("SIGFPE", SIGFPE, 0, PassOn),
    templateRow("SIGBUS", SIGBUS, 0, PassOn),
    templateRow("SIGSYS", SIGSYS, 0, PassOn),
    templateRow("SIGPWR", SIGPWR, 0, PassOn),
    templateRow("SIGSTKFLT", SIGSTKFLT, 0, PassOn),
    templateRow("SIGSTKFLT", SIGSTKFLT, SA_ONSTACK, PassOn),
    templateRow("SIGXCPU", SIGXCPU, 0, ReturnToCode),
    templateRow("SIGXFSZ", SIGXFSZ, 0, ReturnToCode),
    templateRow("SIGUSR1", SIGUSR1, 0, ReturnToCode),
    templateRow("SIGUSR2", SIGUSR2, 0, ReturnToCode),
    templateRow("SIGCONT", SIGCONT, 0, PassOn),
    templateRow("SIGTRAP", SIGTRAP, 0, PassOn),
    templateRow("SIGPIPE", SIGPIPE, 0, ReturnToCode, initialHandler(SIG_IGN)),
    templateRow("SIGIO", SIGIO, 0, ReturnToCode, initialHandler(SIG_IGN)),
    templateRow("?", 0, 0, PassOn),
};

SignalRow defaultTable[kSignalRows];

// The installed tables, innermost last.
constexpr int kMaxDepth = 64;
SignalRow* installed[kMaxDepth];
int depth = 0;
pthread_mutex_t tableMutex = PTHREAD_MUTEX_INITIALIZER;

// The alternate stack: ours if we made it, else one found in force.
constexpr size_t kStackSize = 32768;
void* ourStack = nullptr;
pthread_t ourStackThread;
bool stackKnown = false;    // one is in force (ours or found)
bool stackFailed = false;   // a previous attempt failed: do not retry

// Counters of the resource-limit signals.
int xcpuCount = 0, xfszCount = 0;

// The process-wide buffer of class 1; armed by no one unless asked.
sigjmp_buf classOneJump;
bool classOneArmed = false;

void setUpAltStack() {
    if (stackKnown || stackFailed) return;
    stack_t cur;
    if (sigaltstack(nullptr, &cur) == 0 && !(cur.ss_flags & SS_DISABLE) && cur.ss_size > 32767) {
        stackKnown = true;
        return;
    }
    void* mem = calloc(1, kStackSize);
    if (!mem) {
        stackFailed = true;
        return;
    }
    stack_t ss{};
    ss.ss_sp = mem;
    ss.ss_size = kStackSize;
    ss.ss_flags = 0;
    if (sigaltstack(&ss, nullptr) != 0) {
        free(mem);
        stackFailed = true;
        return;
    }
    ourStack = mem;
    ourStackThread = pthread_self();
    stackKnown = true;
}

bool altStackEnabled() {
    stack_t cur;
    return sigaltstack(nullptr, &cur) == 0 && !(cur.ss_flags & SS_DISABLE);
}

SignalRow* rowOf(SignalRow* table, int sig) {
    int i = 0;
    for (; table[i].signal != 0; ++i)
        if (table[i].signal == sig) return &table[i];
    return &table[i];   // the end row stands for any other signal
}

uintptr_t faultLocation(void* context) {
    if (!context) return 0;
    const ucontext_t* uc = static_cast<const ucontext_t*>(context);
    return static_cast<uintptr_t>(uc->uc_mcontext.gregs[REG_RIP]);
}

void put(const char* text) { fputs(text, stderr); }

// One line in words for the faults that have one.  Result false when the
// signal is to be let go at once (repeated resource-limit signals).
bool explain(int sig, const siginfo_t* info, void* location, bool* done) {
    *done = false;
    fflush(stdout);
    const int code = info ? info->si_code : 0;
    const uintptr_t addr = info ? reinterpret_cast<uintptr_t>(info->si_addr) : 0;
    switch (sig) {
        case SIGILL:
            if (code == ILL_ILLOPC || addr <= 4095)
                fprintf(stderr, "SIGILL: Likely call via NULL function pointer (%p).\n", location);
            else if (code == ILL_BADSTK)
                fprintf(stderr, "SIGILL: Internal stack error (%p).\n", location);
            break;
        case SIGFPE:
            switch (code) {
                case FPE_INTDIV: put("SIGFPE: Integer division by zero.\n"); break;
                case FPE_INTOVF: put("SIGFPE: Integer overflow.\n"); break;
                case FPE_FLTDIV: put("SIGFPE: BFP division by zero.\n"); break;
                case FPE_FLTOVF: put("SIGFPE: BFP overflow.\n"); break;
                case FPE_FLTUND: put("SIGFPE: BFP underflow.\n"); break;
                case FPE_FLTRES: put("SIGFPE: BFP inexact results.\n"); break;
                case FPE_FLTINV: put("SIGFPE: BFP invalid operation.\n"); break;
                case FPE_FLTSUB: put("SIGFPE: BFP subscript out of range.\n"); break;
                default: fprintf(stderr, "SIGFPE: Other exception: %d.\n", code); break;
            }
            break;
        case SIGSEGV:
            if (code == SEGV_MAPERR) {
                if (addr <= 4095)
                    fprintf(stderr, "SIGSEGV: Likely NULL pointer dereference (%p).\n", info->si_addr);
                else
                    fprintf(stderr, "SIGSEGV: bad branch or `ulimit -s` may have been exceeded (%p).\n",
                            info->si_addr);
            }
            break;
        case SIGXCPU:
            if (++xcpuCount > 2) {
                *done = true;
                return false;
            }
            put("SIGXCPU: `ulimit -t` exceeded, we may get killed.\n");
            break;
        case SIGXFSZ:
            if (++xfszCount > 1) {
                *done = true;
                return false;
            }
            put("SIGXFSZ: `ulimit -f` exceeded, expect I/O errors\n");
            break;
        case SIGPWR:
            put("SIGPWR: Power failure imminent, we may get killed.\n");
            break;
        default:
            break;
    }
    return true;
}

void plainReport(int sig, const siginfo_t* info, const SignalRow* row, void* location) {
    if (sig == SIGTTIN || sig == SIGTTOU || sig == SIGWINCH) return;
    fflush(stdout);
    fflush(stderr);
    fprintf(stderr, "\n PID %u PPID %u  Signal received: %d(%d) - %s (%s) at location %p\n",
            static_cast<unsigned>(getpid()), static_cast<unsigned>(getppid()), sig, info ? info->si_code : 0,
            row->name, strsignal(sig), location);
    void* frames[100];
    int n = backtrace(frames, 100);
    put("  Traceback:\n");
    fflush(stderr);
    backtrace_symbols_fd(frames, n, 2);
    put("    --- End of call chain ---\n");
    fflush(stderr);
}

// The object's addresses as addr2line wants them: relative to its base for
// shared objects and position-independent programs, as they are for a
// program linked at a fixed address.
uintptr_t objectAddress(const Dl_info& di, uintptr_t addr) {
    const Elf64_Ehdr* eh = static_cast<const Elf64_Ehdr*>(di.dli_fbase);
    if (eh && memcmp(eh->e_ident, ELFMAG, SELFMAG) == 0 && eh->e_type == ET_EXEC) return addr;
    return addr - reinterpret_cast<uintptr_t>(di.dli_fbase);
}

}  // namespace

extern "C" {

const uint32_t zvkSignalTableSize = sizeof(SignalRow) * kSignalRows;

void zvkSignalInstallTable(SignalRow* table, Routine handler, Routine routine) {
    if (!table) {
        memcpy(defaultTable, kTemplate, sizeof defaultTable);
        table = defaultTable;
    }
    if (!handler) handler = default_sigrtn;
    pthread_mutex_lock(&tableMutex);
    if (depth == kMaxDepth) {
        pthread_mutex_unlock(&tableMutex);
        fprintf(stderr, "Error on sigaction(%d,...)=%d %d %s\n", 0, -1, ENOSPC, strerror(ENOSPC));
        return;
    }
    installed[depth++] = table;
    setUpAltStack();

    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    for (int i = 0; table[i].signal != 0; ++i) sigaddset(&action.sa_mask, table[i].signal);

    const bool haveStack = ourStack != nullptr || altStackEnabled();
    for (int i = 0; table[i].signal != 0; ++i) {
        SignalRow& row = table[i];
        row.action = action;
        if (row.routine) row.action.sa_sigaction = row.routine;
        row.routine = routine;
        row.action.sa_flags |= static_cast<int>(row.extraFlags);
        if ((row.action.sa_flags & SA_ONSTACK) && !haveStack) row.action.sa_flags &= ~SA_ONSTACK;
        if (sigaction(row.signal, &row.action, &row.previous) != 0) {
            int e = errno;
            fprintf(stderr, "Error on sigaction(%d,...)=%d %d %s\n", row.signal, -1, e, strerror(e));
        }
    }
    pthread_mutex_unlock(&tableMutex);
}

// Puts back, latest row first, the actions a table replaced: a signal
// with two rows gets back what was there before the first.
static void restoreRows(SignalRow* table) {
    int n = 0;
    while (table[n].signal != 0) ++n;
    for (int i = n - 1; i >= 0; --i) sigaction(table[i].signal, &table[i].previous, nullptr);
}

void zvkSignalRestoreTop(void) {
    pthread_mutex_lock(&tableMutex);
    if (depth > 0) restoreRows(installed[--depth]);
    pthread_mutex_unlock(&tableMutex);
}

void zvkSignalCopyTemplate(SignalRow* table) { memcpy(table, kTemplate, sizeof kTemplate); }

void zvkSignalInstall(Runcom* ru) {
    if (!ru || !ru->signals) return;
    memcpy(ru->signals, kTemplate, sizeof kTemplate);
    zvkSignalInstallTable(static_cast<SignalRow*>(ru->signals), nullptr, _zvkSignal);
}

// Takes a run unit's table off the stack.  The innermost table puts back
// what it replaced; a table further down (run units ended out of order)
// hands what it replaced to the table above it, which puts it back when
// its turn comes.
void zvkSignalRestore(Runcom* ru) {
    if (!ru || !ru->signals) return;
    SignalRow* table = static_cast<SignalRow*>(ru->signals);
    pthread_mutex_lock(&tableMutex);
    int at = depth - 1;
    while (at >= 0 && installed[at] != table) --at;
    if (at < 0) {
        pthread_mutex_unlock(&tableMutex);
        return;
    }
    if (at == depth - 1) {
        restoreRows(table);
    } else {
        SignalRow* above = installed[at + 1];
        for (int i = 0; table[i].signal != 0; ++i) above[i].previous = table[i].previous;
        memmove(&installed[at], &installed[at + 1], sizeof installed[0] * static_cast<size_t>(depth - at - 1));
    }
    --depth;
    pthread_mutex_unlock(&tableMutex);
}

bool zvkSignalTableInstalled(const void* table) {
    bool found = false;
    pthread_mutex_lock(&tableMutex);
    for (int i = 0; i < depth && !found; ++i) found = installed[i] == table;
    pthread_mutex_unlock(&tableMutex);
    return found;
}

void zvkSignalStackRelease(void) {
    if (!ourStack) return;
    // The stack belongs to the thread that installed it; from any other
    // thread it is left as it is.
    if (!pthread_equal(ourStackThread, pthread_self())) return;
    stack_t cur;
    if (sigaltstack(nullptr, &cur) != 0 || cur.ss_sp != ourStack || (cur.ss_flags & SS_ONSTACK)) return;
    stack_t off{};
    off.ss_flags = SS_DISABLE;
    if (sigaltstack(&off, nullptr) != 0) {
        fprintf(stderr, "Loosing alternate signal stack %p\n", ourStack);
        ourStack = nullptr;
        stackFailed = true;
        return;
    }
    free(ourStack);
    ourStack = nullptr;
    stackKnown = false;
}

const char* zvkSignalName(const void* table, int sig) {
    if (!table) return "?";
    return rowOf(static_cast<SignalRow*>(const_cast<void*>(table)), sig)->name;
}

void zvkTraceback(FILE* stream) {
    if (!stream) stream = stderr;
    zvkSyncStream(stream);
    zvkSyncStream(stderr);
    zvkSyncStream(stdout);
    fflush(nullptr);

    void* frames[132];
    int n = backtrace(frames, 132);
    if (n > 0) {
        const char* lines = getenv("traceback_lines");
        if (!lines || lines[0] == '0' || lines[0] == 0) {
            fputs("  Traceback:\n", stream);
            fflush(stream);
            backtrace_symbols_fd(frames, n, fileno(stream));
        } else if (char** symbols = backtrace_symbols(frames, n)) {
            fputs("  Traceback:\n", stream);
            for (int i = 1; i < n; ++i) {
                fprintf(stream, "%s\n", symbols[i]);
                const char* bracket = strchr(symbols[i], '[');
                if (!bracket) continue;
                uintptr_t addr = strtoul(bracket + 1, nullptr, 16);
                Dl_info di;
                if (!addr || !dladdr(reinterpret_cast<void*>(addr), &di) || !di.dli_fname || !*di.dli_fname)
                    continue;
                // The line numbers go to the traceback's own stream, next
                // to the frame they explain.
                char cmd[2048] = "/usr/bin/addr2line -a -f -C -s -p -e ";
                zvkAppendQuoted(cmd, sizeof cmd, di.dli_fname);
                size_t len = strlen(cmd);
                snprintf(cmd + len, sizeof cmd - len, " 0x%lx 1>&%d 2>/dev/null\n",
                         static_cast<unsigned long>(objectAddress(di, addr)), fileno(stream));
                fflush(stream);
                int rc = system(cmd);
                (void)rc;
                fflush(stdout);
            }
            free(symbols);
        }
    }
    fputs("    --- End of call chain ---\n", stream);
    zvkSyncStream(stream);
    fflush(nullptr);
}

// For the tests: arms the class-1 buffer.
sigjmp_buf* zvkSignalClassOneBuffer(void) {
    classOneArmed = true;
    return &classOneJump;
}

KVR2_API void default_sigrtn(int sig, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    SignalRow* table = depth > 0 ? installed[depth - 1] : nullptr;
    if (!table) {
        // No table of ours any more: the signal gets its default action.
        signal(sig, SIG_DFL);
        raise(sig);
        errno = savedErrno;
        return;
    }
    SignalRow* row = rowOf(table, sig);

    // Someone else put in a handler of the old kind: it is theirs now.
    struct sigaction present;
    if (sigaction(sig, nullptr, &present) == 0 && !(present.sa_flags & SA_SIGINFO)) {
        errno = savedErrno;
        return;
    }

    void* location = reinterpret_cast<void*>(faultLocation(context));
    bool done = false;
    if (!explain(sig, info, location, &done) && done) {
        errno = savedErrno;
        return;
    }
    if (row->routine)
        row->routine(sig, info, context);
    else
        plainReport(sig, info, row, location);

    errno = savedErrno;
    switch (row->cls) {
        case ReturnToCode:
            return;
        case JumpBack:
            if (classOneArmed) siglongjmp(classOneJump, 666);
            break;
        case PassOn: {
            const struct sigaction& prev = row->previous;
            if (prev.sa_handler == SIG_IGN) return;
            if (prev.sa_handler == SIG_DFL) {
                signal(sig, SIG_DFL);
                raise(sig);
                errno = savedErrno;
                return;
            }
            if (prev.sa_flags & SA_SIGINFO)
                prev.sa_sigaction(sig, info, context);
            else
                prev.sa_handler(sig);
            errno = savedErrno;
            return;
        }
        case DefaultAndRaise:
            signal(sig, SIG_DFL);
            raise(sig);
            errno = savedErrno;
            return;
        default:
            break;
    }
    signal(SIGABRT, SIG_DFL);
    abort();
}

}  // extern "C"
