// The order of records: their normalised keys, compared as unsigned bytes
// over the fixed width K (the forms are prefix-free, so the zero padding
// never decides), and then their place in the input.
#pragma once

#include <cstdint>
#include <cstring>

namespace vort {

// An index entry: the key's first 8 bytes as a big-endian number, so that
// most compares are one integer compare, and the record's place in the block.
struct Entry {
    uint64_t prefix;
    uint64_t at;
};
static_assert(sizeof(Entry) == 16, "Entry size");

inline uint64_t keyPrefix(const uint8_t* key, uint32_t keyBytes) {
    uint8_t b[8] = {};
    memcpy(b, key, keyBytes < 8 ? keyBytes : 8);
    uint64_t v;
    memcpy(&v, b, 8);
    return __builtin_bswap64(v);
}

struct EntryLess {
    const uint8_t* base;
    uint32_t keyBytes;
    bool operator()(const Entry& a, const Entry& b) const {
        if (a.prefix != b.prefix) return a.prefix < b.prefix;
        if (keyBytes > 8) {
            const int c = memcmp(base + a.at + 8, base + b.at + 8, keyBytes - 8);
            if (c) return c < 0;
        }
        return a.at < b.at;
    }
};

// Merge inputs: the one with the lower key wins, and of equal keys the
// earlier input.  A null key is an input that has ended.
inline bool keyBefore(const uint8_t* a, uint32_t ia, const uint8_t* b, uint32_t ib, uint32_t keyBytes) {
    if (!a) return false;
    if (!b) return true;
    const int c = memcmp(a, b, keyBytes);
    return c ? c < 0 : ia < ib;
}

}  // namespace vort
