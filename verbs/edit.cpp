// Edited moves.  Each routine is one pass over the picture, allocates
// nothing and holds no state: pictures come from the compiler and are
// trusted, so a bad one is simply walked (but never walked past its
// stated length).

#include <string.h>

#include "base/bytes.h"
#include "kvr2/edit.h"
#include "verbs/edit_internal.h"
#include "verbs/item_lengths.h"

namespace {

using base::loadLe;

inline void storeUnit(uint8_t* out, size_t index, uint16_t unit) { base::storeLe(out + 2 * index, unit); }

constexpr uint16_t kNationalBlank = 0x0020;

// ---- number to numeric-edited ----

// Walk state; see editNumber.
struct EditState {
    uint8_t signFloat = 0;      // 0 none, 1 before the first floating character, 2 inside
    uint8_t currencyFloat = 0;
    bool significant = false;   // a significant digit has been stored
    bool forced = false;        // a point, zero insertion or floated symbol forced significance
    bool afterPoint = false;
    bool suppressing = false;
    uint8_t fill = ' ';
    unsigned digitSum = 0;
};

}  // namespace

namespace kvr2 {

size_t editNumber(const NumericEditRecord* record, const uint8_t* source, uint8_t* out) {
    const uint8_t* rec = reinterpret_cast<const uint8_t*>(record);
    const int16_t rawLength = loadLe<int16_t>(rec);
    const size_t length = verbs::byteCount(rawLength);
    const uint8_t decimalPoint = rec[2];
    const uint8_t currencySign = rec[3];
    const uint8_t* pic = rec + 5;

    // BLANK WHEN ZERO comes as the class's two's complement.
    bool blankWhenZero = false;
    unsigned editClass = rec[4];
    if (editClass > ZVK_EDIT_CURRENCY) {
        editClass = (256 - editClass) & 0xFF;
        if (editClass <= ZVK_EDIT_CURRENCY)
            blankWhenZero = true;
        else
            editClass = ZVK_EDIT_PLAIN;   // no such class: edit without sign
    }
    const bool negative = source[0] == '-';
    // What a sign position shows: "+" or "-" where the picture's sign is
    // "+" (or CR/DB, which test for "-"), "-" or blank where it is "-".
    uint8_t signChar;
    switch (editClass) {
        case ZVK_EDIT_FIXED_PLUS:
        case ZVK_EDIT_CR:
        case ZVK_EDIT_DB:
        case ZVK_EDIT_FLOAT_PLUS:
        case ZVK_EDIT_FLOAT_PLUS_B:
        case ZVK_EDIT_CURRENCY_PLUS:
            signChar = source[0];
            break;
        case ZVK_EDIT_FIXED_MINUS:
        case ZVK_EDIT_FLOAT_MINUS:
        case ZVK_EDIT_FLOAT_MINUS_B:
        case ZVK_EDIT_CURRENCY_MINUS:
            signChar = negative ? '-' : ' ';
            break;
        default:
            signChar = ' ';
            break;
    }
    const bool signFloats = editClass >= ZVK_EDIT_FLOAT_PLUS && editClass <= ZVK_EDIT_FLOAT_MINUS_B;
    const bool currencyFloats = editClass >= ZVK_EDIT_CURRENCY_PLUS && editClass <= ZVK_EDIT_CURRENCY;
    const bool floats = signFloats || currencyFloats;
    const uint8_t symbol = signFloats ? signChar : currencySign;
    uint8_t separator = ',', point = '.';
    if (decimalPoint != '.') separator = '.', point = ',';

    EditState s;
    if (signFloats) s.signFloat = 1;
    if (currencyFloats) s.currencyFloat = 1;
    const uint8_t* digit = source + 1;
    size_t n = 0;   // bytes stored

    // The floated symbol goes over the byte stored just before.
    auto placeSymbol = [&] {
        if (n > 0) out[n - 1] = symbol;
    };
    auto floatStateOne = [&] { return s.signFloat == 1 || s.currencyFloat == 1; };
    auto takeDigit = [&] {
        uint8_t d = *digit++;
        s.digitSum += d & 0x0F;
        out[n++] = d;
    };

    for (size_t i = 0; i < length; ++i) {
        const uint8_t c = pic[i];
        switch (c) {
            case ' ':
            case '/':
            case '0':
                if (floatStateOne()) {
                    out[n++] = c;
                } else if (floats && !s.significant && !s.afterPoint) {
                    out[n++] = ' ';
                    s.afterPoint = s.significant = false;
                } else if (s.suppressing) {
                    out[n++] = s.fill;
                } else {
                    out[n++] = c;
                    if (c == '0') s.forced = true;
                }
                break;
            case ',':
                if (s.significant || s.forced) {
                    out[n++] = separator;
                    break;
                }
                if (s.suppressing)
                    out[n++] = s.fill;
                else if (floats)
                    out[n++] = floatStateOne() ? separator : ' ';
                else
                    out[n++] = separator;
                s.significant = s.forced = false;
                break;
            case '.':
            case 'V':
                if (!s.significant && floats) {
                    placeSymbol();
                    s.forced = true;
                }
                if (c == '.') out[n++] = point;
                s.afterPoint = true;
                s.suppressing = false;
                break;
            case '9':
                if (floats && !s.significant && !s.afterPoint) placeSymbol();
                takeDigit();
                s.significant = true;
                s.suppressing = false;
                break;
            case '*':
            case 'Z':
                if (c == '*') s.fill = '*';
                if (s.significant || s.afterPoint) {
                    takeDigit();
                    s.significant = true;
                } else if (*digit == '0') {
                    ++digit;
                    out[n++] = s.fill;
                    s.suppressing = true;
                } else {
                    if (floats) placeSymbol();
                    takeDigit();
                    s.significant = true;
                    s.suppressing = false;
                }
                break;
            case '+':
            case '-':
            case '$': {
                uint8_t* state = c == '$' ? (currencyFloats ? &s.currencyFloat : nullptr)
                                          : (signFloats ? &s.signFloat : nullptr);
                if (!state) {
                    out[n++] = c == '$' ? currencySign : signChar;
                } else if (s.significant || s.forced) {
                    takeDigit();
                    s.significant = true;
                } else if (*state == 1) {
                    out[n++] = ' ';
                    *state = 2;
                } else if (*digit == '0') {
                    ++digit;
                    out[n++] = ' ';
                    s.significant = s.forced = false;
                } else {
                    placeSymbol();
                    takeDigit();
                    s.significant = true;
                    s.forced = false;
                }
                break;
            }
            case 'P':
                break;
            default:   // CR or DB: two positions
                if (i + 1 < length) {
                    out[n++] = signChar == '-' ? c : ' ';
                    out[n++] = signChar == '-' ? pic[i + 1] : ' ';
                    ++i;
                } else {
                    out[n++] = signChar == '-' ? c : ' ';
                }
                break;
        }
    }

    if (blankWhenZero && s.digitSum == 0) {
        memset(out, ' ', n);
        return n;
    }
    if (rawLength >= 0 || s.digitSum != 0) return n;
    // A zero value where every digit position suppresses: asterisks but
    // for the point under "*" in the classes below ZVK_EDIT_FLOAT_PLUS_B,
    // else all blanks.
    if (s.fill == '*' && editClass < ZVK_EDIT_FLOAT_PLUS_B) {
        for (size_t i = 0; i < n; ++i)
            if (out[i] != point) out[i] = '*';
    } else {
        memset(out, ' ', n);
    }
    return n;
}

}  // namespace kvr2

