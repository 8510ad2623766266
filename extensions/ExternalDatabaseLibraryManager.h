#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/ExternalDatabaseLibrary.h"

class OxinApplication;

// The database types that the configuration named, by type name. A type's
// library is loaded when a script first opens a database of that type.
class ExternalDatabaseLibraryManager {
  public:
    explicit ExternalDatabaseLibraryManager(OxinApplication* application)
        : application_(application) {}
    ExternalDatabaseLibraryManager(const ExternalDatabaseLibraryManager&) = delete;
    ExternalDatabaseLibraryManager& operator=(const ExternalDatabaseLibraryManager&) = delete;

    // Makes type name that of the library at path, which is not loaded yet;
    // a name registered again takes the new path. False for a null argument.
    bool RegisterDSO(const char* name, const char* path);
    // The table of functions of type (any case), loading its library at the
    // first call; null with the reason in error().
    const _OX_EL_Database* Lookup_DB(const char* type, int length);

    // The registered types in the order of registration; null at the end.
    ExternalDatabaseLibrary* First() { return libraries_.First(); }
    ExternalDatabaseLibrary* Next() { return libraries_.Next(); }

    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }

  private:
    OxinApplication* application_;
    HashTable<ExternalDatabaseLibrary> libraries_{1, 1, 12, 512};
    String error_;
};
