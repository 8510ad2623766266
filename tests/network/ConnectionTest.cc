#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "network/NetworkService.h"
#include "tests/network/NetworkFixture.h"
#include "tests/support/NginxServer.h"

namespace {

// A loopback socket that listens on a free port and never accepts: the
// kernel completes connections, and nothing is ever said on them.
class SilentServer {
  public:
    SilentServer() : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(fd_, 4), 0);
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
    }
    ~SilentServer() { close(fd_); }
    int fd() const { return fd_; }
    int port() const { return port_; }

  private:
    int fd_;
    int port_ = 0;
};

std::string PlainServer(int port) {
    return "server { listen 127.0.0.1:" + std::to_string(port) + "; listen [::1]:" +
           std::to_string(port) + "; location / { return 200 \"hello\\n\"; } }";
}

class EchoService : public NetworkService {
  public:
    EchoService(OxinApplication* application, const char* host, int port)
        : NetworkService(application, const_cast<char*>(host), static_cast<int>(strlen(host)), 0,
                         nullptr, port, 2) {}
    bool Read_Status() override { return true; }
};

}  // namespace

TEST(Connection, PlainHTTPOverIPv4IPv6AndNames) {
    int port = FreeLoopbackPort();
    NginxServer nginx(PlainServer(port), {{"127.0.0.1", port}, {"::1", port}});
    ASSERT_TRUE(nginx.running());
    TestApplication application;
    for (const char* host : {"127.0.0.1", "::1", "localhost"}) {
        std::unique_ptr<NetworkConnection> connection(
            application.networkmanager()->Connect(host, port, 5));
        ASSERT_NE(connection, nullptr) << host << ": " << application.networkmanager()->error().c_str();
        HTTPExchange exchange = GetRoot(connection.get(), "localhost");
        EXPECT_EQ(exchange.status, "HTTP/1.1 200 OK\r\n") << host << exchange.error;
        EXPECT_EQ(exchange.body, "hello\n") << host;
    }
}

TEST(Connection, FailuresNameTheirCause) {
    TestApplication application;
    NetworkManager* manager = application.networkmanager();
    int closed = FreeLoopbackPort();
    std::string port = std::to_string(closed);
    struct Row {
        const char* host;
        std::string expected;  // the start of the error text
    } rows[] = {
        {"127.0.0.1", "Error connecting to 127.0.0.1 on port " + port + ": Connection refused"},
        {"::1", "Error connecting to ::1 on port " + port + ": Connection refused"},
        {"no-such-host.invalid", "Error looking up 'no-such-host.invalid': "},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(manager->Connect(row.host, closed, 2), nullptr);
        EXPECT_EQ(std::string(manager->error().c_str()).rfind(row.expected, 0), 0u)
            << manager->error().c_str();
    }
    EchoService service(&application, "127.0.0.1", closed);
    EXPECT_FALSE(service.Connect());
    EXPECT_STREQ(service.error().c_str(), ("Error connecting to '127.0.0.1': Error connecting to "
                                           "127.0.0.1 on port " + port + ": Connection refused")
                                              .c_str());
    EXPECT_EQ(service.Connection(), nullptr);
}

