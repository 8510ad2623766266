#pragma once

#include "base/StringClass.h"

// A text handed to a database operation: its bytes, their number, the size of
// the buffer, and whether the buffer may be taken over (*owner set). Taking
// it clears the flag, so the giver knows not to free it.
struct StringTuple {
    const char* text = "";
    int length = 0;
    int capacity = 0;
    int* owner = nullptr;

    // The text as a String: the buffer itself when it may be taken over,
    // else a copy.
    String Take() const;
};
