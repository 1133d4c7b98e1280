// SEARCH ALL over tables laid out as compiled code lays them out: every
// key type, ascending and descending, one, two and many entries, every
// present key found at its offset and values between, below and above the
// keys reported absent.  The expected answers come from the values
// themselves, encoded here independently of the library.

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "kvr2/search.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Encoder = std::function<Bytes(int64_t)>;

// ---- encoders: value to the key's bytes ----
Bytes packed(int64_t v, int digits, uint8_t plus = 0x0C, uint8_t minus = 0x0D) {
    int bytes = digits / 2 + 1;
    Bytes out(bytes, 0);
    uint64_t m = v < 0 ? 0 - static_cast<uint64_t>(v) : v;
    out[bytes - 1] = static_cast<uint8_t>(((m % 10) << 4) | (v < 0 ? minus : plus));
    m /= 10;
    for (int i = bytes - 2; i >= 0; --i) {
        out[i] = static_cast<uint8_t>((m % 10) | ((m / 10 % 10) << 4));
        m /= 100;
    }
    if (digits % 2 == 0) out[0] &= 0x0F;
    return out;
}

// Native zoned, trailing overpunch (0x7n negative); or EBCDIC (0xFn / 0xDn).
Bytes zoned(int64_t v, int digits, bool ebcdic = false) {
    Bytes out(digits);
    uint64_t m = v < 0 ? 0 - static_cast<uint64_t>(v) : v;
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<uint8_t>((ebcdic ? 0xF0 : 0x30) | (m % 10));
        m /= 10;
    }
    if (v < 0) out[digits - 1] = static_cast<uint8_t>((out[digits - 1] & 0x0F) | (ebcdic ? 0xD0 : 0x70));
    return out;
}

Bytes zonedSeparate(int64_t v, int digits, bool leading) {
    Bytes d = zoned(v < 0 ? -v : v, digits);
    uint8_t s = v < 0 ? '-' : '+';
    if (leading) d.insert(d.begin(), s);
    else d.push_back(s);
    return d;
}

Bytes binary(int64_t v, int n, bool highFirst) {
    Bytes out(n);
    for (int i = 0; i < n; ++i) out[highFirst ? n - 1 - i : i] = static_cast<uint8_t>(static_cast<uint64_t>(v) >> (8 * i));
    return out;
}

template <class F>
Bytes floating(int64_t v, bool highFirst) {
    F f = static_cast<F>(v) / 8;
    Bytes out(sizeof f);
    memcpy(out.data(), &f, sizeof f);
    if (highFirst) std::reverse(out.begin(), out.end());
    return out;
}

// Fixed-width text whose byte order is the value's order (values >= 0).
Bytes text(int64_t v, int n) {
    Bytes out(n);
    for (int i = n - 1; i >= 0; --i) {
        out[i] = static_cast<uint8_t>('A' + v % 26);
        v /= 26;
    }
    return out;
}

// UTF-16 units low byte first whose unit order is the value's order while
// the bytes' order is not (units on both sides of 0x0100).
Bytes nationalText(int64_t v, int units) {
    Bytes out(2 * units);
    for (int i = units - 1; i >= 0; --i) {
        uint16_t u = static_cast<uint16_t>(0x00F8 + (v % 16));
        out[2 * i] = static_cast<uint8_t>(u);
        out[2 * i + 1] = static_cast<uint8_t>(u >> 8);
        v /= 16;
    }
    return out;
}

Bytes nationalDigits(int64_t v, int units) {
    Bytes out;
    std::string s = std::to_string(v < 0 ? -v : v);
    s.insert(0, units - 1 - s.size(), '0');
    s.push_back(v < 0 ? '-' : '+');
    for (char c : s) {
        out.push_back(static_cast<uint8_t>(c));
        out.push_back(0);
    }
    return out;
}

// The keys of the values one after another: a table of entries that are
// just their key.
Bytes concat(const std::vector<int64_t>& values, const Encoder& enc) {
    Bytes out;
    for (int64_t v : values) {
        Bytes k = enc(v);
        out.insert(out.end(), k.begin(), k.end());
    }
    return out;
}

