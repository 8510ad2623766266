#include "extensions/UNIXExternalLibrary.h"

#include <dlfcn.h>

UNIXExternalLibrary::~UNIXExternalLibrary() {
    if (handle_) dlclose(handle_);
}

bool UNIXExternalLibrary::Load(const char* path) {
    handle_ = dlopen(path, RTLD_LAZY);
    if (handle_) return true;
    const char* text = dlerror();
    Error(String(text ? text : "Unable to load library"));
    return false;
}

void* UNIXExternalLibrary::Get_Function(const char* symbol) {
    void* address = handle_ ? dlsym(handle_, symbol) : nullptr;
    if (!address) {
        String text("Unknown symbol '");
        text.cat(symbol);
        text.cat('\'');
        Error(text);
    }
    return address;
}
