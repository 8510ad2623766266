// Feeds arbitrary bytes to the URL-encoded form parser in blocks whose
// sizes come from the first byte, with a variable limit from the second.
#include <cstddef>
#include <cstdint>

#include "files/Dictionary.h"
#include "host/URLEncodedParser.h"
#include "variables/VariableHash.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    int block = data[0] % 64 + 1;
    int limit = data[1] % 8;
    const char* body = reinterpret_cast<const char*>(data + 2);
    int length = static_cast<int>(size - 2);
    Dictionary dictionary;
    VariableHash globals(&dictionary);
    URLEncodedParser parser(&globals, limit);
    bool ok = true;
    for (int at = 0; ok && at < length; at += block)
        ok = parser.Parse(body + at, length - at < block ? length - at : block);
    if (ok) parser.Finalize();
    return 0;
}
