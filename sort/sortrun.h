// The run-time side of SORT and MERGE: what the entries share.  The state
// of a sort that lives across calls is the thread's record (frame/threads.h);
// the engine's entry and handle are the process's.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/threads.h"
#include "kvr2/sort.h"

extern "C" {

using SortThreadRecord = ThreadRecord;

constexpr uint64_t kSortBufferSize = 0x40000;   // 262,144 bytes
constexpr size_t kSpillPathSize = 1024;
constexpr char kSpillInput[] = "sortwki.";      // records released, spilled
constexpr char kSpillOutput[] = "sortwko.";     // the engine's output, read by RETURN

// The engine's entry, loaded on first use (and the temporary directory
// chosen when the runtime has none); null, with the reason on stderr, when
// it cannot be loaded.
zvkSortEngine zvkSortEngineEntry(void);
// Op 11: abandons a sort the thread's engine runs and unloads the engine.
void zvkSortEndRun(void);
// "<tempDir>[/]<prefix><pid>.<thread>" into out (kSpillPathSize bytes),
// each number in "%010u".  Formatted here, not in a shared text area: two
// threads spilling at once each get their own name.
void zvkSortSpillName(char* out, const char* tempDir, const char* prefix, const SortThreadRecord* rec);

}  // extern "C"
