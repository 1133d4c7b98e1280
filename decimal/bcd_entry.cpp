// Entry points of add, subtract, increment, decrement, absolute value,
// negation and comparison, each the frame around its worker.

#include "kvr2/decimal.h"
#include "decimal/fast.h"
#include "decimal/frame.h"

using namespace bcd;

namespace {

using Worker2 = int (*)(const void*, int32_t, const void*, int32_t, void*, int32_t, int);
using WorkerInc = int (*)(void*, int32_t, int64_t, int);
using WorkerCmp = int (*)(const void*, int32_t, const void*, int32_t, int);

template <Form F, Worker2 W>
[[gnu::noinline]] void* arith(const char* title, const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2,
                   int32_t d1) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle(title);
        dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
        dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
    }
    if (!(m & kBcdNoValidate)) {
        checkArith(F, op1, d1);
        checkArith(F, op2, d2);
    }
    W(op1, d1, op2, d2, dst, dd, 0);
    if (m & kBcdDebug) [[unlikely]]
        dumpItem("dst: %p %d: ", dst, dd, storedBytes(F, dd));
    return dst;
}

template <Form F, WorkerInc W, bool Wide>
inline void* incdec(const char* title, void* op, int32_t n, int64_t value) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle(title);
        dumpItem("op1: %p %d: ", op, n, storedBytes(F, n));
        if (Wide)
            fprintf(stderr, "op2: %ld\n", static_cast<long>(value));
        else
            fprintf(stderr, "op2: %d\n", static_cast<int>(value));
    }
    if (!(m & kBcdNoValidate)) checkArith(F, op, n);
    W(op, n, value, 0);
    if (m & kBcdDebug) [[unlikely]]
        dumpItem("dst: %p %d: ", op, n, storedBytes(F, n));
    return op;
}

enum class Rel { EQU, NEQ, GRT, GEQ, LES, LEQ };
constexpr int holds(Rel r, int c) {
    switch (r) {
        case Rel::EQU: return c == 0;
        case Rel::NEQ: return c != 0;
        case Rel::GRT: return c > 0;
        case Rel::GEQ: return c >= 0;
        case Rel::LES: return c < 0;
        case Rel::LEQ: return c < 1;
    }
    return 0;
}

template <Form F, Rel R>
[[gnu::noinline]] int compareFrame(const char* title, const void* op1, const void* op2, int32_t d2, int32_t d1) {
    const uint32_t m = mode();
    const bool dump = F == Form::Pckd && (m & kBcdDebug);
    if (dump) [[unlikely]] {
        dumpTitle(title);
        dumpItem("op1: %p %d: ", op1, d1, storedBytes(F, d1));
        dumpItem("op2: %p %d: ", op2, d2, storedBytes(F, d2));
    }
    if (m & kBcdValidateCompares) {
        if (F == Form::Pckd ? zvkBcdCheckPacked(op1, d1, 1) : zvkBcdCheckZoned(op1, d1, 1)) zvkWriteMsg(903, 0);
        if (F == Form::Pckd ? zvkBcdCheckPacked(op2, d2, 1) : zvkBcdCheckZoned(op2, d2, 1)) zvkWriteMsg(903, 0);
    }
    const int c = F == Form::Pckd ? zvkBcdCmpPacked(op1, d1, op2, d2, 0) : zvkBcdCmpZoned(op1, d1, op2, d2, 0);
    const int r = holds(R, c);
    if (dump) [[unlikely]]
        fprintf(stderr, "res: %d\n", r);
    return r;
}

// Items of more than 8 bytes: the quick path or the frame.
template <Form F, Rel R>
[[gnu::noinline]] int compareLong(const char* title, const void* op1, const void* op2, int32_t d2, int32_t d1) {
    const int c = compareSameShapeLong(static_cast<const uint8_t*>(op1), static_cast<const uint8_t*>(op2), (d1 >> 1) + 1);
    if (c != -2) return holds(R, c);
    return compareFrame<F, R>(title, op1, op2, d2, d1);
}

