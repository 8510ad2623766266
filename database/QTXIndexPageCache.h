#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

// Copies of an index file's pages as this process last read or wrote them.
// They stay good while the file's update counter is where it was when they
// were taken and the descriptor is the same: any change by another process
// moves the counter on, and a reopened descriptor may name another file of
// the same path, so either empties the cache.
class QTXIndexPageCache {
  public:
    // Keeps the pages if they were taken at counter through opening;
    // otherwise starts over from there.
    void Validate(unsigned int counter, unsigned long opening);
    // This process's own change moved the counter to counter; the pages it
    // wrote are stored already.
    void Advance(unsigned int counter, unsigned long opening);
    void Clear();
    // Copies page pagenum (size bytes) into bytes; false when not held.
    bool Fetch(unsigned int pagenum, unsigned char* bytes, int size) const;
    // Keeps a copy of page pagenum. When the cache is full the leaves go
    // first: a search passes through every upper page but only one leaf.
    void Store(unsigned int pagenum, const unsigned char* bytes, int size, bool leaf);

  private:
    static constexpr size_t kMaximumPages = 4096;

    struct Copy {
        std::vector<unsigned char> bytes;
        bool leaf;
    };
    void MakeRoom();

    std::unordered_map<unsigned int, Copy> pages_;
    unsigned int counter_ = 0;
    unsigned long opening_ = 0;
    bool valid_ = false;
};
