#include "host/Config.h"

#include <cstring>

namespace {

const ConfigKey kKeys[] = {
    {kConfigLogLevel, "log_level", 0, nullptr, true},
    {kConfigTimeoutGlobal, "timeout_global", 90, nullptr, true},
    {kConfigTimeoutMail, "timeout_mail", 30, nullptr, true},
    {kConfigTimeoutCall, "timeout_call", 30, nullptr, true},
    {kConfigTimeoutFile, "timeout_file", 30, nullptr, true},
    {kConfigDelayFile, "delay_file", 100, nullptr, true},
    {kConfigCookies, "cookies", 1, nullptr, true},
    {kConfigBufszImport, "bufsz_import", 8192, nullptr, true},
    {kConfigBufszTemplate, "bufsz_template", 8192, nullptr, true},
    {kConfigBufszCall, "bufsz_call", 8192, nullptr, true},
    {kConfigBufszSmtp, "bufsz_smtp", 8192, nullptr, true},
    {kConfigBufszContent, "bufsz_content", 8192, nullptr, true},
    {kConfigBufszOutput, "bufsz_output", 8192, nullptr, true},
    {kConfigMaxFiles, "max_files", 0, nullptr, true},
    {kConfigLockExpiration, "lock_expiration", 90, nullptr, true},
    {kConfigFlagsSecurity, "flags_security", 0, nullptr, true},
    {kConfigBufszOutputFlush, "bufsz_output_flush", 0x100000, nullptr, true},
    {kConfigMaxDocache, "max_docache", 0, nullptr, true},
    {kConfigTimeoutPost, "timeout_post", 30, nullptr, true},
    {kConfigMaxPostVars, "max_post_vars", 2000, nullptr, true},
    {kConfigMaxUnknownContentLength, "max_unknown_content_length", 0x100000, nullptr, true},
    {kConfigSslSni, "ssl_sni", -1, nullptr, true},
    {kConfigMaxAsyncTasks, "max_async_tasks", 0, nullptr, true},
    {kConfigTimeoutAsync, "timeout_async", 3600, nullptr, true},
    {kConfigTimeoutAsyncSleep, "timeout_async_sleep", 86400, nullptr, true},
    {kConfigDirOxin, "dir_oxin", 0, nullptr, false},
    {kConfigDirCommerce, "dir_commerce", 0, nullptr, false},
    {kConfigDirTemp, "dir_temp", 0, nullptr, false},
    {kConfigDirData, "dir_data", 0, nullptr, false},
    {kConfigLogFile, "log_file", 0, nullptr, false},
    {kConfigLockHostname, "lock_hostname", 0, nullptr, false},
    {kConfigDirCa, "dir_ca", 0, nullptr, false},
    {kConfigDefaultFile, "default_file", 0, "index.oxc", true},
    {kConfigDirUser, "dir_user", 0, "public_qtx", true},
    {kConfigInfoServeradmin, "info_serveradmin", 0, "webmaster@localhost", true},
    {kConfigSslOpenssl, "ssl_openssl", 0, "libssl.so", true},
    {kConfigSslCrypto, "ssl_crypto", 0, "libcrypto.so", true},
    {kConfigSslConfig, "ssl_config", 0, nullptr, false},
    {kConfigDirBuiltin, "dir_builtin", 0, nullptr, false},
    {kConfigLogFilter, "log_filter", 0, nullptr, false},
    {kConfigLogCookie, "log_cookie", 0, nullptr, false},
    {kConfigFileCa, "file_ca", 0, nullptr, false},
    {0, nullptr, 0, nullptr, false},
};

}  // namespace

ConfigValue::ConfigValue(int id, int integer) : id(id), integer(integer) {}

ConfigValue::ConfigValue(int id, const char* string, int length, int owned)
    : id(id), string(const_cast<char*>(string)), string_length(length), owned(owned) {}

ConfigValue::ConfigValue(const ConfigValue& other)
    : id(other.id), string_length(other.string_length), owned(1), integer(other.integer) {
    if (other.string) {
        string = new char[string_length + 1];
        memcpy(string, other.string, string_length);
        string[string_length] = 0;
    }
}

ConfigValue::~ConfigValue() {
    if (owned) delete[] string;
}

// Values keyed by the four bytes of their id: hashed as text, ordered in a
// chain as signed integers.
class Config::ValueTable : public HashTable<ConfigValue> {
  public:
    ValueTable() : HashTable<ConfigValue>(1, 1, 12, 512) {}

    unsigned hash(ConfigValue* value) override {
        char key[4];
        return HashTable<ConfigValue>::hash(key_of(value->id, key), 4);
    }
    int Compare(ConfigValue* a, ConfigValue* b) override { return order(a->id, b->id); }
    int Compare(ConfigValue* value, const char* key, int) override {
        int id;
        memcpy(&id, key, 4);
        return order(value->id, id);
    }

    ConfigValue* Find(int id) {
        char key[4];
        return HashTable<ConfigValue>::Find(key_of(id, key), 4);
    }
    ConfigValue* Remove(int id) {
        char key[4];
        return HashTable<ConfigValue>::Remove(key_of(id, key), 4);
    }

  private:
    static const char* key_of(int id, char* key) {
        memcpy(key, &id, 4);
        return key;
    }
    static int order(int a, int b) { return a < b ? -1 : a > b ? 1 : 0; }
};

Config::Config() : values_(new ValueTable) {}

Config::~Config() {
    delete values_;
}

const ConfigKey* Config::Keys() {
    return kKeys;
}

const ConfigKey* Config::Key(int id) {
    for (const ConfigKey* key = kKeys; key->key; key++) {
        if (key->id == id) return key;
    }
    return nullptr;
}

ConfigValue* Config::default_value(int id) {
    const ConfigKey* key = Key(id);
    if (!key || !key->has_default) return nullptr;
    if (config_id_is_integer(id)) return new ConfigValue(id, key->integer_default);
    return new ConfigValue(id, key->string_default, static_cast<int>(strlen(key->string_default)),
                           0);
}

ConfigValue* Config::Lookup(int id) {
    if (ConfigValue* value = values_->Find(id)) return value;
    ConfigValue* value = default_value(id);
    if (value) values_->Insert(value);
    return value;
}

void Config::Store(ConfigValue* value) {
    delete values_->Remove(value->id);
    values_->Insert(value);
}

int Config::value_integer(int id) {
    if (!config_id_is_integer(id)) return -1;
    ConfigValue* value = Lookup(id);
    return value ? value->integer : -1;
}

const char* Config::value_string(int id, int* length) {
    ConfigValue* value = config_id_is_string(id) ? Lookup(id) : nullptr;
    if (length) *length = value ? value->string_length : 0;
    return value ? value->string : nullptr;
}

int Config::SetValue(int id, const char* value, int length, int owned) {
    if (!config_id_is_string(id)) {
        if (owned) delete[] value;
        return 0;
    }
    if (value && length < 0) length = static_cast<int>(strlen(value));
    Store(new ConfigValue(id, value, value ? length : 0, owned));
    return 1;
}

int Config::SetValue_Integer(int id, int value) {
    if (!config_id_is_integer(id)) return 0;
    Store(new ConfigValue(id, value));
    return 1;
}
