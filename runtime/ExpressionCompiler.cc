#include "runtime/ExpressionCompiler.h"

#include <strings.h>

#include <cctype>
#include <cstring>

#include "base/TextConversion.h"
#include "extensions/ExternalCallManager.h"
#include "files/Dictionary.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/Instructions.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "variables/VariableHash.h"

namespace {

const _OperatorInfo kOperators[] = {
    {"+", 1, 3, 0, 1},       {"-", 1, 3, 1, 1},       {"$", 1, 3, 2, 1},
    {"BITAND", 6, 3, 3, 1},  {"BITOR", 5, 3, 4, 1},   {"BITXOR", 6, 3, 5, 1},
    {"BITOC", 5, 3, 6, 0},   {"BITSL", 5, 3, 7, 1},   {"BITSR", 5, 3, 8, 1},
    {"/", 1, 4, 9, 1},       {"*", 1, 4, 10, 1},      {"MOD", 3, 4, 28, 1},
    {"AND", 3, 1, 11, 1},    {"OR", 2, 1, 12, 1},     {"IN", 2, 2, 13, 1},
    {"CIN", 3, 2, 14, 1},    {"EIN", 3, 2, 15, 1},    {"ECIN", 4, 2, 16, 1},
    {"EQ", 2, 2, 17, 1},     {"NE", 2, 2, 18, 1},     {"GE", 2, 2, 19, 1},
    {"LE", 2, 2, 20, 1},     {"LT", 2, 2, 21, 1},     {"GT", 2, 2, 22, 1},
    {"ROUNDS", 6, 5, 25, 1}, {"ROUNDF", 6, 5, 26, 1}, {"CRYPT", 5, 5, 27, 1},
    {"POW", 3, 5, 30, 1},    {"NOT", 3, 6, 23, 0},    {"(", 1, 7, 32, 0},
    {"ISNULL", 6, 6, 31, 0}, {"++", 2, 8, 33, 0},     {"--", 2, 8, 34, 0},
    {"", 0, 0, 35, 1},
};

// The instruction of each operator id, 0 for those that are no instruction.
uint16_t instruction_of(int id) {
    switch (id) {
        case 0:
            return Op_add;
        case 1:
            return Op_sub;
        case 2:
            return Op_cat;
        case 3:
            return Op_bitand;
        case 4:
            return Op_bitor;
        case 5:
            return Op_bitxor;
        case 6:
            return Op_bitoc;
        case 7:
            return Op_bitsl;
        case 8:
            return Op_bitsr;
        case 9:
            return Op_div;
        case 10:
            return Op_mul;
        case 28:
            return Op_mod;
        case 11:
            return Op_and;
        case 12:
            return Op_or;
        case 13:
            return Op_in;
        case 14:
            return Op_cin;
        case 15:
            return Op_ein;
        case 16:
            return Op_ecin;
        case 17:
            return Op_eq;
        case 18:
            return Op_ne;
        case 19:
            return Op_ge;
        case 20:
            return Op_le;
        case 21:
            return Op_lt;
        case 22:
            return Op_gt;
        case 25:
            return Op_rounds;
        case 26:
            return Op_roundf;
        case 27:
            return Op_crypt;
        case 30:
            return Op_pow;
        case 23:
            return Op_not;
        case 31:
            return Op_isnull;
        default:
            return 0;
    }
}

const _OperatorInfo* find_operator(const char* text) {
    for (const _OperatorInfo* op = kOperators; op->length; op++) {
        if (strcmp(op->text, text) == 0) return op;
    }
    return nullptr;
}

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool is_name(char c) {
    return isalnum(static_cast<unsigned char>(c)) || c == '_';
}

bool is_symbol_operator(char c) {
    return c == '+' || c == '-' || c == '$' || c == '/' || c == '*';
}

}  // namespace

