// Entry points of add, subtract, increment, decrement, absolute value,
// negation and comparison, each the frame around its worker.

#include "kvr2/decimal.h"
#include "decimal/fast.h"
#include "decimal/frame.h"

using namespace bcd;

namespace {

using AddWorker = int (*)(const void*, int32_t, const void*, int32_t, void*, int32_t, bool);
using IncrementWorker = int (*)(void*, int32_t, int64_t, bool);

template <Form F, AddWorker W>
[[gnu::noinline]] void* arith(const char* title, const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2,
                              int32_t d1) {
    return operandsFrame<F, Family::Arithmetic>(title, {op1, d1}, {op2, d2}, {dst, dd}, [&](uint32_t) {
        W(op1, d1, op2, d2, dst, dd, false);
        return dst;
    });
}

// The second operand is a binary value, dumped as a number of its width.
template <Form F, IncrementWorker W, bool Wide>
inline void* incdec(const char* title, void* op, int32_t n, int64_t value) {
    return entryFrame(
        true,
        [&] {
            dumpTitle(title);
            dumpItem("op1: %p %d: ", op, n, storedBytes(F, n));
            if (Wide)
                fprintf(stderr, "op2: %ld\n", static_cast<long>(value));
            else
                fprintf(stderr, "op2: %d\n", static_cast<int>(value));
        },
        [&](uint32_t m) { validate<F, Family::Arithmetic>(m, Operand{op, n}); },
        [&](uint32_t) {
            W(op, n, value, false);
            return op;
        },
        [&](void*) { dumpItem("dst: %p %d: ", op, n, storedBytes(F, n)); });
}

enum class Relation { Equal, NotEqual, Greater, GreaterOrEqual, Less, LessOrEqual };
constexpr int holds(Relation r, int c) {
    switch (r) {
        case Relation::Equal: return c == 0;
        case Relation::NotEqual: return c != 0;
        case Relation::Greater: return c > 0;
        case Relation::GreaterOrEqual: return c >= 0;
        case Relation::Less: return c < 0;
        case Relation::LessOrEqual: return c < 1;
    }
    return 0;
}

// Only the packed comparisons dump.
template <Form F, Relation R>
constexpr const char* compareTitle() {
    if (F != Form::Packed) return nullptr;
    constexpr const char* titles[] = {"equ packed...", "neq packed...", "grt packed...",
                                      "geq packed...", "les packed...", "leq packed..."};
    return titles[static_cast<int>(R)];
}

template <Form F, Relation R>
[[gnu::noinline]] int compareFrame(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    constexpr const char* title = compareTitle<F, R>();
    return entryFrame(
        title != nullptr,
        [&] {
            dumpTitle(title);
            dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
            dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
        },
        [&](uint32_t m) {
            validate<F, Family::Compare>(m, Operand{op1, d1}, Operand{op2, d2});
        },
        [&](uint32_t) {
            const int c = F == Form::Packed ? zvkBcdCmpPacked(op1, d1, op2, d2, 0) : zvkBcdCmpZoned(op1, d1, op2, d2, 0);
            return holds(R, c);
        },
        [](int r) { fprintf(stderr, "res: %d\n", r); });
}

// The quick comparison of equal-size packed items of one sign, one
// function per size in bytes; anything else goes through the frame.
template <Relation R, int N>
[[gnu::noinline]] int compareSameShape(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    const int c = compareWhole<N>(static_cast<const uint8_t*>(op1), static_cast<const uint8_t*>(op2));
    if (c != -2) [[likely]]
        return holds(R, c);
    return compareFrame<Form::Packed, R>(op1, op2, d2, d1);
}
template <Relation R>
constexpr auto kCompareSameShape = bySize<1, 16>([]<int N>() { return &compareSameShape<R, N>; });

// The quick path runs in the entry itself, before the frame; the entry
// makes no call but tail calls, so it saves no registers.
template <Form F, Relation R>
[[gnu::always_inline]] inline int compare(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    const uint32_t m = zvkBcdMode.load(std::memory_order_relaxed);  // unread: has the debug bit
    if (F == Form::Packed && !(m & (kBcdDebug | kBcdValidateCompares)) && (d1 >> 1) == (d2 >> 1) &&
        static_cast<uint32_t>(d1) < 32) {
        if (op1 == op2) return holds(R, 0);
        return kCompareSameShape<R>[d1 >> 1](op1, op2, d2, d1);
    }
    return compareFrame<F, R>(op1, op2, d2, d1);
}

inline bool keepNegZero(uint32_t m) { return m & kBcdKeepNegZero; }

// Absolute value and negation of a packed item: its operand validated as
// one of arithmetic.
template <class Work>
[[gnu::always_inline]] inline void* signFrame(const char* title, const void* src, void* dst, int32_t dd, int32_t sd,
                                              Work&& work) {
    return entryFrame(
        true,
        [&] {
            dumpTitle(title);
            dumpItem("src: %p %d: ", src, sd, packedBytes(sd));
        },
        [&](uint32_t m) { validate<Form::Packed, Family::Arithmetic>(m, Operand{src, sd}); }, work,
        [&](void*) { dumpItem("dst: %p %d: ", dst, dd, packedBytes(dd)); });
}

// ADD A TO B on equal-size packed items of one sign: the whole-item step,
// one function per size in bytes, or the frame.
template <int N>
[[gnu::noinline]] void* addSameShape(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (addWhole<N>(static_cast<const uint8_t*>(op1), static_cast<const uint8_t*>(op2), static_cast<uint8_t*>(dst),
                    (dd & 1) == 0)) [[likely]]
        return dst;
    return arith<Form::Packed, zvkBcdAddPacked>("add packed...", op1, op2, dst, dd, d2, d1);
}
constexpr auto kAddSameShape = bySize<1, 16>([]<int N>() { return &addSameShape<N>; });

}  // namespace

