#include <string.h>

#include "tests/network/NetworkFixture.h"

TEST(HostnameMatch, WildcardRules) {
    struct Row {
        const char* host;
        const char* pattern;
        bool matches;
    } rows[] = {
        {"www.example.com", "WWW.Example.COM", true},  // equal, any case
        {"x.a.b", "*.a.b", true},
        {"X.A.B", "*.a.b", true},
        {"x.y.a.b", "*.a.b", false},  // the wildcard covers one label
        {"a.b", "*.a.b", false},
        {"x.b", "*.b", false},  // fewer than two labels behind it
        {"foo.a.b", "f*.a.b", true},
        {"f.a.b", "f*.a.b", true},
        {"bar.a.b", "f*.a.b", false},
        {"xn--foo.a.b", "xn*.a.b", false},  // no partial wildcard for internationalized labels
        {"xn--foo.a.b", "*.a.b", true},
        {"foo.a.b", "*o.a.b", false},  // nothing of the label behind the wildcard
        {"x.y.a.b", "x.*.a.b", false},  // only in the leftmost label
        {"x.a.b", "**.a.b", false},
        {"x.a.b", "*a.b", false},  // no dot behind it
        {"localhost", "*", false},
        {"x.a.b", "y.a.b", false},
    };
    TestApplication application;
    NetworkManager* manager = application.networkmanager();
    for (const Row& row : rows) {
        EXPECT_EQ(manager->CompareX509Hostname(row.host, row.pattern,
                                               static_cast<int>(strlen(row.pattern))),
                  row.matches)
            << row.host << " against " << row.pattern;
    }
    // A name with a NUL inside never matches its visible part.
    EXPECT_FALSE(manager->CompareX509Hostname("good.example", "good.example\0.evil", 18));
}

TEST(HostnameMatch, AddressesAndTheirTexts) {
    TestApplication application;
    NetworkManager* manager = application.networkmanager();
    EXPECT_TRUE(manager->IsIPv4Address("127.0.0.1") && !manager->IsIPv6Address("127.0.0.1"));
    EXPECT_TRUE(manager->IsIPv6Address("::1") && manager->IsIPAddress("::1"));
    EXPECT_FALSE(manager->IsIPAddress("localhost") || manager->IsIPAddress("1.2.3.4.5"));
    EXPECT_TRUE(manager->CompareIPv6Addresses("::1", "0:0:0:0:0:0:0:1"));
    EXPECT_FALSE(manager->CompareIPv6Addresses("::1", "::2"));
    const unsigned char v6[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    char text[64];
    ASSERT_TRUE(manager->ConvertIPv6ToString(v6, text, sizeof text));
    EXPECT_STREQ(text, "2001:db8::1");
    EXPECT_FALSE(manager->ConvertIPv6ToString(v6, text, 8));  // too small a buffer
}
