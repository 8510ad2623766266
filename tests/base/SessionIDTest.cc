#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "base/SessionID.h"
#include "tests/base/BaseTestSupport.h"

static bool CountingSource(unsigned char* out, int count) {
    for (int i = 0; i < count; i++)
        out[i] = static_cast<unsigned char>(3 * i + 1);
    return true;
}

static bool FailingSource(unsigned char* out, int count) {
    memset(out, 0xee, count);  // a partial fill must not survive
    return false;
}

static std::string Id(const char* host, int pid, long seconds, long microseconds,
                      SessionIDRandomSource source) {
    int length = -1;
    char* id = MakeSessionIDFrom(host, pid, seconds, microseconds, source, &length);
    EXPECT_EQ(length, 32);
    EXPECT_EQ(strlen(id), 32u);
    std::string text(id);
    delete[] id;
    return text;
}

using Bytes = std::vector<unsigned char>;

// The buffer laid out by hand: host text, then pid, seconds and microseconds
// most significant byte first, then the counting source's bytes.
static Bytes Layout(const std::string& host, const Bytes& numbers) {
    Bytes out(host.begin(), host.end());
    out.insert(out.end(), numbers.begin(), numbers.end());
    size_t at = out.size();
    out.resize(319);
    CountingSource(out.data() + at, static_cast<int>(319 - at));
    return out;
}

static Bytes Built(const char* host, int pid, long seconds, long microseconds) {
    Bytes built(319, 0xcc);
    BuildSessionIDBuffer(host, pid, seconds, microseconds, CountingSource, built.data());
    return built;
}

TEST(SessionIDTest, BufferLaidOutByHand) {
    const char host[] = "web7.example.org";
    Bytes expected =
        Layout(host, {0x00, 0x01, 0xE2, 0x40, 0x65, 0x43, 0x21, 0x0F, 0x00, 0x0F, 0x42, 0x3F});
    EXPECT_EQ(Built(host, 123456, 0x6543210FL, 999999L), expected);
    EXPECT_EQ(Id(host, 123456, 0x6543210FL, 999999L, CountingSource),
              Md5Hex(expected.data(), expected.size()));
    // A long host name is cut at 255 bytes, the numbers at 32 bits; no host is empty.
    EXPECT_EQ(Built(std::string(300, 'h').c_str(), -1, 0x123456789AL, 0),
              Layout(std::string(255, 'h'),
                     {0xFF, 0xFF, 0xFF, 0xFF, 0x34, 0x56, 0x78, 0x9A, 0, 0, 0, 0}));
    EXPECT_EQ(Built(nullptr, 1, 2, 3), Layout("", {0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3}));
}

// Without a source, or when it fails, each remaining byte is one rand() byte.
TEST(SessionIDTest, FallsBackToRand) {
    for (SessionIDRandomSource source : {static_cast<SessionIDRandomSource>(nullptr),
                                         static_cast<SessionIDRandomSource>(FailingSource)}) {
        Bytes expected(319, 0);
        memcpy(expected.data(), "host", 4);
        expected[7] = 42;
        srand(77);
        for (int i = 16; i < 319; i++)
            expected[i] = static_cast<unsigned char>(rand());

        Bytes built(319);
        srand(77);
        BuildSessionIDBuffer("host", 42, 0, 0, source, built.data());
        EXPECT_EQ(built, expected);

        srand(77);
        EXPECT_EQ(Id("host", 42, 0, 0, source), Md5Hex(expected.data(), expected.size()));
    }
}
