#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "base/Crc32.h"

static uint32_t Checksum(const std::string& text) {
    int crc = crc32_data(crc32_init(), reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<int>(text.size()));
    return static_cast<uint32_t>(crc32_final(crc));
}

// Check values published for the CRC-32/BZIP2 parameter set.
TEST(Crc32Test, KnownValuesWholeAndPiecewise) {
    EXPECT_EQ(static_cast<uint32_t>(crc32_init()), 0xFFFFFFFFu);
    EXPECT_EQ(Checksum("123456789"), 0xFC891918u);
    EXPECT_EQ(Checksum(""), 0u);
    EXPECT_EQ(Checksum("The quick brown fox jumps over the lazy dog"), 0x459DEE61u);
    std::string text;
    for (int i = 0; i < 300; i++)
        text += static_cast<char>(i * 37 + 11);
    uint32_t whole = Checksum(text);
    const unsigned char* data = reinterpret_cast<const unsigned char*>(text.data());
    for (int split = 0; split <= static_cast<int>(text.size()); split += 7) {
        int crc = crc32_data(crc32_init(), data, split);
        crc = crc32_data(crc, data + split, static_cast<int>(text.size()) - split);
        EXPECT_EQ(static_cast<uint32_t>(crc32_final(crc)), whole) << "split " << split;
    }
    EXPECT_EQ(crc32_data(12345, data, 0), 12345);
    EXPECT_EQ(crc32_data(12345, data, -3), 12345);
}
