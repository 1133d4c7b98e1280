// SORT of a table in storage.  Every row's keys are normalised once into
// an arena, followed by the row's position; the index of rows is then
// sorted by plain byte compares, and the order applied to the table.
//
// Row in the arena, 4-aligned: rowBytes u32, keyStringLength u32, the key
// string, NUL bytes to a multiple of 4, sequence u32 in machine order,
// and in the copy mode the element itself.  The index holds each row's
// key string offset.  Because the sequence follows the key string and is
// little-endian, rows of equal keys are ordered by the low byte of their
// position first: past 256 equal keys the sort is not stable, which
// programs compiled for this library rely on.
//
// Copy mode (elements of at most 100 bytes, at most 200 rows) carries
// the element in the row and copies rows back; the permutation mode
// keeps keys only and moves elements by following cycles.
//
// No object with a destructor lives here: message 907 may leave by
// longjmp.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "frame/messages.h"
#include "kvr2/sort.h"
#include "sort/keys.h"

namespace {

constexpr uint32_t kCopyModeMaxElement = 100;
constexpr int32_t kCopyModeMaxRows = 200;

constexpr uint32_t roundUp4(uint32_t n) { return (n + 3) & ~3u; }

struct Rows {
    const uint8_t* arena;
    bool operator()(uint32_t a, uint32_t b) const {
        const uint8_t* ka = arena + a;
        const uint8_t* kb = arena + b;
        // Key string, padding and sequence: the sequences make any two
        // rows differ, and a key string is never a prefix of another's.
        const uint32_t la = roundUp4(base::loadLe<uint32_t>(ka - 4)) + 4;
        const uint32_t lb = roundUp4(base::loadLe<uint32_t>(kb - 4)) + 4;
        const uint32_t n = std::min(la, lb);
        // Most keys differ in their first 8 bytes: one big-endian load
        // each decides them without a call.
        if (n >= 8) {
            const uint64_t a8 = base::loadBe<uint64_t>(ka), b8 = base::loadBe<uint64_t>(kb);
            if (a8 != b8) return a8 < b8;
            return memcmp(ka + 8, kb + 8, n - 8) < 0;
        }
        return memcmp(ka, kb, n) < 0;
    }
};

// Writes one row at row; returns the key string's offset within it.
uint32_t writeRow(uint8_t* row, const TableSortKey* const* keys, int32_t keyCount, const uint8_t* element,
                  const uint8_t* collating, uint32_t sequence, uint32_t copyBytes, uint32_t* rowSize) {
    uint8_t* key = row + 8;
    uint32_t length = 0;
    for (int32_t k = 0; k < keyCount; ++k) length += sortkeys::normaliseKey(*keys[k], element, collating, key + length);
    const uint32_t padded = roundUp4(length);
    memset(key + length, 0, padded - length);
    base::storeLe<uint32_t>(row, 8 + padded + 4);
    base::storeLe<uint32_t>(row + 4, length);
    base::storeLe<uint32_t>(key + padded, sequence);
    memcpy(key + padded + 4, element, copyBytes);
    *rowSize = roundUp4(8 + padded + 4 + copyBytes);
    return 8;
}

uint32_t sequenceOf(const uint8_t* arena, uint32_t keyOffset) {
    return base::loadLe<uint32_t>(arena + keyOffset + roundUp4(base::loadLe<uint32_t>(arena + keyOffset - 4)));
}

void copyBack(uint8_t* table, uint32_t elementLength, int32_t count, const uint8_t* arena, const uint32_t* index) {
    for (int32_t i = 0; i < count; ++i) {
        const uint8_t* key = arena + index[i];
        const uint32_t padded = roundUp4(base::loadLe<uint32_t>(key - 4));
        memcpy(table + size_t(i) * elementLength, key + padded + 4, elementLength);
    }
}

// Position i receives the element that was at from[i].  Each element
// moves once; a bitmap marks the positions done (every value, 0 included,
// is a real position, so the array itself cannot carry the mark).
void permute(uint8_t* table, uint32_t elementLength, int32_t count, const uint32_t* from, uint64_t* done,
             uint8_t* scratch) {
    auto at = [&](uint32_t i) { return table + size_t(i) * elementLength; };
    for (uint32_t start = 0; start < uint32_t(count); ++start) {
        if (done[start >> 6] & (uint64_t(1) << (start & 63))) continue;
        uint32_t j = start, source = from[start];
        if (source != start) memcpy(scratch, at(start), elementLength);
        while (true) {
            done[j >> 6] |= uint64_t(1) << (j & 63);
            if (source == start) break;
            memcpy(at(j), at(source), elementLength);
            j = source;
            source = from[j];
        }
        if (j != start) memcpy(at(j), scratch, elementLength);
    }
}

}  // namespace

