#pragma once

class OxinVM;

// OxCALL: op_http opens the loop with the statement's arguments on the
// stack (5 of them; op_http8: 8; op_http_counted: as many as its second
// operand counts, 5 or 8 to 11), and runs the body for the first object of
// the response or jumps past it (first operand); op_http_loop moves to the
// next object and jumps back, or ends the loop; op_http_stop ends it and
// jumps.
void op_http(OxinVM* vm);
void op_http8(OxinVM* vm);
void op_http_counted(OxinVM* vm);
void op_http_loop(OxinVM* vm);
void op_http_stop(OxinVM* vm);
