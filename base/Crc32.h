#pragma once

// 32-bit checksum with the CRC-32/BZIP2 parameters: polynomial 0x04C11DB7,
// most significant bit first, no reflection of input or output, initial value
// and final XOR all ones. This is not the zlib CRC. Exported to extension
// libraries, hence the C linkage.
//
// Use: crc32_final(crc32_data(crc32_init(), data, length)); crc32_data may be
// called repeatedly to checksum a message in pieces.
extern "C" {

// Returns the initial register value, all ones.
int crc32_init(void);

// Runs length bytes of data through the register crc and returns the new
// register. A length of 0 or less leaves it unchanged.
int crc32_data(int crc, const unsigned char* data, int length);

// Returns the finished checksum of the register crc: its bits inverted.
int crc32_final(int crc);
}
