#pragma once

#include <memory>

#include "base/StringClass.h"

class NetworkConnection;
class OxinApplication;

// The base of the line protocols (SMTP, POP3): one server, one connection
// at a time, and the protocol's greeting read on connecting. Failures
// return false and leave the text in error().
class NetworkService {
  public:
    // host of length bytes in a buffer of size bytes: with *adopt set the
    // service takes the buffer (from new[]) and clears *adopt; otherwise
    // it copies the text.
    NetworkService(OxinApplication* application, char* host, int length, int size, int* adopt,
                   int port, int timeout);
    virtual ~NetworkService();
    NetworkService(const NetworkService&) = delete;
    NetworkService& operator=(const NetworkService&) = delete;

    // Drops any old connection, connects to the host and reads the
    // protocol's greeting; the greeting's verdict is the result.
    virtual bool Connect();
    // Reads and judges the server's status reply.
    virtual bool Read_Status() = 0;
    // The open connection; null before Connect or after a failed one.
    virtual NetworkConnection* Connection() { return connection_.get(); }
    virtual const String& error() const { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  protected:
    // Drops any old connection and connects to the host, reading nothing.
    bool Open_Connection();

    OxinApplication* application_;
    std::unique_ptr<NetworkConnection> connection_;
    String host_;
    int port_;
    int timeout_;

  private:
    String error_;
};
