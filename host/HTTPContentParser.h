#pragma once

#include "base/StringClass.h"

class VariableHash;

// A parser of a request body, fed block by block as the body arrives, that
// turns it into variables of target.
class HTTPContentParser {
  public:
    explicit HTTPContentParser(VariableHash* target) : target_(target) {}
    HTTPContentParser(const HTTPContentParser&) = delete;
    HTTPContentParser& operator=(const HTTPContentParser&) = delete;
    virtual ~HTTPContentParser() = default;

    // Takes the next block; false with the reason in error().
    virtual bool Parse(const char* data, int length) = 0;
    // Ends the body; false with the reason in error().
    virtual bool Finalize() = 0;
    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  protected:
    bool Fail(const char* text) {
        error_ = String(text);
        return false;
    }

    VariableHash* target_;

  private:
    String error_;
};
