// The file subsystem's part in the life of a run unit: a program's files
// registered at its first entry and closed at the end of its run unit,
// and the file-system modules unloaded when the runtime ends.  Until file
// dispatch is in place a program's files are not registered and there is
// nothing to close or unload.

#include "frame/hooks.h"

namespace {

void registerFiles(PCB*, IPCB*) {}
void closeProgramFiles(IPCB*, bool) {}
void unloadModules(void) {}

[[maybe_unused]] const bool hooked = (zvkSetFileHooks(registerFiles, closeProgramFiles), zvkAtRuntimeEnd(unloadModules), true);

}  // namespace
