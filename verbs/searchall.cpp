// SEARCH ALL.
//
// Before the loop every search argument is brought into the form its key
// compares in: an order-preserving byte image (alphanumeric, zoned, packed,
// national numeric), the units as they stand (national), or a value
// (binary, floating point).  Each probe then forms the same of the entry's
// key, in the key type's own branch, and compares.  A DESCENDING key
// reverses the sense of its comparison, which is what complementing both
// images would do.  Nothing in the loop allocates or calls anything but
// memcmp.

#include <string.h>

#include "frame/threads.h"
#include "kvr2/search.h"

namespace {

template <class T>
inline T ld(const void* base, size_t off) {
    T v;
    memcpy(&v, static_cast<const uint8_t*>(base) + off, sizeof v);
    return v;
}

inline int sign3(int v) { return (v > 0) - (v < 0); }

// ---- numeric DISPLAY images ----
// The image of a zoned or national numeric value is one byte per digit in
// zone 0xF (0xF0 | digit), right aligned in the image's length behind zero
// digits; a negative value other than zero has every byte complemented, so
// that it sorts below the positives and a greater magnitude sorts lower.

struct DigitTables {
    uint8_t digit[256];
    uint8_t negative[256];
};

// The overpunch table of the decimal operands: digits 0x3n and 0x7n, the
// letter forms "{", "A".."I" (positive) and "}", "J".."R" (negative), NUL
// and blank as +0, zone 0xD as negative.
constexpr DigitTables makeNative() {
    DigitTables t{};
    for (int b = 0; b < 256; ++b) {
        int low = b & 0x0F, zone = b & 0xF0;
        t.digit[b] = static_cast<uint8_t>(low);
        t.negative[b] = ((zone == 0x70 || zone == 0xD0) && low < 10) ? 1 : 0;
    }
    t.digit[0x7B] = 0;
    t.digit[0x7D] = 0;
    t.negative[0x7D] = 1;
    for (int b = 0x41; b <= 0x49; ++b) t.digit[b] = static_cast<uint8_t>(b - 0x40);
    for (int b = 0x4A; b <= 0x52; ++b) {
        t.digit[b] = static_cast<uint8_t>(b - 0x49);
        t.negative[b] = 1;
    }
    t.digit[0x00] = t.digit[0x20] = 0;
    return t;
}
// EBCDIC zoned: the digit in the low nibble, zone 0xD negative.
constexpr DigitTables makeEbcdic() {
    DigitTables t{};
    for (int b = 0; b < 256; ++b) {
        t.digit[b] = static_cast<uint8_t>(b & 0x0F);
        t.negative[b] = (b & 0xF0) == 0xD0 ? 1 : 0;
    }
    return t;
}
constexpr DigitTables kNative = makeNative();
constexpr DigitTables kEbcdic = makeEbcdic();

enum class SignAt { Detect, None, Leading, Trailing, LeadingSeparate, TrailingSeparate };

struct NumericForm {
    const DigitTables* tables;
    unsigned unit;     // 1 zoned, 2 national (digit units low byte first)
    uint8_t plus, minus;   // separate sign characters (low byte of a unit)
};

inline uint8_t unitDigit(const NumericForm& nf, const uint8_t* p) {
    return nf.unit == 1 ? nf.tables->digit[*p] : static_cast<uint8_t>(p[0] & 0x0F);
}
inline bool isSeparate(const NumericForm& nf, const uint8_t* p) {
    if (nf.unit == 2 && p[1] != 0) return false;
    return p[0] == nf.plus || p[0] == nf.minus;
}

// Builds the image of `n` bytes of numeric DISPLAY data into out[0..len).
// Returns false when the value has non-zero digits beyond the image.
bool numericImage(const NumericForm& nf, const uint8_t* p, uint64_t n, SignAt sa, uint8_t* out, uint32_t len) {
    const unsigned u = nf.unit;
    uint64_t units = n / u;
    bool negative = false;
    const uint8_t* d = p;   // first digit unit
    uint64_t nd = units;
    if (units == 0) {
        memset(out, 0xF0, len);
        return true;
    }
    const uint8_t* first = p;
    const uint8_t* last = p + (units - 1) * u;
    if (sa == SignAt::Detect) {
        // A key's item says nothing of its sign form: a separate sign is a
        // "+" or "-" at either end, else an embedded sign is read at both
        // ends (valid data carries one at one end only).
        if (isSeparate(nf, last))
            sa = SignAt::TrailingSeparate;
        else if (isSeparate(nf, first))
            sa = SignAt::LeadingSeparate;
        else
            sa = SignAt::None;
        if (sa == SignAt::None && u == 1) negative = nf.tables->negative[*last] || nf.tables->negative[*first];
    }
    switch (sa) {
        case SignAt::LeadingSeparate:
            negative = first[0] == nf.minus;
            d = p + u;
            nd = units - 1;
            break;
        case SignAt::TrailingSeparate:
            negative = last[0] == nf.minus;
            nd = units - 1;
            break;
        case SignAt::Leading:
            negative = u == 1 && nf.tables->negative[*first];
            break;
        case SignAt::Trailing:
            negative = u == 1 && nf.tables->negative[*last];
            break;
        default:
            break;
    }
    // Digits beyond the image must be zero.
    while (nd > len) {
        if (unitDigit(nf, d) != 0) return false;
        d += u;
        --nd;
    }
    uint32_t pad = static_cast<uint32_t>(len - nd);
    memset(out, 0xF0, pad);
    uint8_t* o = out + pad;
    uint8_t any = 0;
    if (u == 1 && nd > 2) {
        // The end bytes may carry a sign in their zone; the digits between
        // are taken by their low nibble, sixteen at a time.
        o[0] = 0xF0 | nf.tables->digit[d[0]];
        uint64_t i = 1;
        for (; i + 16 < nd; i += 16) {
            uint64_t w0, w1;
            memcpy(&w0, d + i, 8);
            memcpy(&w1, d + i + 8, 8);
            w0 = (w0 & 0x0F0F0F0F0F0F0F0Full) | 0xF0F0F0F0F0F0F0F0ull;
            w1 = (w1 & 0x0F0F0F0F0F0F0F0Full) | 0xF0F0F0F0F0F0F0F0ull;
            memcpy(o + i, &w0, 8);
            memcpy(o + i + 8, &w1, 8);
        }
        for (; i + 1 < nd; ++i) o[i] = 0xF0 | (d[i] & 0x0F);
        o[nd - 1] = 0xF0 | nf.tables->digit[d[nd - 1]];
    } else {
        for (uint64_t i = 0; i < nd; ++i) o[i] = 0xF0 | unitDigit(nf, d + i * u);
    }
    if (negative) {
        for (uint64_t i = 0; i < nd; ++i) any |= o[i] & 0x0F;
        // A negative zero is zero.
        if (any)
            for (uint32_t i = 0; i < len; ++i) out[i] = static_cast<uint8_t>(~out[i]);
    }
    return true;
}

// ---- packed ----
// A sign byte 0xFF, then the bytes with
// the sign nibble cleared; the whole complemented for a negative value other
// than zero, whose sign byte becomes 0x00 and sorts below the positives.
// The image is len + 1 bytes.
inline bool packedNegative(uint8_t last) { return (last & 0x0F) == 0x0B || (last & 0x0F) == 0x0D; }

void packedImage(const uint8_t* p, uint32_t len, uint8_t* out) {
    out[0] = 0xFF;
    memcpy(out + 1, p, len);
    bool negative = packedNegative(out[len]);
    out[len] &= 0xF0;
    if (!negative) return;
    uint8_t any = 0;
    for (uint32_t i = 1; i <= len; ++i) any |= out[i];
    if (!any) return;
    ++len;
    uint32_t i = 0;
    for (; i + 8 <= len; i += 8) {
        uint64_t w;
        memcpy(&w, out + i, 8);
        w = ~w;
        memcpy(out + i, &w, 8);
    }
    for (; i < len; ++i) out[i] = static_cast<uint8_t>(~out[i]);
}

// ---- binary ----
// Integers of up to eight bytes become a 64-bit value; wider ones a
// big-endian image with the top bit flipped when signed.
inline void toBigEndian(const uint8_t* p, uint32_t n, bool highFirst, uint8_t* out) {
    if (highFirst)
        memcpy(out, p, n);
    else
        for (uint32_t i = 0; i < n; ++i) out[i] = p[n - 1 - i];
}

inline uint64_t loadUnsigned(const uint8_t* p, uint32_t n, bool highFirst) {
    uint64_t v = 0;
    if (highFirst) {
        for (uint32_t i = 0; i < n; ++i) v = (v << 8) | p[i];
    } else {
        for (uint32_t i = n; i-- > 0;) v = (v << 8) | p[i];
    }
    return v;
}

template <uint32_t N>
inline uint64_t loadFixed(const uint8_t* p, bool highFirst) {
    if constexpr (N == 1) {
        return p[0];
    } else if constexpr (N == 2) {
        uint16_t v;
        memcpy(&v, p, 2);
        return highFirst ? __builtin_bswap16(v) : v;
    } else if constexpr (N == 4) {
        uint32_t v;
        memcpy(&v, p, 4);
        return highFirst ? __builtin_bswap32(v) : v;
    } else {
        uint64_t v;
        memcpy(&v, p, 8);
        return highFirst ? __builtin_bswap64(v) : v;
    }
}

inline uint64_t loadKey(const uint8_t* p, uint32_t n, bool highFirst) {
    switch (n) {
        case 1: return loadFixed<1>(p, highFirst);
        case 2: return loadFixed<2>(p, highFirst);
        case 4: return loadFixed<4>(p, highFirst);
        case 8: return loadFixed<8>(p, highFirst);
        default: return loadUnsigned(p, n, highFirst);
    }
}

inline int64_t signExtend(uint64_t v, uint32_t n) {
    if (n >= 8) return static_cast<int64_t>(v);
    unsigned shift = 64 - 8 * n;
    return static_cast<int64_t>(v << shift) >> shift;
}

// ---- floating point ----
using Quad = __float128;

inline Quad loadFloat(const uint8_t* p, uint32_t n, bool highFirst) {
    uint8_t b[16];
    if (highFirst)
        for (uint32_t i = 0; i < n; ++i) b[i] = p[n - 1 - i];
    else
        memcpy(b, p, n);
    if (n == 4) {
        float f;
        memcpy(&f, b, 4);
        return f;
    }
    if (n == 8) {
        double d;
        memcpy(&d, b, 8);
        return d;
    }
    Quad q;
    memcpy(&q, b, 16);
    return q;
}

inline bool floatWidth(uint32_t n) { return n == 4 || n == 8 || n == 16; }

// ---- plans ----
enum class Kind : uint8_t { Bytes, Weighted, Numeric, Packed, National, Signed, Unsigned, WideBinary, Float, Never };

struct Plan {
    Kind kind;
    bool descending;
    bool highFirst;
    uint32_t length;     // of the key in the entry
    uint32_t imageLength;
    uint64_t offset;
    const uint8_t* image;   // the argument's image (Bytes, Weighted, Numeric, Packed, National, WideBinary)
    const uint8_t* weights;
    NumericForm nf;
    int64_t s;
    uint64_t u;
    Quad q;
};

// Returns false when the argument's excess shows no entry can match.
bool prepare(Plan& pl, uint8_t type, const uint8_t* a, uint64_t alen, uint8_t form, const uint8_t* weights,
             uint8_t* img) {
    const uint32_t len = pl.length;
    pl.image = img;
    pl.imageLength = len;
    switch (type) {
        case 0:
        case 1: {
            const uint8_t pad = (type & 1) ? 0x40 : 0x20;
            for (uint64_t i = len; i < alen; ++i) {
                if (weights ? weights[a[i]] != weights[pad] : a[i] != pad) return false;
            }
            for (uint32_t i = 0; i < len; ++i) {
                uint8_t b = i < alen ? a[i] : pad;
                img[i] = weights ? weights[b] : b;
            }
            pl.kind = weights ? Kind::Weighted : Kind::Bytes;
            pl.weights = weights;
            return true;
        }
        case 2:
        case 16:
        case 17:
        case 9: {
            pl.kind = Kind::Numeric;
            if (type == 9)
                pl.nf = {&kNative, 2, 0x2B, 0x2D};
            else if (type == 17)
                pl.nf = {&kEbcdic, 1, 0x4E, 0x60};
            else
                pl.nf = {&kNative, 1, 0x2B, 0x2D};
            pl.imageLength = type == 9 ? len / 2 : len;
            SignAt sa;
            if (form & ZVK_SEARCH_ARG_SEPARATE)
                sa = (form & ZVK_SEARCH_ARG_LEADING) ? SignAt::LeadingSeparate : SignAt::TrailingSeparate;
            else if (type == 9)
                sa = SignAt::None;
            else
                sa = (form & ZVK_SEARCH_ARG_LEADING) ? SignAt::Leading : SignAt::Trailing;
            return numericImage(pl.nf, a, alen, sa, img, pl.imageLength);
        }
        case 4: {
            // Units as they stand; a longer argument must end in blanks.
            uint32_t even = len & ~1u;
            for (uint64_t i = even; i + 1 < alen; i += 2)
                if (a[i] != 0x20 || a[i + 1] != 0x00) return false;
            for (uint32_t i = 0; i < even; i += 2) {
                img[i] = i + 1 < alen ? a[i] : 0x20;
                img[i + 1] = i + 1 < alen ? a[i + 1] : 0x00;
            }
            pl.kind = Kind::National;
            pl.imageLength = even;
            return true;
        }
        case 32: {
            if (alen == 0 || len == 0) return false;
            // Excess leading bytes must hold zero digits; a shorter argument
            // gains leading zero bytes.  Its sign stays in its last byte.
            uint8_t last = a[alen - 1];
            if (alen > len) {
                for (uint64_t i = 0; i < alen - len; ++i)
                    if (a[i] != 0) return false;
                a += alen - len;
                alen = len;
            }
            uint8_t tmp[256];
            memset(tmp, 0, len - alen);
            memcpy(tmp + (len - alen), a, alen);
            tmp[len - 1] = static_cast<uint8_t>((tmp[len - 1] & 0xF0) | (last & 0x0F));
            packedImage(tmp, len, img);
            pl.kind = Kind::Packed;
            return true;
        }
        case 64:
        case 65:
        case 66:
        case 67: {
            const bool highFirst = type & 1;
            const bool isSigned = type < 66;
            pl.highFirst = highFirst;
            // An integer argument is at most a few bytes; one past the image
            // area is no integer compiled code can hand over.
            if (len == 0 || alen == 0 || alen > 255) return false;
            uint8_t be[256];
            toBigEndian(a, static_cast<uint32_t>(alen), highFirst, be);
            // The high-order excess of a longer argument must be the
            // extension of what remains.
            uint8_t ext = 0;
            const uint8_t* kept = be;
            uint64_t keptLen = alen;
            if (alen > len) {
                kept = be + (alen - len);
                keptLen = len;
                ext = (isSigned && (kept[0] & 0x80)) ? 0xFF : 0x00;
                for (uint64_t i = 0; i < alen - len; ++i)
                    if (be[i] != ext) return false;
            } else {
                ext = (isSigned && (be[0] & 0x80)) ? 0xFF : 0x00;
            }
            if (len <= 8) {
                uint64_t v = 0;
                for (uint32_t i = 0; i < len - keptLen; ++i) v = (v << 8) | ext;
                for (uint64_t i = 0; i < keptLen; ++i) v = (v << 8) | kept[i];
                pl.kind = isSigned ? Kind::Signed : Kind::Unsigned;
                pl.u = v;
                pl.s = signExtend(v, len);
                return true;
            }
            memset(img, ext, len - keptLen);
            memcpy(img + (len - keptLen), kept, keptLen);
            if (isSigned) img[0] ^= 0x80;
            pl.kind = Kind::WideBinary;
            pl.u = isSigned;
            return true;
        }
        case 96:
        case 97: {
            const bool highFirst = type & 1;
            pl.highFirst = highFirst;
            if (!floatWidth(len) || !floatWidth(static_cast<uint32_t>(alen))) return false;
            pl.q = loadFloat(a, static_cast<uint32_t>(alen), highFirst);
            pl.kind = Kind::Float;
            return true;
        }
        default:
            // A key type this library does not know matches nothing.
            pl.kind = Kind::Never;
            return false;
    }
}

// Compares the entry's key with the argument: below 0 when the entry is
// lower in the key's ascending order.
inline int compareKey(const Plan& pl, const uint8_t* key, uint8_t* work) {
    switch (pl.kind) {
        case Kind::Bytes:
            return memcmp(key, pl.image, pl.length);
        case Kind::Weighted: {
            const uint8_t* w = pl.weights;
            uint32_t i = 0;
            for (; i + 16 <= pl.length; i += 16) {
                uint8_t t[16];
                for (int j = 0; j < 16; ++j) t[j] = w[key[i + j]];
                if (int c = memcmp(t, pl.image + i, 16)) return c;
            }
            for (; i < pl.length; ++i)
                if (int c = int(w[key[i]]) - int(pl.image[i])) return c;
            return 0;
        }
        case Kind::Numeric:
            numericImage(pl.nf, key, pl.length, SignAt::Detect, work, pl.imageLength);
            return memcmp(work, pl.image, pl.imageLength);
        case Kind::Packed:
            packedImage(key, pl.length, work);
            return memcmp(work, pl.image, pl.length + 1);
        case Kind::National: {
            uint32_t i = 0;
            for (; i + 16 <= pl.imageLength; i += 16)
                if (memcmp(key + i, pl.image + i, 16) != 0) break;
            for (; i + 1 < pl.imageLength; i += 2) {
                unsigned k = key[i] | (key[i + 1] << 8), v = pl.image[i] | (pl.image[i + 1] << 8);
                if (k != v) return k < v ? -1 : 1;
            }
            return 0;
        }
        case Kind::Signed: {
            int64_t v = signExtend(loadKey(key, pl.length, pl.highFirst), pl.length);
            return (v > pl.s) - (v < pl.s);
        }
        case Kind::Unsigned: {
            uint64_t v = loadKey(key, pl.length, pl.highFirst);
            return (v > pl.u) - (v < pl.u);
        }
        case Kind::WideBinary:
            toBigEndian(key, pl.length, pl.highFirst, work);
            if (pl.u) work[0] ^= 0x80;
            return memcmp(work, pl.image, pl.length);
        case Kind::Float: {
            Quad v = loadFloat(key, pl.length, pl.highFirst);
            return (v > pl.q) - (v < pl.q);
        }
        case Kind::Never:
            break;
    }
    return 1;
}

constexpr size_t kStackImages = 4096;

}  // namespace

