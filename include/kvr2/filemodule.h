/*
 * The file records compiled code lays out (FIB, FCB), the concatenation
 * record, and the contract between the library and a file-system module
 * (zvkrf..._64r.so) or the sort engine, which open, read and write files
 * through an FCB's slots.  Usable from C and C++; every offset is frozen.
 *
 * A module exports _IO_Init(FCB*, IPCB*) and, optionally, vfs(), which
 * returns its operation table (FileModuleTable).  _IO_Init puts the
 * module's routines in the FCB's slots, open among them; the library then
 * calls open, and compiled code calls the other slots directly.  While a
 * file is closed, or a verb makes no sense in its open mode, the slots hold
 * the library's _zvk*Error routines, which have the slots' own types.
 *
 * Status: every slot stores the two-digit status (FS1) at FCB offset 56
 * and the secondary status (FS2) at offset 280, and returns FS1.  A field
 * of the program's (FILE STATUS, feedback, relative key) is found at
 * *cell + offset; a null cell means the program has no such field.
 */
#ifndef KVR2_FILEMODULE_H
#define KVR2_FILEMODULE_H

#include <stddef.h>
#include <stdint.h>

#include "kvr2/api.h"
#include "kvr2/records.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct FCB FCB;

/* ---- the arguments of the verb slots ---- */

/* A verb slot: read, write, rewrite, start, delete and unlock.  how tells
 * the phrase of the statement (below); length is the record length of
 * WRITE and REWRITE (variable records), the key length of START (0: the
 * whole key), otherwise 0. */
