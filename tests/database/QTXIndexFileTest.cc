#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "database/QTXIndexFile.h"
#include "tests/database/TableFixture.h"
#include "tools/XBaseIndexChecker.h"

namespace {

using Entry = std::pair<std::string, unsigned int>;

const unsigned char* Raw(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.c_str());
}

class QTXIndexFileTest : public TableFixture {
  protected:
    void Make(unsigned int flags, const char* expression = "key") {
        ASSERT_TRUE(index_.Create(OxinPathData, "i.qtx", Raw(expression), flags))
            << index_.error().c_str();
    }
    int Insert(unsigned int record, const std::string& key) {
        return index_.Insert(record, Raw(key), static_cast<int>(key.size()));
    }
    int Delete(unsigned int record, const std::string& key) {
        return index_.Delete(record, Raw(key), static_cast<int>(key.size()));
    }
    // Finds key; returns the record, with *found set.
    unsigned int Find(const std::string& key, int* found, int whole = 1) {
        unsigned int record = 0;
        EXPECT_TRUE(index_._Find(Raw(key), static_cast<int>(key.size()), whole, &record, found, 1))
            << index_.error().c_str();
        return record;
    }
    static std::string CursorKey(QTXIndexFile& index) {
        QTXIndexPage* top = index.stack().Top();
        return reinterpret_cast<const char*>(top->key(top->position));
    }
    // Every entry in the order of the cursor, walked from the first entry
    // forward or from the last backward.
    static std::vector<Entry> All(QTXIndexFile& index, bool forward = true) {
        std::vector<Entry> entries;
        unsigned int record = 0;
        EXPECT_TRUE(forward ? index._First(&record, 1) : index._Last(&record, 1));
        if (record) entries.push_back({CursorKey(index), record});
        const unsigned char* key = nullptr;
        while (record) {
            EXPECT_TRUE(forward ? index._Next(&record, &key, 1) : index._Prev(&record, &key, 1));
            if (record) entries.push_back({reinterpret_cast<const char*>(key), record});
        }
        if (!forward) std::reverse(entries.begin(), entries.end());
        return entries;
    }
    ::testing::AssertionResult Sound() {
        XBaseIndexChecker checker(&index_, nullptr);
        if (checker.Check()) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << checker.problems().front();
    }

    QTXIndexFile index_{&app_};
};

TEST_F(QTXIndexFileTest, NewIndexIsAHeaderAndAnEmptyRoot) {
    Make(QTXUnique | QTXString, "upper(name)");
    std::string bytes = TableFixture::Bytes("i.qtx");
    ASSERT_EQ(bytes.size(), 2048u);
    std::string expression = "upper(name)";
    std::string header = "QTXI\x03" + U32(0) + U32(2) + U32(1) + std::string("\x08\x00", 2) +
                         std::string("\x00\x04", 2) + std::string("\x6C\x00", 2) + U32(5) +
                         expression + std::string(400 - expression.size(), '\0');
    EXPECT_EQ(bytes.substr(0, 427), header);
    EXPECT_EQ(bytes.substr(427), std::string(2048 - 427, '\0'));

    unsigned int record = 7;
    int found = 7;
    EXPECT_TRUE(index_._First(&record, 1));
    EXPECT_EQ(record, 0u);
    record = 7;
    EXPECT_TRUE(index_._Last(&record, 1));
    EXPECT_EQ(record, 0u);
    EXPECT_EQ(Find("x", &found), 0u);
    EXPECT_EQ(found, 0);
}

