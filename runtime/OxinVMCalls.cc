// Function calls and returns, frames, features, and runs from inside a run.

#include <cassert>
#include <cstring>

#include "application/OxinApplication.h"
#include "extensions/ExternalCall.h"
#include "extensions/ExternalCallManager.h"
#include "runtime/ExpressionCompiler.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/Segment.h"
#include "runtime/SegmentManager.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

void OxinVM::call() {
    Function* function = functions_->Function_Get(dword1_);
    if (!function) {
        FatalError("Invalid function call");
    } else if (function->external()) {
        CallExternalFunction(function);
    } else {
        CallFunction(function);
    }
}

// The arguments of a library function go into the function's own
// parameter hash, by value or bound by reference; the result comes back as
// one value on the stack.
int OxinVM::CallExternalFunction(Function* function) {
    auto* call = static_cast<ExternalCall*>(function->text());
    if (!call && externalfunctions_) {
        call = externalfunctions_->Lookup_External(function->name().c_str(),
                                                   function->name().length());
        function->SetText(call);
    }
    if (!call) {
        String message("Unresolved call to external function '");
        message.cat(function->name().c_str(), function->name().length());
        message.cat("'");
        FatalError(message);
        return 0;
    }
    if (call->parameter_count() != function->ParameterCount()) {
        FatalError("Number of parameters mismatch in call to external function");
        return 0;
    }
    const String& name = function->name();
    LogParameter logged_name = LogParameter::Text(name.c_str(), name.length());
    if (Logging(kLogExternalCall)) Log_Record(kLogExternalCall, {logged_name});
    VariableHash* parameters = function->LocalVariables();
    for (int i = call->parameter_count() - 1; i >= 0; i--) {
        FunctionParameter* parameter = function->Parameter(i);
        if (parameter->flags() != call->parameter_flags(i)) {
            FatalError("Parameter type mismatch in call to external function");
            parameters->Dump();
            return 0;
        }
        if (parameter->byreference()) {
            Variable* variable;
            int deletable;
            if (!stack_->PopV(&variable, &deletable)) {
                parameters->Dump();
                return 0;
            }
            parameters->SetVariable_Reference(parameter->localvar_index(), variable);
            Log_Parameter(kLogExternalParameter, logged_name, parameter, variable, true);
            if (deletable) variable->DecRefCount();
        } else {
            Variable* local = parameters->Index(parameter->localvar_index(), 1);
            if (!local) {
                FatalError("Invalid parameter reference");
                parameters->Dump();
                return 0;
            }
            stack_->PopV(local);
            Log_Parameter(kLogExternalParameter, logged_name, parameter, local, true);
        }
    }
    call->Call(this, parameters);
    stack_->PushV(call->retval(), 1, 1);
    if (Logging(kLogExternalReturnValue))
        Log_Record(kLogExternalReturnValue, {logged_name, LogParameter::Of(call->retval())});
    if (Logging(kLogExternalReturn)) Log_Record(kLogExternalReturn, {logged_name});
    parameters->Dump();
    return fatal_ ? 0 : 1;
}

// The flags of the new frame follow the function's flags and the caller's.
static void set_frame_flags(OxinVM_Frame* frame, const OxinVM_Frame* caller, unsigned flags) {
    frame->error_flags = caller->error_flags;
    if (flags & Function::kErrorsOn) frame->error_flags |= OxinVM::kErrorsReachApplication;
    if (flags & Function::kErrorsOff) frame->error_flags &= ~OxinVM::kErrorsReachApplication;
    frame->output_flags = 0;
    if (flags & Function::kInheritOutput) {
        if (caller->output_flags & 3) frame->output_flags = 2;
    } else if (flags & Function::kOutputFlag) {
        frame->output_flags = 1;
    }
}

