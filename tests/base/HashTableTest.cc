#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/HashTable.h"
#include "tests/base/BaseTestSupport.h"
#include "tests/support/TestText.h"

namespace {

// An item keyed by its name, counting the live instances.
struct Named {
    static int live;
    std::string name;
    int serial;
    Named(std::string n, int s) : name(std::move(n)), serial(s) { live++; }
    ~Named() { live--; }
};
int Named::live = 0;

}  // namespace

template <>
struct HashTableKey<Named> {
    static const char* Text(const Named* item, int* length) {
        *length = static_cast<int>(item->name.size());
        return item->name.data();
    }
};

namespace {

// Exposes the chains so that their order can be checked.
class InspectedTable : public HashTable<Named> {
  public:
    using HashTable<Named>::HashTable;

    // Every chain holds live slots sorted by (length, bytes), equal keys in
    // slot order; every live slot is in the chain of its bucket.
    ::testing::AssertionResult ChainsAreOrdered() {
        int linked = 0;
        for (int bucket = 0; bucket < static_cast<int>(buckets_.size()); bucket++) {
            int previous = -1;
            for (int n = buckets_[bucket]; n != -1; n = links_[n]) {
                linked++;
                if (!slots_[n]) return ::testing::AssertionFailure() << "dead slot " << n;
                if (static_cast<int>(hash(slots_[n])) != bucket) {
                    return ::testing::AssertionFailure() << "slot " << n << " in bucket " << bucket;
                }
                if (previous != -1) {
                    int order = Compare(slots_[previous], slots_[n]);
                    if (order > 0 || (order == 0 && previous > n)) {
                        return ::testing::AssertionFailure() << "order at slot " << n;
                    }
                }
                previous = n;
            }
        }
        int live = 0;
        for (int n = 0; n < count_; n++)
            live += slots_[n] != nullptr;
        if (live != linked)
            return ::testing::AssertionFailure() << live << " live, linked " << linked;
        return ::testing::AssertionSuccess();
    }
};

// Slots in insertion order, null once removed, and for each folded key the
// live slots holding it, oldest first.
struct TableModel {
    bool case_insensitive;
    std::vector<Named*> slots;
    std::map<std::string, std::deque<int>> by_key;
    std::map<unsigned, int> bucket_load;
    int used_buckets = 0;

