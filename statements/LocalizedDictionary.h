#pragma once

#include "base/StringClass.h"

class TaggedFile;

// One piece of a localized message.
struct LocalizedPiece {
    int kind;  // nonzero: literal text; 0: the name of a variable to print
    int text;  // dictionary id of the text or the name
    int next;  // index of the next piece of the same message, -1 at the end
};

// The pieces of every localized message of a script, of all languages, in
// one numbered array. A language's token index names the first piece of a
// message; the pieces chain from there.
class LocalizedDictionary {
  public:
    static constexpr int kGrowth = 128;
    static constexpr int kPieceRecordSize = 12;

    LocalizedDictionary() = default;
    // The same pieces under the same numbers.
    LocalizedDictionary(const LocalizedDictionary& other);
    LocalizedDictionary& operator=(const LocalizedDictionary&) = delete;
    virtual ~LocalizedDictionary();

    // Appends a piece and returns its index. Room comes 128 pieces at a time.
    int Add_Entry(int kind, int text, int next = -1);
    // The piece at index, or null outside 0..Entries()-1.
    LocalizedPiece* Entry(int index);
    const LocalizedPiece* Entry(int index) const;
    int Entries() const { return count_; }
    int capacity() const { return capacity_; }

    // Replaces every piece with those of the "locd" section of file. A link
    // to no piece becomes -1. On failure the text is in error() (a short
    // read gives the TaggedFile's text) and the pieces are unchanged.
    bool Read(TaggedFile* file);
    // Writes the "locd" section, as a section of its own, to file.
    bool Write(TaggedFile* file);

    virtual const String& error() { return error_; }
    virtual void Error(const String& text) { error_ = text; }

  private:
    bool Fail(const String& text);

    String error_;
    LocalizedPiece* pieces_ = nullptr;
    int count_ = 0;
    int capacity_ = 0;
};
