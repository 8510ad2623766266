#include "statements/CommerceStatements.h"

#include <memory>

#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/Commerce.h"

namespace {

// The row of OxCOMMERCE in the tag table: its errors land in
// OxCOMMERCE_Error.
constexpr int kTagCommerce = 19;

String Text(const PoppedText& popped) {
    return String(popped.text() ? popped.text() : "", popped.text() ? popped.length() : 0);
}

Commerce* Current_Commerce(OxinVM* vm) {
    Feature* feature = vm->Lookup_Feature(Feature::kCommerce);
    if (!feature) vm->FatalError("Invalid instruction");
    return static_cast<Commerce*>(feature);
}

}  // namespace

void op_commerce(OxinVM* vm) {
    PoppedText fields = vm->stack()->PopText_NS();
    PoppedText action = vm->stack()->PopText_NS();
    PoppedText method = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    auto commerce = std::make_unique<Commerce>(vm->oxinapplication(), vm, vm->commerce(),
                                               vm->systemvar_hash(), Text(method), Text(action));
    commerce->Set_Fields(fields.text(), fields.length());
    if (!commerce->Start()) {
        vm->EncodedRuntimeError(kTagCommerce, commerce->error());
        vm->Jump(vm->operand1());
        return;
    }
    vm->ClearErrorVariable(kTagCommerce);
    if (commerce->Next() == Commerce::kRunBody) {
        vm->Push_Feature(commerce.release());
        return;
    }
    vm->Jump(vm->operand1());
}

void op_commerce_loop(OxinVM* vm) {
    Commerce* commerce = Current_Commerce(vm);
    if (!commerce) return;
    if (commerce->Next() == Commerce::kRunBody) {
        vm->Jump(vm->operand1());
        return;
    }
    vm->Pop_Feature(commerce);
}

void op_commerce_stop(OxinVM* vm) {
    Commerce* commerce = Current_Commerce(vm);
    if (!commerce) return;
    vm->Pop_Feature(commerce);
    vm->Jump(vm->operand1());
}
