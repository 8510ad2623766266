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

#include "base/TextConversion.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kScale = 10;
#else
constexpr int kScale = 1;
#endif

using Converter = char* (*)(const char*, int, int*, int*);

struct Result {
    std::string text;
    int length;
    int size;
};

// Runs a converter, checks the NUL and the out-parameters, and frees the text.
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

std::string random_bytes(std::mt19937& random, int length, const char* alphabet = nullptr) {
    std::string text(length, 0);
    for (char& c : text) {
        c = alphabet ? alphabet[random() % strlen(alphabet)] : static_cast<char>(random());
    }
    return text;
}

// --- itos ------------------------------------------------------------------

TEST(ItosTest, ExtremeWithoutOutParameters) {
    char* text = TextConversion::itos(INT_MIN, nullptr, nullptr);
    EXPECT_STREQ(text, "-2147483648");
    delete[] text;
}

TEST(ItosTest, RandomValuesMatchToString) {
    std::mt19937 random(21);
    for (int i = 0; i < 200000 / kScale; i++) {
        int value = static_cast<int>(random());
        if (i % 3 == 0) value >>= random() % 31;
        int length = -1, size = -1;
        char* text = TextConversion::itos(value, &length, &size);
        std::string expected = std::to_string(value);
        ASSERT_EQ(std::string(text), expected);
        ASSERT_EQ(length, static_cast<int>(expected.size()));
        ASSERT_EQ(size, length + 1);
        delete[] text;
    }
}

// --- stoi ------------------------------------------------------------------

struct Parsed {
    int value;
    int error;
};

Parsed parse_int(const std::string& text) {
    Parsed p{-99, -99};
    p.value = TextConversion::stoi(text.data(), static_cast<int>(text.size()), &p.error);
    return p;
}

// Plain decimal and hexadecimal values are the random run's.
TEST(StoiTest, AcceptedForms) {
    struct Case {
        const char* text;
        int value;
    } cases[] = {{"00012", 12}, {"-0", 0}, {"-", 0} /* a lone minus, no error */,
                 {"2147483648", INT_MIN} /* 32-bit wrapping */, {"0Xabcdef", 11259375}};
    for (const Case& c : cases) {
        Parsed p = parse_int(c.text);
        EXPECT_EQ(p.value, c.value) << c.text;
        EXPECT_EQ(p.error, 0) << c.text;
    }
}

TEST(StoiTest, RefusedForms) {
    const char* refused[] = {"",    "-0x1F", "0x",  "0xg",  "0x1g", "12abc", " 12", "12 ",
                             "+5",  "1.5",   "--5", "-a",   "1-",   "a",     "x1",  "0x 1",
                             "1e3", "- 1",   "0b1", "12\n", "1f",   "-0x",   "0xx1"};
    for (const char* text : refused) {
        Parsed p = parse_int(text);
        EXPECT_EQ(p.value, 0) << text;
        EXPECT_EQ(p.error, 1) << text;
    }
}

TEST(StoiTest, LengthBoundsTheText) {
    int error = -1;
    EXPECT_EQ(TextConversion::stoi("12", -1, &error), 12);
    EXPECT_EQ(error, 0);
    const char unterminated[] = {'1', '2', '7'};
    EXPECT_EQ(TextConversion::stoi(unterminated, 2, &error), 12);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(TextConversion::stoi("12abc", 2, &error), 12);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(TextConversion::stoi("0x1F", 2, &error), 0);  // "0x": the x is no digit
    EXPECT_EQ(error, 1);
    EXPECT_EQ(TextConversion::stoi("0x1F", 3, &error), 1);
    EXPECT_EQ(error, 0);
}

TEST(StoiTest, RandomValuesMatchTheirText) {
    std::mt19937_64 random(22);
    char text[32];
    for (int i = 0; i < 100000 / kScale; i++) {
        uint64_t bits = random() >> (random() % 64);
        int32_t value = static_cast<int32_t>(static_cast<uint32_t>(bits));
        Parsed decimal = parse_int(std::to_string(value));
        ASSERT_EQ(decimal.value, value);
        ASSERT_EQ(decimal.error, 0);
        Parsed wide = parse_int(std::to_string(bits));
        ASSERT_EQ(wide.value, value) << bits;
        snprintf(text, sizeof text, i % 2 ? "0x%x" : "0X%X", static_cast<uint32_t>(bits));
        Parsed hex = parse_int(text);
        ASSERT_EQ(hex.value, value) << text;
        ASSERT_EQ(hex.error, 0);
    }
}

// --- stod ------------------------------------------------------------------

