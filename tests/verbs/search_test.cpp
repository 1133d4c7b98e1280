// SEARCH ALL against a model: random tables of distinct values in each key
// type's order (ascending, or reversed for a descending key), searched for
// every present value and for random ones, with arguments of other lengths
// and sign forms than the key's.  The model finds the value by a linear
// scan; the encoders below write the bytes from the value, independently of
// the library.

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
using Rng = std::mt19937_64;

uint64_t mag(int64_t v) { return v < 0 ? 0 - static_cast<uint64_t>(v) : static_cast<uint64_t>(v); }
int digitsOf(int64_t v) { return static_cast<int>(std::to_string(mag(v)).size()); }

// ---- encoders: value to bytes ----
Bytes packed(int64_t v, int digits, uint8_t plus = 0x0C, uint8_t minus = 0x0D, bool negative = false) {
    int bytes = digits / 2 + 1;
    Bytes out(bytes, 0);
    uint64_t m = mag(v);
    out[bytes - 1] = static_cast<uint8_t>(((m % 10) << 4) | (v < 0 || negative ? minus : plus));
    m /= 10;
    for (int i = bytes - 2; i >= 0; --i, m /= 100) out[i] = static_cast<uint8_t>((m % 10) | ((m / 10 % 10) << 4));
    return out;
}

// Zoned digits, zone 0x3 (0xF for EBCDIC); the sign an overpunch (0x7n, or
// 0xDn for EBCDIC) at the end `form` names, or a separate "+"/"-".
Bytes zoned(int64_t v, int digits, uint8_t form = 0, bool ebcdic = false, bool negative = false) {
    negative |= v < 0;
    Bytes out(digits);
    uint64_t m = mag(v);
    for (int i = digits - 1; i >= 0; --i, m /= 10) out[i] = static_cast<uint8_t>((ebcdic ? 0xF0 : 0x30) | (m % 10));
    bool leading = form & ZVK_SEARCH_ARG_LEADING;
    if (form & ZVK_SEARCH_ARG_SEPARATE)
        out.insert(leading ? out.begin() : out.end(), negative ? '-' : '+');
    else if (negative) {
        uint8_t& s = out[leading ? 0 : digits - 1];
        s = static_cast<uint8_t>((s & 0x0F) | (ebcdic ? 0xD0 : 0x70));
    }
    return out;
}

Bytes binary(uint64_t v, int n, bool highFirst) {
    Bytes out(n);
    for (int i = 0; i < n; ++i) out[highFirst ? n - 1 - i : i] = static_cast<uint8_t>(v >> (8 * i));
    return out;
}

template <class F>
Bytes floating(double x, bool highFirst) {
    F f = static_cast<F>(x);
    Bytes out(sizeof f);
    memcpy(out.data(), &f, sizeof f);
    if (highFirst) std::reverse(out.begin(), out.end());
    return out;
}

// Fixed-width text over an alphabet listed in ascending order (values >= 0).
Bytes text(int64_t v, int n, const std::string& alphabet) {
    Bytes out(n);
    for (int i = n - 1; i >= 0; --i, v /= static_cast<int64_t>(alphabet.size()))
        out[i] = static_cast<uint8_t>(alphabet[v % alphabet.size()]);
    return out;
}

// UTF-16 low byte first, units on both sides of 0x0100 so that unit order
// is not byte order; unit 0 is the blank.
Bytes nationalText(int64_t v, int units) {
    Bytes out(2 * units);
    for (int i = units - 1; i >= 0; --i, v /= 16) {
        uint16_t u = v % 16 == 0 ? 0x20 : static_cast<uint16_t>(0x00F8 + v % 16);
        out[2 * i] = static_cast<uint8_t>(u);
        out[2 * i + 1] = static_cast<uint8_t>(u >> 8);
    }
    return out;
}

Bytes nationalDigits(int64_t v, int units, bool leading) {
    std::string s = std::to_string(mag(v));
    s.insert(0, units - 1 - s.size(), '0');
    s.insert(leading ? 0 : s.size(), 1, v < 0 ? '-' : '+');
    Bytes out;
    for (char c : s) out.insert(out.end(), {static_cast<uint8_t>(c), 0});
    return out;
}

// ---- the call ----
struct KeyDef {
    uint8_t type;
    uint32_t length;
    uint64_t offset;
};
struct Arg {
    Bytes bytes;
    uint8_t form = 0;
};

