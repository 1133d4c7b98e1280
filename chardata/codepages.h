// Internal interface of the code-page layer, for the other subsystems.
#pragma once

#include <cstdint>

#include "kvr2/codepage.h"

struct UConverter;
struct UCollator;

extern "C" {

// One row of the locale table; columns NUL-padded.
struct CodePageRow {
    char key[6];
    uint8_t dbcsBlank[2];
    char ebcdicBase[15];
    char ebcdicEuro[15];
    char pcFirst[15];
    char pcSecond[15];
    char windows[15];
    char windowsOther[15];
    char isoFirst[15];
    char isoSecond[15];
};
static_assert(sizeof(CodePageRow) == 128);

constexpr int kCodePageRows = 53;
constexpr int kCodePageDefaultRow = 8;   // EN_US
extern const CodePageRow zvkCodePageTable[kCodePageRows];

// The DBCS blank of the chosen row (code pages chosen first if need be).
void zvkDbcsBlank(uint8_t out[2]);
// The status of the last combined (native <-> EBCDIC) conversion.
int32_t zvkCodePageLastStatus(void);
// The collator of the locale, opened on first use; null if it cannot be.
UCollator* zvkCodePageCollator(void);
// Writes ICU's name for a code page of this system into out; false if it
// does not fit.
bool zvkIcuConverterName(const char* name, size_t length, char* out, size_t size);
// Releases the converters and the state of the conversion layer; called
// when the runtime ends.
void zvkCodePageRelease(void);

}  // extern "C"
