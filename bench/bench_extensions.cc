// Library function calls and dynamic expressions: 1 million calls of a
// two-parameter library function from a script loop, against the same loop
// calling a script function; and 100,000 compilations of an expression.
#include <chrono>
#include <cstdio>
#include <string>

#include "application/NullOutput.h"
#include "extensions/ExternalCallManager.h"
#include "runtime/OxinVM.h"
#include "tests/support/ScriptRun.h"

namespace {

double run_ms(const std::string& listing, bool with_library) {
    TestApplication application;
    NullOutput output;
    application.SetOutput(&output);
    ExternalCallManager externals(&application);
    if (with_library && !externals.RegisterDSO(OXIN_TEST_LIBRARY)) {
        fprintf(stderr, "%s\n", externals.error().c_str());
        return -1;
    }
    ScriptRun run(listing, &application, &externals);
    auto start = std::chrono::steady_clock::now();
    if (run.Go() != 1) return -1;
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}

const char kLoop[] =
    ".global\n 0 \"i\"\n 1 \"r\"\n.end\n"
    ".segment 0\n"
    "again:\n    pushg i\n    pushc \"x\"\n    call join\n    popg r\n"
    "    incg i, 1\n    cmpgi i, 1000000\n    jmp_lt again\n"
    ".end\n";

}  // namespace

int main() {
    std::string library = std::string(
                              ".functions\n.function 0 \"join\" segment -1 offset -1 "
                              "flags 1\n param \"a\"\n param \"b\"\n.end\n") +
                          kLoop;
    std::string script = std::string(
                             ".functions\n.function 0 \"join\" segment 1\n param \"a\"\n"
                             " param \"b\"\n.end\n") +
                         kLoop + ".segment 1\n    pushl a\n    pushl b\n    cat\n    ret\n.end\n";
    double external = run_ms(library, true);
    double internal = run_ms(script, false);
    printf(
        "1M calls of join(a, b): library %.0f ms (%.0f ns a call), script function %.0f ms, "
        "ratio %.2f\n",
        external, external, internal, internal > 0 ? external / internal : 0);

    TestApplication application;
    ScriptRun run(
        ".functions\n.function 0 \"f\" segment 1\n param \"p\"\n.end\n"
        ".segment 0\n.end\n.segment 1\n    pushl p\n    ret\n.end\n",
        &application);
    run.Go();
    auto start = std::chrono::steady_clock::now();
    int compiled = 0;
    for (int i = 0; i < 100000; i++) {
        String error;
        compiled +=
            run.vm()->Compile_Dynamic_Expression("a[i + 1]:name $ f(b * 2) EQ 'x'", -1, nullptr,
                                                 nullptr, &error, nullptr, 0, 0) != nullptr;
    }
    std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
    printf("100,000 compilations of a dynamic expression: %.0f ms (%.2f us each, %d compiled)\n",
           elapsed.count(), elapsed.count() * 1e3 / 1e5, compiled);
    return 0;
}
