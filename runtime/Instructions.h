#pragma once

#include <cstdint>

// The instruction set of the machine, in one place for the interpreter, the
// listing of Segment::Dump, the assembler and the disassembler.
//
// An instruction is a 16-bit word, low byte first, followed by its operands.
// The whole word is the instruction's number. Its top two bits (mask 0xC000)
// give the first operand: 0x4000 a 32-bit little-endian integer, 0x8000 an
// 8-byte double, otherwise none; the next two bits (mask 0x3000) give the
// second in the same way: 0x1000 an integer, 0x2000 a double. So operands
// can be decoded before the instruction is known.

// X(enumerator, number, mnemonic, name, listing):
// - mnemonic: unique text for the assembler and disassembler; the name, with
//   a suffix where one name has several numbers.
// - name: the instruction's name, as its handler in the machine is called.
// - listing: what Segment::Dump prints, or nullptr for a number that the
//   listing shows as illegal.
#define OXIN_INSTRUCTION_LIST(X)                                                               \
    X(Op_noop, 0x0000, "noop", "noop", "noop")                                                 \
    X(Op_pushc, 0x4001, "pushc", "pushc", "pushc")                                             \
    X(Op_pushi, 0x4002, "pushi", "pushi", "pushi")                                             \
    X(Op_pushf, 0x8003, "pushf", "pushf", "pushf")                                             \
    X(Op_pushs, 0x4004, "pushs", "pushs", "pushs")                                             \
    X(Op_pushg, 0x4005, "pushg", "pushg", "pushg")                                             \
    X(Op_pushl, 0x4006, "pushl", "pushl", "pushl")                                             \
    X(Op_pushd, 0x0007, "pushd", "pushd", "pushd")                                             \
    X(Op_pushdc, 0x5008, "pushdc", "pushdc", "pushdc")                                         \
    X(Op_pushn, 0x0009, "pushn", "pushn", "pushn")                                             \
    X(Op_pushnc, 0x400A, "pushnc", "pushnc", "pushnc")                                         \
    X(Op_pop, 0x000B, "pop", "pop", "pop")                                                     \
    X(Op_pops, 0x400C, "pops", "pops", "pops")                                                 \
    X(Op_popg, 0x400D, "popg", "popg", "popg")                                                 \
    X(Op_popl, 0x400E, "popl", "popl", "popl")                                                 \
    X(Op_popd, 0x000F, "popd", "popd", "popd")                                                 \
    X(Op_popdc, 0x5010, "popdc", "popdc", "popdc")                                             \
    X(Op_popn, 0x0011, "popn", "popn", "popn")                                                 \
    X(Op_popnc, 0x4012, "popnc", "popnc", "popnc")                                             \
    X(Op_poplvnc, 0x404D, "poplvnc", "poplvnc", "poplvnc")                                     \
    X(Op_poprg, 0x4053, "poprg", "poprg", nullptr)                                             \
    X(Op_poprl, 0x4054, "poprl", "poprl", nullptr)                                             \
    X(Op_poprn, 0x0055, "poprn", "poprn", nullptr)                                             \
    X(Op_poprnc, 0x4056, "poprnc", "poprnc", nullptr)                                          \
    X(Op_refer, 0x0057, "refer", "refer", "refer")                                             \
    X(Op_store, 0x0042, "store", "store", "store")                                             \
    X(Op_spush, 0x0013, "spush", "spush", "spush")                                             \
    X(Op_spop, 0x0014, "spop", "spop", "spop")                                                 \
    X(Op_elem, 0x003E, "elem", "elem", "elem")                                                 \
    X(Op_elem_readonly, 0x003F, "elem_readonly", "elem_readonly", nullptr)                     \
    X(Op_memb, 0x0040, "memb", "memb", "memb")                                                 \
    X(Op_memb_readonly, 0x0041, "memb_readonly", "memb_readonly", nullptr)                     \
    X(Op_add, 0x0016, "add", "add", "add")                                                     \
    X(Op_sub, 0x0017, "sub", "sub", "sub")                                                     \
    X(Op_cat, 0x0018, "cat", "cat", "cat")                                                     \
    X(Op_bitand, 0x0019, "bitand", "bitand", "bitand")                                         \
    X(Op_bitor, 0x001A, "bitor", "bitor", "bitor")                                             \
    X(Op_bitxor, 0x001B, "bitxor", "bitxor", "bitxor")                                         \
    X(Op_bitoc, 0x001C, "bitoc", "bitoc", "bitoc")                                             \
    X(Op_bitsl, 0x001D, "bitsl", "bitsl", "bitsl")                                             \
    X(Op_bitsr, 0x001E, "bitsr", "bitsr", "bitsr")                                             \
    X(Op_div, 0x001F, "div", "div", "div")                                                     \
    X(Op_mul, 0x0020, "mul", "mul", "mul")                                                     \
    X(Op_mod, 0x0021, "mod", "mod", "mod")                                                     \
    X(Op_rounds, 0x0022, "rounds", "rounds", "rounds")                                         \
    X(Op_crypt, 0x0023, "crypt", "crypt", "crypt")                                             \
    X(Op_pow, 0x0024, "pow", "pow", "pow")                                                     \
    X(Op_roundf, 0x0025, "roundf", "roundf", "roundf")                                         \
    X(Op_cmp, 0x002C, "cmp", "cmp", "cmp")                                                     \
    X(Op_and, 0x002D, "and", "and", "and")                                                     \
    X(Op_or, 0x002E, "or", "or", "or")                                                         \
    X(Op_in, 0x002F, "in", "in", "in")                                                         \
    X(Op_cin, 0x0030, "cin", "cin", "cin")                                                     \
    X(Op_ein, 0x0031, "ein", "ein", "ein")                                                     \
    X(Op_ecin, 0x0032, "ecin", "ecin", "ecin")                                                 \
    X(Op_eq, 0x0033, "eq", "eq", "eq")                                                         \
    X(Op_ne, 0x0034, "ne", "ne", "ne")                                                         \
    X(Op_ge, 0x0035, "ge", "ge", "ge")                                                         \
    X(Op_le, 0x0036, "le", "le", "le")                                                         \
    X(Op_lt, 0x0037, "lt", "lt", "lt")                                                         \
    X(Op_gt, 0x0038, "gt", "gt", "gt")                                                         \
    X(Op_not, 0x0039, "not", "not", "not")                                                     \
    X(Op_dup, 0x003A, "dup", "dup", "dup")                                                     \
    X(Op_isnull, 0x005A, "isnull", "isnull", "isnull")                                         \
    X(Op_swap, 0x005B, "swap", "swap", nullptr)                                                \
    X(Op_swapn, 0x505C, "swapn", "swapn", nullptr)                                             \
    X(Op_cmpgg, 0x5301, "cmpgg", "cmpgg", "cmpgg")                                             \
    X(Op_cmpgi, 0x5302, "cmpgi", "cmpgi", "cmpgi")                                             \
    X(Op_incg, 0x5303, "incg", "incg", "incg")                                                 \
    X(Op_modgg, 0x5304, "modgg", "modgg", "modgg")                                             \
    X(Op_storegi, 0x5305, "storegi", "storegi", "storegi")                                     \
    X(Op_jmp, 0x4025, "jmp", "jmp", "jmp")                                                     \
    X(Op_jmp_eq, 0x4026, "jmp_eq", "jmp_eq", "jmp_eq")                                         \
    X(Op_jmp_lt, 0x4027, "jmp_lt", "jmp_lt", "jmp_lt")                                         \
    X(Op_jmp_gt, 0x4028, "jmp_gt", "jmp_gt", "jmp_gt")                                         \
    X(Op_jmp_le, 0x4029, "jmp_le", "jmp_le", "jmp_le")                                         \
    X(Op_jmp_ge, 0x402A, "jmp_ge", "jmp_ge", "jmp_ge")                                         \
    X(Op_jmp_ne, 0x402B, "jmp_ne", "jmp_ne", "jmp_ne")                                         \
    X(Op_call, 0x403D, "call", "call", "call")                                                 \
    X(Op_ret, 0x003B, "ret", "ret", "ret")                                                     \
    X(Op_retn, 0x003C, "retn", "retn", "retn")                                                 \
    X(Op_exit, 0x0043, "exit", "exit", "exit")                                                 \
    X(Op_exit_alt, 0x0116, "exit_alt", "exit", nullptr)                                        \
    X(Op_out, 0x0015, "out", "out", "out")                                                     \
    X(Op_out_comp, 0x0051, "out_comp", "out_comp", "out_comp")                                 \
    X(Op_lineno, 0x4044, "lineno", "lineno", "lineno")                                         \
    X(Op_sourcefile, 0x404A, "sourcefile", "sourcefile", "sourcefile")                         \
    X(Op_erroutput, 0x404C, "erroutput", "erroutput", "erroutput")                             \
    X(Op_stdoutput, 0x4050, "stdoutput", "stdoutput", "stdoutput")                             \
    X(Op_tagerror, 0x504B, "tagerror", "tagerror", "tagerror")                                 \
    X(Op_op_errmsg, 0x0052, "op_errmsg", "op_errmsg", nullptr)                                 \
    X(Op_op_do_file, 0x0045, "op_do_file", "op_do_file", "op_do_file")                         \
    X(Op_op_do_function, 0x0046, "op_do_function", "op_do_function", "op_do_function")         \
    X(Op_hide, 0x0047, "hide", "hide", "hide")                                                 \
    X(Op_lockfile, 0x0048, "lockfile", "lockfile", "lockfile")                                 \
    X(Op_lockfile_end, 0x0049, "lockfile_end", "lockfile_end", "lockfile_end")                 \
    X(Op_capture, 0x0058, "capture", "capture", nullptr)                                       \
    X(Op_capture_end, 0x0059, "capture_end", "capture_end", nullptr)                           \
    X(Op_localize, 0x404E, "localize", "localize", "localize")                                 \
    X(Op_localizev, 0x404F, "localizev", "localizev", "localizev")                             \
    X(Op_op_export, 0x0105, "op_export", "op_export", "export")                                \
    X(Op_import, 0x4101, "import", "import", "import")                                         \
    X(Op_importf, 0x4102, "importf", "importf", "importf")                                     \
    X(Op_import_loop, 0x4103, "import_loop", "import_loop", "import_loop")                     \
    X(Op_import_stop, 0x4104, "import_stop", "import_stop", "import_stop")                     \
    X(Op_pop3delete, 0x0108, "pop3delete", "pop3delete", "pop3delete")                         \
    X(Op_pop3, 0x4106, "pop3", "pop3", "pop3")                                                 \
    X(Op_pop3loop, 0x4107, "pop3loop", "pop3loop", "pop3loop")                                 \
    X(Op_pop3stop, 0x4109, "pop3stop", "pop3stop", "pop3stop")                                 \
    X(Op_op_smtp_end, 0x010B, "op_smtp_end", "op_smtp_end", "op_smtp_end")                     \
    X(Op_op_smtp, 0x410A, "op_smtp", "op_smtp", "op_smtp")                                     \
    X(Op_op_smtp_counted, 0x5114, "op_smtp_counted", "op_smtp", nullptr)                       \
    X(Op_op_http, 0x410C, "op_http", "op_http", "op_http")                                     \
    X(Op_op_http8, 0x4112, "op_http8", "op_http", nullptr)                                     \
    X(Op_op_http_counted, 0x5113, "op_http_counted", "op_http", nullptr)                       \
    X(Op_op_http_loop, 0x410D, "op_http_loop", "op_http_loop", "op_http_loop")                 \
    X(Op_op_http_stop, 0x410E, "op_http_stop", "op_http_stop", "op_http_stop")                 \
    X(Op_op_commerce, 0x410F, "op_commerce", "op_commerce", "op_commerce")                     \
    X(Op_op_commerce_loop, 0x4110, "op_commerce_loop", "op_commerce_loop", "op_commerce_loop") \
    X(Op_op_commerce_stop, 0x4111, "op_commerce_stop", "op_commerce_stop", "op_commerce_stop") \
    X(Op_async, 0x4115, "async", "async", nullptr)                                             \
    X(Op_dbopen, 0x0200, "dbopen", "dbopen", "dbopen")                                         \
    X(Op_dbclose, 0x0201, "dbclose", "dbclose", "dbclose")                                     \
    X(Op_dbskip, 0x0202, "dbskip", "dbskip", "dbskip")                                         \
    X(Op_dbgo, 0x0203, "dbgo", "dbgo", "dbgo")                                                 \
    X(Op_dbadd, 0x0204, "dbadd", "dbadd", "dbadd")                                             \
    X(Op_dbupdate, 0x0205, "dbupdate", "dbupdate", "dbupdate")                                 \
    X(Op_dbdelete, 0x0206, "dbdelete", "dbdelete", "dbdelete")                                 \
    X(Op_dbundelete, 0x0207, "dbundelete", "dbundelete", "dbundelete")                         \
    X(Op_dbprimary, 0x0208, "dbprimary", "dbprimary", "dbprimary")                             \
    X(Op_dbfind, 0x0209, "dbfind", "dbfind", "dbfind")                                         \
    X(Op_dbsetindex, 0x020A, "dbsetindex", "dbsetindex", "dbsetindex")                         \
    X(Op_dbmakeindex, 0x020B, "dbmakeindex", "dbmakeindex", "dbmakeindex")                     \
    X(Op_dbpack, 0x020C, "dbpack", "dbpack", "dbpack")                                         \
    X(Op_dbreindex, 0x020D, "dbreindex", "dbreindex", "dbreindex")                             \
    X(Op_dbcreate, 0x020E, "dbcreate", "dbcreate", "dbcreate")                                 \
    X(Op_dbopenview, 0x0210, "dbopenview", "dbopenview", "dbopenview")                         \
    X(Op_dbcloseview, 0x0211, "dbcloseview", "dbcloseview", "dbcloseview")                     \
    X(Op_dbquery, 0x0212, "dbquery", "dbquery", "dbquery")                                     \
    X(Op_dbfilter, 0x0213, "dbfilter", "dbfilter", "dbfilter")                                 \
    X(Op_dbrevealstructuredb, 0x0214, "dbrevealstructuredb", "dbrevealstructuredb",            \
      "dbrevealstructuredb")                                                                   \
    X(Op_dbrevealstructureagg, 0x0215, "dbrevealstructureagg", "dbrevealstructureagg",         \
      "dbrevealstructureagg")                                                                  \
    X(Op_dbopen1, 0x0216, "dbopen1", "dbopen", nullptr)                                        \
    X(Op_dbcommit, 0x0217, "dbcommit", "dbcommit", nullptr)                                    \
    X(Op_dbrollback, 0x0218, "dbrollback", "dbrollback", nullptr)                              \
    X(Op_dbtransaction, 0x0219, "dbtransaction", "dbtransaction", nullptr)                     \
    X(Op_dbcommand, 0x021A, "dbcommand", "dbcommand", nullptr)

