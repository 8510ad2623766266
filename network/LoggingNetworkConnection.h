#pragma once

#include <memory>

#include "base/StringClass.h"
#include "network/NetworkConnection.h"

// A connection that passes everything to the connection it wraps, which it
// owns, and reports what went through: the bytes of each successful read,
// line read and write, and each failure. What becomes of the reports is a
// subclass's business; a read of 0 bytes reports nothing.
class LoggingNetworkConnection : public NetworkConnection {
  public:
    // Wraps connection to host (length bytes, -1: up to the NUL) on port.
    LoggingNetworkConnection(OxinApplication* application, const char* host, int host_length,
                             int port, NetworkConnection* connection);

    bool EstablishTLSConnection(const char* sni_host, x509_st* certificate, evp_pkey_st* key,
                                int timeout) override;
    x509_st* Server_Certificate() override;
    int Read(char* buffer, int length, int timeout) override;
    int ReadLine(String& out, int timeout, int block) override;
    int Write(const char* buffer, int length, int timeout) override;
    using NetworkConnection::Write;
    const String& error() const override;
    void Error(const String& text) override;

    const String& host() const { return host_; }
    int port() const { return port_; }

  protected:
    // The reports: data read or written, or a failure of either.
    virtual void Log_Read_Data(const char* data, int length) = 0;
    virtual void Log_Write_Data(const char* data, int length) = 0;
    virtual void Log_Read_Error() = 0;
    virtual void Log_Write_Error() = 0;

  private:
    void Read_Result(const char* data, int result);

    String host_;
    int port_;
    std::unique_ptr<NetworkConnection> connection_;
};
