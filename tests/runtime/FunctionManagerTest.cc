// Functions, their parameters and locals, the function table by name, and
// the "func" section.

#include <map>
#include <random>
#include <string>

#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/SegmentManager.h"
#include "tests/support/CompiledFileFixture.h"
#include "tests/support/TestText.h"
#include "variables/VariableHash.h"

namespace {

int LocalId(VariableHash& locals, int n) {
    return locals.entry(n)->id;
}

void ExpectSameFunction(Function* a, Function* b) {
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(a->id(), b->id());
    EXPECT_EQ(Str(a->name()), Str(b->name()));
    EXPECT_EQ(a->name_index(), b->name_index());
    EXPECT_EQ(a->flags(), b->flags());
    EXPECT_EQ(a->segment(), b->segment());
    EXPECT_EQ(a->offset(), b->offset());
    ASSERT_EQ(a->ParameterCount(), b->ParameterCount());
    for (int i = 0; i < a->ParameterCount(); i++) {
        FunctionParameter* p = a->Parameter(i);
        FunctionParameter* q = b->Parameter(i);
        EXPECT_EQ(p->name_index(), q->name_index());
        EXPECT_EQ(Str(p->name()), Str(q->name()));
        EXPECT_EQ(p->flags(), q->flags());
        EXPECT_EQ(p->localvar_index(), q->localvar_index());
    }
    ASSERT_EQ(a->LocalVariables()->bits(), b->LocalVariables()->bits());
    ExpectSameChains(*a->LocalVariables(), *b->LocalVariables(), LocalId);
}

void ExpectSameManager(FunctionManager& a, FunctionManager& b) {
    ASSERT_EQ(a.hash_bits(), b.hash_bits());
    ExpectSameChains(a, b, [](FunctionManager& m, int n) { return m.Function_Get(n)->id(); });
    for (int n = 0; n < a.Entries(); n++)
        ExpectSameFunction(a.Function_Get(n), b.Function_Get(n));
}

class FunctionManagerTest : public CompiledFileFixture {
  protected:
    // Writes the dictionary and the functions into name.
    void Write(const std::string& name, Dictionary& dictionary, FunctionManager& functions) {
        WriteFile(
            name, 0x1000B, [&](TaggedFile* f) { return dictionary.Write(f); },
            [&](TaggedFile* f) { return functions.Write(f); });
    }
    // Reads the file back into the dictionary and manager given.
    void Read(const std::string& name, Dictionary& dictionary, FunctionManager& functions) {
        TaggedFile reader(manager());
        ASSERT_TRUE(OpenFile(reader, name)) << Text(reader);
        ASSERT_TRUE(dictionary.Read(&reader));
        ASSERT_TRUE(functions.Read(&reader, SegmentManager())) << functions.error().c_str();
    }
};

TEST(FunctionTest, ParameterDeclarationsSplitAndMarkReferences) {
    Dictionary dictionary;
    Function f(0, &dictionary, dictionary.Entry_Add("f"), 0, 1, 2);
    f.SetParameters("  alpha ,Beta   var, c  VAR  ,, d x ,e\tvar", -1);
    const struct {
        const char* name;
        bool reference;
    } expected[] = {{"alpha", false}, {"Beta", true}, {"c", true},
                    {"", false},      {"d", false},   {"e", true}};
    ASSERT_EQ(f.ParameterCount(), 6);
    for (int i = 0; i < 6; i++) {
        FunctionParameter* p = f.Parameter(i);
        EXPECT_EQ(Str(p->name()), expected[i].name);
        EXPECT_EQ(p->byreference(), expected[i].reference) << expected[i].name;
        // The name went into the dictionary and into the locals.
        EXPECT_EQ(DictionaryText(dictionary, p->name_index()), expected[i].name);
        EXPECT_EQ(p->localvar_index(), i);
        EXPECT_EQ(f.LocalVariables()->entry(i)->id, p->name_index());
    }
    EXPECT_EQ(f.LocalVariables()->Seek(-1, "BETA", 4), 1);
    EXPECT_EQ(f.Parameter(6), nullptr);
    EXPECT_EQ(f.Parameter(-1), nullptr);

    Function none(1, &dictionary, 0, 0, 0, 0);
    none.SetParameters("", 0);
    none.SetParameters(nullptr, -1);
    EXPECT_EQ(none.ParameterCount(), 0);
    Function blank(2, &dictionary, 0, 0, 0, 0);
    blank.SetParameters(" ", -1);
    ASSERT_EQ(blank.ParameterCount(), 1);
    EXPECT_EQ(blank.Parameter(0)->name().length(), 0);
    // Only the exact word marks a reference.
    Function words(3, &dictionary, 0, 0, 0, 0);
    words.SetParameters("a variable,b va,c var var", -1);
    for (int i = 0; i < 3; i++)
        EXPECT_FALSE(words.Parameter(i)->byreference()) << i;
}

TEST(FunctionTest, CopiesKeepOrRebuildTheFunction) {
    Dictionary dictionary;
    FunctionManager functions(&dictionary);
    Function* f = functions.Function_Add(3, 40, "Sum", -1, "a, b var", -1, Function::kErrorsOn);
    f->LocalVariables()->Insert("total", -1);
    int marker = 0;
    f->SetText(&marker);
    // Deep copy: everything equal, locals independent.
    Function deep(*f, nullptr);
    ExpectSameFunction(f, &deep);
    EXPECT_EQ(deep.text(), &marker);
    deep.LocalVariables()->Insert("more", -1);
    EXPECT_EQ(f->LocalVariables()->Entries(), 3);
    // Into another manager: name and parameters added to its dictionary,
    // entry point gone, locals hold the parameters only.
    Dictionary other_dictionary;
    other_dictionary.Entry_Add("padding");
    FunctionManager other(&other_dictionary);
    other.Function_Add("Ext", -1, 0);
    Function* copy = other.Function_Add(f);
    ASSERT_EQ(other.Function_Get("sUM", -1), copy);
    EXPECT_EQ(copy->id(), 1);
    EXPECT_EQ(copy->segment(), -1);
    EXPECT_EQ(copy->offset(), -1);
    EXPECT_EQ(copy->flags(), f->flags());
    EXPECT_EQ(copy->text(), &marker);
    EXPECT_EQ(DictionaryText(other_dictionary, copy->name_index()), "Sum");
    ASSERT_EQ(copy->ParameterCount(), 2);
    EXPECT_TRUE(copy->Parameter(1)->byreference());
    EXPECT_EQ(copy->LocalVariables()->Entries(), 2);
    EXPECT_EQ(DictionaryText(other_dictionary, copy->Parameter(1)->name_index()), "b");
    Function* external = other.Function_Get("ext", 3);
    ASSERT_NE(external, nullptr);
    EXPECT_TRUE(external->external());
    EXPECT_EQ(external->segment(), -1);
}

TEST(FunctionTest, LookupByNameAgainstAModel) {
    std::mt19937 random(7);
    Dictionary dictionary;
    FunctionManager functions(&dictionary, 2);  // few buckets: long chains
    std::map<std::string, int> model;           // lower-cased name -> first id
    for (int i = 0; i < 400; i++) {
        std::string name = RandomName(random, "aAbB_", 4);
        ASSERT_EQ(functions.Function_Add(0, i, name.c_str(), -1, nullptr, 0, 0)->id(), i);
        model.emplace(Lower(name), i);
    }
    ExpectChainsOrdered(functions, 2,
                        [&](int n) { return Str(functions.Function_Get(n)->name()); });
    EXPECT_EQ(functions.capacity(), 448);
    for (int i = 0; i < 600; i++) {
        std::string name = RandomName(random, "aAbB_", 5);
        auto hit = model.find(Lower(name));
        Function* f = functions.Function_Get(name.c_str(), static_cast<int>(name.size()));
        EXPECT_EQ(f ? f->id() : -1, hit == model.end() ? -1 : hit->second) << name;
    }
    EXPECT_EQ(functions.Function_Get(nullptr, 0), nullptr);
    EXPECT_EQ(functions.Function_Get(400), nullptr);
    EXPECT_EQ(functions.Function_Get(-1), nullptr);
}

TEST_F(FunctionManagerTest, FunctionsRoundTrip) {
    Dictionary dictionary;
    dictionary.Entry_Add("unused");
    FunctionManager functions(&dictionary);
    functions.Function_Add(0, 0, "main_helper", -1, "a, b var, c", -1, 0);
    functions.Function_Add(2, 17, "Format", -1, "text var", -1,
                           Function::kOutputFlag | Function::kInheritOutput);
    functions.Function_Add("strlen", -1, Function::kErrorsOff);
    Function* big = functions.Function_Add(1, 0x12345678, "FORMAT2", -1, "x,y,z", -1, 0xFFFF0000);
    for (int i = 0; i < 100; i++)
        big->LocalVariables()->Insert(("local" + std::to_string(i)).c_str(), -1);
    functions.Function_Add(4, 4, "noargs", -1, nullptr, 0, 0);
    Write("f.oxc", dictionary, functions);

    Dictionary read_dictionary;
    FunctionManager read(&read_dictionary, 3);
    read.Function_Add("stale", -1, 0);
    Read("f.oxc", read_dictionary, read);
    ExpectSameManager(functions, read);
    EXPECT_EQ(read.Function_Get(2)->segment(), -1);
    EXPECT_EQ(read.Function_Get(3)->flags(), 0xFFFF0000u);
    for (const char* name : {"MAIN_HELPER", "format", "StrLen", "format2", "NoArgs"})
        EXPECT_NE(read.Function_Get(name, -1), nullptr) << name;
    EXPECT_EQ(read.Function_Get("stale", -1), nullptr);
    EXPECT_EQ(read.Function_Get("Format", -1)->id(), 1);
    // A table that was read takes more functions and writes the same bytes
    // as the original after the same additions.
    functions.Function_Add(5, 5, "later", -1, "q", -1, 0);
    read.Function_Add(5, 5, "later", -1, "q", -1, 0);
    Write("g.oxc", dictionary, functions);
    Write("h.oxc", read_dictionary, read);
    EXPECT_EQ(SectionBytes("g.oxc", kSectionFunc), SectionBytes("h.oxc", kSectionFunc));
}

TEST_F(FunctionManagerTest, SectionBytesOfOneFunctionAndOfNone) {
    Dictionary dictionary;
    FunctionManager functions(&dictionary, 0);
    functions.Function_Add(1, 9, "f", -1, "a var", -1, 4);  // ids: f 0, a 1
    Write("one.oxc", dictionary, functions);
    Bytes expected = {1,    0,    0,    1,   0, 0, 0,  // B 1, H 0, E 1
                      0,    0,    0,    0,   0, 0,     // bucket 0 starts at function 0
                      0xFF, 0xFF, 0xFF, 0xFF};
    for (uint32_t word : {0u, 1u, 4u, 1u, 9u})  // name, P, flags, segment, offset
        append_u32(expected, word);
    for (uint32_t word : {1u, 1u, 0u})  // name, by reference, local 0
        append_u32(expected, word);
    append_u16(expected, 1);  // locals: B 1, H 8, E 1
    expected.push_back(8);
    append_u32(expected, 1);
    append_u16(expected, static_cast<uint16_t>(StoredHashTable::Bucket("a", 1, 8)));
    append_u32(expected, 0);
    append_u32(expected, 1);  // dictionary id of "a", end of chain
    append_u32(expected, 0xFFFFFFFF);
    EXPECT_EQ(SectionBytes("one.oxc", kSectionFunc), expected);

    FunctionManager empty(&dictionary);
    Write("empty.oxc", dictionary, empty);
    EXPECT_EQ(SectionBytes("empty.oxc", kSectionFunc), Bytes({0, 0, 8, 0, 0, 0, 0}));
    Dictionary d;
    FunctionManager read(&d);
    read.Function_Add("x", -1, 0);
    Read("empty.oxc", d, read);
    EXPECT_EQ(read.Entries(), 0);
    EXPECT_EQ(read.Function_Get("x", -1), nullptr);
}

}  // namespace
