#pragma once

#include <cstring>

#include "base/StringClass.h"

class OxinVM;

// Helpers shared by the files of the exported interface.

// The real length of a text given with length -1 (up to the NUL); a null
// text is empty.
inline int measured(const char* text, int length) {
    return length >= 0 ? length : text ? static_cast<int>(strlen(text)) : 0;
}

// A new text from the engine's array allocator, for a library to own.
char* owned_copy(const char* text, int length);

// Translates a location number of a file function into a path class, with
// the path as that class takes it in *out: location 1 is the script class,
// a relative path taken from the running script's directory; location 3
// the data class under dir_commerce when that is set; any other the data
// class, the path unchanged.
int __oxFile_Location(OxinVM* vm, int location, const char* path, int length, String* out);
