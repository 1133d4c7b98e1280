// Indexed files: OPEN (the environment, the layout compared or written)
// and CLOSE.

#include "indexed.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace stl {

namespace {

constexpr char kMagic[8] = {'K', 'V', 'R', '2', 'I', 'D', 'X', '1'};

// The layout entry: magic, record lengths and format, then each key.
size_t makeLayout(const FIB* fib, uint8_t* out) {
    size_t n = 0;
    auto put = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i) out[n++] = static_cast<uint8_t>(v >> (8 * i));
    };
    memcpy(out, kMagic, 8);
    n = 8;
    put(fib->maxLength);
    put(fib->recordFormat == ZVK_RECORD_VARIABLE ? fib->minLength : fib->maxLength);
    put(fib->keyCount);
    for (uint32_t k = 0; k < fib->keyCount; ++k) {
        const ZvkFileKey* key = fileKey(fib, k);
        put(key->position);
        put(key->length);
        out[n++] = key->duplicates ? 1 : 0;
    }
    return n;
}

void alternateName(char* name, uint32_t n) { snprintf(name, 8, "a%u", n); }

// OUTPUT: every sub-database this module makes, emptied and made again.
int createLayout(Environment* e, const FIB* fib, const uint8_t* layout, size_t layoutLength) {
    for (;;) {
        MDB_txn* txn;
        int rc = beginWrite(e, &txn);
        if (rc) return rc;
        e->haveHandles = false;
        char name[8];
        for (uint32_t n = 0; n <= kMaxKeys + 1 && rc == 0; ++n) {
            MDB_dbi dbi;
            const char* which = n == 0 ? "meta" : n == 1 ? "p" : (alternateName(name, n - 1), name);
            rc = mdb_dbi_open(txn, which, 0, &dbi);
            if (rc == MDB_NOTFOUND) rc = 0;
            else if (rc == 0) rc = mdb_drop(txn, dbi, 1);
        }
        if (rc == 0) rc = mdb_dbi_open(txn, "meta", MDB_CREATE, &e->meta);
        if (rc == 0) rc = mdb_dbi_open(txn, "p", MDB_CREATE, &e->primary);
        for (uint32_t n = 1; n <= alternateCount(fib) && rc == 0; ++n) {
            alternateName(name, n);
            rc = mdb_dbi_open(txn, name, MDB_CREATE, &e->alternate[n - 1]);
        }
        MDB_val k{6, const_cast<char*>("layout")}, v{layoutLength, const_cast<uint8_t*>(layout)};
        if (rc == 0) rc = mdb_put(txn, e->meta, &k, &v, 0);
        if (rc == 0) rc = mdb_txn_commit(txn);
        else mdb_txn_abort(txn);
        if (rc == MDB_MAP_FULL && growMap(e)) continue;
        if (rc == 0) e->haveHandles = true, e->alternates = alternateCount(fib);
        return rc;
    }
}

// Another mode: the layout must be this program's.  MDB_INCOMPATIBLE for
// a layout of other keys or lengths, MDB_INVALID for no layout at all.
int checkLayout(Environment* e, const FIB* fib, const uint8_t* layout, size_t layoutLength) {
    MDB_txn* txn;
    int rc = mdb_txn_begin(e->env, nullptr, MDB_RDONLY, &txn);
    if (rc == MDB_MAP_RESIZED) {
        mdb_env_set_mapsize(e->env, 0);
        rc = mdb_txn_begin(e->env, nullptr, MDB_RDONLY, &txn);
    }
    if (rc) return rc;
    const bool reuse = e->haveHandles && e->alternates == alternateCount(fib);
    MDB_dbi meta = e->meta;
    if (!reuse) rc = mdb_dbi_open(txn, "meta", 0, &meta);
    MDB_val k{6, const_cast<char*>("layout")}, v;
    if (rc == 0) rc = mdb_get(txn, meta, &k, &v);
    if (rc == MDB_NOTFOUND) rc = MDB_INVALID;
    if (rc == 0 && (v.mv_size != layoutLength || memcmp(v.mv_data, layout, layoutLength) != 0))
        rc = v.mv_size >= 8 && memcmp(v.mv_data, kMagic, 8) == 0 ? MDB_INCOMPATIBLE : MDB_INVALID;
    if (rc == 0 && !reuse) {
        e->meta = meta;
        rc = mdb_dbi_open(txn, "p", 0, &e->primary);
        char name[8];
        for (uint32_t n = 1; n <= alternateCount(fib) && rc == 0; ++n) {
            alternateName(name, n);
            rc = mdb_dbi_open(txn, name, 0, &e->alternate[n - 1]);
        }
        if (rc == MDB_NOTFOUND) rc = MDB_INVALID;
    }
    if (rc == 0) {
        rc = mdb_txn_commit(txn);
        if (rc == 0 && !reuse) e->haveHandles = true, e->alternates = alternateCount(fib);
    } else {
        mdb_txn_abort(txn);
    }
    return rc;
}

