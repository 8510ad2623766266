#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/oxin_extension.h"

// A database type that a shared library supplies: the type's name, the
// library's path, and the library's table of functions once it is loaded.
class ExternalDatabaseLibrary {
  public:
    ExternalDatabaseLibrary(const char* name, const char* path) : name_(name), path_(path) {}
    ExternalDatabaseLibrary(const ExternalDatabaseLibrary&) = delete;
    ExternalDatabaseLibrary& operator=(const ExternalDatabaseLibrary&) = delete;

    const String& name() const { return name_; }
    const String& path() const { return path_; }
    // Null until the library is loaded; then kept for the process's life.
    const _OX_EL_Database* descriptor() const { return descriptor_; }
    void SetDescriptor(const _OX_EL_Database* descriptor) { descriptor_ = descriptor; }

  private:
    String name_;
    String path_;
    const _OX_EL_Database* descriptor_ = nullptr;
};

// Database types are found by name, regardless of case.
template <>
struct HashTableKey<ExternalDatabaseLibrary> {
    static const char* Text(const ExternalDatabaseLibrary* library, int* length) {
        *length = library->name().length();
        return library->name().c_str();
    }
};
