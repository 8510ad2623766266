#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/oxin_extension.h"

class ExternalLibrary;

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
    bool loaded() const { return descriptor_ != nullptr; }
    // Takes the table of functions from library (its oxin_database_library);
    // false with the reason in Get_Error().
    bool Load(ExternalLibrary* library);
    const String& Get_Error() const { return error_; }

  private:
    String name_;
    String path_;
    const _OX_EL_Database* descriptor_ = nullptr;
    String error_;
};

// Database types are found by name, regardless of case.
template <>
struct HashTableKey<ExternalDatabaseLibrary> {
    static const char* Text(const ExternalDatabaseLibrary* library, int* length) {
        *length = library->name().length();
        return library->name().c_str();
    }
};
