#pragma once

// Where List::Insert and List::Remove act.
enum ListPosition {
    ListHead = 0,  // the head of the list
    ListCurrent =
        1,         // the cursor: before the current node on insertion, the node itself on removal
    ListTail = 2,  // the tail of the list
};

template <class T>
struct ListNode {
    ListNode* previous;
    ListNode* next;
    T* item;
};

// A doubly linked list of pointers with a built-in cursor. An owning list
// disposes of its items (through Purge) when it is dumped or destroyed; a
// non-owning one never touches them. A null item may be stored, but Current()
// then cannot tell it from an empty cursor.
template <class T>
class List {
  public:
    explicit List(int owner) : owner_(owner) {}

    // Disposes of the items as Dump() does, but with List's own Purge: a
    // subclass that overrides Purge must dump in its own destructor.
    virtual ~List() {
        if (first_) List<T>::Dump();
    }

    List(const List&) = delete;
    List& operator=(const List&) = delete;

    // Adds item at p and makes it current; the count rises by one. Into an
    // empty list the item becomes the only node whatever p says. ListCurrent
    // inserts before the current node (at the tail when there is none). An
    // unknown p links nothing but still raises the count.
    virtual void Insert(T* item, ListPosition p) {
        entries_++;
        if (!first_) {
            ListNode<T>* node = NewNode(item);
            first_ = last_ = current_ = node;
            return;
        }
        switch (p) {
            case ListHead:
                LinkBefore(NewNode(item), first_);
                break;
            case ListCurrent:
                if (current_) {
                    LinkBefore(NewNode(item), current_);
                } else {
                    LinkAfterLast(NewNode(item));
                }
                break;
            case ListTail:
                LinkAfterLast(NewNode(item));
                break;
            default:
                break;
        }
    }

    // Unlinks the node at p and returns its item without disposing of it.
    // The count falls by one first, whatever happens next: on an empty list
    // it goes below zero and null is returned. ListCurrent moves the cursor
    // to the successor (null at the end); removing an end moves the cursor
    // only if it stood there, toward the rest of the list.
    virtual T* Remove(ListPosition p) {
        entries_--;
        if (!first_) return nullptr;
        switch (p) {
            case ListHead: {
                ListNode<T>* node = first_;
                if (current_ == node) current_ = node->next;
                return Unlink(node);
            }
            case ListCurrent: {
                ListNode<T>* node = current_;
                if (!node) return nullptr;
                current_ = node->next;
                return Unlink(node);
            }
            case ListTail: {
                ListNode<T>* node = last_;
                if (current_ == node) current_ = node->previous;
                return Unlink(node);
            }
            default:
                return nullptr;
        }
    }

    // The count kept by Insert and Remove.
    virtual int Entries() { return entries_; }

    // Moves the cursor to the first node holding exactly this pointer and
    // returns item, or leaves the cursor null and returns null.
    virtual T* Seek(T* item) {
        for (current_ = first_; current_; current_ = current_->next) {
            if (current_->item == item) return item;
        }
        return nullptr;
    }

    // Cursor movement: each returns the item under the new cursor, or null.
    // Next and Previous leave a null cursor null.
    virtual T* First() { return ItemAt(current_ = first_); }
    virtual T* Last() { return ItemAt(current_ = last_); }
    virtual T* Current() { return ItemAt(current_); }
    virtual T* Next() {
        if (current_) current_ = current_->next;
        return ItemAt(current_);
    }
    virtual T* Previous() {
        if (current_) current_ = current_->previous;
        return ItemAt(current_);
    }

    // Frees every node, disposing of each item through Purge if the list
    // owns its items. Leaves the list empty with a count of 0.
    virtual void Dump() { FreeNodes(owner_ != 0); }

    // Disposes of one item: deletes it unless it is null.
    virtual void Purge(T* item) { delete item; }

    // Frees every node but never disposes of the items.
    virtual void RemoveAll() { FreeNodes(false); }

    int owner() const { return owner_; }

  protected:
    int owner_;
    int entries_ = 0;
    ListNode<T>* first_ = nullptr;
    ListNode<T>* current_ = nullptr;
    ListNode<T>* last_ = nullptr;

  private:
    static ListNode<T>* NewNode(T* item) { return new ListNode<T>{nullptr, nullptr, item}; }
    static T* ItemAt(ListNode<T>* node) { return node ? node->item : nullptr; }

    void LinkBefore(ListNode<T>* node, ListNode<T>* before) {
        node->previous = before->previous;
        node->next = before;
        if (before->previous) {
            before->previous->next = node;
        } else {
            first_ = node;
        }
        before->previous = node;
        current_ = node;
    }

    void LinkAfterLast(ListNode<T>* node) {
        node->previous = last_;
        last_->next = node;
        last_ = node;
        current_ = node;
    }

    T* Unlink(ListNode<T>* node) {
        if (node->previous) {
            node->previous->next = node->next;
        } else {
            first_ = node->next;
        }
        if (node->next) {
            node->next->previous = node->previous;
        } else {
            last_ = node->previous;
        }
        T* item = node->item;
        delete node;
        return item;
    }

    void FreeNodes(bool purge) {
        ListNode<T>* node = first_;
        first_ = current_ = last_ = nullptr;
        entries_ = 0;
        while (node) {
            ListNode<T>* next = node->next;
            // List's own Purge when called from the destructor, where the
            // subclass is already gone.
            if (purge) Purge(node->item);
            delete node;
            node = next;
        }
    }
};
