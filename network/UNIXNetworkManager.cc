#include "network/UNIXNetworkManager.h"

#include <netdb.h>
#include <stdio.h>
#include <sys/socket.h>

#include <memory>

#include "network/UNIXNetworkConnection.h"

bool UNIXNetworkManager::IsIPAddress(const char* host) {
    return IsNumericAddress(host, AF_UNSPEC);
}

bool UNIXNetworkManager::IsIPv4Address(const char* host) {
    return IsNumericAddress(host, AF_INET);
}

bool UNIXNetworkManager::IsIPv6Address(const char* host) {
    return IsNumericAddress(host, AF_INET6);
}

bool UNIXNetworkManager::IsNumericAddress(const char* host, int family) {
    if (!host) return false;
    addrinfo hints = {};
    hints.ai_family = family;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* addresses = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &addresses) != 0) return false;
    freeaddrinfo(addresses);
    return true;
}

NetworkConnection* UNIXNetworkManager::Connect(const char* host, int port, int timeout) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    addrinfo* addresses = nullptr;
    int result = getaddrinfo(host, nullptr, &hints, &addresses);
    if (result != 0) {
        Error(String::Join({"Error looking up '", host, "': ", gai_strerror(result)}));
        return nullptr;
    }
    std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(addresses, &freeaddrinfo);
    auto connection = std::make_unique<UNIXNetworkConnection>(application_);
    for (addrinfo* address = addresses; address; address = address->ai_next) {
        if (connection->EstablishTCPConnection(address, port, timeout)) return connection.release();
    }
    char number[16];
    snprintf(number, sizeof number, "%d", port);
    Error(String::Join({"Error connecting to ", host, " on port ", number, ": ",
                        connection->error().c_str()}));
    return nullptr;
}