typedef int32_t (*zvkFileVerb)(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
/* open and close: their options are in the FCB (offsets 32 and 36). */
typedef int32_t (*zvkFileOpenClose)(FCB* fcb, IPCB* element);
/* The useProc slot: _zvkCallUseProc or a module's own filter before it. */
typedef void (*zvkFileUseProc)(FCB* fcb, uint32_t variant, IPCB* element);

/* READ: the direction in the low byte, the key of reference in the second
 * (0 the prime or relative key, n the n-th alternate key), lock phrases
 * above.  READ stores the length of the record read in the record area's
 * header word (ZvkRecordArea.length). */
#define ZVK_READ_NEXT        0x00u
#define ZVK_READ_PREVIOUS    0x01u
#define ZVK_READ_KEY         0x02u     /* random: by the key of reference */
#define ZVK_HOW_KEY(n)       (((uint32_t)(n) & 0xFFu) << 8)
#define ZVK_HOW_KEY_OF(how)  (((how) >> 8) & 0xFFu)
#define ZVK_LOCK_WITH        0x010000u /* WITH LOCK */
#define ZVK_LOCK_NONE        0x020000u /* WITH NO LOCK */
#define ZVK_LOCK_KEPT        0x040000u /* WITH KEPT LOCK */
#define ZVK_LOCK_IGNORE      0x080000u /* WITH IGNORE LOCK */
/* START: the relation in the low byte, the key of reference as for READ. */
#define ZVK_START_EQUAL      0x01u
#define ZVK_START_GREATER    0x02u
#define ZVK_START_NOT_LESS   0x03u     /* >= */
#define ZVK_START_LESS       0x04u
#define ZVK_START_NOT_GREATER 0x05u    /* <= */
/* WRITE: BEFORE or AFTER ADVANCING, PAGE or a line count in the upper half
 * (0 to 65535 lines). */
#define ZVK_WRITE_PLAIN      0x00u
#define ZVK_WRITE_BEFORE     0x01u
#define ZVK_WRITE_AFTER      0x02u
#define ZVK_WRITE_PAGE       0x0100u
#define ZVK_WRITE_LINES(n)   (((uint32_t)(n) & 0xFFFFu) << 16)
#define ZVK_WRITE_LINES_OF(how) ((how) >> 16)

/* ---- FIB: file information block, read-only, laid out by the compiler ---- */

/* FIB.organization */
#define ZVK_ORG_SEQUENTIAL      0x00u
#define ZVK_ORG_RELATIVE        0x10u
#define ZVK_ORG_INDEXED         0x20u
#define ZVK_ORG_LINE_SEQUENTIAL 0x40u
/* FIB.access */
#define ZVK_ACCESS_SEQUENTIAL   0x80u
#define ZVK_ACCESS_RANDOM       0x40u
#define ZVK_ACCESS_DYNAMIC      0x20u
/* FIB.recordFormat: the codes of the sort's record descriptions */
#define ZVK_RECORD_FIXED        1u     /* fixed length */
#define ZVK_RECORD_VARIABLE     2u     /* from minLength to maxLength */
/* FIB.flags */
#define ZVK_FIB_OPTIONAL        0x80u
#define ZVK_FIB_ASSIGN_ENV      0x20u  /* the assignment names an environment variable */
#define ZVK_FIB_ASSIGN_LITERAL  0x08u
#define ZVK_FIB_ASSIGN_ITEM     0x04u
#define ZVK_FIB_EXTERNAL        0x02u
/* FIB.linage */
#define ZVK_LINAGE              0x80u
#define ZVK_LINAGE_FOOTING      0x40u
#define ZVK_LINAGE_TOP          0x20u
#define ZVK_LINAGE_BOTTOM       0x10u
/* FIB.shareMode, above its three mode bits */
#define ZVK_FIB_LOCK_COUNT      0x08u
#define ZVK_FIB_STATUS_NATIONAL 0x10u  /* two 16-bit units */
#define ZVK_FIB_FEEDBACK_EBCDIC 0x40u
#define ZVK_FIB_STATUS_EBCDIC   0x80u

/* One key of an indexed file: 12 bytes in the table at FIB.keyTableOffset. */
typedef struct ZvkFileKey {
    uint32_t length;      /* 0: bytes */
    uint32_t position;    /* 4: offset in the record */
    uint8_t duplicates;   /* 8: nonzero: WITH DUPLICATES */
    uint8_t reserved9[3];
} ZvkFileKey;

/* The relative key item, 36 bytes at FIB.relativeKeyOffset: found as the
 * status fields are, at *cell + offset; an unsigned integer. */
#define ZVK_RELKEY_BINARY       0u     /* native binary */
#define ZVK_RELKEY_BINARY_BIG   1u     /* big-endian binary */
#define ZVK_RELKEY_PACKED       2u
#define ZVK_RELKEY_ZONED        3u
typedef struct __attribute__((packed, aligned(4))) ZvkRelativeKey {
    void** cell;          /* 0: null: no RELATIVE KEY */
    uint32_t offset;      /* 8 */
    uint32_t length;      /* 12: bytes */
    uint8_t kind;         /* 16: ZVK_RELKEY_* */
    uint8_t digits;       /* 17: packed and zoned */
    uint8_t reserved18[18];
} ZvkRelativeKey;

/* LINAGE, FOOTING, TOP and BOTTOM: four groups of 36 bytes at
 * FIB.linageOffset.  The module takes value; when the clause names a data
 * item, compiled code stores the item's value there before each OPEN, and
 * name is the item's, for messages.  The module keeps the page position in
 * the FCB's LINAGE words; LINAGE-COUNTER is FCB.linageCounter. */
#define ZVK_LINAGE_ABSENT       0u
#define ZVK_LINAGE_LITERAL      1u
#define ZVK_LINAGE_ITEM         2u
typedef struct ZvkLinageGroup {
    uint16_t kind;        /* 0: ZVK_LINAGE_ABSENT, _LITERAL or _ITEM */
    char name[30];        /* 2: the item's name, blank-padded */
    uint32_t value;       /* 32 */
} ZvkLinageGroup;

typedef struct FIB {
    uint8_t reserved0[3];
    uint8_t shareLock;           /* 3: nonzero: SHARE and LOCK apply; an UNLOCK slot */
    uint32_t index;              /* 4: the file's index in its program, from 1 */
    uint8_t defaultCode;         /* 8: default file-system code */
    char defaultPrefix[3];       /* 9 */
    uint8_t organization;        /* 12: ZVK_ORG_* */
    uint8_t access;              /* 13: ZVK_ACCESS_* */
    uint8_t recordFormat;        /* 14: ZVK_RECORD_* */
    uint8_t flags;               /* 15: ZVK_FIB_* */
    uint32_t maxLength;          /* 16 */
    uint32_t minLength;          /* 20 */
    uint8_t reserved24[4];
    uint32_t keyCount;           /* 28 */
    char name[44];               /* 32: the COBOL file name, terminated */
    uint16_t assignLength;       /* 76: length of the assignment name */
    uint16_t feedbackLength;     /* 78: length of the FILE STATUS feedback field */
    uint8_t lockMode;            /* 80: bits 0 to 2 */
    uint8_t linage;              /* 81: ZVK_LINAGE* */
    uint8_t shareMode;           /* 82: bits 0 to 2, and ZVK_FIB_* above */
    uint8_t reserved83[5];
    uint32_t statusOffset;       /* 88: from *statusCell */
    uint32_t feedbackOffset;     /* 92: from *feedbackCell */
    /* The blocks below are found at these offsets from the FIB's start;
       an offset of 0 means the file has no such block. */
    uint32_t keyTableOffset;     /* 96: from the FIB: keyCount ZvkFileKey */
    uint32_t relativeKeyOffset;  /* 100: from the FIB: a ZvkRelativeKey */
    uint32_t attributeOffset;    /* 104: from the FIB: 8 bytes, compared only */
    uint32_t linageOffset;       /* 108: from the FIB: 4 ZvkLinageGroup */
    uint8_t reserved112[8];
    void** recordCell;           /* 120: holds the record area */
    char* assignment;            /* 128: the assignment name, assignLength bytes */
    void** statusCell;           /* 136: null: no FILE STATUS field */
    void** feedbackCell;         /* 144: null: no feedback field */
} FIB;

KVR2_STATIC_ASSERT(sizeof(ZvkFileKey) == 12, "ZvkFileKey size");
KVR2_STATIC_ASSERT(offsetof(ZvkFileKey, position) == 4, "ZvkFileKey.position");
KVR2_STATIC_ASSERT(offsetof(ZvkFileKey, duplicates) == 8, "ZvkFileKey.duplicates");
KVR2_STATIC_ASSERT(sizeof(ZvkRelativeKey) == 36, "ZvkRelativeKey size");
KVR2_STATIC_ASSERT(offsetof(ZvkRelativeKey, kind) == 16, "ZvkRelativeKey.kind");
KVR2_STATIC_ASSERT(sizeof(ZvkLinageGroup) == 36, "ZvkLinageGroup size");
KVR2_STATIC_ASSERT(offsetof(ZvkLinageGroup, name) == 2, "ZvkLinageGroup.name");
KVR2_STATIC_ASSERT(offsetof(ZvkLinageGroup, value) == 32, "ZvkLinageGroup.value");
KVR2_STATIC_ASSERT(offsetof(FIB, shareLock) == 3, "FIB.shareLock");
KVR2_STATIC_ASSERT(offsetof(FIB, index) == 4, "FIB.index");
KVR2_STATIC_ASSERT(offsetof(FIB, defaultCode) == 8, "FIB.defaultCode");
KVR2_STATIC_ASSERT(offsetof(FIB, defaultPrefix) == 9, "FIB.defaultPrefix");
KVR2_STATIC_ASSERT(offsetof(FIB, organization) == 12, "FIB.organization");
KVR2_STATIC_ASSERT(offsetof(FIB, access) == 13, "FIB.access");
KVR2_STATIC_ASSERT(offsetof(FIB, recordFormat) == 14, "FIB.recordFormat");
KVR2_STATIC_ASSERT(offsetof(FIB, flags) == 15, "FIB.flags");
KVR2_STATIC_ASSERT(offsetof(FIB, maxLength) == 16, "FIB.maxLength");
KVR2_STATIC_ASSERT(offsetof(FIB, minLength) == 20, "FIB.minLength");
KVR2_STATIC_ASSERT(offsetof(FIB, keyCount) == 28, "FIB.keyCount");
KVR2_STATIC_ASSERT(offsetof(FIB, name) == 32, "FIB.name");
KVR2_STATIC_ASSERT(offsetof(FIB, assignLength) == 76, "FIB.assignLength");
KVR2_STATIC_ASSERT(offsetof(FIB, feedbackLength) == 78, "FIB.feedbackLength");
KVR2_STATIC_ASSERT(offsetof(FIB, lockMode) == 80, "FIB.lockMode");
KVR2_STATIC_ASSERT(offsetof(FIB, linage) == 81, "FIB.linage");
KVR2_STATIC_ASSERT(offsetof(FIB, shareMode) == 82, "FIB.shareMode");
KVR2_STATIC_ASSERT(offsetof(FIB, statusOffset) == 88, "FIB.statusOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, feedbackOffset) == 92, "FIB.feedbackOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, keyTableOffset) == 96, "FIB.keyTableOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, relativeKeyOffset) == 100, "FIB.relativeKeyOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, attributeOffset) == 104, "FIB.attributeOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, linageOffset) == 108, "FIB.linageOffset");
KVR2_STATIC_ASSERT(offsetof(FIB, recordCell) == 120, "FIB.recordCell");
KVR2_STATIC_ASSERT(offsetof(FIB, assignment) == 128, "FIB.assignment");
KVR2_STATIC_ASSERT(offsetof(FIB, statusCell) == 136, "FIB.statusCell");
KVR2_STATIC_ASSERT(offsetof(FIB, feedbackCell) == 144, "FIB.feedbackCell");
KVR2_STATIC_ASSERT(sizeof(FIB) == 152, "FIB size");

