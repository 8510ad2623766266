#pragma once

#include <cstring>

#include "application/LibraryNames.h"
#include "application/OxinApplication.h"
#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/ExternalLibrary.h"
#include "extensions/ExternalLibraryManager.h"

// The libraries of one kind that the configuration registered under a name
// (a commerce method, a system library's code), each loaded at its first
// use. T has a constructor (name, path), name(), path(), loaded(), a
// Load(ExternalLibrary*) that fails with its text in Get_Error(), and a
// HashTableKey by name. A name registered twice has two entries; the first
// of them is found.
template <class T>
class NamedLibraryManager : public LibraryNames {
  public:
    // A configuration registers a handful of libraries of a kind: a small
    // table serves them.
    explicit NamedLibraryManager(OxinApplication* application)
        : application_(application), libraries_(1, 1, 6, 16) {}
    // A manager for a cloned machine: the libraries of source registered
    // again, in order, so that they start unloaded.
    NamedLibraryManager(OxinApplication* application, NamedLibraryManager& source)
        : NamedLibraryManager(application) {
        for (T* library = source.libraries_.First(); library; library = source.libraries_.Next())
            Register(library->name().c_str(), library->path().c_str());
    }

    const char* First_Name(int* length) override { return Name_Of(libraries_.First(), length); }
    const char* Next_Name(int* length) override { return Name_Of(libraries_.Next(), length); }
    bool Has_Library(const char* name, int length) override {
        return name && libraries_.Find(name, length) != nullptr;
    }

  protected:
    void Register(const char* name, const char* path) {
        libraries_.Insert(new T(name ? name : "", path ? path : ""));
    }
    // Drops the first library registered under name, if any.
    void Unregister(const char* name) {
        if (name) delete libraries_.Remove(name, static_cast<int>(strlen(name)));
    }
    // The library of name, loaded now if it was not; null with the reason in
    // *error: unknown (the text that unknown makes of the name), a library
    // that does not load, or entry points missing.
    T* Find_Loaded(const char* name, int length, String (*unknown)(const String&), String* error) {
        if (length < 0) length = name ? static_cast<int>(strlen(name)) : 0;
        T* library = name ? libraries_.Find(name, length) : nullptr;
        if (!library) {
            *error = unknown(String(name ? name : "", length));
            return nullptr;
        }
        if (library->loaded()) return library;
        ExternalLibraryManager* manager = application_->librarymanager();
        ExternalLibrary* loaded = manager ? manager->Lookup(library->path().c_str()) : nullptr;
        if (!loaded) {
            *error = manager ? manager->error() : String("No library manager");
            return nullptr;
        }
        if (!library->Load(loaded)) {
            *error = library->Get_Error();
            return nullptr;
        }
        return library;
    }

  private:
    static const char* Name_Of(T* library, int* length) {
        if (length) *length = library ? library->name().length() : 0;
        return library ? library->name().c_str() : nullptr;
    }

    OxinApplication* application_;
    HashTable<T> libraries_;
};