struct Number {
    double value;
    int error;
};

Number parse_double(const std::string& text) {
    Number n{-99, -99};
    n.value = TextConversion::stod(text.data(), static_cast<int>(text.size()),
                                   static_cast<int>(text.size()) + 1, &n.error);
    return n;
}

// Plain values are the random run's.
TEST(StodTest, DecimalForms) {
    struct Case {
        const char* text;
        double value;
    } cases[] = {{"+5", 5.0},      {".5", 0.5},    {"\t 12", 12.0},
                 {"-0x1F", -31.0}, {"0X1f", 31.0}, {"1e-999", 0.0} /* underflow: no flag */};
    for (const Case& c : cases) {
        Number n = parse_double(c.text);
        EXPECT_EQ(n.value, c.value) << c.text;
        EXPECT_EQ(n.error, 0) << c.text;
    }
}

TEST(StodTest, TrailingTextIsNoNumber) {
    const char* refused[] = {"12abc", "12 ",  "abc",  "1.5.5", "0x",         "0xg",     "1e",
                             "--1",   "12\n", "INFx", "NaN5",  "-INFINITYx", "infinit", "0x1Fz"};
    for (const char* text : refused) {
        Number n = parse_double(text);
        EXPECT_EQ(n.value, 0.0) << text;
        EXPECT_FALSE(std::signbit(n.value)) << text;
        EXPECT_EQ(n.error, 1) << text;
    }
}

TEST(StodTest, OverflowIsInfinityWithTheFlag) {
    Number up = parse_double("1e999");
    EXPECT_EQ(up.value, HUGE_VAL);
    EXPECT_EQ(up.error, 1);
    Number down = parse_double("-1e999");
    EXPECT_EQ(down.value, -HUGE_VAL);
    EXPECT_EQ(down.error, 1);
}

TEST(StodTest, KeywordsAtTheirExactLength) {
    struct Case {
        const char* text;
        double value;
    } cases[] = {{"INF", HUGE_VAL},      {"inf", HUGE_VAL},        {"iNf", HUGE_VAL},
                 {"-INF", -HUGE_VAL},    {"-inf", -HUGE_VAL},      {"INFINITY", HUGE_VAL},
                 {"Infinity", HUGE_VAL}, {"-Infinity", -HUGE_VAL}, {"-INFINITY", -HUGE_VAL}};
    for (const Case& c : cases) {
        Number n = parse_double(c.text);
        EXPECT_EQ(n.value, c.value) << c.text;
        EXPECT_EQ(n.error, 0) << c.text;
    }
    const char* nans[] = {"NAN", "nan", "NaN", "-NAN", "-nan"};
    for (const char* text : nans) {
        Number n = parse_double(text);
        EXPECT_TRUE(std::isnan(n.value)) << text;
        EXPECT_EQ(std::signbit(n.value) != 0, text[0] == '-') << text;
        EXPECT_EQ(n.error, 0) << text;
    }
    // The same bytes passed as a longer text (the NUL counted in) are no
    // keyword, nor any number.
    const char padded[] = "INF\0\0";
    int error = -1;
    EXPECT_EQ(TextConversion::stod(padded, 4, 6, &error), 0.0);
    EXPECT_EQ(error, 1);
    EXPECT_EQ(TextConversion::stod("-NAN\0", 5, 6, &error), 0.0);
    EXPECT_EQ(error, 1);
}

TEST(StodTest, OnlyTheFirstLengthBytesCount) {
    int error = -1;
    EXPECT_EQ(TextConversion::stod("12.5", -1, 0, &error), 12.5);
    EXPECT_EQ(error, 0);
    const char unterminated[] = {'1', '2', '7', '5'};
    EXPECT_EQ(TextConversion::stod(unterminated, 2, 2, &error), 12.0);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(TextConversion::stod("12345", 2, 6, &error), 12.0);  // byte at length is no NUL
    EXPECT_EQ(error, 0);
    EXPECT_EQ(TextConversion::stod("12abc", 2, 6, &error), 12.0);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(TextConversion::stod("INFINITY", 3, 9, &error), HUGE_VAL);
    EXPECT_EQ(error, 0);
}

