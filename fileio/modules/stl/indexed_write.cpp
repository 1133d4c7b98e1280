// Indexed WRITE, REWRITE and DELETE: each one committed transaction over
// the record and its alternate entries, retried in a larger map when the
// map is full.

#include "indexed.h"

namespace stl {

namespace {

// A verb's work inside its transaction: 0, or an MDB_* code; a COBOL
// status (21-24) goes to *status with rc MDB_KEYEXIST/NOTFOUND.
struct Change {
    FCB* fcb;
    const FIB* fib;
    const uint8_t* prime;    // the prime key of the record changed
    uint32_t length;         // WRITE and REWRITE: the record's length
    uint16_t status;         // 02, or the invalid-key status
};

constexpr int kInvalid = -1;   // the change fails with Change.status

int nextCounter(MDB_txn* txn, Environment* e, uint64_t* counter) {
    MDB_val k{7, const_cast<char*>("counter")}, v;
    int rc = mdb_get(txn, e->meta, &k, &v);
    uint64_t c = 0;
    if (rc == 0 && v.mv_size == 8) c = getCounter(static_cast<const uint8_t*>(v.mv_data));
    else if (rc && rc != MDB_NOTFOUND) return rc;
    uint8_t bytes[8];
    putCounter(bytes, ++c);
    v = {8, bytes};
    *counter = c;
    return mdb_put(txn, e->meta, &k, &v, 0);
}

// An alternate entry's key: the key, and the counter for duplicates.
MDB_val alternateEntry(uint8_t* buffer, const ZvkFileKey* key, const uint8_t* keyBytes, uint64_t counter) {
    memmove(buffer, keyBytes, key->length);
    if (!key->duplicates) return {key->length, buffer};
    putCounter(buffer + key->length, counter);
    return {key->length + size_t{8}, buffer};
}

// Puts the alternate entry of key n for the record; 22 for a unique key
// taken, 02 noted when the value is already another record's.
int addAlternate(Change& ch, MDB_txn* txn, uint32_t n, const uint8_t* keyBytes, uint64_t counter) {
    OpenFile* file = openFile(ch.fcb);
    const ZvkFileKey* key = fileKey(ch.fib, n);
    const MDB_dbi dbi = file->env->alternate[n - 1];
    MDB_val primeVal{fileKey(ch.fib, 0)->length, const_cast<uint8_t*>(ch.prime)};
    MDB_val k = alternateEntry(keyBuffer(ch.fcb, kSearch), key, keyBytes, counter);
    if (key->duplicates) {
        // Whether another record has the value, through the FCB's own read
        // cursor: the snapshot is this transaction's start, as the writer
        // lock is held, and an entry this transaction removed had another
        // value.  No cursor is allocated.
        MDB_txn* snapshot = readTxn(ch.fcb);
        MDB_cursor* c = snapshot ? cursorFor(ch.fcb, snapshot, n) : nullptr;
        if (!c) {
            if (snapshot) doneRead(ch.fcb);
            return MDB_PANIC;
        }
        MDB_val probe{key->length, k.mv_data}, v;
        const int rc = mdb_cursor_get(c, &probe, &v, MDB_SET_RANGE);
        if (rc == 0 && probe.mv_size >= key->length && memcmp(probe.mv_data, k.mv_data, key->length) == 0)
            ch.status = 2;
        doneRead(ch.fcb);
        if (rc && rc != MDB_NOTFOUND) return rc;
        return mdb_put(txn, dbi, &k, &primeVal, 0);
    }
    const int rc = mdb_put(txn, dbi, &k, &primeVal, MDB_NOOVERWRITE);
    if (rc == MDB_KEYEXIST) return ch.status = 22, kInvalid;
    return rc;
}

int removeAlternate(Change& ch, MDB_txn* txn, uint32_t n, const uint8_t* keyBytes, uint64_t counter) {
    const ZvkFileKey* key = fileKey(ch.fib, n);
    MDB_val k = alternateEntry(keyBuffer(ch.fcb, kSearch), key, keyBytes, counter);
    const int rc = mdb_del(txn, openFile(ch.fcb)->env->alternate[n - 1], &k, nullptr);
    return rc == MDB_NOTFOUND ? 0 : rc;
}

// The primary entry, last: MDB_RESERVE's space is filled before any other
// change of the transaction.
int putPrimary(Change& ch, MDB_txn* txn, const uint64_t* counters, unsigned flags) {
    const uint32_t skip = counterBytes(ch.fib);
    MDB_val k{fileKey(ch.fib, 0)->length, const_cast<uint8_t*>(ch.prime)}, v{size_t{skip} + ch.length, nullptr};
    const int rc = mdb_put(txn, openFile(ch.fcb)->env->primary, &k, &v, flags | MDB_RESERVE);
    if (rc == MDB_KEYEXIST) return ch.status = 22, kInvalid;
    if (rc) return rc;
    auto* out = static_cast<uint8_t*>(v.mv_data);
    for (uint32_t i = 0; i < alternateCount(ch.fib); ++i) putCounter(out + 8 * i, counters[i]);
    memcpy(out + skip, ch.fcb->record, ch.length);
    return 0;
}

int doWrite(Change& ch, MDB_txn* txn) {
    // No probe for the prime key first: the primary entry's
    // MDB_NOOVERWRITE answers 22, and the transaction, aborted, takes the
    // alternate entries back with it.
    Environment* e = openFile(ch.fcb)->env;
    int rc;
    uint64_t counters[kMaxKeys] = {};
    uint64_t counter = 0;
    if (alternateCount(ch.fib) && (rc = nextCounter(txn, e, &counter))) return rc;
    for (uint32_t n = 1; n < ch.fib->keyCount; ++n) {
        counters[n - 1] = counter;
        rc = addAlternate(ch, txn, n, ch.fcb->record + fileKey(ch.fib, n)->position, counter);
        if (rc) return rc;
    }
    return putPrimary(ch, txn, counters, MDB_NOOVERWRITE);
}

// The old record's value, looked up again after each change: a change
// may move the pages it was on.
int oldRecord(Change& ch, MDB_txn* txn, MDB_val& v) {
    MDB_val k{fileKey(ch.fib, 0)->length, const_cast<uint8_t*>(ch.prime)};
    const int rc = mdb_get(txn, openFile(ch.fcb)->env->primary, &k, &v);
    if (rc == MDB_NOTFOUND) return ch.status = 23, kInvalid;
    if (rc == 0 && v.mv_size < counterBytes(ch.fib)) return MDB_CORRUPTED;
    return rc;
}

int doRewrite(Change& ch, MDB_txn* txn) {
    Environment* e = openFile(ch.fcb)->env;
    MDB_val v;
    int rc = oldRecord(ch, txn, v);
    if (rc) return rc;
    uint64_t counters[kMaxKeys] = {};
    uint64_t counter = 0;
    const uint32_t skip = counterBytes(ch.fib);
    uint8_t oldKey[512];
    for (uint32_t n = 1; n < ch.fib->keyCount; ++n) {
        const ZvkFileKey* key = fileKey(ch.fib, n);
        if ((rc = oldRecord(ch, txn, v))) return rc;
        const auto* old = static_cast<const uint8_t*>(v.mv_data);
        counters[n - 1] = getCounter(old + 8 * (n - 1));
        const uint8_t* newKey = ch.fcb->record + key->position;
        const bool inOld = v.mv_size >= skip + key->position + key->length;
        if (inOld && memcmp(old + skip + key->position, newKey, key->length) == 0) continue;
        if (inOld) {
            memcpy(oldKey, old + skip + key->position, key->length);
            if ((rc = removeAlternate(ch, txn, n, oldKey, counters[n - 1]))) return rc;
        }
        if (!counter && (rc = nextCounter(txn, e, &counter))) return rc;
        counters[n - 1] = counter;
        if ((rc = addAlternate(ch, txn, n, newKey, counter))) return rc;
    }
    return putPrimary(ch, txn, counters, 0);
}

int doDelete(Change& ch, MDB_txn* txn) {
    MDB_val v;
    int rc = oldRecord(ch, txn, v);
    if (rc) return rc;
    const uint32_t skip = counterBytes(ch.fib);
    uint8_t oldKey[512];
    for (uint32_t n = 1; n < ch.fib->keyCount; ++n) {
        const ZvkFileKey* key = fileKey(ch.fib, n);
        if ((rc = oldRecord(ch, txn, v))) return rc;
        const auto* old = static_cast<const uint8_t*>(v.mv_data);
        if (v.mv_size < skip + key->position + key->length) continue;
        memcpy(oldKey, old + skip + key->position, key->length);
        if ((rc = removeAlternate(ch, txn, n, oldKey, getCounter(old + 8 * (n - 1))))) return rc;
    }
    MDB_val k{fileKey(ch.fib, 0)->length, const_cast<uint8_t*>(ch.prime)};
    return mdb_del(txn, openFile(ch.fcb)->env->primary, &k, nullptr);
}

// Runs work in a write transaction until it commits, fails, or the map
// cannot grow.
int32_t transact(Change& ch, IPCB* element, uint8_t verb, int (*work)(Change&, MDB_txn*)) {
    OpenFile* file = openFile(ch.fcb);
    Environment* e = file->env;
    // The FCB's own change: READ NEXT reads ahead again only after READs
    // in a row.
    file->aheadUsed = file->aheadNext = file->nextRun = 0;
    int rc;
    for (int attempt = 0;; ++attempt) {
        MDB_txn* txn;
        ch.status = 0;
        if ((rc = beginWrite(e, &txn))) break;
        rc = work(ch, txn);
        if (rc == 0) rc = mdb_txn_commit(txn);
        else mdb_txn_abort(txn);
        if (rc != MDB_MAP_FULL || attempt > 40) break;
        lockEnvironments();
        const bool grown = growMap(e);
        unlockEnvironments();
        if (!grown) break;
    }
    ch.fcb->state &= ~ZVK_STATE_READ_GOOD;
    if (rc == kInvalid) return finish(ch.fcb, element, ch.fib, verb, ch.status,
                                      ch.status == 22 ? kFs2Duplicate : kFs2NotFound);
    if (rc) return engineError(ch.fcb, element, ch.fib, verb, rc);
    return finish(ch.fcb, element, ch.fib, verb, ch.status, ch.status == 2 ? kFs2DuplicateWritten : kFs2None);
}

// Sequential access: REWRITE and DELETE follow a successful READ.
bool afterRead(const FCB* fcb) { return (fcb->state & ZVK_STATE_READ_GOOD) && fcb->lastVerb == ZVK_VERB_READ; }

}  // namespace

int32_t writeIndexed(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_WRITE;
    bool bad;
    Change ch{fcb, fib, fcb->record + fileKey(fib, 0)->position, recordLength(fcb, fib, length, bad), 0};
    if (bad) return finish(fcb, element, fib, ZVK_VERB_WRITE, 44, kFs2Length);
    const uint32_t primeLength = fileKey(fib, 0)->length;
    const bool inSequence = (fib->access & ZVK_ACCESS_SEQUENTIAL) && file->mode != ZVK_OPEN_IO;
    uint8_t* last = keyBuffer(fcb, kLastWritten);
    if (inSequence && file->lastWriteLength) {
        // EXTEND: the file's last key is a record there (22), as another
        // system answers; otherwise out of sequence (21).
        const int order = memcmp(ch.prime, last, primeLength);
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        if (order == 0 && file->mode == ZVK_OPEN_EXTEND)
            return finish(fcb, element, fib, ZVK_VERB_WRITE, 22, kFs2Duplicate);
        if (order <= 0) return finish(fcb, element, fib, ZVK_VERB_WRITE, 21, kFs2Sequence);
    }
    if (!recordFree(fcb, ch.prime, primeLength)) return finish(fcb, element, fib, ZVK_VERB_WRITE, 51, kFs2RecordLocked);
    const int32_t status = transact(ch, element, ZVK_VERB_WRITE, doWrite);
    if (status < 10 && inSequence) {
        memcpy(last, ch.prime, primeLength);
        file->lastWriteLength = primeLength;
    }
    return status;
}

int32_t rewriteIndexed(FCB* fcb, IPCB* element, uint32_t, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_REWRITE;
    bool bad;
    Change ch{fcb, fib, fcb->record + fileKey(fib, 0)->position, recordLength(fcb, fib, length, bad), 0};
    if (fib->access & ZVK_ACCESS_SEQUENTIAL) {
        if (!afterRead(fcb)) return finish(fcb, element, fib, ZVK_VERB_REWRITE, 43, kFs2NoCurrent);
        if (memcmp(ch.prime, keyBuffer(fcb, kCurrentPrime), fileKey(fib, 0)->length) != 0) {
            fcb->state &= ~ZVK_STATE_READ_GOOD;
            return finish(fcb, element, fib, ZVK_VERB_REWRITE, 21, kFs2PrimeChanged);
        }
    }
    if (bad) return finish(fcb, element, fib, ZVK_VERB_REWRITE, 44, kFs2Length);
    if (!recordFree(fcb, ch.prime, fileKey(fib, 0)->length))
        return finish(fcb, element, fib, ZVK_VERB_REWRITE, 51, kFs2RecordLocked);
    return transact(ch, element, ZVK_VERB_REWRITE, doRewrite);
}

int32_t deleteIndexed(FCB* fcb, IPCB* element, uint32_t, uint32_t) {
    const FIB* fib = zvkFileFib(fcb, element);
    fcb->verb = ZVK_VERB_DELETE;
    Change ch{fcb, fib, fcb->record + fileKey(fib, 0)->position, 0, 0};
    if (fib->access & ZVK_ACCESS_SEQUENTIAL) {
        if (!afterRead(fcb)) return finish(fcb, element, fib, ZVK_VERB_DELETE, 43, kFs2NoCurrent);
        ch.prime = keyBuffer(fcb, kCurrentPrime);
    }
    if (!recordFree(fcb, ch.prime, fileKey(fib, 0)->length))
        return finish(fcb, element, fib, ZVK_VERB_DELETE, 51, kFs2RecordLocked);
    return transact(ch, element, ZVK_VERB_DELETE, doDelete);
}

}  // namespace stl
