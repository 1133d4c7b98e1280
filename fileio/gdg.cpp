// Generation data groups: the catalogue, its lock, resolution of
// generation names, adding with wrap-around, roll-off, and the
// administration entries the kvr2gdg tool calls.
//
// Two rules bound everything read from a catalogue: a catalogue claiming
// more than 1000 entries or a limit over 1000 is no group, and an add that
// would make a 1001st entry fails with EINVAL, so that no index ever leaves
// the 4096 bytes.  Names live in 1024-byte buffers; a longer one fails with
// ENAMETOOLONG.

#include "fileio/gdg.h"

#include <algorithm>
#include <cerrno>
#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <glob.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "frame/devices.h"

namespace {

pthread_key_t contextKey;
pthread_once_t contextOnce = PTHREAD_ONCE_INIT;
bool contextKeyMade;
GdgContext fallbackContext;   // when no key can be made
int debugOn;

void freeContext(void* p) {
    GdgContext* ctx = static_cast<GdgContext*>(p);
    if (ctx->fd >= 0) close(ctx->fd);
    free(ctx);
}

void makeContextKey() { contextKeyMade = pthread_key_create(&contextKey, freeContext) == 0; }

void trace(const char* format, ...) {
    if (!debugOn) return;
    va_list ap;
    va_start(ap, format);
    vfprintf(stderr, format, ap);
    va_end(ap);
}

void report(const char* format, ...) {
    int saved = errno;
    va_list ap;
    va_start(ap, format);
    vfprintf(stderr, format, ap);
    va_end(ap);
    errno = saved;
}

// Bounded formatting into a name buffer; false (ENAMETOOLONG) when the
// result would not fit.
bool formatName(char* out, size_t size, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf(out, size, format, ap);
    va_end(ap);
    if (n < 0 || static_cast<size_t>(n) >= size) {
        out[0] = 0;
        errno = ENAMETOOLONG;
        return false;
    }
    return true;
}

bool appendText(char* cmd, size_t size, const char* s) {
    size_t n = strlen(cmd), m = strlen(s);
    if (n + m >= size) {
        errno = ENAMETOOLONG;
        return false;
    }
    memcpy(cmd + n, s, m + 1);
    return true;
}

// Quoted for the shell: a name with blanks, quotes or ";" stays one word
// and runs nothing.  A quote takes four bytes, so the bound is checked
// before the frame's quoting routine, which would truncate.
bool appendQuoted(char* cmd, size_t size, const char* s) {
    if (strlen(cmd) + 4 * strlen(s) + 3 >= size) {
        errno = ENAMETOOLONG;
        return false;
    }
    zvkAppendQuoted(cmd, size, s);
    return true;
}

constexpr size_t kCommandSize = 4 * kGdgNameSize + 256;

// An administration command's nonzero status means "no such file".
int runCommand(const char* cmd) {
    trace("GDG: system(%s)\n", cmd);
    int rc = system(cmd);
    if (rc != 0) {
        errno = ENOENT;
        return -1;
    }
    return 0;
}

// Directory and base of a path: "" for the root, "." for none.
void splitPath(const char* path, char* dir, const char** base) {
    const char* slash = strrchr(path, '/');
    if (!slash) {
        strcpy(dir, ".");
        *base = path;
        return;
    }
    size_t n = static_cast<size_t>(slash - path);
    memcpy(dir, path, n);
    dir[n] = 0;
    *base = slash + 1;
}

// Codes 0 (undetected), 2 and 6 have no rule of their own for testing and
// deleting a file; they act as plain files.
uint32_t behaviour(uint32_t code) { return (code == 3 || code == 4 || code == 5) ? code : 1; }

// Server and file of an hdk name: the last "/" separates them.
bool hdkCommand(char* cmd, const char* verb, const char* file) {
    char server[kGdgNameSize];
    const char* name;
    splitPath(file, server, &name);
    cmd[0] = 0;
    return appendText(cmd, kCommandSize, "hdkadmin ") && appendText(cmd, kCommandSize, verb) &&
           appendText(cmd, kCommandSize, " file -server ") && appendQuoted(cmd, kCommandSize, server) &&
           appendText(cmd, kCommandSize, " ") && appendQuoted(cmd, kCommandSize, name) &&
           appendText(cmd, kCommandSize, " 1>/dev/null 2>&1");
}

// Schema and table of an rql name: the base split at its first ".", the
// table quoted for rql and the whole quoted once more for the shell.
bool rqlCommand(char* cmd, const char* verb, const char* file) {
    char dir[kGdgNameSize], table[kGdgNameSize + 8];
    const char* base;
    splitPath(file, dir, &base);
    const char* dot = strchr(base, '.');
    if (!dot) {
        errno = ENOENT;
        return false;
    }
    if (!formatName(table, sizeof table, "%.*s.\"%s\"", static_cast<int>(dot - base), base, dot + 1)) return false;
    cmd[0] = 0;
    return appendText(cmd, kCommandSize, "rql ") && appendText(cmd, kCommandSize, verb) &&
           appendText(cmd, kCommandSize, " table ") && appendQuoted(cmd, kCommandSize, table) &&
           appendText(cmd, kCommandSize, " 1>/dev/null 2>&1");
}

// Whether a generation's file exists, by the group's file system: 0 with
// *st filled, or -1 with errno (ENOENT: absent).
int fsStat(const GdgContext* ctx, const char* file, struct stat* st) {
    char cmd[kCommandSize];
    switch (behaviour(ctx->fsCode)) {
    case 3: {
        char dir[kGdgNameSize], rea[kGdgNameSize];
        const char* base;
        struct stat companion;
        splitPath(file, dir, &base);
        if (stat(file, st) != 0) return -1;
        if (!formatName(rea, sizeof rea, "%s/.%s.QVREA", dir, base)) return -1;
        return stat(rea, &companion);
    }
    case 4:
    case 5:
        if (!(ctx->fsCode == 4 ? hdkCommand(cmd, "query", file) : rqlCommand(cmd, "describe", file))) return -1;
        if (runCommand(cmd) != 0) return -1;
        memset(st, 0, sizeof *st);
        st->st_mode = S_IFREG | 0664;
        st->st_mtime = time(nullptr);
        return 0;
    default:
        return stat(file, st);
    }
}

int fsDelete(const GdgContext* ctx, const char* file) {
    char cmd[kCommandSize];
    switch (behaviour(ctx->fsCode)) {
    case 3: {
        char dir[kGdgNameSize], path[kGdgNameSize];
        const char* base;
        splitPath(file, dir, &base);
        // The glob stays outside the quotes so that the shell expands it.
        static const char* const patterns[][2] = {{"/.", ".@"}, {"/", ".@"}};
        for (int i = 0; i < 2; ++i) {
            if (!formatName(path, sizeof path, "%s%s%s%s", dir, patterns[i][0], base, patterns[i][1])) return -1;
            cmd[0] = 0;
            if (!appendText(cmd, sizeof cmd, "rm -f ") || !appendQuoted(cmd, sizeof cmd, path) ||
                !appendText(cmd, sizeof cmd, i == 0 ? "*'.QVREA'" : "*") || !appendText(cmd, sizeof cmd, " 1>/dev/null 2>&1"))
                return -1;
            runCommand(cmd);
        }
        static const char* const companions[] = {"%s/.@%s.QVREA", "%s/@%s", "%s/.%s.QVRMAP", "%s/.%s.QVREA"};
        for (const char* form : companions)
            if (formatName(path, sizeof path, form, dir, base)) unlink(path);
        return unlink(file);
    }
    case 4:
    case 5:
        if (!(ctx->fsCode == 4 ? hdkCommand(cmd, "destroy", file) : rqlCommand(cmd, "drop", file))) return -1;
        return runCommand(cmd);
    default:
        return unlink(file);
    }
}

bool generationFile(const GdgContext* ctx, uint32_t number, char* out) {
    return formatName(out, kGdgNameSize, "%s.g%4.4dv%2.2d", ctx->baseName, static_cast<int>(number), 0);
}

void setLast(GdgCatalogue* cat) {
    uint32_t last = cat->entries ? cat->entry[cat->entries - 1] : 0;
    cat->newest = last & kGdgNumberMask;
    cat->epoch = last & ~(kGdgEpochStep - 1);
}

void removeEntries(GdgCatalogue* cat, uint32_t first, uint32_t count) {
    memmove(cat->entry + first, cat->entry + first + count, (cat->entries - first - count) * sizeof(uint32_t));
    cat->entries -= count;
    memset(cat->entry + cat->entries, 0, count * sizeof(uint32_t));
    setLast(cat);
    cat->flags |= GDG_DIRTY;
}

// Entries whose file is gone leave the list.
void dropMissing(GdgContext* ctx) {
    GdgCatalogue* cat = &ctx->catalogue;
    char file[kGdgNameSize];
    struct stat st;
    for (uint32_t i = 0; i < cat->entries;) {
        if (generationFile(ctx, cat->entry[i] & kGdgNumberMask, file) && fsStat(ctx, file, &st) != 0 && errno == ENOENT) {
            trace("GDG: %s is gone\n", file);
            removeEntries(cat, i, 1);
        } else {
            ++i;
        }
    }
}

// Epochs given afresh from start up, one step at each place where the
// numbers fall; returns the last entry's epoch.
uint32_t renumber(GdgCatalogue* cat, uint32_t start) {
    uint32_t epoch = start;
    for (uint32_t i = 0; i < cat->entries; ++i) {
        uint32_t number = cat->entry[i] & kGdgNumberMask;
        if (i > 0 && number < (cat->entry[i - 1] & kGdgNumberMask)) epoch += kGdgEpochStep;
        cat->entry[i] = number | epoch;
    }
    return epoch;
}

bool catalogueExists(const GdgContext* ctx, const char* who) {
    struct stat st;
    if (stat(ctx->cataloguePath, &st) == 0) return true;
    if (errno != ENOENT) report("Error: %s:stat - %d %s\n", who, errno, strerror(errno));
    return false;
}

int writeAll(int fd, const void* data) {
    size_t done = 0;
    while (done < sizeof(GdgCatalogue)) {
        ssize_t n = pwrite(fd, static_cast<const char*>(data) + done, sizeof(GdgCatalogue) - done, static_cast<off_t>(done));
        if (n < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                report("Info: GDG_write:write - %d %s\n", errno, strerror(errno));
                continue;
            }
            report("Error: GDG_write:write - %d %s\n", errno, strerror(errno));
            return -1;
        }
        done += static_cast<size_t>(n);
    }
    return 0;
}