TEST_F(QTXIndexFileTest, KeysOrderAsNumbersUnlessTheIndexSaysString) {
    Make(0);
    for (const char* key : {"10", "9", "abc", "-2.5", "1e1x"})
        ASSERT_TRUE(Insert(static_cast<unsigned int>(strlen(key)), key));
    std::vector<std::string> keys;
    for (const Entry& entry : All(index_))
        keys.push_back(entry.first);
    // "abc" and "1e1x" are not numbers, so they meet the others through strcmp.
    EXPECT_EQ(keys, (std::vector<std::string>{"-2.5", "1e1x", "9", "10", "abc"}));

    QTXIndexFile strings(&app_);
    ASSERT_TRUE(strings.Create(OxinPathData, "s.qtx", Raw("key"), QTXString));
    strings.Insert(1, Raw("9"), 1);
    strings.Insert(2, Raw("10"), 2);
    EXPECT_EQ(All(strings), (std::vector<Entry>{{"10", 2}, {"9", 1}}));

    EXPECT_EQ(QTXIndexFile::Compare(Raw(""), Raw("0"), 1, 0), 0);      // empty is 0
    EXPECT_EQ(QTXIndexFile::Compare(Raw("ab"), Raw("abc"), 0, 0), 0);  // prefix
    EXPECT_EQ(QTXIndexFile::Compare(Raw("9"), Raw("10"), 1, QTXDescending), 1);
}

TEST_F(QTXIndexFileTest, DescendingIndexStartsWithTheHighestKey) {
    Make(QTXDescending | QTXString);
    for (unsigned int i = 1; i <= 30; i++)
        ASSERT_TRUE(Insert(i, std::string(1, static_cast<char>('a' + i % 26)) + std::to_string(i)));
    unsigned int record = 0;
    ASSERT_TRUE(index_._First(&record, 1));
    EXPECT_EQ(CursorKey(index_), "z25");
    ASSERT_TRUE(index_._Last(&record, 1));
    EXPECT_EQ(CursorKey(index_), "a26");
    EXPECT_EQ(All(index_), All(index_, false));
    EXPECT_TRUE(Sound());
}

// Equal keys come in reverse order of insertion; a search finds the first.
TEST_F(QTXIndexFileTest, DuplicatesLineUpNewestFirst) {
    Make(QTXString);
    ASSERT_TRUE(Insert(5, "same"));
    ASSERT_TRUE(Insert(3, "same"));
    ASSERT_TRUE(Insert(9, "same"));
    ASSERT_TRUE(Insert(1, "other"));
    EXPECT_EQ(All(index_),
              (std::vector<Entry>{{"other", 1}, {"same", 9}, {"same", 3}, {"same", 5}}));
    int found = 0;
    EXPECT_EQ(Find("same", &found), 9u);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(Find("sa", &found, 0), 9u);  // a prefix search
    EXPECT_EQ(found, 1);
    EXPECT_TRUE(index_._Seek(Raw("same"), 4, 5, 1));
    unsigned int record = 0;
    ASSERT_TRUE(index_._Next(&record, nullptr, 1));
    EXPECT_EQ(record, 0u);  // the end

    // A search that finds nothing stands on the nearest key below.
    EXPECT_EQ(Find("p", &found), 1u);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(Find("a", &found), 0u);
}

TEST_F(QTXIndexFileTest, UniqueIndexRefusesASecondEqualKey) {
    Make(QTXUnique);
    ASSERT_TRUE(Insert(1, "007"));
    std::string before = TableFixture::Bytes("i.qtx");
    EXPECT_FALSE(Insert(2, "7"));  // equal as numbers
    EXPECT_STREQ(index_.error().c_str(),
                 "Index 'i.qtx' was created with the UNIQUE flag and the key '7' already exists "
                 "in the index file");
    EXPECT_EQ(TableFixture::Bytes("i.qtx"), before);
}

