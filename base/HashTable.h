#pragma once

#include <algorithm>
#include <concepts>
#include <cstring>
#include <type_traits>
#include <vector>

#include "base/Hash.h"
#include "base/MemCmpI.h"

// Where a HashTable<T> finds the key text of an item. An element type with a
// text key specializes it in its own header with
//     static const char* Text(const T* item, int* length);
// and then HashTable<T> hashes and compares by that text without further
// code. A type without it must have a subclass override the three hooks.
template <class T>
struct HashTableKey {};

template <class T>
concept HasHashTableKey = requires(const T* item, int* length) {
    { HashTableKey<T>::Text(item, length) } -> std::convertible_to<const char*>;
};

// An open hash of pointers whose chains are threaded through parallel arrays
// of slot numbers. Items are numbered by insertion: a slot is never reused
// and never renumbered, so iteration (First, Next, ...) goes in insertion
// order and slot numbers stay valid while the table grows. Each chain is kept
// sorted by Compare (text keys: by length, then by bytes), equal keys in
// insertion order. The bucket count is fixed at construction; the arrays
// are made at the first insertion, so that a table that stays empty costs
// no memory.
template <class T>
class HashTable {
  public:
    static constexpr int kGrowth = 512;

    // An owning table deletes its items on Dump and destruction.
    explicit HashTable(int owner, int case_insensitive = 1, int bits = 12, int capacity = 512)
        : owner_(owner),
          case_insensitive_(case_insensitive),
          bits_(bits),
          capacity_(capacity) {}

    // Copies the arrays and the counters and restarts iteration. The items
    // are shared, so the copy never owns them.
    HashTable(const HashTable& other)
        : owner_(0),
          case_insensitive_(other.case_insensitive_),
          buckets_(other.buckets_),
          bits_(other.bits_),
          used_buckets_(other.used_buckets_),
          links_(other.links_),
          slots_(other.slots_),
          capacity_(other.capacity_),
          count_(other.count_) {}

    HashTable& operator=(const HashTable&) = delete;

    virtual ~HashTable() { DeleteOwnedItems(); }

    // Empties the table, deleting the items if it owns them. The capacity
    // stays; slot numbering starts again at 0.
    virtual void Dump() {
        DeleteOwnedItems();
        std::fill(buckets_.begin(), buckets_.end(), -1);
        std::fill(links_.begin(), links_.end(), -1);
        std::fill(slots_.begin(), slots_.end(), nullptr);
        used_buckets_ = 0;
        count_ = 0;
        iteration_ = 0;
    }

    // The bucket of item: hash(key, length) of its key text by default.
    virtual unsigned hash(T* item) {
        if constexpr (HasHashTableKey<T>) {
            int length = 0;
            const char* text = HashTableKey<T>::Text(item, &length);
            return hash(text, length);
        } else {
            return 0;
        }
    }

    // Order of a against b; by default Compare(a, key text of b).
    virtual int Compare(T* a, T* b) {
        if constexpr (HasHashTableKey<T>) {
            int length = 0;
            const char* text = HashTableKey<T>::Text(b, &length);
            return Compare(a, text, length);
        } else {
            return 0;
        }
    }

    // Order of item's key against the text key: shorter is less, equal
    // lengths compare bytewise (memcmpi when case-insensitive).
    virtual int Compare(T* item, const char* key, int length) {
        if constexpr (HasHashTableKey<T>) {
            int item_length = 0;
            const char* text = HashTableKey<T>::Text(item, &item_length);
            return CompareText(text, item_length, key, length);
        } else {
            return 0;
        }
    }

    // Adds item in a new slot and returns the slot number. The arrays grow
    // by 512 slots when full. Duplicates are kept, after their equals.
    int Insert(T* item) {
        if (buckets_.empty()) MakeArrays();
        if (count_ == capacity_) Grow();
        int n = count_++;
        slots_[n] = item;
        links_[n] = -1;
        int* link = &buckets_[hash(item)];
        if (*link == -1) {
            used_buckets_++;
        } else {
            while (*link != -1 && Compare(item, slots_[*link]) >= 0)
                link = &links_[*link];
            links_[n] = *link;
        }
        *link = n;
        return n;
    }

    // The first item whose key equals key (length -1: up to the NUL); null
    // when there is none.
    T* Find(const char* key, int length) {
        if (length < 0) length = static_cast<int>(strlen(key));
        int* link = FindLink(key, length);
        return link ? slots_[*link] : nullptr;
    }

