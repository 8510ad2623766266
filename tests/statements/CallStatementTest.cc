// OxCALL: the methods and failures as rows of one listing over a network in
// memory; then over real connections: nginx serving files on 127.0.0.1 and
// [::1], and a python3 backend sending a page chunked and a silent port.
#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "statements/Call.h"
#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ScriptFiles.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-call/";
const std::string kPage = "/usr/share/debian-reference/apa.en.html";
using Places = std::vector<std::pair<std::string, std::string>>;

// An application whose network is in memory unless real: "echo" sends the
// request back, "empty" has an empty body, "broken" a tag that does not
// parse.
class CallApplication : public TestApplication {
  public:
    explicit CallApplication(bool real) : real_(real) {
        manager_.Serve("page",
                       "HTTP/1.0 200 OK\r\nServer: m\r\n\r\n<p class=\"a b\" id=c>Hi<br/></p>", 3);
        manager_.Serve("empty", "HTTP/1.0 204 No Content\r\n\r\n");
        manager_.Serve("broken", "HTTP/1.0 200 OK\r\n\r\nt<a / >");
    }
    NetworkManager* networkmanager() override {
        return real_ ? TestApplication::networkmanager() : &manager_;
    }

  private:
    bool real_;
    MemoryNetworkManager manager_;
};

