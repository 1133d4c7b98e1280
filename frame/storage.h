// Internal allocators of the runtime: blocks tracked per run unit (freed
// all at once when a run unit ends under a monitor) and blocks that carry
// their own size.
#pragma once

#include <cstdint>

#include "kvr2/storage.h"

extern "C" {

struct Runcom;

void* zvkTrackedAlloc(uint64_t size);
void* zvkTrackedCalloc(uint64_t count, uint64_t size);
void zvkTrackedFree(void* p);
// Every block the run unit still holds, when it ends.
void zvkTrackedFreeAll(Runcom* ru);

void* zvkSizedAlloc(uint64_t size);
void* zvkSizedCalloc(uint64_t count, uint64_t size);
void* zvkSizedRealloc(void* p, uint64_t size);
void zvkSizedFree(void* p);

// 16-aligned block of at least size bytes (size rounded up to 16); null
// when storage is exhausted.  No message.
void* zvkAlignedAlloc(uint64_t size);

}  // extern "C"
