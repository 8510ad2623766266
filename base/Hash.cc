#include "base/Hash.h"

#include "base/MemCmpI.h"

namespace {

// 0x9e3779b9 is the golden ratio as a 32-bit fraction, an arbitrary start
// value with well mixed bits.
constexpr unsigned kGoldenRatio = 0x9e3779b9u;

// The nine-step mix: each step subtracts the other two words and folds in
// a shifted copy of the last one.
void Mix(unsigned& a, unsigned& b, unsigned& c) {
    a = (a - b - c) ^ (c >> 13);
    b = (b - c - a) ^ (a << 8);
    c = (c - a - b) ^ (b >> 13);
    a = (a - b - c) ^ (c >> 12);
    b = (b - c - a) ^ (a << 16);
    c = (c - a - b) ^ (b >> 5);
    a = (a - b - c) ^ (c >> 3);
    b = (b - c - a) ^ (a << 10);
    c = (c - a - b) ^ (b >> 15);
}

struct PlainByte {
    unsigned operator()(unsigned char byte) const { return byte; }
};

struct LowerByte {
    unsigned operator()(unsigned char byte) const { return lower_byte(byte); }
};

// Reads four bytes little-endian, each through Byte.
template <class Byte>
unsigned Word(const unsigned char* k, Byte byte) {
    return byte(k[0]) | (byte(k[1]) << 8) | (byte(k[2]) << 16) | (byte(k[3]) << 24);
}

template <class Byte>
unsigned Lookup2(const unsigned char* k, unsigned length, unsigned initial, Byte byte) {
    unsigned a = kGoldenRatio;
    unsigned b = kGoldenRatio;
    unsigned c = initial;
    unsigned left = length;
    while (left >= 12) {
        a += Word(k, byte);
        b += Word(k + 4, byte);
        c += Word(k + 8, byte);
        Mix(a, b, c);
        k += 12;
        left -= 12;
    }
    // The low byte of c holds the length, so the tail fills c from its
    // second byte up.
    c += length;
    switch (left) {
        case 11:
            c += byte(k[10]) << 24;
            [[fallthrough]];
        case 10:
            c += byte(k[9]) << 16;
            [[fallthrough]];
        case 9:
            c += byte(k[8]) << 8;
            [[fallthrough]];
        case 8:
            b += byte(k[7]) << 24;
            [[fallthrough]];
        case 7:
            b += byte(k[6]) << 16;
            [[fallthrough]];
        case 6:
            b += byte(k[5]) << 8;
            [[fallthrough]];
        case 5:
            b += byte(k[4]);
            [[fallthrough]];
        case 4:
            a += byte(k[3]) << 24;
            [[fallthrough]];
        case 3:
            a += byte(k[2]) << 16;
            [[fallthrough]];
        case 2:
            a += byte(k[1]) << 8;
            [[fallthrough]];
        case 1:
            a += byte(k[0]);
            break;
        default:
            break;
    }
    Mix(a, b, c);
    return c;
}

}  // namespace

unsigned hash(const unsigned char* key, unsigned length, unsigned initial) {
    return Lookup2(key, length, initial, PlainByte());
}

unsigned hash(const char* key, unsigned length, unsigned initial) {
    return hash(reinterpret_cast<const unsigned char*>(key), length, initial);
}

unsigned hashi(const unsigned char* key, unsigned length, unsigned initial) {
    return Lookup2(key, length, initial, LowerByte());
}

unsigned hashi(const char* key, unsigned length, unsigned initial) {
    return hashi(reinterpret_cast<const unsigned char*>(key), length, initial);
}
