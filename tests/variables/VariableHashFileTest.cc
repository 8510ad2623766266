// Variable hashes in a compiled file: the stored bytes against a model of
// the record, tables read back, failures, and a file's own table of globals.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/Hash.h"
#include "base/MemCmpI.h"
#include "tests/support/CompiledFileFixture.h"
#include "tests/support/TestText.h"
#include "tests/variables/VariableTestSupport.h"
#include "variables/ReferenceVariableHash.h"
#include "variables/VariableHash.h"

namespace {

class VariableHashFile : public CompiledFileFixture {
  protected:
    // Writes each hash as its section into one new file.
    void Write(const std::string& name,
               const std::vector<std::pair<uint32_t, VariableHash*>>& sections) {
        WriteFile(name, 0x1000B, [&sections](TaggedFile* file) {
            for (auto& [id, hash] : sections) {
                if (!hash->Write(file, id)) return false;
            }
            return true;
        });
    }
};

int VariableId(VariableHash& hash, int n) {
    return hash.entry(n)->id;
}

// The section bytes of a table built without VariableHash: buckets by hashi,
// chains sorted by length, then case-insensitive bytes, then entry number;
// the bucket records in ascending order.
Bytes ExpectedSection(const std::vector<std::string>& names, const std::vector<int>& ids,
                      int bits) {
    int buckets = 1 << bits;
    std::vector<std::vector<int>> chains(buckets);
    for (int n = 0; n < static_cast<int>(names.size()); n++)
        chains[hashi(names[n].data(), names[n].size(), 0) & (buckets - 1)].push_back(n);
    std::vector<uint32_t> next(names.size(), 0xFFFFFFFF);
    Bytes records;
    int used = 0;
    for (int bucket = 0; bucket < buckets; bucket++) {
        std::vector<int>& chain = chains[bucket];
        if (chain.empty()) continue;
        std::stable_sort(chain.begin(), chain.end(), [&names](int x, int y) {
            const std::string &a = names[x], &b = names[y];
            if (a.size() != b.size()) return a.size() < b.size();
            return memcmpi(a.data(), b.data(), static_cast<int>(a.size())) < 0;
        });
        for (size_t i = 0; i + 1 < chain.size(); i++)
            next[chain[i]] = chain[i + 1];
        append_u16(records, static_cast<uint16_t>(bucket));
        append_u32(records, chain[0]);
        used++;
    }
    Bytes out;
    append_u16(out, static_cast<uint16_t>(used));
    out.push_back(static_cast<unsigned char>(bits));
    append_u32(out, static_cast<uint32_t>(names.size()));
    out.insert(out.end(), records.begin(), records.end());
    for (size_t n = 0; n < names.size(); n++) {
        append_u32(out, ids[n]);
        append_u32(out, next[n]);
    }
    return out;
}

std::string SomeName(std::mt19937& random) {
    return RandomName(random, "abcdeABCDE", 6);
}

TEST_F(VariableHashFile, StoredBytesFollowTheHashAndTheChainOrder) {
    std::mt19937 random(11);
    Dictionary dictionary;
    VariableHash hash(&dictionary, 3, 16);
    std::vector<std::string> names;
    std::vector<int> ids;
    for (int i = 0; i < 60; i++) {
        names.push_back(SomeName(random));
        ids.push_back(hash.entry(hash.Insert(names.back().c_str(), -1))->id);
    }
    VariableHash empty(&dictionary, 5, 4);
    Write("bytes.oxc", {{kSectionGlbl, &hash}, {kSectionSyst, &empty}});
    EXPECT_EQ(SectionBytes("bytes.oxc", kSectionGlbl), ExpectedSection(names, ids, 3));
    EXPECT_EQ(SectionBytes("bytes.oxc", kSectionSyst), (Bytes{0, 0, 5, 0, 0, 0, 0}));
}

TEST_F(VariableHashFile, TablesReadBackEqual) {
    std::mt19937 random(12);
    Dictionary dictionary;
    VariableHash system(&dictionary, 12, 512);
    VariableHash globals(&dictionary, 0, 8);  // one bucket: a single chain
    VariableHash empty(&dictionary, 5, 4);
    VariableHash grown(&dictionary, 6, 4);
    for (auto [hash, count] : {std::pair{&system, 300}, {&globals, 40}, {&grown, 600}}) {
        for (int i = 0; i < count; i++)
            hash->Insert(SomeName(random).c_str(), -1);
    }
    system.SetVariable("allocated", -1, "not stored", -1);
    std::vector<std::pair<uint32_t, VariableHash*>> sections = {
        {kSectionSyst, &system}, {kSectionGlbl, &globals}, {0xFFFF, &empty}, {0x12345678, &grown}};
    Write("tables.oxc", sections);

    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "tables.oxc")) << Text(reader);
    for (auto& [id, original] : sections) {
        VariableHash copy(&dictionary, 1, 1);
        copy.Insert("replaced", -1);
        ASSERT_TRUE(copy.Read(&reader, id)) << copy.error().c_str();
        EXPECT_EQ(copy.bits(), original->bits());
        ExpectSameChains(*original, copy, VariableId);
        EXPECT_EQ(copy.capacity(), original->Entries());
        for (int n = 0; n < copy.Entries(); n++) {
            std::string name = DictionaryText(dictionary, copy.entry(n)->id);
            ASSERT_EQ(copy.Seek(-1, name.data(), static_cast<int>(name.size())),
                      original->Seek(-1, name.data(), static_cast<int>(name.size())));
            ASSERT_EQ(copy.Index(n, 0), nullptr);
        }
        copy.Insert("after", -1);  // a read table still grows
        EXPECT_EQ(copy.Seek(-1, "AFTER", -1), original->Entries());
    }
}

