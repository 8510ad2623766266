// The network family of the exported interface: outgoing connections and
// HTTP requests through the engine's network manager, so that a library
// keeps the engine's timeouts and TLS checks.

#include <cstring>

#include "application/OxinApplication.h"
#include "extensions/oxin_extension.h"
#include "host/exports/ExportSupport.h"
#include "network/HTTPResponseStream.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"
#include "runtime/OxinVM.h"

namespace {

constexpr int kLineLimit = 512;

NetworkManager* network(OxinVM* vm) {
    return vm ? vm->oxinapplication()->networkmanager() : nullptr;
}

// Copies text into buffer of size bytes, cut to fit and always terminated;
// the length copied.
int copy_terminated(const String& text, char* buffer, int size) {
    if (!buffer || size <= 0) return 0;
    int length = text.length() < size - 1 ? text.length() : size - 1;
    memcpy(buffer, text.c_str(), length);
    buffer[length] = '\0';
    return length;
}

const char* error_text(const String* error, int* length) {
    if (length) *length = error ? error->length() : 0;
    return error ? error->c_str() : "";
}

}  // namespace

extern "C" {

int oxNetwork_Is_IP_Address(OxinVM* vm, const char* host) {
    NetworkManager* manager = network(vm);
    return manager && host && manager->IsIPAddress(host) ? 1 : 0;
}

int oxNetwork_Get_Host_Address(OxinVM* vm, const char* host, char* buffer, int size) {
    NetworkManager* manager = network(vm);
    String address;
    if (!manager || !host || manager->GetHostAddress(host, address) != 1) {
        copy_terminated(String(""), buffer, size);
        return -1;
    }
    copy_terminated(address, buffer, size);
    return 1;
}

NetworkConnection* oxNetwork_Connect(OxinVM* vm, const char* host, int port) {
    NetworkManager* manager = network(vm);
    return manager && host ? manager->Connect(host, port, 0) : nullptr;
}

NetworkConnection* oxNetwork_Connect_SSL(OxinVM* vm, const char* host, int port) {
    NetworkConnection* connection = oxNetwork_Connect(vm, host, port);
    if (!connection) return nullptr;
    if (!network(vm)->SSL_Connect(connection, host, nullptr, nullptr, nullptr, nullptr, 0)) {
        network(vm)->Error(connection->error());
        delete connection;
        return nullptr;
    }
    return connection;
}

NetworkConnection* oxNetwork_Open_URL(OxinVM* vm, const char* method, const char* url,
                                      const char* content, const char* content_type,
                                      int content_length, const char* headers, int timeout) {
    NetworkManager* manager = network(vm);
    if (!manager || !url) return nullptr;
    if (!content) content_length = 0;
    return manager->OpenURL(method ? method : "GET", url, content, content_type, content_length,
                            nullptr, nullptr, nullptr, nullptr, headers, measured(headers, -1),
                            1.0, timeout);
}

int oxNetwork_Read(NetworkConnection* connection, char* buffer, int length, int timeout) {
    return connection && buffer ? connection->Read(buffer, length, timeout) : -1;
}

int oxNetwork_Read_Line(NetworkConnection* connection, char* buffer, int size, int timeout) {
    if (!connection || !buffer || size <= 0) return -1;
    String line;
    if (connection->ReadLine(line, timeout, kLineLimit) < 0) return -1;
    return copy_terminated(line, buffer, size);
}

int oxNetwork_Write(NetworkConnection* connection, const char* buffer, int length, int timeout) {
    if (!connection || !buffer) return -1;
    return connection->Write(buffer, measured(buffer, length), timeout);
}

void oxNetwork_Close(NetworkConnection* connection) {
    delete connection;
}

const char* oxNetwork_Error(OxinVM* vm, NetworkConnection* connection, int* length) {
    NetworkManager* manager = network(vm);
    return error_text(connection ? &connection->error() : manager ? &manager->error() : nullptr,
                      length);
}

HTTPResponseStream* oxNetwork_HTTP_Request(OxinVM* vm, const char* method, const char* url,
                                           const char* content, const char* content_type,
                                           int content_length, const char* headers,
                                           int timeout) {
    NetworkConnection* connection = oxNetwork_Open_URL(vm, method, url, content, content_type,
                                                       content_length, headers, timeout);
    if (!connection) return nullptr;
    auto* response = new HTTPResponseStream(connection, timeout);
    if (!response->Read_Headers()) {
        network(vm)->Error(response->error());
        delete response;
        return nullptr;
    }
    return response;
}

int oxHTTPResponse_Status_Code(HTTPResponseStream* response) {
    return response ? response->status() : -1;
}

int oxHTTPResponse_Content_Length(HTTPResponseStream* response) {
    return response ? response->content_length() : -1;
}

int oxHTTPResponse_Read(HTTPResponseStream* response, char* buffer, int length) {
    return response && buffer ? response->Read(buffer, length) : -1;
}

void oxHTTPResponse_Close(HTTPResponseStream* response) {
    delete response;
}

const char* oxHTTPResponse_Error(OxinVM* vm, HTTPResponseStream* response, int* length) {
    NetworkManager* manager = network(vm);
    return error_text(response ? &response->error() : manager ? &manager->error() : nullptr,
                      length);
}

}  // extern "C"
