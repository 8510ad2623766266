#include "statements/CallBuffer.h"

#include <algorithm>

#include "network/HTTPResponseStream.h"

CallBuffer::CallBuffer(HTTPResponseStream* stream, int size)
    : stream_(stream), buffer_(new char[size > 0 ? size : 1]), size_(size > 0 ? size : 1) {}

CallBuffer::~CallBuffer() = default;

bool CallBuffer::FillBuffer() {
    consumed_ += count_;
    position_ = count_ = 0;
    int count = stream_->Read(buffer_.get(), size_);
    if (count < 0) {
        Error(stream_->error());
        return false;
    }
    count_ = count;
    return true;
}

bool CallBuffer::GetNextChar(int* c) {
    *c = kEnd;
    if (pushed_back_.length() > 0) {
        *c = static_cast<signed char>(pushed_back_.text()[pushed_back_.length() - 1]);
        pushed_back_.chop(1);
        last_ = *c;
        return true;
    }
    if (position_ >= count_ && !FillBuffer()) return false;
    if (position_ < count_) {
        *c = static_cast<signed char>(buffer_[position_]);
        // The end-of-data byte stays where it is, so that it ends every
        // read from here on.
        if (*c != kEnd) position_++;
    }
    last_ = *c;
    return true;
}

void CallBuffer::UnGetChar() {
    if (last_ != kEnd) pushed_back_.cat(static_cast<char>(last_));
}

void CallBuffer::TakeRun(String& text, const Stops& stops) {
    if (pushed_back_.length() > 0) return;
    const char* start = buffer_.get() + position_;
    const char* end = buffer_.get() + count_;
    const char* at = start;
    while (at < end && !stops[static_cast<unsigned char>(*at)] && *at != static_cast<char>(kEnd))
        at++;
    int length = static_cast<int>(at - start);
    if (length == 0) return;
    // Room doubles, so that a text over many fills grows in few steps.
    if (text.length() + length + 1 > text.capacity())
        text.reserve(std::max(text.capacity() * 2, text.length() + length + 1));
    text.cat(start, length);
    position_ += length;
}
