#include "extensions/CommerceLibrary.h"

#include "extensions/ExternalLibrary.h"

namespace {

constexpr const char* kLoadFailure = "Unable to load commerce library descriptor table/functions";

}  // namespace

CommerceLibrary::CommerceLibrary(const char* name, const char* path)
    : name_(name ? name : ""), path_(path ? path : "") {}

int CommerceLibrary::Init(OxinVM* vm, void** data, const char* method, const char* action,
                          VariableList* fields, VariableHash* variables) {
    return init_(vm, data, method, action, fields, variables);
}

int CommerceLibrary::Loop(OxinVM* vm, void** data, const char* method, const char* action,
                          VariableList* fields, VariableHash* variables, int index) {
    return loop_(vm, data, method, action, fields, variables, index);
}

void CommerceLibrary::Clean(OxinVM* vm, void** data, const char* method, const char* action,
                            VariableList* fields) {
    cleanup_(vm, data, method, action, fields);
}

const char* CommerceLibrary::Error(OxinVM* vm, void** data, const char* method, const char* action,
                                   VariableList* fields) {
    const char* text = error_entry_(vm, data, method, action, fields);
    return text ? text : "";
}

bool CommerceLibrary::Load(ExternalLibrary* library) {
    if (library->Get_Function("oxin_commerce_library") ? Load_Table(library)
                                                       : Load_Functions(library)) {
        loaded_ = true;
        return true;
    }
    Set_Error(String(kLoadFailure));
    return false;
}

// A table with a null entry is refused like a missing table: the calls
// above would otherwise jump to address 0 in the middle of a script.
bool CommerceLibrary::Load_Table(ExternalLibrary* library) {
    using TableFunction = const OxCommerceLibrary* (*)();
    auto entry = reinterpret_cast<TableFunction>(library->Get_Function("oxin_commerce_library"));
    const OxCommerceLibrary* table = entry();
    if (!table || !table->init || !table->loop || !table->cleanup || !table->error) return false;
    init_ = table->init;
    loop_ = table->loop;
    cleanup_ = table->cleanup;
    error_entry_ = table->error;
    return true;
}

bool CommerceLibrary::Load_Functions(ExternalLibrary* library) {
    init_ = reinterpret_cast<OxCommerceInit>(library->Get_Function("oxin_commerce_init"));
    if (init_)
        loop_ = reinterpret_cast<OxCommerceLoop>(library->Get_Function("oxin_commerce_loop"));
    if (loop_)
        cleanup_ =
            reinterpret_cast<OxCommerceCleanup>(library->Get_Function("oxin_commerce_cleanup"));
    if (cleanup_)
        error_entry_ =
            reinterpret_cast<OxCommerceError>(library->Get_Function("oxin_commerce_error"));
    return error_entry_ != nullptr;
}
