// STRING and UNSTRING.
//
// Both verbs work straight on the caller's items: nothing is allocated
// and nothing is copied to a work area.  A collating table, when the
// statement has one, is applied to each source byte as the scan reaches
// it, which gives the same result as translating the source first.
// Delimiters are located by a test of their first byte (translated under
// a table) before the whole text is compared.

#include <string.h>

#include "base/bytes.h"
#include "chardata/codepages.h"
#include "kvr2/classcmp.h"
#include "kvr2/unstring.h"

namespace {

using base::loadLe;
using base::storeLe;

const uint8_t* collatingTable(const uint64_t* alphabet) {
    if (!alphabet) return nullptr;
    return loadLe<const uint8_t*>(reinterpret_cast<const uint8_t*>(alphabet) + ZVK_ALPHABET_WEIGHTS);
}

void bumpOverflow(uint32_t* overflow) {
    if (overflow && *overflow) ++*overflow;
}

// The byte offset of a POINTER value in an item of `length` bytes; false
// when the pointer stands outside it, where the statement overflows and
// changes nothing else.
bool pointerOffset(uint64_t pointer, uint64_t length, unsigned unit, uint64_t* offset) {
    if (pointer < 1 || pointer - 1 > length / unit) return false;
    *offset = (pointer - 1) * unit;
    return true;
}

// Fills n bytes with a blank of `unit` bytes, the pattern counted from the
// start of the receiving item (`phase` bytes in).
inline void fillPattern(uint8_t* dst, uint64_t n, const uint8_t* pattern, unsigned unit, uint64_t phase = 0) {
    if (unit == 1) {
        if (n) memset(dst, pattern[0], n);
        return;
    }
    for (uint64_t i = 0; i < n; ++i) dst[i] = pattern[(phase + i) & 1];
}

// The alphanumeric MOVE: leftmost bytes kept and blanks behind, or with
// JUSTIFIED RIGHT the rightmost bytes kept and blanks in front.
void moveAlphanumeric(uint8_t* dst, uint64_t size, const uint8_t* src, uint64_t n, bool justified,
                      const uint8_t* blank, unsigned unit) {
    uint64_t k = n < size ? n : size;
    if (!justified) {
        if (k) memmove(dst, src, k);
        fillPattern(dst + k, size - k, blank, unit, k);
    } else {
        if (k) memmove(dst + (size - k), src + (n - k), k);
        fillPattern(dst, size - k, blank, unit);
    }
}

// ---- STRING ----

// Offset of the delimiter in the source, or the source length.
uint64_t findDelimiter(const uint8_t* src, uint64_t length, const uint8_t* delim, uint64_t dlen, unsigned unit) {
    if (dlen > length) return length;
    const uint64_t last = length - dlen;
    const uint8_t first = delim[0];
    if (unit == 1) {
        uint64_t p = 0;
        while (p <= last) {
            const void* hit = memchr(src + p, first, last - p + 1);
            if (!hit) break;
            p = static_cast<uint64_t>(static_cast<const uint8_t*>(hit) - src);
            if (memcmp(src + p, delim, dlen) == 0) return p;
            ++p;
        }
        return length;
    }
    for (uint64_t p = 0; p <= last; p += unit)
        if (src[p] == first && memcmp(src + p, delim, dlen) == 0) return p;
    return length;
}

uint64_t findDelimiterCollated(const uint8_t* src, uint64_t length, const uint8_t* delim, uint64_t dlen,
                               const uint8_t* weights) {
    if (dlen > length) return length;
    const uint64_t last = length - dlen;
    const uint8_t first = weights[delim[0]];
    for (uint64_t p = 0; p <= last; ++p)
        if (weights[src[p]] == first &&
            _zvkcCmpACS(src + p, static_cast<int64_t>(dlen), delim, static_cast<int64_t>(dlen), weights) == 0)
            return p;
    return length;
}

// ---- UNSTRING ----

struct Delimiters {
    const uint8_t* records;   // 24 bytes each
    uint32_t count;
    const uint8_t* weights;   // null: bytes compare as they are
    uint8_t first[256];       // first byte (translated) of the first 256 delimiters

