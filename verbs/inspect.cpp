// INSPECT.  The phrases fall into groups, each scanned in one pass over the
// item, trying the group's phrases in statement order at every position.
// Before a group's pass every phrase gets its region from its BEFORE and
// AFTER operands; a match must lie wholly inside its region.
//
// Signed numeric DISPLAY operands are compared as plain digits: those with
// the sign in a digit's zone are worked on in copies whose sign byte is
// made a plain digit, and the item's own zone is put back after a change.
// The working storage of a call (phrase states and those copies) is one
// piece: on the stack when it is small, which it is for any ordinary
// statement, else one allocation.

#include <stdlib.h>
#include <string.h>

#include "base/bytes.h"
#include "frame/messages.h"
#include "kvr2/inspect.h"

namespace {

constexpr uint32_t kSignedNumeric = ZVK_INSP_SIGNED_NUMERIC;
constexpr uint32_t kSignedNational = 0x108000u;
constexpr size_t kStackArea = 4096;

struct Operand {
    const uint8_t* data;
    size_t length;
};

struct Phrase {
    uint32_t kind;        // flags of the result operand
    Operand result;       // TALLYING: unused
    Operand compared;
    size_t from, to;      // region of the normalised item: [from, to)
    uint64_t tally;
    uint8_t* counter;     // TALLYING's 64-bit counter
    const InspectPhrase* raw;
};

inline bool hasSignInZone(uint32_t flags) {
    return (flags & kSignedNumeric) == kSignedNumeric && !(flags & ZVK_INSP_SIGN_SEPARATE);
}

// Bytes of copy an operand needs to be normalised.
inline size_t copyNeed(const InspectOperand& op) { return hasSignInZone(op.flags) ? size_t(op.length) : 0; }

// Normalises an operand so that the scan compares plain digits; `buffer`
// has copyNeed(op) bytes where a copy is needed.
Operand normalise(const InspectOperand& op, uint8_t* buffer) {
    Operand o{static_cast<const uint8_t*>(op.data), size_t(op.length)};
    const uint32_t f = op.flags;
    if ((f & kSignedNumeric) == kSignedNumeric) {
        if (f & ZVK_INSP_SIGN_SEPARATE) {
            if (o.length == 0) return o;
            o.length -= 1;
            if (f & ZVK_INSP_SIGN_LEADING) o.data += 1;
        } else if (o.length > 0) {
            memcpy(buffer, o.data, o.length);
            uint8_t& s = buffer[(f & ZVK_INSP_SIGN_LEADING) ? 0 : o.length - 1];
            s = uint8_t((s & 0x0F) | 0x30);
            o.data = buffer;
        }
    } else if ((f & kSignedNational) == kSignedNational && (f & ZVK_INSP_SIGN_SEPARATE)) {
        if (o.length < 2) return Operand{o.data, 0};
        o.length -= 2;
        if (f & ZVK_INSP_SIGN_LEADING) o.data += 2;
    }
    return o;
}

// First offset, stepping by character, at which `what` stands in the item.
bool find(const uint8_t* item, size_t length, size_t step, const Operand& what, size_t* at) {
    if (what.length > length) return false;
    for (size_t p = 0; p + what.length <= length; p += step) {
        if (memcmp(item + p, what.data, what.length) == 0) {
            *at = p;
            return true;
        }
    }
    return false;
}

// Sets up the phrases [first, end) of one group.  `copies` is advanced past
// the copies it uses.
void setupGroup(Phrase* ph, const InspectPhrase* raw, int first, int end, const uint8_t* item, size_t length,
                size_t charSize, uint8_t*& copies) {
    for (int i = first; i < end; ++i) {
        Phrase& p = ph[i];
        const InspectPhrase& r = raw[i];
        p.raw = &r;
        p.kind = r.result.flags;
        p.tally = 0;
        p.counter = nullptr;
        if (p.kind & ZVK_INSP_TALLYING) {
            p.counter = static_cast<uint8_t*>(r.result.data);
            p.result = Operand{nullptr, 0};
        } else {
            p.result = normalise(r.result, copies);
            copies += copyNeed(r.result);
        }
        if (p.kind & ZVK_INSP_CHARACTERS) {
            p.compared = Operand{nullptr, charSize};
        } else {
            p.compared = normalise(r.compared, copies);
            copies += copyNeed(r.compared);
        }
        if ((p.kind & (ZVK_INSP_REPLACING | ZVK_INSP_CONVERTING)) && p.result.length != p.compared.length &&
            !(r.result.flags & ZVK_INSP_FIGURATIVE)) {
            if (p.kind & ZVK_INSP_CHARACTERS)
                zvkWriteMsg(76, 0, "");
            else
                zvkWriteMsg(77, 0, (p.kind & ZVK_INSP_CONVERTING) ? "CONVERTING" : "REPLACING");
            const size_t shorter = p.result.length < p.compared.length ? p.result.length : p.compared.length;
            p.result.length = p.compared.length = shorter;
        }

        p.from = 0;
        p.to = length;
        if (p.kind & ZVK_INSP_AFTER) {
            Operand a = normalise(r.after, copies);
            copies += copyNeed(r.after);
            size_t at;
            if (find(item, length, charSize, a, &at))
                p.from = at + a.length;
            else
                p.to = 0;   // closed for the whole pass
        }
        if ((p.kind & ZVK_INSP_BEFORE) && p.to != 0) {
            Operand b = normalise(r.before, copies);
            copies += copyNeed(r.before);
            size_t at;
            if (find(item, length, charSize, b, &at)) p.to = at;
        }
        // A phrase that could match nothing, or whose fill character is
        // incomplete, never acts (and never stalls the scan).
        const bool figurative = r.result.flags & ZVK_INSP_FIGURATIVE;
        if (p.compared.length == 0 || (figurative && !(p.kind & ZVK_INSP_TALLYING) && p.result.length < charSize))
            p.to = 0;
    }
}

inline void fill(uint8_t* at, size_t length, const uint8_t* unit, size_t charSize) {
    if (charSize == 1) {
        memset(at, unit[0], length);
        return;
    }
    for (size_t k = 0; k + charSize <= length; k += charSize) memcpy(at + k, unit, charSize);
}

// CONVERTING of a single-byte item: a translation table, first occurrence
// in the from-string winning.
bool convertBytes(Phrase& p, uint8_t* item) {
    int16_t index[256];
    memset(index, 0xFF, sizeof index);
    for (size_t k = p.compared.length; k-- > 0;) index[p.compared.data[k]] = int16_t(k);
    const bool figurative = p.raw->result.flags & ZVK_INSP_FIGURATIVE;
    bool changed = false;
    for (size_t pos = p.from; pos < p.to; ++pos) {
        const int16_t k = index[item[pos]];
        if (k < 0) continue;
        item[pos] = figurative ? p.result.data[0] : p.result.data[k];
        changed = true;
    }
    return changed;
}

// One pass of a group over the item.  Returns whether the item changed.
bool scanGroup(Phrase* ph, int first, int end, uint8_t* item, size_t length, size_t charSize) {
    if (end - first == 1 && (ph[first].kind & ZVK_INSP_CONVERTING) && charSize == 1) {
        return ph[first].to > ph[first].from && convertBytes(ph[first], item);
    }
    // Where no phrase is LEADING, CHARACTERS or CONVERTING, a position
    // whose byte begins no phrase's value matches nothing and changes no
    // state: such positions are passed over in one step.
    bool skip = charSize == 1;
    bool starts[256] = {};
    for (int i = first; i < end && skip; ++i) {
        if (ph[i].kind & (ZVK_INSP_LEADING | ZVK_INSP_CHARACTERS | ZVK_INSP_CONVERTING))
            skip = false;
        else if (ph[i].compared.length > 0)
            starts[ph[i].compared.data[0]] = true;
    }
    const int only = (skip && end - first == 1 && ph[first].compared.length > 0) ? first : -1;

    bool changed = false;
    int lastMatch = -1;
    size_t pos = 0;
    while (pos < length) {
        if (only >= 0) {
            const void* next = memchr(item + pos, ph[only].compared.data[0], length - pos);
            if (!next) break;
            pos = size_t(static_cast<const uint8_t*>(next) - item);
        } else if (skip) {
            while (pos < length && !starts[item[pos]]) ++pos;
            if (pos >= length) break;
        }
        int matched = -1;
        size_t advance = charSize;
        for (int i = first; i < end; ++i) {
            Phrase& p = ph[i];
            if (pos < p.from || pos + charSize > p.to) continue;
            const uint32_t kind = p.kind;
            if ((kind & ZVK_INSP_LEADING) && pos > p.from && lastMatch != i) {
                p.to = 0;
                continue;
            }
            if (kind & ZVK_INSP_CONVERTING) {
                const bool figurative = p.raw->result.flags & ZVK_INSP_FIGURATIVE;
                for (size_t k = 0; k + charSize <= p.compared.length; k += charSize) {
                    if (memcmp(p.compared.data + k, item + pos, charSize) != 0) continue;
                    const uint8_t* to = figurative ? p.result.data : p.result.data + k;
                    if (figurative || k + charSize <= p.result.length) memcpy(item + pos, to, charSize);
                    changed = true;
                    break;
                }
                matched = -2;   // no other phrase at this position
                break;
            }
            const size_t n = p.compared.length;
            if (pos + n > p.to) {
                p.to = 0;   // cannot fit in its region any more
                continue;
            }
            if (!(kind & ZVK_INSP_CHARACTERS) &&
                (n == 1 ? item[pos] != p.compared.data[0] : memcmp(item + pos, p.compared.data, n) != 0)) {
                if (kind & ZVK_INSP_LEADING) p.to = 0;
                continue;
            }
            if (kind & ZVK_INSP_TALLYING) {
                ++p.tally;
            } else if (kind & ZVK_INSP_REPLACING) {
                if (p.raw->result.flags & ZVK_INSP_FIGURATIVE)
                    fill(item + pos, n, p.result.data, charSize);
                else
                    memmove(item + pos, p.result.data, n);
                changed = true;
            }
            if (kind & ZVK_INSP_FIRST) p.to = 0;
            matched = i;
            advance = n;
            break;
        }
        if (matched >= 0) lastMatch = (ph[matched].kind & ZVK_INSP_LEADING) ? matched : -1;
        pos += advance;
    }
    return changed;
}

}  // namespace

