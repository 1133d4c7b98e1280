// COBRTOPT: the runtime options, parsed once per runtime start.
//
// The tokeniser normalises the spellings (upper case; "(" and "=" alike;
// blanks dropped), then each token is looked up by binary search in a
// keyword table sorted at compile time, or handled as a parameter with a
// free value (UPSI, ERRCOUNT).

#include <ctype.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <string_view>

#include "frame/options.h"
#include "frame/messages.h"
#include "kvr2/records.h"

namespace {

enum Kind : uint8_t { Clear = 0, Set = 1, TrapOff = 2, Trap = 3, Text = 4 };
enum Field : uint8_t { NoField, ProgramOptions, RuntimeOptions, FileSystem };

struct Keyword {
    std::string_view name;
    Kind kind;
    Field field;
    uint32_t value;
    const char* text;
};

constexpr Keyword kKeywords[] = {
    {"ACCEPT", Set, RuntimeOptions, OPT_ACCEPT_NEW, nullptr},
    {"ACCEPT=NEW", Set, RuntimeOptions, OPT_ACCEPT_NEW, nullptr},
    {"ACCEPT=OLD", Clear, RuntimeOptions, OPT_ACCEPT_NEW, nullptr},
    {"CHECK", Set, ProgramOptions, OPT_CHECK, nullptr},
    {"CHECK=OFF", Clear, ProgramOptions, OPT_CHECK, nullptr},
    {"CHECK=ON", Set, ProgramOptions, OPT_CHECK, nullptr},
    {"DEBUG", Set, ProgramOptions, OPT_DEBUG, nullptr},
    {"DEBUG=OFF", Clear, ProgramOptions, OPT_DEBUG, nullptr},
    {"DEBUG=ON", Set, ProgramOptions, OPT_DEBUG, nullptr},
    {"FILEMODE", Text, NoField, 0, nullptr},
    {"FILEMODE=L", Text, NoField, 0, nullptr},
    {"FILEMODE=LARGE", Text, NoField, 0, nullptr},
    {"FILEMODE=S", Text, NoField, 0, nullptr},
    {"FILEMODE=SMALL", Text, NoField, 0, nullptr},
    {"FILESYS", Text, NoField, 0, nullptr},
    {"FILESYS=HDK", Text, FileSystem, 0, "hdk"},
    {"FILESYS=JGT", Text, FileSystem, 0, "jgt"},
    {"FILESYS=LSQ", Text, FileSystem, 0, "lsq"},
    {"FILESYS=NAT", Text, FileSystem, 0, "lsq"},
    {"FILESYS=PLX", Text, FileSystem, 0, "plx"},
    {"FILESYS=PLXD", Text, FileSystem, 0, "plx"},
    {"FILESYS=PSX", Text, FileSystem, 0, "psx"},
    {"FILESYS=RAW", Text, FileSystem, 0, "wbr"},
    {"FILESYS=RQL", Text, FileSystem, 0, "rql"},
    {"FILESYS=RSD", Text, FileSystem, 0, "rsd"},
    {"FILESYS=STL", Text, FileSystem, 0, "stl"},
    {"FILESYS=WBR", Text, FileSystem, 0, "wbr"},
    {"FILESYS=WBRN", Text, FileSystem, 0, "wbr"},
    {"FM", Text, NoField, 0, nullptr},
    {"FM=L", Text, NoField, 0, nullptr},
    {"FM=LARGE", Text, NoField, 0, nullptr},
    {"FM=S", Text, NoField, 0, nullptr},
    {"FM=SMALL", Text, NoField, 0, nullptr},
    {"FS", Text, NoField, 0, nullptr},
    {"FS=HDK", Text, FileSystem, 0, "hdk"},
    {"FS=JGT", Text, FileSystem, 0, "jgt"},
    {"FS=LSQ", Text, FileSystem, 0, "lsq"},
    {"FS=NAT", Text, FileSystem, 0, "lsq"},
    {"FS=PLX", Text, FileSystem, 0, "plx"},
    {"FS=PLXD", Text, FileSystem, 0, "plx"},
    {"FS=PSX", Text, FileSystem, 0, "psx"},
    {"FS=RAW", Text, FileSystem, 0, "wbr"},
    {"FS=RQL", Text, FileSystem, 0, "rql"},
    {"FS=RSD", Text, FileSystem, 0, "rsd"},
    {"FS=STL", Text, FileSystem, 0, "stl"},
    {"FS=WBR", Text, FileSystem, 0, "wbr"},
    {"FS=WBRN", Text, FileSystem, 0, "wbr"},
    {"NOCHECK", Clear, ProgramOptions, OPT_CHECK, nullptr},
    {"NODEBUG", Clear, ProgramOptions, OPT_DEBUG, nullptr},
    {"TRAP", Trap, RuntimeOptions, 0xC0000000u, nullptr},
    {"TRAP=DUMP", Trap, RuntimeOptions, 0xE0000000u, nullptr},
    {"TRAP=NEW", Trap, RuntimeOptions, 0xC0000000u, nullptr},
    {"TRAP=OFF", TrapOff, RuntimeOptions, 0x80000000u, nullptr},
    {"TRAP=OLD", Trap, RuntimeOptions, 0x80000000u, nullptr},
    {"TRAP=ON", Trap, RuntimeOptions, 0xC0000000u, nullptr},
};
constexpr size_t kKeywordCount = sizeof kKeywords / sizeof kKeywords[0];
static_assert(kKeywordCount == 55);

// The binary search depends on this order: strcmp order of the names.
constexpr bool sortedByName() {
    for (size_t i = 1; i < kKeywordCount; ++i)
        if (!(kKeywords[i - 1].name < kKeywords[i].name)) return false;
    return true;
}
static_assert(sortedByName(), "keyword table must be in strcmp order");

constexpr size_t kTrapRow = 49;
static_assert(kKeywords[kTrapRow].name == "TRAP");

// The row applied after parsing unless an option cancels it: signal
// handling is on unless TRAP=OFF is given.
long pendingDefault = static_cast<long>(kTrapRow);

const Keyword* findKeyword(std::string_view token) {
    size_t lo = 0, hi = kKeywordCount;
    while (lo < hi) {
        size_t mid = (lo + hi) / 2;
        int c = token.compare(kKeywords[mid].name);
        if (c == 0) return &kKeywords[mid];
        if (c < 0)
            hi = mid;
        else
            lo = mid + 1;
    }
    return nullptr;
}

uint32_t* wordOf(Proccom* pc, Field f) {
    return f == ProgramOptions ? &pc->programOptions : &pc->runtimeOptions;
}

void applyRow(Proccom* pc, const Keyword& k) {
    switch (k.kind) {
        case Clear:
            *wordOf(pc, k.field) &= ~k.value;
            break;
        case Set:
            *wordOf(pc, k.field) |= k.value;
            break;
        case TrapOff:
            pendingDefault = -1;
            *wordOf(pc, k.field) &= ~k.value;
            break;
        case Trap: {
            pendingDefault = -1;
            uint32_t* w = wordOf(pc, k.field);
            *w = (*w & ~(0x60000000u | k.value)) | k.value;
            break;
        }
        case Text:
            // With a field: the text without its terminator, or with no
            // text as many zero bytes as the value says.
            if (k.field == FileSystem) {
                if (k.text)
                    memcpy(pc->fileSystem, k.text, sizeof pc->fileSystem);
                else
                    memset(pc->fileSystem, 0, k.value < sizeof pc->fileSystem ? k.value : sizeof pc->fileSystem);
            }
            break;
    }
}

void applyParameter(Proccom* pc, char* token) {
    char* eq = strchr(token, '=');
    const char* value = eq ? eq + 1 : nullptr;
    if (eq) *eq = 0;
    const char* name = token;
    if (strcmp(name, "ERRCOUNT") == 0) {
        uint32_t count = 0;
        if (value) {
            char* end = nullptr;
            errno = 0;
            long n = strtol(value, &end, 10);
            if (errno) {
                zvkWriteMsg(182, ZVK_MSG_NOTRACEBACK, value, name, 0L, LONG_MAX);
            } else if ((end && *end) || n < 0) {
                zvkWriteMsg(181, ZVK_MSG_NOTRACEBACK, value, name);
            } else {
                count = static_cast<uint32_t>(n);
            }
        }
        pc->errCount = count;
        return;
    }
    if (strcmp(name, "UPSI") == 0) {
        const char* text = "00000000";
        if (value) {
            size_t len = strlen(value);
            if (len != 0 && len != 8) {
                zvkWriteMsg(173, ZVK_MSG_NOTRACEBACK, value, name, 8, "01");
            } else if (strspn(value, "01") != len) {
                zvkWriteMsg(174, ZVK_MSG_NOTRACEBACK, value, name);
            } else {
                text = value;
            }
        }
        // Copied as strncpy would: an empty value leaves eight zero bytes.
        size_t n = strnlen(text, sizeof pc->upsi);
        memset(pc->upsi, 0, sizeof pc->upsi);
        memcpy(pc->upsi, text, n);
        return;
    }
    if (value && findKeyword(name))
        zvkWriteMsg(172, ZVK_MSG_NOTRACEBACK, value, name);
    else
        zvkWriteMsg(171, ZVK_MSG_NOTRACEBACK, name);
}

}  // namespace

