#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"

// One header line of a fetched message: its name and its value.
class POP3Header {
  public:
    POP3Header(const char* name, int name_length, const char* value, int value_length)
        : name_(name, name_length), value_(value, value_length) {}

    const String& name() const { return name_; }
    const String& value() const { return value_; }

  private:
    String name_;
    String value_;
};

// Headers are found by name, regardless of case.
template <>
struct HashTableKey<POP3Header> {
    static const char* Text(const POP3Header* header, int* length) {
        *length = header->name().length();
        return header->name().c_str();
    }
};
