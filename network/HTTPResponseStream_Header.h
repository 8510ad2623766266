#pragma once

#include "base/StringClass.h"

// One line of an HTTP response head: the line as received (stripped), and
// the name and value on either side of its first colon, each stripped. A
// line without a colon is all name, with an empty value.
class HTTPResponseStream_Header {
  public:
    explicit HTTPResponseStream_Header(const String& line);

    const String& line() const { return line_; }
    const String& name() const { return name_; }
    const String& value() const { return value_; }

  private:
    String line_;
    String name_;
    String value_;
};
