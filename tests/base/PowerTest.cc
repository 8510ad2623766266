#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "base/Power.h"

// The same bits as the maths library, signs of zero and NaNs included.
static bool Same(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

TEST(PowerTest, ResultsAreTheMathsLibrarysBitForBit) {
    const double inf = std::numeric_limits<double>::infinity();
    for (double base : {2.0, -2.0, 10.0, 0.1, 1.5, 0.0, -0.0, inf, -inf, 1e300}) {
        for (double exponent : {0.0, 1.0, -1.0, 0.5, 3.0, -3.0, 1.0 / 3, 400.0, inf})
            EXPECT_TRUE(Same(Power(base, exponent), std::pow(base, exponent)))
                << base << " ^ " << exponent;
    }
    for (int exponent = -30; exponent <= 330; exponent++)
        EXPECT_TRUE(Same(Power_Of_Ten(exponent), std::pow(10.0, exponent))) << exponent;
}

TEST(PowerTest, FractionsSplitAsModfSplitsThem) {
    const double inf = std::numeric_limits<double>::infinity();
    for (double value : {2.75, -2.75, 0.5, -0.5, 3.0, -3.0, 0.0, -0.0, 4503599627370497.0,
                         -1e300, 5e-324, inf, -inf, std::nan("")}) {
        double whole, expected_whole;
        double fraction = Split_Fraction(value, &whole);
        double expected = std::modf(value, &expected_whole);
        EXPECT_TRUE(Same(fraction, expected)) << value;
        EXPECT_TRUE(Same(whole, expected_whole)) << value;
    }
}
