#include "application/Config.h"

#include <cstring>

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
    // Room for every key of the table; its few dozen values need no more
    // buckets than this for short chains.
    ValueTable() : HashTable<ConfigValue>(1, 1, 8, 64) {}

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
    return kConfigKeys;
}

const ConfigKey* Config::Key(int id) {
    for (const ConfigKey* key = kConfigKeys; key->key; key++) {
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
