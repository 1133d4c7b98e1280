// What the indexed file's open/close and its verbs share.
#pragma once

#include <cstring>

#include "env.h"

namespace stl {

inline const ZvkFileKey* fileKey(const FIB* fib, uint32_t n) {
    return reinterpret_cast<const ZvkFileKey*>(reinterpret_cast<const uint8_t*>(fib) + fib->keyTableOffset) + n;
}
inline uint32_t alternateCount(const FIB* fib) { return fib->keyCount - 1; }
// The bytes before the record in a primary entry: a counter per alternate.
inline uint32_t counterBytes(const FIB* fib) { return 8 * alternateCount(fib); }

// The key buffers at FCB.moduleBuffer2, keyCapacity bytes each.
enum KeyBuffer { kPosition = 0, kSearch = 1, kLastWritten = 2, kCurrentPrime = 3, kKeyBuffers = 4 };
inline uint8_t* keyBuffer(FCB* fcb, KeyBuffer which) {
    return static_cast<uint8_t*>(fcb->moduleBuffer2) + size_t{openFile(fcb)->keyCapacity} * which;
}
// The read-ahead area, after the key buffers: entries of a 4-byte key
// length, a 4-byte value length, the key and the value, 8-byte aligned.
constexpr uint32_t kReadAhead = 32 << 10;
inline uint8_t* readAhead(FCB* fcb) { return keyBuffer(fcb, kKeyBuffers); }

inline void putCounter(uint8_t* at, uint64_t v) {
    for (int i = 7; i >= 0; --i, v >>= 8) at[i] = static_cast<uint8_t>(v);
}
inline uint64_t getCounter(const uint8_t* at) {
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i) v = v << 8 | at[i];
    return v;
}

inline MDB_dbi keyDbi(const Environment* env, uint32_t n) { return n == 0 ? env->primary : env->alternate[n - 1]; }

// A read transaction for one verb: the FCB's own, renewed; reset by done.
MDB_txn* readTxn(FCB* fcb);
void doneRead(FCB* fcb);
// The FCB's cursor on key n's sub-database, renewed in txn (read-only).
MDB_cursor* cursorFor(FCB* fcb, MDB_txn* txn, uint32_t n);
// An MDB_* error of a verb as FS1 30 and FS2.
int32_t engineError(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, int rc);

int32_t readIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
int32_t startIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
int32_t writeIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
int32_t rewriteIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);
int32_t deleteIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length);

}  // namespace stl
