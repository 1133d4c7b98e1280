// The record file-system module (codes 1 and 5): sequential, relative and
// indexed files.  Shared by its families: open/close (module.cpp), the
// LMDB environments (env.cpp), indexed (indexed*.cpp), sequential and
// relative (sequential.cpp, relative.cpp), record locks (locks.cpp).
//
// What a program sees through the FCB:
//
// Files on disk.
//   Code 5 sequential and relative files start with a 32-byte header:
//     0-7 "KVR2FILE", 8-10 "STL", 11 'S' or 'R', 12-15 version 1,
//     16-19 maximum and 20-23 minimum record length, 24-27 record format
//     (1 fixed, 2 variable), all little-endian; 28-31 zero.  Bytes 24-27
//     are never "vfs\0", so the library's sniff sends the file here.
//   Code 1 files are the same without the header (foreign files).
//   Sequential: fixed records back to back; a variable record is a 4-byte
//     length (code 5: big-endian u32; code 1: big-endian u16 and two zero
//     bytes, as another COBOL system writes them), then its bytes.
//   Relative: slot n (from 1) at header + (n-1) * (1 + 4 + max): a
//     presence byte (1: a record), the length (LE u32), the record.
//   Indexed: one LMDB data file (MDB_NOSUBDIR), its lock file beside it as
//     name + "-lock".  Sub-databases: "meta" ("layout": key table and
//     record lengths, compared at OPEN: another layout gives 39; "counter":
//     the write counter), "p" (prime key -> one 8-byte big-endian counter
//     per alternate key, then the record), "a1".."an" (alternate key, then
//     for a key WITH DUPLICATES the record's 8-byte counter -> prime key),
//     so duplicates come back in the order they were written.  Keys compare
//     byte-wise.  A record and its alternate entries change in one
//     committed transaction: with MDB_WRITEMAP a WRITE, REWRITE or DELETE
//     that returned below 10 survives the death of the process.
//     OPEN OUTPUT truncates a store that no environment has open (none
//     of this process's, and LMDB's shared lock on byte 0 of the lock file
//     free); otherwise it empties it in one transaction.  READ NEXT by
//     the prime key reads ahead from its snapshot and serves those records
//     while the store's last committed transaction is unchanged; no
//     snapshot outlives a verb.
//     Sequential files are buffered and written at CLOSE (the library
//     closes every open file at the run unit's end); relative files are
//     written at each verb.
//
// Verbs (indexed and relative):
//   OPEN: the position is before the first record; READ PREVIOUS there is
//     at end (10).  START positions at the record it finds (for < and <=
//     the last one below); the next READ, NEXT or PREVIOUS, returns it.
//   READ NEXT/PREVIOUS after 10, or after a READ or START that failed,
//     gives 46 until a START or a READ by key succeeds.  DELETE keeps the
//     position: READ NEXT goes on with the record after the deleted one.
//   READ by an alternate key WITH DUPLICATES gives 02 when the next record
//     by that key has the same value; WRITE and REWRITE give 02 when they
//     add a value another record has.  Sequential access: WRITE out of
//     ascending prime key order 21 (EXTEND: the file's last key 22);
//     REWRITE and DELETE need the READ just before (43), REWRITE the same
//     prime key (21).  Variable records out of bounds 44.
//   Relative: WRITE with key 0 is 24; with sequential access WRITE numbers
//     the records 1, 2, ... (24 past what the relative key holds); READ
//     of a record whose number the relative key cannot hold 14.
//   Concatenated volumes (sequential access INPUT) are read in turn.
//
// SHARE and LOCK (when FIB.shareLock is set; see locks.cpp):
//   FIB.shareMode & 7: 0 not given (as 1), 1 SHARING WITH ALL OTHER,
//     2 SHARING WITH READ ONLY, 3 SHARING WITH NO OTHER; OPEN OUTPUT is
//     always exclusive.  A conflict at OPEN gives 61.
//   FIB.lockMode & 7: 0 not given (no record locks but those asked for),
//     1 MANUAL (READ WITH LOCK locks), 2 AUTOMATIC (every READ of a file
//     opened I-O locks, but WITH NO LOCK), 3 EXCLUSIVE (the file alone).
//     A file opened INPUT takes no record locks, WITH LOCK or not, and
//     reads records others hold: only an I-O opener can change a record.
//   ZVK_FIB_LOCK_COUNT: locks on many records, kept until UNLOCK or CLOSE;
//     otherwise the one record locked is freed by the next verb.
//   READ of a record another holds locked, and WRITE, REWRITE or DELETE
//   of one, give 51 and change nothing (the position stays).
//
// Environment: KVR2_STL_SYNC=1 opens indexed files without MDB_NOSYNC and
// MDB_WRITEMAP: every commit then reaches the disk before the verb returns.
//
// Secondary statuses (FCB.fs2), texts in the module table's entry 24:
//   430 end of file                      431 no such file (35)
//   432 access denied (37)               433 mode not available (37)
//   434 open failed (30)                 435 read failed (30)
//   436 write failed (30)                437 close failed (30)
//   438 no memory (30)                   439 not a file of this module (39)
//   440 other record lengths or layout (39)
//   441 key longer than the store allows (39)
//   442 storage engine error (30)        443 damaged record (30)
//   444 duplicate key (22)               445 not found (23)
//   446 key out of sequence (21)         447 no current record (43)
//   448 record length out of bounds (44) 449 READ after the end (46)
//   450 relative key out of range (24)   451 record locked (51)
//   452 file locked by another (61)      453 prime key changed (21)
//   454 written, a duplicate key value exists (02)
#pragma once

