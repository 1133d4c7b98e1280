// Day numbers for the date-time subsystems: plain arithmetic on the
// proleptic Gregorian calendar, day 1 being 1601-01-01, without messages.
#pragma once

#include <stdint.h>

extern "C" {
// Day number of a valid date (year 1601..9999); 0 when the date is not valid.
int32_t zvkDayNumberOfDate(int32_t year, int32_t month, int32_t day);
// Date of a day number 1..3067671; false (and nothing stored) outside.
bool zvkDateOfDayNumber(int32_t dayNumber, int32_t* year, int32_t* month, int32_t* day);
}
