// liboxinconfig.so: the engine's own configuration library. It reads the
// file named by the environment variable OxCONFIG_FILE, or else "oxin.conf"
// beside the library itself, and hands every setting to the engine when the
// engine initialises it. See docs/configuration.md.
//
// Every request loads it, so it is built on the C library alone: no C++
// runtime is linked in or started.

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "config/ConfigFile.h"
#include "extensions/oxin_extension.h"

namespace {

// The file named by OxCONFIG_FILE, or else oxin.conf beside this library;
// null without memory. The caller frees it.
char* configuration_path() {
    const char* named = getenv("OxCONFIG_FILE");
    if (named && *named) return strdup(named);
    Dl_info info;
    const char* library = "";
    if (dladdr(reinterpret_cast<void*>(&configuration_path), &info) && info.dli_fname)
        library = info.dli_fname;
    const char* slash = strrchr(library, '/');
    int directory = slash ? static_cast<int>(slash + 1 - library) : 0;
    // Built by hand: printf's code would be mapped for this alone.
    static const char kName[] = "oxin.conf";
    char* path = static_cast<char*>(malloc(directory + sizeof kName));
    if (!path) return nullptr;
    memcpy(path, library, directory);
    memcpy(path + directory, kName, sizeof kName);
    return path;
}

void register_library(ExternalConfig* config, const ConfigFile::Entry& entry) {
    const char* name = entry.name.data;
    const char* path = entry.value.data;
    switch (entry.library) {
        case ConfigFile::Entry::Builtin:
            oxConfig_Register_Library_Builtin(config, path);
            break;
        case ConfigFile::Entry::Database:
            oxConfig_Register_Library_Database(config, name, path);
            break;
        case ConfigFile::Entry::Commerce:
            oxConfig_Register_Library_Commerce(config, name, path);
            break;
        case ConfigFile::Entry::SystemLibrary:
            oxConfig_Register_Library_System(config, name, path);
            break;
    }
}

void apply(ExternalConfig* config, const ConfigFile::Entry& entry) {
    const ConfigFile::Span& name = entry.name;
    const ConfigFile::Span& value = entry.value;
    switch (entry.kind) {
        case ConfigFile::Entry::Integer:
            oxConfig_SetValue_Integer(config, entry.id, entry.integer);
            break;
        case ConfigFile::Entry::Text:
            oxConfig_SetValue(config, entry.id, value.data, value.length, 0);
            break;
        case ConfigFile::Entry::System:
            oxConfig_SetVariable_System(config, name.data, name.length, value.data, value.length);
            break;
        case ConfigFile::Entry::Global:
            oxConfig_SetVariable_Global(config, name.data, name.length, value.data, value.length);
            break;
        case ConfigFile::Entry::Error:
            oxConfig_Set_DefaultErrorSetting(config, name.data, name.length, entry.integer);
            break;
        case ConfigFile::Entry::Library:
            register_library(config, entry);
            break;
    }
}

// The library keeps between the engine's calls only the text of its
// failure, in *data.
int init(ExternalConfig* config, void** data, int, void*, int) {
    *data = nullptr;
    char* path = configuration_path();
    ConfigFile file;
    bool read = path && file.Read(path);
    free(path);
    if (!read) {
        *data = file.error() ? strdup(file.error()) : nullptr;
        return 1;
    }
    for (int i = 0; i < file.count(); i++)
        apply(config, file.entries()[i]);
    return 0;
}

const char* error(ExternalConfig*, void** data) {
    return static_cast<const char*>(*data);
}

void cleanup(ExternalConfig*, void** data) {
    free(*data);
    *data = nullptr;
}

const OxConfigLibrary kTable = {2, init, nullptr, nullptr, nullptr, error, cleanup, nullptr};

}  // namespace

extern "C" __attribute__((visibility("default"))) const OxConfigLibrary* oxin_config_library() {
    return &kTable;
}
