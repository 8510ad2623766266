#pragma once

class OxinVM;

// Localized messages. poplvnc binds the text on the stack to the message
// parameter named by its operand; localize prints the message of the token
// in its operand, in the request's language or else the default one, with
// the bound parameters in its holes; localizev pushes that text instead.
// Both unbind every parameter afterwards. A token that neither language
// has prints nothing and pushes the empty text.
void poplvnc(OxinVM* vm);
void localize(OxinVM* vm);
void localizev(OxinVM* vm);
