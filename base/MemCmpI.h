#pragma once

// Compares length bytes of a and b case-insensitively (C locale tolower) and
// returns -1, 0 or 1 by the first differing byte. A length of 0 or less is 0.
int memcmpi(const void* a, const void* b, int length);
