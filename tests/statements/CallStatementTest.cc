#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

#include "statements/Call.h"
#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/TempDirectory.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-call/";

// The pages that the listings fetch, from a manager in memory.
class CallApplication : public TestApplication {
  public:
    CallApplication() {
        manager_.Serve("page",
                       "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: "
                       "chunked\r\nServer: memory\r\n\r\n"
                       "14\r\n<p class=\"a b\" id=c>\r\n"
                       "26\r\nHi &amp; <br/> there</p><!-- c > d -->\r\n0\r\n\r\n",
                       3);
        manager_.Serve("empty", "HTTP/1.0 204 No Content\r\n\r\n");
        manager_.Serve("broken", "HTTP/1.0 200 OK\r\n\r\nt<a / >");
    }
    NetworkManager* networkmanager() override { return &manager_; }

  private:
    MemoryNetworkManager manager_;
};

// The output with every multipart boundary and the length that depends on
// it made constant.
std::string Steady(std::string text) {
    text = std::regex_replace(text, std::regex("-{20}[0-9]{3,}"), "BOUNDARY");
    return std::regex_replace(text, std::regex("Content-Length: [0-9]+(\r\n[^\r]*\r\n\r\n--B)"),
                              "Content-Length: LENGTH$1");
}

class CallScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(CallScriptTest, PrintsWhatItsOutFileSays) {
    TempDirectory data;
    CallApplication application;
    ASSERT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    std::ofstream(data.Path("up.txt")) << "line one\nline <two>\n";
    std::string listing = read_file(kScripts + GetParam() + ".oxs");
    size_t at = listing.find("; result: ");
    int result = at == std::string::npos ? 1 : std::stoi(listing.substr(at + 10));
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(listing, &application);
    ASSERT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), result);
    std::string expected = read_file(kScripts + GetParam() + ".out");
    for (size_t file; (file = expected.find("$FILE")) != std::string::npos;)
        expected.replace(file, 5, run.path());
    EXPECT_EQ(Steady(output.text()), expected);
    application.SetOutput(nullptr);
}

INSTANTIATE_TEST_SUITE_P(Scripts, CallScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

TEST(CallStatementTest, CountsOtherThanFiveAndEightToElevenAreFatal) {
    for (int count : {0, 4, 6, 7, 12}) {
        CallApplication application;
        StringOutput output;
        application.SetOutput(&output);
        std::string listing = ".segment 0\n";
        for (int i = 0; i < count; i++) listing += "    pushc \"\"\n";
        listing += "    op_http_counted done, " + std::to_string(count) + "\ndone:\n.end\n";
        ScriptRun run(listing, &application);
        ASSERT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 0) << count;
        EXPECT_NE(output.text().find("Invalid number of parameters to HTTPN"), std::string::npos)
            << output.text();
        application.SetOutput(nullptr);
    }
}

TEST(CallStatementTest, TheConfiguredTimeoutBoundsTheScripts) {
    struct Row {
        int requested, configured, effective;
    } rows[] = {{0, 30, 30}, {60, 30, 30}, {10, 30, 10}, {30, 30, 30}, {0, 0, 0}, {7, 0, 7}};
    for (const Row& row : rows)
        EXPECT_EQ(Call::Effective_Timeout(row.requested, row.configured), row.effective)
            << row.requested << " " << row.configured;
}

}  // namespace
