#include "database/XBaseField.h"

#include <cstring>

namespace {

constexpr char kTypeCharacters[] = "CNDLM";

bool RightJustified(int type) {
    return type == XBaseNumeric || type == XBaseMemo;
}

}  // namespace

char XBaseTypeCharacter(int type) {
    return type >= 0 && type < 5 ? kTypeCharacters[type] : '?';
}

int XBaseTypeOf(char character) {
    const char* found = character ? strchr(kTypeCharacters, character) : nullptr;
    return found ? static_cast<int>(found - kTypeCharacters) : -1;
}

XBaseField::XBaseField(XBaseTable* table, const char* name, int type, int length, int decimalcount)
    : XBaseField(table, name, static_cast<int>(strnlen(name, 11)), type, length, decimalcount) {}

XBaseField::XBaseField(XBaseTable* table, const char* name, int namelength, int type, int length,
                       int decimalcount)
    : type_(type), length_(length), decimalcount_(decimalcount), table_(table) {
    memset(name_, 0, sizeof name_);
    memcpy(name_, name, namelength < 11 ? namelength : 11);
    data_ = new char[length_ + 1]();
    original_ = new char[length_ + 1]();
}

XBaseField::~XBaseField() {
    delete[] data_;
    delete[] original_;
}

int XBaseField::Read(unsigned char* bytes) {
    const char* text = reinterpret_cast<const char*>(bytes);
    int start = 0;
    int end = length_;
    if (type_ == XBaseCharacter) {
        while (end > 0 && text[end - 1] == ' ')
            end--;
    } else if (RightJustified(type_)) {
        while (start < end && text[start] == ' ')
            start++;
    }
    memcpy(data_, text + start, end - start);
    data_[end - start] = '\0';
    memcpy(original_, data_, end - start + 1);
    return 1;
}

int XBaseField::Write(unsigned char* bytes) {
    int used = static_cast<int>(strnlen(data_, length_));
    int padding = length_ - used;
    unsigned char* text = RightJustified(type_) ? bytes + padding : bytes;
    unsigned char* blanks = RightJustified(type_) ? bytes : bytes + used;
    memcpy(text, data_, used);
    memset(blanks, ' ', padding);
    return 1;
}

void XBaseField::Set(const char* value, int length) {
    if (length > length_) length = length_;
    if (length < 0) length = 0;
    memcpy(data_, value, length);
    data_[length] = '\0';
}

void XBaseField::SwapOriginal() {
    char* current = data_;
    data_ = original_;
    original_ = current;
}

void XBaseField::SetOriginal() {
    memcpy(original_, data_, length_);
}
