#pragma once

#include "base/StringClass.h"
#include "extensions/ExternalDatabaseLibrary.h"
#include "extensions/NamedLibraryManager.h"

// The database types that the configuration named, by type name. A type's
// library is loaded when a script first opens a database of that type.
class ExternalDatabaseLibraryManager : public NamedLibraryManager<ExternalDatabaseLibrary> {
  public:
    explicit ExternalDatabaseLibraryManager(OxinApplication* application)
        : NamedLibraryManager(application) {}
    ExternalDatabaseLibraryManager(const ExternalDatabaseLibraryManager&) = delete;
    ExternalDatabaseLibraryManager& operator=(const ExternalDatabaseLibraryManager&) = delete;

    // Makes type name that of the library at path, which is not loaded yet;
    // a name registered again takes the new path. False for a null argument.
    bool RegisterDSO(const char* name, const char* path);
    // The table of functions of type (any case), loading its library at the
    // first call; null with the reason in error().
    const _OX_EL_Database* Lookup_DB(const char* type, int length);

    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }

  private:
    String error_;
};
