/* A function library for the tests, built against nothing but the
 * interface header: Join(a, b) gives a and b joined; Bump(var n) adds one
 * to the caller's variable; Calls() counts its calls in its data word,
 * which it frees when the engine says so. */
#include <stdlib.h>
#include <string.h>

#include "extensions/oxin_extension.h"

static void join(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)vm;
    (void)data;
    int a_length, b_length;
    const char* a = oxVariable_Value(oxVariableHash_Find(parameters, "a", 1), &a_length);
    const char* b = oxVariable_Value(oxVariableHash_Find(parameters, "b", 1), &b_length);
    char* joined = malloc((size_t)a_length + (size_t)b_length + 1);
    memcpy(joined, a, (size_t)a_length);
    memcpy(joined + a_length, b, (size_t)b_length);
    oxVariable_SetValue(result, joined, a_length + b_length);
    free(joined);
}

static void bump(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)vm;
    (void)result;
    (void)data;
    Variable* n = oxVariableHash_Find(parameters, "n", 1);
    oxVariable_SetValue_Integer(n, oxVariable_Value_Integer(n) + 1);
}

static void calls(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)parameters;
    if (!vm) { /* the last call: free the word */
        free(*data);
        *data = 0;
        return;
    }
    if (!*data) *data = calloc(1, sizeof(int));
    int* count = *data;
    oxVariable_SetValue_Integer(result, ++*count);
}

static const _OX_EL_Parameter join_parameters[] = {{"a", 1, 0}, {"b", 1, 0}};
static const _OX_EL_Parameter bump_parameters[] = {{"n", 1, 1}};
static const _OX_EL_Function functions[] = {
    {"Join", 4, 2, join_parameters, join},
    {"Bump", 4, 1, bump_parameters, bump},
    {"Calls", 5, 0, 0, calls},
    {0, 0, 0, 0, 0},
};
static const OxFunctionTable table = {0, functions};

__attribute__((visibility("default"))) const OxFunctionTable* oxin_function_table(void) {
    return &table;
}
