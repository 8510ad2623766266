/* A function library for the tests of the exported interface, built
 * against nothing but the interface header. Each function calls one part of
 * the interface and returns what it saw as "key=value;" items, built in a
 * link buffer. Paths are of the data area. */
#include <stdio.h>
#include <string.h>

#include "extensions/oxin_extension.h"

#define EXPORTED __attribute__((visibility("default")))

static void put(LinkBuffer* out, const char* key, const char* value, int length) {
    oxLinkBuffer_Concat_String(out, key, -1);
    oxLinkBuffer_Concat_Char(out, '=');
    oxLinkBuffer_Concat_String(out, value ? value : "(null)", value ? length : -1);
    oxLinkBuffer_Concat_Char(out, ';');
}

/* The same with the length read after the value was fetched. */
static void put_measured(LinkBuffer* out, const char* key, const char* value, const int* length) {
    put(out, key, value, *length);
}

static void put_int(LinkBuffer* out, const char* key, long value) {
    char text[32];
    put(out, key, text, snprintf(text, sizeof text, "%ld", value));
}

static void finish(OxinVM* vm, LinkBuffer* out, Variable* result) {
    int length;
    char* text = oxLinkBuffer_Release(out, &length);
    oxVariable_SetValue_Nocopy(result, text, length, length + 1);
    oxLinkBuffer_Free(out);
    (void)vm;
}

static const char* param(VariableHash* parameters, const char* name) {
    return oxVariable_Value(oxVariableHash_Find(parameters, name, -1), 0);
}

