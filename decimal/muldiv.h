// Internal interface of decimal multiplication, division and scaling: the
// workers behind the _zvkcBCD_MPY_*, DIV_*, DIVR_*, MOD_* and SHFD_* entry
// points.  Operands as in decimal/decimal.h.
#pragma once

#include <cstdint>

namespace bcd {

// Operands are taken by their low-order 255 digits at most (253 for a
// division): far beyond any item, and it bounds what lives on the stack.
inline constexpr int kMaxPairs = 127;
inline constexpr int kMaxDigits = 2 * kMaxPairs + 1;

}  // namespace bcd

extern "C" {

// The product, cut to dstDigits on the left; 0xC for equal signs, else
// 0xD (a zero product keeps that sign).  Returns 1.
int zvkBcdMulPacked(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, void* dst,
                    int32_t dstDigits);
int zvkBcdMulZoned(const void* op1, int32_t op1Digits, const void* op2, int32_t op2Digits, void* dst,
                   int32_t dstDigits);

// Truncating division.  A null quotient or remainder is not produced.
// Returns 1 when the quotient was computed (the long or the equal path)
// and 0 when the dividend's magnitude is below the divisor's.
int zvkBcdDivPacked(const void* dividend, int32_t dividendDigits, const void* divisor, int32_t divisorDigits,
                    void* quotient, int32_t quotientDigits, void* remainder, int32_t remainderDigits);
int zvkBcdDivZoned(const void* dividend, int32_t dividendDigits, const void* divisor, int32_t divisorDigits,
                   void* quotient, int32_t quotientDigits, void* remainder, int32_t remainderDigits);

// Copy while multiplying (left) or dividing (right) by 10 ** shift, shift
// above 0; round: half up on the magnitude, by the first dropped digit.
void zvkBcdShiftLeftPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift);
void zvkBcdShiftLeftZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift);
void zvkBcdShiftRightPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift,
                            int round);
void zvkBcdShiftRightZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift,
                           int round);

}  // extern "C"
