#pragma once

#include "base/List.h"
#include "base/Stack.h"

// How a SplayTree<T, K> orders its items. Each instantiation specializes it
// with
//     static K Key(T* item);              // the key that item is stored under
//     static int Compare(K key, T* item); // <0, 0, >0: key below, at, above item
// The template's copy constructor re-inserts through these.
template <class T, class K>
struct SplayTreeKey;

template <class T>
struct SplayTreeNode {
    SplayTreeNode* left;
    SplayTreeNode* right;
    T* item;
};

// A top-down splay tree of pointers ordered by key. Lookups reshape the tree
// so that repeated and sequential access is cheap. Equal keys are allowed.
// An owning tree disposes of its items (through Purge) on Dump and
// destruction. Walks over the whole tree recurse up to kRecursionLimit
// entries and use an explicit Stack above, because the tree may be a chain.
template <class T, class K>
class SplayTree {
  public:
    static constexpr int kRecursionLimit = 99;

    explicit SplayTree(int owner) : owner_(owner) {}

    // Takes the owner flag of other and inserts each of its items: copies of
    // them (T's copy constructor) when owning, the same pointers otherwise.
    SplayTree(const SplayTree& other) : owner_(other.owner_) {
        if (other.entries_ > kRecursionLimit) {
            CopyFromSplayTreeStack(other.root_);
        } else {
            CopyFromSplayTreeRecurse(other.root_);
        }
    }

    SplayTree& operator=(const SplayTree&) = delete;

    // Disposes of the items as Dump() does, but with SplayTree's own Purge.
    virtual ~SplayTree() { SplayTree::Dump(); }

    // Adds item as the new root; an item with a key equal to the root's goes
    // after it.
    virtual void Insert(T* item) {
        entries_++;
        SplayTreeNode<T>* node = new SplayTreeNode<T>{nullptr, nullptr, item};
        if (!root_) {
            root_ = node;
            return;
        }
        K key = Key(item);
        Splay(key);
        if (Compare(key, root_->item) < 0) {
            node->left = root_->left;
            node->right = root_;
            root_->left = nullptr;
        } else {
            node->right = root_->right;
            node->left = root_;
            root_->right = nullptr;
        }
        root_ = node;
    }

    // Takes out an item stored under key and returns it without disposing
    // of it; null when the key is not reachable. When the root's right child
    // has a left but no right child, the root node takes over that child's
    // item and its left subtree: the keys there then lie out of order and
    // lookups by key miss them, though whole-tree walks still meet them.
    virtual T* Remove(K key) {
        if (!root_) return nullptr;
        Splay(key);
        if (Compare(key, root_->item) != 0) return nullptr;
        entries_--;
        T* item = root_->item;
        SplayTreeNode<T>* old = root_;
        SplayTreeNode<T>* right = old->right;
        if (!old->left || !right) {
            root_ = old->left ? old->left : right;
        } else if (right->left && right->right) {
            SplayTreeNode<T>* parent = right;
            while (parent->left->left)
                parent = parent->left;
            SplayTreeNode<T>* successor = parent->left;
            parent->left = successor->right;
            successor->left = old->left;
            successor->right = old->right;
            root_ = successor;
        } else {
            // The root node stays and takes over its right child.
            old->item = right->item;
            old->right = right->left ? right->left : right->right;
            delete right;
            return item;
        }
        delete old;
        return item;
    }

    // The item stored under key, or null.
    virtual T* Find(K key) {
        if (!root_) return nullptr;
        Splay(key);
        return Compare(key, root_->item) == 0 ? root_->item : nullptr;
    }

    // The first item above key, which need not be present; null if none.
    virtual T* Next(K key) {
        if (!root_) return nullptr;
        Splay(key);
        if (Compare(key, root_->item) < 0) return root_->item;
        return root_->right ? Leftmost(root_->right)->item : nullptr;
    }

    // The last item below key, which need not be present; null if none.
    virtual T* Previous(K key) {
        if (!root_) return nullptr;
        Splay(key);
        if (Compare(key, root_->item) > 0) return root_->item;
        return root_->left ? Rightmost(root_->left)->item : nullptr;
    }

    // The lowest and the highest item, or null; neither reshapes the tree.
    virtual T* First() { return root_ ? Leftmost(root_)->item : nullptr; }
    virtual T* Last() { return root_ ? Rightmost(root_)->item : nullptr; }

    // Frees every node, disposing of each item through Purge if the tree
    // owns its items.
    virtual void Dump() {
        if (entries_ > kRecursionLimit) {
            DumpStack(root_);
        } else {
            DumpRecurse(root_);
        }
        root_ = nullptr;
        entries_ = 0;
    }

    // Disposes of one item: deletes it unless it is null.
    virtual void Purge(T* item) { delete item; }

