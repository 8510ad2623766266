#pragma once

#include <cstdint>
#include <vector>

#include "base/StringClass.h"

class TaggedFile;

// The chained hash table as compiled files store it ("syst", "glbl", "locl",
// "func", each function's locals, the token indexes): a head of used bucket
// count B (u16), hash bits H (u8) and entry count E (u32), 4 reserved zero
// bytes more in a token index, then B bucket records of bucket number (u16)
// and first entry of its chain (u32). The entries follow in a layout that
// the owner decides; each carries the next entry of its chain or
// kEndOfChain.
//
// This class holds the head and the bucket heads in memory and moves them
// to and from the current section of a TaggedFile. It also fixes the hash
// and the chain order that every writer must use, since tables are stored
// and never rebuilt.
class StoredHashTable {
  public:
    static constexpr int kHeadSize = 7;
    static constexpr int kTokenIndexHeadSize = 11;
    static constexpr int kBucketRecordSize = 6;
    static constexpr uint32_t kEndOfChain = 0xFFFFFFFF;
    // Bucket numbers are stored in 16 bits, so no stored table has more.
    static constexpr int kMaxBits = 16;

    // A table of 2^bits empty buckets and no entries; bits is clamped to
    // 0..kMaxBits.
    explicit StoredHashTable(int bits = 0);

    // True when following links (-1 ends a chain) from any entry comes to
    // an end: a stored chain that runs in a circle would hang every lookup.
    static bool ChainsEnd(const int* links, int count);

    int bits() const { return bits_; }
    int buckets() const { return static_cast<int>(heads_.size()); }
    // Buckets whose chain is not empty.
    int used_buckets() const;
    int entries() const { return entries_; }
    void set_entries(int entries) { entries_ = entries; }
    // The first entry of the bucket's chain, or -1 when empty or out of range.
    int32_t head(int bucket) const;
    void set_head(int bucket, int32_t entry);
    const int32_t* heads() const { return heads_.data(); }

    // Reads a head of head_size bytes (kHeadSize or kTokenIndexHeadSize) and
    // the bucket records at the read position of file's current section,
    // replacing this table. Refuses a table whose E entries of at least
    // entry_size bytes each cannot fit in the rest of the section, a bucket
    // beyond the table and a chain head not below E. On failure the text
    // is in error() and the table is left empty.
    bool Read(TaggedFile* file, int entry_size, int head_size = kHeadSize);
    // Appends the head (reserved bytes zero) and one record for every
    // non-empty bucket in ascending bucket order to file's open section.
    bool Write(TaggedFile* file, int head_size = kHeadSize);

    // The bucket of a name in a table of 2^bits buckets: hashi with initial
    // value 0, masked.
    static int Bucket(const char* name, int length, int bits);
    // The order of names within a chain: shorter first, equal lengths by
    // case-insensitive byte comparison. Returns -1, 0 or 1.
    static int Compare(const char* a, int a_length, const char* b, int b_length);

    // Little-endian numbers at the read position of the current section, or
    // appended to the open section. A short read or a failed write is false;
    // the text is the TaggedFile's error.
    static bool Read_U16(TaggedFile* file, uint16_t* value);
    static bool Read_U32(TaggedFile* file, uint32_t* value);
    static bool Write_U16(TaggedFile* file, uint16_t value);
    static bool Write_U32(TaggedFile* file, uint32_t value);

    const String& error() const { return error_; }

  private:
    void Clear(int bits);
    bool Fail(const String& text);

    int bits_ = 0;
    int entries_ = 0;
    std::vector<int32_t> heads_;
    String error_;
};
