#pragma once

#include "network/NetworkConnection.h"

struct addrinfo;
struct ssl_st;

// A connection over a non-blocking POSIX socket. Every wait is bounded by
// a deadline taken when the operation starts; with TLS established, reads
// and writes go through OpenSSL. The connection owns its socket and every
// OpenSSL object it holds.
class UNIXNetworkConnection : public NetworkConnection {
  public:
    explicit UNIXNetworkConnection(OxinApplication* application)
        : NetworkConnection(application) {}
    ~UNIXNetworkConnection() override;

    // Connects to address on port within timeout seconds, after dropping
    // whatever the connection held. False with the reason in error().
    bool EstablishTCPConnection(addrinfo* address, int port, int timeout);

    bool EstablishTLSConnection(const char* sni_host, x509_st* certificate, evp_pkey_st* key,
                                int timeout) override;
    x509_st* Server_Certificate() override;
    int Read(char* buffer, int length, int timeout) override;
    int ReadLine(String& out, int timeout, int block) override;
    int Write(const char* buffer, int length, int timeout) override;

    // The TLS forms of Read, ReadLine and Write. SSL_Read gives 0 when the
    // server closed the TLS session, with the reason in error(); SSL_ReadLine
    // reads byte by byte, since OpenSSL buffers what lies behind the line.
    int SSL_Read(char* buffer, int length, int timeout);
    int SSL_ReadLine(String& out, int timeout, int block);
    int SSL_Write(const char* buffer, int length, int timeout);

  private:
    class Deadline;
    enum class Wait { kReady, kDeadlinePassed, kNothingReady, kFailed };

    // The timeout in force: 0 means timeout_global; after that 0 is none.
    int EffectiveTimeout(int timeout);
    // Waits until the socket can be read (or written) or the deadline passes.
    Wait WaitForSocket(bool write, const Deadline& deadline);
    // One bounded read of OpenSSL, shared by SSL_Read and SSL_ReadLine.
    int SSLReadWithin(char* buffer, int length, const Deadline& deadline);
    // The message of an OpenSSL failure code, for reads and writes.
    void SSLFailure(int code);
    // Frees the OpenSSL objects, peer certificate first.
    void FreeTLS();
    void CloseSocket();

    int socket_ = -1;
    ssl_st* ssl_ = nullptr;
    x509_st* peer_certificate_ = nullptr;
    x509_st* client_certificate_ = nullptr;
    evp_pkey_st* client_key_ = nullptr;
};
