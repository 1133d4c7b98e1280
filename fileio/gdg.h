// Generation data groups: a named series of files kept by a 4096-byte
// catalogue, resolved from "name(0)", "name(-n)", "name(+1)",
// "name.gNNNNv00" and the bare name.  GDS_Name is what the file subsystem
// calls; the GDG_ entries are the administration, for the kvr2gdg tool.
#pragma once

#include <cstddef>
#include <cstdint>

// The catalogue as it lies on disk, in the writer's byte order; the order
// mark tells a reader whether to swap.
struct GdgCatalogue {
    char magic[4];          // "GDG\n"
    uint32_t orderMark;     // 1234
    uint32_t version;       // 1
    uint32_t limit;         // generations kept, 1 to 1000
    uint32_t days;          // minimum age before roll-off; 0 none
    uint32_t flags;         // GDG_EMPTY, GDG_SCRATCH (+ in-memory bits)
    uint32_t entries;
    uint32_t newest;        // number of the last entry
    uint32_t epoch;         // wrap counter of the last entry (bits 15 up)
    uint32_t fileSystem;    // GDG file-system code
    uint8_t reserved[56];
    uint32_t entry[1000];   // oldest first: number | epoch
};
static_assert(sizeof(GdgCatalogue) == 4096);
static_assert(offsetof(GdgCatalogue, fileSystem) == 36);
static_assert(offsetof(GdgCatalogue, entry) == 96);

constexpr uint32_t kGdgMagicOrder = 1234;
constexpr uint32_t kGdgMaxEntries = 1000;
constexpr uint32_t kGdgNumberMask = 0x3fff;     // bits 0-13
constexpr uint32_t kGdgEpochStep = 0x8000;      // bit 15
constexpr uint32_t GDG_EMPTY = 0x01;
constexpr uint32_t GDG_SCRATCH = 0x02;
constexpr uint32_t GDG_READ = 0x01000000;       // in memory only
constexpr uint32_t GDG_DIRTY = 0x02000000;      // in memory only

constexpr size_t kGdgNameSize = 1024;

// One per thread: the catalogue held open (and locked) between GDG_open
// and GDG_close, and the names of the last resolution.
struct GdgContext {
    int32_t fd;             // -1 closed
    int32_t generation;
    uint32_t fsCode;
    GdgCatalogue catalogue;
    char baseName[kGdgNameSize];
    char cataloguePath[kGdgNameSize];
    char fileName[kGdgNameSize];
};

// The calling thread's context, closed and with the numbers cleared.
GdgContext* GDG_context(void);
// GDG file-system code of a prefix ("sys", "hdk", ...; case ignored,
// null or unknown: 0) and the name of a code.
uint32_t GDG_fileSystemCode(const char* prefix);
const char* GDG_fileSystemName(uint32_t code);
void GDG_setDebug(int on);

int GDG_path(GdgContext* ctx, const char* name, int mode);
int GDG_open(GdgContext* ctx, int extraFlags);
int GDG_close(GdgContext* ctx);
int GDG_stat(GdgContext* ctx, const char* name, int mode);
int GDG_empty(GdgContext* ctx, int room);
int GDG_add(GdgContext* ctx);

// -1: name is a whole group; 1: one generation, *result (malloc'd, if
// result is not null) its file; 0: not a generation name or no such file.
int GDS_Name(const char* name, char** result, uint32_t create, const char* prefix);

int GDG_Create(const char* name, int32_t limit, int32_t days, int32_t flags, const char* prefix);
int GDG_Alter(const char* name, int32_t limit, int32_t days, int32_t flags, const char* prefix);
int GDG_Verify(const char* name, const char* prefix);
int GDG_Rebuild(const char* name, const char* prefix);
int GDG_Unlink(const char* name, const char* prefix);
int GDG_List(const char* name, const char* prefix);
int GDG_remove(const char* name, const char* prefix);
