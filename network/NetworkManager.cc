#include "network/NetworkManager.h"

#include <arpa/inet.h>
#include <ctype.h>
#include <netdb.h>
#include <netinet/in.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>

#include "application/Config.h"
#include "application/OpenSSLLibrary.h"
#include "application/OxinApplication.h"
#include "files/FileManager.h"
#include "network/NetworkConnection.h"

namespace {

// OpenSSL's numbers, fixed by its interface.
constexpr int kNidCommonName = 13;
constexpr int kNidSubjectAltName = 85;
constexpr int kGeneralNameDNS = 2;
constexpr int kGeneralNameIPAddress = 7;
constexpr int kBIOControlReset = 1;
// flags_security bits of the server identity checks.
constexpr int kSecurityNoHostnameCheck = 0x2000;
constexpr int kSecurityCheckIPAddress = 0x4000;
// SSLeay() of the first version that sends the server name.
constexpr unsigned long kFirstVersionWithSNI = 0x10000000UL;

// A subject alternative name as OpenSSL lays it out: the kind, then the
// pointer of a union whose members are all pointers.
struct GeneralName {
    int type;
    asn1_string_st* data;
};

int SecurityFlags(OxinApplication* application) {
    Config* config = application->config();
    int flags = config ? config->value_integer(kConfigFlagsSecurity) : 0;
    return flags < 0 ? 0 : flags;
}

// Hands the PEM readers the password of the key; userdata is the
// password text, null for none.
int Load_Client_Certificate_Password_Callback(char* buffer, int size, int, void* userdata) {
    const char* password = static_cast<const char*>(userdata);
    if (!password) return 0;
    int length = std::min(size, static_cast<int>(strlen(password)));
    memcpy(buffer, password, length);
    return length;
}

}  // namespace

bool NetworkManager::IsIPAddress(const char* host) {
    if (!host || !*host) return false;
    for (const char* c = host; *c; c++) {
        if (!isdigit(static_cast<unsigned char>(*c)) && *c != '.') return false;
    }
    return true;
}

int NetworkManager::GetHostAddress(const char* host, String& out) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    addrinfo* addresses = nullptr;
    int result = getaddrinfo(host, nullptr, &hints, &addresses);
    if (result != 0) {
        Error(String::Join({"Error looking up '", host, "': ", gai_strerror(result)}));
        return -1;
    }
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(addresses, &freeaddrinfo);
    for (addrinfo* address = addresses; address; address = address->ai_next) {
        char text[INET6_ADDRSTRLEN] = {};
        const void* bytes = nullptr;
        if (address->ai_family == AF_INET) {
            bytes = &reinterpret_cast<sockaddr_in*>(address->ai_addr)->sin_addr;
        } else if (address->ai_family == AF_INET6) {
            bytes = &reinterpret_cast<sockaddr_in6*>(address->ai_addr)->sin6_addr;
        } else {
            continue;
        }
        if (!inet_ntop(address->ai_family, bytes, text, sizeof text)) continue;
        out = String(text);
        return 1;
    }
    Error(String::Join({"Error looking up '", host, "': No supported address families found"}));
    return -1;
}

bool NetworkManager::SSL_Connect(NetworkConnection* connection, const char* host,
                                 const char* certificate_file, const char* certificate_data,
                                 const char* certificate_type, const char* certificate_password,
                                 int timeout) {
    String error;
    if (!application_->SSL_Available(&error)) {
        Error(error);
        return false;
    }
    x509_st* certificate = nullptr;
    evp_pkey_st* key = nullptr;
    if (certificate_type) {
        bool loaded = true;
        if (certificate_file && *certificate_file) {
            loaded = Load_Client_Certificate(certificate_file, certificate_type,
                                             certificate_password, &certificate, &key);
        } else if (certificate_data) {
            loaded = Populate_Client_Certificate(
                certificate_data, static_cast<int>(strlen(certificate_data)), certificate_type,
                certificate_password, &certificate, &key);
        }
        if (!loaded) return false;
    }
    bool numeric = IsIPAddress(host);
    Config* config = application_->config();
    int sni = config ? config->value_integer(kConfigSslSni) : -1;
    bool send_name = !numeric && (sni == 1 || (sni != 0 && application_->openssl()->SSLeay() >=
                                                               kFirstVersionWithSNI));
    if (!connection->EstablishTLSConnection(send_name ? host : nullptr, certificate, key,
                                            timeout)) {
        Error(connection->error());
        return false;
    }
    x509_st* peer = connection->Server_Certificate();
    bool verified =
        numeric ? Verify_Certificate_IP(peer, host) : Verify_Certificate_Hostname(peer, host);
    if (!verified) {
        Error(String("Unable to verify server identity"));
        return false;
    }
    return true;
}

