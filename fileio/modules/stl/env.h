// The LMDB environments of indexed files: one per data file and process,
// shared by every FCB open on it (a second environment on one file in one
// process would break LMDB's locks), found by device and inode.
#pragma once

#include <lmdb.h>

#include "stl.h"

namespace stl {

struct Environment {
    Environment* next;
    dev_t device;
    ino_t inode;
    MDB_env* env;
    uint32_t references;
    bool readOnly;
    bool haveHandles;        // meta, primary and alternates below are open
    uint32_t alternates;     // alternate keys the handles below are for
    MDB_dbi meta;
    MDB_dbi primary;
    MDB_dbi alternate[kMaxKeys];
};

// The environment of path, opened or shared; null with *error (an errno,
// or an MDB_* code) when it cannot be.  The file must exist.
Environment* acquireEnvironment(const char* path, bool readOnly, int* error);
// OPEN OUTPUT over an existing file: true when it was emptied by
// truncation, which only a file no environment has open allows (here: no
// entry in the table; elsewhere: LMDB's shared lock on byte 0 of the lock
// file, held by every process with the file open).  False: the caller
// empties it through the store instead.
bool truncateIfAlone(const char* path, const char* lockPath);
// One user less; the last one closes the environment.
void releaseEnvironment(Environment* env);
// A write transaction, following a map another process has grown.
int beginWrite(Environment* env, MDB_txn** txn);
// After MDB_MAP_FULL (the transaction aborted): a map four times as large.
bool growMap(Environment* env);
// The process-wide lock over the table and the handles of each entry.
void lockEnvironments();
void unlockEnvironments();

}  // namespace stl
