#include "network/UNIXNetworkConnection.h"

#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <memory>

#include "application/Config.h"
#include "application/OpenSSLLibrary.h"
#include "application/OxinApplication.h"

namespace {

// OpenSSL's result codes of SSL_get_error and the control number that sets
// the server name.
constexpr int kSSLErrorSSL = 1;
constexpr int kSSLErrorWantRead = 2;
constexpr int kSSLErrorWantWrite = 3;
constexpr int kSSLErrorSyscall = 5;
constexpr int kSSLErrorZeroReturn = 6;
constexpr int kSSLControlSetHostName = 55;
constexpr long kHostNameType = 0;

}  // namespace

// The moment an operation must be done by; none when its timeout is 0.
class UNIXNetworkConnection::Deadline {
  public:
    explicit Deadline(int seconds) : limited_(seconds > 0) {
        if (!limited_) return;
        gettimeofday(&end_, nullptr);
        end_.tv_sec += seconds;
    }
    bool limited() const { return limited_; }
    // Milliseconds left, rounded up; negative once the moment has passed.
    long RemainingMilliseconds() const {
        timeval now;
        gettimeofday(&now, nullptr);
        long microseconds = (end_.tv_sec - now.tv_sec) * 1000000L + (end_.tv_usec - now.tv_usec);
        return microseconds < 0 ? -1 : (microseconds + 999) / 1000;
    }

  private:
    bool limited_;
    timeval end_ = {};
};

UNIXNetworkConnection::~UNIXNetworkConnection() {
    FreeTLS();
    CloseSocket();
}

int UNIXNetworkConnection::EffectiveTimeout(int timeout) {
    if (timeout != 0) return timeout;
    Config* config = application_->config();
    return config ? config->value_integer(kConfigTimeoutGlobal) : 0;
}

UNIXNetworkConnection::Wait UNIXNetworkConnection::WaitForSocket(bool write,
                                                                 const Deadline& deadline) {
    for (;;) {
        long remaining = deadline.limited() ? deadline.RemainingMilliseconds() : -1;
        if (deadline.limited() && remaining < 0) return Wait::kDeadlinePassed;
        pollfd descriptor = {socket_, static_cast<short>(write ? POLLOUT : POLLIN), 0};
        int ready = poll(&descriptor, 1, static_cast<int>(remaining));
        if (ready > 0) return Wait::kReady;
        if (ready == 0) return Wait::kNothingReady;
        if (errno != EINTR) return Wait::kFailed;
    }
}

void UNIXNetworkConnection::FreeTLS() {
    OpenSSLLibrary* ssl = application_->openssl();
    if (peer_certificate_) ssl->X509_free(peer_certificate_);
    if (ssl_) ssl->SSL_free(ssl_);
    if (client_certificate_) ssl->X509_free(client_certificate_);
    if (client_key_) ssl->EVP_PKEY_free(client_key_);
    peer_certificate_ = nullptr;
    ssl_ = nullptr;
    client_certificate_ = nullptr;
    client_key_ = nullptr;
}

void UNIXNetworkConnection::CloseSocket() {
    if (socket_ >= 0) close(socket_);
    socket_ = -1;
}

bool UNIXNetworkConnection::EstablishTCPConnection(addrinfo* address, int port, int timeout) {
    FreeTLS();
    CloseSocket();
    sockaddr_storage target = {};
    if (address->ai_family == AF_INET) {
        memcpy(&target, address->ai_addr, sizeof(sockaddr_in));
        reinterpret_cast<sockaddr_in*>(&target)->sin_port = htons(static_cast<uint16_t>(port));
    } else if (address->ai_family == AF_INET6) {
        memcpy(&target, address->ai_addr, sizeof(sockaddr_in6));
        reinterpret_cast<sockaddr_in6*>(&target)->sin6_port = htons(static_cast<uint16_t>(port));
    } else {
        char number[16];
        snprintf(number, sizeof number, "%d", address->ai_family);
        Error(String::Join({"Unsupported address family ", number}));
        return false;
    }
    socket_ = socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (socket_ < 0 || fcntl(socket_, F_SETFL, fcntl(socket_, F_GETFL) | O_NONBLOCK) < 0) {
        Error(String(application_->lasterror()));
        CloseSocket();
        return false;
    }
    if (connect(socket_, reinterpret_cast<sockaddr*>(&target), address->ai_addrlen) == 0) {
        return true;
    }
    if (errno != EINPROGRESS) {
        Error(String(application_->lasterror()));
        CloseSocket();
        return false;
    }
    Wait wait = WaitForSocket(true, Deadline(EffectiveTimeout(timeout)));
    if (wait != Wait::kReady) {
        Error(String(wait == Wait::kFailed ? application_->lasterror() : "Connection timed out"));
        CloseSocket();
        return false;
    }
    int failure = 0;
    socklen_t size = sizeof failure;
    if (getsockopt(socket_, SOL_SOCKET, SO_ERROR, &failure, &size) < 0) failure = errno;
    if (failure == 0) return true;
    char text[32];
    snprintf(text, sizeof text, "Unknown error %d", failure);
    Error(String(failure == ENETUNREACH    ? "Network unreachable"
                 : failure == ETIMEDOUT    ? "Connection timed out"
                 : failure == ECONNREFUSED ? "Connection refused"
                                           : text));
    CloseSocket();
    return false;
}

