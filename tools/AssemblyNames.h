#pragma once

#include <string>
#include <vector>

#include "tools/OperandRoles.h"

class Dictionary;
class FunctionManager;
class VariableHash;

// The tables by which operands are named: the dictionary, the system and
// global variables, the functions, and the locals of the function whose code
// an instruction belongs to. A listing shows an operand's name beside its
// number; the assembler takes a name in place of the number.
class AssemblyNames {
  public:
    // None of the tables is owned; any may be null.
    AssemblyNames(Dictionary* dictionary, VariableHash* system, VariableHash* global,
                  FunctionManager* functions);

    // Local operands from here on belong to the functions whose entry point
    // lies in segment: each to the one with the greatest entry offset not
    // after the instruction.
    void Enter_Segment(int segment);

    // The name of operand value of role in the instruction at offset, or
    // null when the role has no names or the value none.
    const char* Name(OperandRole role, int value, int offset, int* length) const;

    // The number for name as an operand of role at offset. A dictionary text
    // is added as a new entry, and a variable that its table lacks is added
    // to it. -1 with the reason in error() for an unknown function, a local
    // outside any function, or a role that takes no names.
    int Number(OperandRole role, const std::string& name, int offset);

    const std::string& error() const { return error_; }
    Dictionary* dictionary() const { return dictionary_; }
    FunctionManager* functions() const { return functions_; }

  private:
    struct Entry {
        int offset;
        VariableHash* locals;
    };

    VariableHash* Locals(int offset) const;
    VariableHash* Table(OperandRole role, int offset) const;

    Dictionary* dictionary_;
    VariableHash* system_;
    VariableHash* global_;
    FunctionManager* functions_;
    std::vector<Entry> entries_;  // of the present segment, by entry offset
    std::string error_;
};
