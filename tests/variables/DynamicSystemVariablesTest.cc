#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "application/Config.h"
#include "tests/support/TestApplication.h"
#include "tests/variables/VariableTestSupport.h"
#include "variables/AggregateIndex.h"
#include "variables/DynamicSystemVariables.h"

namespace {

TEST(DynamicSystemVariablesTest, ClockSettingsAndConfigurationAreLive) {
    time_t now = time(nullptr);
    tm local;
    localtime_r(&now, &local);
    DynamicTimeVariable year(8), month(6), month_name(7), weekday(9);
    EXPECT_STREQ(year.name().c_str(), "dyn_tm_year");
    EXPECT_EQ(year.value_integer(), local.tm_year + 1900);
    EXPECT_EQ(Text(&year), std::to_string(local.tm_year + 1900));
    EXPECT_EQ(year.type(), 3);
    EXPECT_EQ(month.value_integer(), local.tm_mon + 1);
    EXPECT_EQ(weekday.value_integer(), local.tm_wday + 1);
    const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    EXPECT_EQ(Text(&month_name), months[local.tm_mon]);
    EXPECT_EQ(month_name.type(), 4);
    int error = 0;
    EXPECT_EQ(month_name.value_compare(&error), 0.0);
    EXPECT_EQ(error, 1);       // a name is no number
    year.SetValue_Integer(1);  // ignored
    EXPECT_EQ(year.value_integer(), local.tm_year + 1900);
    TestApplication application;
    LanguageVariable language(&application);
    EXPECT_EQ(Text(&language), "en-US");
    language.SetValue("de", 2);
    EXPECT_STREQ(application.language().c_str(), "de");
    application.SetLanguage("fr", 2);
    EXPECT_EQ(Text(&language), "fr");
    DefaultDatabaseVariable database(&application);
    Variable* clone = database.Clone(&application);
    EXPECT_STREQ(clone->name().c_str(), "oxin_defaultdatabase");
    EXPECT_EQ(Text(clone), "en-US");  // the default language, as clones have always answered
    clone->DecRefCount();
    CharacterSetVariable charset(&application);
    charset.SetValue_Integer(8859);
    EXPECT_FALSE(application.CharacterSetIsUTF8());
    EXPECT_STREQ(application.charset().c_str(), "8859");
    char* missing = new char[20];
    memcpy(missing, "/nonexistent/libssl", 20);
    application.config()->SetValue(kConfigSslOpenssl, missing, 19, 1);
    SSLAvailableVariable ssl(&application);
    EXPECT_EQ(Text(&ssl), "0");
    ConfigurationAggregateVariable config(&application);
    Variable* timeout = config.Element(AggregateIndex("TIMEOUT_CALL", -1), 0);
    ASSERT_NE(timeout, nullptr);
    EXPECT_EQ(Text(timeout), "30");
    application.config()->SetValue_Integer(kConfigTimeoutCall, 45);
    EXPECT_EQ(timeout->value_integer(), 45);
    timeout->SetValue_Integer(7);  // ignored
    EXPECT_EQ(Text(timeout), "45");
    Variable* file = config.Element(AggregateIndex("default_file", -1), 0);
    EXPECT_EQ(Text(file), "index.oxc");
    EXPECT_EQ(file->type(), 4);
    EXPECT_EQ(config.Element(AggregateIndex("nothing", -1), 0), nullptr);
}

}  // namespace