bool UNIXNetworkConnection::EstablishTLSConnection(const char* sni_host, x509_st* certificate,
                                                   evp_pkey_st* key, int timeout) {
    OpenSSLLibrary* ssl = application_->openssl();
    if (socket_ < 0) {
        if (certificate) ssl->X509_free(certificate);
        if (key) ssl->EVP_PKEY_free(key);
        Error(String("TCP connection not established"));
        return false;
    }
    FreeTLS();
    client_certificate_ = certificate;
    client_key_ = key;
    ssl_ = ssl->SSL_new(ssl->context());
    if (!ssl_) {
        Error(String::Join({"Error allocating SSL handle: ", ssl->ErrorReason()}));
        return false;
    }
    if (sni_host) {
        ssl->SSL_ctrl(ssl_, kSSLControlSetHostName, kHostNameType, const_cast<char*>(sni_host));
    }
    if (certificate && key) {
        if (ssl->SSL_use_certificate(ssl_, certificate) != 1) {
            Error(String::Join({"Error assigning client certificate: ", ssl->ErrorReason()}));
            return false;
        }
        if (ssl->SSL_use_PrivateKey(ssl_, key) != 1) {
            Error(String::Join({"Error assigning client key: ", ssl->ErrorReason()}));
            return false;
        }
    }
    ssl->SSL_set_fd(ssl_, socket_);
    Deadline deadline(EffectiveTimeout(timeout));
    const char* prefix = "Error establishing SSL connection: ";
    for (;;) {
        int result = ssl->SSL_connect(ssl_);
        if (result == 1) return true;
        int code = ssl->SSL_get_error(ssl_, result);
        if (code == kSSLErrorSSL || code == kSSLErrorSyscall) {
            Error(String::Join({prefix, ssl->ErrorReason()}));
            return false;
        }
        if (code == kSSLErrorZeroReturn) {
            Error(String::Join({prefix, "The remote server closed the connection"}));
            return false;
        }
        if (code != kSSLErrorWantRead && code != kSSLErrorWantWrite) {
            Error(String::Join({prefix, "Unknown error"}));
            return false;
        }
        Wait wait = WaitForSocket(code == kSSLErrorWantWrite, deadline);
        if (wait == Wait::kReady) continue;
        Error(wait == Wait::kFailed           ? String::Join({prefix, application_->lasterror()})
              : wait == Wait::kDeadlinePassed ? String::Join({prefix, "Connection timed out"})
                                              : String("Error establishing SSL connection"));
        return false;
    }
}

x509_st* UNIXNetworkConnection::Server_Certificate() {
    if (ssl_ && !peer_certificate_) {
        peer_certificate_ = application_->openssl()->SSL_get_peer_certificate(ssl_);
    }
    return peer_certificate_;
}

int UNIXNetworkConnection::Read(char* buffer, int length, int timeout) {
    if (ssl_) return SSL_Read(buffer, length, timeout);
    if (socket_ < 0) {
        Error(String("Read Error"));
        return -1;
    }
    Deadline deadline(EffectiveTimeout(timeout));
    for (;;) {
        ssize_t count = read(socket_, buffer, length);
        if (count >= 0) return static_cast<int>(count);
        if (errno == EINTR) continue;
        Wait wait = errno == EAGAIN || errno == EWOULDBLOCK ? WaitForSocket(false, deadline)
                                                            : Wait::kFailed;
        if (wait == Wait::kReady) continue;
        Error(wait == Wait::kFailed ? String::Join({"Read Error: ", application_->lasterror()})
                                    : String("Read Timeout"));
        return -1;
    }
}

