// Case conversion, reversal and trimming of alphanumeric and national
// text, for UPPER-CASE, LOWER-CASE, REVERSE and TRIM.
//
// Source and destination may be the same item, or overlap: each routine
// first brings the text to the destination with memmove where the order
// of its own stores could otherwise read a byte it has already written.

#include <ctype.h>
#include <string.h>

#include "kvr2/classcmp.h"

namespace {

inline bool overlapBehind(const uint8_t* src, const uint8_t* dst, uint64_t n) {
    return dst > src && dst < src + n;
}

void* mapBytes(int64_t length, const uint8_t* src, uint8_t* dst, const int32_t* table) {
    if (length <= 0) return dst;
    uint64_t n = static_cast<uint64_t>(length);
    // The table of the thread's current locale: a byte value always maps
    // to a byte value in the single-byte and UTF-8 locales.
    if (overlapBehind(src, dst, n)) {
        for (uint64_t i = n; i-- > 0;) dst[i] = static_cast<uint8_t>(table[src[i]]);
    } else {
        for (uint64_t i = 0; i < n; ++i) dst[i] = static_cast<uint8_t>(table[src[i]]);
    }
    return dst;
}

// Units of `unit` bytes: 1 for bytes, 2 for UTF-16.
struct TrimSet {
    const uint8_t* set;
    uint64_t count;   // members
    unsigned unit;
    bool blankOnly;
    bool has(const uint8_t* p) const {
        if (unit == 1) {
            if (blankOnly) return *p == 0x20;
            return memchr(set, *p, count) != nullptr;
        }
        if (blankOnly) return p[0] == 0x20 && p[1] == 0x00;
        for (uint64_t i = 0; i < count; ++i)
            if (set[2 * i] == p[0] && set[2 * i + 1] == p[1]) return true;
        return false;
    }
};

int64_t trim(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set, uint8_t* dst,
             int32_t kind, bool left, bool right) {
    if (sourceLength <= 0) return 0;
    const unsigned unit = kind == ZVK_TRIM_UNITS ? 2 : 1;
    const uint64_t n = static_cast<uint64_t>(sourceLength);
    const uint64_t units = n / unit;
    const uint64_t odd = n % unit;   // a last byte that is no whole unit stays as it is
    TrimSet s{set, 0, unit, set == nullptr};
    uint64_t begin = 0, end = units;
    if (set && setLength > 0) {
        s.count = static_cast<uint64_t>(setLength) / unit;
    }
    if (set == nullptr || s.count > 0) {
        if (left)
            while (begin < end && s.has(source + begin * unit)) ++begin;
        if (right)
            while (end > begin && s.has(source + (end - 1) * unit)) --end;
    }
    uint64_t kept = (end - begin) * unit;
    if (kept) memmove(dst, source + begin * unit, kept);
    if (odd) dst[kept] = source[n - 1];
    return static_cast<int64_t>(kept + odd);
}

}  // namespace

extern "C" {

KVR2_API void* _zvkToLower(int64_t length, const uint8_t* source, uint8_t* destination) {
    return mapBytes(length, source, destination, *__ctype_tolower_loc());
}
KVR2_API void* _zvkToUpper(int64_t length, const uint8_t* source, uint8_t* destination) {
    return mapBytes(length, source, destination, *__ctype_toupper_loc());
}
// The names the intrinsic functions LOWER-CASE and UPPER-CASE call.
KVR2_API void* _Dmr_lower_case(int64_t length, const uint8_t* source, uint8_t* destination) {
    return _zvkToLower(length, source, destination);
}
KVR2_API void* _Dmr_upper_case(int64_t length, const uint8_t* source, uint8_t* destination) {
    return _zvkToUpper(length, source, destination);
}

KVR2_API void* _Dmr_reverse(int64_t length, const uint8_t* source, uint8_t* destination) {
    if (length <= 0) return destination;
    uint64_t n = static_cast<uint64_t>(length);
    memmove(destination, source, n);
    for (uint64_t i = 0, j = n - 1; i < j; ++i, --j) {
        uint8_t t = destination[i];
        destination[i] = destination[j];
        destination[j] = t;
    }
    return destination;
}

// Units move whole, so a surrogate pair comes out as low then high unit.
KVR2_API void* _zvkcReverseUnicode(int64_t length, const uint8_t* source, uint8_t* destination) {
    if (length <= 0) return destination;
    uint64_t n = static_cast<uint64_t>(length);
    memmove(destination, source, n);
    uint64_t units = n / 2;
    if (units < 2) return destination;
    for (uint64_t i = 0, j = units - 1; i < j; ++i, --j) {
        uint8_t a0 = destination[2 * i], a1 = destination[2 * i + 1];
        destination[2 * i] = destination[2 * j];
        destination[2 * i + 1] = destination[2 * j + 1];
        destination[2 * j] = a0;
        destination[2 * j + 1] = a1;
    }
    return destination;
}

KVR2_API int64_t _zvk_triml(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                            uint8_t* destination, int32_t kind) {
    return trim(sourceLength, source, setLength, set, destination, kind, true, false);
}
KVR2_API int64_t _zvk_trimr(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                            uint8_t* destination, int32_t kind) {
    return trim(sourceLength, source, setLength, set, destination, kind, false, true);
}
KVR2_API int64_t _zvk_trim(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                           uint8_t* destination, int32_t kind) {
    return trim(sourceLength, source, setLength, set, destination, kind, true, true);
}

}  // extern "C"
