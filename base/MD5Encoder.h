#pragma once

#include <cstdint>

// MD5 message digest (RFC 1321) and HMAC-MD5 (RFC 2104). The byte count is
// 32 bits wide, so one message may be at most 4 gigabytes long. Results do
// not depend on the byte order of the host.
class MD5Encoder {
  public:
    MD5Encoder() { Reset(); }
    virtual ~MD5Encoder() = default;

    // Starts a new message: the standard initial chaining words, count 0.
    void Reset();

    // Adds length to the byte count and hashes the floor(length / 64) whole
    // blocks of data. A remainder is ignored, so callers feed multiples of 64.
    void Encode_Block(const unsigned char* data, unsigned length);

    // Hashes the whole blocks of data, pads the remainder and writes the
    // 16-byte digest of everything fed since the last Reset.
    void Encode_Final(const unsigned char* data, unsigned length, unsigned char* digest);

    // Reset followed by Encode_Final: the digest of one whole message.
    void Encode(const unsigned char* data, unsigned length, unsigned char* digest);

    // Writes the 16-byte digest as 32 lower-case hexadecimal digits to out.
    // No NUL is written.
    static void Make_Printable(const unsigned char* digest, char* out);

    // HMAC-MD5 of data under key, block size 64; a key longer than 64 bytes is
    // replaced by its digest. Resets the encoder itself, before and during use.
    void HMAC(const unsigned char* data, unsigned data_length, const unsigned char* key,
              unsigned key_length, unsigned char* digest);

  private:
    void Transform(const unsigned char* block);

    uint32_t a_;
    uint32_t b_;
    uint32_t c_;
    uint32_t d_;
    uint32_t count_;
};
