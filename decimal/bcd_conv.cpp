// Copies and the conversion matrix among packed and the five zoned sign
// forms.  All truncate on the left silently and pad with zeros.  The 36
// cells of the matrix are one template; what differs from cell to cell is
// decided at compile time.

#include <cstring>

#include "kvr2/decimal.h"
#include "decimal/frame.h"
#include "decimal/words.h"

using namespace bcd;

namespace {

inline bool keepNegZero(uint32_t m) { return m & kBcdKeepNegZero; }
inline uint8_t clean(uint8_t b) { return static_cast<uint8_t>(0x30 | (b & 0x0F)); }
inline int idx(Form f) { return static_cast<int>(f); }

// Debug titles, [from][to].  Two keep their historical spelling: the
// title of ZndTS to Pckd and that of ZndLO to ZndLS.
constexpr const char* kTitles[6][6] = {
    {nullptr, "packed to zonedto ...", "packed to zonedts...", "packed to zonedlo...", "packed to zonedls...",
     "packed to zonedus..."},
    {"zonedto to packed...", "zonedto to zonedto...", "zonedto to zonedts...", "zonedto to zonedlo...",
     "zonedto to zonedls...", "zonedto to zonedus..."},
    {"zonedto to packed...", "zonedts to zonedto...", "zonedts to zonedts...", "zonedts to zonedlo...",
     "zonedts to zonedls...", "zonedts to zonedus..."},
    {"zonedlo to packed...", "zonedlo to zonedto...", "zonedlo to zonedts...", "zonedlo to zonedlo...",
     "zonedlo to zonedlo...", "zonedlo to zonedus..."},
    {"zonedls to packed...", "zonedls to zonedto...", "zonedls to zonedts...", "zonedls to zonedlo...",
     "zonedls to zonedls...", "zonedls to zonedus..."},
    {"zonedus to packed...", "zonedus to zonedto...", "zonedus to zonedts...", "zonedus to zonedlo...",
     "zonedus to zonedls...", "zonedus to zonedus..."},
};

// The lenient cell, unsigned to packed: a leading "+", "-" or blank, then
// a trailing "+" or "-", are passed over; their sign is not used.
inline void skipStraySigns(const uint8_t*& digits, int& n) {
    if (n > 0 && (digits[0] == '+' || digits[0] == '-' || digits[0] == ' ')) ++digits, --n;
    if (n > 0 && (digits[n - 1] == '+' || digits[n - 1] == '-')) --n;
}

// The conversions' validation: a packed source is checked as an operand
// of arithmetic; a separate sign always; zoned digits with
// kBcdValidateMoves.
template <Form S, Form D>
void validateConversion(uint32_t m, const void* src, int32_t sd) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    int sn = digitsOf(sd);
    const uint8_t* sdig = S == Form::ZonedLeadingSeparate ? s + 1 : s;
    if constexpr (S == Form::Packed) {
        if (!(m & kBcdNoValidate)) reportMove(zvkBcdCheckPacked(src, sd, 0));
        return;
    }
    if constexpr (separate(S) && D != Form::ZonedUnsigned)
        checkSeparateSign(S == Form::ZonedTrailingSeparate ? s[sn] : s[0]);
    if constexpr (S == Form::ZonedUnsigned && D == Form::Packed) skipStraySigns(sdig, sn);
    if (m & kBcdValidateMoves) {
        const int bad = zvkBcdCheckZoned(sdig, sn, 0);
        if (S == Form::ZonedUnsigned && D == Form::Packed && bad) {
            fprintf(stderr, "Invalid zoned data %d 0x", sd);
            for (int i = 0; i < digitsOf(sd); ++i) fprintf(stderr, "%2.2x", s[i]);
            fputc('\n', stderr);
        }
        reportMove(bad);
    }
}

