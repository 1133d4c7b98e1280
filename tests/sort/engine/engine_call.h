// Calls the sort engine as the library does: loaded by path, sortmerge
// found by its version, the records passed by value; and file control
// records whose slots are test functions over lists of records in memory.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <stdlib.h>
#include <stdint.h>
#include <string.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tempdir.h"
#include "kvr2/filemodule.h"
#include "kvr2/sortengine.h"

namespace enginetest {

inline zvkSortEngine engine() {
    static zvkSortEngine entry = [] {
        void* h = dlopen(KVR2_ENGINE_PATH, RTLD_NOW);
        return h ? reinterpret_cast<zvkSortEngine>(dlvsym(h, "sortmerge", ZVK_SORT_ENGINE_VERSION)) : nullptr;
    }();
    return entry;
}

inline TableSortKey key(uint32_t offset, uint32_t length, uint32_t type, bool ascending, uint8_t sign = 0) {
    TableSortKey k{};
    k.offset = offset, k.length = length, k.keyType = type, k.signFlags = sign;
    k.orderFlags = ascending ? ZVK_TSORT_ASCENDING : 0;
    return k;
}

// One call's arguments; run() passes them as the library would.
struct Call {
    int32_t op = ZVK_SORT_START;
    uint32_t format = ZVK_SORT_FIXED_BLANK;
    uint32_t recordLength = 0;
    std::vector<TableSortKey> keys;
    bool noKeyBlock = false;
    uint32_t magic = ZVK_SORTENG_KEY_MAGIC;
    std::string options;
    const uint8_t* collating = nullptr;
    uint64_t flags = 0;
    SortIoRecord in{}, out{};
    std::string tempDir = ".";
    PCB* program = nullptr;
    uint32_t engineFlags = 0;
    bool nullErrno = false;
    uint32_t error = 0xDEAD;

    int32_t run() {
        std::vector<uint8_t> block(sizeof(ZvkSortKeyBlock) + keys.size() * sizeof(TableSortKey));
        ZvkSortKeyBlock head{magic, ZVK_SORTENG_KEY_VERSION, 0, uint32_t(keys.size()), 0};
        memcpy(block.data(), &head, sizeof head);
        if (!keys.empty()) memcpy(block.data() + sizeof head, keys.data(), keys.size() * sizeof(TableSortKey));
        std::vector<char> fifth(options.begin(), options.end());
        fifth.push_back('\0');
        SortEighth eighth{{reinterpret_cast<uint64_t>(collating), flags, 0}};
        SortControlRecord ctl{};
        ctl.engineFlags = engineFlags;
        ctl.tempDir = tempDir.c_str();
        ctl.errnoOut = nullErrno ? nullptr : &ctl.errnoValue;
        ctl.program = program;
        const uintptr_t fourth = noKeyBlock ? 0 : reinterpret_cast<uintptr_t>(block.data());
        const int32_t r = engine()(op, format, recordLength, fourth, options.empty() ? nullptr : fifth.data(),
                                   eighth, in, out, ctl);
        error = ctl.errnoValue;
        return r;
    }
};

// A file whose slots read from and write to lists in memory.
struct MemoryFile {
    FCB fcb;
    std::vector<uint8_t> area;
    std::vector<std::string> records;   // to read
    std::vector<std::string> written;
    size_t next = 0;
    IPCB* expectedElement = nullptr;
    bool wrongElement = false;
    int opens = 0, closes = 0;
    uint16_t openStatus = 0;   // what open answers: 35, a file that is not there
    // Called from write or read with the count of records so far.
    void (*hook)(MemoryFile&, size_t) = nullptr;

    explicit MemoryFile(uint32_t maxLength) : fcb{}, area(sizeof(ZvkRecordArea) + maxLength) {
        memcpy(fcb.eye, "FCB", 3);
        fcb.maxLength = maxLength;
        fcb.recordArea = reinterpret_cast<ZvkRecordArea*>(area.data());
        fcb.record = area.data() + sizeof(ZvkRecordArea);
        fcb.open = open, fcb.close = close, fcb.read = read, fcb.write = write;
    }
    static MemoryFile& of(FCB* f) { return *reinterpret_cast<MemoryFile*>(f); }
    void check(IPCB* e) { wrongElement |= expectedElement && e != expectedElement; }
    static int32_t open(FCB* f, IPCB* e) {
        MemoryFile& m = of(f);
        m.check(e);
        if (m.openStatus) return f->status = m.openStatus;
        m.opens++, m.next = 0;
        f->modeInForce = f->openMode;
        return f->status = 0;
    }
    static int32_t close(FCB* f, IPCB* e) {
        of(f).check(e);
        of(f).closes++;
        f->modeInForce = 0;
        return f->status = 0;
    }
    static int32_t read(FCB* f, IPCB* e, uint32_t, uint32_t) {
        MemoryFile& m = of(f);
        m.check(e);
        if (m.hook) m.hook(m, m.next);
        if (m.next == m.records.size()) return f->status = 10;
        const std::string& r = m.records[m.next++];
        memset(f->record, ' ', f->maxLength);
        memcpy(f->record, r.data(), r.size());
        f->recordArea->length = uint32_t(r.size());
        return f->status = 0;
    }
    static int32_t write(FCB* f, IPCB* e, uint32_t, uint32_t length) {
        MemoryFile& m = of(f);
        m.check(e);
        if (m.hook) m.hook(m, m.written.size());
        m.written.emplace_back(reinterpret_cast<char*>(f->record), length);
        return f->status = 0;
    }
};
static_assert(offsetof(MemoryFile, fcb) == 0, "the FCB first");

// A program record with its element, for the files' element argument.
// pcb is the main program, nested the program nested in it.
struct ProgramImage {
    PCB pcb{}, nested{};
    IPCB ipcb[2]{};
    ProgramImage() {
        pcb.ipcb = nested.ipcb = ipcb;
        ipcb[0].nested = 1;
        ipcb[0].pcb = &pcb;
        ipcb[1].pcb = &nested;
    }
};

using Bytes = std::vector<uint8_t>;

struct TempDir : scenario::TempDir {
    int entries() const {
        int n = 0;
        DIR* d = opendir(path.c_str());
        while (dirent* e = readdir(d)) n += e->d_name[0] != '.';
        closedir(d);
        return n;
    }
};

inline Bytes readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), {});
}
inline void writeFile(const std::string& path, const Bytes& b) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.data()), std::streamsize(b.size()));
}

}  // namespace enginetest