    const uint8_t* address(uint32_t d) const { return loadLe<const uint8_t*>(records + 24u * d); }
    uint64_t length(uint32_t d) const {
        // A delimiter without text can never stand anywhere.
        return address(d) ? loadLe<uint64_t>(records + 24u * d + 8) : 0;
    }
    bool all(uint32_t d) const { return loadLe<uint32_t>(records + 24u * d + 16) & ZVK_UNSTRING_ALL; }
    uint8_t firstOf(uint32_t d) const {
        if (d < 256) return first[d];
        const uint8_t* a = address(d);
        uint8_t b = a && length(d) ? a[0] : 0;
        return weights ? weights[b] : b;
    }
    void prepare() {
        uint32_t n = count < 256 ? count : 256;
        for (uint32_t d = 0; d < n; ++d) {
            const uint8_t* a = address(d);
            uint8_t b = a && length(d) ? a[0] : 0;
            first[d] = weights ? weights[b] : b;
        }
    }
    bool standsAt(uint32_t d, const uint8_t* src, uint64_t p, uint64_t end) const {
        uint64_t dlen = length(d);
        if (dlen == 0 || dlen > end - p) return false;
        if (weights)
            return _zvkcCmpACS(src + p, static_cast<int64_t>(dlen), address(d), static_cast<int64_t>(dlen),
                               weights) == 0;
        return memcmp(src + p, address(d), dlen) == 0;
    }
};

struct Found {
    bool any;
    uint64_t at;         // where the field ends
    uint64_t next;       // where the next field begins
    uint64_t occurrence; // the occurrence DELIMITER IN receives
    uint64_t length;
};

Found scanField(const Delimiters& ds, const uint8_t* src, uint64_t pos, uint64_t end, unsigned unit) {
    Found f{false, end, end, 0, 0};
    if (ds.count == 1 && !ds.weights && unit == 1) {
        // One plain delimiter: the first-byte search is memchr's.
        uint64_t dlen = ds.length(0);
        if (dlen) {
            const uint8_t* d = ds.address(0);
            uint64_t p = pos;
            while (p < end) {
                const void* hit = memchr(src + p, d[0], end - p);
                if (!hit) break;
                p = static_cast<uint64_t>(static_cast<const uint8_t*>(hit) - src);
                if (dlen <= end - p && memcmp(src + p, d, dlen) == 0) {
                    f = {true, p, p + dlen, p, dlen};
                    break;
                }
                ++p;
            }
        }
        if (f.any && ds.all(0)) {
            while (ds.standsAt(0, src, f.next, end)) {
                f.occurrence = f.next;
                f.next += dlen;
            }
        }
        return f;
    }
    for (uint64_t p = pos; p < end && !f.any; p += unit) {
        const uint8_t c = ds.weights ? ds.weights[src[p]] : src[p];
        for (uint32_t d = 0; d < ds.count; ++d) {
            if (ds.firstOf(d) != c || !ds.standsAt(d, src, p, end)) continue;
            uint64_t dlen = ds.length(d);
            f = {true, p, p + dlen, p, dlen};
            if (ds.all(d)) {
                while (ds.standsAt(d, src, f.next, end)) {
                    f.occurrence = f.next;
                    f.next += dlen;
                }
            }
            break;
        }
    }
    return f;
}

// A numeric receiver: the last integerSize bytes of the field, right
// aligned in the integer digits behind "0"s; the decimal places "0"; a
// separate sign "+".  The bytes are copied as they are.
void storeNumeric(uint8_t* target, const uint8_t* field, uint64_t fieldLength, bool national) {
    uint8_t* dst = loadLe<uint8_t*>(target);
    uint64_t size = loadLe<uint64_t>(target + 8);
    uint64_t integer = loadLe<uint64_t>(target + 16);
    uint8_t kind = target[27];
    static const uint8_t zero1[2] = {0x30, 0x30}, zero2[2] = {0x30, 0x00};
    static const uint8_t plus1[2] = {0x2B, 0x2B}, plus2[2] = {0x2B, 0x00};
    const unsigned unit = national ? 2 : 1;
    const uint8_t* zero = national ? zero2 : zero1;
    const uint8_t* plus = national ? plus2 : plus1;
    uint64_t signBytes = (kind & ZVK_TARGET_SEPARATE_SIGN) ? unit : 0;
    if (signBytes > size) signBytes = size;
    if (integer > size - signBytes) integer = size - signBytes;
    uint64_t decimals = size - signBytes - integer;
    bool leads = (kind & ZVK_TARGET_SIGN_LEADS) != 0;
    uint8_t* digits = dst + (leads ? signBytes : 0);
    uint64_t k = fieldLength < integer ? fieldLength : integer;
    if (k) memmove(digits + (integer - k), field + (fieldLength - k), k);
    fillPattern(digits, integer - k, zero, unit);
    fillPattern(digits + integer, decimals, zero, unit);
    if (signBytes) memcpy(leads ? dst : dst + size - signBytes, plus, signBytes);
}

}  // namespace

