#include <gtest/gtest.h>
#include <string.h>

#include "network/NetworkManager.h"
#include "tests/support/TestApplication.h"

TEST(HostnameMatch, WildcardRules) {
    struct Row {
        const char* host;
        const char* pattern;
        bool matches;
    } rows[] = {
        {"www.example.com", "WWW.Example.COM", true},  // equal, any case
        {"X.A.B", "*.a.b", true},
        {"x.y.a.b", "*.a.b", false},  // the wildcard covers one label
        {"a.b", "*.a.b", false},
        {"x.b", "*.b", false},  // fewer than two labels behind it
        {"foo.a.b", "f*.a.b", true},
        {"f.a.b", "f*.a.b", true},
        {"bar.a.b", "f*.a.b", false},
        {"xn--foo.a.b", "xn*.a.b", false},  // no partial wildcard for internationalized labels
        {"xn--foo.a.b", "*.a.b", true},
        {"foo.a.b", "*o.a.b", false},   // nothing of the label behind the wildcard
        {"x.y.a.b", "x.*.a.b", false},  // only in the leftmost label
        {"x.a.b", "**.a.b", false},
        {"x.a.b", "*a.b", false},  // no dot behind it
        {"localhost", "*", false},
        {"x.a.b", "y.a.b", false},
    };
    TestApplication application;
    NetworkManager* manager = application.networkmanager();
    for (const Row& row : rows)
        EXPECT_EQ(manager->CompareX509Hostname(row.host, row.pattern,
                                               static_cast<int>(strlen(row.pattern))),
                  row.matches)
            << row.host << " against " << row.pattern;
    // A name with a NUL inside never matches its visible part.
    EXPECT_FALSE(manager->CompareX509Hostname("good.example", "good.example\0.evil", 18));
}
