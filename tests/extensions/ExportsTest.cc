#include <gtest/gtest.h>

#include <string>

#include "extensions/oxin_extension.h"

namespace {

std::string text(Variable* variable) {
    int length;
    const char* value = oxVariable_Value(variable, &length);
    return std::string(value, length);
}

TEST(ExportsTest, VariablesAndTheirAggregates) {
    Variable* v = oxVariable_Allocate("v", -1, "12", -1);
    EXPECT_EQ(oxVariable_Type(v), 3);
    EXPECT_EQ(oxVariable_Value_Integer(v), 12);
    oxVariable_SetValue_Double(v, 2.5);
    EXPECT_EQ(oxVariable_Type(v), 2);
    EXPECT_EQ(text(v), "2.5");

    Variable* array = oxVariable_Allocate("a", -1, nullptr, 0);
    Variable* element = oxVariable_Array_Element(array, 3, 1);
    oxVariable_SetValue(element, "third", -1);
    EXPECT_EQ(oxVariable_Aggregate_Type(array), 1);
    EXPECT_EQ(oxVariable_Type(array), 5);
    EXPECT_EQ(oxVariable_Array_Max(array), 3);
    EXPECT_EQ(oxVariable_Array_Element(array, 2, 0), nullptr);
    EXPECT_EQ(text(oxVariable_Array_Element(array, 3, 0)), "third");

    Variable* record = oxVariable_Allocate("r", -1, nullptr, 0);
    oxVariable_Set_Struct_Member(record, "Name", -1, v);
    EXPECT_EQ(oxVariable_Aggregate_Type(record), 2);
    EXPECT_EQ(text(oxVariable_Struct_Member(record, "NAME", -1, 0)), "2.5");
    EXPECT_EQ(oxVariable_Delete_Struct_Member(record, "name", -1), 1);
    EXPECT_EQ(oxVariable_Struct_Member(record, "name", -1, 0), nullptr);

    Variable* second = oxVariable_Allocate("", 0, "second", -1);
    oxVariable_Insert_Array_Element(array, 1, second);  // pushes the third up to 4
    oxVariable_Free(second);
    EXPECT_EQ(oxVariable_Array_Max(array), 4);
    EXPECT_EQ(oxVariable_Array_Collapse(array), 2);
    EXPECT_EQ(text(oxVariable_Array_Element(array, 2, 0)), "third");
    EXPECT_EQ(oxVariable_Array_Next(array, 1), 2);
    int length;
    oxVariable_SetValue(v, std::string("a\0b", 3).data(), 3);
    char* stripped = oxVariable_Value_NS(v, &length);
    EXPECT_EQ(std::string(stripped, length), "ab");
    delete[] stripped;
    oxVariable_SetValue_Double(v, 2.5);

    Variable* copy = oxVariable_Allocate_Copy(array);
    oxVariable_SetValue(oxVariable_Array_Element(copy, 2, 1), "changed", -1);
    EXPECT_EQ(text(oxVariable_Array_Element(array, 2, 0)), "third");  // a deep copy

    Variable* alias = oxVariable_Allocate("alias", -1, nullptr, 0);
    oxVariable_Make_Reference(alias, v);
    oxVariable_SetValue_Integer(alias, 9);
    EXPECT_EQ(oxVariable_Value_Integer(v), 9);
    EXPECT_EQ(oxVariable_RealIdentity(alias), v);
    for (Variable* each : {v, array, record, copy, alias})
        oxVariable_Free(each);
}

TEST(ExportsTest, ListsAndHashes) {
    VariableList* list = oxVariableList_Allocate();
    Variable* first = oxVariableList_SetVariable(list, "color", -1, "red", -1);
    EXPECT_EQ(oxVariableList_SetVariable(list, "COLOR", -1, "blue", -1), first);
    EXPECT_EQ(text(first), "red");  // an existing variable keeps its value
    oxVariableList_SetVariable(list, "size", -1, "9", -1);
    EXPECT_EQ(oxVariableList_Entries(list), 2);
    EXPECT_EQ(text(oxVariableList_Find(list, "Size", -1)), "9");
    EXPECT_EQ(oxVariableList_Find(list, "none", -1), nullptr);

    VariableHash* hash = oxVariableHash_Allocate();
    oxVariableHash_SetVariable(hash, "x", -1, "1", -1);
    oxVariableHash_Insert(hash, first);
    EXPECT_EQ(oxVariableHash_Entries(hash), 2);
    EXPECT_EQ(text(oxVariableHash_Find(hash, "X", -1)), "1");
    EXPECT_EQ(oxVariableHash_Find(hash, "color", -1), first);
    oxVariableList_Free(list);
    EXPECT_EQ(text(oxVariableHash_Index(hash, 1)), "red");  // the hash keeps its count
    oxVariableHash_Free(hash);
}

TEST(ExportsTest, TheOlderFamily) {
    VariableList* list = oxin_variablelist_new();
    oxin_variablelist_setvariable(list, "q", "a b");
    oxin_variablelist_setvariable(list, "Q", "x&y");  // the older form assigns
    oxin_variablelist_setvariable(list, "n", "1");
    EXPECT_STREQ(oxin_variable_value(oxin_variablelist_find(list, "q")), "x&y");
    EXPECT_STREQ(oxin_variable_value(nullptr), "");
    for (auto [url, expected] : {std::pair{"http://h/s", "http://h/s?q=x%26y&n=1"},
                                 {"http://h/s?", "http://h/s?q=x%26y&n=1"},
                                 {"http://h/s?x", "http://h/s?x+q=x%26y&n=1"}}) {
        char* built = oxin_variablelist_to_url(url, list);
        EXPECT_STREQ(built, expected);
        oxin_free(built);
    }
    oxin_variablelist_delete(list);

    Variable* array = oxin_variable_new("a", "");
    oxin_variable_set_array_element_value(array, 2, "two");
    oxin_variable_set_array_element_value(array, 5, "five");
    EXPECT_EQ(oxin_variable_aggregate_type(array), 1);
    EXPECT_EQ(oxin_variable_array_elements(array), 2);
    VariableList* elements = oxin_variable_aggregate_list(array);
    std::string seen;
    for (Variable* e = oxin_variablelist_first(elements); e; e = oxin_variablelist_next(elements))
        seen += std::string(oxin_variable_name(e)) + "=" + oxin_variable_value(e) + ";";
    EXPECT_EQ(seen, "2=two;5=five;");
    oxin_variablelist_delete(elements);
    oxin_variable_delete(array);
}

}  // namespace

