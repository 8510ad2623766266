#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/Hash.h"
#include "base/MemCmpI.h"
#include "tests/base/BaseTestSupport.h"
#include "tests/support/TestText.h"

namespace {

// Answers from an independent transcription of lookup2 into Python:
//   a = b = 0x9e3779b9; c = init
//   12-byte rounds: a += le32(k[0:4]); b += le32(k[4:8]); c += le32(k[8:12]); mix
//   c += len; a += le(tail[0:4]); b += le(tail[4:8]); c += le(tail[8:11]) << 8; mix
struct KnownAnswer {
    std::string text;
    unsigned initial, expected;
};

const KnownAnswer kKnownAnswers[] = {
    {"", 0, 0xbd49d10d},
    {"", 1, 0x6ddfb8c9},
    {"a", 0, 0x29eec818},
    {"abc", 0, 0x251e4793},
    {"Content-Type", 0, 0x348acc6a},
    {"abcdefghijk", 7, 0x24b00f7c},
    {"abcdefghijklmnopqrstuvw", 0, 0x68e5ff21},
    {"The quick brown fox jumps over the lazy dog", 0, 0xfc1558de},
    {std::string("\xff\x80\x00\x7f\xfe", 5), 0, 0xcc04abc2}};

TEST(HashTest, KnownAnswers) {
    for (const KnownAnswer& answer : kKnownAnswers) {
        const std::string& text = answer.text;
        EXPECT_EQ(hash(text.data(), text.size(), answer.initial), answer.expected) << text;
        EXPECT_EQ(
            hash(reinterpret_cast<const unsigned char*>(text.data()), text.size(), answer.initial),
            answer.expected)
            << text;
    }
    unsigned char bytes[256];
    for (int i = 0; i < 256; i++)
        bytes[i] = static_cast<unsigned char>(i);
    EXPECT_EQ(hash(bytes, 256, 0), 0x95d7fc03u);
}

// hashi is hash of the lower-cased text; texts that memcmpi calls equal,
// of every byte and of lengths up to three rounds and a tail, hash equal.
TEST(HashTest, HashiIsHashOfTheLowerCasedText) {
    for (const KnownAnswer& answer : kKnownAnswers) {
        std::string lower = Lower(answer.text);
        EXPECT_EQ(hashi(answer.text.data(), answer.text.size(), answer.initial),
                  hash(lower.data(), lower.size(), answer.initial));
    }
    EXPECT_NE(hash("Content-Type", 12, 0), hash("CONTENT-TYPE", 12, 0));
    std::mt19937 random(17);
    for (int round = 0; round < 3000; round++) {
        std::string a = RandomBytes(random, static_cast<int>(random() % 40));
        std::string b = RandomCase(a, random);
        int length = static_cast<int>(a.size());
        ASSERT_EQ(memcmpi(a.data(), b.data(), length), 0);
        EXPECT_EQ(hashi(a.data(), length, 99), hashi(b.data(), length, 99));
        EXPECT_EQ(hashi(a.data(), length, 99), hash(Lower(a).data(), length, 99));
    }
}

}  // namespace
