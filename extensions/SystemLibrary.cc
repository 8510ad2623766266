#include "extensions/SystemLibrary.h"

#include "extensions/ExternalLibrary.h"

SystemLibrary::SystemLibrary(const char* code, const char* path)
    : code_(code ? code : ""), path_(path ? path : "") {}

bool SystemLibrary::Load(ExternalLibrary* library) {
    library_ = library;
    return true;
}

void* SystemLibrary::Get_Function(const char* symbol) {
    if (!library_) {
        Error(String::Join({"System library '", code_.c_str(), "' is not loaded"}));
        return nullptr;
    }
    void* function = library_->Get_Function(symbol ? symbol : "");
    if (!function) Error(library_->error());
    return function;
}
