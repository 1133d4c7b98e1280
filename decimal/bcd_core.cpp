// The common ground of decimal arithmetic: the mode word and its
// environment, the byte tables, the validators with their word-wide scans,
// the zero tests, and the moves every copy and conversion is built on.

#include <cstdlib>
#include <cstring>

#include "decimal/decimal.h"
#include "decimal/words.h"

std::atomic<uint32_t> zvkBcdMode{kBcdUnread};

namespace bcd {

template <class F>
constexpr auto table(F f) {
    struct T { uint8_t v[256]; } t{};
    for (int i = 0; i < 256; ++i) t.v[i] = f(i);
    return t;
}
#define R(t, i) t.v[i], t.v[i + 1], t.v[i + 2], t.v[i + 3]
#define R16(t, i) R(t, i), R(t, i + 4), R(t, i + 8), R(t, i + 12)
#define R256(t) R16(t, 0), R16(t, 16), R16(t, 32), R16(t, 48), R16(t, 64), R16(t, 80), R16(t, 96), R16(t, 112), \
    R16(t, 128), R16(t, 144), R16(t, 160), R16(t, 176), R16(t, 192), R16(t, 208), R16(t, 224), R16(t, 240)

constexpr uint8_t pairValueOf(int b) {
    const int hi = b >> 4, lo = b & 0x0F;
    if (hi > 9) return 100;
    return static_cast<uint8_t>(hi * 10 + (lo > 9 ? 0 : lo));
}
constexpr auto kPairValues = table(pairValueOf);

}  // namespace bcd

extern "C" {

const uint8_t zvkBcdPairValue[256] = {R256(bcd::kPairValues)};
#undef R
#undef R16
#undef R256

#define P10(t) t##0, t##1, t##2, t##3, t##4, t##5, t##6, t##7, t##8, t##9
#define P100 P10(0x0), P10(0x1), P10(0x2), P10(0x3), P10(0x4), P10(0x5), P10(0x6), P10(0x7), P10(0x8), P10(0x9)
const uint8_t zvkBcdPairByte[200] = {P100, P100};
#undef P10
#undef P100

}  // extern "C"

// The tables above are spelled out through kDecode and kPairValues; check them.
static_assert(bcd::kPairValues.v[0x99] == 99 && bcd::kPairValues.v[0x1C] == 10 && bcd::kPairValues.v[0xA0] == 100);

using namespace bcd;

