// The file systems by code and prefix, and their modules, loaded on first
// use and kept for the process.

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

#include "fileio/files.h"
#include "frame/loader.h"
#include "frame/rununit.h"

namespace {

struct FileSystem {
    const char* prefix;
    const char* module;
    const char* aliases[2];
};

constexpr FileSystem kFileSystems[kFileSystemRows] = {
    {"", nullptr, {}},
    {"jgt", "zvkrfstl_64r.so", {"qvr"}},
    {"hdk", "zvkrfhdk_64r.so", {}},
    {"psx", "zvkrfpsx_64r.so", {}},
    {"lsq", "zvkrflsq_64r.so", {"nat"}},
    {"stl", "zvkrfstl_64r.so", {}},
    {"rsd", "zvkrfrsd_64r.so", {"str"}},
    {"wbr", "zvkrfwbrm_64r.so", {"raw"}},
    {"rql", "zvkrfrql_64r.so", {}},
    {"pip", "zvkrfpipe_64r.so", {"fif"}},
    {"sok", "zvkrfsocket_64r.so", {}},
    {"mqu", "zvkrfmqueue_64r.so", {}},
    {"plx", nullptr, {}},
    {"???", nullptr, {}},
};

// A loaded module, per code.  The first opens of two threads may load a
// module twice: the loader counts references, and the row is published
// whole (table last, with release order) so that a reader never sees a
// table without its _IO_Init.
struct ModuleRow {
    void* handle;
    zvkIoInit init;
    void** table;
};
ModuleRow rows[kFileSystemRows];

bool samePrefix(const char* a, const char* b) {
    for (int i = 0; i < 3; ++i)
        if (tolower(static_cast<unsigned char>(a[i])) != b[i]) return false;
    return true;
}

}  // namespace

extern "C" {

uint8_t zvkFileSystemCode(const char* prefix) {
    for (uint8_t code = 1; code < kFileSystemRows; ++code) {
        const FileSystem& fs = kFileSystems[code];
        if (samePrefix(prefix, fs.prefix)) return code;
        for (const char* alias : fs.aliases)
            if (alias && samePrefix(prefix, alias)) return code;
    }
    return 0;
}

const char* zvkFileSystemPrefix(uint8_t code) { return code < kFileSystemRows ? kFileSystems[code].prefix : ""; }
const char* zvkFileSystemModule(uint8_t code) { return code < kFileSystemRows ? kFileSystems[code].module : nullptr; }

// The test of a prefix is kept as it stands: the first character is a
// letter, and the two character codes after its own (not the characters
// that follow it) are alphanumeric, which holds for every letter but "y",
// "z", "Y" and "Z"; the "-" stands at index 3 or later and not last.  So
// "data-file.dat" has the prefix "data", which no file system has.
size_t zvkFilePrefixLength(const char* name, size_t length) {
    if (length < 5 || !isalpha(static_cast<unsigned char>(name[0]))) return 0;
    const int c = static_cast<unsigned char>(name[0]);
    if (!isalnum(c + 1) || !isalnum(c + 2)) return 0;
    const void* dash = memchr(name, '-', length);
    if (!dash) return 0;
    const size_t at = static_cast<size_t>(static_cast<const char*>(dash) - name);
    return at >= 3 && at + 1 < length ? at : 0;
}

bool zvkFileModule(uint8_t code, void*** table, zvkIoInit* init) {
    if (code >= kFileSystemRows || !kFileSystems[code].module) return false;
    ModuleRow& row = rows[code];
    if (!__atomic_load_n(&row.init, __ATOMIC_ACQUIRE)) {
        const Proccom* pc = _zvkProccom;
        void* handle = zvkLoadModule(kFileSystems[code].module, RTLD_NOW, pc ? pc->libDir : nullptr,
                                     pc ? pc->installDir : nullptr);
        if (!handle) return false;
        dlerror();
        auto ioInit = reinterpret_cast<zvkIoInit>(dlsym(handle, "_IO_Init"));
        if (!ioInit) {
            const char* debug = getenv("VFS_DEBUG_OPEN");
            const char* why = dlerror();
            if (debug && *debug) fprintf(stderr, "dlsym(_IO_Init) in %s error=%s\n", kFileSystems[code].module, why);
            dlclose(handle);
            return false;
        }
        auto vfs = reinterpret_cast<zvkVfs>(dlsym(handle, "vfs"));
        row.handle = handle;
        row.table = vfs ? vfs() : nullptr;
        __atomic_store_n(&row.init, ioInit, __ATOMIC_RELEASE);
    }
    *table = row.table;
    *init = row.init;
    return true;
}

bool zvkFileModuleLoaded(void** table) {
    if (!table) return false;
    for (const ModuleRow& row : rows)
        if (row.table == table && __atomic_load_n(&row.init, __ATOMIC_ACQUIRE)) return true;
    return false;
}

// The rql module keeps its database connections to the end of the process.
void zvkUnloadModules(void) {
    for (uint8_t code = 0; code < kFileSystemRows; ++code) {
        ModuleRow& row = rows[code];
        if (!row.init) continue;
        // Codes 1 and 5 share one module: each row holds its own reference.
        if (strcmp(kFileSystems[code].prefix, "rql") != 0) dlclose(row.handle);
        row = ModuleRow{};
    }
}

}  // extern "C"
