#include "statements/Statements.h"

#include "runtime/Instructions.h"
#include "runtime/StatementTable.h"
#include "statements/CallStatements.h"
#include "statements/DoStatements.h"

void Register_Statements() {
    StatementTable::Register(Op_op_do_file, op_do_file);
    StatementTable::Register(Op_op_do_function, op_do_function);
    StatementTable::Register(Op_op_http, op_http);
    StatementTable::Register(Op_op_http8, op_http8);
    StatementTable::Register(Op_op_http_counted, op_http_counted);
    StatementTable::Register(Op_op_http_loop, op_http_loop);
    StatementTable::Register(Op_op_http_stop, op_http_stop);
}
