// The hook table.  Registration happens while the library loads, on one
// thread, before any program runs: the table needs no lock.

#include <cstdlib>

#include "frame/hooks.h"

namespace {

zvkRegisterFilesHook registerFilesHook = nullptr;
zvkCloseFilesHook closeFilesHook = nullptr;
void (*runtimeEndHooks[kMaxRuntimeEndHooks])(void) = {};
int runtimeEndCount = 0;
void (*threadEndHook)(void) = nullptr;

}  // namespace

extern "C" {

void zvkSetFileHooks(zvkRegisterFilesHook registerFiles, zvkCloseFilesHook closeFiles) {
    registerFilesHook = registerFiles;
    closeFilesHook = closeFiles;
}

void zvkAtRuntimeEnd(void (*hook)(void)) {
    // A subsystem more than the table holds is a build mistake, found by
    // the first test that loads the library.
    if (runtimeEndCount == kMaxRuntimeEndHooks) abort();
    runtimeEndHooks[runtimeEndCount++] = hook;
}

void zvkSetThreadEndHook(void (*hook)(void)) { threadEndHook = hook; }

void zvkRegisterFiles(PCB* pcb, IPCB* ipcb) {
    if (registerFilesHook) registerFilesHook(pcb, ipcb);
}
void zvkCloseProgramFiles(IPCB* ipcb, bool resetOnly) {
    if (closeFilesHook) closeFilesHook(ipcb, resetOnly);
}
void zvkRunRuntimeEndHooks(void) {
    for (int i = 0; i < runtimeEndCount; ++i) runtimeEndHooks[i]();
}
void zvkRunThreadEndHook(void) {
    if (threadEndHook) threadEndHook();
}

}  // extern "C"