int lockCatalogue(int fd, short type) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = sizeof(GdgCatalogue);
    // Open-file-description locks: two threads of one process exclude each
    // other as two processes do; a process-wide fcntl lock would not.
    int rc;
    do rc = fcntl(fd, type == F_UNLCK ? F_OFD_SETLK : F_OFD_SETLKW, &lock);
    while (rc != 0 && errno == EINTR);
    return rc;
}

bool makeDirectories(const char* dir) {
    char path[kGdgNameSize];
    if (!formatName(path, sizeof path, "%s", dir)) return false;
    for (char* p = path + 1; *p; ++p) {
        if (*p != '/') continue;
        *p = 0;
        if (mkdir(path, 0777) != 0 && errno != EEXIST) return false;
        *p = '/';
    }
    struct stat st;
    if (mkdir(path, 0777) != 0 && errno != EEXIST) return false;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

// Where a catalogue lives for file systems that keep it apart from the
// files: under gdg_home (or $HOME/gdg/), by file system and server.
bool separateDirectory(uint32_t code, char* dir) {
    const char* home = getenv("gdg_home");
    const char* userHome = getenv("HOME");
    bool ok;
    if (home) ok = formatName(dir, kGdgNameSize, "%s/%s/", home, GDG_fileSystemName(code));
    else if (userHome) ok = formatName(dir, kGdgNameSize, "%s/gdg//%s/", userHome, GDG_fileSystemName(code));
    else return false;
    if (!ok) return false;
    char tail[kGdgNameSize] = "";
    if (code == 4) {
        const char* server = getenv("TXMN_TK_HDK_SERVER");
        if (server) {
            const char* slash = strrchr(server, '/');
            ok = formatName(tail, sizeof tail, "%s", slash ? slash + 1 : server);
        }
    } else if (code == 5) {
        const char* instance = getenv("RQLINSTANCE");
        const char* database = getenv("RQLDBDFT");
        if (!instance) return false;
        ok = database ? formatName(tail, sizeof tail, "%s/%s", instance, database) : formatName(tail, sizeof tail, "%s", instance);
    }
    size_t n = strlen(dir);
    return ok && formatName(dir + n, kGdgNameSize - n, "%s", tail);
}

bool parseNumber(const char* text, long* value) {
    char* end;
    errno = 0;
    *value = strtol(text, &end, 10);
    if (end == text || *end != 0 || errno == ERANGE || *value < -9999 || *value > 9999) {
        errno = EINVAL;
        return false;
    }
    return true;
}

bool isGenerationSuffix(const char* dot) {
    return strlen(dot) == 9 && dot[1] == 'g' && isdigit(static_cast<unsigned char>(dot[2])) &&
           isdigit(static_cast<unsigned char>(dot[3])) && isdigit(static_cast<unsigned char>(dot[4])) &&
           isdigit(static_cast<unsigned char>(dot[5])) && strcmp(dot + 6, "v00") == 0;
}

const char* const fileSystemNames[] = {"???", "sys", "plx", "jgt", "hdk", "rql", "ora"};

}  // namespace