int OxinVM::CallFunction(Function* function) {
    OxinVM_FunctionFrame* frame = Take_Function_Frame(function);
    set_frame_flags(frame, frame_, function->flags());
    SetOutputFlags(frame->output_flags);
    const String& name = function->name();
    LogParameter logged_name = LogParameter::Text(name.c_str(), name.length());
    if (Logging(kLogFunctionCall)) Log_Record(kLogFunctionCall, {logged_name}, false);
    // Arguments were pushed left to right: the last parameter is on top.
    VariableHash* locals = frame->locals();
    for (int i = function->ParameterCount() - 1; i >= 0 && !fatal_; i--) {
        FunctionParameter* parameter = function->Parameter(i);
        if (!parameter->byreference()) {
            Variable* local = locals->Index(parameter->localvar_index(), 1);
            if (!local) {
                FatalError("Invalid parameter reference");
                break;
            }
            stack_->PopV(local);
            Log_Parameter(kLogFunctionParameter, logged_name, parameter, local, false);
            continue;
        }
        Variable* variable;
        int deletable;
        if (!stack_->PopV(&variable, &deletable)) break;
        locals->SetVariable_Reference(parameter->localvar_index(), variable);
        Log_Parameter(kLogFunctionParameter, logged_name, parameter, variable, false);
        if (deletable) variable->DecRefCount();
    }
    frame_ = frame;
    stack_ = frame->stack();
    if (!fatal_) Enter(function);
    return fatal_ ? 0 : 1;
}

// The frame of a call of function at the present position: a spare frame
// with its empty stack, or a new one, and the function's locals.
OxinVM_FunctionFrame* OxinVM::Take_Function_Frame(Function* function) {
    OxinVM_FunctionFrame* frame;
    if (spare_frames_.empty()) {
        frame = new OxinVM_FunctionFrame(function, segment, ip, frame_);
        frame->Set_Stack(new OxinVM_Stack(this, kStackSize), true);
    } else {
        frame = spare_frames_.back().release();
        spare_frames_.pop_back();
        frame->function = function;
        frame->segment = segment;
        frame->ip = ip;
        frame->previous = frame_;
    }
    frame->Set_LocalVariable_Hash(function->Take_Locals(), true);
    frame->pooled = true;
    return frame;
}

// Ends a returning frame as deleting it would (its variables first, then
// what its stack holds), keeping the frame, its stack and its hash for
// later calls.
void OxinVM::Recycle_Function_Frame(OxinVM_FunctionFrame* frame) {
    constexpr size_t kSpareFrames = 8;
    if (!frame->pooled || spare_frames_.size() >= kSpareFrames) {
        delete frame;
        return;
    }
    if (VariableHash* locals = frame->Release_Locals()) frame->function->Keep_Locals(locals);
    frame->stack()->Clear();
    spare_frames_.emplace_back(frame);
}

// The reader refused files whose functions begin outside their segments,
// but an id that had no segment then may have one now, made by the
// expression compiler: the entry is checked against the segment it finds.
// An id with no segment is left to the loop, which reports it.
void OxinVM::Enter(const Function* function) {
    const Segment* target = segments_->Segment_Get(function->segment());
    if (target && (function->offset() < 0 || function->offset() > target->Code_Length())) {
        FatalError(kInvalidSegmentText);
        return;
    }
    segment = function->segment();
    ip = function->offset();
}

bool OxinVM::Return(bool with_value) {
    if (!frame_->previous) {
        FatalError("Frame underflow");
        return false;
    }
    if (frame_->type() != 1) {
        FatalError("Return outside of function");
        return false;
    }
    Cleanup_Function_Features(frame_);
    // The position that the call left, behind the call instruction.
    assert(frame_->ip >= 0);
    segment = frame_->segment;
    ip = frame_->ip;
    OxinVM_Frame* caller = frame_->previous;
    OxinVM_Stack* caller_stack = caller->stack();
    if (with_value) {
        caller_stack->Push(stack_, 1);
    }
    if (log_mask_ & (kLogFunctionReturnValue | kLogFunctionReturn))
        Log_Return(static_cast<OxinVM_FunctionFrame*>(frame_)->function, caller_stack, with_value);
    Recycle_Function_Frame(static_cast<OxinVM_FunctionFrame*>(frame_));
    frame_ = caller;
    stack_ = caller_stack;
    if (!with_value) stack_->PushS("", 0, 0, 0);
    SetOutputFlags(frame_->output_flags);
    return !fatal_;
}