TEST(StodTest, LongTexts) {
    for (int length : {104, 105, 106, 107, 200, 1000}) {
        // "1" and zeros: 10^(length - 1), as strtod reads it.
        std::string digits = "1" + std::string(length - 1, '0');
        Number n = parse_double(digits);
        EXPECT_EQ(n.value, strtod(digits.c_str(), nullptr)) << length;
        EXPECT_EQ(n.error, length > 309 ? 1 : 0) << length;

        std::string padded = std::string(length - 5, '0') + "123.5";
        std::string buffer = padded + "999";  // not terminated at the length
        int error = -1;
        EXPECT_EQ(TextConversion::stod(buffer.data(), length, length, &error), 123.5) << length;
        EXPECT_EQ(error, 0);
        std::string tail = padded + "x";
        EXPECT_EQ(parse_double(tail).error, 1) << length;
    }
}

TEST(StodTest, RandomValuesMatchStrtod) {
    std::mt19937_64 random(23);
    char text[64];
    for (int i = 0; i < 100000 / kScale; i++) {
        uint64_t bits = random();
        double value;
        memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        snprintf(text, sizeof text, i % 2 ? "%.17g" : "%.6e", value);
        Number n = parse_double(text);
        ASSERT_EQ(n.value, strtod(text, nullptr)) << text;
        ASSERT_EQ(n.error, 0) << text;
    }
}

// --- EncodeAttribute and DecodeAttribute -------------------------------------

bool attribute_reserved(int byte) {
    return (byte >= 33 && byte <= 41) || byte == 43 || byte == 44 || byte == 47 ||
           (byte >= 58 && byte <= 63) || (byte >= 91 && byte <= 94) || byte == 96 ||
           (byte >= 123 && byte <= 126);
}

std::string attribute_form(int byte) {
    if (byte == ' ') return "+";
    if (byte >= 33 && byte <= 126 && !attribute_reserved(byte)) return std::string(1, byte);
    return hex_escape("%", byte, 2);
}

TEST(AttributeTest, EveryByte) {
    std::string all, expected;
    for (int byte = 0; byte < 256; byte++) {
        std::string in(1, static_cast<char>(byte));
        std::string form = attribute_form(byte);
        EXPECT_EQ(converted(TextConversion::EncodeAttribute, in), form) << byte;
        // What stays is exactly letters, digits and * - . @ _
        bool kept = form.size() == 1 && byte != ' ';
        EXPECT_EQ(kept, isalnum(byte) || (byte && strchr("*-.@_", byte))) << byte;
        all += in;
        expected += form;
    }
    Result r = run(TextConversion::EncodeAttribute, all);
    EXPECT_EQ(r.text, expected);
    EXPECT_EQ(r.length, static_cast<int>(expected.size()));
    EXPECT_EQ(converted(TextConversion::EncodeAttribute, "a b&c=d/e?"), "a+b%26c%3Dd%2Fe%3F");
}

TEST(AttributeTest, Decoding) {
    struct Case {
        std::string in, out;
    } cases[] = {{"a%41b", "aAb"}, {"%4a%4A", "JJ"}, {"a+b", "a b"}, {"%", "%"},
                 {"ab%4", "ab%4"}, {"%zz", "%zz"},   {"%4z", "%4z"}, {"%z4", "%z4"},
                 {"%%41", "%A"},   {"%41%", "A%"},   {"%00x", std::string("\0x", 2)}};
    for (const Case& c : cases) {
        Result r = run(TextConversion::DecodeAttribute, c.in);
        EXPECT_EQ(r.text, c.out) << c.in;
        EXPECT_EQ(r.size, static_cast<int>(c.in.size()) + 1) << c.in;
    }
    // The second digit must lie below the length, even when more bytes follow.
    int length = -1;
    char* text = TextConversion::DecodeAttribute("%41", 2, &length, nullptr);
    EXPECT_EQ(std::string(text, length), "%4");
    delete[] text;
}

TEST(AttributeTest, RandomRoundTrips) {
    std::mt19937 random(31);
    for (int i = 0; i < 2000 / kScale; i++) {
        std::string in = random_bytes(random, static_cast<int>(random() % 300));
        std::string encoded = converted(TextConversion::EncodeAttribute, in);
        for (char c : encoded)
            ASSERT_TRUE(c > 32 && c < 127) << static_cast<int>(c);
        ASSERT_EQ(converted(TextConversion::DecodeAttribute, encoded), in);
    }
}

// --- EncodeEntities and DecodeEntities ---------------------------------------

std::string entity_form(int byte) {
    const std::map<int, std::string> entities = {{34, "&quot;"}, {38, "&amp;"}, {40, "&#40;"},
                                                 {41, "&#41;"},  {60, "&lt;"},  {62, "&gt;"}};
    auto it = entities.find(byte);
    return it != entities.end() ? it->second : std::string(1, static_cast<char>(byte));
}