GdgContext* GDG_context(void) {
    pthread_once(&contextOnce, makeContextKey);
    GdgContext* ctx = &fallbackContext;
    if (contextKeyMade) {
        ctx = static_cast<GdgContext*>(pthread_getspecific(contextKey));
        if (!ctx) {
            size_t size = (sizeof(GdgContext) + 15) & ~static_cast<size_t>(15);
            ctx = static_cast<GdgContext*>(aligned_alloc(16, size));
            if (!ctx || pthread_setspecific(contextKey, ctx) != 0) {
                free(ctx);
                ctx = &fallbackContext;
            } else {
                memset(ctx, 0, sizeof *ctx);
                ctx->fd = -1;
            }
        }
    }
    // An entry that failed half-way may have left the catalogue open.
    if (ctx->fd >= 0) close(ctx->fd);
    ctx->fd = -1;
    ctx->generation = 0;
    ctx->fsCode = 0;
    ctx->catalogue.flags &= ~(GDG_READ | GDG_DIRTY);
    return ctx;
}

uint32_t GDG_fileSystemCode(const char* prefix) {
    if (!prefix) return 0;
    char lower[4] = {};
    for (int i = 0; i < 3 && prefix[i]; ++i) lower[i] = static_cast<char>(tolower(static_cast<unsigned char>(prefix[i])));
    if (strcmp(lower, "lsq") == 0) return 1;
    for (uint32_t code = 1; code < 7; ++code)
        if (strcmp(lower, fileSystemNames[code]) == 0) return code;
    return 0;
}

