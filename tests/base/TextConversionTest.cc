#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/TextConversion.h"
#include "tests/base/BaseTestSupport.h"

namespace {

using Converter = char* (*)(const char*, int, int*, int*);

struct Result {
    std::string text;
    int length;
    int size;
};

// Checks the NUL and the out-parameters of a made text, and frees it.
Result take(char* text, int length, int size) {
    EXPECT_NE(text, nullptr);
    EXPECT_GE(size, length + 1);
    EXPECT_EQ(text[length], 0);
    Result r{std::string(text, length), length, size};
    delete[] text;
    return r;
}

Result run(Converter convert, const std::string& in) {
    int length = -1, size = -1;
    char* text = convert(in.data(), static_cast<int>(in.size()), &length, &size);
    return take(text, length, size);
}

std::string converted(Converter convert, const std::string& in) {
    return run(convert, in).text;
}

std::string javascript(const std::string& in, bool utf8) {
    int length = -1, size = -1;
    char* text = TextConversion::EncodeJavaScriptString(in.data(), static_cast<int>(in.size()),
                                                        &length, &size, utf8);
    return take(text, length, size).text;
}

std::string hex_escape(const char* prefix, unsigned value, int digits) {
    char text[16];
    snprintf(text, sizeof text, "%s%0*X", prefix, digits, value);
    return text;
}

TEST(ItosTest, RandomValuesMatchToString) {
    char* text = TextConversion::itos(INT_MIN, nullptr, nullptr);
    EXPECT_STREQ(text, "-2147483648");
    delete[] text;
    std::mt19937 random(21);
    for (int i = 0; i < Scaled(200000, 10); i++) {
        int value = static_cast<int>(random());
        if (i % 3 == 0) value >>= random() % 31;
        int length = -1, size = -1;
        text = TextConversion::itos(value, &length, &size);
        std::string expected = std::to_string(value);
        ASSERT_EQ(std::string(text), expected);
        ASSERT_EQ(length, static_cast<int>(expected.size()));
        ASSERT_EQ(size, length + 1);
        delete[] text;
    }
}

using Parsed = std::pair<int, int>;  // value, error
using Number = std::pair<double, int>;

Parsed parse_int(const char* text, int length) {
    int error = -1;
    int value = TextConversion::stoi(text, length, &error);
    return {value, error};
}

Number parse_double(const char* text, int length, int capacity) {
    int error = -1;
    double value = TextConversion::stod(text, length, capacity, &error);
    return {value, error};
}

// The text's own size as the length, with room for the terminator behind it.
Number parse_double(const std::string& text) {
    return parse_double(text.data(), static_cast<int>(text.size()),
                        static_cast<int>(text.size()) + 1);
}

// Plain decimal and hexadecimal values are the random run's; a lone minus is
// 0 and 2147483648 wraps.
TEST(StoiTest, ListedForms) {
    const std::pair<const char*, int> accepted[] = {
        {"00012", 12}, {"-0", 0}, {"-", 0}, {"2147483648", INT_MIN}, {"0Xabcdef", 11259375}};
    for (const auto& [text, value] : accepted)
        EXPECT_EQ(parse_int(text, static_cast<int>(strlen(text))), Parsed(value, 0));
    const char* refused[] = {"",    "-0x1F", "0x",  "0xg",  "0x1g", "12abc", " 12", "12 ",
                             "+5",  "1.5",   "--5", "-a",   "1-",   "a",     "x1",  "0x 1",
                             "1e3", "- 1",   "0b1", "12\n", "1f",   "-0x",   "0xx1"};
    for (const char* text : refused)
        EXPECT_EQ(parse_int(text, static_cast<int>(strlen(text))), Parsed(0, 1)) << text;
    // Only the first length bytes count; -1 measures.
    const char unterminated[] = {'1', '2', '7'};
    EXPECT_EQ(parse_int(unterminated, 2), Parsed(12, 0));
    EXPECT_EQ(parse_int("12", -1), Parsed(12, 0));
    EXPECT_EQ(parse_int("12abc", 2), Parsed(12, 0));
    EXPECT_EQ(parse_int("0x1F", 2), Parsed(0, 1));  // "0x": the x is no digit
    EXPECT_EQ(parse_int("0x1F", 3), Parsed(1, 0));
}

TEST(StoiTest, RandomValuesMatchTheirText) {
    std::mt19937_64 random(22);
    char text[32];
    for (int i = 0; i < Scaled(100000, 10); i++) {
        uint64_t bits = random() >> (random() % 64);
        int32_t value = static_cast<int32_t>(static_cast<uint32_t>(bits));
        snprintf(text, sizeof text, i % 2 ? "0x%x" : "0X%X", static_cast<uint32_t>(bits));
        for (const std::string& form :
             {std::to_string(value), std::to_string(bits), std::string(text)}) {
            ASSERT_EQ(parse_int(form.data(), static_cast<int>(form.size())), Parsed(value, 0))
                << form;
        }
    }
}

// Plain values are the random run's. An underflow is no error, an overflow is.
TEST(StodTest, ListedForms) {
    const std::pair<const char*, Number> cases[] = {
        {"+5", {5.0, 0}},         {".5", {0.5, 0}},          {"\t 12", {12.0, 0}},
        {"-0x1F", {-31.0, 0}},    {"0X1f", {31.0, 0}},       {"1e-999", {0.0, 0}},
        {"1e999", {HUGE_VAL, 1}}, {"-1e999", {-HUGE_VAL, 1}}};
    for (const auto& [text, number] : cases)
        EXPECT_EQ(parse_double(text), number) << text;
    // Keywords in any case, at their exact length, with an optional minus.
    for (std::string text : {"INF", "inf", "iNf", "INFINITY", "Infinity"}) {
        EXPECT_EQ(parse_double(text), Number(HUGE_VAL, 0)) << text;
        EXPECT_EQ(parse_double("-" + text), Number(-HUGE_VAL, 0)) << text;
    }
    for (const char* text : {"NAN", "nan", "NaN", "-NAN", "-nan"}) {
        Number n = parse_double(text);
        EXPECT_TRUE(std::isnan(n.first)) << text;
        EXPECT_EQ(std::signbit(n.first) != 0, text[0] == '-') << text;
        EXPECT_EQ(n.second, 0) << text;
    }
    const char* refused[] = {"12abc", "12 ",  "abc",  "1.5.5", "0x",         "0xg",     "1e",
                             "--1",   "12\n", "INFx", "NaN5",  "-INFINITYx", "infinit", "0x1Fz"};
    for (const char* text : refused) {
        Number n = parse_double(text);
        EXPECT_EQ(n, Number(0.0, 1)) << text;
        EXPECT_FALSE(std::signbit(n.first)) << text;
    }
    // Only the first length bytes count; -1 measures. The same bytes passed
    // as a longer text (the NUL counted in) are no keyword, nor any number.
    const char unterminated[] = {'1', '2', '7', '5'};
    EXPECT_EQ(parse_double(unterminated, 2, 2), Number(12.0, 0));
    EXPECT_EQ(parse_double("12.5", -1, 0), Number(12.5, 0));
    EXPECT_EQ(parse_double("12345", 2, 6), Number(12.0, 0));  // the byte at length is no NUL
    EXPECT_EQ(parse_double("12abc", 2, 6), Number(12.0, 0));
    EXPECT_EQ(parse_double("INFINITY", 3, 9), Number(HUGE_VAL, 0));
    EXPECT_EQ(parse_double("INF\0\0", 4, 6), Number(0.0, 1));
    EXPECT_EQ(parse_double("-NAN\0", 5, 6), Number(0.0, 1));
}

TEST(StodTest, LongTexts) {
    for (int length : {104, 105, 106, 107, 200, 1000}) {
        // "1" and zeros: 10^(length - 1), as strtod reads it.
        std::string digits = "1" + std::string(length - 1, '0');
        EXPECT_EQ(parse_double(digits), Number(strtod(digits.c_str(), nullptr), length > 309))
            << length;

        std::string padded = std::string(length - 5, '0') + "123.5";
        std::string buffer = padded + "999";  // not terminated at the length
        EXPECT_EQ(parse_double(buffer.data(), length, length), Number(123.5, 0)) << length;
        EXPECT_EQ(parse_double(padded + "x").second, 1) << length;
    }
}

TEST(StodTest, RandomValuesMatchStrtod) {
    std::mt19937_64 random(23);
    char text[64];
    for (int i = 0; i < Scaled(100000, 10); i++) {
        uint64_t bits = random();
        double value;
        memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        snprintf(text, sizeof text, i % 2 ? "%.17g" : "%.6e", value);
        ASSERT_EQ(parse_double(text), Number(strtod(text, nullptr), 0)) << text;
    }
    // Plain decimals as numeric fields hold them, signs and zeros included,
    // bit for bit.
    for (int i = 0; i < Scaled(100000, 10); i++) {
        std::string decimal(random() % 3, ' ');
        decimal += "+- "[random() % 3];
        if (decimal.back() == ' ') decimal.pop_back();
        int digits = 1 + random() % 18, point = random() % (digits + 2) - 1;
        for (int d = 0; d < digits; d++) {
            if (d == point) decimal += '.';
            decimal += static_cast<char>('0' + (random() % 4 ? random() % 10 : 0));
        }
        if (point == digits) decimal += '.';
        double expected = strtod(decimal.c_str(), nullptr), got = parse_double(decimal).first;
        ASSERT_EQ(memcmp(&expected, &got, sizeof got), 0) << decimal;
    }
}

// A byte's form: its entry in escapes, itself when kept, else hex behind prefix.
std::string byte_form(int byte, const std::map<int, std::string>& escapes, bool kept,
                      const char* prefix) {
    if (auto it = escapes.find(byte); it != escapes.end()) return it->second;
    return kept ? std::string(1, static_cast<char>(byte)) : hex_escape(prefix, byte, 2);
}

// Each byte alone, then all bytes below up_to in one text.
template <class Form>
void check_every_byte(Converter convert, Form form, int up_to = 256, bool utf8 = false) {
    auto encode = [&](const std::string& in) {
        return convert ? converted(convert, in) : javascript(in, utf8);
    };
    std::string all, expected;
    for (int byte = 0; byte < 256; byte++) {
        std::string in(1, static_cast<char>(byte));
        EXPECT_EQ(encode(in), form(byte)) << byte;
        if (byte < up_to) all += in, expected += form(byte);
    }
    EXPECT_EQ(encode(all), expected);
}

TEST(EncodeTest, EveryByte) {
    // Attributes keep exactly letters, digits and * - . @ _
    check_every_byte(TextConversion::EncodeAttribute, [](int byte) {
        return byte_form(byte, {{' ', "+"}}, isalnum(byte) || (byte && strchr("*-.@_", byte)), "%");
    });
    EXPECT_EQ(converted(TextConversion::EncodeAttribute, "a b&c=d/e?"), "a+b%26c%3Dd%2Fe%3F");
    const std::map<int, std::string> entities = {{34, "&quot;"}, {38, "&amp;"}, {40, "&#40;"},
                                                 {41, "&#41;"},  {60, "&lt;"},  {62, "&gt;"}};
    check_every_byte(TextConversion::EncodeEntities,
                     [&](int byte) { return byte_form(byte, entities, true, ""); });
    char* text = TextConversion::EncodeEntities("<a href=\"x\">", -1, nullptr, nullptr);
    EXPECT_STREQ(text, "&lt;a href=&quot;x&quot;&gt;");
    delete[] text;
    const std::map<int, std::string> escapes = {{7, "\\b"},  {9, "\\t"},  {10, "\\n"},
                                                {12, "\\f"}, {13, "\\r"}, {34, "\\\""},
                                                {47, "\\/"}, {92, "\\\\"}};
    for (bool utf8 : {false, true}) {
        // In UTF-8, a lead byte from 0xC2 on would take the next byte along.
        auto form = [&](int byte) {
            bool kept =
                isalnum(byte) || (byte && strchr(" $+,-.:@_", byte)) || (!utf8 && byte > 159);
            return byte_form(byte, escapes, kept, "\\u00");
        };
        check_every_byte(nullptr, form, utf8 ? 0xC2 : 256, utf8);
    }
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

// The decoded size is the encoded length + 1.
void check_decoding(Converter decode, const Pairs& cases) {
    for (const auto& [in, out] : cases) {
        Result r = run(decode, in);
        EXPECT_EQ(r.text, out) << in;
        EXPECT_EQ(r.size, static_cast<int>(in.size()) + 1) << in;
    }
}

TEST(DecodeTest, ListedTexts) {
    const Pairs attributes = {{"a%41b", "aAb"}, {"%4a%4A", "JJ"},    {"a+b", "a b"},
                              {"%", "%"},       {"ab%4", "ab%4"},    {"%zz", "%zz"},
                              {"%4z", "%4z"},   {"%z4", "%z4"},      {"%%41", "%A"},
                              {"%41%", "A%"},   {"%00x", {"\0x", 2}}};
    check_decoding(TextConversion::DecodeAttribute, attributes);
    // "&amp;lt;" is undone once only; "&lt" runs to the end.
    const Pairs entities = {{"a&", "a&"},           {"&LT;&Gt;&AMP;&QuOt;", "<>&\""},
                            {"&#40;x&#41;", "(x)"}, {"&amp;lt;", "&lt;"},
                            {"&am p;", "&am p;"},   {"&l\nt;x", "&l\nt;x"},
                            {"&nbsp;", "&nbsp;"},   {"&#42;", "&#42;"},
                            {"&;", "&;"},           {"&ampx;", "&ampx;"},
                            {"&lt", "<"},           {"&a&lt;", "&a&lt;"}};
    check_decoding(TextConversion::DecodeEntities, entities);
    // The second digit must lie below the length, even when more bytes follow.
    int length = -1;
    char* text = TextConversion::DecodeAttribute("%41", 2, &length, nullptr);
    EXPECT_EQ(std::string(text, length), "%4");
    delete[] text;
}

TEST(DecodeTest, RandomRoundTrips) {
    std::mt19937 random(31);
    for (int i = 0; i < Scaled(5000, 10); i++) {
        std::string in = RandomBytes(random, static_cast<int>(random() % 300),
                                     i % 4 == 1 ? "&;<>\"()#4017 ltgampquoLTx\t" : nullptr);
        std::string encoded = converted(TextConversion::EncodeAttribute, in);
        for (char c : encoded)
            ASSERT_TRUE(c > 32 && c < 127) << static_cast<int>(c);
        ASSERT_EQ(converted(TextConversion::DecodeAttribute, encoded), in);
        encoded = converted(TextConversion::EncodeEntities, in);
        ASSERT_EQ(converted(TextConversion::DecodeEntities, encoded), in);
    }
}

TEST(StripNullsTest, RemovesEveryNul) {
    std::mt19937 random(33);
    for (int i = 0; i < 500; i++) {
        std::string in = RandomBytes(random, static_cast<int>(random() % 100), "ab\1");
        std::string expected;
        for (char& c : in) {
            if (c == 1) c = 0;
            if (c) expected += c;
        }
        Result r = run(TextConversion::StripNULLs, in);
        ASSERT_EQ(r.text, expected);
        ASSERT_EQ(r.size, static_cast<int>(in.size()) + 1);
    }
}

TEST(JavaScriptTest, Utf8Sequences) {
    // An incomplete sequence at the end is escaped byte by byte.
    EXPECT_EQ(javascript("a\xC3", true), "a\\u00C3");
    EXPECT_EQ(javascript("\xE2\x82", true), "\\u00E2\\u0082");
    // The byte after a lead is taken along without a check.
    EXPECT_EQ(javascript(std::string("\xC3") + "A", true), "\\u00C1");
    // Every two-byte sequence and a sample of three-byte ones give their code point.
    for (int lead = 0xC2; lead <= 0xDF; lead++) {
        for (int next = 0x80; next <= 0xBF; next++) {
            std::string in = {static_cast<char>(lead), static_cast<char>(next)};
            unsigned code = (lead & 0x1F) << 6 | (next & 0x3F);
            ASSERT_EQ(javascript(in, true), hex_escape("\\u", code, 4)) << lead << " " << next;
        }
    }
    std::mt19937 random(34);
    for (int i = 0; i < 5000; i++) {
        unsigned code = 0x800 + random() % (0x10000 - 0x800);
        std::string in = {static_cast<char>(0xE0 | code >> 12),
                          static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                          static_cast<char>(0x80 | (code & 0x3F))};
        ASSERT_EQ(javascript(in, true), hex_escape("\\u", code, 4)) << code;
    }
}

}  // namespace
