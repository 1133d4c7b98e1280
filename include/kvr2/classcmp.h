/*
 * Class conditions, comparisons under an alphabet, the native collating
 * tables, case conversion, reversal and trimming.
 *
 * Class tests answer 1 (true) or 0 (false); an empty item is true.
 * Comparisons answer the sign of the result as memcmp does.
 */
#ifndef KVR2_CLASSCMP_H
#define KVR2_CLASSCMP_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The compiled program's alphabet record; only the fields the library
   reads or fills are named.  collatingWeights: byte value to weight (null
   means native order); collatingOrder: weight to byte value; the two
   translate tables are filled by _zvkcEBCDIC. */
typedef struct AlphabetRecord {
    uint8_t reserved0[40];
    const uint8_t* collatingWeights; /* 40 */
    uint8_t reserved48[24];
    const uint8_t* collatingOrder;   /* 72 */
    const uint8_t* nativeFromEbcdic; /* 80 */
    const uint8_t* ebcdicFromNative; /* 88 */
} AlphabetRecord;
KVR2_STATIC_ASSERT(offsetof(AlphabetRecord, collatingWeights) == 40, "AlphabetRecord.collatingWeights");
KVR2_STATIC_ASSERT(offsetof(AlphabetRecord, collatingOrder) == 72, "AlphabetRecord.collatingOrder");
KVR2_STATIC_ASSERT(offsetof(AlphabetRecord, nativeFromEbcdic) == 80, "AlphabetRecord.nativeFromEbcdic");
KVR2_STATIC_ASSERT(offsetof(AlphabetRecord, ebcdicFromNative) == 88, "AlphabetRecord.ebcdicFromNative");

#define ZVK_ALPHABET_WEIGHTS 40u
#define ZVK_ALPHABET_ORDER 72u

/* ---- class tests (single-byte data; lengths in bytes) ---- */
KVR2_API int32_t _zvkcClasAlpha(const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkcClasAlphaUpper(const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkcClasAlphaLower(const uint8_t* address, int64_t length);
/* table: 256 entries, 0 where the byte belongs to the class. */
KVR2_API int32_t _zvkcClasUserDef(const uint8_t* address, int64_t length, const uint8_t* table);
/* A packed item of `digits` digits ((digits >> 1) + 1 bytes). */
KVR2_API int32_t _zvkcClasPackedDec(const uint8_t* address, int32_t digits);
/* word: low byte the sign position (1 leading, 2 trailing, other values
   no embedded sign: unsigned or separate sign, the address then being that
   of the digits); second byte non-zero: strict sign zone.  length: digits. */
#define ZVK_ZONED_SIGN_LEADING 1u
#define ZVK_ZONED_SIGN_TRAILING 2u
#define ZVK_ZONED_STRICT 0x100u
KVR2_API int32_t _zvkcClasZonedDec(uint32_t word, const uint8_t* address, int32_t length);
/* DBCS and Kanji: a negative length is EBCDIC DBCS data already. */
KVR2_API int32_t _zvkcClasDBCS(const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkcClasKanji(const uint8_t* address, int64_t length);

/* ---- national (UTF-16 little-endian; lengths in bytes) ---- */
KVR2_API int32_t _zvkuClasNumeric(const uint8_t* address, int64_t length);
/* word: low byte 3 leading sign unit, 4 trailing; second byte non-zero:
   the value must be positive. */
#define ZVK_NATIONAL_SIGN_LEADING 3u
#define ZVK_NATIONAL_SIGN_TRAILING 4u
#define ZVK_NATIONAL_POSITIVE 0x100u
KVR2_API int32_t _zvkuSClasNumeric(uint32_t word, const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkuClasAlpha(const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkuClasUpper(const uint8_t* address, int64_t length);
KVR2_API int32_t _zvkuClasLower(const uint8_t* address, int64_t length);

/* ---- comparisons ---- */
/* A negative length marks a figurative side: its magnitude is the length
   of the value, which repeats over the other side's length. */
KVR2_API int32_t _zvkcCmpACS(const uint8_t* left, int64_t leftLength, const uint8_t* right, int64_t rightLength,
                             const uint8_t* weights);
KVR2_API int32_t _zvkcCmpMultiByteFig(const uint8_t* left, int64_t length, const uint8_t* literal,
                                      int64_t literalLength);
KVR2_API int32_t _zvkcCmpToPad(const uint8_t* left, uint32_t pad, int64_t length);

/* ---- collating tables ---- */
KVR2_API void _zvkcCollSeq(AlphabetRecord* record);

/* ---- case, reversal, trimming ---- */
KVR2_API void* _zvkToLower(int64_t length, const uint8_t* source, uint8_t* destination);
KVR2_API void* _zvkToUpper(int64_t length, const uint8_t* source, uint8_t* destination);
KVR2_API void* _Dmr_lower_case(int64_t length, const uint8_t* source, uint8_t* destination);
KVR2_API void* _Dmr_upper_case(int64_t length, const uint8_t* source, uint8_t* destination);
KVR2_API void* _Dmr_reverse(int64_t length, const uint8_t* source, uint8_t* destination);
KVR2_API void* _zvkcReverseUnicode(int64_t length, const uint8_t* source, uint8_t* destination);
/* kind: 1 or 4 single bytes, 2 UTF-16 units.  set null: the blank.
   Returns the length of the result in bytes. */
#define ZVK_TRIM_BYTES 1
#define ZVK_TRIM_UNITS 2
KVR2_API int64_t _zvk_triml(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                            uint8_t* destination, int32_t kind);
KVR2_API int64_t _zvk_trimr(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                            uint8_t* destination, int32_t kind);
KVR2_API int64_t _zvk_trim(int64_t sourceLength, const uint8_t* source, int64_t setLength, const uint8_t* set,
                           uint8_t* destination, int32_t kind);

#ifdef __cplusplus
}
#endif
#endif
