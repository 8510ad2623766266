#include "base/StringClass.h"

#include <cctype>
#include <cstring>
#include <utility>

#include "base/Base64.h"

namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

String::String(const char* s, int n) {
    assign(s, n);
}

String::String(char* buffer, int n, int size) {
    assign_nocopy(buffer, n, size);
}

String::String(const String& other) {
    assign(other.text_, other.length_);
}

String& String::operator=(const String& other) {
    assign(other.text_, other.length_);
    return *this;
}

String::String(String&& other) noexcept
    : text_(std::exchange(other.text_, nullptr)),
      capacity_(std::exchange(other.capacity_, 0)),
      length_(std::exchange(other.length_, 0)) {}

String& String::operator=(String&& other) noexcept {
    if (this != &other) {
        delete[] text_;
        text_ = std::exchange(other.text_, nullptr);
        capacity_ = std::exchange(other.capacity_, 0);
        length_ = std::exchange(other.length_, 0);
    }
    return *this;
}

String::~String() {
    delete[] text_;
}

// A needed size rounded up to a multiple of 24; multiples stay as they are.
int String::rounded(int size) {
    return (size + 23) / 24 * 24;
}

// Replaces the block by a fresh one of the given size; the content is lost.
void String::allocate(int size) {
    delete[] text_;
    text_ = new char[size];
    capacity_ = size;
}

void String::assign(char c) {
    if (!text_) allocate(24);
    text_[0] = c;
    text_[1] = 0;
    length_ = 1;
}

void String::assign(const char* s, int n) {
    if (s && n == -1) n = static_cast<int>(strlen(s));
    if (!s || n <= 0) {
        if (!text_) allocate(24);
        length_ = 0;
        text_[0] = 0;
        return;
    }
    if (n + 1 > capacity_) allocate(rounded(n + 1));
    memmove(text_, s, n);
    text_[n] = 0;
    length_ = n;
}

void String::assign_nocopy(char* buffer, int n, int size) {
    delete[] text_;
    text_ = nullptr;
    capacity_ = 0;
    if (size > n) {
        text_ = buffer;
        capacity_ = size;
    } else {
        allocate(rounded(n + 1));
        if (n > 0) memcpy(text_, buffer, n);
        delete[] buffer;
    }
    text_[n] = 0;
    length_ = n;
}

char* String::release() {
    char* text = text_;
    text_ = nullptr;
    capacity_ = 0;
    length_ = 0;
    return text;
}

void String::destroy() {
    delete[] release();
}

void String::cat(char c) {
    if (!text_) return assign(c);
    if (length_ + 2 >= capacity_) {
        int size = rounded(capacity_ + 1);
        char* block = new char[size];
        memcpy(block, text_, length_);
        delete[] text_;
        text_ = block;
        capacity_ = size;
    }
    text_[length_++] = c;
    text_[length_] = 0;
}

String String::Join(std::initializer_list<const char*> parts) {
    String joined;
    joined.assign("", 0);
    for (const char* part : parts) {
        if (part) joined.cat(part);
    }
    return joined;
}

void String::cat(const char* s, int n) {
    if (!text_) return assign(s, n);
    if (n == -1) n = static_cast<int>(strlen(s));
    if (n <= 0) return;
    if (length_ + n + 1 > capacity_) {
        int size = rounded(length_ + n + 1);
        char* block = new char[size];
        memcpy(block, text_, length_);
        memcpy(block + length_, s, n);
        delete[] text_;
        text_ = block;
        capacity_ = size;
    } else {
        memmove(text_ + length_, s, n);
    }
    length_ += n;
    text_[length_] = 0;
}

void String::reserve(int size) {
    if (size <= capacity_) return;
    char* block = new char[size];
    if (text_) memcpy(block, text_, length_ + 1);
    delete[] text_;
    text_ = block;
    capacity_ = size;
    if (length_ == 0) text_[0] = 0;
}

void String::prepend(char c) {
    char text[2] = {c, 0};
    prepend(text, -1);
}

void String::prepend(const char* s, int n) {
    if (n == -1) n = s ? static_cast<int>(strlen(s)) : 0;
    if (n < 0) n = 0;
    int length = length_ + n;
    int size = length < capacity_ ? capacity_ : rounded(length + 1);
    char* block = new char[size];
    if (n > 0) memcpy(block, s, n);
    if (length_ > 0) memcpy(block + n, text_, length_);
    block[length] = 0;
    delete[] text_;
    text_ = block;
    capacity_ = size;
    length_ = length;
}

String String::before(int pos) const {
    if (pos < 0) return String();
    if (pos >= length_) return *this;
    return String(text_, pos);
}

String String::before(const char* pat) const {
    int found = search(pat, 0);
    return found < 0 ? *this : before(found);
}

String String::after(int pos) const {
    if (!text_ || pos + 1 > length_) return String("", 0);
    if (pos < -1) pos = -1;
    return String(text_ + pos + 1, -1);
}

