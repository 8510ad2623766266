#include "base/Base64.h"

namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

unsigned sextet(char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return 0;
}

}  // namespace

int ox_base64_encode(const char* in, char* out, int length) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(in);
    int n = 0;
    for (int i = 0; i < length; i += 3) {
        int left = length - i;
        unsigned group = bytes[i] << 16;
        if (left > 1) group |= bytes[i + 1] << 8;
        if (left > 2) group |= bytes[i + 2];
        out[n++] = kAlphabet[group >> 18];
        out[n++] = kAlphabet[(group >> 12) & 63];
        out[n++] = left > 1 ? kAlphabet[(group >> 6) & 63] : '=';
        out[n++] = left > 2 ? kAlphabet[group & 63] : '=';
    }
    return n;
}

int ox_base64_decode(const char* in, char* out, int length) {
    int n = 0;
    for (int i = 0; i + 4 <= length; i += 4) {
        unsigned group = sextet(in[i]) << 18 | sextet(in[i + 1]) << 12 | sextet(in[i + 2]) << 6 |
                         sextet(in[i + 3]);
        out[n++] = static_cast<char>(group >> 16);
        if (in[i + 2] != '=') out[n++] = static_cast<char>(group >> 8);
        if (in[i + 3] != '=') out[n++] = static_cast<char>(group);
    }
    return n;
}
