// Binding of the device streams (console, SYSIN, SYSOUT, SYSPUNCH and the
// message stream) from the environment, on first use, and the names of the
// files an output device is sent to.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "frame/devices.h"
#include "frame/rununit.h"
#include "frame/threads.h"

namespace {

constexpr size_t kNameSize = 4096;

enum class Default { Stdin, Stdout, Stderr, None };

struct Device {
    uint8_t letter;
    const char* variables[3];
    Default fallback;
    const char* mode;
    const char* defaultWord;   // null: the value is a file name as it stands
    const char* notice;
};

constexpr Device kDevices[] = {
    {'A', {"CONSOLE", nullptr, nullptr}, Default::Stdin, "r", nullptr, nullptr},
    {'D', {"CONSOLE", nullptr, nullptr}, Default::Stdout, "a", "tty", "Creating CONSOLE file: %s\n"},
    {'I', {"SYSIN", "SYSIPT", nullptr}, Default::Stdin, "r", nullptr, nullptr},
    {'M', {"COBMSGS", nullptr, nullptr}, Default::Stderr, "a", "stderr", "Creating COBMSGS file: %s\n"},
    {'O', {"SYSOUT", "SYSLIST", "SYSLST"}, Default::Stdout, "a", "stdout", "Creating SYSOUT file: %s\n"},
    {'P', {"SYSPUNCH", "SYSPCH", nullptr}, Default::None, "w", "syspunch", "Creating SYSPUNCH file: %s\n"},
};

FILE** slotOf(Proccom* pc, uint8_t letter) {
    switch (letter) {
        case 'A': return &pc->conIn;
        case 'D': return &pc->conOut;
        case 'I': return &pc->sysin;
        case 'M': return &pc->msgs;
        case 'O': return &pc->sysout;
        case 'P': return &pc->syspunch;
        default: return nullptr;
    }
}

struct winsize* windowOf(Proccom* pc, uint8_t letter) {
    switch (letter) {
        case 'A':
        case 'I': return &pc->winStdin;
        case 'D':
        case 'O': return &pc->winStdout;
        case 'M': return &pc->winStderr;
        default: return nullptr;
    }
}

FILE* defaultStream(Default d) {
    switch (d) {
        case Default::Stdin: return stdin;
        case Default::Stdout: return stdout;
        case Default::Stderr: return stderr;
        case Default::None: break;
    }
    return nullptr;
}

FILE* bind(Proccom* pc, const Device& d) {
    const char* value = nullptr;
    for (const char* v : d.variables) {
        if (!v) break;
        const char* e = getenv(v);
        if (e && *e) {
            value = e;
            break;
        }
    }
    FILE* f = nullptr;
    if (value) {
        if (!d.defaultWord) {
            f = fopen(value, d.mode);
        } else {
            char name[kNameSize];
            snprintf(name, sizeof name, "%s", expandOutputName(value, 0, d.defaultWord));
            f = fopen(name, d.mode);
            if (f && strcmp(name, value) != 0) {
                fprintf(stdout, d.notice, name);
            }
        }
    }
    // The window sizes of the standard streams were read from their
    // descriptors when the runtime started (and are kept current on
    // SIGWINCH); a stream bound to a file of its own records its own.
    if (!f) f = defaultStream(d.fallback);
    else {
        if (struct winsize* w = windowOf(pc, d.letter)) {
            memset(w, 0, sizeof *w);
            if (isatty(fileno(f)) == 1 && ioctl(fileno(f), TIOCGWINSZ, w) != 0) memset(w, 0, sizeof *w);
        }
    }
    return f;
}

// The program name part of a generated file name: the run unit's main
// program and a ".", or nothing.
void programPart(char (&out)[32]) {
    out[0] = 0;
    Proccom* pc = _zvkProccom;
    Runcom* ru = pc ? pc->runcom : nullptr;
    const PCB* main = ru ? ru->main : nullptr;
    if (!zvkIsRealPcb(main) || main == RUNCOM_MAIN_WRAPPER || !main->name) return;
    size_t n = main->nameLength;
    if (n > sizeof out - 2) n = sizeof out - 2;
    memcpy(out, main->name, n);
    out[n] = '.';
    out[n + 1] = 0;
}

struct Stamp {
    char text[64];
    long micro;
};

void stampNow(Stamp* s) {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    time_t t = tv.tv_sec;
    struct tm tm;
    localtime_r(&t, &tm);
    if (strftime(s->text, sizeof s->text, "%Y%m%d.%H%M%S", &tm) == 0) s->text[0] = 0;
    s->micro = static_cast<long>(tv.tv_usec);
}

char nameBuffer[kNameSize];
char prefix[kNameSize];
bool prefixRead = false;
bool processStamped = false;
Stamp processStamp;
int zoneHours = 0, zoneMinutes = 0;
long processId = 0;

}  // namespace

