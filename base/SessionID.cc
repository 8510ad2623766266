#include "base/SessionID.h"

#include <cstdlib>
#include <cstring>

#include "base/MD5Encoder.h"

static const int kMaxHostnameLength = 255;

static void StoreBigEndian32(unsigned long value, unsigned char* out) {
    for (int i = 0; i < 4; i++)
        out[i] = static_cast<unsigned char>(value >> (8 * (3 - i)));
}

void BuildSessionIDBuffer(const char* hostname, int pid, long seconds, long microseconds,
                          SessionIDRandomSource random_bytes, unsigned char* buffer) {
    memset(buffer, 0, kSessionIDBufferSize);
    int offset = hostname != nullptr ? static_cast<int>(strnlen(hostname, kMaxHostnameLength)) : 0;
    if (offset > 0) memcpy(buffer, hostname, offset);

    StoreBigEndian32(static_cast<unsigned long>(pid), buffer + offset);
    StoreBigEndian32(static_cast<unsigned long>(seconds), buffer + offset + 4);
    StoreBigEndian32(static_cast<unsigned long>(microseconds), buffer + offset + 8);
    offset += 12;

    int remaining = kSessionIDBufferSize - offset;
    if (random_bytes != nullptr && random_bytes(buffer + offset, remaining)) return;
    for (int i = offset; i < kSessionIDBufferSize; i++) {
        buffer[i] = static_cast<unsigned char>(rand());
    }
}

char* MakeSessionIDFrom(const char* hostname, int pid, long seconds, long microseconds,
                        SessionIDRandomSource random_bytes, int* length) {
    unsigned char buffer[kSessionIDBufferSize];
    BuildSessionIDBuffer(hostname, pid, seconds, microseconds, random_bytes, buffer);

    unsigned char digest[16];
    MD5Encoder encoder;
    encoder.Encode(buffer, kSessionIDBufferSize, digest);

    char* id = new char[33];
    MD5Encoder::Make_Printable(digest, id);
    id[32] = 0;
    *length = 32;
    return id;
}
