#include "host/UnknownContentHandler.h"

#include <cstring>
#include <new>

#include "variables/ImmutableVariable.h"
#include "variables/VariableHash.h"

UnknownContentHandler::UnknownContentHandler(VariableHash* target, int expected)
    : HTTPContentParser(target),
      expected_(expected > 1 ? expected : 2),
      capacity_(expected > 0 ? expected + 1 : 1) {}

UnknownContentHandler::~UnknownContentHandler() {
    delete[] buffer_;
}

bool UnknownContentHandler::Parse(const char* data, int length) {
    if (length <= 0) return true;
    if (!buffer_ || length_ + length + 1 > capacity_) {
        long grown = buffer_ ? static_cast<long>(capacity_) +
                                   (static_cast<long>(length) / (expected_ - 1) + 1) * expected_
                             : capacity_;
        while (grown < length_ + length + 1)
            grown += expected_;
        char* bigger = grown < 0x7FFFFFFF ? new (std::nothrow) char[grown] : nullptr;
        if (!bigger) return Fail("Out of memory");
        if (length_ > 0) memcpy(bigger, buffer_, length_);
        delete[] buffer_;
        buffer_ = bigger;
        capacity_ = static_cast<int>(grown);
    }
    memcpy(buffer_ + length_, data, length);
    length_ += length;
    return true;
}

bool UnknownContentHandler::Finalize() {
    if (!buffer_) {
        buffer_ = new char[1];
        capacity_ = 1;
    }
    buffer_[length_] = '\0';
    auto* variable = new ImmutableVariable("content_data", 12, buffer_, length_, capacity_);
    buffer_ = nullptr;
    target_->SetVariable(variable);
    return true;
}
