#pragma once

#include <memory>

#include "extensions/oxin_extension.h"
#include "runtime/Database.h"

class OxinApplication;
class OxinVM;

// Makes a database of the built-in kind, known to scripts as "xbase3".
using DatabaseMaker = std::unique_ptr<Database> (*)(OxinApplication* application, OxinVM* vm,
                                                    const StringTuple& alias);

// The built-in database kind lives above the machine, which asks for it
// here. The database layer registers its maker once at start, before a
// machine runs.
// Makes a database whose operations a library's table of functions does.
using ExternalDatabaseMaker = std::unique_ptr<Database> (*)(OxinApplication* application,
                                                            OxinVM* vm,
                                                            const _OX_EL_Database* descriptor,
                                                            const StringTuple& alias);

namespace BuiltinDatabase {

void Register(DatabaseMaker maker);
// A new built-in database under alias, or null when none is registered.
std::unique_ptr<Database> Make(OxinApplication* application, OxinVM* vm, const StringTuple& alias);

// The same for the databases of libraries, whose classes also live in the
// database layer.
void RegisterExternal(ExternalDatabaseMaker maker);
// A new database under alias that works through descriptor, or null when
// no maker is registered.
std::unique_ptr<Database> MakeExternal(OxinApplication* application, OxinVM* vm,
                                       const _OX_EL_Database* descriptor,
                                       const StringTuple& alias);

}  // namespace BuiltinDatabase