const char* GDG_fileSystemName(uint32_t code) { return code < 7 ? fileSystemNames[code] : "???"; }

void GDG_setDebug(int on) { debugOn = on; }

int GDG_path(GdgContext* ctx, const char* name, int mode) {
    GdgCatalogue* cat = &ctx->catalogue;
    bool read = cat->flags & GDG_READ;
    char dir[kGdgNameSize];
    const char* base;
    splitPath(name, dir, &base);
    uint32_t code = read ? cat->fileSystem : ctx->fsCode;
    if (code == 0) {
        char rea[kGdgNameSize];
        if (strlen(name) > 14 && strncmp(name, "/.:/txmn/hdk/", 13) == 0) code = 4;
        else if (access(name, R_OK) == 0) code = 1;
        else if (formatName(rea, sizeof rea, "%s/.%s.QVREA", dir, base) && access(rea, R_OK) == 0) code = 3;
    }
    if (read && code != cat->fileSystem) {
        cat->fileSystem = code;
        cat->flags |= GDG_DIRTY;
    }
    ctx->fsCode = code;
    if (code > 3 && !separateDirectory(code, dir)) {
        ctx->cataloguePath[0] = 0;
        return -1;
    }
    if (!formatName(ctx->cataloguePath, kGdgNameSize, "%s/%s.catalogue", dir, base)) return -1;
    struct stat st;
    if (stat(ctx->cataloguePath, &st) == 0 && S_ISREG(st.st_mode)) return 0;
    if (mode < 0) return -1;
    const char* where = dir[0] ? dir : "/";
    if (stat(where, &st) == 0) return S_ISDIR(st.st_mode) ? 0 : -1;
    if (!makeDirectories(where)) {
        report("Could not create catalogue structure\nTried %s\n tune $gdg_home?\n", where);
        return -1;
    }
    return 0;
}

