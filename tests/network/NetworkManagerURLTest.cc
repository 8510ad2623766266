#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "network/NetworkManager.h"
#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/TestText.h"

namespace {

std::string Part(const char* text, int length) {
    return text ? std::string(text, length) : "(null)";
}

TEST(NetworkManagerURLTest, SplitsURLs) {
    struct Row {
        const char* url;
        bool ok;
        const char *scheme, *host, *port, *path;
    } rows[] = {
        {"http://example.org", true, "http", "example.org", "(null)", ""},
        {"http://example.org/", true, "http", "example.org", "(null)", ""},
        {"https://h:8443/a/b?c=d", true, "https", "h", "8443", "a/b?c=d"},
        {"http://h?q=1", true, "http", "h", "(null)", "?q=1"},
        {"http://h:81?q", true, "http", "h", "81", "?q"},
        {"http://[::1]:8080/x", true, "http", "[::1]", "8080", "x"},
        {"http://[::1]", true, "http", "[::1]", "(null)", ""},
        {"http://[::1", true, "http", "[::1", "(null)", ""},
        {"://h/p", true, "", "h", "(null)", "p"},
        {"http:/h", false, "http", "(null)", "(null)", "(null)"},
        {"http", false, "(null)", "(null)", "(null)", "(null)"},
        {"http://[::1]x/", false, "http", "[::1]", "(null)", "(null)"},
        {"", false, "(null)", "(null)", "(null)", "(null)"},
    };
    MemoryNetworkManager manager;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        const char *scheme, *host, *port, *path;
        int scheme_length, host_length, port_length, path_length;
        EXPECT_EQ(manager.SplitURL(row.url, -1, &scheme, &scheme_length, &host, &host_length,
                                   &port, &port_length, &path, &path_length),
                  row.ok);
        EXPECT_EQ(Part(scheme, scheme_length), row.scheme);
        EXPECT_EQ(Part(host, host_length), row.host);
        EXPECT_EQ(Part(port, port_length), row.port);
        EXPECT_EQ(Part(path, path_length), row.path);
    }
}

TEST(NetworkManagerURLTest, OpensURLsWithOneRequestHead) {
    struct Row {
        const char* method;
        const char* url;
        const char* content;
        double version;
        const char* headers;
        const char* host;  // connected to; null: no connection, error instead
        int port;
        std::string request;  // or the error
    } rows[] = {
        {"GET", "http://example.org", nullptr, 1.1, nullptr, "example.org", 80,
         "GET / HTTP/1.1\r\nHost: example.org\r\nConnection: close\r\n\r\n"},
        {"GET", "http://h?q=1", nullptr, 1.1, nullptr, "h", 80,
         "GET /?q=1 HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n"},
        {"GET", "http://[::1]:8080/x", nullptr, 1.1, nullptr, "::1", 8080,
         "GET /x HTTP/1.1\r\nHost: [::1]:8080\r\nConnection: close\r\n\r\n"},
        {"POST", "HTTP://h:0x50/f", "a=1", 10.0, "X-A: b\r\n", "h", 80,
         "POST /f HTTP/1.1\r\nHost: h:80\r\nContent-Type: text/plain\r\nContent-Length: "
         "3\r\nX-A: b\r\nConnection: close\r\n\r\na=1"},
        {"HEAD", "http://h/", nullptr, -3, nullptr, "h", 80,
         "HEAD / HTTP/1.0\r\nHost: h\r\n\r\n"},
        {"GET", "http://h/old", nullptr, 0.9, nullptr, "h", 80, "GET /old HTTP/0.9\r\n\r\n"},
        {"GET", "http:/h/", nullptr, 1.1, nullptr, nullptr, 0, "Malformed URL"},
        {"GET", "ftp://h/", nullptr, 1.1, nullptr, nullptr, 0, "Unsupported protocol 'ftp'"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.url);
        MemoryNetworkManager manager;
        for (const char* host : {"example.org", "h", "::1"}) manager.Serve(host, "");
        std::unique_ptr<NetworkConnection> connection(manager.OpenURL(
            row.method, row.url, row.content, "text/plain", -1, nullptr, nullptr, nullptr,
            nullptr, row.headers, -1, row.version, 5));
        if (!row.host) {
            EXPECT_EQ(connection, nullptr);
            EXPECT_EQ(Str(manager.error()), row.request);
            continue;
        }
        ASSERT_NE(connection, nullptr) << Str(manager.error());
        EXPECT_EQ(connection.get(), manager.last_);
        EXPECT_EQ(manager.host_, row.host);
        EXPECT_EQ(manager.port_, row.port);
        EXPECT_EQ(manager.last_->written(), row.request);
    }
}

}  // namespace
