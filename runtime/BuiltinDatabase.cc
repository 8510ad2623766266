#include "runtime/BuiltinDatabase.h"

namespace {
DatabaseMaker registered = nullptr;
ExternalDatabaseMaker registered_external = nullptr;
}

void BuiltinDatabase::Register(DatabaseMaker maker) {
    registered = maker;
}

std::unique_ptr<Database> BuiltinDatabase::Make(OxinApplication* application, OxinVM* vm,
                                                const StringTuple& alias) {
    return registered ? registered(application, vm, alias) : nullptr;
}

void BuiltinDatabase::RegisterExternal(ExternalDatabaseMaker maker) {
    registered_external = maker;
}

std::unique_ptr<Database> BuiltinDatabase::MakeExternal(OxinApplication* application, OxinVM* vm,
                                                        const _OX_EL_Database* descriptor,
                                                        const StringTuple& alias) {
    return registered_external ? registered_external(application, vm, descriptor, alias) : nullptr;
}
