// Internal interface of decimal arithmetic: the mode word, the validators
// (also used by the class tests), the zero tests, the shared moves and the
// workers behind the _zvkcBCD_* entry points.
//
// An operand is an address and a digit count n.  Packed items take
// (n >> 1) + 1 bytes, zoned items n bytes (n + 1 with a separate sign).
// A negative digit count is taken as 0.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/numeric_items.h"

// ---- mode word ----
// Bits of zvkBcdMode.
enum : uint32_t {
    kBcdNoValidate = 0x001,   // arithmetic operands are not validated
    kBcdKeepNegZero = 0x002,  // copies and conversions keep a negative zero
    kBcdCleanUnsigned = 0x004,
    kBcdRawUnsigned = 0x008,
    kBcdValidateMoves = 0x010,
    kBcdValidateCompares = 0x040,
    kBcdEbcdic = 0x080,       // letter form of overpunched signs
    kBcdDebug = 0x100,
    kBcdUnread = 0xFF00,      // sentinel: the environment has not been read
};

// Read with relaxed loads: it is set once, by idempotent stores.
extern std::atomic<uint32_t> zvkBcdMode;

extern "C" {

void zvkBcdLoadMode(void);

// 0 when the item is good, 1 when it is bad.  checkMode 0: the arithmetic
// check (muted by kBcdNoValidate, skips leading zero bytes); 1: strict.
// For separate-sign forms pass the address of the digits.
int zvkBcdCheckPacked(const void* address, int32_t digits, int checkMode);
int zvkBcdCheckZoned(const void* address, int32_t digits, int checkMode);

int zvkBcdIsZeroPacked(const void* address, int32_t digits);
int zvkBcdIsZeroZoned(const void* address, int32_t digits);

void zvkBcdMovePacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits);
void zvkBcdMoveZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits);
void zvkBcdPackedToZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits);
void zvkBcdZonedToPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits);
void zvkBcdCleanZoned(void* field, int32_t length);

// Workers of add and subtract; signsResolved takes the operation on the
// magnitudes as given: the entry's add became a subtraction of magnitudes
// or the other way round, and one worker is calling the other.
int zvkBcdAddPacked(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                    int32_t dstDigits, bool signsResolved);
int zvkBcdSubPacked(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                    int32_t dstDigits, bool signsResolved);
int zvkBcdAddZoned(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                   int32_t dstDigits, bool signsResolved);
int zvkBcdSubZoned(const void* first, int32_t firstDigits, const void* second, int32_t secondDigits, void* dst,
                   int32_t dstDigits, bool signsResolved);
int zvkBcdIncPacked(void* op, int32_t opDigits, int64_t value, bool signsResolved);
int zvkBcdDecPacked(void* op, int32_t opDigits, int64_t value, bool signsResolved);
int zvkBcdIncZoned(void* op, int32_t opDigits, int64_t value, bool signsResolved);
int zvkBcdDecZoned(void* op, int32_t opDigits, int64_t value, bool signsResolved);

// Negative, zero or positive (not necessarily -1 or 1).
int zvkBcdCmpPacked(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, int magnitudeOnly);
int zvkBcdCmpZoned(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, int magnitudeOnly);

// A packed byte's value as a pair of digits, 0..99 (a low nibble above 9
// counts 0, a high nibble above 9 gives 100), and a value 0..199 back to a
// packed byte (values from 100 on wrap: the carry is the caller's).
extern const uint8_t zvkBcdPairValue[256];
extern const uint8_t zvkBcdPairByte[200];

}  // extern "C"

namespace bcd {

inline uint32_t mode() {
    uint32_t m = zvkBcdMode.load(std::memory_order_relaxed);
    if (m == kBcdUnread) [[unlikely]] {
        zvkBcdLoadMode();
        m = zvkBcdMode.load(std::memory_order_relaxed);
    }
    return m;
}

inline constexpr const uint8_t* pairValue = zvkBcdPairValue;
inline constexpr const uint8_t* pairByte = zvkBcdPairByte;

using base::digitsOf;
using base::packedBytes;
using base::packedNegative;
using base::significantDigits;

// The overpunch table: digit in the low bits, 0x80 for a negative sign.
inline constexpr const uint8_t* kZonedDecode = base::kOverpunch.code;
inline int zonedDigit(uint8_t b) { return base::overpunchDigit(b); }
inline bool zonedNegative(uint8_t b) { return base::overpunchNegative(b); }
// The letter form: "{", "A".."I" positive, "}", "J".."R" negative.
inline uint8_t zonedLetter(int digit, bool negative) { return base::overpunchLetter(digit, negative); }

}  // namespace bcd
