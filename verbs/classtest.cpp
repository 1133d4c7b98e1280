// Class conditions: ALPHABETIC and its case forms, user classes, NUMERIC
// on packed and zoned items, DBCS and KANJI, and the national tests.
//
// Every test walks its item once and stops at the first byte (or unit)
// that is not in the class; an empty item is in every class.

#include <stdlib.h>
#include <string.h>

#include <array>

#include "base/bytes.h"
#include "chardata/codepages.h"
#include "frame/threads.h"
#include "verbs/item_lengths.h"
#include "kvr2/classcmp.h"
#include "decimal/decimal.h"

namespace {

// Zero where the byte is in the class, as the compiled user classes have it.
using ClassTable = std::array<uint8_t, 256>;

constexpr ClassTable makeAlphaTable(bool upper, bool lower) {
    ClassTable t{};
    for (int b = 0; b < 256; ++b) {
        bool in = b == 0x20 || (upper && b >= 'A' && b <= 'Z') || (lower && b >= 'a' && b <= 'z');
        t[b] = in ? 0 : 1;
    }
    return t;
}
constexpr ClassTable kAlpha = makeAlphaTable(true, true);
constexpr ClassTable kAlphaUpper = makeAlphaTable(true, false);
constexpr ClassTable kAlphaLower = makeAlphaTable(false, true);

// The valid bytes of EBCDIC double-byte code points: 0x41 to 0xFE for both
// bytes of a DBCS character; KANJI narrows the first byte to 0x41..0x7F.
constexpr ClassTable makeRange(int lo, int hi) {
    ClassTable t{};
    for (int b = 0; b < 256; ++b) t[b] = (b >= lo && b <= hi) ? 0 : 1;
    return t;
}
constexpr ClassTable kDbcsByte = makeRange(0x41, 0xFE);
constexpr ClassTable kKanjiFirst = makeRange(0x41, 0x7F);

using verbs::byteCount;

int32_t inTable(const uint8_t* a, int64_t length, const uint8_t* table) {
    uint64_t n = byteCount(length);
    if (n == 0) return 1;
    if (!a || !table) return 0;
    // Or-ing the entries of eight bytes at a time keeps the loop free of
    // a branch per byte; the table entries are small.
    uint64_t i = 0;
    for (; i + 8 <= n; i += 8) {
        unsigned acc = table[a[i]] | table[a[i + 1]] | table[a[i + 2]] | table[a[i + 3]] | table[a[i + 4]] |
                       table[a[i + 5]] | table[a[i + 6]] | table[a[i + 7]];
        if (acc) return 0;
    }
    for (; i < n; ++i)
        if (table[a[i]]) return 0;
    return 1;
}

bool isDigit(uint8_t b) { return b >= 0x30 && b <= 0x39; }

// The letter forms of an overpunched sign: "{", "}", "A" to "R".
bool isSignLetter(uint8_t b) { return b == 0x7B || b == 0x7D || (b >= 0x41 && b <= 0x52); }

}  // namespace


namespace {

int32_t dbcsTest(const uint8_t* a, int64_t length, const uint8_t* firstTable) {
    if (length == 0) return 1;
    const uint8_t* p;
    uint64_t n;
    if (length < 0) {
        p = a;
        n = byteCount(length);
    } else {
        // Native mixed data: converted to EBCDIC, where double-byte text
        // stands between a shift-out and a shift-in.
        if (length > INT32_MAX / 2 - 2) return 0;
        int32_t capacity = static_cast<int32_t>(2 * length + 2);
        uint8_t* work = static_cast<uint8_t*>(zvkThreadScratch(capacity));
        if (!work) return 0;
        int32_t status = _zvkConvToEBCDIC(a, static_cast<int32_t>(length), work, &capacity);
        if (status > 0 || capacity <= 0 || work[0] != 0x0E) return 0;
        p = work + 1;
        n = static_cast<uint64_t>(capacity) - 1;
        // The shift-in that closes the text is not part of it.
        if (n > 0 && p[n - 1] == 0x0F) --n;
    }
    if (n & 1) return 0;
    for (uint64_t i = 0; i < n; i += 2) {
        uint8_t b1 = p[i], b2 = p[i + 1];
        if (b1 == 0x40 && b2 == 0x40) continue;
        if (firstTable[b1] || kDbcsByte[b2]) return 0;   // the shift codes are out of both ranges
    }
    return 1;
}

inline uint16_t unitAt(const uint8_t* a, uint64_t i) { return base::loadLe<uint16_t>(a + 2 * i); }

template <class Pred>
int32_t everyUnit(const uint8_t* a, int64_t length, Pred pred) {
    uint64_t units = byteCount(length) / 2;
    for (uint64_t i = 0; i < units; ++i)
        if (!pred(unitAt(a, i))) return 0;
    return 1;
}

bool unitDigit(uint16_t u) { return u >= 0x30 && u <= 0x39; }
bool unitUpper(uint16_t u) { return u == 0x20 || (u >= 'A' && u <= 'Z'); }
bool unitLower(uint16_t u) { return u == 0x20 || (u >= 'a' && u <= 'z'); }

}  // namespace

