/*
 * SEARCH ALL: a binary search on a table with one or more keys.
 *
 * SearchHeader, laid out by compiled code:
 *   0  u16  baseOffset     added to the table's address for the first entry
 *   2  i16  keyCount       SearchKey records at 8, 16 bytes each
 *   4  i16  argumentCount
 *   8       keys
 *   then    u64 argumentLengths[argumentCount]
 *   then    u8  argumentForms[argumentCount]   (ZVK_SEARCH_ARG_*)
 * Key i is compared with argument i, for as many keys as there are both
 * keys and arguments.
 */
#ifndef KVR2_SEARCH_H
#define KVR2_SEARCH_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/classcmp.h"
#include "kvr2/records.h"
#include "kvr2/api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* SearchKey.type; ZVK_KEY_DESCENDING added for a descending key. */
#define ZVK_KEY_ALPHANUMERIC 0     /* blank 0x20 */
#define ZVK_KEY_ALPHANUMERIC_EBCDIC 1 /* blank 0x40 */
#define ZVK_KEY_DISPLAY 2          /* numeric DISPLAY, native sign */
#define ZVK_KEY_NATIONAL 4         /* UTF-16 low byte first, blank U+0020 */
#define ZVK_KEY_NATIONAL_NUMERIC 9 /* UTF-16 digits, pad U+0030 */
#define ZVK_KEY_ZONED 16           /* zone 0x3n */
#define ZVK_KEY_ZONED_EBCDIC 17    /* zone 0xFn */
#define ZVK_KEY_PACKED 32
#define ZVK_KEY_BINARY_LE 64       /* signed, low byte first */
#define ZVK_KEY_BINARY_BE 65       /* signed, high byte first */
#define ZVK_KEY_UNSIGNED_LE 66     /* unsigned, low byte first */
#define ZVK_KEY_UNSIGNED_BE 67     /* unsigned, high byte first */
#define ZVK_KEY_FLOAT_LE 96        /* IEEE binary 4, 8 or 16 bytes, low byte first */
#define ZVK_KEY_FLOAT_BE 97        /* the same, high byte first */
#define ZVK_KEY_DESCENDING 0x80

/* argumentForms */
#define ZVK_SEARCH_ARG_SEPARATE 0x10
#define ZVK_SEARCH_ARG_LEADING 0x20

typedef struct SearchKey {
    uint8_t type;
    uint8_t reserved1[3];
    uint32_t length;    /* bytes, at most 255 */
    uint64_t offset;    /* within an entry */
} SearchKey;

typedef struct SearchHeader {
    uint16_t baseOffset;
    int16_t keyCount;
    int16_t argumentCount;
    uint16_t reserved6;
    /* 8: SearchKey keys[keyCount], then the argument lengths and forms */
} SearchHeader;

typedef struct SearchArgument {
    const uint8_t* value;
    const uint8_t* item;
} SearchArgument;

KVR2_STATIC_ASSERT(sizeof(SearchKey) == 16, "SearchKey size");
KVR2_STATIC_ASSERT(offsetof(SearchKey, offset) == 8, "SearchKey.offset");
KVR2_STATIC_ASSERT(sizeof(SearchHeader) == 8, "SearchHeader size");
KVR2_STATIC_ASSERT(sizeof(SearchArgument) == 16, "SearchArgument size");

/* Byte offset of the entry found, from the first entry; -1 if none. */
KVR2_API int64_t _zvkcSrchAll(const SearchHeader* header, uint8_t* table, int64_t entries, uint64_t stride,
                              const SearchArgument* arguments, uint64_t* reserved, const AlphabetRecord* alphabet);

#ifdef __cplusplus
}
#endif
#endif
