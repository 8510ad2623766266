// The variable family of the exported interface.

#include <strings.h>

#include <cstring>
#include <string>

#include "base/TextConversion.h"
#include "extensions/oxin_extension.h"
#include "variables/AggregateElement.h"
#include "variables/AggregateElementTree.h"
#include "variables/AggregateIndex.h"
#include "variables/UserVariableHash.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/ReferenceVariable.h"
#include "variables/VariableList.h"

namespace {

int measured(const char* text, int length) {
    return length >= 0 ? length : text ? static_cast<int>(strlen(text)) : 0;
}

}  // namespace

extern "C" {

Variable* oxVariable_Allocate(const char* name, int name_length, const char* value,
                              int value_length) {
    // Without a value the variable stays null, of type 0.
    if (!value) return new Variable(name ? name : "", measured(name, name_length));
    return new Variable(name ? name : "", measured(name, name_length), value,
                        measured(value, value_length));
}

void oxVariable_Free(Variable* variable) {
    if (!variable) return;
    if (variable) variable->DecRefCount();
}

const char* oxVariable_Name(Variable* variable, int* length) {
    if (!variable) return nullptr;
    const String& name = variable->name();
    if (length) *length = name.length();
    return name.c_str();
}

const char* oxVariable_Value(Variable* variable, int* length) {
    if (!variable) return nullptr;
    String& value = variable->value();
    if (length) *length = value.length();
    return value.c_str();
}

int oxVariable_Value_Integer(Variable* variable) {
    if (!variable) return 0;
    return variable->value_integer();
}

double oxVariable_Value_Double(Variable* variable) {
    if (!variable) return 0;
    return variable->value_double();
}

int oxVariable_SetValue(Variable* variable, const char* value, int length) {
    if (!variable) return 0;
    return variable->SetValue(value ? value : "", measured(value, length));
}

int oxVariable_SetValue_Integer(Variable* variable, int value) {
    if (!variable) return 0;
    return variable->SetValue_Integer(value);
}

int oxVariable_SetValue_Double(Variable* variable, double value) {
    if (!variable) return 0;
    return variable->SetValue_Double(value);
}

int oxVariable_Type(Variable* variable) {
    if (!variable) return 0;
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
    if (!variable) return nullptr;
    return new Variable(*variable);
}

Variable* oxVariable_NextIdentity(Variable* variable) {
    if (!variable) return nullptr;
    return variable->NextIdentity();
}

Variable* oxVariable_RealIdentity(Variable* variable) {
    if (!variable) return nullptr;
    return variable->RealIdentity();
}

void oxVariable_Make_Reference(Variable* variable, Variable* target) {
    if (!variable) return;
    variable->Make_Reference(target);
}

int oxVariable_SetValue_Variable(Variable* variable, Variable* source) {
    if (!variable) return 0;
    return variable->SetValue(*source);
}

int oxVariable_Aggregate_Type(Variable* variable) {
    if (!variable) return 0;
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
    if (!variable) return 0;
    return variable->SetElement(AggregateIndex(index), element);
}

Variable* oxVariable_Array_Element(Variable* variable, int index, int create) {
    if (!variable) return nullptr;
    return variable->Element(AggregateIndex(index), create ? 1 : 0);
}

int oxVariable_Set_Struct_Member(Variable* variable, const char* name, int length,
                                 Variable* member) {
    if (!variable) return 0;
    return variable->SetElement(AggregateIndex(name, measured(name, length)), member);
}

Variable* oxVariable_Struct_Member(Variable* variable, const char* name, int length, int create) {
    if (!variable) return nullptr;
    return variable->Element(AggregateIndex(name, measured(name, length)), create ? 1 : 0);
}

int oxVariable_Delete_Struct_Member(Variable* variable, const char* name, int length) {
    if (!variable) return 0;
    return variable->DeleteElement(AggregateIndex(name, measured(name, length)), false);
}

int oxVariable_Array_Max(Variable* variable) {
    if (!variable) return 0;
    return variable->Max();
}

int oxVariable_Array_Min(Variable* variable) {
    if (!variable) return 0;
    return variable->Min();
}

int oxVariable_ElementsUsed(Variable* variable) {
    if (!variable) return 0;
    return variable->ElementsUsed();
}

char* oxVariable_Value_NS(Variable* variable, int* length) {
    if (!variable) return nullptr;
    String& value = variable->value();
    int size;
    return TextConversion::StripNULLs(value.c_str(), value.length(), length, &size);
}

int oxVariable_SetValue_Nocopy(Variable* variable, char* buffer, int length, int size) {
    if (!variable) return 0;
    return variable->SetValue_Nocopy(buffer, length, size);
}

int oxVariable_Insert_Array_Element(Variable* variable, int position, Variable* element) {
    if (!variable) return 0;
    return variable->InsertElement(position, element);
}

int oxVariable_Delete_Array_Elements(Variable* variable, int start, int count, int collapse) {
    if (!variable) return 0;
    return variable->DeleteElements(start, count, collapse != 0);
}

int oxVariable_Array_Merge(Variable* variable, Variable* source, int start, int count, int dest,
                           int copy) {
    if (!variable) return 0;
    return variable->MergeElements(source, start, count, dest, copy != 0);
}

int oxVariable_Array_Copy(Variable* variable, Variable* source, int start, int count, int dest,
                          int copy) {
    if (!variable) return 0;
    return variable->CopyElements(source, start, count, dest, copy != 0);
}

int oxVariable_Array_Next(Variable* variable, int index) {
    if (!variable) return 0;
    return variable->Next(index);
}

int oxVariable_Array_Previous(Variable* variable, int index) {
    if (!variable) return 0;
    return variable->Previous(index);
}

int oxVariable_Array_Collapse(Variable* variable) {
    if (!variable) return 0;
    return variable->CollapseElements();
}

VariableList* oxVariableList_Allocate(void) {
    return new VariableList;
}

Variable* oxVariableList_First(VariableList* list) {
    if (!list) return nullptr;
    return list->First();
}

Variable* oxVariableList_Current(VariableList* list) {
    if (!list) return nullptr;
    return list->Current();
}

Variable* oxVariableList_Next(VariableList* list) {
    if (!list) return nullptr;
    return list->Next();
}

int oxVariableList_Entries(VariableList* list) {
    if (!list) return 0;
    return list->Entries();
}

Variable* oxVariableList_Find(VariableList* list, const char* name, int length) {
    if (!list) return nullptr;
    length = measured(name, length);
    for (Variable* variable = list->First(); variable; variable = list->Next()) {
        const String& own = variable->name();
        if (own.length() == length && strncasecmp(own.c_str(), name, length) == 0) return variable;
    }
    return nullptr;
}

Variable* oxVariableList_SetVariable(VariableList* list, const char* name, int name_length,
                                     const char* value, int value_length) {
    if (!list) return nullptr;
    if (Variable* found = oxVariableList_Find(list, name, name_length)) return found;
    Variable* made = oxVariable_Allocate(name, name_length, value, value_length);
    list->Insert(made, ListTail, 0);
    return made;
}

void oxVariableList_Insert(VariableList* list, Variable* variable) {
    if (!list) return;
    list->Insert(variable, ListTail);
}

void oxVariableList_Dump(VariableList* list) {
    if (!list) return;
    list->Dump();
}

void oxVariableList_Free(VariableList* list) {
    if (!list) return;
    list->Destroy();
}

VariableHash* oxVariableHash_Allocate(void) {
    return new UserVariableHash();
}

int oxVariableHash_Entries(VariableHash* hash) {
    if (!hash) return 0;
    return hash->Entries();
}

Variable* oxVariableHash_Index(VariableHash* hash, int n) {
    if (!hash) return nullptr;
    return hash->Index(n, 1);
}

Variable* oxVariableHash_Find(VariableHash* hash, const char* name, int length) {
    if (!hash) return nullptr;
    Variable* variable = nullptr;
    hash->Find(&variable, name, measured(name, length), 1);
    return variable;
}

}  // extern "C"

