#pragma once

#include <cstdint>

// What an instruction's operand stands for, so that listings can show it by
// name and the assembler can take a name, a string or a label in its place.
enum OperandRole {
    RoleValue,       // a plain number
    RoleDictionary,  // a dictionary id
    RoleGlobal,      // an index into the global variable table
    RoleSystem,      // an index into the system variable table
    RoleLocal,       // an index into the current function's locals
    RoleJump,        // a displacement from the end of the instruction
    RoleFunction,    // a function id
};

// The role of operand which (0 or 1) of instruction number.
OperandRole Operand_Role(uint16_t number, int which);