/* ---- the record area: a 32-byte header, then the record ---- */

typedef struct ZvkRecordArea {
    FCB* fcb;             /* 0: back to the file */
    uint32_t length;      /* 8: the length of the record last read */
    uint8_t reserved12[20];
    /* 32: the record, FCB.maxLength bytes */
} ZvkRecordArea;
KVR2_STATIC_ASSERT(sizeof(ZvkRecordArea) == 32, "ZvkRecordArea size");
KVR2_STATIC_ASSERT(offsetof(ZvkRecordArea, length) == 8, "ZvkRecordArea.length");

/* ---- the USE procedures of a file, FCB offset 256 ---- */

/* Called (0, 0, arg, mode), mode the open mode word. */
typedef struct ZvkUseProcedure {
    void (*routine)(void* reserved0, void* reserved1, void* arg, uint32_t mode);
    void* arg;
} ZvkUseProcedure;
typedef struct ZvkUseTable {
    const ZvkUseProcedure* input;   /* null: none for this mode */
    const ZvkUseProcedure* output;
    const ZvkUseProcedure* inputOutput;
    const ZvkUseProcedure* extend;
    const ZvkUseProcedure* anyMode;
} ZvkUseTable;

/* ---- ConcatRecord: the names of a concatenation, in one block ---- */

