#include <stdlib.h>

#include <fstream>
#include <sstream>

#include "tests/network/NetworkFixture.h"
#include "tests/support/NginxServer.h"

namespace {

// The test's certificate authority and every certificate the cases need,
// made with the openssl command line: the trusted root and a server
// certificate for localhost, 127.0.0.1 and ::1; an expired one; one for
// another name; a self-signed one; one from an authority nobody trusts; a
// client certificate; and one for each of two names served on one port.
const char* const kMakeCertificates = R"(set -e
key() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out "$1.key"; }
root() { key $1; openssl req -x509 -new -key $1.key -out $1.pem -days 30 -subj "/CN=$2"; }
leaf() {  # name, common name, alternative names, signer, days
  key $1; openssl req -new -key $1.key -out $1.csr -subj "/CN=$2"
  printf 'subjectAltName=%s\n' "$3" > $1.ext
  if [ "$4" = self ]; then
    openssl x509 -req -in $1.csr -signkey $1.key -out $1.pem -days $5 -extfile $1.ext
  else
    openssl x509 -req -in $1.csr -CA $4.pem -CAkey $4.key -CAcreateserial -out $1.pem -days $5 -extfile $1.ext
  fi
  cat $1.pem $1.key > $1.bundle
}
root ca "Oxin Test Root"
root stranger "Unknown Authority"
leaf server localhost "DNS:localhost,IP:127.0.0.1,IP:::1" ca 30
leaf expired localhost "DNS:localhost" ca -1
leaf wrong wrong.example "DNS:wrong.example" ca 30
leaf self localhost "DNS:localhost" self 30
leaf unknown localhost "DNS:localhost" stranger 30
leaf client "Oxin Client" "DNS:client.example" ca 30
leaf alpha alpha.oxin.test "DNS:alpha.oxin.test" ca 30
leaf beta beta.oxin.test "DNS:beta.oxin.test" ca 30
)";

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class TLS : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        certificates_ = new TempDirectory();
        std::ofstream(certificates_->Path("make.sh")) << kMakeCertificates;
        std::string command = "cd " + certificates_->path() + " && sh make.sh >make.log 2>&1";
        made_ = system(command.c_str()) == 0;
        port_ = FreeLoopbackPort();
        std::string servers;
        int next = port_;
        for (const char* name : {"server", "expired", "wrong", "self", "unknown"}) {
            servers += Server(next++, name, "");
        }
        client_port_ = next;
        servers += Server(next++, "server",
                          "ssl_verify_client on; ssl_client_certificate " + Certificate("ca") + ";");
        sni_port_ = next;
        servers += Server(sni_port_, "alpha", "server_name alpha.oxin.test;");
        servers += Server(sni_port_, "beta", "server_name beta.oxin.test;", false);
        std::vector<std::pair<std::string, int>> listening;
        for (int port = port_; port <= sni_port_; port++) listening.push_back({"127.0.0.1", port});
        listening.push_back({"::1", port_});
        nginx_ = new NginxServer(servers, listening);
    }
    static void TearDownTestSuite() {
        delete nginx_;
        delete certificates_;
    }
    void SetUp() override {
        ASSERT_TRUE(made_) << "openssl failed (Debian package openssl): "
                           << ReadFile(certificates_->Path("make.log"));
        ASSERT_TRUE(nginx_->running());
        SetConfig(application_, kConfigFileCa, Certificate("ca"));
    }

    static std::string Certificate(const std::string& name) {
        return certificates_->Path(name + ".pem");
    }
    static std::string Server(int port, const std::string& name, const std::string& extra,
                              bool with_ipv6 = true) {
        std::string p = std::to_string(port);
        std::string listen = "listen 127.0.0.1:" + p + " ssl;";
        if (with_ipv6 && port == port_) listen += " listen [::1]:" + p + " ssl;";
        return "server { " + listen + " ssl_certificate " + Certificate(name) +
               "; ssl_certificate_key " + certificates_->Path(name + ".key") + "; " + extra +
               " location / { return 200 \"" + name + " $ssl_client_s_dn\\n\"; } }\n";
    }

    // Connects to port and upgrades to TLS for host; the error text of
    // the manager, or "" when all went well.
    std::string Upgrade(int port, const char* host, const char* address = "127.0.0.1",
                        const char* file = nullptr, const char* data = nullptr,
                        const char* type = nullptr) {
        NetworkManager* manager = application_.networkmanager();
        connection_.reset(manager->Connect(address, port, 5));
        if (!connection_) return manager->error().c_str();
        if (!manager->SSL_Connect(connection_.get(), host, file, data, type, nullptr, 5)) {
            return manager->error().c_str();
        }
        return "";
    }

    static TempDirectory* certificates_;
    static NginxServer* nginx_;
    static bool made_;
    static int port_, client_port_, sni_port_;
    TestApplication application_;
    std::unique_ptr<NetworkConnection> connection_;
};

TempDirectory* TLS::certificates_ = nullptr;
NginxServer* TLS::nginx_ = nullptr;
bool TLS::made_ = false;
int TLS::port_ = 0;
int TLS::client_port_ = 0;
int TLS::sni_port_ = 0;

