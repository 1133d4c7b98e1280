// The clock as the run unit reads it: CURRENT-DATE's 21 characters, and
// the date alone for year windows.
#pragma once

extern "C" {

// YYYYMMDDhhmmsshh, then the offset from UTC as +hhmm or -hhmm: 21 bytes,
// not terminated.
void zvkClockNow(char out[21]);
// The current date as YYYYMMDD digits (8 bytes, not terminated).
void zvkCurrentDateDigits(char out[8]);

}  // extern "C"
