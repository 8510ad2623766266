#pragma once

#include <string>
#include <vector>

#include "tools/AssemblyLexer.h"

class Dictionary;
class FileManager;
class SegmentManager;
class VariableHash;

// Builds a compiled file from assembly text (see docs/assembly.md): the
// header line, the dictionary, the system and global variable tables, and
// the code segments. Sections that the text does not give are written empty.
class Assembler {
  public:
    Assembler();
    ~Assembler();
    Assembler(const Assembler&) = delete;
    Assembler& operator=(const Assembler&) = delete;

    // Reads the whole text; false with "line L, column C: ..." in error().
    bool Assemble(const char* text, size_t length);
    // Writes the compiled file to path through files.
    bool Write(FileManager* files, const char* path);

    const std::string& error() const { return error_; }

  private:
    using Line = std::vector<AssemblyToken>;

    bool NextLine(Line* line);
    bool Fail(const AssemblyToken& token, const std::string& what);
    bool Header(const Line& line);
    bool DictionaryBlock();
    bool VariableBlock(const Line& line, VariableHash** table);
    bool SegmentsLine(const Line& line);
    bool SegmentBlock(const Line& line);
    // Reads "key value" pairs of a directive line into values, in order.
    bool Options(const Line& line, const std::vector<std::string>& keys,
                 std::vector<int64_t>* values);

    AssemblyLexer* lexer_ = nullptr;
    Dictionary* dictionary_;
    VariableHash* system_ = nullptr;
    VariableHash* global_ = nullptr;
    SegmentManager* segments_;
    uint32_t version_ = 0x1000B;
    unsigned char signature_[16] = {};
    uint32_t flags_ = 0;
    int start_ = 0;
    std::string error_;
};
