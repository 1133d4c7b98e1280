// The console verbs: DISPLAY, ACCEPT from a device or from the clock,
// ACCEPT of a national item, and STOP with a literal.
//
// A statement holds its stream's lock (flockfile) from its first byte to
// its line end, so that statements of several threads never mix within a
// line.  Messages are issued only after the lock is given back: a message
// may end the run unit.

#include <errno.h>
#include <math.h>
#include <poll.h>
#include <quadmath.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "base/bytes.h"
#include "chardata/codepages.h"
#include "frame/messages.h"
#include "kvr2/console.h"
#include "frame/devices.h"
#include "kvr2/decimal.h"
#include "kvr2/records.h"
#include "kvr2/rununit.h"

namespace {

constexpr size_t kWorkBuffer = 1024;
// Widths are clamped so that every text fits the work buffer: a sign, the
// digits, and for a float the point and an exponent of up to five digits.
constexpr uint64_t kMaxBinaryWidth = kWorkBuffer - 2;
constexpr uint64_t kMaxFloatWidth = kWorkBuffer - 16;

enum FlushChoice { FlushUnknown = 0, FlushAlways = 1, FlushNever = 2 };
int flushChoice = FlushUnknown;

inline FILE* stream(FILE* bound, uint8_t letter) {
    FILE* f = bound ? bound : openDeviceStream(letter);
    return f;
}

// The message stream is stderr when it is, or will be, bound there.
bool messagesOnStderr(Proccom* pc) { return !pc || !pc->msgs || pc->msgs == stderr; }

void flushLocked(FILE* f) {
    flockfile(f);
    fflush_unlocked(f);
    funlockfile(f);
}

// Before a read from stdin: what was shown earlier (a prompt, a message)
// must be visible first.
void flushBeforeRead(Proccom* pc, bool alsoStderr) {
    if (alsoStderr && messagesOnStderr(pc)) flushLocked(stderr);
    if (!pc || pc->sysout == stdout || pc->conOut == stdout || (!pc->sysout && !pc->conOut)) flushLocked(stdout);
}

// Writes all of text, retrying on EAGAIN and EINTR; false when the write
// failed otherwise.  The stream is locked by the caller.
bool writeAll(FILE* f, const void* text, size_t length) {
    const char* p = static_cast<const char*>(text);
    while (length > 0) {
        errno = 0;
        size_t n = fwrite_unlocked(p, 1, length, f);
        p += n;
        length -= n;
        if (length == 0) break;
        if (n == 0 || ferror_unlocked(f)) {
            if (errno != EAGAIN && errno != EINTR) return false;
            clearerr_unlocked(f);
            if (errno == EAGAIN) {
                pollfd pfd{fileno(f), POLLOUT, 0};
                poll(&pfd, 1, 100);
            }
        }
    }
    return true;
}

// Reads one byte; EINTR and EAGAIN are retried (the latter after waiting
// for input, rather than spinning).
int readByte(FILE* f) {
    for (;;) {
        errno = 0;
        int c = getc_unlocked(f);
        if (c != EOF) return c;
        if (ferror_unlocked(f) && (errno == EINTR || errno == EAGAIN)) {
            const bool again = errno == EAGAIN;
            clearerr_unlocked(f);
            if (again) {
                pollfd pfd{fileno(f), POLLIN, 0};
                poll(&pfd, 1, -1);
            }
            continue;
        }
        return EOF;
    }
}

// ---- item texts ----

// The binary item's value, from exactly its own size bytes (native order),
// sign- or zero-extended.
void loadBinary(const void* address, uint64_t size, bool isSigned, int64_t* s, uint64_t* u) {
    uint64_t v = base::loadUnsigned(address, static_cast<uint32_t>(size), false);
    if (isSigned && size < 8 && (v >> (size * 8 - 1)) & 1) v |= ~uint64_t(0) << (size * 8);
    *u = v;
    *s = static_cast<int64_t>(v);
}

// Returns the text length, or -1 when the item cannot be shown.
long binaryText(const DisplayItem& item, bool isSigned, char* buf) {
    if (item.size == 0 || item.size > 8) return -1;
    int64_t s;
    uint64_t u;
    loadBinary(item.address, item.size, isSigned, &s, &u);
    const int width = static_cast<int>(item.width > kMaxBinaryWidth ? kMaxBinaryWidth : item.width);
    char raw[kWorkBuffer + 32];
    int n = isSigned ? snprintf(raw, sizeof raw, "%.*lld", width, static_cast<long long>(s))
                     : snprintf(raw, sizeof raw, "%.*llu", width, static_cast<unsigned long long>(u));
    if (n < 0) return -1;
    const bool negative = raw[0] == '-';
    const char* digits = raw + (negative ? 1 : 0);
    const int count = n - (negative ? 1 : 0);
    const int keep = count < width ? count : width;
    long len = 0;
    if (negative) buf[len++] = '-';
    memcpy(buf + len, digits + count - keep, static_cast<size_t>(keep));
    return len + keep;
}

// The printf text " d.dddE+xx" becomes " .ddddE xx": the leading digit
// moves behind the point, and the exponent grows by one to make up.
long floatText(const DisplayItem& item, uint8_t point, char* buf) {
    const void* a = item.address;
    bool inf = false, nan = false;
    float f4 = 0;
    double f8 = 0;
    __float128 f16 = 0;
    switch (item.size) {
        case 4:
            f4 = base::loadLe<float>(a);
            inf = isinf(f4);
            nan = isnan(f4);
            break;
        case 8:
            f8 = base::loadLe<double>(a);
            inf = isinf(f8);
            nan = isnan(f8);
            break;
        case 16: {
            f16 = base::loadLe<__float128>(a);
            long double x = static_cast<long double>(f16);
            inf = isinf(x);
            nan = isnan(x);
            break;
        }
        default:
            return -1;
    }
    if (inf) {
        memcpy(buf, "Infinity", 8);
        return 8;
    }
    if (nan) {
        memcpy(buf, "NaN", 3);
        return 3;
    }
    uint64_t w = item.width == 0 ? 1 : item.width;
    if (w > kMaxFloatWidth) w = kMaxFloatWidth;
    const int precision = static_cast<int>(w) - 1;
    char raw[kWorkBuffer + 64];
    int n = item.size == 16 ? quadmath_snprintf(raw, sizeof raw, "% .*QE", precision, f16)
                            : snprintf(raw, sizeof raw, "% .*E", precision, item.size == 4 ? double(f4) : f8);
    if (n < 4) return -1;
    char* e = strchr(raw, 'E');
    if (!e) return -1;
    // raw: sign position, digit, point, digits, "E", exponent.
    buf[0] = raw[0];
    buf[1] = static_cast<char>(point ? point : '.');
    buf[2] = raw[1];
    size_t mantissa = static_cast<size_t>(e - (raw + 3));
    memcpy(buf + 3, raw + 3, mantissa);
    long len = static_cast<long>(3 + mantissa);
    long exponent = strtol(e + 1, nullptr, 10) + 1;
    buf[len++] = 'E';
    buf[len++] = exponent >= 0 ? ' ' : '-';
    len += snprintf(buf + len, 16, "%.2ld", exponent < 0 ? -exponent : exponent);
    return len;
}

// ---- ACCEPT ----

void clockText(uint32_t flags, char* out, size_t size) {
    out[0] = 0;
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    time_t t = tv.tv_sec;
    struct tm tm;
    localtime_r(&t, &tm);
    const bool yyyy = flags & ZVK_ACCEPT_YYYY;
    if (flags & ZVK_ACCEPT_DATE) {
        strftime(out, size, yyyy ? "%Y%m%d" : "%y%m%d", &tm);
    } else if (flags & ZVK_ACCEPT_DAY) {
        strftime(out, size, yyyy ? "%Y%j" : "%y%j", &tm);
    } else if (flags & ZVK_ACCEPT_TIME) {
        size_t n = strftime(out, size, "%H%M%S00", &tm);
        if (n >= 2) {
            long hundredths = (static_cast<long>(tv.tv_usec) / 10000) % 100;
            out[n - 2] = static_cast<char>('0' + hundredths / 10);
            out[n - 1] = static_cast<char>('0' + hundredths % 10);
        }
    } else if (flags & ZVK_ACCEPT_DAY_OF_WEEK) {
        strftime(out, size, "%w", &tm);
        if (out[0] == '0') out[0] = '7';
    }
}

void acceptClock(uint32_t flags, int64_t length, uint8_t* target) {
    if (length < 1) return;
    char text[256];
    clockText(flags, text, sizeof text);
    if (!text[0] && !(flags & (ZVK_ACCEPT_DATE | ZVK_ACCEPT_DAY | ZVK_ACCEPT_TIME | ZVK_ACCEPT_DAY_OF_WEEK))) return;
    size_t n = strlen(text);
    for (int64_t i = 0; i < length; ++i) target[i] = static_cast<size_t>(i) < n ? static_cast<uint8_t>(text[i]) : ' ';
}

bool lineMode(Proccom* pc, FILE* f) {
    return isatty(fileno(f)) == 1 || (pc && (pc->runtimeOptions & OPT_ACCEPT_NEW));
}

}  // namespace

