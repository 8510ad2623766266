#pragma once

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/MD5Encoder.h"

// A loop count, divided by divisor under the address sanitizer.
constexpr int Scaled(int count, int divisor) {
#if defined(__SANITIZE_ADDRESS__)
    return count / divisor;
#else
    (void)divisor;
    return count;
#endif
}

// length bytes drawn from alphabet, or any bytes without one.
inline std::string RandomBytes(std::mt19937& random, int length, const char* alphabet = nullptr) {
    std::string text(length, 0);
    for (char& c : text)
        c = alphabet ? alphabet[random() % strlen(alphabet)] : static_cast<char>(random());
    return text;
}

// The items of a container with a cursor, walked First to Next and Last to
// Previous; both in front-to-back order.
template <class Container>
auto Forward(Container& container) {
    std::vector<decltype(container.First())> out;
    for (auto item = container.First(); item; item = container.Next())
        out.push_back(item);
    return out;
}

template <class Container>
auto Backward(Container& container) {
    std::vector<decltype(container.Last())> out;
    for (auto item = container.Last(); item; item = container.Previous())
        out.insert(out.begin(), item);
    return out;
}

// An item that counts the live instances.
struct Counted {
    static inline int live = 0;
    int id;
    explicit Counted(int i) : id(i) { live++; }
    Counted(const Counted& other) : id(other.id) { live++; }
    ~Counted() { live--; }
};

inline std::string Md5Hex(const void* data, size_t length) {
    unsigned char digest[16];
    char text[32];
    MD5Encoder().Encode(static_cast<const unsigned char*>(data), static_cast<unsigned>(length),
                        digest);
    MD5Encoder::Make_Printable(digest, text);
    return std::string(text, 32);
}
