// Indexed READ and START.  The position is an entry of the key of
// reference's sub-database (FCB key buffer kPosition): the record READ
// returned last, or, after START, the one the next READ returns.

#include "indexed.h"

namespace stl {

MDB_cursor* cursorFor(FCB* fcb, MDB_txn* txn, uint32_t n) {
    OpenFile* file = openFile(fcb);
    auto** cursors = static_cast<MDB_cursor**>(file->cursors);
    MDB_dbi dbi = keyDbi(file->env, n);
    if (cursors[n] && mdb_cursor_renew(txn, cursors[n]) == 0) return cursors[n];
    if (cursors[n]) mdb_cursor_close(cursors[n]), cursors[n] = nullptr;
    if (mdb_cursor_open(txn, dbi, &cursors[n]) != 0) cursors[n] = nullptr;
    return cursors[n];
}

namespace {

// The length of a key of reference's entries.
uint32_t entryLength(const FIB* fib, uint32_t n) {
    const ZvkFileKey* key = fileKey(fib, n);
    return key->length + (n && key->duplicates ? 8 : 0);
}

bool samePrefix(const MDB_val& k, const uint8_t* prefix, uint32_t length) {
    return k.mv_size >= length && memcmp(k.mv_data, prefix, length) == 0;
}

// The first entry whose first length bytes exceed prefix's, or NOTFOUND.
int seekAfter(FCB* fcb, const FIB* fib, MDB_cursor* c, uint32_t n, const uint8_t* prefix, uint32_t length,
              MDB_val& k, MDB_val& v) {
    const uint32_t full = entryLength(fib, n);
    uint8_t* search = keyBuffer(fcb, kSearch);
    memmove(search, prefix, length);
    memset(search + length, 0xFF, full - length);
    k = {full, search};
    int rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE);
    if (rc == 0 && samePrefix(k, prefix, length)) rc = mdb_cursor_get(c, &k, &v, MDB_NEXT);
    return rc;
}

int32_t failed(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, uint16_t status, uint32_t fs2) {
    doneRead(fcb);
    fcb->state &= ~(ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED);
    return finish(fcb, element, fib, verb, status, fs2);
}

// Read-ahead for READ NEXT by the prime key.  From the second READ NEXT in
// a row on, the records after the one read are copied from the same
// snapshot, 4, 8, ... 256 of them (a READ NEXT after START or a READ by
// key costs nothing more), and served while the store's last committed
// transaction is still the snapshot's: they are then exactly what a new
// snapshot would give.  Any commit, here or in another process, empties
// it.  No snapshot is held between verbs: one held would keep every
// writer from reusing the pages freed after it.
void fillAhead(FCB* fcb, MDB_txn* txn, MDB_cursor* c) {
    OpenFile* file = openFile(fcb);
    uint8_t* area = readAhead(fcb);
    const uint32_t most = file->nextRun >= 7 ? 256 : 2u << file->nextRun;
    uint32_t used = 0;
    MDB_val k, v;
    for (uint32_t count = 0; count < most && mdb_cursor_get(c, &k, &v, MDB_NEXT) == 0; ++count) {
        const size_t size = (8 + k.mv_size + v.mv_size + 7) & ~size_t{7};
        if (k.mv_size > file->keyCapacity || size > kReadAhead - used) break;
        const uint32_t lengths[2] = {static_cast<uint32_t>(k.mv_size), static_cast<uint32_t>(v.mv_size)};
        memcpy(area + used, lengths, 8);
        memcpy(area + used + 8, k.mv_data, k.mv_size);
        memcpy(area + used + 8 + k.mv_size, v.mv_data, v.mv_size);
        used += static_cast<uint32_t>(size);
    }
    file->aheadTxn = mdb_txn_id(txn);
    file->aheadUsed = used;
    file->aheadNext = 0;
}

// The next record from the read-ahead area: the same answers as the
// store's cursor would give, the record lock taken as there.
int32_t readAheadRecord(FCB* fcb, IPCB* element, const FIB* fib, uint32_t how) {
    OpenFile* file = openFile(fcb);
    const uint8_t* entry = readAhead(fcb) + file->aheadNext;
    uint32_t lengths[2];
    memcpy(lengths, entry, 8);
    const uint8_t* key = entry + 8;
    const uint8_t* value = key + lengths[0];
    if (readLocks(fcb, fib, how) && !lockRecord(fcb, fib, key, lengths[0])) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 51, kFs2RecordLocked);
    }
    const uint32_t skip = counterBytes(fib);
    if (lengths[1] < skip || lengths[1] - skip > fcb->maxLength) {
        file->aheadUsed = file->aheadNext = 0;
        fcb->state &= ~(ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED);
        return finish(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Damaged);
    }
    file->aheadNext += (8 + lengths[0] + lengths[1] + 7) & ~7u;
    if (file->nextRun < 64) ++file->nextRun;
    memcpy(keyBuffer(fcb, kPosition), key, lengths[0]);
    memcpy(keyBuffer(fcb, kCurrentPrime), key, lengths[0]);
    file->positionLength = lengths[0];
    const uint32_t length = lengths[1] - skip;
    memcpy(fcb->record, value + skip, length);
    fcb->recordArea->length = length;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, 0, kFs2None);
}

}  // namespace

