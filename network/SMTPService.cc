#include "network/SMTPService.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "application/OpenSSLLibrary.h"
#include "application/OxinApplication.h"
#include "base/Base64.h"
#include "base/MD5Encoder.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"
#include "network/SMTPOutput.h"

namespace {

// Longest reply line read at a time.
constexpr int kLineBlock = 512;
constexpr const char* kMailerVersion = "5.30";
constexpr const char* kInvalidLogin = "Invalid AUTH LOGIN handshake";

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

String MD5Hex(const String& text) {
    unsigned char digest[16];
    char hex[33];
    MD5Encoder().Encode(reinterpret_cast<const unsigned char*>(text.c_str()), text.length(),
                        digest);
    MD5Encoder::Make_Printable(digest, hex);
    hex[32] = '\0';
    return String(hex, 32);
}

// A value of a DIGEST-MD5 answer, quoted or bare.
void AddDirective(String& out, const char* name, const String& value, bool quoted) {
    if (out.length() > 0) out.cat(',');
    out.cat(name);
    out.cat('=');
    if (quoted) out.cat('"');
    out.cat(value.c_str(), value.length());
    if (quoted) out.cat('"');
}

}  // namespace

SMTPService::SMTPService(OxinApplication* application, String host, int port, int timeout,
                         unsigned flags, String username, String password)
    : NetworkService(application, const_cast<char*>(host.c_str()), host.length(), 0, nullptr, port,
                     timeout),
      flags_(flags),
      username_(std::move(username)),
      password_(std::move(password)) {}

SMTPService::~SMTPService() {
    if (connection_) Disconnect();
}

bool SMTPService::Fail(const char* text) {
    Error(String(text));
    return false;
}

bool SMTPService::Send(const String& text) {
    if (connection_->Write(text.c_str(), text.length(), timeout_) == text.length()) return true;
    Error(connection_->error());
    return false;
}

bool SMTPService::Send_Base64(const String& data) {
    String line = data.Base64_Encode();
    line.cat("\r\n");
    return Send(line);
}

bool SMTPService::Parse_Status(const String& line, int* status, String* text, bool* more) {
    if (line.length() < 3) return Fail("Failed to read SMTP status");
    const char* p = line.c_str();
    char code[4] = {p[0], p[1], p[2], '\0'};
    *status = atoi(code);
    *more = line.length() > 3 && p[3] == '-';
    *text = line.length() > 3 ? line.from(4) : String("", 0);
    text->StripWhitespace();
    return true;
}

bool SMTPService::ReadAndParse_Status(int* status, String* text, bool* more) {
    String line;
    if (connection_->ReadLine(line, timeout_, kLineBlock) < 0) {
        Error(connection_->error());
        return false;
    }
    return Parse_Status(line, status, text, more);
}

bool SMTPService::ReadAndExpect_Status(int expected, String* text, bool* more) {
    int status = 0;
    if (!ReadAndParse_Status(&status, text, more)) return false;
    if (status == expected) return true;
    Error(*text);
    return false;
}

bool SMTPService::Read_Status() {
    int status = 0;
    String text;
    bool more = true;
    while (more) {
        if (!ReadAndParse_Status(&status, &text, &more)) return false;
    }
    if (status == 220 || status == 221 || status == 250 || status == 251 || status == 354)
        return true;
    Error(text);
    return false;
}

bool SMTPService::Start_TLS() {
    NetworkManager* manager = application_->networkmanager();
    if (manager->SSL_Connect(connection_.get(), host_.c_str(), nullptr, nullptr, nullptr, nullptr,
                             timeout_))
        return true;
    Error(manager->error());
    connection_.reset();
    return false;
}

bool SMTPService::SMTP_Connect(bool log) {
    if (!Open_Connection()) return false;
    if ((flags_ & kTLS) && !Start_TLS()) return false;
    if (log && wrapping_)
        connection_.reset(wrapping_(application_, host_.c_str(), host_.length(), port_,
                                    connection_.release(), wrapping_data_));
    if (!Read_Status()) return false;
    bool credentials = username_.length() > 0 || password_.length() > 0;
    if (!(flags_ & kStartTLS) && !credentials)
        return Send({"HELO ", application_->hostname(), "\r\n"}) && Read_Status();
    unsigned capabilities = 0;
    if (!ESMTP_Handshake(&capabilities)) return false;
    if (flags_ & kStartTLS) {
        if (!(capabilities & kCanStartTLS)) return Fail("Server does not support STARTTLS");
        if (!Send(String("STARTTLS\r\n")) || !Read_Status() || !Start_TLS() ||
            !ESMTP_Handshake(&capabilities))
            return false;
    }
    if (!credentials) return true;
    if (capabilities & kAuthDigestMD5) return AUTH_DIGEST_MD5();
    if (capabilities & kAuthCramMD5) return AUTH_CRAM_MD5();
    if (capabilities & kAuthPlain) return AUTH_PLAIN();
    if (capabilities & kAuthLogin) return AUTH_LOGIN();
    return Fail("No supported authentication methods are allowed by the server");
}

