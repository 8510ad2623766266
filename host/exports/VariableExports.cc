// The variable family of the exported interface.

#include <strings.h>

#include <cstring>

#include "base/TextConversion.h"
#include "extensions/oxin_extension.h"
#include "variables/AggregateIndex.h"
#include "variables/UserVariableHash.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

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

Variable* oxVariable_Allocate_Copy(Variable* variable) {
    return new Variable(*variable);
}

Variable* oxVariable_NextIdentity(Variable* variable) {
    return variable->NextIdentity();
}

Variable* oxVariable_RealIdentity(Variable* variable) {
    return variable->RealIdentity();
}

void oxVariable_Make_Reference(Variable* variable, Variable* target) {
    variable->Make_Reference(target);
}

int oxVariable_SetValue_Variable(Variable* variable, Variable* source) {
    return variable->SetValue(*source);
}

int oxVariable_Aggregate_Type(Variable* variable) {
    switch (variable->aggregatetype()) {
        case AggregateArray:
            return 1;
        case AggregateStructure:
            return 2;
        case AggregateNone:
            return 0;
        default:
            return -1;
    }
}

int oxVariable_Set_Array_Element(Variable* variable, int index, Variable* element) {
    return variable->SetElement(AggregateIndex(index), element);
}

Variable* oxVariable_Array_Element(Variable* variable, int index, int create) {
    return variable->Element(AggregateIndex(index), create ? 1 : 0);
}

int oxVariable_Set_Struct_Member(Variable* variable, const char* name, int length,
                                 Variable* member) {
    return variable->SetElement(AggregateIndex(name, measured(name, length)), member);
}

Variable* oxVariable_Struct_Member(Variable* variable, const char* name, int length, int create) {
    return variable->Element(AggregateIndex(name, measured(name, length)), create ? 1 : 0);
}

int oxVariable_Delete_Struct_Member(Variable* variable, const char* name, int length) {
    return variable->DeleteElement(AggregateIndex(name, measured(name, length)), false);
}

int oxVariable_Array_Max(Variable* variable) {
    return variable->Max();
}

int oxVariable_Array_Min(Variable* variable) {
    return variable->Min();
}

int oxVariable_ElementsUsed(Variable* variable) {
    return variable->ElementsUsed();
}

char* oxVariable_Value_NS(Variable* variable, int* length) {
    String& value = variable->value();
    int size;
    return TextConversion::StripNULLs(value.c_str(), value.length(), length, &size);
}

int oxVariable_SetValue_Nocopy(Variable* variable, char* buffer, int length, int size) {
    return variable->SetValue_Nocopy(buffer, length, size);
}

int oxVariable_Insert_Array_Element(Variable* variable, int position, Variable* element) {
    return variable->InsertElement(position, element);
}

int oxVariable_Delete_Array_Elements(Variable* variable, int start, int count, int collapse) {
    return variable->DeleteElements(start, count, collapse != 0);
}

int oxVariable_Array_Merge(Variable* variable, Variable* source, int start, int count, int dest,
                           int copy) {
    return variable->MergeElements(source, start, count, dest, copy != 0);
}

int oxVariable_Array_Copy(Variable* variable, Variable* source, int start, int count, int dest,
                          int copy) {
    return variable->CopyElements(source, start, count, dest, copy != 0);
}

int oxVariable_Array_Next(Variable* variable, int index) {
    return variable->Next(index);
}

int oxVariable_Array_Previous(Variable* variable, int index) {
    return variable->Previous(index);
}

int oxVariable_Array_Collapse(Variable* variable) {
    return variable->CollapseElements();
}

VariableList* oxVariableList_Allocate(void) {
    return new VariableList;
}

Variable* oxVariableList_First(VariableList* list) {
    return list->First();
}

Variable* oxVariableList_Current(VariableList* list) {
    return list->Current();
}

Variable* oxVariableList_Next(VariableList* list) {
    return list->Next();
}

int oxVariableList_Entries(VariableList* list) {
    return list->Entries();
}

Variable* oxVariableList_Find(VariableList* list, const char* name, int length) {
    length = measured(name, length);
    for (Variable* variable = list->First(); variable; variable = list->Next()) {
        const String& own = variable->name();
        if (own.length() == length && strncasecmp(own.c_str(), name, length) == 0) return variable;
    }
    return nullptr;
}

Variable* oxVariableList_SetVariable(VariableList* list, const char* name, int name_length,
                                     const char* value, int value_length) {
    if (Variable* found = oxVariableList_Find(list, name, name_length)) return found;
    Variable* made = oxVariable_Allocate(name, name_length, value, value_length);
    list->Insert(made, ListTail, 0);
    return made;
}

void oxVariableList_Insert(VariableList* list, Variable* variable) {
    list->Insert(variable, ListTail);
}

void oxVariableList_Dump(VariableList* list) {
    list->Dump();
}

void oxVariableList_Free(VariableList* list) {
    list->Destroy();
}

VariableHash* oxVariableHash_Allocate(void) {
    return new UserVariableHash();
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

extern "C" {

int oxVariableHash_Insert(VariableHash* hash, Variable* variable) {
    variable->IncRefCount();  // the hash takes a count of its own
    return hash->Insert(variable);
}

int oxVariableHash_SetVariable(VariableHash* hash, const char* name, int name_length,
                               const char* value, int value_length) {
    return hash->SetVariable(name, measured(name, name_length), value ? value : "",
                             measured(value, value_length));
}

int oxVariableHash_ReplaceVariable(VariableHash* hash, Variable* variable) {
    variable->IncRefCount();
    return hash->SetVariable(variable);
}

void oxVariableHash_Dump(VariableHash* hash) {
    hash->Dump();
}

void oxVariableHash_Free(VariableHash* hash) {
    delete hash;
}

}  // extern "C"