// ---- tables ----
struct KeyDef {
    uint8_t type;
    uint32_t length;
    uint64_t offset;
};

struct Search {
    Bytes header;
    std::vector<SearchArgument> args;
    std::vector<Bytes> values;

    Search(const std::vector<KeyDef>& keys, const std::vector<Bytes>& arguments, const std::vector<uint8_t>& forms,
           uint16_t base) {
        header.resize(8 + 16 * keys.size() + 8 * arguments.size() + arguments.size());
        uint16_t kc = static_cast<uint16_t>(keys.size()), ac = static_cast<uint16_t>(arguments.size());
        memcpy(&header[0], &base, 2);
        memcpy(&header[2], &kc, 2);
        memcpy(&header[4], &ac, 2);
        for (size_t k = 0; k < keys.size(); ++k) {
            header[8 + 16 * k] = keys[k].type;
            memcpy(&header[8 + 16 * k + 4], &keys[k].length, 4);
            memcpy(&header[8 + 16 * k + 8], &keys[k].offset, 8);
        }
        values = arguments;
        for (size_t a = 0; a < arguments.size(); ++a) {
            uint64_t len = arguments[a].size();
            memcpy(&header[8 + 16 * keys.size() + 8 * a], &len, 8);
            header[8 + 16 * keys.size() + 8 * arguments.size() + a] = a < forms.size() ? forms[a] : 0;
        }
        for (auto& v : values) args.push_back({v.data(), v.data()});
    }
    int64_t run(Bytes& table, int64_t entries, uint64_t stride, const AlphabetRecord* alphabet = nullptr) {
        return _zvkcSrchAll(reinterpret_cast<const SearchHeader*>(header.data()), table.data(), entries, stride,
                            args.data(), nullptr, alphabet);
    }
};

constexpr uint16_t kBase = 5;
constexpr uint64_t kKeyOffset = 3;

// A table of one key: entries in the key's order (reversed for a
// descending key); each present value found, each absent one not.
void checkType(const char* what, uint8_t type, uint32_t keyLength, const Encoder& enc, int64_t lo, int64_t hi,
               int64_t step, uint8_t form = 0) {
    std::mt19937_64 rng(type * 1000 + keyLength);
    for (bool descending : {false, true}) {
        for (int count : {1, 2, 3, 57, 400}) {
            if (count > (hi - lo) / step) continue;
            std::set<int64_t> chosen;
            while (static_cast<int>(chosen.size()) < count) {
                int64_t v = lo + static_cast<int64_t>(rng() % static_cast<uint64_t>((hi - lo) / step)) * step;
                chosen.insert(v);
            }
            std::vector<int64_t> vals(chosen.begin(), chosen.end());
            if (descending) std::reverse(vals.begin(), vals.end());
            const uint64_t stride = keyLength + 7;
            Bytes table(kBase + stride * vals.size(), 0xEE);
            for (size_t i = 0; i < vals.size(); ++i) {
                Bytes k = enc(vals[i]);
                ASSERT_EQ(k.size(), keyLength);
                memcpy(&table[kBase + i * stride + kKeyOffset], k.data(), k.size());
            }
            uint8_t t = static_cast<uint8_t>(type | (descending ? ZVK_KEY_DESCENDING : 0));
            for (size_t i = 0; i < vals.size(); ++i) {
                Search s({{t, keyLength, kKeyOffset}}, {enc(vals[i])}, {form}, kBase);
                ASSERT_EQ(s.run(table, static_cast<int64_t>(vals.size()), stride), static_cast<int64_t>(i * stride))
                    << what << " value " << vals[i] << " of " << count << (descending ? " descending" : "");
            }
            for (int64_t absent : {lo - step, hi + step, vals[0] + step / 2, vals.back() - step / 2}) {
                if (step < 2 && (absent != lo - step && absent != hi + step)) continue;
                if (chosen.count(absent)) continue;
                Search s({{t, keyLength, kKeyOffset}}, {enc(absent)}, {form}, kBase);
                ASSERT_EQ(s.run(table, static_cast<int64_t>(vals.size()), stride), -1)
                    << what << " absent " << absent << " of " << count;
            }
        }
    }
}

