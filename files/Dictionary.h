#pragma once

#include "base/List.h"
#include "base/StringClass.h"
#include "files/DictionaryDataBlock.h"

class TaggedFile;

// Where one dictionary string lies.
struct Dictionary_Entry {
    DictionaryDataBlock* block;
    int offset;
    int length;
};

// The store of every string constant and name that code and the other
// sections refer to by number. A dictionary id is the zero-based index of an
// entry and stays valid for the dictionary's life: entries are only added.
// Strings have a length, no terminator, and may contain any byte; one entry
// may share the bytes of another.
class Dictionary {
  public:
    static constexpr int kEntryGrowth = 128;
    static constexpr int kBlockUnit = 8192;
    // Flag bit: the file was compiled so that the run-time log mask stays 0.
    static constexpr int kFlagNoLog = 1;

    Dictionary();
    // A deep copy with the same ids, offsets and lengths; strings added to
    // either later do not reach the other.
    Dictionary(const Dictionary& other);
    Dictionary& operator=(const Dictionary&) = delete;
    virtual ~Dictionary();

    // The bytes of entry id (not terminated) and, if length is given, their
    // count; null for an id below 0 or not below entries().
    const char* Entry(int id, int* length = nullptr) const;
    // Appends an entry for length bytes of text (-1: up to the NUL) and
    // returns its id. Equal strings added twice get two ids.
    int Entry_Add(const char* text, int length = -1);
    int Entry_Add(const String& text);

    // Replaces the whole dictionary with the "dict" section of file. Bad
    // entries are repaired, not refused. On a short section the text is in
    // error() and the dictionary is unchanged.
    bool Read(TaggedFile* file);
    // Writes the "dict" section, as a section of its own, to file.
    bool Write(TaggedFile* file);
    // Rebuilds the string data as one block with shared bytes found again;
    // ids, and so the texts, stay.
    void Compress();

    int entries() const { return entries_; }
    int flags() const { return flags_; }
    // ORs bits into the flags.
    void SetFlag(int flag) { flags_ |= flag; }

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  private:
    void Reserve(int capacity);
    // Takes the text of a short read from file.
    bool Fail(TaggedFile* file);

    String error_;
    Dictionary_Entry* entry_ = nullptr;
    int entries_ = 0;
    int capacity_ = 0;
    mutable List<DictionaryDataBlock> blocks_{1};  // mutable: only its cursor moves
    DictionaryDataBlock* current_ = nullptr;
    int flags_ = 0;
};
