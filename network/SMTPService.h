#pragma once

#include "base/StringClass.h"
#include "network/NetworkService.h"

class SMTPOutput;

// One SMTP conversation: greeting, HELO or EHLO, STARTTLS, authentication,
// the envelope and the DATA section that an SMTPOutput fills. Every server
// reply is checked; failures return false with the text in error().
class SMTPService : public NetworkService {
  public:
    // Bits of flags.
    static constexpr unsigned kTLS = 1;
    static constexpr unsigned kStartTLS = 2;
    static constexpr unsigned kNoHeaders = 4;
    // Capability bits that ESMTP_Handshake collects.
    static constexpr unsigned kCanStartTLS = 0x1;
    static constexpr unsigned kAuthLogin = 0x100;
    static constexpr unsigned kAuthPlain = 0x200;
    static constexpr unsigned kAuthCramMD5 = 0x400;
    static constexpr unsigned kAuthDigestMD5 = 0x800;

    SMTPService(OxinApplication* application, String host, int port, int timeout, unsigned flags,
                String username, String password);
    // Says QUIT when connected.
    ~SMTPService() override;

    // Sends RCPT TO for one address as given.
    virtual bool Add_Recipient(const char* address, int length);
    // Add_Recipient for each comma-separated piece, untrimmed, empty ones
    // too; stops at the first failure.
    virtual bool Add_Recipients(const String& list);
    // Sends the Date, From, To, CC, X-Mailer and Subject lines in one write.
    virtual bool SendHeader(const String& to, const String& from, const String& cc,
                            const String& subject);
    // Connects, reads the greeting, says HELO, or EHLO with STARTTLS and
    // authentication as flags and credentials ask. log: whether the
    // conversation goes to the log.
    virtual bool SMTP_Connect(bool log);
    // With log set, SMTP_Connect wraps the connection in a new
    // Wrapper(application, host, host_length, port, connection, data), which
    // owns it and sees the whole conversation.
    template <class Wrapper>
    void Log_With(void* data) {
        wrapping_ = [](OxinApplication* application, const char* host, int host_length, int port,
                       NetworkConnection* connection, void* wrapper_data) -> NetworkConnection* {
            return new Wrapper(application, host, host_length, port, connection, wrapper_data);
        };
        wrapping_data_ = data;
    }
    // Says QUIT and drops the connection, whatever the server answers.
    virtual bool Disconnect();
    // The envelope and the start of DATA, with the headers unless flags say
    // the script writes them.
    virtual bool Start(const String& to, const String& from, const String& cc,
                       const String& subject);
    // Ends the DATA section written through output and reads the verdict.
    virtual bool Finish(SMTPOutput* output);
    // Splits one reply line into its status, its text stripped of white
    // space, and whether more lines follow.
    virtual bool Parse_Status(const String& line, int* status, String* text, bool* more);
    virtual bool ReadAndParse_Status(int* status, String* text, bool* more);
    // Reads one line; false with its text as the error unless its status is
    // expected.
    virtual bool ReadAndExpect_Status(int expected, String* text, bool* more);
    // Says EHLO and collects the capabilities of the reply.
    virtual bool ESMTP_Handshake(unsigned* capabilities);
    virtual bool AUTH_LOGIN();
    virtual bool AUTH_PLAIN();
    virtual bool AUTH_CRAM_MD5();
    virtual bool AUTH_DIGEST_MD5();
    // Takes realm, nonce and charset from a DIGEST-MD5 challenge, checking
    // its nonce, algorithm, charset and qop.
    virtual bool Parse_Digest_Challenge(const String& challenge, String* realm, String* nonce,
                                        String* charset);
    // Random bytes (bits / 8, rounded up; 16 below 1 bit) in base64.
    virtual void Generate_Digest_Nonce(int bits, String& out);
    virtual void Generate_Digest_Response_A1(const String& realm, const String& nonce,
                                             const String& cnonce, char* hex);
    virtual void Generate_Digest_Response_A2(const String& uri, char* hex);
    virtual void Generate_Digest_Response_Auth_A2(const String& uri, char* hex);
    virtual void Generate_Digest_Response_Value(const char* a1, const String& nonce, const char* nc,
                                                const String& cnonce, const char* a2, char* hex);
    // Reads the lines of one reply and judges the last: 220, 221, 250, 251
    // and 354 succeed.
    bool Read_Status() override;

    unsigned flags() const { return flags_; }

  private:
    // Writes text to the connection; false with its error when that fails.
    bool Send(const String& text);
    bool Send(std::initializer_list<const char*> parts) { return Send(String::Join(parts)); }
    // Upgrades the connection to TLS for the host.
    bool Start_TLS();
    // Sends base64 of data and CRLF.
    bool Send_Base64(const String& data);
    bool Fail(const char* text);

    NetworkConnection* (*wrapping_)(OxinApplication*, const char*, int, int, NetworkConnection*,
                                    void*) = nullptr;
    void* wrapping_data_ = nullptr;
    unsigned flags_;
    String username_;
    String password_;
};
