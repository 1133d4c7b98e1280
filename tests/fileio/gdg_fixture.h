// A temporary directory per test, catalogues read and written byte for
// byte at their documented offsets, and generation files made on demand.
#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fileio/gdg.h"

namespace gdgtest {

struct Catalogue {
    uint32_t limit = 10, days = 0, flags = GDG_SCRATCH, newest = 0, epoch = 0, fileSystem = 0, entryCount = 0;
    uint32_t version = 1;
    std::vector<uint32_t> entries;
};

inline uint32_t word(const std::vector<uint8_t>& b, size_t off) {
    uint32_t v;
    memcpy(&v, b.data() + off, 4);
    return v;
}

class TempDirTest : public ::testing::Test {
protected:
    std::string dir;
    void SetUp() override {
        char templ[] = "/tmp/kvr2gdgXXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        dir = templ;
        setenv("gdg_home", (dir + "/home").c_str(), 1);
    }
    void TearDown() override {
        std::string cmd = "rm -rf '" + dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }
    std::string path(const std::string& name) const { return dir + "/" + name; }
    static bool exists(const std::string& p) {
        struct stat st;
        return stat(p.c_str(), &st) == 0;
    }
    static void touch(const std::string& p) {
        int fd = open(p.c_str(), O_CREAT | O_WRONLY, 0644);
        ASSERT_GE(fd, 0) << p;
        close(fd);
    }
    static std::string generation(const std::string& base, int n) {
        char buf[16];
        snprintf(buf, sizeof buf, ".g%04dv00", n);
        return base + buf;
    }
    // Writes a catalogue as another program (or another machine) would.
    static void writeCatalogue(const std::string& base, const Catalogue& c) {
        std::vector<uint8_t> b(4096, 0);
        memcpy(b.data(), "GDG\n", 4);
        uint32_t count = c.entryCount ? c.entryCount : static_cast<uint32_t>(c.entries.size());
        const uint32_t head[] = {1234, c.version, c.limit, c.days, c.flags, count, c.newest, c.epoch, c.fileSystem};
        memcpy(b.data() + 4, head, sizeof head);
        for (size_t i = 0; i < c.entries.size() && i < 1000; ++i) memcpy(b.data() + 96 + 4 * i, &c.entries[i], 4);
        int fd = open((base + ".catalogue").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(write(fd, b.data(), b.size()), 4096);
        close(fd);
    }
    static std::vector<uint8_t> readBytes(const std::string& base) {
        std::vector<uint8_t> b(4096, 0);
        int fd = open((base + ".catalogue").c_str(), O_RDONLY);
        EXPECT_GE(fd, 0);
        if (fd >= 0) {
            EXPECT_EQ(read(fd, b.data(), b.size()), 4096);
            close(fd);
        }
        return b;
    }
    static std::vector<uint32_t> entriesOf(const std::string& base) {
        std::vector<uint8_t> b = readBytes(base);
        std::vector<uint32_t> e;
        for (uint32_t i = 0; i < word(b, 24) && i < 1000; ++i) e.push_back(word(b, 96 + 4 * i));
        return e;
    }
    // GDS_Name(name(+1)) with create, and the file made as an OPEN OUTPUT
    // would; returns the file's name or "" when none was given.
    static std::string addGeneration(const std::string& base, const char* prefix = nullptr) {
        char* file = nullptr;
        int rc = GDS_Name((base + "(+1)").c_str(), &file, 1, prefix);
        std::string name = file ? file : "";
        free(file);
        if (rc != 1) return "";
        if (name[0] == '/' && name.compare(0, 4, "/.:/") != 0) touch(name);
        return name;
    }
    static int resolve(const std::string& name, std::string* file = nullptr) {
        char* result = nullptr;
        int rc = GDS_Name(name.c_str(), &result, 0, nullptr);
        if (file) *file = result ? result : "";
        free(result);
        return rc;
    }
};

}  // namespace gdgtest
