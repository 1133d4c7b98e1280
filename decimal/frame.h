// The one frame of every _zvkcBCD_* entry point: the mode word, the debug
// dump, validation with its message, the worker, the result's dump.
#pragma once

#include <cstdio>

#include "decimal/decimal.h"
#include "decimal/words.h"
#include "frame/messages.h"

namespace bcd {

enum class Form { Pckd, TO, TS, LO, LS, US };

constexpr bool separate(Form f) { return f == Form::TS || f == Form::LS; }
// Bytes an operand of n digits takes in memory.
constexpr int storedBytes(Form f, int32_t n) {
    return f == Form::Pckd ? packedBytes(n) : digitsOf(n) + (separate(f) ? 1 : 0);
}

// "<label>" with address and digit count, then the bytes, then a newline.
inline void dumpItem(const char* label, const void* p, int32_t digits, int bytes) {
    fprintf(stderr, label, p, digits);
    const uint8_t* b = static_cast<const uint8_t*>(p);
    for (int i = 0; i < bytes; ++i) fprintf(stderr, "%2.2x", b[i]);
    fputc('\n', stderr);
}
inline void dumpTitle(const char* title) { fprintf(stderr, "%s\n", title); }

// A packed item with every digit nibble 0 to 9 and a sign nibble above 9,
// which the validator cannot reject: only other items need its scan.
template <class W>
inline bool plainDigits(const uint8_t* p, int b) {
    return !hasNonDigit<W>(loadLeft<W>(p, b) & ~(W(0x0F) << (8 * sizeof(W) - 8 * b)));
}
inline bool packedPlainlyValid(const void* item, int32_t n) {
    const uint8_t* p = static_cast<const uint8_t*>(item);
    const int b = packedBytes(n);
    if ((p[b - 1] & 0x0F) <= 9) return false;
    return b <= 8 ? plainDigits<uint64_t>(p, b) : b <= 16 && plainDigits<u128>(p, b);
}

// Arithmetic operands: each bad one reported, first then second.
inline void checkArith(Form f, const void* p, int32_t n) {
    if (f == Form::Pckd && packedPlainlyValid(p, n)) return;
    const int bad = f == Form::Pckd ? zvkBcdCheckPacked(p, n, 0) : zvkBcdCheckZoned(p, n, 0);
    if (bad) zvkWriteMsg(903, 0);
}
// Copies and conversions: a validator's 1 is message 903; any value above
// it would be message 39, a reserved alternative.
inline void reportMove(int bad) {
    if (bad == 1)
        zvkWriteMsg(903, 0);
    else if (bad > 1)
        zvkWriteMsg(39, 0);
}
inline void checkSeparateSign(uint8_t b) {
    if (b != '+' && b != '-') zvkWriteMsg(40, 0);
}

}  // namespace bcd