typedef struct ConcatRecord {
    uint32_t entries;     /* 0: names, at most 256 */
    uint32_t next;        /* 4: the next to open */
    uint32_t generation;  /* 8: relative generation inside a group */
    uint32_t flags;       /* 12: bit 0: walking a group's generations */
    char nameSpace[4];    /* 16: "???", then the file's prefix */
    char* text;           /* 24: the copy of the whole string, behind the names */
    /* 32: entries pointers into text (ZVK_CONCAT_NAMES) */
} ConcatRecord;
#define ZVK_CONCAT_NAMES(record) ((char**)((ConcatRecord*)(record) + 1))
KVR2_STATIC_ASSERT(offsetof(ConcatRecord, nameSpace) == 16, "ConcatRecord.nameSpace");
KVR2_STATIC_ASSERT(offsetof(ConcatRecord, text) == 24, "ConcatRecord.text");
KVR2_STATIC_ASSERT(sizeof(ConcatRecord) == 32, "ConcatRecord size");

/* The names an OPEN INPUT reads one after the other.  "a:b:c" gives three
 * files (runs of ":" count as one; the ":" of "/.:/" is part of a name;
 * at most 256 names, more give null with *isConcat set).  A generation
 * data group's name gives one generation (*isConcat 0) or, bare, all of
 * them newest first (*isConcat 1).  Null with *isConcat 0: a plain file.
 * prefix points to the file's three-letter prefix, or is null. */
