// The program family of the exported interface: what a library function
// reaches through the machine that called it. A null machine does nothing.

#include <sys/random.h>
#include <sys/time.h>

#include <cstring>

#include "application/OxinApplication.h"
#include "application/Output.h"
#include "base/SessionID.h"
#include "base/TextConversion.h"
#include "extensions/ExternalCall.h"
#include "extensions/ExternalCallManager.h"
#include "extensions/oxin_extension.h"
#include "host/exports/ExportSupport.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/Segment.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

char* owned_copy(const char* text, int length) {
    char* copy = new char[length + 1];
    if (length > 0) memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

namespace {

constexpr char kDynamicStackName[] = "__oxinvm_dynamic_stack";

void _oxProgram_Dynamic_Stack_Cleanup(OxinVM*, void* data) {
    delete static_cast<OxinVM_Stack*>(data);
}

// The one evaluation stack of the dynamic expressions of a machine family,
// kept as persistent data so that it lives as long as the call manager.
OxinVM_Stack* _oxProgram_Dynamic_Stack(OxinVM* vm) {
    ExternalCallManager* calls = vm->externalfunctions();
    if (!calls) return nullptr;
    int length = static_cast<int>(sizeof kDynamicStackName) - 1;
    auto* stack = static_cast<OxinVM_Stack*>(calls->Lookup_Persistent(kDynamicStackName, length));
    if (!stack) {
        stack = new OxinVM_Stack(vm, OxinVM::kStackSize);
        calls->Register_Persistent(vm, kDynamicStackName, length, stack,
                                   _oxProgram_Dynamic_Stack_Cleanup);
    }
    return stack;
}

// The system's random bytes, so that session ids cannot be guessed.
bool system_random(unsigned char* out, int count) {
    return getrandom(out, static_cast<size_t>(count), 0) == count;
}

int filled(VariableList* list) {
    return list->Entries();
}

using Transform = char* (*)(const char*, int, int*, int*);

char* transformed(Transform transform, const char* text, int length, int* out_length) {
    if (!text) return nullptr;
    int size;
    return transform(text, measured(text, length), out_length, &size);
}

}  // namespace

extern "C" {

Variable* oxProgram_Lookup_Variable(OxinVM* vm, const char* name, int length) {
    if (!vm || !name) return nullptr;
    return vm->Lookup_Variable(name, measured(name, length));
}

int oxProgram_Local_Variables(OxinVM* vm, VariableList* list) {
    if (!vm || !list || !vm->Frame()) return -1;
    vm->Local_Vars(list);
    return filled(list);
}

int oxProgram_System_Variables(OxinVM* vm, VariableList* list) {
    if (!vm || !list) return -1;
    vm->System_Vars(list);
    return filled(list);
}

int oxProgram_Global_Variables(OxinVM* vm, VariableList* list) {
    if (!vm || !list) return -1;
    vm->Global_Vars(list);
    return filled(list);
}

VariableHash* oxProgram_Global_VariableHash(OxinVM* vm) {
    return vm ? vm->globalvar_hash() : nullptr;
}

VariableHash* oxProgram_System_VariableHash(OxinVM* vm) {
    return vm ? vm->systemvar_hash() : nullptr;
}

int oxProgram_Compare(OxinVM* vm, Variable* left, Variable* right) {
    if (!vm || !left || !right) return 0;
    return vm->Compare(left, right);
}

void oxProgram_SetProcessName(OxinVM* vm, const char* name, int length) {
    if (vm && name) vm->oxinapplication()->SetProcessName(name, measured(name, length));
}

void oxProgram_SetLanguage(OxinVM* vm, const char* language, int length) {
    if (vm && language) vm->oxinapplication()->SetLanguage(language, measured(language, length));
}

void oxProgram_SetDefaultLanguage(OxinVM* vm, const char* language, int length) {
    if (vm && language)
        vm->oxinapplication()->SetDefaultLanguage(language, measured(language, length));
}

void oxProgram_SetDefaultDatabase(OxinVM* vm, const char* type, int length) {
    if (vm && type) vm->oxinapplication()->SetDefaultDatabase(type, measured(type, length));
}

void oxProgram_SetCharacterSet(OxinVM* vm, const char* charset, int length) {
    if (vm && charset) vm->oxinapplication()->SetCharacterSet(charset, measured(charset, length));
}

const char* oxProgram_GetCharacterSet(OxinVM* vm, int* length) {
    if (length) *length = 0;
    if (!vm) return nullptr;
    const String& charset = vm->oxinapplication()->charset();
    if (length) *length = charset.length();
    return charset.c_str();
}

int oxProgram_CharacterSetIsUTF8(OxinVM* vm) {
    return vm && vm->oxinapplication()->CharacterSetIsUTF8() ? 1 : 0;
}

void* oxProgram_Allocate(OxinVM*, int size) {
    return size >= 0 ? new char[size] : nullptr;
}

void oxProgram_Free(OxinVM*, void* pointer) {
    delete[] static_cast<char*>(pointer);
}

int oxProgram_Output_Header(OxinVM* vm, const char* name, int name_length, const char* value,
                            int value_length) {
    Output* output = vm ? vm->oxinapplication()->output() : nullptr;
    if (!output || !name || !value) return 0;
    name_length = measured(name, name_length);
    value_length = measured(value, value_length);
    return output->Header(owned_copy(name, name_length), name_length, 1,
                          owned_copy(value, value_length), value_length, 1);
}

int oxProgram_Output(OxinVM* vm, const char* text, int length) {
    Output* output = vm ? vm->oxinapplication()->output() : nullptr;
    if (!output || !text) return -1;
    return output->Write(text, measured(text, length));
}

int oxProgram_Output_Flush(OxinVM* vm) {
    Output* output = vm ? vm->oxinapplication()->output() : nullptr;
    if (!output) return -1;
    return output->Flush();
}

char* oxProgram_Attribute_Encode(OxinVM*, const char* text, int length, int* out_length) {
    return transformed(TextConversion::EncodeAttribute, text, length, out_length);
}

char* oxProgram_Attribute_Decode(OxinVM*, const char* text, int length, int* out_length) {
    return transformed(TextConversion::DecodeAttribute, text, length, out_length);
}

char* oxProgram_Entity_Encode(OxinVM*, const char* text, int length, int* out_length) {
    return transformed(TextConversion::EncodeEntities, text, length, out_length);
}

char* oxProgram_Entity_Decode(OxinVM*, const char* text, int length, int* out_length) {
    return transformed(TextConversion::DecodeEntities, text, length, out_length);
}

char* oxProgram_JavaScriptString_Encode(OxinVM* vm, const char* text, int length,
                                        int* out_length) {
    if (!text) return nullptr;
    int size;
    bool utf8 = vm && vm->oxinapplication()->CharacterSetIsUTF8();
    return TextConversion::EncodeJavaScriptString(text, measured(text, length), out_length, &size,
                                                  utf8);
}

void* oxProgram_Lookup_Persistent(OxinVM* vm, const char* name, int length) {
    if (!vm || !name || !vm->externalfunctions()) return nullptr;
    return vm->externalfunctions()->Lookup_Persistent(name, measured(name, length));
}

void oxProgram_Register_Persistent(OxinVM* vm, const char* name, int length, void* data,
                                   OxPersistentCleanup cleanup) {
    if (!vm || !name || !vm->externalfunctions()) return;
    vm->externalfunctions()->Register_Persistent(vm, name, measured(name, length), data, cleanup);
}

void* oxProgram_SSL_Function(OxinVM* vm, const char* name) {
    if (!vm || !name) return nullptr;
    return vm->oxinapplication()->SSL_GetFunction(name);
}

char* oxProgram_MakeSessionID(OxinVM* vm, int* length) {
    if (!vm) return nullptr;
    OxinApplication* application = vm->oxinapplication();
    timeval now;
    gettimeofday(&now, nullptr);
    return MakeSessionIDFrom(application->hostname(), application->processid(), now.tv_sec,
                             now.tv_usec, system_random, length);
}

void oxProgram_ResetGlobalTimeout(OxinVM* vm) {
    if (vm) vm->oxinapplication()->ResetGlobalTimeout();
}

void oxProgram_Sleep(OxinVM* vm, int milliseconds) {
    if (vm && milliseconds > 0) vm->oxinapplication()->Sleep(milliseconds);
}

void oxProgram_Asynchronous_Sleep(OxinVM* vm, long until, int location, const char* path,
                                  int length) {
    if (!vm) return;
    String translated;
    int type = __oxFile_Location(vm, location, path, length, &translated);
    vm->oxinapplication()->AsynchronousSleep(until, type, path ? translated.c_str() : nullptr);
}

void oxProgram_FatalError(OxinVM* vm, const char* text, int length) {
    if (vm) vm->FatalError(String(text ? text : "", measured(text, length)));
}

const _OX_EL_Function* oxProgram_Lookup_ExternalFunction(OxinVM* vm, const char* name,
                                                         int length) {
    if (!vm || !name || !vm->externalfunctions()) return nullptr;
    ExternalCall* call = vm->externalfunctions()->Lookup_External(name, measured(name, length));
    return call ? call->function() : nullptr;
}

int oxProgram_RunFunction(OxinVM* vm, const char* name, int length, VariableList* parameters,
                          Variable* result) {
    if (!vm || !name) return 0;
    return vm->RunFunction(name, measured(name, length), parameters, result);
}

Segment* oxProgram_Compile_Dynamic_Expression(OxinVM* vm, const char* text, int length,
                                              char** error, int* error_length) {
    if (error) *error = nullptr;
    if (error_length) *error_length = 0;
    if (!vm || !text) return nullptr;
    String reason;
    Segment* segment = vm->Compile_Dynamic_Expression(text, measured(text, length), nullptr,
                                                      nullptr, &reason, nullptr, 0, 0);
    if (!segment) {
        if (error) *error = owned_copy(reason.c_str(), reason.length());
        if (error_length) *error_length = reason.length();
    }
    return segment;
}

int oxProgram_Execute_Dynamic_Expression(OxinVM* vm, Segment* segment, VariableHash* locals,
                                         Variable* result) {
    if (!vm || !segment || !result) return 0;
    OxinVM_Stack* stack = _oxProgram_Dynamic_Stack(vm);
    if (!stack) return 0;
    int base = stack->Entries();
    if (vm->Execute_Dynamic_Expression(segment, stack, locals) != 1 || stack->Entries() <= base)
        return 0;
    return stack->PopV(result) ? 1 : 0;
}

int oxProgram_Execute_Dynamic_Expression_Boolean(OxinVM* vm, Segment* segment,
                                                 VariableHash* locals, int* result) {
    if (!vm || !segment || !result) return 0;
    OxinVM_Stack* stack = _oxProgram_Dynamic_Stack(vm);
    if (!stack) return 0;
    int base = stack->Entries();
    if (vm->Execute_Dynamic_Expression(segment, stack, locals) != 1 || stack->Entries() <= base)
        return 0;
    *result = stack->PopBool() ? 1 : 0;
    return 1;
}

}  // extern "C"
