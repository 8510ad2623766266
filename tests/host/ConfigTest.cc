#include <gtest/gtest.h>

#include <cstring>

#include "application/Config.h"

namespace {

// A library-like override that answers some ids itself.
class AnsweringConfig : public Config {
  public:
    int asked = 0;
    ConfigValue* default_value(int id) override {
        asked++;
        if (id == kConfigMaxFiles) return new ConfigValue(id, 7);
        return Config::default_value(id);
    }
};

TEST(ConfigTest, BuiltInDefaultsAndSettingsByType) {
    Config config;
    EXPECT_EQ(config.value_integer(kConfigTimeoutGlobal), 90);
    EXPECT_EQ(config.value_integer(kConfigMaxPostVars), 2000);
    EXPECT_EQ(config.value_integer(kConfigBufszOutputFlush), 0x100000);
    EXPECT_EQ(config.value_integer(kConfigSslSni), -1);
    int length = -1;
    EXPECT_STREQ(config.value_string(kConfigDefaultFile, &length), "index.oxc");
    EXPECT_EQ(length, 9);
    EXPECT_STREQ(config.value_string(kConfigDirUser, nullptr), "public_qtx");
    EXPECT_EQ(config.value_string(kConfigDirData, &length), nullptr);
    EXPECT_EQ(length, 0);
    // The wrong type is never a value.
    EXPECT_EQ(config.value_integer(kConfigDefaultFile), -1);
    EXPECT_EQ(config.value_string(kConfigTimeoutGlobal, &length), nullptr);
    EXPECT_EQ(config.value_integer(0x1000001), -1);  // unknown integer id

    // Setting a value checks the id's type.
    EXPECT_EQ(config.SetValue(kConfigTimeoutGlobal, "5", 1, 0), 0);
    EXPECT_EQ(config.value_integer(kConfigTimeoutGlobal), 90);
    EXPECT_EQ(config.SetValue_Integer(kConfigDirData, 5), 0);
    EXPECT_EQ(config.SetValue_Integer(kConfigTimeoutGlobal, 5), 1);
    EXPECT_EQ(config.value_integer(kConfigTimeoutGlobal), 5);
    char* owned = new char[5];
    memcpy(owned, "/srv", 5);
    EXPECT_EQ(config.SetValue(kConfigDirData, owned, 4, 1), 1);
    EXPECT_STREQ(config.value_string(kConfigDirData, nullptr), "/srv");
    EXPECT_EQ(config.SetValue(kConfigDirData, "/data", -1, 0), 1);  // replaces, frees the old
    EXPECT_STREQ(config.value_string(kConfigDirData, &length), "/data");
    EXPECT_EQ(length, 5);
    // An owned text passes even when refused.
    EXPECT_EQ(config.SetValue(kConfigMaxFiles, new char[3]{'1', '2', 0}, 2, 1), 0);
}

TEST(ConfigTest, DefaultsAreAskedOnceAndCached) {
    AnsweringConfig config;
    EXPECT_EQ(config.value_integer(kConfigMaxFiles), 7);
    EXPECT_EQ(config.value_integer(kConfigMaxFiles), 7);
    EXPECT_EQ(config.asked, 1);
    // An id without a default reaches default_value on every call.
    config.value_string(kConfigLogFile, nullptr);
    config.value_string(kConfigLogFile, nullptr);
    EXPECT_EQ(config.asked, 3);
    // A string id never asks for an integer.
    config.value_integer(kConfigLogFile);
    EXPECT_EQ(config.asked, 3);
}

}  // namespace
