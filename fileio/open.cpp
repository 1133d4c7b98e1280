// OPEN: the assignment resolved to a file name and a file system, the
// module loaded and its open called.  Every exit leaves a status and FS2;
// a failure puts this routine back in the open slot, so that the program
// may try again.

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>
#include <wordexp.h>

#include "fileio/files.h"
#include "fileio/kit.h"

namespace {

constexpr char kHdkRoot[] = "/.:/txmn/hdk/";
constexpr size_t kHdkRootLength = sizeof kHdkRoot - 1;

bool hdkName(const char* name) { return strlen(name) > 14 && strncmp(name, kHdkRoot, kHdkRootLength) == 0; }

// VFS_NO_FORCE_FS, read once for the absent file and once for the empty
// one, and kept for the process.
int noForceAbsent = -1, noForceEmpty = -1;
bool noForce(int& once) {
    if (once < 0) {
        const char* v = getenv("VFS_NO_FORCE_FS");
        once = v && *v ? 1 : 0;
    }
    return once == 1;
}

struct Step {
    uint16_t status;
    uint32_t fs2;
};

// The file of a "plx" assignment decides its file system; status above 9
// when it cannot be read.
Step sniff(const char* name, uint8_t& code) {
    if (access(name, R_OK) != 0) {
        code = hdkName(name) ? 2 : (noForce(noForceAbsent) ? 1 : 5);
        return {0, 0};
    }
    const int fd = open(name, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {static_cast<uint16_t>(errno == EACCES ? 91 : 93), 0};
    uint8_t head[28];
    ssize_t n;
    do n = read(fd, head, sizeof head);
    while (n < 0 && errno == EINTR);
    close(fd);
    if (n < 0) return {93, 0};
    if (n == 0) code = noForce(noForceEmpty) ? 1 : 5;
    else if (n == 28 && memcmp(head + 24, "vfs", 4) == 0) code = 3;
    else if (n >= 11 && memcmp(head + 8, "STL", 3) == 0) code = 5;
    else code = 1;
    return {0, 0};
}

// Replaces the FCB's name by a copy of text[0, length).
bool setName(FCB* fcb, const char* text, size_t length) {
    char* copy = static_cast<char*>(malloc(length + 1));
    if (!copy) return false;
    memcpy(copy, text, length);
    copy[length] = 0;
    if (fcb->state & ZVK_STATE_NAME_ALLOCATED) free(fcb->fileName);
    fcb->fileName = copy;
    fcb->state |= ZVK_STATE_NAME_ALLOCATED;
    return true;
}

void setFileSystem(FCB* fcb, uint8_t code) {
    fcb->code = code;
    memcpy(fcb->prefix, zvkFileSystemPrefix(code), 3);
}

// The name and file system of an OPEN without a concatenation record:
// the assignment, perhaps through the environment, its prefix, "~" and
// "$" expanded, and a concatenation or generation it stands for.
Step resolve(FCB* fcb, const FIB* fib) {
    char given[4096];
    size_t length = fib->assignLength < sizeof given - 1 ? fib->assignLength : sizeof given - 1;
    if (fib->assignment) memcpy(given, fib->assignment, length);
    given[length] = 0;
    length = strlen(given);
    const char* name = given;
    size_t prefixLength = 0;
    if (fib->flags & (ZVK_FIB_ASSIGN_LITERAL | ZVK_FIB_ASSIGN_ITEM)) prefixLength = zvkFilePrefixLength(name, length);
    if (fib->flags & ZVK_FIB_ASSIGN_ENV) {
        while (length && (given[length - 1] == ' ')) given[--length] = 0;
        const char* value = getenv(given);
        if (value && *value) {
            name = value;
            length = strlen(value);
            prefixLength = zvkFilePrefixLength(name, length);
        }
    }
    uint8_t code;
    if (prefixLength) {
        code = prefixLength == 3 ? zvkFileSystemCode(name) : 0;   // a longer prefix is no file system's
        name += prefixLength + 1;
        length -= prefixLength + 1;
    } else {
        code = zvkFileSystemCode(fib->defaultPrefix);
        if (code == 0) code = kCodeDefault;
    }
    if (code == kCodeDefault) {
        fcb->code = fcb->defaultCode;
        memcpy(fcb->prefix, fcb->defaultPrefix, 3);
    } else if (code) {
        setFileSystem(fcb, code);
    } else {
        fcb->code = 0;   // a prefix no file system has: status 96, with it in the feedback
        memcpy(fcb->prefix, name - prefixLength - 1, 3);
    }
    while (length && (name[length - 1] == ' ' || name[length - 1] == 0)) --length;
    if (length == 0) return {95, 2};
    if (!setName(fcb, name, length)) return {34, 0};
    if (fcb->fileName[0] == '~' || strchr(fcb->fileName, '$')) {
        wordexp_t words;
        const int r = wordexp(fcb->fileName, &words, WRDE_NOCMD);
        if (r == 0) {
            const bool one = words.we_wordc == 1;
            const bool stored = one && setName(fcb, words.we_wordv[0], strlen(words.we_wordv[0]));
            wordfree(&words);
            if (!one) return {95, 0};
            if (!stored) return {34, 0};
        }
    }
    fcb->state &= ~ZVK_STATE_CONCATENATION;
    const bool newGeneration = (fcb->openMode & ZVK_OPEN_OUTPUT) ||
                               ((fib->flags & ZVK_FIB_OPTIONAL) && !(fcb->openMode & ZVK_OPEN_INPUT));
    _zvk_Concat_Free(fcb->concat);
    fcb->concat = nullptr;
    uint32_t isConcat = 0;
    uint32_t prefix = 0;
    memcpy(&prefix, fcb->prefix, 3);
    fcb->concat = _zvk_Concat_Check(fcb->fileName, &isConcat, newGeneration ? 1 : 0, &prefix);
    if (!fcb->concat && isConcat) return {33, 34};
    if (fcb->concat) {
        if (isConcat) fcb->state |= ZVK_STATE_CONCATENATION;
        const char* first = _zvk_Concat_Next(fcb->concat);
        if (!first) return {33, 34};
        if (!setName(fcb, first, strlen(first))) return {93, 0};
    }
    if ((fcb->state & ZVK_STATE_CONCATENATION) &&
        (!(fcb->openMode & ZVK_OPEN_INPUT) || !(fib->access & ZVK_ACCESS_SEQUENTIAL)))
        return {37, 0};
    return {0, 0};
}

// A later volume of a concatenation: its own prefix may change the file
// system only within the family of the one in force.
Step nextVolume(FCB* fcb) {
    const char* name = fcb->fileName ? fcb->fileName : "";
    const size_t length = strlen(name);
    const size_t prefixLength = zvkFilePrefixLength(name, length);
    if (!prefixLength) {
        if (fcb->code == kCodeLineSequential) memcpy(fcb->prefix, fcb->defaultPrefix, 3);
        return {0, 0};
    }
    char given[4] = {};
    for (size_t i = 0; i < 3 && i < prefixLength; ++i) given[i] = static_cast<char>(tolower(name[i]));
    const bool same = prefixLength == 3 && strncasecmp(given, fcb->prefix, 3) == 0;
    const bool allowed = same || (prefixLength == 3 && ((strcmp(given, "nat") == 0 && fcb->code == 4) ||
                                                        (strcmp(given, "raw") == 0 && fcb->code == 7) ||
                                                        (strcmp(given, "plx") == 0 && fcb->code >= 1 && fcb->code <= 5 &&
                                                         fcb->code != 4)));
    if (!allowed) return {33, 39};
    if (!setName(fcb, name + prefixLength + 1, length - prefixLength - 1)) return {34, 0};
    return {0, 0};
}

void trace(const FCB* fcb, const FIB* fib) {
    if (zvkDebugOpen())
        fprintf(stderr, "Opening %3.3s-%s as '%s' %s %s FS1=%2.2d FS2=%d\n", fcb->prefix, fib->name,
                fcb->fileName ? fcb->fileName : "", (fcb->state & ZVK_STATE_CONCATENATION) ? "(concat)" : "",
                fcb->concat && !(fcb->state & ZVK_STATE_CONCATENATION) ? "(GDS)" : "", fcb->status,
                static_cast<int>(fcb->fs2));
}

int32_t ending(FCB* fcb, IPCB* element, const FIB* fib, uint32_t variant) {
    zvkStoreFileStatus(fcb, fib);
    zvkStoreFeedback(fcb, fib);
    if (fcb->status > 9) {
        fcb->verb = ZVK_VERB_OPEN;
        fcb->open = _zvkGenericOpen;
        _zvkCallUseProc(fcb, variant, element);
    }
    fcb->lastVerb = ZVK_VERB_OPEN;
    return fcb->status;
}

}  // namespace

extern "C" {

KVR2_API int32_t _zvkGenericOpen(FCB* fcb, IPCB* element) {
    const FIB* fib = zvkFileFib(fcb, element);
    const uint16_t requested = fcb->openMode;
    for (;;) {
        fcb->verb = ZVK_VERB_OPEN;
        fcb->status = 0;
        fcb->fs2 = 0;
        fcb->modeInForce = 0;
        const bool laterVolume = fcb->concat != nullptr;
        const Step named = laterVolume ? nextVolume(fcb) : resolve(fcb, fib);
        fcb->status = named.status, fcb->fs2 = named.fs2;
        if (fcb->status == 0 && fcb->code == kCodeSniff) {
            uint8_t code = kCodeSniff;
            const Step s = sniff(fcb->fileName, code);
            fcb->status = s.status, fcb->fs2 = s.fs2;
            if (s.status == 0) setFileSystem(fcb, code);
        }
        if (fcb->status == 0 && fcb->code == 2 && strncmp(fcb->fileName, kHdkRoot, kHdkRootLength) != 0) {
            const char* server = getenv("TXMN_TK_HDK_SERVER");
            if (server && *server) {
                char full[4096];
                const int n = snprintf(full, sizeof full, "%s/%s", server, fcb->fileName);
                if (n < 0 || n >= static_cast<int>(sizeof full) || !setName(fcb, full, strlen(full)))
                    fcb->status = 34;
            } else {
                fputs("HDK shortname usage requires setting:\n`export TXMN_TK_HDK_SERVER=/.:/txmn/hdk/<server>`\n",
                      stderr);
                fcb->code = 0, fcb->fs2 = 2, fcb->status = 96;
            }
        }
        if (fcb->status == 0 && fcb->code == 1 && strlen(fcb->fileName) >= 14 &&
            strncmp(fcb->fileName, kHdkRoot, kHdkRootLength) == 0)
            setFileSystem(fcb, 2);
        if (fcb->status == 0 && (fcb->code == 1 || fcb->code == 2))
            if (char* paren = strchr(fcb->fileName, '(')) *paren = 0;
        if (fcb->concat) {
            fcb->defaultCode = static_cast<uint8_t>((fcb->defaultCode & 0xF0) | (fcb->code & 0x0F));
            memcpy(fcb->defaultPrefix, fcb->prefix, 3);
            // A volume that cannot be opened is a bad concatenation (33);
            // a list opened in a mode it cannot serve keeps its own 37.
            if (fcb->status >= 11 && fcb->status != 37) fcb->status = 33;
        }
        if (fcb->status > 9) return ending(fcb, element, fib, 51);
        void** table = nullptr;
        zvkIoInit init = nullptr;
        if (fcb->code == 0 || !zvkFileSystemModule(fcb->code) || !zvkFileModule(fcb->code, &table, &init)) {
            fcb->status = 96, fcb->fs2 = 2;
            return ending(fcb, element, fib, 51);
        }
        fcb->moduleTable = table;
        init(fcb, element);
        if (fcb->status > 9) return ending(fcb, element, fib, 0);
        trace(fcb, fib);
        fcb->openCount = 0;
        fcb->openFlag = 1;
        // A module that installed no open of its own would bring this
        // routine back to itself: that is a module that cannot open.
        if (fcb->open == _zvkGenericOpen || !fcb->open) {
            fcb->status = 96, fcb->fs2 = 2;
            return ending(fcb, element, fib, 0);
        }
        fcb->open(fcb, element);
        if (fcb->status > 9) return ending(fcb, element, fib, 0);
        fcb->modeInForce = fcb->openMode & ~ZVK_OPEN_GIVES_07;
        fcb->openMode = 0;
        fcb->open = _zvkOpenError;
        if ((fib->linage & ZVK_LINAGE) && fib->linageOffset) {
            const auto* groups = reinterpret_cast<const ZvkLinageGroup*>(reinterpret_cast<const uint8_t*>(fib) +
                                                                         fib->linageOffset);
            fcb->linageLines = groups[0].value;
            fcb->linageFooting = groups[1].value;
            fcb->linageTop = groups[2].value;
            fcb->linageBottom = groups[3].value;
            fcb->linageCounter = 1;
        }
        fcb->state = (fcb->state & ~ZVK_STATE_READ_GOOD) | ZVK_STATE_POSITIONED;
        fcb->opened = 2;
        if (fcb->status == 0 && (requested & ZVK_OPEN_GIVES_07)) fcb->status = 7;
        trace(fcb, fib);
        if (fcb->concat && (fcb->state & ZVK_STATE_OPTIONAL_ABSENT) && fcb->status == 5) {
            // An absent OPTIONAL volume is passed over.
            fcb->closeOptions |= ZVK_CLOSE_NEXT_VOLUME;
            fcb->close(fcb, element);
            const char* next = _zvk_Concat_Next(fcb->concat);
            if (!next) return ending(fcb, element, fib, 0);
            if (!setName(fcb, next, strlen(next))) {
                fcb->status = 93;
                return ending(fcb, element, fib, 0);
            }
            fcb->openMode = requested;
            continue;
        }
        return ending(fcb, element, fib, 0);
    }
}

}  // extern "C"