// The output of the listing with its places filled, run on a fresh
// application with up.txt in its data directory; line breaks are shown as
// "|" and multipart boundaries as B. An echoed request's Content-Length
// must count its body (taken whole from the objects that it was cut into)
// and is then shown as N.
std::string Output_Of(std::string listing, const Places& places, bool real = false,
                      int result = 1) {
    if (listing[0] != '.') listing = read_file(kScripts + listing + ".oxs");
    for (const auto& [from, to] : places)
        listing.replace(listing.find(from), from.size(), to);
    TempDirectory data;
    CallApplication application(real);
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

struct Fetch {
    const char *url, *method, *fields, *files, *type, *headers;
    std::string output;
};

std::string Fetched(const Fetch& row, bool real = false) {
    return Output_Of("fetch",
                     {{"$URL", row.url},
                      {"$METHOD", row.method},
                      {"$FIELDS", row.fields},
                      {"$FILES", row.files},
                      {"$TYPE", row.type},
                      {"$HEADERS", row.headers},
                      {"$TIMEOUT", real ? "1" : "0"}},
                     real);
}

TEST(CallStatementTest, SendsEachMethodAndReportsFailures) {
    const std::string kSent = "Content-Length: N|Connection: close||";
    Fetch rows[] = {
        // clang-format off
        {"http://echo/q", "get", "a, b", "", "", "", "[GET /q?a=x+y&b=%26%3D HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo/q?z=1", "Get", "a", "", "", "", "[GET /q?z=1?a=x+y HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo:8080", "post", "a,b", "", "", "", "[POST / HTTP/1.1|Host: echo:8080|Content-Type: application/x-www-form-urlencoded|" + kSent + "a=x+y&b=%26%3D]()"},
        {"http://echo/x", "xml", "a,b", "", "", "", "[POST /x HTTP/1.1|Host: echo|Content-Type: text/xml|" + kSent + "x y&=]()"},
        {"http://echo/x", "put", "b", "", "text/csv", "", "[PUT /x HTTP/1.1|Host: echo|Content-Type: text/csv|" + kSent + "&=]()"},
        {"http://echo/x", "fetch", "a", "", "", "X-One: 1\\r\\nX-Two: 2\\r\\n", "[GET /x?a=x+y HTTP/1.1|Host: echo|X-One: 1|X-Two: 2|Connection: close||]()"},
        {"http://echo/h", "head", "a", "", "", "", "[HEAD /h HTTP/1.1|Host: echo|Connection: close||]()"},
        {"http://echo/up", "send", "a", " f ", "text/xml", "", "[POST /up HTTP/1.1|Host: echo|Content-Type: multipart/form-data; boundary=B|" + kSent +
         "--B|Content-Disposition: form-data; name=\"a\"||x y|--B|Content-Disposition: form-data; name=\"f\"; filename=\"up.txt\"|Content-Type: unknown||line ][<one>][||--B--|]()"},
        {"nope", "get", "", "", "", "", "(Unable to open URL 'nope': Malformed URL)"},
        {"http://page/", "get", "", "nothing", "", "", "(Empty filename)"},
        {"http://page/", "get", "", "a", "", "", "(Unable to open 'x y': No such file or directory)"},
        {"http://empty/", "get", "", "", "", "", "[]()"},
        {"http://broken/", "get", "", "", "", "", "[t](Found &amp;quot; &amp;quot; in tag following /)"},
        // clang-format on
    };
    for (const Fetch& row : rows)
        EXPECT_EQ(Fetched(row), row.output) << row.url << " " << row.method;
}

TEST(CallStatementTest, StopEndsTheLoop) {
    EXPECT_EQ(Output_Of("stop", {}, false, 0),
              "<p class=\"a b\" id=c>Hi2Server: mFatal error in $FILE @ [00000000:00000076]: "
              "Invalid instruction|");
}

TEST(CallStatementTest, CountsOtherThanFiveAndEightToElevenAreFatal) {
    for (int count : {0, 4, 6, 7, 12}) {
        std::string listing = ".segment 0\n";
        for (int i = 0; i < count; i++)
            listing += "    pushc \"\"\n";
        listing += "    op_http_counted done, " + std::to_string(count) + "\ndone:\n.end\n";
        EXPECT_NE(Output_Of(listing, {}, false, 0).find("Invalid number of parameters to HTTPN"),
                  std::string::npos);
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

// Over real connections: nginx serving a page and a large file from disk;
// the python3 backend sending the same page chunked, and a silent port.
TEST(CallStatementTest, RealServers) {
    int port = FreeLoopbackPort(3), backend = port + 1, silent = port + 2;
    std::string p = std::to_string(port);
    NginxServer nginx("server { listen 127.0.0.1:" + p + "; listen [::1]:" + p + "; root $DIR; }");
    ASSERT_TRUE(nginx.running());
    std::string page = read_file(kPage);
    ASSERT_FALSE(page.empty()) << kPage
                               << " is missing: install the Debian package debian-reference-en";
    std::filesystem::copy_file(kPage, nginx.Path("page.html"));
    ASSERT_EQ(access("/usr/bin/python3", X_OK), 0) << "install the Debian package python3";
    std::string backend_command =
        "exec /usr/bin/python3 " OXIN_SOURCE_DIR "/tests/statements/call_backend.py " +
        std::to_string(backend) + " " + std::to_string(silent) + " " + kPage;
    std::unique_ptr<FILE, int (*)(FILE*)> python(popen(backend_command.c_str(), "w"), pclose);
    for (int tries = 0; tries < 200 && !AcceptsConnections("127.0.0.1", silent); tries++)
        usleep(50000);

    constexpr int kLines = 40000;  // about 40 MB, streamed, not held
    std::ofstream big(nginx.Path("big.html"));
    for (int i = 0; i < kLines; i++)
        big << "<a href=x>" << std::string(1000, 'x') << "\n";
    big.close();
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    std::string links;
    for (int i = 0; i < kLines; i++)
        links += "x|";
    EXPECT_EQ(Output_Of("links", {{"$URL", "http://127.0.0.1:" + p + "/big.html"}}, true),
              links + "HTTP/1.1 200 OK");
    getrusage(RUSAGE_SELF, &after);
#if !defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer keeps freed memory in quarantine: the peak says nothing there.
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 * 1024) << "kilobytes more at the peak";
#endif

    links = "";
    std::regex link("<a [^>]*href=\"([^\"]*)\"");
    for (std::sregex_iterator it(page.begin(), page.end(), link), end; it != end; ++it)
        links += (*it)[1].str() + "|";
    ASSERT_GT(links.size(), 100u);
    for (std::string base :
         {"127.0.0.1:" + p, "[::1]:" + p, "127.0.0.1:" + std::to_string(backend)})
        EXPECT_EQ(Output_Of("links", {{"$URL", "http://" + base + "/page.html"}}, true),
                  links + "HTTP/1.1 200 OK")
            << base;

    time_t start = time(nullptr);
    std::string closed = std::to_string(FreeLoopbackPort()),
                url = "http://127.0.0.1:" + closed + "/";
    EXPECT_EQ(
        Fetched({("http://127.0.0.1:" + std::to_string(silent)).c_str(), "get", "", "", "", "", ""},
                true),
        "(Read Timeout)");
    EXPECT_EQ(Fetched({url.c_str(), "get", "", "", "", "", ""}, true),
              "(Unable to open URL '" + url + "': Error connecting to 127.0.0.1 on port " + closed +
                  ": Connection refused)");
    EXPECT_LE(time(nullptr) - start, 5);
}

}  // namespace