extern "C" {

void zvkBcdLoadMode(void) {
    auto set = [](const char* name) -> const char* {
        const char* v = getenv(name);
        return v && *v ? v : nullptr;
    };
    uint32_t m = 0;
    if (const char* v = set("COBOL_BCD_NOVALIDATE")) m = static_cast<uint32_t>(strtoul(v, nullptr, 0)) & 0xFF;
    if (set("COBOL_BCD_SAFE")) m = (m & ~0x0Bu) | 0x54u;
    if (set("COBOL_BCD_FAST")) m = (m & ~0x5Fu) | 0x08u;
    if (set("COBOL_BCD_DEBUG")) m |= 0x100u;
    if (set("COBOL_BCD_EBCDIC")) m |= 0x80u;
    zvkBcdMode.store(m, std::memory_order_relaxed);
}

// The add-six test: adding 6 to a nibble carries into the next nibble, and
// flips its bit 0, exactly when the nibble is above 9.  The top nibble of
// each 8, 4 and 2 byte word has no next nibble and is not seen.
int zvkBcdCheckPacked(const void* address, int32_t digits, int checkMode) {
    const uint8_t* p = static_cast<const uint8_t*>(address);
    int b = packedBytes(digits);
    if (checkMode == 0) {
        if (mode() & kBcdNoValidate) return 0;
        while (b > 1 && *p == 0) ++p, --b;
    }
    const uint8_t last = p[b - 1];
    if ((last & 0x0F) == 0 && b == 1) return 0;
    if ((last & 0x0F) <= 9 || (last >> 4) > 9) return 1;
    int end = b - 1;  // bytes [0, end) remain, scanned from the right
    while (end >= 8) {
        uint64_t w = loadLe<uint64_t>(p + end - 8);
        if ((w & 0x1111111111111110ull) != ((w + 0x6666666666666666ull) & 0x1111111111111110ull)) return 1;
        end -= 8;
    }
    if (end >= 4) {
        uint32_t w = loadLe<uint32_t>(p + end - 4);
        if ((static_cast<uint32_t>(w + 0x66666666u) ^ w) & 0x11111110u) return 1;
        end -= 4;
    }
    if (end >= 2) {
        uint32_t w = loadLe<uint16_t>(p + end - 2);
        if (((w + 0x6666u) ^ w) & 0x1110u) return 1;
        end -= 2;
    }
    if (end >= 1) {
        uint32_t w = p[end - 1];
        if (((w + 0x66u) ^ w) & 0x110u) return 1;
    }
    return 0;
}

static inline bool goodSignByte(uint8_t b) {
    const int zone = b & 0xF0, low = b & 0x0F;
    if (low <= 9 && (zone == 0x30 || zone == 0x70 || zone == 0xC0 || zone == 0xD0 || zone == 0xF0)) return true;
    return b == 0x7B || b == 0x7D || (b >= 0x41 && b <= 0x52) || b == 0x00 || b == 0x20;
}

// Middle bytes must be "0" to "9".  The word width follows the alignment
// of the current end of the scan; only the byte-wise part also lets a NUL
// through.
int zvkBcdCheckZoned(const void* address, int32_t digits, int checkMode) {
    const uint8_t* p = static_cast<const uint8_t*>(address);
    int n = digitsOf(digits);
    if (checkMode == 0) {
        if (mode() & kBcdNoValidate) return 0;
        while (n > 1 && (*p & 0x0F) == 0) ++p, --n;
    }
    if (n == 0) return 0;
    if (!goodSignByte(p[n - 1])) return 1;
    if (n == 1) return 0;
    int end = n - 1;  // bytes [1, end) are middle bytes
    while (end > 1) {
        const uintptr_t a = reinterpret_cast<uintptr_t>(p + end);
        const int left = end - 1;
        if (left >= 8 && (a & 7) == 0) {
            uint64_t w = loadLe<uint64_t>(p + end - 8);
            if ((w & 0xF0F0F0F0F0F0F0F0ull) != 0x3030303030303030ull ||
                ((w + 0xC6C6C6C6C6C6C6C6ull) & 0xF0F0F0F0F0F0F0F0ull) != 0xF0F0F0F0F0F0F0F0ull)
                return 1;
            end -= 8;
        } else if (left >= 4 && (a & 3) == 0) {
            uint32_t w = loadLe<uint32_t>(p + end - 4);
            if ((w & 0xF0F0F0F0u) != 0x30303030u ||
                (static_cast<uint32_t>(w + 0xC6C6C6C6u) & 0xF0F0F0F0u) != 0xF0F0F0F0u)
                return 1;
            end -= 4;
        } else if (left >= 2 && (a & 1) == 0) {
            uint32_t w = loadLe<uint16_t>(p + end - 2);
            if ((w & 0xF0F0u) != 0x3030u || (static_cast<uint16_t>(w + 0xC6C6u) & 0xF0F0u) != 0xF0F0u) return 1;
            end -= 2;
        } else {
            const uint8_t b = p[end - 1];
            if (b != 0x00 && ((b & 0xF0) != 0x30 || (b & 0x0F) > 9)) return 1;
            end -= 1;
        }
    }
    return goodSignByte(p[0]) ? 0 : 1;
}

int zvkBcdIsZeroPacked(const void* address, int32_t digits) {
    const uint8_t* p = static_cast<const uint8_t*>(address);
    const int b = packedBytes(digits);
    return (p[b - 1] & 0xF0) == 0 && allZero(p, b - 1);
}

int zvkBcdIsZeroZoned(const void* address, int32_t digits) {
    const uint8_t* p = static_cast<const uint8_t*>(address);
    const int n = digitsOf(digits);
    if (n == 0) return 1;
    return zonedDigit(p[n - 1]) == 0 && lowNibblesZero(p, n - 1);
}

void zvkBcdMovePacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int sb = packedBytes(srcDigits), db = packedBytes(dstDigits);
    const bool negative = packedNegative(s[sb - 1]);
    if (sb < db) {
        memmove(d + db - sb, s, sb);
        memset(d, 0, db - sb);
    } else {
        memmove(d, s + sb - db, db);
    }
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
}

void zvkBcdMoveZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int sn = digitsOf(srcDigits), dn = digitsOf(dstDigits);
    if (dn == 0) return;
    const uint8_t code = sn ? kZonedDecode[s[sn - 1]] : 0;
    if (sn < dn) {
        memmove(d + dn - sn, s, sn);
        memset(d, '0', dn - sn);
    } else {
        memmove(d, s + sn - dn, dn);
    }
    d[dn - 1] = static_cast<uint8_t>(((code & 0x80) ? 0x70 : 0x30) | (code & 0x0F));
}

