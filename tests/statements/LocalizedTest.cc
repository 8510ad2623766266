// The localized text stores: pieces, token indexes, languages, their
// sections; and a whole compiled file written by every section owner and
// loaded back in the order of a script load.

#include <cctype>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "runtime/Dictionary.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "runtime/SegmentManager.h"
#include "runtime/StoredHashTable.h"
#include "statements/LocalizedDictionary.h"
#include "statements/LocalizedIndex.h"
#include "statements/LocalizedLanguages.h"
#include "tests/runtime/CompiledFileFixture.h"
#include "variables/VariableHash.h"

namespace {

const char kCorrupt[] = "File is either corrupt or not a valid compiled Oxin Script file";

std::string Lower(std::string s) {
    for (char& c : s)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string Entry(const Dictionary& dictionary, int id) {
    int length = 0;
    const char* text = dictionary.Entry(id, &length);
    return text ? std::string(text, length) : std::string("<none>");
}

// Two tables with the same pairs (ids and values), buckets and links.
template <class V, class W, class Same>
void ExpectSameTable(const LocalizedTable<V>& a, const LocalizedTable<W>& b, Same same_value) {
    ASSERT_EQ(a.Entries(), b.Entries());
    ASSERT_EQ(a.hash_bits(), b.hash_bits());
    EXPECT_EQ(a.used_buckets(), b.used_buckets());
    for (int i = 0; i < a.buckets(); i++)
        EXPECT_EQ(a.bucket_head(i), b.bucket_head(i)) << "bucket " << i;
    for (int n = 0; n < a.Entries(); n++) {
        EXPECT_EQ(a.Entry(n)->id, b.Entry(n)->id);
        EXPECT_EQ(a.next_link(n), b.next_link(n));
        same_value(a.Entry(n)->value, b.Entry(n)->value);
    }
}

void ExpectSameIndex(LocalizedIndex* a, LocalizedIndex* b) {
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    ExpectSameTable(a->table(), b->table(), [](int x, int y) { EXPECT_EQ(x, y); });
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
        int en_again = dictionary.Entry_Add("EN");
        int hello_again = dictionary.Entry_Add("HELLO");
        EXPECT_EQ(languages.Add_Entry(en_again), 0);
        EXPECT_EQ(languages.Get_Entry(0, hello_again)->value, 0);
    }
    // Adds the message's pieces (a "$" marks a variable name) and its token.
    void AddMessage(const char* language, const char* token, std::vector<std::string> texts) {
        int first = -1;
        int previous = -1;
        for (const std::string& text : texts) {
            bool variable = text[0] == '$';
            int id = dictionary.Entry_Add(text.c_str() + variable, -1);
            int n = pieces.Add_Entry(variable ? 0 : 1, id);
            if (previous == -1) {
                first = n;
            } else {
                pieces.Entry(previous)->next = n;
            }
            previous = n;
        }
        EXPECT_GE(languages.Add_Entry(language, -1, token, -1, first), 0);
    }
};

class LocalizedTest : public CompiledFileFixture {
  protected:
    void WriteFile(const std::string& name, Messages& m, uint32_t version) {
        TaggedFile writer(manager());
        ASSERT_TRUE(writer.Create(Path(name).c_str(), nullptr, version)) << Text(writer);
        ASSERT_TRUE(m.dictionary.Write(&writer));
        ASSERT_TRUE(m.languages.Write(&writer)) << m.languages.error().c_str();
        ASSERT_TRUE(m.pieces.Write(&writer)) << m.pieces.error().c_str();
        ASSERT_TRUE(writer.Section_Flush()) << Text(writer);
        writer.Close();
    }
    std::vector<uint32_t> SectionIds(const std::string& name) {
        TaggedFile reader(manager());
        EXPECT_TRUE(OpenFile(reader, name));
        std::vector<uint32_t> ids;
        for (int i = 0; i < reader.directory_entries(); i++)
            ids.push_back(reader.directory_entry(i)->id);
        return ids;
    }
    Bytes Section(const std::string& name, uint32_t id) {
        TaggedFile reader(manager());
        EXPECT_TRUE(OpenFile(reader, name));
        int size = 0;
        EXPECT_TRUE(reader.Section_Read_Start(id, &size));
        Bytes bytes(size);
        EXPECT_EQ(reader.Section_Read(bytes.data(), size), size);
        return bytes;
    }
};

TEST(LocalizedDictionaryTest, PiecesGrowAndCopy) {
    LocalizedDictionary pieces;
    EXPECT_EQ(pieces.Entry(0), nullptr);
    for (int i = 0; i < 300; i++) {
        ASSERT_EQ(pieces.Add_Entry(i % 3, i * 7, i + 1), i);
        EXPECT_EQ(pieces.capacity(), (i / 128 + 1) * 128);
    }
    LocalizedDictionary copy(pieces);
    pieces.Entry(5)->text = -9;
    ASSERT_EQ(copy.Entries(), 300);
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
    const char letters[] = "xXyY.";
    std::vector<int> ids;
    for (int i = 0; i < 500; i++) {
        std::string token(1 + random() % 4, ' ');
        for (char& c : token)
            c = letters[random() % 5];
        // The same text under many ids.
        int id = dictionary.Entry_Add(token.c_str(), -1);
        ids.push_back(id);
        ASSERT_EQ(index.Add_Entry(id, i), i);
        model.emplace(Lower(token), i);
    }
    EXPECT_EQ(index.Entries(), 500);
    EXPECT_EQ(index.table().capacity(), 512);
    for (int id : ids) {
        LocalizedIndex_Entry* entry = index.Get_Entry(id);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->value, model.at(Lower(Entry(dictionary, id))));
        EXPECT_EQ(Lower(Entry(dictionary, entry->id)), Lower(Entry(dictionary, id)));
    }
    for (int i = 0; i < 500; i++) {
        std::string token(1 + random() % 5, ' ');
        for (char& c : token)
            c = letters[random() % 5];
        auto hit = model.find(Lower(token));
        LocalizedIndex_Entry* entry = index.Get_Entry(token.c_str(), -1);
        if (hit == model.end()) {
            EXPECT_EQ(entry, nullptr) << token;
        } else {
            ASSERT_NE(entry, nullptr) << token;
            EXPECT_EQ(entry->value, hit->second) << token;
        }
    }
    // Chains run by length, then case-insensitive order, equal texts by
    // entry number.
    const LocalizedTable<int>& table = index.table();
    int seen = 0;
    for (int bucket = 0; bucket < table.buckets(); bucket++) {
        int previous = -1;
        for (int n = table.bucket_head(bucket); n != -1; n = table.next_link(n), seen++) {
            if (previous != -1) {
                std::string a = Entry(dictionary, table.Entry(previous)->id);
                std::string b = Entry(dictionary, table.Entry(n)->id);
                int order = StoredHashTable::Compare(a.data(), static_cast<int>(a.size()), b.data(),
                                                     static_cast<int>(b.size()));
                EXPECT_TRUE(order < 0 || (order == 0 && previous < n)) << a << " " << b;
            }
            previous = n;
        }
    }
    EXPECT_EQ(seen, 500);
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
    EXPECT_EQ(Entry(m.dictionary, m.pieces.Entry(en->value)->text), "Hello, ");
    int second = m.pieces.Entry(de->value)->next;
    EXPECT_EQ(m.pieces.Entry(second)->kind, 0);
    EXPECT_EQ(Entry(m.dictionary, m.pieces.Entry(second)->text), "name");
    EXPECT_EQ(m.languages.Get_Entry(2, hello), nullptr);
    LocalizedIndex_Entry* bye = m.languages.Get_Entry(2, m.dictionary.Entry_Add("BYE"));
    ASSERT_NE(bye, nullptr);
    EXPECT_EQ(bye->value, -1);
    EXPECT_EQ(m.languages.Get_Entry(3, hello), nullptr);
    EXPECT_EQ(m.languages.Add_Entry(-1, hello, 0), -1);
}