extern "C" {

KVR2_API void _zvkcString(StringBlock* block, const uint64_t* alphabet, uint32_t* overflow) {
    uint8_t* b = reinterpret_cast<uint8_t*>(block);
    const uint8_t flags = b[3];
    const unsigned unit = (flags & (ZVK_STRING_NATIONAL | ZVK_STRING_DBCS)) ? 2 : 1;
    uint8_t* target = loadLe<uint8_t*>(b + 8);
    const uint64_t targetLength = loadLe<uint64_t>(b + 16);
    const uint64_t pointer = loadLe<uint64_t>(b + 24);
    const uint32_t groups = loadLe<uint32_t>(b + 32);
    const uint8_t* weights = (flags & ZVK_STRING_COLLATE) && unit == 1 ? collatingTable(alphabet) : nullptr;

    uint64_t offset = 0;
    if ((flags & ZVK_STRING_POINTER) && !pointerOffset(pointer, targetLength, unit, &offset)) {
        bumpOverflow(overflow);
        return;
    }
    uint64_t room = targetLength - offset;
    bool overflowed = false;

    const uint8_t* g = b + sizeof(StringBlock);
    for (uint32_t gi = 0; gi < groups; ++gi) {
        const uint8_t* delim = loadLe<const uint8_t*>(g);
        const uint64_t dlen = delim ? loadLe<uint64_t>(g + 8) : 0;
        const uint32_t sources = loadLe<uint32_t>(g + 16);
        const uint8_t* s = g + sizeof(StringGroup);
        for (uint32_t si = 0; si < sources; ++si, s += sizeof(StringSource)) {
            const uint8_t* src = loadLe<const uint8_t*>(s);
            const uint64_t slen = loadLe<uint64_t>(s + 8);
            if (room == 0 && overflowed) continue;   // nothing more can be sent or learnt
            uint64_t n = slen;
            if (dlen)
                n = weights ? findDelimiterCollated(src, slen, delim, dlen, weights)
                            : findDelimiter(src, slen, delim, dlen, unit);
            uint64_t k = n < room ? n : room;
            if (n > room) overflowed = true;
            if (k) memmove(target + offset, src, k);
            offset += k;
            room -= k;
        }
        g = s;
    }
    storeLe<uint64_t>(b + 24, unit == 1 ? offset + 1 : (offset + 2) / 2);
    if (overflowed) bumpOverflow(overflow);
}

KVR2_API void _zvkcUnString(UnstringBlock* block, UnstringTarget* targets, const uint64_t* alphabet,
                            uint32_t* overflow) {
    uint8_t* b = reinterpret_cast<uint8_t*>(block);
    const uint8_t flags = b[3];
    const bool dbcs = flags & ZVK_UNSTRING_DBCS;
    const unsigned unit = (flags & (ZVK_UNSTRING_NATIONAL | ZVK_UNSTRING_DBCS)) ? 2 : 1;
    const uint8_t* src = loadLe<const uint8_t*>(b + 8);
    const uint64_t end = loadLe<uint64_t>(b + 16);
    const uint64_t pointer = loadLe<uint64_t>(b + 24);
    uint32_t tally = loadLe<uint32_t>(b + 32);
    const uint32_t delimiterCount = loadLe<uint32_t>(b + 40);
    const uint32_t targetCount = loadLe<uint32_t>(b + 44);

    uint8_t blank[2] = {0x20, 0x20};
    if (dbcs)
        zvkDbcsBlank(blank);
    else if (unit == 2)
        blank[1] = 0x00;   // U+0020, low byte first

    uint64_t pos = 0;
    if ((flags & ZVK_UNSTRING_POINTER) && !pointerOffset(pointer, end, unit, &pos)) {
        bumpOverflow(overflow);
        return;
    }
    const uint64_t start = pos;

    Delimiters ds;
    ds.records = b + sizeof(UnstringBlock);
    ds.count = delimiterCount;
    ds.weights = (flags & ZVK_UNSTRING_COLLATE) && unit == 1 && delimiterCount ? collatingTable(alphabet) : nullptr;
    ds.prepare();

    bool overflowed = false;
    uint8_t* t = reinterpret_cast<uint8_t*>(targets);
    uint32_t served = 0;
    for (; served < targetCount && pos < end; ++served, t += sizeof(UnstringTarget)) {
        const uint8_t kind = t[27];
        const bool numeric = kind & (ZVK_TARGET_NUMERIC | ZVK_TARGET_NATIONAL_NUMERIC);
        uint64_t fieldEnd;
        Found found{false, 0, 0, 0, 0};
        if (delimiterCount == 0) {
            uint64_t take = numeric ? loadLe<uint64_t>(t + 16) : loadLe<uint64_t>(t + 8);
            fieldEnd = take < end - pos ? pos + take : end;
            found.next = fieldEnd;
        } else {
            found = scanField(ds, src, pos, end, unit);
            fieldEnd = found.at;
            uint8_t* delimiterIn = loadLe<uint8_t*>(t + 32);
            if (delimiterIn) {
                uint64_t delimiterInSize = loadLe<uint64_t>(t + 40);
                bool justified = t[51] & ZVK_TARGET_JUSTIFIED;
                if (found.any)
                    moveAlphanumeric(delimiterIn, delimiterInSize, src + found.occurrence, found.length, justified,
                                     blank, unit);
                else
                    fillPattern(delimiterIn, delimiterInSize, blank, unit);
            }
        }
        const uint64_t fieldLength = fieldEnd - pos;
        if (numeric)
            storeNumeric(t, src + pos, fieldLength, (kind & ZVK_TARGET_NATIONAL_NUMERIC) != 0);
        else
            moveAlphanumeric(loadLe<uint8_t*>(t), loadLe<uint64_t>(t + 8), src + pos, fieldLength,
                             kind & ZVK_TARGET_JUSTIFIED, blank, unit);
        storeLe<uint64_t>(t + 56, fieldLength / unit);
        ++tally;
        pos = found.next;
    }
    if (served == targetCount && pos < end) overflowed = true;

    if (flags & ZVK_UNSTRING_POINTER) storeLe<uint64_t>(b + 24, pointer + (pos - start) / unit);
    if (flags & ZVK_UNSTRING_TALLYING) storeLe<uint32_t>(b + 32, tally);
    if (overflowed) bumpOverflow(overflow);
}

}  // extern "C"