ExpressionCompiler::ExpressionCompiler(ExternalCallManager* externals, SegmentManager* segments,
                                       Dictionary* dictionary, FunctionManager* functions,
                                       FunctionManager* caller, const char* expression, int length,
                                       const char* alias, Segment* segment, int offset,
                                       const char* source, int source_length, int line,
                                       unsigned version)
    : externals_(externals),
      segments_(segments),
      dictionary_(dictionary),
      functions_(functions),
      caller_(caller),
      segment_(segment),
      offset_(offset),
      text_(expression ? expression : ""),
      length_(length >= 0 ? length : static_cast<int>(strlen(text_))),
      line_(line),
      version_(version) {
    if (!segment_) {
        segment_ = segments_->Segment_Add();
        offset_ = segment_->Code_Length();
    }
    if (alias) {
        alias_id_ = AddText(alias, -1);
        has_alias_ = true;
    }
    if (source) source_id_ = AddText(source, source_length);
}

bool ExpressionCompiler::Expression_Empty(const char* text, int length) {
    for (int i = 0; i < length; i++) {
        if (!is_space(text[i])) return false;
    }
    return true;
}

bool ExpressionCompiler::Fail(const std::string& text) {
    if (error_.length() == 0) error_ = String(text.c_str(), static_cast<int>(text.size()));
    return false;
}

int ExpressionCompiler::AddText(const char* text, int length) {
    return dictionary_->Entry_Add(text, length);
}

void ExpressionCompiler::Emit(uint16_t word) {
    offset_ = segment_->Write_Word(offset_, word);
}

void ExpressionCompiler::Emit(uint16_t word, int32_t operand) {
    Emit(word);
    offset_ = segment_->Write_Dword(offset_, static_cast<uint32_t>(operand));
}

void ExpressionCompiler::Emit(uint16_t word, int32_t first, int32_t second) {
    Emit(word, first);
    offset_ = segment_->Write_Dword(offset_, static_cast<uint32_t>(second));
}

void ExpressionCompiler::EmitLine() {
    if (source_id_ < 0 || line_ == last_line_) return;
    Emit(Op_lineno, line_);
    last_line_ = line_;
}

int ExpressionCompiler::Run() {
    if (source_id_ >= 0) Emit(Op_sourcefile, source_id_);
    return ParseRange(0, length_) ? 1 : 0;
}

// The closing quote of the quote at at (one not after a backslash), or -1.
int ExpressionCompiler::FindQuoteEnd(int at) {
    char quote = text_[at];
    for (int i = at + 1; i < end_; i++) {
        if (text_[i] == quote && text_[i - 1] != '\\') return i;
    }
    return -1;
}

// The match of the bracket at at, stepping over quoted text, or -1.
int ExpressionCompiler::FindEnd(int at, char open, char close) {
    int depth = 0;
    for (int i = at; i < end_; i++) {
        char c = text_[i];
        if (c == '"' || c == '\'') {
            int quote_end = FindQuoteEnd(i);
            if (quote_end < 0) return -1;
            i = quote_end;
        } else if (c == open) {
            depth++;
        } else if (c == close && --depth == 0) {
            return i;
        }
    }
    return -1;
}

// The length of the word operator at at, with *op set, or 0.
int ExpressionCompiler::OperatorWord(int at, const _OperatorInfo** op) {
    if (at > 0 && is_name(text_[at - 1])) return 0;
    int end = at;
    while (end < end_ && isalpha(static_cast<unsigned char>(text_[end])))
        end++;
    int length = end - at;
    if (length < 2 || length > 6 ||
        (end < end_ && (isdigit(static_cast<unsigned char>(text_[end])) || text_[end] == '_')))
        return 0;
    char word[8] = {};
    for (int i = 0; i < length; i++)
        word[i] = static_cast<char>(toupper(static_cast<unsigned char>(text_[at + i])));
    const _OperatorInfo* found = find_operator(word);
    if (!found || !isalpha(static_cast<unsigned char>(found->text[0]))) return 0;
    *op = found;
    return length;
}

