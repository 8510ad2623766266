#include "variables/UserVariableHash.h"

#include "files/Dictionary.h"

UserVariableHash::UserVariableHash() : VariableHash(new Dictionary(), 12, 512) {}

UserVariableHash::~UserVariableHash() {
    Dump();
    delete dictionary_;
}
