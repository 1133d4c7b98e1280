// The one frame of the _zvkcBCD_* entry points: the mode word, the debug
// dump of the operands, their validation by the entry's family, the
// worker, the dump of the result.  The hot paths of fast.h and byvalue.h
// run before it and never reach it for the items they take.
#pragma once

#include <cstdio>

#include "decimal/decimal.h"
#include "decimal/words.h"
#include "frame/messages.h"

namespace bcd {

enum class Form {
    Packed,
    ZonedTrailingOverpunch,
    ZonedTrailingSeparate,
    ZonedLeadingOverpunch,
    ZonedLeadingSeparate,
    ZonedUnsigned,
};

constexpr bool separate(Form f) { return f == Form::ZonedTrailingSeparate || f == Form::ZonedLeadingSeparate; }
// Bytes an operand of n digits takes in memory.
constexpr int storedBytes(Form f, int32_t n) {
    return f == Form::Packed ? packedBytes(n) : digitsOf(n) + (separate(f) ? 1 : 0);
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
// which the validator cannot reject: only other items need its scan (see
// docs/decimal.md, "plain items").
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

// Arithmetic operands: a bad one is message 903.
template <Form F>
inline int checkItem(const void* p, int32_t n, int checkMode) {
    return F == Form::Packed ? zvkBcdCheckPacked(p, n, checkMode) : zvkBcdCheckZoned(p, n, checkMode);
}
template <Form F>
inline void checkArith(const void* p, int32_t n) {
    if (F == Form::Packed && packedPlainlyValid(p, n)) return;
    if (checkItem<F>(p, n, 0)) zvkWriteMsg(903, 0);
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

// The letter form of an overpunched sign: "{", "}", "A" to "R".
inline bool isLetter(uint8_t b) { return b == 0x7B || b == 0x7D || (b >= 0x41 && b <= 0x52); }
// The zone that a copy or scaling to leading overpunch gives the first
// byte, from the source's first byte: 0x70 negative, 0x30 positive, and
// 0x00 for a byte that is neither a letter nor a digit of a known zone.
inline uint8_t leadingZone(uint8_t first) {
    const int z = first & 0xF0;
    const bool known =
        isLetter(first) || ((z == 0x30 || z == 0x70 || z == 0xC0 || z == 0xD0 || z == 0xF0) && (first & 0x0F) <= 9);
    return !known ? 0x00 : zonedNegative(first) ? 0x70 : 0x30;
}

// ---- the frame ----

// An operand as the dump and the validation see it: its address (for a
// separate sign, where the item starts) and digit count.
struct Operand {
    const void* address;
    int32_t digits;
};

// How an entry validates its operands.
enum class Family {
    Arithmetic,  // each bad operand message 903, unless kBcdNoValidate
    Compare,     // the strict check, with kBcdValidateCompares
    Move,        // copies: the strict check, with kBcdValidateMoves
};

// A copy's operand: its separate sign, then its digits, strictly.
template <Form F>
inline void checkMove(Operand op) {
    const uint8_t* s = static_cast<const uint8_t*>(op.address);
    const int n = digitsOf(op.digits);
    if constexpr (separate(F)) checkSeparateSign(F == Form::ZonedTrailingSeparate ? s[n] : s[0]);
    reportMove(checkItem<F>(F == Form::ZonedLeadingSeparate ? s + 1 : s, op.digits, 1));
}

// The mode word is tested once for all the operands, first to last.
template <Form F, Family V, class... Operands>
inline void validate(uint32_t m, const Operands&... ops) {
    if constexpr (V == Family::Arithmetic) {
        if (!(m & kBcdNoValidate)) [[likely]]
            (checkArith<F>(ops.address, ops.digits), ...);
    } else if constexpr (V == Family::Compare) {
        if (m & kBcdValidateCompares) ((checkItem<F>(ops.address, ops.digits, 1) ? void(zvkWriteMsg(903, 0)) : void()), ...);
    } else {
        if (m & kBcdValidateMoves) (checkMove<F>(ops), ...);
    }
}

// The frame itself, in its fixed order.  With the debug bit set (and
// dumps true), dumpOperands() prints the title and the operands; then
// check(m) validates them, work(m) is the worker and gives the entry's
// result, and dumpResult(result) prints what came out.  The mode word is
// read here once: check and work take it.
template <class DumpOperands, class Check, class Work, class DumpResult>
[[gnu::always_inline]] inline auto entryFrame(bool dumps, DumpOperands&& dumpOperands, Check&& check, Work&& work,
                                              DumpResult&& dumpResult) {
    const uint32_t m = mode();
    if (dumps && (m & kBcdDebug)) [[unlikely]]
        dumpOperands();
    check(m);
    auto result = work(m);
    if (dumps && (m & kBcdDebug)) [[unlikely]]
        dumpResult(result);
    return result;
}

// The common shape: a title, two operands of one form, each dumped as
// "op1: " and "op2: " and validated by the family, and a destination
// dumped as "dst: ".  title null: the entry dumps nothing.
template <Form F, Family V, class Work>
[[gnu::always_inline]] inline auto operandsFrame(const char* title, Operand op1, Operand op2, Operand dst,
                                                 Work&& work) {
    return entryFrame(
        title != nullptr,
        [&] {
            dumpTitle(title);
            dumpItem("op1: %p %d: ", op1.address, op1.digits, storedBytes(F, op1.digits));
            dumpItem("op2: %p %d: ", op2.address, op2.digits, storedBytes(F, op2.digits));
        },
        [&](uint32_t m) { validate<F, V>(m, op1, op2); },
        work, [&](auto) { dumpItem("dst: %p %d: ", dst.address, dst.digits, storedBytes(F, dst.digits)); });
}

}  // namespace bcd