ExpressionCompiler::Token ExpressionCompiler::Next(int at, bool operand_expected) {
    Token token;
    while (at < end_ && is_space(text_[at]))
        at++;
    token.start = token.end = at;
    if (at >= end_) return token;
    char c = text_[at];
    char next = at + 1 < end_ ? text_[at + 1] : 0;
    const _OperatorInfo* word = nullptr;
    if (c == '(') {
        token.op = find_operator("(");
    } else if ((c == '+' || c == '-') && next == c) {
        token.op = find_operator(c == '+' ? "++" : "--");
    } else if (is_symbol_operator(c) &&
               !(operand_expected && (c == '+' || c == '-') &&
                 (isdigit(static_cast<unsigned char>(next)) || next == '.'))) {
        token.op = find_operator(std::string(1, c).c_str());
    } else if (int length = OperatorWord(at, &word)) {
        token.op = word;
        token.end = at + length;
        return token;
    }
    if (token.op) {
        token.end = at + token.op->length;
        return token;
    }
    // An operand runs to the next operator outside quotes and brackets.
    int i = at + 1;
    if (c == '"' || c == '\'') {
        int quote_end = FindQuoteEnd(at);
        i = quote_end < 0 ? end_ : quote_end + 1;
    }
    while (i < end_) {
        char here = text_[i];
        const _OperatorInfo* op = nullptr;
        if (here == '"' || here == '\'') {
            int quote_end = FindQuoteEnd(i);
            i = quote_end < 0 ? end_ : quote_end + 1;
        } else if ((here == '(' || here == '[') && is_name(text_[i - 1])) {
            int close = FindEnd(i, here, here == '(' ? ')' : ']');
            i = close < 0 ? end_ : close + 1;
        } else if (here == '[') {
            int close = FindEnd(i, '[', ']');
            i = close < 0 ? end_ : close + 1;
        } else if (is_symbol_operator(here) || here == '(' || OperatorWord(i, &op)) {
            break;
        } else {
            i++;
        }
    }
    token.end = i;
    while (token.end > at && is_space(text_[token.end - 1]))
        token.end--;
    return token;
}

bool ExpressionCompiler::ParseRange(int start, int end) {
    int saved_end = end_, saved_at = at_;
    end_ = end;
    at_ = start;
    bool ok = Expression(-1, false);
    if (ok) {
        Token rest = Next(at_, false);
        if (rest.start < end_) {
            ok = Fail(std::string("Found additional argument '") + text_[rest.start] +
                      "' while looking for operator");
        }
    }
    end_ = saved_end;
    at_ = saved_at;
    return ok;
}

bool ExpressionCompiler::Expression(int limit, bool inclusive) {
    if (!Primary()) return false;
    for (;;) {
        Token token = Next(at_, false);
        const _OperatorInfo* op = token.op;
        if (!op || !op->binary) return true;
        if (!(op->precedence > limit || (inclusive && op->precedence == limit))) return true;
        at_ = token.end;
        if (!Expression(op->precedence, false) || !CompileOperator(op)) return false;
    }
}

bool ExpressionCompiler::Primary() {
    Token token = Next(at_, true);
    if (token.start >= end_ || (token.op && token.op->binary))
        return Fail("Argument expected in Expression");
    if (!token.op) {
        at_ = token.end;
        if (!CompileValue(token.start, token.end)) return false;
    } else if (token.op->id == 32) {
        int close = FindEnd(token.start, '(', ')');
        if (close < 0) return Fail("Mismatched Parentheses in Expression");
        if (!ParseRange(token.start + 1, close)) return false;
        at_ = close + 1;
    } else if (token.op->id == 33 || token.op->id == 34) {
        at_ = token.end;
        return Primary() && CompileIncrementDecrement(true, token.op->id == 33 ? Op_add : Op_sub);
    } else {
        at_ = token.end;
        return Expression(token.op->precedence, true) && CompileOperator(token.op);
    }
    Token after = Next(at_, false);
    if (after.op && (after.op->id == 33 || after.op->id == 34)) {
        at_ = after.end;
        return CompileIncrementDecrement(false, after.op->id == 33 ? Op_add : Op_sub);
    }
    return true;
}

bool ExpressionCompiler::CompileOperator(const _OperatorInfo* op) {
    uint16_t instruction = instruction_of(op->id);
    if (!instruction)
        return Fail(std::string("Invalid Operator '") + op->text + "' Found in Expression");
    Emit(instruction);
    operator_count_++;
    return true;
}

