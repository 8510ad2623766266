#pragma once

#include "variables/Variable.h"

class NULLVariable;

// A variable whose value scripts cannot change: every assignment and element
// change is accepted and ignored. A missing element asked for with create
// set reads as a shared NULLVariable instead of being made.
class ImmutableVariable : public Variable {
  public:
    ImmutableVariable() { plain_ = false; }
    ImmutableVariable(const char* name, int length) : Variable(name, length) { plain_ = false; }
    ImmutableVariable(const char* name, int length, const char* value, int value_length)
        : Variable(name, length, value, value_length) {
        plain_ = false;
    }
    ImmutableVariable(const char* name, int length, char* buffer, int buffer_length, int size)
        : Variable(name, length, buffer, buffer_length, size) {
        plain_ = false;
    }
    ImmutableVariable(const char* name, int length, int value) : Variable(name, length, value) {
        plain_ = false;
    }
    ImmutableVariable(const char* name, int length, double value) : Variable(name, length, value) {
        plain_ = false;
    }
    ImmutableVariable(const String& name, const String& value) : Variable(name, value) {
        plain_ = false;
    }

    // A new ImmutableVariable of the same name holding one form of the
    // value: the text if valid, else the double, else the integer. Elements
    // are not cloned.
    Variable* Clone(OxinApplication* application) override;
    void SetNULL() override {}
    using Variable::SetValue;
    int SetValue(const char*, int) override { return 1; }
    int SetValue(Variable&) override { return 1; }
    // Frees buffer, as an assignment that adopted it would.
    int SetValue_Nocopy(char* buffer, int length, int size) override;
    int SetValue_Integer(int) override { return 1; }
    int SetValue_Double(double) override { return 1; }
    // Looks up only. A missing element gives the shared null variable when
    // create is set, else null.
    Variable* Element(const AggregateIndex& index, int create) override;
    int SetElement(const AggregateIndex&, Variable*) override { return 1; }
    int InsertElement(int, Variable*) override { return 1; }
    int DeleteElement(const AggregateIndex&, bool) override { return 0; }
    int DeleteElements(int, int, bool) override { return 0; }
    int MergeElements(Variable*, int, int, int, bool) override { return 1; }
    int CopyElements(Variable*, int, int, int, bool) override { return 1; }
    // The number of elements of an array, which stays as it is; else 0.
    int CollapseElements() override;
    void Make_Reference(Variable*) override {}

  protected:
    ~ImmutableVariable() override;

  private:
    NULLVariable* null_ = nullptr;
};
