// Conversions of packed and zoned items to and from binary integers.
// Digits beyond the destination are dropped without a message.

#include <cstring>

#include <type_traits>

#include "kvr2/decimal.h"
#include "decimal/frame.h"
#include "decimal/words.h"

using namespace bcd;

namespace {

inline bool keepNegZero(uint32_t m) { return m & kBcdKeepNegZero; }

// Packed to binary: base 100 over the pairs, no overflow test.
uint64_t packedValue(const uint8_t* p, int32_t digits) {
    int b = packedBytes(digits);
    bool skipped = false;
    while (b > 1 && *p == 0) ++p, --b, skipped = true;
    const bool maskFirst = !skipped && (digitsOf(digits) & 1) == 0;
    uint64_t v = 0;
    for (int i = 0; i < b - 1; ++i) v = v * 100 + zvkBcdPairValue[i == 0 && maskFirst ? p[0] & 0x0F : p[i]];
    const int units = (b == 1 && maskFirst) ? 0 : p[b - 1] >> 4;
    return v * 10 + static_cast<uint64_t>(units);
}

uint64_t zonedValue(const uint8_t* p, int32_t digits) {
    int n = digitsOf(digits);
    while (n > 1 && (*p & 0x0F) == 0) ++p, --n;
    uint64_t v = 0;
    for (int i = 0; i < n; ++i) v = v * 10 + (p[i] & 0x0F);
    return v;
}

template <class R>
struct IntFormat;
template <> struct IntFormat<int8_t> { static constexpr const char* f = "%hhd\n"; };
template <> struct IntFormat<uint8_t> { static constexpr const char* f = "%hhu\n"; };
template <> struct IntFormat<int16_t> { static constexpr const char* f = "%hd\n"; };
template <> struct IntFormat<uint16_t> { static constexpr const char* f = "%hu\n"; };
template <> struct IntFormat<int32_t> { static constexpr const char* f = "%d\n"; };
template <> struct IntFormat<uint32_t> { static constexpr const char* f = "%u\n"; };
template <> struct IntFormat<int64_t> { static constexpr const char* f = "%lld\n"; };
template <> struct IntFormat<uint64_t> { static constexpr const char* f = "%llu\n"; };

template <class R>
void dumpInt(const char* label, R v) {
    fputs(label, stderr);
    if constexpr (sizeof(R) == 8)
        fprintf(stderr, IntFormat<R>::f, static_cast<std::conditional_t<std::is_signed_v<R>, long long, unsigned long long>>(v));
    else
        fprintf(stderr, IntFormat<R>::f, v);
}

template <Form F, class R>
R binaryValue(const void* src, int32_t sd) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint64_t v;
    bool negative;
    if constexpr (F == Form::Packed) {
        v = packedValue(s, sd);
        negative = packedNegative(s[packedBytes(sd) - 1]);
    } else {
        const int n = digitsOf(sd);
        v = n ? zonedValue(s, sd) : 0;
        negative = n && zonedNegative(s[n - 1]);
    }
    if (std::is_signed_v<R> && negative && v) v = 0 - v;
    return static_cast<R>(v);
}

// A source that does not validate is converted as it is.
template <Form F, class R>
R toBinary(const char* title, const void* src, int32_t sd) {
    return entryFrame(
        true,
        [&] {
            dumpTitle(title);
            dumpItem("in:  %p %d ", src, sd, storedBytes(F, sd));
        },
        [&](uint32_t m) {
            if (!(m & kBcdNoValidate)) reportMove(checkItem<F>(src, sd, 0));
        },
        [&](uint32_t) { return binaryValue<F, R>(src, sd); }, [](R r) { dumpInt("out: ", r); });
}

template <Form F, class V>
void storeBinary(uint32_t m, V value, void* dst, int32_t dd) {
    uint8_t* d = static_cast<uint8_t*>(dst);
    const bool negative = value < 0;
    uint64_t mag = negative ? 0 - static_cast<uint64_t>(static_cast<int64_t>(value)) : static_cast<uint64_t>(value);
    // Digits beyond the destination are dropped; a negative value that
    // leaves only zeros loses its sign unless negative zero is kept.
    if constexpr (F == Form::Packed) {
        const int db = packedBytes(dd);
        memset(d, 0, db);
        const unsigned units = static_cast<unsigned>(mag % 10);
        mag /= 10;
        for (int i = db - 2; i >= 0 && mag; --i, mag /= 100) d[i] = zvkBcdPairByte[mag % 100];
        if ((digitsOf(dd) & 1) == 0) d[0] &= 0x0F;
        const bool zero = units == 0 && allZero(d, db - 1);
        const bool minus = negative && !(zero && !keepNegZero(m));
        d[db - 1] = static_cast<uint8_t>((units << 4) | (minus ? 0x0D : 0x0C));
    } else {
        const int dn = digitsOf(dd);
        memset(d, '0', dn);
        for (int i = dn - 1; i >= 0 && mag; --i, mag /= 10) d[i] = static_cast<uint8_t>('0' + mag % 10);
        const bool zero = lowNibblesZero(d, dn);
        if (dn && negative && !(zero && !keepNegZero(m))) d[dn - 1] = static_cast<uint8_t>(0x70 | (d[dn - 1] & 0x0F));
    }
}

// A binary value needs no validation.
template <Form F, class V>
void* fromBinary(const char* title, V value, void* dst, int32_t dd) {
    return entryFrame(
        true,
        [&] {
            dumpTitle(title);
            dumpInt("in:  ", value);
        },
        [](uint32_t) {},
        [&](uint32_t m) {
            storeBinary<F, V>(m, value, dst, dd);
            return dst;
        },
        [&](void*) { dumpItem("out: %p %d ", dst, dd, storedBytes(F, dd)); });
}

}  // namespace

