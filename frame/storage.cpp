// Storage tracked per run unit under a transaction monitor: every block
// carries a 16-byte header linking it into Runcom.storage, so the whole
// list can be freed when the run unit ends.

#include <stdlib.h>

#include "frame/frame.h"

namespace {
struct TrackedHeader {
    TrackedHeader* next;
    TrackedHeader* prev;
};
static_assert(sizeof(TrackedHeader) == 16);
}  // namespace

extern "C" void zvkTrackedFreeAll(Runcom* ru) {
    if (!ru) return;
    TrackedHeader* h = static_cast<TrackedHeader*>(ru->storage);
    while (h) {
        TrackedHeader* next = h->next;
        free(h);
        h = next;
    }
    ru->storage = nullptr;
}
