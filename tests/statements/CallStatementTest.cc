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

// An application whose network is in memory: "echo" sends the request
// back, "empty" has an empty body, "broken" a tag that does not parse.
class CallApplication : public TestApplication {
  public:
    CallApplication() {
        manager_.Serve("page", "HTTP/1.0 200 OK\r\n\r\n<p class=\"a b\" id=c>Hi<br/></p>", 3);
        manager_.Serve("empty", "HTTP/1.0 204 No Content\r\n\r\n");
        manager_.Serve("broken", "HTTP/1.0 200 OK\r\n\r\nt<a / >");
    }
    NetworkManager* networkmanager() override { return &manager_; }

  private:
    MemoryNetworkManager manager_;
};

// The output of listing on a fresh application with up.txt in its data
// directory, line breaks shown as "|" and multipart boundaries as B. An
// echoed request's Content-Length must count its body (taken whole from
// the objects that it was cut into) and is then shown as N.
std::string Output_Of(std::string listing, int result = 1) {
    TempDirectory data;
    CallApplication application;
    EXPECT_TRUE(application.files().InitializeDataDirectory(data.path().c_str()));
    std::ofstream(data.Path("up.txt")) << "line <one>\n";
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(listing, &application);
    EXPECT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), result);
    application.SetOutput(nullptr);
    std::string text = output.text();
    std::smatch length;
    if (std::regex_search(text, length, std::regex("Content-Length: ([0-9]+)\r\n"))) {
        std::string rest = std::regex_replace(length.suffix().str(), std::regex("\\]\\["), "");
        std::string body = rest.substr(rest.find("\r\n\r\n") + 4);
        EXPECT_EQ(std::to_string(body.rfind(']')), length[1].str()) << body;
        text = std::regex_replace(text, std::regex("Content-Length: [0-9]+"), "Content-Length: N");
    }
    text = std::regex_replace(text, std::regex("\r?\n"), "|");
    text = std::regex_replace(text, std::regex("-{20}[0-9]{3,}"), "B");
    return std::regex_replace(text, std::regex(run.path()), "$FILE");
}

TEST(CallStatementTest, SendsEachMethodAndReportsFailures) {
    struct Row {
        const char *url, *method, *fields, *files, *type, *headers;
        std::string output;
    } rows[] = {
        {"http://echo/q", "get", "a, b", "", "", "",
         "[GET /q?a=x+y&b=%26%3D HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo/q?z=1", "Get", "a", "", "", "",
         "[GET /q?z=1?a=x+y HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo:8080", "post", "a,b", "", "", "",
         "[POST / HTTP/1.1|Host: echo:8080|Content-Type: application/x-www-form-urlencoded|"
         "Content-Length: N|Connection: close||a=x+y&b=%26%3D]()"},
        {"http://echo/x", "xml", "a,b", "", "", "",
         "[POST /x HTTP/1.1|Host: echo|Content-Type: text/xml|Content-Length: N|Connection: "
         "close||x y&=]()"},
        {"http://echo/x", "put", "b", "", "text/csv", "",
         "[PUT /x HTTP/1.1|Host: echo|Content-Type: text/csv|Content-Length: N|Connection: "
         "close||&=]()"},
        {"http://echo/x", "fetch", "a", "", "", "X-One: 1\\r\\nX-Two: 2\\r\\n",
         "[GET /x?a=x+y HTTP/1.1|Host: echo|X-One: 1|X-Two: 2|Connection: close||]()"},
        {"http://echo/h", "head", "a", "", "", "",
         "[HEAD /h HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo/up", "send", "a", " f ", "text/xml", "",
         "[POST /up HTTP/1.1|Host: echo|Content-Type: multipart/form-data; boundary=B|"
         "Content-Length: N|Connection: close||--B|Content-Disposition: form-data; "
         "name=\"a\"||x y|--B|Content-Disposition: form-data; name=\"f\"; "
         "filename=\"up.txt\"|Content-Type: unknown||line ][<one>][||--B--|]()"},
        {"nope", "get", "", "", "", "", "(Unable to open URL 'nope': Malformed URL)"},
        {"ftp://page/", "get", "", "", "", "",
         "(Unable to open URL 'ftp://page/': Unsupported protocol 'ftp')"},
        {"http://silent/", "get", "", "", "", "",
         "(Unable to open URL 'http://silent/': Connection refused)"},
        {"http://page/", "get", "", "nothing", "", "", "(Empty filename)"},
        {"http://page/", "get", "", "a", "", "",
         "(Unable to open 'x y': No such file or directory)"},
        {"http://empty/", "get", "", "", "", "", "[]()"},
        {"http://broken/", "get", "", "", "", "",
         "[t](Found &amp;quot; &amp;quot; in tag following /)"},
    };
    std::string listing = read_file(OXIN_SOURCE_DIR "/tests/statements/scripts-fetch/fetch.oxs");
    for (const Row& row : rows) {
        std::string filled = listing;
        for (auto [from, to] : {std::pair{"$URL", row.url}, {"$METHOD", row.method},
                                {"$FIELDS", row.fields}, {"$FILES", row.files},
                                {"$TYPE", row.type}, {"$HEADERS", row.headers}})
            filled.replace(filled.find(from), strlen(from), to);
        EXPECT_EQ(Output_Of(filled), row.output) << row.url << " " << row.method;
    }
}

// Each listing in scripts-call/ prints what its .out file says.
class CallScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(CallScriptTest, PrintsWhatItsOutFileSays) {
    std::string listing = read_file(kScripts + GetParam() + ".oxs");
    size_t at = listing.find("; result: ");
    int result = at == std::string::npos ? 1 : std::stoi(listing.substr(at + 10));
    std::string expected = std::regex_replace(read_file(kScripts + GetParam() + ".out"),
                                              std::regex("\n"), "|");
    EXPECT_EQ(Output_Of(listing, result), expected);
}

INSTANTIATE_TEST_SUITE_P(Scripts, CallScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

TEST(CallStatementTest, CountsOtherThanFiveAndEightToElevenAreFatal) {
    for (int count : {0, 4, 6, 7, 12}) {
        std::string listing = ".segment 0\n";
        for (int i = 0; i < count; i++) listing += "    pushc \"\"\n";
        listing += "    op_http_counted done, " + std::to_string(count) + "\ndone:\n.end\n";
        EXPECT_NE(Output_Of(listing, 0).find("Invalid number of parameters to HTTPN"),
                  std::string::npos)
            << count;
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