extern "C" KVR2_API void _zvkcTSort(uintptr_t, void* tableAddress, uint32_t elementLength, int32_t count,
                                    const uint8_t* collating, int32_t keyCount, ...) {
    if (elementLength == 0 || count < 2 || keyCount < 0) return;
    auto* table = static_cast<uint8_t*>(tableAddress);

    // The keys first: an unusable one leaves the table as it was.
    const TableSortKey* fixedKeys[16];
    const TableSortKey** keys = fixedKeys;
    if (keyCount > 16) {
        keys = static_cast<const TableSortKey**>(malloc(sizeof(TableSortKey*) * size_t(keyCount)));
        if (!keys) {
            zvkWriteMsg(907, 0);
            return;
        }
    }
    va_list args;
    va_start(args, keyCount);
    int64_t keySpace = 0;
    bool usable = true;
    for (int32_t k = 0; k < keyCount; ++k) {
        keys[k] = va_arg(args, const TableSortKey*);
        const TableSortKey& key = *keys[k];
        const uint32_t bytes = sortkeys::maxKeyBytes(key);
        if (bytes == 0 || uint64_t(key.offset) + key.length > elementLength) usable = false;
        keySpace += bytes;
    }
    va_end(args);

    const bool copyMode = elementLength <= kCopyModeMaxElement && count <= kCopyModeMaxRows;
    // A copy-mode row takes 8 header bytes, the key string padded by up to
    // 3, the sequence, and the element padded by up to 3: keySpace +
    // elementLength + 18.  A permutation-mode row is the same without the
    // element (keySpace + 15 bytes), then one element of scratch and the
    // bitmap of positions done.
    const int64_t rowBytes = copyMode ? keySpace + elementLength + 18 : keySpace + 15;
    const int64_t bitmapBytes = copyMode ? 0 : (int64_t(count) + 63) / 64 * 8;
    const int64_t arenaBytes = rowBytes * count + (copyMode ? 0 : elementLength);
    const int64_t bitmapAt = (arenaBytes + 7) & ~int64_t(7);
    const int64_t total = bitmapAt + bitmapBytes + 4 * int64_t(count);
    uint8_t* arena = nullptr;
    if (usable) {
        if (total <= INT32_MAX) arena = static_cast<uint8_t*>(aligned_alloc(16, (size_t(total) + 15) & ~size_t(15)));
        if (!arena) {
            if (keys != fixedKeys) free(keys);
            zvkWriteMsg(907, 0);
            return;
        }
    }
    if (!usable) {
        if (keys != fixedKeys) free(keys);
        return;
    }
    auto* done = reinterpret_cast<uint64_t*>(arena + bitmapAt);
    auto* index = reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(done) + bitmapBytes);

    uint32_t offset = 0;
    const uint32_t copyBytes = copyMode ? elementLength : 0;
    for (int32_t i = 0; i < count; ++i) {
        uint32_t size;
        const uint32_t key = writeRow(arena + offset, keys, keyCount, table + size_t(i) * elementLength, collating,
                                      uint32_t(i), copyBytes, &size);
        index[i] = offset + key;
        offset += size;
    }
    if (keys != fixedKeys) free(keys);

    std::sort(index, index + count, Rows{arena});

    if (copyMode) {
        copyBack(table, elementLength, count, arena, index);
    } else {
        // The sorted index read in order, its rows' positions replace it:
        // the cycles then chase one small array instead of arena rows.
        for (int32_t i = 0; i < count; ++i) index[i] = sequenceOf(arena, index[i]);
        memset(done, 0, size_t(bitmapBytes));
        permute(table, elementLength, count, index, done, arena + offset);
    }
    free(arena);
}
