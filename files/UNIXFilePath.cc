#include "files/UNIXFilePath.h"

#include <cstring>

UNIXFilePath::UNIXFilePath(const char* path, int length) {
    if (!path) path = "";
    length_ = length < 0 ? static_cast<int>(strlen(path)) : length;
    path_ = new char[length_ + 1];
    memcpy(path_, path, length_);
    path_[length_] = 0;
    Parse();
}

UNIXFilePath::~UNIXFilePath() {
    delete[] path_;
    delete[] elements_;
    delete[] collapsed_;
}

// Records where each element starts and ends every element with a NUL in
// place of its separator, so each one reads as a string of its own.
void UNIXFilePath::Parse() {
    absolute_ = length_ > 0 && path_[0] == '/';
    elements_ = new int[length_ / 2 + 2];
    if (absolute_) elements_[element_count_++] = 0;
    int i = 0;
    while (i < length_) {
        while (i < length_ && path_[i] == '/')
            path_[i++] = 0;
        if (i == length_) break;
        elements_[element_count_++] = i;
        while (i < length_ && path_[i] != '/')
            i++;
    }
    if (length_ > 0) path_[length_] = 0;
}

const char* UNIXFilePath::Element(int i) const {
    if (i < 0 || i >= element_count_) return "";
    if (absolute_ && i == 0) return "/";
    return path_ + elements_[i];
}

namespace {

// Appends one element, with a separator unless the text ends in one.
void append_element(String& text, const char* element) {
    if (text.length() > 0 && text.text()[text.length() - 1] != '/') text.cat('/');
    text.cat(element, -1);
}

}  // namespace

String UNIXFilePath::Span(int first, int last) const {
    String text("", 0);
    for (int i = first < 0 ? 0 : first; i <= last && i < element_count_; i++) {
        append_element(text, Element(i));
    }
    return text;
}

void UNIXFilePath::Collapse() {
    if (collapsed_) return;
    collapsed_ = new int[element_count_ + 1];
    collapsed_count_ = 0;
    for (int i = 0; i < element_count_; i++) {
        const char* element = Element(i);
        if (strcmp(element, ".") == 0) continue;
        if (strcmp(element, "..") == 0) {
            if (absolute_ && collapsed_count_ == 1) continue;
            if (collapsed_count_ > 0 && strcmp(Collapsed(collapsed_count_ - 1), "..") != 0) {
                collapsed_count_--;
                continue;
            }
        }
        collapsed_[collapsed_count_++] = i;
    }
}

int UNIXFilePath::collapsed_count() {
    Collapse();
    return collapsed_count_;
}

const char* UNIXFilePath::Collapsed(int i) {
    return Element(collapsed_[i]);
}

bool UNIXFilePath::Contains(UNIXFilePath& other) {
    int count = collapsed_count();
    if (count > other.collapsed_count()) return false;
    for (int i = 0; i < count; i++) {
        if (strcmp(Collapsed(i), other.Collapsed(i)) != 0) return false;
    }
    return true;
}

bool UNIXFilePath::Matches(UNIXFilePath& other, int skip) {
    int count = collapsed_count();
    if (count != other.collapsed_count()) return false;
    for (int i = 0; i < count - skip; i++) {
        if (strcmp(Collapsed(i), other.Collapsed(i)) != 0) return false;
    }
    return true;
}

String UNIXFilePath::Join(int first, int last) {
    String text("", 0);
    for (int i = first; i <= last; i++)
        append_element(text, Collapsed(i));
    return text;
}

String UNIXFilePath::Collapsed_Filename() {
    int count = collapsed_count();
    if (count == 0 || (count == 1 && absolute_)) return String(".");
    const char* last = Collapsed(count - 1);
    if (strcmp(last, "..") == 0) return String(".");
    return String(last);
}

String UNIXFilePath::Collapsed_Directory() {
    int count = collapsed_count();
    if (count == 0) return String(".");
    if (strcmp(Collapsed(count - 1), "..") == 0) return Join(0, count - 1);
    if (count == 1) return String(absolute_ ? "/" : ".");
    return Join(0, count - 2);
}

String UNIXFilePath::Collapsed_Path() {
    int count = collapsed_count();
    if (count == 0) return String(absolute_ ? "/" : ".");
    return Join(0, count - 1);
}