enum InstructionNumber : uint16_t {
#define OXIN_INSTRUCTION_ENUM(enumerator, number, mnemonic, name, listing) enumerator = number,
    OXIN_INSTRUCTION_LIST(OXIN_INSTRUCTION_ENUM)
#undef OXIN_INSTRUCTION_ENUM
};

enum OperandKind { OperandNone = 0, OperandDword = 1, OperandDouble = 2 };

struct Instruction_Info {
    uint16_t number;
    const char* mnemonic;
    const char* name;
    const char* listing;  // null: the listing shows "Illegal Instruction"
};

// Lookups in the table. Numbers not in the table are illegal instructions.
class Instructions {
  public:
    static constexpr int kWordSize = 2;
    static constexpr int kDwordSize = 4;
    static constexpr int kDoubleSize = 8;

    static OperandKind First_Operand(uint16_t word) {
        switch (word & 0xC000) {
            case 0x4000:
                return OperandDword;
            case 0x8000:
                return OperandDouble;
            default:
                return OperandNone;
        }
    }
    static OperandKind Second_Operand(uint16_t word) {
        switch (word & 0x3000) {
            case 0x1000:
                return OperandDword;
            case 0x2000:
                return OperandDouble;
            default:
                return OperandNone;
        }
    }
    // Bytes that an operand of the kind takes.
    static int Operand_Size(OperandKind kind) {
        return kind == OperandDword ? kDwordSize : kind == OperandDouble ? kDoubleSize : 0;
    }
    // Bytes of the whole instruction: the word and its operands.
    static int Length(uint16_t word) {
        return kWordSize + Operand_Size(First_Operand(word)) + Operand_Size(Second_Operand(word));
    }

    // The entry of number word, or null for an illegal instruction.
    static const Instruction_Info* Lookup(uint16_t word);
    // The entry with this mnemonic (exact, case-sensitive), or null.
    static const Instruction_Info* Lookup(const char* mnemonic, int length = -1);
    // The whole table in ascending order of number.
    static const Instruction_Info* Table(int* count);
};
