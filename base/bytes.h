// Integers at any address: loads and stores through memcpy (one plain mov
// on x86-64 whatever the alignment), in machine order or big-endian, where
// the bytes of an item must be read as a number in their written order.
#pragma once

#include <cstdint>
#include <cstring>

namespace base {

using u128 = unsigned __int128;

template <class T>
inline T loadLe(const void* p) {
    T v;
    memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
inline void storeLe(void* p, T v) {
    memcpy(p, &v, sizeof v);
}
template <class T>
constexpr T bswap(T v) {
    if constexpr (sizeof(T) == 16) return __builtin_bswap128(v);
    else if constexpr (sizeof(T) == 8) return __builtin_bswap64(v);
    else if constexpr (sizeof(T) == 4) return __builtin_bswap32(v);
    else if constexpr (sizeof(T) == 2) return __builtin_bswap16(v);
    else return v;
}
template <class T>
inline T loadBe(const void* p) {
    return bswap(loadLe<T>(p));
}
template <class T>
inline void storeBe(void* p, T v) {
    storeLe(p, bswap(v));
}
// A binary item of 1, 2, 4 or 8 bytes, high-order byte first or last, as
// an unsigned number; other widths byte by byte.
inline uint64_t loadUnsigned(const void* item, uint32_t n, bool highFirst) {
    switch (n) {
        case 1: return *static_cast<const uint8_t*>(item);
        case 2: return highFirst ? loadBe<uint16_t>(item) : loadLe<uint16_t>(item);
        case 4: return highFirst ? loadBe<uint32_t>(item) : loadLe<uint32_t>(item);
        case 8: return highFirst ? loadBe<uint64_t>(item) : loadLe<uint64_t>(item);
    }
    const uint8_t* p = static_cast<const uint8_t*>(item);
    uint64_t v = 0;
    if (highFirst)
        for (uint32_t i = 0; i < n; ++i) v = (v << 8) | p[i];
    else
        for (uint32_t i = n; i-- > 0;) v = (v << 8) | p[i];
    return v;
}

}  // namespace base
