#include "variables/AggregateElement.h"

#include "variables/Variable.h"

AggregateElement::AggregateElement(const AggregateIndex& index)
    : index_(index), variable_(new Variable()) {}

AggregateElement::AggregateElement(const AggregateIndex& index, Variable* variable)
    : index_(index), variable_(variable) {
    variable_->IncRefCount();
}

AggregateElement::AggregateElement(AggregateElement& other)
    : index_(other.index_), variable_(new Variable(*other.variable_)) {}

AggregateElement::~AggregateElement() {
    variable_->DecRefCount();
}

void AggregateElement::SetVariable(Variable* variable) {
    variable->IncRefCount();
    variable_->DecRefCount();
    variable_ = variable;
}