namespace {

// relocked: the record lock is held, taken after an earlier snapshot.
int32_t readRecord(FCB* fcb, IPCB* element, uint32_t how, bool relocked) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_READ;
    const uint32_t direction = how & 0xFF;
    if (direction != ZVK_READ_KEY && !(fcb->state & ZVK_STATE_POSITIONED)) {
        fcb->state &= ~ZVK_STATE_READ_GOOD;
        return finish(fcb, element, fib, ZVK_VERB_READ, 46, kFs2AfterEnd);
    }
    const bool byPrimeNext = direction != ZVK_READ_KEY && direction != ZVK_READ_PREVIOUS && file->keyOfReference == 0;
    // A READ that locks takes its record from a snapshot made after the
    // lock, never from the read-ahead area.
    if (byPrimeNext && file->aheadNext < file->aheadUsed && !file->pending && !fcb->concat &&
        !readLocks(fcb, fib, how)) {
        MDB_envinfo info;
        if (mdb_env_info(file->env->env, &info) == 0 && info.me_last_txnid == file->aheadTxn)
            return readAheadRecord(fcb, element, fib, how);
        // Records change between these READs: read ahead no more for now.
        file->nextRun = 0;
    }
    file->aheadUsed = file->aheadNext = 0;
    if (!byPrimeNext) file->nextRun = 0;
    MDB_txn* txn = readTxn(fcb);
    if (!txn) return engineError(fcb, element, fib, ZVK_VERB_READ, MDB_PANIC);
    uint32_t n = file->keyOfReference;
    if (direction == ZVK_READ_KEY) {
        n = ZVK_HOW_KEY_OF(how);
        if (n >= fib->keyCount) n = 0;
    }
    MDB_cursor* c = cursorFor(fcb, txn, n);
    if (!c) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Engine);
    const ZvkFileKey* key = fileKey(fib, n);
    uint8_t* position = keyBuffer(fcb, kPosition);
    MDB_val k, v;
    int rc;
    if (direction == ZVK_READ_KEY) {
        file->keyOfReference = n;
        k = {key->length, fcb->record + key->position};
        rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE);
        if (rc == 0 && !samePrefix(k, fcb->record + key->position, key->length)) rc = MDB_NOTFOUND;
        if (rc == MDB_NOTFOUND) return failed(fcb, element, fib, ZVK_VERB_READ, 23, kFs2NotFound);
    } else {
        const bool next = direction != ZVK_READ_PREVIOUS;
        if (file->positionLength == 0) {
            // Just opened: at the first record, before which there is none.
            rc = next ? mdb_cursor_get(c, &k, &v, MDB_FIRST) : MDB_NOTFOUND;
        } else {
            k = {file->positionLength, position};
            rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE);
            const bool same = rc == 0 && k.mv_size == file->positionLength &&
                              memcmp(k.mv_data, position, file->positionLength) == 0;
            if (file->pending && same) {
                // START's record, still there.
            } else if (next) {
                if (same) rc = mdb_cursor_get(c, &k, &v, MDB_NEXT);
            } else {
                rc = rc == MDB_NOTFOUND ? mdb_cursor_get(c, &k, &v, MDB_LAST) : mdb_cursor_get(c, &k, &v, MDB_PREV);
            }
        }
        if (rc == MDB_NOTFOUND && next && fcb->concat) {
            doneRead(fcb);
            if (nextVolume(fcb, element)) {
                if (fcb->status > 9) return finish(fcb, element, fib, ZVK_VERB_READ, fcb->status, fcb->fs2);
                return fcb->read(fcb, element, how, 0);
            }
            readTxn(fcb);
        }
        if (rc == MDB_NOTFOUND) {
            file->atEnd = true;
            return failed(fcb, element, fib, ZVK_VERB_READ, 10, kFs2AtEnd);
        }
    }
    if (rc) {
        doneRead(fcb);
        return engineError(fcb, element, fib, ZVK_VERB_READ, rc);
    }
    if (k.mv_size > file->keyCapacity) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Damaged);
    if (readLocks(fcb, fib, how)) {
        const MDB_val& locked = n ? v : k;
        if (!lockRecord(fcb, fib, locked.mv_data, locked.mv_size)) {
            // Another holds it: nothing read, the position as it was.
            doneRead(fcb);
            fcb->state &= ~ZVK_STATE_READ_GOOD;
            return finish(fcb, element, fib, ZVK_VERB_READ, 51, kFs2RecordLocked);
        }
        // The snapshot may predate a change another program made and
        // unlocked just before this lock was granted: read again, under the
        // lock, unless nothing was committed since the snapshot.
        MDB_envinfo info;
        if (!relocked && (mdb_env_info(file->env->env, &info) != 0 || info.me_last_txnid != mdb_txn_id(txn))) {
            doneRead(fcb);
            return readRecord(fcb, element, how, true);
        }
    }
    memcpy(position, k.mv_data, k.mv_size);
    file->positionLength = static_cast<uint32_t>(k.mv_size);
    file->pending = false;
    MDB_val prime = n ? v : k;
    uint16_t status = 0;
    if (n) {
        if (key->duplicates && direction != ZVK_READ_PREVIOUS) {
            // 02: the next record by this key has the same key.
            MDB_val k2, v2;
            if (mdb_cursor_get(c, &k2, &v2, MDB_NEXT) == 0 && samePrefix(k2, position, key->length)) status = 2;
        }
        rc = mdb_get(txn, file->env->primary, &prime, &v);
        if (rc) return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Damaged);
    }
    const uint32_t skip = counterBytes(fib);
    if (v.mv_size < skip || v.mv_size - skip > fcb->maxLength || prime.mv_size > file->keyCapacity)
        return failed(fcb, element, fib, ZVK_VERB_READ, 30, kFs2Damaged);
    const uint32_t length = static_cast<uint32_t>(v.mv_size - skip);
    memcpy(fcb->record, static_cast<const uint8_t*>(v.mv_data) + skip, length);
    memcpy(keyBuffer(fcb, kCurrentPrime), prime.mv_data, prime.mv_size);
    if (byPrimeNext) {
        if (file->nextRun && !fcb->concat) fillAhead(fcb, txn, c);
        if (file->nextRun < 64) ++file->nextRun;
    }
    doneRead(fcb);
    fcb->recordArea->length = length;
    fcb->state |= ZVK_STATE_READ_GOOD | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_READ, status, kFs2None);
}

}  // namespace