String String::after(const char* pat, int start) const {
    int found = search(pat, start);
    if (found < 0) return String("", 0);
    return after(found + static_cast<int>(strlen(pat)) - 1);
}

String String::from(int pos) const {
    if (!text_ || pos + 1 > length_) return String("", 0);
    if (pos < 0) pos = 0;
    return String(text_ + pos, -1);
}

String String::from(const char* pat, int start) const {
    int found = search(pat, start);
    return found < 0 ? String("", 0) : from(found);
}

String String::at(int start, int end) const {
    if (start < 0) start = 0;
    if (start >= length_) return String("", 0);
    if (end > length_) end = length_;
    return String(text_ + start, end > start ? end - start : 0);
}

String String::Base64_Encode() const {
    if (length_ == 0) return String("", 0);
    int size = length_ / 3 * 4 + 5;
    char* buffer = new char[size];
    int n = ox_base64_encode(text_, buffer, length_);
    return String(buffer, n, size);
}

String String::Base64_Decode() const {
    if (length_ == 0) return String("", 0);
    int size = length_ + 1;
    char* buffer = new char[size];
    int n = ox_base64_decode(text_, buffer, length_);
    return String(buffer, n, size);
}

void String::StripWhitespace() {
    if (!text_) return;
    ltrim();
    while (length_ > 0 && is_blank(text_[length_ - 1]))
        length_--;
    text_[length_] = 0;
}

void String::ltrim() {
    if (!text_) return;
    const char* start = text_;
    while (is_blank(*start))
        start++;
    char* block = new char[capacity_];
    strcpy(block, start);
    delete[] text_;
    text_ = block;
    length_ = static_cast<int>(strlen(block));
}

void String::CompressWhitespace() {
    if (!text_) return;
    int out = 0;
    bool in_run = false;
    for (int i = 0; i < length_; i++) {
        bool blank = is_blank(text_[i]);
        if (!(blank && in_run)) text_[out++] = text_[i];
        in_run = blank;
    }
    length_ = out;
    text_[out] = 0;
}

void String::upcase() {
    for (int i = 0; i < length_; i++)
        text_[i] = static_cast<char>(toupper((unsigned char)text_[i]));
}

void String::lowcase() {
    for (int i = 0; i < length_; i++)
        text_[i] = static_cast<char>(tolower((unsigned char)text_[i]));
}

String String::upper() const {
    String copy(*this);
    copy.upcase();
    return copy;
}

String String::lower() const {
    String copy(*this);
    copy.lowcase();
    return copy;
}

String String::padl(int width, char c) const {
    if (width <= length_) return *this;
    String padded;
    padded.allocate(rounded(width + 1));
    memset(padded.text_, c, width - length_);
    if (length_ > 0) memcpy(padded.text_ + width - length_, text_, length_);
    padded.text_[width] = 0;
    padded.length_ = width;
    return padded;
}

String String::padr(int width, char c) const {
    String copy(*this);
    while (copy.length_ < width)
        copy.cat(c);
    return copy;
}

bool String::matches(char c, int pos) const {
    if (pos < 0 || pos > length_) return false;
    return c_str()[pos] == c;
}

bool String::matches(const char* pat, int pos) const {
    int n = static_cast<int>(strlen(pat));
    if (pos < 0 || n > length_ - pos) return false;
    if (pos >= length_) return true;
    for (int i = pos; i <= length_; i++, pat++) {
        if (toupper((unsigned char)text_[i]) != toupper((unsigned char)*pat)) return false;
    }
    return true;
}

bool String::contains(char c, int start) const {
    for (int i = start < 0 ? 0 : start; i < length_; i++) {
        if (text_[i] == c) return true;
    }
    return false;
}

bool String::contains(const char* pat, int start) const {
    return search(pat, start) >= 0;
}

int String::freq(const char* pat) const {
    int count = 0;
    for (int found = search(pat, 0); found >= 0; found = search(pat, found + 1))
        count++;
    return count;
}

int String::search(const char* pat, int start) const {
    if (!pat || !text_) return -1;
    int n = static_cast<int>(strlen(pat));
    if (n == 0 || length_ == 0 || n > length_) return -1;
    if (start < 0) start = 0;
    for (int i = start; i + n <= length_; i++) {
        if (memcmp(text_ + i, pat, n) == 0) return i;
    }
    return -1;
}

void String::gsub(const char* pat, const char* repl) {
    int found = search(pat, 0);
    if (found < 0) return;
    int n = static_cast<int>(strlen(pat));
    int repl_length = repl ? static_cast<int>(strlen(repl)) : 0;
    String result("", 0);
    int done = 0;
    for (; found >= 0; found = search(pat, done)) {
        result.cat(text_ + done, found - done);
        result.cat(repl ? repl : "", repl_length);
        done = found + n;
    }
    result.cat(text_ + done, length_ - done);
    assign(result.text_, -1);
}

void String::chop(int n) {
    if (length_ - n >= 0) length_ -= n;
}

void String::truncate(unsigned n) {
    if (n < static_cast<unsigned>(length_)) length_ = static_cast<int>(n);
}
