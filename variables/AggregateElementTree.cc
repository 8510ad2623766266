#include "variables/AggregateElementTree.h"

namespace {

void MoveBy(AggregateElement* element, int delta) {
    AggregateIndex& index = element->index();
    index.Move(index.index() + delta);
}

}  // namespace

void AggregateElementTree::Displace(int start, int delta) {
    if (delta == 0 || !root_) return;
    AggregateIndex key(start);
    Splay(key);
    if (start <= root_->item->index().index()) MoveBy(root_->item, delta);
    if (entries_ > kRecursionLimit) {
        DisplaceStack(delta, root_->right);
    } else {
        DisplaceRecurse(delta, root_->right);
    }
}

void AggregateElementTree::DisplaceRecurse(int delta, SplayTreeNode<AggregateElement>* node) {
    if (!node) return;
    MoveBy(node->item, delta);
    DisplaceRecurse(delta, node->left);
    DisplaceRecurse(delta, node->right);
}

void AggregateElementTree::DisplaceStack(int delta, SplayTreeNode<AggregateElement>* node) {
    if (!node) return;
    Stack<SplayTreeNode<AggregateElement>> pending(0);
    pending.Push(node);
    while (SplayTreeNode<AggregateElement>* next = pending.Pop()) {
        MoveBy(next->item, delta);
        if (next->left) pending.Push(next->left);
        if (next->right) pending.Push(next->right);
    }
}