uint32_t layoutFs2(int rc) {
    if (rc == MDB_INVALID || rc == MDB_VERSION_MISMATCH || rc == MDB_CORRUPTED || rc == MDB_PAGE_NOTFOUND ||
        rc == MDB_INCOMPATIBLE || rc == MDB_BAD_DBI)
        return rc == MDB_INCOMPATIBLE ? kFs2Layout : kFs2Foreign;
    if (rc > 0) return openErrorFs2(rc);
    return kFs2Engine;
}

// EXTEND with sequential access: the next key must follow the file's last.
int lastPrimeKey(FCB* fcb, Environment* e) {
    OpenFile* file = openFile(fcb);
    MDB_txn* txn = readTxn(fcb);
    if (!txn) return MDB_PANIC;
    MDB_cursor* cursor;
    int rc = mdb_cursor_open(txn, e->primary, &cursor);
    MDB_val k, v;
    if (rc == 0) {
        rc = mdb_cursor_get(cursor, &k, &v, MDB_LAST);
        if (rc == 0 && k.mv_size <= file->keyCapacity) {
            memcpy(keyBuffer(fcb, kLastWritten), k.mv_data, k.mv_size);
            file->lastWriteLength = static_cast<uint32_t>(k.mv_size);
        }
        if (rc == MDB_NOTFOUND) rc = 0;
        mdb_cursor_close(cursor);
    }
    doneRead(fcb);
    return rc;
}

}  // namespace

MDB_txn* readTxn(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    auto* txn = static_cast<MDB_txn*>(file->readTxn);
    int rc = mdb_txn_renew(txn);
    if (rc == MDB_MAP_RESIZED) {
        mdb_env_set_mapsize(file->env->env, 0);
        rc = mdb_txn_renew(txn);
    }
    return rc == 0 ? txn : nullptr;
}

void doneRead(FCB* fcb) { mdb_txn_reset(static_cast<MDB_txn*>(openFile(fcb)->readTxn)); }

int32_t engineError(FCB* fcb, IPCB* element, const FIB* fib, uint8_t verb, int rc) {
    const bool damaged = rc == MDB_CORRUPTED || rc == MDB_PAGE_NOTFOUND;
    return finish(fcb, element, fib, verb, 30, damaged ? kFs2Damaged : kFs2Engine);
}