int64_t searchAll(const std::vector<KeyDef>& keys, const std::vector<Arg>& args, uint16_t base, Bytes& table,
                  int64_t entries, uint64_t stride, const AlphabetRecord* alphabet = nullptr) {
    const size_t k = keys.size(), a = args.size();
    Bytes h(8 + 16 * k + 9 * a, 0);
    memcpy(&h[0], &base, 2);
    h[2] = static_cast<uint8_t>(k);
    h[4] = static_cast<uint8_t>(a);
    std::vector<SearchArgument> sa;
    for (size_t i = 0; i < k; ++i) {
        h[8 + 16 * i] = keys[i].type;
        memcpy(&h[8 + 16 * i + 4], &keys[i].length, 4);
        memcpy(&h[8 + 16 * i + 8], &keys[i].offset, 8);
    }
    for (size_t i = 0; i < a; ++i) {
        uint64_t len = args[i].bytes.size();
        memcpy(&h[8 + 16 * k + 8 * i], &len, 8);
        h[8 + 16 * k + 8 * a + i] = args[i].form;
        sa.push_back({args[i].bytes.data(), args[i].bytes.data()});
    }
    return _zvkcSrchAll(reinterpret_cast<const SearchHeader*>(h.data()), table.data(), entries, stride, sa.data(),
                        nullptr, alphabet);
}

// ---- key types ----
// A type's keys hold the values in [lo, hi]; its arguments may hold values
// in [argLo, argHi], beyond what a key holds (absent by their excess).  The
// argument encoder may choose its own length and form; `exact` false marks
// an argument that equals no key whatever its value.
struct Type {
    const char* name;
    uint8_t type;
    uint32_t length;
    int64_t lo, hi, argLo, argHi;
    std::function<Bytes(int64_t)> key;
    std::function<Arg(int64_t, Rng&, bool& exact)> arg;
    const AlphabetRecord* alphabet = nullptr;
};

int64_t draw(Rng& r, int64_t lo, int64_t hi) {
    int64_t v;
    switch (r() % 3) {
        case 0: v = static_cast<int64_t>(r() % 81) - 40; break;
        case 1: v = r() % 2 ? lo + static_cast<int64_t>(r() % 40) : hi - static_cast<int64_t>(r() % 40); break;
        default: return static_cast<int64_t>(static_cast<uint64_t>(lo) + r() % (static_cast<uint64_t>(hi) - lo + 1));
    }
    return std::clamp(v, lo, hi);
}

// Blanks appended to a text argument, or a non-blank that makes it absent.
Bytes padded(Bytes b, Rng& r, bool& exact, Bytes blank, Bytes other) {
    for (int n = static_cast<int>(r() % 4); n > 0; --n) b.insert(b.end(), blank.begin(), blank.end());
    if (r() % 8 == 0) b.insert(b.end(), other.begin(), other.end()), exact = false;
    return b;
}

void checkType(const Type& t, unsigned seed) {
    Rng r(seed);
    for (int round = 0; round < 60; ++round) {
        const bool descending = round % 2;
        std::set<int64_t> chosen;
        const uint64_t span = static_cast<uint64_t>(t.hi) - t.lo;
        const size_t n = round < 8 ? round / 2 : 1 + r() % std::min<uint64_t>(300, span / 2);
        while (chosen.size() < n) chosen.insert(draw(r, t.lo, t.hi));
        std::vector<int64_t> vals(chosen.begin(), chosen.end());
        if (descending) std::reverse(vals.begin(), vals.end());
        const uint16_t base = static_cast<uint16_t>(r() % 9);
        const uint64_t offset = r() % 5, stride = t.length + offset + r() % 7;
        Bytes table(base + stride * vals.size() + 1, 0xEE);
        for (size_t i = 0; i < vals.size(); ++i) {
            Bytes k = t.key(vals[i]);
            ASSERT_EQ(k.size(), t.length) << t.name;
            memcpy(&table[base + i * stride + offset], k.data(), k.size());
        }
        std::vector<int64_t> probes = vals;
        for (int i = 0; i < 40; ++i) probes.push_back(draw(r, t.argLo, t.argHi));
        const KeyDef key{static_cast<uint8_t>(t.type | (descending ? ZVK_KEY_DESCENDING : 0)), t.length, offset};
        for (int64_t v : probes) {
            bool exact = true;
            Arg a = t.arg(v, r, exact);
            auto at = std::find(vals.begin(), vals.end(), v);
            int64_t want = exact && at != vals.end() ? (at - vals.begin()) * static_cast<int64_t>(stride) : -1;
            ASSERT_EQ(searchAll({key}, {a}, base, table, static_cast<int64_t>(vals.size()), stride, t.alphabet), want)
                << t.name << " value " << v << " argument " << testing::PrintToString(a.bytes) << " in " << vals.size() << (descending ? " descending" : "");
        }
    }
}

