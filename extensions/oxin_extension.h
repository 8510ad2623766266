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
class HTTPResponseStream;
class LinkBuffer;
class NetworkConnection;
class OxinVM;
class Segment;
class Variable;
class VariableHash;
class VariableList;
extern "C" {
#else
typedef struct ExternalConfig ExternalConfig;
typedef struct File File;
typedef struct HTTPResponseStream HTTPResponseStream;
typedef struct LinkBuffer LinkBuffer;
typedef struct NetworkConnection NetworkConnection;
typedef struct OxinVM OxinVM;
typedef struct Segment Segment;
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
/* Empties list, then fills it with references to the live elements, each
 * named by its index; the count of elements, -1 for a null argument. */
int oxVariable_Aggregate_List(Variable* variable, VariableList* list);

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

/* The running program, for function libraries: the vm argument is the one
 * that the entry point received. Texts handed over as owned come from the
 * engine's allocator: release them with oxProgram_Free. A null vm gives 0,
 * -1 or null and does nothing. */
Variable* oxProgram_Lookup_Variable(OxinVM* vm, const char* name, int length);
/* Fill list with the variables in use of the scope; the list's count. */
int oxProgram_Local_Variables(OxinVM* vm, VariableList* list);
int oxProgram_System_Variables(OxinVM* vm, VariableList* list);
int oxProgram_Global_Variables(OxinVM* vm, VariableList* list);
VariableHash* oxProgram_Global_VariableHash(OxinVM* vm);
VariableHash* oxProgram_System_VariableHash(OxinVM* vm);
/* The language's comparison: -1, 0 or 1. */
int oxProgram_Compare(OxinVM* vm, Variable* left, Variable* right);

void oxProgram_SetProcessName(OxinVM* vm, const char* name, int length);
void oxProgram_SetLanguage(OxinVM* vm, const char* language, int length);
void oxProgram_SetDefaultLanguage(OxinVM* vm, const char* language, int length);
void oxProgram_SetDefaultDatabase(OxinVM* vm, const char* type, int length);
void oxProgram_SetCharacterSet(OxinVM* vm, const char* charset, int length);
const char* oxProgram_GetCharacterSet(OxinVM* vm, int* length);
int oxProgram_CharacterSetIsUTF8(OxinVM* vm);

void* oxProgram_Allocate(OxinVM* vm, int size);
void oxProgram_Free(OxinVM* vm, void* pointer);

/* The response: a header (1 when taken), text, and a flush (0 on success). */
int oxProgram_Output_Header(OxinVM* vm, const char* name, int name_length, const char* value,
                            int value_length);
int oxProgram_Output(OxinVM* vm, const char* text, int length);
int oxProgram_Output_Flush(OxinVM* vm);

/* Encoded or decoded copies, owned by the caller; the length goes to
 * *out_length when given. */
char* oxProgram_Attribute_Encode(OxinVM* vm, const char* text, int length, int* out_length);
char* oxProgram_Attribute_Decode(OxinVM* vm, const char* text, int length, int* out_length);
char* oxProgram_Entity_Encode(OxinVM* vm, const char* text, int length, int* out_length);
char* oxProgram_Entity_Decode(OxinVM* vm, const char* text, int length, int* out_length);
char* oxProgram_JavaScriptString_Encode(OxinVM* vm, const char* text, int length,
                                        int* out_length);

/* Data kept by name for the rest of the request, shared by every library:
 * prefix the names. cleanup (may be null: the data is released as by
 * oxProgram_Free) runs when the data is replaced or the request ends; at
 * the end the machine has ended already, so a cleanup must not call into
 * it: it may only free the data (oxProgram_Free does not use the machine). */
typedef void (*OxPersistentCleanup)(OxinVM* vm, void* data);
void* oxProgram_Lookup_Persistent(OxinVM* vm, const char* name, int length);
void oxProgram_Register_Persistent(OxinVM* vm, const char* name, int length, void* data,
                                   OxPersistentCleanup cleanup);

/* An OpenSSL function by name, loading OpenSSL first; null when unavailable. */
void* oxProgram_SSL_Function(OxinVM* vm, const char* name);
/* A new session id: 32 hexadecimal digits, owned by the caller. */
char* oxProgram_MakeSessionID(OxinVM* vm, int* length);
void oxProgram_ResetGlobalTimeout(OxinVM* vm);
void oxProgram_Sleep(OxinVM* vm, int milliseconds);
/* In a background task: sleeps until the time until (seconds since the
 * epoch), until the file of the location changes (path may be null), or
 * until cancelled. */
void oxProgram_Asynchronous_Sleep(OxinVM* vm, long until, int location, const char* path,
                                  int length);
/* Ends the script with text shown to the user. */
void oxProgram_FatalError(OxinVM* vm, const char* text, int length);
/* The descriptor of a library function by name, or null. */
const _OX_EL_Function* oxProgram_Lookup_ExternalFunction(OxinVM* vm, const char* name,
                                                         int length);

/* Calls a script function with the list's values; its value goes to result
 * (may be null). 1, or 0 when there is no such function or it failed. */
int oxProgram_RunFunction(OxinVM* vm, const char* name, int length, VariableList* parameters,
                          Variable* result);
/* Compiles an expression of the language; null with the reason in *error
 * (owned by the caller) when it is wrong. */
Segment* oxProgram_Compile_Dynamic_Expression(OxinVM* vm, const char* text, int length,
                                              char** error, int* error_length);
/* Runs a compiled expression with locals (null: the caller's); 1 with its
 * value in result (or its truth in *result), 0 when it failed. */
int oxProgram_Execute_Dynamic_Expression(OxinVM* vm, Segment* segment, VariableHash* locals,
                                         Variable* result);
int oxProgram_Execute_Dynamic_Expression_Boolean(OxinVM* vm, Segment* segment,
                                                 VariableHash* locals, int* result);

/* Files. Path functions take a location: 0 the data area, 1 the script
 * area (a relative path is taken from the running script's directory), 3
 * the data area under the commerce directory when one is configured. Open
 * flags: 1 read, 2 write, 4 create, 8 truncate, 16 append, 32 exclusive.
 * Results: 0 success and -1 failure; Exists and IsDirectory 1 or 0; the
 * value or -1 for Size, Time, Mode, OwnerID, GroupID. The reason of a
 * failure comes from oxFile_Error. */
File* oxFile_Open(OxinVM* vm, int location, const char* path, int length, int flags);
int oxFile_Delete(OxinVM* vm, int location, const char* path, int length);
int oxFile_Rename(OxinVM* vm, int from_location, const char* from, int from_length,
                  int to_location, const char* to, int to_length);
int oxFile_Exists(OxinVM* vm, int location, const char* path, int length);
long oxFile_Size(OxinVM* vm, int location, const char* path, int length);
long oxFile_Time(OxinVM* vm, int location, const char* path, int length);
int oxFile_IsDirectory(OxinVM* vm, int location, const char* path, int length);
int oxFile_MakeDirectory(OxinVM* vm, int location, const char* path, int length);
int oxFile_RemoveDirectory(OxinVM* vm, int location, const char* path, int length);
int oxFile_Mode(OxinVM* vm, int location, const char* path, int length);
int oxFile_Change_Mode(OxinVM* vm, int location, const char* path, int length, int mode);
int oxFile_Copy(OxinVM* vm, int from_location, const char* from, int from_length,
                int to_location, const char* to, int to_length);
int oxFile_MakeSymbolicLink(OxinVM* vm, int target_location, const char* target,
                            int target_length, int link_location, const char* link,
                            int link_length);
/* The path as a script sees it, collapsed; owned by the caller. */
char* oxFile_NormalizePath(OxinVM* vm, int location, const char* path, int length,
                           int* out_length);
int oxFile_TouchFile(OxinVM* vm, int location, const char* path, int length);
/* Takes a lock file: 1 acquired, 0 timed out, -1 error. */
int oxFile_LockFile(OxinVM* vm, int location, const char* path, int length);
/* A new file named like path with a number behind; its name (owned by the
 * caller) goes to *name. */
File* oxFile_MakeTemporary(OxinVM* vm, int location, const char* path, int length, int flags,
                           char** name, int* name_length);
int oxFile_OwnerID(File* file);
int oxFile_GroupID(File* file);
int oxFile_Read(File* file, char* buffer, int length);
int oxFile_Write(File* file, const char* buffer, int length);
long oxFile_Seek(File* file, long position);
long oxFile_Tell(File* file);
long oxFile_Length(File* file);
/* type 2 a write lock, anything else a read lock. */
int oxFile_Lock(File* file, int type, long offset, long length);
int oxFile_Release(File* file, long offset, long length);
void oxFile_Close(File* file);
/* Withdrawn: always null. */
char* oxFile_Resolve(OxinVM* vm, int location, const char* path, int length);
const char* oxFile_Path_Separator(OxinVM* vm);
/* The last failure of file, or of the file manager when file is null. */
const char* oxFile_Error(OxinVM* vm, File* file, int* length);
/* Appends each entry of a directory to array; the count, -1 on failure. */
int oxDirectory_Listing(OxinVM* vm, int location, const char* path, int length, Variable* array);

/* Network. Timeouts in seconds, 0 the configured one. Errors of a null
 * object are the network manager's; they are never null. */
int oxNetwork_Is_IP_Address(OxinVM* vm, const char* host);
/* 1 with the address as text in buffer (always terminated), -1 for none. */
int oxNetwork_Get_Host_Address(OxinVM* vm, const char* host, char* buffer, int size);
NetworkConnection* oxNetwork_Connect(OxinVM* vm, const char* host, int port);
NetworkConnection* oxNetwork_Connect_SSL(OxinVM* vm, const char* host, int port);
/* Sends one HTTP/1.0 request for url; the connection carries the response. */
NetworkConnection* oxNetwork_Open_URL(OxinVM* vm, const char* method, const char* url,
                                      const char* content, const char* content_type,
                                      int content_length, const char* headers, int timeout);
int oxNetwork_Read(NetworkConnection* connection, char* buffer, int length, int timeout);
/* One line, terminated in buffer; its length, at most size - 1, or -1. */
int oxNetwork_Read_Line(NetworkConnection* connection, char* buffer, int size, int timeout);
int oxNetwork_Write(NetworkConnection* connection, const char* buffer, int length, int timeout);
void oxNetwork_Close(NetworkConnection* connection);
const char* oxNetwork_Error(OxinVM* vm, NetworkConnection* connection, int* length);
/* Open_URL with the status line and headers read. */
HTTPResponseStream* oxNetwork_HTTP_Request(OxinVM* vm, const char* method, const char* url,
                                           const char* content, const char* content_type,
                                           int content_length, const char* headers,
                                           int timeout);
int oxHTTPResponse_Status_Code(HTTPResponseStream* response);
/* -1 when the response does not say. */
int oxHTTPResponse_Content_Length(HTTPResponseStream* response);
int oxHTTPResponse_Read(HTTPResponseStream* response, char* buffer, int length);
void oxHTTPResponse_Close(HTTPResponseStream* response);
const char* oxHTTPResponse_Error(OxinVM* vm, HTTPResponseStream* response, int* length);

/* Chains of blocks for building long texts. Release hands the text, owned
 * (release it with oxProgram_Free), and leaves the buffer empty. */
LinkBuffer* oxLinkBuffer_Allocate(void);
void oxLinkBuffer_Free(LinkBuffer* buffer);
void oxLinkBuffer_Concat_String(LinkBuffer* buffer, const char* text, int length);
/* Takes text (from oxProgram_Allocate, size bytes). */
void oxLinkBuffer_Concat_String_Nocopy(LinkBuffer* buffer, char* text, int length, int size);
void oxLinkBuffer_Concat_Char(LinkBuffer* buffer, char c);
/* Two upper-case hexadecimal digits. */
void oxLinkBuffer_Concat_HexChar(LinkBuffer* buffer, unsigned char c);
void oxLinkBuffer_Concat_Int(LinkBuffer* buffer, int value);
void oxLinkBuffer_Concat_Double(LinkBuffer* buffer, double value);
void oxLinkBuffer_Concat_Variable(LinkBuffer* buffer, Variable* variable);
char* oxLinkBuffer_Release(LinkBuffer* buffer, int* length);
const char* oxLinkBuffer_Data(LinkBuffer* buffer, int* length);

/* Base64 (no line breaks, no NUL written; the count written), the
 * CRC-32/BZIP2 checksum, and the local clock. */
int ox_base64_encode(const char* in, char* out, int length);
int ox_base64_decode(const char* in, char* out, int length);
int crc32_init(void);
int crc32_data(int crc, const unsigned char* data, int length);
int crc32_final(int crc);
#ifndef OXIN_OXTIME_DEFINED
#define OXIN_OXTIME_DEFINED
typedef struct OXTIME {
    long seconds; /* since the epoch */
    long microseconds;
    int second;
    int minute;
    int hour;
    int day;   /* of the month, 1-31 */
    int month; /* 1-12 */
    const char* month_name;
    int year;    /* in full */
    int weekday; /* 1-7, Sunday is 1 */
    const char* day_name;
    int yearday; /* 1-366 */
    int dst;     /* daylight saving in force */
    const char* zone;
} OXTIME;
#endif
void ox_gettimevalues(OXTIME* time);
/* The fields read as local time and shifted to read as UTC; -1 on failure. */
long ox_to_time_t(int year, int month, int day, int hour, int minute, int second);
/* The fields read as local time. */
long ox_mktime_t(int year, int month, int day, int hour, int minute, int second);

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
/* Older network and file functions: location 1 is the script area, any
 * other the data area, with no directory prefix. */
int oxin_network_isipaddress(OxinVM* vm, const char* host);
int oxin_network_gethostaddress(OxinVM* vm, const char* host, char* buffer, int size);
NetworkConnection* oxin_network_connect(OxinVM* vm, const char* host, int port);
NetworkConnection* oxin_network_openurl(OxinVM* vm, const char* method, const char* url,
                                        const char* content, const char* content_type,
                                        const char* headers, int timeout);
int oxin_network_read(NetworkConnection* connection, char* buffer, int length, int timeout);
int oxin_network_readline(NetworkConnection* connection, char* buffer, int size, int timeout);
int oxin_network_write(NetworkConnection* connection, const char* buffer, int length,
                       int timeout);
void oxin_network_close(NetworkConnection* connection);
const char* oxin_network_error(OxinVM* vm, NetworkConnection* connection);
char* oxin_file_resolve(OxinVM* vm, int location, const char* path);
File* oxin_file_open(OxinVM* vm, int location, const char* path, int flags);
int oxin_file_delete(OxinVM* vm, int location, const char* path);
int oxin_file_rename(OxinVM* vm, int from_location, const char* from, int to_location,
                     const char* to);
int oxin_file_exists(OxinVM* vm, int location, const char* path);
long oxin_file_size(OxinVM* vm, int location, const char* path);
int oxin_file_isdirectory(OxinVM* vm, int location, const char* path);
int oxin_file_makedirectory(OxinVM* vm, int location, const char* path);
int oxin_file_removedirectory(OxinVM* vm, int location, const char* path);
int oxin_file_mode(OxinVM* vm, int location, const char* path);
int oxin_file_changemode(OxinVM* vm, int location, const char* path, int mode);
const char* oxin_file_pathseparator(OxinVM* vm);
int oxin_file_read(File* file, char* buffer, int length);
int oxin_file_write(File* file, const char* buffer, int length);
long oxin_file_seek(File* file, long position);
long oxin_file_tell(File* file);
long oxin_file_length(File* file);
int oxin_file_lock(File* file, int type, long offset, long length);
int oxin_file_release(File* file, long offset, long length);
void oxin_file_close(File* file);
const char* oxin_file_error(OxinVM* vm, File* file);


/* External databases */
/* A database library exports oxin_database_library(), which returns its
 * table of 37 words, of which a library of an older version may give only
 * those that its version reads. The engine passes its own objects as the
 * first argument of every call. Functions return non-zero on success; any
 * function may be null (the statement is then unsupported, a read of a
 * field finds nothing, a write is ignored). Open and Create are declared in
 * their form of version 3 and above; a library of an older version casts
 * its own (version 2 Open: path, c1, c2, c3; version 1: path, c1, c2;
 * versions 1 and 2 Create: path, fields). */
#ifdef __cplusplus
class ExternalDatabase;
class ExternalDatabaseView;
class ExternalDatabaseVariable;
#else
typedef struct ExternalDatabase ExternalDatabase;
typedef struct ExternalDatabaseView ExternalDatabaseView;
typedef struct ExternalDatabaseVariable ExternalDatabaseVariable;
#endif

typedef struct _OX_EL_Database {
    intptr_t version; /* 1 to 6: what the engine may read, see below */
    int (*Create)(ExternalDatabase* db, const char* path, int path_length, const char* alias,
                  int alias_length, const char* fields, int fields_length);
    int (*Open)(ExternalDatabase* db, const char* path, int path_length, const char* alias,
                int alias_length, const char* c1, int c1_length, const char* c2, int c2_length,
                const char* c3, int c3_length);
    int (*Close)(ExternalDatabase* db);
    int (*OpenView)(ExternalDatabase* db, const char* view, int view_length, const char* query,
                    int query_length, VariableList* variables, int count);
    int (*RunQuery)(ExternalDatabase* db, const char* query, int query_length,
                    VariableList* variables, int count);
    int (*Pack)(ExternalDatabase* db);
    int (*SetPrimaryIndex)(ExternalDatabase* db, const char* index, int length);
    int (*CreateIndex)(ExternalDatabase* db, const char* file, int file_length,
                       const char* expression, int expression_length, const char* flags,
                       int flags_length);
    int (*OpenIndexes)(ExternalDatabase* db, const char* indexes, int length);
    int (*Reindex)(ExternalDatabase* db);
    const char* (*Error)(ExternalDatabase* db);
    int (*View_Close)(ExternalDatabaseView* view);
    int (*View_Skip)(ExternalDatabaseView* view, int count);
    /* position: a record number, -1 top, -2 bottom */
    int (*View_Go)(ExternalDatabaseView* view, long position);
    int (*View_Add)(ExternalDatabaseView* view);
    int (*View_Delete)(ExternalDatabaseView* view);
    int (*View_UnDelete)(ExternalDatabaseView* view);
    int (*View_Update)(ExternalDatabaseView* view);
    int (*View_Filter)(ExternalDatabaseView* view, const char* expression, int length);
    /* whole 1: an equal key; 0: a key that begins with key */
    int (*View_Find)(ExternalDatabaseView* view, const char* key, int length, int whole);
    int (*View_RevealStructure_Table)(ExternalDatabaseView* view, const char* path, int length);
    int (*View_RevealStructure_Aggregate)(ExternalDatabaseView* view, Variable** variable);
    const char* (*View_Error)(ExternalDatabaseView* view);
    int (*Variable_Get_Integer)(ExternalDatabaseVariable* variable, int* value);
    int (*Variable_Get_Double)(ExternalDatabaseVariable* variable, double* value);
    /* *owned 1 hands over a text from oxProgram_Allocate; 0: the engine copies */
    int (*Variable_Get_String)(ExternalDatabaseVariable* variable, char** text, int* length,
                               int* owned);
    int (*Variable_Set_Integer)(ExternalDatabaseVariable* variable, int value);
    int (*Variable_Set_Double)(ExternalDatabaseVariable* variable, double value);
    int (*Variable_Set_String)(ExternalDatabaseVariable* variable, const char* text, int length);
    void (*Variable_Release)(ExternalDatabaseVariable* variable);
    int (*Commit)(ExternalDatabase* db);              /* read from version 2 */
    int (*Rollback)(ExternalDatabase* db);            /* read from version 2 */
    /* 2 integer, 3 double, anything else text; read from version 4 */
    int (*Variable_PreferredType)(ExternalDatabaseVariable* variable);
    int (*Transaction)(ExternalDatabase* db);         /* read from version 5 */
    int (*Command)(ExternalDatabase* db, const char* command, int command_length,
                   const char* arguments, int arguments_length); /* from version 5 */
    void (*Release)(ExternalDatabase* db);            /* read from version 6 */
} _OX_EL_Database;

/* The library's own pointers on the engine's objects, and the views and
 * fields that it adds. AddView makes the new view primary; AddVariable and
 * AddView give null for a name that the view or database has already.
 * SetDirty makes the fields read the library anew; Commit hands assigned
 * values to the Set functions. Release (version 6) runs on a database's
 * data when it is replaced or the database ends. */
void oxDatabase_SetData(ExternalDatabase* db, void* data);
void* oxDatabase_data(ExternalDatabase* db);
ExternalDatabaseView* oxDatabase_AddView(ExternalDatabase* db, const char* name, int length,
                                         void* data);
void oxDatabase_SetPrimaryView(ExternalDatabase* db, ExternalDatabaseView* view);
OxinVM* oxDatabase_Program(ExternalDatabase* db);
ExternalDatabase* oxDatabaseView_Database(ExternalDatabaseView* view);
void oxDatabaseView_SetData(ExternalDatabaseView* view, void* data);
void* oxDatabaseView_data(ExternalDatabaseView* view);
void oxDatabaseView_Clear(ExternalDatabaseView* view);
ExternalDatabaseVariable* oxDatabaseView_AddVariable(ExternalDatabaseView* view, const char* name,
                                                     int length, void* data);
void oxDatabaseView_Commit(ExternalDatabaseView* view);
void oxDatabaseView_SetDirty(ExternalDatabaseView* view, int flag);
OxinVM* oxDatabaseView_Program(ExternalDatabaseView* view);
ExternalDatabaseView* oxDatabaseVariable_DatabaseView(ExternalDatabaseVariable* variable);
void oxDatabaseVariable_SetData(ExternalDatabaseVariable* variable, void* data);
void* oxDatabaseVariable_data(ExternalDatabaseVariable* variable);
void oxDatabaseVariable_SetDirty(ExternalDatabaseVariable* variable);

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
