#pragma once

class OxinVM;

// OxCOMMERCE: op_commerce starts a commerce loop (method, action and the
// comma-separated names of the fields on the stack, the names on top) and
// runs the body for the library's first result, or jumps past the body
// (operand) when there is none or the start fails; op_commerce_loop asks
// for the next result and jumps back to the body (operand), or ends the
// loop; op_commerce_stop ends the loop and jumps (operand).
void op_commerce(OxinVM* vm);
void op_commerce_loop(OxinVM* vm);
void op_commerce_stop(OxinVM* vm);
