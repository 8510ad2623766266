// The machine's side of the log: which events are logged where, and the
// parameters that each kind of record carries.

#include <vector>

#include "application/OxinApplication.h"
#include "base/LinkBuffer.h"
#include "runtime/Function.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"

bool OxinVM::Logging(unsigned kind) {
    if (!(log_mask_ & kind)) return false;
    int length;
    const char* source = Current_SourceFile(&length);
    return application_->LogMatchesFilter(source, length, line_);
}

void OxinVM::Log_Record(unsigned kind, std::initializer_list<LogParameter> extra, bool with_path) {
    int length;
    const char* source = Current_SourceFile(&length);
    std::vector<LogParameter> parameters;
    parameters.reserve(extra.size() + 4);
    if (with_path) parameters.push_back(LogParameter::Text(filename_.c_str(), filename_.length()));
    parameters.push_back(LogParameter::Text(source, length));
    parameters.push_back(LogParameter::Integer(line_));
    parameters.insert(parameters.end(), extra.begin(), extra.end());
    parameters.push_back(LogParameter::End());
    application_->Log(kind, parameters.data());
}

// The returned value is logged as it stands on the stack: a number as a
// number, a text or a built text as text, a variable by its value.
void OxinVM::Log_Return(const Function* returning, OxinVM_Stack* stack, bool with_value) {
    const String& name = returning->name();
    LogParameter function = LogParameter::Text(name.c_str(), name.length());
    OxinVM_Stack::Stack_Entry* entry = with_value ? stack->Peek() : nullptr;
    if (entry && Logging(kLogFunctionReturnValue)) {
        LogParameter returned = LogParameter::End();
        int length = 0;
        switch (entry->type) {
            case OxinVM_Stack::kInteger:
                returned = LogParameter::Integer(entry->value.integer);
                break;
            case OxinVM_Stack::kDouble:
                returned = LogParameter::Double(entry->value.number);
                break;
            case OxinVM_Stack::kString:
                returned = LogParameter::Text(entry->value.text, entry->length);
                break;
            case OxinVM_Stack::kVariable:
                returned = LogParameter::Of(entry->value.variable);
                break;
            case OxinVM_Stack::kLinkBuffer: {
                const char* text = entry->value.buffer->data(&length);
                returned = LogParameter::Text(text, length);
                break;
            }
            default:
                break;
        }
        Log_Record(kLogFunctionReturnValue, {function, returned}, false);
    }
    if (Logging(kLogFunctionReturn)) Log_Record(kLogFunctionReturn, {function});
}

void OxinVM::Log_Parameter(unsigned kind, const LogParameter& function,
                           const FunctionParameter* parameter, Variable* value, bool with_path) {
    if (!Logging(kind)) return;
    const String& name = parameter->name();
    Log_Record(kind, {function, LogParameter::Text(name.c_str(), name.length()), LogParameter::Of(value)},
               with_path);
}
