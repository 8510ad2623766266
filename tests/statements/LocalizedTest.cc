// The localized text stores: pieces, token indexes, languages, their
// sections; and a whole compiled file written by every section owner and
// loaded back in the order of a script load.

#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "base/LittleEndian.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/SegmentManager.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedIndex.h"
#include "statements/LocalizedLanguages.h"
#include "tests/support/CompiledFileFixture.h"
#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"
#include "tests/support/TestText.h"
#include "variables/VariableHash.h"

namespace {

template <class Table>
int EntryId(Table& table, int n) {
    return table.Entry(n)->id;
}

void ExpectSameIndex(LocalizedIndex* a, LocalizedIndex* b) {
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    ExpectSameChains(a->table(), b->table(), EntryId<const LocalizedTable<int>>);
    for (int n = 0; n < a->Entries(); n++)
        EXPECT_EQ(a->table().Entry(n)->value, b->table().Entry(n)->value);
}

void ExpectSamePieces(const LocalizedDictionary& a, const LocalizedDictionary& b) {
    ASSERT_EQ(a.Entries(), b.Entries());
    for (int i = 0; i < a.Entries(); i++) {
        EXPECT_EQ(a.Entry(i)->kind, b.Entry(i)->kind);
        EXPECT_EQ(a.Entry(i)->text, b.Entry(i)->text);
        EXPECT_EQ(a.Entry(i)->next, b.Entry(i)->next);
    }
}

// Languages "en", "de", "fr-CA" with a few messages each; "Hello" and "en"
// stand in the dictionary under more than one id.
struct Messages {
    Dictionary dictionary;
    LocalizedDictionary pieces;
    LocalizedLanguages languages{nullptr, &dictionary};

