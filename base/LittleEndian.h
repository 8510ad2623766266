#pragma once

#include <cstdint>
#include <cstring>

// Numbers in the engine's files (compiled scripts, tables, indexes) are
// little-endian and are assembled byte by byte, so the bytes mean the same on
// every host. These helpers are the one place where that is done.

[[gnu::always_inline]] inline uint16_t get_u16(const unsigned char* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

[[gnu::always_inline]] inline uint32_t get_u32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

[[gnu::always_inline]] inline uint64_t get_u64(const unsigned char* p) {
    return static_cast<uint64_t>(get_u32(p)) | (static_cast<uint64_t>(get_u32(p + 4)) << 32);
}

// An IEEE 754 binary64, least significant byte first.
[[gnu::always_inline]] inline double get_double(const unsigned char* p) {
    uint64_t bits = get_u64(p);
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

inline void put_u16(unsigned char* p, uint16_t value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}

inline void put_u32(unsigned char* p, uint32_t value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
    p[2] = static_cast<unsigned char>(value >> 16);
    p[3] = static_cast<unsigned char>(value >> 24);
}

inline void put_u64(unsigned char* p, uint64_t value) {
    put_u32(p, static_cast<uint32_t>(value));
    put_u32(p + 4, static_cast<uint32_t>(value >> 32));
}

inline void put_double(unsigned char* p, double value) {
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    put_u64(p, bits);
}
