// Outgoing connections, plain and TLS, against one nginx of the suite on
// 127.0.0.1 and [::1], with certificates made by the openssl command line.
#include <stdlib.h>
#include <string.h>

#include <chrono>
#include <fstream>
#include <memory>

#include "application/Config.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"
#include "network/NetworkService.h"
#include "tests/support/NginxServer.h"
#include "tests/support/TestApplication.h"

namespace {

// The trusted root and a server certificate for localhost, 127.0.0.1 and
// ::1; an expired one; one for another name; a self-signed one; one from
// an authority nobody trusts; a client certificate.
const char* const kMakeCertificates = R"(set -e
key() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out $1.key; }
root() { key $1; openssl req -x509 -new -key $1.key -out $1.pem -days 30 -subj "/CN=$2"; }
leaf() {  # name, common name, alternative names, signer or self, days
  key $1; openssl req -new -key $1.key -out $1.csr -subj "/CN=$2"
  printf 'subjectAltName=%s\n' "$3" > $1.ext
  if [ $4 = self ]; then by="-signkey $1.key"; else by="-CA $4.pem -CAkey $4.key -CAcreateserial"; fi
  openssl x509 -req -in $1.csr $by -out $1.pem -days $5 -extfile $1.ext; cat $1.pem $1.key > $1.bundle
}
root ca "Oxin Test Root"; root stranger "Unknown Authority"
leaf server localhost "DNS:localhost,IP:127.0.0.1,IP:::1" ca 30; leaf expired localhost DNS:localhost ca -1
leaf wrong wrong.example DNS:wrong.example ca 30; leaf self localhost DNS:localhost self 30
leaf unknown localhost DNS:localhost stranger 30; leaf client "Oxin Client" DNS:client.example ca 30
)";

std::string read_file(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void SetConfig(TestApplication& application, int id, const std::string& value) {
    char* copy = new char[value.size() + 1];
    memcpy(copy, value.c_str(), value.size() + 1);
    application.config()->SetValue(id, copy, static_cast<int>(value.size()), 1);
}

// Sends a GET for / and reads the answer by hand, lines in blocks of 3
// bytes: the body of a 200 response, else the status line.
std::string GetRoot(NetworkConnection* connection, const char* host) {
    String line;
    if (!connection->Write(5, "GET / HTTP/1.0\r\nHost: %s\r\n\r\n", host) ||
        connection->ReadLine(line, 5, 3) < 0)
        return connection->error().c_str();
    std::string status = line.c_str(), body;
    while (connection->ReadLine(line, 5, 3) > 2) {
    }
    char buffer[4096];
    for (int count; (count = connection->Read(buffer, sizeof buffer, 5)) > 0;)
        body.append(buffer, count);
    return status == "HTTP/1.1 200 OK\r\n" ? body : status;
}

// The suite's nginx: port_ plain; then TLS with the certificate named:
// +1 server (localhost) and, by name, wrong (wrong.example); +2 expired;
// +3 self; +4 unknown; +5 server, asking for a client certificate.
class Network : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        dir_ = new TempDirectory();
        port_ = FreeLoopbackPort();
        std::ofstream(dir_->Path("make.sh")) << kMakeCertificates;
        made_ = system(("cd " + dir_->path() + " && sh make.sh >make.log 2>&1").c_str()) == 0;
        std::string p = std::to_string(port_), p1 = std::to_string(port_ + 1);
        nginx_ = new NginxServer(
            "server { listen 127.0.0.1:" + p + "; listen [::1]:" + p +
            "; location / { return 200 \"hello\\n\"; } }\n" +
            Server(1, "server", "listen [::1]:" + p1 + " ssl; server_name localhost;") +
            Server(1, "wrong", "server_name wrong.example;") + Server(2, "expired") +
            Server(3, "self") + Server(4, "unknown") +
            Server(5, "server",
                   "ssl_verify_client on; ssl_client_certificate " + dir_->Path("ca.pem") + ";"));
    }
    static void TearDownTestSuite() {
        delete nginx_;
        delete dir_;
    }
    void SetUp() override {
        ASSERT_TRUE(made_) << "openssl (Debian package openssl) failed: "
                           << read_file(dir_->Path("make.log"));
        ASSERT_TRUE(nginx_->running());
    }
    static std::string Server(int offset, const std::string& name, const std::string& extra = "") {
        return "server { listen 127.0.0.1:" + std::to_string(port_ + offset) + " ssl; " + extra +
               " ssl_certificate " + dir_->Path(name + ".pem") + "; ssl_certificate_key " +
               dir_->Path(name + ".key") + "; location / { return 200 \"" + name +
               " $ssl_client_s_dn\\n\"; } }\n";
    }

    static inline TempDirectory* dir_ = nullptr;
    static inline int port_ = 0;
    static inline NginxServer* nginx_ = nullptr;
    static inline bool made_ = false;
};