TEST_F(VariableHashFile, FileTablesReachTheGlobalsByTheirOwnNumbers) {
    Dictionary file_names;
    VariableHash written_one(&file_names, 4, 8);
    for (const char* name : {"fresh", "Shared", "byref"})
        written_one.Insert(name, -1);
    VariableHash written_two(&file_names, 4, 8);
    written_two.Insert("SHARED", -1);
    Write("file.oxc", {{kSectionGlbl, &written_one}, {kSectionSyst, &written_two}});

    Dictionary request;
    VariableHash globals(&request);
    globals.SetVariable("shared", -1, "g", -1);
    ReferenceVariableHash one(&file_names, &globals);
    ReferenceVariableHash two(&file_names, &one);
    EXPECT_EQ(two.RealIdentity(), &globals);
    TaggedFile reader(manager());
    ASSERT_TRUE(OpenFile(reader, "file.oxc")) << Text(reader);
    ASSERT_TRUE(one.Read(&reader, kSectionGlbl));
    ASSERT_TRUE(two.Read(&reader, kSectionSyst));
    EXPECT_EQ(one.entry(0)->version, -1);

    EXPECT_EQ(::Text(one.Index(1, 0)), "g");
    EXPECT_EQ(one.entry(1)->version, 0);  // resolved to the globals' entry 0
    EXPECT_EQ(one.Index(1, 0), two.Index(0, 0));
    EXPECT_EQ(one.Index(0, 0), nullptr);  // not in the globals, not made
    EXPECT_EQ(globals.Entries(), 1);
    Variable* fresh = one.Index(0, 1);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(globals.Entries(), 2);
    EXPECT_EQ(globals.Index(1, 0), fresh);
    Variable* found = nullptr;
    EXPECT_TRUE(one.Find(&found, "FRESH", -1, 0));
    EXPECT_EQ(found, fresh);
    EXPECT_FALSE(one.Find(&found, "other", -1, 0));
    one.SetVariable("other", -1, "o", -1);  // goes to the globals
    EXPECT_EQ(globals.Entries(), 3);
    EXPECT_EQ(one.Entries(), 3);
    EXPECT_TRUE(one.Find(&found, "other", -1, 0));  // straight to the globals
    EXPECT_EQ(::Text(found), "o");
    EXPECT_FALSE(one.LookupVariable_Fancy(&found, "x[y]", -1, 1));
    EXPECT_STREQ(one.error().c_str(), "Array index must be positive integer");

    Held target(new Variable("t", -1, "t", -1));
    EXPECT_EQ(one.SetVariable_Reference(2, target.get()), 1);
    Variable* byref = nullptr;
    EXPECT_TRUE(globals.Find(&byref, "byref", -1, 0));
    EXPECT_EQ(byref->RealIdentity(), target.get());
    EXPECT_EQ(one.Index(2, 0), byref);
}

}  // namespace
