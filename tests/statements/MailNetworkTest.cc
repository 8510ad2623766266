// OxSMTP and OxPOP against real servers on loopback: aiosmtpd offering
// each AUTH method, STARTTLS and TLS from the first byte with a test
// authority's certificate; Dovecot's POP3 server on port 110 of a loopback
// address of its own, over a maildir that the test fills.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/NginxServer.h"
#include "tests/support/TestApplication.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TempDirectory.h"

namespace {

using Places = std::vector<std::pair<std::string, std::string>>;
const std::string kScripts = OXIN_SOURCE_DIR "/tests/statements/scripts-mail/";
const char* const kUser = "mailer";
const char* const kPassword = "s3cret pass";

const char* const kMakeCertificates = R"(set -e
openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out ca.key
openssl req -x509 -new -key ca.key -out ca.pem -days 30 -subj "/CN=Oxin Mail Test Root"
openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out server.key
openssl req -new -key server.key -out server.csr -subj "/CN=127.0.0.1"
printf 'subjectAltName=IP:127.0.0.1\n' > server.ext
openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 30 -extfile server.ext
)";

void Replace(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

// A server of the test's that runs until its standard input closes.
FILE* StartServer(const std::string& command) {
    return popen(command.c_str(), "w");
}

bool WaitFor(const std::string& host, int port) {
    for (int tries = 0; tries < 200; tries++) {
        if (AcceptsConnections(host, port)) return true;
        usleep(50000);
    }
    return false;
}

class Mail : public ::testing::Test {
  protected:
    // The SMTP servers, by their place in smtp_ports_: all four methods; no
    // DIGEST-MD5; PLAIN and LOGIN; LOGIN; TLS from the first byte; no AUTH
    // and no STARTTLS.
    enum Server { kAll = 0, kCram, kPlain, kLogin, kTLS, kBare };

    static void SetUpTestSuite() {
        directory_ = new TempDirectory();
        chmod(directory_->path().c_str(), 0755);
        std::ofstream(directory_->Path("make.sh")) << kMakeCertificates;
        std::string command = "cd " + directory_->path() + " && sh make.sh >make.log 2>&1";
        made_ = system(command.c_str()) == 0;
        std::string ports;
        for (int& port : smtp_ports_) {
            port = FreeLoopbackPort();
            ports += (ports.empty() ? "" : ",") + std::to_string(port);
        }
        smtp_ = StartServer("/usr/bin/python3 " OXIN_SOURCE_DIR "/tests/network/mail_server.py " +
                            directory_->path() + " " + ports + " " +
                            directory_->Path("server.pem") + " " + directory_->Path("server.key"));
        // Takes connections into its backlog and never answers.
        silent_port_ = FreeLoopbackPort();
        silent_ = StartServer("/usr/bin/python3 -c \"import socket,sys\ns=socket.socket()\n"
                              "s.bind(('127.0.0.1'," +
                              std::to_string(silent_port_) + "))\ns.listen()\nsys.stdin.read()\"");
        StartDovecot();
    }
    static void TearDownTestSuite() {
        Dovecot("stop");
        pclose(silent_);
        pclose(smtp_);
        delete directory_;
    }
    void SetUp() override {
        ASSERT_TRUE(made_) << "openssl failed (Debian package openssl)";
        ASSERT_EQ(access("/usr/bin/python3", X_OK), 0) << "install the Debian package python3";
        ASSERT_TRUE(WaitFor("127.0.0.1", smtp_ports_[kBare]))
            << "the SMTP servers did not start: install the Debian package python3-aiosmtpd";
        ASSERT_TRUE(WaitFor(pop_host_, 110))
            << "dovecot did not start (Debian package dovecot-pop3d): "
            << read_file(directory_->Path("dovecot.log"));
        application_.SetConfig(kConfigFileCa, directory_->Path("ca.pem"));
        application_.config()->SetValue_Integer(kConfigTimeoutMail, 2);
        std::filesystem::create_directories(directory_->Path("data"));
        ASSERT_TRUE(application_.files().InitializeDataDirectory(directory_->Path("data").c_str()));
        std::filesystem::remove(directory_->Path("received.jsonl"));
    }

    // Dovecot for the user "reader" (password "pw123") whose maildir is
    // maildir/, run as nobody, on the first loopback address from
    // 127.0.0.2 where nothing listens on port 110.
    static void StartDovecot() {
        for (int n = 2 + getpid() % 200; n < 254 && pop_host_.empty(); n++) {
            std::string host = "127.0.0." + std::to_string(n);
            if (!AcceptsConnections(host, 110)) pop_host_ = host;
        }
        std::string d = directory_->path();
        for (const char* sub : {"run", "maildir/new", "maildir/cur", "maildir/tmp", "home"})
            std::filesystem::create_directories(d + "/" + sub);
        std::ofstream(d + "/passwd") << "reader:{PLAIN}pw123\n";
        std::ofstream(d + "/dovecot.conf")
            << "protocols = pop3\nlisten = " << pop_host_ << "\nbase_dir = " << d
            << "/run\nstate_dir = " << d << "/run\nlog_path = " << d
            << "/dovecot.log\nssl = no\ndisable_plaintext_auth = no\nauth_failure_delay = 0\n"
            << "passdb {\n driver = passwd-file\n args = scheme=PLAIN " << d << "/passwd\n}\n"
            << "userdb {\n driver = static\n args = uid=nobody gid=nogroup home=" << d
            << "/home mail=maildir:" << d << "/maildir\n}\n"
            << "service pop3-login {\n chroot =\n inet_listener pop3 {\n  port = 110\n }\n}\n"
            << "service anvil {\n chroot =\n}\n";
        Dovecot("");
    }
    static void Dovecot(const std::string& command) {
        std::string line = "/usr/sbin/dovecot -c " + directory_->Path("dovecot.conf") + " " + command;
        if (system(line.c_str()) != 0) ADD_FAILURE() << line;
    }

    // Puts message into the mailbox, owned by the user dovecot reads as.
    static void Deliver(const std::string& name, const std::string& message) {
        std::string path = directory_->Path("maildir/new/" + name);
        std::ofstream(path, std::ios::binary) << message;
        EXPECT_EQ(system(("chown -R nobody:nogroup " + directory_->Path("maildir")).c_str()), 0);
    }

    // The output of listing name with its placeholders replaced.
    std::string Run(const std::string& name, const Places& places) {
        std::string listing = read_file(kScripts + name + ".oxs");
        for (const auto& [from, to] : places)
            Replace(listing, from, to);
        StringOutput output;
        application_.SetOutput(&output);
        ScriptRun run(listing, &application_);
        EXPECT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 1) << output.text();
        application_.SetOutput(nullptr);
        return output.text();
    }

    // The OxSMTP error of one mail (empty when it went).
    std::string Send(int port, const std::string& flags, const std::string& user,
                     const std::string& password, const std::string& body = "Hello",
                     const std::string& to = "one@oxin.test", const std::string& cc = "") {
        std::string output = Run("smtp", {{"$TO", to},
                                          {"$HOST", "127.0.0.1"},
                                          {"$CC", cc},
                                          {"$PORT", std::to_string(port)},
                                          {"$FLAGS", flags},
                                          {"$USER", user},
                                          {"$PASSWORD", password},
                                          {"$BODY", body}});
        return output.substr(output.find('[') + 1, output.size() - output.find('[') - 2);
    }

    // The JSON lines the SMTP servers wrote, one for each message taken.
    static std::vector<std::string> Received() {
        std::vector<std::string> lines;
        std::ifstream in(directory_->Path("received.jsonl"));
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    static TempDirectory* directory_;
    static FILE *smtp_, *silent_;
    static bool made_;
    static int smtp_ports_[6], silent_port_;
    static std::string pop_host_;
    TestApplication application_;
};

TempDirectory* Mail::directory_ = nullptr;
FILE* Mail::smtp_ = nullptr;
FILE* Mail::silent_ = nullptr;
bool Mail::made_ = false;
int Mail::smtp_ports_[6] = {};
int Mail::silent_port_ = 0;
std::string Mail::pop_host_;

std::string Field(const std::string& json, const std::string& name) {
    std::smatch match;
    std::regex pattern("\"" + name + "\": (\"(?:[^\"\\\\]|\\\\.)*\"|[a-z0-9]+|\\[[^\\]]*\\])");
    return std::regex_search(json, match, pattern) ? match[1].str() : "<missing>";
}

TEST_F(Mail, EachServerGetsTheMethodItPrefers) {
    struct Row {
        Server server;
        const char* flags;
        const char* user;
        const char* auth;      // the method the server saw, "null" for none
        const char* tls;       // whether the message came over TLS
        const char* extended;  // EHLO rather than HELO
    } rows[] = {
        {kAll, "", "", "null", "false", "false"},
        {kAll, "", kUser, "\"DIGEST-MD5\"", "false", "true"},
        {kCram, "", kUser, "\"CRAM-MD5\"", "false", "true"},
        {kPlain, "", kUser, "\"PLAIN\"", "false", "true"},
        {kLogin, "", kUser, "\"LOGIN\"", "false", "true"},
        {kAll, "StartTLS", "", "null", "true", "true"},
        {kCram, " starttls,", kUser, "\"CRAM-MD5\"", "true", "true"},
        {kTLS, "tls", kUser, "\"DIGEST-MD5\"", "true", "true"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Send(smtp_ports_[row.server], row.flags, row.user, *row.user ? kPassword : ""),
                  "")
            << row.server << row.flags;
    }
    std::vector<std::string> received = Received();
    ASSERT_EQ(received.size(), std::size(rows));
    for (size_t i = 0; i < received.size(); i++) {
        EXPECT_EQ(Field(received[i], "auth"), rows[i].auth) << i;
        EXPECT_EQ(Field(received[i], "tls"), rows[i].tls) << i;
        EXPECT_EQ(Field(received[i], "extended"), rows[i].extended) << i;
    }
}

TEST_F(Mail, TheMessageArrivesWithEnvelopeHeadersAndBody) {
    std::string long_line(3000, 'x');
    std::string body = "\\nTäglich 8-bit\\r\\n.\\n.leading dot\\n" + long_line + "\\rend\\n";
    ASSERT_EQ(Send(smtp_ports_[kAll], "", "", "", body, "one@oxin.test, two@oxin.test",
                   "three@oxin.test"),
              "");
    std::vector<std::string> received = Received();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(Field(received[0], "from"), "\"sender@oxin.test\"");
    EXPECT_EQ(Field(received[0], "to"),
              "[\"one@oxin.test\", \"two@oxin.test\", \"three@oxin.test\"]");
    char host[256] = {};
    gethostname(host, 255);
    EXPECT_EQ(Field(received[0], "helo"), "\"" + std::string(host) + "\"");
    // The message as the server took it, dots unstuffed: the date, then
    // the rest byte for byte.
    std::string data = read_file(directory_->Path("last.eml"));
    std::regex date("Date: [A-Z][a-z]{2}, \\d\\d [A-Z][a-z]{2} \\d{4} [\\d:]{8} [-+]\\d\\d00");
    EXPECT_TRUE(std::regex_match(data.substr(0, data.find('\r')), date)) << data;
    EXPECT_EQ(data.substr(data.find('\n') + 1),
              "From: sender@oxin.test\r\nTo: one@oxin.test, two@oxin.test\r\n"
              "CC: three@oxin.test\r\nX-Mailer: Oxin v5.30 (" +
                  std::to_string(geteuid()) +
                  ")\r\nSubject: Grüße aus Köln\r\nTäglich 8-bit\r\n.\r\nleading dot\r\n" +
                  long_line + "\r\nend\r\n");
}

TEST_F(Mail, FailuresReachTheScript) {
    struct Row {
        int port;
        const char* flags;
        const char* user;
        const char* password;
        const char* to;
        std::string error;
    } rows[] = {
        {smtp_ports_[kAll], "", kUser, "wrong", "a@oxin.test",
         "5.7.8 Authentication credentials invalid"},
        {smtp_ports_[kAll], "", "", "", "reject@oxin.test", "5.1.1 No such user here"},
        {smtp_ports_[kAll], "ssl", "", "", "a@oxin.test", "Unsupported flag &quot;ssl&quot;"},
        {smtp_ports_[kAll], "tls starttls", "", "", "a@oxin.test",
         "Only one of the &quot;tls&quot; or &quot;starttls&quot; flags may be specified"},
        {smtp_ports_[kBare], "starttls", "", "", "a@oxin.test", "Server does not support STARTTLS"},
        {smtp_ports_[kBare], "", kUser, "", "a@oxin.test",
         "No supported authentication methods are allowed by the server"},
        {silent_port_, "", "", "", "a@oxin.test", "Read Timeout"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Send(row.port, row.flags, row.user, row.password, "x", row.to), row.error);
    }
    int refused = FreeLoopbackPort();
    EXPECT_EQ(Send(refused, "", "", ""),
              "Error connecting to '127.0.0.1': Error connecting to 127.0.0.1 on port " +
                  std::to_string(refused) + ": Connection refused");
    EXPECT_TRUE(Received().empty());
}

TEST_F(Mail, MailboxIsWalkedAndDeletedAtQuit) {
    // A message of the engine's, as the SMTP server stored it.
    std::string long_line(2000, 'y');
    ASSERT_EQ(Send(smtp_ports_[kAll], "", "", "", "Ein Grüß\\n..zwei 0 drei\\n" + long_line), "");
    std::string sent = read_file(directory_->Path("last.eml"));
    Deliver("1.a", "From: a@oxin.test\r\nSubject: Delete me\r\nDate: today\r\n\r\nbye\r\n");
    Deliver("2.b",
            "From: b@oxin.test\r\nReply-To: r@oxin.test\r\nReceived: first\r\n"
            "Received: second\r\nX-Odd:no blank\r\n\r\n..\r\n");
    Deliver("3.c", sent);
    Places places = {
        {"$HOST", pop_host_}, {"$USER", "reader"}, {"$PASSWORD", "pw123"}, {"$DIR", ""}};
    std::string listing = Run("pop", places);
    std::regex file("OXPOPM\\.[0-9a-f]+\\.[0-9a-f]+");
    std::vector<std::string> files;
    for (std::sregex_iterator it(listing.begin(), listing.end(), file), end; it != end; ++it)
        files.push_back(read_file(directory_->Path("data/" + it->str())));
    std::string date = sent.substr(6, sent.find('\r') - 6);
    EXPECT_EQ(std::regex_replace(listing, file, "FILE"),
              "Delete me|a@oxin.test|a@oxin.test|today|FILE\n"
              "(no subject)|b@oxin.test|r@oxin.test||FILE\n"
              "Grüße aus Köln|sender@oxin.test|sender@oxin.test|" +
                  date + "|FILE\n[]");
    ASSERT_EQ(files.size(), 3u);
    // Headers the first of a name wins and a colon without a blank is no
    // header; files hold the lines with LF ends, a stuffed line cut to its
    // first zero digit.
    EXPECT_EQ(files[1],
              "From: b@oxin.test\nReply-To: r@oxin.test\nReceived: first\n"
              "Received: second\nX-Odd:no blank\n\n\n");
    std::string expected = std::regex_replace(sent, std::regex("\r\n"), "\n");
    Replace(expected, ".zwei 0 drei", "0 drei");
    EXPECT_EQ(files[2], expected);
    EXPECT_NE(files[2].find("Ein Grüß\n0 drei\n" + long_line + "\n"), std::string::npos);
    // The message deleted is gone at the next login; the others stay.
    listing = Run("pop", places);
    EXPECT_EQ(std::regex_replace(listing, file, "FILE").substr(0, 13), "(no subject)|");
    EXPECT_EQ(std::count(listing.begin(), listing.end(), '\n'), 2);
}

TEST_F(Mail, POPFailuresReachTheScript) {
    for (auto [host, password, error] :
         {std::tuple(pop_host_, "wrong", ": [AUTH] Authentication failed."),
          std::tuple(std::string("127.0.0.1"), "pw123", ": ")}) {
        std::string step = password[0] == 'w' ? "Error logging into '" : "Error connecting to '";
        EXPECT_EQ(
            Run("pop",
                {{"$HOST", host}, {"$USER", "reader"}, {"$PASSWORD", password}, {"$DIR", ""}}),
            "[" + step + host + "'" + error + "]");
    }
}

}  // namespace
