// The system library family of the exported interface: how a library
// reaches another that the configuration registered by code.

#include "extensions/SystemLibrary.h"
#include "extensions/SystemLibraryManager.h"
#include "extensions/oxin_extension.h"
#include "runtime/OxinVM.h"

namespace {

const char* Text(const String& text, int* length) {
    if (length) *length = text.length();
    return text.c_str();
}

}  // namespace

extern "C" {

SystemLibrary* oxProgram_SystemLibrary(OxinVM* vm, const char* code) {
    SystemLibraryManager* manager = vm ? vm->systemlibraries() : nullptr;
    return manager ? manager->Lookup_System_Library(code, -1) : nullptr;
}

void* oxSystemLibrary_GetFunction(SystemLibrary* library, const char* symbol) {
    return library ? library->Get_Function(symbol) : nullptr;
}

const char* oxSystemLibrary_Error(OxinVM* vm, SystemLibrary* library, int* length) {
    if (library) return Text(library->error(), length);
    SystemLibraryManager* manager = vm ? vm->systemlibraries() : nullptr;
    if (manager) return Text(manager->error(), length);
    if (length) *length = 0;
    return "";
}

}  // extern "C"