bool ExpressionCompiler::CompileIncrementDecrement(bool prefix, uint16_t instruction) {
    if (version_ < 0x10009) return Fail("Invalid operator found in expression");
    if (prefix) {
        Emit(Op_dup);
        Emit(Op_pushi, 1);
        Emit(instruction);
        Emit(Op_dup);
        Emit(Op_swapn, 0, 2);
    } else {
        Emit(Op_dup);
        Emit(Op_pushi, 0);
        Emit(Op_add);
        Emit(Op_swap);
        Emit(Op_dup);
        Emit(Op_pushi, 1);
        Emit(instruction);
        Emit(Op_swap);
    }
    Emit(Op_store);
    return true;
}

bool ExpressionCompiler::CompileValue(int start, int end) {
    while (start < end && is_space(text_[start]))
        start++;
    if (start >= end) return true;
    char c = text_[start];
    int value_end;
    if (isalpha(static_cast<unsigned char>(c)) || c == '_') {
        int i = start;
        while (i < end && is_name(text_[i]))
            i++;
        if (i < end && text_[i] == '(') {
            int close = FindEnd(i, '(', ')');
            if (close < 0) return Fail("Mismatched Parentheses found in Expression");
            if (!CompileFunction(start, i, close)) return false;
            value_end = close + 1;
        } else if (i < end && text_[i] != '.' && text_[i] != ':' && text_[i] != '[' &&
                   !is_space(text_[i])) {
            return Fail(std::string("Invalid Argument '") + text_[i] + "' in Expression");
        } else {
            while (i < end &&
                   (is_name(text_[i]) || text_[i] == '.' || text_[i] == ':' || text_[i] == '[')) {
                if (text_[i] == '[') {
                    int close = FindEnd(i, '[', ']');
                    if (close < 0) return Fail("Mismatched Parentheses found in Expression");
                    i = close;
                }
                i++;
            }
            if (!CompileVariable(start, i)) return false;
            value_end = i;
        }
    } else if (isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '.') {
        int i = start + (c == '-' ? 1 : 0);
        bool hexadecimal = i + 2 < end && text_[i] == '0' &&
                           (text_[i + 1] == 'x' || text_[i + 1] == 'X') &&
                           isxdigit(static_cast<unsigned char>(text_[i + 2]));
        if (hexadecimal) {
            i += 2;
            while (i < end && isxdigit(static_cast<unsigned char>(text_[i])))
                i++;
        } else {
            bool point = false;
            while (i < end &&
                   (isdigit(static_cast<unsigned char>(text_[i])) || (text_[i] == '.' && !point))) {
                point = point || text_[i] == '.';
                i++;
            }
        }
        if (!CompileNumber(start, i)) return false;
        value_end = i;
    } else if (c == '"' || c == '\'') {
        int close = FindQuoteEnd(start);
        if (close < 0 || close >= end) return Fail("Mismatched Quotes found in Expression");
        if (!CompileConstant(start, close + 1)) return false;
        value_end = close + 1;
    } else {
        return Fail(std::string("Invalid Argument '") + c + "' Found in expression");
    }
    for (int i = value_end; i < end; i++) {
        if (!is_space(text_[i]) && text_[i] != 0)
            return Fail(std::string("Found additional argument '") + text_[i] +
                        "' while looking for operator");
    }
    return true;
}

// Numbers that their conversion refuses are compiled as text.
bool ExpressionCompiler::CompileNumber(int start, int end) {
    std::string number(text_ + start, end - start);
    int error = 0;
    if (number.find('.') != std::string::npos) {
        double value = TextConversion::stod(number.c_str(), static_cast<int>(number.size()),
                                            static_cast<int>(number.size()) + 1, &error);
        if (!error) {
            Emit(Op_pushf);
            offset_ = segment_->Write_Double(offset_, value);
            return true;
        }
    } else {
        int value = TextConversion::stoi(number.c_str(), static_cast<int>(number.size()), &error);
        if (!error) {
            Emit(Op_pushi, value);
            return true;
        }
    }
    Emit(Op_pushc, AddText(number.data(), static_cast<int>(number.size())));
    return true;
}

