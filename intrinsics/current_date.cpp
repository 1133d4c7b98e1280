// The clock as CURRENT-DATE reads it.

#include <stdio.h>
#include <sys/time.h>
#include <time.h>

#include "frame/frame.h"

extern "C" void zvkCurrentDateDigits(char out[8]) {
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    time_t t = tv.tv_sec;
    struct tm tm;
    localtime_r(&t, &tm);
    char buf[48];
    snprintf(buf, sizeof buf, "%04d%02d%02d", (tm.tm_year + 1900) % 10000, tm.tm_mon + 1, tm.tm_mday);
    for (int i = 0; i < 8; ++i) out[i] = buf[i];
}