bool NetworkManager::Populate_Client_Certificate(const char* data, int length, const char* type,
                                                 const char* password, x509_st** certificate,
                                                 evp_pkey_st** key) {
    String error;
    if (!application_->SSL_Available(&error)) {
        Error(error);
        return false;
    }
    OpenSSLLibrary* ssl = application_->openssl();
    bio_st* bio = ssl->BIO_new_mem_buf(data, length);
    if (!bio) {
        Error(String::Join({"Unable to read from client certificate buffer: ", ssl->ErrorReason()}));
        return false;
    }
    char kind = type && *type ? static_cast<char>(tolower(static_cast<unsigned char>(*type))) : 'p';
    if (kind != 'p' && kind != 'a') {
        ssl->BIO_free(bio);
        Error(String::Join({"Unsupported certificate type '", type, "'"}));
        return false;
    }
    void* secret = const_cast<char*>(password);
    auto callback = &Load_Client_Certificate_Password_Callback;
    *certificate = kind == 'p' ? ssl->PEM_read_bio_X509(bio, nullptr, callback, secret)
                               : ssl->d2i_X509_bio(bio, nullptr);
    if (!*certificate) {
        Error(String::Join({"Error reading client certificate: ", ssl->ErrorReason()}));
        ssl->BIO_free(bio);
        return false;
    }
    ssl->BIO_ctrl(bio, kBIOControlReset, 0, nullptr);
    *key = kind == 'p' ? ssl->PEM_read_bio_PrivateKey(bio, nullptr, callback, secret)
                       : ssl->d2i_PrivateKey_bio(bio, nullptr);
    ssl->BIO_free(bio);
    if (!*key) {
        Error(String::Join({"Error reading client key: ", ssl->ErrorReason()}));
        ssl->X509_free(*certificate);
        *certificate = nullptr;
        return false;
    }
    return true;
}

bool NetworkManager::Load_Client_Certificate(const char* path, const char* type,
                                             const char* password, x509_st** certificate,
                                             evp_pkey_st** key) {
    FileManager* files = application_->filemanager();
    std::unique_ptr<File> file(files->Open(OxinPathData, path, FileOpenRead));
    if (!file) {
        Error(String::Join({"Unable to load client certificate: ", files->error().c_str()}));
        return false;
    }
    long length = file->Length();
    const char* bytes = length > 0 ? file->Map(0, length) : nullptr;
    if (!bytes) {
        Error(String::Join({"Unable to read from client certificate file: ",
                            file->error().c_str()}));
        return false;
    }
    bool populated = Populate_Client_Certificate(bytes, static_cast<int>(length), type, password,
                                                 certificate, key);
    file->Release();
    return populated;
}

bool NetworkManager::Verify_Certificate_Hostname(x509_st* certificate, const char* host) {
    if (SecurityFlags(application_) & kSecurityNoHostnameCheck) return true;
    if (!certificate) return false;
    OpenSSLLibrary* ssl = application_->openssl();
    auto* names = static_cast<stack_st*>(
        ssl->X509_get_ext_d2i(certificate, kNidSubjectAltName, nullptr, nullptr));
    if (names) {
        bool matched = false;
        int count = ssl->sk_num(names);
        for (int i = 0; i < count && !matched; i++) {
            auto* name = static_cast<const GeneralName*>(ssl->sk_value(names, i));
            if ((name->type & 0x7f) != kGeneralNameDNS) continue;
            matched = CompareX509Hostname(
                host, reinterpret_cast<const char*>(ssl->ASN1_STRING_data(name->data)),
                ssl->ASN1_STRING_length(name->data));
        }
        ssl->sk_pop_free(names, ssl->GENERAL_NAME_free);
        if (matched) return true;
    }
    X509_name_st* subject = ssl->X509_get_subject_name(certificate);
    int index = subject ? ssl->X509_NAME_get_index_by_NID(subject, kNidCommonName, -1) : -1;
    asn1_string_st* common_name =
        index >= 0 ? ssl->NameEntryData(ssl->X509_NAME_get_entry(subject, index)) : nullptr;
    if (!common_name) return false;
    return CompareX509Hostname(
        host, reinterpret_cast<const char*>(ssl->ASN1_STRING_data(common_name)),
        ssl->ASN1_STRING_length(common_name));
}