extern "C" {

KVR2_API int32_t _zvkcClasAlpha(const uint8_t* a, int64_t length) { return inTable(a, length, kAlpha.data()); }
KVR2_API int32_t _zvkcClasAlphaUpper(const uint8_t* a, int64_t length) {
    return inTable(a, length, kAlphaUpper.data());
}
KVR2_API int32_t _zvkcClasAlphaLower(const uint8_t* a, int64_t length) {
    return inTable(a, length, kAlphaLower.data());
}
KVR2_API int32_t _zvkcClasUserDef(const uint8_t* a, int64_t length, const uint8_t* table) {
    return inTable(a, length, table);
}

KVR2_API int32_t _zvkcClasPackedDec(const uint8_t* a, int32_t digits) {
    if (!a) return 0;
    return zvkBcdCheckPacked(a, digits, 1) == 0 ? 1 : 0;
}

// NUMERIC on a zoned item.  The sign byte follows the rule of the mode:
// its digit must be 0 to 9 (in the EBCDIC convention the letter forms of
// a sign are taken too) and, when strict, its zone must be that of a
// digit or of a negative digit.  Every other byte must be a digit
// "0".."9".  The item must also pass the strict validator, so that NUMERIC
// never holds for data the decimal entry points would refuse.
KVR2_API int32_t _zvkcClasZonedDec(uint32_t word, const uint8_t* a, int32_t length) {
    if (length <= 0) return 1;
    if (!a) return 0;
    const uint32_t position = word & 0xFF;
    const bool strict = ((word >> 8) & 0xFF) != 0;
    const bool ebcdic = (bcd::mode() & kBcdEbcdic) != 0;
    int32_t signAt = position == ZVK_ZONED_SIGN_LEADING ? 0 : position == ZVK_ZONED_SIGN_TRAILING ? length - 1 : -1;
    for (int32_t i = 0; i < length; ++i)
        if (i != signAt && !isDigit(a[i])) return 0;
    if (signAt >= 0) {
        uint8_t b = a[signAt];
        bool letter = ebcdic && isSignLetter(b);
        if (!letter) {
            if ((b & 0x0F) > 9) return 0;
            if (strict && (b & 0xB0) != 0x30) return 0;
        }
    }
    return zvkBcdCheckZoned(a, length, 1) == 0 ? 1 : 0;
}

KVR2_API int32_t _zvkcClasDBCS(const uint8_t* a, int64_t length) { return dbcsTest(a, length, kDbcsByte.data()); }
KVR2_API int32_t _zvkcClasKanji(const uint8_t* a, int64_t length) { return dbcsTest(a, length, kKanjiFirst.data()); }

KVR2_API int32_t _zvkuClasNumeric(const uint8_t* a, int64_t length) { return everyUnit(a, length, unitDigit); }
KVR2_API int32_t _zvkuClasAlpha(const uint8_t* a, int64_t length) {
    return everyUnit(a, length, [](uint16_t u) { return unitUpper(u) || unitLower(u); });
}
KVR2_API int32_t _zvkuClasUpper(const uint8_t* a, int64_t length) { return everyUnit(a, length, unitUpper); }
KVR2_API int32_t _zvkuClasLower(const uint8_t* a, int64_t length) { return everyUnit(a, length, unitLower); }

// Signed national numeric.  With a sign position the sign unit must be
// "+" or "-" and the other units digits.  The positive check refuses a
// "-"; a "+" passes whatever the digits; an item without a sign position
// needs a digit other than zero.
KVR2_API int32_t _zvkuSClasNumeric(uint32_t word, const uint8_t* a, int64_t length) {
    uint64_t units = byteCount(length) / 2;
    if (units == 0) return 1;
    const uint32_t position = word & 0xFF;
    const bool positive = ((word >> 8) & 0xFF) != 0;
    uint64_t signAt = position == ZVK_NATIONAL_SIGN_LEADING ? 0 : position == ZVK_NATIONAL_SIGN_TRAILING ? units - 1
                                                                                                       : units;
    bool nonZero = false;
    for (uint64_t i = 0; i < units; ++i) {
        if (i == signAt) continue;
        uint16_t u = unitAt(a, i);
        if (!unitDigit(u)) return 0;
        nonZero |= u != 0x30;
    }
    if (signAt < units) {
        uint16_t s = unitAt(a, signAt);
        if (s != 0x2B && s != 0x2D) return 0;
        if (positive) return s == 0x2B ? 1 : 0;
        return 1;
    }
    if (positive && !nonZero) return 0;
    return 1;
}

}  // extern "C"
