#pragma once

// Conversions between numbers and text, and the text encodings that scripts
// see. They keep no state. Every function that makes text returns a new[]
// block, with its length and its allocated size through out-parameters
// (either may be null), so that a String or a LinkBuffer can adopt it. The
// application derives from this class, so these are also its own members.
class TextConversion {
  public:
    // Decimal text of value; the size is exactly length + 1.
    static char* itos(int value, int* length, int* size);
    // Text of value. precision -1 is free format: the shortest digits that
    // read back as the same double, at most 20 places behind the point and
    // never an exponent. precision 0 or more gives exactly that many places,
    // rounded half-even on exact ties. Non-finite values give "Infinity",
    // "-Infinity", "NaN" or "-NaN"; negative zero gives "-0".
    static char* dtos(double value, int* length, int* size, int precision);
    // Decimal, "-" decimal, or "0x" hexadecimal integer in wrapping 32-bit
    // arithmetic. Anything else sets *error to 1 and gives 0. length -1
    // measures the text.
    static int stoi(const char* text, int length, int* error);
    // A number only when the whole text is one: what strtod accepts, a
    // "0x" integer, or (with a real length) NAN, INF, INFINITY with an
    // optional "-" in any letter case. Else 0.0 with *error 1; an overflow
    // gives the infinity with *error 1. capacity tells whether the byte at
    // length may be read as the terminator; length -1 measures.
    static double stod(const char* text, int length, int capacity, int* error);

    // The URL form of attribute values: blank as "+", reserved, control and
    // high bytes as "%XX".
    static char* EncodeAttribute(const char* text, int length, int* out_length, int* out_size);
    // Undoes "%XX" and "+"; a "%" without two hexadecimal digits stays.
    static char* DecodeAttribute(const char* text, int length, int* out_length, int* out_size);
    // Escapes quotation mark, ampersand, parentheses, less-than and
    // greater-than as HTML entities.
    static char* EncodeEntities(const char* text, int length, int* out_length, int* out_size);
    // Undoes the entities that EncodeEntities makes; others stay as they are.
    static char* DecodeEntities(const char* text, int length, int* out_length, int* out_size);
    // Removes every NUL byte; length must be real.
    static char* StripNULLs(const char* text, int length, int* out_length, int* out_size);
    // The text as the inside of a JavaScript string literal. With utf8 set,
    // two- and three-byte sequences become "\uXXXX"; without it, bytes above
    // 159 pass unchanged.
    static char* EncodeJavaScriptString(const char* text, int length, int* out_length,
                                        int* out_size, bool utf8);
};