    virtual K Key(T* item) { return SplayTreeKey<T, K>::Key(item); }
    virtual int Compare(K key, T* item) { return SplayTreeKey<T, K>::Compare(key, item); }

    // Appends every item in key order at the tail of list.
    void AppendToList(List<T>& list) {
        if (entries_ > kRecursionLimit) {
            AppendToListStack(list, root_);
        } else {
            AppendToListRecurse(list, root_);
        }
    }

    int Entries() const { return entries_; }
    int owner() const { return owner_; }

  protected:
    int owner_;
    int entries_ = 0;
    SplayTreeNode<T>* root_ = nullptr;

    // Brings the node closest to key to the root (top-down splay).
    void Splay(K key) {
        SplayTreeNode<T> header{nullptr, nullptr, nullptr};
        SplayTreeNode<T>* left_max = &header;   // the tree of smaller keys
        SplayTreeNode<T>* right_min = &header;  // the tree of larger keys
        SplayTreeNode<T>* t = root_;
        for (;;) {
            int order = Compare(key, t->item);
            if (order < 0) {
                if (!t->left) break;
                if (Compare(key, t->left->item) < 0) {
                    t = RotateRight(t);
                    if (!t->left) break;
                }
                right_min->left = t;
                right_min = t;
                t = t->left;
            } else if (order > 0) {
                if (!t->right) break;
                if (Compare(key, t->right->item) > 0) {
                    t = RotateLeft(t);
                    if (!t->right) break;
                }
                left_max->right = t;
                left_max = t;
                t = t->right;
            } else {
                break;
            }
        }
        left_max->right = t->left;
        right_min->left = t->right;
        t->left = header.right;
        t->right = header.left;
        root_ = t;
    }

    static SplayTreeNode<T>* Leftmost(SplayTreeNode<T>* node) {
        while (node->left)
            node = node->left;
        return node;
    }

    static SplayTreeNode<T>* Rightmost(SplayTreeNode<T>* node) {
        while (node->right)
            node = node->right;
        return node;
    }

  private:
    static SplayTreeNode<T>* RotateRight(SplayTreeNode<T>* t) {
        SplayTreeNode<T>* y = t->left;
        t->left = y->right;
        y->right = t;
        return y;
    }

    static SplayTreeNode<T>* RotateLeft(SplayTreeNode<T>* t) {
        SplayTreeNode<T>* y = t->right;
        t->right = y->left;
        y->left = t;
        return y;
    }

    void DisposeNode(SplayTreeNode<T>* node) {
        if (owner_) Purge(node->item);
        delete node;
    }

    void DumpRecurse(SplayTreeNode<T>* node) {
        if (!node) return;
        DumpRecurse(node->left);
        DumpRecurse(node->right);
        DisposeNode(node);
    }

    void DumpStack(SplayTreeNode<T>* root) {
        if (!root) return;
        Stack<SplayTreeNode<T>> pending(0);
        pending.Push(root);
        while (SplayTreeNode<T>* node = pending.Pop()) {
            if (node->left) pending.Push(node->left);
            if (node->right) pending.Push(node->right);
            DisposeNode(node);
        }
    }

    void AppendToListRecurse(List<T>& list, SplayTreeNode<T>* node) {
        if (!node) return;
        AppendToListRecurse(list, node->left);
        list.Insert(node->item, ListTail);
        AppendToListRecurse(list, node->right);
    }

    // In-order walk with an explicit stack of the nodes whose right side is
    // still to come.
    static void InOrderStack(SplayTreeNode<T>* node, auto&& visit) {
        Stack<SplayTreeNode<T>> pending(0);
        for (;;) {
            for (; node; node = node->left)
                pending.Push(node);
            node = pending.Pop();
            if (!node) return;
            visit(node->item);
            node = node->right;
        }
    }

    void AppendToListStack(List<T>& list, SplayTreeNode<T>* root) {
        InOrderStack(root, [&list](T* item) { list.Insert(item, ListTail); });
    }

    T* CopyOf(T* item) const { return owner_ && item ? new T(*item) : item; }

    void CopyFromSplayTreeRecurse(SplayTreeNode<T>* node) {
        if (!node) return;
        CopyFromSplayTreeRecurse(node->left);
        Insert(CopyOf(node->item));
        CopyFromSplayTreeRecurse(node->right);
    }

    // Pre-order: each node before its subtrees, left before right.
    void CopyFromSplayTreeStack(SplayTreeNode<T>* root) {
        if (!root) return;
        Stack<SplayTreeNode<T>> pending(0);
        pending.Push(root);
        while (SplayTreeNode<T>* node = pending.Pop()) {
            if (node->right) pending.Push(node->right);
            if (node->left) pending.Push(node->left);
            Insert(CopyOf(node->item));
        }
    }
};