// Removing the entry under the cursor, without a search, mends the pages as
// a search-and-delete does.
TEST_F(QTXIndexFileTest, DeleteUnderTheCursor) {
    Make(QTXString);
    std::vector<Entry> expected;
    for (unsigned int i = 1; i <= 60; i++) {
        std::string key = "k" + std::to_string(1000 + i * 37 % 61);
        ASSERT_TRUE(Insert(i, key));
        expected.push_back({key, i});
    }
    std::sort(expected.begin(), expected.end());
    for (unsigned int i = 1; i <= 60; i += 2) {
        std::string key = "k" + std::to_string(1000 + i * 37 % 61);
        ASSERT_TRUE(index_._Seek(Raw(key), static_cast<int>(key.size()), i, 1));
        EXPECT_FALSE(index_.Delete_Current(i + 1));  // not the entry under the cursor
        ASSERT_TRUE(index_._Seek(Raw(key), static_cast<int>(key.size()), i, 1));
        ASSERT_TRUE(index_.Delete_Current(i)) << index_.error().c_str();
        expected.erase(std::find(expected.begin(), expected.end(), Entry{key, i}));
        ASSERT_EQ(All(index_), expected) << "after deleting record " << i;
    }
    EXPECT_TRUE(Sound());
}

// A cursor of one process goes on correctly after another process split and
// merged the pages under it.
TEST_F(QTXIndexFileTest, CursorFollowsChangesByAnotherProcess) {
    Make(QTXString);
    for (unsigned int i = 0; i < 100; i += 2)
        ASSERT_TRUE(Insert(i + 1, "k" + std::to_string(1000 + i)));
    QTXIndexFile other(&app_);
    ASSERT_TRUE(other.Open(OxinPathData, "i.qtx", 3));
    int found = 0;
    unsigned int record = 0;
    ASSERT_TRUE(other._Find(Raw("k1040"), 5, 1, &record, &found, 1));
    ASSERT_EQ(record, 41u);
    for (unsigned int i = 1; i < 100; i += 2)
        ASSERT_TRUE(Insert(i + 1, "k" + std::to_string(1000 + i)));
    for (unsigned int i = 0; i < 40; i += 2)
        ASSERT_TRUE(Delete(i + 1, "k" + std::to_string(1000 + i)));
    const unsigned char* key = nullptr;
    for (unsigned int expected = 42; expected <= 100; expected++) {
        ASSERT_TRUE(other._Next(&record, &key, 1));
        ASSERT_EQ(record, expected);
    }
    ASSERT_TRUE(other._Next(&record, &key, 1));
    EXPECT_EQ(record, 0u);
    ASSERT_TRUE(other._Find(Raw("k1050"), 5, 1, &record, &found, 1));
    Delete(51, "k1050");
    ASSERT_TRUE(other._Prev(&record, &key, 1));
    EXPECT_EQ(record, 0u);  // its entry is gone: the cursor is lost
    EXPECT_TRUE(Sound());
}

TEST_F(QTXIndexFileTest, DamagedFilesGiveErrorsNotCrashes) {
    Put("text.qtx", std::string(2048, 'x'));
    QTXIndexFile index(&app_);
    EXPECT_FALSE(index.Open(OxinPathData, "text.qtx", 3));
    EXPECT_STREQ(index.error().c_str(),
                 "'text.qtx' is either corrupt or is not a valid index file");

    Make(QTXString);
    for (unsigned int i = 1; i <= 9; i++)
        ASSERT_TRUE(Insert(i, "k" + std::to_string(i)));
    const std::string good = TableFixture::Bytes("i.qtx");
    // Writes good as name with bytes put at offset at.
    auto put = [&](const char* name, size_t at, const std::string& bytes) {
        std::string copy = good;
        Put(name, copy.replace(at, bytes.size(), bytes));
    };
    auto error = [&] { return std::string(index.error().c_str()); };

    put("newer.qtx", 4, "\x04");
    EXPECT_FALSE(index.Open(OxinPathData, "newer.qtx", 3));
    EXPECT_EQ(error(), "'newer.qtx' was created by a newer version of the software");

    // The root's right child points back at the root.
    put("cycle.qtx", 3 * 1024 + 4 + 108, U32(3));
    ASSERT_TRUE(index.Open(OxinPathData, "cycle.qtx", 3));
    unsigned int record = 0;
    int found = 0;
    EXPECT_FALSE(index._Find(Raw("k9"), 2, 1, &record, &found, 1));
    EXPECT_EQ(error(), "Error reading from 'cycle.qtx': File is corrupt");
    EXPECT_FALSE(index.Insert(10, Raw("k99"), 3));
    EXPECT_FALSE(XBaseIndexChecker(&index, nullptr).Check());

    put("crowded.qtx", 1024, U32(10));
    ASSERT_TRUE(index.Open(OxinPathData, "crowded.qtx", 3));
    EXPECT_FALSE(index._First(&record, 1));
    EXPECT_EQ(error(),
              "Error reading from 'crowded.qtx': File is corrupt (the number of entries is larger "
              "than the maximum entries possible).");

    put("far.qtx", 3 * 1024 + 4, U32(77));
    ASSERT_TRUE(index.Open(OxinPathData, "far.qtx", 3));
    EXPECT_FALSE(index._First(&record, 1));
    EXPECT_EQ(error().rfind("Error 'far.qtx' is corrupt ", 0), 0u) << error();

    Put("cut.qtx", good.substr(0, 3000));
    ASSERT_TRUE(index.Open(OxinPathData, "cut.qtx", 3));
    EXPECT_FALSE(index._Last(&record, 1));
    EXPECT_EQ(error().rfind("Error reading from 'cut.qtx': ", 0), 0u) << error();
}

