// The run's code pages and the conversions between native, EBCDIC and
// UTF-16 data, through ICU.
//
// The code pages are chosen once, from the process locale and
// EBCDIC_CODEPAGE, and kept in the process record (codePageRow,
// ebcdicCodePage, localeName).  The conversion layer's own state (converter
// names, the cached native and EBCDIC converters, the collator and the
// status words) is allocated at the first conversion and hangs from
// Proccom.codePageWord, with the routine that releases it in
// Proccom.codePageHook; the runtime's end calls it.
//
// Names of code pages are this system's everywhere ("TQX-1140"); ICU knows
// the same code pages under its own names with the same numbers, and the
// translation is made only when a converter is opened.

#include <alloca.h>
#include <ctype.h>
#include <langinfo.h>
#include <locale.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <unicode/ucnv.h>
#include <unicode/ucol.h>

#include "chardata/codepages.h"
#include "frame/messages.h"
#include "frame/threads.h"
#include "frame/hooks.h"
#include "frame/storage.h"

extern "C" size_t __ctype_get_mb_cur_max(void);

namespace {

struct ConversionState {
    uint32_t started;
    char nativeConverterName[51];
    char ebcdicConverterName[51];
    char collationLocale[6];
    UConverter* native;
    UConverter* ebcdic;
    UCollator* collator;
    UErrorCode status;
    UErrorCode lastStatus;
};

// Guards the choice of code pages and the start of the conversion layer;
// the conversions themselves run unlocked, one at a time by contract.
pthread_mutex_t setupMutex = PTHREAD_MUTEX_INITIALIZER;
// Guards the translate tables of _zvkcEBCDIC.
pthread_mutex_t tableMutex = PTHREAD_MUTEX_INITIALIZER;

constexpr size_t kWorkStack = 32768;      // UTF-16 work area of AtoE/EtoA
constexpr size_t kSecondStack = 16384;    // their second area
constexpr size_t kShiftStack = 256;       // work areas of ConvToEBCDIC/ASCII
constexpr uint8_t kShiftOut = 0x0E;
constexpr uint8_t kShiftIn = 0x0F;

inline ConversionState* stateOf(Proccom* pc) { return pc ? static_cast<ConversionState*>(pc->codePageWord) : nullptr; }

void upperCopy(char* out, const char* in, size_t n) {
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<char>(toupper(static_cast<unsigned char>(in[i])));
}

bool sameUpper(const char* a, const char* b, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (toupper(static_cast<unsigned char>(a[i])) != toupper(static_cast<unsigned char>(b[i]))) return false;
    return true;
}

// strnlen of a fixed-width column.
template <size_t N>
size_t columnLength(const char (&c)[N]) {
    return strnlen(c, N);
}

template <size_t N>
bool columnIs(const char (&c)[N], const char* text) {
    size_t n = strlen(text);
    return n > 0 && columnLength(c) == n && memcmp(c, text, n) == 0;
}

template <size_t N, size_t M>
void copyColumn(char (&out)[M], const char (&c)[N], size_t limit) {
    size_t n = columnLength(c);
    if (n > limit) n = limit;
    if (n > M - 1) n = M - 1;
    memcpy(out, c, n);
    memset(out + n, 0, M - n);
}

// Builds localeName: five bytes of language and territory, ".", code set.
void buildLocaleName(char (&out)[64]) {
    const char* name = setlocale(LC_CTYPE, "");
    if (!name) name = setlocale(LC_CTYPE, nullptr);
    if (!name) name = "C";
    char work[64];
    if (strcmp(name, "C") == 0 || strcmp(name, "POSIX") == 0)
        snprintf(work, sizeof work, "%s", "en_US.ISO8859-1");
    else
        snprintf(work, sizeof work, "%s", name);
    if (work[5] != '.' || strlen(work) < 6) {
        // A name shorter than the five bytes of language and territory is
        // filled out with "_" so that the code set still begins at the
        // seventh byte.
        size_t n = strlen(work);
        for (size_t i = n; i < 5; ++i) work[i] = '_';
        const char* codeset = nl_langinfo(CODESET);
        work[5] = '.';
        snprintf(work + 6, sizeof work - 6, "%s", codeset ? codeset : "");
    }
    snprintf(out, sizeof out, "%s", work);
}

// A message the choice of code pages has to give, once the choice is
// recorded and the lock given back (a message may end the run).
struct ChoiceNotice {
    int variant = -1;
    char value[64] = {0};
    char other[64] = {0};
};

void choose(Proccom* pc, ChoiceNotice* notice) {
    buildLocaleName(pc->localeName);
    int row = kCodePageDefaultRow;
    for (int i = 0; i < kCodePageRows; ++i) {
        if (sameUpper(pc->localeName, zvkCodePageTable[i].key, 5)) {
            row = i;
            break;
        }
    }
    const CodePageRow& mine = zvkCodePageTable[row];

    const char* value = getenv("EBCDIC_CODEPAGE");
    if (!value || !*value) {
        copyColumn(pc->ebcdicCodePage, mine.ebcdicEuro, 15);
        pc->codePageRow = row;
        return;
    }

    const size_t length = strlen(value);
    int found = -1;
    char upper[15] = {0};
    // Every name of the table is at most 14 bytes: a longer value cannot
    // be one of them (and is never copied into the 16-byte field).
    if (length <= 14) {
        upperCopy(upper, value, length);
        for (int i = 0; i < kCodePageRows && found < 0; ++i)
            if (columnIs(zvkCodePageTable[i].ebcdicBase, upper) || columnIs(zvkCodePageTable[i].ebcdicEuro, upper))
                found = i;
    }
    snprintf(notice->value, sizeof notice->value, "%s", value);

    if (found >= 0) {
        const bool ofMyRow = columnIs(mine.ebcdicBase, upper) || columnIs(mine.ebcdicEuro, upper);
        const bool sameKey = sameUpper(zvkCodePageTable[found].key, pc->localeName, 5);
        snprintf(pc->ebcdicCodePage, sizeof pc->ebcdicCodePage, "%s", value);
        if (!ofMyRow && !sameKey) {
            notice->variant = 1;
            snprintf(notice->other, sizeof notice->other, "%s", pc->localeName);
        }
    } else {
        // Not known: the default of the row whose number is the value's
        // length.  A value too long to name any row takes the locale's own.
        const CodePageRow& fallback =
            length < static_cast<size_t>(kCodePageRows) ? zvkCodePageTable[length] : mine;
        copyColumn(pc->ebcdicCodePage, fallback.ebcdicEuro, 10);
        notice->variant = 2;
        snprintf(notice->other, sizeof notice->other, "%s", pc->ebcdicCodePage);
    }
    pc->codePageRow = row;
}

void releaseState();

// Starts the conversion layer if need be; null without a process record.
ConversionState* started() {
    Proccom* pc = _zvkProccom;
    if (!pc) return nullptr;
    if (ConversionState* s = stateOf(pc); s && s->started) return s;
    _zvkcSetCodePages();
    pthread_mutex_lock(&setupMutex);
    ConversionState* s = stateOf(pc);
    if (!s) {
        s = static_cast<ConversionState*>(calloc(1, sizeof(ConversionState)));
        if (!s) {
            pthread_mutex_unlock(&setupMutex);
            zvkWriteMsg(907, 0);
            return nullptr;
        }
        memcpy(s->collationLocale, pc->localeName, 5);
        s->collationLocale[5] = 0;
        // The code set stands from the seventh byte of the locale name.
        snprintf(s->nativeConverterName, sizeof s->nativeConverterName, "%s", pc->localeName + 6);
        snprintf(s->ebcdicConverterName, sizeof s->ebcdicConverterName, "%s", pc->ebcdicCodePage);
        pc->codePageWord = s;
        pc->codePageHook = reinterpret_cast<void*>(&releaseState);
        s->started = 1;
    }
    pthread_mutex_unlock(&setupMutex);
    return s;
}

void releaseState() {
    Proccom* pc = _zvkProccom;
    ConversionState* s = stateOf(pc);
    if (!s) return;
    if (s->native) ucnv_close(s->native);
    if (s->ebcdic) ucnv_close(s->ebcdic);
    if (s->collator) ucol_close(s->collator);
    s->started = 0;
    free(s);
    pc->codePageWord = nullptr;
    pc->codePageHook = nullptr;
}

UConverter* openConverter(const char* name, size_t length, UErrorCode* status) {
    char icu[64];
    if (!zvkIcuConverterName(name, length, icu, sizeof icu)) {
        *status = U_ILLEGAL_ARGUMENT_ERROR;
        return nullptr;
    }
    return ucnv_open(icu, status);
}

// The converter a selector asks for: the cached EBCDIC (-1) or native (0)
// one, or one opened for this call alone (*perCall set).  On failure,
// message 221 and null.
UConverter* converterFor(ConversionState* s, const char* name, int32_t nameLength, bool* perCall, UErrorCode* status) {
    *perCall = false;
    if (nameLength == ZVK_CP_EBCDIC || nameLength == ZVK_CP_NATIVE) {
        UConverter** slot = nameLength == ZVK_CP_EBCDIC ? &s->ebcdic : &s->native;
        const char* which = nameLength == ZVK_CP_EBCDIC ? s->ebcdicConverterName : s->nativeConverterName;
        if (!*slot) *slot = openConverter(which, strlen(which), status);
        if (!*slot) zvkWriteMsg(221, 0, which, static_cast<int>(*status));
        return *slot;
    }
    char text[ZVK_CP_NAME_MAX + 1];
    // Names are at most 30 bytes; a longer one (or a negative length other
    // than the selectors) names nothing that can be opened.
    if (nameLength < 0 || nameLength > ZVK_CP_NAME_MAX || !name) {
        size_t n = (!name || nameLength < 0) ? 0 : ZVK_CP_NAME_MAX;
        if (n) memcpy(text, name, n);
        text[n] = 0;
        *status = U_ILLEGAL_ARGUMENT_ERROR;
        zvkWriteMsg(221, 0, text, static_cast<int>(*status));
        return nullptr;
    }
    memcpy(text, name, static_cast<size_t>(nameLength));
    text[nameLength] = 0;
    UConverter* c = openConverter(text, strlen(text), status);
    if (!c) {
        if (U_SUCCESS(*status)) *status = U_INVALID_TABLE_FORMAT;
        zvkWriteMsg(221, 0, text, static_cast<int>(*status));
        return nullptr;
    }
    *perCall = true;
    return c;
}

// To UTF-16.  quietOverflow: an overflow is no message (the caller deals
// with it).  *capacity out: bytes stored, never more than were available.
UErrorCode toUnicode(ConversionState* s, const uint8_t* source, uint32_t length, uint16_t* target, uint32_t* capacity,
                     const char* name, int32_t nameLength, bool quietOverflow, int32_t* needed) {
    UErrorCode status = U_ZERO_ERROR;
    bool perCall;
    UConverter* c = converterFor(s, name, nameLength, &perCall, &status);
    if (!c) return status;
    const uint32_t units = *capacity / 2;
    int32_t n = ucnv_toUChars(c, reinterpret_cast<UChar*>(target), static_cast<int32_t>(units),
                              reinterpret_cast<const char*>(source), static_cast<int32_t>(length), &status);
    if (needed) *needed = n * 2;
    if (status > U_ZERO_ERROR) {
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            if (!quietOverflow) zvkWriteMsg(222, ZVK_MSG_INFO, static_cast<int>(status));
        } else {
            if (perCall) ucnv_close(c);
            zvkWriteMsg(222, 0, static_cast<int>(status));
            return status;
        }
    }
    uint32_t stored = n < 0 ? 0 : static_cast<uint32_t>(n);
    if (stored > units) stored = units;
    *capacity = stored * 2;
    if (perCall) ucnv_close(c);
    if (status < U_ZERO_ERROR) status = U_ZERO_ERROR;
    return status;
}