    // The first item whose key equals item's, or null.
    T* Find(T* item) {
        if (buckets_.empty()) return nullptr;
        for (int n = buckets_[hash(item)]; n != -1; n = links_[n]) {
            int order = Compare(slots_[n], item);
            if (order == 0) return slots_[n];
            if (order > 0) break;
        }
        return nullptr;
    }

    // Unlinks the first item with this key, frees its slot for good and
    // returns the item without disposing of it; null when there is none.
    // The used-bucket count falls on every removal, even when the bucket
    // still holds other items: it is a statistic nothing reads back.
    T* Remove(const char* key, int length) {
        if (length < 0) length = static_cast<int>(strlen(key));
        int* link = FindLink(key, length);
        if (!link) return nullptr;
        int n = *link;
        *link = links_[n];
        links_[n] = -1;
        T* item = slots_[n];
        slots_[n] = nullptr;
        used_buckets_--;
        return item;
    }

    // The item in slot i; null for a removed slot or i out of range.
    T* Index(int i) const { return i >= 0 && i < count_ ? slots_[i] : nullptr; }

    // Iteration over the live slots in ascending slot order. Each returns
    // the item at the new position, or null when it runs off either end.
    T* First() {
        iteration_ = -1;
        return Next();
    }
    T* Last() {
        iteration_ = count_;
        return Previous();
    }
    T* Current() const { return Index(iteration_); }
    T* Next() {
        if (iteration_ < -1) iteration_ = -1;
        do {
            iteration_++;
        } while (iteration_ < count_ && !slots_[iteration_]);
        if (iteration_ > count_) iteration_ = count_;
        return Index(iteration_);
    }
    T* Previous() {
        if (iteration_ > count_) iteration_ = count_;
        do {
            iteration_--;
        } while (iteration_ >= 0 && !slots_[iteration_]);
        if (iteration_ < -1) iteration_ = -1;
        return Index(iteration_);
    }

    // The bucket of a text key (length -1: up to the NUL): hashi when the
    // table is case-insensitive, hash otherwise, masked to the bucket bits.
    unsigned hash(const char* key, int length) const {
        if (length < 0) length = static_cast<int>(strlen(key));
        unsigned h = case_insensitive_ ? ::hashi(key, length, 0) : ::hash(key, length, 0);
        return h & ((1u << bits_) - 1);
    }

    // Text key order used by the default Compare: by length, then by bytes.
    int CompareText(const char* a, int a_length, const char* b, int b_length) const {
        if (a_length != b_length) return a_length < b_length ? -1 : 1;
        int order = case_insensitive_ ? memcmpi(a, b, a_length) : memcmp(a, b, a_length);
        return order < 0 ? -1 : order > 0 ? 1 : 0;
    }

    int owner() const { return owner_; }
    int case_insensitive() const { return case_insensitive_; }
    int bits() const { return bits_; }
    int bucket_count() const { return 1 << bits_; }
    int used_buckets() const { return used_buckets_; }
    int capacity() const { return capacity_; }
    // Slots handed out so far, live or removed: the high-water mark.
    int count() const { return count_; }

  protected:
    int owner_;
    int case_insensitive_;
    std::vector<int> buckets_;
    int bits_;
    int used_buckets_ = 0;
    std::vector<int> links_;
    std::vector<T*> slots_;
    int capacity_;
    int count_ = 0;
    int iteration_ = 0;

  private:
    void MakeArrays() {
        buckets_.assign(size_t{1} << bits_, -1);
        links_.assign(static_cast<size_t>(capacity_), -1);
        slots_.assign(static_cast<size_t>(capacity_), nullptr);
    }

    void Grow() {
        capacity_ += kGrowth;
        links_.resize(capacity_, -1);
        slots_.resize(capacity_, nullptr);
    }

    // The link that points at the first entry with this key, or null.
    int* FindLink(const char* key, int length) {
        if (buckets_.empty()) return nullptr;
        int* link = &buckets_[hash(key, length)];
        while (*link != -1) {
            int order = Compare(slots_[*link], key, length);
            if (order == 0) return link;
            if (order > 0) break;
            link = &links_[*link];
        }
        return nullptr;
    }

    // Items whose life is counted (variables) are never owned by a table.
    void DeleteOwnedItems() {
        if constexpr (std::is_destructible_v<T>) {
            if (!owner_) return;
            for (int n = 0; n < count_; n++)
                delete slots_[n];
        }
    }
};
