// Runs the text decoders, encoders, number parsers and substring searches
// over arbitrary bytes. They accept every input, so the only findings are
// crashes, overruns and leaks.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "base/Base64.h"
#include "base/StringSearch.h"
#include "base/TextConversion.h"

namespace {

using Converter = char* (*)(const char*, int, int*, int*);

void convert(Converter function, const char* text, int length) {
    int out_length = -1, out_size = -1;
    char* out = function(text, length, &out_length, &out_size);
    if (out_length < 0 || out_size <= out_length || out[out_length] != 0) __builtin_trap();
    delete[] out;
}

void encode_javascript(const char* text, int length, bool utf8) {
    int out_length = -1;
    char* out = TextConversion::EncodeJavaScriptString(text, length, &out_length, nullptr, utf8);
    if (out_length < 0 || out[out_length] != 0) __builtin_trap();
    delete[] out;
}

void parse_numbers(const char* text, int length) {
    int error = -1;
    TextConversion::stoi(text, length, &error);
    if (error != 0 && error != 1) __builtin_trap();
    // Exactly length bytes: no terminator to lean on.
    TextConversion::stod(text, length, length, &error);
    if (error != 0 && error != 1) __builtin_trap();
    // The same bytes with a terminator behind them, and measured.
    std::vector<char> terminated(text, text + length);
    terminated.push_back(0);
    TextConversion::stod(terminated.data(), length, length + 1, &error);
    TextConversion::stod(terminated.data(), -1, 0, &error);
    TextConversion::stoi(terminated.data(), -1, &error);
}

void search_all(const char* text, int length) {
    using Search = int (*)(const char*, int, const char*, int);
    static const Search searches[] = {bf_search, bf_searchi, bf_search_reverse, bf_searchi_reverse,
                                      bm_search, bm_searchi, bm_search_reverse, bm_searchi_reverse,
                                      rk_search, rk_searchi};
    if (length == 0) return;
    // The first byte tells the pattern length; the pattern is the bytes after it.
    int pattern_length = static_cast<unsigned char>(text[0]) % 16;
    if (pattern_length > length - 1) pattern_length = length - 1;
    const char* pattern = text + 1;
    for (Search search : searches) {
        int at = search(pattern, pattern_length, text, length);
        if (at < -1 || at > length - pattern_length) __builtin_trap();
        at = search(text, length, pattern, pattern_length);  // text longer than pattern
        if (at != -1 && length > pattern_length) __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    int length = static_cast<int>(size);
    // An exact copy on the heap, so that a read past the end is caught.
    std::unique_ptr<char[]> text(new char[size ? size : 1]);
    if (size) memcpy(text.get(), data, size);

    parse_numbers(text.get(), length);
    convert(TextConversion::DecodeAttribute, text.get(), length);
    convert(TextConversion::DecodeEntities, text.get(), length);
    convert(TextConversion::StripNULLs, text.get(), length);
    convert(TextConversion::EncodeAttribute, text.get(), length);
    convert(TextConversion::EncodeEntities, text.get(), length);
    encode_javascript(text.get(), length, true);
    encode_javascript(text.get(), length, false);

    std::vector<char> decoded(size / 4 * 3 + 1);
    int decoded_length = ox_base64_decode(text.get(), decoded.data(), length);
    if (decoded_length < 0 || decoded_length > static_cast<int>(size / 4 * 3)) __builtin_trap();

    search_all(text.get(), length);
    return 0;
}
