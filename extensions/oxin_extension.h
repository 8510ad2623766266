/* The binary interface between the engine and the shared libraries that it
 * loads: configuration libraries, function libraries and, later, database
 * and commerce libraries. Plain C, so that a library needs nothing but this
 * header. Engine objects pass as opaque pointers; the engine exports the
 * functions declared here from its executable. Strings are a pointer and an
 * int length (-1: measure up to the NUL); every int result 0 is success. */
#ifndef OXIN_EXTENSION_H
#define OXIN_EXTENSION_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
class ExternalConfig;
class File;
class OxinVM;
class Variable;
class VariableHash;
class VariableList;
extern "C" {
#else
typedef struct ExternalConfig ExternalConfig;
typedef struct File File;
typedef struct OxinVM OxinVM;
typedef struct Variable Variable;
typedef struct VariableHash VariableHash;
typedef struct VariableList VariableList;
#endif

/* What oxin_config_library() returns: eight machine words. Any entry but
 * the version may be null. */
typedef struct OxConfigLibrary {
    intptr_t version; /* 2; a version 1 table may not have load_v1 */
    int (*init)(ExternalConfig* config, void** data, int flags, void* argv, int argc);
    void* load_v1;
    int (*get_integer)(ExternalConfig* config, void** data, int id, int* value);
    int (*get_string)(ExternalConfig* config, void** data, int id, const char** value, int* length,
                      int* owned);
    const char* (*error)(ExternalConfig* config, void** data);
    void (*cleanup)(ExternalConfig* config, void** data);
    int (*load)(ExternalConfig* config, void** data, const char* path, File* file);
} OxConfigLibrary;

/* One parameter of a library function; flags bit 0: by reference. */
typedef struct _OX_EL_Parameter {
    const char* name;
    intptr_t name_length;
    intptr_t flags;
} _OX_EL_Parameter;

/* The entry point of a library function. It is called a last time with
 * null vm, parameters and return_value when *data is not 0, to free it. */
typedef void (*OxExternalFunction)(OxinVM* vm, VariableHash* parameters, Variable* return_value,
                                   void** data);

/* One function of a library; an array of them ends with a null name. */
typedef struct _OX_EL_Function {
    const char* name;
    intptr_t name_length;
    intptr_t parameter_count;
    const _OX_EL_Parameter* parameters;
    OxExternalFunction function;
} _OX_EL_Function;

/* What oxin_function_table() returns: word 1 is the function array. */
typedef struct OxFunctionTable {
    void* reserved;
    const _OX_EL_Function* functions;
} OxFunctionTable;

/* Configuration, for configuration libraries. SetValue copies the string
 * (and frees it with free() when owned is 1); both setters give 1 for an id
 * of the other type. */
int oxConfig_SetValue(ExternalConfig* config, int id, const char* value, int length, int owned);
int oxConfig_SetValue_Integer(ExternalConfig* config, int id, int value);
int oxConfig_Register_Library_Commerce(ExternalConfig* config, const char* name, const char* path);
int oxConfig_Register_Library_Database(ExternalConfig* config, const char* name, const char* path);
int oxConfig_Register_Library_Builtin(ExternalConfig* config, const char* path);
int oxConfig_Register_Library_System(ExternalConfig* config, const char* name, const char* path);
int oxConfig_SetVariable_Global(ExternalConfig* config, const char* name, int name_length,
                                const char* value, int value_length);
int oxConfig_SetVariable_System(ExternalConfig* config, const char* name, int name_length,
                                const char* value, int value_length);
int oxConfig_Set_DefaultErrorSetting(ExternalConfig* config, const char* tag, int tag_length,
                                     int flags);

/* Variables, for function libraries. Type codes: 0 null, 1 integer, 2
 * double, 3 string, 4 structure, 5 array. A variable made with Allocate is
 * released with Free. */
Variable* oxVariable_Allocate(const char* name, int name_length, const char* value,
                              int value_length);
void oxVariable_Free(Variable* variable);
const char* oxVariable_Name(Variable* variable, int* length);
const char* oxVariable_Value(Variable* variable, int* length);
int oxVariable_Value_Integer(Variable* variable);
double oxVariable_Value_Double(Variable* variable);
int oxVariable_SetValue(Variable* variable, const char* value, int length);
int oxVariable_SetValue_Integer(Variable* variable, int value);
int oxVariable_SetValue_Double(Variable* variable, double value);
int oxVariable_Type(Variable* variable);

Variable* oxVariable_Allocate_Copy(Variable* variable);
Variable* oxVariable_NextIdentity(Variable* variable);
Variable* oxVariable_RealIdentity(Variable* variable);
void oxVariable_Make_Reference(Variable* variable, Variable* target);
int oxVariable_SetValue_Variable(Variable* variable, Variable* source);
/* Aggregates: 0 scalar, 1 array, 2 structure. Elements come back live,
 * made when create is 1; null when absent. */
int oxVariable_Aggregate_Type(Variable* variable);
int oxVariable_Set_Array_Element(Variable* variable, int index, Variable* element);
Variable* oxVariable_Array_Element(Variable* variable, int index, int create);
int oxVariable_Set_Struct_Member(Variable* variable, const char* name, int length,
                                 Variable* member);
Variable* oxVariable_Struct_Member(Variable* variable, const char* name, int length, int create);
int oxVariable_Delete_Struct_Member(Variable* variable, const char* name, int length);
int oxVariable_Array_Max(Variable* variable);
int oxVariable_Array_Min(Variable* variable);
int oxVariable_ElementsUsed(Variable* variable);
/* A new text without NUL bytes, from the engine's allocator. */
char* oxVariable_Value_NS(Variable* variable, int* length);
/* Takes buffer (from the engine's allocator) as the value. */
int oxVariable_SetValue_Nocopy(Variable* variable, char* buffer, int length, int size);
int oxVariable_Insert_Array_Element(Variable* variable, int position, Variable* element);
int oxVariable_Delete_Array_Elements(Variable* variable, int start, int count, int collapse);
int oxVariable_Array_Merge(Variable* variable, Variable* source, int start, int count, int dest,
                           int copy);
int oxVariable_Array_Copy(Variable* variable, Variable* source, int start, int count, int dest,
                          int copy);
int oxVariable_Array_Next(Variable* variable, int index);
int oxVariable_Array_Previous(Variable* variable, int index);
int oxVariable_Array_Collapse(Variable* variable);

/* Lists of variables; a list holds a count on each member. */
VariableList* oxVariableList_Allocate(void);
Variable* oxVariableList_First(VariableList* list);
Variable* oxVariableList_Current(VariableList* list);
Variable* oxVariableList_Next(VariableList* list);
int oxVariableList_Entries(VariableList* list);
/* Linear, without regard to case; null when absent. */
Variable* oxVariableList_Find(VariableList* list, const char* name, int length);
/* The variable of the name, unchanged, or a new one with the value. */
Variable* oxVariableList_SetVariable(VariableList* list, const char* name, int name_length,
                                     const char* value, int value_length);
void oxVariableList_Insert(VariableList* list, Variable* variable);
void oxVariableList_Dump(VariableList* list);
void oxVariableList_Free(VariableList* list);

/* Variable scopes, such as the parameters of a call: entries by number,
 * variables by name (made when missing, null for a bad name). */
VariableHash* oxVariableHash_Allocate(void);
int oxVariableHash_Entries(VariableHash* hash);
Variable* oxVariableHash_Index(VariableHash* hash, int n);
Variable* oxVariableHash_Find(VariableHash* hash, const char* name, int length);
/* The hash takes a count of its own; the caller keeps its own. */
int oxVariableHash_Insert(VariableHash* hash, Variable* variable);
int oxVariableHash_SetVariable(VariableHash* hash, const char* name, int name_length,
                               const char* value, int value_length);
/* Puts variable (the hash takes a count) in place of the one of its name. */
int oxVariableHash_ReplaceVariable(VariableHash* hash, Variable* variable);
void oxVariableHash_Dump(VariableHash* hash);
void oxVariableHash_Free(VariableHash* hash);

/* The older family, with terminated strings. The URL of to_url comes from
 * malloc; free it with oxin_free. */
void* oxin_alloc(size_t size);
void* oxin_realloc(void* pointer, size_t size);
void oxin_free(void* pointer);
const char* oxin_variable_name(Variable* variable);
const char* oxin_variable_value(Variable* variable);
int oxin_variable_setvalue(Variable* variable, const char* value);
Variable* oxin_variable_new(const char* name, const char* value);
void oxin_variable_delete(Variable* variable);
Variable* oxin_variable_array_element(Variable* variable, int index);
Variable* oxin_variable_structure_member(Variable* variable, const char* name);
int oxin_variable_set_array_element_value(Variable* variable, int index, const char* value);
int oxin_variable_set_structure_member_value(Variable* variable, const char* name,
                                             const char* value);
int oxin_variable_array_elements(Variable* variable);
int oxin_variable_array_min(Variable* variable);
int oxin_variable_array_max(Variable* variable);
int oxin_variable_aggregate_type(Variable* variable);
VariableList* oxin_variable_aggregate_list(Variable* variable);
VariableList* oxin_variablelist_new(void);
Variable* oxin_variablelist_first(VariableList* list);
Variable* oxin_variablelist_current(VariableList* list);
Variable* oxin_variablelist_next(VariableList* list);
Variable* oxin_variablelist_find(VariableList* list, const char* name);
Variable* oxin_variablelist_setvariable(VariableList* list, const char* name, const char* value);
void oxin_variablelist_dump(VariableList* list);
char* oxin_variablelist_to_url(const char* url, VariableList* list);
void oxin_variablelist_delete(VariableList* list);
VariableHash* oxin_variabletree_new(void);
Variable* oxin_variabletree_find(VariableHash* tree, const char* name);
int oxin_variabletree_setvariable(VariableHash* tree, const char* name, const char* value);
int oxin_variabletree_insert(VariableHash* tree, Variable* variable);
void oxin_variabletree_dump(VariableHash* tree);
void oxin_variabletree_delete(VariableHash* tree);

/* Commerce and system libraries */

/* The entry points of a commerce library, which drives the loop of an
 * OxCOMMERCE statement. method and action are the statement's; fields are
 * references to the script's variables that the statement names;
 * variables are the script's system variables; *data is the library's own
 * word for the statement's life. init gives 0 to go on, anything else for
 * an error whose text error() gives. loop is called before each pass of
 * the script's body, index counting from 0: 0 runs the body, 1 ends the
 * loop with an error, anything else ends it. cleanup runs once at the end
 * (its result is ignored); error gives the text of the last failure. */
typedef int (*OxCommerceInit)(OxinVM* vm, void** data, const char* method, const char* action,
                              VariableList* fields, VariableHash* variables);
typedef int (*OxCommerceLoop)(OxinVM* vm, void** data, const char* method, const char* action,
                              VariableList* fields, VariableHash* variables, int index);
typedef int (*OxCommerceCleanup)(OxinVM* vm, void** data, const char* method, const char* action,
                                 VariableList* fields);
typedef const char* (*OxCommerceError)(OxinVM* vm, void** data, const char* method,
                                       const char* action, VariableList* fields);

/* What oxin_commerce_library() returns: word 0 is not read, words 1 to 4
 * are the entry points, none of them null. A library may instead export
 * oxin_commerce_init, oxin_commerce_loop, oxin_commerce_cleanup and
 * oxin_commerce_error. */
typedef struct OxCommerceLibrary {
    void* reserved;
    OxCommerceInit init;
    OxCommerceLoop loop;
    OxCommerceCleanup cleanup;
    OxCommerceError error;
} OxCommerceLibrary;

/* A library that the configuration registered under a code, for other
 * libraries to share. */
#ifdef __cplusplus
class SystemLibrary;
#else
typedef struct SystemLibrary SystemLibrary;
#endif

/* The system library of code, loaded at the first request; null when it is
 * not configured or does not load (oxSystemLibrary_Error(vm, NULL) says
 * why). */
SystemLibrary* oxProgram_SystemLibrary(OxinVM* vm, const char* code);
/* The address of symbol in library, or null (the library's error says
 * why). */
void* oxSystemLibrary_GetFunction(SystemLibrary* library, const char* symbol);
/* The last error of library, or of the lookups when library is null;
 * never null. */
const char* oxSystemLibrary_Error(OxinVM* vm, SystemLibrary* library, int* length);

#ifdef __cplusplus
}
#endif

#endif
