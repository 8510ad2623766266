#include "runtime/BuiltinDatabase.h"

namespace {
DatabaseMaker registered = nullptr;
}

void BuiltinDatabase::Register(DatabaseMaker maker) {
    registered = maker;
}

std::unique_ptr<Database> BuiltinDatabase::Make(OxinApplication* application, OxinVM* vm,
                                                const StringTuple& alias) {
    return registered ? registered(application, vm, alias) : nullptr;
}
