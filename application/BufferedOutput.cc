#include "application/BufferedOutput.h"

#include <cctype>
#include <cstring>

BufferedOutput::BufferedOutput(int size)
    : buffer_(new char[size > 0 ? size : 1]), size_(size > 0 ? size : 1) {}

BufferedOutput::~BufferedOutput() {
    delete[] buffer_;
}

int BufferedOutput::Write(const char* text, int length) {
    length = Measured(text, length);
    if (length == 0) return 0;
    if (length > size_) {
        for (int at = 0; at < length;) {
            int piece = length - at < size_ - used_ ? length - at : size_ - used_;
            memcpy(buffer_ + used_, text + at, piece);
            used_ += piece;
            at += piece;
            if (used_ == size_) Flush();
        }
    } else {
        if (used_ + length > size_) Flush();
        memcpy(buffer_ + used_, text, length);
        used_ += length;
    }
    last_was_space_ = isspace(static_cast<unsigned char>(text[length - 1])) != 0;
    return length;
}

int BufferedOutput::Flush() {
    if (used_ == 0) return 0;
    int written = DoWrite(buffer_, used_);
    used_ = 0;
    return written;
}
