#include <gtest/gtest.h>

#include <string>

#include "network/HTTPResponseStream.h"
#include "tests/support/MemoryConnection.h"
#include "tests/support/TestText.h"

namespace {

const std::string kHead = "HTTP/1.1 200 OK\r\nServer: t\r\n";
const std::string kChunked = kHead + "Transfer-Encoding: chunked\r\n\r\n";

TEST(HTTPResponseStreamTest, ReadsEveryCaseInEverySplit) {
    struct Case {
        std::string response;
        int status;   // -1: the head fails
        int headers;  // lines of the head, status line included
        std::string body;
        std::string error;  // "" when the body reads to its end without one
        long fail_at = -1;  // where the connection breaks
    } cases[] = {
        // clang-format off
        {kHead + "Content-Length: 5\r\n\r\nhello and more", 200, 3, "hello", ""},
        {"HTTP/1.0 404 Not Found\nX: y\n\nrest of it", 404, 2, "rest of it", ""},
        {kHead + "Content-Length: 0\r\n\r\nignored", 200, 3, "", ""},
        {kChunked + "5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n", 200, 3, "hello world", ""},
        {kChunked + "1a;name=v\r\n" + std::string(26, 'z') + "\r\n0\r\n\r\n", 200, 3, std::string(26, 'z'), ""},
        {kHead + "Transfer-Encoding: Chunked\r\nContent-Length: 2\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200, 4, "abc", ""},
        {kHead + "Content-Length: 2\r\nTRANSFER-ENCODING: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200, 4, "abc", ""},
        {kChunked + "0\r\n\r\n", 200, 3, "", ""},
        {kChunked + "-5\r\n", -1, 3, "", "Invalid chunk size"},
        {kChunked + "2\r\nabXY3\r\n", 200, 3, "", "Invalid chunk terminator"},
        {kChunked + "1\r\na\r\n0\r\nX: 1\r\n\r\n", 200, 3, "", "Invalid chunk terminator"},
        {kChunked + "9\r\nabc", 200, 3, "abc", ""},  // cut off: what came
        {"HTTP/1.1 301 Moved\r\nodd line\r\nLocation: /x\r\n\r\n", 301, 3, "", ""},
        {"", -1, 0, "", "Connection closed before the response"},
        {kHead + "Content-Length: 90\r\n\r\n" + std::string(90, 'b'), -1, 1, "", "Connection reset by peer", 5},
        {kHead + "Content-Length: 90\r\n\r\n" + std::string(90, 'b'), 200, 3, "", "Connection reset by peer", 60},
        // clang-format on
    };
    for (const Case& c : cases) {
        for (int piece : {1, 2, 3, 7, 1 << 20}) {
            for (int read_size : {1, 5, 64}) {
                SCOPED_TRACE(c.response + " piece " + std::to_string(piece) + " read " +
                             std::to_string(read_size));
                HTTPResponseStream stream(new MemoryConnection(c.response, piece, c.fail_at), 5);
                bool head = stream.Read_Headers();
                ASSERT_EQ(head, c.status >= 0) << Str(stream.error());
                EXPECT_EQ(stream.Entries(), c.headers);
                std::string body, error = head ? "" : Str(stream.error());
                char buffer[64];
                for (int count; head && (count = stream.Read(buffer, read_size)) != 0;) {
                    if (count < 0) {
                        error = Str(stream.error());
                        break;
                    }
                    body.append(buffer, count);
                }
                EXPECT_EQ(error, c.error);
                if (!head) continue;
                EXPECT_EQ(stream.status(), c.status);
                EXPECT_EQ(body, error.empty() ? c.body : body);  // unless broken off
                EXPECT_EQ(stream.Read(buffer, 0), 0);
            }
        }
    }
}

TEST(HTTPResponseStreamTest, HeaderLinesSplitAtTheFirstColon) {
    HTTPResponseStream stream(
        new MemoryConnection("HTTP/1.1 200 OK \r\nLocation :  http://x:1/  \r\nbare\r\n\r\n"), 5);
    ASSERT_TRUE(stream.Read_Headers());
    EXPECT_EQ(Str(stream.First()->line()), "HTTP/1.1 200 OK");
    HTTPResponseStream_Header* location = stream.Next();
    EXPECT_EQ(Str(location->line()), "Location :  http://x:1/");
    EXPECT_EQ(Str(location->name()) + "|" + Str(location->value()), "Location|http://x:1/");
    HTTPResponseStream_Header* bare = stream.Next();
    EXPECT_EQ(Str(bare->name()) + "|" + Str(bare->value()), "bare|");
}

}  // namespace
