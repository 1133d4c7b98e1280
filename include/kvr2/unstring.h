/*
 * STRING and UNSTRING: each call carries out one whole statement from the
 * argument block that compiled code lays out.  Offsets are frozen; the
 * library reads the blocks byte by byte at these offsets, so they need no
 * particular alignment.
 */
#ifndef KVR2_UNSTRING_H
#define KVR2_UNSTRING_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- STRING ---- */
#define ZVK_STRING_POINTER 0x80u
#define ZVK_STRING_COLLATE 0x10u
#define ZVK_STRING_NATIONAL 0x08u
#define ZVK_STRING_DBCS 0x40u

typedef struct StringSource {
    const uint8_t* address;
    uint64_t length;
} StringSource;

/* One DELIMITED BY group; `sourceCount` StringSource records follow it at
   offset 24, and the next group follows them directly. */
typedef struct StringGroup {
    const uint8_t* delimiter;   /* null: DELIMITED BY SIZE */
    uint64_t delimiterLength;   /* 0: SIZE as well */
    uint32_t sourceCount;
    uint32_t reserved20;
} StringGroup;

typedef struct StringBlock {
    uint8_t reserved0[3];
    uint8_t flags;          /* 3 */
    uint8_t reserved4[4];
    uint8_t* target;        /* 8 */
    uint64_t targetLength;  /* 16 */
    uint64_t pointer;       /* 24: 1-based, in characters; always written */
    uint32_t groupCount;    /* 32 */
    uint32_t reserved36;
    /* 40: groups */
} StringBlock;

KVR2_STATIC_ASSERT(offsetof(StringBlock, flags) == 3, "StringBlock.flags");
KVR2_STATIC_ASSERT(offsetof(StringBlock, target) == 8, "StringBlock.target");
KVR2_STATIC_ASSERT(offsetof(StringBlock, pointer) == 24, "StringBlock.pointer");
KVR2_STATIC_ASSERT(offsetof(StringBlock, groupCount) == 32, "StringBlock.groupCount");
KVR2_STATIC_ASSERT(sizeof(StringBlock) == 40, "StringBlock size");
KVR2_STATIC_ASSERT(sizeof(StringGroup) == 24, "StringGroup size");
KVR2_STATIC_ASSERT(sizeof(StringSource) == 16, "StringSource size");

/* ---- UNSTRING ---- */
#define ZVK_UNSTRING_POINTER 0x80u
#define ZVK_UNSTRING_TALLYING 0x08u
#define ZVK_UNSTRING_COLLATE 0x10u
#define ZVK_UNSTRING_NATIONAL 0x02u
#define ZVK_UNSTRING_DBCS 0x40u
#define ZVK_UNSTRING_ALL 0x80000000u

typedef struct UnstringDelimiter {
    const uint8_t* address;
    uint64_t length;
    uint32_t flags;         /* ZVK_UNSTRING_ALL */
    uint32_t reserved20;
} UnstringDelimiter;

typedef struct UnstringBlock {
    uint8_t reserved0[3];
    uint8_t flags;            /* 3 */
    uint8_t reserved4[4];
    const uint8_t* source;    /* 8 */
    uint64_t sourceLength;    /* 16 */
    uint64_t pointer;         /* 24 */
    uint32_t tally;           /* 32 */
    uint32_t reserved36;
    uint32_t delimiterCount;  /* 40 */
    uint32_t targetCount;     /* 44 */
    /* 48: UnstringDelimiter[delimiterCount] */
} UnstringBlock;

/* UnstringTarget.kind */
#define ZVK_TARGET_NUMERIC 0x80u
#define ZVK_TARGET_NATIONAL_NUMERIC 0x08u
#define ZVK_TARGET_JUSTIFIED 0x10u
#define ZVK_TARGET_SEPARATE_SIGN 0x40u
#define ZVK_TARGET_SIGN_LEADS 0x20u

typedef struct UnstringTarget {
    uint8_t* address;          /* 0 */
    uint64_t size;             /* 8: bytes, a separate sign included */
    uint64_t integerSize;      /* 16: numeric receivers: bytes of integer digits */
    uint8_t reserved24[3];
    uint8_t kind;              /* 27 */
    uint8_t reserved28[4];
    uint8_t* delimiterIn;      /* 32 */
    uint64_t delimiterInSize;  /* 40 */
    uint8_t reserved48[3];
    uint8_t delimiterInKind;   /* 51: ZVK_TARGET_JUSTIFIED */
    uint8_t reserved52[4];
    uint64_t count;            /* 56: out, in characters */
} UnstringTarget;

KVR2_STATIC_ASSERT(offsetof(UnstringBlock, tally) == 32, "UnstringBlock.tally");
KVR2_STATIC_ASSERT(offsetof(UnstringBlock, delimiterCount) == 40, "UnstringBlock.delimiterCount");
KVR2_STATIC_ASSERT(sizeof(UnstringBlock) == 48, "UnstringBlock size");
KVR2_STATIC_ASSERT(sizeof(UnstringDelimiter) == 24, "UnstringDelimiter size");
KVR2_STATIC_ASSERT(offsetof(UnstringTarget, kind) == 27, "UnstringTarget.kind");
KVR2_STATIC_ASSERT(offsetof(UnstringTarget, delimiterIn) == 32, "UnstringTarget.delimiterIn");
KVR2_STATIC_ASSERT(offsetof(UnstringTarget, delimiterInKind) == 51, "UnstringTarget.delimiterInKind");
KVR2_STATIC_ASSERT(offsetof(UnstringTarget, count) == 56, "UnstringTarget.count");
KVR2_STATIC_ASSERT(sizeof(UnstringTarget) == 64, "UnstringTarget size");

/* `alphabet` addresses a record whose pointer at offset 40 is the 256-byte
   collating table (null: none).  `*overflow`, when non-zero on entry, is
   increased by one if the statement overflows. */
KVR2_API void _zvkcString(StringBlock* block, const uint64_t* alphabet, uint32_t* overflow);
KVR2_API void _zvkcUnString(UnstringBlock* block, UnstringTarget* targets, const uint64_t* alphabet,
                            uint32_t* overflow);

#ifdef __cplusplus
}
#endif
#endif
