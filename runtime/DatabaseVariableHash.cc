#include "runtime/DatabaseVariableHash.h"

const char* HashTableKey<Variable>::Text(const Variable* variable, int* length) {
    const String& name = const_cast<Variable*>(variable)->name();
    *length = name.length();
    return name.c_str();
}

void DatabaseVariableHash::Dump() {
    Dereference();
}

void DatabaseVariableHash::Dereference() {
    for (int i = 0; i < count(); i++) {
        Variable* variable = Index(i);
        if (!variable) continue;
        if (variable->refcount() == 1) {
            variable->DecRefCount();
        } else {
            variable->Detach_As_Null();
        }
    }
    HashTable<Variable>::Dump();
}
