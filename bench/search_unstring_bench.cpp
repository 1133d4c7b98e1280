// SEARCH ALL over a 10,000-entry table with an 8-byte and a 40-byte key,
// and UNSTRING of an 80-byte CSV line into 8 fields, called as compiled
// code calls them.
#include <benchmark/benchmark.h>
#include <string.h>

#include <string>
#include <vector>

#include "kvr2/kvr2.h"

namespace {

constexpr int kEntries = 10000;

struct Table {
    std::vector<uint8_t> data;
    std::vector<uint8_t> header;
    uint64_t stride;
    uint32_t keyLength;
    std::vector<std::vector<uint8_t>> keys;

    Table(uint8_t type, uint32_t keyLen) : stride(keyLen + 24), keyLength(keyLen) {
        data.assign(stride * kEntries, 0x20);
        for (int i = 0; i < kEntries; ++i) {
            std::vector<uint8_t> k(keyLen, '0');
            // Ascending keys differing in their last eight characters.
            std::string digits = std::to_string(100000000 + i * 7);
            memcpy(k.data() + keyLen - 8, digits.data() + 1, 8);
            memcpy(&data[i * stride + 4], k.data(), keyLen);
            keys.push_back(k);
        }
        header.assign(8 + 16 + 8 + 1, 0);
        int16_t one = 1;
        memcpy(&header[2], &one, 2);
        memcpy(&header[4], &one, 2);
        header[8] = type;
        memcpy(&header[12], &keyLen, 4);
        uint64_t off = 4, len = keyLen;
        memcpy(&header[16], &off, 8);
        memcpy(&header[24], &len, 8);
    }
};

void searchAll(benchmark::State& state, uint8_t type, uint32_t keyLen) {
    Table t(type, keyLen);
    size_t i = 0;
    for (auto _ : state) {
        const auto& key = t.keys[(i++ * 7919) % kEntries];
        SearchArgument arg{key.data(), key.data()};
        int64_t r = _zvkcSrchAll(reinterpret_cast<const SearchHeader*>(t.header.data()), t.data.data(), kEntries,
                                 t.stride, &arg, nullptr, nullptr);
        benchmark::DoNotOptimize(r);
    }
}

void BM_SearchAll_Key8(benchmark::State& s) { searchAll(s, ZVK_KEY_ALPHANUMERIC, 8); }
void BM_SearchAll_Key40(benchmark::State& s) { searchAll(s, ZVK_KEY_ALPHANUMERIC, 40); }
void BM_SearchAll_Zoned8(benchmark::State& s) { searchAll(s, ZVK_KEY_ZONED, 8); }
BENCHMARK(BM_SearchAll_Key8);
BENCHMARK(BM_SearchAll_Key40);
BENCHMARK(BM_SearchAll_Zoned8);

void BM_Unstring_Csv80(benchmark::State& state) {
    std::string line = "SMITH,JOHN,1234 MAIN STREET,SPRINGFIELD,IL,62704,555-0100,ACTIVE CUSTOMER SINCE";
    line.resize(80, ' ');
    std::vector<uint8_t> block(48 + 24, 0);
    block[3] = ZVK_UNSTRING_TALLYING;
    const uint8_t* src = reinterpret_cast<const uint8_t*>(line.data());
    uint64_t len = line.size();
    uint32_t dc = 1, tc = 8;
    memcpy(&block[8], &src, 8);
    memcpy(&block[16], &len, 8);
    memcpy(&block[40], &dc, 4);
    memcpy(&block[44], &tc, 4);
    static const uint8_t comma = ',';
    const uint8_t* cp = &comma;
    uint64_t one = 1;
    memcpy(&block[48], &cp, 8);
    memcpy(&block[56], &one, 8);
    std::vector<std::vector<uint8_t>> items(8, std::vector<uint8_t>(24));
    std::vector<uint8_t> targets(64 * 8, 0);
    for (int t = 0; t < 8; ++t) {
        uint8_t* a = items[t].data();
        uint64_t size = 24;
        memcpy(&targets[64 * t], &a, 8);
        memcpy(&targets[64 * t + 8], &size, 8);
    }
    for (auto _ : state) {
        uint32_t overflow = 1, tally = 0;
        memcpy(&block[32], &tally, 4);
        _zvkcUnString(reinterpret_cast<UnstringBlock*>(block.data()), reinterpret_cast<UnstringTarget*>(targets.data()),
                      nullptr, &overflow);
        benchmark::DoNotOptimize(items[7][0]);
    }
}
BENCHMARK(BM_Unstring_Csv80);

}  // namespace

BENCHMARK_MAIN();
