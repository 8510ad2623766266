// Variables: lookup by name and scope, the instructions that address
// variables by name, element or member, references and comparisons.

#include <cstring>

#include "base/TextConversion.h"
#include "files/Dictionary.h"
#include "runtime/OpenDatabases.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Frame.h"
#include "runtime/OxinVM_Stack.h"
#include "variables/AggregateIndex.h"
#include "variables/NULLVariable.h"
#include "variables/ReferenceVariable.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

namespace {

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

}  // namespace

bool OxinVM::Dictionary_Text(int id, const char** text, int* length) {
    *text = dictionary_->Entry(id, length);
    if (*text) return true;
    FatalError("Invalid dictionary reference");
    return false;
}

void OxinVM::with_name(void (OxinVM::*action)(const char*, int)) {
    PoppedText name = stack_->PopText();
    if (!fatal_) (this->*action)(name.text(), name.length());
}

void OxinVM::with_dictionary_name(void (OxinVM::*action)(const char*, int)) {
    const char* name;
    int length;
    if (Dictionary_Text(dword1_, &name, &length)) (this->*action)(name, length);
}

bool OxinVM::Lookup_Variable(Variable** out, const char* name, int length, String* error) {
    const char *rest, *database;
    int rest_length, database_length;
    int scope = VariableHash::Scope(name, length, &rest, &rest_length, &database, &database_length);
    *out = nullptr;
    VariableHash* hash = nullptr;
    int create = 1;
    switch (scope) {
        case ScopeLocal:
            hash = frame_->locals();
            break;
        case ScopeGlobal:
            hash = global_;
            break;
        case ScopeSystem:
            hash = system_;
            create = 0;
            break;
        case ScopeDatabase:
            *out = database_length > 0 ? Field(database, database_length, rest, rest_length)
                                       : databases_->FindField(rest, rest_length);
            return true;
        case 4:
        case ScopeNone:
            if (system_->LookupVariable_Fancy(out, rest, rest_length, 0) && *out) return true;
            if (frame_->previous &&
                frame_->locals()->LookupVariable_Fancy(out, rest, rest_length, 0) && *out)
                return true;
            if ((*out = databases_->FindField(rest, rest_length))) return true;
            hash = global_;
            break;
        default:
            return true;
    }
    if (hash->LookupVariable_Fancy(out, rest, rest_length, create)) return true;
    *error = hash->error();
    return false;
}

Variable* OxinVM::Lookup_Variable(const char* name, int length) {
    Variable* variable;
    String error;
    if (!Lookup_Variable(&variable, name, length, &error)) {
        FatalError(error);
        return nullptr;
    }
    return variable;
}

Variable* OxinVM::Lookup_Global(const char* name, int length) {
    Variable* variable = nullptr;
    global_->LookupVariable_Fancy(&variable, name, length, 1);
    return variable;
}

void OxinVM::Lookup_VariableList(VariableList* list, const char* names, int length) {
    list->Dump();
    int start = 0;
    while (start < length) {
        int end = start;
        while (end < length && names[end] != ',')
            end++;
        int first = start, last = end;
        while (first < last && is_space(names[first]))
            first++;
        while (last > first && is_space(names[last - 1]))
            last--;
        if (last > first) {
            const char* piece = names + first;
            int piece_length = last - first;
            Variable* variable = nullptr;
            String error;
            Lookup_Variable(&variable, piece, piece_length, &error);
            if (variable) {
                const char *rest, *database;
                int rest_length, database_length;
                VariableHash::Scope(piece, piece_length, &rest, &rest_length, &database,
                                    &database_length);
                list->Insert(new ReferenceVariable(rest, rest_length, variable), ListTail, 0);
            } else {
                list->Insert(new ReferenceVariable(piece, piece_length, null_variable_), ListTail,
                             0);
            }
        }
        start = end + 1;
    }
}

int OxinVM::Compare(Variable* left, Variable* right) {
    int left_error = 0, right_error = 0;
    double left_number = left->Fast_Compare(&left_error);
    if (!left_error) {
        double right_number = right->Fast_Compare(&right_error);
        if (!right_error) return OxinVM_Stack::CompareNumbers(left_number, right_number);
    }
    String& left_text = left->value();
    String& right_text = right->value();
    return OxinVM_Stack::CompareTexts(left_text.text(), left_text.length(), right_text.text(),
                                      right_text.length());
}

int OxinVM::Compare(Variable* left, int right) {
    int error = 0;
    double number = left->Fast_Compare(&error);
    if (!error) return OxinVM_Stack::CompareNumbers(number, right);
    int length, size;
    char* digits = TextConversion::itos(right, &length, &size);
    String& text = left->value();
    int order = OxinVM_Stack::CompareTexts(text.text(), text.length(), digits, length);
    delete[] digits;
    return order;
}

void OxinVM::pushn(const char* name, int length) {
    Variable* variable = Lookup_Variable(name, length);
    if (!fatal_) stack_->PushV(variable ? variable : null_variable_, 1, 1);
}

// A name that finds no variable leaves the value on the stack.
void OxinVM::popn(const char* name, int length) {
    Variable* variable = Lookup_Variable(name, length);
    if (!fatal_ && variable) stack_->PopV(variable);
}

void OxinVM::poprg(VariableHash* hash) {
    Variable* variable;
    int deletable;
    if (!stack_->PopV(&variable, &deletable)) return;
    hash->SetVariable_Reference(dword1_, variable);
    if (deletable) variable->DecRefCount();
}

void OxinVM::poprn(const char* name, int length) {
    Variable* target = Lookup_Variable(name, length);
    Variable* source;
    int deletable;
    if (fatal_ || !stack_->PopV(&source, &deletable)) return;
    if (target) target->Make_Reference(source);
    if (deletable) source->DecRefCount();
}

void OxinVM::refer() {
    Variable *target, *source;
    int target_deletable, source_deletable;
    if (!stack_->PopV(&target, &target_deletable)) return;
    if (stack_->PopV(&source, &source_deletable)) {
        target->Make_Reference(source);
        if (source_deletable) source->DecRefCount();
    }
    if (target_deletable) target->DecRefCount();
}

void OxinVM::store() {
    Variable* variable;
    int deletable;
    if (!stack_->PopV(&variable, &deletable)) return;
    stack_->PopV(variable);
    if (deletable) variable->DecRefCount();
}

// The element of the variable under the index; a bad index leaves the
// variable on the stack.
void OxinVM::elem(int create) {
    int index = stack_->PopI();
    if (fatal_) return;
    if (index <= 0) {
        RuntimeError(kTagExpression, String("Array index must be positive integer"));
        return;
    }
    Variable* variable;
    int deletable;
    if (!stack_->PopV(&variable, &deletable)) return;
    Variable* element = variable->Element(AggregateIndex(index), create);
    stack_->PushV(element ? element : null_variable_, 1, 1);
    if (deletable) variable->DecRefCount();
}

void OxinVM::memb(int create) {
    PoppedText name = stack_->PopText();
    Variable* variable;
    int deletable;
    if (!fatal_ && stack_->PopV(&variable, &deletable)) {
        Variable* member = variable->Element(AggregateIndex(name.text(), name.length()), create);
        stack_->PushV(member ? member : null_variable_, 1, 1);
        if (deletable) variable->DecRefCount();
    }
}

void OxinVM::System_Vars(VariableList* list) {
    system_->AllocatedVars(list);
}

void OxinVM::Global_Vars(VariableList* list) {
    global_->AllocatedVars(list);
}

void OxinVM::Local_Vars(VariableList* list) {
    frame_->locals()->AllocatedVars(list);
}
