#pragma once

class OxinVM;

// OxCAPTURE: capture takes the variable on the stack and sends all that is
// printed to it from now on; capture_end stores the text in the variable
// and gives the output back.
void capture(OxinVM* vm);
void capture_end(OxinVM* vm);
// OxHIDE: writes a hidden form field for each variable of the
// comma-separated names on the stack, one for each scalar inside an
// aggregate (named like a[1]:x), names and values entity-encoded.
void hide(OxinVM* vm);
