// The mail protocols against scripted server replies in memory: DIGEST-MD5
// challenges that must be refused, and POP3 replies that the loop must
// refuse or treat as empty.
#include <gtest/gtest.h>

#include <string>

#include "network/SMTPService.h"
#include "statements/POP3.h"
#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/TempDirectory.h"

namespace {

class MemoryApplication : public StandaloneApplication {
  public:
    NetworkManager* networkmanager() override { return &network; }
    MemoryNetworkManager network;
};

TEST(MailReplies, DigestChallengesAreChecked) {
    struct Row {
        std::string challenge, error;
    } rows[] = {
        {"realm=\"r\",qop=\"auth\"", "Unable to determine nonce during DIGEST-MD5 authentication"},
        {"nonce=\"a\",nonce=\"b\"",
         "Server returned multiple nonce values during DIGEST-MD5 authentication"},
        {"nonce=\"a\",algorithm=md5",
         "Server returned an unrecognized algorithm during "
         "DIGEST-MD5 authentication"},
        {"nonce=\"a\",algorithm=MD5-SESS,algorithm=md5-sess",
         "Server returned multiple algorithm values in challenge during DIGEST-MD5 "
         "authentication"},
        {"nonce=\"a\",charset=latin1",
         "Server specified unrecognized charset during DIGEST-MD5 authentication"},
        {"nonce=\"a\",qop=\"auth-int, auth-conf\"",
         "Server does not support required qop \"auth\" during DIGEST-MD5 authentication"},
        {"nonce=\"a\",qop=\"auth-int, auth \"", "Invalid rspauth during DIGEST-MD5 authentication"},
        {"nonce=\"a\"", "rspauth mismatch during DIGEST-MD5 authentication"},
    };
    for (const Row& row : rows) {
        MemoryApplication application;
        String challenge(row.challenge.c_str());
        String proof(row.error.find("mismatch") != std::string::npos
                         ? "rspauth=00000000000000000000000000000000"
                         : "rspauth=short");
        application.network.Serve("mail",
                                  "220 hi\r\n250-mail\r\n250 AUTH PLAIN DIGEST-MD5\r\n334 " +
                                      std::string(challenge.Base64_Encode().c_str()) + "\r\n334 " +
                                      proof.Base64_Encode().c_str() + "\r\n221 bye\r\n");
        SMTPService service(&application, String("mail"), 25, 1, 0, String("u"), String("p"));
        EXPECT_FALSE(service.SMTP_Connect(false));
        EXPECT_EQ(service.error().c_str(), row.error) << row.challenge;
    }
}

TEST(MailReplies, POP3RepliesAreChecked) {
    struct Row {
        std::string replies;
        int result;  // of the first step that is not done
        std::string error;
    } rows[] = {
        {"+OK\r\n+OK\r\n+OK\r\n+OK 0 0\r\n+OK\r\n.\r\n", POP3::kEmpty, ""},
        {"+OK\r\n+OK\r\n+OK\r\n+OK 2\r\n", POP3::kFailed, "Invalid response from server"},
        {"+OK\r\n+OK\r\n+OK\r\n+OK 1 5\r\n+OK\r\n1 5\r\n2 5\r\n.\r\n", POP3::kFailed,
         "More messages than expected returned from server"},
        {"+OK\r\n+OK\r\n+OK\r\n-ERR\r\n", POP3::kFailed, "Invalid response from server"},
        {"+OK\r\n+OK\r\n-ERR [AUTH] no\r\n", POP3::kFailed, "[AUTH] no"},
        {"+OK\r\n+OK\r\n+OK\r\n+OK 1 5\r\n+OK\r\n1 5\r\n.\r\n+OK\r\nSubject: x\r\n", POP3::kFailed,
         "Invalid response from server"},
    };
    TempDirectory directory;
    for (const Row& row : rows) {
        MemoryApplication application;
        ASSERT_TRUE(application.files().InitializeDataDirectory(directory.path().c_str()));
        ScriptRun run(".segment 0\n.end\n", &application);
        application.network.Serve("mail", row.replies);
        POP3 pop(&application, run.vm(), &run.system(), String(""));
        int result = pop.Connect("mail");
        if (result == POP3::kDone) result = pop.Login(String("u"), String("p"));
        if (result == POP3::kDone) result = pop.GetStat();
        if (result == POP3::kDone) result = pop.BuildMessageList();
        if (result == POP3::kDone) result = pop.GetFirstMessage();
        EXPECT_EQ(result, row.result) << row.replies;
        EXPECT_EQ(pop.error().c_str(), row.error) << row.replies;
        EXPECT_EQ(application.network.last_->written().substr(0, 16), "USER u\r\nPASS p\r\n");
    }
}

}  // namespace
