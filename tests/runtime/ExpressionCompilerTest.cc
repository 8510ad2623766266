#include <gtest/gtest.h>

#include <string>

#include "files/Dictionary.h"
#include "runtime/ExpressionCompiler.h"
#include "runtime/FunctionManager.h"
#include "runtime/OxinVM_Stack.h"
#include "runtime/Segment.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tools/AssemblyNames.h"
#include "tools/SegmentListing.h"

namespace {

// The listing of what an expression compiles to, dictionary operands by
// their text, or "error: " and the compiler's message. A function f of one
// parameter exists.
std::string compiled(const std::string& expression, unsigned version = 0x1000B) {
    Dictionary dictionary;
    FunctionManager functions(&dictionary);
    functions.Function_Add(1, 0, "f", -1, "p", -1, 0);
    Segment segment(0);
    ExpressionCompiler compiler(nullptr, nullptr, &dictionary, &functions, nullptr,
                                expression.data(), static_cast<int>(expression.size()), nullptr,
                                &segment, 0, nullptr, 0, 0, version);
    if (!compiler.Run()) return "error: " + std::string(compiler.error().c_str());
    AssemblyNames names(&dictionary, nullptr, nullptr, &functions);
    std::string listing;
    SegmentListing(&names).List(segment, &listing);
    std::string plain;
    for (size_t at = 0; at < listing.size();) {
        size_t end = listing.find('\n', at);
        std::string line = listing.substr(at, end - at);
        size_t comment = line.find("  ; ");
        if (comment == std::string::npos) {
            plain += line.substr(4);
        } else {
            std::string mnemonic = line.substr(4, line.find(' ', 4) - 4);
            plain += mnemonic == "call" ? line.substr(4, comment - 4)
                                        : mnemonic + " " + line.substr(comment + 4);
        }
        plain += "; ";
        at = end + 1;
    }
    return plain;
}

TEST(ExpressionCompilerTest, EmitsTheInstructionsOrTheMistakeOfTheScriptCompiler) {
    struct Case {
        const char* expression;
        const char* code;
    } cases[] = {
        {"1 + 2 * 3", "pushi 1; pushi 2; pushi 3; mul; add; "},
        {"1 - 2 - 3", "pushi 1; pushi 2; sub; pushi 3; sub; "},
        {"(1 - 2) * -3", "pushi 1; pushi 2; sub; pushi -3; mul; "},
        {"a EQ 1 AND b eq 2", "pushnc \"a\"; pushi 1; eq; pushnc \"b\"; pushi 2; eq; and; "},
        {"NOT NOT x", "pushnc \"x\"; not; not; "},
        {"BITOC 1 + 2", "pushi 1; pushi 2; add; bitoc; "},
        {"'it\\'s' $ \"\\x\"", "pushc \"it's\"; pushc \"\\\\x\"; cat; "},
        {"x[1]:y", "pushnc \"x\"; pushi 1; elem; pushc \"y\"; memb; "},
        {"g.total[i + 1]", "pushnc \"g.total\"; pushnc \"i\"; pushi 1; add; elem; "},
        {"1.5 POW 2 ROUNDS 1", "pushf 1.5; pushi 2; pow; pushi 1; rounds; "},
        {"0x1F MOD 7", "pushi 31; pushi 7; mod; "},
        {"99999999999", "pushi 1215752191; "},  // wraps, as stoi does
        {"1.2.3", "error: Found additional argument '.' while looking for operator"},
        {"f(2 * 3) + 1", "pushi 2; pushi 3; mul; call 0; pushi 1; add; "},
        {"x++", "pushnc \"x\"; dup; pushi 0; add; swap; dup; pushi 1; add; swap; store; "},
        {"--x", "pushnc \"x\"; dup; pushi 1; sub; dup; swapn 0, 2; store; "},
        {"ISNULL a OR a IN 'abc'", "pushnc \"a\"; isnull; pushnc \"a\"; pushc \"abc\"; in; or; "},
        {"'abc", "error: Mismatched Quotes found in Expression"},
        {"(1 + 2", "error: Mismatched Parentheses in Expression"},
        {"1 +", "error: Argument expected in Expression"},
        {"* 2", "error: Argument expected in Expression"},
        {"a b", "error: Found additional argument 'b' while looking for operator"},
        {"#", "error: Invalid Argument '#' Found in expression"},
        {"a#", "error: Invalid Argument '#' in Expression"},
        {"g(1)", "error: Unable to find function 'g'"},
        {"f(1, 2)", "error: Function 'f' is defined with 1 parameters and was called with 2"},
        {"f(", "error: Mismatched Parentheses found in Expression"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(compiled(c.expression), c.code) << c.expression;
    EXPECT_EQ(compiled("x++", 0x10008), "error: Invalid operator found in expression");
}

TEST(ExpressionCompilerTest, CompiledExpressionsComputeTheirValues) {
    TestApplication application;
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(
        ".functions\n.function 0 \"twice\" segment 1\n param \"n\"\n.end\n"
        ".segment 0\n"
        "    expr \"1 - 2 - 3\"\n    out\n    pushc \" \"\n    out\n"
        "    expr \"a[2]:b $ 'x'\"\n    out\n    pushc \" \"\n    out\n"
        "    pushi 5\n    popnc \"n\"\n"
        "    expr \"n++ + n\"\n    out\n    pushc \" \"\n    out\n"
        "    expr \"twice(n) * 10\"\n    out\n"
        ".end\n"
        ".segment 1\n    expr \"l.n * 2\"\n    ret\n.end\n",
        &application);
    ASSERT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), 1);
    // n++ leaves the old value and sets n to 6; reading a[2]:b made it.
    EXPECT_EQ(output.text(), "-4 x 11 120");
}

TEST(ExpressionCompilerTest, DynamicExpressionsRunInAFrameOfTheirOwn) {
    TestApplication application;
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(".segment 0\n    pushi 41\n    popnc \"a\"\n.end\n", &application);
    ASSERT_EQ(run.Go(), 1);
    OxinVM* vm = run.vm();
    String error;
    Segment* code =
        vm->Compile_Dynamic_Expression("a + 1 $ '!'", -1, nullptr, nullptr, &error, nullptr, 0, 0);
    ASSERT_NE(code, nullptr) << error.c_str();
    auto execute = [vm](Segment* segment, VariableHash* locals) {
        char* text;
        int length;
        EXPECT_EQ(vm->Execute_Dynamic_Expression(segment, nullptr, locals, &text, &length), 1);
        std::string result(text, length);
        delete[] text;
        return result;
    };
    EXPECT_EQ(execute(code, nullptr), "42!");
    // Without a previous frame, only the local prefix reaches the locals.
    Dictionary& dictionary = *vm->dictionary();
    VariableHash locals(&dictionary, 4, 8);
    locals.SetVariable("x", -1, "local", -1);
    for (auto [expression, value] : {std::pair{"x", ""}, {"l.x", "local"}}) {
        Segment* segment = vm->Compile_Dynamic_Expression(expression, -1, nullptr, nullptr, nullptr,
                                                          nullptr, 0, 0);
        EXPECT_EQ(execute(segment, &locals), value) << expression;
    }

    EXPECT_EQ(vm->Compile_Dynamic_Expression("(", -1, nullptr, nullptr, &error, nullptr, 0, 0),
              nullptr);
    EXPECT_STREQ(error.c_str(), "Mismatched Parentheses in Expression");
    EXPECT_EQ(vm->stack()->Entries(), 0);
}

}  // namespace
