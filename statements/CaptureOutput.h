#pragma once

#include "application/BufferedOutput.h"

// The output of an open OxCAPTURE: what the script prints is kept in memory
// instead of going on, while error messages and HTTP headers pass through
// to the output that was current when the capture began.
class CaptureOutput : public BufferedOutput {
  public:
    static constexpr int kBlockSize = 8192;

    // Wraps the output that errors and headers go to (not owned; may be
    // null, which drops them).
    explicit CaptureOutput(Output* wrapped);
    ~CaptureOutput() override;

    // Passes text to the wrapped output and flushes it there.
    int Write_Error(const char* text, int length) override;
    // Passes the header to the wrapped output, with its ownership.
    int Header(const char* name, int name_length, int name_owned, const char* value,
               int value_length, int value_owned) override;
    // Moves what the base buffer holds onto the captured text.
    int Flush() override;
    // Hands over the captured text (new[], NUL-terminated, length bytes in
    // size) and starts again from empty.
    virtual char* data(int* length, int* size);

    Output* wrapped() const { return wrapped_; }

  protected:
    // Appends to the captured text; never fails.
    int DoWrite(const char* text, int length) override;

  private:
    void Reset();

    char* text_ = nullptr;
    int length_ = 0;
    int size_ = 0;
    Output* wrapped_;
};
