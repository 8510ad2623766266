// The dictionary: adding and finding entries, byte sharing within a block,
// block sizes, reading with repairs, writing, compressing and copying.

#include <random>
#include <string>

#include "base/LittleEndian.h"
#include "files/Dictionary.h"
#include "tests/support/CompiledFileFixture.h"

namespace {

TEST(DictionaryDataBlockTest, AddFindsTheFirstOccurrenceLikeAPlainSearch) {
    std::mt19937 random(7);
    for (int round = 0; round < 300; round++) {
        int size = 1 + static_cast<int>(random() % 200);
        DictionaryDataBlock block(size);
        std::string model;  // the used bytes
        // A small alphabet makes repeats and near misses common.
        int alphabet = 2 + static_cast<int>(random() % 4);
        for (int step = 0; step < 40; step++) {
            std::string text;
            if (!model.empty() && random() % 2) {
                size_t from = random() % model.size();
                text = model.substr(from, random() % (model.size() - from + 1));
            } else {
                for (int i = random() % 9; i > 0; i--)
                    text += static_cast<char>('a' + random() % alphabet);
            }
            int expected = -1;
            if (text.empty()) {
                expected = 0;
            } else if (size_t at = model.find(text); at != std::string::npos) {
                expected = static_cast<int>(at);
            } else if (model.size() + text.size() <= static_cast<size_t>(size)) {
                expected = static_cast<int>(model.size());
                model += text;
            }
            ASSERT_EQ(block.Add(text.data(), static_cast<int>(text.size())), expected)
                << "round " << round << " text '" << text << "' in '" << model << "'";
            ASSERT_EQ(std::string(block.data(), block.used()), model);
        }
    }
}

TEST(DictionaryTest, EntriesAreNumberedAndNeverMerged) {
    Dictionary d;
    EXPECT_EQ(d.Entry(0), nullptr);
    EXPECT_EQ(d.Entry_Add("concatenate"), 0);
    EXPECT_EQ(d.Entry_Add(String("cat")), 1);
    EXPECT_EQ(d.Entry_Add("cat", 3), 2);
    EXPECT_EQ(d.Entry_Add("a\0b", 3), 3);
    EXPECT_EQ(d.Entry_Add("", 0), 4);
    EXPECT_EQ(DictionaryText(d, 3), std::string("a\0b", 3));
    EXPECT_EQ(DictionaryText(d, 4), "");
    // "cat" lies inside "concatenate"; both ids see the same bytes.
    EXPECT_EQ(d.Entry(1), d.Entry(0) + 3);
    EXPECT_EQ(d.Entry(2), d.Entry(1));
    EXPECT_EQ(d.Entry(-1), nullptr);
    EXPECT_EQ(d.Entry(5), nullptr);
}

TEST(DictionaryTest, BlocksAreSizedToTheString) {
    Dictionary d;
    d.Entry_Add(std::string(8192, 'f').c_str(), 8192);  // fills a block of 8192 exactly
    std::string big(10000, 'b');
    d.Entry_Add(big.c_str(), 10000);
    EXPECT_NE(d.Entry(1), d.Entry(0) + 8192);
    // The new block has 16384 bytes: 6384 more fit behind the big string ...
    d.Entry_Add(std::string(6384, 'r').c_str(), 6384);
    EXPECT_EQ(d.Entry(2), d.Entry(1) + 10000);
    // ... and not one byte more.
    d.Entry_Add("x", 1);
    EXPECT_NE(d.Entry(3), d.Entry(2) + 6384);
    EXPECT_EQ(DictionaryText(d, 1), big);
    EXPECT_EQ(DictionaryText(d, 3), "x");
}

TEST(DictionaryTest, CompressSharesBytesAcrossFormerBlocks) {
    Dictionary d;
    std::string a = std::string(8000, 'a') + "needle";
    d.Entry_Add(a.c_str());
    d.Entry_Add(std::string(1000, 'z').c_str());  // a second block
    d.Entry_Add("needle");                        // stored again there
    EXPECT_NE(d.Entry(2), d.Entry(0) + 8000);
    d.Compress();
    EXPECT_EQ(d.Entry(2), d.Entry(0) + 8000);
    EXPECT_EQ(DictionaryText(d, 0), a);
    EXPECT_EQ(DictionaryText(d, 1), std::string(1000, 'z'));
    // The packed block is the current one and is full: a new string opens
    // another, a shared one does not.
    d.Entry_Add("zzz");
    EXPECT_EQ(d.Entry(3), d.Entry(1));
    d.Entry_Add("new");
    EXPECT_EQ(DictionaryText(d, 4), "new");
    Dictionary empty;
    empty.Compress();
    EXPECT_EQ(empty.Entry_Add("after"), 0);
    EXPECT_EQ(DictionaryText(empty, 0), "after");
}

TEST(DictionaryTest, CopyIsDeepAndKeepsTheCurrentBlock) {
    Dictionary d;
    d.Entry_Add("first");
    d.Entry_Add(std::string(9000, 'q').c_str());
    d.Entry_Add("tail");
    d.SetFlag(1);
    d.SetFlag(4);  // flags add up
    Dictionary copy(d);
    ASSERT_EQ(copy.entries(), 3);
    EXPECT_EQ(copy.flags(), 5);
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(DictionaryText(copy, i), DictionaryText(d, i));
        EXPECT_NE(copy.Entry(i), d.Entry(i));
    }
    // The copy's current block is the copy of the source's: sharing goes on.
    copy.Entry_Add("qqq");
    EXPECT_EQ(copy.Entry(3), copy.Entry(1));
    EXPECT_EQ(d.Entry_Add("source"), 3);
    EXPECT_EQ(DictionaryText(copy, 3), "qqq");
}

