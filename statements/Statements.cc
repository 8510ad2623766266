#include "statements/Statements.h"

#include "runtime/Instructions.h"
#include "runtime/StatementTable.h"
#include "statements/DoStatements.h"

void Register_Statements() {
    StatementTable::Register(Op_op_do_file, op_do_file);
    StatementTable::Register(Op_op_do_function, op_do_function);
}
