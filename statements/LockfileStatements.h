#pragma once

class OxinVM;

// OxLOCKFILE: lockfile takes the lock named by the text on the stack (a
// file of the data directory with ".lck" behind the name) and holds it for
// the body; when it cannot, the failure goes to OxLOCKFILE's tag and the
// body runs without it. lockfile_end releases it. A lock also ends with the
// function or run that took it.
void lockfile(OxinVM* vm);
void lockfile_end(OxinVM* vm);