TEST(Connection, SilentServerEndsInTimeoutNotHang) {
    SilentServer silent;
    TestApplication application;
    application.config()->SetValue_Integer(kConfigTimeoutGlobal, 1);
    NetworkManager* manager = application.networkmanager();
    struct Row {
        const char* operation;
        int timeout;  // 0: timeout_global
        const char* expected;
    } rows[] = {
        {"Read", 1, "Read Timeout"},
        {"ReadLine", 1, "Read Timeout"},
        {"ReadLine", 0, "Read Timeout"},
        {"TLS", 1, "Error establishing SSL connection"},
    };
    for (const Row& row : rows) {
        std::unique_ptr<NetworkConnection> connection(manager->Connect("127.0.0.1", silent.port(), 2));
        ASSERT_NE(connection, nullptr) << manager->error().c_str();
        auto start = std::chrono::steady_clock::now();
        String line;
        char buffer[16];
        bool failed = std::string(row.operation) == "Read"
                          ? connection->Read(buffer, sizeof buffer, row.timeout) == -1
                      : std::string(row.operation) == "ReadLine"
                          ? connection->ReadLine(line, row.timeout, 64) == -1
                          : !manager->SSL_Connect(connection.get(), "localhost", nullptr, nullptr,
                                                  nullptr, nullptr, row.timeout);
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_TRUE(failed) << row.operation;
        const String& error = std::string(row.operation) == "TLS" ? manager->error() : connection->error();
        EXPECT_STREQ(error.c_str(), row.expected) << row.operation;
        EXPECT_GE(seconds, 0.9) << row.operation;
        EXPECT_LT(seconds, 3.0) << row.operation;
    }
}

TEST(Connection, LinesLongerThanTheBlockComeBackWholeAndLeaveTheBody) {
    SilentServer server;
    std::string first(100, 'x');
    std::thread talker([&] {
        int peer = accept(server.fd(), nullptr, nullptr);
        std::string reply = first + "\nsecond\r\nBODY";
        for (char c : reply) {  // in pieces, so that lines span several reads
            send(peer, &c, 1, 0);
            if (c == '\n') std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        close(peer);
    });
    TestApplication application;
    std::unique_ptr<NetworkConnection> connection(
        application.networkmanager()->Connect("127.0.0.1", server.port(), 5));
    ASSERT_NE(connection, nullptr);
    String line;
    EXPECT_EQ(connection->ReadLine(line, 5, 16), 101);
    EXPECT_STREQ(line.c_str(), (first + "\n").c_str());
    EXPECT_EQ(connection->ReadLine(line, 5, 3), 8);
    EXPECT_STREQ(line.c_str(), "second\r\n");
    talker.join();
    char body[16] = {};
    EXPECT_EQ(connection->Read(body, sizeof body, 5), 4);
    EXPECT_STREQ(body, "BODY");
    EXPECT_EQ(connection->ReadLine(line, 5, 16), -1);
    EXPECT_STREQ(connection->error().c_str(), "Read Error: Connection closed by remote host");
}

TEST(Connection, WithoutOpenSSLOnlyTLSFailsAndALaterLoadResumes) {
    int port = FreeLoopbackPort();
    NginxServer nginx(PlainServer(port), {{"127.0.0.1", port}});
    ASSERT_TRUE(nginx.running());
    TestApplication application;
    SetConfig(application, kConfigSslOpenssl, "/nonexistent/libssl.so");
    SetConfig(application, kConfigSslCrypto, "/nonexistent/libcrypto.so");
    NetworkManager* manager = application.networkmanager();
    std::unique_ptr<NetworkConnection> connection(manager->Connect("127.0.0.1", port, 5));
    ASSERT_NE(connection, nullptr);
    EXPECT_FALSE(manager->SSL_Connect(connection.get(), "localhost", nullptr, nullptr, nullptr,
                                      nullptr, 5));
    EXPECT_STREQ(manager->error().c_str(),
                 "Unable to load '/nonexistent/libssl.so': /nonexistent/libssl.so: cannot open "
                 "shared object file: No such file or directory");
    EXPECT_EQ(application.SSL_GetFunction("SSL_CTX_new"), nullptr);
    connection.reset(manager->Connect("127.0.0.1", port, 5));
    ASSERT_NE(connection, nullptr);
    EXPECT_EQ(GetRoot(connection.get(), "localhost").body, "hello\n");

    SetConfig(application, kConfigSslOpenssl, "libssl.so.3");
    String error;
    EXPECT_TRUE(application.SSL_Available(&error)) << error.c_str();
    EXPECT_NE(application.SSL_GetFunction("SSL_CTX_new"), nullptr);
    EXPECT_NE(application.SSL_GetFunction("EVP_sha256"), nullptr);  // from libcrypto
}
