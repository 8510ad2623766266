#include "statements/POP3Statements.h"

#include <cstdio>
#include <memory>

#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/POP3.h"

namespace {

// The row of OxPOP in the tag table: its errors land in OxPOP_Error.
constexpr int kTagPOP = 8;

String Text(PoppedText& popped) {
    return String(popped.text() ? popped.text() : "", popped.text() ? popped.length() : 0);
}

// The first step of the conversation that failed, as the script is told.
String Failure(const POP3& pop, const char* step, const String& host) {
    return String::Join({step, " '", host.c_str(), "': ", pop.error().c_str()});
}

POP3* Current_POP3(OxinVM* vm) {
    Feature* feature = vm->Lookup_Feature(Feature::kPOP3);
    if (!feature) vm->FatalError("Invalid instruction");
    return static_cast<POP3*>(feature);
}

}  // namespace

void pop3(OxinVM* vm) {
    PoppedText directory = vm->stack()->PopText_NS();
    PoppedText password = vm->stack()->PopText_NS();
    PoppedText user = vm->stack()->PopText_NS();
    PoppedText host_text = vm->stack()->PopText_NS();
    if (vm->fatal()) return;
    String host = Text(host_text);
    auto pop =
        std::make_unique<POP3>(vm->oxinapplication(), vm, vm->systemvar_hash(), Text(directory));
    String error;
    int result = POP3::kFailed;
    if (pop->Connect(host.c_str()) != POP3::kDone)
        error = Failure(*pop, "Error connecting to", host);
    else if (pop->Login(Text(user), Text(password)) != POP3::kDone)
        error = Failure(*pop, "Error logging into", host);
    else if (pop->GetStat() != POP3::kDone)
        error = Failure(*pop, "Error while checking status from", host);
    else if (pop->BuildMessageList() != POP3::kDone)
        error = Failure(*pop, "Error while retrieving list of messages from", host);
    else if ((result = pop->GetFirstMessage()) == POP3::kFailed)
        error = String::Join({"Error retrieving message: ", pop->error().c_str()});
    if (result == POP3::kMore) {
        vm->ClearErrorVariable(kTagPOP);
        vm->Push_Feature(pop.release());
        return;
    }
    pop.reset();
    if (result != POP3::kEmpty) vm->EncodedRuntimeError(kTagPOP, error);
    vm->Jump(vm->operand1());
}

void pop3loop(OxinVM* vm) {
    POP3* pop = Current_POP3(vm);
    if (!pop) return;
    int result = pop->GetNextMessage();
    if (result == POP3::kMore) {
        vm->Jump(vm->operand1());
        return;
    }
    String error = String::Join({"Error retrieving message: ", pop->error().c_str()});
    vm->Pop_Feature(pop);
    if (result == POP3::kFailed) vm->EncodedRuntimeError(kTagPOP, error);
}

void pop3delete(OxinVM* vm) {
    POP3* pop = Current_POP3(vm);
    if (!pop || pop->DeleteMessage() == POP3::kDone) return;
    char index[16];
    snprintf(index, sizeof index, "%d", pop->CurrentMessageIndex());
    vm->EncodedRuntimeError(
        kTagPOP, String::Join({"Error deleting message #", index, ": ", pop->error().c_str()}));
}

void pop3stop(OxinVM* vm) {
    POP3* pop = Current_POP3(vm);
    if (!pop) return;
    vm->Pop_Feature(pop);
    vm->Jump(vm->operand1());
}
