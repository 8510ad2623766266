// OxCAPTURE, OxHIDE and OxLOCKFILE: the listings of scripts-capture/ over a
// fresh data directory, which holds no lock file afterwards; and a run that
// ends inside a capture inside a lock, as a library or the heartbeat then
// meets them.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <filesystem>
#include <string>

#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-capture/";

class CaptureScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(CaptureScriptTest, PrintsWhatItsOutFileSaysAndLeavesNoLock) {
    TempDirectory data;
    TestApplication application;
    ASSERT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    ExpectListingOutput(kScripts + GetParam(), &application);
    for (const auto& entry : std::filesystem::directory_iterator(data.path()))
        ADD_FAILURE() << "left behind: " << entry.path();
}

INSTANTIATE_TEST_SUITE_P(Scripts, CaptureScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

// Keeps the headers that it is given.
class HeaderOutput : public StringOutput {
  public:
    int Header(const char* name, int, int name_owned, const char* value, int,
               int value_owned) override {
        headers += std::string(name) + ": " + value + "\n";
        return Output::Header(name, -1, name_owned, value, -1, value_owned);
    }
    std::string headers;
};

TEST(CaptureTest, OpenStatementsPassHeadersAndErrorsKeepTheLockAliveAndEndWithTheMachine) {
    TempDirectory data;
    TestApplication application;
    ASSERT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    HeaderOutput page;
    application.SetOutput(&page);
    std::string lock = data.Path("t.lck");
    struct stat status;
    {
        ScriptRun run(
            ".segment 0\n pushc \"t\"\n lockfile\n pushg c\n capture\n"
            " pushc \"kept\"\n out\n.end\n",
            &application);
        ASSERT_EQ(run.Go(), 1);
        Output* capturing = application.output();
        ASSERT_NE(capturing, &page);
        char* owned = new char[6];
        memcpy(owned, "X-Two", 6);
        capturing->Header("X-One", "1");
        capturing->Header(owned, -1, 1, "2", -1, 0);
        capturing->Write_Error("oops", -1);
        struct utimbuf old = {1000, 1000};
        ASSERT_EQ(utime(lock.c_str(), &old), 0);
        run.vm()->Heartbeat();
        ASSERT_EQ(stat(lock.c_str(), &status), 0);
        EXPECT_GT(status.st_mtime, 1000);
    }
    EXPECT_EQ(application.output(), &page);
    EXPECT_EQ(page.headers, "X-One: 1\nX-Two: 2\n");
    EXPECT_EQ(page.text(), "oops");
    EXPECT_NE(stat(lock.c_str(), &status), 0);
    application.SetOutput(nullptr);
}

}  // namespace
