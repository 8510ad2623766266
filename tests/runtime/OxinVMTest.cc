#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Feature.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "tests/support/ScriptFiles.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "variables/Variable.h"
#include "variables/VariableList.h"

namespace {

const std::string kScripts = OXIN_SOURCE_DIR "/tests/runtime/scripts/";

struct Machine {
    explicit Machine(const std::string& listing) : run(listing, &application) {
        application.SetOutput(&output);
    }
    TestApplication application;
    StringOutput output;
    ScriptRun run;
};

// Each listing in scripts/ runs with its output (and error messages) compared
// to the file of the same name ending in ".out".
class ScriptTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ScriptTest, PrintsWhatItsOutFileSays) {
    TestApplication application;
    ExpectListingOutput(kScripts + GetParam(), &application);
}

INSTANTIATE_TEST_SUITE_P(Scripts, ScriptTest, ::testing::ValuesIn(listing_names(kScripts)),
                         [](const auto& info) { return test_name(info.param); });

TEST(OxinVMTest, LongConcatenationsBuildInPlace) {
    Machine machine(
        ".global\n 0 \"s\"\n 1 \"n\"\n.end\n"
        ".segment 0\n"
        "    pushc \"\"\n    popg s\n"
        "again:\n"
        "    pushg s\n    pushc \"0123456789\"\n    cat\n    popg s\n"
        "    incg n, 1\n    cmpgi n, 20000\n    jmp_lt again\n"
        "    pushg s\n    pushi 7\n    cat\n    out\n"
        ".end\n");
    ASSERT_EQ(machine.run.Go(), 1);
    std::string expected;
    for (int i = 0; i < 20000; i++)
        expected += "0123456789";
    EXPECT_EQ(machine.output.text(), expected + "7");
}

TEST(OxinVMTest, ACancelledRunStopsWithOneMessage) {
    Machine machine(".segment 0\nagain:\n    jmp again\n.end\n");
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        machine.application.cancelled_flag = 1;
    });
    EXPECT_EQ(machine.run.Go(), 0);
    canceller.join();
    EXPECT_EQ(machine.output.text(), "Application timed out");
    // A second look after the fatal end adds nothing.
    EXPECT_EQ(machine.run.vm()->Go(), 0);
    EXPECT_EQ(machine.output.text(), "Application timed out");
}

TEST(OxinVMTest, ExitStopsEveryMachineSharingTheFlag) {
    Machine machine(
        ".segment 0\n    pushc \"a\"\n    out\n    exit\n    pushc \"b\"\n    out\n.end\n");
    EXPECT_EQ(machine.run.Go(), 1);
    EXPECT_EQ(machine.output.text(), "a");
    EXPECT_EQ(machine.application.finished_flag, 1);
}

TEST(OxinVMTest, RunFunctionCallsByNameFromInsideARun) {
    Machine machine(
        ".functions\n.function 0 \"join\" segment 1\n param \"a\"\n param \"b\"\n.end\n"
        ".segment 0\n    pushc \"x\"\n.end\n"
        ".segment 1\n    pushl a\n    pushl b\n    cat\n    ret\n.end\n");
    ASSERT_EQ(machine.run.Go(), 1);
    OxinVM* vm = machine.run.vm();
    VariableList parameters;
    parameters.Insert(new Variable("", 0, "left ", -1), ListTail, 0);
    parameters.Insert(new Variable("", 0, "right", -1), ListTail, 0);
    Variable* result = new Variable("", 0);
    EXPECT_EQ(vm->RunFunction("JOIN", -1, &parameters, result), 1);
    EXPECT_EQ(std::string(result->value().c_str()), "left right");
    // A wrong count pushes nothing and calls nothing.
    parameters.Insert(new Variable("", 0, "third", -1), ListTail, 0);
    int entries = vm->stack()->Entries();
    EXPECT_EQ(vm->RunFunction("join", -1, &parameters, result), 0);
    EXPECT_EQ(vm->stack()->Entries(), entries);
    EXPECT_EQ(vm->RunFunction("nothing", -1, nullptr, result), 0);
    result->DecRefCount();
}

// A feature that counts its heartbeats and records its end.
class CountingFeature : public Feature {
  public:
    CountingFeature(OxinVM* vm, int id, std::vector<int>* ended)
        : Feature(vm->oxinapplication(), vm, id), ended_(ended) {}
    ~CountingFeature() override { ended_->push_back(ID()); }
    void Heartbeat() override { beats++; }
    int beats = 0;

  private:
    std::vector<int>* ended_;
};

TEST(OxinVMTest, FeaturesEndInStackOrder) {
    Machine machine(".segment 0\n.end\n");
    OxinVM* vm = machine.run.vm();
    std::vector<int> ended;
    auto* outer = new CountingFeature(vm, Feature::kCapture, &ended);
    auto* inner = new CountingFeature(vm, Feature::kCapture, &ended);
    auto* lock = new CountingFeature(vm, Feature::kLockfile, &ended);
    vm->Push_Feature(outer);
    vm->Push_Feature(inner);
    vm->Push_Feature(lock);
    EXPECT_EQ(vm->Lookup_Feature(Feature::kCapture), inner);
    EXPECT_EQ(vm->Lookup_Feature(Feature::kCall), nullptr);
    vm->Heartbeat();
    EXPECT_EQ(outer->beats, 1);
    EXPECT_EQ(lock->beats, 1);
    // Cleaning up the frame reaches the deepest of its run of features: only
    // it is deleted, those above leave the stack undeleted.
    vm->Cleanup_Function_Features(vm->Frame());
    EXPECT_EQ(ended, std::vector<int>{Feature::kCapture});
    EXPECT_EQ(vm->Lookup_Feature(Feature::kCapture), nullptr);
    delete inner;
    delete lock;
}

}  // namespace
