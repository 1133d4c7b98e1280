// Cases from a Python value model, one block per case:
//   case A B COLL NKEYS (OFFSET LENGTH TYPE SIGN ASCENDING)...
//   [coll HEX]  in HEX  out HEX
// A and B are the model's two numbers (element length and count for the
// table sort, format and record length for the engine).
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "kvr2/kvr2.h"

namespace modelcases {

using Bytes = std::vector<uint8_t>;

inline Bytes fromHex(const std::string& h) {
    Bytes b(h.size() / 2);
    for (size_t i = 0; i < b.size(); ++i) b[i] = uint8_t(std::stoul(h.substr(2 * i, 2), nullptr, 16));
    return b;
}

struct Case {
    uint32_t a = 0, b = 0;
    std::vector<TableSortKey> keys;
    Bytes collating, in, out;
    std::string text;
    const uint8_t* coll() const { return collating.empty() ? nullptr : collating.data(); }
};

// Runs `python3 script seed cases` and reads its cases.
inline std::vector<Case> read(const std::string& script, int seed, int cases) {
    const std::string cmd = "python3 " + script + " " + std::to_string(seed) + " " + std::to_string(cases);
    std::vector<Case> all;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return all;
    std::string line;
    for (int c; (c = fgetc(p)) != EOF;) {
        if (c != '\n') {
            line += char(c);
            continue;
        }
        if (line.rfind("case ", 0) == 0) {
            Case m;
            m.text = line;
            unsigned a, b, coll, n;
            int used = 0;
            sscanf(line.c_str(), "case %u %u %u %u%n", &a, &b, &coll, &n, &used);
            m.a = a, m.b = b;
            const char* rest = line.c_str() + used;
            for (unsigned i = 0; i < n; ++i) {
                unsigned o, l, t, s, asc;
                int u = 0;
                sscanf(rest, " %u %u %u %u %u%n", &o, &l, &t, &s, &asc, &u);
                rest += u;
                TableSortKey k{};
                k.offset = o, k.length = l, k.keyType = t, k.signFlags = uint8_t(s);
                k.orderFlags = asc ? ZVK_TSORT_ASCENDING : 0;
                m.keys.push_back(k);
            }
            all.push_back(m);
        } else if (!all.empty() && line.rfind("coll ", 0) == 0) {
            all.back().collating = fromHex(line.substr(5));
        } else if (!all.empty() && line.rfind("in ", 0) == 0) {
            all.back().in = fromHex(line.substr(3));
        } else if (!all.empty() && line.rfind("out ", 0) == 0) {
            all.back().out = fromHex(line.substr(4));
        }
        line.clear();
    }
    EXPECT_EQ(pclose(p), 0);
    return all;
}

}  // namespace modelcases
