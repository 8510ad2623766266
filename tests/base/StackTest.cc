#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "base/Stack.h"
#include "tests/base/BaseTestSupport.h"

namespace {

// The stack on a std::vector whose back is the top; the cursor is an index,
// -1 when it has gone below the bottom or the stack is empty.
struct StackModel {
    std::vector<Counted*> items;
    int cursor = -1;
    int discarded = 0;  // items an owning stack has deleted on Pop

    Counted* At(int i) const { return i >= 0 ? items[i] : nullptr; }
    void Push(Counted* item) {
        items.push_back(item);
        cursor = static_cast<int>(items.size()) - 1;
    }
    Counted* Top() { return At(cursor = static_cast<int>(items.size()) - 1); }
    Counted* Peek() {
        if (cursor >= 0) cursor--;
        return At(cursor);
    }
    Counted* Pop() {
        if (items.empty()) return nullptr;
        int target = cursor >= 0 ? cursor : 0;
        discarded += static_cast<int>(items.size()) - 1 - target;
        Counted* item = items[target];
        items.resize(target);
        cursor = static_cast<int>(items.size()) - 1;
        return item;
    }
};

TEST(StackTest, RandomOperationsFollowTheModel) {
    std::mt19937 random(2);
    int before = Counted::live;
    Stack<Counted> stack(1);
    StackModel model;
    int popped = 0;
    for (int op = 0; op < Scaled(60000, 3); op++) {
        switch (random() % 8) {
            case 0:
            case 1:
            case 2:
                model.Push(new Counted(op));
                stack.Push(model.items.back());
                break;
            case 3: {
                Counted* item = stack.Pop();
                ASSERT_EQ(item, model.Pop());
                if (item) popped++;
                delete item;  // popped items are the caller's
                break;
            }
            case 4:
                ASSERT_EQ(stack.Top(), model.Top());
                break;
            case 5:
            case 6:
                ASSERT_EQ(stack.Peek(), model.Peek());
                break;
            default:
                if (random() % 50 == 0) {
                    stack.Dump();
                    model.discarded += static_cast<int>(model.items.size());
                    model.items.clear();
                    model.cursor = -1;
                    ASSERT_EQ(stack.Pop(), nullptr);
                    ASSERT_EQ(stack.Top(), nullptr);
                }
                break;
        }
        ASSERT_EQ(stack.Entries(), static_cast<int>(model.items.size()));
        // Owned items leave only by deletion in the stack or by Pop.
        ASSERT_EQ(Counted::live - before, static_cast<int>(model.items.size()));
    }
    EXPECT_GT(popped, 1000);
    EXPECT_GT(model.discarded, 1000);
}

}  // namespace