int OxinVM::RunFunction(const char* name, int length, VariableList* parameters, Variable* result) {
    Function* function = functions_->Function_Get(name, length);
    if (!function || !Set_Segment()) return 0;
    if (parameters) {
        if (parameters->Entries() != function->ParameterCount()) return 0;
        for (Variable* parameter = parameters->First(); parameter; parameter = parameters->Next())
            stack_->PushV(parameter, 1, 1);
    }
    int saved_ip = ip;
    ip = code_length_;
    if (!CallFunction(function) || !Set_Segment()) {
        ip = saved_ip;
        return 0;
    }
    Go();
    ip = saved_ip;
    if (fatal_) return 0;
    if (result) {
        stack_->PopV(result);
    } else {
        stack_->Pop();
    }
    return 1;
}

int OxinVM::Go_Recursive() {
    int saved_segment = segment, saved_ip = ip;
    OxinVM_Frame* saved_frame = frame_;
    OxinVM_Frame* outermost = Enter_Outermost_Frame(segment, ip);
    int result = Go();
    Leave_Run(outermost, saved_frame, saved_segment, saved_ip);
    return result;
}

void OxinVM::Leave_Run(OxinVM_Frame* run, OxinVM_Frame* saved_frame, int saved_segment,
                       int saved_ip) {
    while (frame_ != run) {
        OxinVM_Frame* previous = frame_->previous;
        delete frame_;
        frame_ = previous;
    }
    delete run;
    frame_ = saved_frame;
    stack_ = saved_frame->stack();
    segment = saved_segment;
    ip = saved_ip;
    loaded_segment_ = -1;  // the loop loads the segment again
}

void OxinVM::Push_Feature(Feature* feature) {
    features_.Push(feature);
}

Feature* OxinVM::Lookup_Feature(int id) {
    for (Feature* feature = features_.Top(); feature; feature = features_.Peek()) {
        if (feature->ID() == id) return feature;
    }
    return nullptr;
}

void OxinVM::Pop_Feature(Feature* feature) {
    for (Feature* on = features_.Top(); on; on = features_.Peek()) {
        if (on == feature) {
            delete features_.Pop();
            return;
        }
    }
}

void OxinVM::Cleanup_Function_Features(OxinVM_Frame* frame) {
    Feature* deepest = nullptr;
    for (Feature* feature = features_.Top(); feature && feature->frame() == frame;
         feature = features_.Peek())
        deepest = feature;
    if (deepest) Pop_Feature(deepest);
}

OxinVM::FilterHandler OxinVM::import_filter_handler = nullptr;

void OxinVM::import_filter_resume(bool pass) {
    if (!import_filter_handler) {
        FatalError("Invalid instruction");
        return;
    }
    import_filter_handler(this, pass);
}

void OxinVM::Enter_Filter_Frame(int filter, int body_ip, int end_ip) {
    auto* frame = new OxinVM_FilterFrame(&OxinVM::import_filter_resume, segment, body_ip, segment,
                                         end_ip, frame_);
    frame->Set_LocalVariable_Hash(frame_->locals(), false);
    frame->Set_Stack(frame_->stack(), false);
    frame->error_flags = frame_->error_flags;
    frame->output_flags = frame_->output_flags;
    frame_ = frame;
    segment = filter;
    ip = 0;
}

void OxinVM::Leave_Filter_Frame(bool to_body) {
    if (frame_->type() != 2) return;
    auto* filter = static_cast<OxinVM_FilterFrame*>(frame_);
    segment = to_body ? filter->segment : filter->end_segment;
    ip = to_body ? filter->ip : filter->end_ip;
    frame_ = filter->previous;
    stack_ = frame_->stack();
    delete filter;
}

