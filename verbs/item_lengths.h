// Small helpers the verbs share.
#pragma once

#include <stdint.h>

namespace verbs {

// The byte count of a length as compiled code passes it, where the sign
// says something else of the item (EBCDIC data, right justification).
constexpr uint64_t byteCount(int64_t length) { return length < 0 ? 0 - static_cast<uint64_t>(length) : length; }

// -1, 0 or 1 by the sign of a difference.
constexpr int sign3(int v) { return (v > 0) - (v < 0); }

}  // namespace verbs
