#include "extensions/ExternalCallManager.h"

#include <strings.h>

#include <cstring>

#include "application/OxinApplication.h"
#include "extensions/ExternalLibraryManager.h"

ExternalCallPersistentData::ExternalCallPersistentData(OxinVM* vm, const char* name, int length,
                                                       void* data, Cleanup cleanup)
    : vm(vm), name(name, length), data(data), cleanup(cleanup) {}

ExternalCallPersistentData::~ExternalCallPersistentData() {
    if (cleanup) {
        cleanup(vm, data);
    } else {
        delete[] static_cast<char*>(data);
    }
}

ExternalCallManager::ExternalCallManager(OxinApplication* application)
    : application_(application) {}

ExternalCallManager::ExternalCallManager(OxinApplication* application,
                                         const ExternalCallManager& source)
    : application_(application) {
    for (const Library& library : source.libraries_)
        RegisterDSO(library.library->name().c_str());
}

ExternalCallManager::~ExternalCallManager() {
    for (ExternalCall* call : calls_)
        delete call;
    for (ExternalCallPersistentData* data : persistent_)
        delete data;
}

bool ExternalCallManager::RegisterDSO(const char* path) {
    ExternalLibraryManager* manager = application_->librarymanager();
    ExternalLibrary* library = manager ? manager->Lookup(path) : nullptr;
    if (!library) {
        error_ = manager ? manager->error() : String("No library manager");
        return false;
    }
    using TableFunction = const OxFunctionTable* (*)();
    auto entry = reinterpret_cast<TableFunction>(library->Get_Function("oxin_function_table"));
    if (!entry) {
        error_ = library->error();
        return false;
    }
    const OxFunctionTable* table = entry();
    if (!table) {
        error_ = String("Unable to retrieve function descriptor table");
        return false;
    }
    libraries_.push_back({library, table->functions});
    return true;
}

ExternalCall* ExternalCallManager::Lookup_External(const char* name, int length) {
    if (length < 0) length = static_cast<int>(strlen(name));
    for (ExternalCall* call : calls_) {
        if (call->name_length() == length && strncasecmp(call->name(), name, length) == 0)
            return call;
    }
    for (const Library& library : libraries_) {
        for (const _OX_EL_Function* f = library.functions; f && f->name; f++) {
            if (f->name_length == length && strncasecmp(f->name, name, length) == 0) {
                calls_.push_back(new ExternalCall(f));
                return calls_.back();
            }
        }
    }
    return nullptr;
}

void* ExternalCallManager::Lookup_Persistent(const char* name, int length) {
    if (length < 0) length = static_cast<int>(strlen(name));
    for (ExternalCallPersistentData* data : persistent_) {
        if (data->name.length() == length && memcmp(data->name.c_str(), name, length) == 0)
            return data->data;
    }
    return nullptr;
}

void ExternalCallManager::Register_Persistent(OxinVM* vm, const char* name, int length, void* data,
                                              ExternalCallPersistentData::Cleanup cleanup) {
    if (length < 0) length = static_cast<int>(strlen(name));
    for (size_t i = 0; i < persistent_.size(); i++) {
        ExternalCallPersistentData* old = persistent_[i];
        if (old->name.length() == length && memcmp(old->name.c_str(), name, length) == 0) {
            delete old;
            persistent_.erase(persistent_.begin() + static_cast<long>(i));
            break;
        }
    }
    persistent_.push_back(new ExternalCallPersistentData(vm, name, length, data, cleanup));
}
