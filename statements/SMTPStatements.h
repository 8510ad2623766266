#pragma once

class OxinVM;

// OxSMTP: op_smtp opens a mail with the statement's operands on the stack
// (5 of them; op_smtp_counted: as many as its second operand counts, up to
// 9, a surplus popped and dropped) and runs the body with the script's
// printing going into the message, or jumps past the body (first operand)
// when the server can't be reached or refuses the envelope; op_smtp_end
// ends the message.
void op_smtp(OxinVM* vm);
void op_smtp_counted(OxinVM* vm);
void op_smtp_end(OxinVM* vm);
