#pragma once

#include "base/List.h"

// How a SearchableList<T, K> matches a key against an item. Each
// instantiation specializes it with
//     static int Compare(K key, T* item);   // 0 when item matches key
template <class T, class K>
struct SearchableListKey;

// A List that can look its items up by a key of type K.
template <class T, class K>
class SearchableList : public List<T> {
  public:
    explicit SearchableList(int owner) : List<T>(owner) {}

    // Moves the cursor from the first node on to the first item that matches
    // key and returns it; null, with a null cursor, when none does.
    virtual T* Find(K key) {
        for (T* item = this->First(); this->current_; item = this->Next()) {
            if (Compare(key, item) == 0) return item;
        }
        return nullptr;
    }

    // Like Find, starting behind the cursor; null when the cursor is null.
    virtual T* FindNext(K key) {
        for (T* item = this->Next(); this->current_; item = this->Next()) {
            if (Compare(key, item) == 0) return item;
        }
        return nullptr;
    }

    // 0 when item matches key; by default SearchableListKey<T, K>::Compare.
    virtual int Compare(K key, T* item) { return SearchableListKey<T, K>::Compare(key, item); }
};
