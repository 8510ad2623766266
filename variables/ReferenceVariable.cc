#include "variables/ReferenceVariable.h"

// Make_Reference builds a reference in place over a plain variable.
static_assert(sizeof(ReferenceVariable) == sizeof(Variable));

ReferenceVariable::ReferenceVariable(const char* name, int length, Variable* target)
    : Variable(name, length) {
    plain_ = false;
    target_ = target;
    target_->IncRefCount();
}

ReferenceVariable::ReferenceVariable(const String& name, Variable* target,
                                     List<AggregateIndex>* path) {
    plain_ = false;
    name_ = name;
    target_ = path ? target->Element(path, 1) : target;
    if (target_) target_->IncRefCount();
}

Variable* ReferenceVariable::Clone(OxinApplication* application) {
    return target_->Clone(application);
}

Variable* ReferenceVariable::NextIdentity() {
    return target_;
}

Variable* ReferenceVariable::RealIdentity() {
    Variable* identity = target_;
    for (Variable* next = identity->NextIdentity(); next != identity; next = next->NextIdentity())
        identity = next;
    return identity;
}

String& ReferenceVariable::value() {
    return target_->value();
}

int ReferenceVariable::value_integer() {
    return target_->value_integer();
}

double ReferenceVariable::value_double() {
    return target_->value_double();
}

double ReferenceVariable::value_compare(int* error) {
    return target_->value_compare(error);
}

int ReferenceVariable::type() {
    return 1;
}

int ReferenceVariable::primary_type() {
    return target_->primary_type();
}

int ReferenceVariable::preferred_type() {
    return target_->preferred_type();
}

bool ReferenceVariable::IsTrue() {
    return target_->IsTrue();
}

bool ReferenceVariable::IsNULL() {
    return target_->IsNULL();
}

void ReferenceVariable::SetNULL() {
    target_->SetNULL();
}

AggregateElementTree* ReferenceVariable::aggregateelements() {
    return target_->aggregateelements();
}

AggregateType ReferenceVariable::aggregatetype() {
    return target_->aggregatetype();
}

int ReferenceVariable::SetValue(const char* text, int length) {
    return target_->SetValue(text, length);
}

int ReferenceVariable::SetValue(Variable& source) {
    return target_->SetValue(source);
}

int ReferenceVariable::SetValue_Nocopy(char* buffer, int length, int size) {
    return target_->SetValue_Nocopy(buffer, length, size);
}

int ReferenceVariable::SetValue_Integer(int value) {
    return target_->SetValue_Integer(value);
}

int ReferenceVariable::SetValue_Double(double value) {
    return target_->SetValue_Double(value);
}

const String& ReferenceVariable::error() {
    return target_->error();
}

Variable* ReferenceVariable::Element(const AggregateIndex& index, int create) {
    return target_->Element(index, create);
}

Variable* ReferenceVariable::Element(List<AggregateIndex>* path, int create) {
    return target_->Element(path, create);
}

int ReferenceVariable::SetElement(const AggregateIndex& index, Variable* variable) {
    return target_->SetElement(index, variable);
}

int ReferenceVariable::InsertElement(int position, Variable* variable) {
    return target_->InsertElement(position, variable);
}

int ReferenceVariable::DeleteElement(const AggregateIndex& index, bool collapse) {
    return target_->DeleteElement(index, collapse);
}

int ReferenceVariable::DeleteElements(int start, int count, bool collapse) {
    return target_->DeleteElements(start, count, collapse);
}

int ReferenceVariable::MergeElements(Variable* source, int start, int count, int dest, bool copy) {
    return target_->MergeElements(source, start, count, dest, copy);
}

int ReferenceVariable::CopyElements(Variable* source, int start, int count, int dest, bool copy) {
    return target_->CopyElements(source, start, count, dest, copy);
}

int ReferenceVariable::CollapseElements() {
    return target_->CollapseElements();
}

int ReferenceVariable::Max() {
    return target_->Max();
}

int ReferenceVariable::Min() {
    return target_->Min();
}

int ReferenceVariable::Next(int index) {
    return target_->Next(index);
}

int ReferenceVariable::Previous(int index) {
    return target_->Previous(index);
}

int ReferenceVariable::ElementsUsed() {
    return target_->ElementsUsed();
}

void ReferenceVariable::IncRefCount() {
    if (target_) target_->IncRefCount();
    Variable::IncRefCount();
}

void ReferenceVariable::DecRefCount() {
    if (target_) target_->DecRefCount();
    Variable::DecRefCount();
}

void ReferenceVariable::Make_Reference(Variable* target) {
    if (target == this || target == target_ || target->RealIdentity() == RealIdentity()) return;
    for (int i = 0; i < reference_count_; i++) {
        target->IncRefCount();
        target_->DecRefCount();
    }
    target_ = target;
}

int ReferenceVariable::TypeReferredTo() {
    return target_->type();
}
