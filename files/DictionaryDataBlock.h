#pragma once

// One block of dictionary string data. Strings are stored without
// terminators and may share bytes: a string already present anywhere in the
// used bytes is not stored again.
class DictionaryDataBlock {
  public:
    // An empty block with room for size bytes.
    explicit DictionaryDataBlock(int size);
    // Adopts data (from new[], size bytes, the first used of them filled).
    DictionaryDataBlock(char* data, int size, int used);
    DictionaryDataBlock(const DictionaryDataBlock& other);
    DictionaryDataBlock& operator=(const DictionaryDataBlock&) = delete;
    ~DictionaryDataBlock();

    // The offset of length bytes of text in the block: where they already
    // occur in the used bytes, else appended. -1 if they do not fit. An
    // empty text is at offset 0 and stores nothing.
    int Add(const char* text, int length);

    const char* data() const { return data_; }
    int size() const { return size_; }
    int used() const { return used_; }
    // Scratch for the writer: the block's offset in the file's string data.
    int base() const { return base_; }
    void set_base(int base) { base_ = base; }

  private:
    // The first occurrence of text in the used bytes, or -1.
    int Find(const unsigned char* text, int length) const;

    char* data_;
    int size_;
    int used_;
    int base_ = 0;
};
