// The search for a module: first beside the library itself, so that an
// installation brings its own modules, then the loader's own search, then
// the fixed installation directory.

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "frame/loader.h"

namespace {

void* tryLoad(const char* dir, const char* file, int flags) {
    char path[4096];
    const size_t n = strlen(dir);
    const char* slash = n && dir[n - 1] == '/' ? "" : "/";
    if (snprintf(path, sizeof path, "%s%s%s", dir, slash, file) >= static_cast<int>(sizeof path)) return nullptr;
    if (access(path, R_OK | X_OK) != 0) return nullptr;
    return dlopen(path, flags);
}

void* tryDirectory(const char* dir, const char* file, int flags) {
    if (!dir || !*dir) return nullptr;
    if (void* h = tryLoad(dir, file, flags)) return h;
    // A profiled build lives in ".../profiled": its modules beside it.
    const char* slash = strrchr(dir, '/');
    if (slash && strcmp(slash, "/profiled") == 0) {
        char parent[4096];
        const size_t n = static_cast<size_t>(slash - dir);
        if (n < sizeof parent) {
            memcpy(parent, dir, n);
            parent[n] = 0;
            return tryLoad(parent, file, flags);
        }
    }
    return nullptr;
}

}  // namespace

extern "C" {

void* zvkLoadModule(const char* file, int flags, const char* libDir, const char* installDir, char* why,
                    size_t whySize) {
    if (void* h = tryDirectory(libDir, file, flags)) return h;
    if (void* h = dlopen(file, flags)) return h;
    if (void* h = tryDirectory(installDir, file, flags)) return h;
    void* h = dlopen(file, flags);
    if (!h) {
        // dlerror() hands its text out once: kept for a caller that reports it too.
        const char* text = dlerror();
        if (!text) text = "";
        fprintf(stderr, "dlopen(%s) error %s\n", file, text);
        if (why && whySize) snprintf(why, whySize, "%s", text);
    }
    return h;
}

}  // extern "C"