const std::string kUpper = " ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Zoned argument: any digit count that holds the value, any sign form.
Arg zonedArg(int64_t v, Rng& r) {
    static const uint8_t forms[] = {0, ZVK_SEARCH_ARG_LEADING, ZVK_SEARCH_ARG_SEPARATE,
                                    ZVK_SEARCH_ARG_SEPARATE | ZVK_SEARCH_ARG_LEADING};
    uint8_t form = forms[r() % 4];
    return {zoned(v, digitsOf(v) + static_cast<int>(r() % 6), form, false, v == 0 && r() % 2), form};   // -0 is 0
}
Arg packedArg(int64_t v, Rng& r) {
    int d = digitsOf(v) + static_cast<int>(r() % 5);
    // Sign nibbles F and B read as C and D; -0 is 0.
    return {packed(v, std::min(d, 19), r() % 2 ? 0x0C : 0x0F, r() % 2 ? 0x0D : 0x0B, v == 0 && r() % 2)};
}
// Binary argument of any width that holds the value.
std::function<Arg(int64_t, Rng&, bool&)> binaryArg(bool isSigned, bool highFirst) {
    return [=](int64_t v, Rng& r, bool&) {
        int w;
        do w = 1 + static_cast<int>(r() % 8);
        while (w < 8 && (isSigned ? (v < -(int64_t(1) << (8 * w - 1)) || v >= (int64_t(1) << (8 * w - 1)))
                                  : mag(v) >> (8 * w) != 0));
        return Arg{binary(static_cast<uint64_t>(v), w, highFirst)};
    };
}
Type binaryType(const char* name, uint8_t type, int n) {
    const bool isSigned = type < ZVK_KEY_UNSIGNED_LE, hf = type & 1;
    const int64_t top = n == 8 ? INT64_MAX : int64_t(1) << (8 * n - (isSigned ? 1 : 0));
    const int64_t wide = n >= 7 ? INT64_MAX : top << 8;
    return {name, type, uint32_t(n), isSigned ? -top : 0, top - 1, isSigned ? -wide : 0, wide - 1,
            [=](int64_t v) { return binary(static_cast<uint64_t>(v), n, hf); }, binaryArg(isSigned, hf)};
}

