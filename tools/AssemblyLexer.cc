#include "tools/AssemblyLexer.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

bool is_name_start(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '.' || c == '$';
}

bool is_name_char(char c) {
    return is_name_start(c) || (c >= '0' && c <= '9');
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

AssemblyLexer::AssemblyLexer(const char* text, size_t length) : text_(text), length_(length) {}

void AssemblyLexer::Advance() {
    if (text_[at_++] == '\n') {
        line_++;
        column_ = 1;
    } else {
        column_++;
    }
}

bool AssemblyLexer::Fail(const char* what) {
    error_ = "line " + std::to_string(token_line_) + ", column " + std::to_string(token_column_) +
             ": " + what;
    return false;
}

bool AssemblyLexer::Next(AssemblyToken* token) {
    for (;;) {
        char c = Peek();
        if (c == ' ' || c == '\t' || c == '\r') {
            Advance();
        } else if (c == ';' || c == '#') {
            while (at_ < length_ && Peek() != '\n')
                Advance();
        } else {
            break;
        }
    }
    *token = AssemblyToken();
    token->line = token_line_ = line_;
    token->column = token_column_ = column_;
    if (at_ >= length_) return true;
    char c = Peek();
    if (c == '\n') {
        Advance();
        token->kind = AssemblyToken::Newline;
        return true;
    }
    if (c == ',' || c == '&') {
        Advance();
        token->kind = c == ',' ? AssemblyToken::Comma : AssemblyToken::Ampersand;
        return true;
    }
    if (c == '"') return String(token);
    if ((c >= '0' && c <= '9') || c == '-' || c == '+') return Number(token);
    if (is_name_start(c)) return NameOrLabel(token);
    if (c == 0) return Fail("NUL byte in the text");
    return Fail("unexpected character");
}

bool AssemblyLexer::NameOrLabel(AssemblyToken* token) {
    size_t start = at_;
    while (at_ < length_ && is_name_char(Peek()))
        Advance();
    token->text.assign(text_ + start, at_ - start);
    token->kind = AssemblyToken::Name;
    if (Peek() == ':') {
        Advance();
        token->kind = AssemblyToken::Label;
    }
    const std::string& t = token->text;
    if (t == "inf" || t == "nan") {
        token->kind = AssemblyToken::Double;
        token->number = t == "inf" ? HUGE_VAL : NAN;
    }
    return true;
}

bool AssemblyLexer::Number(AssemblyToken* token) {
    size_t start = at_;
    if (Peek() == '-' || Peek() == '+') Advance();
    if (Peek() == 'i' || Peek() == 'n') {  // -inf, -nan
        while (at_ < length_ && is_name_char(Peek()))
            Advance();
        std::string word(text_ + start, at_ - start);
        if (word != "-inf" && word != "+inf" && word != "-nan" && word != "+nan")
            return Fail("malformed number");
        token->kind = AssemblyToken::Double;
        token->number = word[1] == 'i' ? HUGE_VAL : NAN;
        if (word[0] == '-') token->number = -token->number;
        return true;
    }
    while (at_ < length_ &&
           (is_name_char(Peek()) ||
            ((Peek() == '-' || Peek() == '+') && (text_[at_ - 1] == 'e' || text_[at_ - 1] == 'E'))))
        Advance();
    std::string word(text_ + start, at_ - start);
    bool hex = word.find("0x") != std::string::npos || word.find("0X") != std::string::npos;
    bool fraction = !hex && word.find_first_of(".eE") != std::string::npos;
    char* end;
    if (fraction) {
        token->kind = AssemblyToken::Double;
        token->number = strtod(word.c_str(), &end);
    } else {
        token->kind = AssemblyToken::Integer;
        errno = 0;
        token->integer = strtoll(word.c_str(), &end, 0);
        if (errno == ERANGE) return Fail("number out of range");
    }
    if (*end || word == "-" || word == "+") return Fail("malformed number");
    return true;
}

bool AssemblyLexer::String(AssemblyToken* token) {
    Advance();  // the opening quote
    token->kind = AssemblyToken::Text;
    for (;;) {
        if (at_ >= length_ || Peek() == '\n') return Fail("string not closed on its line");
        char c = Peek();
        Advance();
        if (c == '"') return true;
        if (c != '\\') {
            token->text += c;
            continue;
        }
        char escape = Peek();
        if (at_ >= length_) return Fail("string not closed on its line");
        Advance();
        switch (escape) {
            case '\\':
                token->text += '\\';
                break;
            case '"':
                token->text += '"';
                break;
            case 'n':
                token->text += '\n';
                break;
            case 'r':
                token->text += '\r';
                break;
            case 't':
                token->text += '\t';
                break;
            case 'x': {
                int high = hex_digit(Peek());
                int low = hex_digit(Peek(1));
                if (high < 0 || low < 0) return Fail("\\x needs two hexadecimal digits");
                Advance();
                Advance();
                token->text += static_cast<char>(high * 16 + low);
                break;
            }
            default:
                return Fail("unknown escape in string");
        }
    }
}
