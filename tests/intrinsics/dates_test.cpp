// The date functions against an independent civil-calendar model, the
// CURRENT-DATE offset rule under fixed zones, and the messages of bad
// arguments (run under the sanitizers, they also show that no table is
// read outside its bounds).

#include <sys/time.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <climits>
#include <string>

#include "kvr2/kvr2.h"

namespace {

// Days since 1970-01-01 of a proleptic Gregorian date (the usual era
// arithmetic), and back.
int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}
const int64_t kDay1 = daysFromCivil(1601, 1, 1) - 1;

std::string messages(void (*f)()) {
    testing::internal::CaptureStderr();
    f();
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(DateFunctions, EveryDayRoundTrips) {
    int64_t n = 1;
    int failures = 0;
    for (int y = 1601; y <= 9999; ++y) {
        int dayOfYear = 0;
        for (int m = 1; m <= 12; ++m) {
            static const int len[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
            const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
            const int days = len[m - 1] + (m == 2 && leap);
            for (int d = 1; d <= days; ++d, ++n) {
                ++dayOfYear;
                const int32_t date = y * 10000 + m * 100 + d, day = y * 1000 + dayOfYear;
                const int32_t number = int32_t(daysFromCivil(y, m, d) - kDay1);
                if ((number != n || _zvkIntegerOfDate(date) != number || _zvkDateOfInteger(number) != date ||
                     _zvkDayOfInteger(number) != day || _zvkIntegerOfDay(day) != number) &&
                    ++failures < 10)
                    ADD_FAILURE() << "date " << date << " day " << day << " number " << number;
            }
        }
    }
    EXPECT_EQ(n - 1, 3067671);
    EXPECT_EQ(failures, 0);
}

TEST(DateFunctions, BadArgumentsRaiseTheirMessageAndGoOn) {
    std::string e = messages([] { _zvkIntegerOfDate(19000229); });
    EXPECT_NE(e.find("ZVK160W"), std::string::npos) << e;
    EXPECT_NE(e.find("INTEGER-OF-DATE"), std::string::npos) << e;
    e = messages([] { _zvkIntegerOfDay(1600366); });
    EXPECT_NE(e.find("ZVK161W"), std::string::npos) << e;
    EXPECT_NE(e.find("INTEGER-OF-DAY"), std::string::npos) << e;
    e = messages([] { _zvkDateOfInteger(0); });
    EXPECT_NE(e.find("ZVK159W"), std::string::npos) << e;
    EXPECT_NE(e.find("DATE-OF-INTEGER"), std::string::npos) << e;
    e = messages([] { _zvkDayOfInteger(3067672); });
    EXPECT_NE(e.find("DAY-OF-INTEGER"), std::string::npos) << e;
    // Every kind of bad value: a message each, and a result (meaningless
    // but computed without reading outside any table).
    const int32_t bad[] = {INT_MIN, INT_MIN + 1, -1, 0, 13, 16000000, 16011301, 16010001, 16010132, 99991232,
                           99999999, 100000101, INT_MAX, -20000229, 16010000, 20001300, 20000230};
    testing::internal::CaptureStderr();
    for (int32_t v : bad) {
        (void)_zvkIntegerOfDate(v);
        (void)_zvkIntegerOfDay(v);
        (void)_zvkDateOfInteger(v);
        (void)_zvkDayOfInteger(v);
    }
    for (int32_t v = -4000000; v < 4000000; v += 49999) {
        (void)_zvkDateOfInteger(v);
        (void)_zvkIntegerOfDay(v * 3);
    }
    std::string all = testing::internal::GetCapturedStderr();
    EXPECT_NE(all.find("ZVK159W"), std::string::npos);
}

namespace {
std::string offsetUnder(const char* tz) {
    setenv("TZ", tz, 1);
    char buf[22] = {};
    _zvkCurrentDate(buf);
    return std::string(buf + 16, 5);
}
}  // namespace

TEST(CurrentDate, OffsetRuleUnderFixedZones) {
    const char* saved = getenv("TZ");
    std::string keep = saved ? saved : "";
    EXPECT_EQ(offsetUnder("UTC0"), "+0000");
    EXPECT_EQ(offsetUnder("EST5"), "-0500");
    EXPECT_EQ(offsetUnder("IST-5:30"), "+0530");
    EXPECT_EQ(offsetUnder("NPT-5:45"), "+0545");
    EXPECT_EQ(offsetUnder("NST3:30"), "-0330");
    // Summer time all year: the standard offset moved one hour further
    // from zero, which west of Greenwich is not the true offset.
    EXPECT_EQ(offsetUnder("XST5XDT,0/0,J365/25"), "-0600");
    EXPECT_EQ(offsetUnder("XST-1XDT,0/0,J365/25"), "+0200");
    EXPECT_EQ(offsetUnder("GMT0BST,0/0,J365/25"), "-0100");
    if (saved) setenv("TZ", keep.c_str(), 1); else unsetenv("TZ");
}

TEST(CurrentDate, FieldsFollowTheClock) {
    setenv("TZ", "UTC0", 1);
    char buf[21];
    // The clock the library reads: time() is the coarse clock, which may
    // still show the last second when gettimeofday shows the next.
    auto now = [] {
        struct timeval tv;
        gettimeofday(&tv, nullptr);
        return tv.tv_sec;
    };
    time_t before = now();
    _zvkCurrentDate(buf);
    time_t after = now();
    struct tm tm;
    char text[32];
    bool matched = false;
    for (time_t t = before; t <= after; ++t) {
        gmtime_r(&t, &tm);
        strftime(text, sizeof text, "%Y%m%d%H%M%S", &tm);
        matched |= std::string(buf, 14) == text;
    }
    EXPECT_TRUE(matched) << std::string(buf, 21);
    for (int i = 14; i < 16; ++i) EXPECT_TRUE(buf[i] >= '0' && buf[i] <= '9');
    unsetenv("TZ");
}

TEST(Windowing, CenturyFromTheCurrentYear) {
    setenv("TZ", "UTC0", 1);
    time_t now = time(nullptr);
    struct tm tm;
    gmtime_r(&now, &tm);
    const int year = tm.tm_year + 1900, yy = year % 100;
    char out[9] = {};
    _zvkYearToYYYY(yy, 0, out, "YEAR-TO-YYYY");
    EXPECT_EQ(std::string(out, 4), std::to_string(year));
    _zvkYearToYYYY((yy + 1) % 100, 0, out, "YEAR-TO-YYYY");
    EXPECT_EQ(std::string(out, 4), std::to_string(yy == 99 ? year + 1 : year - 99));
    _zvkDayToYYYYDDD((yy + 1) % 100 * 1000 + 45, 50, out);
    EXPECT_EQ(std::string(out, 7), std::to_string(year + 50 - (year + 50) % 100 + (yy + 1) % 100 -
                                                  ((yy + 1) % 100 > (year + 50) % 100 ? 100 : 0)) + "045");
    _zvkDateToYYYYMMDD(270315, 0, out);
    EXPECT_EQ(std::string(out + 4, 4), "0315");
    // A window giving a year outside 1699..10000: message, and on.
    testing::internal::CaptureStderr();
    _zvkYearToYYYY(5, -1000, out, "YEAR-TO-YYYY");
    _zvkDateToYYYYMMDD(-5, INT_MAX, out);
    std::string e = testing::internal::GetCapturedStderr();
    EXPECT_NE(e.find("ZVK160W"), std::string::npos) << e;
    EXPECT_NE(e.find("window -1000"), std::string::npos) << e;
    EXPECT_NE(e.find("DATE-TO-YYYYMMDD"), std::string::npos) << e;
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(out[i] >= '0' && out[i] <= '9');
    unsetenv("TZ");
}
