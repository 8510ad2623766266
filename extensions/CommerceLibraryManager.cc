#include "extensions/CommerceLibraryManager.h"

namespace {

String Unsupported(const String& name) {
    return String::Join({"Commerce method '", name.c_str(), "' is unsupported or not configured"});
}

}  // namespace

CommerceLibrary* CommerceLibraryManager::Lookup_Commerce_Library(const char* name, int length) {
    return Find_Loaded(name, length, Unsupported, &error_);
}
