#pragma once

#include "application/Output.h"

// An output that collects writes in one fixed buffer and passes it on,
// through DoWrite, when it is full or flushed.
class BufferedOutput : public Output {
  public:
    explicit BufferedOutput(int size = 8192);
    ~BufferedOutput() override;

    int Write(const char* text, int length) override;
    // Passes on what the buffer holds; DoWrite's result, 0 when empty.
    int Flush() override;
    int Flush(int) override { return 0; }
    int type() override { return 0; }

  protected:
    // Writes length bytes out; the count written, negative on failure.
    virtual int DoWrite(const char* text, int length) = 0;

  private:
    char* buffer_;
    int size_;
    int used_ = 0;
};
