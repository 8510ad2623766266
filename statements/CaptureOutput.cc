#include "statements/CaptureOutput.h"

#include <cstring>

CaptureOutput::CaptureOutput(Output* wrapped) : BufferedOutput(kBlockSize), wrapped_(wrapped) {
    Reset();
}

CaptureOutput::~CaptureOutput() {
    delete[] text_;
}

void CaptureOutput::Reset() {
    size_ = kBlockSize + 1;
    text_ = new char[size_];
    text_[0] = 0;
    length_ = 0;
}

int CaptureOutput::Write_Error(const char* text, int length) {
    return wrapped_ ? wrapped_->Write_Error(text, length) : Measured(text, length);
}

int CaptureOutput::Header(const char* name, int name_length, int name_owned, const char* value,
                          int value_length, int value_owned) {
    if (!wrapped_)
        return Output::Header(name, name_length, name_owned, value, value_length, value_owned);
    return wrapped_->Header(name, name_length, name_owned, value, value_length, value_owned);
}

int CaptureOutput::Flush() {
    return BufferedOutput::Flush();
}

int CaptureOutput::DoWrite(const char* text, int length) {
    if (length_ + length + 1 > size_) {
        // Whole blocks, so that a long capture is copied only once a block.
        int blocks = (length_ + length) / kBlockSize + 1;
        int size = blocks * kBlockSize + 1;
        char* grown = new char[size];
        memcpy(grown, text_, length_);
        delete[] text_;
        text_ = grown;
        size_ = size;
    }
    memcpy(text_ + length_, text, length);
    length_ += length;
    text_[length_] = 0;
    return length;
}

char* CaptureOutput::data(int* length, int* size) {
    Flush();
    char* text = text_;
    *length = length_;
    *size = size_;
    Reset();
    return text;
}
