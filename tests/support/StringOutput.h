#pragma once

#include <cctype>
#include <string>

#include "application/Output.h"

// An output that keeps everything written to it, for tests.
class StringOutput : public Output {
  public:
    int Write(const char* text, int length) override {
        length = Measured(text, length);
        text_.append(text, length);
        if (length > 0) last_was_space_ = isspace(static_cast<unsigned char>(text[length - 1]));
        return length;
    }
    int Flush() override { return 0; }
    int Flush(int) override { return 0; }
    int type() override { return 0; }

    const std::string& text() const { return text_; }

  private:
    std::string text_;
};
