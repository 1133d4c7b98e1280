// Routines of other subsystems that the verbs of this directory use,
// declared weak: the decimal validators and mode word (decimal/), the
// code-page layer (chardata/).  Where a subsystem is not linked into the
// library yet, the caller falls back on the local form next to each call.
// Once every subsystem is in, the weak references all resolve and the
// fallbacks are dead code.
#pragma once

#include <atomic>
#include <cstdint>

extern std::atomic<uint32_t> zvkBcdMode __attribute__((weak));

extern "C" {
void zvkBcdLoadMode(void) __attribute__((weak));
int zvkBcdCheckPacked(const void* address, int32_t digits, int checkMode) __attribute__((weak));
int zvkBcdCheckZoned(const void* address, int32_t digits, int checkMode) __attribute__((weak));

void zvkDbcsBlank(uint8_t out[2]) __attribute__((weak));
int32_t _zvkConvToEBCDIC(const uint8_t* source, int32_t length, uint8_t* target, int32_t* capacity)
    __attribute__((weak));
}

namespace verbs {

// The decimal mode word, read (and loaded from the environment) as the
// decimal entry points read it.
uint32_t bcdMode();
constexpr uint32_t kBcdEbcdic = 0x080;

// 0 good, 1 bad: the strict (check mode 1) validators.
int checkPacked(const uint8_t* address, int32_t digits);
int checkZoned(const uint8_t* address, int32_t digits);

// The DBCS blank of the chosen code-page row.
void dbcsBlank(uint8_t out[2]);

}  // namespace verbs
