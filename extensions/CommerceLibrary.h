#pragma once

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "extensions/oxin_extension.h"

class ExternalLibrary;

// A commerce library registered under a method name: the four entry points
// that drive an OxCOMMERCE loop, taken from the shared library at its first
// use. The calls hand their arguments on to the entry point unchanged.
class CommerceLibrary {
  public:
    CommerceLibrary(const char* name, const char* path);
    CommerceLibrary(const CommerceLibrary&) = delete;
    CommerceLibrary& operator=(const CommerceLibrary&) = delete;
    virtual ~CommerceLibrary() = default;

    // The entry points of a loaded library; see oxin_extension.h.
    virtual int Init(OxinVM* vm, void** data, const char* method, const char* action,
                     VariableList* fields, VariableHash* variables);
    virtual int Loop(OxinVM* vm, void** data, const char* method, const char* action,
                     VariableList* fields, VariableHash* variables, int index);
    virtual void Clean(OxinVM* vm, void** data, const char* method, const char* action,
                       VariableList* fields);
    // The library's text of its last failure; never null.
    virtual const char* Error(OxinVM* vm, void** data, const char* method, const char* action,
                              VariableList* fields);
    virtual const String& Get_Error() const { return error_; }
    virtual void Set_Error(const String& text) { error_ = text; }
    // Takes the entry points from library: its descriptor table, or else the
    // four exported functions. False, with "Unable to load commerce library
    // descriptor table/functions", when they are not all there.
    virtual bool Load(ExternalLibrary* library);

    const String& name() const { return name_; }
    const String& path() const { return path_; }
    bool loaded() const { return loaded_; }

  private:
    bool Load_Table(ExternalLibrary* library);
    bool Load_Functions(ExternalLibrary* library);

    String name_;
    String path_;
    String error_;
    bool loaded_ = false;
    OxCommerceInit init_ = nullptr;
    OxCommerceLoop loop_ = nullptr;
    OxCommerceCleanup cleanup_ = nullptr;
    OxCommerceError error_entry_ = nullptr;
};

template <>
struct HashTableKey<CommerceLibrary> {
    static const char* Text(const CommerceLibrary* library, int* length) {
        *length = library->name().length();
        return library->name().c_str();
    }
};