// The quick path of equal-size items of one sign runs in the entry
// itself; everything else goes through the frame.
template <Form F, Rel R>
[[gnu::always_inline]] inline int compare(const char* title, const void* op1, const void* op2, int32_t d2,
                                          int32_t d1) {
    const uint32_t m = zvkBcdMode.load(std::memory_order_relaxed);  // unread: has the debug bit
    if (F == Form::Pckd && !(m & (kBcdDebug | kBcdValidateCompares)) && (d1 >> 1) == (d2 >> 1) &&
        static_cast<uint32_t>(d1) < 32) {
        const uint8_t *a = static_cast<const uint8_t*>(op1), *b = static_cast<const uint8_t*>(op2);
        if (a == b) return holds(R, 0);
        int c = -2;
        switch (d1 >> 1) {
            case 0: c = compareWhole<1>(a, b); break;
            case 1: c = compareWhole<2>(a, b); break;
            case 2: c = compareWhole<3>(a, b); break;
            case 3: c = compareWhole<4>(a, b); break;
            case 4: c = compareWhole<5>(a, b); break;
            case 5: c = compareWhole<6>(a, b); break;
            case 6: c = compareWhole<7>(a, b); break;
            case 7: c = compareWhole<8>(a, b); break;
            default: return compareLong<F, R>(title, op1, op2, d2, d1);
        }
        if (c != -2) return holds(R, c);
    }
    return compareFrame<F, R>(title, op1, op2, d2, d1);
}

inline bool keepNegZero(uint32_t m) { return m & kBcdKeepNegZero; }

}  // namespace