    Messages() {
        AddMessage("en", "Hello", {"Hello, ", "$name"});
        AddMessage("en", "Bye", {"Goodbye"});
        AddMessage("DE", "hello", {"Hallo ", "$name", "!"});
        AddMessage("fr-CA", "Bye", {});
        EXPECT_EQ(languages.Add_Entry(dictionary.Entry_Add("EN")), 0);
        EXPECT_EQ(languages.Get_Entry(0, dictionary.Entry_Add("HELLO"))->value, 0);
    }
    // Adds the message's pieces (a "$" marks a variable name) and its token.
    void AddMessage(const char* language, const char* token, std::vector<std::string> texts) {
        int first = -1, previous = -1;
        for (const std::string& text : texts) {
            bool variable = text[0] == '$';
            int n = pieces.Add_Entry(variable ? 0 : 1,
                                     dictionary.Entry_Add(text.c_str() + variable, -1));
            (previous == -1 ? first : pieces.Entry(previous)->next) = n;
            previous = n;
        }
        EXPECT_GE(languages.Add_Entry(language, -1, token, -1, first), 0);
    }
    bool Write(TaggedFile* file) {
        return dictionary.Write(file) && languages.Write(file) && pieces.Write(file);
    }
};

class LocalizedTest : public CompiledFileFixture {};

TEST(LocalizedDictionaryTest, PiecesGrowAndCopy) {
    LocalizedDictionary pieces;
    EXPECT_EQ(pieces.Entry(0), nullptr);
    for (int i = 0; i < 300; i++)
        ASSERT_EQ(pieces.Add_Entry(i % 3, i * 7, i + 1), i);
    LocalizedDictionary copy(pieces);
    pieces.Entry(5)->text = -9;
    EXPECT_EQ(copy.Entry(5)->text, 35);
    EXPECT_EQ(copy.Entry(299)->kind, 299 % 3);
    EXPECT_EQ(copy.Entry(299)->next, 300);
    EXPECT_EQ(copy.Entry(300), nullptr);
    EXPECT_EQ(copy.Entry(-1), nullptr);
}

TEST(LocalizedIndexTest, LookupsByTextAgainstAModel) {
    std::mt19937 random(11);
    Dictionary dictionary;
    LocalizedIndex index(&dictionary, 0, 2);
    std::map<std::string, int> model;  // lower-cased token -> first value
    std::vector<int> ids;
    for (int i = 0; i < 500; i++) {
        // The same text under many ids.
        std::string token = RandomName(random, "xXyY.", 4);
        ids.push_back(dictionary.Entry_Add(token.c_str(), -1));
        ASSERT_EQ(index.Add_Entry(ids.back(), i), i);
        model.emplace(Lower(token), i);
    }
    for (int id : ids) {
        LocalizedIndex_Entry* entry = index.Get_Entry(id);
        ASSERT_NE(entry, nullptr);
        std::string text = Lower(DictionaryText(dictionary, id));
        EXPECT_EQ(entry->value, model.at(text));
        EXPECT_EQ(Lower(DictionaryText(dictionary, entry->id)), text);
    }
    for (int i = 0; i < 500; i++) {
        std::string token = RandomName(random, "xXyY.", 5);
        auto hit = model.find(Lower(token));
        LocalizedIndex_Entry* entry = index.Get_Entry(token.c_str(), -1);
        EXPECT_EQ(entry ? entry->value : -1, hit == model.end() ? -1 : hit->second) << token;
    }
    ExpectChainsOrdered(index.table(), 2, [&](int n) {
        return DictionaryText(dictionary, index.table().Entry(n)->id);
    });
    EXPECT_EQ(index.Add_Entry(dictionary.entries(), 0), -1);
    EXPECT_EQ(index.Get_Entry(-1), nullptr);
}

TEST(LocalizedLanguagesTest, LanguagesAndTokensByText) {
    Messages m;
    EXPECT_EQ(m.languages.Entries(), 3);
    EXPECT_EQ(m.languages.Get_Language_Entry("EN", -1), 0);
    EXPECT_EQ(m.languages.Get_Language_Entry("de", 2), 1);
    EXPECT_EQ(m.languages.Get_Language_Entry("FR-ca", -1), 2);
    EXPECT_EQ(m.languages.Get_Language_Entry("fr", -1), -1);
    EXPECT_EQ(m.languages.Get_Language_Entry(m.dictionary.Entry_Add("De")), 1);
    EXPECT_EQ(m.languages.Get_Language_Entry(-5), -1);

    int hello = m.dictionary.Entry_Add("hElLo");
    LocalizedIndex_Entry* en = m.languages.Get_Entry(0, hello);
    LocalizedIndex_Entry* de = m.languages.Get_Entry(1, hello);
    ASSERT_NE(en, nullptr);
    ASSERT_NE(de, nullptr);
    EXPECT_EQ(m.pieces.Entry(en->value)->kind, 1);
    EXPECT_EQ(DictionaryText(m.dictionary, m.pieces.Entry(en->value)->text), "Hello, ");
    int second = m.pieces.Entry(de->value)->next;
    EXPECT_EQ(m.pieces.Entry(second)->kind, 0);
    EXPECT_EQ(DictionaryText(m.dictionary, m.pieces.Entry(second)->text), "name");
    EXPECT_EQ(m.languages.Get_Entry(2, hello), nullptr);
    LocalizedIndex_Entry* bye = m.languages.Get_Entry(2, m.dictionary.Entry_Add("BYE"));
    ASSERT_NE(bye, nullptr);
    EXPECT_EQ(bye->value, -1);
    EXPECT_EQ(m.languages.Get_Entry(3, hello), nullptr);
    EXPECT_EQ(m.languages.Add_Entry(-1, hello, 0), -1);
}

TEST_F(LocalizedTest, SectionsRoundTripWithOneIndexPerLanguage) {
    Messages m;
    WriteFile("new.oxc", 0x1000B, [&m](TaggedFile* f) { return m.Write(f); });
    EXPECT_EQ(
        SectionIds("new.oxc"),
        (std::vector<uint32_t>{kSectionDict, kSectionLocl, TokenIndexSectionId(0),
                               TokenIndexSectionId(1), TokenIndexSectionId(2), kSectionLocd}));
    EXPECT_EQ(TokenIndexSectionId(2), 0x2584Cu);

    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "new.oxc"));
    Dictionary dictionary;
    ASSERT_TRUE(dictionary.Read(&reader));
    LocalizedLanguages languages(nullptr, &dictionary);
    languages.Add_Entry("stale", -1, "x", -1, 0);
    ASSERT_TRUE(languages.Read(&reader)) << languages.error().c_str();
    EXPECT_EQ(languages.file(), &reader);
    LocalizedDictionary pieces;
    ASSERT_TRUE(pieces.Read(&reader)) << pieces.error().c_str();
    ExpectSamePieces(m.pieces, pieces);
    ExpectSameChains(m.languages.table(), languages.table(),
                     EntryId<const LocalizedTable<LocalizedIndex*>>);
    for (int n = 0; n < 3; n++)
        EXPECT_EQ(languages.Language(n)->value, nullptr) << "indexes wait for their first use";

    // Looking a language up reads its index, and only its.
    EXPECT_EQ(languages.Get_Language_Entry("De", -1), 1);
    EXPECT_EQ(languages.Language(0)->value, nullptr);
    ExpectSameIndex(m.languages.Language(1)->value, languages.Language(1)->value);
    EXPECT_EQ(languages.Get_Language_Entry("stale", -1), -1);

    // A copy reads what the source has not, and keeps no file.
    LocalizedLanguages copy(languages, nullptr, &dictionary);
    EXPECT_EQ(copy.file(), nullptr);
    for (int n = 0; n < 3; n++) {
        ExpectSameIndex(m.languages.Index(n), copy.Language(n)->value);
        EXPECT_NE(copy.Language(n)->value, languages.Language(n)->value);
    }
    Bytes locd = SectionBytes("new.oxc", kSectionLocd);
    ASSERT_EQ(locd.size(), 4u + 12u * m.pieces.Entries());
    EXPECT_EQ(get_u32(locd.data()), static_cast<uint32_t>(m.pieces.Entries()));
    EXPECT_EQ(get_u32(locd.data() + 4 + 8), 1u);        // "Hello, " goes on to piece 1
    EXPECT_EQ(get_u32(locd.data() + 4 + 12 + 8), ~0u);  // "$name" ends it
    EXPECT_EQ(get_u32(locd.data() + 4 + 12), 0u);       // and is a variable
}