TEST(SearchAll, EveryKeyTypeAscendingAndDescending) {
    checkType("alphanumeric", ZVK_KEY_ALPHANUMERIC, 6, [](int64_t v) { return text(v, 6); }, 0, 300000000, 2);
    checkType("alphanumeric long", ZVK_KEY_ALPHANUMERIC, 40,
              [](int64_t v) { Bytes b(34, 'Q'); Bytes t = text(v, 6); b.insert(b.end(), t.begin(), t.end()); return b; },
              0, 300000000, 2);
    checkType("packed 9", ZVK_KEY_PACKED, 5, [](int64_t v) { return packed(v, 9); }, -999999990, 999999990, 2);
    checkType("packed 18", ZVK_KEY_PACKED, 10, [](int64_t v) { return packed(v, 18); }, -99999999999990, 99999999999990, 2);
    checkType("zoned native", ZVK_KEY_ZONED, 9, [](int64_t v) { return zoned(v, 9); }, -999999990, 999999990, 2);
    checkType("display", ZVK_KEY_DISPLAY, 7, [](int64_t v) { return zoned(v, 7); }, -9999990, 9999990, 2);
    checkType("zoned long", ZVK_KEY_ZONED, 31, [](int64_t v) { return zoned(v, 31); }, -999999999999990, 999999999999990, 2);
    checkType("zoned ebcdic", ZVK_KEY_ZONED_EBCDIC, 9, [](int64_t v) { return zoned(v, 9, true); }, -999999990, 999999990, 2);
    checkType("zoned separate leading", ZVK_KEY_ZONED, 8, [](int64_t v) { return zonedSeparate(v, 7, true); },
              -9999990, 9999990, 2, ZVK_SEARCH_ARG_SEPARATE | ZVK_SEARCH_ARG_LEADING);
    checkType("binary le 2", ZVK_KEY_BINARY_LE, 2, [](int64_t v) { return binary(v, 2, false); }, -32000, 32000, 2);
    checkType("binary be 4", ZVK_KEY_BINARY_BE, 4, [](int64_t v) { return binary(v, 4, true); }, -2000000000, 2000000000, 2);
    checkType("binary le 8", ZVK_KEY_BINARY_LE, 8, [](int64_t v) { return binary(v, 8, false); },
              INT64_MIN / 2, INT64_MAX / 2, 2);
    checkType("unsigned le 4", ZVK_KEY_UNSIGNED_LE, 4, [](int64_t v) { return binary(v, 4, false); }, 0, 4000000000, 2);
    checkType("unsigned be 2", ZVK_KEY_UNSIGNED_BE, 2, [](int64_t v) { return binary(v, 2, true); }, 0, 65000, 2);
    checkType("float le 8", ZVK_KEY_FLOAT_LE, 8, [](int64_t v) { return floating<double>(v, false); }, -1000000, 1000000, 2);
    checkType("float be 4", ZVK_KEY_FLOAT_BE, 4, [](int64_t v) { return floating<float>(v, true); }, -100000, 100000, 2);
    checkType("national", ZVK_KEY_NATIONAL, 12, [](int64_t v) { return nationalText(v, 6); }, 0, 16000000, 2);
    checkType("national numeric", ZVK_KEY_NATIONAL_NUMERIC, 16, [](int64_t v) { return nationalDigits(v, 8); },
              -9999990, 9999990, 2, ZVK_SEARCH_ARG_SEPARATE);
}

TEST(SearchAll, UnsignedKeysAboveTheTopBitAndSignedKeysAroundZero) {
    checkType("unsigned le 1", ZVK_KEY_UNSIGNED_LE, 1, [](int64_t v) { return binary(v, 1, false); }, 1, 254, 1);
    checkType("signed be 1", ZVK_KEY_BINARY_BE, 1, [](int64_t v) { return binary(v, 1, true); }, -127, 126, 1);
    checkType("unsigned be 8", ZVK_KEY_UNSIGNED_BE, 8,
              [](int64_t v) { return binary(static_cast<int64_t>(static_cast<uint64_t>(v) * 4), 8, true); }, 0,
              INT64_MAX / 4, 1);
}

