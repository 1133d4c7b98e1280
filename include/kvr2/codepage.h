/*
 * Code pages: the locale's native code page, the EBCDIC code page and the
 * conversions between them and UTF-16.  Conversion entries return an ICU
 * status: 0 good, below 0 a warning (reported as 0), above 0 an error.
 */
#ifndef KVR2_CODEPAGE_H
#define KVR2_CODEPAGE_H

#include <stddef.h>
#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Selector lengths of _zvkConvToUnicode/_zvkConvFromUnicode. */
#define ZVK_CP_EBCDIC (-1)
#define ZVK_CP_NATIVE 0
#define ZVK_CP_NAME_MAX 30

KVR2_API void _zvkcSetCodePages(void);
/* locale: at least 64 bytes; ebcdic: at least 16 bytes. */
KVR2_API void _zvkGetLocaleCP(char* locale, char* ebcdic);
KVR2_API int32_t _zvkValidateCPID(const char* name, int32_t length);
KVR2_API int32_t _zvkGetMaxCharSize(const char* name);
KVR2_API int32_t _zvkGetCCSID(const char* name, uint32_t* ccsid);
KVR2_API size_t _zvkGetMBCurMax(void);

/* capacity: bytes in, bytes stored out. */
KVR2_API int32_t _zvkConvToUnicode(const uint8_t* source, uint32_t length, uint16_t* target, uint32_t* capacity,
                                   const char* name, int32_t nameLength);
KVR2_API int32_t _zvkConvFromUnicode(const uint16_t* source, uint32_t lengthBytes, uint8_t* target,
                                     uint32_t* capacity, const char* name, int32_t nameLength);
/* capacity: bytes in, bytes left over out. */
KVR2_API int32_t _zvkUniAtoE(const uint8_t* source, uint32_t length, uint8_t* target, uint32_t* capacity);
KVR2_API int32_t _zvkUniEtoA(const uint8_t* source, uint32_t length, uint8_t* target, uint32_t* capacity);
/* Negative capacity: mixed data (to EBCDIC) or right justification (to
   native); negative length: pure DBCS result (to EBCDIC) or a DBCS source
   in need of shift codes (to native).  capacity out: bytes stored. */
KVR2_API int32_t _zvkConvToEBCDIC(const uint8_t* source, int32_t length, uint8_t* target, int32_t* capacity);
KVR2_API int32_t _zvkConvToASCII(const uint8_t* source, int32_t length, uint8_t* target, int32_t* capacity);

/* Fills the two translate-table pointers of an alphabet record (byte
   offsets 80 and 88). */
#define ZVK_ALPHABET_NATIVE_FROM_EBCDIC 80u
#define ZVK_ALPHABET_EBCDIC_FROM_NATIVE 88u
KVR2_API void _zvkcEBCDIC(void* alphabetRecord);

#ifdef __cplusplus
}
#endif
#endif
