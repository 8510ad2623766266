#pragma once

#include <cstdint>
#include <vector>

#include "base/StringClass.h"

class Dictionary;
class Function;
class SegmentManager;
class TaggedFile;

// The functions of a script, numbered from 0 in the order in which they are
// added, and found by name (case-insensitively) through a chained hash
// whose bucket count never changes. The table is stored in the "func"
// section as it stands, so the hash and the chain order are those of the
// file format: the bucket is hashi of the name masked to the bucket count,
// and a chain runs by ascending name length, then by case-insensitive byte
// order, with an equal name behind the ones already there.
class FunctionManager {
  public:
    static constexpr int kDefaultBits = 8;
    static constexpr int kGrowth = 64;
    // The bytes of one function before its parameter records.
    static constexpr int kFunctionRecordSize = 20;
    static constexpr int kParameterRecordSize = 12;

    // An empty manager over dictionary (not owned) with 2^bits buckets.
    explicit FunctionManager(Dictionary* dictionary, int bits = kDefaultBits);
    // A deep copy for a cloned machine: every function is copied, with the
    // same id and chain, over dictionary (not owned), which must give the
    // same ids the same texts.
    FunctionManager(const FunctionManager& source, Dictionary* dictionary);
    FunctionManager(const FunctionManager&) = delete;
    FunctionManager& operator=(const FunctionManager&) = delete;
    virtual ~FunctionManager();

    // The function of the name (length -1: up to the NUL), compared without
    // regard to case, or null.
    virtual Function* Function_Get(const char* name, int length);
    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

    // A script function at segment and offset; name and the parameter
    // declaration (see Function::SetParameters) are added to the
    // dictionary. Returns the new function.
    Function* Function_Add(int segment, int offset, const char* name, int length,
                           const char* parameters, int parameters_length, unsigned flags);
    // An external function: the external flag is forced on and the entry
    // point is -1.
    Function* Function_Add(const char* name, int length, unsigned flags);
    // A copy of function (perhaps of another manager) under the next id,
    // with its name and parameters added to this manager's dictionary.
    Function* Function_Add(Function* function);
    // Links function, whose id must be Entries() and which the manager then
    // owns, under name (length -1: up to the NUL). Returns function.
    Function* Function_Add(Function* function, const char* name, int length);

    // The function of id, or null for an id out of range.
    Function* Function_Get(int id) const;
    int Entries() const { return static_cast<int>(functions_.size()); }

    // The bucket of a name: hashi with initial value 0, masked.
    int hash(const char* name, int length) const;

    // Replaces every function with those of the "func" section of file. The
    // chain links are read, not rebuilt, so no name is hashed. A script
    // function whose entry lies outside its segment of segments (the file's,
    // read before) makes the file corrupt. On failure the text is in error()
    // (a short read gives the TaggedFile's text) and the manager is
    // unchanged.
    bool Read(TaggedFile* file, const SegmentManager& segments);
    // Writes the "func" section, as a section of its own, to file.
    bool Write(TaggedFile* file);

    Dictionary* dictionary() const { return dictionary_; }
    int hash_bits() const { return hash_bits_; }
    int buckets() const { return static_cast<int>(buckets_.size()); }
    int used_buckets() const { return used_buckets_; }
    // The first function of a bucket's chain, or -1.
    int bucket_head(int bucket) const;
    // The function after id in its chain, or -1.
    int next_link(int id) const;

    // Room for functions before the arrays grow: 64 at first, then 64 more
    // each time.
    int capacity() const { return static_cast<int>(functions_.capacity()); }

  private:
    void Free();
    bool Fail(const String& text);

    String error_;
    std::vector<int> buckets_;  // first function of each chain, -1 empty
    int hash_bits_ = 0;
    int used_buckets_ = 0;
    std::vector<int> chain_;            // by function id
    std::vector<Function*> functions_;  // by function id, owned
    Dictionary* dictionary_;
};
