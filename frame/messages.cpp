// The runtime's one message route.  A message is found by number in the
// catalog kvr2run.cat (set = number, message = variant + 1), laid out as
// "ZVKnnnL  text", wrapped to the terminal, counted against the error
// budget, and written to the message stream or handed to a host.  A
// message whose severity is above warning ends the run unit.

#include <errno.h>
#include <locale.h>
#include <nl_types.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "frame/messages.h"
#include "frame/devices.h"
#include "frame/rununit.h"
#include "frame/signals.h"
#include "kvr2/messages.h"
#include "kvr2/rununit.h"

namespace {

constexpr const char kCatalogName[] = "kvr2run.cat";
constexpr const char kDefaultControl[] = "F ZVK IWSC  4096";
constexpr const char kDefault993[] = "1 Insufficient storage. Cannot find space for message %d.";
constexpr const char kDefault994[] = "2 Cannot find message %d in %s";
constexpr const char kDefault901a[] = "  ZVK901S Program exits due to severe or critical error.";
constexpr const char kDefault901b[] = "  ZVK901S Program exits: more than ERRCOUNT errors occurred.";
constexpr const char kNoCatalog[] = "Cannot find message catalog %2$s in NLSPATH. Message number is %1$d.";
constexpr size_t kTextColumn = 9;
constexpr int kIndent = 10;

nl_catd msgCatalog = reinterpret_cast<nl_catd>(-1);
bool catalogOpen = false;
char* msgBuffer = nullptr;
size_t msgBufferSize = 0;
char msgPrefix[4] = "ZVK";
char msgSeverityLetters[5] = "IWSC";
char msgNoSpaceText[80];
size_t msgSingleByte = 1;

const char* catalogText(int set, int number, const char* fallback) {
    if (!catalogOpen) return fallback;
    return catgets(msgCatalog, set, number, fallback);
}

bool tryOpen() {
    nl_catd cat = catopen(kCatalogName, NL_CAT_LOCALE);
    if (cat == reinterpret_cast<nl_catd>(-1)) return false;
    msgCatalog = cat;
    catalogOpen = true;
    return true;
}

// catopen looks for the catalog under the LC_MESSAGES locale's name; a
// catalog installed for "C" or "en_US" is found for "C.UTF-8" or
// "en_US.UTF-8@euro" by retrying with shorter names.
void openWithFallback() {
    if (tryOpen()) return;
    const char* cur = setlocale(LC_MESSAGES, nullptr);
    char saveMessages[256], saveCtype[256], name[256];
    snprintf(saveMessages, sizeof saveMessages, "%s", cur ? cur : "C");
    cur = setlocale(LC_CTYPE, nullptr);
    snprintf(saveCtype, sizeof saveCtype, "%s", cur ? cur : "C");

    char forms[6][256];
    int n = 0;
    snprintf(name, sizeof name, "%s", saveMessages);
    const char* cuts = "@._";
    for (const char* c = cuts; *c; ++c) {
        char* p = strchr(name, *c);
        if (!p) continue;
        *p = 0;
        snprintf(forms[n++], sizeof forms[0], "%s", name);
    }
    snprintf(forms[n++], sizeof forms[0], "en_US");
    snprintf(forms[n++], sizeof forms[0], "POSIX");
    snprintf(forms[n++], sizeof forms[0], "C");
    bool changed = false;
    for (int i = 0; i < n; ++i) {
        if (!forms[i][0] || strcmp(forms[i], saveMessages) == 0) continue;
        if (!setlocale(LC_MESSAGES, forms[i])) continue;
        changed = true;
        if (tryOpen()) break;
    }
    if (changed) {
        setlocale(LC_MESSAGES, saveMessages);
        setlocale(LC_CTYPE, saveCtype);
    }
}

void parseControlRecord(const char* rec) {
    size_t len = strlen(rec);
    if (len < 2) return;
    const char* p = rec + 2;
    while (*p == ' ') ++p;
    char prefix[4] = {0}, letters[5] = {0};
    int i = 0;
    while (*p && *p != ' ' && i < 3) prefix[i++] = *p++;
    while (*p && *p != ' ') ++p;
    while (*p == ' ') ++p;
    i = 0;
    while (*p && *p != ' ' && i < 4) letters[i++] = *p++;
    while (*p && *p != ' ') ++p;
    while (*p == ' ') ++p;
    if (prefix[0] && strlen(prefix) == 3) memcpy(msgPrefix, prefix, 4);
    if (letters[0] && strlen(letters) == 4) memcpy(msgSeverityLetters, letters, 5);
    unsigned long size = strtoul(p, nullptr, 0);
    if (size > msgBufferSize && size < (1u << 24)) msgBufferSize = size;
}

uint32_t openCatalog() {
    if (catalogOpen || msgBufferSize) return 0;
    msgBufferSize = 4096;
    memcpy(msgPrefix, "ZVK", 4);
    memcpy(msgSeverityLetters, "IWSC", 5);
    openWithFallback();
    if (!catalogOpen) {
        msgBufferSize = 0;
        return 0;
    }
    msgSingleByte = MB_CUR_MAX;
    const char* t = catalogText(993, 1, kDefault993);
    snprintf(msgNoSpaceText, sizeof msgNoSpaceText, "%s", strlen(t) >= 2 ? t + 2 : "");
    parseControlRecord(catalogText(9999, 1, kDefaultControl));
    size_t rounded = (msgBufferSize + 15) & ~size_t(15);
    msgBuffer = static_cast<char*>(aligned_alloc(16, rounded));
    if (!msgBuffer) {
        fputs("Insufficient storage, Cannot allocate message buffer.\n", stderr);
        catclose(msgCatalog);
        catalogOpen = false;
        msgBufferSize = 0;
    }
    return 0;
}

uint32_t closeCatalog() {
    if (catalogOpen) catclose(msgCatalog);
    catalogOpen = false;
    msgCatalog = reinterpret_cast<nl_catd>(-1);
    free(msgBuffer);
    msgBuffer = nullptr;
    msgBufferSize = 0;
    return 0;
}

// What stands in a message must be on disk before the next statement runs.
void flushAll() {
    zvkSyncStream(stderr);
    zvkSyncStream(stdout);
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    FILE* const streams[] = {pc->sysout, pc->conOut};
    for (FILE* f : streams) {
        if (!f || f == stdout || f == stderr) continue;
        flockfile(f);
        zvkSyncStream(f);
        funlockfile(f);
    }
}

FILE* messageStream() {
    if (!_zvkProccom) return stderr;
    FILE* f = _zvkProccom->msgs ? _zvkProccom->msgs : openDeviceStream('M');
    return f ? f : stderr;
}

size_t appendf(char* buf, size_t cap, size_t pos, const char* fmt, ...) __attribute__((format(printf, 4, 5)));
size_t appendf(char* buf, size_t cap, size_t pos, const char* fmt, ...) {
    if (pos + 1 >= cap) return pos;
    va_list ap;
    va_start(ap, fmt);
    int n = vsnprintf(buf + pos, cap - pos, fmt, ap);
    va_end(ap);
    if (n < 0) return pos;
    size_t end = pos + static_cast<size_t>(n);
    return end < cap ? end : cap - 1;
}

size_t vappend(char* buf, size_t cap, size_t pos, const char* fmt, va_list* args) {
    if (pos + 1 >= cap) return pos;
    va_list ap;
    va_copy(ap, *args);
    int n = vsnprintf(buf + pos, cap - pos, fmt, ap);
    va_end(ap);
    if (n < 0) return pos;
    size_t end = pos + static_cast<size_t>(n);
    return end < cap ? end : cap - 1;
}

void writeAll(FILE* f, const char* text, size_t length) {
    while (length > 0) {
        size_t n = fwrite_unlocked(text, 1, length, f);
        if (n == 0 || ferror_unlocked(f)) break;
        text += n;
        length -= n;
    }
}

int severityOf(const char* text) {
    int s = text[0] - '0';
    return (s < 0 || s > 3) ? 3 : s;
}

}  // namespace

