#pragma once

#include "base/List.h"
#include "variables/Variable.h"

// A list of variables that holds a reference count on each member: inserting
// counts the variable, disposing of it drops the count.
class VariableList : public List<Variable> {
  public:
    VariableList() : List<Variable>(1) {}
    ~VariableList() override { Dump(); }

    // Inserts and takes a count on variable.
    void Insert(Variable* variable, ListPosition position) override;
    // Inserts, taking a count only when increment is not 0 (the caller then
    // hands over a count of its own).
    void Insert(Variable* variable, ListPosition position, int increment);
    // Drops the list's count on variable.
    void Purge(Variable* variable) override;
    // Empties the list and deletes it.
    void Destroy();
};
