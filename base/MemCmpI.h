#pragma once

// Compares length bytes of a and b case-insensitively (C locale tolower) and
// returns -1, 0 or 1 by the first differing byte. A length of 0 or less is 0.
int memcmpi(const void* a, const void* b, int length);

// The C locale's tolower as a table: A-Z become a-z, all else stays. Faster
// than the library call on hot paths such as hashing names.
inline unsigned char lower_byte(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}