// The offset SEARCH ALL finds for one argument in a table whose entries
// are just their key.
int64_t lookUp(uint8_t type, const Bytes& table, uint32_t keyLength, const Bytes& argument, uint8_t form = 0,
               const AlphabetRecord* alphabet = nullptr) {
    Search s({{type, keyLength, 0}}, {argument}, {form}, 0);
    Bytes t = table;
    return s.run(t, static_cast<int64_t>(t.size() / keyLength), keyLength, alphabet);
}

Bytes b(const std::string& s) { return Bytes(s.begin(), s.end()); }

TEST(SearchAll, ArgumentsShorterOrLongerThanTheKey) {
    // An empty table never looks at the header.
    EXPECT_EQ(_zvkcSrchAll(nullptr, nullptr, 0, 10, nullptr, nullptr, nullptr), -1);
    // A shorter argument gains blanks; a longer one must end in blanks (EBCDIC
    // blanks for the odd alphanumeric type).
    const Bytes text = b("AB    CD    EF    ");
    EXPECT_EQ(lookUp(0, text, 6, b("CD")), 6);
    EXPECT_EQ(lookUp(0, text, 6, b("EF      ")), 12);
    EXPECT_EQ(lookUp(0, text, 6, b("EF     X")), -1);
    EXPECT_EQ(lookUp(1, {0xC1, 0x40, 0xC2, 0x40}, 2, {0xC2}), 2);
    // Packed: a longer argument with zero high-order bytes, a shorter one;
    // sign nibbles F (positive) and B (negative) read as C and D; -0 is 0.
    const Bytes dec = concat({-50, -5, 0, 7, 12345}, [](int64_t v) { return packed(v, 5); });
    EXPECT_EQ(lookUp(32, dec, 3, packed(7, 9)), 9);
    EXPECT_EQ(lookUp(32, dec, 3, packed(-5, 1)), 3);
    EXPECT_EQ(lookUp(32, dec, 3, packed(100012345, 9)), -1);
    EXPECT_EQ(lookUp(32, dec, 3, packed(12345, 5, 0x0F)), 12);
    EXPECT_EQ(lookUp(32, dec, 3, packed(-50, 5, 0x0C, 0x0B)), 0);
    EXPECT_EQ(lookUp(32, dec, 3, {0x00, 0x00, 0x0D}), 6);
    // Binary: the high-order excess must extend the sign.
    const Bytes bin = concat({-300, -1, 5, 300}, [](int64_t v) { return binary(v, 2, false); });
    EXPECT_EQ(lookUp(64, bin, 2, binary(-1, 8, false)), 2);
    EXPECT_EQ(lookUp(64, bin, 2, binary(70000, 4, false)), -1);
    EXPECT_EQ(lookUp(64, bin, 2, binary(-1, 1, false)), 2);
    // A double argument against float keys (-2.5, 0, 1.25); -0.0 is 0.
    const Bytes flt = concat({-20, 0, 10}, [](int64_t v) { return floating<float>(v, false); });
    EXPECT_EQ(lookUp(96, flt, 4, floating<double>(10, false)), 8);
    const double negZero = -0.0;
    EXPECT_EQ(lookUp(96, flt, 4, Bytes(reinterpret_cast<const uint8_t*>(&negZero),
                                       reinterpret_cast<const uint8_t*>(&negZero) + 8)), 4);
}

TEST(SearchAll, ZonedArgumentsWithSeparateAndLeadingSigns) {
    // Ascending table of mixed signs, trailing overpunch.
    const std::vector<int64_t> vals = {-900, -5, 0, 3, 42, 999};
    const Bytes table = concat(vals, [](int64_t v) { return zoned(v, 4); });
    for (size_t i = 0; i < vals.size(); ++i) {
        const int64_t at = static_cast<int64_t>(4 * i);
        const uint8_t separate = ZVK_SEARCH_ARG_SEPARATE, leading = ZVK_SEARCH_ARG_LEADING;
        EXPECT_EQ(lookUp(16, table, 4, zonedSeparate(vals[i], 4, false), separate), at) << vals[i];
        EXPECT_EQ(lookUp(16, table, 4, zonedSeparate(vals[i], 6, true), separate | leading), at) << vals[i];
        Bytes lo = zoned(vals[i] < 0 ? -vals[i] : vals[i], 4);
        if (vals[i] < 0) lo[0] = static_cast<uint8_t>((lo[0] & 0x0F) | 0x70);
        EXPECT_EQ(lookUp(16, table, 4, lo, leading), at) << vals[i];
    }
    EXPECT_EQ(lookUp(16, table, 4, b("000N")), 4);   // the letter form of -5
    EXPECT_EQ(lookUp(16, table, 4, b("000p")), 8);   // -0
    EXPECT_EQ(lookUp(16, table, 4, zoned(10003, 5)), -1);
    EXPECT_EQ(lookUp(16, table, 4, zoned(42, 9)), 16);
}

