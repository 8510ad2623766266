// OxCAPTURE, OxHIDE and OxLOCKFILE: the listings of scripts-capture/ run
// over a fresh data directory, which must hold no lock file afterwards;
// and the headers and error text that reach a capture from outside the
// script.
#include <gtest/gtest.h>

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
    EXPECT_EQ(application.output(), nullptr);
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

TEST(CaptureTest, HeadersAndErrorsPassToThePageUntilTheRunEnds) {
    TestApplication application;
    HeaderOutput page;
    application.SetOutput(&page);
    {
        ScriptRun run(".global\n 0 \"c\"\n.end\n.segment 0\n pushg c\n capture\n"
                      " pushc \"kept\"\n out\n.end\n",
                      &application);
        ASSERT_EQ(run.Go(), 1);
        // The run ended inside the capture; a library may still write.
        Output* capturing = application.output();
        ASSERT_NE(capturing, &page);
        char* owned = new char[6];
        memcpy(owned, "X-Two", 6);
        capturing->Header("X-One", "1");
        capturing->Header(owned, -1, 1, "2", -1, 0);
        capturing->Write_Error("oops", -1);
        capturing->Write("more", -1);
    }
    EXPECT_EQ(application.output(), &page);
    EXPECT_EQ(page.headers, "X-One: 1\nX-Two: 2\n");
    EXPECT_EQ(page.text(), "oops");
    application.SetOutput(nullptr);
}

}  // namespace
