#include <gtest/gtest.h>

#include <string>

#include "network/HTTPResponseStream.h"
#include "tests/support/MemoryConnection.h"
#include "tests/support/TestText.h"

namespace {

struct Case {
    const char* name;
    std::string response;
    int status;      // -1: the head fails
    int headers;     // lines of the head, status line included
    std::string body;
    const char* error;  // "" when the body reads to its end without one
};

const std::string kHead = "HTTP/1.1 200 OK\r\nServer: t\r\n";

std::vector<Case> Cases() {
    return {
        {"length", kHead + "Content-Length: 5\r\n\r\nhello and more", 200, 3, "hello", ""},
        {"to the end", "HTTP/1.0 404 Not Found\nX: y\n\nrest of it", 404, 2, "rest of it", ""},
        {"length zero", kHead + "Content-Length: 0\r\n\r\nignored", 200, 3, "", ""},
        {"chunked", kHead + "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n",
         200, 3, "hello world", ""},
        {"chunked before length",
         kHead + "Transfer-Encoding: Chunked\r\nContent-Length: 2\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200,
         4, "abc", ""},
        {"length before chunked",
         kHead + "Content-Length: 2\r\nTRANSFER-ENCODING: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200,
         4, "abc", ""},
        {"chunk extension", kHead + "Transfer-Encoding: chunked\r\n\r\n1a;name=v\r\n" +
                                std::string(26, 'z') + "\r\n0\r\n\r\n",
         200, 3, std::string(26, 'z'), ""},
        {"empty chunked", kHead + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 200, 3, "", ""},
        {"negative chunk", kHead + "Transfer-Encoding: chunked\r\n\r\n-5\r\n", -1, 3, "",
         "Invalid chunk size"},
        {"bad terminator", kHead + "Transfer-Encoding: chunked\r\n\r\n2\r\nabXY3\r\n", 200, 3, "",
         "Invalid chunk terminator"},
        {"trailer", kHead + "Transfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\nX: 1\r\n\r\n", 200,
         3, "", "Invalid chunk terminator"},
        {"cut chunk", kHead + "Transfer-Encoding: chunked\r\n\r\n9\r\nabc", 200, 3, "abc", ""},
        {"header without colon", "HTTP/1.1 301 Moved\r\nodd line\r\nLocation: /x\r\n\r\n", 301, 3,
         "", ""},
        {"empty", "", -1, 0, "", "Connection closed before the response"},
    };
}

// The body as read in reads of at most read_size bytes; error gets the
// text of a failed read.
std::string ReadBody(HTTPResponseStream& stream, int read_size, std::string* error) {
    std::string body;
    char buffer[64];
    for (int count; (count = stream.Read(buffer, read_size)) != 0;) {
        if (count < 0) {
            *error = Str(stream.error());
            break;
        }
        body.append(buffer, count);
    }
    return body;
}

TEST(HTTPResponseStreamTest, ReadsEveryCaseInEverySplit) {
    for (const Case& c : Cases()) {
        for (int piece : {1, 2, 3, 7, 1 << 20}) {
            for (int read_size : {1, 5, 64}) {
                SCOPED_TRACE(std::string(c.name) + " piece " + std::to_string(piece) + " read " +
                             std::to_string(read_size));
                HTTPResponseStream stream(new MemoryConnection(c.response, piece), 5);
                bool head = stream.Read_Headers();
                ASSERT_EQ(head, c.status >= 0) << Str(stream.error());
                EXPECT_EQ(stream.Entries(), c.headers);
                if (!head) {
                    EXPECT_EQ(Str(stream.error()), c.error);
                    continue;
                }
                EXPECT_EQ(stream.status(), c.status);
                std::string error;
                std::string body = ReadBody(stream, read_size, &error);
                EXPECT_EQ(error, c.error);
                if (error.empty()) {
                    EXPECT_EQ(body, c.body);
                }
                EXPECT_EQ(stream.Read(&body[0], 0), 0);
            }
        }
    }
}

TEST(HTTPResponseStreamTest, HeaderLinesSplitAtTheFirstColon) {
    HTTPResponseStream stream(
        new MemoryConnection("HTTP/1.1 200 OK \r\nLocation :  http://x:1/  \r\nbare\r\n\r\n"), 5);
    ASSERT_TRUE(stream.Read_Headers());
    HTTPResponseStream_Header* status = stream.First();
    EXPECT_EQ(Str(status->line()), "HTTP/1.1 200 OK");
    HTTPResponseStream_Header* location = stream.Next();
    EXPECT_EQ(Str(location->line()), "Location :  http://x:1/");
    EXPECT_EQ(Str(location->name()), "Location");
    EXPECT_EQ(Str(location->value()), "http://x:1/");
    HTTPResponseStream_Header* bare = stream.Next();
    EXPECT_EQ(Str(bare->name()), "bare");
    EXPECT_EQ(Str(bare->value()), "");
}

TEST(HTTPResponseStreamTest, ABrokenConnectionGivesItsError) {
    std::string response = kHead + "Content-Length: 100\r\n\r\n" + std::string(100, 'b');
    for (long fail_at : {5L, 40L, 60L}) {
        HTTPResponseStream stream(new MemoryConnection(response, 1 << 20, fail_at), 5);
        std::string error;
        if (stream.Read_Headers()) {
            ReadBody(stream, 64, &error);
        } else {
            error = Str(stream.error());
        }
        EXPECT_EQ(error, "Connection reset by peer") << fail_at;
    }
}

}  // namespace
