// Feeds arbitrary bytes to the HTTP response reader as the peer of a
// connection: status line, headers, chunk sizes and terminators, bodies cut
// anywhere. The first byte sets how many bytes each read of the connection
// delivers, the second how many the reader asks for; a third says where the
// connection breaks (0: it does not).
#include <cstddef>
#include <cstdint>
#include <string>

#include "network/HTTPResponseStream.h"
#include "tests/support/MemoryConnection.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3 || size > 1 << 16) return 0;
    int piece = data[0] % 32 + 1;
    int read_size = data[1] % 128 + 1;
    long fail_at = data[2] ? static_cast<long>(data[2]) * 97 : -1;
    std::string response(reinterpret_cast<const char*>(data + 3), size - 3);
    HTTPResponseStream stream(new MemoryConnection(response, piece, fail_at), 1);
    if (!stream.Read_Headers()) return 0;
    char buffer[128];
    while (stream.Read(buffer, read_size) > 0) {
    }
    return 0;
}
