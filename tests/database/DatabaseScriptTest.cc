#include <gtest/gtest.h>

#include <string>

#include "tests/support/ScriptFiles.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TempDirectory.h"

namespace {

std::string scripts_directory() {
    return OXIN_SOURCE_DIR "/tests/database/scripts";
}

// Each listing in scripts/ runs over a fresh data directory, its output
// compared with the file of the same name ending in ".out", where $FILE
// stands for the compiled file's path. A comment
// "; result: N" gives the expected value of Go, 1 by default.
class DatabaseScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(DatabaseScriptTest, PrintsWhatItsOutFileSays) {
    std::string base = scripts_directory() + "/" + GetParam();
    std::string listing = read_file(base + ".oxs");
    int result = 1;
    size_t at = listing.find("; result: ");
    if (at != std::string::npos) result = std::stoi(listing.substr(at + 10));

    TempDirectory data;
    TestApplication application;
    ASSERT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(listing, &application);
    ASSERT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), result);
    std::string expected = read_file(base + ".out");
    for (size_t file; (file = expected.find("$FILE")) != std::string::npos;)
        expected.replace(file, 5, run.path());
    EXPECT_EQ(output.text(), expected);
}

INSTANTIATE_TEST_SUITE_P(Scripts, DatabaseScriptTest,
                         ::testing::ValuesIn(listing_names(scripts_directory())),
                         [](const auto& info) { return test_name(info.param); });

}  // namespace
