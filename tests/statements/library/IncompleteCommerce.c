/* Commerce libraries that the engine must refuse, built twice: with
 * NULL_ENTRIES, a descriptor table whose loop and error entries are null;
 * without, the exported entry points but for oxin_commerce_error. Their
 * init marks the statement's "reached" field, which must never happen. */
#include "extensions/oxin_extension.h"

#define EXPORTED __attribute__((visibility("default")))

static int reached(OxinVM* vm, void** data, const char* method, const char* action,
                   VariableList* fields, VariableHash* variables) {
    (void)vm, (void)data, (void)method, (void)action, (void)variables;
    Variable* field = oxVariableList_Find(fields, "reached", -1);
    if (field) oxVariable_SetValue(field, "yes", -1);
    return 0;
}

static int nothing(OxinVM* vm, void** data, const char* method, const char* action,
                   VariableList* fields) {
    (void)vm, (void)data, (void)method, (void)action, (void)fields;
    return 0;
}

#ifdef NULL_ENTRIES
static const OxCommerceLibrary table = {0, reached, 0, nothing, 0};

EXPORTED const OxCommerceLibrary* oxin_commerce_library(void) {
    return &table;
}
#else
EXPORTED int oxin_commerce_init(OxinVM* vm, void** data, const char* method, const char* action,
                                VariableList* fields, VariableHash* variables) {
    return reached(vm, data, method, action, fields, variables);
}

EXPORTED int oxin_commerce_loop(OxinVM* vm, void** data, const char* method, const char* action,
                                VariableList* fields, VariableHash* variables, int index) {
    (void)variables, (void)index;
    return nothing(vm, data, method, action, fields);
}

EXPORTED int oxin_commerce_cleanup(OxinVM* vm, void** data, const char* method, const char* action,
                                   VariableList* fields) {
    return nothing(vm, data, method, action, fields);
}
#endif
