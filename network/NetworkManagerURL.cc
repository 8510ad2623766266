// Opening a URL: splitting it, connecting (with TLS for https) and sending
// the one request of the connection. The head of the request is written
// here and nowhere else.

#include <cstdio>
#include <cstring>
#include <memory>
#include <strings.h>

#include "base/TextConversion.h"
#include "network/NetworkConnection.h"
#include "network/NetworkManager.h"

namespace {

const char* find(const char* from, const char* end, char c) {
    const void* found = memchr(from, c, end - from);
    return found ? static_cast<const char*>(found) : end;
}

bool is_scheme(const char* scheme, int length, const char* name) {
    return static_cast<int>(strlen(name)) == length && strncasecmp(scheme, name, length) == 0;
}

}  // namespace

bool NetworkManager::SplitURL(const char* url, int length, const char** scheme,
                              int* scheme_length, const char** host, int* host_length,
                              const char** port, int* port_length, const char** path,
                              int* path_length) {
    *scheme = *host = *port = *path = nullptr;
    *scheme_length = *host_length = *port_length = *path_length = 0;
    if (!url) return false;
    if (length < 0) length = static_cast<int>(strlen(url));
    const char* end = url + length;
    const char* p = find(url, end, ':');
    if (p == end) return false;
    *scheme = url;
    *scheme_length = static_cast<int>(p - url);
    p++;
    if (end - p < 2 || p[0] != '/' || p[1] != '/') return false;
    p += 2;
    const char* host_start = p;
    if (p < end && *p == '[') {
        p = find(p, end, ']');
        if (p < end) p++;
    } else {
        while (p < end && *p != ':' && *p != '/' && *p != '?') p++;
    }
    *host = host_start;
    *host_length = static_cast<int>(p - host_start);
    if (p < end && *p == ':') {
        const char* port_start = ++p;
        while (p < end && *p != '/' && *p != '?') p++;
        *port = port_start;
        *port_length = static_cast<int>(p - port_start);
    }
    if (p == end || *p == '?') {
        // No slash: the query, if any, stands behind the request's slash.
        *path = p;
        *path_length = static_cast<int>(end - p);
        return true;
    }
    if (*p != '/') return false;
    *path = p + 1;
    *path_length = static_cast<int>(end - p - 1);
    return true;
}

NetworkConnection* NetworkManager::OpenURL(const char* method, const char* url,
                                           const char* content, const char* content_type,
                                           int content_length, const char* certificate_file,
                                           const char* certificate_data,
                                           const char* certificate_type,
                                           const char* certificate_password, const char* headers,
                                           int headers_length, double http_version, int timeout) {
    return OpenURL_Wrapped(method, url, content, content_type, content_length, certificate_file,
                           certificate_data, certificate_type, certificate_password, headers,
                           headers_length, http_version, timeout, nullptr, nullptr);
}

NetworkConnection* NetworkManager::OpenURL_Wrapped(
    const char* method, const char* url, const char* content, const char* content_type,
    int content_length, const char* certificate_file, const char* certificate_data,
    const char* certificate_type, const char* certificate_password, const char* headers,
    int headers_length, double http_version, int timeout, Wrapping wrap, void* data) {
    const char *scheme, *host, *port, *path;
    int scheme_length, host_length, port_length, path_length;
    if (!SplitURL(url, -1, &scheme, &scheme_length, &host, &host_length, &port, &port_length,
                  &path, &path_length)) {
        Error("Malformed URL");
        return nullptr;
    }
    int port_number = 0;
    std::unique_ptr<NetworkConnection> connection(OpenURL_Connect(
        scheme, scheme_length, host, host_length, port, port_length, &port_number,
        certificate_file, certificate_data, certificate_type, certificate_password, timeout));
    if (!connection) return nullptr;
    if (wrap)
        connection.reset(wrap(application_, host, host_length, port_number, connection.release(),
                              data));
    if (!OpenURL_SendRequest(connection.get(), method, path, path_length, host, host_length, port,
                             port_length, port_number, content, content_type, content_length,
                             headers, headers_length, http_version, timeout))
        return nullptr;
    return connection.release();
}

NetworkConnection* NetworkManager::OpenURL_Connect(
    const char* scheme, int scheme_length, const char* host, int host_length, const char* port,
    int port_length, int* port_out, const char* certificate_file, const char* certificate_data,
    const char* certificate_type, const char* certificate_password, int timeout) {
    bool https = is_scheme(scheme, scheme_length, "https");
    if (!https && !is_scheme(scheme, scheme_length, "http")) {
        Error(String::Join({"Unsupported protocol '", String(scheme, scheme_length).c_str(), "'"}));
        return nullptr;
    }
    if (host_length >= 2 && host[0] == '[' && host[host_length - 1] == ']') {
        host++;
        host_length -= 2;
    }
    String host_text(host, host_length);
    int error = 0;
    int port_number = port ? TextConversion::stoi(port, port_length, &error) : (https ? 443 : 80);
    *port_out = port_number;
    std::unique_ptr<NetworkConnection> connection(Connect(host_text.c_str(), port_number, timeout));
    if (!connection) return nullptr;
    if (https && !SSL_Connect(connection.get(), host_text.c_str(), certificate_file,
                              certificate_data, certificate_type, certificate_password, timeout))
        return nullptr;
    return connection.release();
}

bool NetworkManager::OpenURL_SendRequest(NetworkConnection* connection, const char* method,
                                         const char* path, int path_length, const char* host,
                                         int host_length, const char* port, int port_length,
                                         int port_number, const char* content,
                                         const char* content_type, int content_length,
                                         const char* headers, int headers_length,
                                         double http_version, int timeout) {
    (void)port_length;
    if (content_length == -1) content_length = content ? static_cast<int>(strlen(content)) : 0;
    if (!content) content_length = content_length > 0 ? content_length : 0;
    if (http_version > 9.0) http_version = 1.1;
    if (http_version < 0) http_version = 1.0;
    char number[64];
    String head;
    head.cat(method ? method : "GET");
    head.cat(" /");
    head.cat(path ? path : "", path ? path_length : 0);
    snprintf(number, sizeof number, " HTTP/%.1f\r\n", http_version);
    head.cat(number);
    if (http_version >= 1.0) {
        head.cat("Host: ");
        head.cat(host, host_length);
        if (port) {
            snprintf(number, sizeof number, ":%d", port_number);
            head.cat(number);
        }
        head.cat("\r\n");
    }
    if (content_length > 0) {
        head.cat("Content-Type: ");
        head.cat(content_type ? content_type : "");
        snprintf(number, sizeof number, "\r\nContent-Length: %d\r\n", content_length);
        head.cat(number);
    }
    if (headers && headers_length != 0) head.cat(headers, headers_length);
    head.cat(http_version >= 1.1 ? "Connection: close\r\n\r\n" : "\r\n");
    bool sent = connection->Write(head, timeout);
    if (sent && content && content_length > 0)
        sent = connection->Write(content, content_length, timeout) == content_length;
    if (!sent) Error(connection->error());
    return sent;
}
