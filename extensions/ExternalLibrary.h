#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"

// A shared library loaded into the process, by which configuration,
// function, database and commerce libraries reach the engine.
class ExternalLibrary {
  public:
    explicit ExternalLibrary(const char* path) : name_(path) {}
    ExternalLibrary(const ExternalLibrary&) = delete;
    ExternalLibrary& operator=(const ExternalLibrary&) = delete;
    virtual ~ExternalLibrary() = default;

    // Loads the library; false with the loader's text in error().
    virtual bool Load(const char* path) = 0;
    // The address of symbol, or null with "Unknown symbol '<symbol>'".
    virtual void* Get_Function(const char* symbol) = 0;
    virtual const String& name() const { return name_; }
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }

  private:
    String name_;
    String error_;
};

template <>
struct HashTableKey<ExternalLibrary> {
    static const char* Text(const ExternalLibrary* library, int* length) {
        *length = library->name().length();
        return library->name().c_str();
    }
};