extern "C" {

size_t zvkWrapLines(char* text, size_t length, size_t capacity, int width) {
    if (width < 18 || width > 256) width = 80;
    const size_t w = static_cast<size_t>(width);
    size_t start = 0;
    while (start < length) {
        char* nl = static_cast<char*>(memchr(text + start, '\n', length - start));
        size_t end = nl ? static_cast<size_t>(nl - text) : length;
        if (end - start <= w) {
            start = end + 1;
            continue;
        }
        char* line = text + start;
        size_t brk;
        if (line[w] == ' ') {
            brk = w;
        } else {
            size_t i = w - 1;
            while (i > 0 && line[i] != ' ' && line[i] != '=') --i;
            brk = line[i] == '=' ? i + 1 : i;
            if (brk < 18) brk = w - 2;
        }
        size_t dropped = 0;
        while (start + brk + dropped < end && line[brk + dropped] == ' ') ++dropped;
        size_t indent = dropped < static_cast<size_t>(kIndent) ? kIndent - dropped : 0;
        size_t insert = 1 + indent;
        if (length - dropped + insert > capacity) {
            start = end + 1;   // no room: this line stays as it is
            continue;
        }
        size_t tail = start + brk + dropped;
        memmove(text + start + brk + insert, text + tail, length - tail);
        text[start + brk] = '\n';
        memset(text + start + brk + 1, ' ', indent);
        length = length - dropped + insert;
        start = start + brk + 1;   // go on with the continuation line
    }
    return length;
}

uint32_t writeERRmsg(uint32_t number, uint32_t control, uint64_t, va_list* args) {
    if (control == ZVK_MSG_OPEN) return openCatalog();
    if (control == ZVK_MSG_CLOSE) return closeCatalog();

    Proccom* pc = _zvkProccom;
    const uint32_t variant = control & 0xFF;
    const bool stringMode = control & ZVK_MSG_STRING;
    char stackBuffer[256];
    char* buf = msgBuffer ? msgBuffer : stackBuffer;
    size_t cap = msgBuffer ? msgBufferSize : sizeof stackBuffer;

    char* result = nullptr;
    uint64_t resultSize = 0;
    if (stringMode) {
        result = va_arg(*args, char*);
        resultSize = va_arg(*args, uint64_t);
    }

    // Which text: the catalog's, or the stand-in when there is no catalog
    // or no buffer, which then reports under its own number.
    const uint32_t asked = number;
    enum { FromCatalog, NoCatalog, NoBuffer } source = FromCatalog;
    if (!catalogOpen) {
        source = NoCatalog;
        number = 994;
    } else if (!msgBuffer) {
        source = NoBuffer;
        number = 993;
    }

    size_t pos = 0, letterColumn = 0;
    if (!stringMode) {
        pos = appendf(buf, cap, 0, "%.3s%3.3u", msgPrefix, number);
        letterColumn = pos;
        buf[pos++] = ' ';
        while (pos < kTextColumn) buf[pos++] = ' ';
        buf[pos] = 0;
    }

    int severity;
    if (source == NoCatalog) {
        pos = appendf(buf, cap, pos, kNoCatalog, asked, kCatalogName);
        severity = severityOf(kDefault994);
    } else if (source == NoBuffer) {
        pos = appendf(buf, cap, pos, msgNoSpaceText, asked);
        severity = severityOf(catalogText(993, 1, kDefault993));
    } else {
        const char* text = catgets(msgCatalog, static_cast<int>(number), static_cast<int>(variant + 1), nullptr);
        if (text && strlen(text) >= 2) {
            pos = vappend(buf, cap, pos, text + 2, args);
        } else {
            text = catalogText(994, 1, kDefault994);
            if (strlen(text) < 2) text = kDefault994;
            pos = appendf(buf, cap, pos, text + 2, number, kCatalogName);
        }
        severity = severityOf(text);
    }
    if (!stringMode) buf[letterColumn] = msgSeverityLetters[severity];
    pos = appendf(buf, cap, pos, "\n");

    int ending = 0;
    if (control & ZVK_MSG_INFO)
        severity = 0;
    else if (control & ZVK_MSG_SEVERE)
        severity = 2;
    if (!(control & ZVK_MSG_INFO) && severity > 1) ending = 1;

    if (stringMode) {
        pos = zvkWrapLines(buf, pos, cap - 1, 255);
        while (pos > 0 && (buf[pos - 1] == ' ' || buf[pos - 1] == '\n')) --pos;
        if (result && resultSize > 0) {
            size_t n = pos < resultSize - 1 ? pos : static_cast<size_t>(resultSize - 1);
            memcpy(result, buf, n);
            result[n] = 0;
        }
        return 0;
    }

    Runcom* current = pc ? pc->runcom : nullptr;
    if (current && current->errCount && severity == 1) {
        if (current->errCount == 1)
            ending = -1;
        else
            current->errCount--;
    }

    flushAll();
    FILE* stream = messageStream();
    flockfile(stream);

    if (ending) {
        if (!(control & ZVK_MSG_NOTRACEBACK)) zvkTraceback(stream);
        const char* t = ending == 1 ? catalogText(901, 1, kDefault901a) : catalogText(901, 2, kDefault901b);
        pos = appendf(buf, cap, pos, "%s\n", t);
    }
    if (msgSingleByte == 1) {
        int width = pc ? pc->winStderr.ws_col : 0;
        pos = zvkWrapLines(buf, pos, cap - 1, width);
    }
    pos = appendf(buf, cap, pos, "\n");

    Runcom* ru = zvkCurrentOrFree();
    const bool debug = pc && pc->debug;
    if (pc && pc->txmn && !pc->jvc && ru && ru->msg) {
        size_t start = 0;
        bool first = true;
        while (start < pos) {
            char* nl = static_cast<char*>(memchr(buf + start, '\n', pos - start));
            size_t end = nl ? static_cast<size_t>(nl - buf) : pos;
            if (end > start) {
                int32_t exitIndication =
                    (!first && ending == 1 && end - start >= 3 && memcmp(buf + start, "ZVK", 3) == 0) ? 1 : 0;
                if (debug) zvkTrace("_zvkWriteStderr: call TXMN msg routine...\n");
                ru->msg(exitIndication, "QRNB", buf + start, static_cast<uint32_t>(end - start), ru->token);
                if (debug) zvkTrace("_zvkWriteStderr: back...\n");
                flushAll();
                first = false;
            }
            start = end + 1;
        }
    } else if (ru && ru->msg) {
        if (debug) zvkTrace("_zvkWriteStderr: call msg routine...\n");
        ru->msg(ending, "QRNB", buf, static_cast<uint32_t>(pos), ru->token);
        if (debug) zvkTrace("_zvkWriteStderr: back...\n");
        flushAll();
    } else {
        writeAll(stream, buf, pos);
    }

    flushAll();
    zvkSyncStream(stream);
    funlockfile(stream);

    if (asked == 995) return 0xFFFFFFFFu;
    if (ending) _zvkAbort(0);
    return 0;
}

uint32_t zvkWriteMsg(uint32_t number, uint32_t control, ...) {
    va_list ap;
    va_start(ap, control);
    uint32_t rc = writeERRmsg(number, control, 0, &ap);
    va_end(ap);
    return rc;
}

KVR2_API uint32_t _zvkWriteERRmsg(uint32_t number, uint32_t control, ...) {
    va_list ap;
    va_start(ap, control);
    uint32_t rc = writeERRmsg(number, control, 0, &ap);
    va_end(ap);
    return rc;
}

KVR2_API void ZVKABEND(void) { zvkWriteMsg(901, 0); }
KVR2_API void ZVKABORT(void) __attribute__((alias("ZVKABEND")));
KVR2_API void _Dmr_issue_Mod_ErrMsg(void) { zvkWriteMsg(177, 0, "MOD"); }
KVR2_API void _Dmr_issue_Rem_ErrMsg(void) { zvkWriteMsg(177, 0, "REM"); }
KVR2_API void _Dmr_char_msg(void) { zvkWriteMsg(162, 0, "CHAR"); }
KVR2_API void _Dmr_ord_msg(void) { zvkWriteMsg(157, 0, "ORD"); }

}  // extern "C"
