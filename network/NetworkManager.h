#pragma once

#include "base/StringClass.h"

class NetworkConnection;
class OxinApplication;
struct evp_pkey_st;
struct x509_st;

// Makes every outgoing connection of the engine: resolves names, connects
// with a deadline, upgrades connections to TLS with the server's identity
// checked, and opens URLs with one HTTP request each. Failures return null,
// false or -1 and leave the text in error().
class NetworkManager {
  public:
    explicit NetworkManager(OxinApplication* application) : application_(application) {}
    NetworkManager(const NetworkManager&) = delete;
    NetworkManager& operator=(const NetworkManager&) = delete;
    virtual ~NetworkManager() = default;

    // Whether host is a numeric address. The base accepts digits and dots.
    virtual bool IsIPAddress(const char* host);
    virtual bool IsIPv4Address(const char* host) { return IsIPAddress(host); }
    virtual bool IsIPv6Address(const char*) { return false; }
    // 1 with the first IPv4 or IPv6 address of host in text form in out; -1
    // when there is none.
    virtual int GetHostAddress(const char* host, String& out);
    // A connection to host on port made within timeout seconds (0: the
    // configured timeout_global); null when no address of host answers.
    virtual NetworkConnection* Connect(const char* host, int port, int timeout) = 0;
    // Upgrades connection to TLS for host, presenting a client certificate
    // when certificate_type is set (from certificate_file, else from
    // certificate_data), and checks the server's certificate against host.
    virtual bool SSL_Connect(NetworkConnection* connection, const char* host,
                             const char* certificate_file, const char* certificate_data,
                             const char* certificate_type, const char* certificate_password,
                             int timeout);

    // Opens url (http or https) and sends one request on its own
    // connection; the caller owns the connection that comes back, with the
    // response to read. content_length -1 with content set means strlen.
    virtual NetworkConnection* OpenURL(const char* method, const char* url, const char* content,
                                       const char* content_type, int content_length,
                                       const char* certificate_file, const char* certificate_data,
                                       const char* certificate_type,
                                       const char* certificate_password, const char* headers,
                                       int headers_length, double http_version, int timeout);
    // The same, with the connection wrapped before the request goes in a
    // new Wrapper(application, host, host_length, port, connection, data),
    // which owns it, so that the wrapper sees all the traffic.
    template <class Wrapper>
    NetworkConnection* OpenURL(const char* method, const char* url, const char* content,
                               const char* content_type, int content_length,
                               const char* certificate_file, const char* certificate_data,
                               const char* certificate_type, const char* certificate_password,
                               const char* headers, int headers_length, double http_version,
                               int timeout, void* data) {
        return OpenURL_Wrapped(method, url, content, content_type, content_length,
                               certificate_file, certificate_data, certificate_type,
                               certificate_password, headers, headers_length, http_version,
                               timeout, &Wrap<Wrapper>, data);
    }
    // The connection of a split URL, TLS for https; the port used goes to
    // *port_out.
    virtual NetworkConnection* OpenURL_Connect(const char* scheme, int scheme_length,
                                               const char* host, int host_length,
                                               const char* port, int port_length, int* port_out,
                                               const char* certificate_file,
                                               const char* certificate_data,
                                               const char* certificate_type,
                                               const char* certificate_password, int timeout);
    // Sends the request head and the content in two writes.
    virtual bool OpenURL_SendRequest(NetworkConnection* connection, const char* method,
                                     const char* path, int path_length, const char* host,
                                     int host_length, const char* port, int port_length,
                                     int port_number, const char* content,
                                     const char* content_type, int content_length,
                                     const char* headers, int headers_length,
                                     double http_version, int timeout);

    // A client certificate and key from data of length bytes, PEM ("" or
    // "p...") or DER ("a..."); the caller owns both.
    virtual bool Populate_Client_Certificate(const char* data, int length, const char* type,
                                             const char* password, x509_st** certificate,
                                             evp_pkey_st** key);
    // The same from a file of the data area.
    virtual bool Load_Client_Certificate(const char* path, const char* type,
                                         const char* password, x509_st** certificate,
                                         evp_pkey_st** key);
    virtual bool Verify_Certificate_Hostname(x509_st* certificate, const char* host);
    virtual bool Verify_Certificate_IP(x509_st* certificate, const char* host);
    // Whether host matches the certificate name pattern of length bytes,
    // with at most one wildcard in its leftmost label.
    virtual bool CompareX509Hostname(const char* host, const char* pattern, int length);
    virtual bool CompareIPv6Addresses(const char* left, const char* right);
    virtual bool ConvertIPv4ToString(const unsigned char* address, char* out, int size);
    virtual bool ConvertIPv6ToString(const unsigned char* address, char* out, int size);
    // Splits url (length -1: strlen) into pointers into it; false when it is
    // no URL of the form scheme://host[:port][/path].
    virtual bool SplitURL(const char* url, int length, const char** scheme, int* scheme_length,
                          const char** host, int* host_length, const char** port,
                          int* port_length, const char** path, int* path_length);

    virtual const String& error() const { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  protected:
    OxinApplication* application_;

  private:
    using Wrapping = NetworkConnection* (*)(OxinApplication* application, const char* host,
                                            int host_length, int port,
                                            NetworkConnection* connection, void* data);
    template <class Wrapper>
    static NetworkConnection* Wrap(OxinApplication* application, const char* host,
                                   int host_length, int port, NetworkConnection* connection,
                                   void* data) {
        return new Wrapper(application, host, host_length, port, connection, data);
    }
    // Both forms of OpenURL: wrap, when not null, wraps the connection.
    NetworkConnection* OpenURL_Wrapped(const char* method, const char* url, const char* content,
                                       const char* content_type, int content_length,
                                       const char* certificate_file, const char* certificate_data,
                                       const char* certificate_type,
                                       const char* certificate_password, const char* headers,
                                       int headers_length, double http_version, int timeout,
                                       Wrapping wrap, void* data);

    String error_;
};