extern "C" {

// ADD A TO B on items of more than 8 bytes: the whole-item step or the frame.
[[gnu::noinline]] static void* addPackedLong(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    if (addSameShapeLong(static_cast<const uint8_t*>(op1), static_cast<const uint8_t*>(op2),
                         static_cast<uint8_t*>(dst), (dd >> 1) + 1, (dd & 1) == 0))
        return dst;
    return arith<Form::Pckd, zvkBcdAddPacked>("add packed...", op1, op2, dst, dd, d2, d1);
}

// Equal-size items of one sign take the whole-item step right here; the
// entry makes no call but tail calls, so it saves no registers.
KVR2_API void* _zvkcBCD_ADD_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    // The unread word (0xFF00) has the debug bit: the frame reads it.
    static_assert(kBcdUnread & kBcdDebug);
    if ((d1 >> 1) == (dd >> 1) && (d2 >> 1) == (dd >> 1) && static_cast<uint32_t>(dd) < 32 &&
        !(zvkBcdMode.load(std::memory_order_relaxed) & kBcdDebug)) {
        const uint8_t *a = static_cast<const uint8_t*>(op1), *b = static_cast<const uint8_t*>(op2);
        uint8_t* d = static_cast<uint8_t*>(dst);
        const bool even = (dd & 1) == 0;
        bool done;
        switch (dd >> 1) {
            case 0: done = addWhole<1>(a, b, d, even); break;
            case 1: done = addWhole<2>(a, b, d, even); break;
            case 2: done = addWhole<3>(a, b, d, even); break;
            case 3: done = addWhole<4>(a, b, d, even); break;
            case 4: done = addWhole<5>(a, b, d, even); break;
            case 5: done = addWhole<6>(a, b, d, even); break;
            case 6: done = addWhole<7>(a, b, d, even); break;
            case 7: done = addWhole<8>(a, b, d, even); break;
            default: return addPackedLong(op1, op2, dst, dd, d2, d1);
        }
        if (done) return dst;
    }
    return arith<Form::Pckd, zvkBcdAddPacked>("add packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_SUB_Pckd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::Pckd, zvkBcdSubPacked>("sub packed...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_ADD_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::TO, zvkBcdAddZoned>("add zoned...", op1, op2, dst, dd, d2, d1);
}
KVR2_API void* _zvkcBCD_SUB_Znd(const void* op1, const void* op2, void* dst, int32_t dd, int32_t d2, int32_t d1) {
    return arith<Form::TO, zvkBcdSubZoned>("sub zoned...", op1, op2, dst, dd, d2, d1);
}

KVR2_API void* _zvkcBCD_ADD_Pckd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::Pckd, zvkBcdIncPacked, true>("inc packed_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Pckd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::Pckd, zvkBcdIncPacked, false>("inc packed_int32...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Pckd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::Pckd, zvkBcdDecPacked, true>("dec packed_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Pckd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::Pckd, zvkBcdDecPacked, false>("dec packed_int32...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Znd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::TO, zvkBcdIncZoned, true>("inc zoned_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_ADD_Znd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::TO, zvkBcdIncZoned, false>("inc zoned_32...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Znd_Int8(void* op, int32_t n, int64_t v) {
    return incdec<Form::TO, zvkBcdDecZoned, true>("dec zoned_int64...", op, n, v);
}
KVR2_API void* _zvkcBCD_SUB_Znd_Int4(void* op, int32_t n, int32_t v) {
    return incdec<Form::TO, zvkBcdDecZoned, false>("dec zoned_int32...", op, n, v);
}

// ---- absolute value and negation ----

KVR2_API void* _zvkcBCD_ABS_Pckd(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle("abs packed...");
        dumpItem("src: %p %d: ", src, sd, packedBytes(sd));
    }
    if (!(m & kBcdNoValidate)) checkArith(Form::Pckd, src, sd);
    zvkBcdMovePacked(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int db = packedBytes(dd);
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | 0x0C);
    if (m & kBcdDebug) [[unlikely]]
        dumpItem("dst: %p %d: ", dst, dd, db);
    return dst;
}

KVR2_API void* _zvkcBCD_NEG_Pckd(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle("neg packed...");
        dumpItem("src: %p %d: ", src, sd, packedBytes(sd));
    }
    if (!(m & kBcdNoValidate)) checkArith(Form::Pckd, src, sd);
    const bool zero = zvkBcdIsZeroPacked(src, sd);
    zvkBcdMovePacked(src, sd, dst, dd);
    uint8_t* d = static_cast<uint8_t*>(dst);
    const int db = packedBytes(dd);
    const bool positive = packedNegative(d[db - 1]) || (!keepNegZero(m) && zero);
    d[db - 1] = static_cast<uint8_t>((d[db - 1] & 0xF0) | (positive ? 0x0C : 0x0D));
    if (m & kBcdDebug) [[unlikely]]
        dumpItem("dst: %p %d: ", dst, dd, db);
    return dst;
}

KVR2_API void* _zvkcBCD_ABS_Znd(const void* src, void* dst, int32_t dd, int32_t sd) {
    const uint32_t m = mode();
    if (m & kBcdValidateMoves) checkArith(Form::TO, src, sd);
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
    if (m & kBcdValidateMoves) checkArith(Form::LO, src, sd);
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
    if (!(m & kBcdNoValidate)) checkArith(Form::TO, src, sd);
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
    if (!(m & kBcdNoValidate)) checkArith(Form::LO, src, sd);
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

#define KVR2_CMP(rel, form, F, title)                                                                    \
    KVR2_API int _zvkcBCD_##rel##_##form(const void* op1, const void* op2, int32_t d2, int32_t d1) {   \
        return compare<Form::F, Rel::rel>(title, op1, op2, d2, d1);                                    \
    }
KVR2_CMP(EQU, Pckd, Pckd, "equ packed...")
KVR2_CMP(NEQ, Pckd, Pckd, "neq packed...")
KVR2_CMP(GRT, Pckd, Pckd, "grt packed...")
KVR2_CMP(GEQ, Pckd, Pckd, "geq packed...")
KVR2_CMP(LES, Pckd, Pckd, "les packed...")
KVR2_CMP(LEQ, Pckd, Pckd, "leq packed...")
KVR2_CMP(EQU, Znd, TO, nullptr)
KVR2_CMP(NEQ, Znd, TO, nullptr)
KVR2_CMP(GRT, Znd, TO, nullptr)
KVR2_CMP(GEQ, Znd, TO, nullptr)
KVR2_CMP(LES, Znd, TO, nullptr)
KVR2_CMP(LEQ, Znd, TO, nullptr)
#undef KVR2_CMP

KVR2_API int _zvkcBCD_NOT_Pckd(const void* op, int32_t n) {
    const uint32_t m = mode();
    if (m & kBcdDebug) [[unlikely]] {
        dumpTitle("not packed...");
        dumpItem("op1: %p %d: ", op, n, packedBytes(n));
    }
    if ((m & kBcdValidateCompares) && zvkBcdCheckPacked(op, n, 1)) zvkWriteMsg(903, 0);
    const int r = zvkBcdIsZeroPacked(op, n);
    if (m & kBcdDebug) [[unlikely]]
        fprintf(stderr, "res: %d\n", r);
    return r;
}

KVR2_API int _zvkcBCD_NOT_Znd(const void* op, int32_t n) {
    const uint32_t m = mode();
    if ((m & kBcdValidateCompares) && zvkBcdCheckZoned(op, n, 1)) zvkWriteMsg(903, 0);
    return zvkBcdIsZeroZoned(op, n);
}

}  // extern "C"
