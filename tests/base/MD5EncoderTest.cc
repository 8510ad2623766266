#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>

#include "base/MD5Encoder.h"
#include "tests/base/BaseTestSupport.h"

static std::string Hex(const unsigned char* digest) {
    char text[32];
    MD5Encoder::Make_Printable(digest, text);
    return std::string(text, 32);
}

static std::string DigestOf(const std::string& message) {
    return Md5Hex(message.data(), message.size());
}

static std::string Hmac(const std::string& data, const std::string& key) {
    unsigned char digest[16];
    MD5Encoder encoder;
    encoder.HMAC(reinterpret_cast<const unsigned char*>(data.data()),
                 static_cast<unsigned>(data.size()),
                 reinterpret_cast<const unsigned char*>(key.data()),
                 static_cast<unsigned>(key.size()), digest);
    return Hex(digest);
}

// Deterministic message bytes for the boundary lengths.
static std::string Pattern(int length) {
    std::string text(length, '\0');
    for (int i = 0; i < length; i++)
        text[i] = static_cast<char>((i * 131 + 7) & 0xff);
    return text;
}

// From RFC 1321's suite, then answers of Python's hashlib for Pattern(length): the
// padding changes shape where the length no longer fits in the last block
// (56) and at block ends.
const std::pair<std::string, const char*> kKnownDigests[] = {
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
    {Pattern(55), "852e13533f66e414bbbbb3348de4f81f"},
    {Pattern(56), "98e8cb3457434649644b5fe9f4e5e4fa"},
    {Pattern(57), "d04618e1f7181650056a79ed93eaef2a"},
    {Pattern(63), "c9803ddca3b148d91d5f214be64197d4"},
    {Pattern(64), "bc00c8534af1e5aef0ede584d8ad5bc3"},
    {Pattern(65), "4e114d3e0baf5ace365e0552a3273291"},
    {Pattern(119), "e0c0cb3cbc027ba4d5a6c983754f2dc1"},
    {Pattern(120), "3d7a96a57e721a4e2c2cbe55937e10e2"},
    {Pattern(127), "886a64f47659d525b55b12fac127c4a1"},
    {Pattern(128), "154b8c17cfb174384edd9557e3e64e2b"},
    {Pattern(129), "771291c2c3527df3fbc0c2f6d4aeb9b4"},
    {Pattern(1000), "0b8ae90ded6089334e353eb2669ab5e6"}};

// In one call, and with the leading whole blocks fed through Encode_Block in
// two uneven calls and the rest through Encode_Final, at every block split.
TEST(MD5EncoderTest, KnownDigestsFedWholeOrInBlocks) {
    for (const auto& [message, expected] : kKnownDigests) {
        EXPECT_EQ(DigestOf(message), expected) << "length " << message.size();
        const unsigned char* data = reinterpret_cast<const unsigned char*>(message.data());
        unsigned length = static_cast<unsigned>(message.size());
        for (unsigned split = 0; split <= length; split += 64) {
            MD5Encoder encoder;
            unsigned part = (split / 128) * 64;
            encoder.Encode_Block(data, part);
            encoder.Encode_Block(data + part, split - part);
            unsigned char digest[16];
            encoder.Encode_Final(data + split, length - split, digest);
            EXPECT_EQ(Hex(digest), expected) << "length " << length << " split " << split;
        }
    }
}

// RFC 2202 section 2, all seven HMAC-MD5 cases.
TEST(MD5EncoderTest, HmacKnownAnswers) {
    std::string key4;
    for (int i = 1; i <= 25; i++)
        key4 += static_cast<char>(i);
    const std::tuple<std::string, std::string, const char*> cases[] = {
        {std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
        {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
        {std::string(16, '\xaa'), std::string(50, '\xdd'), "56be34521d144c88dbb8c733f0e8b3f6"},
        {key4, std::string(50, '\xcd'), "697eaf0aca3a3aea3a75164746ffaa79"},
        {std::string(16, '\x0c'), "Test With Truncation", "56461ef2342edc00f9bab995690efd4c"},
        {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
         "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
        {std::string(80, '\xaa'),
         "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
         "6f630fad67cda0ee1fb1f562db3aa53e"}};
    for (const auto& [key, data, digest] : cases)
        EXPECT_EQ(Hmac(data, key), digest) << data;
    // Keys at the block size: up to 64 bytes the key is used itself, from 65 on
    // its digest is. Answers from Python's hmac module.
    const std::string data = "The quick brown fox jumps over the lazy dog";
    EXPECT_EQ(Hmac(data, Pattern(63)), "80713009bb0be73c8d4a546633d58d2a");
    EXPECT_EQ(Hmac(data, Pattern(64)), "c9fcf41d38959b877415ad23fa7856e7");
    EXPECT_EQ(Hmac(data, Pattern(65)), "fb756ca4dd84642aba9c030f938b0a0d");
    EXPECT_EQ(Hmac("", "key"), "63530468a04e386459855da0063b6596");
}

// An encoder in use starts over on Encode and HMAC; the printable form is
// exactly 32 digits, without a NUL.
TEST(MD5EncoderTest, ReusedEncoderAndPrintableForm) {
    MD5Encoder encoder;
    unsigned char digest[16];
    encoder.Encode(reinterpret_cast<const unsigned char*>("abc"), 3, digest);
    encoder.Encode(nullptr, 0, digest);
    EXPECT_EQ(Hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
    encoder.Encode_Block(reinterpret_cast<const unsigned char*>(Pattern(128).data()), 128);
    encoder.HMAC(reinterpret_cast<const unsigned char*>("Hi There"), 8,
                 reinterpret_cast<const unsigned char*>(std::string(16, '\x0b').data()), 16,
                 digest);
    EXPECT_EQ(Hex(digest), "9294727a3638bb1c13f48ef8158bfc9d");
    for (int i = 0; i < 16; i++)
        digest[i] = static_cast<unsigned char>(i * 17 + (i & 1) * 0xa0);
    char out[34];
    memset(out, '#', sizeof(out));
    MD5Encoder::Make_Printable(digest, out);
    EXPECT_EQ(std::string(out, 33), "00b122d344f566178839aa5bcc7dee9f#");
}