TEST(EntityTest, EveryByte) {
    std::string all, expected;
    for (int byte = 0; byte < 256; byte++) {
        std::string in(1, static_cast<char>(byte));
        EXPECT_EQ(converted(TextConversion::EncodeEntities, in), entity_form(byte)) << byte;
        all += in;
        expected += entity_form(byte);
    }
    EXPECT_EQ(converted(TextConversion::EncodeEntities, all), expected);
    char* text = TextConversion::EncodeEntities("<a href=\"x\">", -1, nullptr, nullptr);
    EXPECT_STREQ(text, "&lt;a href=&quot;x&quot;&gt;");
    delete[] text;
}

TEST(EntityTest, Decoding) {
    struct Case {
        std::string in, out;
    } cases[] = {{"a&", "a&"}, {"&LT;&Gt;&AMP;&QuOt;", "<>&\""}, {"&#40;x&#41;", "(x)"},
                 {"&amp;lt;", "&lt;"} /* once only */, {"&am p;", "&am p;"},
                 {"&l\nt;x", "&l\nt;x"}, {"&nbsp;", "&nbsp;"}, {"&#42;", "&#42;"}, {"&;", "&;"},
                 {"&ampx;", "&ampx;"}, {"&lt", "<"} /* the name runs to the end */,
                 {"&a&lt;", "&a&lt;"}};
    for (const Case& c : cases) {
        Result r = run(TextConversion::DecodeEntities, c.in);
        EXPECT_EQ(r.text, c.out) << c.in;
        EXPECT_EQ(r.size, static_cast<int>(c.in.size()) + 1) << c.in;
    }
}

TEST(EntityTest, RandomRoundTrips) {
    std::mt19937 random(32);
    for (int i = 0; i < 3000 / kScale; i++) {
        const char* alphabet = i % 2 ? "&;<>\"()#4017 ltgampquoLTx\t" : nullptr;
        std::string in = random_bytes(random, static_cast<int>(random() % 300), alphabet);
        std::string encoded = converted(TextConversion::EncodeEntities, in);
        ASSERT_EQ(converted(TextConversion::DecodeEntities, encoded), in);
    }
}

// --- StripNULLs --------------------------------------------------------------

TEST(StripNullsTest, RemovesEveryNul) {
    std::mt19937 random(33);
    for (int i = 0; i < 500; i++) {
        std::string in = random_bytes(random, static_cast<int>(random() % 100), "ab\1");
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

// --- EncodeJavaScriptString --------------------------------------------------

std::string javascript_form(int byte, bool utf8) {
    const std::map<int, std::string> escapes = {{7, "\\b"},  {9, "\\t"},  {10, "\\n"},
                                                {12, "\\f"}, {13, "\\r"}, {34, "\\\""},
                                                {47, "\\/"}, {92, "\\\\"}};
    if (auto it = escapes.find(byte); it != escapes.end()) return it->second;
    bool kept = byte == 32 || byte == 36 || (byte >= 43 && byte <= 46) ||
                (byte >= 48 && byte <= 58) || (byte >= 64 && byte <= 90) || byte == 95 ||
                (byte >= 97 && byte <= 122) || (!utf8 && byte > 159);
    if (kept) return std::string(1, static_cast<char>(byte));
    return hex_escape("\\u00", byte, 2);
}

TEST(JavaScriptTest, EveryByteAlone) {
    for (bool utf8 : {false, true}) {
        std::string all, expected;
        for (int byte = 0; byte < 256; byte++) {
            std::string in(1, static_cast<char>(byte));
            EXPECT_EQ(javascript(in, utf8), javascript_form(byte, utf8)) << byte << " " << utf8;
            if (!utf8 || byte < 0xC2) {  // a lead byte would take the next byte along
                all += in;
                expected += javascript_form(byte, utf8);
            }
        }
        EXPECT_EQ(javascript(all, utf8), expected);
    }
    EXPECT_EQ(javascript(std::string(1, 7), false), "\\b");
    EXPECT_EQ(javascript(std::string(1, 8), false), "\\u0008");
    EXPECT_EQ(javascript(std::string(1, 0), true), "\\u0000");
}

TEST(JavaScriptTest, Utf8Sequences) {
    // An incomplete sequence at the end is escaped byte by byte.
    EXPECT_EQ(javascript("a\xC3", true), "a\\u00C3");
    EXPECT_EQ(javascript("\xE2\x82", true), "\\u00E2\\u0082");
    // The byte after a lead is taken along without a check.
    EXPECT_EQ(javascript("\xC3"
                         "A",
                         true),
              "\\u00C1");

    // Every two-byte sequence and a sample of three-byte ones give their
    // code point.
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
