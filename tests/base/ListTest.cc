#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <memory>
#include <random>
#include <vector>

#include "base/List.h"
#include "base/SearchableList.h"
#include "tests/base/BaseTestSupport.h"

namespace {

// The list's behaviour on std::list: the cursor is an iterator, end() for null.
struct ListModel {
    std::list<Counted*> items;
    std::list<Counted*>::iterator cursor = items.end();
    int entries = 0;

    Counted* At(std::list<Counted*>::iterator it) { return it == items.end() ? nullptr : *it; }

    // At the current item goes before the cursor, at the tail if it is null.
    void Insert(Counted* item, ListPosition p) {
        entries++;
        cursor = items.insert(p == ListHead      ? items.begin()
                              : p == ListCurrent ? cursor
                                                 : items.end(),
                              item);
    }

    Counted* Remove(ListPosition p) {
        entries--;
        if (items.empty()) return nullptr;
        std::list<Counted*>::iterator victim;
        if (p == ListHead) {
            victim = items.begin();
            if (cursor == victim) cursor = std::next(victim);
        } else if (p == ListCurrent) {
            if (cursor == items.end()) return nullptr;
            victim = cursor;
            cursor = std::next(victim);
        } else {
            victim = std::prev(items.end());
            if (cursor == victim)
                cursor = victim == items.begin() ? items.end() : std::prev(victim);
        }
        Counted* item = *victim;
        items.erase(victim);
        return item;
    }

    Counted* Next() {
        if (cursor != items.end()) ++cursor;
        return At(cursor);
    }
    Counted* Previous() {
        if (cursor == items.end()) return nullptr;
        cursor = cursor == items.begin() ? items.end() : std::prev(cursor);
        return At(cursor);
    }
};

TEST(ListTest, RandomOperationsFollowTheModel) {
    std::mt19937 random(1);
    int before = Counted::live;
    std::vector<std::unique_ptr<Counted>> store;
    List<Counted> list(0);
    ListModel model;
    for (int op = 0; op < Scaled(60000, 3); op++) {
        ListPosition p = static_cast<ListPosition>(random() % 3);
        switch (random() % 12) {
            case 0:
            case 1:
            case 2:
            case 3:
                store.push_back(std::make_unique<Counted>(op));
                list.Insert(store.back().get(), p);
                model.Insert(store.back().get(), p);
                break;
            case 4:
            case 5:
            case 6:
                // Removals on an empty list happen too, and drive the count negative.
                ASSERT_EQ(list.Remove(p), model.Remove(p));
                break;
            case 7:
                ASSERT_EQ(list.Next(), model.Next());
                break;
            case 8:
                ASSERT_EQ(list.Previous(), model.Previous());
                break;
            case 9:
                if (random() % 2) {
                    ASSERT_EQ(list.First(), model.At(model.cursor = model.items.begin()));
                } else {
                    model.cursor =
                        model.items.empty() ? model.items.end() : std::prev(model.items.end());
                    ASSERT_EQ(list.Last(), model.At(model.cursor));
                }
                break;
            case 10: {
                // Seek an item in the list or one that has left it.
                Counted* wanted = store.empty() ? nullptr : store[random() % store.size()].get();
                model.cursor = std::find(model.items.begin(), model.items.end(), wanted);
                ASSERT_EQ(list.Seek(wanted), model.At(model.cursor));
                break;
            }
            default:
                ASSERT_EQ(list.Current(), model.At(model.cursor));
                break;
        }
        ASSERT_EQ(list.Entries(), model.entries);
        ASSERT_EQ(list.Current(), model.At(model.cursor));
        if (op % 97 == 0) {
            std::vector<Counted*> expected(model.items.begin(), model.items.end());
            ASSERT_EQ(Forward(list), expected);
            ASSERT_EQ(Backward(list), expected);
            list.First();
            model.cursor = model.items.begin();
        }
        // Keep the list short enough that removals empty it now and then.
        if (model.items.size() > 60) {
            while (list.Remove(ListTail))
                model.Remove(ListTail);
            model.Remove(ListTail);
        }
    }
    EXPECT_EQ(Counted::live - before, static_cast<int>(store.size()));
}

// A list that gives its items back to a pool instead of deleting them.
class PoolList : public List<Counted> {
  public:
    explicit PoolList(std::vector<Counted*>* pool) : List<Counted>(1), pool_(pool) {}
    ~PoolList() override { Dump(); }
    void Purge(Counted* item) override { pool_->push_back(item); }

  private:
    std::vector<Counted*>* pool_;
};

TEST(ListTest, DumpDisposesThroughAnOverriddenPurge) {
    Counted a(1), b(2);
    std::vector<Counted*> pool;
    {
        PoolList list(&pool);
        list.Insert(&a, ListTail);
        list.Insert(&b, ListTail);
        list.Dump();
        EXPECT_EQ(pool, (std::vector<Counted*>{&a, &b}));
        list.Insert(&b, ListTail);
    }
    EXPECT_EQ(pool, (std::vector<Counted*>{&a, &b, &b}));
}

}  // namespace

template <>
struct SearchableListKey<Counted, int> {
    static int Compare(int key, Counted* item) { return key - item->id; }
};

namespace {

TEST(SearchableListTest, FindAndFindNextWalkTheMatches) {
    std::mt19937 random(5);
    std::vector<std::unique_ptr<Counted>> store;
    SearchableList<Counted, int> list(0);
    for (int i = 0; i < 300; i++) {
        store.push_back(std::make_unique<Counted>(static_cast<int>(random() % 20)));
        list.Insert(store.back().get(), static_cast<ListPosition>(random() % 3));
    }
    std::vector<Counted*> order = Forward(list);
    for (int key = -1; key <= 20; key++) {
        std::vector<Counted*> expected;
        for (Counted* item : order) {
            if (item->id == key) expected.push_back(item);
        }
        std::vector<Counted*> found;
        for (Counted* item = list.Find(key); item; item = list.FindNext(key)) {
            found.push_back(item);
            ASSERT_EQ(list.Current(), item);
        }
        EXPECT_EQ(found, expected) << key;
        EXPECT_EQ(list.Current(), nullptr);
        EXPECT_EQ(list.FindNext(key), nullptr);
    }
}

}  // namespace
