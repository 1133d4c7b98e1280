/*
 * SORT of a table in storage: the table is sorted in place, with no sort
 * engine.  Keys are passed as pointers to TableSortKey records, in order of
 * significance, after keyCount.
 */
#ifndef KVR2_SORT_H
#define KVR2_SORT_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* keyType */
#define ZVK_TSORT_ALPHANUMERIC 1u
#define ZVK_TSORT_ZONED 2u
#define ZVK_TSORT_BINARY 3u
#define ZVK_TSORT_PACKED 4u
#define ZVK_TSORT_FLOAT 5u
#define ZVK_TSORT_NATIONAL 6u

/* signFlags: zoned sign position (none: unsigned); binary signedness */
#define ZVK_TSORT_LEADING_SEPARATE 1u
#define ZVK_TSORT_TRAILING_SEPARATE 2u
#define ZVK_TSORT_LEADING_OVERPUNCH 4u
#define ZVK_TSORT_TRAILING_OVERPUNCH 8u
#define ZVK_TSORT_SIGNED_BINARY 16u

/* orderFlags */
#define ZVK_TSORT_ASCENDING 1u

/* One key of a table SORT, laid out by the compiler. */
typedef struct TableSortKey {
    uint32_t offset;    /* 0: byte offset within an element */
    uint32_t length;    /* 4: bytes */
    uint32_t keyType;   /* 8 */
    uint8_t signFlags;  /* 12 */
    uint8_t orderFlags; /* 13 */
    uint8_t reserved[2];
} TableSortKey;
KVR2_STATIC_ASSERT(offsetof(TableSortKey, offset) == 0, "TableSortKey.offset");
KVR2_STATIC_ASSERT(offsetof(TableSortKey, length) == 4, "TableSortKey.length");
KVR2_STATIC_ASSERT(offsetof(TableSortKey, keyType) == 8, "TableSortKey.keyType");
KVR2_STATIC_ASSERT(offsetof(TableSortKey, signFlags) == 12, "TableSortKey.signFlags");
KVR2_STATIC_ASSERT(offsetof(TableSortKey, orderFlags) == 13, "TableSortKey.orderFlags");
KVR2_STATIC_ASSERT(sizeof(TableSortKey) == 16, "TableSortKey size");

/* Sorts count elements of elementLength bytes at table.  collating: null,
   or 256 weights for alphanumeric keys.  reserved is not read.  A key of
   unknown type, or one lying outside the element, leaves the table as it
   was; so does a failed allocation (message 907) when the message returns. */
KVR2_API void _zvkcTSort(uintptr_t reserved, void* table, uint32_t elementLength, int32_t count,
                         const uint8_t* collating, int32_t keyCount, ...);

#ifdef __cplusplus
}
#endif

#endif
