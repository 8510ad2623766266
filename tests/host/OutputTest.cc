#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "application/CGIOutput.h"
#include "application/NullOutput.h"
#include "application/StandardOutput.h"
#include "tests/support/TestApplication.h"

namespace {

// A CGI response written into a temporary file, read back whole.
class Response {
  public:
    explicit Response(int flush_size = 0x100000) {
        char pattern[] = "/tmp/oxin-response-XXXXXX";
        fd_ = mkstemp(pattern);
        unlink(pattern);
        output_ = new CGIOutput(&application_, fd_);
        output_->Set_FlushSize(flush_size);
    }
    ~Response() {
        delete output_;
        close(fd_);
    }
    // What reached the file so far.
    std::string Bytes() {
        std::string bytes;
        char buffer[65536];
        ssize_t n;
        for (off_t at = 0; (n = pread(fd_, buffer, sizeof buffer, at)) > 0; at += n)
            bytes.append(buffer, n);
        return bytes;
    }
    CGIOutput& operator*() { return *output_; }
    CGIOutput* operator->() { return output_; }

  private:
    TestApplication application_;
    int fd_;
    CGIOutput* output_;
};

TEST(OutputTest, ASmallResponseGoesOutWithItsLength) {
    Response empty, response;
    empty->Flush(1);
    EXPECT_EQ(empty.Bytes(), "Content-Length: 0\r\n\r\n");
    response->Header("Content-Type", "text/html");
    response->Write("Hello", -1);
    EXPECT_EQ(response.Bytes(), "");
    response->Flush(1);
    EXPECT_EQ(response.Bytes(), "Content-Type: text/html\r\nContent-Length: 5\r\n\r\nHello");
}

TEST(OutputTest, ReachingTheFlushSizeSendsAtOnceWithoutALength) {
    Response response(16);
    response->Header("Content-Type", "text/plain");
    response->Write("0123456789", 10);
    EXPECT_EQ(response.Bytes(), "");
    response->Write("abcdef", 6);  // exactly 16: flushed now
    EXPECT_EQ(response.Bytes(), "Content-Type: text/plain\r\n\r\n0123456789abcdef");
    response->Write("tail", 4);
    response->Flush(1);
    EXPECT_EQ(response.Bytes(), "Content-Type: text/plain\r\n\r\n0123456789abcdeftail");
}

TEST(OutputTest, ABodyOfManyBlocksKeepsItsOrder) {
    Response response;
    response->Set_BufferSize(100);
    std::string body;
    for (int i = 0; i < 2000; i++) {
        std::string piece = std::to_string(i) + (i % 7 ? "," : std::string(300, '-'));
        body += piece;
        response->Write(piece.data(), static_cast<int>(piece.size()));
    }
    response->Flush(1);
    std::string expected = "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    EXPECT_TRUE(response.Bytes() == expected);
}

TEST(OutputTest, HeadersReplaceEachOtherUntilTheFirstFlush) {
    Response response;
    response->Header("X-One", "1");
    response->Header("Content-Length", "99");  // the script's own length stays
    response->Header("x-one", "2");            // names ignore case; the last value wins
    auto owned = [](const char* text) { return strcpy(new char[strlen(text) + 1], text); };
    EXPECT_EQ(response->Header(owned("X-Three"), -1, 1, "3", -1, 0), 1);
    response->Write("body", 4);
    response->Flush(1);
    EXPECT_EQ(response->Header(owned("X-Bad"), -1, 1, owned("4"), -1, 1), 0);  // freed, refused
    EXPECT_EQ(response.Bytes(), "Content-Length: 99\r\nx-one: 2\r\nX-Three: 3\r\n\r\nbody");
}

TEST(OutputTest, CompressionShrinksRunsOfWhiteSpace) {
    Response full;
    full->SetFlags(Output::kCompressFull);
    full->Write("a ", 2);
    full->Write_Compressed("   b \n\t c  ", -1);
    full->Write("", 0);  // leaves the last byte's kind alone
    full->Write_Compressed(" d", -1);
    full->Flush(1);
    EXPECT_EQ(full.Bytes(), "Content-Length: 7\r\n\r\na b c d");

    Response fast;
    fast->SetFlags(Output::kCompressFast | Output::kCompressFull);  // full wins
    fast->Write_Compressed("x  y", -1);
    fast->Write("end ", -1);
    fast->SetFlags(Output::kCompressFast);
    fast->Write_Compressed("   z", -1);  // one blank dropped
    fast->Flush(1);
    EXPECT_EQ(fast.Bytes(), "Content-Length: 10\r\n\r\nx yend   z");
}

// Short writes as a slow client gives them: scripted results per call.
class ScriptedOutput : public HTTPOutput {
  public:
    explicit ScriptedOutput(std::vector<int> results)
        : HTTPOutput(8, 0x100000), results_(std::move(results)) {}
    std::vector<std::string> calls;

  protected:
    void OutputHeaders() override {}
    int DoWrite(const char* text, int length) override {
        calls.emplace_back(text, length);
        if (next_ >= results_.size()) return length;
        return results_[next_++];
    }

  private:
    std::vector<int> results_;
    size_t next_ = 0;
};

TEST(OutputTest, AShortWriteIsRetriedFromTheLastCount) {
    ScriptedOutput output({3, 2, 0});
    output.Write("abcdefghXYZ", 11);  // links "abcdefgh" and "XYZ"
    output.Flush(0);
    // 3 taken, then from offset 3: 2 taken, then from offset 2 (not 5): 0,
    // which gives the rest of the link up; the next link goes whole.
    std::vector<std::string> expected = {"abcdefgh", "defgh", "cdefgh", "XYZ"};
    EXPECT_EQ(output.calls, expected);
}

TEST(OutputTest, BufferedOutputsPassOnInSlices) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    {
        StandardOutput out(1, fds[1]);
        std::string big(20000, 'q');
        out.Write(big.data(), static_cast<int>(big.size()));
        out.Write("end", 3);
    }
    std::string got;
    char buffer[65536];
    fcntl(fds[0], F_SETFL, O_NONBLOCK);
    for (ssize_t n; (n = read(fds[0], buffer, sizeof buffer)) > 0;)
        got.append(buffer, n);
    EXPECT_EQ(got, std::string(20000, 'q') + "end");
    close(fds[0]);
    close(fds[1]);

    static std::string seen;
    NullOutput null([](const char* text, int length) {
        seen.append(text, length);
        return length;
    });
    EXPECT_EQ(null.Write("to the callback", -1), 15);
    EXPECT_EQ(seen, "to the callback");
    EXPECT_EQ(NullOutput().Write("dropped", -1), 7);
}

}  // namespace
