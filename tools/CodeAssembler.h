#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/AssemblyLexer.h"

class AssemblyNames;
class Segment;

// Turns instruction lines into the code of one segment. Operands are numbers;
// a dictionary operand may also be a string, which is added to the
// dictionary; a variable or function operand may be its name (a string or a
// bare name), found through names; a jump operand may be a label, defined
// anywhere in the same segment. Labels are resolved by Finish. A line
// expr "text" compiles an expression of the language in place.
class CodeAssembler {
  public:
    // names (not owned) must have entered the segment.
    CodeAssembler(Segment* segment, AssemblyNames* names);

    // Defines a label at the present end of the code.
    bool Label(const AssemblyToken& label);
    // Assembles one line: a mnemonic, ".word", or ".byte" and its operands.
    bool Line(const std::vector<AssemblyToken>& tokens);
    // Fills in the jumps to labels; false if one was never defined.
    bool Finish();

    const std::string& error() const { return error_; }

  private:
    struct Fixup {
        int operand_offset;  // where the displacement goes
        int end;             // the end of the jumping instruction
        AssemblyToken label;
    };

    bool Instruction(uint16_t word, const std::vector<AssemblyToken>& tokens, size_t first,
                     bool known);
    bool Bytes(const std::vector<AssemblyToken>& tokens);
    bool Expression(const std::vector<AssemblyToken>& tokens);
    bool Dword(uint16_t word, int which, const AssemblyToken& token, int at, int end);
    bool Fail(const AssemblyToken& token, const std::string& what);

    Segment* segment_;
    AssemblyNames* names_;
    int offset_;
    std::map<std::string, int> labels_;
    std::vector<Fixup> fixups_;
    std::string error_;
};
