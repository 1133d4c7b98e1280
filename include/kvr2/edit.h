/*
 * Edited moves: alphanumeric and national editing, number to numeric-edited
 * and back, figurative fill, the variable-length move and the refresh of
 * altered GO TO targets of independent segments.
 *
 * The records are built by compiled code; their byte offsets are part of the
 * contract.  The library reads every field byte-wise, so a record needs no
 * particular alignment.
 */
#ifndef KVR2_EDIT_H
#define KVR2_EDIT_H

#include <stddef.h>
#include <stdint.h>
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Alphanumeric-edited picture: one byte a position; "/", "0" and blank are
 * insertions, the pair 0x81 0x40 a DBCS blank (one position, two bytes),
 * anything else takes a source byte. */
typedef struct AlphaEditRecord {
    int16_t length;     /* 0: positions */
    uint8_t repeat;     /* 2: nonzero: the source starts over when used up */
    uint8_t picture[1]; /* 3 */
} AlphaEditRecord;

/* National-edited picture as runs of one UTF-16 unit (little-endian) and a
 * count.  Runs of U+0030, U+002F and U+0020 are insertions.  With repeat
 * set and a source that runs out inside a run, a run can store up to
 * 2 * count - 1 units: the receiver must allow for that. */
typedef struct NationalEditRun {
    uint16_t unit;
    int16_t count;
} NationalEditRun;
typedef struct NationalEditRecord {
    int16_t runBytes;   /* 0: bytes of the run list */
    uint8_t repeat;     /* 2 */
    uint8_t reserved;   /* 3 */
    NationalEditRun runs[1]; /* 4 */
} NationalEditRecord;

/* Numeric-edited picture.  length < 0: every digit position suppresses
 * (the all-zero rule applies).  editClass 0..12, or its two's complement
 * for BLANK WHEN ZERO (class 1 is class 0 with a sign-free BWZ). */
enum {
    ZVK_EDIT_PLAIN = 0, ZVK_EDIT_PLAIN_BWZ = 1,
    ZVK_EDIT_FIXED_PLUS = 2, ZVK_EDIT_FIXED_MINUS = 3,
    ZVK_EDIT_CR = 4, ZVK_EDIT_DB = 5,
    ZVK_EDIT_FLOAT_PLUS = 6, ZVK_EDIT_FLOAT_MINUS = 7,
    ZVK_EDIT_FLOAT_PLUS_B = 8, ZVK_EDIT_FLOAT_MINUS_B = 9,
    ZVK_EDIT_CURRENCY_PLUS = 10, ZVK_EDIT_CURRENCY_MINUS = 11, ZVK_EDIT_CURRENCY = 12
};
typedef struct NumericEditRecord {
    int16_t length;       /* 0 */
    uint8_t decimalPoint; /* 2: "." or, for DECIMAL-POINT IS COMMA, "," */
    uint8_t currencySign; /* 3 */
    uint8_t editClass;    /* 4 */
    uint8_t picture[1];   /* 5: "." as point, "," as separator, "$" as currency */
} NumericEditRecord;

/* Numeric-edited picture for de-editing. */
typedef struct DeEditRecord {
    int16_t length;     /* 0: positions; negative is taken as 0 */
    uint8_t picture[1]; /* 2 */
} DeEditRecord;

/* A currency symbol of more than one character. */
typedef struct CurrencyString {
    uint16_t length;    /* 0 */
    uint8_t symbol[1];  /* 2 */
} CurrencyString;

KVR2_API void _zvkcMoveAlphaNumEdit(const AlphaEditRecord* record, const uint8_t* source, int32_t sourceLength,
                                    uint8_t* destination);
KVR2_API void _zvkcMoveUnicodeEdit(const NationalEditRecord* record, const uint8_t* source, int32_t sourceLength,
                                   uint8_t* destination);
KVR2_API void _zvkcMoveFigConst(uint8_t* destination, int32_t destinationLength, const uint8_t* literal,
                                int32_t literalLength);
/* source: "+" or "-", then one ASCII digit for each digit position. */
KVR2_API void _zvkcMoveNumToNumEdit(const NumericEditRecord* record, const uint8_t* source, uint8_t* destination);
KVR2_API void _zvkcMoveNumToNumEdit2(const NumericEditRecord* record, const uint8_t* source, uint8_t* destination,
                                     const CurrencyString* currency);
/* destination: the digits, then "+" or "-".  Returns 0, or 1 when the
 * source does not fit the picture. */
KVR2_API int32_t _zvkcMoveNumEditToNum(const DeEditRecord* record, const uint8_t* source, uint8_t* destination);
KVR2_API int32_t _zvkcMoveNumEditToNum2(const DeEditRecord* record, const uint8_t* source, uint8_t* destination,
                                        const CurrencyString* currency);
KVR2_API void _zvkcMoveVarLenOverlap(uint8_t* destination, int32_t destinationLength, const uint8_t* source,
                                     int32_t sourceLength);

/* Segment refresh for ALTER: targets are code addresses, one per alterable
 * procedure, with the segment number of each in entrySegments. */
KVR2_API void _zvkcRfshGoDepend(int32_t index, int32_t currentSegment, int32_t count, const uint8_t* segmentTable,
                                void** targets, void* const* initialTargets, const uint8_t* entrySegments);
KVR2_API void _zvkcRfshUncond(int32_t segment, int32_t count, void** targets, void* const* initialTargets,
                              const uint8_t* entrySegments);
KVR2_API void _zvkcRfshCond(int32_t currentSegment, int32_t count, int32_t newSegment, void** targets,
                            void* const* initialTargets, const uint8_t* entrySegments);

#ifdef __cplusplus
}
KVR2_STATIC_ASSERT(offsetof(AlphaEditRecord, picture) == 3, "AlphaEditRecord.picture");
KVR2_STATIC_ASSERT(offsetof(NationalEditRecord, runs) == 4 && sizeof(NationalEditRun) == 4, "NationalEditRecord layout");
KVR2_STATIC_ASSERT(offsetof(NumericEditRecord, picture) == 5, "NumericEditRecord.picture");
KVR2_STATIC_ASSERT(offsetof(DeEditRecord, picture) == 2, "DeEditRecord.picture");
KVR2_STATIC_ASSERT(offsetof(CurrencyString, symbol) == 2, "CurrencyString.symbol");
#endif
#endif