TEST_F(LocalizedTest, OldFilesShareSectionZero) {
    Messages m;
    WriteFile("old.oxc", 0x10007, [&m](TaggedFile* f) { return m.Write(f); });
    EXPECT_EQ(SectionIds("old.oxc"),
              (std::vector<uint32_t>{kSectionDict, kSectionLocl, 0, kSectionLocd}));
    Bytes index = SectionBytes("old.oxc", 0);
    ASSERT_GE(index.size(), 11u);
    EXPECT_EQ(Bytes(index.begin() + 7, index.begin() + 11), Bytes(4, 0));  // reserved
    EXPECT_EQ(index[2], 12);                                               // hash bits

    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "old.oxc"));
    Dictionary dictionary;
    ASSERT_TRUE(dictionary.Read(&reader));
    LocalizedLanguages languages(nullptr, &dictionary, &reader);
    ASSERT_TRUE(languages.Read());
    // Every language finds the one index, the first language's.
    for (int n = 0; n < 3; n++)
        ExpectSameIndex(m.languages.Index(0), languages.Index(n));

    // A newer file has no such fallback, even with another section current.
    WriteFile("new.oxc", 0x1000B, [&m](TaggedFile* f) { return m.Write(f); });
    TaggedFile newer(manager());
    ASSERT_TRUE(OpenFile(newer, "new.oxc"));
    LocalizedIndex missing(&dictionary, 7);
    missing.Add_Entry(0, 3);
    ASSERT_TRUE(newer.Section_Read_Start(kSectionLocl));
    EXPECT_FALSE(missing.Read(&newer));
    EXPECT_STREQ(missing.error().c_str(), "Invalid section");
    EXPECT_EQ(missing.Entries(), 1);
    // Nor for section 0 itself in an old file that lacks it.
    Put("bare.oxc", build_tagged_file({{kSectionLocl, Bytes(7, 0)}}, 0x10005));
    TaggedFile bare(manager());
    ASSERT_TRUE(OpenFile(bare, "bare.oxc"));
    EXPECT_FALSE(missing.Read(&bare));
    EXPECT_FALSE(missing.Read(&bare, 0));
    EXPECT_STREQ(missing.error().c_str(), "Invalid section");
    // An index that cannot be read leaves its language empty, not missing.
    Put("nolx.oxc", build_tagged_file({{kSectionLocl, SectionBytes("new.oxc", kSectionLocl)}}));
    TaggedFile nolx(manager());
    ASSERT_TRUE(OpenFile(nolx, "nolx.oxc"));
    LocalizedLanguages without(nullptr, &dictionary);
    ASSERT_TRUE(without.Read(&nolx));
    EXPECT_EQ(without.Get_Language_Entry("de", -1), 1);
    ASSERT_NE(without.Language(1)->value, nullptr);
    EXPECT_EQ(without.Language(1)->value->Entries(), 0);
}

