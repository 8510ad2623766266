#include "variables/ImmutableVariable.h"

#include "variables/AggregateElementTree.h"
#include "variables/NULLVariable.h"

ImmutableVariable::~ImmutableVariable() {
    if (null_) null_->DecRefCount();
}

Variable* ImmutableVariable::Clone(OxinApplication*) {
    if (flags_ & kStringValid) {
        return new ImmutableVariable(name_.text(), name_.length(), string_value_.text(),
                                     string_value_.length());
    }
    ImmutableVariable* clone = new ImmutableVariable(name_.text(), name_.length());
    if (flags_ & kDoubleValid) {
        clone->Variable::SetValue_Double(double_value_);
    } else if (flags_ & kIntegerValid) {
        clone->Variable::SetValue_Integer(integer_value_);
    }
    return clone;
}

int ImmutableVariable::SetValue_Nocopy(char* buffer, int, int) {
    delete[] buffer;
    return 1;
}

Variable* ImmutableVariable::Element(const AggregateIndex& index, int create) {
    Variable* element = Variable::Element(index, 0);
    if (element || !create) return element;
    if (!null_) null_ = new NULLVariable();
    return null_;
}

int ImmutableVariable::CollapseElements() {
    return aggregate_type_ == AggregateArray ? ElementsUsed() : 0;
}
