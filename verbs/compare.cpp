// Comparisons under an alphabet, with a repeated literal and with a pad
// byte; the native collating tables.

#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "base/bytes.h"
#include "frame/threads.h"
#include "verbs/item_lengths.h"
#include "kvr2/classcmp.h"

namespace {

using verbs::byteCount;
using verbs::sign3;

// Both sides plain: weights at the shorter length, then the rest of the
// longer side against the weight of the blank.
int32_t comparePlain(const uint8_t* l, uint64_t ln, const uint8_t* r, uint64_t rn, const uint8_t* w) {
    uint64_t n = ln < rn ? ln : rn;
    for (uint64_t i = 0; i < n; ++i) {
        if (l[i] == r[i]) continue;
        int d = int(w[l[i]]) - int(w[r[i]]);
        if (d) return sign3(d);
    }
    const int blank = w[0x20];
    for (uint64_t i = n; i < ln; ++i)
        if (int d = int(w[l[i]]) - blank) return sign3(d);
    for (uint64_t i = n; i < rn; ++i)
        if (int d = blank - int(w[r[i]])) return sign3(d);
    return 0;
}

// A figurative side repeats its value over `n` positions; a plain side
// (period 0) is read as it stands.  Both sides span n positions here.
int32_t compareRepeated(const uint8_t* l, uint64_t lp, const uint8_t* r, uint64_t rp, uint64_t n, const uint8_t* w) {
    uint64_t i = 0, j = 0;
    for (uint64_t k = 0; k < n; ++k) {
        uint8_t a = lp ? l[i] : l[k];
        uint8_t b = rp ? r[j] : r[k];
        if (a != b) {
            if (int d = int(w[a]) - int(w[b])) return sign3(d);
        }
        if (lp && ++i == lp) i = 0;
        if (rp && ++j == rp) j = 0;
    }
    return 0;
}

constexpr uint8_t makeIdentityAt(int i) { return static_cast<uint8_t>(i); }
struct Identity {
    uint8_t t[256];
    constexpr Identity() : t{} {
        for (int i = 0; i < 256; ++i) t[i] = makeIdentityAt(i);
    }
};
constexpr Identity kIdentity;

// ---- collating tables ----
pthread_mutex_t collSeqMutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<bool> collBuilt{false};
uint8_t collOrder[256];
uint8_t collWeights[256];

// The key of byte b is the text of the byte values from b up to 255, taken
// from one NUL-terminated array of 257 bytes; byte 0 has the empty key.
// Ties, which a collation may have, go to the lower byte value, so the
// order is the same whatever sort produced it.
struct CollKeys {
    char text[257];
    locale_t locale;
    bool less(uint8_t a, uint8_t b) const {
        int c = locale ? strcoll_l(text + a, text + b, locale) : strcoll(text + a, text + b);
        return c < 0 || (c == 0 && a < b);
    }
};

// Bottom-up merge sort: stays inside its two arrays whatever the
// comparison answers.
void mergeSort(uint8_t* v, int n, const CollKeys& keys) {
    uint8_t tmp[256];
    uint8_t* src = v;
    uint8_t* dst = tmp;
    for (int width = 1; width < n; width *= 2) {
        for (int lo = 0; lo < n; lo += 2 * width) {
            int mid = lo + width < n ? lo + width : n;
            int hi = lo + 2 * width < n ? lo + 2 * width : n;
            int i = lo, j = mid, k = lo;
            while (i < mid && j < hi) dst[k++] = keys.less(src[j], src[i]) ? src[j++] : src[i++];
            while (i < mid) dst[k++] = src[i++];
            while (j < hi) dst[k++] = src[j++];
        }
        uint8_t* t = src;
        src = dst;
        dst = t;
    }
    if (src != v) memcpy(v, src, n);
}

void buildCollatingTables() {
    CollKeys keys;
    for (int i = 0; i < 256; ++i) keys.text[i] = static_cast<char>(i);
    keys.text[256] = 0;
    // A multi-byte locale's own collation is not a byte order; the tables
    // are then built under "en_US" where it exists, else under the
    // current collation.  The process locale is never switched.
    keys.locale = static_cast<locale_t>(0);
    if (MB_CUR_MAX >= 2) keys.locale = newlocale(LC_COLLATE_MASK, "en_US", static_cast<locale_t>(0));
    uint8_t order[256];
    for (int i = 0; i < 256; ++i) order[i] = static_cast<uint8_t>(i);
    mergeSort(order, 256, keys);
    if (keys.locale) freelocale(keys.locale);
    memcpy(collOrder, order, 256);
    for (int i = 0; i < 256; ++i) collWeights[order[i]] = static_cast<uint8_t>(i);
}

}  // namespace

extern "C" {

KVR2_API int32_t _zvkcCmpACS(const uint8_t* left, int64_t leftLength, const uint8_t* right, int64_t rightLength,
                             const uint8_t* weights) {
    const uint8_t* w = weights ? weights : kIdentity.t;
    uint64_t ln = byteCount(leftLength), rn = byteCount(rightLength);
    bool lfig = leftLength < 0, rfig = rightLength < 0;
    if (lfig && rfig) {
        uint64_t n = ln > rn ? ln : rn;
        return compareRepeated(left, ln, right, rn, n, w);
    }
    // A figurative value takes the length of the other side: repeated when
    // it is shorter, cut when it is longer.
    if (rfig && rn) return compareRepeated(left, 0, right, rn, ln, w);
    if (lfig && ln) return compareRepeated(left, ln, right, 0, rn, w);
    return comparePlain(left, ln, right, rn, w);
}

KVR2_API int32_t _zvkcCmpMultiByteFig(const uint8_t* left, int64_t length, const uint8_t* literal,
                                      int64_t literalLength) {
    // An item of no length may come as a null address: nothing to read.
    if (length <= 0 || literalLength <= 0) return 0;
    uint64_t n = static_cast<uint64_t>(length), k = static_cast<uint64_t>(literalLength);
    if (n <= k) return memcmp(left, literal, n);
    for (uint64_t off = 0; off < n; off += k) {
        uint64_t piece = n - off < k ? n - off : k;
        if (int r = memcmp(left + off, literal, piece)) return r;
    }
    return 0;
}

KVR2_API int32_t _zvkcCmpToPad(const uint8_t* left, uint32_t pad, int64_t length) {
    if (length <= 0) return 0;
    uint64_t n = static_cast<uint64_t>(length);
    const uint8_t p = static_cast<uint8_t>(pad);
    const uint64_t pattern = 0x0101010101010101ull * p;
    uint64_t i = 0;
    for (; i + 8 <= n; i += 8)
        if (base::loadLe<uint64_t>(left + i) != pattern) break;
    for (; i < n; ++i)
        if (left[i] != p) return left[i] < p ? -1 : 1;
    return 0;
}

KVR2_API void _zvkcCollSeq(AlphabetRecord* record) {
    if (!collBuilt.load(std::memory_order_acquire)) {
        zvkLockMt(&collSeqMutex);
        if (!collBuilt.load(std::memory_order_relaxed)) {
            buildCollatingTables();
            collBuilt.store(true, std::memory_order_release);
        }
        zvkUnlockMt(&collSeqMutex);
    }
    if (!record) return;
    record->collatingOrder = collOrder;
    record->collatingWeights = collWeights;
}

}  // extern "C"