extern "C" {

KVR2_API void* _zvkcBCD_ADD_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    // The unread word (0xFF00) has the debug bit: the frame reads it.
    static_assert(kBcdUnread & kBcdDebug);
    if ((d1 >> 1) == (dd >> 1) && (d2 >> 1) == (dd >> 1) && static_cast<uint32_t>(dd) < 32 &&
        !(zvkBcdMode.load(std::memory_order_relaxed) & kBcdDebug))
        return kAddSameShape[dd >> 1](op1, op2, dst, dd, d2, d1);
    return arith<Form::Packed, zvkBcdAddPacked>("add packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_SUB_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::Packed, zvkBcdSubPacked>("sub packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_ADD_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::ZonedTrailingOverpunch, zvkBcdAddZoned>("add zoned...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_SUB_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::ZonedTrailingOverpunch, zvkBcdSubZoned>("sub zoned...", op1, op2, dst, dd, d2, d1);
}

KVR2_API void* _zvkcBCD_ADD_Pckd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::Packed, zvkBcdIncPacked, true>("inc packed_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Pckd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::Packed, zvkBcdIncPacked, false>("inc packed_int32...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Pckd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::Packed, zvkBcdDecPacked, true>("dec packed_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Pckd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::Packed, zvkBcdDecPacked, false>("dec packed_int32...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Znd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::ZonedTrailingOverpunch, zvkBcdIncZoned, true>("inc zoned_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Znd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::ZonedTrailingOverpunch, zvkBcdIncZoned, false>("inc zoned_32...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Znd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::ZonedTrailingOverpunch, zvkBcdDecZoned, true>("dec zoned_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Znd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::ZonedTrailingOverpunch, zvkBcdDecZoned, false>("dec zoned_int32...", op, n, v);
}

// ---- absolute value and negation ----

KVR2_API void* _zvkcBCD_ABS_Pckd(const void* src, void* dst, int32_t dd, int32_t sd) {
    return signFrame("abs packed...", src, dst, dd, sd, [&](uint32_t) {
        zvkBcdMovePacked(src, sd, dst, dd);
        uint8_t& last = static_cast<uint8_t*>(dst)[packedBytes(dd) - 1];
        last = static_cast<uint8_t>((last & 0xF0) | 0x0C);
        return dst;
    });
}

KVR2_API void* _zvkcBCD_NEG_Pckd(const void* src, void* dst, int32_t dd, int32_t sd) {
    return signFrame("neg packed...", src, dst, dd, sd, [&](uint32_t m) {
        const bool zero = zvkBcdIsZeroPacked(src, sd);
        zvkBcdMovePacked(src, sd, dst, dd);
        uint8_t& last = static_cast<uint8_t*>(dst)[packedBytes(dd) - 1];
        const bool positive = packedNegative(last) || (!keepNegZero(m) && zero);
        last = static_cast<uint8_t>((last & 0xF0) | (positive ? 0x0C : 0x0D));
        return dst;
    });
}

KVR2_API void* _zvkcBCD_ABS_Znd(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (m & kBcdValidateMoves) checkArith<Form::ZonedTrailingOverpunch>(src, sd);
    const int dn = digitsOf(dd);
    zvkBcdMoveZoned(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    if (dn) d[dn - 1] = static_cast<uint8_t>(0x30 | (d[dn - 1] & 0x0F));
    return dst;
}

// The first destination byte takes the digit of the source's first byte
// when the source fits, which with a shorter source is the first byte of
// the padding: the overpunched byte further right stays as it is.
KVR2_API void* _zvkcBCD_ABS_ZndLO(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (m & kBcdValidateMoves) checkArith<Form::ZonedLeadingOverpunch>(src, sd);
    const int dn = digitsOf(dd), sn = digitsOf(sd);
    if (dn == 0) return dst;
    const uint8_t first = sn ? static_cast<const uint8_t*>(src)[0] : '0';
    zvkBcdMoveZoned(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    d[dn - 1] = static_cast<uint8_t>(0x30 | (d[dn - 1] & 0x0F));
    d[0] = static_cast<uint8_t>(0x30 | (sn <= dn ? zonedDigit(first) : (d[0] & 0x0F)));
    return dst;
}

KVR2_API void* _zvkcBCD_NEG_Znd(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (!(m & kBcdNoValidate)) checkArith<Form::ZonedTrailingOverpunch>(src, sd);
    const int dn = digitsOf(dd);
    if (dn == 0) return dst;
    const bool zero = zvkBcdIsZeroZoned(src, sd);
    zvkBcdMoveZoned(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const bool positive = (d[dn - 1] & 0xF0) == 0x70 || (!keepNegZero(m) && zero);
    d[dn - 1] = static_cast<uint8_t>((d[dn - 1] & 0x0F) | (positive ? 0x30 : 0x70));
    return dst;
}

// Unlike its brothers this one does not invert the sign: a leading
// overpunch item comes through with the sign it had.
KVR2_API void* _zvkcBCD_NEG_ZndLO(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (!(m & kBcdNoValidate)) checkArith<Form::ZonedLeadingOverpunch>(src, sd);
    const int dn = digitsOf(dd), sn = digitsOf(sd);
    if (dn == 0) return dst;
    const uint8_t first = sn ? static_cast<const uint8_t*>(src)[0] : '0';
    const bool negative = zonedNegative(first);
    const bool zero = zonedDigit(first) == 0 &&
                      (sn <= 1 || zvkBcdIsZeroZoned(static_cast<const uint8_t*>(src) + 1, sn - 1));
    zvkBcdMoveZoned(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    d[dn - 1] = static_cast<uint8_t>(0x30 | (d[dn - 1] & 0x0F));
    const int digit = sn <= dn ? zonedDigit(first) : (d[0] & 0x0F);
    const bool minus = negative && (keepNegZero(m) || !zero);
    d[0] = static_cast<uint8_t>((minus ? 0x70 : 0x30) | digit);
    return dst;
}

// ---- comparisons ----

KVR2_API int _zvkcBCD_EQU_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::Equal>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_NEQ_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::NotEqual>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_GRT_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::Greater>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_GEQ_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::GreaterOrEqual>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_LES_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::Less>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_LEQ_Pckd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::Packed, Relation::LessOrEqual>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_EQU_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::Equal>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_NEQ_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::NotEqual>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_GRT_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::Greater>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_GEQ_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::GreaterOrEqual>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_LES_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::Less>(op1, op2, d2, d1);
}
KVR2_API int _zvkcBCD_LEQ_Znd(const void* op1, const void* op2, int32_t d2, int32_t d1) {
    return compare<Form::ZonedTrailingOverpunch, Relation::LessOrEqual>(op1, op2, d2, d1);
}

KVR2_API int _zvkcBCD_NOT_Pckd(const void* op, int32_t n) {
    return entryFrame(
        true,
        [&] {
            dumpTitle("not packed...");
            dumpItem("op1: %p %d: ", op, n, packedBytes(n));
        },
        [&](uint32_t m) { validate<Form::Packed, Family::Compare>(m, Operand{op, n}); },
        [&](uint32_t) { return zvkBcdIsZeroPacked(op, n); }, [](int r) { fprintf(stderr, "res: %d\n", r); });
}

KVR2_API int _zvkcBCD_NOT_Znd(const void* op, int32_t n) {
    if ((mode() & kBcdValidateCompares) && zvkBcdCheckZoned(op, n, 1)) zvkWriteMsg(903, 0);
    return zvkBcdIsZeroZoned(op, n);
}

}  // extern "C"
