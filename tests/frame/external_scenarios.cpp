// Scenario programs for EXTERNAL data items, run by external_test in
// processes of their own.  Item tables are laid out as the compiler lays
// them out: a u32 count, rows of 36 bytes from byte 36 (u32 length, name).

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "cobol.h"

namespace {

// A program's table of EXTERNAL items, on the heap so that it can be
// released as an unloaded program's would be.
uint32_t* itemTable(std::initializer_list<std::pair<const char*, uint32_t>> items) {
    size_t size = 36 + 36 * items.size();
    auto* t = static_cast<uint8_t*>(calloc(1, size));
    uint32_t n = static_cast<uint32_t>(items.size());
    memcpy(t, &n, 4);
    size_t at = 36;
    for (auto& [name, length] : items) {
        memcpy(t + at, &length, 4);
        snprintf(reinterpret_cast<char*>(t + at + 4), 32, "%s", name);
        at += 36;
    }
    return reinterpret_cast<uint32_t*>(t);
}

void* resolveOne(const char* name, uint32_t length) {
    uint32_t* t = itemTable({{name, length}});
    void* address = nullptr;
    _zvkExtVarInit(t, &address);
    // The table goes away as with a cancelled program; the item stays.
    memset(t, 0xEE, 72);
    free(t);
    return address;
}

void subBody() {}

int share() {
    static cobol::Program mainPgm("EXTMAIN", reinterpret_cast<void*>(&share));
    static cobol::Program sub("EXTSUB", reinterpret_cast<void*>(&subBody));
    COBOL_MAIN(mainPgm, {
        uint32_t* t = itemTable({{"SHARED-REC", 10}, {"COUNTER", 4}});
        void* a[2] = {};
        _zvkExtVarInit(t, a);
        free(t);
        const uint8_t zero[10] = {};
        printf("zeroed=%d\n", memcmp(a[0], zero, 10) == 0 && memcmp(a[1], zero, 4) == 0);
        printf("aligned=%d\n", reinterpret_cast<uintptr_t>(a[0]) % 16 == 0);
        uint64_t stored;
        memcpy(&stored, static_cast<uint8_t*>(a[0]) - 8, 8);
        printf("length.before.data=%lu\n", static_cast<unsigned long>(stored));
        memcpy(a[0], "0123456789", 10);
        cobol::call(sub, [&] {
            void* b = resolveOne("SHARED-REC", 10);
            printf("same=%d\n", b == a[0]);
            printf("seen=%.10s\n", static_cast<char*>(b));
            memcpy(b, "ABCDE", 5);
        });
        printf("main.sees=%.10s\n", static_cast<char*>(a[0]));
        // Names are case and blank exact.
        printf("other=%d\n", resolveOne("shared-rec", 10) != a[0]);
        printf("again=%d\n", resolveOne("COUNTER", 4) == a[1]);
    });
    // The next run unit starts with no items.
    static cobol::Program next("EXTNEXT", reinterpret_cast<void*>(&share));
    COBOL_MAIN(next, {
        void* c = resolveOne("SHARED-REC", 10);
        const uint8_t zero[10] = {};
        printf("next.zeroed=%d\n", memcmp(c, zero, 10) == 0);
    });
    return 0;
}

int mismatch() {
    static cobol::Program mainPgm("EXTMAIN", reinterpret_cast<void*>(&mismatch));
    COBOL_MAIN(mainPgm, {
        resolveOne("X", 10);
        printf("first\n");
        fflush(stdout);
        resolveOne("X", 12);
        printf("not reached\n");
    });
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::string s = argc > 1 ? argv[1] : "";
    if (s == "share") return share();
    if (s == "mismatch") return mismatch();
    return 2;
}
