#include <gtest/gtest.h>

#include <string>

#include "host/ExternalConfig.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"

namespace {

const std::string kAnyType = OXIN_SOURCE_DIR "/tests/database/scripts-any/";
const std::string kLibrary = OXIN_SOURCE_DIR "/tests/database/scripts-external/";

// An application over a fresh data directory whose configuration registered
// the database libraries: the example's, its first-version build, one that
// is missing and one without a database table.
class LibraryApplication {
  public:
    LibraryApplication()
        : config_(&application_, nullptr, nullptr, application_.databasemanager(), nullptr,
                  nullptr, nullptr) {
        application_.files().InitializeDataDirectory(data_.path().c_str());
        config_.Register_Library_Database("memdb", OXIN_MEMDB_LIBRARY);
        config_.Register_Library_Database("memdb1", OXIN_MEMDB1_LIBRARY);
        config_.Register_Library_Database("missing", "/nonexistent/liboxinmissing.so");
        config_.Register_Library_Database("notable", OXIN_HTML_LIBRARY);
    }
    TestApplication* get() { return &application_; }

  private:
    TempDirectory data_;
    TestApplication application_;
    ExternalConfig config_;
};

// Runs base.oxs with $TYPE replaced by type and expects base.out.
void ExpectOutput(const std::string& base, const std::string& type) {
    LibraryApplication application;
    std::string listing = read_file(base + ".oxs");
    for (size_t at; (at = listing.find("$TYPE")) != std::string::npos;)
        listing.replace(at, 5, type);
    StringOutput output;
    application.get()->SetOutput(&output);
    {
        ScriptRun run(listing, application.get());
        ASSERT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 1);
    }
    EXPECT_EQ(output.text(), read_file(base + ".out"));
    application.get()->SetOutput(nullptr);
}

// The listings that any database type must run alike, for the built-in
// type and a library's.
class AnyDatabaseTypeTest
    : public ::testing::TestWithParam<std::tuple<std::string, std::string>> {};

TEST_P(AnyDatabaseTypeTest, PrintsWhatItsOutFileSays) {
    ExpectOutput(kAnyType + std::get<1>(GetParam()), std::get<0>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Scripts, AnyDatabaseTypeTest,
                         ::testing::Combine(::testing::Values("xbase3", "memdb"),
                                            ::testing::ValuesIn(listing_names(kAnyType))),
                         [](const auto& info) {
                             return std::get<0>(info.param) + "_" +
                                    test_name(std::get<1>(info.param));
                         });

// The listings of what only libraries' databases do.
class LibraryDatabaseTest : public ::testing::TestWithParam<std::string> {};

TEST_P(LibraryDatabaseTest, PrintsWhatItsOutFileSays) {
    ExpectOutput(kLibrary + GetParam(), "");
}

INSTANTIATE_TEST_SUITE_P(Scripts, LibraryDatabaseTest,
                         ::testing::ValuesIn(listing_names(kLibrary)),
                         [](const auto& info) { return test_name(info.param); });

}  // namespace