extern "C" void zvkParseOptions(void) {
    Proccom* pc = _zvkProccom;
    if (!pc) return;
    pc->programOptions = OPT_CHECK | OPT_DEBUG;
    memcpy(pc->upsi, "00000000", sizeof pc->upsi);
    pc->errCount = 0;
    pc->optionsParsed = 1;
    // Each runtime start begins with the default pending again, so a
    // restarted runtime traps signals unless told otherwise once more.
    pendingDefault = static_cast<long>(kTrapRow);

    const char* env = getenv("COBRTOPT");
    if (env && *env) {
        size_t len = strlen(env);
        char* text = static_cast<char*>(malloc(len + 1));
        size_t cap = 512;
        char** tokens = static_cast<char**>(malloc(cap * sizeof(char*)));
        if (!text || !tokens) {
            free(text);
            free(tokens);
            zvkWriteMsg(907, ZVK_MSG_NOTRACEBACK);
            return;
        }
        // One pass over all characters including the terminator, writing
        // behind a write pointer in the same buffer.
        for (size_t i = 0; i <= len; ++i) text[i] = static_cast<char>(toupper(static_cast<unsigned char>(env[i])));
        size_t count = 0, w = 0, tokenStart = 0;
        bool fail = false;
        auto endToken = [&]() {
            if (w == tokenStart) return;   // nothing written: no token
            text[w++] = 0;
            if (count == cap) {
                char** grown = static_cast<char**>(realloc(tokens, cap * 2 * sizeof(char*)));
                if (!grown) {
                    fail = true;
                    return;
                }
                tokens = grown;
                cap *= 2;
            }
            tokens[count++] = text + tokenStart;
            tokenStart = w;
        };
        for (size_t i = 0; i <= len && !fail; ++i) {
            char c = text[i];
            switch (c) {
                case ' ': case '\t': case '\n':
                    break;
                case '(': case '=':
                    text[w++] = '=';
                    break;
                case ')': case ',': case ':': case '\0':
                    endToken();
                    break;
                default:
                    text[w++] = c;
                    break;
            }
        }
        if (fail) {
            free(tokens);
            free(text);
            zvkWriteMsg(907, ZVK_MSG_NOTRACEBACK);
            return;
        }
        for (size_t t = 0; t < count; ++t) {
            if (const Keyword* k = findKeyword(tokens[t]))
                applyRow(pc, *k);
            else
                applyParameter(pc, tokens[t]);
        }
        free(tokens);
        free(text);
    }
    if (pendingDefault >= 0) applyRow(pc, kKeywords[pendingDefault]);
}

// For tests: the keyword table's names in order.
size_t zvkOptionKeywordCount(void) { return kKeywordCount; }
const char* zvkOptionKeyword(size_t i) { return i < kKeywordCount ? kKeywords[i].name.data() : nullptr; }
