#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"

class ExternalLibrary;

// A shared library that the configuration registered under a code, for
// libraries to share through oxProgram_SystemLibrary; the engine only loads
// it and finds its symbols.
class SystemLibrary {
  public:
    SystemLibrary(const char* code, const char* path);
    SystemLibrary(const SystemLibrary&) = delete;
    SystemLibrary& operator=(const SystemLibrary&) = delete;
    virtual ~SystemLibrary() = default;

    // Keeps the loaded library (not owned); always true.
    virtual bool Load(ExternalLibrary* library);
    // The address of symbol, or null with the reason in error().
    void* Get_Function(const char* symbol);
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }
    const String& Get_Error() const { return error(); }

    const String& name() const { return code_; }
    const String& path() const { return path_; }
    bool loaded() const { return library_ != nullptr; }

  private:
    String code_;
    String path_;
    ExternalLibrary* library_ = nullptr;
    String error_;
};

template <>
struct HashTableKey<SystemLibrary> {
    static const char* Text(const SystemLibrary* library, int* length) {
        *length = library->name().length();
        return library->name().c_str();
    }
};
