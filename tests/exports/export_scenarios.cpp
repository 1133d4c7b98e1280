// The exported routines that act on the process: the program cache's
// controls, CANCEL's reset of a program and the run unit's signal routine.
// Prints "name=result" lines for direct_calls_test, and markers on stderr
// before each routine that writes there.

#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "cobol.h"

namespace {

// CALL identifier: the entry address from the record _zvkDynLd gives back.
int callPlain(PCB* caller) {
    uint8_t name[] = "XPLAIN";
    void* rec = _zvkDynLd(nullptr, 6, name, caller, nullptr, nullptr);
    return rec ? reinterpret_cast<int (*)(void)>(*static_cast<void**>(rec))() : -1;
}

int loaded() {
    std::string path = std::string(getenv("COBPATH")) + "/XPLAIN.so";
    void* h = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
}

// One run unit that runs `first` (a CALL of a control, as compiled code
// makes it) and then calls XPLAIN; with the cache on, the program stays
// loaded after it.
void runUnit(const char* what, void (*first)(void) = nullptr) {
    static cobol::Program pgm("EXPMAIN", reinterpret_cast<void*>(&runUnit));
    int result = 0;
    COBOL_MAIN(pgm, {
        if (first) first();
        result = callPlain(pgm.p());
    });
    printf("%s.call=%d loaded=%d\n", what, result, loaded());
}

void cacheState(const char* name) {
    printf("%s=cache=%u env=%s\n", name, _zvkProccom->cache, getenv("COBOL_CPM_CACHE"));
}

void marker(const char* name) {
    fflush(stdout);
    fprintf(stderr, "[%s]\n", name);
    fflush(stderr);
}

void cache() {
    runUnit("cached", ZVK_CPM_ENABLE);
    cacheState("ZVK_CPM_ENABLE");
    marker("_zvk_cpm_stats");
    _zvk_cpm_stats();
    marker("_zvk_cpm_print");
    _zvk_cpm_print();
    marker("end");
    runUnit("unload");
    const int unknown = _zvk_cpm_unload("NOSUCH"), known = _zvk_cpm_unload("XPLAIN");
    printf("_zvk_cpm_unload=%d %d loaded=%d\n", unknown, known, loaded());
    runUnit("UNLOAD_ALL");
    ZVK_CPM_UNLOAD_ALL();
    printf("ZVK_CPM_UNLOAD_ALL=loaded=%d\n", loaded());
    runUnit("unload_all");
    _zvk_cpm_unload_all();
    printf("_zvk_cpm_unload_all=loaded=%d\n", loaded());
    runUnit("destroy");
    _zvk_cpm_destroy();
    printf("_zvk_cpm_destroy=loaded=%d\n", loaded());
    runUnit("uncached", ZVK_CPM_DISABLE);
    cacheState("ZVK_CPM_DISABLE");
    _zvk_cpm_enable();
    runUnit("uncached2", _zvk_cpm_disable);
    cacheState("_zvk_cpm_disable");
}

// CANCEL's reset of a program that is not active: its IPCB entries as at
// the start, its PCB no longer the main one nor registered.
void closeReset() {
    static cobol::Program pgm("EXPMAIN", reinterpret_cast<void*>(&closeReset));
    static cobol::Program sub("EXPSUB", reinterpret_cast<void*>(&closeReset), 6, 1, 0, 9999, 0, 1);
    COBOL_MAIN(pgm, {
        for (size_t i = 0; i < 2; ++i) {
            cobol::put<int32_t>(sub.ipcb, i * cobol::ipcbo::stride + cobol::ipcbo::ent, 1);
            cobol::put<uint32_t>(sub.ipcb, i * cobol::ipcbo::stride + cobol::ipcbo::status, 0xC0000123u);
        }
        cobol::put<void*>(sub.ipcb, cobol::ipcbo::pcb, sub.pcb);
        cobol::put<uint32_t>(sub.pcb, cobol::pcbo::flag, 0x80000001u);
        cobol::put<void*>(sub.pcb, cobol::pcbo::lle, &sub);
        _zvkCloseReset(sub.i());
        printf("_zvkCloseReset=ent %d %d status %x %x flag %x lle %d\n", sub.ent(),
               cobol::get<int32_t>(sub.ipcb, cobol::ipcbo::stride + cobol::ipcbo::ent),
               cobol::get<uint32_t>(sub.ipcb, cobol::ipcbo::status),
               cobol::get<uint32_t>(sub.ipcb, cobol::ipcbo::stride + cobol::ipcbo::status), sub.flag(),
               sub.lle() != nullptr);
    });
}

// A signal that is no fault: reported with a traceback, and the run goes on.
void signalRoutine() {
    static cobol::Program pgm("EXPMAIN", reinterpret_cast<void*>(&signalRoutine));
    COBOL_MAIN(pgm, {
        marker("_zvkSignal");
        _zvkSignal(SIGUSR1, nullptr, nullptr);
        marker("end");
        printf("_zvkSignal=goes on\n");
    });
}

}  // namespace

int main(int argc, char** argv) {
    const std::string s = argc > 1 ? argv[1] : "";
    if (s == "cache") cache();
    else if (s == "closereset") closeReset();
    else if (s == "signal") signalRoutine();
    else return 2;
    return 0;
}