bool SMTPService::ESMTP_Handshake(unsigned* capabilities) {
    *capabilities = 0;
    if (!Send({"EHLO ", application_->hostname(), "\r\n"})) return false;
    String text;
    bool more = true;
    while (more) {
        if (!ReadAndExpect_Status(250, &text, &more)) return false;
        if (strcmp(text.c_str(), "STARTTLS") == 0) *capabilities |= kCanStartTLS;
        if (strncmp(text.c_str(), "AUTH ", 5) != 0) continue;
        const char* p = text.c_str() + 4;
        while (*p) {
            while (*p == ' ')
                p++;
            const char* end = p;
            while (*end && *end != ' ')
                end++;
            String word(p, static_cast<int>(end - p));
            const char* w = word.c_str();
            if (strcmp(w, "LOGIN") == 0) *capabilities |= kAuthLogin;
            if (strcmp(w, "PLAIN") == 0) *capabilities |= kAuthPlain;
            if (strcmp(w, "CRAM-MD5") == 0) *capabilities |= kAuthCramMD5;
            if (strcmp(w, "DIGEST-MD5") == 0) *capabilities |= kAuthDigestMD5;
            p = end;
        }
    }
    return true;
}

bool SMTPService::AUTH_LOGIN() {
    String text;
    bool more = false;
    if (!Send(String("AUTH LOGIN\r\n")) || !ReadAndExpect_Status(334, &text, &more)) return false;
    String prompt = text.Base64_Decode();
    if (strcmp(prompt.c_str(), "User Name") != 0 && strcmp(prompt.c_str(), "Username:") != 0)
        return Fail(kInvalidLogin);
    if (!Send_Base64(username_) || !ReadAndExpect_Status(334, &text, &more)) return false;
    prompt = text.Base64_Decode();
    if (strcmp(prompt.c_str(), "Password") != 0 && strcmp(prompt.c_str(), "Password:") != 0)
        return Fail(kInvalidLogin);
    return Send_Base64(password_) && ReadAndExpect_Status(235, &text, &more);
}

bool SMTPService::AUTH_PLAIN() {
    String proof(username_.c_str(), username_.length());
    proof.cat('\0');
    proof.cat(username_.c_str(), username_.length());
    proof.cat('\0');
    proof.cat(password_.c_str(), password_.length());
    String line("AUTH PLAIN ");
    String encoded = proof.Base64_Encode();
    line.cat(encoded.c_str(), encoded.length());
    line.cat("\r\n");
    String text;
    bool more = false;
    return Send(line) && ReadAndExpect_Status(235, &text, &more);
}

bool SMTPService::AUTH_CRAM_MD5() {
    String text;
    bool more = false;
    if (!Send(String("AUTH CRAM-MD5\r\n")) || !ReadAndExpect_Status(334, &text, &more))
        return false;
    String challenge = text.Base64_Decode();
    unsigned char digest[16];
    char hex[33] = {};
    MD5Encoder().HMAC(reinterpret_cast<const unsigned char*>(challenge.c_str()), challenge.length(),
                      reinterpret_cast<const unsigned char*>(password_.c_str()), password_.length(),
                      digest);
    MD5Encoder::Make_Printable(digest, hex);
    String answer(username_.c_str(), username_.length());
    answer.cat(' ');
    answer.cat(hex, 32);
    return Send_Base64(answer) && ReadAndExpect_Status(235, &text, &more);
}

