#include "extensions/ExternalLibraryManager.h"

#include <cstring>

ExternalLibrary* ExternalLibraryManager::Lookup(const char* path) {
    ExternalLibrary* library = libraries_.Find(path, static_cast<int>(strlen(path)));
    if (library) return library;
    library = Load(path);
    if (library) libraries_.Insert(library);
    return library;
}
