#include "network/POP3Message.h"

#include <cstring>

void POP3Message::OpenFile(File* file, const String& path) {
    file_.reset(file);
    path_ = path;
    headers_.Dump();
    headers_ended_ = false;
}

bool POP3Message::SaveLine(const char* line, int length) {
    if (!headers_ended_) {
        if (length == 0)
            headers_ended_ = true;
        else
            TakeHeader(line, length);
    }
    if (!file_) return false;
    return file_->Write(line, length) == length && file_->Write("\n", 1) == 1;
}

void POP3Message::TakeHeader(const char* line, int length) {
    for (int at = 0; at + 1 < length; at++) {
        if (line[at] != ':' || line[at + 1] != ' ') continue;
        if (headers_.Find(line, at)) return;
        headers_.Insert(new POP3Header(line, at, line + at + 2, length - at - 2));
        return;
    }
}

void POP3Message::CloseFile() {
    file_.reset();
}

const String* POP3Message::Header(const char* name) const {
    POP3Header* header = headers_.Find(name, static_cast<int>(strlen(name)));
    return header ? &header->value() : nullptr;
}
