#pragma once

class OxinVM;

// OxPOP: pop3 logs into a mailbox (host, user name, password and message
// directory on the stack) and runs the body for its first message, or jumps
// past the body (operand) when there is none or the login fails; pop3loop
// fetches the next message and jumps back, or ends the loop; pop3delete
// marks the current message for deletion at QUIT; pop3stop ends the loop
// and jumps.
void pop3(OxinVM* vm);
void pop3loop(OxinVM* vm);
void pop3delete(OxinVM* vm);
void pop3stop(OxinVM* vm);