KVR2_API ConcatRecord* _zvk_Concat_Check(char* name, uint32_t* isConcat, uint32_t create, uint32_t* prefix);
/* The next file to open, or null after the last; a name handed back stays
 * valid until the next call on this thread. */
KVR2_API char* _zvk_Concat_Next(ConcatRecord* record);
KVR2_API void _zvk_Concat_Free(ConcatRecord* record);

/* ---- FCB: file control record, 328 bytes ---- */

/* FCB.openMode, FCB.modeInForce */
#define ZVK_OPEN_INPUT          0x8000u
#define ZVK_OPEN_OUTPUT         0x4000u
#define ZVK_OPEN_IO             0x2000u
#define ZVK_OPEN_EXTEND         0x1000u
#define ZVK_OPEN_GIVES_07       0x0400u
/* FCB.closeOptions */
#define ZVK_CLOSE_NO_USE        0x0001u
#define ZVK_CLOSE_NEXT_VOLUME   0x0400u
#define ZVK_CLOSE_WITH_LOCK     0x1000u
#define ZVK_CLOSE_GIVES_07      0x6800u  /* 0x0800, 0x2000, 0x4000 */
/* FCB.state */
#define ZVK_STATE_NAME_ALLOCATED 0x00400000u
#define ZVK_STATE_CONCATENATION  0x00800000u
#define ZVK_STATE_FIB_BY_PROGRAM 0x01000000u
#define ZVK_STATE_POSITIONED     0x02000000u
#define ZVK_STATE_READ_GOOD      0x08000000u
#define ZVK_STATE_OPTIONAL_ABSENT 0x80000000u
/* FCB.lastVerb, FCB.verb */
#define ZVK_VERB_CLOSE          0x01u
#define ZVK_VERB_OPEN           0x02u
#define ZVK_VERB_UNLOCK         0x04u
#define ZVK_VERB_DELETE         0x08u
#define ZVK_VERB_START          0x10u
#define ZVK_VERB_REWRITE        0x20u
#define ZVK_VERB_WRITE          0x40u
#define ZVK_VERB_READ           0x80u
/* FCB.clauses */
#define ZVK_CLAUSE_INVALID_KEY  0x80u
#define ZVK_CLAUSE_AT_END       0x20u
#define ZVK_CLAUSE_KEY_READ     0x02u

