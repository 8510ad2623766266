#include <crypt.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "base/UFCrypt.h"
#include "tests/base/BaseTestSupport.h"

static const char kAlphabet[] = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

static const int kKeysPerSalt = Scaled(4, 2);

class UFCryptTest : public testing::Test {
  protected:
    std::string Hash(const std::string& key, const std::string& salt) {
        char out[14];
        memset(out, '#', sizeof(out));
        crypt_->crypt(key.data(), static_cast<int>(key.size()), salt.data(), out);
        EXPECT_EQ(out[13], '\0');
        return std::string(out, 13);
    }

    // The C library's traditional DES crypt; the key stops at its first NUL.
    std::string Reference(const std::string& key, const std::string& salt) {
        memset(&data_, 0, sizeof(data_));
        const char* result = crypt_r(key.c_str(), salt.c_str(), &data_);
        return result != nullptr ? result : "(null)";
    }

    std::string RandomKey(int max_length) {
        std::string key(random_() % (max_length + 1), '\0');
        for (char& c : key)
            c = static_cast<char>(1 + random_() % 255);
        return key;
    }

    std::unique_ptr<UFCrypt> crypt_ = std::make_unique<UFCrypt>();
    std::mt19937 random_{20240611};
    struct crypt_data data_;
};

// The C library is the reference for the DES tables, the key schedule, the
// salt and the output encoding: every salt pair, random keys of 0-12 bytes 1-255.
TEST_F(UFCryptTest, MatchesCLibraryOverEverySalt) {
    for (int first = 0; first < 64; first++) {
        for (int second = 0; second < 64; second++) {
            std::string salt = {kAlphabet[first], kAlphabet[second]};
            for (int k = 0; k < kKeysPerSalt; k++) {
                std::string key = RandomKey(12);
                ASSERT_EQ(Hash(key, salt), Reference(key, salt))
                    << "salt " << salt << " key length " << key.size();
            }
        }
    }
}

TEST_F(UFCryptTest, KnownAnswersAndKeyLengths) {
    EXPECT_EQ(Hash("test", "aa"), "aaqPiZY5xR5l.");
    EXPECT_EQ(Hash("", ".."), "..X8NBuQ4l6uQ");
    EXPECT_EQ(Hash(std::string("ab\0\0\0", 5), "xy"), Hash("ab", "xy"));
    char out[14];
    crypt_->crypt("password", -1, "Zq", out);
    EXPECT_EQ(std::string(out), Reference("password", "Zq"));
}

// A character outside the alphabet counts by its arithmetic lookup value
// (low 6 bits) and is copied to the output; the C library refuses it.
TEST_F(UFCryptTest, SaltOutsideAlphabetUsesLookupValue) {
    const std::pair<char, char> cases[] = {{'!', 'n'}, {' ', 'm'},    {'[', 'a'},   {'{', '.'},
                                           {'~', '1'}, {'\x80', '3'}, {'\xff', '2'}};
    for (const auto& [outside, same] : cases) {
        std::string odd = Hash("secret", std::string{outside, 'k'});
        std::string plain = Hash("secret", std::string{same, 'k'});
        EXPECT_EQ(odd[0], outside);
        EXPECT_EQ(odd.substr(1), plain.substr(1)) << "character " << int(outside);
        std::string swapped = Hash("secret", std::string{'k', outside});
        EXPECT_EQ(swapped.substr(2), Hash("secret", std::string{'k', same}).substr(2));
    }
    char out[14];
    crypt_->crypt("secret", 6, "", out);
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(out[13], '\0');
}