TEST_F(LocalizedTest, WholeFileFromEveryWriterLoadsInScriptOrder) {
    Messages m;
    Dictionary& dictionary = m.dictionary;
    VariableHash system(&dictionary);
    VariableHash global(&dictionary, 4, 8);
    for (const char* name : {"oxin_language", "oxin_error", "server_name"})
        system.Insert(name, -1);
    for (int i = 0; i < 20; i++)
        global.Insert(("g" + std::to_string(i)).c_str(), -1);
    SegmentManager segments;
    segments.Start()->Write_Dword(0, 0xDEADBEEF);
    segments.Segment_Add()->Write_Word(0, 0x15);
    FunctionManager functions(&dictionary);
    functions.Function_Add(1, 0, "show", -1, "what, where var", -1, Function::kErrorsOn);
    functions.Function_Add("external", -1, 0);
    WriteFile(
        "all.oxc", 0x1000B, [&](TaggedFile* f) { return dictionary.Write(f); },
        [&](TaggedFile* f) { return system.Write(f, kSectionSyst); },
        [&](TaggedFile* f) { return global.Write(f, kSectionGlbl); },
        [&](TaggedFile* f) { return m.languages.Write(f) && m.pieces.Write(f); },
        [&](TaggedFile* f) { return segments.Write(f) && functions.Write(f); });

    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "all.oxc")) << Text(reader);
    Dictionary read_dictionary;
    ASSERT_TRUE(read_dictionary.Read(&reader));
    VariableHash read_system(&read_dictionary);
    ASSERT_TRUE(read_system.Read(&reader, kSectionSyst));
    VariableHash read_global(&read_dictionary);
    ASSERT_TRUE(read_global.Read(&reader, kSectionGlbl));
    LocalizedLanguages read_languages(nullptr, &read_dictionary, &reader);
    ASSERT_TRUE(read_languages.Read());
    LocalizedDictionary read_pieces;
    ASSERT_TRUE(read_pieces.Read(&reader));
    SegmentManager read_segments;
    ASSERT_TRUE(read_segments.Read(&reader));
    FunctionManager read_functions(&read_dictionary);
    ASSERT_TRUE(read_functions.Read(&reader, read_segments)) << read_functions.error().c_str();

    ASSERT_EQ(read_dictionary.entries(), dictionary.entries());
    for (int id = 0; id < dictionary.entries(); id++)
        EXPECT_EQ(DictionaryText(read_dictionary, id), DictionaryText(dictionary, id));
    auto variable_id = [](VariableHash& hash, int n) { return hash.entry(n)->id; };
    ExpectSameChains(system, read_system, variable_id);
    ExpectSameChains(global, read_global, variable_id);
    EXPECT_EQ(read_global.Seek(-1, "G17", 3), 17);
    ExpectSameChains(m.languages.table(), read_languages.table(),
                     EntryId<const LocalizedTable<LocalizedIndex*>>);
    for (int n = 0; n < m.languages.Entries(); n++)
        ExpectSameIndex(m.languages.Index(n), read_languages.Index(n));
    ExpectSamePieces(m.pieces, read_pieces);
    ASSERT_EQ(read_segments.count(), 2);
    EXPECT_EQ(read_segments.Segment_Get(1)->Code_Length(), 2);
    ExpectSameChains(functions, read_functions,
                     [](FunctionManager& f, int n) { return f.Function_Get(n)->name_index(); });
    EXPECT_EQ(read_functions.Function_Get("SHOW", -1)->LocalVariables()->Seek(-1, "Where", 5), 1);
    EXPECT_TRUE(read_functions.Function_Get("external", -1)->external());
}

}  // namespace

// The messages of a script as it prints them, by the request's language
// and the default one.
TEST(LocalizedMessages, LanguageThenDefaultWithTheirParameters) {
    struct Row {
        const char *language, *fallback, *output;
    } rows[] = {
        {"en", "en", "Hello, Ann!|Hello, !|English only|[]|[Hello, Bob!]"},
        {"de", "en", "Hallo AnnAnn|Hallo |English only|<>|[Hallo BobBob]"},
        {"fr", "De", "Hallo AnnAnn|Hallo ||<>|[Hallo BobBob]"},
        {"de-CH", "fr", "||||[]"},
    };
    std::ifstream in(OXIN_SOURCE_DIR "/tests/statements/scripts-localized/messages.oxs");
    std::string listing((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (const Row& row : rows) {
        StandaloneApplication application;
        StringOutput output;
        application.SetOutput(&output);
        application.SetLanguage(row.language, -1);
        application.SetDefaultLanguage(row.fallback, -1);
        ScriptRun run(listing, &application);
        ASSERT_EQ(run.error(), "");
        EXPECT_EQ(run.Go(), 1);
        EXPECT_EQ(output.text(), row.output) << row.language;
        application.SetOutput(nullptr);
    }
}
