#pragma once

#include "extensions/oxin_extension.h"

// A library function resolved for calls: its descriptor, the word the
// function keeps between calls, and the variable that receives its result.
class ExternalCall {
  public:
    explicit ExternalCall(const _OX_EL_Function* function);
    ExternalCall(const ExternalCall&) = delete;
    ExternalCall& operator=(const ExternalCall&) = delete;
    // Lets the function free its word (called with null arguments) when it
    // set one; drops the result.
    virtual ~ExternalCall();

    // Calls the function with the parameters; its result is in retval().
    // A result kept by someone else since the last call is left to them.
    void Call(OxinVM* vm, VariableHash* parameters);

    const _OX_EL_Function* function() const { return function_; }
    const char* name() const { return function_->name; }
    int name_length() const { return static_cast<int>(function_->name_length); }
    int parameter_count() const { return static_cast<int>(function_->parameter_count); }
    // Empty or 0 for an index out of range.
    const char* parameter_name(int i) const;
    int parameter_name_length(int i) const;
    int parameter_flags(int i) const;
    Variable* retval() const { return return_value_; }

  private:
    const _OX_EL_Function* function_;
    void* data_ = nullptr;
    Variable* return_value_;
};