/* Variables, lists, scopes, the older family, and the text helpers. */
static void api_variables(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)parameters, (void)data;
    LinkBuffer* out = oxLinkBuffer_Allocate();
    Variable* global = oxProgram_Lookup_Variable(vm, "g", -1);
    int length;
    put_measured(out, "g", oxVariable_Value(global, &length), &length);
    put_measured(out, "name", oxVariable_Name(global, &length), &length);
    put_int(out, "int", oxVariable_Value_Integer(global));
    oxVariable_SetValue(global, "changed", -1);

    Variable* array = oxVariable_Allocate("a", -1, 0, 0);
    put_int(out, "empty", oxVariable_Type(array));
    Variable* one = oxVariable_Allocate("", 0, "1.5", -1);
    oxVariable_Set_Array_Element(array, 1, one);
    oxVariable_SetValue_Double(oxVariable_Array_Element(array, 3, 1), 2.5);
    oxVariable_Insert_Array_Element(array, 1, one);
    put_int(out, "max", oxVariable_Array_Max(array));
    put_int(out, "min", oxVariable_Array_Min(array));
    put_int(out, "used", oxVariable_ElementsUsed(array));
    put_int(out, "next", oxVariable_Array_Next(array, 2));
    put_int(out, "prev", oxVariable_Array_Previous(array, 4));
    put_int(out, "collapse", oxVariable_Array_Collapse(array));
    Variable* copy = oxVariable_Allocate("c", -1, "", 0);
    oxVariable_Array_Copy(copy, array, 1, 3, 1, 1);
    oxVariable_Array_Merge(copy, array, 1, 1, 4, 0);
    oxVariable_Delete_Array_Elements(copy, 1, 1, 1);
    put_int(out, "copied", oxVariable_ElementsUsed(copy));
    VariableList* list = oxVariableList_Allocate();
    put_int(out, "listed", oxVariable_Aggregate_List(copy, list));
    for (Variable* v = oxVariableList_First(list); v; v = oxVariableList_Next(list))
        put_measured(out, oxVariable_Name(v, 0), oxVariable_Value(v, &length), &length);
    put_int(out, "atype", oxVariable_Aggregate_Type(copy));

    Variable* record = oxVariable_Allocate("r", -1, "", 0);
    oxVariable_Set_Struct_Member(record, "Key", -1, one);
    oxVariable_SetValue_Integer(oxVariable_Struct_Member(record, "n", -1, 1), 7);
    put_int(out, "stype", oxVariable_Type(record));
    put_int(out, "member", oxVariable_Value_Integer(oxVariable_Struct_Member(record, "N", -1, 0)));
    put_int(out, "deleted", oxVariable_Delete_Struct_Member(record, "key", -1));
    Variable* second = oxVariable_Allocate_Copy(record);
    Variable* alias = oxVariable_Allocate("alias", -1, 0, 0);
    oxVariable_Make_Reference(alias, second);
    oxVariable_SetValue_Variable(oxVariable_Struct_Member(alias, "n", -1, 0), one);
    put_int(out, "real", oxVariable_RealIdentity(alias) == second);
    put_int(out, "nextid", oxVariable_NextIdentity(alias) == second);
    put(out, "viaalias", oxVariable_Value(oxVariable_Struct_Member(second, "n", -1, 0), 0), 3);
    put_int(out, "dbl", (long)(oxVariable_Value_Double(one) * 10));
    oxVariable_SetValue(one, "a\0b", 3);
    char* stripped = oxVariable_Value_NS(one, &length);
    put(out, "ns", stripped, length);
    oxProgram_Free(vm, stripped);

    oxVariableList_SetVariable(list, "k", -1, "first", -1);
    oxVariableList_SetVariable(list, "K", -1, "second", -1);
    oxVariableList_Insert(list, record);
    put(out, "kept", oxVariable_Value(oxVariableList_Find(list, "k", -1), 0), 5);
    put_int(out, "entries", oxVariableList_Entries(list));
    oxVariableList_First(list);
    put_int(out, "current", oxVariableList_Current(list) != 0);
    oxVariableList_Dump(list);
    oxVariableList_Free(list);

    VariableHash* hash = oxVariableHash_Allocate();
    oxVariableHash_SetVariable(hash, "x", -1, "1", -1);
    oxVariableHash_Insert(hash, one);
    Variable* replacement = oxVariable_Allocate("x", -1, "2", -1);
    oxVariableHash_ReplaceVariable(hash, replacement);
    oxVariable_Free(replacement);
    put_int(out, "hashed", oxVariableHash_Entries(hash));
    put(out, "x", oxVariable_Value(oxVariableHash_Find(hash, "X", -1), 0), 1);
    put_int(out, "index", oxVariableHash_Index(hash, 0) != 0);
    oxVariableHash_Dump(hash);
    oxVariableHash_Free(hash);

    VariableList* old = oxin_variablelist_new();
    oxin_variablelist_setvariable(old, "q", "a b");
    oxin_variablelist_setvariable(old, "Q", "x&y");
    put(out, "oldfind", oxin_variable_value(oxin_variablelist_find(old, "q")), 3);
    oxin_variablelist_first(old);
    put(out, "oldname", oxin_variable_name(oxin_variablelist_current(old)), 1);
    put_int(out, "oldnext", oxin_variablelist_next(old) == 0);
    char* url = oxin_variablelist_to_url("http://h/s?", old);
    put(out, "url", url, (int)strlen(url));
    oxin_free(oxin_realloc(url, 4));
    oxin_free(oxin_alloc(1));
    oxin_variablelist_dump(old);
    oxin_variablelist_delete(old);
    Variable* legacy = oxin_variable_new("l", "");
    oxin_variable_set_array_element_value(legacy, 2, "two");
    oxin_variable_setvalue(oxin_variable_array_element(legacy, 2), "TWO");
    put(out, "oldelem", oxin_variable_value(oxin_variable_array_element(legacy, 2)), 3);
    put_int(out, "oldcount", oxin_variable_array_elements(legacy) * 100 +
                                 oxin_variable_array_min(legacy) * 10 +
                                 oxin_variable_array_max(legacy));
    VariableList* elements = oxin_variable_aggregate_list(legacy);
    put(out, "oldlist", oxin_variable_name(oxin_variablelist_first(elements)), 1);
    oxin_variablelist_delete(elements);
    Variable* legacy_record = oxin_variable_new("s", "");
    oxin_variable_set_structure_member_value(legacy_record, "m", "v");
    put(out, "oldmember", oxin_variable_value(oxin_variable_structure_member(legacy_record, "m")), 1);
    put_int(out, "oldtype", oxin_variable_aggregate_type(legacy_record));
    VariableHash* tree = oxin_variabletree_new();
    oxin_variabletree_setvariable(tree, "t", "tv");
    oxin_variabletree_insert(tree, legacy);
    put(out, "tree", oxin_variable_value(oxin_variabletree_find(tree, "T")), 2);
    oxin_variabletree_dump(tree);
    oxin_variabletree_delete(tree);
    oxin_variable_delete(legacy);
    oxin_variable_delete(legacy_record);
    Variable* each[] = {array, one, copy, record, second, alias};
    for (int i = 0; i < 6; i++)
        oxVariable_Free(each[i]);

    char encoded[16], decoded[16];
    int encoded_length = ox_base64_encode("oxin", encoded, 4);
    put(out, "b64", encoded, encoded_length);
    put(out, "raw", decoded, ox_base64_decode(encoded, decoded, encoded_length));
    put_int(out, "crc", (unsigned)crc32_final(crc32_data(crc32_init(),
                                                         (const unsigned char*)"123456789", 9)));
    OXTIME now;
    ox_gettimevalues(&now);
    put_int(out, "clock", now.year >= 2024 && ox_mktime_t(now.year, now.month, now.day, now.hour,
                                                          now.minute, now.second) > 0 &&
                              ox_to_time_t(2000, 1, 1, 0, 0, 0) == 946684800);
    LinkBuffer* scratch = oxLinkBuffer_Allocate();
    oxLinkBuffer_Concat_HexChar(scratch, 0xAB);
    oxLinkBuffer_Concat_Int(scratch, -3);
    oxLinkBuffer_Concat_Double(scratch, 0.5);
    char* adopted = oxProgram_Allocate(vm, 2);
    adopted[0] = '!';
    oxLinkBuffer_Concat_String_Nocopy(scratch, adopted, 1, 2);
    oxLinkBuffer_Concat_Variable(scratch, global);
    const char* data_text = oxLinkBuffer_Data(scratch, &length);
    put(out, "buffer", data_text, length);
    oxLinkBuffer_Free(scratch);
    finish(vm, out, result);
}

