#pragma once

// The local clock, broken down. Exported to extension libraries, hence
// the C linkage; the interface header declares the same record.
extern "C" {
#ifndef OXIN_OXTIME_DEFINED
#define OXIN_OXTIME_DEFINED
struct OXTIME {
    long seconds;  // since the epoch
    long microseconds;
    int second;
    int minute;
    int hour;
    int day;                 // of the month, 1-31
    int month;               // 1-12
    const char* month_name;  // "January" ...
    int year;                // in full
    int weekday;             // 1-7, Sunday is 1
    const char* day_name;    // "Sunday" ...
    int yearday;             // 1-366
    int dst;                 // daylight saving in force
    const char* zone;        // the zone's name for standard or daylight time
};
#endif

// Fills time with the current local time.
void ox_gettimevalues(OXTIME* time);
// The given fields read as UTC: mktime over today's local record, shifted by
// the zone offset (and an hour when daylight saving is in force). -1 when
// mktime fails.
long ox_to_time_t(int year, int month, int day, int hour, int minute, int second);
// The given fields read as local time, by mktime.
long ox_mktime_t(int year, int month, int day, int hour, int minute, int second);
}