// The tree against a model: random inserts, key changes, deletes and
// searches, with duplicates and keys of every length up to beyond the
// limit. At the end every record is indexed again, and the checker confirms
// the index against a table that holds the same keys.
// Orders keys as an index with these flags does.
struct KeyLess {
    unsigned int flags;
    bool operator()(const std::string& a, const std::string& b) const {
        return QTXIndexFile::Compare(Raw(a), Raw(b), 1, flags) < 0;
    }
};

TEST_F(QTXIndexFileTest, AgreesWithAModelOverManyRandomOperations) {
#if defined(__SANITIZE_ADDRESS__)
    const int kOperations = 40000;
#else
    const int kOperations = 200000;
#endif
    Make(QTXString, "key");
    std::multimap<std::string, unsigned int, KeyLess> entries(KeyLess{QTXString});
    std::vector<std::string> keyof(1);  // by record number; "" while not indexed
    std::vector<unsigned int> indexed, removed;
    std::mt19937 random(20261122);
    auto random_key = [&] {
        static const int lengths[] = {1, 2, 3, 5, 8, 30, 99, 120};
        int length = lengths[random() % 8];
        std::string key;
        for (int i = 0; i < length; i++)
            key += static_cast<char>('a' + random() % (length < 4 ? 5 : 2));
        return key.substr(0, 99);
    };
    auto erase_entry = [&](unsigned int record) {
        auto range = entries.equal_range(keyof[record]);
        for (auto it = range.first; it != range.second; ++it) {
            if (it->second == record) {
                entries.erase(it);
                return;
            }
        }
        FAIL() << "model lost record " << record;
    };
    auto compare_all = [&] {
        std::vector<Entry> actual = All(index_), model(entries.begin(), entries.end());
        ASSERT_EQ(actual.size(), model.size());
        ASSERT_TRUE(actual == All(index_, false)) << "the two directions differ";
        ASSERT_TRUE(std::is_sorted(
            actual.begin(), actual.end(),
            [](const Entry& a, const Entry& b) { return KeyLess{QTXString}(a.first, b.first); }));
        // Within a run of equal keys the records may stand in any order.
        std::sort(actual.begin(), actual.end());
        std::sort(model.begin(), model.end());
        ASSERT_TRUE(actual == model);
        ASSERT_TRUE(Sound());
    };

    for (int op = 0; op < kOperations; op++) {
        int choice = static_cast<int>(random() % 100);
        if (choice < 35 || indexed.empty()) {
            unsigned int record = static_cast<unsigned int>(keyof.size());
            std::string key = random_key();
            ASSERT_TRUE(Insert(record, key)) << index_.error().c_str();
            keyof.push_back(key);
            entries.insert({key, record});
            indexed.push_back(record);
        } else if (choice < 55) {
            size_t pick = random() % indexed.size();
            unsigned int record = indexed[pick];
            ASSERT_TRUE(Delete(record, keyof[record])) << op << ": " << index_.error().c_str();
            erase_entry(record);
            indexed[pick] = indexed.back();
            indexed.pop_back();
            removed.push_back(record);
        } else if (choice < 65) {
            unsigned int record = indexed[random() % indexed.size()];
            std::string key = random_key();
            ASSERT_TRUE(Delete(record, keyof[record]));
            erase_entry(record);
            ASSERT_TRUE(Insert(record, key));
            keyof[record] = key;
            entries.insert({key, record});
        } else if (choice < 66 && random() % 100 == 0) {
            // Rare: a missing entry is looked for through the rest of the tree.
            unsigned int record = static_cast<unsigned int>(keyof.size()) + 5;
            EXPECT_FALSE(Delete(record, random_key()));
        } else {
            bool prefix = choice >= 95;
            std::string key = random_key();
            int found = 0;
            unsigned int record = Find(key, &found, prefix ? 0 : 1);
            auto first = entries.lower_bound(key);
            bool expected =
                first != entries.end() &&
                (prefix ? first->first.compare(0, key.size(), key) == 0 : first->first == key);
            ASSERT_EQ(found, expected ? 1 : 0) << op << " '" << key << "'";
            if (expected) {
                // The cursor stands on the first of the equal keys; from
                // there it passes all of them (checked for the smaller runs).
                ASSERT_EQ(keyof[record], first->first);
                auto run = entries.equal_range(first->first);
                std::multiset<unsigned int> want, got{record};
                for (auto it = run.first; it != run.second; ++it)
                    want.insert(it->second);
                const unsigned char* next = nullptr;
                for (size_t n = 1; n < want.size() && want.size() <= 40; n++) {
                    ASSERT_TRUE(index_._Next(&record, &next, 1));
                    ASSERT_EQ(reinterpret_cast<const char*>(next), first->first);
                    got.insert(record);
                }
                ASSERT_TRUE(want.size() > 40 || got == want) << "the run of " << first->first;
            } else if (!prefix) {
                // Nothing equal: the nearest key below, if there is one (no
                // key is empty, as record 0 is).
                ASSERT_EQ(keyof[record],
                          first == entries.begin() ? std::string() : std::prev(first)->first);
            }
        }
        if (op % 50000 == 49999) compare_all();
    }
    compare_all();
    EXPECT_GT(index_.numpages(), 100u);

    // Index every record again and check the file against a table.
    for (unsigned int record : removed)
        ASSERT_TRUE(Insert(record, keyof[record]));
    XBaseTable table(&app_);
    Create(table, "t.dbf", {{"KEY", 'C', 120, 0}});
    for (size_t record = 1; record < keyof.size(); record++)
        AppendRow(table, {keyof[record]});
    XBaseIndexChecker checker(&index_, &table);
    EXPECT_TRUE(checker.Check()) << checker.problems().front();
    EXPECT_NE(checker.summary().find("keys compared"), std::string::npos) << checker.summary();

    // oxin-dbf says the same from outside, and finds a damaged copy out.
    std::string tool = std::string(OXIN_BINARY_DIR) + "/bin/oxin-dbf --no-records ";
    std::string files = directory_.Path("t.dbf") + " " + directory_.Path("i.qtx");
    EXPECT_EQ(system((tool + files + " > /dev/null").c_str()), 0);
    std::string damaged = TableFixture::Bytes("i.qtx");
    damaged.replace(index_.startingpage() * 1024 + 12, 1, "~");
    Put("i.qtx", damaged);
    EXPECT_NE(system((tool + files + " > /dev/null").c_str()), 0);
}

}  // namespace