UErrorCode fromUnicode(ConversionState* s, const uint16_t* source, uint32_t lengthBytes, uint8_t* target,
                       uint32_t* capacity, const char* name, int32_t nameLength, bool quietOverflow,
                       int32_t* needed) {
    UErrorCode status = U_ZERO_ERROR;
    bool perCall;
    UConverter* c = converterFor(s, name, nameLength, &perCall, &status);
    if (!c) return status;
    int32_t n = ucnv_fromUChars(c, reinterpret_cast<char*>(target), static_cast<int32_t>(*capacity),
                                reinterpret_cast<const UChar*>(source), static_cast<int32_t>(lengthBytes / 2), &status);
    if (needed) *needed = n;
    if (perCall) ucnv_close(c);
    if (status > U_ZERO_ERROR) {
        if (!(quietOverflow && status == U_BUFFER_OVERFLOW_ERROR)) zvkWriteMsg(222, 0, static_cast<int>(status));
        return status;
    }
    uint32_t stored = n < 0 ? 0 : static_cast<uint32_t>(n);
    if (stored > *capacity) stored = *capacity;
    *capacity = stored;
    return U_ZERO_ERROR;
}

// A work area on the stack when small enough, else from the allocator.
// Released by hand: no destructors in frames a longjmp may cross.
struct WorkArea {
    uint8_t* data;
    bool heap;
    void release() {
        if (heap) free(data);
    }
};

