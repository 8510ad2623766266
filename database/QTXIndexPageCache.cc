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
    if (held == pages_.end() || static_cast<int>(held->second.size()) != size) return false;
    memcpy(bytes, held->second.data(), size);
    return true;
}

void QTXIndexPageCache::Store(unsigned int pagenum, const unsigned char* bytes, int size) {
    if (!valid_) return;
    if (pages_.size() >= kMaximumPages && !pages_.count(pagenum)) pages_.clear();
    pages_[pagenum].assign(bytes, bytes + size);
}
