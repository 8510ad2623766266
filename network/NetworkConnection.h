#pragma once

#include "base/StringClass.h"

class OxinApplication;
struct evp_pkey_st;
struct x509_st;

// One outgoing TCP connection, plain or upgraded in place to TLS. Reads and
// writes look blocking but wait at most timeout seconds: 0 means the
// configured timeout_global, and when that is 0 too, no limit. Failures
// return -1 (or false) and leave the text in error().
class NetworkConnection {
  public:
    explicit NetworkConnection(OxinApplication* application) : application_(application) {}
    NetworkConnection(const NetworkConnection&) = delete;
    NetworkConnection& operator=(const NetworkConnection&) = delete;
    virtual ~NetworkConnection() = default;

    // Runs the TLS handshake over the connected socket, sending sni_host when
    // not null. Takes ownership of certificate and key (either may be null),
    // which are presented to the server when both are given.
    virtual bool EstablishTLSConnection(const char* sni_host, x509_st* certificate,
                                        evp_pkey_st* key, int timeout) = 0;
    // The server's certificate once TLS is established, owned by the
    // connection; null without TLS.
    virtual x509_st* Server_Certificate() = 0;
    // Reads up to length bytes: the count read, 0 at the end of the stream,
    // -1 on failure.
    virtual int Read(char* buffer, int length, int timeout) = 0;
    // Reads one line, its line feed included, into out, reading at most
    // block bytes at a time; nothing behind the line is consumed. The
    // length, or -1 on failure.
    virtual int ReadLine(String& out, int timeout, int block) = 0;
    // Writes all length bytes: length, or -1 on failure.
    virtual int Write(const char* buffer, int length, int timeout) = 0;
    virtual const String& error() const { return error_; }
    virtual void Error(const String& text) { error_ = text; }

    // Writes all of text; true when all went.
    bool Write(const String& text, int timeout);
    // Formats into an 8192-byte buffer as vsnprintf does and writes that;
    // true when all went.
    bool Write(int timeout, const char* format, ...) __attribute__((format(printf, 3, 4)));

  protected:
    OxinApplication* application_;

  private:
    String error_;
};