    std::deque<int>& Slots(const std::string& key) {
        return by_key[case_insensitive ? Lower(key) : key];
    }
    Named* Find(const std::string& key) {
        std::deque<int>& found = Slots(key);
        return found.empty() ? nullptr : slots[found.front()];
    }
    std::vector<Named*> Live() const {
        std::vector<Named*> out = slots;
        std::erase(out, nullptr);
        return out;
    }
};

void RunRandomOperations(bool case_insensitive, int bits, unsigned seed) {
    std::mt19937 random(seed);
    // Few distinct names, so that chains are long and duplicates common;
    // lengths vary so that the length-first order is exercised.
    std::vector<std::string> vocabulary;
    for (int i = 0; i < 150; i++)
        vocabulary.push_back(RandomName(random, "abcXYZ-_09", 12));
    std::vector<std::unique_ptr<Named>> store;
    InspectedTable table(0, case_insensitive, bits, 512);
    TableModel model{case_insensitive, {}, {}, {}, 0};
    for (int op = 0; op < Scaled(40000, 3); op++) {
        std::string name = vocabulary[random() % vocabulary.size()];
        if (case_insensitive) name = RandomCase(name, random);
        switch (random() % 6) {
            case 0:
            case 1: {
                store.push_back(std::make_unique<Named>(name, op));
                Named* item = store.back().get();
                int slot = table.Insert(item);
                ASSERT_EQ(slot, static_cast<int>(model.slots.size()));
                model.slots.push_back(item);
                model.Slots(name).push_back(slot);
                if (model.bucket_load[table.hash(name.c_str(), -1)]++ == 0) model.used_buckets++;
                break;
            }
            case 2: {
                Named* removed = table.Remove(name.c_str(), static_cast<int>(name.size()));
                Named* expected = model.Find(name);
                ASSERT_EQ(removed, expected) << name;
                if (removed) {
                    std::deque<int>& slots = model.Slots(name);
                    model.slots[slots.front()] = nullptr;
                    slots.pop_front();
                    model.bucket_load[table.hash(name.c_str(), -1)]--;
                    model.used_buckets--;
                }
                break;
            }
            case 3:
                ASSERT_EQ(table.Find(name.c_str(), -1), model.Find(name)) << name;
                break;
            case 4: {
                Named probe(name, -1);
                ASSERT_EQ(table.Find(&probe), model.Find(name)) << name;
                break;
            }
            default: {
                int i = static_cast<int>(random() % (model.slots.size() + 2)) - 1;
                Named* expected =
                    i >= 0 && i < static_cast<int>(model.slots.size()) ? model.slots[i] : nullptr;
                ASSERT_EQ(table.Index(i), expected);
                break;
            }
        }
        ASSERT_EQ(table.count(), static_cast<int>(model.slots.size()));
        ASSERT_EQ(table.capacity(), 512 * (1 + (table.count() - 1 + (table.count() == 0)) / 512));
        ASSERT_EQ(table.used_buckets(), model.used_buckets);
        if (op % 1000 == 0) {
            ASSERT_TRUE(table.ChainsAreOrdered());
            ASSERT_EQ(Forward(table), model.Live());
            ASSERT_EQ(Backward(table), model.Live());
        }
    }
    EXPECT_TRUE(table.ChainsAreOrdered());
    EXPECT_GT(table.count(), 1024);
}

TEST(HashTableTest, RandomOperationsFollowTheModel) {
    RunRandomOperations(true, 4, 3);
    RunRandomOperations(false, 5, 4);
    RunRandomOperations(true, 12, 5);
}

// The walks over the slots past their ends; the walks themselves are the
// random runs'.
TEST(HashTableTest, IterationPastTheEnds) {
    Named a("a", 0), b("b", 0), c("c", 0);
    HashTable<Named> table(0);
    EXPECT_EQ(table.First(), nullptr);
    EXPECT_EQ(table.Last(), nullptr);
    EXPECT_EQ(table.Current(), nullptr);
    for (Named* item : {&a, &b, &c})
        table.Insert(item);
    EXPECT_EQ(table.Remove("b", 1), &b);
    EXPECT_EQ(table.First(), &a);
    EXPECT_EQ(table.Next(), &c);
    EXPECT_EQ(table.Next(), nullptr);
    EXPECT_EQ(table.Current(), nullptr);
    EXPECT_EQ(table.Next(), nullptr);  // stays past the end
    EXPECT_EQ(table.Last(), &c);
    EXPECT_EQ(table.Previous(), &a);
    EXPECT_EQ(table.Previous(), nullptr);
    EXPECT_EQ(table.Next(), &a);  // from before the start, the first again
}

TEST(HashTableTest, CopySharesItemsWithoutOwningThem) {
    int before = Named::live;
    {
        HashTable<Named> source(1, 1, 6, 512);
        for (int i = 0; i < 700; i++)
            source.Insert(new Named("k" + std::to_string(i % 300), i));
        delete source.Remove("k5", -1);
        source.Last();
        HashTable<Named> copy(source);
        EXPECT_EQ(copy.count(), 700);
        EXPECT_EQ(copy.capacity(), 1024);
        EXPECT_EQ(copy.used_buckets(), source.used_buckets());
        EXPECT_EQ(copy.Index(5), nullptr);
        // Iteration restarts at slot 0 in the copy only.
        EXPECT_EQ(copy.Current(), source.Index(0));
        EXPECT_EQ(source.Current(), source.Index(699));
        EXPECT_EQ(Forward(copy), Forward(source));
        for (int i = 0; i < 300; i++) {
            std::string key = "K" + std::to_string(i);
            ASSERT_EQ(copy.Find(key.c_str(), -1), source.Find(key.c_str(), -1));
        }
        // The copy's arrays are its own.
        EXPECT_NE(copy.Remove("k1", -1), nullptr);
        EXPECT_NE(source.Find("k1", -1), nullptr);
        EXPECT_EQ(source.Find("k1", -1)->serial, 1);
        EXPECT_EQ(copy.Find("k1", -1)->serial, 301);
    }
    EXPECT_EQ(Named::live, before);
}

// A configuration-style key: a 4-byte id hashed as text, compared as a
// signed integer, through overridden hooks.
struct Setting {
    int id;
};

class SettingTable : public HashTable<Setting> {
  public:
    SettingTable() : HashTable<Setting>(1, 1, 12, 512) {}
    unsigned hash(Setting* item) override { return HashTable<Setting>::hash(Bytes(item), 4); }
    int Compare(Setting* a, Setting* b) override { return Compare(a, Bytes(b), 4); }
    int Compare(Setting* item, const char* key, int) override {
        int id;
        memcpy(&id, key, 4);
        return item->id < id ? -1 : item->id > id ? 1 : 0;
    }
    Setting* FindId(int id) { return Find(reinterpret_cast<const char*>(&id), 4); }

  private:
    static const char* Bytes(Setting* item) { return reinterpret_cast<const char*>(&item->id); }
};

TEST(HashTableTest, OverriddenHooksServeTypesWithoutATextKey) {
    std::mt19937 random(9);
    SettingTable table;
    std::map<int, int> model;  // id -> slot
    for (int i = 0; i < 2000; i++) {
        int id = static_cast<int>(random() % 2000000000u) - 1000000000;
        if (model.count(id)) continue;
        model[id] = table.Insert(new Setting{id});
    }
    for (const auto& [id, slot] : model) {
        ASSERT_EQ(table.FindId(id), table.Index(slot));
        Setting probe{id};
        ASSERT_EQ(table.Find(&probe), table.Index(slot));
    }
    EXPECT_EQ(table.FindId(12345), nullptr);
}

}  // namespace