// Native to EBCDIC (toEbcdic) or back, through UTF-16.  *capacity out:
// bytes left over.
UErrorCode combined(bool toEbcdic, const uint8_t* source, uint32_t length, uint8_t* target, uint32_t* capacity) {
    ConversionState* s = started();
    if (!s) return U_INVALID_STATE_ERROR;
    const int32_t from = toEbcdic ? ZVK_CP_NATIVE : ZVK_CP_EBCDIC;
    const int32_t to = toEbcdic ? ZVK_CP_EBCDIC : ZVK_CP_NATIVE;

    alignas(16) uint8_t stack[kWorkStack];
    const uint64_t workSize = 2 * uint64_t(length) + 4;
    WorkArea work{stack, false};
    if (workSize > sizeof stack) {
        work.data = static_cast<uint8_t*>(_zvkMalloc(workSize, 907, 0));
        if (!work.data) return U_MEMORY_ALLOCATION_ERROR;
        work.heap = true;
    }
    uint32_t units = static_cast<uint32_t>(workSize);
    UErrorCode status =
        toUnicode(s, source, length, reinterpret_cast<uint16_t*>(work.data), &units, nullptr, from, true, nullptr);
    if (status == U_BUFFER_OVERFLOW_ERROR) status = U_ZERO_ERROR;   // cannot happen: a byte gives at most a unit
    if (status > U_ZERO_ERROR) {
        work.release();
        s->lastStatus = status;
        return status;
    }

    uint32_t room = *capacity;
    int32_t needed = 0;
    status = fromUnicode(s, reinterpret_cast<uint16_t*>(work.data), units, target, &room, nullptr, to, true, &needed);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        // The destination is too small: convert all of it into a second
        // area and keep the capacity's worth.
        alignas(16) uint8_t second[kSecondStack];
        uint64_t size = toEbcdic ? units / 4 * 5 + 4 : uint64_t(units) + 2;
        if (needed > 0 && uint64_t(needed) > size) size = uint64_t(needed);
        WorkArea area{second, false};
        if (size > sizeof second) {
            area.data = static_cast<uint8_t*>(_zvkMalloc(size, 907, 0));
            if (!area.data) {
                work.release();
                return U_MEMORY_ALLOCATION_ERROR;
            }
            area.heap = true;
        }
        uint32_t all = static_cast<uint32_t>(size);
        status = fromUnicode(s, reinterpret_cast<uint16_t*>(work.data), units, area.data, &all, nullptr, to, true,
                             nullptr);
        if (status == U_BUFFER_OVERFLOW_ERROR) {
            status = U_ZERO_ERROR;
            all = static_cast<uint32_t>(size);
        }
        if (status <= U_ZERO_ERROR) {
            room = all < *capacity ? all : *capacity;
            memcpy(target, area.data, room);
        }
        area.release();
    }
    work.release();
    if (status <= U_ZERO_ERROR) {
        status = U_ZERO_ERROR;
        *capacity -= room;
    }
    s->lastStatus = status;
    return status;
}

