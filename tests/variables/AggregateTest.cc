#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include "tests/support/TestText.h"
#include "tests/variables/VariableTestSupport.h"
#include "variables/AggregateElementTree.h"
#include "variables/Variable.h"

namespace {

// Position => text for every element, by a whole-tree walk.
std::map<int, std::string> Contents(Variable* array) {
    std::map<int, std::string> contents;
    if (!array->aggregateelements()) return contents;
    array->aggregateelements()->InOrder([&contents](AggregateElement* element) {
        contents[element->index().index()] = Text(element->var());
    });
    return contents;
}

Variable* ArrayOf(std::initializer_list<const char*> texts) {
    Variable* array = new Variable("a", -1);
    int i = 1;
    for (const char* text : texts)
        array->Element(AggregateIndex(i++), 1)->SetValue(text, -1);
    return array;
}

TEST(AggregateElements, KindsReplaceEachOther) {
    Held v(new Variable("v", -1, "scalar", -1));
    EXPECT_EQ(v->Element(AggregateIndex(3), 0), nullptr);
    EXPECT_EQ(Text(v.get()), "scalar");
    v->Element(AggregateIndex(-5), 1)->SetValue("zero", -1);
    EXPECT_EQ(v->aggregatetype(), AggregateArray);
    EXPECT_EQ(v->flags(), 0);
    EXPECT_EQ(Text(v->Element(AggregateIndex(0), 0)), "zero");
    v->Element(AggregateIndex(4), 1)->SetValue("four", -1);
    EXPECT_EQ(v->Element(AggregateIndex("x", -1), 0), nullptr);
    EXPECT_EQ(v->ElementsUsed(), 2);
    v->Element(AggregateIndex("Name", -1), 1)->SetValue("n", -1);
    EXPECT_EQ(v->aggregatetype(), AggregateStructure);
    EXPECT_EQ(v->ElementsUsed(), 1);
    EXPECT_EQ(Text(v->Element(AggregateIndex("NAME", -1), 0)), "n");
    EXPECT_EQ(v->Max(), -1);
    EXPECT_EQ(v->Min(), -1);
    EXPECT_EQ(v->Next(0), -1);
    EXPECT_EQ(v->CollapseElements(), 0);
    Variable* member = v->Element(AggregateIndex("name", -1), 0);
    member->IncRefCount();  // the structure that holds it is about to go
    v->SetElement(AggregateIndex(1), member);
    member->DecRefCount();
    EXPECT_EQ(v->aggregatetype(), AggregateArray);
    EXPECT_EQ(Text(v.get()), "n");
    v->SetValue_Integer(1);
    EXPECT_EQ(v->aggregateelements(), nullptr);
    EXPECT_EQ(v->ElementsUsed(), 0);
    EXPECT_EQ(v->Next(1), 0);
}

TEST(AggregateElements, PathsAndMissingSteps) {
    Held v(new Variable("v", -1));
    List<AggregateIndex> path(1);
    EXPECT_EQ(v->Element(&path, 0), v.get());
    EXPECT_EQ(v->Element(static_cast<List<AggregateIndex>*>(nullptr), 0), v.get());
    path.Insert(new AggregateIndex("a", -1), ListTail);
    path.Insert(new AggregateIndex(2), ListTail);
    path.Insert(new AggregateIndex("c", -1), ListTail);
    EXPECT_EQ(v->Element(&path, 0), nullptr);
    Variable* leaf = v->Element(&path, 1);
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(v->Element(AggregateIndex("A", -1), 0)
                  ->Element(AggregateIndex(2), 0)
                  ->Element(AggregateIndex("C", -1), 0),
              leaf);
}

// Insertion, deletion to the end, neighbours and renumbering are the
// random model's; here deletion with a shift and by key.
TEST(AggregateElements, DeleteAndShift) {
    Held b(ArrayOf({"1", "2", "3"}));
    b->DeleteElements(2, 1, true);
    EXPECT_EQ(Contents(b.get()), (std::map<int, std::string>{{1, "1"}, {2, "3"}}));
    EXPECT_EQ(b->DeleteElement(AggregateIndex(7), true), 0);  // nothing there, still a shift
    EXPECT_EQ(Contents(b.get()), (std::map<int, std::string>{{1, "1"}, {2, "3"}}));
    EXPECT_EQ(b->DeleteElement(AggregateIndex(1), true), 1);
    EXPECT_EQ(Contents(b.get()), (std::map<int, std::string>{{1, "3"}}));
    Held c(ArrayOf({"x", "y", "z"}));
    c->DeleteElement(AggregateIndex(1), true);  // gap below everything
    c->DeleteElement(AggregateIndex(0), true);
    EXPECT_EQ(Contents(c.get()), (std::map<int, std::string>{{0, "y"}, {1, "z"}}));
    Held e(ArrayOf({"1", "2", "3", "4"}));
    EXPECT_EQ(e->DeleteElements(3, -1, true), 2);
    EXPECT_EQ(Contents(e.get()), (std::map<int, std::string>{{1, "1"}, {2, "2"}}));
    Held s(new Variable("s", -1, "text", -1));
    s->DeleteElements(1, 1, false);
    EXPECT_EQ(s->aggregatetype(), AggregateArray);
    EXPECT_EQ(s->ElementsUsed(), 0);
}

TEST(AggregateElements, MergeAndCopyRanges) {
    Held a(ArrayOf({"a", "b", "c"}));
    Held b(ArrayOf({"x", "y"}));
    a->MergeElements(b.get(), 0, -1, 2, true);
    EXPECT_EQ(Text(a.get()), "a,x,y,b,c");
    a->Element(AggregateIndex(2), 0)->SetValue("X", -1);
    EXPECT_EQ(Text(b.get()), "x,y");  // copies, not shared
    Held shared(ArrayOf({"a"}));
    shared->MergeElements(b.get(), 1, 1, 0, false);
    EXPECT_EQ(shared->Element(AggregateIndex(2), 0), b->Element(AggregateIndex(1), 0));
    EXPECT_EQ(b->Element(AggregateIndex(1), 0)->refcount(), 2);
    // Into itself, the range below the insertion point.
    Held self(ArrayOf({"1", "2", "3", "4"}));
    self->MergeElements(self.get(), 1, 2, 5, true);
    EXPECT_EQ(Text(self.get()), "1,2,3,4,1,2");
    // Into itself at a point inside the range: the moved part below the gap
    // is copied first, then the part that the gap pushed up, walked over a
    // doubled count: the gap holds 2, 3, 4 once each, and the walk runs on
    // past the gap (5 lands at 6).
    Held cut(ArrayOf({"1", "2", "3", "4", "5"}));
    cut->MergeElements(cut.get(), 2, 3, 3, true);
    EXPECT_EQ(Contents(cut.get()),
              (std::map<int, std::string>{
                  {1, "1"}, {2, "2"}, {3, "2"}, {4, "3"}, {5, "4"}, {6, "5"}, {7, "4"}, {8, "5"}}));
    Held target(ArrayOf({"1", "2", "3", "4", "5"}));
    target->CopyElements(target.get(), 1, 3, 2, false);  // overlapping, upward
    EXPECT_EQ(Text(target.get()), "1,1,2,3,5");
    target->CopyElements(target.get(), 3, 3, 1, true);  // overlapping, downward
    EXPECT_EQ(Text(target.get()), "2,3,5,3,5");
    Held source(ArrayOf({"p", "q"}));
    target->CopyElements(source.get(), 0, -1, 0, true);
    EXPECT_EQ(Text(target.get()), "2,3,5,3,5,p,q");
    Held scalar(new Variable("s", -1, "1", -1));
    EXPECT_EQ(target->CopyElements(scalar.get(), 1, 1, 1, true), 0);
    EXPECT_EQ(target->ElementsUsed(), 7);
}

// A sparse array against a std::map over a long random run of the
// operations that shift, fill and trim positions. Arrays grow past the
// size where the walks switch from recursion to an explicit stack. Removal
// by key is left to the known-answer cases: the tree's removal may leave a
// subtree out of key order, which a map cannot model.
TEST(AggregateModel, SparseArrayAgainstMap) {
    std::mt19937 random(77);
    Held array(new Variable("a", -1));
    Held other(new Variable("o", -1));
    std::map<int, std::string> model, other_model;
    int serial = 0;
    for (int step = 0; step < kRandomSteps / 4; step++) {
        int range = 20 + static_cast<int>(model.size());
        int i = static_cast<int>(random() % range);
        std::string text = "v" + std::to_string(serial++);
        int start = 1 + static_cast<int>(random() % 10), count = static_cast<int>(random() % 10);
        int dest = 1 + static_cast<int>(random() % range);
        switch (random() % 10) {
            case 0:
            case 1:
            case 2:
                array->Element(AggregateIndex(i), 1)->SetValue(text.c_str(), -1);
                model[i] = text;
                break;
            case 3: {
                i -= 3;
                array->InsertElement(i, Held(new Variable("", 0, text.c_str(), -1)).get());
                if (i < 1) {
                    i = model.empty() ? 1 : std::max(model.rbegin()->first + 1, 1);
                } else {
                    std::map<int, std::string> shifted;
                    for (auto& [k, v] : model)
                        shifted[k >= i ? k + 1 : k] = v;
                    model.swap(shifted);
                }
                model[i] = text;
                break;
            }
            case 4:
                array->DeleteElements(i, -1, false);
                model.erase(model.lower_bound(i), model.end());
                break;
            case 5:
                other->Element(AggregateIndex(i), 1)->SetValue(text.c_str(), -1);
                other_model[i] = text;
                break;
            case 6: {
                array->MergeElements(other.get(), start, count, dest, true);
                std::map<int, std::string> merged;
                for (auto& [k, v] : model)
                    merged[k >= dest ? k + count : k] = v;
                for (auto& [k, v] : other_model)
                    if (k >= start && k < start + count) merged[k - start + dest] = v;
                model.swap(merged);
                break;
            }
            case 7:
                array->CopyElements(other.get(), start, count, dest, true);
                for (auto& [k, v] : other_model)
                    if (k >= start && k < start + count) model[k - start + dest] = v;
                break;
            case 8:
                if (random() % 8 == 0) {
                    ASSERT_EQ(array->CollapseElements(), static_cast<int>(model.size()));
                    std::map<int, std::string> renumbered;
                    int n = 0;
                    for (auto& [k, v] : model)
                        renumbered[++n] = v;
                    model.swap(renumbered);
                }
                break;
            default: {
                Variable* element = array->Element(AggregateIndex(i), 0);
                auto found = model.find(i);
                ASSERT_EQ(element != nullptr, found != model.end()) << "step " << step;
                if (element) {
                    ASSERT_EQ(Text(element), found->second) << "step " << step;
                }
                auto above = model.upper_bound(i);
                ASSERT_EQ(array->Next(i), above == model.end() ? 0 : above->first);
                auto below = model.lower_bound(i);
                ASSERT_EQ(array->Previous(i), below == model.begin() ? 0 : std::prev(below)->first);
                break;
            }
        }
        if (model.empty()) continue;
        ASSERT_EQ(array->ElementsUsed(), static_cast<int>(model.size())) << "step " << step;
        ASSERT_EQ(array->Max(), model.rbegin()->first);
        ASSERT_EQ(array->Min(), model.begin()->first);
        if (step % 64 == 0) {
            ASSERT_EQ(Contents(array.get()), model) << "step " << step;
        }
    }
    EXPECT_EQ(Contents(array.get()), model);
}

// A structure against a std::map keyed by the lower-case name: the member
// order is that of the case-insensitive byte order, a prefix first.
TEST(AggregateModel, CaseInsensitiveStructureAgainstMap) {
    std::mt19937 random(99);
    Held structure(new Variable("s", -1));
    std::map<std::string, std::string> model;
    for (int step = 0; step < kRandomSteps / 4; step++) {
        std::string name = RandomName(random, "abcd", 3), key = Lower(name);
        std::string spelled = RandomCase(name, random);
        AggregateIndex index(spelled.c_str(), static_cast<int>(spelled.size()));
        int operation = static_cast<int>(random() % 4);
        if (operation < 2) {
            structure->Element(index, 1)->SetValue(std::to_string(step).c_str(), -1);
            model[key] = std::to_string(step);
        } else if (operation == 2) {
            structure->SetElement(index, Held(new Variable("", 0, step)).get());
            model[key] = std::to_string(step);
        } else {
            Variable* member = structure->Element(index, 0);
            auto found = model.find(key);
            ASSERT_EQ(member != nullptr, found != model.end()) << name;
            if (member) {
                ASSERT_EQ(Text(member), found->second);
            }
        }
        ASSERT_EQ(structure->ElementsUsed(), static_cast<int>(model.size()));
    }
    std::string expected, names, model_names;
    for (auto& [name, text] : model) {
        expected += (expected.empty() ? "" : ",") + text;
        model_names += name + " ";
    }
    EXPECT_EQ(Text(structure.get()), expected);
    structure->aggregateelements()->InOrder([&names](AggregateElement* element) {
        names += Lower(element->index().name().c_str()) + " ";
    });
    EXPECT_EQ(names, model_names);
}

}  // namespace
