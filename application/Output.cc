#include "application/Output.h"

#include <cctype>
#include <cstring>

namespace {

bool is_space(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

int Output::Measured(const char* text, int length) {
    if (length >= 0) return length;
    return text ? static_cast<int>(strlen(text)) : 0;
}

int Output::Write_Error(const char* text, int length) {
    int written = Write(text, length);
    Flush();
    return written;
}

int Output::Header(const char* name, const char* value) {
    return Header(name, -1, 0, value, -1, 0);
}

int Output::Header(const char* name, int, int name_owned, const char* value, int, int value_owned) {
    if (name_owned) delete[] name;
    if (value_owned) delete[] value;
    return 0;
}

int Output::Write_Compressed(const char* text, int length) {
    if (flags() & kCompressFull) return Write_Compressed_Full(text, length);
    if (flags() & kCompressFast) return Write_Compressed_Fast(text, length);
    return Write(text, length);
}

int Output::Write_Compressed_Fast(const char* text, int length) {
    length = Measured(text, length);
    int skip = last_was_space_ && length > 0 && is_space(text[0]) ? 1 : 0;
    if (length > skip) Write(text + skip, length - skip);
    return length;
}

int Output::Write_Compressed_Full(const char* text, int length) {
    length = Measured(text, length);
    int at = 0;
    if (last_was_space_) {
        while (at < length && is_space(text[at]))
            at++;
    }
    int piece = at;
    while (at < length) {
        if (!is_space(text[at])) {
            at++;
            continue;
        }
        // The piece ends with the first byte of the run; the rest is dropped.
        Write(text + piece, at + 1 - piece);
        at++;
        while (at < length && is_space(text[at]))
            at++;
        piece = at;
    }
    if (piece < length) Write(text + piece, length - piece);
    return length;
}
