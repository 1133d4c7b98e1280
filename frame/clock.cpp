// The clock of the run unit, as CURRENT-DATE and the year windows read it.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>

#include "frame/clock.h"

extern "C" {

// The offset is derived from the zone's standard offset (`timezone`,
// seconds west) moved one hour further from zero while summer time is in
// force, whatever the zone's true summer offset: that is this runtime's
// definition of the field.
void zvkClockNow(char buffer[21]) {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    tzset();
    const time_t seconds = tv.tv_sec;
    struct tm tm;
    localtime_r(&seconds, &tm);

    char area[64];
    if (strftime(area, sizeof area, "%Y%m%d%H%M%S0000000", &tm) < 21) memset(area, '0', 21);
    long m = timezone / 60;
    if (tm.tm_isdst > 0) m = m < 0 ? m - 60 : m + 60;
    const char* sign = -m >= 0 ? "+" : "-";
    const long magnitude = m < 0 ? -m : m;
    snprintf(area + 14, sizeof area - 14, "%2.2d%s%2.2d%2.2d", static_cast<int>(tv.tv_usec / 10000), sign,
             static_cast<int>(magnitude / 60 % 100), static_cast<int>(magnitude % 60));
    memcpy(buffer, area, 21);
}

void zvkCurrentDateDigits(char out[8]) {
    char now[21];
    zvkClockNow(now);
    memcpy(out, now, 8);
}

}  // extern "C"
