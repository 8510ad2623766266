#include "base/OxTime.h"

#include <sys/time.h>
#include <time.h>

namespace {

const char* const kMonths[] = {"January",   "February", "March",    "April",
                               "May",       "June",     "July",     "August",
                               "September", "October",  "November", "December"};
const char* const kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                             "Thursday", "Friday", "Saturday"};

// Today's local record with the given fields put over it.
struct tm local_record(int year, int month, int day, int hour, int minute, int second) {
    time_t now = time(nullptr);
    struct tm fields;
    localtime_r(&now, &fields);
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    return fields;
}

}  // namespace

void ox_gettimevalues(OXTIME* out) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    time_t seconds = now.tv_sec;
    struct tm fields;
    localtime_r(&seconds, &fields);
    out->seconds = now.tv_sec;
    out->microseconds = now.tv_usec;
    out->second = fields.tm_sec;
    out->minute = fields.tm_min;
    out->hour = fields.tm_hour;
    out->day = fields.tm_mday;
    out->month = fields.tm_mon + 1;
    out->month_name = kMonths[fields.tm_mon];
    out->year = fields.tm_year + 1900;
    out->weekday = fields.tm_wday + 1;
    out->day_name = kDays[fields.tm_wday];
    out->yearday = fields.tm_yday + 1;
    out->dst = fields.tm_isdst > 0;
    out->zone = tzname[fields.tm_isdst > 0 ? 1 : 0];
}

long ox_to_time_t(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = local_record(year, month, day, hour, minute, second);
    time_t t = mktime(&fields);
    if (t == -1) return -1;
    return t - timezone + (fields.tm_isdst > 0 ? 3600 : 0);
}

long ox_mktime_t(int year, int month, int day, int hour, int minute, int second) {
    struct tm fields = local_record(year, month, day, hour, minute, second);
    return mktime(&fields);
}
