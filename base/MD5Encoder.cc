#include "base/MD5Encoder.h"

#include <cstring>

#include "base/LittleEndian.h"

static const int kBlockSize = 64;

// Per-step additive constants: floor(abs(sin(i + 1)) * 2^32).
static const uint32_t kSine[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

// Left-rotation amounts, four per round.
static const int kShift[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

static uint32_t RotateLeft(uint32_t value, int bits) {
    return (value << bits) | (value >> (32 - bits));
}

void MD5Encoder::Reset() {
    a_ = 0x67452301;
    b_ = 0xefcdab89;
    c_ = 0x98badcfe;
    d_ = 0x10325476;
    count_ = 0;
}

void MD5Encoder::Transform(const unsigned char* block) {
    uint32_t x[16];
    for (int i = 0; i < 16; i++)
        x[i] = get_u32(block + 4 * i);

    uint32_t a = a_, b = b_, c = c_, d = d_;
    for (int step = 0; step < 64; step++) {
        int round = step / 16;
        uint32_t mixed;
        int word;
        switch (round) {
            case 0:
                mixed = (b & c) | (~b & d);
                word = step;
                break;
            case 1:
                mixed = (d & b) | (~d & c);
                word = (5 * step + 1) % 16;
                break;
            case 2:
                mixed = b ^ c ^ d;
                word = (3 * step + 5) % 16;
                break;
            default:
                mixed = c ^ (b | ~d);
                word = (7 * step) % 16;
                break;
        }
        uint32_t next = b + RotateLeft(a + mixed + kSine[step] + x[word], kShift[round][step % 4]);
        a = d;
        d = c;
        c = b;
        b = next;
    }
    a_ += a;
    b_ += b;
    c_ += c;
    d_ += d;
}

void MD5Encoder::Encode_Block(const unsigned char* data, unsigned length) {
    count_ += length;
    for (unsigned offset = 0; offset + kBlockSize <= length; offset += kBlockSize) {
        Transform(data + offset);
    }
}

void MD5Encoder::Encode_Final(const unsigned char* data, unsigned length, unsigned char* digest) {
    Encode_Block(data, length);
    unsigned whole = length - length % kBlockSize;
    unsigned rest = length - whole;

    // The tail: remainder, the 0x80 marker, zeros, then the bit length in
    // 8 bytes; one block if the length still fits behind the marker, else two.
    unsigned char tail[2 * kBlockSize] = {};
    if (rest > 0) memcpy(tail, data + whole, rest);
    tail[rest] = 0x80;
    unsigned tail_length = rest + 1 + 8 <= kBlockSize ? kBlockSize : 2 * kBlockSize;
    put_u32(tail + tail_length - 8, count_ << 3);
    put_u32(tail + tail_length - 4, count_ >> 29);
    for (unsigned offset = 0; offset < tail_length; offset += kBlockSize) {
        Transform(tail + offset);
    }

    put_u32(digest, a_);
    put_u32(digest + 4, b_);
    put_u32(digest + 8, c_);
    put_u32(digest + 12, d_);
}

void MD5Encoder::Encode(const unsigned char* data, unsigned length, unsigned char* digest) {
    Reset();
    Encode_Final(data, length, digest);
}

void MD5Encoder::Make_Printable(const unsigned char* digest, char* out) {
    static const char kHex[] = "0123456789abcdef";
    for (int i = 0; i < 16; i++) {
        out[2 * i] = kHex[digest[i] >> 4];
        out[2 * i + 1] = kHex[digest[i] & 15];
    }
}

void MD5Encoder::HMAC(const unsigned char* data, unsigned data_length, const unsigned char* key,
                      unsigned key_length, unsigned char* digest) {
    unsigned char key_digest[16];
    if (key_length > kBlockSize) {
        Encode(key, key_length, key_digest);
        key = key_digest;
        key_length = sizeof(key_digest);
    }

    unsigned char inner_pad[kBlockSize];
    unsigned char outer_pad[kBlockSize];
    for (unsigned i = 0; i < kBlockSize; i++) {
        unsigned char k = i < key_length ? key[i] : 0;
        inner_pad[i] = k ^ 0x36;
        outer_pad[i] = k ^ 0x5c;
    }

    unsigned char inner[16];
    Reset();
    Encode_Block(inner_pad, kBlockSize);
    Encode_Final(data, data_length, inner);

    Reset();
    Encode_Block(outer_pad, kBlockSize);
    Encode_Final(inner, sizeof(inner), digest);
}