namespace {

// ---- de-editing ----

// The source as de-editing sees it: plain, or with a long currency symbol
// standing as one "$" byte (so no work copy is needed).
struct PlainSource {
    const uint8_t* p;
    uint8_t operator[](size_t i) const { return p[i]; }
};
struct SplicedSource {
    const uint8_t* p;
    size_t at;        // where the symbol begins
    size_t skip;      // symbol length - 1
    uint8_t operator[](size_t i) const { return i < at ? p[i] : i == at ? uint8_t('$') : p[i + skip]; }
};

inline bool isDigit(uint8_t c) { return c >= '0' && c <= '9'; }
inline bool isSign(uint8_t c) { return c == '+' || c == '-'; }

template <class Source>
int32_t deEdit(const uint8_t* pic, size_t length, const Source& src, uint8_t* dst) {
    uint8_t sign = 0;   // sign taken: 0, '+' or '-'
    size_t dollars = 0, signPositions = 0;
    size_t at = 0;      // source position
    size_t n = 0;       // digits stored

    auto laterSign = [&](size_t i) {
        for (size_t k = i + 1; k < length; ++k)
            if (isSign(pic[k])) return true;
        return false;
    };

    for (size_t i = 0; i < length; ++i) {
        const uint8_t p = pic[i];
        if (p == 'P' || p == 'V') continue;
        const uint8_t c = src[at++];
        switch (p) {
            case ' ':
            case '.':
            case '/':
            case '0':
                if (signPositions > 0 && isSign(c) && laterSign(i)) sign = c;
                break;
            case ',':
                if (isSign(c)) sign = c;
                break;
            case '$':
                if (isDigit(c))
                    dst[n++] = c;
                else if (dollars > 0)
                    dst[n++] = '0';
                ++dollars;
                break;
            case '*':
                dst[n++] = c == '*' ? '0' : c;
                break;
            case '9':
            case 'Z':
                dst[n++] = c == ' ' ? '0' : c;
                break;
            case '+':
            case '-': {
                const bool first = signPositions++ == 0;
                if ((p == '+' && isSign(c)) || (p == '-' && c == '-')) {
                    if (sign) return 1;
                    sign = c;
                    if (!first) dst[n++] = '0';
                } else if (isDigit(c)) {
                    if (first) return 1;
                    if (p == '+' && !sign) return 1;
                    if (!sign) sign = '+';
                    dst[n++] = c;
                } else if (first && c == ' ') {
                    // a blank in the first sign position
                } else if (!first && c == ' ') {
                    dst[n++] = '0';
                } else {
                    if (sign) return 1;
                    sign = '+';
                }
                break;
            }
            default:   // CR or DB: two positions
                if (i + 1 >= length) return 1;
                if (c == ' ') {
                    if (src[at++] != ' ') return 1;
                    sign = '+';
                } else {
                    if (c != p || src[at++] != pic[i + 1]) return 1;
                    sign = '-';
                }
                ++i;
                break;
        }
    }
    dst[n] = sign ? sign : '+';
    return 0;
}

inline size_t deEditLength(const DeEditRecord* record) {
    int16_t l = loadLe<int16_t>(record);
    return l < 0 ? 0 : size_t(l);
}
inline const uint8_t* deEditPicture(const DeEditRecord* record) {
    return reinterpret_cast<const uint8_t*>(record) + 2;
}

}  // namespace

