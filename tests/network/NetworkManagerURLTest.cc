#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/MemoryNetworkManager.h"
#include "tests/support/TestText.h"

namespace {

TEST(NetworkManagerURLTest, SplitsURLs) {
    struct Row {
        const char* url;
        const char* parts;  // scheme|host|port|path, "-" for none; null: refused
    } rows[] = {
        {"http://example.org", "http|example.org|-|"},
        {"http://example.org/", "http|example.org|-|"},
        {"https://h:8443/a/b?c=d", "https|h|8443|a/b?c=d"},
        {"http://h?q=1", "http|h|-|?q=1"},
        {"http://h:81?q", "http|h|81|?q"},
        {"http://[::1]:8080/x", "http|[::1]|8080|x"},
        {"http://[::1", "http|[::1|-|"},
        {"://h/p", "|h|-|p"},
        {"http:/h", nullptr},
        {"http", nullptr},
        {"http://[::1]x/", nullptr},
        {"", nullptr},
    };
    MemoryNetworkManager manager;
    for (const Row& row : rows) {
        const char* part[4];
        int length[4];
        bool split = manager.SplitURL(row.url, -1, &part[0], &length[0], &part[1], &length[1],
                                      &part[2], &length[2], &part[3], &length[3]);
        std::string parts;
        for (int i = 0; i < 4; i++)
            parts += (i ? "|" : "") + (part[i] ? std::string(part[i], length[i]) : "-");
        EXPECT_EQ(split ? parts : "refused", row.parts ? row.parts : "refused") << row.url;
    }
}

TEST(NetworkManagerURLTest, OpensURLsWithOneRequestHead) {
    struct Row {
        const char *method, *url, *content;
        double version;
        const char* headers;
        std::string connected;  // host:port, or the error
        std::string request;
    } rows[] = {
        {"GET", "http://example.org", nullptr, 1.1, nullptr, "example.org:80",
         "GET / HTTP/1.1\r\nHost: example.org\r\nConnection: close\r\n\r\n"},
        {"GET", "http://h?q=1", nullptr, 1.1, nullptr, "h:80",
         "GET /?q=1 HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n"},
        {"GET", "http://[::1]:8080/x", nullptr, 1.1, nullptr, "::1:8080",
         "GET /x HTTP/1.1\r\nHost: [::1]:8080\r\nConnection: close\r\n\r\n"},
        {"POST", "HTTP://h:0x50/f", "a=1", 10.0, "X-A: b\r\n", "h:80",
         "POST /f HTTP/1.1\r\nHost: h:80\r\nContent-Type: text/plain\r\nContent-Length: "
         "3\r\nX-A: b\r\nConnection: close\r\n\r\na=1"},
        {"HEAD", "http://h/", nullptr, -3, nullptr, "h:80", "HEAD / HTTP/1.0\r\nHost: h\r\n\r\n"},
        {"GET", "http://h/old", nullptr, 0.9, nullptr, "h:80", "GET /old HTTP/0.9\r\n\r\n"},
        {"GET", "http:/h/", nullptr, 1.1, nullptr, "Malformed URL", ""},
        {"GET", "ftp://h/", nullptr, 1.1, nullptr, "Unsupported protocol 'ftp'", ""},
    };
    for (const Row& row : rows) {
        MemoryNetworkManager manager;
        for (const char* host : {"example.org", "h", "::1"})
            manager.Serve(host, "");
        std::unique_ptr<NetworkConnection> connection(
            manager.OpenURL(row.method, row.url, row.content, "text/plain", -1, nullptr, nullptr,
                            nullptr, nullptr, row.headers, -1, row.version, 5));
        EXPECT_EQ(
            connection ? manager.host_ + ":" + std::to_string(manager.port_) : Str(manager.error()),
            row.connected)
            << row.url;
        EXPECT_EQ(connection ? manager.last_->written() : "", row.request) << row.url;
    }
}

}  // namespace
