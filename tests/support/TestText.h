#pragma once

#include <cctype>
#include <random>
#include <string>

#include "base/StringClass.h"

inline std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

inline std::string RandomCase(std::string text, std::mt19937& random) {
    for (char& c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        c = static_cast<char>(random() % 2 ? toupper(byte) : tolower(byte));
    }
    return text;
}

// A name of 1 to max_length letters drawn from letters: short names over a
// small alphabet make long hash chains, equal lengths and equal names.
inline std::string RandomName(std::mt19937& random, const char* letters, int max_length) {
    std::string name(1 + random() % max_length, ' ');
    for (char& c : name)
        c = letters[random() % std::char_traits<char>::length(letters)];
    return name;
}

inline std::string Str(const String& text) {
    return std::string(text.c_str(), text.length());
}
