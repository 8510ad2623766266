#include "base/Dtoa.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

int copy_text(char* buffer, const char* text) {
    int n = static_cast<int>(strlen(text));
    memcpy(buffer, text, n);
    return n;
}

// The shortest round-trip digits of a positive finite value, from the
// scientific form d.ddddde±x.
int shortest_digits(double value, char* digits, int* decpt) {
    char text[64];
    auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific);
    char* end = result.ptr;
    char* exponent = static_cast<char*>(memchr(text, 'e', end - text));
    int count = 0;
    for (char* p = text; p < exponent; p++) {
        if (*p != '.') digits[count++] = *p;
    }
    int power = 0;
    std::from_chars(exponent[1] == '+' ? exponent + 2 : exponent + 1, end, power);
    *decpt = power + 1;
    while (count > 1 && digits[count - 1] == '0')
        count--;
    return count;
}

// The value correctly rounded at ndigits places, from the fixed form. No
// digits are left when it rounds to zero. Only values with digits behind the
// point come here, so the text has at most 16 integer digits.
int fixed_digits(double value, int ndigits, char* digits, int size, int* decpt) {
    char text[1024];
    auto result = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, ndigits);
    const char* end = result.ptr;
    const char* point = static_cast<const char*>(memchr(text, '.', end - text));
    if (!point) point = end;
    const char* p = text;
    int count = 0;
    if (point - text == 1 && text[0] == '0') {
        *decpt = 0;
        for (p = point + 1; p < end && *p == '0'; p++)
            (*decpt)--;
    } else {
        *decpt = static_cast<int>(point - text);
    }
    for (; p < end && count < size; p++) {
        if (*p != '.') digits[count++] = *p;
    }
    while (count > 0 && digits[count - 1] == '0')
        count--;
    if (count == 0) *decpt = -ndigits;
    return count;
}

}  // namespace

int ox_dtoa(char* buffer, int buffer_size, double value, int mode, int ndigits, int* decpt,
            int* sign) {
    (void)mode;
    *sign = std::signbit(value) ? 1 : 0;
    if (std::isinf(value) || std::isnan(value)) {
        *decpt = 9999;
        return copy_text(buffer, std::isinf(value) ? "Infinity" : "NaN");
    }
    value = std::fabs(value);
    if (value == 0) {
        *decpt = 1;
        buffer[0] = '0';
        return 1;
    }
    int count = shortest_digits(value, buffer, decpt);
    if (count - *decpt <= ndigits) return count;
    return fixed_digits(value, ndigits, buffer, buffer_size, decpt);
}
