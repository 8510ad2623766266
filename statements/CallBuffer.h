#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/StringClass.h"

class HTTPResponseStream;

// The characters of a response body one at a time, read from the stream in
// fills of a fixed size, with characters pushed back to be read again. A
// byte 0xFF reads as the end of the data, and so does every read behind it.
class CallBuffer {
  public:
    // Reads stream (not owned) size bytes at a time.
    CallBuffer(HTTPResponseStream* stream, int size);
    CallBuffer(const CallBuffer&) = delete;
    CallBuffer& operator=(const CallBuffer&) = delete;
    virtual ~CallBuffer();

    // *c gets the next character, or -1 at the end of the data. False, with
    // error() set, when the stream fails.
    virtual bool GetNextChar(int* c);
    // Makes the last character read the next one to be read again.
    virtual void UnGetChar();
    // Bytes that end a run of TakeRun; the end-of-data byte always does.
    using Stops = std::array<bool, 256>;
    // Appends to text the characters that the buffer holds up to the next
    // stop or the end of the fill, as GetNextChar would give them one by
    // one, and leaves the stop for GetNextChar. Does nothing while
    // characters are pushed back.
    void TakeRun(String& text, const Stops& stops);
    // Reads the next fill from the stream; false on its failure.
    virtual bool FillBuffer();
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }

    // Bytes taken from the stream so far.
    int64_t consumed() const { return consumed_ + count_; }

  private:
    static constexpr int kEnd = -1;

    HTTPResponseStream* stream_;
    std::unique_ptr<char[]> buffer_;
    int size_;
    int position_ = 0;
    int64_t consumed_ = 0;
    int count_ = 0;
    int last_ = kEnd;
    String pushed_back_;
    String error_;
};
