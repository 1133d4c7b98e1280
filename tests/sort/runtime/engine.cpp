// Stand-in sort engines for the run-time tests, one source built five
// ways: the recorder (versioned), the same without a symbol version, one
// with two versions of sortmerge, one without sortmerge, and one that
// starts a sort from inside its own call.
//
// The recorder appends one line per call to $SORT_RECORD with every
// argument it got, then does a plain engine's work on records in the
// runtime's form: reads the input spill file and the memory (or, for USING
// files, generates $SORT_ENGINE_GEN records), sorts them bytewise, and
// writes them to the output spill file or back into memory.  GIVING files
// are left alone.  $SORT_ENGINE_RC and $SORT_ENGINE_ERRNO give its result;
// $SORT_ENGINE_BADWORD spoils a variable record's length word.
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kvr2/kvr2.h"
#include "model.h"

namespace {

uint32_t envNumber(const char* name) {
    const char* v = getenv(name);
    return v && *v ? static_cast<uint32_t>(strtoul(v, nullptr, 0)) : 0;
}

std::string ioText(const SortIoRecord& r) {
    char t[1400];
    std::string inFile = "none";
    struct stat st;
    if (r.path) inFile = stat(r.path, &st) == 0 ? std::to_string(st.st_size) : "missing";
    snprintf(t, sizeof t, "path:%s,file:%s,bytes:%u,mem:%p,count:%u,files:%p", r.path ? r.path : "null",
             inFile.c_str(), r.bytes, r.memory, r.count, static_cast<void*>(r.files));
    return t;
}

void record(const char* tag, int32_t op, uint64_t formatWord, uint32_t recordLength, uintptr_t fourth,
            const char* fifth, const SortEighth& e, const SortIoRecord& in, const SortIoRecord& out,
            const SortControlRecord& c) {
    const char* file = getenv("SORT_RECORD");
    if (!file) return;
    char line[4096];
    snprintf(line, sizeof line,
             "engine=%s op=%d fmt=%llx len=%u fourth=%llx fifth=[%s] eighth=%llx,%llx,%llx in=%s out=%s "
             "ctl=flags:%u,tmp:%s,errnoOut:%s,errnoValue:%u,program:%p\n",
             tag, op, static_cast<unsigned long long>(formatWord), recordLength,
             static_cast<unsigned long long>(fourth), fifth ? fifth : "(null)",
             static_cast<unsigned long long>(e.word[0]), static_cast<unsigned long long>(e.word[1]),
             static_cast<unsigned long long>(e.word[2]), ioText(in).c_str(), ioText(out).c_str(), c.engineFlags,
             c.tempDir ? c.tempDir : "null", c.errnoOut ? "set" : "null", c.errnoValue, static_cast<void*>(c.program));
    const int fd = open(file, O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (fd < 0) return;
    ssize_t w = write(fd, line, strlen(line));
    (void)w;
    close(fd);
}

using Record = std::vector<uint8_t>;

void parse(const uint8_t* data, size_t size, bool variable, uint32_t recordLength, std::vector<Record>& out) {
    size_t at = 0;
    while (at < size) {
        uint32_t length = recordLength;
        if (variable) {
            uint32_t word;
            memcpy(&word, data + at, 4);
            at += 4;
            length = word - 4;
        }
        out.emplace_back(data + at, data + at + length);
        at += length;
    }
}

std::vector<uint8_t> serialise(const std::vector<Record>& records, bool variable) {
    std::vector<uint8_t> out;
    for (const Record& r : records) {
        if (variable) {
            const uint32_t word = static_cast<uint32_t>(r.size()) + 4;
            out.insert(out.end(), reinterpret_cast<const uint8_t*>(&word), reinterpret_cast<const uint8_t*>(&word) + 4);
        }
        out.insert(out.end(), r.begin(), r.end());
    }
    return out;
}

void work(uint64_t formatWord, uint32_t recordLength, const SortIoRecord& in, const SortIoRecord& out) {
    if (out.count) return;   // GIVING files: not this engine's business
    const bool variable = static_cast<uint32_t>(formatWord) == 2;
    std::vector<Record> records;
    if (in.count) {
        const uint32_t n = envNumber("SORT_ENGINE_GEN");
        for (uint32_t i = 0; i < n; ++i) {
            Record r(variable ? sortmodel::generatedLength(i, recordLength) : recordLength);
            sortmodel::fill(i, false, r.data(), static_cast<uint32_t>(r.size()));
            records.push_back(r);
        }
    } else {
        if (in.path) {
            FILE* f = fopen(in.path, "rb");
            std::vector<uint8_t> data;
            if (f) {
                uint8_t chunk[65536];
                size_t n;
                while ((n = fread(chunk, 1, sizeof chunk, f)) > 0) data.insert(data.end(), chunk, chunk + n);
                fclose(f);
            }
            parse(data.data(), data.size(), variable, recordLength, records);
        }
        parse(static_cast<const uint8_t*>(in.memory), in.bytes, variable, recordLength, records);
    }
    std::stable_sort(records.begin(), records.end(), [](const Record& a, const Record& b) {
        const size_t n = std::min(a.size(), b.size());
        const int c = n ? memcmp(a.data(), b.data(), n) : 0;
        return c < 0 || (c == 0 && a.size() < b.size());
    });
    std::vector<uint8_t> bytes = serialise(records, variable);
    // $SORT_ENGINE_BADWORD=k: record k's length word says more than any record holds.
    if (const char* bad = getenv("SORT_ENGINE_BADWORD"); bad && variable) {
        size_t at = 0;
        const unsigned long k = strtoul(bad, nullptr, 0);
        for (unsigned long r = 0; r < k && r < records.size(); ++r) at += 4 + records[r].size();
        const uint32_t word = recordLength + 5;
        if (at + 4 <= bytes.size()) memcpy(bytes.data() + at, &word, 4);
    }
    if (out.path) {
        FILE* f = fopen(out.path, "wb");
        if (f) {
            if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
            fclose(f);
        }
    } else if (out.memory && !bytes.empty()) {
        memcpy(out.memory, bytes.data(), std::min<size_t>(bytes.size(), out.bytes));
    }
}

#ifdef ENGINE_REENTRANT
int depth = 0;
#endif

[[maybe_unused]] int32_t engine(const char* tag, int32_t op, uint64_t formatWord, uint32_t recordLength, uintptr_t fourth, char* fifth,
               SortEighth e, SortIoRecord in, SortIoRecord out, SortControlRecord c) {
    record(tag, op, formatWord, recordLength, fourth, fifth, e, in, out, c);
    if (op == ZVK_SORT_END_RUN) return 0;
#ifdef ENGINE_REENTRANT
    // A sort started from inside this one (files on both sides), or the
    // program's end while this sort runs.
    if (depth++ == 0) {
        if (getenv("SORT_ENGINE_ABEND")) ZVKABEND();
        uint16_t nestedReturn = 99;
        SortVerbBlock block{&nestedReturn, 0, 0, 0, c.program};
        SortRecordDesc desc{static_cast<uint32_t>(formatWord), 0, recordLength, 0};
        SortFileList usingList{1, 0, in.files}, givingList{1, 0, out.files};
        _zvkSortMerge(ZVK_SORT_START, &block, &desc, fourth, fifth, &usingList, &givingList, e.word);
        fprintf(stderr, "nested SORT-RETURN %u\n", nestedReturn);
    }
    --depth;
#endif
    work(formatWord, recordLength, in, out);
    if (c.errnoOut) *c.errnoOut = envNumber("SORT_ENGINE_ERRNO");
    return static_cast<int32_t>(envNumber("SORT_ENGINE_RC"));
}

}  // namespace

extern "C" {

#if defined(ENGINE_TWO_VERSIONS)
// sortmerge@KVR2_6.1.0 beside a default sortmerge of another version,
// which a plain look-up would find.
__attribute__((visibility("default"))) int32_t sortmerge_v61(int32_t op, uint64_t formatWord, uint32_t recordLength,
                                                             uintptr_t fourth, char* fifth, SortEighth e,
                                                             SortIoRecord in, SortIoRecord out, SortControlRecord c) {
    return engine("versioned", op, formatWord, recordLength, fourth, fifth, e, in, out, c);
}
__attribute__((visibility("default"))) int32_t sortmerge_default(int32_t op, uint64_t formatWord,
                                                                 uint32_t recordLength, uintptr_t fourth, char* fifth,
                                                                 SortEighth e, SortIoRecord in, SortIoRecord out,
                                                                 SortControlRecord c) {
    return engine("default", op, formatWord, recordLength, fourth, fifth, e, in, out, c);
}
__asm__(".symver sortmerge_v61, sortmerge@KVR2_6.1.0");
__asm__(".symver sortmerge_default, sortmerge@@KVR2_OTHER");
#elif !defined(ENGINE_NO_ENTRY)
#ifdef ENGINE_UNVERSIONED
#define ENGINE_TAG "plain"
#elif defined(ENGINE_REENTRANT)
#define ENGINE_TAG "reentrant"
#else
#define ENGINE_TAG "recorder"
#endif
__attribute__((visibility("default"))) int32_t sortmerge(int32_t op, uint64_t formatWord, uint32_t recordLength,
                                                         uintptr_t fourth, char* fifth, SortEighth e,
                                                         SortIoRecord in, SortIoRecord out, SortControlRecord c) {
    return engine(ENGINE_TAG, op, formatWord, recordLength, fourth, fifth, e, in, out, c);
}
#else
__attribute__((visibility("default"))) int32_t sortmerge_not_here(void) { return 0; }
#endif

}  // extern "C"
