#pragma once

// Correctly rounded binary-to-decimal conversion in the manner of dtoa's
// mode 5: digits through ndigits places behind the decimal point, but
// stopping earlier at the shortest digit string that reads back as the same
// double. Exact ties at the last place round half-even.
//
// Writes the digits, without trailing zeros and without a NUL, to buffer and
// returns their count. *decpt is the position of the decimal point relative
// to the first digit, *sign is 1 for a negative value (negative zero too).
// Zero gives "0" with *decpt 1; an infinity gives "Infinity" and a NaN "NaN",
// both with *decpt 9999. A value that rounds to nothing at ndigits gives no
// digits with *decpt -ndigits. Only mode 5 is supported; buffer_size must be
// at least 512.
int ox_dtoa(char* buffer, int buffer_size, double value, int mode, int ndigits, int* decpt,
            int* sign);
