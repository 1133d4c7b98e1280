// Internal routines of the edited moves shared with other verbs.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "kvr2/edit.h"

namespace kvr2 {
// Edits a prepared number ("+"/"-" and one digit a digit position) into
// out; returns the bytes stored (the picture positions less P and V).
size_t editNumber(const NumericEditRecord* record, const uint8_t* source, uint8_t* out);
}  // namespace kvr2
