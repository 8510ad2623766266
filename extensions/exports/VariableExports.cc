// The variable family of the exported interface.

#include <cstring>

#include "extensions/oxin_extension.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"

namespace {

int measured(const char* text, int length) {
    return length >= 0 ? length : text ? static_cast<int>(strlen(text)) : 0;
}

}  // namespace

extern "C" {

Variable* oxVariable_Allocate(const char* name, int name_length, const char* value,
                              int value_length) {
    return new Variable(name ? name : "", measured(name, name_length), value ? value : "",
                        measured(value, value_length));
}

void oxVariable_Free(Variable* variable) {
    if (variable) variable->DecRefCount();
}

const char* oxVariable_Name(Variable* variable, int* length) {
    const String& name = variable->name();
    if (length) *length = name.length();
    return name.c_str();
}

const char* oxVariable_Value(Variable* variable, int* length) {
    String& value = variable->value();
    if (length) *length = value.length();
    return value.c_str();
}

int oxVariable_Value_Integer(Variable* variable) {
    return variable->value_integer();
}

double oxVariable_Value_Double(Variable* variable) {
    return variable->value_double();
}

int oxVariable_SetValue(Variable* variable, const char* value, int length) {
    return variable->SetValue(value ? value : "", measured(value, length));
}

int oxVariable_SetValue_Integer(Variable* variable, int value) {
    return variable->SetValue_Integer(value);
}

int oxVariable_SetValue_Double(Variable* variable, double value) {
    return variable->SetValue_Double(value);
}

int oxVariable_Type(Variable* variable) {
    switch (variable->aggregatetype()) {
        case AggregateArray:
            return 5;
        case AggregateStructure:
            return 4;
        default:
            break;
    }
    switch (variable->primary_type()) {
        case PrimaryInteger:
            return 1;
        case PrimaryDouble:
            return 2;
        case PrimaryString:
            return 3;
        default:
            return 0;
    }
}

int oxVariableHash_Entries(VariableHash* hash) {
    return hash->Entries();
}

Variable* oxVariableHash_Index(VariableHash* hash, int n) {
    return hash->Index(n, 1);
}

Variable* oxVariableHash_Find(VariableHash* hash, const char* name, int length) {
    Variable* variable = nullptr;
    hash->Find(&variable, name, measured(name, length), 1);
    return variable;
}

}  // extern "C"
