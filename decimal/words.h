// Word access for the digit loops: items of up to a word read as one
// big-endian number, digit tests and comparisons on whole words.
#pragma once

#include <cstdint>
#include <cstring>

#include "base/bytes.h"

namespace bcd {

using base::bswap;
using base::loadBe;
using base::loadLe;
using base::storeBe;
using base::u128;

// The n bytes at p (1 to sizeof(W)) as one big-endian number aligned to the
// top of W, read with two overlapping loads that stay inside the n bytes;
// and the store back.  Top alignment keeps every constant of the digit
// arithmetic fixed whatever n is.
template <class W>
inline W loadLeft(const uint8_t* p, int n) {
    if constexpr (sizeof(W) == 16) {
        if (n >= 8)
            return (u128(loadBe<uint64_t>(p)) << 64) | (u128(loadBe<uint64_t>(p + n - 8)) << (128 - 8 * n));
        return u128(loadLeft<uint64_t>(p, n)) << 64;
    } else {
        if (n >= 4) return (uint64_t(loadBe<uint32_t>(p)) << 32) | (uint64_t(loadBe<uint32_t>(p + n - 4)) << (64 - 8 * n));
        if (n >= 2) return (uint64_t(loadBe<uint16_t>(p)) << 48) | (uint64_t(loadBe<uint16_t>(p + n - 2)) << (64 - 8 * n));
        return uint64_t(*p) << 56;
    }
}
template <class W>
inline void storeLeft(uint8_t* p, int n, W v) {
    if constexpr (sizeof(W) == 16) {
        storeBe<uint64_t>(p, static_cast<uint64_t>(v >> 64));
        storeBe<uint64_t>(p + n - 8, static_cast<uint64_t>(v >> (128 - 8 * n)));
    } else if (n >= 4) {
        storeBe<uint32_t>(p, static_cast<uint32_t>(v >> 32));
        storeBe<uint32_t>(p + n - 4, static_cast<uint32_t>(v >> (64 - 8 * n)));
    } else if (n >= 2) {
        storeBe<uint16_t>(p, static_cast<uint16_t>(v >> 48));
        storeBe<uint16_t>(p + n - 2, static_cast<uint16_t>(v >> (64 - 8 * n)));
    } else {
        *p = static_cast<uint8_t>(v >> 56);
    }
}
template <class W>
constexpr W nibbles(unsigned v) { return ~W(0) / 15 * v; }  // every nibble v
// Some nibble of v is above 9.
template <class W>
inline bool hasNonDigit(W v) { return (v & ((v << 1) | (v << 2)) & nibbles<W>(8)) != 0; }

// All n bytes zero.
inline bool allZero(const uint8_t* p, int n) {
    uint64_t acc = 0;
    for (; n >= 8; p += 8, n -= 8) acc |= loadLe<uint64_t>(p);
    if (n >= 4) acc |= loadLe<uint32_t>(p), p += 4, n -= 4;
    if (n >= 2) acc |= loadLe<uint16_t>(p), p += 2, n -= 2;
    if (n) acc |= *p;
    return acc == 0;
}
// The low nibbles of all n bytes zero.
inline bool lowNibblesZero(const uint8_t* p, int n) {
    uint64_t acc = 0;
    for (; n >= 8; p += 8, n -= 8) acc |= loadLe<uint64_t>(p);
    if (n >= 4) acc |= loadLe<uint32_t>(p), p += 4, n -= 4;
    if (n >= 2) acc |= loadLe<uint16_t>(p), p += 2, n -= 2;
    if (n) acc |= *p;
    return (acc & 0x0F0F0F0F0F0F0F0Full) == 0;
}

// Compares n bytes as a digit string: -1, 0 or 1, as memcmp's sign; mask
// selects the bits that count (0xFF.. all, 0x0F.. the low nibbles).
inline int compareBytes(const uint8_t* a, const uint8_t* b, int n, uint64_t mask = ~0ull) {
    if (n <= 8) {
        if (n <= 0) return 0;
        const uint64_t x = loadLeft<uint64_t>(a, n) & mask, y = loadLeft<uint64_t>(b, n) & mask;
        return x == y ? 0 : (x < y ? -1 : 1);
    }
    if (n <= 16) {
        const u128 m = (u128(mask) << 64) | mask;
        const u128 x = loadLeft<u128>(a, n) & m, y = loadLeft<u128>(b, n) & m;
        return x == y ? 0 : (x < y ? -1 : 1);
    }
    for (; n >= 8; a += 8, b += 8, n -= 8) {
        uint64_t x = loadBe<uint64_t>(a) & mask, y = loadBe<uint64_t>(b) & mask;
        if (x != y) return x < y ? -1 : 1;
    }
    if (n >= 4) {
        uint32_t x = loadBe<uint32_t>(a) & uint32_t(mask), y = loadBe<uint32_t>(b) & uint32_t(mask);
        if (x != y) return x < y ? -1 : 1;
        a += 4, b += 4, n -= 4;
    }
    if (n >= 2) {
        uint32_t x = loadBe<uint16_t>(a) & uint16_t(mask), y = loadBe<uint16_t>(b) & uint16_t(mask);
        if (x != y) return x < y ? -1 : 1;
        a += 2, b += 2, n -= 2;
    }
    if (n) {
        uint32_t x = *a & uint8_t(mask), y = *b & uint8_t(mask);
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

}  // namespace bcd
