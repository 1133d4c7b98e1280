/*
 * Decimal arithmetic entry points: add, subtract, increment, decrement,
 * absolute value, negation and comparison of packed and zoned items; copies
 * and conversions among the sign forms and binary integers.
 *
 * Every operand is an address and a digit count.  Packed (Pckd) items take
 * (n >> 1) + 1 bytes; zoned items n bytes: Znd and ZndTO trailing
 * overpunch, ZndLO leading overpunch, ZndUS unsigned; ZndTS and ZndLS take
 * n + 1 bytes with a separate "+" or "-" after or before the digits.
 * Two-operand entries take the addresses first (op1, op2, dst) and the
 * digit counts after them in reverse order (dst, op2, op1).
 */
#ifndef KVR2_DECIMAL_H
#define KVR2_DECIMAL_H

#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- add and subtract ---- */
KVR2_API void* _zvkcBCD_ADD_Pckd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                 int32_t op1Digits);
KVR2_API void* _zvkcBCD_ADD_Znd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                int32_t op1Digits);
KVR2_API void* _zvkcBCD_SUB_Pckd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                 int32_t op1Digits);
KVR2_API void* _zvkcBCD_SUB_Znd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                int32_t op1Digits);
KVR2_API void* _zvkcBCD_ADD_Pckd_Int8(void* op, int32_t opDigits, int64_t value);
KVR2_API void* _zvkcBCD_ADD_Znd_Int8(void* op, int32_t opDigits, int64_t value);
KVR2_API void* _zvkcBCD_ADD_Pckd_Int4(void* op, int32_t opDigits, int32_t value);
KVR2_API void* _zvkcBCD_ADD_Znd_Int4(void* op, int32_t opDigits, int32_t value);
KVR2_API void* _zvkcBCD_SUB_Pckd_Int8(void* op, int32_t opDigits, int64_t value);
KVR2_API void* _zvkcBCD_SUB_Znd_Int8(void* op, int32_t opDigits, int64_t value);
KVR2_API void* _zvkcBCD_SUB_Pckd_Int4(void* op, int32_t opDigits, int32_t value);
KVR2_API void* _zvkcBCD_SUB_Znd_Int4(void* op, int32_t opDigits, int32_t value);

/* ---- absolute value and negation ---- */
KVR2_API void* _zvkcBCD_ABS_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_ABS_Znd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_ABS_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_NEG_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_NEG_Znd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_NEG_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);

/* ---- comparisons: 1 when the relation holds, else 0 ---- */
KVR2_API int _zvkcBCD_EQU_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_NEQ_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_GRT_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_GEQ_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_LES_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_LEQ_Pckd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_EQU_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_NEQ_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_GRT_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_GEQ_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_LES_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
KVR2_API int _zvkcBCD_LEQ_Znd(const void* op1, const void* op2, int32_t op2Digits, int32_t op1Digits);
/* 1 when the value is zero */
KVR2_API int _zvkcBCD_NOT_Pckd(const void* op, int32_t opDigits);
KVR2_API int _zvkcBCD_NOT_Znd(const void* op, int32_t opDigits);

/* ---- copies ---- */
KVR2_API void* _zvkcBCD_Cpy_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_Cpy_Znd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_Cpy_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_Cpy_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_Cpy_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_Cpy_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);

/* ---- the conversion matrix ---- */
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndTO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndTS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndLO(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndLS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndUS(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_Pckd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits);

/* ---- binary integers ---- */
KVR2_API int8_t _zvkcBCD_CONV_Pckd_To_Int1(const void* src, int32_t srcDigits);
KVR2_API int16_t _zvkcBCD_CONV_Pckd_To_Int2(const void* src, int32_t srcDigits);
KVR2_API int32_t _zvkcBCD_CONV_Pckd_To_Int4(const void* src, int32_t srcDigits);
KVR2_API int64_t _zvkcBCD_CONV_Pckd_To_Int8(const void* src, int32_t srcDigits);
KVR2_API uint8_t _zvkcBCD_CONV_Pckd_To_Uns1(const void* src, int32_t srcDigits);
KVR2_API uint16_t _zvkcBCD_CONV_Pckd_To_Uns2(const void* src, int32_t srcDigits);
KVR2_API uint32_t _zvkcBCD_CONV_Pckd_To_Uns4(const void* src, int32_t srcDigits);
KVR2_API uint64_t _zvkcBCD_CONV_Pckd_To_Uns8(const void* src, int32_t srcDigits);
KVR2_API int32_t _zvkcBCD_CONV_Znd_To_Int4(const void* src, int32_t srcDigits);
KVR2_API int64_t _zvkcBCD_CONV_Znd_To_Int8(const void* src, int32_t srcDigits);
KVR2_API uint32_t _zvkcBCD_CONV_Znd_To_UInt4(const void* src, int32_t srcDigits);
KVR2_API uint64_t _zvkcBCD_CONV_Znd_To_UInt8(const void* src, int32_t srcDigits);
/* An item with fractionDigits decimal places as a count, fraction rounded up. */
KVR2_API uint64_t _zvkcBCD_CONV_Pckd_To_Len8(const void* src, int32_t srcDigits, int32_t fractionDigits);
KVR2_API void* _zvkcBCD_CONV_Int1_To_Pckd(int8_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Int2_To_Pckd(int16_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Int4_To_Pckd(int32_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Int8_To_Pckd(int64_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Uns1_To_Pckd(uint8_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Uns2_To_Pckd(uint16_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Uns4_To_Pckd(uint32_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Uns8_To_Pckd(uint64_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Int4_To_Znd(int32_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_Int8_To_Znd(int64_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_UInt4_To_Znd(uint32_t value, void* dst, int32_t dstDigits);
KVR2_API void* _zvkcBCD_CONV_UInt8_To_Znd(uint64_t value, void* dst, int32_t dstDigits);

#ifdef __cplusplus
}
#endif
#endif
