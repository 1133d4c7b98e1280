/*
 * Intrinsic functions: CURRENT-DATE, the conversions between day numbers
 * (1601-01-01 is day 1) and Gregorian dates, and the windowing of
 * two-digit years.
 */
#ifndef KVR2_INTRINSICS_H
#define KVR2_INTRINSICS_H

#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* YYYYMMDDhhmmsscc and the offset from Greenwich as "+hhmm"/"-hhmm":
 * 21 bytes, not terminated. */
KVR2_API void _zvkCurrentDate(char* buffer);
KVR2_API int32_t _zvkDateOfInteger(int32_t dayNumber);   /* YYYYMMDD */
KVR2_API int32_t _zvkDayOfInteger(int32_t dayNumber);    /* YYYYDDD */
KVR2_API int32_t _zvkIntegerOfDate(int32_t yyyymmdd);
KVR2_API int32_t _zvkIntegerOfDay(int32_t yyyyddd);
/* Write 4, 7 and 8 ASCII digits. */
KVR2_API void _zvkYearToYYYY(int32_t yy, int32_t window, char* destination, const char* functionName);
KVR2_API void _zvkDayToYYYYDDD(int32_t yyddd, int32_t window, char* destination);
KVR2_API void _zvkDateToYYYYMMDD(int32_t yymmdd, int32_t window, char* destination);

#ifdef __cplusplus
}
#endif
#endif
