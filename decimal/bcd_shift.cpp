// Decimal scaling: a copy that multiplies or divides by a power of ten,
// truncating or rounding half up on the magnitude.  With an even shift the
// packed digits keep their place in the bytes and move as a block; an odd
// shift makes each byte of two neighbours, and a rounding carry runs left
// through the pairs with the value tables.

#include <cstring>

#include "kvr2/decimal_muldiv.h"
#include "decimal/frame.h"
#include "decimal/muldiv.h"

using namespace bcd;

namespace {



inline void packedZero(uint8_t* d, int db) {
    memset(d, 0, db);
    d[db - 1] = 0x0C;
}

// A shift beyond both items moves nothing in but zeros: counts that large
// are cut to a size at which that is already so.
inline int64_t bound(int64_t shift, int a, int b) {
    const int64_t limit = 2 * static_cast<int64_t>(a > b ? a : b) + 4;
    return shift > limit ? limit : shift;
}

}  // namespace

extern "C" {

void zvkBcdShiftLeftPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b = packedBytes(srcDigits);
    const int db = packedBytes(dstDigits);
    const bool negative = packedNegative(s[b - 1]);
    if (digitsOf(dstDigits) <= shift) return packedZero(d, db);
    while (b > 1 && *s == 0) ++s, --b;
    const int h = shift >> 1;  // whole bytes
    // Byte i from the right of the source (0: the sign byte); out of the
    // item: zero.  Destination bytes run from the left, so that an item
    // scaled in place reads every source byte before it is written.
    auto at = [&](int i) -> unsigned { return i >= 0 && i < b ? s[b - 1 - i] : 0; };
    if ((shift & 1) == 0) {
        // The block of source bytes lands h bytes further left.
        const int first = db - 1 - h - (b - 1);  // destination index of s[0]
        const int from = first < 0 ? -first : 0;
        const int to = first < 0 ? 0 : first;
        const int count = b - from;
        memmove(d + to, s + from, count);
        memset(d, 0, to);
        d[to + count - 1] &= 0xF0;  // the source's sign nibble
        memset(d + to + count, 0, db - to - count);
    } else {
        for (int r = db - 1; r >= 0; --r) {
            const int m = r - h - 1;
            d[db - 1 - r] = r <= h ? 0 : static_cast<uint8_t>((at(m + 1) << 4) | (at(m) >> 4));
        }
    }
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
}

void zvkBcdShiftRightPacked(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift,
                            int round) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int b = packedBytes(srcDigits);
    const int db = packedBytes(dstDigits);
    const bool negative = packedNegative(s[b - 1]);
    while (b > 1 && *s == 0) ++s, --b;
    const int c = significantDigits(s, b);
    if (round ? shift > c : shift >= c) return packedZero(d, db);
    const int h = shift >> 1;
    auto at = [&](int i) -> unsigned { return i < b ? s[b - 1 - i] : 0; };
    // The first dropped digit decides the rounding.
    const unsigned roundDigit = (shift & 1) ? at(h) >> 4 : at(h) & 0x0F;
    // Destination bytes from the right: an item scaled in place reads each
    // source byte before it is written.
    if ((shift & 1) == 0) {
        d[db - 1] = static_cast<uint8_t>(at(h) & 0xF0);
        const int count = b - 1 - h < db - 1 ? b - 1 - h : db - 1;  // bytes left of the units
        memmove(d + db - 1 - count, s + b - 1 - h - count, count);
        if (count < db - 1) memset(d, 0, db - 1 - count);
    } else {
        d[db - 1] = static_cast<uint8_t>((at(h + 1) & 0x0F) << 4);
        for (int r = 1; r < db; ++r) d[db - 1 - r] = static_cast<uint8_t>((at(r + h + 1) << 4) | (at(r + h) >> 4));
    }
    if (round && roundDigit > 4) {
        // Plus one on the units digit; 9 becomes 0 and the carry runs left
        // through the pairs, 99 becoming 00, until a pair takes it or the
        // destination ends.
        const unsigned units = (d[db - 1] >> 4) + 1;
        d[db - 1] = static_cast<uint8_t>((units > 9 ? 0 : units) << 4);
        for (int i = db - 2; units > 9 && i >= 0; --i) {
            const unsigned v = pairValue[d[i]] + 1u;
            d[i] = pairByte[v > 99 ? 0 : v];
            if (v <= 99) break;
        }
    }
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (negative ? 0x0D : 0x0C));
    if ((digitsOf(dstDigits) & 1) == 0) d[0] &= 0x0F;
}

void zvkBcdShiftLeftZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int n = digitsOf(srcDigits);
    const int dn = digitsOf(dstDigits);
    if (dn == 0) return;
    if (shift >= dn) return static_cast<void>(memset(d, '0', dn));
    const bool negative = n && zonedNegative(s[n - 1]);
    while (n > 1 && (*s & 0x0F) == 0) ++s, --n;
    // The digits end shift places before the end of the destination.
    const int end = dn - shift;  // one past the source's last digit
    const int from = n > end ? n - end : 0;
    const int count = n - from;
    memmove(d + end - count, s + from, count);
    memset(d, '0', end - count);
    memset(d + end, '0', shift);
    d[end - 1] = static_cast<uint8_t>(0x30 | (d[end - 1] & 0x0F));
    d[dn - 1] = static_cast<uint8_t>((negative ? 0x70 : 0x30) | (d[dn - 1] & 0x0F));
}

void zvkBcdShiftRightZoned(const void* src, int32_t srcDigits, void* dst, int32_t dstDigits, int32_t shift,
                           int round) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int n = digitsOf(srcDigits);
    const int dn = digitsOf(dstDigits);
    if (dn == 0) return;
    const bool negative = n && zonedNegative(s[n - 1]);
    while (n > 1 && (*s & 0x0F) == 0) ++s, --n;
    if (n == 0 || (round ? shift > n : shift >= n)) return static_cast<void>(memset(d, '0', dn));
    const int kept = n - shift;
    const unsigned roundDigit = s[kept] & 0x0F;
    const int from = kept > dn ? kept - dn : 0;
    const int count = kept - from;
    memmove(d + dn - count, s + from, count);
    memset(d, '0', dn - count);
    d[dn - 1] = static_cast<uint8_t>(0x30 | (count ? d[dn - 1] & 0x0F : 0));
    if (round && roundDigit > 4) {
        for (int i = dn - 1; i >= 0; --i) {
            const unsigned v = (d[i] & 0x0Fu) + 1;
            d[i] = static_cast<uint8_t>(0x30 | (v > 9 ? 0 : v));
            if (v <= 9) break;
        }
    }
    d[dn - 1] = static_cast<uint8_t>((negative ? 0x70 : 0x30) | zonedDigit(d[dn - 1]));
}

}  // extern "C"

// ---- entry points ----