int GDG_open(GdgContext* ctx, int extraFlags) {
    if (ctx->fd >= 0) return 0;
    int fd = open(ctx->cataloguePath, O_RDWR | O_SYNC | O_CLOEXEC | extraFlags, 0664);
    if (fd < 0) {
        report("Error: GDG_open:open(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
        return -1;
    }
    ctx->fd = fd;
    if (lockCatalogue(fd, F_WRLCK) != 0)
        report("Error: GDG_open:fcntl(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
    if (extraFlags & O_CREAT) return 0;

    GdgCatalogue* cat = &ctx->catalogue;
    size_t done = 0;
    while (done < sizeof *cat) {
        ssize_t n = pread(fd, reinterpret_cast<char*>(cat) + done, sizeof *cat - done, static_cast<off_t>(done));
        if (n < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                report("Info: GDG_read:read - %d %s\n", errno, strerror(errno));
                continue;
            }
            report("Error: GDG_read:read - %d %s\n", errno, strerror(errno));
            return -1;
        }
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    cat->flags = (cat->flags & ~(GDG_READ | GDG_DIRTY)) | GDG_READ;
    if (done < sizeof *cat || memcmp(cat->magic, "GDG\n", 4) != 0) {
        errno = EINVAL;
        return -1;
    }
    if (cat->orderMark != kGdgMagicOrder) {
        if (__builtin_bswap32(cat->orderMark) != kGdgMagicOrder) {
            errno = EINVAL;
            return -1;
        }
        // Byte access keeps the swap clear of aliasing rules; the magic,
        // four single bytes, is not swapped.
        unsigned char* bytes = reinterpret_cast<unsigned char*>(cat);
        for (size_t i = 4; i < sizeof *cat; i += 4) {
            std::swap(bytes[i], bytes[i + 3]);
            std::swap(bytes[i + 1], bytes[i + 2]);
        }
        cat->flags = GDG_READ | GDG_DIRTY;
        report("Info: Endian swapped!\n");
    }
    if (cat->entries > kGdgMaxEntries || cat->limit > kGdgMaxEntries) {
        trace("GDG: %s claims %u entries, limit %u: no group\n", ctx->cataloguePath, cat->entries, cat->limit);
        errno = EINVAL;
        return -1;
    }
    if (cat->version == 1) return 0;
    if (cat->version != 0) report("Error: GDG catalogue version unkown!\n");
    errno = EINVAL;
    return -1;
}

int GDG_close(GdgContext* ctx) {
    if (ctx->fd < 0) return -1;
    GdgCatalogue* cat = &ctx->catalogue;
    int rc = 0;
    if (cat->flags & GDG_DIRTY) {
        GdgCatalogue image;
        memcpy(&image, cat, sizeof image);
        image.flags &= ~(GDG_READ | GDG_DIRTY);
        if (writeAll(ctx->fd, &image) != 0) rc = -1;
        cat->flags &= ~GDG_DIRTY;
        if (fsync(ctx->fd) != 0) report("Error: GDG_close:fsync(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
    }
    if (lockCatalogue(ctx->fd, F_UNLCK) != 0)
        report("Error: GDG_close:fcntl(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
    if (close(ctx->fd) != 0) report("Error: GDG_close:close(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
    ctx->fd = -1;
    return rc;
}

int GDG_stat(GdgContext* ctx, const char* name, int mode) {
    enum { Whole, Relative, Absolute, Direct } form = Whole;
    long number = 0;
    if (!formatName(ctx->baseName, kGdgNameSize, "%s", name)) return -1;
    size_t length = strlen(ctx->baseName);
    char* open = strrchr(ctx->baseName, '(');
    char* dot = strrchr(ctx->baseName, '.');
    if (length && ctx->baseName[length - 1] == ')' && open) {
        ctx->baseName[length - 1] = 0;
        *open = 0;
        const char* text = open + 1;
        if (strcmp(text, "*") != 0) {
            if (!parseNumber(text, &number)) return -1;
            form = (text[0] == '+' || text[0] == '-' || number == 0) ? Relative : Absolute;
        }
    } else if (dot && isGenerationSuffix(dot) && atoi(dot + 2) > 0) {
        number = atoi(dot + 2);
        *dot = 0;
        form = Direct;
    }

    // A path that cannot be formed (too long, no home for a server's
    // catalogues) is an error, not an absent group.
    if (GDG_path(ctx, ctx->baseName, -1) != 0 && !ctx->cataloguePath[0]) return -1;
    struct stat st;
    if (stat(ctx->cataloguePath, &st) == 0) {
        if (!S_ISREG(st.st_mode)) {
            report("Error: GDG catalogue %s is not regular.\n", ctx->cataloguePath);
            errno = EINVAL;
            return -1;
        }
    } else if (errno == ENOENT) {
        if (mode == 1) {
            report("Error: GDG %s not found.\n", ctx->baseName);
            return -1;
        }
        return 1;
    } else if (errno == ENAMETOOLONG) {
        return -1;
    } else {
        report("Error: GDG_stat:stat(%s) - %d %s\n", ctx->cataloguePath, errno, strerror(errno));
        return -1;
    }
    if (GDG_open(ctx, 0) != 0) return -1;

    GdgCatalogue* cat = &ctx->catalogue;
    const char* outOfRange = nullptr;
    if (form == Relative) {
        if (number == 0) {
            if (cat->entries > 0) ctx->generation = static_cast<int32_t>(cat->newest);
            else outOfRange = "Relative";
        } else if (number < 0) {
            if (cat->entries > static_cast<uint32_t>(-number))
                ctx->generation = static_cast<int32_t>(cat->entry[cat->entries - 1 + number] & kGdgNumberMask);
            else outOfRange = "Relative";
        } else {
            long next = static_cast<long>(cat->newest) + number;
            ctx->generation = static_cast<int32_t>(next >= 10000 ? next - 9999 : next);
        }
    } else if (form == Absolute) {
        if (static_cast<uint32_t>(number) < cat->entries)
            ctx->generation = static_cast<int32_t>(cat->entry[cat->entries - 1 - number] & kGdgNumberMask);
        else outOfRange = "Direct";
    } else if (form == Direct) {
        ctx->generation = static_cast<int32_t>(number);
    }
    if (outOfRange) {
        if (mode != -1) report("Error: %s access exceeds the entries allocated for GDG %s\n", outOfRange, ctx->baseName);
        errno = EINVAL;
        ctx->generation = -1;
        return 1;
    }

    if (form != Whole && ctx->generation > 0) {
        if (!generationFile(ctx, static_cast<uint32_t>(ctx->generation), ctx->fileName)) return -1;
        if (fsStat(ctx, ctx->fileName, &st) == 0) {
            if (!S_ISREG(st.st_mode)) {
                report("Error: GDS file %s is not regular.\n", ctx->fileName);
                errno = EINVAL;
                return -1;
            }
            if (GDG_add(ctx) != 0) return -1;
            if (mode != 0) return 0;
            report("Error: GD%c %s already exists.\n", 'S', ctx->fileName);
            errno = EINVAL;
            return -1;
        }
        if (errno != ENOENT) {
            report("Error: GDG_stat:stat(%s) - %d %s\n", ctx->fileName, errno, strerror(errno));
            return -1;
        }
        if (mode == -1) return 1;
        report("Error: GDS %s not found.\n", ctx->fileName);
        return -1;
    }
    strcpy(ctx->fileName, ctx->baseName);
    if (mode != 0) return 0;
    report("Error: GD%c %s already exists.\n", 'G', ctx->baseName);
    errno = EINVAL;
    return -1;
}

int GDG_add(GdgContext* ctx) {
    GdgCatalogue* cat = &ctx->catalogue;
    if (ctx->generation < 1) return -1;
    uint32_t number = static_cast<uint32_t>(ctx->generation);
    for (uint32_t i = 0; i < cat->entries; ++i)
        if ((cat->entry[i] & kGdgNumberMask) == number) return 0;
    if (cat->entries >= cat->limit) GDG_empty(ctx, 1);
    if (cat->entries >= kGdgMaxEntries) {
        // days held every entry back: the list is full.
        errno = EINVAL;
        return -1;
    }
    uint32_t epoch = cat->epoch, value;
    if (cat->entries > 0 && cat->newest >= 9000 && number < 1000) {
        // The numbers wrapped; an epoch that would overflow starts again
        // from 0 over the whole list.
        if (epoch > UINT32_MAX - kGdgEpochStep) epoch = renumber(cat, 0);
        epoch += kGdgEpochStep;
        value = number | epoch;
    } else if (cat->entries > 0 && cat->newest < 1000 && number >= 9000) {
        // A generation from before the wrap sorts before the list's newest.
        if (epoch == 0) epoch = renumber(cat, kGdgEpochStep);
        value = number | (epoch - kGdgEpochStep);
    } else {
        value = number | epoch;
    }
    cat->entry[cat->entries++] = value;
    if (cat->entries > 1 && value < cat->entry[cat->entries - 2]) std::sort(cat->entry, cat->entry + cat->entries);
    setLast(cat);
    cat->flags |= GDG_DIRTY;
    trace("GDG_add: %d as %u, entries %u\n", ctx->generation, value, cat->entries);
    return 0;
}

int GDG_empty(GdgContext* ctx, int room) {
    GdgCatalogue* cat = &ctx->catalogue;
    if (cat->entries == 0) return 0;
    uint32_t count = cat->entries;
    if (!(cat->flags & GDG_EMPTY)) {
        dropMissing(ctx);
        if (cat->entries + static_cast<uint32_t>(room) <= cat->limit) return 0;
        count = cat->entries + static_cast<uint32_t>(room) - cat->limit;
        count = std::min(count, cat->entries);
    }
    time_t now = time(nullptr);
    char file[kGdgNameSize];
    uint32_t gone = 0;
    for (; gone < count; ++gone) {
        if (!generationFile(ctx, cat->entry[gone] & kGdgNumberMask, file)) break;
        if (cat->days) {
            struct stat st;
            if (fsStat(ctx, file, &st) != 0) {
                if (errno != ENOENT) report("Error: GDG_empty:stat(%s) - %d %s\n", file, errno, strerror(errno));
            } else if (static_cast<int64_t>(now) - st.st_mtime < static_cast<int64_t>(cat->days) * 86400) {
                break;
            }
        }
        if ((cat->flags & GDG_SCRATCH) && fsDelete(ctx, file) != 0 && errno != ENOENT)
            report("Error: GDG_empty:unlink(%s) - %d %s\n", file, errno, strerror(errno));
        trace("GDG_empty: %s rolls off\n", file);
    }
    if (gone > 0) removeEntries(cat, 0, gone);
    return 0;
}

int GDS_Name(const char* name, char** result, uint32_t create, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    int rc = GDG_stat(ctx, name, -1);
    bool none = rc < 0;
    if (rc == 1) {
        if (!catalogueExists(ctx, "GDS_Name") || !create || ctx->generation < 1) none = true;
        else if (GDG_add(ctx) != 0) none = true;
        else rc = 0;
    }
    GDG_close(ctx);
    trace("GDS_Name: %s -> %s (%d)\n", name, none ? "none" : ctx->fileName, rc);
    if (none) return 0;
    if (result) *result = strdup(ctx->fileName);
    if (strcmp(ctx->fileName, ctx->baseName) == 0) return rc == 0 ? -1 : 0;
    return rc == 0 ? 1 : 0;
}

// ---- administration ----

namespace {

void fileSystemWarning(GdgCatalogue* cat) {
    if (cat->fileSystem > 3 && cat->days) {
        cat->days = 0;
        report("Warning: File System %s does not support the -D option, forcing a value of 0!\n",
               GDG_fileSystemName(cat->fileSystem));
    }
}

int failClosed(GdgContext* ctx) {
    int saved = errno;
    GDG_close(ctx);
    errno = saved;
    return -1;
}

}  // namespace

int GDG_Create(const char* name, int32_t limit, int32_t days, int32_t flags, const char* prefix) {
    if (!name || limit > static_cast<int32_t>(kGdgMaxEntries)) {
        report("Error: GDG_Create name/limit invalid\n");
        errno = EINVAL;
        return -1;
    }
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    if (GDG_path(ctx, name, 1) != 0) return -1;
    if (GDG_stat(ctx, name, 0) != 1) return failClosed(ctx);
    if (GDG_open(ctx, O_CREAT | O_EXCL) != 0) return failClosed(ctx);
    GdgCatalogue* cat = &ctx->catalogue;
    memset(cat, 0, sizeof *cat);
    memcpy(cat->magic, "GDG\n", 4);
    cat->orderMark = kGdgMagicOrder;
    cat->version = 1;
    cat->limit = limit < 1 ? 255 : static_cast<uint32_t>(limit);
    cat->days = days < 0 ? 0 : static_cast<uint32_t>(days);
    cat->flags = flags < 0 ? GDG_SCRATCH : (static_cast<uint32_t>(flags) & (GDG_EMPTY | GDG_SCRATCH));
    cat->fileSystem = ctx->fsCode;
    fileSystemWarning(cat);
    cat->flags |= GDG_DIRTY;
    return GDG_close(ctx);
}

int GDG_Alter(const char* name, int32_t limit, int32_t days, int32_t flags, const char* prefix) {
    if (!name || limit > static_cast<int32_t>(kGdgMaxEntries)) {
        report("Error: GDG_Alter name/limit invalid\n");
        errno = EINVAL;
        return -1;
    }
    GdgContext* ctx = GDG_context();
    uint32_t code = GDG_fileSystemCode(prefix);
    ctx->fsCode = code;
    if (GDG_stat(ctx, name, 1) != 0) return failClosed(ctx);
    GdgCatalogue* cat = &ctx->catalogue;
    if (limit >= 0) cat->limit = limit == 0 ? 255 : static_cast<uint32_t>(limit);
    if (days >= 0) cat->days = static_cast<uint32_t>(days);
    if (flags >= 0) cat->flags = (cat->flags & ~(GDG_EMPTY | GDG_SCRATCH)) | (static_cast<uint32_t>(flags) & (GDG_EMPTY | GDG_SCRATCH));
    if (code != 0 && code != cat->fileSystem) {
        if (cat->fileSystem != 0)
            report("Warning: Changing File System from %s to %s\nIf this is unintended, please reset it before doinganything else!\n",
                   GDG_fileSystemName(cat->fileSystem), GDG_fileSystemName(code));
        cat->fileSystem = code;
    }
    fileSystemWarning(cat);
    if (cat->entries > cat->limit) GDG_empty(ctx, 0);
    cat->flags |= GDG_DIRTY;
    return GDG_close(ctx);
}

int GDG_Verify(const char* name, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    if (GDG_stat(ctx, name, 1) != 0) return failClosed(ctx);
    dropMissing(ctx);
    if (ctx->catalogue.entries > ctx->catalogue.limit) GDG_empty(ctx, 0);
    return GDG_close(ctx);
}

int GDG_Rebuild(const char* name, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    int rc = GDG_stat(ctx, name, -1);
    if (rc < 0) {
        failClosed(ctx);
        return rc;
    }
    GdgCatalogue* cat = &ctx->catalogue;
    if ((cat->flags & GDG_READ) && cat->fileSystem >= 4) return failClosed(ctx);
    if (rc == 1) {
        GDG_close(ctx);
        if (GDG_Create(name, 0, 0, -1, prefix) != 0) return -1;
        ctx = GDG_context();
        ctx->fsCode = GDG_fileSystemCode(prefix);
        if (GDG_stat(ctx, name, 1) != 0) return failClosed(ctx);
    } else {
        cat->entries = cat->newest = cat->epoch = 0;
        memset(cat->entry, 0, sizeof cat->entry);
        cat->flags |= GDG_DIRTY;
    }
    char pattern[PATH_MAX + 16];
    char* real = realpath(ctx->baseName, nullptr);
    bool ok = formatName(pattern, sizeof pattern, "%s.g????v00", real ? real : ctx->baseName);
    free(real);
    if (!ok) return failClosed(ctx);
    glob_t found;
    int grc = glob(pattern, GLOB_ERR | GLOB_NOSORT | GLOB_NOESCAPE, nullptr, &found);
    if (grc != 0 && grc != GLOB_NOMATCH) report("Error: GDG_Rebuild:glob - %d %s\n", errno, strerror(errno));
    if (grc == 0) {
        for (size_t i = 0; i < found.gl_pathc; ++i) GDG_stat(ctx, found.gl_pathv[i], -1);
    }
    globfree(&found);
    return GDG_close(ctx);
}

int GDG_Unlink(const char* name, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    if (GDG_stat(ctx, name, 1) != 0) return failClosed(ctx);
    GDG_close(ctx);
    int rc = unlink(ctx->cataloguePath);
    if (rc != 0) report("Error: GDG_Unlink:unlink - %d %s\n", errno, strerror(errno));
    if (ctx->catalogue.flags & GDG_READ) {
        ctx->catalogue.flags |= GDG_EMPTY;
        GDG_empty(ctx, 0);
    }
    return rc;
}

int GDG_remove(const char* name, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    if (GDG_stat(ctx, name, -1) < 0) return failClosed(ctx);
    if (strcmp(ctx->fileName, ctx->baseName) == 0 && ctx->generation == 0) {
        GDG_close(ctx);
        return GDG_Unlink(name, prefix);
    }
    GdgCatalogue* cat = &ctx->catalogue;
    for (uint32_t i = 0; i < cat->entries; ++i) {
        if (ctx->generation < 1 || (cat->entry[i] & kGdgNumberMask) != static_cast<uint32_t>(ctx->generation)) continue;
        if ((cat->flags & GDG_SCRATCH) && fsDelete(ctx, ctx->fileName) != 0 && errno != ENOENT)
            report("Error: GDG_remove:unlink(%s) - %d %s\n", ctx->fileName, errno, strerror(errno));
        removeEntries(cat, i, 1);
        return GDG_close(ctx);
    }
    GDG_close(ctx);
    errno = ENOENT;
    return -1;
}

int GDG_List(const char* name, const char* prefix) {
    GdgContext* ctx = GDG_context();
    ctx->fsCode = GDG_fileSystemCode(prefix);
    if (GDG_stat(ctx, name, 1) != 0) return failClosed(ctx);
    const GdgCatalogue* cat = &ctx->catalogue;
    printf("GDG: %s\n  Catalogue   = %s\n  Limit       = %d\n  Days        = %d\n  %s\n  %s\n  Entries     = %d\n",
           ctx->baseName, ctx->cataloguePath, static_cast<int>(cat->limit), static_cast<int>(cat->days),
           (cat->flags & GDG_EMPTY) ? "Empty" : "NoEmpty", (cat->flags & GDG_SCRATCH) ? "Scratch" : "NoScratch",
           static_cast<int>(cat->entries));
    if (cat->entries) printf("  GDS:\n");
    char file[kGdgNameSize];
    struct stat st;
    for (uint32_t i = 0; i < cat->entries; ++i) {
        if (!generationFile(ctx, cat->entry[i] & kGdgNumberMask, file)) continue;
        bool missing = fsStat(ctx, file, &st) != 0;
        printf("%-4d  %8u: %s%s\n", static_cast<int>(i), cat->entry[i] >> 15, file, missing ? " (missing)" : "");
    }
    fflush(stdout);
    return GDG_close(ctx);
}
