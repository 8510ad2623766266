#pragma once

#include "application/BufferedOutput.h"

// Standard output, descriptor 1, with no framing. Unbuffered, every write
// is passed on at once. The destructor flushes.
class StandardOutput : public BufferedOutput {
  public:
    explicit StandardOutput(int buffered = 1, int descriptor = 1)
        : buffered_(buffered), descriptor_(descriptor) {}
    ~StandardOutput() override { Flush(); }

    int Write(const char* text, int length) override;

  protected:
    int DoWrite(const char* text, int length) override;

  private:
    int buffered_;
    int descriptor_;
};
