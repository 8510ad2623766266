#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>

#include "files/Dictionary.h"
#include "host/ExternalConfig.h"
#include "runtime/TagLookup.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestApplication.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

// The project's configuration library over a configuration file written by
// each test, loaded as the engine loads it.
class ExternalConfigTest : public ::testing::Test {
  protected:
    void SetUp() override {
        setenv("OxCONFIG_FILE", file_.c_str(), 1);
        memcpy(saved_tags_, tag_default_errorsettings, sizeof saved_tags_);
    }
    void TearDown() override {
        memcpy(tag_default_errorsettings, saved_tags_, sizeof saved_tags_);
        unsetenv("OxCONFIG_FILE");
    }
    void Write(const std::string& text) { std::ofstream(file_) << text; }
    std::string Text(int id) {
        int length = 0;
        const char* text = config_.value_string(id, &length);
        return text ? std::string(text, length) : "(none)";
    }

    TestApplication application_;
    Dictionary dictionary_;
    VariableHash system_{&dictionary_};
    VariableHash global_{&dictionary_};
    ExternalConfig config_{&application_, nullptr, nullptr, nullptr, nullptr, &system_, &global_};
    TempDirectory directory_;
    std::string file_ = directory_.Path("oxin.conf");
    TagErrorSetting saved_tags_[kTagRows];
};

TEST_F(ExternalConfigTest, EverySortOfLineReachesTheEngine) {
    Write(
        "# The engine's settings\n"
        "\n"
        "dir_oxin = /srv/oxin/scripts\n"
        "  timeout_global=5  \n"
        "bufsz_output_flush = 0x2000\n"
        "info_serveradmin = \"admin@example.org # not a comment\"\n"
        "dir_data = \"C:\\\\srv \\\"x\\\"\\\"\n"
        "flags_security = 4294967295\n"
        "library builtin /usr/lib/oxin/strings.so\n"
        "library Database pg /usr/lib/oxin/pg.so\n"
        "library COMMERCE shop /usr/lib/oxin/shop.so\n"
        "library system os /usr/lib/oxin/os.so\n"
        "system site = Example Site\n"
        "global greeting = \"  hello  \"\n"
        "error OxOPEN = 3\n"
        "error oxfuncreturn = 0\n");
    ASSERT_TRUE(config_.Load(OXIN_CONFIG_LIBRARY, 0, nullptr, 0)) << config_.error().c_str();
    EXPECT_EQ(Text(kConfigDirOxin), "/srv/oxin/scripts");
    EXPECT_EQ(config_.value_integer(kConfigTimeoutGlobal), 5);
    EXPECT_EQ(config_.value_integer(kConfigBufszOutputFlush), 0x2000);
    EXPECT_EQ(Text(kConfigInfoServeradmin), "admin@example.org # not a comment");
    EXPECT_EQ(Text(kConfigDirData), "C:\\srv \"x\"\\");
    EXPECT_EQ(config_.value_integer(kConfigFlagsSecurity), -1);
    // What the file leaves out keeps the built-in default.
    EXPECT_EQ(config_.value_integer(kConfigMaxPostVars), 2000);
    EXPECT_EQ(Text(kConfigDefaultFile), "index.oxc");
    EXPECT_EQ(Text(kConfigDirTemp), "(none)");

    const auto& registered = config_.registrations();
    ASSERT_EQ(registered.size(), 4u);
    EXPECT_EQ(registered[0].kind, ExternalConfig::Registration::Builtin);
    EXPECT_EQ(registered[0].path, "/usr/lib/oxin/strings.so");
    EXPECT_EQ(registered[1].kind, ExternalConfig::Registration::Database);
    EXPECT_EQ(registered[1].name, "pg");
    EXPECT_EQ(registered[2].kind, ExternalConfig::Registration::Commerce);
    EXPECT_EQ(registered[3].kind, ExternalConfig::Registration::System);
    EXPECT_EQ(registered[3].path, "/usr/lib/oxin/os.so");

    EXPECT_EQ(tag_default_errorsettings[28].flags, 3u);  // OxOPEN
    EXPECT_EQ(tag_default_errorsettings[17].flags, 0u);  // OxFUNCTIONRETURN

    config_.AddVariables();
    Variable* site = nullptr;
    ASSERT_TRUE(system_.Find(&site, "site", 4, 0));
    EXPECT_STREQ(site->value().c_str(), "Example Site");
    Variable* greeting = nullptr;
    ASSERT_TRUE(global_.Find(&greeting, "greeting", 8, 0));
    EXPECT_STREQ(greeting->value().c_str(), "  hello  ");
}