extern "C" {

KVR2_API void _zvkcDisplay(const DisplayRequest* request, DisplayItem* items) {
    if (!request) return;
    Proccom* pc = _zvkProccom;
    FILE* f = nullptr;
    switch (request->device) {
        case ZVK_DISPLAY_SYSOUT:
            f = stream(pc ? pc->sysout : nullptr, 'O');
            break;
        case ZVK_DISPLAY_CONSOLE:
            f = stream(pc ? pc->conOut : nullptr, 'D');
            break;
        case ZVK_DISPLAY_SYSPUNCH:
            f = stream(pc ? pc->syspunch : nullptr, 'P');
            if (!f) {
                zvkWriteMsg(168, 0);
                f = stdout;
            }
            break;
        default:
            zvkWriteMsg(169, 0);
            return;
    }
    if (!f) f = stdout;
    if (f == stdout && messagesOnStderr(pc)) flushLocked(stderr);

    flockfile(f);
    bool invalid = false;
    char buf[kWorkBuffer];
    for (int32_t i = 0; i < request->itemCount && items; ++i) {
        DisplayItem& item = items[i];
        const void* text = buf;
        long len;
        if (!item.address) {
            memcpy(buf, "(NULL)", 6);
            len = 6;
        } else {
            switch (item.kind) {
                case ZVK_ITEM_FLOAT:
                    len = floatText(item, request->decimalPoint, buf);
                    break;
                case ZVK_ITEM_ALPHA:
                case ZVK_ITEM_NATIONAL:
                case ZVK_ITEM_DBCS:
                    text = item.address;
                    len = static_cast<long>(item.size);
                    break;
                case ZVK_ITEM_BINARY:
                    len = binaryText(item, true, buf);
                    break;
                case ZVK_ITEM_UBINARY:
                    len = binaryText(item, false, buf);
                    break;
                default:
                    len = -1;
                    break;
            }
        }
        if (len < 0) {
            invalid = true;
            break;
        }
        item.width = static_cast<uint64_t>(len);
        if (char* capture = _zvkDebugBuf) {
            memcpy(capture, text, static_cast<size_t>(len));
            _zvkDebugBufLen = static_cast<uint32_t>(len);
            break;
        }
        // A failed write abandons this item only.
        writeAll(f, text, static_cast<size_t>(len));
    }
    if (!(request->options & ZVK_DISPLAY_NO_ADVANCING)) writeAll(f, "\n", 1);
    if (flushChoice == FlushUnknown) {
        const char* v = getenv("COBOL_DISPLAY_FLUSH");
        flushChoice = v && v[0] == '1' ? FlushAlways : FlushNever;
    }
    if (flushChoice == FlushAlways) fflush_unlocked(f);
    funlockfile(f);
    if (invalid) zvkWriteMsg(170, 0);
}

KVR2_API void _zvkcAccept(uint32_t flags, int64_t length, uint8_t* target) {
    if (!(flags & (ZVK_ACCEPT_SYSIN | ZVK_ACCEPT_CONSOLE))) {
        acceptClock(flags, length, target);
        return;
    }
    if (length < 1 || !target) return;
    Proccom* pc = _zvkProccom;
    FILE* f = (flags & ZVK_ACCEPT_CONSOLE) ? stream(pc ? pc->conIn : nullptr, 'A')
                                             : stream(pc ? pc->sysin : nullptr, 'I');
    if (!f) f = stdin;
    if (f == stdin) flushBeforeRead(pc, true);

    flockfile(f);
    clearerr_unlocked(f);
    const bool line = lineMode(pc, f);
    int64_t stored = 0;
    bool newline = false;
    int c = 0;
    while (stored < length) {
        c = readByte(f);
        if (c == EOF) break;
        if (c == '\n') {
            if (line) {
                newline = true;
                break;
            }
            continue;
        }
        target[stored++] = static_cast<uint8_t>(c);
    }
    if (line && stored == length && !newline) {
        while ((c = readByte(f)) != EOF && c != '\n') {
        }
    }
    int error = 0;
    if (ferror_unlocked(f)) {
        error = errno;
        clearerr_unlocked(f);
    }
    funlockfile(f);

    if (stored > 0 && stored < length) {
        int64_t rest = length - stored;
        if ((flags & ZVK_ACCEPT_DBCS) && rest % 2 == 0) {
            uint8_t blank[2];
            zvkDbcsBlank(blank);
            for (int64_t i = stored; i < length; i += 2) {
                target[i] = blank[0];
                target[i + 1] = blank[1];
            }
        } else {
            memset(target + stored, ' ', static_cast<size_t>(rest));
        }
    }
    if (error) zvkWriteMsg(200, 1, "ACCEPT", error);
}

KVR2_API void _zvkAcceptUnicode(int32_t flags, const uint64_t* length, uint16_t* target) {
    if (!length || !target) return;
    const int32_t units = base::loadLe<int32_t>(length);
    if (units < 1) return;
    Proccom* pc = _zvkProccom;
    FILE* f = (flags & ZVK_ACCEPT_CONSOLE) ? stream(pc ? pc->conIn : nullptr, 'A')
                                             : stream(pc ? pc->sysin : nullptr, 'I');
    if (!f) f = stdin;
    stream(pc ? pc->sysout : nullptr, 'O');
    if (f == stdin) flushBeforeRead(pc, false);

    flockfile(f);
    clearerr_unlocked(f);
    const bool line = lineMode(pc, f);
    int32_t stored = 0;
    bool newline = false;
    uint8_t* out = reinterpret_cast<uint8_t*>(target);
    while (stored < units) {
        int lo = readByte(f);
        if (lo == EOF) break;
        int hi = readByte(f);
        if (hi == EOF) break;   // half a code unit is not stored
        const uint16_t unit = static_cast<uint16_t>(lo | (hi << 8));
        if (unit == 0x000A) {
            if (line) {
                newline = true;
                break;
            }
            continue;
        }
        base::storeLe(out + 2 * static_cast<size_t>(stored), unit);
        ++stored;
    }
    if (line && stored == units && !newline) {
        int c;
        while ((c = readByte(f)) != EOF && c != 0x0A) {
        }
    }
    int error = 0;
    if (ferror_unlocked(f)) {
        error = errno;
        clearerr_unlocked(f);
    }
    funlockfile(f);
    if (error) zvkWriteMsg(200, 1, "ACCEPT", error);
}

KVR2_API void _zvkcStopLiteral(uint64_t length, const uint8_t* text) {
    Proccom* pc = _zvkProccom;
    FILE* in = stream(pc ? pc->sysin : nullptr, 'I');
    FILE* out = stream(pc ? pc->sysout : nullptr, 'O');
    if (!in) in = stdin;
    if (!out) out = stdout;

    flockfile(out);
    if (text && length > 0) writeAll(out, text, static_cast<size_t>(length));
    writeAll(out, "\n", 1);
    funlockfile(out);

    if (in == stdin) flushBeforeRead(pc, true);

    flockfile(in);
    clearerr_unlocked(in);
    int c;
    errno = 0;
    while ((c = getc_unlocked(in)) != EOF && c != '\n') {
    }
    int error = 0;
    if (c == EOF && ferror_unlocked(in)) {
        error = errno;
        clearerr_unlocked(in);
    }
    funlockfile(in);
    if (error) zvkWriteMsg(200, 1, "STOP", error);
}

}  // extern "C"
