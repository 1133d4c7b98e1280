// An independent model of decimal items for the tests: values as 128-bit
// integers, byte images built and read digit by digit, and items placed at
// any address alignment in exact-size heap blocks (so that AddressSanitizer
// sees any access beyond an item's end) behind a canary.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace model {

using u128 = unsigned __int128;
using Bytes = std::vector<uint8_t>;

inline u128 p10(int k) {
    u128 v = 1;
    while (k-- > 0) v *= 10;
    return v;
}
inline int ndigits(u128 v) {
    int k = 0;
    for (; v; v /= 10) ++k;
    return k;
}
inline int sig(u128 v) { return std::max(1, ndigits(v)); }
inline int pbytes(int n) { return n / 2 + 1; }

inline std::string str(u128 v) {
    std::string s;
    do s.insert(s.begin(), char('0' + int(v % 10))); while (v /= 10);
    return s;
}
inline std::string hex(const uint8_t* p, size_t n) {
    static const char* h = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) s += h[p[i] >> 4], s += h[p[i] & 15];
    return s;
}
inline std::string hex(const Bytes& b) { return hex(b.data(), b.size()); }

// The digit at position k from the right (0: units) of v.
inline int digitAt(u128 v, int k) { return int((v / p10(k)) % 10); }

// Packed image of n digits: the value's low digits, sign nibble as given.
inline Bytes packed(u128 mag, int n, uint8_t signNibble) {
    const int b = pbytes(n);
    Bytes out(b, 0);
    out[b - 1] = uint8_t((digitAt(mag, 0) << 4) | signNibble);
    for (int i = b - 2, k = 1; i >= 0; --i, k += 2) out[i] = uint8_t((digitAt(mag, k + 1) << 4) | digitAt(mag, k));
    if (n % 2 == 0) out[0] &= 0x0F;
    return out;
}
inline Bytes packedResult(u128 mag, int n, bool neg) { return packed(mag % p10(n), n, neg ? 0xD : 0xC); }

enum Form { TO, TS, LO, LS, US };
inline const char* formName(Form f) {
    static const char* n[] = {"TO", "TS", "LO", "LS", "US"};
    return n[f];
}
inline int zbytes(Form f, int n) { return n + ((f == TS || f == LS) ? 1 : 0); }
inline uint8_t letter(int d, bool neg) { return d == 0 ? (neg ? '}' : '{') : uint8_t((neg ? 'J' : 'A') + d - 1); }

// Zoned image in native form; letters for the overpunched byte if asked.
inline Bytes zoned(Form f, u128 mag, int n, bool neg, bool letters = false) {
    Bytes d(n);
    for (int i = 0; i < n; ++i) d[i] = uint8_t('0' + digitAt(mag, n - 1 - i));
    auto punch = [&](uint8_t& b) { b = letters ? letter(b & 15, neg) : uint8_t((b & 15) | (neg ? 0x70 : 0x30)); };
    switch (f) {
        case TO: if (n) punch(d[n - 1]); return d;
        case LO: if (n) punch(d[0]); return d;
        case TS: d.push_back(neg ? '-' : '+'); return d;
        case LS: d.insert(d.begin(), uint8_t(neg ? '-' : '+')); return d;
        case US: return d;
    }
    return d;
}

// An item at a chosen offset from 8-byte alignment.  The bytes in front
// are a canary; the block ends exactly where the item ends.
#if defined(__SANITIZE_ADDRESS__)
constexpr int kTail = 0;  // AddressSanitizer watches the end of the block
#else
constexpr int kTail = 8;  // without it, a canary behind the item
#endif
class Placed {
   public:
    Placed(const Bytes& image, int offset) : off_(offset), size_(image.size()) {
        base_ = static_cast<uint8_t*>(malloc(off_ + size_ + kTail));
        memset(base_, 0xA5, off_);
        memcpy(base_ + off_, image.data(), size_);
        memset(base_ + off_ + size_, 0x5A, kTail);
    }
    ~Placed() { free(base_); }
    Placed(const Placed&) = delete;
    uint8_t* p() { return base_ + off_; }
    Bytes bytes() const { return Bytes(base_ + off_, base_ + off_ + size_); }
    bool canariesIntact() const {
        for (int i = 0; i < off_; ++i)
            if (base_[i] != 0xA5) return false;
        for (int i = 0; i < kTail; ++i)
            if (base_[off_ + size_ + i] != 0x5A) return false;
        return true;
    }

   private:
    uint8_t* base_;
    int off_;
    size_t size_;
};

// Values biased to the edges: zero, all nines, powers of ten and their
// neighbours, runs of 9s that provoke long carries, pairs 91 to 99.
inline u128 randomMagnitude(std::mt19937_64& rng, int n) {
    auto r = [&](uint64_t m) { return rng() % m; };
    u128 v = 0;
    switch (r(10)) {
        case 0: return 0;
        case 1: return p10(n) - 1;
        case 2: return p10(int(r(n)));
        case 3: return p10(int(r(n) + 1)) - 1;
        case 4:  // pairs of 9x
            for (int i = 0; i < n; ++i) v = v * 10 + (i % 2 ? r(10) : 9);
            return v;
        case 5:  // digits 0 and 9 only
            for (int i = 0; i < n; ++i) v = v * 10 + (r(2) ? 9 : 0);
            return v;
        default: {
            const int k = 1 + int(r(n));
            for (int i = 0; i < k; ++i) v = v * 10 + r(10);
            return v;
        }
    }
}
inline uint8_t randomSignNibble(std::mt19937_64& rng, bool neg) {
    static const uint8_t pos[] = {0xC, 0xC, 0xA, 0xE, 0xF}, negs[] = {0xD, 0xD, 0xB};
    return neg ? negs[rng() % 3] : pos[rng() % 5];
}
// A trailing overpunched byte of any accepted spelling.
inline uint8_t randomZonedSign(std::mt19937_64& rng, int digit, bool neg) {
    switch (rng() % 4) {
        case 0: return letter(digit, neg);
        case 1: return uint8_t((neg ? 0xD0 : 0xC0) | digit);
        case 2: return neg ? uint8_t(0x70 | digit) : uint8_t(0xF0 | digit);
        default: return uint8_t((neg ? 0x70 : 0x30) | digit);
    }
}

// Ten's complement of stored packed digits with the reduction of pairs
// 91 to 99 once the carry has ended, over c bytes (2c - 1 digits).
inline u128 complementReduced(u128 v, int c) {
    int carry = 0;
    const int h = int(v % 10);
    u128 out = h == 0 ? (carry = 1, 0) : u128(10 - h);
    u128 rest = v / 10, mult = 10;
    for (int j = 0; j < c - 1; ++j, rest /= 100, mult *= 100) {
        int w = 99 - int(rest % 100) + carry;
        if (w > 99) {
            w = 0;
        } else {
            carry = 0;
            if (w >= 91) w -= 90;
        }
        out += u128(w) * mult;
    }
    return out;
}

struct Value {
    bool neg;
    u128 mag;
};

}  // namespace model
