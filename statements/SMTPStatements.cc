#include "statements/SMTPStatements.h"

#include <memory>

#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/SMTP.h"

namespace {

// The row of OxSMTP in the tag table: its errors land in OxSMTP_Error.
constexpr int kTagSMTP = 11;
constexpr int kMostOperands = 9;
// Positions of the operands, counted from 1 in the order pushed.
enum Position { kTo = 1, kFrom, kHost, kCC, kSubject, kPort, kFlags, kUser, kPassword };

String Taken(PoppedText& popped) {
    return String(popped.text() ? popped.text() : "", popped.text() ? popped.length() : 0);
}

void op_smtp_operands(OxinVM* vm, int count) {
    // A popped empty stack is fatal: a count beyond what was pushed stops
    // there rather than failing once for every missing entry.
    for (; count > kMostOperands && !vm->fatal(); count--)
        vm->stack()->Pop();
    if (count > kMostOperands) return;
    PoppedText popped[kMostOperands + 1];
    int port = 25;
    for (int position = count; position >= 1; position--) {
        if (position == kPort)
            port = vm->stack()->PopI();
        else
            popped[position] = vm->stack()->PopText();
    }
    if (vm->fatal()) return;
    SMTP::Arguments arguments;
    arguments.to = Taken(popped[kTo]);
    arguments.from = Taken(popped[kFrom]);
    arguments.host = Taken(popped[kHost]);
    arguments.cc = Taken(popped[kCC]);
    arguments.subject = Taken(popped[kSubject]);
    arguments.port = port;
    arguments.flags = Taken(popped[kFlags]);
    arguments.username = Taken(popped[kUser]);
    arguments.password = Taken(popped[kPassword]);
    arguments.logging = vm->Logging(kLogSMTP);
    auto smtp = std::make_unique<SMTP>(vm->oxinapplication(), vm, std::move(arguments));
    if (smtp->Connect() && smtp->Start()) {
        vm->ClearErrorVariable(kTagSMTP);
        vm->Push_Feature(smtp.release());
        return;
    }
    // The script's own output comes back before the error is shown.
    String error = smtp->error();
    smtp.reset();
    vm->EncodedRuntimeError(kTagSMTP, error);
    vm->Jump(vm->operand1());
}

}  // namespace

void op_smtp(OxinVM* vm) {
    op_smtp_operands(vm, 5);
}

void op_smtp_counted(OxinVM* vm) {
    op_smtp_operands(vm, vm->operand2());
}

void op_smtp_end(OxinVM* vm) {
    Feature* feature = vm->Lookup_Feature(Feature::kSMTP);
    if (!feature) {
        vm->FatalError("Invalid instruction");
        return;
    }
    SMTP* smtp = static_cast<SMTP*>(feature);
    bool finished = smtp->Finish();
    String error = smtp->error();
    vm->Pop_Feature(smtp);
    if (!finished) vm->EncodedRuntimeError(kTagSMTP, error);
}
