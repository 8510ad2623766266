#include "host/URLEncodedParser.h"

#include <algorithm>
#include <climits>

#include "variables/VariableHash.h"

namespace {

// A hex digit after upper-casing, with no test that it is one: letters
// count from 'A' as 10, anything else from '0'.
int digit_value(char c) {
    unsigned char byte = static_cast<unsigned char>(c);
    return byte > 64 ? ((byte & ~0x20) - 55) : byte - 48;
}

}  // namespace

bool URLEncodedParser::Store() {
    count_++;
    if (limit_ != 0 && count_ > limit_) return Fail("Maximum number of POST variables exceeded");
    last_name_length_ = static_cast<int>(name_.size());
    target_->SetVariable_Fancy(name_.data(), static_cast<int>(name_.size()), value_.data(),
                               static_cast<int>(value_.size()), 1);
    name_.clear();
    value_.clear();
    return true;
}

void URLEncodedParser::Escape(char c, std::string* into, State back) {
    hex_[hex_at_++] = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    if (hex_at_ < 2) return;
    into->push_back(static_cast<char>(digit_value(hex_[0]) * 16 + digit_value(hex_[1])));
    hex_at_ = 0;
    state_ = back;
}

bool URLEncodedParser::Parse(const char* data, int length) {
    // Names and values become variables, whose lengths are ints.
    if (length > 0 && static_cast<long>(std::max(name_.size(), value_.size())) + length >= INT_MAX)
        return Fail("Out of memory");
    for (int i = 0; i < length; i++) {
        char c = data[i];
        switch (state_) {
            case kName:
                if (c == '%') {
                    state_ = kNameEscape;
                } else if (c == '&') {
                    value_.clear();
                    if (!Store()) return false;
                } else if (c == '=') {
                    state_ = kValue;
                } else {
                    name_.push_back(c == '+' ? ' ' : c);
                }
                break;
            case kValue:
                if (c == '%') {
                    state_ = kValueEscape;
                } else if (c == '&') {
                    if (!Store()) return false;
                    state_ = kName;
                } else {
                    value_.push_back(c == '+' ? ' ' : c);
                }
                break;
            case kNameEscape:
                Escape(c, &name_, kName);
                break;
            case kValueEscape:
                Escape(c, &value_, kValue);
                break;
        }
    }
    return true;
}

bool URLEncodedParser::Finalize() {
    if (state_ != kName) {
        hex_at_ = 0;
        state_ = kName;
        return Store();
    }
    if (last_name_length_ > 0) {
        value_.clear();
        return Store();
    }
    return true;
}
