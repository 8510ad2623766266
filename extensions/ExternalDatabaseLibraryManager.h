#pragma once

#include "application/LibraryNames.h"
#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/ExternalDatabaseLibrary.h"

class OxinApplication;

// The database types that the configuration named, by type name. A type's
// library is loaded when a script first opens a database of that type.
class ExternalDatabaseLibraryManager : public LibraryNames {
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
    const char* First_Name(int* length) override { return Name_Of(libraries_.First(), length); }
    const char* Next_Name(int* length) override { return Name_Of(libraries_.Next(), length); }
    bool Has_Library(const char* name, int length) override {
        return name && libraries_.Find(name, length) != nullptr;
    }

    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }

  private:
    static const char* Name_Of(ExternalDatabaseLibrary* library, int* length) {
        if (length) *length = library ? library->name().length() : 0;
        return library ? library->name().c_str() : nullptr;
    }

    OxinApplication* application_;
    HashTable<ExternalDatabaseLibrary> libraries_{1, 1, 12, 512};
    String error_;
};
