#pragma once

#include "host/HTTPContentParser.h"

// A body of a type that no parser knows, kept whole and given to the script
// as the system variable content_data.
class UnknownContentHandler : public HTTPContentParser {
  public:
    // target: the system variables; expected: the announced length.
    UnknownContentHandler(VariableHash* target, int expected);
    ~UnknownContentHandler() override;

    bool Parse(const char* data, int length) override;
    // Hands the body, without a copy, to content_data.
    bool Finalize() override;

  private:
    int expected_;
    char* buffer_ = nullptr;
    int length_ = 0;
    int capacity_;
};
