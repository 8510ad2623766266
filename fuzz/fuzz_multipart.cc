// Feeds arbitrary bytes to the multipart form parser in blocks whose sizes
// come from the first byte; the second chooses a boundary, or none (the
// first line of the body is then the boundary). File parts are offered to a
// script without upload functions, so they are skipped.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/MultipartFormParser.h"
#include "tests/support/ScriptRun.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > 1 << 16) return 0;
    static TestApplication* application = new TestApplication();
    static ScriptRun* run = new ScriptRun(".segment 0\n.end\n", application);
    int block = data[0] % 64 + 1;
    const char* type =
        data[1] & 1 ? "multipart/form-data; boundary=\"b\\\"x\"" : "multipart/form-data";
    const char* body = reinterpret_cast<const char*>(data + 2);
    int length = static_cast<int>(size - 2);
    Dictionary dictionary;
    VariableHash globals(&dictionary);
    MultipartFormParser parser(run->vm(), application->filemanager(), &globals, data[1] >> 4, type);
    bool ok = true;
    for (int at = 0; ok && at < length; at += block)
        ok = parser.Parse(body + at, length - at < block ? length - at : block);
    parser.Finalize();
    return 0;
}
