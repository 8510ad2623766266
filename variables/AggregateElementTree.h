#pragma once

#include "base/SplayTree.h"
#include "variables/AggregateElement.h"
#include "variables/AggregateIndex.h"

template <>
struct SplayTreeKey<AggregateElement, const AggregateIndex&> {
    static const AggregateIndex& Key(AggregateElement* item) { return item->index(); }
    static int Compare(const AggregateIndex& key, AggregateElement* item) {
        return item->index().Compare(key);
    }
};

// The elements of one aggregate, ordered by index: ascending positions for an
// array, case-insensitive names for a structure.
class AggregateElementTree : public SplayTree<AggregateElement, const AggregateIndex&> {
  public:
    // Variables' trees own their elements (owner 1).
    explicit AggregateElementTree(int owner) : SplayTree(owner) {}
    // A copy of the same ownership; an owning copy holds deep copies.
    AggregateElementTree(const AggregateElementTree& other) : SplayTree(other) {}
    ~AggregateElementTree() override = default;

    // Adds delta to every array index at or above start. The shape is kept:
    // the caller makes sure that no two elements come to the same index.
    virtual void Displace(int start, int delta);

    // Every element in index order, handed to visit(AggregateElement*).
    // Safe on trees as deep as they are large.
    template <class Visit>
    void InOrder(Visit&& visit) {
        if (entries_ > kRecursionLimit) {
            InOrderStack(visit);
        } else {
            InOrderRecurse(root_, visit);
        }
    }

  protected:
    virtual void DisplaceRecurse(int delta, SplayTreeNode<AggregateElement>* node);
    virtual void DisplaceStack(int delta, SplayTreeNode<AggregateElement>* node);

  private:
    template <class Visit>
    void InOrderStack(Visit& visit) {
        Stack<SplayTreeNode<AggregateElement>> pending(0);
        SplayTreeNode<AggregateElement>* node = root_;
        for (;;) {
            for (; node; node = node->left)
                pending.Push(node);
            node = pending.Pop();
            if (!node) return;
            visit(node->item);
            node = node->right;
        }
    }

    template <class Visit>
    static void InOrderRecurse(SplayTreeNode<AggregateElement>* node, Visit& visit) {
        if (!node) return;
        InOrderRecurse(node->left, visit);
        visit(node->item);
        InOrderRecurse(node->right, visit);
    }
};
