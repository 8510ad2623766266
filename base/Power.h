#pragma once

// Powers for the engine's arithmetic, with the maths library's results bit
// for bit. The library is loaded at the first power that needs it, so a
// request that computes none neither maps it nor runs its load-time set-up.

// Returns base raised to exponent, as the maths library's pow does.
double Power(double base, double exponent);

// Returns 10 raised to exponent. Exact from 0 to 22, where no library is
// needed; other exponents go through Power.
double Power_Of_Ten(int exponent);

// Splits value into its whole part, stored in *whole, and the fraction it
// returns, both with the sign of value, as the maths library's modf does.
double Split_Fraction(double value, double* whole);