TEST_F(ExternalConfigTest, ABadLineNamesTheFileAndTheLine) {
    struct Case {
        const char* text;
        const char* reason;
    } cases[] = {
        {"dir_oxin = /x\nfrobnicate = 1\n", "line 2: unknown setting frobnicate"},
        {"timeout_global = soon\n", "line 1: timeout_global takes a number"},
        {"max_files = 4294967296\n", "line 1: max_files takes a number"},
        {"\n\ndir_data /x\n", "line 3: expected: dir_data = VALUE"},
        {"library plugin /x.so\n",
         "line 1: expected builtin, database, commerce or system "
         "after library"},
        {"library database /x.so\n", "line 1: expected: library database NAME PATH"},
        {"error OxOPEN = loud\n", "line 1: the flags of an error setting are a number"},
        {"global = 1\n", "line 1: expected: global NAME = VALUE"},
    };
    for (const Case& c : cases) {
        Write(c.text);
        ExternalConfig config(&application_, nullptr, nullptr, nullptr, nullptr, &system_,
                              &global_);
        EXPECT_FALSE(config.Load(OXIN_CONFIG_LIBRARY, 0, nullptr, 0));
        EXPECT_EQ(std::string(config.error().c_str()), file_ + ": " + c.reason) << c.text;
        int length = 0;
        EXPECT_EQ(config.value_string(kConfigDirOxin, &length), nullptr) << c.text;
    }
    unlink(file_.c_str());
    EXPECT_FALSE(config_.Load(OXIN_CONFIG_LIBRARY, 0, nullptr, 0));
    EXPECT_EQ(std::string(config_.error().c_str()),
              file_ + ": cannot read the configuration file: No such file or directory");
}

TEST_F(ExternalConfigTest, LibrariesThatCannotServeAreRefused) {
    EXPECT_FALSE(config_.Load("/nonexistent/liboxinconfig.so", 0, nullptr, 0));
    EXPECT_NE(std::string(config_.error().c_str()).find("/nonexistent/liboxinconfig.so"),
              std::string::npos);
    ExternalConfig other(&application_, nullptr, nullptr, nullptr, nullptr, &system_, &global_);
    EXPECT_FALSE(other.Load("libm.so.6", 0, nullptr, 0));
    EXPECT_STREQ(other.error().c_str(), "Unknown symbol 'oxin_config_library'");
    // Without a library there is no script configuration to load, and no text.
    EXPECT_FALSE(other.LoadScriptConfig("/x/index.oxc", nullptr));
}

TEST_F(ExternalConfigTest, TagKeywordsAreFoundWithoutRegardToCase) {
    EXPECT_EQ(TagLookup::Lookup("OxOpen", 6), 28);
    EXPECT_EQ(TagLookup::Lookup("oxin", 4), 48);
    EXPECT_EQ(TagLookup::Lookup("EXPRESSION", 10), 62);
    EXPECT_EQ(TagLookup::Lookup("oxasync", 7), 75);
    EXPECT_EQ(TagLookup::Lookup("oxasynchronous", 14), 75);
    EXPECT_EQ(TagLookup::Lookup("oxlocalized-token", 17), 25);
    EXPECT_EQ(TagLookup::Lookup("(in expression)", 15), -1);
    EXPECT_EQ(TagLookup::Lookup("oxfunctionreturnx", 17), -1);
    EXPECT_EQ(TagLookup::Lookup("oxcommercecontinue", 18), 67);
    EXPECT_EQ(TagLookup::Lookup("oxcommercecontinuex", 19), -1);
    EXPECT_STREQ(tag_default_errorsettings[62].variable, "OxEXPRESSION_Error");
    EXPECT_STREQ(tag_default_errorsettings[28].variable, "OxOPEN_Error");
    EXPECT_EQ(tag_default_errorsettings[76].name, nullptr);
}

}  // namespace
