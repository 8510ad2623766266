// OxCALL over real connections: nginx serving files on 127.0.0.1 and
// [::1], and a python3 backend with chunked pages, an echo and a server
// that never answers.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/NginxServer.h"
#include "tests/support/ScriptFiles.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-net/";
const std::string kReference = "/usr/share/debian-reference/apa.en.html";

void Replace(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at; (at = text.find(from)) != std::string::npos;) text.replace(at, from.size(), to);
}

// The output of listing name, its placeholders ($BASE and the others of
// places) replaced.
std::string Output_Of(const std::string& name,
                const std::vector<std::pair<std::string, std::string>>& places) {
    std::string listing = read_file(kScripts + name + ".oxs");
    for (const auto& [from, to] : places) Replace(listing, from, to);
    TestApplication application;
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(listing, &application);
    EXPECT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), 1) << output.text();
    application.SetOutput(nullptr);
    return output.text();
}

std::string Expected(const std::string& name,
                     const std::vector<std::pair<std::string, std::string>>& places) {
    std::string text = read_file(kScripts + name + ".out");
    for (const auto& [from, to] : places) Replace(text, from, to);
    return text;
}

// The backend script on 127.0.0.1, stopped when the object goes.
class Backend {
  public:
    Backend() : port_(FreeLoopbackPort()), silent_port_(FreeLoopbackPort()) {
        if (access("/usr/bin/python3", X_OK) != 0) {
            ADD_FAILURE() << "python3 is missing: install the Debian package python3";
            return;
        }
        int input[2];
        if (pipe(input) != 0) return;
        pid_ = fork();
        if (pid_ == 0) {
            dup2(input[0], 0);
            close(input[1]);
            std::string script = OXIN_SOURCE_DIR "/tests/statements/call_backend.py";
            execl("/usr/bin/python3", "python3", script.c_str(), "127.0.0.1",
                  std::to_string(port_).c_str(), std::to_string(silent_port_).c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        close(input[0]);
        stdin_ = input[1];
        for (int tries = 0; tries < 200 && !AcceptsConnections("127.0.0.1", port_); tries++)
            usleep(50000);
        EXPECT_TRUE(AcceptsConnections("127.0.0.1", silent_port_));
    }
    ~Backend() {
        if (pid_ <= 0) return;
        close(stdin_);
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    int port() const { return port_; }
    int silent_port() const { return silent_port_; }

  private:
    int port_, silent_port_;
    pid_t pid_ = 0;
    int stdin_ = -1;
};

// nginx on one port of 127.0.0.1 and [::1], serving www/ of its directory.
class StaticServer {
  public:
    StaticServer()
        : port_(FreeLoopbackPort()),
          nginx_("server { listen 127.0.0.1:" + std::to_string(port_) + "; listen [::1]:" +
                     std::to_string(port_) + "; root $DIR/www; }",
                 {{"127.0.0.1", port_}, {"::1", port_}}) {
        std::filesystem::create_directories(nginx_.Path("www"));
    }
    std::string Path(const std::string& name) { return nginx_.Path("www/" + name); }
    int port() const { return port_; }
    bool running() const { return nginx_.running(); }

  private:
    int port_;
    NginxServer nginx_;
};

TEST(CallNetworkTest, ListsTheLinksOfAPageOverIPv4AndIPv6) {
    StaticServer server;
    ASSERT_TRUE(server.running());
    std::string page = read_file(kReference);
    ASSERT_FALSE(page.empty()) << kReference
                               << " is missing: install the Debian package debian-reference-en";
    std::filesystem::copy_file(kReference, server.Path("apa.en.html"));
    std::string expected;
    std::regex link("<a [^>]*href=\"([^\"]*)\"");
    for (std::sregex_iterator it(page.begin(), page.end(), link), end; it != end; ++it)
        expected += (*it)[1].str() + "\n";
    ASSERT_GT(expected.size(), 100u);
    expected += "HTTP/1.1 200 OK";
    std::string port = std::to_string(server.port());
    EXPECT_EQ(Output_Of("links", {{"$BASE", "http://127.0.0.1:" + port}}), expected);
    EXPECT_EQ(Output_Of("links", {{"$BASE", "http://[::1]:" + port}}), expected);
}

TEST(CallNetworkTest, StreamsALargeFileWithoutHoldingIt) {
    StaticServer server;
    ASSERT_TRUE(server.running());
    constexpr int kLines = 40000;  // about 40 MB
    {
        std::ofstream big(server.Path("big.html"));
        std::string line = "<b>" + std::string(1000, 'x') + "\n";
        for (int i = 0; i < kLines; i++) big << line;
    }
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    EXPECT_EQ(Output_Of("big", {{"$BASE", "http://127.0.0.1:" + std::to_string(server.port())}}),
              std::to_string(2 * kLines));
    getrusage(RUSAGE_SELF, &after);
#if !defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer keeps freed memory in quarantine, so the peak says
    // nothing there.
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 * 1024) << "kilobytes more at the peak";
#endif
}

TEST(CallNetworkTest, ReadsChunkedPagesAndPostsForms) {
    Backend backend;
    std::string hostport = "127.0.0.1:" + std::to_string(backend.port());
    std::vector<std::pair<std::string, std::string>> places = {
        {"$BASE", "http://" + hostport}, {"$HOSTPORT", hostport}};
    EXPECT_EQ(Output_Of("chunked", places), Expected("chunked", places));
}

TEST(CallNetworkTest, ASilentServerTimesOutAndAClosedPortIsRefused) {
    Backend backend;
    std::string refused = std::to_string(FreeLoopbackPort());
    std::vector<std::pair<std::string, std::string>> places = {
        {"$SILENT", "http://127.0.0.1:" + std::to_string(backend.silent_port())},
        {"$REFUSED", "http://127.0.0.1:" + refused}, {"$PORT", refused}};
    time_t start = time(nullptr);
    EXPECT_EQ(Output_Of("failures", places), Expected("failures", places));
    EXPECT_LE(time(nullptr) - start, 5);
}

}  // namespace
