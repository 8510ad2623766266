#pragma once

#include "variables/Variable.h"

// A variable that stands for another one: every reading, writing and element
// operation goes to the target, while the name and the reference count stay
// its own. Each count on the reference is also a count on the target, so a
// holder of the reference keeps the target alive.
class ReferenceVariable : public Variable {
  public:
    // Refers to target and takes one count on it.
    ReferenceVariable(const char* name, int length, Variable* target);
    // Refers to the element that path reaches from target, made on the way
    // when missing; a null or empty path refers to target itself.
    ReferenceVariable(const String& name, Variable* target, List<AggregateIndex>* path = nullptr);

    Variable* Clone(OxinApplication* application) override;
    Variable* NextIdentity() override;
    Variable* RealIdentity() override;
    String& value() override;
    int value_integer() override;
    double value_double() override;
    double value_compare(int* error) override;
    int type() override;
    int primary_type() override;
    int preferred_type() override;
    bool IsTrue() override;
    bool IsNULL() override;
    void SetNULL() override;
    AggregateElementTree* aggregateelements() override;
    AggregateType aggregatetype() override;
    using Variable::SetValue;
    int SetValue(const char* text, int length) override;
    int SetValue(Variable& source) override;
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int value) override;
    int SetValue_Double(double value) override;
    const String& error() override;
    Variable* Element(const AggregateIndex& index, int create) override;
    Variable* Element(List<AggregateIndex>* path, int create) override;
    int SetElement(const AggregateIndex& index, Variable* variable) override;
    int InsertElement(int position, Variable* variable) override;
    int DeleteElement(const AggregateIndex& index, bool collapse) override;
    int DeleteElements(int start, int count, bool collapse) override;
    int MergeElements(Variable* source, int start, int count, int dest, bool copy) override;
    int CopyElements(Variable* source, int start, int count, int dest, bool copy) override;
    int CollapseElements() override;
    int Max() override;
    int Min() override;
    int Next(int index) override;
    int Previous(int index) override;
    int ElementsUsed() override;
    // The target first, then the reference.
    void IncRefCount() override;
    void DecRefCount() override;
    // Points the reference at another target, moving all of its counts.
    void Make_Reference(Variable* target) override;

    // The type() of the target.
    virtual int TypeReferredTo();

  protected:
    ~ReferenceVariable() override = default;
};