extern "C" {

// ---- alphanumeric edit ----

void _zvkcMoveAlphaNumEdit(const AlphaEditRecord* record, const uint8_t* source, int32_t sourceLength,
                           uint8_t* destination) {
    const uint8_t* rec = reinterpret_cast<const uint8_t*>(record);
    const int16_t length = loadLe<int16_t>(rec);
    const bool repeat = rec[2] != 0;
    const uint8_t* pic = rec + 3;
    const size_t sourceSize = sourceLength > 0 ? size_t(sourceLength) : 0;
    size_t at = 0, i = 0, n = 0;
    for (int32_t position = 0; position < length; ++position) {
        const uint8_t c = pic[i];
        if (c == '/' || c == '0' || c == ' ') {
            destination[n++] = c;
            ++i;
        } else if (c == 0x81 && pic[i + 1] == 0x40) {
            destination[n++] = 0x81;
            destination[n++] = 0x40;
            i += 2;
        } else {
            if (at >= sourceSize && repeat && sourceSize > 0) at = 0;
            destination[n++] = at < sourceSize ? source[at++] : ' ';
            ++i;
        }
    }
}

// ---- national edit ----

void _zvkcMoveUnicodeEdit(const NationalEditRecord* record, const uint8_t* source, int32_t sourceLength,
                          uint8_t* destination) {
    const uint8_t* rec = reinterpret_cast<const uint8_t*>(record);
    const int32_t runBytes = loadLe<int16_t>(rec);
    // ((runBytes - 1) / 4 rounded down) + 1 runs; none for an empty list.
    const int32_t runs = runBytes <= 0 ? 0 : (runBytes - 1) / 4 + 1;
    // An empty source cannot start over: it leaves blanks.
    const size_t units = sourceLength > 0 ? size_t(sourceLength) / 2 : 0;
    const bool repeat = rec[2] != 0 && units > 0;
    auto unitAt = [&](size_t k) { return loadLe<uint16_t>(source + 2 * k); };

    size_t at = 0;   // source units used
    size_t n = 0;    // units stored
    for (int32_t r = 0; r < runs; ++r) {
        const uint8_t* run = rec + 4 + 4 * size_t(r);
        const uint16_t unit = loadLe<uint16_t>(run);
        const int32_t count = loadLe<int16_t>(run + 2);
        if (count <= 0) continue;
        if (unit == 0x0030 || unit == 0x002F || unit == 0x0020) {
            for (int32_t k = 0; k < count; ++k) storeUnit(destination, n++, unit);
            continue;
        }
        if (at >= units) {
            if (!repeat) {
                for (int32_t k = 0; k < count; ++k) storeUnit(destination, n++, kNationalBlank);
                continue;
            }
            at = 0;
            for (int32_t k = 0; k < count; ++k) {
                if (at >= units) at = 0;
                storeUnit(destination, n++, unitAt(at++));
            }
            continue;
        }
        // Units one by one; a source that runs out before the run's last
        // position ends the run with one blank, or (repeating) starts over
        // in the way described in the header.
        for (int32_t k = 0; k < count; ++k) {
            storeUnit(destination, n++, unitAt(at++));
            if (at < units || k == count - 1) continue;
            if (!repeat) {
                storeUnit(destination, n++, kNationalBlank);
                break;
            }
            at = 0;
            for (int32_t j = k + 1; j < count && at < units; ++j) storeUnit(destination, n++, unitAt(at++));
            if (count <= 2) break;
            at = 0;
        }
    }
}

// ---- figurative fill ----

void _zvkcMoveFigConst(uint8_t* destination, int32_t destinationLength, const uint8_t* literal,
                       int32_t literalLength) {
    if (literalLength <= 0 || destinationLength == 0) return;
    const bool right = destinationLength < 0;
    const size_t size = verbs::byteCount(destinationLength);
    const size_t lit = size_t(literalLength);
    const size_t q = size / lit, r = size % lit;
    uint8_t* whole = destination;
    if (r) {
        if (right) {
            memcpy(destination, literal + lit - r, r);
            whole = destination + r;
        } else {
            memcpy(destination + size - r, literal, r);
        }
    }
    for (size_t k = 0; k < q; ++k) memcpy(whole + k * lit, literal, lit);
}

// ---- number to numeric-edited ----

void _zvkcMoveNumToNumEdit(const NumericEditRecord* record, const uint8_t* source, uint8_t* destination) {
    kvr2::editNumber(record, source, destination);
}

void _zvkcMoveNumToNumEdit2(const NumericEditRecord* record, const uint8_t* source, uint8_t* destination,
                            const CurrencyString* currency) {
    // Edit in place, then widen the one-byte currency character to the
    // whole symbol: the receiver is longer than the picture by the
    // symbol's length less one.
    const size_t n = kvr2::editNumber(record, source, destination);
    const uint8_t sign = reinterpret_cast<const uint8_t*>(record)[3];
    const size_t text = strnlen(reinterpret_cast<const char*>(destination), n);
    const uint8_t* at = static_cast<const uint8_t*>(memchr(destination, sign, text));
    if (!at) return;
    const size_t k = size_t(at - destination);
    const uint8_t* cs = reinterpret_cast<const uint8_t*>(currency);
    const size_t symbolLength = loadLe<uint16_t>(cs);
    memmove(destination + k + symbolLength, destination + k + 1, n - k - 1);
    memcpy(destination + k, cs + 2, symbolLength);
}

// ---- de-editing ----

int32_t _zvkcMoveNumEditToNum(const DeEditRecord* record, const uint8_t* source, uint8_t* destination) {
    return deEdit(deEditPicture(record), deEditLength(record), PlainSource{source}, destination);
}

int32_t _zvkcMoveNumEditToNum2(const DeEditRecord* record, const uint8_t* source, uint8_t* destination,
                               const CurrencyString* currency) {
    const int16_t raw = loadLe<int16_t>(record);
    const size_t limit = strnlen(reinterpret_cast<const char*>(source), verbs::byteCount(raw));
    const uint8_t* cs = reinterpret_cast<const uint8_t*>(currency);
    const size_t symbolLength = strnlen(reinterpret_cast<const char*>(cs + 2), loadLe<uint16_t>(cs));
    if (symbolLength > 0 && symbolLength <= limit) {
        for (size_t p = 0; p + symbolLength <= limit; ++p) {
            if (memcmp(source + p, cs + 2, symbolLength) == 0)
                return deEdit(deEditPicture(record), deEditLength(record),
                              SplicedSource{source, p, symbolLength - 1}, destination);
        }
    }
    return deEdit(deEditPicture(record), deEditLength(record), PlainSource{source}, destination);
}

// ---- variable-length move ----

void _zvkcMoveVarLenOverlap(uint8_t* destination, int32_t destinationLength, const uint8_t* source,
                            int32_t sourceLength) {
    const bool right = destinationLength < 0;
    const uint8_t pad = sourceLength < 0 ? 0x40 : 0x20;
    const size_t d = verbs::byteCount(destinationLength);
    const size_t s = verbs::byteCount(sourceLength);
    // memmove throughout: it is memcpy where the ranges are apart.  The
    // source moves before any padding is written, so an overlapping source
    // is read whole.
    if (d == s) {
        memmove(destination, source, d);
    } else if (d > s) {
        if (right) {
            memmove(destination + (d - s), source, s);
            memset(destination, pad, d - s);
        } else {
            memmove(destination, source, s);
            memset(destination + s, pad, d - s);
        }
    } else {
        memmove(destination, right ? source + (s - d) : source, d);
    }
}

// ---- segment refresh ----

void _zvkcRfshUncond(int32_t segment, int32_t count, void** targets, void* const* initialTargets,
                     const uint8_t* entrySegments) {
    const uint8_t seg = static_cast<uint8_t>(segment);
    for (int32_t i = 0; i < count; ++i)
        if (entrySegments[i] == seg) targets[i] = initialTargets[i];
}

void _zvkcRfshCond(int32_t currentSegment, int32_t count, int32_t newSegment, void** targets,
                   void* const* initialTargets, const uint8_t* entrySegments) {
    const int8_t next = static_cast<int8_t>(newSegment);
    if (next == static_cast<int8_t>(currentSegment) || next < 50 || count < 1) return;
    _zvkcRfshUncond(newSegment, count, targets, initialTargets, entrySegments);
}

void _zvkcRfshGoDepend(int32_t index, int32_t currentSegment, int32_t count, const uint8_t* segmentTable,
                       void** targets, void* const* initialTargets, const uint8_t* entrySegments) {
    // A selector below 1 makes GO TO DEPENDING fall through: nothing to refresh.
    if (index < 1) return;
    _zvkcRfshCond(currentSegment, count, segmentTable[index - 1], targets, initialTargets, entrySegments);
}

}  // extern "C"