// One cell of the matrix, after validation.
template <Form S, Form D>
inline void convertCell(uint32_t m, const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    int sn = digitsOf(sd);
    const int dn = digitsOf(dd);
    const uint8_t* sdig = S == Form::ZonedLeadingSeparate ? s + 1 : s;
    uint8_t* ddig = D == Form::ZonedLeadingSeparate ? d + 1 : d;

    if constexpr (S == Form::Packed) {
        // ---- packed to zoned ----
        const bool srcZero = zvkBcdIsZeroPacked(src, sd);
        zvkBcdPackedToZoned(src, sd, ddig, dd);
        if (dn) {
            const bool lastNeg = (ddig[dn - 1] & 0xF0) == 0x70;
            if constexpr (D == Form::ZonedTrailingOverpunch) {
                if (lastNeg && srcZero && !keepNegZero(m)) ddig[dn - 1] = clean(ddig[dn - 1]);
                if (m & kBcdEbcdic) ddig[dn - 1] = zonedLetter(ddig[dn - 1] & 0x0F, (ddig[dn - 1] & 0xF0) == 0x70);
            } else if constexpr (separate(D)) {
                const bool minus = lastNeg && !(srcZero && !keepNegZero(m));
                ddig[dn - 1] = clean(ddig[dn - 1]);
                (D == Form::ZonedTrailingSeparate ? ddig[dn] : d[0]) = minus ? '-' : '+';
            } else if constexpr (D == Form::ZonedLeadingOverpunch) {
                if (lastNeg && dn > 1) ddig[0] = static_cast<uint8_t>(0x70 | (ddig[0] & 0x0F));
                if (srcZero && !keepNegZero(m)) ddig[0] = clean(ddig[0]);
                if (dn > 1) ddig[dn - 1] = clean(ddig[dn - 1]);
                if (m & kBcdEbcdic) ddig[0] = zonedLetter(ddig[0] & 0x0F, (ddig[0] & 0xF0) == 0x70);
            } else {
                ddig[dn - 1] = clean(ddig[dn - 1]);
            }
        }
    } else if constexpr (D == Form::Packed) {
        // ---- zoned to packed ----
        if constexpr (S == Form::ZonedUnsigned) skipStraySigns(sdig, sn);
        bool negative = false;
        if constexpr (S == Form::ZonedTrailingOverpunch) negative = sn && zonedNegative(sdig[sn - 1]);
        if constexpr (S == Form::ZonedLeadingOverpunch) negative = sn && zonedNegative(sdig[0]);
        if constexpr (S == Form::ZonedTrailingSeparate) negative = s[sn] == '-';
        if constexpr (S == Form::ZonedLeadingSeparate) negative = s[0] == '-';
        zvkBcdZonedToPacked(sdig, sn, d, dd);
        const int db = packedBytes(dd);
        uint8_t& last = d[db - 1];
        if constexpr (S == Form::ZonedTrailingOverpunch) {
            if (negative && !keepNegZero(m) && zvkBcdIsZeroPacked(d, dd)) last = (last & 0xF0) | 0x0C;
        } else if constexpr (S == Form::ZonedUnsigned) {
            last = (last & 0xF0) | 0x0C;
        } else {
            const bool minus = negative && (keepNegZero(m) || !zvkBcdIsZeroPacked(d, dd));
            last = static_cast<uint8_t>((last & 0xF0) | (minus ? 0x0D : 0x0C));
        }
    } else {
        // ---- zoned to zoned ----
        // What the source says, read before the destination is written.
        bool negative = false;
        uint8_t carrier = 0;  // the source's sign-carrying byte
        if constexpr (S == Form::ZonedTrailingOverpunch) carrier = sn ? sdig[sn - 1] : '0', negative = zonedNegative(carrier);
        if constexpr (S == Form::ZonedLeadingOverpunch) carrier = sn ? sdig[0] : '0', negative = zonedNegative(carrier);
        if constexpr (S == Form::ZonedTrailingSeparate) carrier = s[sn], negative = carrier == '-';
        if constexpr (S == Form::ZonedLeadingSeparate) carrier = s[0], negative = carrier == '-';
        const uint8_t sourceFirst = sn ? sdig[0] : '0';
        const uint8_t sourceLast = sn ? sdig[sn - 1] : '0';
        if (dn == 0) {
            if constexpr (separate(D)) (D == Form::ZonedTrailingSeparate ? d[0] : d[0]) = negative ? '-' : '+';
        } else {
            zvkBcdMoveZoned(sdig, sn, ddig, dn);
            if (S == Form::ZonedLeadingOverpunch && sn <= dn && sn > 0) ddig[dn - sn] = clean(zonedDigit(sourceFirst));
            const uint8_t zone = negative ? 0x70 : 0x30;
            if constexpr (D == Form::ZonedTrailingOverpunch) {
                ddig[dn - 1] = static_cast<uint8_t>(zone | (ddig[dn - 1] & 0x0F));
            } else if constexpr (D == Form::ZonedLeadingOverpunch) {
                ddig[dn - 1] = clean(ddig[dn - 1]);
                ddig[0] = static_cast<uint8_t>(zone | zonedDigit(ddig[0]));
            } else if constexpr (separate(D)) {
                ddig[dn - 1] = clean(ddig[dn - 1]);
                (D == Form::ZonedTrailingSeparate ? ddig[dn] : d[0]) = negative ? '-' : '+';
            }
            if (negative && !keepNegZero(m) && D != Form::ZonedUnsigned && zvkBcdIsZeroZoned(ddig, dn)) {
                if constexpr (D == Form::ZonedTrailingOverpunch) ddig[dn - 1] = clean(ddig[dn - 1]);
                if constexpr (D == Form::ZonedLeadingOverpunch) ddig[0] = clean(ddig[0]);
                if constexpr (D == Form::ZonedTrailingSeparate) ddig[dn] = '+';
                if constexpr (D == Form::ZonedLeadingSeparate) d[0] = '+';
            }
            if constexpr (S == Form::ZonedUnsigned || D == Form::ZonedUnsigned) {
                if (S == Form::ZonedUnsigned && D == Form::ZonedUnsigned && (m & kBcdRawUnsigned)) {
                    ddig[dn - 1] = sourceLast;
                } else if (m & kBcdCleanUnsigned) {
                    // From the first byte: in a leading-separate destination
                    // that is the sign byte, so the last digit stays as it is.
                    zvkBcdCleanZoned(d, dn);
                    if constexpr (D == Form::ZonedLeadingSeparate) d[0] = '+';
                } else {
                    ddig[dn - 1] = clean(zonedDigit(ddig[dn - 1]));
                    if constexpr (S == Form::ZonedUnsigned && D == Form::ZonedLeadingOverpunch) ddig[0] = clean(zonedDigit(ddig[0]));
                }
            }
            if constexpr (D == Form::ZonedTrailingOverpunch || D == Form::ZonedLeadingOverpunch) {
                if (m & kBcdEbcdic) {
                    uint8_t& sb = D == Form::ZonedTrailingOverpunch ? ddig[dn - 1] : ddig[0];
                    if constexpr (separate(S))
                        sb = zonedLetter(zonedDigit(sb), carrier == '-');
                    else if (S != Form::ZonedUnsigned && isLetter(carrier))
                        sb = carrier;
                    else
                        sb = zonedLetter(zonedDigit(sb), zonedNegative(sb));
                }
            }
        }
    }
}