/* The running program: settings, output, encoders, persistent data,
 * script functions and expressions. */
/* Runs when the call manager goes, after the machine that registered the
 * data: it may free the data but not call into the machine. */
static int cleanups = 0;
EXPORTED int api_cleanups(void) {
    return cleanups;
}
static void cleanup_counter(OxinVM* vm, void* data) {
    cleanups++;
    oxProgram_Free(vm, data);
}

static void api_program(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)data;
    LinkBuffer* out = oxLinkBuffer_Allocate();
    const char* expression = param(parameters, "expr");
    char* error;
    int length;
    Segment* code = oxProgram_Compile_Dynamic_Expression(vm, expression, -1, &error, &length);
    Variable* value = oxVariable_Allocate("", 0, 0, 0);
    int truth = -1;
    if (code) {
        put_int(out, "ran", oxProgram_Execute_Dynamic_Expression(vm, code, 0, value));
        put_measured(out, "value", oxVariable_Value(value, &length), &length);
        put_int(out, "ranbool", oxProgram_Execute_Dynamic_Expression_Boolean(vm, code, 0, &truth));
        put_int(out, "truth", truth);
    } else {
        put(out, "error", error, length);
        oxProgram_Free(vm, error);
    }
    VariableList* arguments = oxVariableList_Allocate();
    oxVariableList_SetVariable(arguments, "", 0, "21", -1);
    put_int(out, "run", oxProgram_RunFunction(vm, "twice", -1, arguments, value));
    put_measured(out, "twice", oxVariable_Value(value, &length), &length);
    put_int(out, "missing", oxProgram_RunFunction(vm, "nothing", -1, arguments, value));
    put_int(out, "compare", oxProgram_Compare(vm, value, oxVariableList_First(arguments)));
    oxVariableList_Free(arguments);
    oxVariable_Free(value);

    VariableList* list = oxVariableList_Allocate();
    put_int(out, "locals", oxProgram_Local_Variables(vm, list) > 0);
    oxVariableList_Dump(list);
    put_int(out, "globals", oxProgram_Global_Variables(vm, list));
    oxVariableList_Dump(list);
    put_int(out, "systems", oxProgram_System_Variables(vm, list));
    oxVariableList_Free(list);
    put(out, "viahash",
        oxVariable_Value(oxVariableHash_Find(oxProgram_Global_VariableHash(vm), "G", -1), 0), 1);
    put_int(out, "syshash", oxProgram_System_VariableHash(vm) != 0);

    oxProgram_SetProcessName(vm, "worker", -1);
    oxProgram_SetLanguage(vm, "de", -1);
    oxProgram_SetDefaultLanguage(vm, "en", -1);
    oxProgram_SetDefaultDatabase(vm, "xbase3", -1);
    oxProgram_SetCharacterSet(vm, "UTF-8", -1);
    put_measured(out, "charset", oxProgram_GetCharacterSet(vm, &length), &length);
    put_int(out, "utf8", oxProgram_CharacterSetIsUTF8(vm));
    oxProgram_ResetGlobalTimeout(vm);
    oxProgram_Sleep(vm, 1);
    oxProgram_Asynchronous_Sleep(vm, 0, 0, 0, 0);

    char* text = oxProgram_Attribute_Encode(vm, "a b&", -1, &length);
    put(out, "attr", text, length);
    char* back = oxProgram_Attribute_Decode(vm, text, length, &length);
    put(out, "unattr", back, length);
    oxProgram_Free(vm, text);
    oxProgram_Free(vm, back);
    text = oxProgram_Entity_Encode(vm, "<&>", -1, &length);
    put(out, "ent", text, length);
    back = oxProgram_Entity_Decode(vm, text, length, &length);
    put(out, "unent", back, length);
    oxProgram_Free(vm, text);
    oxProgram_Free(vm, back);
    text = oxProgram_JavaScriptString_Encode(vm, "'\n", -1, &length);
    put(out, "js", text, length);
    oxProgram_Free(vm, text);
    text = oxProgram_MakeSessionID(vm, &length);
    put_int(out, "session", length + (long)strspn(text, "0123456789abcdef"));
    oxProgram_Free(vm, text);

    int* counter = oxProgram_Lookup_Persistent(vm, "api.counter", -1);
    if (!counter) {
        counter = oxProgram_Allocate(vm, sizeof *counter);
        *counter = 0;
        oxProgram_Register_Persistent(vm, "api.counter", -1, counter, cleanup_counter);
    }
    put_int(out, "calls", ++*counter);
    const _OX_EL_Function* self = oxProgram_Lookup_ExternalFunction(vm, "APIPROGRAM", -1);
    put(out, "self", self ? self->name : 0, 10);
    put_int(out, "ssl", oxProgram_SSL_Function(vm, "no_such_function") == 0);
    oxProgram_Output_Header(vm, "X-Api", -1, "yes", -1);
    oxProgram_Output(vm, "[out]", -1);
    oxProgram_Output_Flush(vm);
    finish(vm, out, result);
}

