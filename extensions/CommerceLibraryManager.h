#pragma once

#include "base/StringClass.h"
#include "extensions/CommerceLibrary.h"
#include "extensions/NamedLibraryManager.h"

// The commerce libraries of a request, by method name.
class CommerceLibraryManager : public NamedLibraryManager<CommerceLibrary> {
  public:
    explicit CommerceLibraryManager(OxinApplication* application)
        : NamedLibraryManager(application) {}
    // A copy for a cloned machine, whose libraries start unloaded.
    CommerceLibraryManager(OxinApplication* application, CommerceLibraryManager& source)
        : NamedLibraryManager(application, source) {}
    virtual ~CommerceLibraryManager() = default;

    // Registers the library at path for method name; loaded at first use.
    virtual void RegisterDSO(const char* name, const char* path) { Register(name, path); }
    // The loaded library of method name (length -1: up to the NUL), or null
    // with the reason in Get_Error().
    virtual CommerceLibrary* Lookup_Commerce_Library(const char* name, int length);
    virtual void Set_Error(const String& text) { error_ = text; }
    virtual const String& Get_Error() const { return error_; }

  private:
    String error_;
};
