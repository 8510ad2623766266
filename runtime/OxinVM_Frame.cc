#include "runtime/OxinVM_Frame.h"

#include "runtime/OxinVM_Stack.h"
#include "variables/VariableHash.h"

OxinVM_Frame::~OxinVM_Frame() {
    Set_LocalVariable_Hash(nullptr, false);
    Set_Stack(nullptr, false);
}

void OxinVM_Frame::Set_LocalVariable_Hash(VariableHash* hash, bool owned) {
    if (locals_owned_ && locals_ != hash) delete locals_;
    locals_ = hash;
    locals_owned_ = owned;
}

VariableHash* OxinVM_Frame::Release_Locals() {
    VariableHash* owned = locals_owned_ ? locals_ : nullptr;
    locals_ = nullptr;
    locals_owned_ = false;
    return owned;
}

void OxinVM_Frame::Set_Stack(OxinVM_Stack* stack, bool owned) {
    if (stack_owned_ && stack_ != stack) delete stack_;
    stack_ = stack;
    stack_owned_ = owned;
}
