#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "base/Dtoa.h"
#include "base/TextConversion.h"
#include "tests/base/BaseTestSupport.h"

namespace {

struct Digits {
    std::string text;
    int decpt;
    int sign;
};

Digits dtoa(double value, int ndigits) {
    char buffer[512];
    Digits d;
    int count = ox_dtoa(buffer, sizeof buffer, value, 5, ndigits, &d.decpt, &d.sign);
    d.text.assign(buffer, count);
    return d;
}

struct Formatted {
    std::string text;
    int size;
};

Formatted format(double value, int precision) {
    int length = -1, size = -1;
    char* text = TextConversion::dtos(value, &length, &size, precision);
    Formatted f{std::string(text, length), size};
    EXPECT_EQ(strlen(text), static_cast<size_t>(length));
    EXPECT_GE(size, length + 1);
    delete[] text;
    return f;
}

std::string dtos(double value, int precision) {
    return format(value, precision).text;
}

std::string printf_fixed(double value, int places) {
    char text[1200];
    snprintf(text, sizeof text, "%.*f", places, value);
    return text;
}

// The fixed form without trailing zeros behind the point (and without a
// point left bare).
std::string trimmed(std::string text) {
    if (text.find('.') == std::string::npos) return text;
    while (text.back() == '0')
        text.pop_back();
    if (text.back() == '.') text.pop_back();
    return text;
}

bool reads_back(const std::string& text, double value) {
    return strtod(text.c_str(), nullptr) == value;
}

// The significant digits of a plain decimal text: no sign, point, leading or
// trailing zeros.
std::string significant(std::string text) {
    std::erase_if(text, [](char c) { return c < '0' || c > '9'; });
    size_t first = text.find_first_not_of('0'), last = text.find_last_not_of('0');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// Checks the free form of a finite value: plain decimal with at most 20
// places, no trailing zeros; either the shortest text that reads back (the
// nearest such), or, when no text of 20 places reads back, the value rounded
// at 20 places.
void check_free_format(double value, bool check_shortest) {
    std::string text = dtos(value, -1);
    ASSERT_FALSE(text.empty());
    size_t start = text[0] == '-' ? 1 : 0;
    ASSERT_EQ(text[0] == '-', std::signbit(value) != 0) << text;
    ASSERT_EQ(text.find_first_not_of("0123456789.", start), std::string::npos) << text;
    size_t point = text.find('.');
    if (point != std::string::npos) {
        ASSERT_LE(text.size() - point - 1, 20u) << text;
        ASSERT_NE(text.back(), '0') << text;
        ASSERT_LT(point + 1, text.size()) << text;
    }
    if (std::fabs(value) < 4e-21) {
        // Below half of the 20th place: nothing is left but the sign.
        ASSERT_EQ(text, std::signbit(value) ? "-0" : "0");
        return;
    }
    if (reads_back(text, value)) {
        if (!check_shortest || value == 0) return;
        std::string digits = significant(text);
        int n = static_cast<int>(digits.size());
        char shorter[64], nearest[64];
        if (n >= 2) {
            snprintf(shorter, sizeof shorter, "%.*e", n - 2, value);
            ASSERT_FALSE(reads_back(shorter, value)) << text << " vs " << shorter;
        }
        snprintf(nearest, sizeof nearest, "%.*e", n - 1, value);
        ASSERT_EQ(significant(std::string(nearest, strchr(nearest, 'e'))), digits)
            << text << " vs " << nearest;
    } else {
        std::string fixed = printf_fixed(value, 20);
        ASSERT_FALSE(reads_back(fixed, value)) << text << " should read back as " << fixed;
        ASSERT_EQ(text, trimmed(fixed));
    }
}

// Nothing is left when the value is below half of the last place; just above
// it, a single "1".
TEST(DtoaTest, ListedDigits) {
    const std::tuple<double, int, std::string, int, int> cases[] = {
        {0.0, 20, "0", 1, 0},      {-0.0, 2, "0", 1, 1},      {HUGE_VAL, 20, "Infinity", 9999, 0},
        {NAN, 20, "NaN", 9999, 0}, {-NAN, 3, "NaN", 9999, 1}, {-HUGE_VAL, 20, "Infinity", 9999, 1},
        {1e-25, 20, "", -20, 0},   {0.0001, 2, "", -2, 0},    {0.004, 2, "", -2, 0},
        {0.5, 0, "", 0, 0},        {0.4, 0, "", 0, 0},        {0.05 - 1e-17, 1, "", -1, 0},
        {0.6, 0, "1", 1, 0}};
    for (const auto& [value, ndigits, text, decpt, sign] : cases) {
        Digits d = dtoa(value, ndigits);
        EXPECT_EQ(std::tie(d.text, d.decpt, d.sign), std::tie(text, decpt, sign)) << value;
    }
}

// Finite values are the random runs'.
TEST(DtosTest, ListedForms) {
    const std::tuple<double, int, const char*> cases[] = {
        {HUGE_VAL, -1, "Infinity"}, {-HUGE_VAL, 3, "-Infinity"}, {-0.0, -1, "-0"}, {-1e-25, -1, "-0"},
        {NAN, -1, "NaN"}, {-NAN, -1, "-NaN"}, {NAN, 2, "NaN"}, {-0.5, 0, "-0"}, {-0.001, 2, "-0.00"}};
    for (const auto& [value, precision, text] : cases)
        EXPECT_EQ(dtos(value, precision), text) << value << " at " << precision;
    EXPECT_EQ(dtos(1e21, 2), "1000000000000000000000.00");
    // More places than the value has: the shortest digits, padded.
    EXPECT_EQ(dtos(0.1, 25), "0.1000000000000000000000000");
    std::string smallest = "0." + std::string(323, '0') + "5" + std::string(6, '0');
    EXPECT_EQ(dtos(4.9406564584124654e-324, 330), smallest);
}

// Over the digits that ox_dtoa gives, the size rule holds for every value
// but a negative one rounding to nothing, whose sign the rule leaves no room
// for: that one gets exactly its length + 1.
TEST(DtosTest, SizeRuleOverRandomValues) {
    std::mt19937_64 random(10);
    std::uniform_real_distribution<double> exponent(-25, 25);
    for (int i = 0; i < Scaled(20000, 20); i++) {
        double value = std::pow(10.0, exponent(random)) * (random() & 1 ? -1 : 1);
        int precision = static_cast<int>(random() % 23) - 1;
        Digits d = dtoa(value, precision < 0 ? 20 : precision);
        int count = static_cast<int>(d.text.size());
        int expected = std::max(count, d.decpt) + 2 + (precision < 0 ? 21 : 1 + precision) +
                       (d.decpt == 0 ? 1 : 0);
        Formatted f = format(value, precision);
        if (value < 0 && count == 0 && precision > 0) expected = precision + 4;
        ASSERT_EQ(f.size, expected) << value << " at " << precision;
    }
}

// k / 2^m has an exact decimal form of m places, so the fixed forms are what
// printf gives, ties included.
TEST(DtosTest, FixedPlacesOfExactBinaryValuesMatchPrintf) {
    std::mt19937_64 random(11);
    for (int i = 0; i < Scaled(20000, 20); i++) {
        int m = static_cast<int>(random() % 13);
        double value = std::ldexp(static_cast<double>(random() % (1 << 20)), -m);
        if (random() & 1) value = -value;
        int places = static_cast<int>(random() % 21);
        ASSERT_EQ(dtos(value, places), printf_fixed(value, places)) << value << " at " << places;
    }
}

// Below 2^52 the fewest places that read back are the shortest digits, so
// the fixed form is those places padded with zeros, or printf's rounding
// when more places would be needed.
TEST(DtosTest, FixedPlacesOfRandomValues) {
    std::mt19937_64 random(12);
    std::uniform_real_distribution<double> exponent(-25, 15.6);
    for (int i = 0; i < Scaled(20000, 20); i++) {
        double value = std::pow(10.0, exponent(random)) * (random() & 1 ? -1 : 1);
        int places = static_cast<int>(random() % 21);
        std::string expected = printf_fixed(value, places);
        for (int fewer = 0; fewer < places; fewer++) {
            std::string shorter = printf_fixed(value, fewer);
            if (reads_back(shorter, value)) {
                expected = shorter + (fewer == 0 ? "." : "") + std::string(places - fewer, '0');
                break;
            }
        }
        ASSERT_EQ(dtos(value, places), expected) << value << " at " << places;
    }
}

TEST(DtosTest, FreeFormatOfRandomBitPatterns) {
    std::mt19937_64 random(13);
    const int count = Scaled(1000000, 20);
    for (int i = 0; i < count; i++) {
        uint64_t bits = random();
        double value;
        memcpy(&value, &bits, sizeof value);
        if (std::isnan(value)) {
            ASSERT_EQ(dtos(value, -1), std::signbit(value) ? "-NaN" : "NaN");
            continue;
        }
        if (std::isinf(value)) continue;
        ASSERT_NO_FATAL_FAILURE(check_free_format(value, i % 8 == 0));
    }
}

// A decimal of at most 15 significant digits is the shortest text of the
// double it reads as.
TEST(DtosTest, FreeFormatOfDecimals) {
    std::mt19937_64 random(15);
    const int count = Scaled(1000000, 20);
    for (int i = 0; i < count; i++) {
        uint64_t k = random() % 1000000000000000ull;
        if (i % 4 == 0) k %= 100000;
        int m = i % 2 ? 2 : static_cast<int>(random() % 21);
        std::string digits = std::to_string(k);
        if (static_cast<int>(digits.size()) <= m) digits.insert(0, m + 1 - digits.size(), '0');
        std::string text =
            trimmed(digits.substr(0, digits.size() - m) + "." + digits.substr(digits.size() - m));
        double value = strtod(text.c_str(), nullptr);
        ASSERT_EQ(dtos(value, -1), text);
        ASSERT_EQ(dtos(-value, -1), "-" + text);
    }
}

}  // namespace
