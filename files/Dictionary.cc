#include "files/Dictionary.h"

#include <climits>
#include <cstring>
#include <map>
#include <vector>

#include "base/LittleEndian.h"
#include "files/TaggedFile.h"

namespace {

const char kCorruptText[] = "File is either corrupt or not a valid compiled Oxin Script file";
constexpr int kHeadSize = 12;
constexpr int kEntrySize = 8;

}  // namespace

Dictionary::Dictionary() = default;

Dictionary::Dictionary(const Dictionary& other) : error_(other.error_), flags_(other.flags_) {
    // One copy of each block; the entries keep their offsets in it.
    std::map<const DictionaryDataBlock*, DictionaryDataBlock*> copies;
    for (DictionaryDataBlock* block = other.blocks_.First(); block; block = other.blocks_.Next()) {
        auto* copy = new DictionaryDataBlock(*block);
        copies[block] = copy;
        blocks_.Insert(copy, ListTail);
    }
    if (other.current_) current_ = copies[other.current_];
    if (other.capacity_ > 0) {
        entry_ = new Dictionary_Entry[other.capacity_];
        capacity_ = other.capacity_;
    }
    entries_ = other.entries_;
    for (int i = 0; i < entries_; i++) {
        entry_[i] = other.entry_[i];
        entry_[i].block = copies[other.entry_[i].block];
    }
}

Dictionary::~Dictionary() {
    delete[] entry_;
}

const char* Dictionary::Entry(int id, int* length) const {
    if (id < 0 || id >= entries_) return nullptr;
    const Dictionary_Entry& entry = entry_[id];
    if (length) *length = entry.length;
    return entry.block->data() + entry.offset;
}

void Dictionary::Reserve(int capacity) {
    auto* grown = new Dictionary_Entry[capacity];
    if (entries_ > 0) memcpy(grown, entry_, sizeof(Dictionary_Entry) * entries_);
    delete[] entry_;
    entry_ = grown;
    capacity_ = capacity;
}

int Dictionary::Entry_Add(const char* text, int length) {
    if (length < 0) length = text ? static_cast<int>(strlen(text)) : 0;
    // Room doubles, so that a dictionary that dynamic expressions keep
    // adding to is not copied over and over.
    if (entries_ == capacity_)
        Reserve(capacity_ > kEntryGrowth ? capacity_ * 2 : capacity_ + kEntryGrowth);
    Dictionary_Entry& entry = entry_[entries_];
    entry.length = length;
    entry.offset = current_ ? current_->Add(text, length) : -1;
    if (entry.offset == -1) {
        current_ = new DictionaryDataBlock(kBlockUnit + length / kBlockUnit * kBlockUnit);
        entry.offset = current_->Add(text, length);
        blocks_.Insert(current_, ListTail);
    }
    entry.block = current_;
    return entries_++;
}

int Dictionary::Entry_Add(const String& text) {
    return Entry_Add(text.c_str(), text.length());
}

bool Dictionary::Fail(TaggedFile* file) {
    Error(file->error().length() ? file->error() : String(kCorruptText));
    return false;
}

bool Dictionary::Read(TaggedFile* file) {
    unsigned char head[kHeadSize];
    if (!file->Section_Read_Start(kSectionDict) ||
        file->Section_Read(head, kHeadSize) != kHeadSize) {
        return Fail(file);
    }
    uint32_t count = get_u32(head);
    uint32_t data_size = get_u32(head + 4);
    // What the section cannot hold is not allocated.
    if (static_cast<int64_t>(count) * kEntrySize + data_size > file->Section_Remaining()) {
        return Fail(file);
    }
    int n = static_cast<int>(count);
    int d = static_cast<int>(data_size);
    std::vector<unsigned char> table(static_cast<size_t>(n) * kEntrySize);
    int table_bytes = static_cast<int>(table.size());
    if (file->Section_Read(table.data(), table_bytes) != table_bytes) return Fail(file);
    // At least one byte always follows the data.
    int block_size = d / kBlockUnit * kBlockUnit + kBlockUnit;
    char* data = new char[block_size];
    if (file->Section_Read(data, d) != d) {
        delete[] data;
        return Fail(file);
    }
    memset(data + d, 0, block_size - d);

    blocks_.Dump();
    current_ = nullptr;
    auto* block = new DictionaryDataBlock(data, block_size, d);
    blocks_.Insert(block, ListTail);
    delete[] entry_;
    entry_ = new Dictionary_Entry[n > 0 ? n : 1];
    capacity_ = n;
    entries_ = n;
    for (int i = 0; i < n; i++) {
        int offset = static_cast<int32_t>(get_u32(&table[i * kEntrySize]));
        int length = static_cast<int32_t>(get_u32(&table[i * kEntrySize + 4]));
        if (offset < 0) offset = 0;
        if (offset >= d) offset = d > 0 ? d - 1 : 0;
        if (length < 0) length = 0;
        if (static_cast<int64_t>(offset) + length > d) length = d - offset;
        entry_[i] = {block, offset, length};
    }
    flags_ = static_cast<int>(get_u32(head + 8));
    return true;
}

bool Dictionary::Write(TaggedFile* file) {
    int total = 0;
    for (DictionaryDataBlock* block = blocks_.First(); block; block = blocks_.Next()) {
        block->set_base(total);
        total += block->used();
    }
    std::vector<unsigned char> table(kHeadSize + static_cast<size_t>(entries_) * kEntrySize);
    put_u32(table.data(), static_cast<uint32_t>(entries_));
    put_u32(table.data() + 4, static_cast<uint32_t>(total));
    put_u32(table.data() + 8, static_cast<uint32_t>(flags_));
    for (int i = 0; i < entries_; i++) {
        unsigned char* p = table.data() + kHeadSize + i * kEntrySize;
        put_u32(p, static_cast<uint32_t>(entry_[i].block->base() + entry_[i].offset));
        put_u32(p + 4, static_cast<uint32_t>(entry_[i].length));
    }
    if (!file->Section_Start(kSectionDict)) return Fail(file);
    int table_bytes = static_cast<int>(table.size());
    if (file->Section_Write(table.data(), table_bytes) != table_bytes) return Fail(file);
    for (DictionaryDataBlock* block = blocks_.First(); block; block = blocks_.Next()) {
        if (file->Section_Write(block->data(), block->used()) != block->used()) {
            return Fail(file);
        }
    }
    return file->Section_End();
}

void Dictionary::Compress() {
    int total = 0;
    for (DictionaryDataBlock* block = blocks_.First(); block; block = blocks_.Next()) {
        total += block->used();
    }
    auto* packed = new DictionaryDataBlock(total);
    for (int i = 0; i < entries_; i++) {
        Dictionary_Entry& entry = entry_[i];
        entry.offset = packed->Add(entry.block->data() + entry.offset, entry.length);
        entry.block = packed;
    }
    blocks_.Dump();
    blocks_.Insert(packed, ListTail);
    current_ = packed;
}
