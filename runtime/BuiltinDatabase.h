#pragma once

#include <memory>

#include "runtime/Database.h"

class OxinApplication;
class OxinVM;

// Makes a database of the built-in kind, known to scripts as "xbase3".
using DatabaseMaker = std::unique_ptr<Database> (*)(OxinApplication* application, OxinVM* vm,
                                                    const StringTuple& alias);

// The built-in database kind lives above the machine, which asks for it
// here. The database layer registers its maker once at start, before a
// machine runs.
namespace BuiltinDatabase {

void Register(DatabaseMaker maker);
// A new built-in database under alias, or null when none is registered.
std::unique_ptr<Database> Make(OxinApplication* application, OxinVM* vm, const StringTuple& alias);

}  // namespace BuiltinDatabase
