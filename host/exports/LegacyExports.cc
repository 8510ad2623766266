// The older oxin_ family of the exported interface, kept for libraries
// written against it: terminated strings instead of lengths.

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/TextConversion.h"
#include "extensions/oxin_extension.h"
#include "variables/AggregateIndex.h"
#include "variables/UserVariableHash.h"
#include "variables/Variable.h"
#include "variables/VariableList.h"

extern "C" {

void* oxin_alloc(size_t size) {
    return malloc(size);
}

void* oxin_realloc(void* pointer, size_t size) {
    return realloc(pointer, size);
}

void oxin_free(void* pointer) {
    free(pointer);
}

const char* oxin_variable_name(Variable* variable) {
    if (!variable) return nullptr;
    return variable->name().c_str();
}

const char* oxin_variable_value(Variable* variable) {
    return variable ? variable->value().c_str() : "";
}

int oxin_variable_setvalue(Variable* variable, const char* value) {
    if (!variable) return 0;
    return variable->SetValue(value ? value : "", value ? static_cast<int>(strlen(value)) : 0);
}

Variable* oxin_variable_new(const char* name, const char* value) {
    return oxVariable_Allocate(name, -1, value, -1);
}

void oxin_variable_delete(Variable* variable) {
    if (!variable) return;
    oxVariable_Free(variable);
}

Variable* oxin_variable_array_element(Variable* variable, int index) {
    if (!variable) return nullptr;
    return variable->Element(AggregateIndex(index), 0);
}

Variable* oxin_variable_structure_member(Variable* variable, const char* name) {
    if (!variable) return nullptr;
    return variable->Element(AggregateIndex(name, -1), 0);
}

int oxin_variable_set_array_element_value(Variable* variable, int index, const char* value) {
    if (!variable) return 0;
    return oxin_variable_setvalue(variable->Element(AggregateIndex(index), 1), value);
}

int oxin_variable_set_structure_member_value(Variable* variable, const char* name,
                                             const char* value) {
    if (!variable) return 0;
    return oxin_variable_setvalue(variable->Element(AggregateIndex(name, -1), 1), value);
}

int oxin_variable_array_elements(Variable* variable) {
    if (!variable) return 0;
    return variable->ElementsUsed();
}

int oxin_variable_array_min(Variable* variable) {
    if (!variable) return 0;
    return variable->Min();
}

int oxin_variable_array_max(Variable* variable) {
    if (!variable) return 0;
    return variable->Max();
}

int oxin_variable_aggregate_type(Variable* variable) {
    if (!variable) return 0;
    int type = oxVariable_Aggregate_Type(variable);
    return type < 0 ? 0 : type;
}

// The elements themselves, each named by its index.
VariableList* oxin_variable_aggregate_list(Variable* variable) {
    if (!variable) return nullptr;
    auto* list = new VariableList;
    AggregateElementTree* tree =
        variable->aggregatetype() == AggregateNone ? nullptr : variable->aggregateelements();
    if (!tree) return list;
    for (int index = variable->Min(); index >= 0 && index <= variable->Max(); index++) {
        Variable* element = variable->Element(AggregateIndex(index), 0);
        if (!element) continue;
        element->SetName(String(std::to_string(index).c_str()));
        list->Insert(element, ListTail);
    }
    return list;
}

VariableList* oxin_variablelist_new(void) {
    return oxVariableList_Allocate();
}

Variable* oxin_variablelist_first(VariableList* list) {
    if (!list) return nullptr;
    return list->First();
}

Variable* oxin_variablelist_current(VariableList* list) {
    if (!list) return nullptr;
    return list->Current();
}

Variable* oxin_variablelist_next(VariableList* list) {
    if (!list) return nullptr;
    return list->Next();
}

Variable* oxin_variablelist_find(VariableList* list, const char* name) {
    if (!list) return nullptr;
    return oxVariableList_Find(list, name, -1);
}

// Unlike the newer family, an existing variable takes the value.
Variable* oxin_variablelist_setvariable(VariableList* list, const char* name, const char* value) {
    if (!list) return nullptr;
    Variable* variable = oxVariableList_Find(list, name, -1);
    if (!variable) return oxVariableList_SetVariable(list, name, -1, value, -1);
    oxin_variable_setvalue(variable, value);
    return variable;
}

void oxin_variablelist_dump(VariableList* list) {
    if (!list) return;
    list->Dump();
}

// url, "?" (or "+" behind a query that does not end in "?" or "+"), then
// name=value pairs, attribute-encoded, joined by "&". From malloc.
char* oxin_variablelist_to_url(const char* url, VariableList* list) {
    std::string text = url ? url : "";
    size_t question = text.find('?');
    if (question == std::string::npos) {
        text += '?';
    } else if (!text.empty() && text.back() != '?' && text.back() != '+') {
        text += '+';
    }
    bool first = true;
    for (Variable* variable = list->First(); variable; variable = list->Next()) {
        int length, size;
        const String& name = variable->name();
        char* encoded =
            TextConversion::EncodeAttribute(name.c_str(), name.length(), &length, &size);
        if (!first) text += '&';
        text.append(encoded, length);
        delete[] encoded;
        text += '=';
        String& value = variable->value();
        encoded = TextConversion::EncodeAttribute(value.c_str(), value.length(), &length, &size);
        text.append(encoded, length);
        delete[] encoded;
        first = false;
    }
    char* result = static_cast<char*>(malloc(text.size() + 1));
    memcpy(result, text.c_str(), text.size() + 1);
    return result;
}

void oxin_variablelist_delete(VariableList* list) {
    if (!list) return;
    oxVariableList_Free(list);
}

VariableHash* oxin_variabletree_new(void) {
    return oxVariableHash_Allocate();
}

Variable* oxin_variabletree_find(VariableHash* tree, const char* name) {
    if (!tree) return nullptr;
    return oxVariableHash_Find(tree, name, -1);
}

int oxin_variabletree_setvariable(VariableHash* tree, const char* name, const char* value) {
    if (!tree) return 0;
    return oxVariableHash_SetVariable(tree, name, -1, value, -1);
}

int oxin_variabletree_insert(VariableHash* tree, Variable* variable) {
    if (!tree) return 0;
    return oxVariableHash_Insert(tree, variable);
}

void oxin_variabletree_dump(VariableHash* tree) {
    if (!tree) return;
    oxVariableHash_Dump(tree);
}

void oxin_variabletree_delete(VariableHash* tree) {
    if (!tree) return;
    oxVariableHash_Free(tree);
}

}  // extern "C"
