#include <gtest/gtest.h>

#include <string>

#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/database/scripts/";

// Each listing in scripts/ runs over a fresh data directory, its output
// compared with the file of the same name ending in ".out".
class DatabaseScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(DatabaseScriptTest, PrintsWhatItsOutFileSays) {
    TempDirectory data;
    TestApplication application;
    ASSERT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    ExpectListingOutput(kScripts + GetParam(), &application);
}

INSTANTIATE_TEST_SUITE_P(Scripts, DatabaseScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

}  // namespace
