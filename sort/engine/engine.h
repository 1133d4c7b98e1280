// The sort engine's insides: one Job per call of sortmerge, on the caller's
// stack, reached by op 11 through a thread_local pointer.  Every resource
// the job holds (memory, work files) is recorded in it, so that op 11 can
// release it from any state; no object here has a destructor, since an
// abandoned sort's frames are left by a siglongjmp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <pthread.h>

#include "kvr2/filemodule.h"
#include "kvr2/sortengine.h"

namespace vort {

struct Config {
    uint32_t format;          // ZVK_SORT_VARIABLE, or a fixed form
    uint32_t recordLength;    // data bytes: fixed, or the maximum
    const TableSortKey* keys;
    uint32_t keyCount;
    const uint8_t* collating;
    uint32_t keyBytes;        // K: the normalised key, zero-padded to a fixed width
    uint32_t keyReach;        // data bytes the keys read
    uint64_t memory;          // the budget
    uint32_t threads;         // 1 or 2
    bool variable() const { return format == ZVK_SORT_VARIABLE; }
    // The record's form as the runtime writes it: a length word first for
    // a variable record.
    uint32_t maxForm() const { return variable() ? recordLength + 4 : recordLength; }
};

// A record's data, without the length word; a fixed record always has
// recordLength bytes.  Valid until the next call on the same stream.
struct Rec {
    const uint8_t* data;
    uint32_t length;
};

enum class StreamKind : uint8_t { Fcb, File, Memory };

// One input: a USING file, the spill file at in.path, or in.memory.
struct Stream {
    StreamKind kind;
    bool opened;
    bool ended;
    FCB* fcb;
    int fd;
    uint8_t* buf;             // File: the read buffer; Fcb: the padded record
    size_t bufSize, pos, end;
    const uint8_t* mem;       // Memory
    size_t memSize;
};

// A buffered writer in two halves: a full half is written by a second
// thread while the other fills.
struct Spool {
    int fd;
    uint8_t* buf;             // two halves
    size_t half;
    uint32_t current;         // the half being filled
    size_t fill;
    uint64_t handed;          // bytes handed to the file
};

// The one write under way on the second thread, if any.
struct WriteBehind {
    pthread_t thread;
    bool running;
    bool ok;
    int fd;
    const uint8_t* data;
    size_t bytes;
};

// The output: the GIVING files, the file at out.path, or out.memory.
enum class SinkKind : uint8_t { Fcbs, File, Memory };
struct Sink {
    SinkKind kind;
    uint32_t opened;          // Fcbs: files opened so far
    FCB** files;
    uint32_t count;
    Spool file;
    uint8_t* mem;
    size_t memCap, memPos;
    uint64_t records;
};

// A sorted run in a work file: records [K key][form], back to back.
struct Run {
    uint64_t offset, bytes;
};

struct Job {
    Config cfg;
    IPCB* element;
    const char* tempDir;
    uint32_t error;           // the first error number, 0 while all is well
    bool abandoned;           // op 11 ran inside one of this job's file calls
    uint8_t* arena;           // the budget, one block
    size_t arenaSize;
    Spool spool;              // runs into the work files
    WriteBehind writer;
    uint8_t* keyPad;          // a short record padded to keyReach with blanks
    int work[2];              // work files, unlinked at creation
    uint64_t workEnd[2];
    uint32_t workSerial;
    Run* runs;
    uint32_t runCount, runCap;
    Stream* streams;
    uint32_t streamCount;
    uint8_t* mergeKeys;       // MERGE: each stream's current and previous key
    Sink sink;
    uint64_t records;         // figures for the trace
    uint32_t spilledRuns;
    uint32_t passes;
};

// The job whose call runs on this thread, for op 11.
extern thread_local Job* runningJob;

// entry.cpp
bool fail(Job& job, uint32_t error);    // records the first error; false
void releaseJob(Job& job);              // frees and closes all; idempotent

// keys: the normalised key of a record's data, K bytes at out.
void recordKey(Job& job, const uint8_t* data, uint32_t length, uint8_t* out);

// io.cpp: inputs, the output and the work files
bool streamOpen(Job& job, Stream& s);
int streamNext(Job& job, Stream& s, Rec& rec);   // 1 a record, 0 the end, -1 failure
bool streamClose(Job& job, Stream& s);
bool sinkOpen(Job& job, Sink& s);
bool sinkPut(Job& job, Sink& s, const uint8_t* data, uint32_t length);
bool sinkClose(Job& job, Sink& s);
int workFile(Job& job);                           // a new unlinked file, or -1
bool writeAll(int fd, const uint8_t* p, size_t n);
bool spoolOpen(Job& job, Spool& s, size_t half);
uint8_t* spoolRoom(Job& job, Spool& s, size_t n);   // null: a write failed
bool spoolFlush(Job& job, Spool& s);
bool writeWait(Job& job);                           // the write under way is done; false if it failed
bool readAt(int fd, uint8_t* p, size_t n, uint64_t at, size_t* got);

// runs.cpp: SORT
bool sortInput(Job& job);
// merge.cpp: merging runs, and MERGE of ordered inputs
bool mergeRuns(Job& job);
bool mergeStreams(Job& job);

}  // namespace vort

// The entry, as the library declares its type (zvkSortEngine).
extern "C" __attribute__((visibility("default"))) int32_t sortmerge(int32_t op, uint64_t formatWord,
                                                                    uint32_t recordLength, uintptr_t fourth,
                                                                    char* fifth, SortEighth eighth, SortIoRecord in,
                                                                    SortIoRecord out, SortControlRecord ctl);
