#include "files/DictionaryDataBlock.h"

#include <cstring>

DictionaryDataBlock::DictionaryDataBlock(int size)
    : data_(new char[size > 0 ? size : 1]), size_(size > 0 ? size : 0), used_(0) {}

DictionaryDataBlock::DictionaryDataBlock(char* data, int size, int used)
    : data_(data), size_(size), used_(used) {}

DictionaryDataBlock::DictionaryDataBlock(const DictionaryDataBlock& other)
    : data_(new char[other.size_ > 0 ? other.size_ : 1]),
      size_(other.size_),
      used_(other.used_),
      base_(other.base_) {
    if (used_ > 0) memcpy(data_, other.data_, used_);
}

DictionaryDataBlock::~DictionaryDataBlock() {
    delete[] data_;
}

int DictionaryDataBlock::Add(const char* text, int length) {
    if (length <= 0) return 0;
    int found = Find(reinterpret_cast<const unsigned char*>(text), length);
    if (found >= 0) return found;
    if (used_ + length > size_) return -1;
    memcpy(data_ + used_, text, length);
    int offset = used_;
    used_ += length;
    return offset;
}

// Boyer-Moore with the bad-character rule alone: the pattern is compared
// from its last byte backwards, and a mismatch moves on by the larger of the
// byte's table value and the part of the pattern already passed.
int DictionaryDataBlock::Find(const unsigned char* text, int length) const {
    if (length > used_) return -1;
    int skip[256];
    for (int& s : skip)
        s = length;
    for (int i = 0; i < length; i++)
        skip[text[i]] = length - i - 1;
    const unsigned char* data = reinterpret_cast<const unsigned char*>(data_);
    int i = length - 1;
    int j = length - 1;
    while (j >= 0) {
        if (data[i] == text[j]) {
            i--;
            j--;
            continue;
        }
        int shift = skip[data[i]];
        i += length - j > shift ? length - j : shift;
        if (i >= used_) return -1;
        j = length - 1;
    }
    return i + 1;
}
