#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/ExternalLibrary.h"

// The libraries of the process, each loaded once and kept, by path.
class ExternalLibraryManager {
  public:
    // A request loads a handful of libraries: a small table serves them.
    ExternalLibraryManager() : libraries_(1, 0, 6, 16) {}
    ExternalLibraryManager(const ExternalLibraryManager&) = delete;
    ExternalLibraryManager& operator=(const ExternalLibraryManager&) = delete;
    virtual ~ExternalLibraryManager() = default;

    // The library of path, loaded at the first request; null with the
    // loader's text in error().
    virtual ExternalLibrary* Lookup(const char* path);
    // A new loaded library (not kept), or null.
    virtual ExternalLibrary* Load(const char* path) = 0;
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }

  private:
    HashTable<ExternalLibrary> libraries_;
    String error_;
};
