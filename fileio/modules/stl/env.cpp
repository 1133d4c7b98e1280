// The process-wide table of LMDB environments, by device and inode.

#include "env.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace stl {

namespace {

pthread_mutex_t tableLock = PTHREAD_MUTEX_INITIALIZER;
Environment* table = nullptr;
// The first map of a new file: small, as WRITEMAP gives the file the map's
// size; four times larger whenever it fills.
constexpr size_t kFirstMap = size_t{1} << 20;

bool synchronous() {
    const char* v = getenv("KVR2_STL_SYNC");
    return v && v[0] == '1';
}

}  // namespace

void lockEnvironments() { pthread_mutex_lock(&tableLock); }
void unlockEnvironments() { pthread_mutex_unlock(&tableLock); }

Environment* acquireEnvironment(const char* path, bool readOnly, int* error) {
    struct stat st;
    if (stat(path, &st) != 0) {
        *error = errno;
        return nullptr;
    }
    lockEnvironments();
    for (Environment* e = table; e; e = e->next) {
        if (e->device == st.st_dev && e->inode == st.st_ino) {
            // A file opened read-only cannot be written through the same
            // environment, nor through a second one.
            if (e->readOnly && !readOnly) {
                unlockEnvironments();
                *error = EACCES;
                return nullptr;
            }
            ++e->references;
            unlockEnvironments();
            return e;
        }
    }
    MDB_env* env = nullptr;
    int rc = mdb_env_create(&env);
    if (rc == 0) rc = mdb_env_set_maxdbs(env, kMaxKeys + 3);
    if (rc == 0) rc = mdb_env_set_mapsize(env, kFirstMap);
    // Every open FCB keeps a reader slot.
    if (rc == 0) rc = mdb_env_set_maxreaders(env, 1022);
    unsigned flags = MDB_NOSUBDIR | MDB_NOTLS;
    if (readOnly) flags |= MDB_RDONLY;
    else if (!synchronous()) flags |= MDB_NOSYNC | MDB_WRITEMAP;
    if (rc == 0) rc = mdb_env_open(env, path, flags, 0666);
    if (rc == 0) {
        int dead = 0;
        mdb_reader_check(env, &dead);
    }
    auto* e = rc == 0 ? static_cast<Environment*>(calloc(1, sizeof(Environment))) : nullptr;
    if (!e) {
        if (env) mdb_env_close(env);
        unlockEnvironments();
        *error = rc ? rc : ENOMEM;
        return nullptr;
    }
    e->device = st.st_dev, e->inode = st.st_ino;
    e->env = env;
    e->references = 1;
    e->readOnly = readOnly;
    e->next = table;
    table = e;
    unlockEnvironments();
    return e;
}

bool truncateIfAlone(const char* path, const char* lockPath) {
    lockEnvironments();
    bool done = false;
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    struct stat st;
    bool alone = fd >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    for (Environment* e = table; alone && e; e = e->next)
        if (e->device == st.st_dev && e->inode == st.st_ino) alone = false;
    if (alone) {
        // LMDB's own lock, taken the way it takes it (a process-associated
        // lock): closing this descriptor drops no lock of this process's,
        // as none of its environments is on the file.  An opener elsewhere
        // waits for it, then finds an empty file.
        const int lockFd = open(lockPath, O_RDWR | O_CLOEXEC);
        if (lockFd >= 0) {
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            lock.l_whence = SEEK_SET;
            lock.l_len = 1;
            done = fcntl(lockFd, F_SETLK, &lock) == 0 && ftruncate(fd, 0) == 0;
            close(lockFd);
        } else {
            // No lock file: no environment has the file open.
            done = errno == ENOENT && ftruncate(fd, 0) == 0;
        }
    }
    if (fd >= 0) close(fd);
    unlockEnvironments();
    return done;
}

void releaseEnvironment(Environment* env) {
    lockEnvironments();
    if (--env->references == 0) {
        for (Environment** p = &table; *p; p = &(*p)->next) {
            if (*p == env) {
                *p = env->next;
                break;
            }
        }
        mdb_env_close(env->env);
        free(env);
    }
    unlockEnvironments();
}

int beginWrite(Environment* env, MDB_txn** txn) {
    int rc = mdb_txn_begin(env->env, nullptr, 0, txn);
    if (rc == MDB_MAP_RESIZED) {
        mdb_env_set_mapsize(env->env, 0);
        rc = mdb_txn_begin(env->env, nullptr, 0, txn);
    }
    return rc;
}

bool growMap(Environment* env) {
    MDB_envinfo info;
    if (mdb_env_info(env->env, &info) != 0) return false;
    // Four times: every new map faults in again the pages the last one had
    // touched, and the file (sparse) is only as large as the map.
    return mdb_env_set_mapsize(env->env, info.me_mapsize * 4) == 0;
}

}  // namespace stl