extern "C" {

int oxVariableHash_Insert(VariableHash* hash, Variable* variable) {
    if (!hash) return 0;
    variable->IncRefCount();  // the hash takes a count of its own
    return hash->Insert(variable);
}

int oxVariableHash_SetVariable(VariableHash* hash, const char* name, int name_length,
                               const char* value, int value_length) {
    if (!hash) return 0;
    return hash->SetVariable(name, measured(name, name_length), value ? value : "",
                             measured(value, value_length));
}

int oxVariableHash_ReplaceVariable(VariableHash* hash, Variable* variable) {
    if (!hash) return 0;
    variable->IncRefCount();
    return hash->SetVariable(variable);
}

void oxVariableHash_Dump(VariableHash* hash) {
    if (!hash) return;
    hash->Dump();
}

void oxVariableHash_Free(VariableHash* hash) {
    if (!hash) return;
    delete hash;
}

}  // extern "C"

extern "C" {

int oxVariable_Aggregate_List(Variable* variable, VariableList* list) {
    if (!variable || !list) return -1;
    list->Dump();
    if (variable->aggregatetype() == AggregateNone) return 0;
    AggregateElementTree* elements = variable->aggregateelements();
    if (!elements) return 0;
    elements->InOrder([list](AggregateElement* element) {
        const AggregateIndex& index = element->index();
        String name = index.IsArray() ? String(std::to_string(index.index()).c_str())
                                      : String(index.name());
        list->Insert(new ReferenceVariable(name, element->var()), ListTail, 0);
    });
    return list->Entries();
}

}  // extern "C"
