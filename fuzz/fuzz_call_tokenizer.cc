// Feeds arbitrary bytes to the OxCALL tokenizer as a response body, read in
// fills whose size comes from the first byte, and publishes every object in
// a variable table as a script would see it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "files/Dictionary.h"
#include "network/HTTPResponseStream.h"
#include "statements/CallBuffer.h"
#include "statements/CallScanner.h"
#include "tests/support/MemoryConnection.h"
#include "variables/VariableHash.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 1 << 16) return 0;
    int fill = data[0] % 64 + 1;
    std::string response = "HTTP/1.0 200 OK\r\n\r\n";
    response.append(reinterpret_cast<const char*>(data + 1), size - 1);
    HTTPResponseStream stream(new MemoryConnection(response, fill), 1);
    if (!stream.Read_Headers()) return 0;
    Dictionary dictionary;
    VariableHash variables(&dictionary, 8, 8);
    CallBuffer buffer(&stream, fill);
    CallScanner scanner(&buffer, &variables);
    // Every object but the first takes at least one byte, so this ends.
    while (scanner.Find_Next_Element() == CallScanner::kObject) {
    }
    return 0;
}
