#include "variables/AggregateIndex.h"

#include <cstdio>

#include "base/MemCmpI.h"

AggregateIndex::AggregateIndex(const AggregateIndex& other)
    : name_(other.name_), index_(other.index_) {}

AggregateIndex& AggregateIndex::operator=(const AggregateIndex& other) {
    if (this != &other) {
        name_ = other.name_;
        index_ = other.index_;
        serialized_.destroy();
    }
    return *this;
}

AggregateIndex::AggregateIndex(const String& name) : name_(name) {}

AggregateIndex::AggregateIndex(const char* name, int length) : name_(name, length) {}

AggregateIndex::AggregateIndex(int index) : index_(index < 0 ? 0 : index) {}

int AggregateIndex::Compare(const AggregateIndex& other) const {
    if (index_ != -1) {
        if (index_ == other.index_) return 0;
        return index_ <= other.index_ ? 1 : -1;
    }
    int shorter = name_.length() < other.name_.length() ? name_.length() : other.name_.length();
    int order = memcmpi(other.name_.text(), name_.text(), shorter);
    if (order != 0) return order;
    if (other.name_.length() < name_.length()) return -1;
    if (other.name_.length() > name_.length()) return 1;
    return 0;
}

AggregateIndex::operator String&() {
    if (index_ != -1 && name_.length() == 0) {
        char digits[16];
        int n = snprintf(digits, sizeof digits, "%d", index_);
        name_.assign(digits, n);
    }
    return name_;
}

const String& AggregateIndex::serialized() {
    if (serialized_.text() == nullptr) {
        if (index_ == -1) {
            serialized_.assign(":", 1);
            serialized_.cat(name_.c_str(), name_.length());
        } else {
            char text[20];
            int n = snprintf(text, sizeof text, "[%d]", index_);
            serialized_.assign(text, n);
        }
    }
    return serialized_;
}

void AggregateIndex::Move(int index) {
    index_ = index;
    name_.destroy();
}