template <Form S, Form D>
void* convert(const void* src, void* dst, int32_t dd, int32_t sd) {
    return entryFrame(
        true,
        [&] {
            dumpTitle(kTitles[idx(S)][idx(D)]);
            dumpItem("in:  %p %d ", src, sd, storedBytes(S, sd));
        },
        [&](uint32_t m) { validateConversion<S, D>(m, src, sd); },
        [&](uint32_t m) {
            convertCell<S, D>(m, src, dst, dd, sd);
            return dst;
        },
        [&](void*) { dumpItem("out: %p %d ", dst, dd, storedBytes(D, dd)); });
}

// ---- copies ----

template <Form F>
inline void copyItem(uint32_t m, const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint8_t* s = static_cast<const uint8_t*>(src);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int sn = digitsOf(sd), dn = digitsOf(dd);
    const uint8_t* sdig = F == Form::ZonedLeadingSeparate ? s + 1 : s;
    uint8_t* ddig = F == Form::ZonedLeadingSeparate ? d + 1 : d;
    if constexpr (F == Form::Packed) {
        zvkBcdMovePacked(src, sd, dst, dd);
        const int db = packedBytes(dd);
        if (!keepNegZero(m) && packedNegative(d[db - 1]) && zvkBcdIsZeroPacked(dst, dd)) d[db - 1] = 0x0C;
    } else if (dn) {
        const uint8_t first = sn ? sdig[0] : '0';
        const uint8_t sign = F == Form::ZonedTrailingSeparate ? s[sn] : s[0];
        zvkBcdMoveZoned(sdig, sd, ddig, dd);
        if constexpr (F == Form::ZonedTrailingOverpunch) {
            if (!keepNegZero(m) && zonedNegative(d[dn - 1]) && zvkBcdIsZeroZoned(dst, dd)) d[dn - 1] = clean(d[dn - 1]);
        } else if constexpr (F == Form::ZonedLeadingOverpunch) {
            // With one digit the first byte is the last: the sign wins.
            if (dn > 1) d[dn - 1] = clean(d[dn - 1]);
            const uint8_t zone = leadingZone(first);
            d[0] = static_cast<uint8_t>(zone | zonedDigit(d[0]));
            if (!keepNegZero(m) && zone == 0x70 && zonedDigit(d[0]) == 0 &&
                (dn == 1 || zvkBcdIsZeroZoned(d + 1, dn - 1)))
                d[0] = clean(d[0]);
        } else if constexpr (F == Form::ZonedUnsigned) {
            d[dn - 1] = clean(d[dn - 1]);
        } else {
            ddig[dn - 1] = clean(ddig[dn - 1]);
            uint8_t& out = F == Form::ZonedTrailingSeparate ? d[dn] : d[0];
            out = sign;
            if (!keepNegZero(m) && sign == '-' && zvkBcdIsZeroZoned(ddig, dd)) out = '+';
        }
    } else if constexpr (separate(F)) {
        d[0] = F == Form::ZonedTrailingSeparate ? s[sn] : s[0];
    }
}

