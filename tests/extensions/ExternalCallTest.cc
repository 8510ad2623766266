#include <gtest/gtest.h>

#include <string>

#include "extensions/ExternalCallManager.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"

namespace {

// The test library's functions declared as external in a script.
const char kDeclarations[] =
    ".function 0 \"join\" segment -1 offset -1 flags 1\n param \"a\"\n param \"b\"\n.end\n"
    ".function 1 \"BUMP\" segment -1 offset -1 flags 1\n param & \"n\"\n.end\n"
    ".function 2 \"calls\" segment -1 offset -1 flags 1\n.end\n";

struct LibraryRun {
    explicit LibraryRun(const std::string& code, bool register_library = true)
        : externals(&application) {
        application.SetOutput(&output);
        if (register_library) registered = externals.RegisterDSO(OXIN_TEST_LIBRARY);
        run = new ScriptRun(std::string(".functions\n") + kDeclarations + code, &application,
                            &externals);
    }
    ~LibraryRun() { delete run; }
    TestApplication application;
    StringOutput output;
    ExternalCallManager externals;
    bool registered = false;
    ScriptRun* run;
};

// Thousands of calls leak nothing.
TEST(ExternalCallTest, LibraryFunctionsTakeValuesAndReferences) {
    LibraryRun machine(
        ".global\n 0 \"v\"\n 1 \"i\"\n 2 \"s\"\n.end\n"
        ".segment 0\n"
        "    pushc \"left \"\n    pushi 7\n    call join\n    out\n"
        "    pushi 41\n    popg v\n    pushg v\n    call bump\n    pop\n"
        "    pushc \" \"\n    out\n    pushg v\n    out\n"
        "    call calls\n    pop\n    call calls\n    pushc \" \"\n    out\n    out\n"
        "again:\n    pushg i\n    pushc \"x\"\n    call join\n    popg s\n"
        "    incg i, 1\n    cmpgi i, 5000\n    jmp_lt again\n    pushc \" \"\n    out\n"
        "    pushg s\n    out\n"
        ".end\n");
    ASSERT_TRUE(machine.registered) << machine.externals.error().c_str();
    EXPECT_EQ(machine.run->Go(), 1);
    EXPECT_EQ(machine.output.text(), "left 7 42 2 4999x");
}

TEST(ExternalCallTest, DynamicExpressionsFindLibraryFunctions) {
    // A script that declares none of the library's functions.
    TestApplication application;
    ExternalCallManager externals(&application);
    ASSERT_TRUE(externals.RegisterDSO(OXIN_TEST_LIBRARY));
    ScriptRun run(".segment 0\n.end\n", &application, &externals);
    ASSERT_EQ(run.Go(), 1);
    OxinVM* vm = run.vm();
    String error;
    Segment* code = vm->Compile_Dynamic_Expression("JOIN('a', 'b') $ calls()", -1, nullptr, nullptr,
                                                   &error, nullptr, 0, 0);
    ASSERT_NE(code, nullptr) << error.c_str();
    char* text;
    int length;
    EXPECT_EQ(vm->Execute_Dynamic_Expression(code, nullptr, nullptr, &text, &length), 1);
    EXPECT_EQ(std::string(text, length), "ab1");
    delete[] text;
    EXPECT_EQ(
        vm->Compile_Dynamic_Expression("join('a')", -1, nullptr, nullptr, &error, nullptr, 0, 0),
        nullptr);
    EXPECT_STREQ(error.c_str(),
                 "Function 'join' is defined with 2 parameters and was called with 1");
}

TEST(ExternalCallTest, FailuresHaveTheirTexts) {
    const struct {
        const char* code;
        bool registered;
        const char* error;
    } cases[] = {
        {".segment 0\n    pushi 1\n    call bump\n.end\n", true,
         ": Expected variable, found constant\n"},
        {".segment 0\n    call calls\n.end\n", false,
         ": Unresolved call to external function 'calls'\n"},
        // Declarations that do not match the library's.
        {".function 3 \"Join\" segment -1 offset -1 flags 1\n param \"a\"\n.end\n"
         ".segment 0\n    pushi 1\n    call 3\n.end\n",
         true, ": Number of parameters mismatch in call to external function\n"},
        {".function 3 \"bump\" segment -1 offset -1 flags 1\n param \"n\"\n.end\n"
         ".segment 0\n    pushi 1\n    call 3\n.end\n",
         true, ": Parameter type mismatch in call to external function\n"},
    };
    for (const auto& c : cases) {
        LibraryRun machine(c.code, c.registered);
        EXPECT_EQ(machine.run->Go(), 0);
        EXPECT_NE(machine.output.text().find(c.error), std::string::npos) << machine.output.text();
    }
    TestApplication application;
    ExternalCallManager externals(&application);
    EXPECT_FALSE(externals.RegisterDSO("/nonexistent/library.so"));
    EXPECT_FALSE(externals.RegisterDSO("libm.so.6"));
    EXPECT_STREQ(externals.error().c_str(), "Unknown symbol 'oxin_function_table'");
}

}  // namespace