const char* const kVerifyFailed = "Error establishing SSL connection: certificate verify failed";
const char* const kWrongName = "Unable to verify server identity";
const char* const kClient = "server CN=Oxin Client\n";
const char* const kNoLibrary =
    "Unable to load '/none/libssl.so': /none/libssl.so: cannot open shared object file: No such "
    "file or directory";

TEST_F(Network, PlainAndTLSConnections) {
    std::string bundle = read_file(dir_->Path("client.bundle"));
    std::string key_less = read_file(dir_->Path("client.pem"));
    struct Row {
        int server;                  // offset from port_
        const char* host = nullptr;  // TLS for this name; null: plain HTTP
        const char* address = "127.0.0.1";
        int flags = 0, sni = -1;                                       // flags_security, ssl_sni
        const char *file = nullptr, *data = nullptr, *type = nullptr;  // client certificate
        const char* library = nullptr;  // ssl_openssl and ssl_crypto, when not the default
        std::string expected;           // the start of the error, or of GetRoot's answer
    } rows[] = {
        // clang-format off
        {.server = 0, .expected = "hello\n"},
        {.server = 0, .address = "::1", .expected = "hello\n"},
        {.server = 0, .address = "localhost", .expected = "hello\n"},
        {.server = 1, .host = "localhost", .expected = "server \n"},
        {.server = 1, .host = "localhost", .address = "::1", .expected = "server \n"},
        {.server = 1, .host = "wrong.example", .expected = "wrong \n"},  // its certificate by SNI
        {.server = 1, .host = "wrong.example", .sni = 1, .expected = "wrong \n"},
        {.server = 1, .host = "wrong.example", .sni = 0, .expected = kWrongName},
        {.server = 1, .host = "wrong.example", .flags = 0x1000, .sni = 0, .expected = kWrongName},
        {.server = 1, .host = "wrong.example", .flags = 0x2000, .sni = 0, .expected = "wrong \n"},
        {.server = 1, .host = "::1", .address = "::1", .flags = 0x4000, .expected = "server \n"},
        {.server = 2, .host = "localhost", .expected = kVerifyFailed},
        {.server = 3, .host = "localhost", .expected = kVerifyFailed},
        {.server = 4, .host = "localhost", .expected = kVerifyFailed},
        {.server = 2, .host = "localhost", .flags = 0x1000, .expected = "expired \n"},
        {.server = 3, .host = "localhost", .flags = 0x1000, .expected = "self \n"},
        {.server = 4, .host = "localhost", .flags = 0x1000, .expected = "unknown \n"},
        {.server = 4, .host = "127.0.0.1", .flags = 0x1000, .expected = "unknown \n"},  // no name
        {.server = 4, .host = "127.0.0.1", .flags = 0x5000, .expected = kWrongName},  // the address
        {.server = 5, .host = "localhost", .expected = "HTTP/1.1 400 Bad Request"},
        {.server = 5, .host = "localhost", .file = "client.bundle", .type = "PEM", .expected = kClient},
        {.server = 5, .host = "localhost", .data = bundle.c_str(), .type = "", .expected = kClient},
        {.server = 5, .host = "localhost", .data = bundle.c_str(), .type = "x509", .expected = "Unsupported certificate type 'x509'"},
        {.server = 5, .host = "localhost", .file = "missing.pem", .type = "p", .expected = "Unable to load client certificate: "},
        {.server = 5, .host = "localhost", .data = key_less.c_str(), .type = "p", .expected = "Error reading client key: "},
        {.server = 0, .library = "/none/", .expected = "hello\n"},
        {.server = 1, .host = "localhost", .library = "/none/", .expected = kNoLibrary},
        // clang-format on
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        TestApplication application;
        ASSERT_TRUE(application.files().InitializeDataDirectory(dir_->path().c_str()));
        SetConfig(application, kConfigFileCa, dir_->Path("ca.pem"));
        application.config()->SetValue_Integer(kConfigFlagsSecurity, row.flags);
        application.config()->SetValue_Integer(kConfigSslSni, row.sni);
        if (row.library) {
            SetConfig(application, kConfigSslOpenssl, std::string(row.library) + "libssl.so");
            SetConfig(application, kConfigSslCrypto, std::string(row.library) + "libcrypto.so");
        }
        NetworkManager* manager = application.networkmanager();
        std::unique_ptr<NetworkConnection> connection(
            manager->Connect(row.address, port_ + row.server, 5));
        ASSERT_NE(connection, nullptr) << manager->error().c_str();
        std::string answer = row.host && !manager->SSL_Connect(connection.get(), row.host, row.file,
                                                               row.data, row.type, nullptr, 5)
                                 ? manager->error().c_str()
                                 : GetRoot(connection.get(),
                                           row.host && isalpha(*row.host) ? row.host : "localhost");
        EXPECT_EQ(answer.substr(0, row.expected.size()), row.expected);
    }
}

