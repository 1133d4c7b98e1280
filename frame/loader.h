// The runtime's search for a shared object it loads on demand (file-system
// modules, the sort engine).
#pragma once

#include <cstddef>

extern "C" {

// Loads file: from libDir (and its parent for ".../profiled"), by the bare
// name, from installDir, by the bare name again.  Null, with a line on
// stderr, when none loads; why (if given) then holds the loader's text.
void* zvkLoadModule(const char* file, int flags, const char* libDir, const char* installDir, char* why = nullptr,
                    size_t whySize = 0);

}  // extern "C"
