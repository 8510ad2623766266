#include "extensions/ExternalDatabaseLibraryManager.h"

#include <cstring>

#include "application/OxinApplication.h"
#include "extensions/ExternalLibrary.h"
#include "extensions/ExternalLibraryManager.h"

bool ExternalDatabaseLibraryManager::RegisterDSO(const char* name, const char* path) {
    if (!name || !path) return false;
    delete libraries_.Remove(name, static_cast<int>(strlen(name)));
    libraries_.Insert(new ExternalDatabaseLibrary(name, path));
    return true;
}

const _OX_EL_Database* ExternalDatabaseLibraryManager::Lookup_DB(const char* type, int length) {
    ExternalDatabaseLibrary* library = libraries_.Find(type, length);
    if (!library) {
        String text("Database type '");
        text.cat(type, length);
        text.cat("' is unsupported or not configured");
        error_ = text;
        return nullptr;
    }
    if (library->descriptor()) return library->descriptor();
    ExternalLibraryManager* manager = application_->librarymanager();
    ExternalLibrary* shared = manager ? manager->Lookup(library->path().c_str()) : nullptr;
    if (!shared) {
        if (manager && manager->error().length() > 0) error_ = manager->error();
        return nullptr;
    }
    using TableFunction = const _OX_EL_Database* (*)();
    auto entry = reinterpret_cast<TableFunction>(shared->Get_Function("oxin_database_library"));
    if (!entry) {
        error_ = shared->error();
        return nullptr;
    }
    const _OX_EL_Database* descriptor = entry();
    if (!descriptor) {
        error_ = String("Unable to retrieve database descriptor table");
        return nullptr;
    }
    library->SetDescriptor(descriptor);
    return descriptor;
}