TEST(SearchAll, FindsWhatALinearScanFindsForEveryKeyType) {
    std::vector<Type> types = {
        {"alphanumeric", ZVK_KEY_ALPHANUMERIC, 6, 0, 387420488, 0, 387420488,
         [](int64_t v) { return text(v, 6, kUpper); },
         [](int64_t v, Rng& r, bool& e) {
             Bytes b = padded(text(v, 6, kUpper), r, e, {' '}, {'X'});
             while (e && !b.empty() && b.back() == ' ' && r() % 2) b.pop_back();   // shorter: blanks added
             return Arg{b};
         }},
        {"alphanumeric ebcdic", ZVK_KEY_ALPHANUMERIC_EBCDIC, 3, 0, 999, 0, 999,
         [](int64_t v) { return text(v, 3, "\x40\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9"); },
         [](int64_t v, Rng& r, bool& e) {
             return Arg{padded(text(v, 3, "\x40\xC1\xC2\xC3\xC4\xC5\xC6\xC7\xC8\xC9"), r, e, {0x40}, {0x20})};
         }},
        {"packed 9", ZVK_KEY_PACKED, 5, -999999999, 999999999, -999999999999999, 999999999999999,
         [](int64_t v) { return packed(v, 9); }, [](int64_t v, Rng& r, bool&) { return packedArg(v, r); }},
        {"packed 18", ZVK_KEY_PACKED, 10, -999999999999999999, 999999999999999999, -999999999999999999,
         999999999999999999, [](int64_t v) { return packed(v, 18); },
         [](int64_t v, Rng& r, bool&) { return packedArg(v, r); }},
        {"zoned", ZVK_KEY_ZONED, 9, -999999999, 999999999, -99999999999, 99999999999,
         [](int64_t v) { return zoned(v, 9); }, [](int64_t v, Rng& r, bool&) { return zonedArg(v, r); }},
        {"zoned long", ZVK_KEY_ZONED, 31, -999999999999999999, 999999999999999999, -999999999999999999,
         999999999999999999, [](int64_t v) { return zoned(v, 31); },
         [](int64_t v, Rng& r, bool&) { return zonedArg(v, r); }},
        {"display", ZVK_KEY_DISPLAY, 7, -9999999, 9999999, -999999999, 999999999,
         [](int64_t v) { return zoned(v, 7); }, [](int64_t v, Rng& r, bool&) { return zonedArg(v, r); }},
        {"zoned ebcdic", ZVK_KEY_ZONED_EBCDIC, 9, -999999999, 999999999, -99999999999, 99999999999,
         [](int64_t v) { return zoned(v, 9, 0, true); },
         [](int64_t v, Rng& r, bool&) { return Arg{zoned(v, digitsOf(v) + static_cast<int>(r() % 4), 0, true)}; }},
        {"zoned separate key", ZVK_KEY_ZONED, 8, -9999999, 9999999, -9999999, 9999999,
         [](int64_t v) { return zoned(v, 7, ZVK_SEARCH_ARG_SEPARATE | ZVK_SEARCH_ARG_LEADING); },
         [](int64_t v, Rng& r, bool&) { return zonedArg(v, r); }},
        binaryType("binary le 1", ZVK_KEY_BINARY_LE, 1), binaryType("binary be 1", ZVK_KEY_BINARY_BE, 1),
        binaryType("binary le 2", ZVK_KEY_BINARY_LE, 2), binaryType("binary be 4", ZVK_KEY_BINARY_BE, 4),
        binaryType("binary le 8", ZVK_KEY_BINARY_LE, 8), binaryType("unsigned le 1", ZVK_KEY_UNSIGNED_LE, 1),
        binaryType("unsigned le 4", ZVK_KEY_UNSIGNED_LE, 4), binaryType("unsigned be 2", ZVK_KEY_UNSIGNED_BE, 2),
        // Unsigned 8-byte keys above the top bit: the value's order mapped
        // onto the unsigned order.
        {"unsigned be 8", ZVK_KEY_UNSIGNED_BE, 8, INT64_MIN / 2, INT64_MAX / 2, INT64_MIN / 2, INT64_MAX / 2,
         [](int64_t v) { return binary(static_cast<uint64_t>(v) ^ (1ull << 63), 8, true); },
         [](int64_t v, Rng&, bool&) { return Arg{binary(static_cast<uint64_t>(v) ^ (1ull << 63), 8, true)}; }},
        {"float le 8", ZVK_KEY_FLOAT_LE, 8, -1000000, 1000000, -1000000, 1000000,
         [](int64_t v) { return floating<double>(v / 8.0, false); },
         [](int64_t v, Rng& r, bool&) {   // a float or a double; -0.0 is 0
             double x = v == 0 && r() % 2 ? -0.0 : v / 8.0;
             return Arg{r() % 2 ? floating<double>(x, false) : floating<float>(x, false)};
         }},
        {"float be 4", ZVK_KEY_FLOAT_BE, 4, -100000, 100000, -100000, 100000,
         [](int64_t v) { return floating<float>(v / 8.0, true); },
         [](int64_t v, Rng& r, bool&) {
             return Arg{r() % 2 ? floating<double>(v / 8.0, true) : floating<float>(v / 8.0, true)};
         }},
        {"national", ZVK_KEY_NATIONAL, 12, 0, 16777215, 0, 16777215, [](int64_t v) { return nationalText(v, 6); },
         [](int64_t v, Rng& r, bool& e) { return Arg{padded(nationalText(v, 6), r, e, {0x20, 0}, {0x41, 0})}; }},
        {"national numeric", ZVK_KEY_NATIONAL_NUMERIC, 16, -9999999, 9999999, -999999999, 999999999,
         [](int64_t v) { return nationalDigits(v, 8, false); },
         [](int64_t v, Rng& r, bool&) {
             bool lead = r() % 2;
             return Arg{nationalDigits(v, digitsOf(v) + 1 + static_cast<int>(r() % 4), lead),
                        static_cast<uint8_t>(ZVK_SEARCH_ARG_SEPARATE | (lead ? ZVK_SEARCH_ARG_LEADING : 0))};
         }},
    };
    for (size_t i = 0; i < types.size(); ++i) checkType(types[i], static_cast<unsigned>(i));
}