extern "C" {

FILE* openDeviceStream(uint8_t letter) {
    Proccom* pc = _zvkProccom;
    if (!pc) return letter == 'M' ? stderr : nullptr;
    FILE** slot = slotOf(pc, letter);
    if (!slot) return nullptr;
    if (FILE* f = __atomic_load_n(slot, __ATOMIC_ACQUIRE)) return f;
    zvkLockMt(&streamMutex);
    FILE* f = *slot;
    if (!f) {
        for (const Device& d : kDevices) {
            if (d.letter != letter) continue;
            f = bind(pc, d);
            __atomic_store_n(slot, f, __ATOMIC_RELEASE);
            break;
        }
    }
    zvkUnlockMt(&streamMutex);
    return f;
}

const char* expandOutputName(const char* value, int32_t fresh, const char* defaultWord) {
    if (!prefixRead) {
        const char* dir = getenv("COBOUTDIR");
        prefix[0] = 0;
        if (dir && *dir) {
            snprintf(prefix, sizeof prefix - 1, "%s", dir);
            size_t n = strlen(prefix);
            if (prefix[n - 1] != '/') {
                prefix[n] = '/';
                prefix[n + 1] = 0;
            }
        }
        prefixRead = true;
    }
    if (!processStamped) {
        processId = _zvkProccom ? _zvkProccom->pid : static_cast<long>(getpid());
        tzset();
        zoneHours = static_cast<int>(timezone / 3600);
        zoneMinutes = static_cast<int>((timezone % 3600) / 60);
        stampNow(&processStamp);
        processStamped = true;
    }
    Stamp stamp = processStamp;
    if (fresh == 1) stampNow(&stamp);
    char program[32];
    programPart(program);

    // The result is at most 4095 bytes: a longer name is cut, which the
    // open of the file then reports.  The lengths are counted so that the
    // compiler knows the cut is meant.
    const size_t limit = kNameSize - 1;
    int written = 0;
    const size_t length = value ? strlen(value) : 0;
    if (length == 0) {
        if (defaultWord)
            written = snprintf(nameBuffer, limit, "%s%s.%s%s.%6.6ld%+2.2d%2.2d.%ld", prefix, defaultWord, program, stamp.text,
                     stamp.micro, zoneHours, zoneMinutes, processId);
        else
            written = snprintf(nameBuffer, limit, "%s%s.%6.6ld%+2.2d%2.2d.%ld", program, stamp.text, stamp.micro, zoneHours,
                     zoneMinutes, processId);
        return written < 0 ? "" : nameBuffer;
    }
    const char* front = (value[0] == '.' || value[0] == '/') ? "" : prefix;
    if (value[length - 1] != '%') {
        written = snprintf(nameBuffer, limit, "%s%s", front, value);
        return written < 0 ? "" : nameBuffer;
    }
    const int stem = static_cast<int>(length - 1 > 4095 ? 4095 : length - 1);
    const bool directory = length == 1 || (length >= 2 && value[length - 2] == '/');
    written = snprintf(nameBuffer, limit, "%s%*.*s%s.%s%s.%6.6ld%+2.2d%2.2d.%ld", front, stem, stem, value,
             directory && defaultWord ? defaultWord : "", program, stamp.text, stamp.micro, zoneHours, zoneMinutes,
             processId);
    return written < 0 ? "" : nameBuffer;
}

void zvkDeviceStreamsRelease(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    FILE** const slots[] = {&pc->conIn, &pc->conOut, &pc->sysin, &pc->msgs, &pc->sysout, &pc->syspunch};
    for (size_t i = 0; i < sizeof slots / sizeof slots[0]; ++i) {
        FILE* f = *slots[i];
        if (!f || f == stdin || f == stdout || f == stderr) continue;
        // CONSOLE may have opened one file for input and output; each
        // stream is closed once.
        for (size_t j = i + 1; j < sizeof slots / sizeof slots[0]; ++j)
            if (*slots[j] == f) *slots[j] = nullptr;
        fclose(f);
        *slots[i] = nullptr;
    }
}

void zvkAppendQuoted(char* cmd, size_t size, const char* s) {
    size_t n = strlen(cmd);
    if (n + 1 < size) cmd[n++] = '\'';
    for (; *s && n + 5 < size; ++s) {
        if (*s == '\'') {
            memcpy(cmd + n, "'\\''", 4);
            n += 4;
        } else {
            cmd[n++] = *s;
        }
    }
    if (n + 1 < size) cmd[n++] = '\'';
    cmd[n] = 0;
}

void zvkSyncStream(FILE* f) {
    if (!f) return;
    fflush(f);
    int fd = fileno(f);
    if (fd >= 0) fdatasync(fd);
}

}  // extern "C"
