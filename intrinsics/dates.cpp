// Day numbers and Gregorian dates, and the windowing of two-digit years.
//
// Day numbers count from 1601-01-01 as day 1 up to 9999-12-31, day 3067671.
// The arithmetic is 32-bit as compiled code's own would be: a bad argument
// gets its message and the computation goes on to a meaningless result, but
// every table index is kept inside its table and no overflow is undefined.

#include <stdlib.h>

#include "frame/clock.h"
#include "frame/messages.h"
#include "intrinsics/dates.h"
#include "kvr2/intrinsics.h"

namespace {

constexpr int32_t kCumulative[13] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
constexpr int32_t kMonthLength[2][13] = {{0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                                         {0, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};
constexpr int32_t kYearLength[2] = {365, 366};
constexpr int32_t kLastDay = 3067671;

// Wrapping 32-bit arithmetic.
inline int32_t mul(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }
inline int32_t add(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
inline int32_t sub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
inline int32_t clampIndex(int32_t i, int32_t last) { return i < 0 ? 0 : i > last ? last : i; }

inline bool leap(int32_t y) { return y % 400 == 0 || (y % 4 == 0 && y % 100 != 0); }

// Day number of day `dayOfYear` of year y.
int32_t dayNumber(int32_t y, int32_t dayOfYear) {
    const int32_t years = sub(y, 1601);
    const int32_t c = years / 100;
    return add(add(dayOfYear, mul(years, 36525) / 100), c / 4 - c);
}

int32_t dayOfYearOfDate(int32_t y, int32_t m, int32_t d) {
    int32_t doy = add(d, kCumulative[clampIndex(m - 1, 12)]);
    if (leap(y) && m > 2) doy = add(doy, 1);
    return doy;
}

// Year and day of the year of a day number.
void yearAndDay(int32_t n, int32_t* year, int32_t* day) {
    const int32_t c = mul(n, 100) / 3652425;
    const int32_t t = add(n, c - c / 4);
    const div_t qr = div(mul(t, 100), 36525);
    const int32_t k = qr.rem == 0 ? qr.quot - 1 : qr.quot;
    // Day of the year, the division rounding toward minus infinity.
    const int32_t scaled = mul(k, 36525);
    const int32_t floorQuotient = scaled / 100 - (scaled % 100 < 0 ? 1 : 0);
    *day = sub(t, floorQuotient);
    *year = add(k, 1601);
}

int32_t dateOfYearAndDay(int32_t year, int32_t day) {
    if (leap(year)) {
        if (day == 60) return add(mul(year, 10000), 229);
        if (day >= 61) day -= 1;
    }
    const int32_t j = clampIndex(day / 30, 12);
    int32_t month, inMonth;
    if (kCumulative[j] >= day) {
        month = j;
        inMonth = sub(day, kCumulative[clampIndex(j - 1, 12)]);
    } else {
        month = j + 1;
        inMonth = sub(day, kCumulative[j]);
    }
    return add(add(mul(year, 10000), month * 100), inMonth);
}

bool validDate(int32_t y, int32_t m, int32_t d) {
    return y >= 1601 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= kMonthLength[leap(y)][m];
}

// The low `count` decimal digits of the magnitude of v, as ASCII.
void putDigits(char* out, int64_t v, int count) {
    uint64_t u = static_cast<uint64_t>(v < 0 ? -v : v);
    for (int i = count - 1; i >= 0; --i) {
        out[i] = static_cast<char>((u % 10) | 0x30);
        u /= 10;
    }
}

// The current year plus the window, checked.
int32_t windowYear(int32_t window, const char* name) {
    char now[21];
    zvkClockNow(now);
    int32_t current = 0;
    for (int i = 0; i < 4; ++i) current = current * 10 + (now[i] & 0x0F);
    const int32_t v = add(current, window);
    if (v < 1699 || v > 10000) zvkWriteMsg(160, 1, name, window, v);
    return v;
}

// The year of a two-digit year yy under the window year v.
inline int64_t windowed(int32_t yy, int32_t v) {
    int64_t century = int64_t(v) / 100 * 100;
    if (int64_t(yy) > v % 100) century -= 100;
    return century + yy;
}

}  // namespace

extern "C" {

int32_t _zvkIntegerOfDate(int32_t yyyymmdd) {
    const int32_t y = yyyymmdd / 10000, m = yyyymmdd / 100 % 100, d = yyyymmdd % 100;
    if (!validDate(y, m, d)) zvkWriteMsg(160, 0, "INTEGER-OF-DATE");
    return dayNumber(y, dayOfYearOfDate(y, m, d));
}

int32_t _zvkIntegerOfDay(int32_t yyyyddd) {
    const int32_t y = yyyyddd / 1000, d = yyyyddd % 1000;
    if (y < 1601 || y > 9999 || d < 1 || d > kYearLength[leap(y)]) zvkWriteMsg(161, 0, "INTEGER-OF-DAY");
    return dayNumber(y, d);
}

int32_t _zvkDateOfInteger(int32_t dayNumber) {
    if (dayNumber < 1 || dayNumber > kLastDay) zvkWriteMsg(159, 0, "DATE-OF-INTEGER");
    int32_t year, day;
    yearAndDay(dayNumber, &year, &day);
    return dateOfYearAndDay(year, day);
}

int32_t _zvkDayOfInteger(int32_t dayNumber) {
    if (dayNumber < 1 || dayNumber > kLastDay) zvkWriteMsg(159, 0, "DAY-OF-INTEGER");
    int32_t year, day;
    yearAndDay(dayNumber, &year, &day);
    return add(mul(year, 1000), day);
}

void _zvkYearToYYYY(int32_t yy, int32_t window, char* destination, const char* functionName) {
    const int32_t v = windowYear(window, functionName ? functionName : "YEAR-TO-YYYY");
    putDigits(destination, windowed(yy, v), 4);
}

void _zvkDayToYYYYDDD(int32_t yyddd, int32_t window, char* destination) {
    const int32_t v = windowYear(window, "DAY-TO-YYYYDDD");
    putDigits(destination, windowed(yyddd / 1000, v), 4);
    putDigits(destination + 4, yyddd % 1000, 3);
}

void _zvkDateToYYYYMMDD(int32_t yymmdd, int32_t window, char* destination) {
    const int32_t v = windowYear(window, "DATE-TO-YYYYMMDD");
    putDigits(destination, windowed(yymmdd / 10000, v), 4);
    putDigits(destination + 4, yymmdd % 10000, 4);
}

int32_t zvkDayNumberOfDate(int32_t year, int32_t month, int32_t day) {
    if (!validDate(year, month, day)) return 0;
    return dayNumber(year, dayOfYearOfDate(year, month, day));
}

bool zvkDateOfDayNumber(int32_t n, int32_t* year, int32_t* month, int32_t* day) {
    if (n < 1 || n > kLastDay) return false;
    int32_t y, d;
    yearAndDay(n, &y, &d);
    const int32_t date = dateOfYearAndDay(y, d);
    *year = y;
    *month = date / 100 % 100;
    *day = date % 100;
    return true;
}

KVR2_API void _zvkCurrentDate(char* buffer) { zvkClockNow(buffer); }

}  // extern "C"
