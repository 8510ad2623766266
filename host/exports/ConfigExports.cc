// The configuration family of the exported interface: thin faces on
// ExternalConfig for configuration libraries.

#include <cstdlib>
#include <cstring>

#include "extensions/oxin_extension.h"
#include "host/ExternalConfig.h"

extern "C" {

int oxConfig_SetValue(ExternalConfig* config, int id, const char* value, int length, int owned) {
    if (!config_id_is_string(id)) return 1;
    if (length < 0) length = value ? static_cast<int>(strlen(value)) : 0;
    char* copy = new char[length + 1];
    if (length > 0) memcpy(copy, value, length);
    copy[length] = '\0';
    // The library's own string was made with the C allocator.
    if (owned) free(const_cast<char*>(value));
    return config->SetValue(id, copy, length, 1) ? 0 : 1;
}

int oxConfig_SetValue_Integer(ExternalConfig* config, int id, int value) {
    return config->SetValue_Integer(id, value) ? 0 : 1;
}

int oxConfig_Register_Library_Commerce(ExternalConfig* config, const char* name, const char* path) {
    config->Register_Library_Commerce(name, path);
    return 0;
}

int oxConfig_Register_Library_Builtin(ExternalConfig* config, const char* path) {
    config->Register_Library_Builtin(path);
    return 0;
}

int oxConfig_Register_Library_System(ExternalConfig* config, const char* name, const char* path) {
    config->Register_Library_System(name, path);
    return 0;
}

int oxConfig_SetVariable_Global(ExternalConfig* config, const char* name, int name_length,
                                const char* value, int value_length) {
    return config->SetVariable_Global(name, name_length, value, value_length);
}

int oxConfig_SetVariable_System(ExternalConfig* config, const char* name, int name_length,
                                const char* value, int value_length) {
    return config->SetVariable_System(name, name_length, value, value_length);
}

int oxConfig_Set_DefaultErrorSetting(ExternalConfig* config, const char* tag, int tag_length,
                                     int flags) {
    if (tag_length < 0) tag_length = tag ? static_cast<int>(strlen(tag)) : 0;
    config->Set_DefaultErrorSetting(tag, tag_length, flags);
    return 0;
}

}  // extern "C"
