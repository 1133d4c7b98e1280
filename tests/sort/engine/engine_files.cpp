// A main program with line-sequential USING and GIVING files, laid out as
// compiled code lays them out, that calls the sort engine as the library
// does, the files going through the real module:
//   engine_files [merge] [memory=TEXT] record=N keys=OFF:LEN:TYPE:SIGN:ASC[,...]
//                in=PATH[,PATH...] out=PATH[,PATH...]
// Prints "result R error E" and ends as STOP RUN does.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "file_image.h"
#include "kvr2/sortengine.h"

namespace {

cobol::Program program("SORTPGM", nullptr);
// The run's arguments, outside main's frame, which the STOP RUN jump leaves.
uint32_t record = 0;
int32_t op = ZVK_SORT_START;
std::string options;

struct File {
    FIB fib;
    FCB fcb;
    void* recordCell;
    std::string assignment;
};

std::vector<std::string> split(const std::string& s, char c) {
    std::vector<std::string> out;
    size_t at = 0;
    for (size_t next; (next = s.find(c, at)) != std::string::npos; at = next + 1) out.push_back(s.substr(at, next - at));
    out.push_back(s.substr(at));
    return out;
}

void describe(File& f, const std::string& path, uint32_t length, uint32_t index) {
    memset(&f.fib, 0, sizeof f.fib);
    memset(&f.fcb, 0, sizeof f.fcb);
    char name[32];
    snprintf(name, sizeof name, "SORT-FILE-%u", index);
    f.assignment = path;
    cobol::select(f.fib, f.fcb, index, name, ZVK_ORG_LINE_SEQUENTIAL, ZVK_ACCESS_SEQUENTIAL, length,
                  f.assignment.data(), path.size());
    f.recordCell = calloc(1, sizeof(ZvkRecordArea) + length);
    f.fib.recordCell = &f.recordCell;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> ins, outs;
    std::vector<TableSortKey> keys;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "merge") op = ZVK_MERGE_START;
        else if (a.rfind("memory=", 0) == 0) options = "MEMORY=" + a.substr(7);
        else if (a.rfind("record=", 0) == 0) record = static_cast<uint32_t>(atoi(a.c_str() + 7));
        else if (a.rfind("in=", 0) == 0) ins = split(a.substr(3), ',');
        else if (a.rfind("out=", 0) == 0) outs = split(a.substr(4), ',');
        else if (a.rfind("keys=", 0) == 0)
            for (const auto& k : split(a.substr(5), ',')) {
                unsigned off, len, type, sign, asc;
                sscanf(k.c_str(), "%u:%u:%u:%u:%u", &off, &len, &type, &sign, &asc);
                keys.push_back(TableSortKey{off, len, type, uint8_t(sign), uint8_t(asc), {0, 0}});
            }
    }
    const size_t n = ins.size() + outs.size();
    std::vector<File> files(n);
    std::vector<FIB*> fibs(n);
    std::vector<void*> fcbs(n);
    std::vector<FCB*> usingList, givingList;
    for (size_t i = 0; i < n; ++i) {
        describe(files[i], i < ins.size() ? ins[i] : outs[i - ins.size()], record, uint32_t(i + 1));
        fibs[i] = &files[i].fib, fcbs[i] = &files[i].fcb;
        (i < ins.size() ? usingList : givingList).push_back(&files[i].fcb);
    }
    cobol::attachFiles(program, fibs.data(), fcbs.data(), int32_t(n));

    std::vector<uint8_t> block(sizeof(ZvkSortKeyBlock) + keys.size() * sizeof(TableSortKey));
    const ZvkSortKeyBlock head{ZVK_SORTENG_KEY_MAGIC, ZVK_SORTENG_KEY_VERSION, 0, uint32_t(keys.size()), 0};
    memcpy(block.data(), &head, sizeof head);
    memcpy(block.data() + sizeof head, keys.data(), keys.size() * sizeof(TableSortKey));
    void* h = dlopen(KVR2_ENGINE_PATH, RTLD_NOW);
    auto sortmerge = h ? reinterpret_cast<zvkSortEngine>(dlvsym(h, "sortmerge", ZVK_SORT_ENGINE_VERSION)) : nullptr;
    if (!sortmerge) return 2;
    COBOL_MAIN(program, {
        SortIoRecord in{nullptr, 0, 0, nullptr, uint32_t(usingList.size()), 0, usingList.data()};
        SortIoRecord out{nullptr, 0, 0, nullptr, uint32_t(givingList.size()), 0, givingList.data()};
        SortControlRecord ctl{};
        ctl.tempDir = ".";
        ctl.errnoOut = &ctl.errnoValue;
        ctl.program = program.p();
        const int32_t r = sortmerge(op, ZVK_SORT_FIXED_BLANK, record, reinterpret_cast<uintptr_t>(block.data()),
                                    options.empty() ? nullptr : options.data(), SortEighth{}, in, out, ctl);
        printf("result %d error %u\n", r, ctl.errnoValue);
        fflush(stdout);
        _zvkRunUnitTerm(0);
    });
    for (auto& f : files) free(f.recordCell);
    return 0;
}
