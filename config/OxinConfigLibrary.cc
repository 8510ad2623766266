// liboxinconfig.so: the engine's own configuration library. It reads the
// file named by the environment variable OxCONFIG_FILE, or else "oxin.conf"
// beside the library itself, and hands every setting to the engine when the
// engine initialises it. See docs/configuration.md.

#include <dlfcn.h>

#include <cstdlib>
#include <string>

#include "config/ConfigFile.h"
#include "extensions/oxin_extension.h"

namespace {

// What the library keeps between the engine's calls.
struct State {
    std::string error;
};

std::string configuration_path() {
    if (const char* path = getenv("OxCONFIG_FILE"); path && *path) return path;
    Dl_info info;
    std::string library;
    if (dladdr(reinterpret_cast<void*>(&configuration_path), &info) && info.dli_fname)
        library = info.dli_fname;
    size_t slash = library.rfind('/');
    return (slash == std::string::npos ? std::string() : library.substr(0, slash + 1)) +
           "oxin.conf";
}

void apply(ExternalConfig* config, const ConfigFile::Entry& entry) {
    const char* name = entry.name.c_str();
    int name_length = static_cast<int>(entry.name.size());
    const char* value = entry.value.c_str();
    int value_length = static_cast<int>(entry.value.size());
    switch (entry.kind) {
        case ConfigFile::Entry::Integer:
            oxConfig_SetValue_Integer(config, entry.id, entry.integer);
            break;
        case ConfigFile::Entry::Text:
            oxConfig_SetValue(config, entry.id, value, value_length, 0);
            break;
        case ConfigFile::Entry::System:
            oxConfig_SetVariable_System(config, name, name_length, value, value_length);
            break;
        case ConfigFile::Entry::Global:
            oxConfig_SetVariable_Global(config, name, name_length, value, value_length);
            break;
        case ConfigFile::Entry::Error:
            oxConfig_Set_DefaultErrorSetting(config, name, name_length, entry.integer);
            break;
        case ConfigFile::Entry::Library:
            if (entry.kind_name == "builtin") {
                oxConfig_Register_Library_Builtin(config, value);
            } else if (entry.kind_name == "database") {
                oxConfig_Register_Library_Database(config, name, value);
            } else if (entry.kind_name == "commerce") {
                oxConfig_Register_Library_Commerce(config, name, value);
            } else {
                oxConfig_Register_Library_System(config, name, value);
            }
            break;
    }
}

int init(ExternalConfig* config, void** data, int, void*, int) {
    auto* state = new State;
    *data = state;
    ConfigFile file;
    if (!file.Read(configuration_path())) {
        state->error = file.error();
        return 1;
    }
    for (const ConfigFile::Entry& entry : file.entries())
        apply(config, entry);
    return 0;
}

const char* error(ExternalConfig*, void** data) {
    auto* state = static_cast<State*>(*data);
    return state && !state->error.empty() ? state->error.c_str() : nullptr;
}

void cleanup(ExternalConfig*, void** data) {
    delete static_cast<State*>(*data);
    *data = nullptr;
}

const OxConfigLibrary kTable = {2, init, nullptr, nullptr, nullptr, error, cleanup, nullptr};

}  // namespace

extern "C" __attribute__((visibility("default"))) const OxConfigLibrary* oxin_config_library() {
    return &kTable;
}
