// Records of the SORT scenarios, shared by the scenario program, the test
// engines and the tests: record i's bytes and (variable records) length,
// and a digest of a sequence of records as RETURN hands them back.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

namespace sortmodel {

// Record i: its key (i, or a descending number), ten digits, then a letter.
inline void fill(uint32_t i, bool descending, uint8_t* out, uint32_t length) {
    char key[16];
    snprintf(key, sizeof key, "%010u", descending ? 4000000000u - i : i);
    for (uint32_t k = 0; k < length; ++k) out[k] = k < 10 ? static_cast<uint8_t>(key[k]) : 'a' + i % 26;
}

// A variable record's length, from 10 to maxLength, for generated files.
inline uint32_t generatedLength(uint32_t i, uint32_t maxLength) {
    return maxLength <= 10 ? maxLength : 10 + (i * 7919u) % (maxLength - 9);
}

// FNV-1a over each record's length word and bytes.
struct Digest {
    uint64_t hash = 1469598103934665603ull;
    uint64_t count = 0, bytes = 0;
    void add(const uint8_t* data, uint32_t length) {
        auto mix = [this](uint8_t b) { hash = (hash ^ b) * 1099511628211ull; };
        for (int k = 0; k < 4; ++k) mix(static_cast<uint8_t>(length >> (8 * k)));
        for (uint32_t k = 0; k < length; ++k) mix(data[k]);
        ++count;
        bytes += length;
    }
    std::string text() const {
        char t[80];
        snprintf(t, sizeof t, "%llu/%llu/%016llx", static_cast<unsigned long long>(count),
                 static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(hash));
        return t;
    }
};

// "996*261,596,100*10": lengths, with repeats.
inline std::vector<uint32_t> lengths(const std::string& list) {
    std::vector<uint32_t> out;
    size_t at = 0;
    while (at < list.size()) {
        size_t comma = list.find(',', at);
        if (comma == std::string::npos) comma = list.size();
        const std::string item = list.substr(at, comma - at);
        const size_t star = item.find('*');
        const uint32_t length = static_cast<uint32_t>(std::stoul(item.substr(0, star)));
        const uint32_t times = star == std::string::npos ? 1 : static_cast<uint32_t>(std::stoul(item.substr(star + 1)));
        out.insert(out.end(), times, length);
        at = comma + 1;
    }
    return out;
}

}  // namespace sortmodel
