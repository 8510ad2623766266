#include "variables/VariableList.h"

void VariableList::Insert(Variable* variable, ListPosition position) {
    Insert(variable, position, 1);
}

void VariableList::Insert(Variable* variable, ListPosition position, int increment) {
    List<Variable>::Insert(variable, position);
    if (increment && variable) variable->IncRefCount();
}

void VariableList::Purge(Variable* variable) {
    if (variable) variable->DecRefCount();
}

void VariableList::Destroy() {
    Dump();
    delete this;
}