class DictionaryFileTest : public CompiledFileFixture {
  protected:
    // A "dict" section from a head and raw entry pairs.
    static Bytes DictSection(const std::vector<std::pair<int, int>>& entries,
                             const std::string& data, uint32_t flags = 0) {
        Bytes out;
        append_u32(out, static_cast<uint32_t>(entries.size()));
        append_u32(out, static_cast<uint32_t>(data.size()));
        append_u32(out, flags);
        for (auto [offset, length] : entries) {
            append_u32(out, static_cast<uint32_t>(offset));
            append_u32(out, static_cast<uint32_t>(length));
        }
        append_text(out, data);
        return out;
    }
    bool ReadFrom(Dictionary& d, const Bytes& file) {
        Put("d.oxc", file);
        TaggedFile reader(manager());
        return OpenFile(reader, "d.oxc") && d.Read(&reader);
    }
    bool ReadSection(Dictionary& d, const Bytes& section) {
        return ReadFrom(d, build_tagged_file({{kSectionDict, section}}));
    }
};

TEST_F(DictionaryFileTest, ReadRepairsEntriesOutOfRange) {
    Dictionary d;
    d.Entry_Add("dropped");
    ASSERT_TRUE(ReadSection(d, DictSection({{-5, 3}, {10, 2}, {99, 4}, {2, 100}, {1, -7}, {3, 2}},
                                           "abcdefghij", 0x11)));
    ASSERT_EQ(d.entries(), 6);
    EXPECT_EQ(d.flags(), 0x11);
    EXPECT_EQ(DictionaryText(d, 0), "abc");  // negative offset starts at 0
    EXPECT_EQ(DictionaryText(d, 1), "j");    // offset D starts at the last byte
    EXPECT_EQ(DictionaryText(d, 2), "j");
    EXPECT_EQ(DictionaryText(d, 3), "cdefghij");  // cut at the end of the data
    EXPECT_EQ(DictionaryText(d, 4), "");
    EXPECT_EQ(d.Entry(5), d.Entry(0) + 3);
    // Nothing is current after a read: even a shared string opens a block.
    EXPECT_EQ(d.Entry_Add("abc"), 6);
    EXPECT_NE(d.Entry(6), d.Entry(0));
    ASSERT_TRUE(ReadSection(d, DictSection({{0, 4}, {-1, 0}}, "")));
    EXPECT_EQ(DictionaryText(d, 0), "");
    EXPECT_EQ(DictionaryText(d, 1), "");
}

TEST_F(DictionaryFileTest, WriteStoresBlockOffsetsAndReadsBackEqual) {
    std::mt19937 random(11);
    for (int round = 0; round < 12; round++) {
        Dictionary d;
        std::vector<std::string> model;
        int count = static_cast<int>(random() % 400);
        for (int i = 0; i < count; i++) {
            std::string text;
            if (!model.empty() && random() % 3 == 0) {
                const std::string& from = model[random() % model.size()];
                text = from.substr(from.empty() ? 0 : random() % from.size(), random() % 20);
            } else {
                int length = random() % 50 == 0 ? 3000 + random() % 9000 : random() % 40;
                for (int k = 0; k < length; k++)
                    text += static_cast<char>(random() % 256);
            }
            EXPECT_EQ(d.Entry_Add(text.data(), static_cast<int>(text.size())), i);
            model.push_back(text);
        }
        if (round % 3 == 2) d.Compress();
        d.SetFlag(round);
        WriteFile("r.oxc", 0x1000B, [&d](TaggedFile* f) { return d.Write(f); });
        Dictionary back;
        ASSERT_TRUE(ReadFrom(back, Get("r.oxc"))) << back.error().c_str();
        ASSERT_EQ(back.entries(), count);
        EXPECT_EQ(back.flags(), round);
        for (int i = 0; i < count; i++)
            ASSERT_EQ(DictionaryText(back, i), model[i]) << "round " << round << " entry " << i;
        // Written again, the read dictionary gives the same bytes.
        WriteFile("s.oxc", 0x1000B, [&back](TaggedFile* f) { return back.Write(f); });
        EXPECT_EQ(Get("s.oxc"), Get("r.oxc"));
    }
}

}  // namespace