bool NetworkManager::Verify_Certificate_IP(x509_st* certificate, const char* host) {
    if (!(SecurityFlags(application_) & kSecurityCheckIPAddress)) return true;
    if (!certificate) return false;
    OpenSSLLibrary* ssl = application_->openssl();
    auto* names = static_cast<stack_st*>(
        ssl->X509_get_ext_d2i(certificate, kNidSubjectAltName, nullptr, nullptr));
    if (!names) return false;
    bool matched = false;
    int count = ssl->sk_num(names);
    for (int i = 0; i < count && !matched; i++) {
        auto* name = static_cast<const GeneralName*>(ssl->sk_value(names, i));
        if ((name->type & 0x7f) != kGeneralNameIPAddress) continue;
        const unsigned char* bytes = ssl->ASN1_STRING_data(name->data);
        int length = ssl->ASN1_STRING_length(name->data);
        char text[INET6_ADDRSTRLEN] = {};
        if (length == 4) {
            matched = ConvertIPv4ToString(bytes, text, sizeof text) && strcasecmp(text, host) == 0;
        } else if (length == 16) {
            matched = ConvertIPv6ToString(bytes, text, sizeof text) &&
                      CompareIPv6Addresses(text, host);
        }
    }
    ssl->sk_pop_free(names, ssl->GENERAL_NAME_free);
    return matched;
}

bool NetworkManager::CompareX509Hostname(const char* host, const char* pattern, int length) {
    if (!host || !pattern || length <= 0) return false;
    int host_length = static_cast<int>(strlen(host));
    if (host_length == length && strncasecmp(host, pattern, length) == 0 &&
        memchr(pattern, 0, length) == nullptr) {
        return true;
    }
    // The wildcard: one only, in the leftmost label, followed by a dot and
    // at least two labels.
    int star = -1;
    int dots = 0;
    for (int i = length - 1; i >= 0; i--) {
        if (pattern[i] == '*') {
            if (star >= 0 || dots < 2 || i + 1 >= length || pattern[i + 1] != '.') return false;
            star = i;
        } else if (pattern[i] == '.') {
            if (star >= 0) return false;
            dots++;
        }
    }
    if (star < 0) return false;
    // Internationalized labels never match a partial wildcard.
    if (star > 0 && host_length >= 4 && strncasecmp(host, "xn--", 4) == 0) return false;
    const char* first_dot = strchr(host, '.');
    if (!first_dot) return false;
    int label = static_cast<int>(first_dot - host);
    if (star > 0 && (label < star || strncasecmp(host, pattern, star) != 0)) return false;
    int rest = length - star - 1;
    if (host_length - label != rest) return false;
    return strncasecmp(first_dot, pattern + star + 1, rest) == 0 &&
           memchr(pattern + star + 1, 0, rest) == nullptr;
}

bool NetworkManager::CompareIPv6Addresses(const char* left, const char* right) {
    unsigned char left_bytes[16], right_bytes[16];
    if (!left || !right) return false;
    if (inet_pton(AF_INET6, left, left_bytes) != 1) return false;
    if (inet_pton(AF_INET6, right, right_bytes) != 1) return false;
    return memcmp(left_bytes, right_bytes, 16) == 0;
}

bool NetworkManager::ConvertIPv4ToString(const unsigned char* address, char* out, int size) {
    if (!address || !out || size < INET_ADDRSTRLEN) return false;
    return inet_ntop(AF_INET, address, out, size) != nullptr;
}

bool NetworkManager::ConvertIPv6ToString(const unsigned char* address, char* out, int size) {
    if (!address || !out || size < INET6_ADDRSTRLEN) return false;
    return inet_ntop(AF_INET6, address, out, size) != nullptr;
}