static void api_fatal(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)result, (void)data;
    oxProgram_FatalError(vm, param(parameters, "text"), -1);
}

/* Files of the data area (location 0 and 3) and of the script area (1). */
static void api_files(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)parameters, (void)data;
    LinkBuffer* out = oxLinkBuffer_Allocate();
    int length;
    put_int(out, "mkdir", oxFile_MakeDirectory(vm, 0, "d", -1));
    put_int(out, "isdir", oxFile_IsDirectory(vm, 0, "d", -1));
    File* file = oxFile_Open(vm, 0, "d/f.txt", -1, 2 | 4 | 8);
    put_int(out, "write", oxFile_Write(file, "hello file", 10));
    put_int(out, "lock", oxFile_Lock(file, 2, 0, 1));
    put_int(out, "release", oxFile_Release(file, 0, 1));
    put_int(out, "seek", oxFile_Seek(file, 6));
    put_int(out, "tell", oxFile_Tell(file));
    put_int(out, "length", oxFile_Length(file));
    put_int(out, "owner", oxFile_OwnerID(file) >= 0 && oxFile_GroupID(file) >= 0);
    oxFile_Close(file);
    put_int(out, "exists", oxFile_Exists(vm, 0, "d/f.txt", -1));
    put_int(out, "size", oxFile_Size(vm, 0, "d/f.txt", -1));
    put_int(out, "time", oxFile_Time(vm, 0, "d/f.txt", -1) > 0);
    put_int(out, "chmod", oxFile_Change_Mode(vm, 0, "d/f.txt", -1, 0640));
    put_int(out, "mode", oxFile_Mode(vm, 0, "d/f.txt", -1) & 0777);
    put_int(out, "copy", oxFile_Copy(vm, 0, "d/f.txt", -1, 0, "d/g.txt", -1));
    put_int(out, "rename", oxFile_Rename(vm, 0, "d/g.txt", -1, 3, "h.txt", -1));
    put_int(out, "link", oxFile_MakeSymbolicLink(vm, 0, "d/f.txt", -1, 0, "d/l.txt", -1));
    put_int(out, "touch", oxFile_TouchFile(vm, 0, "d/t.txt", -1));
    put_int(out, "delete", oxFile_Delete(vm, 0, "d/t.txt", -1));
    put_int(out, "lockfile", oxFile_LockFile(vm, 0, "d/x", -1));
    char* name;
    file = oxFile_MakeTemporary(vm, 0, "d/tmp", -1, 2, &name, &length);
    put_int(out, "temp", file != 0 && length > 5);
    oxFile_Close(file);
    oxFile_Delete(vm, 0, name, length);
    oxProgram_Free(vm, name);
    file = oxFile_Open(vm, 1, "script.txt", -1, 1);
    char buffer[64];
    int read = oxFile_Read(file, buffer, sizeof buffer);
    put(out, "script", buffer, read > 0 ? read : 0);
    oxFile_Close(file);
    char* normal = oxFile_NormalizePath(vm, 0, "d/../d/./f.txt", -1, &length);
    put(out, "normal", normal, length);
    oxProgram_Free(vm, normal);
    Variable* listing = oxVariable_Allocate("ls", -1, 0, 0);
    put_int(out, "listing", oxDirectory_Listing(vm, 0, "d", -1, listing));
    oxVariable_Free(listing);
    put_int(out, "gone", oxFile_Open(vm, 0, "../outside", -1, 1) == 0);
    put_measured(out, "error", oxFile_Error(vm, 0, &length), &length);
    put_int(out, "resolve", oxFile_Resolve(vm, 0, "x", -1) == 0);
    put_measured(out, "resolved", oxFile_Error(vm, 0, &length), &length);
    put_int(out, "rmdir", oxFile_RemoveDirectory(vm, 0, "d", -1));
    put(out, "sep", oxFile_Path_Separator(vm), 1);

    put_int(out, "oldmkdir", oxin_file_makedirectory(vm, 0, "o"));
    file = oxin_file_open(vm, 0, "o/f", 2 | 4);
    put_int(out, "oldwrite", oxin_file_write(file, "old", 3));
    put_int(out, "oldlock", oxin_file_lock(file, 2, 0, 1) + oxin_file_release(file, 0, 1));
    put_int(out, "oldseek", oxin_file_seek(file, 1) + oxin_file_tell(file) + oxin_file_length(file));
    oxin_file_close(file);
    file = oxin_file_open(vm, 0, "o/f", 1);
    put_int(out, "oldread", oxin_file_read(file, buffer, 2));
    put(out, "oldfileerror", oxin_file_error(vm, file), 0);
    oxin_file_close(file);
    put_int(out, "oldexists", oxin_file_exists(vm, 0, "o/f") * 10 + oxin_file_isdirectory(vm, 0, "o"));
    put_int(out, "oldsize", oxin_file_size(vm, 0, "o/f"));
    put_int(out, "oldmode", oxin_file_changemode(vm, 0, "o/f", 0600) + (oxin_file_mode(vm, 0, "o/f") & 0777));
    put_int(out, "oldrename", oxin_file_rename(vm, 0, "o/f", 0, "o/g"));
    put_int(out, "olddelete", oxin_file_delete(vm, 0, "o/g") + oxin_file_removedirectory(vm, 0, "o"));
    put_int(out, "oldresolve", oxin_file_resolve(vm, 0, "x") == 0);
    put(out, "olderror", oxin_file_error(vm, 0), -1);
    put(out, "oldsep", oxin_file_pathseparator(vm), 1);
    finish(vm, out, result);
}

