#include "variables/NULLVariable.h"

Variable* NULLVariable::Clone(OxinApplication*) {
    return new NULLVariable(name_.text(), name_.length());
}

double NULLVariable::value_compare(int* error) {
    *error = 0;
    return 0.0;
}

Variable* NULLVariable::Element(const AggregateIndex&, int create) {
    return create ? this : nullptr;
}
