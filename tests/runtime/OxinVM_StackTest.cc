#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>

#include "base/LinkBuffer.h"
#include "runtime/OxinVM_Stack.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "variables/Variable.h"

namespace {

// A stack of a machine whose fatal errors land in output.
class OxinVM_StackTest : public ::testing::Test {
  protected:
    OxinVM_StackTest() : run_(".segment 0\n.end\n", &application_), stack_(run_.vm(), 512) {
        application_.SetOutput(&output_);
    }
    // The error text after "...]: ", or "" when there was none.
    std::string Fault() {
        const std::string& text = output_.text();
        size_t at = text.rfind("]: ");
        return at == std::string::npos ? "" : text.substr(at + 3, text.size() - at - 4);
    }
    std::string PopText() {
        int length, size, deletable;
        char* text = stack_.PopS(&length, &size, &deletable);
        std::string result(text ? text : "", length);
        if (deletable) delete[] text;
        return result;
    }
    void PushText(const char* text) {
        stack_.PushS(text, static_cast<int>(strlen(text)), static_cast<int>(strlen(text)), 0);
    }
    double AsDouble(const char* text) { return PushText(text), stack_.PopD(); }
    bool AsBool(const char* text) { return PushText(text), stack_.PopBool(); }

    TestApplication application_;
    StringOutput output_;
    ScriptRun run_;
    OxinVM_Stack stack_;
};

TEST_F(OxinVM_StackTest, HoldsExactly512Entries) {
    for (int i = 0; i < 512; i++)
        stack_.PushI(i);
    EXPECT_EQ(Fault(), "");
    stack_.PushS(new char[4](), 3, 4, 1);  // refused and freed
    EXPECT_EQ(Fault(), "Stack overflow");
    EXPECT_EQ(stack_.Entries(), 512);
    EXPECT_EQ(stack_.PopI(), 511);
}

// The common readings of numbers and texts, and their truth, are the
// script tests'; here the edges that no script reaches.
TEST_F(OxinVM_StackTest, PoppingConvertsTheEdges) {
    stack_.PushD(NAN);
    EXPECT_EQ(stack_.PopI(), INT_MIN);
    EXPECT_EQ(AsDouble("1.9abc"), 0.0);
    EXPECT_EQ(AsDouble("-INF"), -INFINITY);
    EXPECT_FALSE(AsBool(""));
    EXPECT_FALSE(AsBool("000"));
    EXPECT_TRUE(AsBool(" "));
    stack_.PushD(0.0);
    EXPECT_FALSE(stack_.PopBool());
    for (auto [text, position] : {std::pair{"TOP", -1}, {"Bottom", -2}, {"12", 12}, {"tops", 0}}) {
        PushText(text);
        EXPECT_EQ(stack_.PopDBPosition(), position) << text;
    }
    EXPECT_EQ(Fault(), "");
}

TEST_F(OxinVM_StackTest, VariablesAreCountedAndTheirTextsShared) {
    Variable* shared = new Variable("v", 1, "kept", 4);
    stack_.PushV(shared, 1, 1);
    int length, size, deletable;
    char* text = stack_.PopS(&length, &size, &deletable);
    EXPECT_EQ(deletable, 0);
    EXPECT_EQ(text, shared->value().c_str());
    EXPECT_EQ(shared->refcount(), 1);
    // The last holder gets a copy of its own.
    stack_.PushV(shared, 0, 1);
    text = stack_.PopS(&length, &size, &deletable);
    EXPECT_EQ(deletable, 1);
    EXPECT_EQ(std::string(text, length), "kept");
    delete[] text;
    // Moved from another stack, a borrowed variable is counted.
    OxinVM_Stack other(run_.vm(), 512);
    Variable* local = new Variable("l", 1, "value", 5);
    other.PushV(local, 0, 0);  // borrowed, as a frame's local is
    stack_.Push(&other, 1);
    EXPECT_EQ(local->refcount(), 2);
    EXPECT_TRUE(stack_.Peek()->deletable());
    local->DecRefCount();  // the frame goes
    EXPECT_EQ(PopText(), "value");
    EXPECT_EQ(Fault(), "");
}

TEST_F(OxinVM_StackTest, AssigningABufferHandsOverItsBlock) {
    auto* buffer = new LinkBuffer(512, 4096);
    buffer->cat("abc", 3);
    buffer->cat("def", 3);
    int length;
    const char* block = buffer->data(&length);
    stack_.PushLinkBuffer(buffer, 1);
    Variable* target = new Variable("t", 1);
    ASSERT_TRUE(stack_.PopV(target));
    EXPECT_EQ(target->value().c_str(), block);
    EXPECT_STREQ(target->value().c_str(), "abcdef");
    target->DecRefCount();
}

TEST_F(OxinVM_StackTest, ConcatenationGrowsOneBuffer) {
    stack_.PushS("a", 1, 1, 0);
    stack_.PushI(1);
    stack_.Concatenate();  // two plain operands: one flat text
    ASSERT_EQ(stack_.Peek()->type, OxinVM_Stack::kString);
    stack_.PushD(2.5);
    stack_.Concatenate();  // a deletable left operand becomes a buffer
    ASSERT_EQ(stack_.Peek()->type, OxinVM_Stack::kLinkBuffer);
    LinkBuffer* buffer = stack_.Peek()->value.buffer;
    for (int i = 0; i < 100; i++) {
        stack_.PushS("x", 1, 1, 0);
        stack_.Concatenate();
        EXPECT_EQ(stack_.Peek()->value.buffer, buffer);
    }
    // A deletable right operand takes the left one in front.
    stack_.PushS(">", 1, 1, 0);
    stack_.Swap(0, 1);
    stack_.Concatenate();
    EXPECT_EQ(PopText(), ">a12.5" + std::string(100, 'x'));
}

TEST_F(OxinVM_StackTest, FaultsAreFatalWithTheirTexts) {
    stack_.Swap(0, 0);
    EXPECT_EQ(Fault(), "Invalid stack reference");
    stack_.Pop();
    EXPECT_EQ(Fault(), "Stack underflow");
    stack_.PushV(nullptr, 1, 1);
    EXPECT_EQ(Fault(), "Invalid variable reference");
    stack_.PushI(1);
    Variable* out;
    int deletable;
    EXPECT_FALSE(stack_.PopV(&out, &deletable));
    EXPECT_EQ(Fault(), "Expected variable, found constant");
    EXPECT_EQ(stack_.Entries(), 0);
    stack_.PushI(1);
    EXPECT_FALSE(stack_.PopV(static_cast<Variable*>(nullptr)));
    EXPECT_EQ(stack_.Entries(), 1);  // the entry stays
    stack_.PushI(2);
    EXPECT_EQ(stack_.Compare(), -1);
    EXPECT_EQ(stack_.Compare(), 0);
    EXPECT_EQ(Fault(), "Stack underflow");
    EXPECT_TRUE(run_.vm()->fatal());
}

TEST_F(OxinVM_StackTest, DumpListsEveryEntry) {
    stack_.PushI(42);
    PushText("hi");
    testing::internal::CaptureStdout();
    stack_.Dump_Stack();
    std::string dump = testing::internal::GetCapturedStdout();
    EXPECT_EQ(dump.substr(0, dump.find('\n')), "SP = 2, SS = 512");
    char row[128];
    snprintf(row, sizeof row, "%-3d %-10s %c %-50d %d %d\n", 0, "Integer", 'n', 42, 4, 4);
    EXPECT_NE(dump.find(row), std::string::npos) << dump;
    EXPECT_NE(dump.find("1   String     n hi"), std::string::npos) << dump;
}

}  // namespace
