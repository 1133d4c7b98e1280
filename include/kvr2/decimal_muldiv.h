/*
 * Decimal multiplication, division, remainder and scaling of packed (Pckd)
 * and zoned items; operands as in kvr2/decimal.h.  Results are integers of
 * digits, cut on the left to the destination without a message; a zero
 * divisor gives message 902 and the division goes on.
 */
#ifndef KVR2_DECIMAL_MULDIV_H
#define KVR2_DECIMAL_MULDIV_H

#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* op1 times op2 */
KVR2_API void* _zvkcBCD_MPY_Pckd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                 int32_t op1Digits);
KVR2_API void* _zvkcBCD_MPY_Znd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                int32_t op1Digits);
/* op1 divided by op2, truncated */
KVR2_API void* _zvkcBCD_DIV_Pckd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                 int32_t op1Digits);
KVR2_API void* _zvkcBCD_DIV_Znd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                int32_t op1Digits);
/* the remainder of op1 divided by op2, with op1's sign */
KVR2_API void* _zvkcBCD_MOD_Pckd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                 int32_t op1Digits);
KVR2_API void* _zvkcBCD_MOD_Znd(const void* op1, const void* op2, void* dst, int32_t dstDigits, int32_t op2Digits,
                                int32_t op1Digits);
/* quotient and remainder; the packed form returns 1 when the quotient was
   computed and 0 when the dividend's magnitude is below the divisor's */
KVR2_API int _zvkcBCD_DIVR_Pckd(const void* op1, const void* op2, void* quotient, void* remainder,
                                int32_t remainderDigits, int32_t quotientDigits, int32_t op2Digits,
                                int32_t op1Digits);
KVR2_API void* _zvkcBCD_DIVR_Znd(const void* op1, const void* op2, void* quotient, void* remainder,
                                 int32_t remainderDigits, int32_t quotientDigits, int32_t op2Digits,
                                 int32_t op1Digits);

/* src times 10 ** shift (Left) or divided by it (Right, truncating;
   RightRnd, half up on the magnitude) into dst of the same form */
KVR2_API void* _zvkcBCD_SHFD_Pckd_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                       int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_Pckd_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                        int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_Pckd_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                           int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_Znd_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                      int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_Znd_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                       int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_Znd_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                          int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLO_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                        int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLO_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                         int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLO_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                            int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndUS_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                        int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndUS_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                         int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndUS_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                            int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndTS_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                        int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndTS_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                         int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndTS_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                            int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLS_Left(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                        int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLS_Right(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                         int32_t shift);
KVR2_API void* _zvkcBCD_SHFD_ZndLS_RightRnd(const void* src, void* dst, int32_t dstDigits, int32_t srcDigits,
                                            int32_t shift);

#ifdef __cplusplus
}
#endif
#endif
