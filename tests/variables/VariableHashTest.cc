#include <gtest/gtest.h>

#include <string>

#include "files/Dictionary.h"
#include "tests/variables/VariableTestSupport.h"
#include "variables/ClonedVariableHash.h"
#include "variables/ReferenceVariable.h"
#include "variables/ReferenceVariableHash.h"
#include "variables/SystemVariableHash.h"
#include "variables/UserVariableHash.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

namespace {

TEST(VariableHashEntries, NumberedInOrderFoundWithoutCase) {
    Dictionary dictionary;
    VariableHash hash(&dictionary, 8, 64);
    EXPECT_EQ(hash.Insert("Alpha", -1), 0);
    EXPECT_EQ(hash.Insert("beta", -1), 1);
    EXPECT_EQ(hash.Insert("ALPHA", -1), 2);  // a second entry behind the first
    EXPECT_EQ(hash.Seek(-1, "alpha", -1), 0);
    _VH_Entry* found = nullptr;
    EXPECT_EQ(hash.Seek(-1, "BETA", 4, &found), 1);
    EXPECT_EQ(found, hash.entry(1));
    EXPECT_EQ(hash.Seek(hash.entry(1)->id, nullptr, 0), 1);
    EXPECT_EQ(hash.Seek(-1, "gamma", -1), -1);
    int id = dictionary.Entry_Add("gamma", -1);
    EXPECT_EQ(hash.Insert(id), 3);
    EXPECT_EQ(hash.Insert(dictionary.entries() + 5), -1);

    Variable* variable = nullptr;
    EXPECT_TRUE(hash.Find(&variable, "GAMMA", -1, 0));
    EXPECT_EQ(variable, nullptr);
    EXPECT_EQ(hash.Index(3, 0), nullptr);
    EXPECT_TRUE(hash.Find(&variable, "GAMMA", -1, 1));
    ASSERT_NE(variable, nullptr);
    EXPECT_STREQ(variable->name().c_str(), "gamma");
    EXPECT_EQ(hash.Index(3, 0), variable);
    EXPECT_FALSE(hash.Find(&variable, "delta", -1, 1));
    EXPECT_EQ(variable, nullptr);
    EXPECT_EQ(hash.Index(4, 1), nullptr);
    EXPECT_EQ(hash.Index(-1, 1), nullptr);
    EXPECT_NE(hash.Index(0, 1), nullptr);
    EXPECT_EQ(hash.Index(2, 0), nullptr);  // the second Alpha has no variable yet
}

TEST(VariableHashEntries, SettingReplacingAndClearing) {
    UserVariableHash hash;
    hash.SetVariable("x", -1, "1", -1);
    hash.SetVariable("X", -1, "2", -1);
    EXPECT_EQ(hash.Entries(), 1);
    EXPECT_EQ(Text(hash.Index(0, 0)), "2");
    Variable* kept = hash.Index(0, 0);
    kept->IncRefCount();
    hash.SetVariable(new Variable("x", -1, "3", -1));
    EXPECT_EQ(kept->refcount(), 1);  // the hash let go of it
    kept->DecRefCount();
    EXPECT_EQ(Text(hash.Index(0, 0)), "3");
    hash.SetVariable(new Variable("y", -1, 4));
    EXPECT_EQ(hash.Entries(), 2);
    Held target(new Variable("t", -1, "target", -1));
    EXPECT_EQ(hash.SetVariable_Reference(1, target.get()), 1);
    EXPECT_EQ(hash.Index(1, 0)->type(), 1);
    EXPECT_STREQ(hash.Index(1, 0)->name().c_str(), "y");
    EXPECT_EQ(Text(hash.Index(1, 0)), "target");
    EXPECT_EQ(target->refcount(), 2);
    EXPECT_EQ(hash.SetVariable_Reference(2, target.get()), 0);
    EXPECT_EQ(hash.ClearVariable("X", -1), 1);
    EXPECT_TRUE(hash.Index(0, 0)->IsNULL());
    EXPECT_EQ(hash.ClearVariable("nothing", -1), 0);
    VariableList* list = new VariableList();
    hash.Insert("unallocated", -1);
    hash.AllocatedVars(list);
    EXPECT_EQ(list->Entries(), 2);
    EXPECT_EQ(list->First(), hash.Index(0, 0));
    list->Destroy();
    hash.Dump();
    EXPECT_EQ(hash.Index(0, 0), nullptr);
    EXPECT_EQ(target->refcount(), 1);
    EXPECT_EQ(hash.Seek(-1, "y", -1), 1);  // names stay
}

TEST(VariableHashNames, AggregatePartsInNames) {
    UserVariableHash hash;
    Variable* v = nullptr;
    EXPECT_TRUE(hash.LookupVariable_Fancy(&v, "a:b[2]:c", -1, 1));
    ASSERT_NE(v, nullptr);
    v->SetValue("deep", -1);
    Variable* a = hash.Index(0, 0);
    EXPECT_EQ(a->aggregatetype(), AggregateStructure);
    Variable* b = a->Element(AggregateIndex("b", -1), 0);
    EXPECT_EQ(b->aggregatetype(), AggregateArray);
    EXPECT_EQ(b->Element(AggregateIndex(2), 0)->aggregatetype(), AggregateStructure);
    Variable* again = nullptr;
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "A:B[ 2]:C", -1, 0));
    EXPECT_EQ(again, v);
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "A:B", -1, 0));
    EXPECT_EQ(again, b);

    for (const char* bad : {"z[1]b", "z[x]", "z[1", "z[-1]", "z[1]]", "z[+1]"}) {
        again = v;
        EXPECT_FALSE(hash.LookupVariable_Fancy(&again, bad, -1, 1)) << bad;
        EXPECT_EQ(again, nullptr);
        EXPECT_STREQ(hash.error().c_str(), "Array index must be positive integer");
    }
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "e[]", -1, 1));
    Variable* e = nullptr;
    hash.Find(&e, "e", -1, 0);
    EXPECT_EQ(e->Element(AggregateIndex(0), 0), again);
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "missing", -1, 0));
    EXPECT_EQ(again, nullptr);
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "missing[3]:x", -1, 0));
    EXPECT_EQ(again, nullptr);
    EXPECT_EQ(hash.Seek(-1, "missing", -1), -1);
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "s:", -1, 1));    // an empty member name
    EXPECT_TRUE(hash.LookupVariable_Fancy(&again, "a[9]", -1, 0));  // a is a structure
    EXPECT_EQ(again, nullptr);
    EXPECT_EQ(a->aggregatetype(), AggregateStructure);
}