// Quotes removed; a backslash right before a quote is dropped.
bool ExpressionCompiler::CompileConstant(int start, int end) {
    std::string text;
    for (int i = start + 1; i < end - 1; i++) {
        if (text_[i] == '\\' && i + 1 < end - 1 && (text_[i + 1] == '"' || text_[i + 1] == '\''))
            continue;
        text += text_[i];
    }
    Emit(Op_pushc, AddText(text.data(), static_cast<int>(text.size())));
    return true;
}

bool ExpressionCompiler::CompileVariable(int start, int end) {
    EmitLine();
    const char *rest, *database;
    int rest_length, database_length;
    int scope = VariableHash::Scope(text_ + start, end - start, &rest, &rest_length, &database,
                                    &database_length);
    if (scope == ScopeDatabase && (database_length > 0 || has_alias_)) {
        int alias = database_length > 0 ? AddText(database, database_length) : alias_id_;
        Emit(Op_pushdc, alias, AddText(rest, rest_length));
        return true;
    }
    int i = start;
    while (i < end && (is_name(text_[i]) || text_[i] == '.'))
        i++;
    Emit(Op_pushnc, AddText(text_ + start, i - start));
    while (i < end) {
        if (text_[i] == '[') {
            int close = FindEnd(i, '[', ']');
            if (close < 0) return Fail("Mismatched Parentheses found in Expression");
            if (!ParseRange(i + 1, close)) return false;
            Emit(Op_elem);
            i = close + 1;
        } else if (text_[i] == ':') {
            int name = ++i;
            while (i < end && text_[i] != '[' && text_[i] != ':')
                i++;
            Emit(Op_pushc, AddText(text_ + name, i - name));
            Emit(Op_memb);
        } else {
            i++;
        }
    }
    return true;
}

bool ExpressionCompiler::CompileFunction(int start, int open, int close) {
    std::string name(text_ + start, open - start);
    Function* function = functions_->Function_Get(name.c_str(), static_cast<int>(name.size()));
    if (!function && caller_) {
        // Only an external function of the calling file can be reached.
        Function* theirs = caller_->Function_Get(name.c_str(), static_cast<int>(name.size()));
        if (theirs && theirs->external()) function = functions_->Function_Add(theirs);
    }
    if (!function && externals_) {
        // A library function: declared here (and in the calling file) as
        // the library describes it.
        int length = static_cast<int>(name.size());
        ExternalCall* call = externals_->Lookup_External(name.c_str(), length);
        if (call) {
            function = functions_->Function_Add(name.c_str(), length, Function::kExternal);
            function->SetText(call);
            for (int i = 0; i < call->parameter_count(); i++)
                function->AddParameter(call->parameter_flags(i), call->parameter_name(i),
                                       call->parameter_name_length(i));
            if (caller_ && !caller_->Function_Get(name.c_str(), length))
                caller_->Function_Add(function);
        }
    }
    if (!function) return Fail("Unable to find function '" + name + "'");
    int count = 0;
    if (!Expression_Empty(text_ + open + 1, close - open - 1)) {
        int piece = open + 1;
        for (int i = open + 1; i <= close; i++) {
            char c = text_[i];
            if (c == '"' || c == '\'') {
                int quote_end = FindQuoteEnd(i);
                if (quote_end < 0) return Fail("Mismatched Quotes found in Expression");
                i = quote_end;
            } else if (c == '(' || c == '[') {
                int match = FindEnd(i, c, c == '(' ? ')' : ']');
                if (match < 0) return Fail("Mismatched Parentheses found in Expression");
                i = match;
            } else if (c == ',' || i == close) {
                if (!ParseRange(piece, i)) return false;
                count++;
                piece = i + 1;
            }
        }
    }
    if (count != function->ParameterCount()) {
        return Fail("Function '" + name + "' is defined with " +
                    std::to_string(function->ParameterCount()) +
                    " parameters and was called with " + std::to_string(count));
    }
    Emit(Op_call, function->id());
    if (source_id_ >= 0) Emit(Op_sourcefile, source_id_);
    last_line_ = -1;
    return true;
}
