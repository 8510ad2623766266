#pragma once

#include "base/HashTable.h"
#include "variables/Variable.h"

// Field variables are found by their names, regardless of case.
template <>
struct HashTableKey<Variable> {
    static const char* Text(const Variable* variable, int* length);
};

// The field variables of a view, by name. The hash holds one count on each.
// Scripts may keep references to field variables beyond the view's life:
// when the hash lets go of its variables, one that is still referenced
// becomes, in place, a null variable, so those references read nothing and
// never dangle.
class DatabaseVariableHash : public HashTable<Variable> {
  public:
    DatabaseVariableHash() : HashTable<Variable>(0, 1, 12, 512) {}
    ~DatabaseVariableHash() override { Dereference(); }

    // Adds variable, whose count passes to the hash.
    void Add(Variable* variable) { Insert(variable); }
    // Empties the hash, letting go of every variable.
    void Dump() override;

  private:
    void Dereference();
};
