#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "base/OxTime.h"

namespace {

// Switches the process to a time zone for the life of the object.
class ZoneScope {
  public:
    explicit ZoneScope(const char* zone) {
        if (const char* before = getenv("TZ")) before_ = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneScope() {
        before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ");
        tzset();
    }

  private:
    std::optional<std::string> before_;
};

// The fields read as UTC (timegm) or as local time (mktime).
long reference(bool utc, int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = {second, minute, hour, day, month - 1, year - 1900, 0, 0, -1, 0, nullptr};
    return utc ? timegm(&fields) : mktime(&fields);
}

void check_current_time() {
    OXTIME now;
    ox_gettimevalues(&now);
    long wall = time(nullptr);
    EXPECT_LE(now.seconds, wall);
    EXPECT_GE(now.seconds, wall - 5);
    EXPECT_GE(now.microseconds, 0);
    EXPECT_LT(now.microseconds, 1000000);

    time_t seconds = now.seconds;
    struct tm local;
    localtime_r(&seconds, &local);
    std::vector<int> fields = {now.second, now.minute,  now.hour,    now.day,     now.month,
                               now.year,   now.weekday, now.yearday, now.dst != 0};
    EXPECT_EQ(fields, (std::vector<int>{local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday,
                                        local.tm_mon + 1, local.tm_year + 1900, local.tm_wday + 1,
                                        local.tm_yday + 1, local.tm_isdst > 0}));
    char names[64];
    strftime(names, sizeof names, "%B %A %Z", &local);
    EXPECT_EQ(std::string(now.month_name) + " " + now.day_name + " " + now.zone, names);
}

TEST(OxTimeTest, CurrentTimeMatchesLocaltime) {
    for (const char* name : {"UTC", "Europe/Berlin"}) {
        ZoneScope zone(name);
        check_current_time();
    }
}

TEST(OxTimeTest, FieldsReadAsUtcAndAsLocalTime) {
    for (const char* name : {"UTC", "Europe/Berlin"}) {
        ZoneScope zone(name);
        bool berlin = std::string(name) != "UTC";
        long winter = 1673786096, summer = 1689424496;  // 2023-01-15 and 07-15, 12:34:56 UTC
        EXPECT_EQ(ox_to_time_t(2023, 1, 15, 12, 34, 56), winter) << name;
        EXPECT_EQ(ox_to_time_t(2023, 7, 15, 12, 34, 56), summer) << name;
        // Berlin is one hour ahead of UTC in winter and two in summer.
        EXPECT_EQ(ox_mktime_t(2023, 1, 15, 12, 34, 56), winter - (berlin ? 3600 : 0)) << name;
        EXPECT_EQ(ox_mktime_t(2023, 7, 15, 12, 34, 56), summer - (berlin ? 7200 : 0)) << name;

        std::mt19937 random(51);
        for (int i = 0; i < 2000; i++) {
            int year = 1971 + random() % 67, month = 1 + random() % 12, day = 1 + random() % 28;
            int hour = random() % 24, minute = random() % 60, second = random() % 60;
            // The hour skipped when the clocks go forward does not exist.
            if (berlin && month == 3 && day >= 25 && hour == 2) continue;
            ASSERT_EQ(ox_to_time_t(year, month, day, hour, minute, second),
                      reference(true, year, month, day, hour, minute, second))
                << name << " " << year << "-" << month << "-" << day << " " << hour;
            ASSERT_EQ(ox_mktime_t(year, month, day, hour, minute, second),
                      reference(false, year, month, day, hour, minute, second));
        }
    }
    ZoneScope zone("UTC");
    // Day 32 of January is the first of February, as mktime counts.
    EXPECT_EQ(ox_to_time_t(2024, 1, 32, 0, 0, 0), reference(true, 2024, 2, 1, 0, 0, 0));
    EXPECT_EQ(ox_mktime_t(2024, 2, 29, 24, 0, 0), reference(true, 2024, 3, 1, 0, 0, 0));
}

}  // namespace
