#include "statements/LocalizedDictionary.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/LittleEndian.h"
#include "files/StoredHashTable.h"
#include "files/TaggedFile.h"

namespace {

const char kCorruptText[] = "File is either corrupt or not a valid compiled Oxin Script file";

}  // namespace

LocalizedDictionary::LocalizedDictionary(const LocalizedDictionary& other)
    : count_(other.count_), capacity_(other.capacity_) {
    if (capacity_ == 0) return;
    pieces_ = new LocalizedPiece[capacity_];
    if (count_ > 0) memcpy(pieces_, other.pieces_, sizeof(LocalizedPiece) * count_);
}

LocalizedDictionary::~LocalizedDictionary() {
    delete[] pieces_;
}

bool LocalizedDictionary::Fail(const String& text) {
    Error(text);
    return false;
}

int LocalizedDictionary::Add_Entry(int kind, int text, int next) {
    if (count_ == capacity_) {
        int capacity = capacity_ + kGrowth;
        auto* grown = new LocalizedPiece[capacity];
        if (count_ > 0) memcpy(grown, pieces_, sizeof(LocalizedPiece) * count_);
        delete[] pieces_;
        pieces_ = grown;
        capacity_ = capacity;
    }
    pieces_[count_] = {kind, text, next};
    return count_++;
}

LocalizedPiece* LocalizedDictionary::Entry(int index) {
    return index >= 0 && index < count_ ? &pieces_[index] : nullptr;
}

const LocalizedPiece* LocalizedDictionary::Entry(int index) const {
    return index >= 0 && index < count_ ? &pieces_[index] : nullptr;
}

bool LocalizedDictionary::Read(TaggedFile* file) {
    if (!file->Section_Read_Start(kSectionLocd)) return Fail(file->error());
    uint32_t count;
    if (!StoredHashTable::Read_U32(file, &count)) return Fail(file->error());
    if (static_cast<int64_t>(count) * kPieceRecordSize > file->Section_Remaining()) {
        return Fail(kCorruptText);
    }
    std::vector<unsigned char> records(static_cast<size_t>(count) * kPieceRecordSize);
    int size = static_cast<int>(records.size());
    if (size > 0 && file->Section_Read(records.data(), size) != size) return Fail(file->error());

    int capacity = count == 0 ? 0 : static_cast<int>((count + kGrowth - 1) / kGrowth * kGrowth);
    auto* pieces = capacity ? new LocalizedPiece[capacity] : nullptr;
    for (uint32_t i = 0; i < count; i++) {
        const unsigned char* p = records.data() + i * kPieceRecordSize;
        uint32_t next = get_u32(p + 8);
        pieces[i] = {static_cast<int>(get_u32(p)), static_cast<int>(get_u32(p + 4)),
                     next < count ? static_cast<int>(next) : -1};
    }
    std::vector<int> links(count);
    for (uint32_t i = 0; i < count; i++)
        links[i] = pieces[i].next;
    if (!StoredHashTable::ChainsEnd(links.data(), static_cast<int>(count))) {
        delete[] pieces;
        return Fail(kCorruptText);
    }
    delete[] pieces_;
    pieces_ = pieces;
    count_ = static_cast<int>(count);
    capacity_ = capacity;
    return true;
}

bool LocalizedDictionary::Write(TaggedFile* file) {
    if (!file->Section_Start(kSectionLocd)) return Fail(file->error());
    std::vector<unsigned char> bytes(4 + static_cast<size_t>(count_) * kPieceRecordSize);
    put_u32(bytes.data(), static_cast<uint32_t>(count_));
    for (int i = 0; i < count_; i++) {
        unsigned char* p = bytes.data() + 4 + i * kPieceRecordSize;
        put_u32(p, static_cast<uint32_t>(pieces_[i].kind));
        put_u32(p + 4, static_cast<uint32_t>(pieces_[i].text));
        put_u32(p + 8, pieces_[i].next == -1 ? StoredHashTable::kEndOfChain
                                             : static_cast<uint32_t>(pieces_[i].next));
    }
    int size = static_cast<int>(bytes.size());
    if (file->Section_Write(bytes.data(), size) != size) return Fail(file->error());
    if (!file->Section_End()) return Fail(file->error());
    return true;
}
