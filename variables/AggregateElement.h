#pragma once

#include "variables/AggregateIndex.h"

class Variable;

// One element of an aggregate: its index and the variable that holds its
// value. The element holds one reference count on its variable.
class AggregateElement {
  public:
    // An element with a new, unnamed, unset variable.
    explicit AggregateElement(const AggregateIndex& index);
    // An element that takes its own count on variable.
    AggregateElement(const AggregateIndex& index, Variable* variable);
    // A deep copy: the variable is copied, not shared.
    AggregateElement(AggregateElement& other);
    AggregateElement& operator=(const AggregateElement&) = delete;
    // Drops the element's count on its variable.
    virtual ~AggregateElement();

    virtual AggregateIndex& index() { return index_; }
    virtual Variable* var() { return variable_; }
    // Holds variable instead of the present one (counting the new one
    // first, so that replacing a variable by itself is safe).
    virtual void SetVariable(Variable* variable);

  private:
    AggregateIndex index_;
    Variable* variable_;
};
