#pragma once

template <class T>
struct StackNode {
    StackNode* next;
    T* item;
};

// A singly linked stack of pointers with a read cursor that Top and Peek move
// down the stack without changing it. An owning stack deletes the items that
// it discards or dumps; items handed out by Pop are the caller's.
template <class T>
class Stack {
  public:
    explicit Stack(int owner) : owner_(owner) {}
    virtual ~Stack() { Stack<T>::Dump(); }

    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    virtual int Entries() { return entries_; }

    // Puts item on top and points the cursor at it.
    virtual void Push(T* item) {
        top_ = new StackNode<T>{top_, item};
        cursor_ = top_;
        entries_++;
    }

    // Removes the item at the cursor and returns it to the caller; null on an
    // empty stack. Everything above the cursor is discarded first (deleted if
    // the stack owns it), so a Pop after Peeks drops what was peeked past. A
    // cursor that was walked off the bottom stands for the last node. The
    // cursor then points at the new top.
    virtual T* Pop() {
        if (!top_) return nullptr;
        StackNode<T>* target = cursor_ ? cursor_ : Bottom();
        while (top_ != target) {
            T* item = TakeTop();
            if (owner_) delete item;
        }
        T* item = TakeTop();
        cursor_ = top_;
        return item;
    }

    // Points the cursor at the top and returns its item, or null.
    virtual T* Top() {
        cursor_ = top_;
        return cursor_ ? cursor_->item : nullptr;
    }

    // Moves the cursor one node down and returns its item, or null below the
    // bottom. Top, Peek, Peek reads the third item without changing the stack.
    virtual T* Peek() {
        if (cursor_) cursor_ = cursor_->next;
        return cursor_ ? cursor_->item : nullptr;
    }

    // Frees every node, deleting the items if the stack owns them.
    virtual void Dump() {
        while (top_) {
            T* item = TakeTop();
            if (owner_) delete item;
        }
        cursor_ = nullptr;
    }

  protected:
    int owner_;
    int entries_ = 0;
    StackNode<T>* top_ = nullptr;
    StackNode<T>* cursor_ = nullptr;

  private:
    StackNode<T>* Bottom() const {
        StackNode<T>* node = top_;
        while (node->next)
            node = node->next;
        return node;
    }

    T* TakeTop() {
        StackNode<T>* node = top_;
        top_ = node->next;
        entries_--;
        T* item = node->item;
        delete node;
        return item;
    }
};