void zvkBcdCleanZoned(void* field, int32_t length) {
    uint8_t* f = static_cast<uint8_t*>(field);
    for (int i = 0; i < length; ++i) f[i] = static_cast<uint8_t>((f[i] & 0x0F) | 0x30);
}

// Packed to zoned: the digits after the leading zero bytes, right-aligned
// in the destination, the last with the sign's zone.
void zvkBcdPackedToZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b = packedBytes(srcDigits);
    const int dn = digitsOf(dstDigits);
    if (dn == 0) return;
    const uint8_t sign = s[b - 1];
    while (b > 1 && *s == 0) ++s, --b;
    int c = (b == 1 || (s[0] >> 4)) ? 2 * b - 1 : 2 * b - 2;
    if (c < dn) memset(d, '0', dn - c); else c = dn;
    const bool singleZero = b == 1 && (s[0] >> 4) == 0;
    uint8_t* e = d + dn - 1;  // the units position
    *e = static_cast<uint8_t>((s[b - 1] >> 4) | (packedNegative(sign) && !singleZero ? 0x70 : 0x30));
    int left = c - 1;
    const uint8_t* q = s + b - 1;  // one past the next source byte
    while (left >= 8) {  // four source bytes, eight digits
        q -= 4, e -= 8, left -= 8;
        uint64_t v = loadBe<uint32_t>(q);
        // spread the eight nibbles to eight bytes, most significant first
        uint64_t x = ((v & 0xFFFF0000ull) << 16) | (v & 0xFFFFull);
        x = ((x & 0x0000FF000000FF00ull) << 8) | (x & 0x000000FF000000FFull);
        x = ((x & 0x00F000F000F000F0ull) << 4) | (x & 0x000F000F000F000Full);
        storeBe<uint64_t>(e, x | 0x3030303030303030ull);
    }
    while (left >= 2) {
        --q, e -= 2, left -= 2;
        e[0] = static_cast<uint8_t>(0x30 | (*q >> 4));
        e[1] = static_cast<uint8_t>(0x30 | (*q & 0x0F));
    }
    if (left == 1) e[-1] = static_cast<uint8_t>(0x30 | (q[-1] & 0x0F));
}

// Zoned to packed: pairs of bytes into one, the higher digit of each pair
// decoded so that an overpunched first byte reads right.  Runs of plain
// digits (zone 0x30, as validation wants them) go eight at a time; the
// result is the pair loop's in every case.
void zvkBcdZonedToPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int c = digitsOf(srcDigits);
    const int dn = digitsOf(dstDigits);
    const int db = (dn >> 1) + 1;
    const bool ebcdic = mode() & kBcdEbcdic;
    while (c > 1 && (*s & 0x0F) == 0) ++s, --c;
    if (c == 0) {  // no source digits: +0
        memset(d, 0, db);
        d[db - 1] = 0x0C;
        return;
    }
    if (dn > c) memset(d, 0, ((dn - c) >> 1) + 1);
    const int count = c < dn ? c : dn;
    const uint8_t last = s[c - 1];
    uint8_t* e = d + db - 1;
    if (!ebcdic)
        *e = static_cast<uint8_t>((last << 4) | ((last >> 4) == 7 ? 0x0D : 0x0C));
    else
        *e = static_cast<uint8_t>((zonedDigit(last) << 4) | (zonedNegative(last) ? 0x0D : 0x0C));
    int left = count - 1;
    const uint8_t* q = s + c - 1;  // one past the next source byte
    while (left >= 8) {
        uint64_t w = loadBe<uint64_t>(q - 8);
        if ((w & 0xF0F0F0F0F0F0F0F0ull) != 0x3030303030303030ull) break;
        w &= 0x0F0F0F0F0F0F0F0Full;
        w = ((w >> 4) | w) & 0x00FF00FF00FF00FFull;
        w = ((w >> 8) | w) & 0x0000FFFF0000FFFFull;
        w = ((w >> 16) | w) & 0xFFFFFFFFull;
        q -= 8, e -= 4, left -= 8;
        storeBe<uint32_t>(e, static_cast<uint32_t>(w));
    }
    while (left >= 2) {
        q -= 2, --e, left -= 2;
        *e = static_cast<uint8_t>((zonedDigit(q[0]) << 4) | (q[1] & 0x0F));
    }
    if (left == 1) e[-1] = static_cast<uint8_t>(ebcdic ? zonedDigit(q[-1]) : (q[-1] & 0x0F));
    if ((dn & 1) == 0) d[0] &= 0x0F;
}

}  // extern "C"
