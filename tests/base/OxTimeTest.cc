#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

#include "base/OxTime.h"

namespace {

const char* const kMonthNames[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};
const char* const kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};

// Switches the process to a time zone for the life of the object.
class ZoneScope {
  public:
    explicit ZoneScope(const char* zone) {
        const char* before = getenv("TZ");
        had_zone_ = before != nullptr;
        if (had_zone_) before_ = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneScope() {
        if (had_zone_) {
            setenv("TZ", before_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

  private:
    bool had_zone_;
    std::string before_;
};

struct tm fields_of(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    return fields;
}

long utc_of(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = fields_of(year, month, day, hour, minute, second);
    return timegm(&fields);
}

long local_of(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = fields_of(year, month, day, hour, minute, second);
    return mktime(&fields);
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
    EXPECT_EQ(now.second, local.tm_sec);
    EXPECT_EQ(now.minute, local.tm_min);
    EXPECT_EQ(now.hour, local.tm_hour);
    EXPECT_EQ(now.day, local.tm_mday);
    EXPECT_EQ(now.month, local.tm_mon + 1);
    EXPECT_STREQ(now.month_name, kMonthNames[local.tm_mon]);
    EXPECT_EQ(now.year, local.tm_year + 1900);
    EXPECT_EQ(now.weekday, local.tm_wday + 1);
    EXPECT_STREQ(now.day_name, kDayNames[local.tm_wday]);
    EXPECT_EQ(now.yearday, local.tm_yday + 1);
    EXPECT_EQ(now.dst != 0, local.tm_isdst > 0);
    EXPECT_STREQ(now.zone, tzname[local.tm_isdst > 0 ? 1 : 0]);
}

TEST(OxTimeTest, CurrentTimeMatchesLocaltime) {
    check_current_time();
    {
        ZoneScope zone("UTC");
        check_current_time();
        OXTIME now;
        ox_gettimevalues(&now);
        EXPECT_EQ(now.dst, 0);
        EXPECT_STREQ(now.zone, "UTC");
    }
    {
        ZoneScope zone("Europe/Berlin");
        check_current_time();
        OXTIME now;
        ox_gettimevalues(&now);
        EXPECT_STREQ(now.zone, now.dst ? "CEST" : "CET");
    }
}

TEST(OxTimeTest, FieldsReadAsUtcAndAsLocalTime) {
    for (const char* name : {"UTC", "Europe/Berlin"}) {
        ZoneScope zone(name);
        bool berlin = std::string(name) != "UTC";
        long winter = utc_of(2023, 1, 15, 12, 34, 56);
        long summer = utc_of(2023, 7, 15, 12, 34, 56);
        EXPECT_EQ(winter, 1673786096);
        EXPECT_EQ(summer, 1689424496);
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
                      utc_of(year, month, day, hour, minute, second))
                << name << " " << year << "-" << month << "-" << day << " " << hour;
            ASSERT_EQ(ox_mktime_t(year, month, day, hour, minute, second),
                      local_of(year, month, day, hour, minute, second));
        }
    }
}

TEST(OxTimeTest, FieldsAreNormalized) {
    ZoneScope zone("UTC");
    // Day 32 of January is the first of February, as mktime counts.
    EXPECT_EQ(ox_to_time_t(2024, 1, 32, 0, 0, 0), utc_of(2024, 2, 1, 0, 0, 0));
    EXPECT_EQ(ox_mktime_t(2024, 2, 29, 24, 0, 0), utc_of(2024, 3, 1, 0, 0, 0));
}

}  // namespace
