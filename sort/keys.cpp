// The six key normalisations.  Every form begins so that the first byte
// that differs between two keys decides, and each variable-length form
// (zoned, packed) carries its length in a count byte before the digits,
// so that no key's form is a prefix of another's and keys can simply be
// concatenated.
#include "sort/keys.h"

#include <cstring>

#include "base/bytes.h"

namespace sortkeys {

namespace {

constexpr uint8_t kPositiveSign = 0xF0, kNegativeSign = 0x00;

bool ascending(const TableSortKey& key) { return key.orderFlags & ZVK_TSORT_ASCENDING; }

// A negative ascending key and a positive descending one take their
// magnitude complemented: larger magnitudes must come first.
uint8_t magnitudeMask(bool negative, bool asc) { return negative == asc ? 0xFF : 0x00; }

uint8_t signByte(bool negative, bool asc) {
    const uint8_t b = negative ? kNegativeSign : kPositiveSign;
    return asc ? b : static_cast<uint8_t>(~b);
}

uint32_t separateSignBytes(const TableSortKey& key) {
    return (key.signFlags & (ZVK_TSORT_LEADING_SEPARATE | ZVK_TSORT_TRAILING_SEPARATE)) ? 1 : 0;
}

uint32_t zoned(const TableSortKey& key, const uint8_t* item, uint8_t* out) {
    const uint8_t* digits = item;
    uint32_t n = key.length;
    bool negative = false;
    const uint8_t f = key.signFlags;
    if (f & ZVK_TSORT_LEADING_SEPARATE) {
        negative = item[0] != '+';
        ++digits, --n;
    } else if (f & ZVK_TSORT_TRAILING_SEPARATE) {
        negative = item[n - 1] != '+';
        --n;
    } else if (f & ZVK_TSORT_LEADING_OVERPUNCH) {
        negative = (item[0] >> 4) != 3;
    } else if (f & ZVK_TSORT_TRAILING_OVERPUNCH) {
        negative = (item[n - 1] >> 4) != 3;
    }
    // The digit is the low nibble whatever the zone, so an overpunched
    // sign byte reads as its digit.
    uint32_t first = 0;
    while (first + 1 < n && (digits[first] & 0x0F) == 0) ++first;
    const uint32_t count = n - first;
    if (count == 1 && (digits[first] & 0x0F) == 0) negative = false;
    const bool asc = ascending(key);
    const uint8_t mask = magnitudeMask(negative, asc);
    uint8_t* o = out;
    *o++ = signByte(negative, asc);
    *o++ = static_cast<uint8_t>(count) ^ mask;
    uint32_t i = first;
    if (count & 1) *o++ = static_cast<uint8_t>(digits[i++] & 0x0F) ^ mask;
    for (; i < n; i += 2) *o++ = static_cast<uint8_t>(((digits[i] & 0x0F) << 4) | (digits[i + 1] & 0x0F)) ^ mask;
    return static_cast<uint32_t>(o - out);
}

uint32_t packed(const TableSortKey& key, const uint8_t* item, uint8_t* out) {
    const uint32_t n = key.length;
    uint32_t first = 0;
    while (first + 1 < n && item[first] == 0) ++first;
    const uint32_t count = n - first;
    // Only 0xC is positive: an unsigned item's 0xF nibble sorts among the
    // negatives, as the other system's table sort orders such keys.
    bool negative = (item[n - 1] & 0x0F) != 0x0C;
    if (count == 1 && item[n - 1] < 16) negative = false;
    const bool asc = ascending(key);
    const uint8_t mask = magnitudeMask(negative, asc);
    uint8_t* o = out;
    *o++ = signByte(negative, asc);
    *o++ = static_cast<uint8_t>(count) ^ mask;
    for (uint32_t i = first; i + 1 < n; ++i) *o++ = item[i] ^ mask;
    *o++ = static_cast<uint8_t>(item[n - 1] & 0xF0) ^ mask;
    return static_cast<uint32_t>(o - out);
}

// Machine-order two's complement or unsigned, 1 to 8 bytes, to big-endian
// unsigned order.
uint32_t binary(const TableSortKey& key, const uint8_t* item, uint8_t* out) {
    const uint32_t n = key.length;
    uint64_t v = base::loadUnsigned(item, n, false);
    if (!ascending(key)) v = ~v;
    for (uint32_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(v >> (8 * (n - 1 - i)));
    if (key.signFlags & ZVK_TSORT_SIGNED_BINARY) out[0] = static_cast<uint8_t>(out[0] + 128);
    return n;
}

// IEEE floats of 4 or 8 bytes.  A 4-byte float takes the high half of the
// 64-bit image, where its sign bit is the image's sign bit; only its 4
// high bytes are stored, the low half adding nothing to the order.
uint32_t floating(const TableSortKey& key, const uint8_t* item, uint8_t* out) {
    constexpr uint64_t kSign = uint64_t(1) << 63;
    uint64_t v = key.length == 4 ? uint64_t(base::loadLe<uint32_t>(item)) << 32 : base::loadLe<uint64_t>(item);
    if ((v & ~kSign) == 0) v = 0;  // -0 sorts with +0
    v = (v & kSign) ? ~v : v | kSign;
    if (!ascending(key)) v = ~v;
    uint8_t image[8];
    base::storeBe(image, v);
    memcpy(out, image, key.length);
    return key.length;
}

uint32_t bytewise(const TableSortKey& key, const uint8_t* item, const uint8_t* collating, uint8_t* out) {
    const uint32_t n = key.length;
    const uint8_t mask = ascending(key) ? 0x00 : 0xFF;
    if (collating)
        for (uint32_t i = 0; i < n; ++i) out[i] = collating[item[i]] ^ mask;
    else
        for (uint32_t i = 0; i < n; ++i) out[i] = item[i] ^ mask;
    return n;
}

}  // namespace

uint32_t maxKeyBytes(const TableSortKey& key) {
    const uint32_t n = key.length;
    switch (key.keyType) {
        case ZVK_TSORT_ALPHANUMERIC: return n;
        case ZVK_TSORT_NATIONAL: return n % 2 == 0 ? n : 0;
        case ZVK_TSORT_ZONED: {
            const uint32_t sep = separateSignBytes(key);
            return n > sep && n - sep <= 255 ? (n - sep) / 2 + 3 : 0;
        }
        case ZVK_TSORT_PACKED: return n >= 1 && n <= 250 ? n + 2 : 0;
        case ZVK_TSORT_BINARY: return n >= 1 && n <= 8 ? n : 0;
        case ZVK_TSORT_FLOAT: return n == 4 || n == 8 ? n : 0;
    }
    return 0;
}

uint32_t normaliseKey(const TableSortKey& key, const uint8_t* element, const uint8_t* collating, uint8_t* out) {
    const uint8_t* item = element + key.offset;
    switch (key.keyType) {
        case ZVK_TSORT_ALPHANUMERIC: return bytewise(key, item, collating, out);
        case ZVK_TSORT_NATIONAL: return bytewise(key, item, nullptr, out);
        case ZVK_TSORT_ZONED: return zoned(key, item, out);
        case ZVK_TSORT_PACKED: return packed(key, item, out);
        case ZVK_TSORT_BINARY: return binary(key, item, out);
        case ZVK_TSORT_FLOAT: return floating(key, item, out);
    }
    return 0;
}

}  // namespace sortkeys
