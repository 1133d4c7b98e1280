// The byte forms of packed and zoned decimal items that every subsystem
// reads: sizes by digit count, packed sign nibbles, and the overpunched
// sign of a zoned item's sign byte.
#pragma once

#include <cstdint>

namespace base {

// A digit count as compiled code passes it: a negative count is 0.
constexpr int digitsOf(int32_t n) { return n < 0 ? 0 : n; }
// A packed item of n digits takes (n >> 1) + 1 bytes, the sign nibble last.
constexpr int packedBytes(int32_t n) { return (digitsOf(n) >> 1) + 1; }

enum : uint8_t { kPackedPlus = 0x0C, kPackedMinus = 0x0D, kPackedUnsigned = 0x0F };
// 0xB and 0xD are negative; every other nibble above 9 is positive.
constexpr bool packedNegativeNibble(uint8_t nibble) { return nibble == 0x0B || nibble == 0x0D; }
constexpr bool packedNegative(uint8_t lastByte) { return packedNegativeNibble(lastByte & 0x0F); }

// The digits a packed item of b bytes, with its leading zero bytes already
// skipped, can hold: all 2b - 1, or one fewer when its first nibble is 0.
constexpr int significantDigits(const uint8_t* p, int b) {
    return (b == 1 || (p[0] >> 4)) ? 2 * b - 1 : 2 * b - 2;
}

// The sign byte of a zoned item in native form: digits 0x30-0x39 positive,
// 0x70-0x79 negative, the letter forms "{", "A".."I" positive and "}",
// "J".."R" negative, NUL and blank +0, zone 0xD negative; any other byte
// counts by its low nibble, positive.  Entry: the digit in the low bits,
// kOverpunchNegative set for a negative sign.
inline constexpr uint8_t kOverpunchNegative = 0x80;
struct OverpunchTable {
    uint8_t code[256];
};
constexpr OverpunchTable makeOverpunchTable() {
    OverpunchTable t{};
    for (int b = 0; b < 256; ++b) {
        const int zone = b & 0xF0, low = b & 0x0F;
        uint8_t c = static_cast<uint8_t>(low);
        if (b >= 0x70 && b <= 0x79) c = static_cast<uint8_t>(kOverpunchNegative | low);
        else if (b == 0x7B || b == 0x00 || b == 0x20) c = 0;
        else if (b == 0x7D) c = kOverpunchNegative;
        else if (b >= 0x41 && b <= 0x49) c = static_cast<uint8_t>(b - 0x40);
        else if (b >= 0x4A && b <= 0x52) c = static_cast<uint8_t>(kOverpunchNegative | (b - 0x49));
        else if (zone == 0xD0 && low <= 9) c = static_cast<uint8_t>(kOverpunchNegative | low);
        t.code[b] = c;
    }
    return t;
}
inline constexpr OverpunchTable kOverpunch = makeOverpunchTable();

constexpr int overpunchDigit(uint8_t b) { return kOverpunch.code[b] & 0x0F; }
constexpr bool overpunchNegative(uint8_t b) { return kOverpunch.code[b] & kOverpunchNegative; }
// The letter form of a sign byte: "{", "A".."I" positive, "}", "J".."R"
// negative; a digit above 9 counts as 0.
constexpr uint8_t overpunchLetter(int digit, bool negative) {
    digit &= 0x0F;
    if (digit > 9) digit = 0;
    if (digit == 0) return negative ? 0x7D : 0x7B;
    return static_cast<uint8_t>(negative ? 0x49 + digit : 0x40 + digit);
}

}  // namespace base
