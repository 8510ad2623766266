#include "extensions/SystemLibraryManager.h"

namespace {

String Unconfigured(const String& code) {
    return String::Join({"System library '", code.c_str(), "' is not configured"});
}

}  // namespace

SystemLibrary* SystemLibraryManager::Lookup_System_Library(const char* code, int length) {
    return Find_Loaded(code, length, Unconfigured, &error_);
}
