#pragma once

#include <cstdint>

class TaggedFile;

// One run of byte code. A code address is a segment id and a byte offset in
// its Code. Instructions have no alignment: words, dwords and doubles are
// stored byte by byte, little-endian. Bytes between Code_Length and size,
// and kOperandSlack more behind size, are zero.
class Segment {
  public:
    static constexpr int kGrowthUnit = 8192;
    // Zero bytes behind the end of the code: the longest operands.
    static constexpr int kOperandSlack = 16;

    // Room for 8192 bytes, all zero, none in use.
    explicit Segment(int id);
    // Exactly size zero bytes, all in use: the form that a load fills.
    Segment(int id, int size);
    Segment(const Segment& other);
    Segment& operator=(const Segment&) = delete;
    ~Segment();

    // Write at offset, growing the code as needed and raising Code_Length to
    // the end of the write if it was lower. Return the offset after the
    // item, or -1 for a negative offset.
    int Write_Byte(int offset, uint8_t value);
    int Write_Word(int offset, uint16_t value);
    int Write_Dword(int offset, uint32_t value);
    int Write_Double(int offset, double value);

    // Return the offset after the item, or -1 if it does not lie wholly
    // before Code_Length.
    int Read_Byte(int offset, uint8_t* value) const;
    int Read_Word(int offset, uint16_t* value) const;
    int Read_Dword(int offset, uint32_t* value) const;
    int Read_Double(int offset, double* value) const;

    // Reallocates to n bytes if n is a multiple of 8192, else to n rounded
    // down to one plus 8192, keeping the old bytes and zeroing the rest.
    void Grow(int n);

    // Reads Code_Length bytes at offset in section id; true if all came.
    bool Read(TaggedFile* file, uint32_t section, int offset);
    // Appends Code_Length bytes to the open section; true if all went.
    bool Write(TaggedFile* file);

    // Writes a listing of the code to path, headed by length bytes of text;
    // gives up silently if path cannot be opened. A debugging aid.
    void Dump(const char* path, const char* text, int length) const;

    int id() const { return id_; }
    const unsigned char* Code() const { return Code_; }
    int size() const { return size_; }
    int Code_Length() const { return Code_Length_; }

  private:
    // Makes room for bytes offset..end and claims them; false for a
    // negative offset.
    bool Claim(int offset, int end);
    bool Holds(int offset, int count) const;

    int id_;
    unsigned char* Code_;
    int size_;
    int Code_Length_;
};
