#pragma once

#include "application/ConfigKeys.h"
#include "base/HashTable.h"

inline bool config_id_is_integer(int id) {
    return (id & 0x1000000) != 0;
}
inline bool config_id_is_string(int id) {
    return (id & 0x2000000) != 0;
}

// One configuration value. A copy always owns a copy of the string.
struct ConfigValue {
    ConfigValue(int id, int integer);
    // owned: the value deletes string (from new[]) when it goes.
    ConfigValue(int id, const char* string, int length, int owned);
    ConfigValue(const ConfigValue& other);
    ConfigValue& operator=(const ConfigValue&) = delete;
    ~ConfigValue();

    int id;
    char* string = nullptr;
    int string_length = 0;
    int owned = 0;
    int integer = 0;
};

// Settings by numeric id, with built-in defaults behind them. Reading never
// fails: a missing integer is -1, a missing string null with length 0.
class Config {
  public:
    Config();
    virtual ~Config();
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;

    // The integer of an integer id; -1 for a string id or no value.
    virtual int value_integer(int id);
    // The string of a string id, with its length in *length when given;
    // null for an integer id or no value.
    virtual const char* value_string(int id, int* length);
    // Sets a string value (owned: the value takes value, from new[]).
    // Returns 0 and changes nothing for an id that is not a string id.
    virtual int SetValue(int id, const char* value, int length, int owned);
    // Sets an integer value; 0 and no change for a non-integer id.
    virtual int SetValue_Integer(int id, int value);
    // A new value for a missing id, or null. The built-in table here.
    virtual ConfigValue* default_value(int id);

    // The table entry of an id, or null.
    static const ConfigKey* Key(int id);
    // Every known key, ending with an entry whose key is null.
    static const ConfigKey* Keys();

  protected:
    // Finds id, asking default_value on a miss and keeping what it gives.
    ConfigValue* Lookup(int id);
    void Store(ConfigValue* value);

  private:
    class ValueTable;
    ValueTable* values_;
};
