#pragma once

#include "application/Output.h"

// An output that passes everything to a callback, or drops it when there is
// none: the output of a background task.
class NullOutput : public Output {
  public:
    using Callback = int (*)(const char* text, int length);
    explicit NullOutput(Callback callback = nullptr) : callback_(callback) {}

    int Write(const char* text, int length) override { return DoWrite(text, length); }
    int Write_Compressed(const char* text, int length) override { return DoWrite(text, length); }
    int Flush() override { return 0; }
    int Flush(int) override { return 0; }
    int type() override { return 2; }

  protected:
    // The callback's result, or the length.
    virtual int DoWrite(const char* text, int length) {
        length = Measured(text, length);
        return callback_ ? callback_(text, length) : length;
    }

  private:
    Callback callback_;
};
