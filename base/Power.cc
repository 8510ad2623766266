#include "base/Power.h"

#include <dlfcn.h>
#include <gnu/lib-names.h>

#include <cmath>
#include <limits>

namespace {

using PowFunction = double (*)(double, double);

PowFunction load_pow() {
    void* library = dlopen(LIBM_SO, RTLD_NOW | RTLD_LOCAL);
    void* symbol = library ? dlsym(library, "pow") : nullptr;
    return reinterpret_cast<PowFunction>(symbol);
}

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

double Power(double base, double exponent) {
    static const PowFunction pow_function = load_pow();
    // The maths library is part of the C library's installation; without
    // it there is no result to give.
    if (!pow_function) return std::numeric_limits<double>::quiet_NaN();
    return pow_function(base, exponent);
}

double Power_Of_Ten(int exponent) {
    constexpr int kExact = sizeof kPowersOfTen / sizeof kPowersOfTen[0];
    if (exponent >= 0 && exponent < kExact) return kPowersOfTen[exponent];
    return Power(10.0, exponent);
}

double Split_Fraction(double value, double* whole) {
    *whole = std::trunc(value);
    // The difference is exact; an infinity has no fraction, and a whole
    // number's zero fraction keeps the sign of the number.
    return std::copysign(std::isinf(value) ? 0.0 : value - *whole, value);
}
