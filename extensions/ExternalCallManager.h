#pragma once

#include <string>
#include <vector>

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/ExternalCall.h"

class ExternalLibrary;
class OxinApplication;

// Data that a library keeps for as long as the machines of a request live,
// by name; its cleanup runs when it goes.
struct ExternalCallPersistentData {
    using Cleanup = void (*)(OxinVM* vm, void* data);
    ExternalCallPersistentData(OxinVM* vm, const char* name, int length, void* data,
                               Cleanup cleanup);
    ~ExternalCallPersistentData();

    OxinVM* vm;
    String name;
    void* data;
    Cleanup cleanup;
};

// The function libraries of a request, in the order of their registration,
// and the functions resolved from them.
class ExternalCallManager {
  public:
    explicit ExternalCallManager(OxinApplication* application);
    // A manager for a cloned machine: the libraries of source are
    // registered again, in order and by name; functions resolve anew and
    // persistent data is not copied.
    ExternalCallManager(OxinApplication* application, const ExternalCallManager& source);
    ExternalCallManager(const ExternalCallManager&) = delete;
    ExternalCallManager& operator=(const ExternalCallManager&) = delete;
    virtual ~ExternalCallManager();

    // Loads the library at path and takes its function table; false with
    // the reason in error().
    virtual bool RegisterDSO(const char* path);
    // The function of the name (compared without regard to case) from the
    // first library that has it, or null.
    virtual ExternalCall* Lookup_External(const char* name, int length);
    virtual void* Lookup_Persistent(const char* name, int length);
    // Replaces (and cleans up) data of the same name.
    virtual void Register_Persistent(OxinVM* vm, const char* name, int length, void* data,
                                     ExternalCallPersistentData::Cleanup cleanup);
    virtual void Error(const String& text) { error_ = text; }
    virtual const String& error() const { return error_; }

  private:
    struct Library {
        ExternalLibrary* library;
        const _OX_EL_Function* functions;
    };

    OxinApplication* application_;
    std::vector<ExternalCall*> calls_;
    std::vector<Library> libraries_;
    std::vector<ExternalCallPersistentData*> persistent_;
    String error_;
};
