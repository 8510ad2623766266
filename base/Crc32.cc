#include "base/Crc32.h"

#include <cstdint>

static const uint32_t kPolynomial = 0x04C11DB7;

int crc32_init(void) {
    return -1;
}

// Bit by bit without a table: the checksum is rare and short in this system,
// and a table would cost more to build than it saves.
int crc32_data(int crc, const unsigned char* data, int length) {
    uint32_t reg = static_cast<uint32_t>(crc);
    for (int i = 0; i < length; i++) {
        reg ^= uint32_t(data[i]) << 24;
        for (int bit = 0; bit < 8; bit++) {
            reg = (reg & 0x80000000u) ? (reg << 1) ^ kPolynomial : reg << 1;
        }
    }
    return static_cast<int>(reg);
}

int crc32_final(int crc) {
    return ~crc;
}