TEST(VariableHashNames, RepeatedRequestValuesMakeArrays) {
    UserVariableHash hash;
    hash.SetVariable_Fancy("x", -1, "", -1, 1);
    hash.SetVariable_Fancy("x", -1, "one", -1, 1);  // a first empty value is overwritten
    hash.SetVariable_Fancy("x", -1, "two", -1, 1);
    hash.SetVariable_Fancy("x", -1, "three", -1, 1);
    Variable* x = hash.Index(0, 0);
    EXPECT_EQ(x->aggregatetype(), AggregateArray);
    EXPECT_EQ(Text(x), "one,two,three");
    hash.SetVariable_Fancy("x", -1, "only", -1, 0);
    EXPECT_EQ(Text(x), "only");
    EXPECT_EQ(hash.SetVariable_Fancy("f:g[1]", -1, "v", -1, 1), 0);
    Variable* g = nullptr;
    hash.LookupVariable_Fancy(&g, "F:G", -1, 0);
    EXPECT_EQ(Text(g), "v");
    SystemVariableHash system(hash.dictionary());
    system.SetVariable_Fancy("s", -1, "1", -1, 1);
    system.SetVariable_Fancy("s", -1, "2", -1, 1);
    EXPECT_EQ(Text(system.Index(0, 0)), "2");
}

// Name => scope code, the rest, and the database named ("-" for none).
TEST(VariableHashNames, ScopePrefixes) {
    const std::pair<const char*, const char*> cases[] = {
        {"l.x", "0 x -"},         {"LOCAL.x", "0 x -"},
        {"g.x", "1 x -"},         {"Global.x", "1 x -"},
        {"s.x", "2 x -"},         {"system.x", "2 x -"},
        {"d.x", "3 x "},          {"database.x", "3 x "},
        {"db.d.x", "3 x db"},     {"db.DATABASE.x", "3 x db"},
        {"x.d.y", "3 y x"},       {"x.database.y", "3 y x"},
        {"x.y", "5 x.y -"},       {"q.x", "5 q.x -"},
        {"x", "5 x -"},           {"a[1]:b", "5 a[1]:b -"},
        {"local.d.x", "0 d.x -"}, {"g.d.x", "3 x g"}};
    for (auto [name, expected] : cases) {
        const char *rest = nullptr, *database = nullptr;
        int rest_length = -2, database_length = -2;
        int scope = VariableHash::Scope(name, -1, &rest, &rest_length, &database, &database_length);
        std::string got = std::to_string(scope) + " " + std::string(rest, rest_length) + " ";
        if (database) {
            got += std::string(database, database_length);
        } else {
            EXPECT_EQ(database_length, 0) << name;
            got += "-";
        }
        EXPECT_EQ(got, expected) << name;
    }
}

