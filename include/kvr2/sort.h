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
#include "kvr2/records.h"

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

/* ---- SORT and MERGE statements: records compiled code passes ---- */

/* _zvkSortMerge op */
#define ZVK_SORT_START 1
#define ZVK_MERGE_START 2
#define ZVK_SORT_RUN 3          /* the INPUT PROCEDURE has ended */
#define ZVK_SORT_FAIL 4         /* the program reports a failure */
#define ZVK_SORT_END_RUN 11     /* the runtime ends: abandon and unload */

typedef struct SortVerbBlock {
    uint16_t* sortReturn;  /* 0: SORT-RETURN */
    uint32_t messageOff;   /* 8: nonzero: no message 26 */
    uint32_t engineFlags;  /* 12: handed to the engine */
    uint32_t lineNumber;   /* 16: insert of message 26 */
    PCB* program;          /* 24: the calling program */
} SortVerbBlock;
KVR2_STATIC_ASSERT(offsetof(SortVerbBlock, messageOff) == 8, "SortVerbBlock.messageOff");
KVR2_STATIC_ASSERT(offsetof(SortVerbBlock, engineFlags) == 12, "SortVerbBlock.engineFlags");
KVR2_STATIC_ASSERT(offsetof(SortVerbBlock, lineNumber) == 16, "SortVerbBlock.lineNumber");
KVR2_STATIC_ASSERT(offsetof(SortVerbBlock, program) == 24, "SortVerbBlock.program");
KVR2_STATIC_ASSERT(sizeof(SortVerbBlock) == 32, "SortVerbBlock size");

/* recordFormat */
#define ZVK_SORT_FIXED_BLANK 1u   /* fixed, short records padded with blanks */
#define ZVK_SORT_VARIABLE 2u      /* a native 4-byte length word (counting itself) first */

typedef struct SortRecordDesc {
    uint32_t recordFormat;  /* 0 */
    uint32_t reserved;      /* 4 */
    uint32_t recordLength;  /* 8: fixed or maximum length */
    uint32_t reserved2;     /* 12 */
} SortRecordDesc;
KVR2_STATIC_ASSERT(offsetof(SortRecordDesc, recordLength) == 8, "SortRecordDesc.recordLength");

struct FCB;
typedef struct SortFileList {
    uint32_t count;         /* 0: files; 0: a procedure instead */
    uint32_t reserved;
    struct FCB** files;     /* 8 */
} SortFileList;
KVR2_STATIC_ASSERT(offsetof(SortFileList, files) == 8, "SortFileList.files");
KVR2_STATIC_ASSERT(sizeof(SortFileList) == 16, "SortFileList size");

KVR2_API void _zvkSortMerge(int32_t op, SortVerbBlock* block, SortRecordDesc* desc, uintptr_t fourth,
                            char* fifth, SortFileList* usingList, SortFileList* givingList, uint64_t* eighth);
/* status: 16 on failure, untouched on success */
KVR2_API void _zvkRelease(uint32_t length, void* record, uint16_t* status);
/* status: 1 at the end of the data, untouched otherwise */
KVR2_API void _zvkReturn(uint32_t* length, void* record, uint16_t* status);
/* The calling thread's engine error number, stored and returned. */
KVR2_API uint32_t ZVKGETSORTERRNO(uint32_t* value);
KVR2_API uint32_t zvkGetSortErrno(uint32_t* value);

/* ---- the sort engine's entry, passed by value ---- */

typedef struct SortEighth {
    uint64_t word[3];
} SortEighth;

typedef struct SortIoRecord {
    char* path;             /* 0: spill file, or null */
    uint32_t bytes;         /* 8: bytes of records at memory */
    uint32_t reserved;
    void* memory;           /* 16 */
    uint32_t count;         /* 24: USING or GIVING files */
    uint32_t reserved2;
    struct FCB** files;     /* 32 */
} SortIoRecord;
KVR2_STATIC_ASSERT(offsetof(SortIoRecord, memory) == 16, "SortIoRecord.memory");
KVR2_STATIC_ASSERT(offsetof(SortIoRecord, files) == 32, "SortIoRecord.files");
KVR2_STATIC_ASSERT(sizeof(SortIoRecord) == 40, "SortIoRecord size");

typedef struct SortControlRecord {
    uint32_t engineFlags;   /* 0 */
    uint32_t reserved;
    const char* tempDir;    /* 8 */
    uint32_t* errnoOut;     /* 16: where the engine stores its error number; may be null */
    uint32_t errnoValue;    /* 24 */
    uint32_t reserved2;
    PCB* program;           /* 32: null at the end of the run */
} SortControlRecord;
KVR2_STATIC_ASSERT(offsetof(SortControlRecord, errnoOut) == 16, "SortControlRecord.errnoOut");
KVR2_STATIC_ASSERT(offsetof(SortControlRecord, program) == 32, "SortControlRecord.program");
KVR2_STATIC_ASSERT(sizeof(SortControlRecord) == 40, "SortControlRecord size");

/* sortmerge, exported by the engine library libvortlite_64r.so under
   version KVR2_6.1.0: returns the new SORT-RETURN in its low 16 bits. */
typedef int32_t (*zvkSortEngine)(int32_t op, uint64_t formatWord, uint32_t recordLength, uintptr_t fourth,
                                 char* fifth, SortEighth eighth, SortIoRecord in, SortIoRecord out,
                                 SortControlRecord control);
#define ZVK_SORT_ENGINE_LIBRARY "libvortlite_64r.so"
#define ZVK_SORT_ENGINE_VERSION "KVR2_6.1.0"

#ifdef __cplusplus
}
#endif

#endif
