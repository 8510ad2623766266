#include "extensions/ExternalDatabaseLibrary.h"

#include "extensions/ExternalLibrary.h"

bool ExternalDatabaseLibrary::Load(ExternalLibrary* library) {
    using TableFunction = const _OX_EL_Database* (*)();
    auto entry = reinterpret_cast<TableFunction>(library->Get_Function("oxin_database_library"));
    if (!entry) {
        error_ = library->error();
        return false;
    }
    descriptor_ = entry();
    if (!descriptor_) {
        error_ = String("Unable to retrieve database descriptor table");
        return false;
    }
    return true;
}
