// Normalised sort keys: each key of an element rewritten as a byte string
// whose plain unsigned byte order is the key's order, ascending or
// descending, so that a compare needs no knowledge of types.  Kept apart
// from the table sort because the sort engine's keys are the same types.
#pragma once

#include <cstdint>

#include "kvr2/sort.h"

namespace sortkeys {

// Bytes the normalised form of key may take at most; 0 if the key cannot
// be normalised (unknown type, unsupported width, zoned without a digit
// position).
uint32_t maxKeyBytes(const TableSortKey& key);

// Writes the normalised form of key, read from element, at out; returns
// the bytes written (at most maxKeyBytes(key)).
uint32_t normaliseKey(const TableSortKey& key, const uint8_t* element, const uint8_t* collating, uint8_t* out);

}  // namespace sortkeys