/* The network, against the server at host and port; url is a page of it. */
static void api_network(OxinVM* vm, VariableHash* parameters, Variable* result, void** data) {
    (void)data;
    LinkBuffer* out = oxLinkBuffer_Allocate();
    const char* host = param(parameters, "host");
    int port = oxVariable_Value_Integer(oxVariableHash_Find(parameters, "port", -1));
    const char* url = param(parameters, "url");
    char buffer[256];
    int length;
    put_int(out, "ip", oxNetwork_Is_IP_Address(vm, host) + oxin_network_isipaddress(vm, "x.y"));
    put_int(out, "address", oxNetwork_Get_Host_Address(vm, host, buffer, 4));
    put(out, "cut", buffer, -1);
    oxin_network_gethostaddress(vm, host, buffer, sizeof buffer);
    put(out, "full", buffer, -1);
    NetworkConnection* connection = oxNetwork_Connect(vm, host, port);
    oxNetwork_Write(connection, "HEAD /page.txt HTTP/1.0\r\n\r\n", -1, 5);
    put(out, "line", buffer, oxNetwork_Read_Line(connection, buffer, 13, 5));
    oxNetwork_Close(connection);
    HTTPResponseStream* response = oxNetwork_HTTP_Request(vm, "GET", url, 0, 0, 0, 0, 5);
    put_int(out, "status", oxHTTPResponse_Status_Code(response));
    put_int(out, "clength", oxHTTPResponse_Content_Length(response));
    length = oxHTTPResponse_Read(response, buffer, sizeof buffer);
    put(out, "body", buffer, length > 0 ? length : 0);
    put_measured(out, "rerror", oxHTTPResponse_Error(vm, response, &length), &length);
    oxHTTPResponse_Close(response);
    put_int(out, "nohttp", oxNetwork_HTTP_Request(vm, "GET", "nonsense", 0, 0, 0, 0, 5) == 0);
    put_int(out, "herror", oxHTTPResponse_Error(vm, 0, &length) != 0 && length > 0);
    connection = oxNetwork_Open_URL(vm, "POST", url, "a=1", "text/plain", -1, "X-A: b\r\n", 5);
    length = oxNetwork_Read(connection, buffer, 12, 5);
    put(out, "post", buffer, length > 0 ? length : 0);
    put_measured(out, "nerror", oxNetwork_Error(vm, connection, &length), &length);
    oxNetwork_Close(connection);
    put_int(out, "tls", oxNetwork_Connect_SSL(vm, host, port) == 0);
    put_int(out, "tlserror", oxNetwork_Error(vm, 0, &length) != 0 && length > 0);
    connection = oxin_network_openurl(vm, "GET", url, 0, 0, 0, 5);
    put_int(out, "oldline", oxin_network_readline(connection, buffer, sizeof buffer, 5));
    put_int(out, "oldread", oxin_network_read(connection, buffer, 1, 5));
    oxin_network_close(connection);
    connection = oxin_network_connect(vm, host, port);
    put_int(out, "oldwrite", oxin_network_write(connection, "\r\n\r\n", 4, 5));
    put(out, "olderror", oxin_network_error(vm, connection), 0);
    oxin_network_close(connection);
    finish(vm, out, result);
}

static const _OX_EL_Parameter program_parameters[] = {{"expr", 4, 0}};
static const _OX_EL_Parameter fatal_parameters[] = {{"text", 4, 0}};
static const _OX_EL_Parameter network_parameters[] = {{"host", 4, 0}, {"port", 4, 0}, {"url", 3, 0}};
static const _OX_EL_Function functions[] = {
    {"ApiVariables", 12, 0, 0, api_variables},
    {"ApiProgram", 10, 1, program_parameters, api_program},
    {"ApiFatal", 8, 1, fatal_parameters, api_fatal},
    {"ApiFiles", 8, 0, 0, api_files},
    {"ApiNetwork", 10, 3, network_parameters, api_network},
    {0, 0, 0, 0, 0},
};
static const OxFunctionTable table = {0, functions};

EXPORTED const OxFunctionTable* oxin_function_table(void) {
    return &table;
}
