#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <ranges>
#include <vector>

#include "base/List.h"
#include "base/SplayTree.h"
#include "tests/base/BaseTestSupport.h"

namespace {

struct TestIndex {
    int value;
};

// An element stored under a TestIndex, counting the live instances.
struct Element {
    static int live;
    TestIndex index;
    int serial;
    Element(int key, int s) : index{key}, serial(s) { live++; }
    Element(const Element& other) : index(other.index), serial(other.serial) { live++; }
    ~Element() { live--; }
};
int Element::live = 0;

}  // namespace

template <>
struct SplayTreeKey<Element, const TestIndex&> {
    static const TestIndex& Key(Element* item) { return item->index; }
    static int Compare(const TestIndex& key, Element* item) {
        return key.value < item->index.value ? -1 : key.value > item->index.value ? 1 : 0;
    }
};

namespace {

using Tree = SplayTree<Element, const TestIndex&>;

// Exposes the shape of the tree.
class InspectedTree : public Tree {
  public:
    using Tree::Tree;
    InspectedTree(const InspectedTree& other) : Tree(other) {}

    SplayTreeNode<Element>* root() const { return root_; }

    // True when the coming removal of the root takes the path in which the
    // root node swallows its right child that has only a left child.
    bool RootRemovalKeepsNode() const {
        return root_->left && root_->right && root_->right->left && !root_->right->right;
    }
};

std::vector<Element*> InOrder(Tree& tree) {
    List<Element> list(0);
    tree.AppendToList(list);
    EXPECT_EQ(list.Entries(), tree.Entries());
    return Forward(list);
}

std::vector<Element*> Values(const std::map<int, Element*>& model) {
    auto values = model | std::views::values;
    return {values.begin(), values.end()};
}

TEST(SplayTreeTest, RandomOperationsFollowTheModel) {
    std::mt19937 random(6);
    std::vector<std::unique_ptr<Element>> store;
    InspectedTree tree(0);
    std::map<int, Element*> model;
    int kept_node_removals = 0;
    for (int op = 0; op < Scaled(50000, 3); op++) {
        TestIndex key{static_cast<int>(random() % 400)};
        auto above = model.upper_bound(key.value);
        auto at_or_above = model.lower_bound(key.value);
        auto found = model.find(key.value);
        Element* expected = found == model.end() ? nullptr : found->second;
        switch (random() % 8) {
            case 0:
            case 1:
                if (!expected) {
                    store.push_back(std::make_unique<Element>(key.value, op));
                    tree.Insert(store.back().get());
                    model[key.value] = store.back().get();
                    ASSERT_EQ(tree.root()->item, store.back().get());
                }
                break;
            case 2: {
                ASSERT_EQ(tree.Find(key), expected);
                if (!expected) {
                    ASSERT_EQ(tree.Remove(key), nullptr);
                    break;
                }
                // Find has splayed the key to the root; Remove splays it again
                // in place, so the shape seen here is the one Remove works on.
                bool keeps_node = tree.RootRemovalKeepsNode();
                SplayTreeNode<Element>* root = tree.root();
                Element* successor = keeps_node ? root->right->item : nullptr;
                std::vector<Element*> before = InOrder(tree);
                ASSERT_EQ(tree.Remove(key), expected);
                model.erase(key.value);
                if (!keeps_node) break;
                // The root node took its right child's item and left subtree;
                // that subtree now lies behind a larger key.
                kept_node_removals++;
                ASSERT_EQ(tree.root(), root);
                ASSERT_EQ(root->item, successor);
                before.erase(std::find(before.begin(), before.end(), successor));
                *std::find(before.begin(), before.end(), expected) = successor;
                ASSERT_EQ(InOrder(tree), before);
                // Rebuild, so that the model holds again.
                tree.Dump();
                std::vector<Element*> items = Values(model);
                std::shuffle(items.begin(), items.end(), random);
                for (Element* item : items)
                    tree.Insert(item);
                break;
            }
            case 3:
                ASSERT_EQ(tree.Find(key), expected);
                break;
            case 4:
                ASSERT_EQ(tree.Next(key), above == model.end() ? nullptr : above->second);
                break;
            case 5:
                ASSERT_EQ(tree.Previous(key),
                          at_or_above == model.begin() ? nullptr : std::prev(at_or_above)->second);
                break;
            default: {
                SplayTreeNode<Element>* root = tree.root();
                ASSERT_EQ(tree.First(), model.empty() ? nullptr : model.begin()->second);
                ASSERT_EQ(tree.Last(), model.empty() ? nullptr : model.rbegin()->second);
                ASSERT_EQ(tree.root(), root);
                break;
            }
        }
        ASSERT_EQ(tree.Entries(), static_cast<int>(model.size()));
        if (op % 100 == 0) {
            ASSERT_EQ(InOrder(tree), Values(model));
        }
    }
    EXPECT_GT(kept_node_removals, 10);
    EXPECT_EQ(Element::live, static_cast<int>(store.size()));
}

// Finds a key whose removal takes the node-keeping path in an owning tree.
TEST(SplayTreeTest, RemovalThatLeavesKeysUnreachable) {
    int before = Element::live;
    std::mt19937 random(8);
    bool seen = false;
    for (int attempt = 0; attempt < 100 && !seen; attempt++) {
        InspectedTree tree(1);
        std::vector<int> keys(40);
        std::iota(keys.begin(), keys.end(), 0);
        std::shuffle(keys.begin(), keys.end(), random);
        for (int key : keys)
            tree.Insert(new Element(key, 0));
        for (int key : keys) {
            tree.Find(TestIndex{key});
            if (!tree.RootRemovalKeepsNode()) continue;
            seen = true;
            Element* stranded = tree.root()->right->left->item;
            delete tree.Remove(TestIndex{key});
            // The stranded item is still in the tree but no longer found; a copy finds it.
            EXPECT_EQ(tree.Find(stranded->index), nullptr);
            std::vector<Element*> all = InOrder(tree);
            EXPECT_NE(std::find(all.begin(), all.end(), stranded), all.end());
            InspectedTree copy(tree);
            EXPECT_EQ(copy.Find(stranded->index)->index.value, stranded->index.value);
            break;
        }
    }
    EXPECT_TRUE(seen);
    EXPECT_EQ(Element::live, before);  // Dump disposed of the stranded items as well
}

// A purge that records instead of deleting, to see which walk Dump takes.
class RecordingTree : public InspectedTree {
  public:
    RecordingTree() : InspectedTree(1) {}
    ~RecordingTree() override { Dump(); }
    void Purge(Element* item) override { purged.push_back(item); }
    std::vector<Element*> purged;
};

TEST(SplayTreeTest, LongChainsAreWalkedWithoutRecursion) {
    // Ascending inserts make a chain of left children as deep as the tree.
    constexpr int kSize = 100000;
    std::vector<std::unique_ptr<Element>> store;
    RecordingTree chain;
    for (int i = 0; i < kSize; i++) {
        store.push_back(std::make_unique<Element>(i, i));
        chain.Insert(store.back().get());
    }
    std::vector<Element*> expected;
    for (auto& element : store)
        expected.push_back(element.get());
    EXPECT_EQ(InOrder(chain), expected);
    {
        InspectedTree copy(chain);  // copies: the recording tree is an owner
        EXPECT_EQ(copy.Entries(), kSize);
        EXPECT_EQ(copy.First()->index.value, 0);
    }
    chain.Dump();
    EXPECT_EQ(chain.purged.size(), static_cast<size_t>(kSize));
    std::ranges::sort(chain.purged, {}, &Element::serial);
    EXPECT_EQ(chain.purged, expected);
}

TEST(SplayTreeTest, EqualKeysAreAllKept) {
    std::vector<std::unique_ptr<Element>> store;
    InspectedTree tree(0);
    std::mt19937 random(10);
    for (int i = 0; i < 300; i++) {
        store.push_back(std::make_unique<Element>(static_cast<int>(random() % 10), i));
        tree.Insert(store.back().get());
    }
    std::vector<Element*> all = InOrder(tree);
    ASSERT_EQ(all.size(), 300u);
    auto key = [](Element* item) { return item->index.value; };
    EXPECT_TRUE(std::ranges::is_sorted(all, {}, key));
    // Removing by key takes out one equal item at a time.
    int removed = 0;
    for (; Element* item = tree.Remove(TestIndex{3}); removed++)
        EXPECT_EQ(item->index.value, 3);
    EXPECT_EQ(removed, std::ranges::count(all, 3, key));
    EXPECT_EQ(tree.Entries(), 300 - removed);
}

}  // namespace