extern "C" void _zvkcInspect(InspectBlock* block) {
    const int count = block->phraseCount;
    if (count <= 0) return;
    const uint32_t itemFlags = static_cast<uint32_t>(block->flags);
    const size_t charSize = (itemFlags & (ZVK_INSP_NATIONAL | ZVK_INSP_DBCS)) ? 2 : 1;
    const InspectPhrase* raw = block->phrases;

    // One piece of working storage: the phrase states, then every copy.
    InspectOperand itemOperand{itemFlags, 0, block->length, block->data};
    size_t copyBytes = copyNeed(itemOperand);
    for (int i = 0; i < count; ++i) {
        const InspectPhrase& r = raw[i];
        if (!(r.result.flags & ZVK_INSP_TALLYING)) copyBytes += copyNeed(r.result);
        if (!(r.result.flags & ZVK_INSP_CHARACTERS)) copyBytes += copyNeed(r.compared);
        if (r.result.flags & ZVK_INSP_AFTER) copyBytes += copyNeed(r.after);
        if (r.result.flags & ZVK_INSP_BEFORE) copyBytes += copyNeed(r.before);
    }
    const size_t need = size_t(count) * sizeof(Phrase) + copyBytes;
    alignas(16) uint8_t stackArea[kStackArea];
    uint8_t* area = stackArea;
    void* heap = nullptr;
    if (need > sizeof stackArea) {
        heap = aligned_alloc(16, (need + 15) & ~size_t(15));
        if (!heap) {
            zvkWriteMsg(907, 0);
            return;
        }
        area = static_cast<uint8_t*>(heap);
    }
    Phrase* ph = reinterpret_cast<Phrase*>(area);
    uint8_t* copies = area + size_t(count) * sizeof(Phrase);

    uint8_t* const itemData = block->data;
    const bool itemCopied = copyNeed(itemOperand) > 0;
    Operand itemView = normalise(itemOperand, copies);
    uint8_t* item = const_cast<uint8_t*>(itemView.data);
    const size_t length = itemView.length;
    copies += copyNeed(itemOperand);

    bool changed = false;
    for (int first = 0; first < count;) {
        int end = first;
        while (end < count) {
            const uint32_t kind = raw[end].result.flags;
            ++end;
            if ((kind & ZVK_INSP_TALLYING) && end < count && (raw[end].result.flags & ZVK_INSP_REPLACING)) break;
        }
        setupGroup(ph, raw, first, end, item, length, charSize, copies);
        if (length > 0) changed |= scanGroup(ph, first, end, item, length, charSize);
        for (int i = first; i < end; ++i) {
            if (!ph[i].counter || ph[i].tally == 0) continue;
            base::storeLe(ph[i].counter, base::loadLe<uint64_t>(ph[i].counter) + ph[i].tally);
        }
        first = end;
    }

    // A copy of the item goes back with the item's own sign zone.  (A
    // national item with the sign in a digit is worked on in place, so its
    // sign needs nothing more.)
    if (changed && itemCopied) {
        const size_t s = (itemFlags & ZVK_INSP_SIGN_LEADING) ? 0 : length - 1;
        item[s] = uint8_t((itemData[s] & 0xF0) | (item[s] & 0x0F));
        memcpy(itemData, item, length);
    }
    free(heap);
}