namespace {

enum class Direction { Left, Right, RightRounded };


// The titles of the dumps, by form.
constexpr const char* formName(Form f) {
    switch (f) {
        case Form::Packed: return "packed";
        case Form::ZonedTrailingOverpunch: return "zoned";
        case Form::ZonedLeadingOverpunch: return "zonedlo";
        case Form::ZonedUnsigned: return "zonedus";
        case Form::ZonedTrailingSeparate: return "zonedts";
        case Form::ZonedLeadingSeparate: return "zonedls";
    }
    return "";
}
constexpr const char* directionName(Direction d) { return d == Direction::Left ? "left" : d == Direction::Right ? "right" : "right round"; }

// The worker of the entries: the scaling of one form and direction, and
// the sign and zero rules of the form's copies on the result.
template <Form F, Direction D>
inline void scale(uint32_t m, const void* src, void* dst, int32_t dd, int32_t sd, int32_t shift) {
    // A negative count shifts the other way (a right shift without
    // rounding when it was a left one).
    bool left = D == Direction::Left, round = D == Direction::RightRounded;
    int64_t count = shift;
    if (count < 0) count = -count, left = !left, round = false;
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int sn = digitsOf(sd), dn = digitsOf(dd);
    const bool keep = m & kBcdKeepNegZero;
    if constexpr (F == Form::Packed) {
        const int32_t k = static_cast<int32_t>(bound(count, packedBytes(sd), packedBytes(dd)));
        if (k == 0) zvkBcdMovePacked(src, sd, dst, dd);
        else if (left) zvkBcdShiftLeftPacked(src, sd, dst, dd, k);
        else zvkBcdShiftRightPacked(src, sd, dst, dd, k, round);
        const int db = packedBytes(dd);
        if (!keep && (d[db - 1] & 0x0F) == 0x0D && zvkBcdIsZeroPacked(dst, dd)) d[db - 1] = 0x0C;
    } else {
        const int32_t k = static_cast<int32_t>(bound(count, sn, dn));
        const uint8_t* sdig = F == Form::ZonedLeadingSeparate ? s + 1 : s;
        uint8_t* ddig = F == Form::ZonedLeadingSeparate ? d + 1 : d;
        const uint8_t sign = !separate(F) ? 0 : F == Form::ZonedTrailingSeparate ? s[sn] : s[0];
        if (k == 0) zvkBcdMoveZoned(sdig, sd, ddig, dd);
        else if (left) zvkBcdShiftLeftZoned(sdig, sd, ddig, dd, k);
        else zvkBcdShiftRightZoned(sdig, sd, ddig, dd, k, round);
        if (dn) {
            if constexpr (F == Form::ZonedTrailingOverpunch) {
                if (!keep && zonedNegative(d[dn - 1]) && zvkBcdIsZeroZoned(dst, dd))
                    d[dn - 1] = static_cast<uint8_t>(0x30 | zonedDigit(d[dn - 1]));
            } else if constexpr (F == Form::ZonedLeadingOverpunch) {
                // The first byte takes the sign of the source's first byte,
                // as a copy of this form does.
                const uint8_t first = sn ? s[0] : '0';
                if (dn > 1) d[dn - 1] = static_cast<uint8_t>(0x30 | (d[dn - 1] & 0x0F));
                const uint8_t zone = leadingZone(first);
                d[0] = static_cast<uint8_t>(zone | zonedDigit(d[0]));
                if (!keep && zone == 0x70 && zvkBcdIsZeroZoned(d, dd) && zonedDigit(d[0]) == 0)
                    d[0] = static_cast<uint8_t>(0x30 | zonedDigit(d[0]));
            } else if constexpr (F == Form::ZonedUnsigned) {
                d[dn - 1] = static_cast<uint8_t>(0x30 | (d[dn - 1] & 0x0F));
            }
        }
        if constexpr (separate(F)) {
            uint8_t& out = F == Form::ZonedTrailingSeparate ? d[dn] : d[0];
            out = sign;
            if (!keep && out == '-' && zvkBcdIsZeroZoned(ddig, dd)) out = '+';
        }
    }
}

// Scaling does not validate its operands.
template <Form F, Direction D>
void* shiftEntry(const void* src, void* dst, int32_t dd, int32_t sd, int32_t shift) {
    return entryFrame(
        true,
        [&] {
            fprintf(stderr, "Shift %s %s %d ...\n", formName(F), directionName(D), shift);
            dumpItem("op1: %p %d ", src, sd, storedBytes(F, sd));
        },
        [](uint32_t) {},
        [&](uint32_t m) {
            scale<F, D>(m, src, dst, dd, sd, shift);
            return dst;
        },
        [&](void*) { dumpItem(F == Form::Packed ? "res: %p %d " : "op2: %p %d ", dst, dd, storedBytes(F, dd)); });
}

}  // namespace

extern "C" {

KVR2_API void* _zvkcBCD_SHFD_Pckd_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::Packed, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_Pckd_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::Packed, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_Pckd_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::Packed, Direction::RightRounded>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_Znd_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingOverpunch, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_Znd_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingOverpunch, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_Znd_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingOverpunch, Direction::RightRounded>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLO_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingOverpunch, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLO_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingOverpunch, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLO_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingOverpunch, Direction::RightRounded>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndUS_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedUnsigned, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndUS_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedUnsigned, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndUS_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedUnsigned, Direction::RightRounded>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndTS_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingSeparate, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndTS_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingSeparate, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndTS_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedTrailingSeparate, Direction::RightRounded>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLS_Left(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingSeparate, Direction::Left>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLS_Right(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingSeparate, Direction::Right>(s, d, dd, sd, k);
}
KVR2_API void* _zvkcBCD_SHFD_ZndLS_RightRnd(const void* s, void* d, int32_t dd, int32_t sd, int32_t k) {
    return shiftEntry<Form::ZonedLeadingSeparate, Direction::RightRounded>(s, d, dd, sd, k);
}

}  // extern "C"
