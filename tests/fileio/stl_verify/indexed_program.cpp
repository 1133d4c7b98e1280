#include "indexed_program.h"

#include <cstdlib>

#include "file_image.h"

namespace stlverify {

std::string key(uint64_t n) {
    char text[16];
    snprintf(text, sizeof text, "K%07llu", static_cast<unsigned long long>(n % 10000000));
    return text;
}

std::string alt(uint64_t n) {
    char text[16];
    snprintf(text, sizeof text, "A%05llu", static_cast<unsigned long long>(n % 100000));
    return text;
}

IndexedProgram& IndexedProgram::make(const std::string& assignment, int files, Sharing sharing) {
    // Held by a plain array, so that they stay reachable to the end.
    static IndexedProgram* live[1024];
    static int count = 0;
    if (count == 1024) abort();
    return *(live[count++] = new IndexedProgram(assignment, files, sharing));
}

IndexedProgram::IndexedProgram(const std::string& assignment, int files, Sharing sharing) {
    snprintf(assignment_, sizeof assignment_, "stl-%s", assignment.c_str());
    pcb_.version[0] = 6, pcb_.version[1] = 1;
    pcb_.ipcb = ipcb_;
    // Each instance is a program of its own: a program's PCB is registered
    // once, at its first entry, and another PCB of the same name would find
    // its files already registered through the first.
    static int programs = 0;
    snprintf(name_, sizeof name_, "STLV%04d", ++programs);
    pcb_.name = name_;
    pcb_.nameLength = static_cast<uint32_t>(strlen(name_));
    pcb_.yearWindow = 9999;
    pcb_.fib = fibList_;
    ipcb_[0].fcbs = fcbList_;
    ipcb_[0].fileCount = files;
    for (int f = 0; f < files; ++f) {
        FIB& fib = fibs_[f].fib;
        FCB& fcb = fcbs_[f];
        fibList_[f] = &fib;
        fcbList_[f] = &fcb;
        cells_[f] = &areas_[f];
        const char* names[kMaxFiles] = {"F1", "F2"};
        cobol::select(fib, fcb, static_cast<uint32_t>(f + 1), names[f], ZVK_ORG_INDEXED, ZVK_ACCESS_DYNAMIC, kRecord,
                      assignment_, strlen(assignment_));
        fib.keyCount = 2;
        fib.keyTableOffset = offsetof(FibImage, keys);
        fibs_[f].keys[0] = ZvkFileKey{kKey, 0, 0, {}};
        fibs_[f].keys[1] = ZvkFileKey{kAlt, kAltAt, 1, {}};
        fib.shareLock = sharing.shareLock;
        fib.shareMode = sharing.shareMode;
        fib.lockMode = sharing.lockMode;
        fib.recordCell = &cells_[f];
        fib.statusCell = &statusCell_;
        fib.statusOffset = static_cast<uint32_t>(2 * f);
    }
    _zvkPgmInit(&pcb_);
}

int32_t IndexedProgram::open(int f, uint16_t mode) {
    fcbs_[f].openMode = mode;
    return fcbs_[f].open(&fcbs_[f], ipcb_);
}

int32_t IndexedProgram::close(int f) {
    fcbs_[f].closeOptions = 0;
    return fcbs_[f].close(&fcbs_[f], ipcb_);
}

// Every statement has its INVALID KEY and AT END phrases, and the program
// its FILE STATUS: no failure ends it.
int32_t IndexedProgram::verb(int f, zvkFileVerb slot, uint32_t how, uint32_t length) {
    fcbs_[f].clauses = ZVK_CLAUSE_INVALID_KEY | ZVK_CLAUSE_AT_END;
    return slot(&fcbs_[f], ipcb_, how, length);
}

void IndexedProgram::put(int f, const std::string& k, const std::string& a, uint32_t count) {
    uint8_t* r = areas_[f].record;
    memset(r, ' ', kRecord);
    memcpy(r, k.data(), k.size() < kKey ? k.size() : kKey);
    memcpy(r + kAltAt, a.data(), a.size() < kAlt ? a.size() : kAlt);
    char digits[16];
    snprintf(digits, sizeof digits, "%08u", count % 100000000);
    memcpy(r + kCountAt, digits, 8);
    for (uint32_t i = 0; i < kRecord - kDataAt; ++i) r[kDataAt + i] = static_cast<uint8_t>('a' + (r[i % kKey] + i) % 26);
}

bool IndexedProgram::recordDataMatches(int f) const {
    const uint8_t* r = areas_[f].record;
    for (uint32_t i = 0; i < kRecord - kDataAt; ++i)
        if (r[kDataAt + i] != static_cast<uint8_t>('a' + (r[i % kKey] + i) % 26)) return false;
    return true;
}

int32_t IndexedProgram::write(int f, const std::string& k, const std::string& a, uint32_t count) {
    put(f, k, a, count);
    return verb(f, fcbs_[f].write, ZVK_WRITE_PLAIN, kRecord);
}

int32_t IndexedProgram::rewrite(int f, const std::string& k, const std::string& a, uint32_t count) {
    put(f, k, a, count);
    return verb(f, fcbs_[f].rewrite, 0, kRecord);
}

int32_t IndexedProgram::readKey(int f, uint32_t keyOfReference, const std::string& value, uint32_t more) {
    uint8_t* r = areas_[f].record;
    if (keyOfReference == 0) memcpy(r, value.data(), kKey);
    else memcpy(r + kAltAt, value.data(), kAlt);
    return verb(f, fcbs_[f].read, ZVK_READ_KEY | ZVK_HOW_KEY(keyOfReference) | more, 0);
}

int32_t IndexedProgram::readNext(int f, uint32_t more) { return verb(f, fcbs_[f].read, ZVK_READ_NEXT | more, 0); }

int32_t IndexedProgram::readPrevious(int f) { return verb(f, fcbs_[f].read, ZVK_READ_PREVIOUS, 0); }

int32_t IndexedProgram::start(int f, uint32_t keyOfReference, uint32_t relation, const std::string& value) {
    uint8_t* r = areas_[f].record;
    if (keyOfReference == 0) memcpy(r, value.data(), kKey);
    else memcpy(r + kAltAt, value.data(), kAlt);
    return verb(f, fcbs_[f].start, relation | ZVK_HOW_KEY(keyOfReference), 0);
}

int32_t IndexedProgram::remove(int f, const std::string& k) {
    memcpy(areas_[f].record, k.data(), kKey);
    return verb(f, fcbs_[f].deleteRecord, 0, 0);
}

int32_t IndexedProgram::unlock(int f) { return verb(f, fcbs_[f].unlock, 0, 0); }

std::string IndexedProgram::recordKey(int f) const {
    return std::string(reinterpret_cast<const char*>(areas_[f].record), kKey);
}

std::string IndexedProgram::recordAlt(int f) const {
    return std::string(reinterpret_cast<const char*>(areas_[f].record + kAltAt), kAlt);
}

uint32_t IndexedProgram::recordCount(int f) const {
    uint32_t n = 0;
    for (uint32_t i = 0; i < 8; ++i) n = n * 10 + (areas_[f].record[kCountAt + i] - '0');
    return n;
}

}  // namespace stlverify
