#pragma once

#include "variables/ImmutableVariable.h"

// The immutable nothing: an unset scalar that no assignment changes, whose
// elements are all itself.
class NULLVariable : public ImmutableVariable {
  public:
    NULLVariable() = default;
    NULLVariable(const char* name, int length) : ImmutableVariable(name, length) {}

    Variable* Clone(OxinApplication* application) override;
    // The empty text, never converted (its text pointer is null).
    String& value() override { return string_value_; }
    int value_integer() override { return 0; }
    double value_double() override { return 0.0; }
    double value_compare(int* error) override;
    int type() override { return 2; }
    bool IsTrue() override { return false; }
    bool IsNULL() override { return true; }
    // This variable itself when create is set, else null.
    Variable* Element(const AggregateIndex& index, int create) override;
    int CollapseElements() override { return 0; }

  protected:
    ~NULLVariable() override = default;
};
