// A directory of a test's own under /tmp, removed with all it holds when
// the object goes.
#pragma once

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace scenario {

struct TempDir {
    std::string path;
    TempDir() {
        char t[] = "/tmp/kvr2testXXXXXX";
        path = mkdtemp(t) ? t : "";
    }
    ~TempDir() {
        if (!path.empty())
            nftw(path.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return ::remove(p); }, 8,
                 FTW_DEPTH | FTW_PHYS);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string file(const std::string& name) const { return path + "/" + name; }
};

}  // namespace scenario