TEST(VariableHashScopes, SystemOverridesUndoneByLevel) {
    Dictionary dictionary;
    SystemVariableHash system(&dictionary);
    system.SetVariable("mode", -1, "base", -1);
    Variable* base = system.Index(0, 0);
    EXPECT_EQ(system.Pop(), 0);
    system.Push();
    EXPECT_EQ(system.Version(), 1);
    system.SetVariable(new Variable("MODE", -1, "first", -1));
    system.SetVariable(new Variable("mode", -1, "second", -1));
    EXPECT_EQ(Text(system.Index(0, 0)), "second");
    system.Insert(-1, "added", -1, new Variable("added", -1, 1));
    EXPECT_EQ(system.entry(1)->version, 1);
    system.Push();
    Held target(new Variable("t", -1, "t", -1));
    system.SetVariable_Reference(0, target.get());
    EXPECT_EQ(Text(system.Index(0, 0)), "t");
    EXPECT_EQ(system.Pop(), 1);
    EXPECT_EQ(Text(system.Index(0, 0)), "second");
    EXPECT_EQ(target->refcount(), 1);
    EXPECT_EQ(system.Pop(), 1);
    EXPECT_EQ(system.Index(0, 0), base);
    EXPECT_EQ(Text(base), "base");
    EXPECT_EQ(system.Index(1, 0), nullptr);  // the entry stays, emptied
    EXPECT_EQ(system.Entries(), 2);

    system.Insert("later", -1);
    system.Push();
    Variable* later = nullptr;
    EXPECT_TRUE(system.Find(&later, "later", -1, 1));
    EXPECT_NE(later, nullptr);
    system.Insert(-1, "MODE", -1, new Variable("mode", -1, "inserted", -1));
    EXPECT_EQ(Text(system.Index(0, 0)), "inserted");
    system.Pop();
    EXPECT_EQ(system.Index(2, 0), nullptr);
    EXPECT_EQ(Text(system.Index(0, 0)), "base");
    // Levels left open are dropped, with their saved variables, at the end.
    system.Push();
    system.SetVariable(new Variable("mode", -1, "left", -1));
    system.Push();
    system.SetVariable(new Variable("mode", -1, "open", -1));
}

TEST(VariableHashScopes, ClonesShareNoVariable) {
    Dictionary dictionary;
    VariableHash globals(&dictionary);
    globals.SetVariable("a", -1, "1", -1);
    globals.Insert("unallocated", -1);
    globals.SetVariable_Fancy("s:m", -1, "member", -1, 0);
    ClonedVariableHash clone(nullptr, &dictionary, globals);
    EXPECT_EQ(clone.delegate(), &clone);
    EXPECT_EQ(clone.Entries(), 3);
    EXPECT_NE(clone.Index(0, 0), globals.Index(0, 0));
    EXPECT_EQ(Text(clone.Index(0, 0)), "1");
    EXPECT_EQ(clone.Index(1, 0), nullptr);
    clone.Index(0, 0)->SetValue("changed", -1);
    Variable* member = nullptr;
    clone.LookupVariable_Fancy(&member, "S:M", -1, 0);
    member->SetValue("other", -1);
    EXPECT_EQ(Text(globals.Index(0, 0)), "1");
    EXPECT_EQ(Text(globals.Index(2, 0)), "member");

    Dictionary file_names;
    ReferenceVariableHash table(&file_names, &globals);
    table.VariableHash::Insert(-1, "a", -1, nullptr);  // mapped to the target's entry 0
    ClonedVariableHash through(nullptr, &file_names, table);
    ASSERT_NE(through.delegate(), &through);
    EXPECT_NE(through.delegate()->dictionary(), &dictionary);
    EXPECT_EQ(Text(through.Index(0, 0)), "1");  // the delegate's entry 0
    EXPECT_NE(through.Index(0, 0), globals.Index(0, 0));
    through.SetVariable("new", -1, "n", -1);
    EXPECT_EQ(globals.Seek(-1, "new", -1), -1);

    SystemVariableHash system(&dictionary);
    system.SetVariable("sys", -1, "s", -1);
    ClonedVariableHash system_clone(nullptr, &dictionary, system);
    ASSERT_NE(dynamic_cast<SystemVariableHash*>(system_clone.delegate()), nullptr);
    system_clone.Push();
    system_clone.SetVariable(new Variable("sys", -1, "override", -1));
    EXPECT_EQ(Text(system.Index(0, 0)), "s");
    system_clone.Pop();
    EXPECT_EQ(Text(system_clone.Index(0, 0)), "s");
    EXPECT_EQ(system.Version(), 0);
}

}  // namespace
