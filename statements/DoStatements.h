#pragma once

class OxinVM;

// OxDO: another compiled file run whole (op_do_file: file name on the
// stack) or by one expression (op_do_function: file name, then the
// expression on top, whose value is left on the stack), in a context loaded
// once per request and kept in the top machine's cache under max_docache.
void op_do_file(OxinVM* vm);
void op_do_function(OxinVM* vm);