TEST_F(LocalizedTest, SectionsRoundTripWithOneIndexPerLanguage) {
    Messages m;
    WriteFile("new.oxc", m, 0x1000B);
    std::vector<uint32_t> expected = {kSectionDict,           kSectionLocl,
                                      TokenIndexSectionId(0), TokenIndexSectionId(1),
                                      TokenIndexSectionId(2), kSectionLocd};
    EXPECT_EQ(SectionIds("new.oxc"), expected);
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
    ExpectSameTable(m.languages.table(), languages.table(),
                    [](LocalizedIndex*, LocalizedIndex*) {});
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
    // The other pieces and the bytes of the language table, once more.
    WriteFile("again.oxc", m, 0x1000B);
    EXPECT_EQ(Section("new.oxc", kSectionLocl), Section("again.oxc", kSectionLocl));
    Bytes locd = Section("new.oxc", kSectionLocd);
    ASSERT_EQ(locd.size(), 4u + 12u * m.pieces.Entries());
    EXPECT_EQ(get_u32(locd.data()), static_cast<uint32_t>(m.pieces.Entries()));
    EXPECT_EQ(get_u32(locd.data() + 4 + 8), 1u);        // "Hello, " goes on to piece 1
    EXPECT_EQ(get_u32(locd.data() + 4 + 12 + 8), ~0u);  // "$name" ends it
    EXPECT_EQ(get_u32(locd.data() + 4 + 12), 0u);       // and is a variable
}

