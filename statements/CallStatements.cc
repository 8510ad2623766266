#include "statements/CallStatements.h"

#include <memory>

#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "statements/Call.h"

namespace {

// The row of OxCALL in the tag table: its errors land in OxCALL_Error.
constexpr int kTagCall = 14;
constexpr int kMostArguments = 11;
// Positions of the arguments, counted from 1 in the order pushed.
enum Position {
    kURL = 1, kMethod, kFields, kFiles, kContentType, kCertificateFile, kCertificateType,
    kHeaders, kTimeout, kCertificatePassword, kCertificateData
};

// Takes the popped text over when the stack lets it go, else copies it.
String Taken(PoppedText& popped) {
    int deletable = 0;
    int length = popped.length(), size = popped.size();
    char* text = popped.release(&deletable);
    if (deletable && text) return String(text, length, size);
    return String(text ? text : "", text ? length : 0);
}

std::unique_ptr<String> Optional(PoppedText* popped, int count, Position position) {
    if (count < position) return nullptr;
    return std::make_unique<String>(Taken(popped[position]));
}

void op_http_arguments(OxinVM* vm, int count) {
    if (count != 5 && (count < 8 || count > kMostArguments)) {
        vm->FatalError("Invalid number of parameters to HTTPN");
        return;
    }
    PoppedText popped[kMostArguments + 1];
    int timeout = 0;
    for (int position = count; position >= 1; position--) {
        if (position == kTimeout)
            timeout = vm->stack()->PopI();
        else
            popped[position] = vm->stack()->PopText();
    }
    if (vm->fatal()) return;
    Call::Arguments arguments;
    arguments.url = Taken(popped[kURL]);
    arguments.method = Taken(popped[kMethod]);
    arguments.fields = Taken(popped[kFields]);
    arguments.files = Taken(popped[kFiles]);
    arguments.content_type = Taken(popped[kContentType]);
    arguments.certificate_file = Optional(popped, count, kCertificateFile);
    arguments.certificate_type = Optional(popped, count, kCertificateType);
    arguments.certificate_password = Optional(popped, count, kCertificatePassword);
    arguments.certificate_data = Optional(popped, count, kCertificateData);
    arguments.timeout = timeout;
    arguments.logging = vm->Logging(kLogCall);
    auto call = std::make_unique<Call>(vm->oxinapplication(), vm, std::move(arguments));
    int result = Call::kError;
    if (call->Connect(count >= kHeaders ? popped[kHeaders].text() : nullptr,
                      count >= kHeaders ? popped[kHeaders].length() : 0))
        result = call->Find_Next_Element();
    if (result == Call::kObject) {
        vm->Push_Feature(call.release());
        vm->ClearErrorVariable(kTagCall);
        return;
    }
    if (result == Call::kError) vm->EncodedRuntimeError(kTagCall, call->error());
    call.reset();
    vm->Jump(vm->operand1());
}

Call* Current_Call(OxinVM* vm) {
    Feature* feature = vm->Lookup_Feature(Feature::kCall);
    if (!feature) vm->FatalError("Invalid instruction");
    return static_cast<Call*>(feature);
}

}  // namespace

void op_http(OxinVM* vm) { op_http_arguments(vm, 5); }

void op_http8(OxinVM* vm) { op_http_arguments(vm, 8); }

void op_http_counted(OxinVM* vm) { op_http_arguments(vm, vm->operand2()); }

void op_http_loop(OxinVM* vm) {
    Call* call = Current_Call(vm);
    if (!call) return;
    int result = call->Find_Next_Element();
    if (result == Call::kObject) {
        vm->Jump(vm->operand1());
        return;
    }
    if (result == Call::kError) vm->EncodedRuntimeError(kTagCall, call->error());
    vm->Pop_Feature(call);
}

void op_http_stop(OxinVM* vm) {
    Call* call = Current_Call(vm);
    if (!call) return;
    vm->Pop_Feature(call);
    vm->Jump(vm->operand1());
}
