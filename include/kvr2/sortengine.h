/*
 * What compiled code tells the sort engine (libvortlite_64r.so, entry
 * sortmerge, see kvr2/sort.h) through the words the library hands on
 * without reading them.  Usable from C and C++; every offset is frozen.
 *
 * fourth    the address of a ZvkSortKeyBlock, or 0 for no key (every
 *           record compares equal: SORT keeps the input order, MERGE takes
 *           the files one after the other).
 * fifth     null, or an option text: options separated by ",", no blank
 *           (the library has cut the text at its first blank):
 *             MEMORY=n[K|M|G]   the memory budget of the sort (default 256M,
 *                               at least 64K), records, keys and index;
 *             THREADS=1|2       threads that sort a run (default 2).
 * eighth    word 0: the address of 256 collating weights for alphanumeric
 *           keys, or 0 for the native byte order; word 1: ZVK_SORTENG_*
 *           flags; word 2: reserved, 0.
 * engineFlags (SortVerbBlock, SortControlRecord): ZVK_SORTENG_TRACE; other
 *           bits are not read.
 *
 * Keys are TableSortKey records, normalised exactly as the table sort
 * normalises them (kvr2/sort.h: types, sign flags, order); their offsets
 * count from the first byte of the record's data, after the length word of
 * a variable record.  Bytes of a key that lie past the end of a short
 * variable record read as blanks.  The sort is stable: records of equal
 * keys keep their input order, and a MERGE takes equal records from the
 * files in the order of the USING list.
 *
 * Work files: in SortControlRecord.tempDir, named
 * "vortlite.<pid>.<thread>.<n>" (never the library's "sortwki."/"sortwko."),
 * removed from the directory as soon as they are made, so that no sort,
 * ended however, leaves one behind.  Op 11 closes them and frees the
 * running sort's memory; no thread of the engine outlives a call.
 *
 * Result: SORT-RETURN, 0 or 16.  With 16 the engine stores one of the
 * ZVK_SORTENG_E_* numbers through SortControlRecord.errnoOut (when it is
 * not null); with 0 it stores 0.
 */
#ifndef KVR2_SORTENGINE_H
#define KVR2_SORTENGINE_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/api.h"
#include "kvr2/sort.h"

#ifdef __cplusplus
extern "C" {
#endif

#define ZVK_SORTENG_KEY_MAGIC 0x4B53565Au /* "ZVSK" in memory order */
#define ZVK_SORTENG_KEY_VERSION 1u
#define ZVK_SORTENG_MAX_KEYS 64u

/* The block fourth points at: a header, then count keys in order of
 * significance. */
typedef struct ZvkSortKeyBlock {
    uint32_t magic;        /* 0: ZVK_SORTENG_KEY_MAGIC */
    uint16_t version;      /* 4: ZVK_SORTENG_KEY_VERSION */
    uint16_t reserved6;
    uint32_t count;        /* 8: keys, at most ZVK_SORTENG_MAX_KEYS */
    uint32_t reserved12;
    /* 16: count TableSortKey records (ZVK_SORTENG_KEYS) */
} ZvkSortKeyBlock;
#define ZVK_SORTENG_KEYS(block) ((TableSortKey*)((ZvkSortKeyBlock*)(block) + 1))
KVR2_STATIC_ASSERT(offsetof(ZvkSortKeyBlock, magic) == 0, "ZvkSortKeyBlock.magic");
KVR2_STATIC_ASSERT(offsetof(ZvkSortKeyBlock, version) == 4, "ZvkSortKeyBlock.version");
KVR2_STATIC_ASSERT(offsetof(ZvkSortKeyBlock, count) == 8, "ZvkSortKeyBlock.count");
KVR2_STATIC_ASSERT(sizeof(ZvkSortKeyBlock) == 16, "ZvkSortKeyBlock size");

/* The eighth argument's words */
#define ZVK_SORTENG_WORD_COLLATING 0
#define ZVK_SORTENG_WORD_FLAGS 1
#define ZVK_SORTENG_WORD_RESERVED 2
/* Flags, word 1 */
#define ZVK_SORTENG_DUPLICATES_IN_ORDER 0x1u /* always honoured: the sort is stable */
#define ZVK_SORTENG_ONE_THREAD 0x2u          /* as THREADS=1 */
#define ZVK_SORTENG_KNOWN_FLAGS 0x3u

/* engineFlags */
#define ZVK_SORTENG_TRACE 0x1u /* one line of figures per call on stderr */

/* Error numbers stored through errnoOut with a result of 16 */
#define ZVK_SORTENG_E_KEY_BLOCK 1      /* fourth: bad magic or version, too many keys */
#define ZVK_SORTENG_E_KEY 2            /* a key of unknown type or width, or outside the record */
#define ZVK_SORTENG_E_FLAGS 3          /* eighth: unknown flags, reserved word not 0 */
#define ZVK_SORTENG_E_OPTION 4         /* fifth: an option not understood */
#define ZVK_SORTENG_E_RECORD_FORM 5    /* recordLength 0 or above ZVK_SORTENG_MAX_RECORD */
#define ZVK_SORTENG_E_MEMORY 6         /* the budget could not be allocated */
#define ZVK_SORTENG_E_WORK_FILE 7      /* a work file could not be made, written or read */
#define ZVK_SORTENG_E_INPUT_FILE 8     /* in.path could not be opened or read */
#define ZVK_SORTENG_E_OUTPUT_FILE 9    /* out.path could not be made or written */
#define ZVK_SORTENG_E_USING_OPEN 10    /* a USING file did not open */
#define ZVK_SORTENG_E_USING_READ 11    /* a READ of a USING file failed */
#define ZVK_SORTENG_E_GIVING_OPEN 12   /* a GIVING file did not open */
#define ZVK_SORTENG_E_GIVING_WRITE 13  /* a WRITE of a GIVING file failed */
#define ZVK_SORTENG_E_CLOSE 14         /* a USING or GIVING file did not close */
#define ZVK_SORTENG_E_BAD_RECORD 15    /* a length word outside 4..recordLength+4, or a cut record */
#define ZVK_SORTENG_E_OUT_OF_ORDER 16  /* MERGE: a record below its predecessor in the same input */
#define ZVK_SORTENG_E_MEMORY_OUTPUT 17 /* the sorted records exceed out.bytes */
#define ZVK_SORTENG_E_ABANDONED 18     /* op 11 ended this sort from inside a file operation */
#define ZVK_SORTENG_E_OP 19            /* an op other than 1, 2 and 11 */
#define ZVK_SORTENG_E_NO_PROGRAM 20    /* files to open but no program record */
#define ZVK_SORTENG_E_NESTED 21        /* a second sort on a thread inside a running one */

#define ZVK_SORTENG_MAX_RECORD 0x1000000u  /* 16 MiB of data */

#ifdef __cplusplus
}
#endif

#endif