struct FCB {
    char eye[3];                 /* 0: "FCB" */
    uint8_t shareLock;           /* 3: as FIB offset 3; 1 for a record the library made */
    uint32_t index;              /* 4 */
    uint8_t code;                /* 8: file-system code in force */
    char prefix[3];              /* 9: prefix in force */
    uint8_t defaultCode;         /* 12 */
    char defaultPrefix[3];       /* 13 */
    uint8_t reserved16[8];
    void** moduleTable;          /* 24: the module's operation table */
    uint16_t openMode;           /* 32: requested, ZVK_OPEN_* */
    uint16_t modeInForce;        /* 34: 0 when closed */
    uint16_t closeOptions;       /* 36: ZVK_CLOSE_* */
    uint16_t lastCloseOptions;   /* 38 */
    uint32_t state;              /* 40: ZVK_STATE_* */
    uint8_t reserved44[4];
    FIB* fib;                    /* 48 */
    uint16_t status;             /* 56: FS1 as a number */
    uint8_t lastVerb;            /* 58: ZVK_VERB_* */
    uint8_t verb;                /* 59: the current verb */
    uint8_t reserved60[3];
    uint8_t clauses;             /* 63: ZVK_CLAUSE_* of the running statement */
    uint8_t reserved64[16];
    char* fileName;              /* 80: the name of the file in force */
    uint8_t reserved88[8];
    ZvkRecordArea* recordArea;   /* 96 */
    uint8_t* record;             /* 104: recordArea + 32 */
    void* moduleBuffer;          /* 112: the module's, from malloc; freed at CLOSE */
    void* moduleBuffer2;         /* 120: likewise */
    uint32_t maxLength;          /* 128 */
    uint8_t reserved132[4];
    uint32_t openCount;          /* 136: 0 before the module's open */
    uint8_t reserved140[4];
    uint16_t openFlag;           /* 144: 1 before the module's open */
    uint8_t reserved146[2];
    uint32_t position[5];        /* 148: the module's position words */
    uint32_t linageLines;        /* 168: LINAGE: lines of the page body */
    uint32_t linageFooting;      /* 172 */
    uint32_t linageTop;          /* 176 */
    uint32_t linageBottom;       /* 180 */
    uint32_t linageCounter;      /* 184: LINAGE-COUNTER, 1 after open */
    uint8_t reserved188;
    uint8_t opened;              /* 189: 2 after open */
    uint8_t reserved190[2];
    zvkFileVerb read;            /* 192 */
    zvkFileVerb write;           /* 200 */
    zvkFileVerb rewrite;         /* 208 */
    zvkFileVerb start;           /* 216 */
    zvkFileVerb deleteRecord;    /* 224: DELETE */
    zvkFileOpenClose close;      /* 232 */
    zvkFileOpenClose open;       /* 240 */
    zvkFileUseProc useProc;      /* 248 */
    const ZvkUseTable* useTable; /* 256: null: no USE procedures */
    uint8_t reserved264[8];
    ConcatRecord* concat;        /* 272 */
    uint32_t fs2;                /* 280: the secondary status */
    uint8_t reserved284[20];
    zvkFileVerb unlock;          /* 304 */
    uint8_t reserved312[16];
};

KVR2_STATIC_ASSERT(offsetof(FCB, shareLock) == 3, "FCB.shareLock");
KVR2_STATIC_ASSERT(offsetof(FCB, index) == 4, "FCB.index");
KVR2_STATIC_ASSERT(offsetof(FCB, code) == 8, "FCB.code");
KVR2_STATIC_ASSERT(offsetof(FCB, prefix) == 9, "FCB.prefix");
KVR2_STATIC_ASSERT(offsetof(FCB, defaultCode) == 12, "FCB.defaultCode");
KVR2_STATIC_ASSERT(offsetof(FCB, defaultPrefix) == 13, "FCB.defaultPrefix");
KVR2_STATIC_ASSERT(offsetof(FCB, moduleTable) == 24, "FCB.moduleTable");
KVR2_STATIC_ASSERT(offsetof(FCB, openMode) == 32, "FCB.openMode");
KVR2_STATIC_ASSERT(offsetof(FCB, modeInForce) == 34, "FCB.modeInForce");
KVR2_STATIC_ASSERT(offsetof(FCB, closeOptions) == 36, "FCB.closeOptions");
KVR2_STATIC_ASSERT(offsetof(FCB, lastCloseOptions) == 38, "FCB.lastCloseOptions");
KVR2_STATIC_ASSERT(offsetof(FCB, state) == 40, "FCB.state");
KVR2_STATIC_ASSERT(offsetof(FCB, fib) == 48, "FCB.fib");
KVR2_STATIC_ASSERT(offsetof(FCB, status) == 56, "FCB.status");
KVR2_STATIC_ASSERT(offsetof(FCB, lastVerb) == 58, "FCB.lastVerb");
KVR2_STATIC_ASSERT(offsetof(FCB, verb) == 59, "FCB.verb");
KVR2_STATIC_ASSERT(offsetof(FCB, clauses) == 63, "FCB.clauses");
KVR2_STATIC_ASSERT(offsetof(FCB, fileName) == 80, "FCB.fileName");
KVR2_STATIC_ASSERT(offsetof(FCB, recordArea) == 96, "FCB.recordArea");
KVR2_STATIC_ASSERT(offsetof(FCB, record) == 104, "FCB.record");
KVR2_STATIC_ASSERT(offsetof(FCB, moduleBuffer) == 112, "FCB.moduleBuffer");
KVR2_STATIC_ASSERT(offsetof(FCB, moduleBuffer2) == 120, "FCB.moduleBuffer2");
KVR2_STATIC_ASSERT(offsetof(FCB, maxLength) == 128, "FCB.maxLength");
KVR2_STATIC_ASSERT(offsetof(FCB, openCount) == 136, "FCB.openCount");
KVR2_STATIC_ASSERT(offsetof(FCB, openFlag) == 144, "FCB.openFlag");
KVR2_STATIC_ASSERT(offsetof(FCB, position) == 148, "FCB.position");
KVR2_STATIC_ASSERT(offsetof(FCB, linageLines) == 168, "FCB.linageLines");
KVR2_STATIC_ASSERT(offsetof(FCB, linageCounter) == 184, "FCB.linageCounter");
KVR2_STATIC_ASSERT(offsetof(FCB, opened) == 189, "FCB.opened");
KVR2_STATIC_ASSERT(offsetof(FCB, read) == 192, "FCB.read");
KVR2_STATIC_ASSERT(offsetof(FCB, write) == 200, "FCB.write");
KVR2_STATIC_ASSERT(offsetof(FCB, rewrite) == 208, "FCB.rewrite");
KVR2_STATIC_ASSERT(offsetof(FCB, start) == 216, "FCB.start");
KVR2_STATIC_ASSERT(offsetof(FCB, deleteRecord) == 224, "FCB.deleteRecord");
KVR2_STATIC_ASSERT(offsetof(FCB, close) == 232, "FCB.close");
KVR2_STATIC_ASSERT(offsetof(FCB, open) == 240, "FCB.open");
KVR2_STATIC_ASSERT(offsetof(FCB, useProc) == 248, "FCB.useProc");
KVR2_STATIC_ASSERT(offsetof(FCB, useTable) == 256, "FCB.useTable");
KVR2_STATIC_ASSERT(offsetof(FCB, concat) == 272, "FCB.concat");
KVR2_STATIC_ASSERT(offsetof(FCB, fs2) == 280, "FCB.fs2");
KVR2_STATIC_ASSERT(offsetof(FCB, unlock) == 304, "FCB.unlock");
KVR2_STATIC_ASSERT(sizeof(FCB) == 328, "FCB size");

