#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/variables/VariableTestSupport.h"
#include "variables/AggregateElementTree.h"
#include "variables/ImmutableVariable.h"
#include "variables/NULLVariable.h"
#include "variables/ReferenceVariable.h"
#include "variables/VariableList.h"

namespace {

constexpr unsigned char kS = Variable::kStringValid;
constexpr unsigned char kI = Variable::kIntegerValid;
constexpr unsigned char kD = Variable::kDoubleValid;

// Plain readings of texts are the random run's; here the comparison value,
// which reports a text that is no number.
TEST(VariableForms, ComparisonValueReportsTextThatIsNoNumber) {
    Held v(new Variable("v", -1, "1e3", -1));
    EXPECT_EQ(v->value_integer(), 1000);  // through the double
    EXPECT_EQ(v->flags(), kS | kI | kD);
    int error = 5;
    v->SetValue("abc", -1);
    EXPECT_EQ(v->value_compare(&error), 0.0);
    EXPECT_EQ(error, 1);
    EXPECT_EQ(v->flags() & kD, 0);
    v->SetValue("2.5", -1);
    EXPECT_EQ(v->value_compare(&error), 2.5);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(v->flags() & kD, kD);
    v->SetValue_Integer(9);
    EXPECT_EQ(v->value_compare(&error), 9.0);
    EXPECT_EQ(v->flags(), kI | kD);
}

// The expected value of a variable, worked out with the C library.
struct Expected {
    std::string text;
    int integer = 0;
    double number = 0.0;
    bool null = true;
    // Unset: the first reading decides. A text reading makes it an empty
    // text, a number reading makes it a valid 0.
    bool unset = true;
};

Expected FromInteger(int value) {
    char text[16];
    snprintf(text, sizeof text, "%d", value);
    return {text, value, static_cast<double>(value), false, false};
}

Expected FromText(const std::string& text) {
    Expected e{text, 0, 0.0, text.empty(), false};
    char* end;
    errno = 0;
    long integer = strtol(text.c_str(), &end, 0);
    bool plain_integer = !text.empty() && *end == 0 && text[0] != '+' && text[0] != ' ' &&
                         integer >= INT32_MIN && integer <= INT32_MAX &&
                         !(text.size() > 1 && text[0] == '0' && text[1] != 'x');
    double number = strtod(text.c_str(), &end);
    bool is_number = !text.empty() && *end == 0 && text[0] != ' ';
    e.number = is_number ? number : 0.0;
    e.integer = plain_integer ? static_cast<int>(integer) : static_cast<int>(e.number);
    return e;
}

std::string RandomText(std::mt19937& random) {
    int value = static_cast<int>(random() % 200000) - 100000;
    char fraction[32], hex[16];
    snprintf(fraction, sizeof fraction, "%.3f", value / 8.0);
    snprintf(hex, sizeof hex, "0x%X", static_cast<unsigned>(random() % 65536));
    std::string word(1 + random() % 5, static_cast<char>('a' + random() % 26));
    std::string suffixed = std::to_string(random() % 1000) + "abc";
    const std::string texts[] = {std::to_string(value), fraction, hex, suffixed, "", word};
    return texts[random() % 6];
}

// Random assignments of every kind and random reads in random order over a
// pool of variables and references to them; each read must agree with the
// C library's reading of what was assigned last.
TEST(VariableForms, RandomAssignmentsStayCoherent) {
    std::mt19937 random(20240601);
    constexpr int kPool = 8;
    std::vector<Variable*> pool;
    std::map<Variable*, Expected> model;
    for (int i = 0; i < kPool; i++) {
        pool.push_back(new Variable("p", -1));
        model[pool.back()] = Expected{};
    }
    std::vector<Variable*> references;
    for (int i = 0; i < 4; i++)
        references.push_back(new ReferenceVariable("r", -1, pool[random() % kPool]));
    auto pick = [&]() -> Variable* {
        return random() % 3 == 0 ? references[random() % references.size()]
                                 : pool[random() % kPool];
    };
    for (int step = 0; step < kRandomSteps; step++) {
        Variable* v = pick();
        Expected& e = model[v->RealIdentity()];
        switch (random() % 8) {
            case 0: {
                int value = static_cast<int>(random()) / 3;
                v->SetValue_Integer(value);
                e = FromInteger(value);
                break;
            }
            case 1: {
                double value = (static_cast<int>(random() % 2000000) - 1000000) / 64.0;
                v->SetValue_Double(value);
                e = {"", static_cast<int>(value), value, false, false};  // text read back
                break;
            }
            case 2: {
                std::string text = RandomText(random);
                v->SetValue(text.c_str(), static_cast<int>(text.size()));
                e = FromText(text);
                break;
            }
            case 3: {
                Variable* source = pick();
                if (source->RealIdentity() == v->RealIdentity()) break;  // no change at all
                Expected& s = model[source->RealIdentity()];
                if (s.unset) s = FromText("");
                v->SetValue(*source);
                e = s;
                break;
            }
            case 4:
                v->SetNULL();
                e = Expected{};
                break;
            default:
                break;
        }
        // Whether the value is null is asked before any number is filled
        // in: an unset variable that was read as a number is no longer null.
        if (random() % 2) {
            ASSERT_EQ(v->IsNULL(), e.null) << "step " << step;
        }
        for (int read = 0; read < 3; read++) {
            int kind = random() % 3;
            if (e.unset) e = kind == 2 ? FromText("") : FromInteger(0);
            if (kind == 0) {
                ASSERT_EQ(v->value_integer(), e.integer) << "step " << step;
            } else if (kind == 1) {
                ASSERT_EQ(v->value_double(), e.number) << "step " << step;
            } else if (!e.text.empty() || e.null) {
                ASSERT_EQ(Text(v), e.text) << "step " << step;
            } else {
                ASSERT_EQ(strtod(Text(v).c_str(), nullptr), e.number) << "step " << step;
            }
        }
    }
    for (Variable* r : references)
        r->DecRefCount();
    for (Variable* v : pool) {
        EXPECT_EQ(v->refcount(), 1);
        v->DecRefCount();
    }
}

TEST(VariableCopy, SelfAssignmentAndDeepCopies) {
    Held v(new Variable("v", -1, "abc", -1));
    v->SetValue(*v);
    EXPECT_EQ(Text(v.get()), "abc");
    EXPECT_EQ(v->flags(), kS);
    v->Element(AggregateIndex(1), 1)->SetValue("x", -1);
    v->Element(AggregateIndex(2), 1)->SetValue("y", -1);
    AggregateElementTree* before = v->aggregateelements();
    Variable* first = v->Element(AggregateIndex(1), 0);
    v->SetValue(*v);
    EXPECT_NE(v->aggregateelements(), before);
    EXPECT_NE(v->Element(AggregateIndex(1), 0), first);
    EXPECT_EQ(Text(v.get()), "x,y");
    Held a(new Variable("a", -1));
    a->Element(AggregateIndex("m", -1), 1)->Element(AggregateIndex(3), 1)->SetValue_Integer(4);
    Held b(new Variable("b", -1, "old", -1));
    b->SetValue(*a);
    EXPECT_EQ(b->aggregatetype(), AggregateStructure);
    EXPECT_EQ(b->flags(), 0);
    Variable* inner = b->Element(AggregateIndex("M", -1), 0)->Element(AggregateIndex(3), 0);
    ASSERT_NE(inner, nullptr);
    inner->SetValue_Integer(5);
    EXPECT_EQ(Text(a.get()), "4");
    EXPECT_EQ(Text(b.get()), "5");
    Held c(a->Clone(nullptr));
    EXPECT_EQ(Text(c.get()), "4");
    // An element assigned from its own aggregate: the value is read before
    // the old elements go.
    a->SetValue(*a->Element(AggregateIndex("m", -1), 0));
    EXPECT_EQ(a->aggregatetype(), AggregateArray);
    EXPECT_EQ(a->Element(AggregateIndex(3), 0)->value_integer(), 4);
}

TEST(VariableSerialize, ElementsJoinWithCommasDepthFirst) {
    Held a(new Variable("a", -1));
    a->Element(AggregateIndex(1), 1);  // empty
    a->Element(AggregateIndex(2), 1)->SetValue("a", -1);
    a->Element(AggregateIndex(3), 1)->SetValue("b", -1);
    EXPECT_EQ(Text(a.get()), "a,b");
    Held b(new Variable("b", -1));
    b->Element(AggregateIndex(1), 1)->SetValue("a", -1);
    b->Element(AggregateIndex(2), 1);
    b->Element(AggregateIndex(3), 1)->SetValue("b", -1);
    EXPECT_EQ(Text(b.get()), "a,,b");
    Variable* nested = b->Element(AggregateIndex(2), 0);
    nested->Element(AggregateIndex("y", -1), 1)->SetValue_Integer(2);
    nested->Element(AggregateIndex("x", -1), 1)->SetValue_Double(1.5);
    EXPECT_EQ(Text(b.get()), "a,1.5,2,b");
    EXPECT_EQ(b->value_integer(), 0);
    EXPECT_EQ(b->value_double(), 0.0);
    EXPECT_FALSE(b->IsNULL());
    int error = 0;
    EXPECT_EQ(b->value_compare(&error), 0.0);
    EXPECT_EQ(error, 1);
    // The truth of an array is that of its text: "0" is false, "0,0" true.
    Held one(new Variable("one", -1));
    one->Element(AggregateIndex(1), 1)->SetValue("0", -1);
    EXPECT_FALSE(one->IsTrue());
    Held two(new Variable("two", -1));
    two->Element(AggregateIndex(1), 1)->SetValue("0", -1);
    two->Element(AggregateIndex(2), 1)->SetValue("0", -1);
    EXPECT_TRUE(two->IsTrue());
}

TEST(VariableCounts, HoldersShareOneVariable) {
    Variable* v = new Variable("v", -1, 1);
    VariableList* list = new VariableList();
    list->Insert(v, ListTail);
    list->Insert(v, ListTail);
    EXPECT_EQ(v->refcount(), 3);
    Variable* owned = new Variable("o", -1);
    list->Insert(owned, ListHead, 0);  // the list takes over this count
    EXPECT_EQ(owned->refcount(), 1);
    Held holder(new Variable("h", -1));
    holder->SetElement(AggregateIndex(1), v);
    holder->SetElement(AggregateIndex("x", -1), v);  // a structure now: the array element went
    EXPECT_EQ(v->refcount(), 4);
    holder->SetElement(AggregateIndex("X", -1), v);
    EXPECT_EQ(v->refcount(), 4);
    list->Destroy();
    EXPECT_EQ(v->refcount(), 2);
    v->DecRefCount();
    EXPECT_EQ(v->refcount(), 1);
    holder->SetNULL();  // the last count goes with the element
}

TEST(VariableReferences, WritesReachTheTargetThroughChains) {
    Variable* target = new Variable("target", -1, "a", -1);
    Variable* reference = new Variable("ref", -1, 3);
    reference->IncRefCount();  // two holders
    reference->Make_Reference(target);
    EXPECT_EQ(reference->type(), 1);
    EXPECT_EQ(static_cast<ReferenceVariable*>(reference)->TypeReferredTo(), 0);
    EXPECT_EQ(target->refcount(), 3);
    EXPECT_STREQ(reference->name().c_str(), "ref");
    EXPECT_EQ(Text(reference), "a");
    reference->SetValue_Integer(8);
    EXPECT_EQ(target->value_integer(), 8);
    reference->Element(AggregateIndex(2), 1)->SetValue("z", -1);
    EXPECT_EQ(target->ElementsUsed(), 1);
    EXPECT_EQ(reference->Max(), 2);
    EXPECT_EQ(reference->RealIdentity(), target);
    EXPECT_EQ(reference->NextIdentity(), target);
    Held clone(reference->Clone(nullptr));
    EXPECT_EQ(clone->type(), 0);
    EXPECT_EQ(Text(clone.get()), "z");
    // Retargeting moves both counts.
    Variable* other = new Variable("other", -1, "o", -1);
    reference->Make_Reference(other);
    EXPECT_EQ(target->refcount(), 1);
    EXPECT_EQ(other->refcount(), 3);
    EXPECT_EQ(Text(reference), "o");
    reference->DecRefCount();
    reference->DecRefCount();
    EXPECT_EQ(other->refcount(), 1);
    other->DecRefCount();
    target->DecRefCount();
    Variable* v = new Variable("v", -1, "x", -1);
    Variable* r = new ReferenceVariable("r", -1, v);
    v->Make_Reference(r);  // r already leads to v
    EXPECT_EQ(v->type(), 0);
    Variable* r2 = new ReferenceVariable("r2", -1, r);
    EXPECT_EQ(r2->RealIdentity(), v);
    EXPECT_EQ(v->refcount(), 3);
    r2->SetValue("y", -1);
    EXPECT_EQ(Text(v), "y");
    r2->Make_Reference(v);  // same real identity: nothing
    EXPECT_EQ(r2->NextIdentity(), r);
    r2->DecRefCount();
    r->DecRefCount();
    EXPECT_EQ(v->refcount(), 1);
    v->DecRefCount();
}

TEST(VariableReferences, SingleHolderAndPathTargets) {
    Variable* base = new Variable("base", -1);
    List<AggregateIndex> path(1);
    path.Insert(new AggregateIndex("a", -1), ListTail);
    path.Insert(new AggregateIndex(2), ListTail);
    Variable* r = new ReferenceVariable(String("r"), base, &path);
    r->SetValue("deep", -1);
    EXPECT_EQ(Text(base->Element(&path, 0)), "deep");
    EXPECT_EQ(base->Element(&path, 0)->refcount(), 2);

    Variable* plain = new Variable("p", -1);
    plain->Make_Reference(r);
    EXPECT_EQ(plain->RealIdentity(), base->Element(&path, 0));
    plain->DecRefCount();
    r->DecRefCount();
    EXPECT_EQ(base->Element(&path, 0)->refcount(), 1);
    base->DecRefCount();
}

TEST(VariableImmutable, WritesAreIgnoredAndMissingElementsReadAsNull) {
    Held v(new ImmutableVariable("c", -1, "const", -1));
    v->SetValue("x", -1);
    v->SetValue_Integer(1);
    v->SetValue_Double(1.0);
    v->SetNULL();
    v->SetValue_Nocopy(new char[10], 0, 10);  // freed, not kept
    Held other(new Variable("o", -1, 3));
    v->SetValue(*other);
    v->SetElement(AggregateIndex(1), other.get());
    v->Make_Reference(other.get());
    EXPECT_EQ(other->refcount(), 1);
    EXPECT_EQ(Text(v.get()), "const");
    EXPECT_EQ(v->type(), 0);
    Variable* missing = v->Element(AggregateIndex(4), 1);
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(missing->type(), 2);
    EXPECT_EQ(v->Element(AggregateIndex("m", -1), 1), missing);
    EXPECT_EQ(v->Element(AggregateIndex(4), 0), nullptr);
    EXPECT_EQ(v->aggregatetype(), AggregateNone);
    EXPECT_EQ(v->CollapseElements(), 0);
    Held clone(v->Clone(nullptr));
    EXPECT_EQ(Text(clone.get()), "const");
    clone->SetValue("changed", -1);
    EXPECT_EQ(Text(clone.get()), "const");
    Held number(new ImmutableVariable("n", -1, 2.5));
    Held number_clone(number->Clone(nullptr));
    EXPECT_EQ(number_clone->flags(), kD);
    EXPECT_EQ(number_clone->value_double(), 2.5);
}

}  // namespace
