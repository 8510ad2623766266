#pragma once

#include "variables/VariableHash.h"

// A scope with a dictionary of its own, for callers that have no script.
class UserVariableHash : public VariableHash {
  public:
    UserVariableHash();
    ~UserVariableHash() override;
};
