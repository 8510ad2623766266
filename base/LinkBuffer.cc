#include "base/LinkBuffer.h"

#include <charconv>
#include <cstring>

#include "base/TextConversion.h"

LinkBuffer_Block::LinkBuffer_Block(int size) : data(new char[size]), used(0), size(size) {}

LinkBuffer_Block::LinkBuffer_Block(char* data, int used, int size)
    : data(data), used(used), size(size) {}

LinkBuffer_Block::~LinkBuffer_Block() {
    delete[] data;
    // Unlink the rest one block at a time, so a long chain cannot exhaust
    // the stack through recursive destruction.
    while (LinkBuffer_Block* block = next) {
        next = block->next;
        block->next = nullptr;
        delete block;
    }
}

int LinkBuffer_Block::cat(const char* s, int n) {
    int room = size - used;
    int taken = n < room ? n : room;
    if (taken > 0) {
        memcpy(data + used, s, taken);
        used += taken;
    }
    return taken;
}

void LinkBuffer_Block::release() {
    data = nullptr;
    used = 0;
    size = 0;
}

LinkBuffer::LinkBuffer(int first, int next) : first_size_(first), next_size_(next) {}

LinkBuffer::~LinkBuffer() {
    delete first_;
}

void LinkBuffer::link_last(LinkBuffer_Block* block) {
    block->previous = last_;
    if (last_) {
        last_->next = block;
    } else {
        first_ = block;
    }
    last_ = block;
}

void LinkBuffer::link_first(LinkBuffer_Block* block) {
    block->next = first_;
    if (first_) {
        first_->previous = block;
    } else {
        last_ = block;
    }
    first_ = block;
}

int LinkBuffer::cat(const char* s, int n) {
    if (!first_) link_last(new LinkBuffer_Block((n / first_size_ + 1) * first_size_));
    total_ += n;
    int taken = last_->cat(s, n);
    int rest = n - taken;
    if (rest >= 1) {
        link_last(new LinkBuffer_Block((rest / next_size_ + 1) * next_size_));
        taken = last_->cat(s + taken, rest);
    }
    return taken;
}

void LinkBuffer::cat_nocopy(const char* buffer, int n, int size) {
    link_last(new LinkBuffer_Block(const_cast<char*>(buffer), n, size));
    total_ += n;
}

void LinkBuffer::cat_hex(unsigned char c) {
    static const char digits[] = "0123456789ABCDEF";
    cat(digits[c >> 4]);
    cat(digits[c & 15]);
}

// A formatted number joins the chain as the block it was made in, unless the
// last block still has room for it: then one short copy saves a block.
void LinkBuffer::cat_formatted(char* text, int length, int size) {
    if (last_ && last_->size - last_->used >= length) {
        cat(text, length);
        delete[] text;
    } else {
        cat_nocopy(text, length, size);
    }
}

void LinkBuffer::cat(int i) {
    char digits[12];
    int length = static_cast<int>(std::to_chars(digits, digits + sizeof digits, i).ptr - digits);
    if (last_ && last_->size - last_->used >= length) {
        cat(digits, length);
        return;
    }
    int size;
    char* text = TextConversion::itos(i, &length, &size);
    cat_nocopy(text, length, size);
}

void LinkBuffer::cat(double d) {
    int length, size;
    char* text = TextConversion::dtos(d, &length, &size, -1);
    cat_formatted(text, length, size);
}

void LinkBuffer::cat(const LinkBuffer* other) {
    for (LinkBuffer_Block* block = other->first_; block; block = block->next) {
        if (block->used > 0) cat(block->data, block->used);
    }
}

LinkBuffer_Block* LinkBuffer::take_chain(LinkBuffer* other, LinkBuffer_Block** last) {
    LinkBuffer_Block* first = other->first_;
    *last = other->last_;
    other->first_ = other->last_ = nullptr;
    other->total_ = 0;
    return first;
}

void LinkBuffer::cat_destroy(LinkBuffer* other) {
    int moved = other->total_;
    LinkBuffer_Block* last;
    if (LinkBuffer_Block* first = take_chain(other, &last)) {
        link_last(first);
        last_ = last;
        total_ += moved;
    }
    delete other;
}

void LinkBuffer::prepend(const char* s, int n) {
    if (!first_) {
        cat(s, n);
        return;
    }
    LinkBuffer_Block* block = new LinkBuffer_Block((n / next_size_ + 1) * next_size_);
    block->cat(s, n);
    link_first(block);
    total_ += n;
}

void LinkBuffer::prepend_nocopy(const char* buffer, int n, int size) {
    link_first(new LinkBuffer_Block(const_cast<char*>(buffer), n, size));
    total_ += n;
}

void LinkBuffer::prepend(int i) {
    int length, size;
    char* text = TextConversion::itos(i, &length, &size);
    prepend_nocopy(text, length, size);
}

void LinkBuffer::prepend(double d) {
    int length, size;
    char* text = TextConversion::dtos(d, &length, &size, -1);
    prepend_nocopy(text, length, size);
}

void LinkBuffer::prepend(const LinkBuffer* other) {
    for (LinkBuffer_Block* block = other->last_; block; block = block->previous) {
        if (block->used > 0) prepend(block->data, block->used);
    }
}

void LinkBuffer::prepend_destroy(LinkBuffer* other) {
    int moved = other->total_;
    LinkBuffer_Block* last;
    if (LinkBuffer_Block* first = take_chain(other, &last)) {
        if (first_) {
            last->next = first_;
            first_->previous = last;
        } else {
            last_ = last;
        }
        first_ = first;
        total_ += moved;
    }
    delete other;
}

void LinkBuffer::coalesce(int extra) {
    if (!first_ || total_ == 0) return;
    if (first_ == last_ && first_->used + extra <= first_->size) return;
    LinkBuffer_Block* block = new LinkBuffer_Block(total_ + extra);
    append_to(block->data);
    block->used = total_;
    delete first_;
    first_ = last_ = block;
}

const char* LinkBuffer::data(int* length, int* size) {
    if (!first_ || total_ == 0) {
        *length = 0;
        if (size) *size = 1;
        return "";
    }
    coalesce(1);
    first_->data[first_->used] = 0;
    *length = first_->used;
    if (size) *size = first_->size;
    return first_->data;
}

char* LinkBuffer::release(int* length, int* size, int extra) {
    char* text;
    int used = 0, allocated = 1;
    if (!first_ || total_ == 0) {
        text = new char[1];
    } else {
        coalesce(extra);
        text = first_->data;
        used = first_->used;
        allocated = first_->size;
        first_->release();
    }
    delete first_;
    first_ = last_ = nullptr;
    total_ = 0;
    if (length) *length = used;
    if (size) *size = allocated;
    return text;
}

void LinkBuffer::append_to(char* out) const {
    for (LinkBuffer_Block* block = first_; block; block = block->next) {
        if (block->used > 0) {
            memcpy(out, block->data, block->used);
            out += block->used;
        }
    }
}