int UNIXNetworkConnection::ReadLine(String& out, int timeout, int block) {
    if (ssl_) return SSL_ReadLine(out, timeout, block);
    out.destroy();
    if (socket_ < 0 || block <= 0) {
        Error(String("Read Error"));
        return -1;
    }
    auto buffer = std::make_unique<char[]>(block);
    Deadline deadline(EffectiveTimeout(timeout));
    for (;;) {
        ssize_t peeked = recv(socket_, buffer.get(), block, MSG_PEEK);
        if (peeked == 0) {
            Error(String("Read Error: Connection closed by remote host"));
            return -1;
        }
        if (peeked < 0) {
            if (errno == EINTR) continue;
            Wait wait = errno == EAGAIN || errno == EWOULDBLOCK ? WaitForSocket(false, deadline)
                                                                : Wait::kFailed;
            if (wait == Wait::kReady) continue;
            Error(wait == Wait::kFailed
                      ? String::Join({"Read Error: ", application_->lasterror()})
                      : String("Read Timeout"));
            return -1;
        }
        // Take the bytes through the line feed, or all that is there.
        const char* feed = static_cast<const char*>(memchr(buffer.get(), '\n', peeked));
        ssize_t wanted = feed ? feed - buffer.get() + 1 : peeked;
        ssize_t taken = recv(socket_, buffer.get(), wanted, 0);
        if (taken < 0) {
            if (errno == EINTR) continue;
            Error(String::Join({"Read Error: ", application_->lasterror()}));
            return -1;
        }
        out.cat(buffer.get(), static_cast<int>(taken));
        if (feed && taken == wanted) return out.length();
    }
}

int UNIXNetworkConnection::Write(const char* buffer, int length, int timeout) {
    if (ssl_) return SSL_Write(buffer, length, timeout);
    if (socket_ < 0) {
        Error(String("Write Error"));
        return -1;
    }
    Deadline deadline(EffectiveTimeout(timeout));
    int sent = 0;
    while (sent < length) {
        ssize_t count = send(socket_, buffer + sent, length - sent, MSG_NOSIGNAL);
        if (count > 0) {
            sent += static_cast<int>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) continue;
        Wait wait = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)
                        ? WaitForSocket(true, deadline)
                        : Wait::kFailed;
        if (wait == Wait::kReady) continue;
        if (wait == Wait::kFailed) {
            Error(count < 0 ? String::Join({"Write Error: ", application_->lasterror()})
                            : String("Write Error"));
        } else {
            Error(String("Write Timeout"));
        }
        return -1;
    }
    return length;
}

void UNIXNetworkConnection::SSLFailure(int code) {
    if (code == kSSLErrorZeroReturn) {
        Error(String("SSL Read Error: The remote server closed the connection"));
    } else if (code == kSSLErrorSSL || code == kSSLErrorSyscall) {
        Error(String::Join({"SSL Read Error: ", application_->openssl()->ErrorReason()}));
    } else {
        Error(String("SSL Read Error: Unknown error"));
    }
}

int UNIXNetworkConnection::SSLReadWithin(char* buffer, int length, const Deadline& deadline) {
    OpenSSLLibrary* ssl = application_->openssl();
    for (;;) {
        int count = ssl->SSL_read(ssl_, buffer, length);
        if (count > 0) return count;
        int code = ssl->SSL_get_error(ssl_, count);
        if (code != kSSLErrorWantRead && code != kSSLErrorWantWrite) {
            SSLFailure(code);
            return code == kSSLErrorZeroReturn ? 0 : -1;
        }
        Wait wait = WaitForSocket(code == kSSLErrorWantWrite, deadline);
        if (wait == Wait::kReady) continue;
        Error(String(wait == Wait::kFailed ? "SSL Read Error" : "SSL Read Timeout"));
        return -1;
    }
}

int UNIXNetworkConnection::SSL_Read(char* buffer, int length, int timeout) {
    return SSLReadWithin(buffer, length, Deadline(EffectiveTimeout(timeout)));
}

int UNIXNetworkConnection::SSL_ReadLine(String& out, int timeout, int) {
    out.destroy();
    Deadline deadline(EffectiveTimeout(timeout));
    for (;;) {
        char c;
        int count = SSLReadWithin(&c, 1, deadline);
        if (count <= 0) return -1;
        out.cat(c);
        if (c == '\n') return out.length();
    }
}

int UNIXNetworkConnection::SSL_Write(const char* buffer, int length, int timeout) {
    OpenSSLLibrary* ssl = application_->openssl();
    Deadline deadline(EffectiveTimeout(timeout));
    int sent = 0;
    while (sent < length) {
        int count = ssl->SSL_write(ssl_, buffer + sent, length - sent);
        if (count > 0) {
            sent += count;
            continue;
        }
        int code = ssl->SSL_get_error(ssl_, count);
        if (code != kSSLErrorWantRead && code != kSSLErrorWantWrite) {
            SSLFailure(code);
            return -1;
        }
        Wait wait = WaitForSocket(code == kSSLErrorWantWrite, deadline);
        if (wait == Wait::kReady) continue;
        Error(wait == Wait::kFailed ? String::Join({"Write Error: ", application_->lasterror()})
                                    : String("Write Timeout"));
        return -1;
    }
    return length;
}
