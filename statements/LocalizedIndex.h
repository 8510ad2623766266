#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/LittleEndian.h"
#include "base/StringClass.h"
#include "files/Dictionary.h"
#include "files/StoredHashTable.h"
#include "files/TaggedFile.h"

// An entry of a localized table: the dictionary id of a text and its value.
template <class V>
struct LocalizedPair {
    int id;
    V value;
};

// The chained table under the token indexes and the language table: pairs
// numbered in insertion order and found by the text of their dictionary id,
// so that one text under several ids is one key. The bucket of a text is
// hashi masked to the bucket count; a chain runs by ascending length, then
// by case-insensitive byte order, an equal text behind those already there,
// and a search stops at the first text that sorts after the wanted one.
// The bucket count never changes; room for entries grows by a fixed step.
// The buckets are made at the first pair: most tables of a request stay
// empty or are replaced by the script's stored ones.
template <class V>
class LocalizedTable {
  public:
    static constexpr int kLinkOffset = 4;  // of the next link in a stored record

    LocalizedTable(Dictionary* dictionary, int bits, int capacity, int growth)
        : dictionary_(dictionary), growth_(growth > 0 ? growth : 1) {
        Reset(bits, capacity);
    }
    // The same pairs, links and room over dictionary (null: other's).
    LocalizedTable(const LocalizedTable& other, Dictionary* dictionary)
        : dictionary_(dictionary ? dictionary : other.dictionary_),
          growth_(other.growth_),
          bits_(other.bits_),
          buckets_(other.buckets_),
          used_buckets_(other.used_buckets_) {
        next_.reserve(other.next_.capacity());
        entries_.reserve(other.entries_.capacity());
        next_ = other.next_;
        entries_ = other.entries_;
    }
    LocalizedTable& operator=(const LocalizedTable&) = delete;
    LocalizedTable(LocalizedTable&&) = default;
    LocalizedTable& operator=(LocalizedTable&&) = default;

    // The pair number of the text (length -1: up to the NUL), or -1.
    int Find(const char* text, int length) const {
        if (!text) return -1;
        if (length < 0) length = static_cast<int>(strlen(text));
        int steps = Entries();  // a damaged stored chain might loop
        for (int n = bucket_head(Bucket(text, length)); n != -1 && steps-- > 0; n = next_[n]) {
            int order = Order(n, text, length);
            if (order > 0) break;
            if (order == 0) return n;
        }
        return -1;
    }
    // The pair number of the text of dictionary entry id, or -1.
    int Find(int id) const {
        int length = 0;
        const char* text = dictionary_->Entry(id, &length);
        return text ? Find(text, length) : -1;
    }

    // Adds the pair (id, value) and returns its number; -1 when the
    // dictionary does not know id.
    int Add(int id, V value) {
        int length = 0;
        const char* text = dictionary_->Entry(id, &length);
        if (!text) return -1;
        int n = Entries();
        if (entries_.size() == entries_.capacity()) {
            entries_.reserve(entries_.capacity() + growth_);
            next_.reserve(entries_.capacity());
        }
        entries_.push_back({id, value});
        if (buckets_.empty()) buckets_.assign(static_cast<size_t>(1) << bits_, -1);
        int bucket = Bucket(text, length);
        int previous = -1;
        int next = buckets_[bucket];
        while (next != -1 && Order(next, text, length) <= 0) {
            previous = next;
            next = next_[next];
        }
        next_.push_back(next);
        if (previous != -1) {
            next_[previous] = n;
        } else {
            if (buckets_[bucket] == -1) used_buckets_++;
            buckets_[bucket] = n;
        }
        return n;
    }

    LocalizedPair<V>* Entry(int n) { return n >= 0 && n < Entries() ? &entries_[n] : nullptr; }
    const LocalizedPair<V>* Entry(int n) const {
        return n >= 0 && n < Entries() ? &entries_[n] : nullptr;
    }
    int Entries() const { return static_cast<int>(entries_.size()); }
    int capacity() const { return static_cast<int>(entries_.capacity()); }
    int hash_bits() const { return bits_; }
    int buckets() const { return 1 << bits_; }
    int used_buckets() const { return used_buckets_; }
    int bucket_head(int bucket) const {
        return bucket >= 0 && bucket < static_cast<int>(buckets_.size()) ? buckets_[bucket] : -1;
    }
    int next_link(int n) const { return n >= 0 && n < Entries() ? next_[n] : -1; }
    Dictionary* dictionary() const { return dictionary_; }

    // Reads a stored table at the read position of file's current section:
    // a head of head_size bytes, the bucket records and records of
    // record_size bytes that begin with the id and the next link. Every
    // value is V(); *records receives the records for the caller's further
    // fields. On failure *error gets the text and the table is unchanged.
    bool Read(TaggedFile* file, int head_size, int record_size, std::vector<unsigned char>* records,
              String* error) {
        StoredHashTable table;
        if (!table.Read(file, record_size, head_size)) {
            *error = table.error();
            return false;
        }
        int count = table.entries();
        records->assign(static_cast<size_t>(count) * record_size, 0);
        int size = static_cast<int>(records->size());
        if (size > 0 && file->Section_Read(records->data(), size) != size) {
            *error = file->error();
            return false;
        }
        int capacity = count == 0 ? 0 : (count + growth_ - 1) / growth_ * growth_;
        Reset(table.bits(), capacity);
        used_buckets_ = table.used_buckets();
        if (used_buckets_ > 0) buckets_.assign(table.heads(), table.heads() + table.buckets());
        for (int n = 0; n < count; n++) {
            const unsigned char* record = records->data() + static_cast<size_t>(n) * record_size;
            uint32_t next = get_u32(record + kLinkOffset);
            entries_.push_back({static_cast<int>(get_u32(record)), V()});
            next_.push_back(next < static_cast<uint32_t>(count) ? static_cast<int>(next) : -1);
        }
        return true;
    }

