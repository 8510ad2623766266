#include "extensions/UNIXExternalLibraryManager.h"

#include "extensions/UNIXExternalLibrary.h"

ExternalLibrary* UNIXExternalLibraryManager::Load(const char* path) {
    auto* library = new UNIXExternalLibrary(path);
    if (library->Load(path)) return library;
    Error(library->error());
    delete library;
    return nullptr;
}
