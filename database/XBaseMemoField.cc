#include "database/XBaseMemoField.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "database/XBaseTable.h"

namespace {

char* CopyText(const char* text, int length) {
    char* copy = new char[length + 1];
    memcpy(copy, text, length);
    copy[length] = '\0';
    return copy;
}

}  // namespace

XBaseMemoField::XBaseMemoField(XBaseTable* table, const char* name, int length, int decimalcount)
    : XBaseField(table, name, XBaseMemo, length, decimalcount) {}

XBaseMemoField::XBaseMemoField(XBaseTable* table, const char* name, int namelength, int length,
                               int decimalcount)
    : XBaseField(table, name, namelength, XBaseMemo, length, decimalcount) {}

XBaseMemoField::~XBaseMemoField() {
    DropTexts();
}

void XBaseMemoField::DropTexts() {
    delete[] text_;
    delete[] originaltext_;
    text_ = originaltext_ = nullptr;
    textlength_ = originallength_ = 0;
}

int XBaseMemoField::Read(unsigned char* bytes) {
    DropTexts();
    dirty_ = false;
    return XBaseField::Read(bytes);
}

const char* XBaseMemoField::data() {
    if (text_) return text_;
    long block = strtol(data_, nullptr, 10);
    if (block <= 0) {
        text_ = CopyText("", 0);
        originaltext_ = CopyText("", 0);
        textlength_ = originallength_ = 0;
        return text_;
    }
    char* text = nullptr;
    int length = 0;
    if (!table_ || !table_->ReadMemoBlock(block, &text, &length)) return nullptr;
    text_ = text;
    textlength_ = length;
    originaltext_ = CopyText(text, length);
    originallength_ = length;
    return text_;
}

void XBaseMemoField::Set(const char* value, int length) {
    if (length < 0) length = 0;
    delete[] text_;
    text_ = CopyText(value, length);
    textlength_ = length;
    dirty_ = true;
}

int XBaseMemoField::Write(unsigned char* bytes) {
    if (dirty_) {
        if (textlength_ > 0) {
            int block = table_ ? table_->WriteMemoBlock(text_) : -1;
            if (block < 0) return 0;
            snprintf(data_, length_ + 1, "%d", block);
        } else {
            data_[0] = '\0';
        }
        dirty_ = false;
    }
    return XBaseField::Write(bytes);
}

void XBaseMemoField::SetOriginal() {
    if (!text_) return;
    delete[] originaltext_;
    originaltext_ = CopyText(text_, textlength_);
    originallength_ = textlength_;
}

void XBaseMemoField::SwapOriginal() {
    char* current = text_;
    text_ = originaltext_;
    originaltext_ = current;
}
