#pragma once

#include "base/StringClass.h"
#include "extensions/NamedLibraryManager.h"
#include "extensions/SystemLibrary.h"

// The system libraries of a request, by code.
class SystemLibraryManager : public NamedLibraryManager<SystemLibrary> {
  public:
    explicit SystemLibraryManager(OxinApplication* application)
        : NamedLibraryManager(application) {}
    // A copy for a cloned machine, whose libraries start unloaded.
    SystemLibraryManager(OxinApplication* application, SystemLibraryManager& source)
        : NamedLibraryManager(application, source) {}
    virtual ~SystemLibraryManager() = default;

    // Registers the library at path under code; loaded at first use.
    virtual void RegisterDSO(const char* code, const char* path) { Register(code, path); }
    // The loaded library of code (length -1: up to the NUL), or null with
    // the reason in error().
    virtual SystemLibrary* Lookup_System_Library(const char* code, int length);
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }

  private:
    String error_;
};
