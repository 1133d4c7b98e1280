// GnuCOBOL's table SORT as an oracle: cobol_tsort.cbl writes a table and
// the same table after SORT on each key of every type it shares with this
// library, both directions, over 150 elements (copy mode here) and over
// 500 (permutation mode).  Keys are distinct and every packed item is
// signed, where the two runtimes must agree byte for byte.  Exits 77 when
// no COBOL compiler was found to build the program.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <string>
#include <vector>

#include "kvr2/kvr2.h"

int main() {
#ifndef KVR2_COBTSORT
    puts("cobc not installed: skipped");
    return 77;
#else
    const std::string out = std::string(getenv("TMPDIR") ? getenv("TMPDIR") : "/tmp") + "/cobtsort." +
                            std::to_string(getpid()) + ".bin";
    const std::string cmd = std::string(KVR2_COBTSORT) + " " + out;
    if (system(cmd.c_str()) != 0) {
        fprintf(stderr, "%s failed\n", cmd.c_str());
        return 1;
    }
    std::vector<uint8_t> data;
    if (FILE* f = fopen(out.c_str(), "rb")) {
        uint8_t buf[65536];
        for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) data.insert(data.end(), buf, buf + n);
        fclose(f);
    }
    remove(out.c_str());
    constexpr uint32_t kElement = 40;
    const TableSortKey keys[8] = {
        {0, 5, ZVK_TSORT_ZONED, ZVK_TSORT_TRAILING_OVERPUNCH, 0, {}},
        {5, 5, ZVK_TSORT_ZONED, ZVK_TSORT_LEADING_SEPARATE, 0, {}},
        {10, 4, ZVK_TSORT_PACKED, 0, 0, {}},
        {14, 4, ZVK_TSORT_BINARY, ZVK_TSORT_SIGNED_BINARY, 0, {}},
        {18, 2, ZVK_TSORT_BINARY, 0, 0, {}},
        {20, 4, ZVK_TSORT_FLOAT, 0, 0, {}},
        {24, 8, ZVK_TSORT_FLOAT, 0, 0, {}},
        {32, 6, ZVK_TSORT_ALPHANUMERIC, 0, 0, {}},
    };
    const size_t expected = size_t(kElement) * (500 + 16 * 150 + 16 * 500);
    if (data.size() != expected) {
        fprintf(stderr, "%zu bytes from the COBOL program, %zu expected\n", data.size(), expected);
        return 1;
    }
    const uint8_t* original = data.data();
    const uint8_t* sortedByCobol = original + 500 * kElement;
    int failures = 0;
    for (int32_t count : {150, 500}) {
        for (int c = 0; c < 16; ++c, sortedByCobol += size_t(count) * kElement) {
            TableSortKey key = keys[c / 2];
            key.orderFlags = c % 2 == 0 ? ZVK_TSORT_ASCENDING : 0;
            std::vector<uint8_t> table(original, original + size_t(count) * kElement);
            _zvkcTSort(0, table.data(), kElement, count, nullptr, 1, &key);
            if (memcmp(table.data(), sortedByCobol, table.size()) != 0) {
                fprintf(stderr, "differs: %d elements, key at %u type %u, %s\n", count, key.offset, key.keyType,
                        c % 2 == 0 ? "ascending" : "descending");
                ++failures;
            }
        }
    }
    printf("%d of 32 sorts differ\n", failures);
    return failures ? 1 : 0;
#endif
}