extern "C" {

KVR2_API int64_t _zvkcSrchAll(const SearchHeader* header, uint8_t* table, int64_t entries, uint64_t stride,
                              const SearchArgument* arguments, uint64_t* reserved, const AlphabetRecord* alphabet) {
    (void)reserved;
    if (entries <= 0) return -1;
    const uint8_t* h = reinterpret_cast<const uint8_t*>(header);
    const uint16_t base = ld<uint16_t>(h, 0);
    int32_t keyCount = ld<int16_t>(h, 2);
    int32_t argumentCount = ld<int16_t>(h, 4);
    if (keyCount < 0) keyCount = 0;
    if (argumentCount < 0) argumentCount = 0;
    const int32_t used = keyCount < argumentCount ? keyCount : argumentCount;
    const uint8_t* lengths = h + 8 + 16 * static_cast<size_t>(keyCount);
    const uint8_t* forms = lengths + 8 * static_cast<size_t>(argumentCount);
    const uint8_t* weights = alphabet ? ld<const uint8_t*>(alphabet, ZVK_ALPHABET_WEIGHTS) : nullptr;
    const uint8_t* first = table + base;

    // Plans and images: on the stack for the usual few keys, else in the
    // thread's scratch area.
    size_t need = 0;
    uint32_t longest = 0;
    for (int32_t k = 0; k < used; ++k) {
        uint32_t len = ld<uint32_t>(h, 8 + 16 * static_cast<size_t>(k) + 4);
        if (len > 255) len = 255;
        need += sizeof(Plan) + ((len + 16) & ~15u);
        if (len > longest) longest = len;
    }
    need += (longest + 16) & ~15u;
    alignas(16) uint8_t stackArea[kStackImages];
    uint8_t* area = stackArea;
    if (need > sizeof stackArea) {
        area = static_cast<uint8_t*>(zvkThreadScratch(static_cast<int64_t>(need)));
        if (!area) return -1;
    }
    Plan* plans = reinterpret_cast<Plan*>(area);
    uint8_t* images = area + sizeof(Plan) * static_cast<size_t>(used);
    for (int32_t k = 0; k < used; ++k) {
        const uint8_t* key = h + 8 + 16 * static_cast<size_t>(k);
        uint8_t type = key[0];
        Plan& pl = plans[k];
        pl = Plan{};
        pl.descending = type & ZVK_KEY_DESCENDING;
        pl.length = ld<uint32_t>(key, 4);
        if (pl.length > 255) pl.length = 255;
        pl.offset = ld<uint64_t>(key, 8);
        uint8_t* img = images;
        images += (pl.length + 16) & ~15u;
        const uint8_t* value = ld<const uint8_t*>(arguments, 16 * static_cast<size_t>(k));
        uint64_t alen = ld<uint64_t>(lengths, 8 * static_cast<size_t>(k));
        uint8_t t = type & 0x7F;
        bool alphanumeric = t == 0 || t == 1;
        if (!prepare(pl, t, value, alen, forms[k], alphanumeric ? weights : nullptr, img)) return -1;
    }
    uint8_t* work = images;

    int64_t low = 0, high = entries - 1;
    while (low <= high) {
        int64_t mid = low + ((high - low) >> 1);
        const uint8_t* entry = first + static_cast<uint64_t>(mid) * stride;
        int c = 0;
        for (int32_t k = 0; k < used && c == 0; ++k) {
            const Plan& pl = plans[k];
            c = sign3(compareKey(pl, entry + pl.offset, work));
            if (pl.descending) c = -c;
        }
        if (c == 0) return static_cast<int64_t>(static_cast<uint64_t>(mid) * stride);
        if (c > 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

}  // extern "C"