TEST_F(LocalizedTest, OldFilesShareSectionZero) {
    Messages m;
    WriteFile("old.oxc", m, 0x10007);
    std::vector<uint32_t> expected = {kSectionDict, kSectionLocl, 0, kSectionLocd};
    EXPECT_EQ(SectionIds("old.oxc"), expected);
    Bytes index = Section("old.oxc", 0);
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
    WriteFile("new.oxc", m, 0x1000B);
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
    Put("nolx.oxc", build_tagged_file({{kSectionLocl, Section("new.oxc", kSectionLocl)}}));
    TaggedFile nolx(manager());
    ASSERT_TRUE(OpenFile(nolx, "nolx.oxc"));
    LocalizedLanguages without(nullptr, &dictionary);
    ASSERT_TRUE(without.Read(&nolx));
    EXPECT_EQ(without.Get_Language_Entry("de", -1), 1);
    ASSERT_NE(without.Language(1)->value, nullptr);
    EXPECT_EQ(without.Language(1)->value->Entries(), 0);
}

TEST_F(LocalizedTest, ShortOrMissingSectionsFail) {
    Messages m;
    WriteFile("full.oxc", m, 0x1000B);
    const uint32_t ids[] = {kSectionLocl, kSectionLocd, TokenIndexSectionId(0)};
    for (uint32_t id : ids) {
        Bytes whole = Section("full.oxc", id);
        for (size_t cut = 0; cut < whole.size(); cut++) {
            Put("cut.oxc", build_tagged_file({{id, Bytes(whole.begin(), whole.begin() + cut)}}));
            TaggedFile reader(manager());
            ASSERT_TRUE(OpenFile(reader, "cut.oxc"));
            std::string error;
            if (id == kSectionLocl) {
                LocalizedLanguages languages(nullptr, &m.dictionary);
                languages.Add_Entry("kept", -1, "x", -1, 0);
                EXPECT_FALSE(languages.Read(&reader)) << cut;
                EXPECT_EQ(languages.Entries(), 1);
                error = languages.error().c_str();
            } else if (id == kSectionLocd) {
                LocalizedDictionary pieces;
                pieces.Add_Entry(1, 2);
                EXPECT_FALSE(pieces.Read(&reader)) << cut;
                EXPECT_EQ(pieces.Entries(), 1);
                error = pieces.error().c_str();
            } else {
                LocalizedIndex index(&m.dictionary, 0);
                index.Add_Entry(0, 1);
                EXPECT_FALSE(index.Read(&reader)) << cut;
                EXPECT_EQ(index.Entries(), 1);
                error = index.error().c_str();
            }
            EXPECT_TRUE(error == kCorrupt || error == Text(reader)) << cut << ": " << error;
        }
    }
    Put("none.oxc", build_tagged_file({{kSectionDict, Bytes(12, 0)}}));
    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "none.oxc"));
    LocalizedLanguages languages(nullptr, &m.dictionary);
    EXPECT_FALSE(languages.Read(&reader));
    EXPECT_STREQ(languages.error().c_str(), "Invalid section");
    LocalizedDictionary pieces;
    EXPECT_FALSE(pieces.Read(&reader));
    EXPECT_STREQ(pieces.error().c_str(), "Invalid section");
    EXPECT_STREQ(Text(reader).c_str(), "Invalid section");
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
    Segment* second = segments.Segment_Add();
    second->Write_Word(0, 0x15);
    FunctionManager functions(&dictionary);
    functions.Function_Add(1, 0, "show", -1, "what, where var", -1, Function::kErrorsOn);
    functions.Function_Add("external", -1, 0);

    TaggedFile writer(manager());
    ASSERT_TRUE(writer.Create(Path("all.oxc").c_str())) << Text(writer);
    ASSERT_TRUE(dictionary.Write(&writer));
    ASSERT_TRUE(system.Write(&writer, kSectionSyst));
    ASSERT_TRUE(global.Write(&writer, kSectionGlbl));
    ASSERT_TRUE(m.languages.Write(&writer));
    ASSERT_TRUE(m.pieces.Write(&writer));
    ASSERT_TRUE(segments.Write(&writer));
    ASSERT_TRUE(functions.Write(&writer));
    ASSERT_TRUE(writer.Section_Flush()) << Text(writer);
    writer.Close();

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
    ASSERT_TRUE(read_functions.Read(&reader)) << read_functions.error().c_str();

    ASSERT_EQ(read_dictionary.entries(), dictionary.entries());
    for (int id = 0; id < dictionary.entries(); id++)
        EXPECT_EQ(Entry(read_dictionary, id), Entry(dictionary, id));
    for (auto [a, b] : {std::pair{&system, &read_system}, std::pair{&global, &read_global}}) {
        ASSERT_EQ(a->Entries(), b->Entries());
        ASSERT_EQ(a->bits(), b->bits());
        for (int i = 0; i < a->buckets(); i++)
            EXPECT_EQ(a->bucket_head(i), b->bucket_head(i));
        for (int n = 0; n < a->Entries(); n++) {
            EXPECT_EQ(a->entry(n)->id, b->entry(n)->id);
            EXPECT_EQ(a->next_link(n), b->next_link(n));
        }
    }
    EXPECT_EQ(read_global.Seek(-1, "G17", 3), 17);
    ExpectSameTable(m.languages.table(), read_languages.table(),
                    [](LocalizedIndex*, LocalizedIndex*) {});
    for (int n = 0; n < m.languages.Entries(); n++)
        ExpectSameIndex(m.languages.Index(n), read_languages.Index(n));
    ExpectSamePieces(m.pieces, read_pieces);
    ASSERT_EQ(read_segments.count(), 2);
    for (int s = 0; s < 2; s++) {
        Segment* a = segments.Segment_Get(s);
        Segment* b = read_segments.Segment_Get(s);
        ASSERT_EQ(a->Code_Length(), b->Code_Length());
        EXPECT_EQ(Bytes(a->Code(), a->Code() + a->Code_Length()),
                  Bytes(b->Code(), b->Code() + b->Code_Length()));
    }
    ASSERT_EQ(read_functions.Entries(), 2);
    Function* show = read_functions.Function_Get("SHOW", -1);
    ASSERT_NE(show, nullptr);
    EXPECT_EQ(show->segment(), 1);
    EXPECT_EQ(show->flags(), Function::kErrorsOn);
    ASSERT_EQ(show->ParameterCount(), 2);
    EXPECT_TRUE(show->Parameter(1)->byreference());
    EXPECT_EQ(show->LocalVariables()->Seek(-1, "Where", 5), 1);
    Function* external = read_functions.Function_Get("external", -1);
    ASSERT_NE(external, nullptr);
    EXPECT_TRUE(external->external());
    for (int bucket = 0; bucket < functions.buckets(); bucket++)
        EXPECT_EQ(read_functions.bucket_head(bucket), functions.bucket_head(bucket));
}

}  // namespace