int32_t openIndexed(FCB* fcb, IPCB*, const FIB* fib) {
    OpenFile* file = openFile(fcb);
    const char* name = fcb->fileName ? fcb->fileName : "";
    if (fib->keyCount == 0 || fib->keyCount > kMaxKeys || !fib->keyTableOffset) return answer(fcb, 39, kFs2Layout);
    uint32_t longest = 0;
    for (uint32_t k = 0; k < fib->keyCount; ++k) {
        const ZvkFileKey* key = fileKey(fib, k);
        if (key->length == 0 || uint64_t{key->position} + key->length > fib->maxLength)
            return answer(fcb, 39, kFs2Layout);
        const uint32_t need = key->length + (k && key->duplicates ? 8u : 0u);
        if (need > longest) longest = need;
    }
    const bool optional = fib->flags & ZVK_FIB_OPTIONAL;
    struct stat st;
    const bool exists = stat(name, &st) == 0 && (S_ISDIR(st.st_mode) || st.st_size > 0);
    bool create = file->mode == ZVK_OPEN_OUTPUT;
    uint16_t status = 0;
    if (!exists && !create) {
        if (!optional) return answer(fcb, 35, kFs2NoFile);
        if (file->mode == ZVK_OPEN_INPUT) {
            fcb->state |= ZVK_STATE_OPTIONAL_ABSENT;
            return answer(fcb, 5, kFs2None);
        }
        create = true;
        status = 5;
    }
    if (exists && S_ISDIR(st.st_mode)) return answer(fcb, 37, kFs2Denied);
    // A file that is no store must not be left with a lock file beside it.
    char lockName[4096];
    const bool lockNamed = snprintf(lockName, sizeof lockName, "%s-lock", name) < static_cast<int>(sizeof lockName);
    // OUTPUT over a file no one has open starts from an empty file: emptied
    // through the store, it would keep its size and every page on the free
    // list, and later WRITEs would pay for that list.
    if (exists && create && lockNamed) truncateIfAlone(name, lockName);
    if (create) {
        const int fd = open(name, O_CREAT | O_RDWR | O_CLOEXEC, 0666);
        if (fd < 0) {
            const uint32_t fs2 = openErrorFs2(errno);
            return answer(fcb, fs2 == kFs2NoFile ? 30 : openErrorStatus(fs2), fs2);
        }
        close(fd);
    }
    const bool hadLock = !lockNamed || access(lockName, F_OK) == 0;
    int error = 0;
    Environment* e = acquireEnvironment(name, false, &error);
    if (!e && error == EACCES && file->mode == ZVK_OPEN_INPUT) e = acquireEnvironment(name, true, &error);
    if (!e && (error == MDB_INVALID || error == MDB_VERSION_MISMATCH) && file->mode == ZVK_OPEN_OUTPUT) {
        // OUTPUT replaces a file of other bytes.
        if (truncate(name, 0) == 0) e = acquireEnvironment(name, false, &error);
    }
    if (!e) {
        if (!hadLock && (error == MDB_INVALID || error == MDB_VERSION_MISMATCH)) unlink(lockName);
        const uint32_t fs2 = layoutFs2(error);
        return answer(fcb, openErrorStatus(fs2), fs2);
    }
    const uint32_t maxKey = static_cast<uint32_t>(mdb_env_get_maxkeysize(e->env));
    if (longest > maxKey) {
        releaseEnvironment(e);
        return answer(fcb, 39, kFs2KeyTooLong);
    }
    uint8_t layout[32 + 9 * kMaxKeys];
    const size_t layoutLength = makeLayout(fib, layout);
    lockEnvironments();
    const int rc = create ? createLayout(e, fib, layout, layoutLength) : checkLayout(e, fib, layout, layoutLength);
    unlockEnvironments();
    MDB_txn* txn = nullptr;
    file->keyCapacity = (longest + 8 + 7) & ~7u;
    fcb->moduleBuffer2 = malloc(size_t{file->keyCapacity} * kKeyBuffers + kReadAhead);
    if (rc || !fcb->moduleBuffer2 || mdb_txn_begin(e->env, nullptr, MDB_RDONLY, &txn) != 0) {
        releaseEnvironment(e);
        const uint32_t fs2 = rc ? layoutFs2(rc) : kFs2NoMemory;
        return answer(fcb, openErrorStatus(fs2), fs2);
    }
    mdb_txn_reset(txn);
    file->cursors = calloc(fib->keyCount, sizeof(MDB_cursor*));
    file->keyCount = fib->keyCount;
    file->env = e;
    file->readTxn = txn;
    if (!file->cursors) {
        closeIndexed(fcb);
        return answer(fcb, 30, kFs2NoMemory);
    }
    if (file->mode == ZVK_OPEN_EXTEND && (fib->access & ZVK_ACCESS_SEQUENTIAL) && lastPrimeKey(fcb, e) != 0) {
        closeIndexed(fcb);
        return answer(fcb, 30, kFs2Engine);
    }
    switch (file->mode) {
        case ZVK_OPEN_INPUT:
            fcb->read = readIndexed;
            if (!(fib->access & ZVK_ACCESS_RANDOM)) fcb->start = startIndexed;
            break;
        case ZVK_OPEN_IO:
            fcb->read = readIndexed;
            if (!(fib->access & ZVK_ACCESS_RANDOM)) fcb->start = startIndexed;
            if (!(fib->access & ZVK_ACCESS_SEQUENTIAL)) fcb->write = writeIndexed;
            fcb->rewrite = rewriteIndexed;
            fcb->deleteRecord = deleteIndexed;
            break;
        default:
            fcb->write = writeIndexed;
            break;
    }
    return answer(fcb, status, kFs2None);
}

void closeIndexed(FCB* fcb) {
    OpenFile* file = openFile(fcb);
    if (auto** cursors = static_cast<MDB_cursor**>(file->cursors)) {
        for (uint32_t n = 0; n < file->keyCount; ++n)
            if (cursors[n]) mdb_cursor_close(cursors[n]);
        free(cursors);
        file->cursors = nullptr;
    }
    if (file->readTxn) mdb_txn_abort(static_cast<MDB_txn*>(file->readTxn));
    file->readTxn = nullptr;
    // CLOSE puts what was committed on the disk.
    if (file->env && !file->env->readOnly) mdb_env_sync(file->env->env, 1);
    if (file->env) releaseEnvironment(file->env);
    file->env = nullptr;
}

}  // namespace stl