int32_t readIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t) {
    return readRecord(fcb, element, how, false);
}

int32_t startIndexed(FCB* fcb, IPCB* element, uint32_t how, uint32_t length) {
    const FIB* fib = zvkFileFib(fcb, element);
    OpenFile* file = openFile(fcb);
    fcb->verb = ZVK_VERB_START;
    uint32_t n = ZVK_HOW_KEY_OF(how);
    if (n >= fib->keyCount) n = 0;
    const ZvkFileKey* key = fileKey(fib, n);
    if (length == 0 || length > key->length) length = key->length;
    MDB_txn* txn = readTxn(fcb);
    if (!txn) return engineError(fcb, element, fib, ZVK_VERB_START, MDB_PANIC);
    MDB_cursor* c = cursorFor(fcb, txn, n);
    if (!c) return failed(fcb, element, fib, ZVK_VERB_START, 30, kFs2Engine);
    // The search key in its own buffer: the record area may hold anything.
    uint8_t prefix[512];
    const uint8_t* wanted = fcb->record + key->position;
    if (length <= sizeof prefix) memcpy(prefix, wanted, length), wanted = prefix;
    MDB_val k{length, const_cast<uint8_t*>(wanted)}, v;
    int rc;
    switch (how & 0xFF) {
        case ZVK_START_EQUAL:
            rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE);
            if (rc == 0 && !samePrefix(k, wanted, length)) rc = MDB_NOTFOUND;
            break;
        case ZVK_START_GREATER: rc = seekAfter(fcb, fib, c, n, wanted, length, k, v); break;
        case ZVK_START_LESS:
            rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE);
            rc = rc == MDB_NOTFOUND ? mdb_cursor_get(c, &k, &v, MDB_LAST) : rc ? rc : mdb_cursor_get(c, &k, &v, MDB_PREV);
            break;
        case ZVK_START_NOT_GREATER:
            rc = seekAfter(fcb, fib, c, n, wanted, length, k, v);
            rc = rc == MDB_NOTFOUND ? mdb_cursor_get(c, &k, &v, MDB_LAST) : rc ? rc : mdb_cursor_get(c, &k, &v, MDB_PREV);
            break;
        default: rc = mdb_cursor_get(c, &k, &v, MDB_SET_RANGE); break;
    }
    if (rc == MDB_NOTFOUND) return failed(fcb, element, fib, ZVK_VERB_START, 23, kFs2NotFound);
    if (rc) {
        doneRead(fcb);
        return engineError(fcb, element, fib, ZVK_VERB_START, rc);
    }
    if (k.mv_size > file->keyCapacity) return failed(fcb, element, fib, ZVK_VERB_START, 30, kFs2Damaged);
    memcpy(keyBuffer(fcb, kPosition), k.mv_data, k.mv_size);
    doneRead(fcb);
    file->aheadUsed = file->aheadNext = file->nextRun = 0;
    file->positionLength = static_cast<uint32_t>(k.mv_size);
    file->pending = true;
    file->keyOfReference = n;
    file->atEnd = false;
    fcb->state = (fcb->state & ~ZVK_STATE_READ_GOOD) | ZVK_STATE_POSITIONED;
    return finish(fcb, element, fib, ZVK_VERB_START, 0, kFs2None);
}

}  // namespace stl
