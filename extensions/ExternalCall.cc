#include "extensions/ExternalCall.h"

#include "variables/Variable.h"

ExternalCall::ExternalCall(const _OX_EL_Function* function)
    : function_(function), return_value_(new Variable("", 0)) {}

ExternalCall::~ExternalCall() {
    if (data_) function_->function(nullptr, nullptr, nullptr, &data_);
    return_value_->DecRefCount();
}

void ExternalCall::Call(OxinVM* vm, VariableHash* parameters) {
    if (return_value_->refcount() < 2) {
        return_value_->SetNULL();
    } else {
        return_value_->DecRefCount();
        return_value_ = new Variable("", 0);
    }
    function_->function(vm, parameters, return_value_, &data_);
}

const char* ExternalCall::parameter_name(int i) const {
    return i >= 0 && i < parameter_count() ? function_->parameters[i].name : "";
}

int ExternalCall::parameter_name_length(int i) const {
    return i >= 0 && i < parameter_count() ? static_cast<int>(function_->parameters[i].name_length)
                                           : 0;
}

int ExternalCall::parameter_flags(int i) const {
    return i >= 0 && i < parameter_count() ? static_cast<int>(function_->parameters[i].flags) : 0;
}