TEST(SearchAll, SeveralKeysTheFirstUnequalDecides) {
    // Entries: packed major ascending, alphanumeric minor descending.
    struct E { int64_t major; const char* minor; };
    std::vector<E> es = {{1, "ZZ"}, {1, "MM"}, {1, "AA"}, {2, "QQ"}, {2, "BB"}, {5, "CC"}, {9, "ZZ"}, {9, "YY"}};
    const uint64_t stride = 8;
    Bytes table(stride * es.size(), 0);
    for (size_t i = 0; i < es.size(); ++i) {
        Bytes p = packed(es[i].major, 3);
        memcpy(&table[i * stride], p.data(), 2);
        memcpy(&table[i * stride + 4], es[i].minor, 2);
    }
    std::vector<KeyDef> keys = {{32, 2, 0}, {ZVK_KEY_DESCENDING | 0, 2, 4}};
    for (size_t i = 0; i < es.size(); ++i) {
        Search s(keys, {packed(es[i].major, 3), Bytes(es[i].minor, es[i].minor + 2)}, {}, 0);
        EXPECT_EQ(s.run(table, static_cast<int64_t>(es.size()), stride), static_cast<int64_t>(i * stride)) << i;
    }
    Search absent(keys, {packed(2, 3), Bytes{'C', 'C'}}, {}, 0);
    EXPECT_EQ(absent.run(table, static_cast<int64_t>(es.size()), stride), -1);
    // Only the first key given an argument: any entry of that major value.
    Search first(keys, {packed(9, 3)}, {}, 0);
    int64_t at = first.run(table, static_cast<int64_t>(es.size()), stride);
    EXPECT_TRUE(at == 6 * 8 || at == 7 * 8) << at;
}

TEST(SearchAll, AlphanumericKeysCompareByTheAlphabetsWeights) {
    // An alphabet where digits sort after letters.
    uint8_t weights[256];
    for (int i = 0; i < 256; ++i) weights[i] = static_cast<uint8_t>(i);
    for (int d = 0; d < 10; ++d) weights['0' + d] = static_cast<uint8_t>(0xE0 + d);
    AlphabetRecord alphabet{};
    alphabet.collatingWeights = weights;
    std::vector<std::string> keys = {"AA", "AZ", "B1", "ZZ", "00", "09", "5A"};
    Bytes table;
    for (auto& k : keys) table.insert(table.end(), k.begin(), k.end());
    for (size_t i = 0; i < keys.size(); ++i)
        EXPECT_EQ(lookUp(0, table, 2, b(keys[i]), 0, &alphabet), static_cast<int64_t>(2 * i)) << keys[i];
    // Without the alphabet the table is out of order for "00".
    EXPECT_EQ(lookUp(0, table, 2, b("00")), -1);
    // Long keys go through the weights sixteen bytes at a time.
    std::vector<std::string> longKeys;
    Bytes lt;
    for (int i = 0; i < 50; ++i) {
        std::string k(37, 'K');
        k[20] = static_cast<char>('A' + i / 10);
        k[36] = static_cast<char>('0' + i % 10);
        longKeys.push_back(k);
        lt.insert(lt.end(), k.begin(), k.end());
    }
    for (size_t i = 0; i < longKeys.size(); ++i)
        EXPECT_EQ(lookUp(0, lt, 37, b(longKeys[i]), 0, &alphabet), static_cast<int64_t>(37 * i));
}

}  // namespace
