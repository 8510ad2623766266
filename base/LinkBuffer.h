#pragma once

// One block of a LinkBuffer chain. It owns its data and, through next, the
// rest of the chain.
struct LinkBuffer_Block {
    // A fresh block of size bytes, nothing used.
    explicit LinkBuffer_Block(int size);
    // Adopts data (from new[]) with used bytes filled out of size.
    LinkBuffer_Block(char* data, int used, int size);
    // Frees the data and every block behind this one.
    ~LinkBuffer_Block();
    LinkBuffer_Block(const LinkBuffer_Block&) = delete;
    LinkBuffer_Block& operator=(const LinkBuffer_Block&) = delete;

    // Copies what fits of n bytes; returns how many it took.
    int cat(const char* s, int n);
    // Forgets the data without freeing it; the links stay.
    void release();

    char* data;
    int used;
    int size;
    LinkBuffer_Block* next = nullptr;
    LinkBuffer_Block* previous = nullptr;
};

// A chain of blocks for building a long text from many pieces. Appending never
// moves what is already there, and a finished heap buffer joins the chain
// without a copy. The bytes are made contiguous only by data() and release().
//
// Lengths given to cat and prepend must be real: -1 is not understood here.
class LinkBuffer {
  public:
    // first and next are the rounding steps of the first and later blocks.
    LinkBuffer(int first, int next);
    virtual ~LinkBuffer();
    LinkBuffer(const LinkBuffer&) = delete;
    LinkBuffer& operator=(const LinkBuffer&) = delete;

    // Appends a copy of n bytes; returns what the last block copy took.
    int cat(const char* s, int n);
    int cat(char c) { return cat(&c, 1); }
    int cat(unsigned char c) { return cat(reinterpret_cast<const char*>(&c), 1); }
    // Appends buffer itself (from new[]) holding n bytes out of size.
    void cat_nocopy(const char* buffer, int n, int size);
    // Appends two upper-case hexadecimal digits, high nibble first.
    void cat_hex(unsigned char c);
    // Appends the decimal text of i, or the free-format text of d.
    void cat(int i);
    void cat(double d);
    // Appends a copy of other's bytes; other is untouched.
    void cat(const LinkBuffer* other);
    // Moves other's chain behind this one without copying, then deletes
    // other.
    void cat_destroy(LinkBuffer* other);

    // The same forms, putting the bytes in front.
    void prepend(const char* s, int n);
    void prepend_nocopy(const char* buffer, int n, int size);
    void prepend(int i);
    void prepend(double d);
    void prepend(const LinkBuffer* other);
    void prepend_destroy(LinkBuffer* other);

    // The bytes as one NUL-terminated block owned by the buffer, with the
    // length in *length and the block size in *size (when size is set).
    // An empty buffer gives a static "" with length 0 and size 1.
    const char* data(int* length, int* size = nullptr);
    // Hands the bytes to the caller as one new[] block with at least extra
    // spare bytes and empties the buffer. No NUL is written. An empty buffer
    // gives a fresh 1-byte block with length 0 and size 1.
    char* release(int* length, int* size, int extra);
    // Copies every byte, in order, to out, which has room; no NUL.
    void append_to(char* out) const;
    int length() const { return total_; }
    // The chain, for writing it out block by block; null when empty.
    const LinkBuffer_Block* first() const { return first_; }

  private:
    // Makes the chain one block with room for extra more bytes.
    void coalesce(int extra);
    void cat_formatted(char* text, int length, int size);
    void link_last(LinkBuffer_Block* block);
    void link_first(LinkBuffer_Block* block);
    // Takes other's chain and leaves other empty.
    static LinkBuffer_Block* take_chain(LinkBuffer* other, LinkBuffer_Block** last);

    LinkBuffer_Block* first_ = nullptr;
    LinkBuffer_Block* last_ = nullptr;
    int total_ = 0;
    int first_size_;
    int next_size_;
};
