#pragma once

#include "network/NetworkManager.h"

// The manager on POSIX sockets: numeric addresses through getaddrinfo, and
// connections that try each address of a host in turn.
class UNIXNetworkManager : public NetworkManager {
  public:
    explicit UNIXNetworkManager(OxinApplication* application) : NetworkManager(application) {}

    // Whether host is a numeric address of any family, of IPv4, of IPv6.
    bool IsIPAddress(const char* host) override;
    bool IsIPv4Address(const char* host) override;
    bool IsIPv6Address(const char* host) override;
    NetworkConnection* Connect(const char* host, int port, int timeout) override;

  private:
    bool IsNumericAddress(const char* host, int family);
};
