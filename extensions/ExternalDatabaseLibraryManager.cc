#include "extensions/ExternalDatabaseLibraryManager.h"

namespace {

String Unknown_Type(const String& type) {
    return String::Join({"Database type '", type.c_str(), "' is unsupported or not configured"});
}

}  // namespace

bool ExternalDatabaseLibraryManager::RegisterDSO(const char* name, const char* path) {
    if (!name || !path) return false;
    Unregister(name);
    Register(name, path);
    return true;
}

const _OX_EL_Database* ExternalDatabaseLibraryManager::Lookup_DB(const char* type, int length) {
    ExternalDatabaseLibrary* library = Find_Loaded(type, length, Unknown_Type, &error_);
    return library ? library->descriptor() : nullptr;
}