namespace {

// A library that hands over null where an object belongs gets a failure
// result, never a crash.
TEST(ExportsTest, NullObjectsFailQuietly) {
    int length = 7;
    EXPECT_EQ(oxVariable_Type(nullptr), 0);
    EXPECT_EQ(oxVariable_Value(nullptr, &length), nullptr);
    EXPECT_EQ(oxVariable_Aggregate_List(nullptr, nullptr), -1);
    EXPECT_EQ(oxVariableList_Find(nullptr, "x", -1), nullptr);
    EXPECT_EQ(oxVariableHash_Entries(nullptr), 0);
    EXPECT_EQ(oxProgram_Lookup_Variable(nullptr, "x", -1), nullptr);
    EXPECT_EQ(oxProgram_Compile_Dynamic_Expression(nullptr, "1", -1, nullptr, nullptr), nullptr);
    EXPECT_EQ(oxFile_Open(nullptr, 0, "x", -1, 1), nullptr);
    EXPECT_EQ(oxFile_Read(nullptr, nullptr, 1), -1);
    EXPECT_EQ(oxFile_Delete(nullptr, 0, "x", -1), -1);
    EXPECT_STREQ(oxFile_Error(nullptr, nullptr, &length), "");
    EXPECT_EQ(oxNetwork_Connect(nullptr, "127.0.0.1", 1), nullptr);
    EXPECT_STREQ(oxNetwork_Error(nullptr, nullptr, &length), "");
    EXPECT_EQ(oxHTTPResponse_Status_Code(nullptr), -1);
    EXPECT_EQ(oxLinkBuffer_Release(nullptr, &length), nullptr);
    EXPECT_EQ(oxin_file_open(nullptr, 0, "x", 1), nullptr);
    oxProgram_FatalError(nullptr, "x", -1);
    oxFile_Close(nullptr);
    oxNetwork_Close(nullptr);
}

}  // namespace