bool SMTPService::AUTH_DIGEST_MD5() {
    String text;
    bool more = false;
    if (!Send(String("AUTH DIGEST-MD5\r\n")) || !ReadAndExpect_Status(334, &text, &more))
        return false;
    String realm, nonce, charset;
    if (!Parse_Digest_Challenge(text.Base64_Decode(), &realm, &nonce, &charset)) return false;
    const char* nc = "00000001";
    String uri = String::Join({"smtp/", host_.c_str()});
    String cnonce;
    Generate_Digest_Nonce(128, cnonce);
    char a1[33] = {}, a2[33] = {}, response[33] = {};
    Generate_Digest_Response_A1(realm, nonce, cnonce, a1);
    Generate_Digest_Response_A2(uri, a2);
    Generate_Digest_Response_Value(a1, nonce, nc, cnonce, a2, response);
    String answer;
    AddDirective(answer, "username", username_, true);
    if (realm.length() > 0) AddDirective(answer, "realm", realm, true);
    AddDirective(answer, "nonce", nonce, true);
    AddDirective(answer, "cnonce", cnonce, true);
    AddDirective(answer, "nc", String(nc), false);
    AddDirective(answer, "qop", String("auth"), true);
    AddDirective(answer, "digest-uri", uri, true);
    if (charset.length() > 0) AddDirective(answer, "charset", charset, false);
    AddDirective(answer, "response", String(response), true);
    if (!Send_Base64(answer) || !ReadAndExpect_Status(334, &text, &more)) return false;
    String proof = text.Base64_Decode();
    if (proof.length() != 40 || strncmp(proof.c_str(), "rspauth=", 8) != 0)
        return Fail("Invalid rspauth during DIGEST-MD5 authentication");
    Generate_Digest_Response_Auth_A2(uri, a2);
    Generate_Digest_Response_Value(a1, nonce, nc, cnonce, a2, response);
    if (memcmp(proof.c_str() + 8, response, 32) != 0)
        return Fail("rspauth mismatch during DIGEST-MD5 authentication");
    return Send(String("\r\n")) && ReadAndExpect_Status(235, &text, &more);
}

bool SMTPService::Parse_Digest_Challenge(const String& challenge, String* realm, String* nonce,
                                         String* charset) {
    bool has_realm = false, has_nonce = false, has_algorithm = false, has_qop = false;
    String qop;
    const char* p = challenge.c_str();
    const char* end = p + strlen(p);
    while (p < end) {
        while (p < end && IsBlank(*p))
            p++;
        const char* name = p;
        while (p < end && *p != '=' && *p != ',')
            p++;
        const char* name_end = p;
        while (name_end > name && IsBlank(name_end[-1]))
            name_end--;
        String key(name, static_cast<int>(name_end - name));
        key.lowcase();
        if (p < end && *p == '=') p++;
        while (p < end && IsBlank(*p))
            p++;
        const char* value = p;
        const char* value_end;
        if (p < end && *p == '"') {
            value = ++p;
            while (p < end && *p != '"')
                p++;
            value_end = p;
        } else {
            while (p < end && *p != ',' && !IsBlank(*p))
                p++;
            value_end = p;
        }
        String text(value, static_cast<int>(value_end - value));
        const char* k = key.c_str();
        if (strcmp(k, "qop") == 0) {
            qop = text;
            has_qop = true;
        } else if (strcmp(k, "realm") == 0) {
            if (!has_realm) *realm = text;
            has_realm = true;
        } else if (strcmp(k, "nonce") == 0) {
            if (has_nonce)
                return Fail(
                    "Server returned multiple nonce values during DIGEST-MD5 authentication");
            *nonce = text;
            has_nonce = true;
        } else if (strcmp(k, "charset") == 0) {
            *charset = text;
        } else if (strcmp(k, "algorithm") == 0) {
            if (has_algorithm)
                return Fail(
                    "Server returned multiple algorithm values in challenge during "
                    "DIGEST-MD5 authentication");
            has_algorithm = true;
            if (strcasecmp(text.c_str(), "md5-sess") != 0)
                return Fail(
                    "Server returned an unrecognized algorithm during DIGEST-MD5 authentication");
        }
        while (p < end && *p != ',')
            p++;
        if (p < end) p++;
    }
    if (!has_nonce) return Fail("Unable to determine nonce during DIGEST-MD5 authentication");
    if (charset->length() > 0 && strcmp(charset->c_str(), "utf-8") != 0)
        return Fail("Server specified unrecognized charset during DIGEST-MD5 authentication");
    if (!has_qop) return true;
    for (const char* q = qop.c_str(); *q;) {
        const char* comma = strchr(q, ',');
        String word(q, comma ? static_cast<int>(comma - q) : -1);
        word.StripWhitespace();
        if (strcmp(word.c_str(), "auth") == 0) return true;
        if (!comma) break;
        q = comma + 1;
    }
    return Fail("Server does not support required qop \"auth\" during DIGEST-MD5 authentication");
}