    // The head and bucket records for the open section of file, head_size
    // bytes of head; false with *error set on failure.
    bool Write_Head(TaggedFile* file, int head_size, String* error) const {
        StoredHashTable table(bits_);
        table.set_entries(Entries());
        for (int bucket = 0; bucket < buckets(); bucket++)
            table.set_head(bucket, bucket_head(bucket));
        if (table.Write(file, head_size)) return true;
        *error = table.error().text() ? table.error() : file->error();
        return false;
    }
    // The stored records of record_size bytes with the id and the next link
    // filled in and the rest zero.
    std::vector<unsigned char> Records(int record_size) const {
        std::vector<unsigned char> records(static_cast<size_t>(Entries()) * record_size, 0);
        for (int n = 0; n < Entries(); n++) {
            unsigned char* record = records.data() + static_cast<size_t>(n) * record_size;
            put_u32(record, static_cast<uint32_t>(entries_[n].id));
            put_u32(record + kLinkOffset, next_[n] == -1 ? StoredHashTable::kEndOfChain
                                                         : static_cast<uint32_t>(next_[n]));
        }
        return records;
    }

  private:
    int Bucket(const char* text, int length) const {
        return StoredHashTable::Bucket(text, length, bits_);
    }
    // The chain order of pair n against the text; a pair whose id the
    // dictionary does not know sorts as the empty text.
    int Order(int n, const char* text, int length) const {
        int entry_length = 0;
        const char* entry = dictionary_->Entry(entries_[n].id, &entry_length);
        if (!entry) {
            entry = "";
            entry_length = 0;
        }
        return StoredHashTable::Compare(entry, entry_length, text, length);
    }
    void Reset(int bits, int capacity) {
        if (bits < 0) bits = 0;
        if (bits > StoredHashTable::kMaxBits) bits = StoredHashTable::kMaxBits;
        bits_ = bits;
        buckets_ = std::vector<int>();
        used_buckets_ = 0;
        // Fresh vectors, so that the capacity is exactly the one asked for.
        entries_ = std::vector<LocalizedPair<V>>();
        next_ = std::vector<int>();
        entries_.reserve(capacity);
        next_.reserve(capacity);
    }

    Dictionary* dictionary_;
    int growth_;
    int bits_ = 0;
    std::vector<int> buckets_;  // first pair of each chain, -1 empty; none: all empty
    int used_buckets_ = 0;
    std::vector<int> next_;  // by pair number
    std::vector<LocalizedPair<V>> entries_;
};

using LocalizedIndex_Entry = LocalizedPair<int>;  // token, first piece or -1

// The token index of one language: for each token, found by its text, the
// first piece of its message in the LocalizedDictionary. It is stored in a
// section of its own, (language << 16) | 0x584C; files up to version
// 0x10007 have one index for all languages under section 0.
class LocalizedIndex {
  public:
    static constexpr int kHashBits = 12;
    static constexpr int kCapacity = 128;
    static constexpr int kGrowth = 128;
    static constexpr int kRecordSize = 12;

    // An empty index of the language with this entry number, over dictionary
    // (not owned).
    LocalizedIndex(Dictionary* dictionary, int language, int bits = kHashBits,
                   int capacity = kCapacity);
    // The same tables over dictionary (null: other's), which must give the
    // same ids the same texts.
    LocalizedIndex(const LocalizedIndex& other, Dictionary* dictionary);
    LocalizedIndex& operator=(const LocalizedIndex&) = delete;
    virtual ~LocalizedIndex() = default;

    // Adds token (a dictionary id) with the index of its first piece.
    // Returns the entry number, or -1 when the dictionary does not know the
    // token. A text already present keeps finding its first entry.
    int Add_Entry(int token, int first_piece);
    // The entry whose token has the text of dictionary entry token, or null.
    LocalizedIndex_Entry* Get_Entry(int token);
    // The entry of the text (length -1: up to the NUL), or null.
    LocalizedIndex_Entry* Get_Entry(const char* text, int length);
    // Entry number n, or null.
    LocalizedIndex_Entry* Entry(int n) { return table_.Entry(n); }
    int Entries() const { return table_.Entries(); }
    int language() const { return language_; }
    const LocalizedTable<int>& table() const { return table_; }

    // Read(file, the language's own section).
    bool Read(TaggedFile* file);
    // Replaces the index with the token index in section. A missing section
    // fails when section is 0 or the file's version is above 0x10007;
    // otherwise section 0, the one index of older files, is read instead.
    // The file's current section does not stand in for a missing one. On
    // failure the text is in error() and the index is unchanged.
    bool Read(TaggedFile* file, uint32_t section);
    // Writes the index as the section that Read(file) would read: the
    // language's own, or 0 for a file of version 0x10007 or lower.
    bool Write(TaggedFile* file);
    // Writes the index as section, a section of its own.
    bool Write(TaggedFile* file, uint32_t section);

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  private:
    bool Fail(const String& text);

    int language_;
    LocalizedTable<int> table_;
    String error_;
};