extern "C" {

KVR2_API int8_t _zvkcBCD_CONV_Pckd_To_Int1(const void* s, int32_t sd) {
    return toBinary<Form::Packed, int8_t>("packed to int8...", s, sd);
}
KVR2_API uint8_t _zvkcBCD_CONV_Pckd_To_Uns1(const void* s, int32_t sd) {
    return toBinary<Form::Packed, uint8_t>("packed to uint8...", s, sd);
}
KVR2_API int16_t _zvkcBCD_CONV_Pckd_To_Int2(const void* s, int32_t sd) {
    return toBinary<Form::Packed, int16_t>("packed to int16...", s, sd);
}
KVR2_API uint16_t _zvkcBCD_CONV_Pckd_To_Uns2(const void* s, int32_t sd) {
    return toBinary<Form::Packed, uint16_t>("packed to uint16...", s, sd);
}
KVR2_API int32_t _zvkcBCD_CONV_Pckd_To_Int4(const void* s, int32_t sd) {
    return toBinary<Form::Packed, int32_t>("packed to int32...", s, sd);
}
KVR2_API uint32_t _zvkcBCD_CONV_Pckd_To_Uns4(const void* s, int32_t sd) {
    return toBinary<Form::Packed, uint32_t>("packed to uint32...", s, sd);
}
KVR2_API int64_t _zvkcBCD_CONV_Pckd_To_Int8(const void* s, int32_t sd) {
    return toBinary<Form::Packed, int64_t>("packed to int64...", s, sd);
}
KVR2_API uint64_t _zvkcBCD_CONV_Pckd_To_Uns8(const void* s, int32_t sd) {
    return toBinary<Form::Packed, uint64_t>("packed to uint64...", s, sd);
}
KVR2_API int32_t _zvkcBCD_CONV_Znd_To_Int4(const void* s, int32_t sd) {
    return toBinary<Form::ZonedTrailingOverpunch, int32_t>("zoned to int32...", s, sd);
}
KVR2_API uint32_t _zvkcBCD_CONV_Znd_To_UInt4(const void* s, int32_t sd) {
    return toBinary<Form::ZonedTrailingOverpunch, uint32_t>("zoned to uint32...", s, sd);
}
KVR2_API int64_t _zvkcBCD_CONV_Znd_To_Int8(const void* s, int32_t sd) {
    return toBinary<Form::ZonedTrailingOverpunch, int64_t>("zoned to int64...", s, sd);
}
KVR2_API uint64_t _zvkcBCD_CONV_Znd_To_UInt8(const void* s, int32_t sd) {
    return toBinary<Form::ZonedTrailingOverpunch, uint64_t>("zoned to uint64...", s, sd);
}

KVR2_API void* _zvkcBCD_CONV_Int1_To_Pckd(int8_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, int8_t>("int8 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Uns1_To_Pckd(uint8_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, uint8_t>("uint8 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Int2_To_Pckd(int16_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, int16_t>("int16 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Uns2_To_Pckd(uint16_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, uint16_t>("uint16 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Int4_To_Pckd(int32_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, int32_t>("int32 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Uns4_To_Pckd(uint32_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, uint32_t>("uint32 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Int8_To_Pckd(int64_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, int64_t>("int64 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Uns8_To_Pckd(uint64_t v, void* d, int32_t dd) {
    return fromBinary<Form::Packed, uint64_t>("uint64 to packed...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Int4_To_Znd(int32_t v, void* d, int32_t dd) {
    return fromBinary<Form::ZonedTrailingOverpunch, int32_t>("int32 to zoned...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_UInt4_To_Znd(uint32_t v, void* d, int32_t dd) {
    return fromBinary<Form::ZonedTrailingOverpunch, uint32_t>("uint32 to zoned...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_Int8_To_Znd(int64_t v, void* d, int32_t dd) {
    return fromBinary<Form::ZonedTrailingOverpunch, int64_t>("int64 to zoned...", v, d, dd);
}
KVR2_API void* _zvkcBCD_CONV_UInt8_To_Znd(uint64_t v, void* d, int32_t dd) {
    return fromBinary<Form::ZonedTrailingOverpunch, uint64_t>("uint64 to zoned...", v, d, dd);
}

// No frame: no mode word, no dump, no validation.
KVR2_API uint64_t _zvkcBCD_CONV_Pckd_To_Len8(const void* src, int32_t srcDigits, int32_t fractionDigits) {
    const uint8_t* p = static_cast<const uint8_t*>(src);
    const int n = digitsOf(srcDigits);
    if (n == 0) return 0;
    const int b = packedBytes(srcDigits);
    if (packedNegative(p[b - 1])) return 0;
    if (fractionDigits <= 0) return packedValue(p, srcDigits);
    // Digit k of the item (0 is the leftmost of the n) is nibble 2b-1-n+k.
    auto digit = [&](int k) {
        const int nib = 2 * b - 1 - n + k;
        return (nib & 1) ? (p[nib >> 1] & 0x0F) : (p[nib >> 1] >> 4);
    };
    const int whole = n > fractionDigits ? n - fractionDigits : 0;
    uint64_t v = 0;
    for (int k = 0; k < whole; ++k) v = v * 10 + static_cast<uint64_t>(digit(k));
    for (int k = whole; k < n; ++k)
        if (digit(k)) return v + 1;
    return v;
}

}  // extern "C"