#include <cstdint>
#include <type_traits>

#include "fileio/kit.h"
#include "kvr2/filemodule.h"

extern "C" {
__attribute__((visibility("default"))) void _IO_Init(FCB* fcb, IPCB* element);
__attribute__((visibility("default"))) void** vfs(void);
}
static_assert(std::is_same_v<decltype(&_IO_Init), zvkIoInit> && std::is_same_v<decltype(&vfs), zvkVfs>);

namespace stl {

enum Fs2 : uint32_t {
    kFs2None = 0,
    kFs2AtEnd = 430,
    kFs2NoFile = 431,
    kFs2Denied = 432,
    kFs2BadMode = 433,
    kFs2OpenFailed = 434,
    kFs2ReadFailed = 435,
    kFs2WriteFailed = 436,
    kFs2CloseFailed = 437,
    kFs2NoMemory = 438,
    kFs2Foreign = 439,
    kFs2Layout = 440,
    kFs2KeyTooLong = 441,
    kFs2Engine = 442,
    kFs2Damaged = 443,
    kFs2Duplicate = 444,
    kFs2NotFound = 445,
    kFs2Sequence = 446,
    kFs2NoCurrent = 447,
    kFs2Length = 448,
    kFs2AfterEnd = 449,
    kFs2Boundary = 450,
    kFs2RecordLocked = 451,
    kFs2FileLocked = 452,
    kFs2PrimeChanged = 453,
    kFs2DuplicateWritten = 454,
};

constexpr uint32_t kHeaderSize = 32;
constexpr uint8_t kShareAllOther = 1, kShareReadOnly = 2, kShareNoOther = 3;
constexpr uint8_t kLockManual = 1, kLockAutomatic = 2, kLockExclusive = 3;
constexpr uint32_t kMaxKeys = 64;

struct Environment;  // env.cpp

// The open file, at FCB.moduleBuffer: malloc'd (the library frees it at
// CLOSE), so a plain struct.  FCB.moduleBuffer2 holds the indexed file's
// key buffers (indexed.h) and its read-ahead area, the relative file's
// slot, or the sequential file's stdio buffer.
struct OpenFile {
    uint16_t mode;           // ZVK_OPEN_* in force
    uint8_t organization;    // ZVK_ORG_*
    bool header;             // code 5: the file has a header
    bool atEnd;              // READ NEXT found no more records
    bool pending;            // START chose the record the next READ returns
    bool variable;           // variable-length records
    bool hasKeptLock;        // a record lock is held (locks.cpp)
    int fd;                  // relative: the data file
    int lockFd;              // SHARE and LOCK: this FCB's own descriptor, or -1
    void* stream;            // sequential: FILE*
    uint64_t slot;           // relative: the current slot, 0 before the first
    uint64_t lastWritten;    // relative sequential WRITE: the last slot
    uint64_t slotSize;       // relative: bytes of a slot
    // indexed
    Environment* env;
    void* readTxn;           // MDB_txn*, reset between verbs
    void* cursors;           // MDB_cursor* per key, renewed in readTxn; calloc'd
    uint32_t keyCapacity;    // bytes of each key buffer
    uint32_t keyCount;
    uint32_t keyOfReference; // 0 prime, n the n-th alternate
    uint32_t positionLength; // bytes of the current position key
    uint32_t lastWriteLength;// sequential WRITE: the last prime key written (in scratch)
    uint64_t lockOffset;     // the record lock held, if hasKeptLock
    // READ NEXT by the prime key: the records after the position, copied
    // from the snapshot of transaction aheadTxn into the read-ahead area
    // (indexed_read.cpp); served while nothing has committed since.
    uint64_t aheadTxn;
    uint32_t aheadUsed;      // bytes of entries in the area
    uint32_t aheadNext;      // offset of the next entry to serve
    uint32_t nextRun;        // READ NEXTs by the prime key in a row
};

inline OpenFile* openFile(FCB* fcb) { return static_cast<OpenFile*>(fcb->moduleBuffer); }

// The end of every verb but OPEN and CLOSE: statuses stored, the program
// told of a failure, the verb remembered.
int32_t finish(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2);
// OPEN's answer: FCB only; the library stores it and calls the USE procedure.
int32_t answer(FCB* fcb, uint16_t status, uint32_t fs2);
uint32_t openErrorFs2(int error);
uint16_t openErrorStatus(uint32_t fs2);

// At the end of a volume of a concatenation: the next one opened through
// the library (the READ goes on in it, through fcb->read); false at the
// last.
bool nextVolume(FCB* fcb, IPCB* element);

// A record's length for WRITE and REWRITE: variable records take the
// verb's length argument; 0 when out of bounds.
uint32_t recordLength(const FCB* fcb, const FIB* fib, uint32_t length, bool& bad);

// Indexed (indexed.cpp, indexed_verbs.cpp).
int32_t openIndexed(FCB* fcb, IPCB* element, const FIB* fib);
void closeIndexed(FCB* fcb);
// Sequential (sequential.cpp).
int32_t openSequential(FCB* fcb, IPCB* element, const FIB* fib);
bool closeSequential(FCB* fcb);
// Relative (relative.cpp).
int32_t openRelative(FCB* fcb, IPCB* element, const FIB* fib);
bool closeRelative(FCB* fcb);

// SHARE and LOCK (locks.cpp).  openLocks: 0, or the FS2 of 61 or 37;
// none taken (lockFd -1) when the file is not there yet.
uint32_t openLocks(FCB* fcb, const FIB* fib);
void closeLocks(FCB* fcb);
// Whether this READ locks the record it reads.
bool readLocks(const FCB* fcb, const FIB* fib, uint32_t how);
// The record's lock taken (false: another holds it).
bool lockRecord(FCB* fcb, const FIB* fib, const void* key, size_t length);
// Whether no other holds the record's lock.
bool recordFree(FCB* fcb, const void* key, size_t length);
// The end of a verb: a single record lock goes with any verb but READ.
void afterVerb(FCB* fcb, const FIB* fib, uint8_t verb);
int32_t unlockSlot(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);

// The code-5 header: written, and checked (0: good, else FS2).
void makeHeader(uint8_t* header, const FIB* fib, char organization);
uint32_t checkHeader(const uint8_t* header, const FIB* fib, char organization);

}  // namespace stl
