#pragma once

#include <string>
#include <vector>

#include "tools/AssemblyLexer.h"

class Dictionary;
class FileManager;
class FunctionManager;
class LocalizedDictionary;
class LocalizedLanguages;
class SegmentManager;
class VariableHash;

// Builds a compiled file from assembly text (see docs/assembly.md): the
// header line, the dictionary, the system and global variable tables, the
// functions, the localized texts and the code segments. Tables that the
// text does not give are written empty.
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
    // Reads the lines of a block up to its ".end", each through body.
    template <class Body>
    bool Block(const Line& head, Body body);
    bool Header(const Line& line);
    bool DictionaryBlock(const Line& head);
    bool VariableBlock(const Line& head, VariableHash** table);
    bool FunctionsLine(const Line& line);
    bool FunctionBlock(const Line& head);
    bool FunctionLine(const Line& line, int function);
    bool LanguagesLine(const Line& line);
    bool LanguageBlock(const Line& head);
    bool MessageLine(const Line& line, int language);
    bool PiecesBlock(const Line& head);
    bool SegmentsLine(const Line& line);
    bool SegmentBlock(const Line& head);

    // Reads "key value" pairs from token first of a directive line into
    // values, in the order of keys.
    bool Options(const Line& line, size_t first, const std::vector<std::string>& keys,
                 std::vector<int64_t>* values);
    // The dictionary id that token names: a known id, or a string added.
    bool DictionaryId(const AssemblyToken& token, int* id);
    // One piece "text X", "var X" or "kind K X" at *at, which moves past it.
    bool Piece(const Line& line, size_t* at, int* kind, int* text);

    AssemblyLexer* lexer_ = nullptr;
    Dictionary* dictionary_;
    VariableHash* system_;
    VariableHash* global_;
    FunctionManager* functions_;
    LocalizedLanguages* languages_;
    LocalizedDictionary* pieces_;
    SegmentManager* segments_;
    uint32_t version_ = 0x1000B;
    unsigned char signature_[16] = {};
    uint32_t flags_ = 0;
    int start_ = 0;
    std::string error_;
};