class RefusedService : public NetworkService {
  public:
    RefusedService(OxinApplication* application, int port)
        : NetworkService(application, const_cast<char*>("127.0.0.1"), 9, 0, nullptr, port, 2) {}
    bool Read_Status() override { return true; }
};

TEST(Connection, FailuresNameTheirCauseAndNeverHang) {
    // A socket that listens and never accepts: the kernel completes
    // connections, and nothing is ever said on them.
    int silent, silent_fd = LoopbackSocket(&silent, true), closed = FreeLoopbackPort();
    std::string refused = " on port " + std::to_string(closed) + ": Connection refused";
    struct Row {
        const char* operation;  // after connecting
        const char* host;
        int port, timeout;  // timeout 0: timeout_global, 1 here
        std::string expected;
    } rows[] = {
        {"", "127.0.0.1", closed, 1, "Error connecting to 127.0.0.1" + refused},
        {"", "::1", closed, 1, "Error connecting to ::1" + refused},
        {"", "no-such-host.invalid", closed, 1, "Error looking up 'no-such-host.invalid': "},
        {"Read", "127.0.0.1", silent, 1, "Read Timeout"},
        {"ReadLine", "127.0.0.1", silent, 1, "Read Timeout"},
        {"ReadLine", "127.0.0.1", silent, 0, "Read Timeout"},
        {"TLS", "127.0.0.1", silent, 1, "Error establishing SSL connection"},
    };
    for (const Row& row : rows) {
        TestApplication application;
        application.config()->SetValue_Integer(kConfigTimeoutGlobal, 1);
        NetworkManager* manager = application.networkmanager();
        auto start = std::chrono::steady_clock::now();
        std::unique_ptr<NetworkConnection> connection(manager->Connect(row.host, row.port, 2));
        std::string operation = row.operation, error = manager->error().c_str();
        String line;
        char buffer[16];
        if (operation == "Read" && connection->Read(buffer, sizeof buffer, row.timeout) == -1)
            error = connection->error().c_str();
        if (operation == "ReadLine" && connection->ReadLine(line, row.timeout, 64) == -1)
            error = connection->error().c_str();
        if (operation == "TLS" && !manager->SSL_Connect(connection.get(), "localhost", nullptr,
                                                        nullptr, nullptr, nullptr, row.timeout))
            error = manager->error().c_str();
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(connection == nullptr, operation.empty()) << row.host;
        EXPECT_EQ(error.substr(0, row.expected.size()), row.expected) << row.operation;
        EXPECT_LT(seconds, 3.0) << row.operation;
        EXPECT_GE(seconds, operation.empty() ? 0 : 0.9) << row.operation;
    }
    TestApplication application;
    RefusedService service(&application, closed);
    EXPECT_FALSE(service.Connect());
    EXPECT_EQ(std::string(service.error().c_str()),
              "Error connecting to '127.0.0.1': Error connecting to 127.0.0.1" + refused);
    close(silent_fd);
}

}  // namespace
