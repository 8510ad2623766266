#pragma once

#include <string>

#include "base/StringClass.h"

class Dictionary;
class ExternalCallManager;
class FunctionManager;
class Segment;
class SegmentManager;

// One operator of the expression language.
struct _OperatorInfo {
    const char* text;
    int length;
    int precedence;  // higher binds tighter
    int id;
    int binary;  // 1 binary, 0 prefix
};

// Compiles the text of an expression (operators, literals, variables,
// elements and members, function calls; no statements) into the
// instructions that the script compiler would emit, appended to a segment.
class ExpressionCompiler {
  public:
    // Appends to segment at offset, or to a new segment of segments when
    // segment is null. alias (may be null) is the default database alias;
    // source (may be null) the source file name for lineno and sourcefile.
    ExpressionCompiler(ExternalCallManager* externals, SegmentManager* segments,
                       Dictionary* dictionary, FunctionManager* functions, FunctionManager* caller,
                       const char* expression, int length, const char* alias, Segment* segment,
                       int offset, const char* source, int source_length, int line,
                       unsigned version);
    ExpressionCompiler(const ExpressionCompiler&) = delete;
    ExpressionCompiler& operator=(const ExpressionCompiler&) = delete;
    virtual ~ExpressionCompiler() = default;

    // Compiles the whole text: 1, or 0 with the first message in error().
    int Run();

    Segment* GetSegment() const { return segment_; }
    // Where calls of library functions are looked up once libraries serve.
    ExternalCallManager* externals() const { return externals_; }
    int offset() const { return offset_; }
    int Operator_Count() const { return operator_count_; }
    const String& error() const { return error_; }
    void SetError(const String& text) { error_ = text; }
    // True when text holds nothing but white space.
    static bool Expression_Empty(const char* text, int length);

  private:
    struct Token {
        const _OperatorInfo* op = nullptr;  // null: an operand or the end
        int start = 0;
        int end = 0;
    };

    Token Next(int at, bool operand_expected);
    bool ParseRange(int start, int end);
    bool Expression(int limit, bool inclusive);
    bool Primary();
    bool CompileValue(int start, int end);
    bool CompileNumber(int start, int end);
    bool CompileConstant(int start, int end);
    bool CompileVariable(int start, int end);
    bool CompileFunction(int start, int open, int end);
    bool CompileOperator(const _OperatorInfo* op);
    bool CompileIncrementDecrement(bool prefix, uint16_t instruction);
    int FindQuoteEnd(int at);
    int FindEnd(int at, char open, char close);
    int OperatorWord(int at, const _OperatorInfo** op);
    int AddText(const char* text, int length);
    bool Fail(const std::string& text);
    void Emit(uint16_t word);
    void Emit(uint16_t word, int32_t operand);
    void Emit(uint16_t word, int32_t first, int32_t second);
    void EmitLine();

    ExternalCallManager* externals_;
    SegmentManager* segments_;
    Dictionary* dictionary_;
    FunctionManager* functions_;
    FunctionManager* caller_;
    Segment* segment_;
    int offset_;
    const char* text_;
    int length_;
    int end_ = 0;  // of the range being parsed
    int at_ = 0;   // the parser's position in it
    int alias_id_ = 0;
    bool has_alias_ = false;
    int operator_count_ = 0;
    int source_id_ = -1;
    int line_;
    int last_line_ = -1;
    unsigned version_;
    String error_;
};
