#include <gtest/gtest.h>

#include <string>

#include "runtime/OxinVM.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TestApplication.h"
#include "variables/Variable.h"

namespace {

// Answers every task start with result; a task that "ran" runs here, on a
// clone, as the child process would.
class TaskApplication : public TestApplication {
  public:
    int result = kAsyncStarted;
    int BeginAsynchronousTask(OxinVM* vm) override {
        if (result != kAsyncRan) return result;
        OxinVM clone(this, *vm, nullptr, nullptr, nullptr);
        vm->ResetAsynchronousState();
        clone.Go();
        finished_flag = 1;
        return kAsyncRan;
    }
};

// The task changes a global and a local of a function, and prints them;
// the request prints what it sees behind the task's code.
const char kListing[] =
    ".global\n 0 \"n\"\n.end\n"
    ".functions\n.function 0 \"f\" segment 1\n    param \"p\"\n.end\n"
    ".segment 0\n"
    "    pushc \"1\"\n    popg n\n    pushc \"x\"\n    call f\n    pushg n\n    out\n"
    ".end\n"
    ".segment 1\n"
    "    async done\n"
    "    pushg n\n    pushc \"+task\"\n    cat\n    popg n\n"
    "    pushg n\n    out\n    pushl p\n    out\n    exit\n"
    "done:\n"
    "    pushc \"|after \"\n    out\n    pushl p\n    out\n    pushc \" \"\n    out\n"
    "    retn\n"
    ".end\n";

struct Row {
    int result;
    const char* message;  // of the run-time error, or ""
    const char* output;   // the end of the output
};

class AsyncTest : public ::testing::TestWithParam<Row> {};

TEST_P(AsyncTest, RunsOrSkipsTheTaskAndReportsWhyNot) {
    const Row& row = GetParam();
    TaskApplication application;
    application.result = row.result;
    StringOutput output;
    application.SetOutput(&output);
    ScriptRun run(kListing, &application);
    ASSERT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), 1);
    const std::string& text = output.text();
    EXPECT_NE(text.find(row.message), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with(row.output)) << text;
    // The task changed its own copy: the request's global is as it was.
    Variable* n = nullptr;
    ASSERT_TRUE(run.globals().Find(&n, "n", 1, 0));
    EXPECT_EQ(std::string(n->value().c_str()), "1");
}

INSTANTIATE_TEST_SUITE_P(
    Results, AsyncTest,
    ::testing::Values(Row{0, "", "|after x 1"}, Row{1, "", "1+taskx"},
                      Row{2, "Unable to start asynchronous task\n", "|after x 1"},
                      Row{3, "Asynchronoust tasks are not supported\n", "|after x 1"},
                      Row{4, "Maximum number of asynchronous tasks exceeded\n", "|after x 1"},
                      Row{5, "Asynchronous tasks may not start additional asynchronous tasks\n",
                          "|after x 1"}));

}  // namespace
