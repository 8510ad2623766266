#include "network/NetworkConnection.h"

#include <cstdarg>
#include <cstdio>
#include <memory>

bool NetworkConnection::Write(const String& text, int timeout) {
    return Write(text.c_str(), text.length(), timeout) == text.length();
}

bool NetworkConnection::Write(int timeout, const char* format, ...) {
    constexpr int kSize = 8192;
    auto buffer = std::make_unique<char[]>(kSize);
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(buffer.get(), kSize, format, arguments);
    va_end(arguments);
    if (length < 0) return false;
    if (length >= kSize) length = kSize - 1;
    return Write(buffer.get(), length, timeout) == length;
}
