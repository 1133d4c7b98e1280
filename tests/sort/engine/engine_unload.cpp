// The library unloads the engine after op 11: nothing of the engine may
// keep it loaded (no atexit or thread-exit destructor, no unique symbol,
// no thread left running).  A sort, op 11, dlclose: the engine is gone.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "kvr2/sortengine.h"

int main() {
    void* h = dlopen(KVR2_ENGINE_PATH, RTLD_NOW);
    auto sortmerge = h ? reinterpret_cast<zvkSortEngine>(dlvsym(h, "sortmerge", ZVK_SORT_ENGINE_VERSION)) : nullptr;
    if (!sortmerge) return 2;
    char data[] = "dcba";
    SortIoRecord mem{nullptr, 4, 0, data, 0, 0, nullptr};
    SortControlRecord ctl{};
    ctl.tempDir = ".";
    ctl.errnoOut = &ctl.errnoValue;
    const int32_t r = sortmerge(ZVK_SORT_START, ZVK_SORT_FIXED_BLANK, 1, 0, nullptr, SortEighth{}, mem, mem, ctl);
    const int32_t end = sortmerge(ZVK_SORT_END_RUN, 0, 0, 0, nullptr, SortEighth{}, SortIoRecord{}, SortIoRecord{},
                                  SortControlRecord{});
    dlclose(h);
    const bool gone = dlopen(KVR2_ENGINE_PATH, RTLD_NOW | RTLD_NOLOAD) == nullptr;
    const bool ok = r == 0 && end == 0 && !memcmp(data, "dcba", 4) && gone;
    printf("%s: the engine unloads after op 11\n%d passed, %d failed\n", ok ? "ok" : "FAIL", ok, !ok);
    return ok ? 0 : 1;
}
