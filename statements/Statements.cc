#include "statements/Statements.h"

#include "runtime/Instructions.h"
#include "runtime/OxinVM.h"
#include "runtime/StatementTable.h"
#include "statements/AsyncStatements.h"
#include "statements/CallStatements.h"
#include "statements/CaptureStatements.h"
#include "statements/CommerceStatements.h"
#include "statements/DoStatements.h"
#include "statements/ImportStatements.h"
#include "statements/LocalizedCopies.h"
#include "statements/LocalizedStatements.h"
#include "statements/LockfileStatements.h"
#include "statements/POP3Statements.h"
#include "statements/SMTPStatements.h"

void Register_Statements() {
    StatementTable::Register(Op_op_do_file, op_do_file);
    StatementTable::Register(Op_op_do_function, op_do_function);
    StatementTable::Register(Op_op_http, op_http);
    StatementTable::Register(Op_op_http8, op_http8);
    StatementTable::Register(Op_op_http_counted, op_http_counted);
    StatementTable::Register(Op_op_http_loop, op_http_loop);
    StatementTable::Register(Op_op_http_stop, op_http_stop);
    StatementTable::Register(Op_op_smtp, op_smtp);
    StatementTable::Register(Op_op_smtp_counted, op_smtp_counted);
    StatementTable::Register(Op_op_smtp_end, op_smtp_end);
    StatementTable::Register(Op_pop3, pop3);
    StatementTable::Register(Op_pop3loop, pop3loop);
    StatementTable::Register(Op_pop3delete, pop3delete);
    StatementTable::Register(Op_pop3stop, pop3stop);
    StatementTable::Register(Op_poplvnc, poplvnc);
    StatementTable::Register(Op_localize, localize);
    StatementTable::Register(Op_localizev, localizev);
    StatementTable::Register(Op_capture, capture);
    StatementTable::Register(Op_capture_end, capture_end);
    StatementTable::Register(Op_hide, hide);
    StatementTable::Register(Op_lockfile, lockfile);
    StatementTable::Register(Op_lockfile_end, lockfile_end);
    StatementTable::Register(Op_import, import);
    StatementTable::Register(Op_importf, importf);
    StatementTable::Register(Op_import_loop, import_loop);
    StatementTable::Register(Op_import_stop, import_stop);
    StatementTable::Register(Op_op_export, op_export);
    OxinVM::import_filter_handler = import_filter;
    StatementTable::Register(Op_async, async);
    StatementTable::Register(Op_op_commerce, op_commerce);
    StatementTable::Register(Op_op_commerce_loop, op_commerce_loop);
    StatementTable::Register(Op_op_commerce_stop, op_commerce_stop);
    LocalizedCopies::Register();
}
