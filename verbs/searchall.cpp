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

#include "base/bytes.h"
#include "base/numeric_items.h"
#include "frame/threads.h"
#include "kvr2/search.h"
#include "verbs/item_lengths.h"

namespace {

using base::loadLe;

using verbs::sign3;

// ---- numeric DISPLAY images ----
// The image of a zoned or national numeric value is one byte per digit in
// zone 0xF (0xF0 | digit), right aligned in the image's length behind zero
// digits; a negative value other than zero has every byte complemented, so
// that it sorts below the positives and a greater magnitude sorts lower.
//
// A sign byte is read through an overpunch table: the native one of the
// decimal operands, or this one for EBCDIC zoned data (the digit in the low
// nibble, zone 0xD negative).
constexpr base::OverpunchTable makeEbcdicOverpunch() {
    base::OverpunchTable t{};
    for (int b = 0; b < 256; ++b)
        t.code[b] = static_cast<uint8_t>((b & 0x0F) | ((b & 0xF0) == 0xD0 ? base::kOverpunchNegative : 0));
    return t;
}
constexpr base::OverpunchTable kEbcdicOverpunch = makeEbcdicOverpunch();

enum class SignAt { Detect, None, Leading, Trailing, LeadingSeparate, TrailingSeparate };

struct NumericForm {
    const base::OverpunchTable* signs;
    unsigned unit;     // 1 zoned, 2 national (digit units low byte first)
    uint8_t plus, minus;   // separate sign characters (low byte of a unit)
};

inline uint8_t signDigit(const NumericForm& nf, uint8_t b) { return nf.signs->code[b] & 0x0F; }
inline bool signNegative(const NumericForm& nf, uint8_t b) { return nf.signs->code[b] & base::kOverpunchNegative; }
inline uint8_t unitDigit(const NumericForm& nf, const uint8_t* p) {
    return nf.unit == 1 ? signDigit(nf, *p) : static_cast<uint8_t>(p[0] & 0x0F);
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
        if (sa == SignAt::None && u == 1) negative = signNegative(nf, *last) || signNegative(nf, *first);
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
            negative = u == 1 && signNegative(nf, *first);
            break;
        case SignAt::Trailing:
            negative = u == 1 && signNegative(nf, *last);
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
        o[0] = 0xF0 | signDigit(nf, d[0]);
        uint64_t i = 1;
        for (; i + 16 < nd; i += 16) {
            const uint64_t w0 = loadLe<uint64_t>(d + i), w1 = loadLe<uint64_t>(d + i + 8);
            base::storeLe(o + i, (w0 & 0x0F0F0F0F0F0F0F0Full) | 0xF0F0F0F0F0F0F0F0ull);
            base::storeLe(o + i + 8, (w1 & 0x0F0F0F0F0F0F0F0Full) | 0xF0F0F0F0F0F0F0F0ull);
        }
        for (; i + 1 < nd; ++i) o[i] = 0xF0 | (d[i] & 0x0F);
        o[nd - 1] = 0xF0 | signDigit(nf, d[nd - 1]);
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

void packedImage(const uint8_t* p, uint32_t len, uint8_t* out) {
    out[0] = 0xFF;
    memcpy(out + 1, p, len);
    bool negative = base::packedNegative(out[len]);
    out[len] &= 0xF0;
    if (!negative) return;
    uint8_t any = 0;
    for (uint32_t i = 1; i <= len; ++i) any |= out[i];
    if (!any) return;
    ++len;
    uint32_t i = 0;
    for (; i + 8 <= len; i += 8) base::storeLe(out + i, ~loadLe<uint64_t>(out + i));
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
    if (n == 4) return loadLe<float>(b);
    if (n == 8) return loadLe<double>(b);
    return loadLe<Quad>(b);
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
    bool signedKey;      // WideBinary: the top bit is a sign
    int64_t signedValue;  // the argument's value (Signed, Unsigned, Float)
    uint64_t unsignedValue;
    Quad floatValue;
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
                pl.nf = {&base::kOverpunch, 2, 0x2B, 0x2D};
            else if (type == 17)
                pl.nf = {&kEbcdicOverpunch, 1, 0x4E, 0x60};
            else
                pl.nf = {&base::kOverpunch, 1, 0x2B, 0x2D};
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
                pl.unsignedValue = v;
                pl.signedValue = signExtend(v, len);
                return true;
            }
            memset(img, ext, len - keptLen);
            memcpy(img + (len - keptLen), kept, keptLen);
            if (isSigned) img[0] ^= 0x80;
            pl.kind = Kind::WideBinary;
            pl.signedKey = isSigned;
            return true;
        }
        case 96:
        case 97: {
            const bool highFirst = type & 1;
            pl.highFirst = highFirst;
            if (!floatWidth(len) || !floatWidth(static_cast<uint32_t>(alen))) return false;
            pl.floatValue = loadFloat(a, static_cast<uint32_t>(alen), highFirst);
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
            int64_t v = signExtend(base::loadUnsigned(key, pl.length, pl.highFirst), pl.length);
            return (v > pl.signedValue) - (v < pl.signedValue);
        }
        case Kind::Unsigned: {
            uint64_t v = base::loadUnsigned(key, pl.length, pl.highFirst);
            return (v > pl.unsignedValue) - (v < pl.unsignedValue);
        }
        case Kind::WideBinary:
            toBigEndian(key, pl.length, pl.highFirst, work);
            if (pl.signedKey) work[0] ^= 0x80;
            return memcmp(work, pl.image, pl.length);
        case Kind::Float: {
            Quad v = loadFloat(key, pl.length, pl.highFirst);
            return (v > pl.floatValue) - (v < pl.floatValue);
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
    const uint16_t firstEntry = loadLe<uint16_t>(h);
    int32_t keyCount = loadLe<int16_t>(h + 2);
    int32_t argumentCount = loadLe<int16_t>(h + 4);
    if (keyCount < 0) keyCount = 0;
    if (argumentCount < 0) argumentCount = 0;
    const int32_t used = keyCount < argumentCount ? keyCount : argumentCount;
    const uint8_t* lengths = h + 8 + 16 * static_cast<size_t>(keyCount);
    const uint8_t* forms = lengths + 8 * static_cast<size_t>(argumentCount);
    const uint8_t* values = reinterpret_cast<const uint8_t*>(arguments);
    const uint8_t* alphabetBytes = reinterpret_cast<const uint8_t*>(alphabet);
    const uint8_t* weights = alphabet ? loadLe<const uint8_t*>(alphabetBytes + ZVK_ALPHABET_WEIGHTS) : nullptr;
    const uint8_t* first = table + firstEntry;

    // Plans and images: on the stack for the usual few keys, else in the
    // thread's scratch area.
    size_t need = 0;
    uint32_t longest = 0;
    for (int32_t k = 0; k < used; ++k) {
        uint32_t len = loadLe<uint32_t>(h + 8 + 16 * static_cast<size_t>(k) + 4);
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
        pl.length = loadLe<uint32_t>(key + 4);
        if (pl.length > 255) pl.length = 255;
        pl.offset = loadLe<uint64_t>(key + 8);
        uint8_t* img = images;
        images += (pl.length + 16) & ~15u;
        const uint8_t* value = loadLe<const uint8_t*>(values + 16 * static_cast<size_t>(k));
        uint64_t alen = loadLe<uint64_t>(lengths + 8 * static_cast<size_t>(k));
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