constexpr const char* kVerifyFailed =
    "Error establishing SSL connection: certificate verify failed";

TEST_F(TLS, TrustedServerCarriesHTTP) {
    for (const char* address : {"127.0.0.1", "::1"}) {
        ASSERT_EQ(Upgrade(port_, "localhost", address), "") << address;
        HTTPExchange exchange = GetRoot(connection_.get(), "localhost", 4);
        EXPECT_EQ(exchange.status, "HTTP/1.1 200 OK\r\n") << exchange.error;
        EXPECT_EQ(exchange.body, "server \n");
    }
}

TEST_F(TLS, ServerIdentityIsChecked) {
    struct Row {
        int offset;        // the server: 0 trusted, 1 expired, 2 wrong name, 3 self, 4 unknown
        const char* host;  // the name connected to
        int flags;         // flags_security
        const char* expected;
    } rows[] = {
        {1, "localhost", 0, kVerifyFailed},
        {2, "localhost", 0, "Unable to verify server identity"},
        {3, "localhost", 0, kVerifyFailed},
        {4, "localhost", 0, kVerifyFailed},
        {1, "localhost", 0x1000, ""},  // peer verification off
        {3, "localhost", 0x1000, ""},
        {4, "localhost", 0x1000, ""},
        {2, "localhost", 0x1000, "Unable to verify server identity"},  // the name still counts
        {2, "localhost", 0x2000, ""},                                  // name check off
        {2, "wrong.example", 0, ""},
        {0, "127.0.0.1", 0, ""},       // an address passes with no name check...
        {2, "127.0.0.1", 0, ""},
        {0, "127.0.0.1", 0x4000, ""},  // ...unless asked for: the certificate's address
        {2, "127.0.0.1", 0x4000, "Unable to verify server identity"},
    };
    for (const Row& row : rows) {
        TestApplication application;
        application.config()->SetValue_Integer(kConfigFlagsSecurity, row.flags);
        SetConfig(application, kConfigFileCa, Certificate("ca"));
        NetworkManager* manager = application.networkmanager();
        std::unique_ptr<NetworkConnection> connection(
            manager->Connect("127.0.0.1", port_ + row.offset, 5));
        ASSERT_NE(connection, nullptr);
        bool connected = manager->SSL_Connect(connection.get(), row.host, nullptr, nullptr,
                                              nullptr, nullptr, 5);
        EXPECT_EQ(connected ? "" : manager->error().c_str(), std::string(row.expected))
            << "server " << row.offset << " as " << row.host << " flags " << row.flags;
    }
}

TEST_F(TLS, ClientCertificateFromFileAndFromData) {
    ASSERT_TRUE(application_.files().InitializeDataDirectory(certificates_->path().c_str()));
    std::string bundle = ReadFile(certificates_->Path("client.bundle"));
    std::string without_key = ReadFile(Certificate("client"));
    struct Row {
        const char* file;
        const char* data;
        const char* type;
        const char* error;  // of SSL_Connect
        const char* body;
    } rows[] = {
        {nullptr, nullptr, nullptr, "", "400"},  // none presented: nginx refuses the request
        {"client.bundle", nullptr, "PEM", "", "server CN=Oxin Client\n"},
        {nullptr, bundle.c_str(), "", "", "server CN=Oxin Client\n"},
        {nullptr, bundle.c_str(), "x509", "Unsupported certificate type 'x509'", nullptr},
        {"missing.pem", nullptr, "p", "Unable to load client certificate: ", nullptr},
        {nullptr, without_key.c_str(), "p", "Error reading client key: ", nullptr},
    };
    for (const Row& row : rows) {
        std::string error = Upgrade(client_port_, "localhost", "127.0.0.1", row.file, row.data,
                                    row.type);
        EXPECT_EQ(error.substr(0, strlen(row.error)), row.error) << error;
        if (!row.body) continue;
        HTTPExchange exchange = GetRoot(connection_.get(), "localhost");
        if (std::string(row.body) == "400") {
            EXPECT_EQ(exchange.status, "HTTP/1.1 400 Bad Request\r\n");
        } else {
            EXPECT_EQ(exchange.body, row.body);
        }
    }
}

TEST_F(TLS, ServerNameIndicationChoosesTheCertificate) {
    struct Row {
        const char* host;
        int sni;  // ssl_sni
        const char* error;
        const char* body;
    } rows[] = {
        {"alpha.oxin.test", -1, "", "alpha \n"},
        {"beta.oxin.test", -1, "", "beta \n"},
        {"beta.oxin.test", 1, "", "beta \n"},
        {"beta.oxin.test", 0, "Unable to verify server identity", nullptr},  // default server
    };
    for (const Row& row : rows) {
        application_.config()->SetValue_Integer(kConfigSslSni, row.sni);
        EXPECT_EQ(Upgrade(sni_port_, row.host), row.error) << row.host << " " << row.sni;
        if (row.body) {
            EXPECT_EQ(GetRoot(connection_.get(), row.host).body, row.body);
        }
    }
}

}  // namespace
