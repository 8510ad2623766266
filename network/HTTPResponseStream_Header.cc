#include "network/HTTPResponseStream_Header.h"

HTTPResponseStream_Header::HTTPResponseStream_Header(const String& line)
    : line_(line), name_(line.before(":")), value_(line.after(":", 0)) {
    name_.StripWhitespace();
    value_.StripWhitespace();
}