static void add_text(VariableList* list, const String& text) {
    list->Insert(new Variable("", 0, text.c_str(), text.length()), ListTail, 0);
}

bool OxinVM::ValidateFileUpload(const String& field, const String& filename,
                                const String& content_type, long* size) {
    static const char kName[] = "Oxin_ValidateFileUpload";
    *size = -1;
    if (!functions_->Function_Get(kName, -1)) return true;
    VariableList parameters;
    add_text(&parameters, field);
    add_text(&parameters, filename);
    add_text(&parameters, content_type);
    Variable* answer = new Variable("", 0);
    int called = RunFunction(kName, -1, &parameters, answer);
    if (called) *size = answer->value_integer();
    answer->DecRefCount();
    return called != 0;
}

bool OxinVM::ProcessFileUpload(const String& field, const String& filename, const String& status,
                               const String& temporary, const String& content_type, long size) {
    static const char kName[] = "Oxin_ProcessFileUpload";
    if (!functions_->Function_Get(kName, -1)) return true;
    VariableList parameters;
    add_text(&parameters, field);
    add_text(&parameters, filename);
    add_text(&parameters, status);
    add_text(&parameters, temporary);
    add_text(&parameters, content_type);
    parameters.Insert(new Variable("", 0, static_cast<int>(size)), ListTail, 0);
    return RunFunction(kName, -1, &parameters, nullptr) != 0;
}

Segment* OxinVM::Compile_Dynamic_Expression(const char* expression, int length, const char* alias,
                                            OxinVM* caller, String* error, const char* source,
                                            int source_length, int line) {
    OxinVM* other = caller ? caller : parent_;
    ExpressionCompiler compiler(externalfunctions_, segments_, dictionary_, functions_,
                                other ? other->functions_ : nullptr, expression, length, alias,
                                nullptr, 0, source, source_length, line, 0x1000B);
    if (compiler.Run()) return compiler.GetSegment();
    if (error) *error = compiler.error();
    return nullptr;
}

int OxinVM::Execute_Dynamic_Expression(Segment* code, OxinVM_Stack* stack, VariableHash* locals) {
    int saved_segment = segment, saved_ip = ip;
    OxinVM_Frame* saved_frame = frame_;
    auto* frame = new OxinVM_Frame(segment, ip, nullptr);
    frame->Set_LocalVariable_Hash(locals ? locals : saved_frame->locals(), false);
    frame->Set_Stack(stack ? stack : saved_frame->stack(), false);
    frame->output_flags = saved_frame->output_flags;
    frame_ = frame;
    stack_ = frame->stack();
    segment = code->id();
    ip = 0;
    int result = Load_Segment() ? Go() : 0;
    Leave_Run(frame, saved_frame, saved_segment, saved_ip);
    return result;
}

int OxinVM::Execute_Dynamic_Expression(Segment* code, OxinVM_Stack* stack, VariableHash* locals,
                                       int* truth) {
    int result = Execute_Dynamic_Expression(code, stack, locals);
    *truth = (stack ? stack : stack_)->PopBool();
    return result;
}

int OxinVM::Execute_Dynamic_Expression(Segment* code, OxinVM_Stack* stack, VariableHash* locals,
                                       char** text, int* length) {
    int result = Execute_Dynamic_Expression(code, stack, locals);
    int size, deletable;
    char* value = (stack ? stack : stack_)->PopS(length, &size, &deletable);
    if (!deletable && value) {
        char* copy = new char[*length + 1];
        memcpy(copy, value, *length);
        copy[*length] = '\0';
        value = copy;
    }
    *text = value;
    return result;
}

int OxinVM::Execute_Dynamic_Expression(Segment* code, OxinVM_Stack* stack, VariableHash* locals,
                                       Variable** variable) {
    int result = Execute_Dynamic_Expression(code, stack, locals);
    int deletable;
    if ((stack ? stack : stack_)->PopV(variable, &deletable) && !deletable)
        (*variable)->IncRefCount();
    return result;
}