void SMTPService::Generate_Digest_Nonce(int bits, String& out) {
    int count = bits < 1 ? 16 : (bits + 7) / 8;
    auto bytes = std::make_unique<unsigned char[]>(count);
    bool random = application_->SSL_Available(nullptr) && application_->openssl()->RAND_bytes &&
                  application_->openssl()->RAND_bytes(bytes.get(), count) == 1;
    if (!random) {
        for (int i = 0; i < count; i++)
            bytes[i] = static_cast<unsigned char>(rand());
    }
    out = String(reinterpret_cast<const char*>(bytes.get()), count).Base64_Encode();
}

void SMTPService::Generate_Digest_Response_A1(const String& realm, const String& nonce,
                                              const String& cnonce, char* hex) {
    String secret = String::Join({username_.c_str(), ":", realm.c_str(), ":", password_.c_str()});
    unsigned char inner[16];
    MD5Encoder().Encode(reinterpret_cast<const unsigned char*>(secret.c_str()), secret.length(),
                        inner);
    String a1(reinterpret_cast<const char*>(inner), 16);
    a1.cat(':');
    a1.cat(nonce.c_str(), nonce.length());
    a1.cat(':');
    a1.cat(cnonce.c_str(), cnonce.length());
    memcpy(hex, MD5Hex(a1).c_str(), 33);
}

void SMTPService::Generate_Digest_Response_A2(const String& uri, char* hex) {
    memcpy(hex, MD5Hex(String::Join({"AUTHENTICATE:", uri.c_str()})).c_str(), 33);
}

void SMTPService::Generate_Digest_Response_Auth_A2(const String& uri, char* hex) {
    memcpy(hex, MD5Hex(String::Join({":", uri.c_str()})).c_str(), 33);
}

void SMTPService::Generate_Digest_Response_Value(const char* a1, const String& nonce,
                                                 const char* nc, const String& cnonce,
                                                 const char* a2, char* hex) {
    String value =
        String::Join({a1, ":", nonce.c_str(), ":", nc, ":", cnonce.c_str(), ":auth:", a2});
    memcpy(hex, MD5Hex(value).c_str(), 33);
}

bool SMTPService::Start(const String& to, const String& from, const String& cc,
                        const String& subject) {
    if (!Send({"MAIL FROM: ", from.c_str(), "\r\n"}) || !Read_Status()) return false;
    if (!Add_Recipients(to)) return false;
    if (cc.length() > 0 && !Add_Recipients(cc)) return false;
    if (!Send(String("DATA\r\n")) || !Read_Status()) return false;
    if (flags_ & kNoHeaders) return true;
    return SendHeader(to, from, cc, subject);
}

bool SMTPService::Add_Recipients(const String& list) {
    const char* p = list.c_str();
    for (;;) {
        const char* comma = strchr(p, ',');
        int length = comma ? static_cast<int>(comma - p) : static_cast<int>(strlen(p));
        if (!Add_Recipient(p, length)) return false;
        if (!comma) return true;
        p = comma + 1;
    }
}

bool SMTPService::Add_Recipient(const char* address, int length) {
    String line("RCPT TO: ");
    line.cat(address, length);
    line.cat("\r\n");
    return Send(line) && Read_Status();
}

bool SMTPService::SendHeader(const String& to, const String& from, const String& cc,
                             const String& subject) {
    int date_length = 0;
    std::unique_ptr<char[]> date(application_->currentdate(&date_length));
    String head = String::Join(
        {"Date: ", date.get(), "\r\nFrom: ", from.c_str(), "\r\nTo: ", to.c_str(), "\r\n"});
    if (cc.length() > 0) head.cat(String::Join({"CC: ", cc.c_str(), "\r\n"}).c_str());
    head.cat("X-Mailer: Oxin v");
    head.cat(kMailerVersion);
    const char* user = application_->GetUserID();
    if (user && *user) head.cat(String::Join({" (", user, ")"}).c_str());
    head.cat(String::Join({"\r\nSubject: ", subject.c_str(), "\r\n"}).c_str());
    return Send(head);
}

bool SMTPService::Finish(SMTPOutput* output) {
    if (output->FlushAndTerminate() < 0) {
        Error(output->error());
        return false;
    }
    return Read_Status();
}

bool SMTPService::Disconnect() {
    bool done = Send(String("QUIT\r\n")) && Read_Status();
    connection_.reset();
    return done;
}
