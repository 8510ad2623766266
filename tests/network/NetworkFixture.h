#pragma once

#include <gtest/gtest.h>
#include <string.h>

#include <memory>
#include <string>

#include "application/Config.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"
#include "tests/support/TestApplication.h"

// Sets a string configuration value of the application.
inline void SetConfig(TestApplication& application, int id, const std::string& value) {
    char* copy = new char[value.size() + 1];
    memcpy(copy, value.c_str(), value.size() + 1);
    application.config()->SetValue(id, copy, static_cast<int>(value.size()), 1);
}

// Sends a GET for / to host over connection and gives back the status
// line and the body, read by hand: ReadLine for the head, Read for the rest.
struct HTTPExchange {
    std::string status;
    std::string body;
    std::string error;
};

inline HTTPExchange GetRoot(NetworkConnection* connection, const char* host, int block = 1024) {
    HTTPExchange exchange;
    if (!connection->Write(5, "GET / HTTP/1.0\r\nHost: %s\r\n\r\n", host)) {
        exchange.error = connection->error().c_str();
        return exchange;
    }
    String line;
    if (connection->ReadLine(line, 5, block) < 0) {
        exchange.error = connection->error().c_str();
        return exchange;
    }
    exchange.status = line.c_str();
    while (connection->ReadLine(line, 5, block) > 2) {
    }
    char buffer[4096];
    for (int count; (count = connection->Read(buffer, sizeof buffer, 5)) > 0;) {
        exchange.body.append(buffer, count);
    }
    return exchange;
}
