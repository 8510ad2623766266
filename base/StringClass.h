#pragma once

#include <initializer_list>

// A byte string that carries its length and keeps a NUL behind the content.
//
// The text pointer may be null (a default-constructed or released String); a
// null String reads as the empty text. Content bytes are opaque and may
// include NULs wherever an explicit length is used. Capacity grows in steps
// of 24 bytes and never shrinks while the block is kept.
class String {
  public:
    String() = default;
    // The parts one after another, as for a message; a null part is skipped.
    static String Join(std::initializer_list<const char*> parts);
    // Copies n bytes of s; n = -1 measures s with strlen.
    String(const char* s, int n = -1);
    // Adopts buffer, which must come from new[]; see assign_nocopy.
    String(char* buffer, int n, int size);
    // Copies through assign, so a copy of a null String is an allocated
    // empty text.
    String(const String& other);
    String& operator=(const String& other);
    // Moves take the block; the source becomes null.
    String(String&& other) noexcept;
    String& operator=(String&& other) noexcept;
    ~String();

    const char* text() const { return text_; }
    char* text() { return text_; }
    int length() const { return length_; }
    int capacity() const { return capacity_; }
    // The text, or "" when the pointer is null.
    const char* c_str() const { return text_ ? text_ : ""; }

    // Replace the content. A null s or n = 0 leaves an allocated empty text.
    void assign(char c);
    void assign(const char* s, int n = -1);
    // Takes ownership of buffer (from new[]) in every case. It is adopted
    // as is when size > n leaves room for the NUL, else copied and freed.
    void assign_nocopy(char* buffer, int n, int size);
    // Hands the text to the caller, who frees it with delete[]; the String
    // becomes null.
    char* release();
    // Frees the text; the String becomes null.
    void destroy();

    // Append. Growing keeps the content and the NUL invariant.
    void cat(char c);
    void cat(const char* s, int n = -1);
    // Makes room for size bytes in all, the NUL included, keeping the text.
    void reserve(int size);
    // Prepend. Always builds a fresh block; meant for short texts.
    void prepend(char c);
    void prepend(const char* s, int n = -1);

    // Substrings, each a new String.
    // The first pos bytes; the whole text if pos >= length; null if pos < 0.
    String before(int pos) const;
    // Everything before the first pat; the whole text when pat is absent.
    String before(const char* pat) const;
    // Everything behind pos, up to the next NUL.
    String after(int pos) const;
    // Everything behind the first pat found from start; empty when absent.
    String after(const char* pat, int start = 0) const;
    // From pos to the end, up to the next NUL.
    String from(int pos) const;
    // From the first pat found from start; empty when absent.
    String from(const char* pat, int start = 0) const;
    // Bytes start up to but not including end (an end index, not a count).
    String at(int start, int end) const;

    String Base64_Encode() const;
    String Base64_Decode() const;

    // In place. StripWhitespace and ltrim end the text at its first NUL.
    void StripWhitespace();
    void ltrim();
    // Reduces every run of blank, tab, CR, LF to the first byte of the run.
    void CompressWhitespace();
    void upcase();
    void lowcase();
    String upper() const;
    String lower() const;
    // Copies padded with c on the left or right until length reaches width.
    String padl(int width, char c = ' ') const;
    String padr(int width, char c = ' ') const;

    // True if the byte at pos is c; pos == length compares the NUL.
    bool matches(char c, int pos = 0) const;
    // True if the whole remainder from pos equals pat, ignoring case. Not a
    // prefix test. True when pos is at or past the length.
    bool matches(const char* pat, int pos = 0) const;
    bool contains(char c, int start = 0) const;
    bool contains(const char* pat, int start = 0) const;
    // Occurrences of pat, overlapping ones included.
    int freq(const char* pat) const;
    int index(const char* pat) const { return search(pat, 0); }
    // First index of pat at or after start, case-sensitive; -1 when absent,
    // when pat or the text is empty, or when pat is longer than the text.
    int search(const char* pat, int start = 0) const;
    // Replaces every non-overlapping pat, left to right; a null repl deletes.
    void gsub(const char* pat, const char* repl);
    // Shorten the length only; no NUL is written.
    void chop(int n);
    void truncate(unsigned n);

  private:
    static int rounded(int size);
    void allocate(int size);

    char* text_ = nullptr;
    int capacity_ = 0;
    int length_ = 0;
};
