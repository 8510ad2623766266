#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "base/MD5Encoder.h"
#include "base/SessionID.h"

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

static std::string Md5Hex(const std::vector<unsigned char>& bytes) {
    unsigned char digest[16];
    MD5Encoder encoder;
    encoder.Encode(bytes.data(), static_cast<unsigned>(bytes.size()), digest);
    char text[32];
    MD5Encoder::Make_Printable(digest, text);
    return std::string(text, 32);
}

// The buffer laid out by hand: host text, then pid, seconds and microseconds
// most significant byte first, then the source's bytes.
TEST(SessionIDTest, DigestOfBufferLaidOutByHand) {
    std::vector<unsigned char> expected(319, 0);
    const char host[] = "web7.example.org";
    size_t at = strlen(host);
    memcpy(expected.data(), host, at);
    const unsigned char numbers[12] = {0x00, 0x01, 0xE2, 0x40, 0x65, 0x43,
                                       0x21, 0x0F, 0x00, 0x0F, 0x42, 0x3F};
    memcpy(expected.data() + at, numbers, 12);
    at += 12;
    CountingSource(expected.data() + at, static_cast<int>(319 - at));

    std::vector<unsigned char> built(319, 0xcc);
    BuildSessionIDBuffer(host, 123456, 0x6543210FL, 999999L, CountingSource, built.data());
    EXPECT_EQ(built, expected);
    EXPECT_EQ(Id(host, 123456, 0x6543210FL, 999999L, CountingSource), Md5Hex(expected));
}

TEST(SessionIDTest, LongHostNameCutAt255AndNumbersTruncatedTo32Bits) {
    std::string host(300, 'h');
    std::vector<unsigned char> built(319);
    BuildSessionIDBuffer(host.c_str(), -1, 0x123456789AL, 0, CountingSource, built.data());
    EXPECT_EQ(std::string(built.begin(), built.begin() + 255), std::string(255, 'h'));
    const unsigned char numbers[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0x34, 0x56, 0x78, 0x9A, 0, 0, 0, 0};
    EXPECT_EQ(memcmp(built.data() + 255, numbers, 12), 0);
    std::vector<unsigned char> tail(52);
    CountingSource(tail.data(), 52);
    EXPECT_EQ(memcmp(built.data() + 267, tail.data(), 52), 0);

    BuildSessionIDBuffer(nullptr, 1, 2, 3, CountingSource, built.data());
    EXPECT_EQ(built[3], 1);
    EXPECT_EQ(built[7], 2);
    EXPECT_EQ(built[11], 3);
}

// Without a source, or when it fails, each remaining byte is one rand() byte.
TEST(SessionIDTest, FallsBackToRand) {
    for (SessionIDRandomSource source : {static_cast<SessionIDRandomSource>(nullptr),
                                         static_cast<SessionIDRandomSource>(FailingSource)}) {
        std::vector<unsigned char> expected(319, 0);
        memcpy(expected.data(), "host", 4);
        expected[7] = 42;
        srand(77);
        for (int i = 16; i < 319; i++)
            expected[i] = static_cast<unsigned char>(rand());

        std::vector<unsigned char> built(319);
        srand(77);
        BuildSessionIDBuffer("host", 42, 0, 0, source, built.data());
        EXPECT_EQ(built, expected);

        srand(77);
        EXPECT_EQ(Id("host", 42, 0, 0, source), Md5Hex(expected));
    }
}

TEST(SessionIDTest, HexTextThatDiffersByProcessAndTime) {
    std::set<std::string> ids;
    for (int pid = 1; pid <= 20; pid++) {
        for (long seconds = 1700000000L; seconds < 1700000005L; seconds++) {
            for (long micro = 0; micro < 3; micro++) {
                std::string id = Id("host", pid, seconds, micro, CountingSource);
                EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string::npos) << id;
                ids.insert(id);
            }
        }
    }
    EXPECT_EQ(ids.size(), 20u * 5 * 3);
    EXPECT_NE(Id("host-a", 1, 2, 3, CountingSource), Id("host-b", 1, 2, 3, CountingSource));
    EXPECT_NE(Id("host", 1, 2, 3, nullptr), Id("host", 1, 2, 3, nullptr));
}