/* ---- the module's operation table (vfs()) ---- */

/* Entry 24: the text of a secondary status, for the error trace; buffer is
 * FCB offset 112 and may be null (after CLOSE).  Never null itself. */
typedef const char* (*zvkFileStatusText)(void* buffer, int32_t fs2, int32_t reserved, int32_t one);
#define ZVK_MODULE_TABLE_ENTRIES 25
#define ZVK_MODULE_STATUS_TEXT   24

/* ---- the module's entries ---- */

typedef void (*zvkIoInit)(FCB* fcb, IPCB* element);   /* _IO_Init */
typedef void** (*zvkVfs)(void);                        /* vfs */

/* ---- the library's routines: a closed file's slots, and the ends of OPEN
 * and CLOSE for modules ---- */

/* The open slot of a closed file: resolves the name, loads the module, lets
 * its _IO_Init fill the slots and calls its open.  Returns FS1. */
KVR2_API int32_t _zvkGenericOpen(FCB* fcb, IPCB* element);
/* The end of every module's close; variant goes to _zvkCallUseProc. */
KVR2_API void _zvkGenericClose(FCB* fcb, IPCB* element, uint32_t variant);
/* AT END, INVALID KEY, the USE procedure, or message 200 when the program
 * cannot see the failure. */
KVR2_API void _zvkCallUseProc(FCB* fcb, uint32_t variant, IPCB* element);
/* The slots of verbs that make no sense in the file's state. */
KVR2_API int32_t _zvkOpenError(FCB* fcb, IPCB* element);
KVR2_API int32_t _zvkCloseError(FCB* fcb, IPCB* element);
KVR2_API int32_t _zvkReadError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
KVR2_API int32_t _zvkWriteError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
KVR2_API int32_t _zvkRewriteError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
KVR2_API int32_t _zvkStartError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
KVR2_API int32_t _zvkDeleteError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
KVR2_API int32_t _zvkUnlockError(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);

#ifdef __cplusplus
}
#endif
#endif