uint8_t* scratchArea(uint8_t* stack, size_t stackSize, uint64_t size, bool* heap) {
    *heap = size > stackSize;
    return *heap ? static_cast<uint8_t*>(_zvkMalloc(size, 907, 0)) : stack;
}

uint8_t nativeTable[256];
uint8_t ebcdicTable[256];
bool tablesBuilt = false;

}  // namespace

extern "C" {

bool zvkIcuConverterName(const char* name, size_t length, char* out, size_t size) {
    if (!name || length + 1 > size) return false;
    if (length >= 4 && sameUpper(name, "TQX-", 4)) {
        // ICU's name of the same code page.
        memcpy(out, "ibm-", 4);
        memcpy(out + 4, name + 4, length - 4);
    } else {
        memcpy(out, name, length);
    }
    out[length] = 0;
    return true;
}

KVR2_API void _zvkcSetCodePages(void) {
    Proccom* pc = _zvkProccom;
    if (!pc || pc->codePageRow >= 0) return;
    ChoiceNotice notice;
    pthread_mutex_lock(&setupMutex);
    if (pc->codePageRow < 0) choose(pc, &notice);
    pthread_mutex_unlock(&setupMutex);
    if (notice.variant == 1) zvkWriteMsg(230, 1, notice.value, notice.other);
    if (notice.variant == 2) zvkWriteMsg(230, 2, notice.value, notice.other);
}

KVR2_API void _zvkGetLocaleCP(char* locale, char* ebcdic) {
    _zvkcSetCodePages();
    Proccom* pc = _zvkProccom;
    if (locale) snprintf(locale, sizeof pc->localeName, "%s", pc ? pc->localeName : "");
    if (ebcdic) snprintf(ebcdic, sizeof pc->ebcdicCodePage, "%s", pc ? pc->ebcdicCodePage : "");
}

KVR2_API int32_t _zvkValidateCPID(const char* name, int32_t length) {
    if (!name || length <= 0 || length > ZVK_CP_NAME_MAX) return 1;
    UErrorCode status = U_ZERO_ERROR;
    UConverter* c = openConverter(name, static_cast<size_t>(length), &status);
    if (!c) return 1;
    ucnv_close(c);
    return 0;
}

KVR2_API int32_t _zvkGetMaxCharSize(const char* name) {
    if (!name) return 0;
    UErrorCode status = U_ZERO_ERROR;
    UConverter* c = openConverter(name, strnlen(name, 64), &status);
    if (!c) return 0;
    int32_t n = ucnv_getMaxCharSize(c);
    ucnv_close(c);
    return n;
}

KVR2_API int32_t _zvkGetCCSID(const char* name, uint32_t* ccsid) {
    uint32_t dummy;
    if (!ccsid) ccsid = &dummy;
    *ccsid = 0xFFFFFFFFu;
    if (!name) return 2;
    UErrorCode status = U_ZERO_ERROR;
    UConverter* c = openConverter(name, strnlen(name, 64), &status);
    if (!c) return 2;
    int32_t id = ucnv_getCCSID(c, &status);
    ucnv_close(c);
    // ICU answers 0 for a converter that has no CCSID.
    if (U_FAILURE(status) || id <= 0) return 1;
    *ccsid = static_cast<uint32_t>(id);
    return 0;
}

KVR2_API size_t _zvkGetMBCurMax(void) { return __ctype_get_mb_cur_max(); }

KVR2_API int32_t _zvkConvToUnicode(const uint8_t* source, uint32_t length, uint16_t* target, uint32_t* capacity,
                                   const char* name, int32_t nameLength) {
    ConversionState* s = started();
    if (!s) return U_INVALID_STATE_ERROR;
    s->status = toUnicode(s, source, length, target, capacity, name, nameLength, false, nullptr);
    return s->status;
}

KVR2_API int32_t _zvkConvFromUnicode(const uint16_t* source, uint32_t lengthBytes, uint8_t* target,
                                     uint32_t* capacity, const char* name, int32_t nameLength) {
    ConversionState* s = started();
    if (!s) return U_INVALID_STATE_ERROR;
    s->status = fromUnicode(s, source, lengthBytes, target, capacity, name, nameLength, false, nullptr);
    return s->status;
}

KVR2_API int32_t _zvkUniAtoE(const uint8_t* source, uint32_t length, uint8_t* target, uint32_t* capacity) {
    return combined(true, source, length, target, capacity);
}

KVR2_API int32_t _zvkUniEtoA(const uint8_t* source, uint32_t length, uint8_t* target, uint32_t* capacity) {
    return combined(false, source, length, target, capacity);
}

KVR2_API int32_t _zvkConvToEBCDIC(const uint8_t* source, int32_t length, uint8_t* target, int32_t* capacity) {
    int32_t cap = *capacity;
    const bool mixed = cap < 0;
    if (mixed) cap = -cap;
    const bool pureDbcs = length < 0;
    if (pureDbcs) length = -length;

    if (length == 1 && (source[0] == kShiftOut || source[0] == kShiftIn)) {
        if (cap >= 1) target[0] = source[0];
        *capacity = cap >= 1 ? 1 : 0;
        return 0;
    }

    uint8_t stack[kShiftStack];
    // One byte more than the converted text may need, for a closing shift-in.
    const uint64_t size = uint64_t(cap) * 5 / 3 + 1 + 1;
    bool heap;
    uint8_t* work = scratchArea(stack, sizeof stack, size, &heap);
    if (!work) {
        *capacity = 0;
        return U_MEMORY_ALLOCATION_ERROR;
    }
    uint32_t left = static_cast<uint32_t>(size - 1);
    int32_t status = _zvkUniAtoE(source, static_cast<uint32_t>(length), work, &left);
    if (status > 0) {
        if (heap) free(work);
        *capacity = 0;
        return status;
    }
    uint8_t* text = work;
    uint64_t n = size - 1 - left;
    if (pureDbcs) {
        if (n > 0 && text[0] == kShiftOut) {
            ++text;
            --n;
            if (n > 0 && text[n - 1] == kShiftIn) --n;
        }
    } else if (mixed) {
        uint64_t so = 0, si = 0;
        for (uint64_t i = 0; i < n; ++i) {
            so += text[i] == kShiftOut;
            si += text[i] == kShiftIn;
        }
        if (so == si + 1) text[n++] = kShiftIn;
    }
    if (n > uint64_t(cap)) n = uint64_t(cap);
    memcpy(target, text, n);
    *capacity = static_cast<int32_t>(n);
    if (heap) free(work);
    return 0;
}

KVR2_API int32_t _zvkConvToASCII(const uint8_t* source, int32_t length, uint8_t* target, int32_t* capacity) {
    int32_t cap = *capacity;
    const bool right = cap < 0;
    if (right) cap = -cap;
    const bool needShifts = length < 0;
    if (needShifts) length = -length;

    if (length == 1 && (source[0] == kShiftOut || source[0] == kShiftIn)) {
        if (cap >= 1) target[0] = source[0];
        *capacity = cap >= 1 ? 1 : 0;
        return 0;
    }

    uint8_t stack[kShiftStack];
    bool heap = false;
    const uint8_t* text = source;
    uint64_t n = static_cast<uint64_t>(length);
    uint8_t* rebuilt = nullptr;
    if (needShifts) {
        uint64_t so = 0, si = 0;
        for (uint64_t i = 0; i < n; ++i) {
            so += source[i] == kShiftOut;
            si += source[i] == kShiftIn;
        }
        if (so == 0 && si == 0) {
            rebuilt = scratchArea(stack, sizeof stack, n + 2, &heap);
            if (!rebuilt) {
                *capacity = 0;
                return U_MEMORY_ALLOCATION_ERROR;
            }
            rebuilt[0] = kShiftOut;
            memcpy(rebuilt + 1, source, n);
            rebuilt[n + 1] = kShiftIn;
            n += 2;
        } else if (so != si) {
            // Close an open shift-out before the next one, open one before
            // a stray shift-in, and close what is still open at the end.
            rebuilt = scratchArea(stack, sizeof stack, 2 * n + 1, &heap);
            if (!rebuilt) {
                *capacity = 0;
                return U_MEMORY_ALLOCATION_ERROR;
            }
            uint64_t k = 0;
            bool open = false;
            for (uint64_t i = 0; i < n; ++i) {
                if (source[i] == kShiftOut) {
                    if (open) rebuilt[k++] = kShiftIn;
                    open = true;
                } else if (source[i] == kShiftIn) {
                    if (!open) rebuilt[k++] = kShiftOut;
                    open = false;
                }
                rebuilt[k++] = source[i];
            }
            if (open) rebuilt[k++] = kShiftIn;
            n = k;
        }
        if (rebuilt) text = rebuilt;
    }

    uint32_t left = static_cast<uint32_t>(cap);
    int32_t status = _zvkUniEtoA(text, static_cast<uint32_t>(n), target, &left);
    if (heap) free(rebuilt);
    if (status > 0) {
        *capacity = 0;
        return status;
    }
    const uint32_t stored = static_cast<uint32_t>(cap) - left;
    *capacity = static_cast<int32_t>(stored);
    if (left > 0) {
        if (right) {
            memmove(target + left, target, stored);
            memset(target, ' ', left);
        } else {
            memset(target + stored, ' ', left);
        }
    }
    return 0;
}

KVR2_API void _zvkcEBCDIC(void* record) {
    if (!record) return;
    const bool lock = !zvkSingleThreaded();
    if (lock) zvkLock(&tableMutex);
    if (!tablesBuilt) {
        uint8_t all[256];
        for (int i = 0; i < 256; ++i) all[i] = nativeTable[i] = ebcdicTable[i] = static_cast<uint8_t>(i);
        uint32_t left = sizeof nativeTable;
        int32_t s1 = _zvkUniEtoA(all, 256, nativeTable, &left);
        left = sizeof ebcdicTable;
        int32_t s2 = _zvkUniEtoA(all, 256, ebcdicTable, &left);
        tablesBuilt = true;
        if (s1 > 0 || s2 > 0) {
            if (lock) zvkUnlock(&tableMutex);
            zvkWriteMsg(230, 4);
            if (lock) zvkLock(&tableMutex);
        }
    }
    uint8_t* native = nativeTable;
    uint8_t* ebcdic = ebcdicTable;
    memcpy(static_cast<uint8_t*>(record) + ZVK_ALPHABET_NATIVE_FROM_EBCDIC, &native, sizeof native);
    memcpy(static_cast<uint8_t*>(record) + ZVK_ALPHABET_EBCDIC_FROM_NATIVE, &ebcdic, sizeof ebcdic);
    if (lock) zvkUnlock(&tableMutex);
}

void zvkDbcsBlank(uint8_t out[2]) {
    _zvkcSetCodePages();
    Proccom* pc = _zvkProccom;
    int row = pc && pc->codePageRow >= 0 && pc->codePageRow < kCodePageRows ? pc->codePageRow : kCodePageDefaultRow;
    out[0] = zvkCodePageTable[row].dbcsBlank[0];
    out[1] = zvkCodePageTable[row].dbcsBlank[1];
}

int32_t zvkCodePageLastStatus(void) {
    ConversionState* s = stateOf(_zvkProccom);
    return s ? s->lastStatus : 0;
}

UCollator* zvkCodePageCollator(void) {
    ConversionState* s = started();
    if (!s) return nullptr;
    if (!s->collator) {
        UErrorCode status = U_ZERO_ERROR;
        s->collator = ucol_open(s->collationLocale, &status);
        if (U_FAILURE(status)) {
            s->collator = nullptr;
            zvkWriteMsg(224, 0, s->collationLocale, static_cast<int>(status));
        }
    }
    return s->collator;
}

void zvkCodePageRelease(void) {
    Proccom* pc = _zvkProccom;
    if (!pc || !pc->codePageHook) return;
    reinterpret_cast<void (*)()>(pc->codePageHook)();
    // The translate tables are built again from the code pages of a
    // runtime started afresh.
    pthread_mutex_lock(&tableMutex);
    tablesBuilt = false;
    pthread_mutex_unlock(&tableMutex);
}

}  // extern "C"

namespace {
// Converters and tables go when the runtime ends.
[[maybe_unused]] const bool hooked = (zvkAtRuntimeEnd(zvkCodePageRelease), true);
}  // namespace
