// The run unit's answer to a signal (_zvkSignal, run by default_sigrtn),
// and core files of the running process made with gcore.

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <ucontext.h>
#include <unistd.h>

#include "frame/messages.h"
#include "frame/rununit.h"
#include "frame/termination.h"
#include "frame/signals.h"
#include "frame/devices.h"
#include "kvr2/rununit.h"
#include "kvr2/signals.h"

namespace {

constexpr size_t kNameMax = 4096;

void traceCore() {
    Proccom* pc = _zvkProccom;
    if (pc && pc->debug)
        zvkTrace("_zvkCore: PID %d Proccom @%p Runcom @%p  reason=%d  txmn=%d\n", pc->pid, (void*)pc,
                 (void*)zvkActingRunUnit(), 5, pc->txmn);
}

void readWindow(int fd, struct winsize* ws) {
    if (ioctl(fd, TIOCGWINSZ, ws) != 0) memset(ws, 0, sizeof *ws);
}

// The place of a fault in words: address, and the function and object
// around it when the loader knows them.
void describeLocation(void* context, char* out, size_t size) {
    void* ip = nullptr;
    if (context) ip = reinterpret_cast<void*>(static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
    Dl_info di;
    if (ip && dladdr(ip, &di) && di.dli_fname) {
        const char* base = strrchr(di.dli_fname, '/');
        base = base ? base + 1 : di.dli_fname;
        if (di.dli_sname && di.dli_saddr)
            snprintf(out, size, "%p (%s+0x%lx in %s)", ip, di.dli_sname,
                     static_cast<unsigned long>(static_cast<char*>(ip) - static_cast<char*>(di.dli_saddr)), base);
        else
            snprintf(out, size, "%p (%s)", ip, base);
        return;
    }
    snprintf(out, size, "%p", ip);
}

}  // namespace

extern "C" {

void zvkNoMoreCores(void) {
    struct rlimit rl;
    if (getrlimit(RLIMIT_CORE, &rl) == 0) {
        rl.rlim_cur = 0;
        setrlimit(RLIMIT_CORE, &rl);
    }
}

int zvkMakeCore(void) {
    struct rlimit rl;
    if (getrlimit(RLIMIT_CORE, &rl) == 0 && rl.rlim_cur == 0) return 0;
    const char* value = getenv("COBCORE");
    if (!value || !*value) value = "core%";
    // Expanded as output names are, with a time stamp of its own.
    char name[kNameMax];
    snprintf(name, sizeof name, "%s", expandOutputName(value, 1, "core"));
    // gcore adds ".<pid>" itself: what stands after the last "." of the
    // file's own name (the process id of the expansion, or an extension)
    // goes.  A "." in a directory name is not the file's.
    char* dot = strrchr(name, '.');
    char* slash = strrchr(name, '/');
    if (dot && (!slash || dot > slash)) *dot = 0;

    const unsigned pid = static_cast<unsigned>(getpid());
    char cmd[kNameMax + 128] = "/usr/bin/gcore -o ";
    zvkAppendQuoted(cmd, sizeof cmd, name);
    size_t n = strlen(cmd);
    snprintf(cmd + n, sizeof cmd - n, " %u 1>/dev/null 2>&1\n", pid);
    errno = 0;
    fflush(stderr);
    fflush(stdout);
    const int status = system(cmd);
    const int err = errno;
    int code = status;
    if (status != -1 && WIFEXITED(status)) code = WEXITSTATUS(status);
    bool made = status != -1 && code == 0;
    if (status == -1 && err == ECHILD) {
        // The status was lost (SIGCHLD ignored): the file tells.
        char file[kNameMax + 16];
        snprintf(file, sizeof file, "%s.%u", name, pid);
        struct stat st;
        made = stat(file, &st) == 0;
    }
    int result;
    if (!made) {
        fprintf(stderr, "Create core file failed: %x - %d %s\n", static_cast<unsigned>(code), err, strerror(err));
        result = 0;
    } else {
        fprintf(stderr, "Created core file: %s.%u\n", name, pid);
        result = 1;
    }
    fflush(stderr);
    fflush(stdout);
    return result;
}

int _zvkCore(void) {
    Proccom* pc = _zvkProccom;
    traceCore();
    if (pc && pc->txmn) return 0;
    return zvkMakeCore();
}

KVR2_API int32_t ZVKDUMP(void) {
    Proccom* pc = _zvkProccom;
    traceCore();
    if (pc && pc->txmn) return static_cast<int32_t>(pc->txmn);
    return zvkMakeCore();
}

KVR2_API void _zvkSignal(int32_t sig, siginfo_t* info, void* context) {
    (void)info;
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    Runcom* ru = zvkActingRunUnit();
    if (pc->flags & PROC_FLAG_ABORT) {
        // The SIGABRT that _zvkAbort raises.
        pc->flags &= static_cast<uint8_t>(~PROC_FLAG_ABORT);
        return;
    }
    const char* name = zvkSignalName(ru ? ru->signals : nullptr, sig);
    if (pc->debug)
        zvkTrace("_zvkSignal: PID %d Proccom @%p Runcom @@%p signal=%u (%s) abort=%u  stop=@%p  abrt=@%p  jmp=@%p\n",
                 pc->pid, (void*)pc, (void*)ru, static_cast<unsigned>(sig), name,
                 (pc->flags & PROC_FLAG_ABORT) ? 1u : 0u, ru ? (void*)ru->stop : nullptr,
                 ru ? (void*)ru->abrt : nullptr, ru ? (void*)&ru->jmp : nullptr);
    if (pc->flags & PROC_FLAG_SIGNAL) return;   // a signal inside the report of another

    char location[512];
    describeLocation(context, location, sizeof location);
    if (pc->sysout == stdout || pc->conOut == stdout) zvkSyncStream(stdout);

    flockfile(stderr);
    if (sig == SIGWINCH) {
        readWindow(0, &pc->winStdin);
        readWindow(1, &pc->winStdout);
        readWindow(2, &pc->winStderr);
        funlockfile(stderr);
        return;
    }
    if (sig == SIGCONT || sig == SIGUSR1 || sig == SIGUSR2 || sig == SIGXCPU || sig == SIGXFSZ) {
        fprintf(stderr, "\n  Signal received: %d (%s)\n\n", sig, strsignal(sig));
        zvkTraceback(stderr);
        funlockfile(stderr);
        return;
    }

    // A fatal signal.
    pc->flags |= PROC_FLAG_SIGNAL;
    int cored = 0;
    if (pc->runtimeOptions & (OPT_TRAP_CORE | OPT_TRAP_DUMP)) {
        traceCore();
        if (!pc->txmn) cored = zvkMakeCore();
        if (cored) zvkNoMoreCores();
    }
    zvkTraceback(stderr);
    FILE* msgs = pc->msgs ? pc->msgs : openDeviceStream('M');
    zvkWriteMsg(995, 0x401, name, location);
    zvkSyncStream(msgs ? msgs : stderr);
    funlockfile(stderr);

    if (pc->txmn && ru) {
        if (pc->debug) {
            const char* main = "";
            int n = 0;
            if (!zvkIsMainWrapper(ru->main)) {
                main = ru->main->name;
                n = static_cast<int>(ru->main->nameLength);
            }
            zvkTrace("_zvkSignal: TXMN - siglongjmp() to COBOL epilogue of %*.*s via @%p  run unit @%p\n", n, n, main,
                     (void*)&ru->jmp, (void*)ru);
        }
        siglongjmp(ru->jmp, sig + 128);
    }
    if (!(pc->runtimeOptions & OPT_TRAP_DUMP)) {
        _zvkAbort(cored);
        return;
    }
    if (!(pc->runtimeOptions & OPT_TRAP_CORE)) {
        if (pc->debug) zvkTrace("_zvkSignal: Abort_now\n");
        sigset_t abrt;
        sigemptyset(&abrt);
        sigaddset(&abrt, SIGABRT);
        pthread_sigmask(SIG_UNBLOCK, &abrt, nullptr);
        raise(SIGABRT);
        return;
    }
    // TRAP=DUMP: the signal takes its own course from here, without a
    // second core if there is one already.
    if (cored) zvkNoMoreCores();
}

}  // extern "C"
