#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/Base64.h"
#include "tests/base/BaseTestSupport.h"

namespace {

std::string encode(const std::string& in) {
    // One byte more than the output, to see that no NUL is written.
    std::vector<char> out(4 * ((in.size() + 2) / 3) + 1, '#');
    int length = ox_base64_encode(in.data(), out.data(), static_cast<int>(in.size()));
    EXPECT_EQ(length, static_cast<int>(out.size()) - 1);
    EXPECT_EQ(out.back(), '#');
    return std::string(out.data(), length);
}

// Decodes into a buffer of exactly the largest possible output, so that an
// overrun shows under the address sanitizer.
std::string decode(const std::string& in) {
    std::vector<char> out(in.size() / 4 * 3 + 1);
    int length = ox_base64_decode(in.data(), out.data() + 1, static_cast<int>(in.size()));
    EXPECT_GE(length, 0);
    EXPECT_LE(length, static_cast<int>(out.size()) - 1);
    return std::string(out.data() + 1, length);
}

TEST(Base64Test, KnownEncodings) {
    const std::pair<std::string, std::string> cases[] = {
        {"f", "Zg=="},         {"fo", "Zm8="},         {"foo", "Zm9v"}, {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}, {"", ""}};
    for (const auto& [plain, encoded] : cases) {
        EXPECT_EQ(encode(plain), encoded);
        EXPECT_EQ(decode(encoded), plain);
    }
    std::string all;
    for (int byte = 0; byte < 256; byte++)
        all += static_cast<char>(byte);
    const std::string expected =
        "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+"
        "P0BBQkNERUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+"
        "AgYKDhIWGh4iJiouMjY6PkJGSk5SVlpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8vb6/"
        "wMHCw8TFxsfIycrLzM3Oz9DR0tPU1dbX2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7/P3+/w==";
    EXPECT_EQ(encode(all), expected);
    EXPECT_EQ(decode(expected), all);
}

TEST(Base64Test, RandomRoundTrips) {
    std::mt19937 random(41);
    for (int i = 0; i < 3000; i++) {
        std::string in = RandomBytes(random, static_cast<int>(random() % 200));
        decode(RandomBytes(random, static_cast<int>(random() % 100), "Zm9/+=!==\xff"));  // garbage
        std::string encoded = encode(in);
        ASSERT_EQ(encoded.find_first_not_of(
                      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/="),
                  std::string::npos);
        ASSERT_EQ(decode(encoded), in);
    }
}

TEST(Base64Test, DecodingWithoutValidation) {
    // Under one group there is nothing to decode.
    for (const char* in : {"", "Z", "Zg", "Zg=", "Zm9"})
        EXPECT_EQ(decode(in), "") << in;
    // Only complete groups count.
    EXPECT_EQ(decode("Zm9vYg"), "foo");
    EXPECT_EQ(decode("Zm9vYmF"), "foo");
    // "=" in third or fourth place suppresses output bytes.
    EXPECT_EQ(decode("Zm9vAAAA"), std::string("foo\0\0\0", 6));
    EXPECT_EQ(decode("Zg==Zm8="), "ffo");
    EXPECT_EQ(decode("Zm=v"), "f/");  // "=" third drops the second byte only
    // A byte outside the alphabet counts as 0 bits.
    EXPECT_EQ(decode("Z!=="), "d");
    EXPECT_EQ(decode("Zm9v!!!!"), std::string("foo\0\0\0", 6));
    // Whitespace is not skipped: the line break is decoded as 0 bits.
    EXPECT_EQ(decode("Zm9v\nYmF"), "foo\x01\x89\x85");
}

}  // namespace