// The dump shows the digits of a zoned item, without a separate sign.
template <Form F>
void* copy(const char* title, const void* src, void* dst, int32_t dd, int32_t sd) {
    auto shown = [](int32_t n) { return F == Form::Packed ? packedBytes(n) : digitsOf(n); };
    return entryFrame(
        true,
        [&] {
            dumpTitle(title);
            dumpItem("op1: %p %d ", src, sd, shown(sd));
        },
        [&](uint32_t m) { validate<F, Family::Move>(m, Operand{src, sd}); },
        [&](uint32_t m) {
            copyItem<F>(m, src, dst, dd, sd);
            return dst;
        },
        [&](void*) { dumpItem("res: %p %d ", dst, dd, shown(dd)); });
}

}  // namespace

extern "C" {

// ---- copies ----
KVR2_API void* _zvkcBCD_Cpy_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::Packed>("Copy packed ...", s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_Cpy_Znd(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::ZonedTrailingOverpunch>("Copy zoned ...", s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_Cpy_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::ZonedLeadingOverpunch>("Copy zoned lo...", s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_Cpy_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::ZonedUnsigned>("Copy zoned us...", s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_Cpy_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::ZonedLeadingSeparate>("Copy zoned ls...", s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_Cpy_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return copy<Form::ZonedTrailingSeparate>("Copy zoned ts...", s, d, dd, sd);
}

// ---- the matrix ----
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::Packed, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::Packed, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::Packed, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::Packed, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_Pckd_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::Packed, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndTO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::ZonedTrailingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndTS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::ZonedTrailingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndLO(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::ZonedLeadingOverpunch>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndLS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::ZonedLeadingSeparate>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_ZndUS(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::ZonedUnsigned>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTO_To_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingOverpunch, Form::Packed>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndTS_To_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedTrailingSeparate, Form::Packed>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLO_To_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingOverpunch, Form::Packed>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndLS_To_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedLeadingSeparate, Form::Packed>(s, d, dd, sd);
}
KVR2_API void* _zvkcBCD_CONV_ZndUS_To_Pckd(const void* s, void* d, int32_t dd, int32_t sd) {
    return convert<Form::ZonedUnsigned, Form::Packed>(s, d, dd, sd);
}

}  // extern "C"