TEST(SearchAll, AlphanumericKeysCompareByTheAlphabetsWeights) {
    // Digits weigh more than letters; long keys are weighed sixteen bytes
    // at a time.
    uint8_t weights[256];
    for (int i = 0; i < 256; ++i) weights[i] = static_cast<uint8_t>(i);
    for (int d = 0; d < 10; ++d) weights['0' + d] = static_cast<uint8_t>(0xE0 + d);
    AlphabetRecord alphabet{};
    alphabet.collatingWeights = weights;
    const std::string order = " AKZ059";
    for (uint32_t len : {3u, 37u}) {
        auto enc = [=](int64_t v) { Bytes b(len - 3, 'K'); Bytes t = text(v, 3, order); b.insert(b.end(), t.begin(), t.end()); return b; };
        checkType({"weighted", ZVK_KEY_ALPHANUMERIC, len, 0, 342, 0, 342, enc,
                   [=](int64_t v, Rng& r, bool& e) { return Arg{padded(enc(v), r, e, {' '}, {'9'})}; }, &alphabet},
                  len);
    }
    // Without the alphabet that table is out of order for the digits.
    const std::string keys = "AAAZB1ZZ00095A";
    Bytes table(keys.begin(), keys.end());
    EXPECT_EQ(searchAll({{ZVK_KEY_ALPHANUMERIC, 2, 0}}, {Arg{{'0', '0'}}}, 0, table, 7, 2), -1);
}

TEST(SearchAll, SeveralKeysTheFirstUnequalDecides) {
    // Packed major ascending, alphanumeric minor descending; arguments for
    // both keys, or for the major only (any entry of that major then).
    Rng r(7);
    const std::vector<KeyDef> keys = {{ZVK_KEY_PACKED, 2, 0}, {ZVK_KEY_DESCENDING | ZVK_KEY_ALPHANUMERIC, 2, 4}};
    for (int round = 0; round < 200; ++round) {
        std::set<std::pair<int64_t, int64_t>> chosen;
        size_t n = 1 + r() % 40;
        while (chosen.size() < n) chosen.insert({static_cast<int64_t>(r() % 9) - 4, static_cast<int64_t>(r() % 30)});
        std::vector<std::pair<int64_t, int64_t>> es(chosen.begin(), chosen.end());
        std::stable_sort(es.begin(), es.end(), [](auto& a, auto& b) { return a.first == b.first ? a.second > b.second : a.first < b.first; });
        Bytes table(8 * es.size(), 0);
        for (size_t i = 0; i < es.size(); ++i) {
            memcpy(&table[8 * i], packed(es[i].first, 3).data(), 2);
            memcpy(&table[8 * i + 4], text(es[i].second, 2, kUpper).data(), 2);
        }
        for (int p = 0; p < 20; ++p) {
            int64_t major = static_cast<int64_t>(r() % 11) - 5, minor = static_cast<int64_t>(r() % 32);
            bool both = r() % 3;
            std::vector<Arg> args = {Arg{packed(major, 3)}};
            if (both) args.push_back(Arg{text(minor, 2, kUpper)});
            int64_t at = searchAll(keys, args, 0, table, static_cast<int64_t>(es.size()), 8);
            auto match = [&](const std::pair<int64_t, int64_t>& e) { return e.first == major && (!both || e.second == minor); };
            if (std::none_of(es.begin(), es.end(), match))
                EXPECT_EQ(at, -1) << major << " " << minor;
            else
                EXPECT_TRUE(at >= 0 && at % 8 == 0 && match(es[at / 8])) << major << " " << minor << " at " << at;
        }
    }
}

TEST(SearchAll, EmptyTableAndLetterFormsOfANegativeZonedArgument) {
    // An empty table never looks at the header.
    EXPECT_EQ(_zvkcSrchAll(nullptr, nullptr, 0, 10, nullptr, nullptr, nullptr), -1);
    Bytes table;
    for (int64_t v : {-900, -5, 0, 3}) for (uint8_t b : zoned(v, 4)) table.push_back(b);
    auto find = [&](const char* s) { return searchAll({{ZVK_KEY_ZONED, 4, 0}}, {Arg{Bytes(s, s + 4)}}, 0, table, 4, 4); };
    EXPECT_EQ(find("000N"), 4);   // the letter form of -5
    EXPECT_EQ(find("000p"), 8);   // -0
}

}  // namespace
