#pragma once

#include "base/HashTable.h"

// Value ids: bit 24 marks an integer value, bit 25 a string value.
enum ConfigId : int {
    kConfigLogLevel = 0x1000005,
    kConfigTimeoutGlobal = 0x1000007,
    kConfigTimeoutMail = 0x1000008,
    kConfigTimeoutCall = 0x1000009,
    kConfigTimeoutFile = 0x100000a,
    kConfigDelayFile = 0x100000b,
    kConfigCookies = 0x100000c,
    kConfigBufszImport = 0x100000d,
    kConfigBufszTemplate = 0x100000e,
    kConfigBufszCall = 0x100000f,
    kConfigBufszSmtp = 0x1000010,
    kConfigBufszContent = 0x1000011,
    kConfigBufszOutput = 0x1000012,
    kConfigMaxFiles = 0x1000013,
    kConfigLockExpiration = 0x1000014,
    kConfigFlagsSecurity = 0x1000018,
    kConfigBufszOutputFlush = 0x100001d,
    kConfigMaxDocache = 0x1000021,
    kConfigTimeoutPost = 0x1000026,
    kConfigMaxPostVars = 0x1000027,
    kConfigMaxUnknownContentLength = 0x1000028,
    kConfigSslSni = 0x1000029,
    kConfigMaxAsyncTasks = 0x1000030,
    kConfigTimeoutAsync = 0x1000031,
    kConfigTimeoutAsyncSleep = 0x1000032,
    kConfigDirOxin = 0x2000001,
    kConfigDirCommerce = 0x2000002,
    kConfigDirTemp = 0x2000003,
    kConfigDirData = 0x2000004,
    kConfigLogFile = 0x2000006,
    kConfigLockHostname = 0x2000015,
    kConfigDirCa = 0x2000016,
    kConfigDefaultFile = 0x2000017,
    kConfigDirUser = 0x2000019,
    kConfigInfoServeradmin = 0x200001a,
    kConfigSslOpenssl = 0x200001b,
    kConfigSslCrypto = 0x200001c,
    kConfigSslConfig = 0x200001d,
    kConfigDirBuiltin = 0x200001e,
    kConfigLogFilter = 0x2000025,
    kConfigLogCookie = 0x2000028,
    kConfigFileCa = 0x2000033,
};

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

// The name, type and built-in default of every known value id.
struct ConfigKey {
    int id;
    const char* key;
    int integer_default;
    const char* string_default;  // null: no default string
    bool has_default;
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
