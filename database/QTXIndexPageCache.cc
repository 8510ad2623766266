#include "database/QTXIndexPageCache.h"

#include <cstring>

void QTXIndexPageCache::Validate(unsigned int counter, unsigned long opening) {
    if (valid_ && counter == counter_ && opening == opening_) return;
    pages_.clear();
    counter_ = counter;
    opening_ = opening;
    valid_ = true;
}

void QTXIndexPageCache::Advance(unsigned int counter, unsigned long opening) {
    if (!valid_ || opening != opening_) pages_.clear();
    counter_ = counter;
    opening_ = opening;
    valid_ = true;
}

void QTXIndexPageCache::Clear() {
    pages_.clear();
    valid_ = false;
}

bool QTXIndexPageCache::Fetch(unsigned int pagenum, unsigned char* bytes, int size) const {
    if (!valid_) return false;
    auto held = pages_.find(pagenum);
    if (held == pages_.end() || static_cast<int>(held->second.bytes.size()) != size) return false;
    memcpy(bytes, held->second.bytes.data(), size);
    return true;
}

void QTXIndexPageCache::Store(unsigned int pagenum, const unsigned char* bytes, int size,
                              bool leaf) {
    if (!valid_) return;
    if (pages_.size() >= kMaximumPages && !pages_.count(pagenum)) MakeRoom();
    Copy& copy = pages_[pagenum];
    copy.bytes.assign(bytes, bytes + size);
    copy.leaf = leaf;
}

void QTXIndexPageCache::MakeRoom() {
    std::erase_if(pages_, [](const auto& held) { return held.second.leaf; });
    if (pages_.size() >= kMaximumPages) pages_.clear();
}
