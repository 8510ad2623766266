#pragma once

#include <cstdint>

class OxinVM;

// Runs one statement instruction on vm: pops its operands, does its work and
// reports failures through the machine's errors.
using StatementHandler = void (*)(OxinVM* vm);

// The instructions of the statements that live above the runtime (OxDO now;
// the database, network and mail statements as they come). The machine's
// dispatch hands such an instruction to the handler registered for its
// number; one without a handler ends the run with "Instruction not available
// in this engine". Each layer registers its handlers once at start, before a
// machine runs; the table does not change after.
namespace StatementTable {

// Makes handler run instruction (the whole 16-bit word); a second
// registration of the number replaces the first.
void Register(uint16_t instruction, StatementHandler handler);
// The handler of instruction, or null.
StatementHandler Find(uint16_t instruction);

}  // namespace StatementTable
