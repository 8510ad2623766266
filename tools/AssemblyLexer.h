#pragma once

#include <cstdint>
#include <string>

// Tokens of the assembly text that oxin-dis prints and oxin-asm reads.
//
// A line holds tokens separated by blanks; ";" starts a comment to the end
// of the line. Names are letters, digits, "_", "." and "$" not starting with
// a digit ("pushc", ".segment", "L12"); a name directly followed by ":" is a
// label. Numbers are decimal or 0x hexadecimal integers with an optional
// "-", or decimal fractions and exponents, or "inf", "-inf", "nan". Strings
// are in double quotes with the escapes \\ \" \n \r \t and \xHH.
struct AssemblyToken {
    enum Kind { End, Newline, Name, Label, Integer, Double, Text, Comma, Ampersand };
    Kind kind = End;
    std::string text;  // the name, label or decoded string bytes
    int64_t integer = 0;
    double number = 0;
    int line = 0;
    int column = 0;
};

class AssemblyLexer {
  public:
    AssemblyLexer(const char* text, size_t length);

    // The next token; false with error() set on a malformed one.
    bool Next(AssemblyToken* token);
    const std::string& error() const { return error_; }

  private:
    bool Fail(const char* what);
    bool Number(AssemblyToken* token);
    bool String(AssemblyToken* token);
    bool NameOrLabel(AssemblyToken* token);
    char Peek(size_t ahead = 0) const { return at_ + ahead < length_ ? text_[at_ + ahead] : 0; }
    void Advance();

    const char* text_;
    size_t length_;
    size_t at_ = 0;
    int line_ = 1;
    int column_ = 1;
    int token_line_ = 1;
    int token_column_ = 1;
    std::string error_;
};
