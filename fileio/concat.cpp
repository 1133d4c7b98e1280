// Concatenated file names: "a:b:c" split into a list, a generation data
// group walked newest first, for the open loop and a module's next-volume
// step.

#include "fileio/concat.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fileio/gdg.h"

namespace {

constexpr uint32_t kMaxNames = 256;
constexpr uint32_t kInGroup = 1;

// Each thread walks its own files: a generation's name handed back to one
// must not be overwritten by another's next step.
thread_local char generationName[kGdgNameSize];

// The ":" of "/.:/" (the transaction monitor's name space) is part of a name.
bool splitsAt(const char* s, size_t i) {
    return s[i] == ':' && !(i >= 2 && s[i - 2] == '/' && s[i - 1] == '.' && s[i + 1] == '/');
}

bool hasSplittingColon(const char* s) {
    for (size_t i = 0; s[i]; ++i)
        if (splitsAt(s, i)) return true;
    return false;
}

// One block: the record, the name pointers, then the copy of the text.
ConcatRecord* newRecord(uint32_t entries, const char* s, const char* nameSpace) {
    size_t length = strlen(s);
    size_t size = sizeof(ConcatRecord) + entries * sizeof(char*) + length + 1;
    ConcatRecord* record = static_cast<ConcatRecord*>(aligned_alloc(16, (size + 15) & ~static_cast<size_t>(15)));
    if (!record) return nullptr;
    memset(record, 0, sizeof *record);
    record->entries = entries;
    memcpy(record->nameSpace, nameSpace, 4);
    record->text = reinterpret_cast<char*>(ZVK_CONCAT_NAMES(record) + entries);
    memcpy(record->text, s, length + 1);
    return record;
}

ConcatRecord* splitNames(const char* s, const char* nameSpace) {
    uint32_t entries = 0;
    for (size_t i = 0; s[i]; ++i)
        if (!splitsAt(s, i) && (i == 0 || splitsAt(s, i - 1))) ++entries;
    if (entries > kMaxNames) return nullptr;
    ConcatRecord* record = newRecord(entries, s, nameSpace);
    if (!record) return nullptr;
    char** names = ZVK_CONCAT_NAMES(record);
    uint32_t k = 0;
    for (size_t i = 0; s[i]; ++i) {
        if (splitsAt(s, i)) record->text[i] = 0;
        else if (i == 0 || splitsAt(s, i - 1)) names[k++] = record->text + i;
    }
    return record;
}

void leaveGroup(ConcatRecord* record) {
    record->generation = 0;
    record->flags &= ~kInGroup;
    ++record->next;
}

// The group's generation at the record's relative number, in this
// thread's buffer, or null past the oldest.
char* generationOf(ConcatRecord* record, const char* base) {
    int n = snprintf(generationName, sizeof generationName, "%s(%d)", base, static_cast<int32_t>(record->generation));
    if (n < 0 || static_cast<size_t>(n) >= sizeof generationName) return nullptr;
    char* file = nullptr;
    bool found = GDS_Name(generationName, &file, 0, record->nameSpace) == 1 && file && strlen(file) < sizeof generationName;
    if (found) strcpy(generationName, file);
    free(file);
    return found ? generationName : nullptr;
}

}  // namespace

extern "C" ConcatRecord* _zvk_Concat_Check(char* name, uint32_t* isConcat, uint32_t create, uint32_t* prefix) {
    char nameSpace[4] = "???";
    if (prefix) memcpy(nameSpace, prefix, 3);
    *isConcat = 0;
    if (hasSplittingColon(name)) {
        *isConcat = 1;
        return splitNames(name, nameSpace);
    }
    char* file = nullptr;
    ConcatRecord* record = nullptr;
    int rc = GDS_Name(name, &file, create, nameSpace);
    if (rc == 1 && file) {
        record = splitNames(file, nameSpace);
    } else if (rc == -1) {
        // The walk resolves the group afresh at each step; the record
        // holds its own copy of the name.
        record = newRecord(1, name, nameSpace);
        if (record) ZVK_CONCAT_NAMES(record)[0] = record->text;
        *isConcat = 1;
    }
    free(file);
    return record;
}

extern "C" char* _zvk_Concat_Next(ConcatRecord* record) {
    if (!record) return nullptr;
    char** names = ZVK_CONCAT_NAMES(record);
    if (record->flags & kInGroup) {
        record->generation -= 1;
        if (char* file = generationOf(record, names[record->next])) return file;
        leaveGroup(record);
    }
    while (record->next < record->entries) {
        char* name = names[record->next++];
        record->flags &= ~kInGroup;
        char* base = nullptr;
        int rc = GDS_Name(name, &base, 0, record->nameSpace);
        if (rc != -1) {
            // One generation of a group in the list ("g(-1)") is read from
            // its own file, as it would be on its own.
            const bool generation = rc == 1 && base && strlen(base) < sizeof generationName;
            if (generation) strcpy(generationName, base);
            free(base);
            return generation ? generationName : name;
        }
        // The slot keeps the group's base name ("grp" of "grp(*)"), never
        // longer than the name, so it is copied in place.
        if (base && strlen(base) <= strlen(name)) strcpy(name, base);
        free(base);
        record->flags |= kInGroup;
        record->generation = 0;
        --record->next;
        if (char* file = generationOf(record, name)) return file;
        leaveGroup(record);
    }
    return nullptr;
}

extern "C" void _zvk_Concat_Free(ConcatRecord* record) { free(record); }

void zvkConcatDump(ConcatRecord* record) {
    printf("Concatenation data:\n  Entries:    %d\n  Next:       %d\n  Generation: %d\n  Flags:      %d\n  Namespace:  %3.3s\n",
           static_cast<int>(record->entries), static_cast<int>(record->next), static_cast<int>(record->generation),
           static_cast<int>(record->flags), record->nameSpace);
    if (record->entries) {
        printf("  Names:\n");
        for (uint32_t i = 0; i < record->entries; ++i) printf("    %s\n", ZVK_CONCAT_NAMES(record)[i]);
    }
    fflush(stdout);
}
