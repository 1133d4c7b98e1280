// Routines of the decimal subsystem that the class tests use, declared
// weak: the validators and the mode word.  Where decimal/ is not linked
// into the library yet, the callers fall back on the local forms next to
// them; once it is, the weak references resolve and the fallbacks are dead
// code, to be removed.
#pragma once

#include <atomic>
#include <cstdint>

extern std::atomic<uint32_t> zvkBcdMode __attribute__((weak));

extern "C" {
void zvkBcdLoadMode(void) __attribute__((weak));
int zvkBcdCheckPacked(const void* address, int32_t digits, int checkMode) __attribute__((weak));
int zvkBcdCheckZoned(const void* address, int32_t digits, int checkMode) __attribute__((weak));

}

namespace verbs {

// The decimal mode word, read (and loaded from the environment) as the
// decimal entry points read it.
uint32_t bcdMode();
constexpr uint32_t kBcdEbcdic = 0x080;

// 0 good, 1 bad: the strict (check mode 1) validators.
int checkPacked(const uint8_t* address, int32_t digits);
int checkZoned(const uint8_t* address, int32_t digits);

}  // namespace verbs
