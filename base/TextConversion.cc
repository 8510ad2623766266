#include "base/TextConversion.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "base/Dtoa.h"
#include "base/LinkBuffer.h"
#include "base/MemCmpI.h"

namespace {

int measured(const char* text, int length) {
    return length < 0 ? static_cast<int>(strlen(text)) : length;
}

char* hand_over(char* text, int length, int size, int* out_length, int* out_size) {
    if (out_length) *out_length = length;
    if (out_size) *out_size = size;
    return text;
}

// Takes the finished text out of an encoder's buffer, with its NUL.
char* hand_over(LinkBuffer& buffer, int* out_length, int* out_size) {
    int length, size;
    char* text = buffer.release(&length, &size, 1);
    text[length] = 0;
    return hand_over(text, length, size, out_length, out_size);
}

char* copy_text(const char* text, int* out_length, int* out_size) {
    int length = static_cast<int>(strlen(text));
    char* copy = new char[length + 1];
    memcpy(copy, text, length + 1);
    return hand_over(copy, length, length + 1, out_length, out_size);
}

int hex_value(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool starts_hex(const char* text, int length) {
    return length >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X') &&
           hex_value(text[2]) >= 0;
}

// The infinity or NaN that a keyword of exactly this length names, if any.
bool keyword_value(const char* text, int length, double* value) {
    bool negative = length == 4 || length == 9;
    const char* word = negative ? text + 1 : text;
    if (negative && text[0] != '-') return false;
    switch (length) {
        case 3:
        case 4:
            if (memcmpi(word, "NAN", 3) == 0) {
                *value = negative ? -NAN : NAN;
                return true;
            }
            if (memcmpi(word, "INF", 3) != 0) return false;
            break;
        case 8:
        case 9:
            if (memcmpi(word, "INFINITY", 8) != 0) return false;
            break;
        default:
            return false;
    }
    *value = negative ? -HUGE_VAL : HUGE_VAL;
    return true;
}

// A decimal of at most 15 digits after blanks and a sign, as field values
// are: its digits as an integer and the power of ten are both exact doubles,
// so one division gives the correctly rounded value, strtod's own.
bool plain_decimal(const char* text, int length, double* value) {
    static constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6, 1e7,
                                         1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const char* end = text + length;
    while (text < end && (*text == ' ' || (*text >= '\t' && *text <= '\r'))) text++;
    bool negative = text < end && *text == '-';
    if (text < end && (*text == '-' || *text == '+')) text++;
    uint64_t digits = 0;
    int count = 0, places = -1;
    for (; text < end; text++) {
        if (*text == '.' && places < 0) {
            places = 0;
        } else if (*text >= '0' && *text <= '9' && count < 15) {
            digits = digits * 10 + (*text - '0');
            count++;
            if (places >= 0) places++;
        } else {
            return false;
        }
    }
    if (count == 0) return false;
    double magnitude = static_cast<double>(digits) / kPowers[places < 0 ? 0 : places];
    *value = negative ? -magnitude : magnitude;
    return true;
}

// strtod over the whole of a NUL-terminated text, with the hexadecimal
// integer fallback.
double parse_number(const char* text, int length, int* error) {
    double plain;
    if (plain_decimal(text, length, &plain)) return plain;
    char* end;
    errno = 0;
    double value = strtod(text, &end);
    if (end == text + length) {
        if (std::isinf(value) && errno == ERANGE) *error = 1;
        return value;
    }
    if (starts_hex(text, length)) {
        long integer = strtol(text, &end, 0);
        if (end == text + length) return static_cast<double>(static_cast<int>(integer));
    }
    *error = 1;
    return 0.0;
}

// Bytes of the URL form that stay as they are: letters, digits and * - . @ _
bool attribute_keeps(unsigned char c) {
    return isalnum(c) || c == '*' || c == '-' || c == '.' || c == '@' || c == '_';
}

const char* entity_of(unsigned char c) {
    switch (c) {
        case '"':
            return "&quot;";
        case '&':
            return "&amp;";
        case '(':
            return "&#40;";
        case ')':
            return "&#41;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        default:
            return nullptr;
    }
}

// The byte that an entity name (between "&" and ";") stands for, or -1.
int entity_byte(const char* name, int length) {
    switch (length) {
        case 2:
            if (memcmpi(name, "lt", 2) == 0) return '<';
            if (memcmpi(name, "gt", 2) == 0) return '>';
            break;
        case 3:
            if (memcmpi(name, "amp", 3) == 0) return '&';
            if (memcmp(name, "#40", 3) == 0) return '(';
            if (memcmp(name, "#41", 3) == 0) return ')';
            break;
        case 4:
            if (memcmpi(name, "quot", 4) == 0) return '"';
            break;
    }
    return -1;
}

bool javascript_keeps(unsigned char c) {
    return c == ' ' || c == '$' || (c >= '+' && c <= '.') || (c >= '0' && c <= ':') ||
           (c >= '@' && c <= 'Z') || c == '_' || (c >= 'a' && c <= 'z');
}

char javascript_escape(unsigned char c) {
    switch (c) {
        case 7:
            return 'b';
        case 9:
            return 't';
        case 10:
            return 'n';
        case 12:
            return 'f';
        case 13:
            return 'r';
        default:
            return 0;
    }
}

// The length of the text dtos builds from count digits with the decimal
// point at point.
int fixed_length(int count, int point, int sign, int precision) {
    int integer_digits = point > 0 ? point : 1;
    int digits_behind = count - (point > 0 ? point : 0);
    if (precision < 1 && digits_behind <= 0) return sign + integer_digits;
    int places = (point < 0 ? -point : 0) + (digits_behind > 0 ? digits_behind : 0);
    return sign + integer_digits + 1 + (places > precision ? places : precision);
}

}  // namespace

char* TextConversion::itos(int value, int* length, int* size) {
    unsigned magnitude = value < 0 ? 0u - static_cast<unsigned>(value) : value;
    int digits = 1;
    for (unsigned rest = magnitude; rest >= 10; rest /= 10)
        digits++;
    int n = digits + (value < 0 ? 1 : 0);
    char* text = new char[n + 1];
    text[n] = 0;
    for (int i = n - 1; i >= n - digits; i--, magnitude /= 10)
        text[i] = '0' + magnitude % 10;
    if (value < 0) text[0] = '-';
    return hand_over(text, n, n + 1, length, size);
}

char* TextConversion::dtos(double value, int* length, int* size, int precision) {
    // A text's length is an int: places beyond what one can hold (less the
    // room of the integer digits) are not written.
    constexpr int kMostPlaces = INT_MAX - 1024;
    if (precision > kMostPlaces) precision = kMostPlaces;
    char digits[512];
    int point, sign;
    int count =
        ox_dtoa(digits, sizeof digits, value, 5, precision < 0 ? 20 : precision, &point, &sign);
    if (point == 9999) {
        bool infinity = count >= 8 && memcmp(digits, "Infinity", 8) == 0;
        if (infinity) return copy_text(sign ? "-Infinity" : "Infinity", length, size);
        return copy_text(sign ? "-NaN" : "NaN", length, size);
    }
    int allocated = (count > point ? count : point) + 2 + (precision < 0 ? 21 : 1 + precision) +
                    (point == 0 ? 1 : 0);
    // The rule above leaves no room for the NUL of a negative value that
    // rounds to nothing, such as "-0.00".
    int needed = fixed_length(count, point, sign, precision) + 1;
    if (needed > allocated) allocated = needed;
    char* text = new char[allocated];
    int n = 0;
    if (sign) text[n++] = '-';
    int used = 0;
    if (point > 0) {
        for (; used < point; used++)
            text[n++] = used < count ? digits[used] : '0';
    } else {
        text[n++] = '0';
    }
    int places = precision;
    if (places >= 1 || used < count) {
        text[n++] = '.';
        for (int zeros = point; zeros < 0; zeros++) {
            text[n++] = '0';
            if (places > 0) places--;
        }
        for (; used < count; used++) {
            text[n++] = digits[used];
            if (places > 0) places--;
        }
        for (; places > 0; places--)
            text[n++] = '0';
    }
    text[n] = 0;
    return hand_over(text, n, allocated, length, size);
}

int TextConversion::stoi(const char* text, int length, int* error) {
    *error = 0;
    length = measured(text, length);
    int start = 0;
    unsigned base = 10;
    bool negative = length > 0 && text[0] == '-';
    if (negative) {
        start = 1;
    } else if (length == 0 || !isdigit(static_cast<unsigned char>(text[0]))) {
        *error = 1;
        return 0;
    } else if (starts_hex(text, length)) {
        start = 2;
        base = 16;
    }
    unsigned value = 0, power = 1;
    for (int i = length - 1; i >= start; i--, power *= base) {
        int digit = hex_value(static_cast<unsigned char>(text[i]));
        if (digit < 0 || static_cast<unsigned>(digit) >= base) {
            *error = 1;
            return 0;
        }
        value += digit * power;
    }
    return static_cast<int>(negative ? 0u - value : value);
}

double TextConversion::stod(const char* text, int length, int capacity, int* error) {
    *error = 0;
    if (length < 0) return parse_number(text, static_cast<int>(strlen(text)), error);
    double value;
    if (keyword_value(text, length, &value)) return value;
    if (capacity > length && text[length] == 0) return parse_number(text, length, error);
    char small[106];
    char* copy = length <= 105 ? small : new char[length + 1];
    memcpy(copy, text, length);
    copy[length] = 0;
    value = parse_number(copy, length, error);
    if (copy != small) delete[] copy;
    return value;
}

char* TextConversion::EncodeAttribute(const char* text, int length, int* out_length,
                                      int* out_size) {
    length = measured(text, length);
    LinkBuffer buffer(length + 512, 512);
    for (int i = 0; i < length; i++) {
        unsigned char c = text[i];
        if (c == ' ') {
            buffer.cat('+');
        } else if (attribute_keeps(c)) {
            buffer.cat(c);
        } else {
            buffer.cat('%');
            buffer.cat_hex(c);
        }
    }
    return hand_over(buffer, out_length, out_size);
}

char* TextConversion::DecodeAttribute(const char* text, int length, int* out_length,
                                      int* out_size) {
    length = measured(text, length);
    char* out = new char[length + 1];
    int n = 0;
    for (int i = 0; i < length; i++) {
        char c = text[i];
        if (c == '%' && i + 2 < length && hex_value(text[i + 1]) >= 0 &&
            hex_value(text[i + 2]) >= 0) {
            out[n++] = static_cast<char>(hex_value(text[i + 1]) * 16 + hex_value(text[i + 2]));
            i += 2;
        } else {
            out[n++] = c == '+' ? ' ' : c;
        }
    }
    out[n] = 0;
    return hand_over(out, n, length + 1, out_length, out_size);
}

char* TextConversion::EncodeEntities(const char* text, int length, int* out_length, int* out_size) {
    length = measured(text, length);
    LinkBuffer buffer(length + 512, 512);
    for (int i = 0; i < length; i++) {
        const char* entity = entity_of(text[i]);
        if (entity) {
            buffer.cat(entity, static_cast<int>(strlen(entity)));
        } else {
            buffer.cat(text[i]);
        }
    }
    return hand_over(buffer, out_length, out_size);
}

char* TextConversion::DecodeEntities(const char* text, int length, int* out_length, int* out_size) {
    length = measured(text, length);
    char* out = new char[length + 1];
    int n = 0;
    for (int i = 0; i < length; i++) {
        if (text[i] != '&') {
            out[n++] = text[i];
            continue;
        }
        int end = i + 1;
        while (end < length && text[end] != ';' && !isspace(static_cast<unsigned char>(text[end])))
            end++;
        int byte = end < length && text[end] != ';' ? -1 : entity_byte(text + i + 1, end - i - 1);
        if (byte >= 0) {
            out[n++] = static_cast<char>(byte);
            i = end;
        } else {
            // A blank inside the name, or a name of no entity: copy what was
            // scanned as it stands.
            memcpy(out + n, text + i, end - i);
            n += end - i;
            i = end - 1;
        }
    }
    out[n] = 0;
    return hand_over(out, n, length + 1, out_length, out_size);
}

char* TextConversion::StripNULLs(const char* text, int length, int* out_length, int* out_size) {
    char* out = new char[length + 1];
    int n = 0;
    for (int i = 0; i < length; i++) {
        if (text[i]) out[n++] = text[i];
    }
    out[n] = 0;
    return hand_over(out, n, length + 1, out_length, out_size);
}

char* TextConversion::EncodeJavaScriptString(const char* text, int length, int* out_length,
                                             int* out_size, bool utf8) {
    length = measured(text, length);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    LinkBuffer buffer(length + 512, 512);
    for (int i = 0; i < length; i++) {
        unsigned char c = bytes[i];
        if (char escape = javascript_escape(c)) {
            buffer.cat('\\');
            buffer.cat(escape);
        } else if (javascript_keeps(c)) {
            buffer.cat(c);
        } else if (c == '"' || c == '/' || c == '\\') {
            buffer.cat('\\');
            buffer.cat(c);
        } else if (utf8 && c >= 0xC2 && c <= 0xDF && i + 1 < length) {
            buffer.cat("\\u", 2);
            buffer.cat_hex((c >> 2) & 7);
            buffer.cat_hex(static_cast<unsigned char>((c << 6) | (bytes[i + 1] & 63)));
            i += 1;
        } else if (utf8 && c >= 0xE0 && c <= 0xEF && i + 2 < length) {
            buffer.cat("\\u", 2);
            buffer.cat_hex(static_cast<unsigned char>((c << 4) | ((bytes[i + 1] & 60) >> 2)));
            buffer.cat_hex(static_cast<unsigned char>((bytes[i + 1] << 6) | (bytes[i + 2] & 63)));
            i += 2;
        } else if (!utf8 && c > 159) {
            buffer.cat(c);
        } else {
            buffer.cat("\\u00", 4);
            buffer.cat_hex(c);
        }
    }
    return hand_over(buffer, out_length, out_size);
}
