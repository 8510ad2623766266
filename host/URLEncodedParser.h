#pragma once

#include <string>

#include "host/HTTPContentParser.h"

// "name=value&..." with "+" for blanks and %XX escapes, as forms send it.
// Each pair becomes a variable through SetVariable_Fancy, so names may hold
// aggregate parts (a[1], s:name) and repeated names build arrays.
class URLEncodedParser : public HTTPContentParser {
  public:
    // limit: the most variables (0: no limit).
    URLEncodedParser(VariableHash* target, int limit) : HTTPContentParser(target), limit_(limit) {}

    bool Parse(const char* data, int length) override;
    // Sets the pair in progress. A bare name with neither "=" nor "&" is set
    // only when a name was finished before it.
    bool Finalize() override;

  private:
    enum State { kName, kValue, kNameEscape, kValueEscape };

    bool Store();
    void Escape(char c, std::string* into, State back);

    int limit_;
    int count_ = 0;
    std::string name_;
    std::string value_;
    int last_name_length_ = 0;
    char hex_[2] = {};
    int hex_at_ = 0;
    State state_ = kName;
};
