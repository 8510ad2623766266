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

// Sends a GET for / and reads the answer by hand, lines in blocks of 3
// bytes: the body of a 200 response, else the status line or the error.
std::string GetRoot(NetworkConnection* connection, const char* host, int timeout) {
    String line;
    if (!connection->Write(timeout, "GET / HTTP/1.0\r\nHost: %s\r\n\r\n", host) ||
        connection->ReadLine(line, timeout, 3) < 0)
        return connection->error().c_str();
    std::string status = line.c_str(), body;
    while (connection->ReadLine(line, timeout, 3) > 2) {
    }
    char buffer[4096];
    for (int count; (count = connection->Read(buffer, sizeof buffer, timeout)) > 0;)
        body.append(buffer, count);
    return status == "HTTP/1.1 200 OK\r\n" ? body : status;
}

const char* const kVerifyFailed = "Error establishing SSL connection: certificate verify failed";
const char* const kWrongName = "Unable to verify server identity";
const char* const kClient = "server CN=Oxin Client\n";
const char* const kNoLibrary =
    "Unable to load '/none/libssl.so': /none/libssl.so: cannot open shared object file: No such "
    "file or directory";

class RefusedService : public NetworkService {
  public:
    RefusedService(OxinApplication* application, int port)
        : NetworkService(application, const_cast<char*>("127.0.0.1"), 9, 0, nullptr, port, 2) {}
    bool Read_Status() override { return true; }
};

TEST(Connection, PlainTLSAndFailures) {
    TempDirectory dir;
    std::ofstream(dir.Path("make.sh")) << kMakeCertificates;
    ASSERT_EQ(system(("cd " + dir.path() + " && sh make.sh >make.log 2>&1").c_str()), 0)
        << "openssl (Debian package openssl) failed: " << read_file(dir.Path("make.log"));
    // port: plain; then TLS with the certificate named: +1 server (localhost)
    // and, by name, wrong (wrong.example); +2 expired; +3 self; +4 unknown;
    // +5 server, asking for a client certificate; +6 silent; +7 closed.
    int port = FreeLoopbackPort(8), silent = port + 6, closed = port + 7;
    int silent_fd = LoopbackSocket("127.0.0.1", silent, false);
    ASSERT_EQ(listen(silent_fd, 8), 0);  // and never accepts: it answers nothing
    auto server = [&](int offset, const std::string& name, const std::string& extra = "") {
        return "server { listen 127.0.0.1:" + std::to_string(port + offset) + " ssl; " + extra +
               " ssl_certificate " + dir.Path(name + ".pem") + "; ssl_certificate_key " +
               dir.Path(name + ".key") + "; location / { return 200 \"" + name +
               " $ssl_client_s_dn\\n\"; } }\n";
    };
    std::string p = std::to_string(port), p1 = std::to_string(port + 1);
    NginxServer nginx(
        "server { listen 127.0.0.1:" + p + "; listen [::1]:" + p +
        "; location / { return 200 \"hello\\n\"; } }\n" +
        server(1, "server", "listen [::1]:" + p1 + " ssl; server_name localhost;") +
        server(1, "wrong", "server_name wrong.example;") + server(2, "expired") +
        server(3, "self") + server(4, "unknown") +
        server(5, "server",
               "ssl_verify_client on; ssl_client_certificate " + dir.Path("ca.pem") + ";"));
    ASSERT_TRUE(nginx.running());
    std::string bundle = read_file(dir.Path("client.bundle"));
    std::string key_less = read_file(dir.Path("client.pem"));
    std::string refused = " on port " + std::to_string(closed) + ": Connection refused";
    struct Row {
        int server;                  // offset from port
        const char* host = nullptr;  // TLS for this name; null: plain HTTP
        const char* address = "127.0.0.1";
        int flags = 0, sni = -1;                                       // flags_security, ssl_sni
        const char *file = nullptr, *data = nullptr, *type = nullptr;  // client certificate
        const char* library = nullptr;  // ssl_openssl and ssl_crypto, when not the default
        int timeout = 5;                // 0: timeout_global, 1 here
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
        {.server = 6, .timeout = 1, .expected = "Read Timeout"},
        {.server = 6, .timeout = 0, .expected = "Read Timeout"},
        {.server = 6, .host = "localhost", .timeout = 1, .expected = "Error establishing SSL connection"},
        {.server = 7, .expected = "Error connecting to 127.0.0.1" + refused},
        {.server = 7, .address = "::1", .expected = "Error connecting to ::1" + refused},
        {.server = 7, .address = "no-such-host.invalid", .expected = "Error looking up 'no-such-host.invalid': "},
        // clang-format on
    };
    alarm(60);  // a hang ends the test program instead
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        TestApplication application;
        ASSERT_TRUE(application.files().InitializeDataDirectory(dir.path().c_str()));
        application.SetConfig(kConfigFileCa, dir.Path("ca.pem"));
        application.config()->SetValue_Integer(kConfigFlagsSecurity, row.flags);
        application.config()->SetValue_Integer(kConfigSslSni, row.sni);
        application.config()->SetValue_Integer(kConfigTimeoutGlobal, 1);
        if (row.library) {
            application.SetConfig(kConfigSslOpenssl, std::string(row.library) + "libssl.so");
            application.SetConfig(kConfigSslCrypto, std::string(row.library) + "libcrypto.so");
        }
        NetworkManager* manager = application.networkmanager();
        auto start = std::chrono::steady_clock::now();
        std::unique_ptr<NetworkConnection> connection(
            manager->Connect(row.address, port + row.server, 5));
        std::string answer =
            !connection ||
                    (row.host && !manager->SSL_Connect(connection.get(), row.host, row.file,
                                                       row.data, row.type, nullptr, row.timeout))
                ? manager->error().c_str()
                : GetRoot(connection.get(), row.host && isalpha(*row.host) ? row.host : "localhost",
                          row.timeout);
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(answer.substr(0, row.expected.size()), row.expected);
        EXPECT_LT(seconds, 3.0);
        EXPECT_GE(seconds, row.server == 6 ? 0.9 : 0);  // the timeout waited for
    }
    alarm(0);
    TestApplication application;
    RefusedService service(&application, closed);
    EXPECT_FALSE(service.Connect());
    EXPECT_EQ(std::string(service.error().c_str()),
              "Error connecting to '127.0.0.1': Error connecting to 127.0.0.1" + refused);
    close(silent_fd);
}

}  // namespace
