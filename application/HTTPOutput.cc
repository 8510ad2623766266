#include "application/HTTPOutput.h"

#include <sys/select.h>

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "application/Config.h"

HTTPOutput_Header::HTTPOutput_Header(const char* name, int name_length, int name_owned,
                                     const char* value, int value_length, int value_owned)
    : name(name ? name : ""),
      name_length(name_length >= 0 ? name_length
                  : name           ? static_cast<int>(strlen(name))
                                   : 0),
      name_owned(name ? name_owned : 0),
      value(value ? value : ""),
      value_length(value_length >= 0 ? value_length
                   : value           ? static_cast<int>(strlen(value))
                                     : 0),
      value_owned(value ? value_owned : 0) {}

HTTPOutput_Header::~HTTPOutput_Header() {
    if (name_owned) delete[] name;
    if (value_owned) delete[] value;
}

HTTPOutput_Chain::HTTPOutput_Chain(int block_size, bool growable)
    : growable(growable),
      buffer(new char[block_size > 0 ? block_size : 1]),
      block_size(block_size > 0 ? block_size : 1),
      capacity(this->block_size) {}

HTTPOutput_Chain::~HTTPOutput_Chain() {
    delete[] buffer;
}

int HTTPOutput_Chain::Write(const char* data, int length) {
    if (used + length > capacity) {
        if (growable) {
            int grown = capacity + (length / block_size + 1) * block_size;
            char* bigger = new char[grown];
            memcpy(bigger, buffer, used);
            delete[] buffer;
            buffer = bigger;
            capacity = grown;
        } else {
            length = capacity - used;
        }
    }
    memcpy(buffer + used, data, length);
    used += length;
    return length;
}

// A response carries a handful of headers: a small table serves them.
HTTPOutput::HTTPOutput(int block_size, int flush_size)
    : block_size_(block_size),
      flush_size_(flush_size),
      headers_(1, 1, 8, 32),
      first_(new HTTPOutput_Chain(block_size, false)),
      current_(first_) {}

HTTPOutput::~HTTPOutput() {
    while (first_) {
        HTTPOutput_Chain* next = first_->next;
        delete first_;
        first_ = next;
    }
}

int HTTPOutput::Header(const char* name, int name_length, int name_owned, const char* value,
                       int value_length, int value_owned) {
    auto* header =
        new HTTPOutput_Header(name, name_length, name_owned, value, value_length, value_owned);
    if (headers_sent_) {
        delete header;
        return 0;
    }
    delete headers_.Remove(header->name, header->name_length);
    headers_.Insert(header);
    return 1;
}

void HTTPOutput::Header_ContentLength() {
    if (headers_.Find("Content-Length", 14)) return;
    char digits[24];
    char* end = std::to_chars(digits, digits + sizeof digits, total_).ptr;
    int length = static_cast<int>(end - digits);
    char* value = new char[length + 1];
    memcpy(value, digits, length);
    value[length] = '\0';
    // Added directly: it comes when the headers are already marked as sent.
    headers_.Insert(new HTTPOutput_Header("Content-Length", 14, 0, value, length, 1));
}

int HTTPOutput::Write(const char* text, int length) {
    length = Measured(text, length);
    if (length == 0) return 0;
    total_ += length;
    since_flush_ += length;
    int taken = current_->Write(text, length);
    while (taken < length) {
        auto* link = new HTTPOutput_Chain(block_size_, false);
        current_->next = link;
        current_ = link;
        taken += link->Write(text + taken, length - taken);
    }
    last_was_space_ = isspace(static_cast<unsigned char>(text[length - 1])) != 0;
    if (since_flush_ >= flush_size_) {
        Flush(0);
        since_flush_ = 0;
    }
    return length;
}

int HTTPOutput::Delay() {
    if (delay_ < 0) delay_ = config_ ? config_->value_integer(kConfigDelayFile) : 100;
    if (delay_ < 0) delay_ = 0;
    return delay_;
}

// Writes one link. After a short write it waits and writes again from the
// count that the write just before returned, as the response always has;
// a write of nothing gives the rest of the link up.
int HTTPOutput::WriteLink(HTTPOutput_Chain* link, bool* failed) {
    static constexpr int kMostRetries = 10000;
    int written = DoWrite(link->buffer, link->used);
    if (written < 0) {
        *failed = true;
        return 0;
    }
    int total = written;
    for (int last = written, retry = 0; last < link->used && retry < kMostRetries; retry++) {
        timeval wait = {0, Delay()};
        select(0, nullptr, nullptr, nullptr, &wait);
        int more = DoWrite(link->buffer + last, link->used - last);
        if (more < 0) *failed = true;
        if (more <= 0) break;
        total += more;
        if (more == link->used - last) break;
        last = more;
    }
    return total;
}

int HTTPOutput::Flush(int final) {
    if (!headers_sent_) {
        headers_sent_ = 1;
        if (final) Header_ContentLength();
        OutputHeaders();
    }
    int total = 0;
    bool failed = false;
    for (HTTPOutput_Chain* link = first_; link && !failed; link = link->next) {
        if (link->used > 0) total += WriteLink(link, &failed);
    }
    for (HTTPOutput_Chain* link = first_->next; link;) {
        HTTPOutput_Chain* next = link->next;
        delete link;
        link = next;
    }
    first_->next = nullptr;
    first_->used = 0;
    current_ = first_;
    return total;
}
