#include <gtest/gtest.h>
#include <stdlib.h>

#include <regex>
#include <string>

#include "host/process/CGIApplication.h"

namespace {

std::string date_in(const char* zone) {
    setenv("TZ", zone, 1);
    char program[] = "oxin";
    char* argv[] = {program, nullptr};
    CGIApplication application(1, argv);
    int length;
    char* text = application.currentdate(&length);
    std::string date(text, length);
    delete[] text;
    unsetenv("TZ");
    return date;
}

TEST(CGIApplicationTest, DatesCarryWholeHoursOfTheZone) {
    std::regex layout(R"(\w{3}, \d\d \w{3} \d{4} \d\d:\d\d:\d\d [+-]\d{4})");
    std::string utc = date_in("UTC0");
    EXPECT_TRUE(std::regex_match(utc, layout)) << utc;
    EXPECT_EQ(utc.substr(utc.size() - 5), "-0000");  // seconds west 0 is the "-" form
    // Half an hour east is written as whole hours: the minutes are dropped.
    std::string india = date_in("IST-5:30");
    EXPECT_EQ(india.substr(india.size() - 5), "+0500");
    std::string newfoundland = date_in("NST3:30");
    EXPECT_EQ(newfoundland.substr(newfoundland.size() - 5), "-0300");
}

TEST(CGIApplicationTest, SessionIdsAreThirtyTwoHexDigits) {
    char program[] = "oxin";
    char* argv[] = {program, nullptr};
    CGIApplication application(1, argv);
    int length;
    char* first = application.MakeSessionID(&length);
    char* second = application.MakeSessionID(&length);
    EXPECT_EQ(length, 32);
    EXPECT_TRUE(std::regex_match(first, std::regex("[0-9a-f]{32}")));
    EXPECT_STRNE(first, second);
    delete[] first;
    delete[] second;
}

}  // namespace
