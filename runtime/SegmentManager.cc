#include "runtime/SegmentManager.h"

#include <vector>

#include "base/LittleEndian.h"
#include "files/TaggedFile.h"

namespace {

const char kCorruptText[] = "File is either corrupt or not a valid compiled Oxin Script file";
constexpr int kHeadSize = 8;
constexpr int kTableEntrySize = 8;

}  // namespace

SegmentManager::SegmentManager()
    : segments_(new Segment*[kSlotGrowth]()), capacity_(kSlotGrowth), count_(1) {}

SegmentManager::SegmentManager(const SegmentManager& other)
    : segments_(new Segment*[other.capacity_ > 0 ? other.capacity_ : 1]()),
      capacity_(other.capacity_),
      count_(other.count_),
      start_(other.start_),
      error_(other.error_) {
    for (int i = 0; i < count_; i++) {
        if (other.segments_[i]) segments_[i] = new Segment(*other.segments_[i]);
    }
}

SegmentManager::~SegmentManager() {
    Clear();
}

void SegmentManager::Clear() {
    for (int i = 0; i < count_; i++)
        delete segments_[i];
    delete[] segments_;
    segments_ = nullptr;
    count_ = capacity_ = 0;
}

Segment* SegmentManager::Start() {
    if (start_ < 0 || start_ >= count_) return nullptr;
    if (!segments_[start_]) segments_[start_] = new Segment(start_);
    return segments_[start_];
}

Segment* SegmentManager::Segment_Add() {
    if (count_ == capacity_) {
        auto** grown = new Segment*[capacity_ + kSlotGrowth]();
        for (int i = 0; i < count_; i++)
            grown[i] = segments_[i];
        delete[] segments_;
        segments_ = grown;
        capacity_ += kSlotGrowth;
    }
    auto* segment = new Segment(count_);
    segments_[count_++] = segment;
    return segment;
}

Segment* SegmentManager::Segment_Get(int id) const {
    if (id < 0 || id >= count_) return nullptr;
    return segments_[id];
}

bool SegmentManager::Fail(TaggedFile* file) {
    Error(file->error().length() ? file->error() : String(kCorruptText));
    return false;
}

bool SegmentManager::Read(TaggedFile* file) {
    unsigned char head[kHeadSize];
    if (!file->Section_Read_Start(kSectionSegs) ||
        file->Section_Read(head, kHeadSize) != kHeadSize) {
        return Fail(file);
    }
    uint32_t count = get_u32(head);
    uint32_t start = get_u32(head + 4);
    int room = file->Section_Remaining();
    if (count > static_cast<uint32_t>(room / kTableEntrySize)) return Fail(file);
    int n = static_cast<int>(count);
    std::vector<unsigned char> table(static_cast<size_t>(n) * kTableEntrySize);
    int table_bytes = static_cast<int>(table.size());
    if (file->Section_Read(table.data(), table_bytes) != table_bytes) return Fail(file);
    // Each segment's code lies behind the table, at its offset from there.
    int64_t code_start = kHeadSize + static_cast<int64_t>(table_bytes);
    int64_t code_room = room - table_bytes;
    std::vector<Segment*> loaded(n, nullptr);
    for (int i = 0; i < n; i++) {
        uint32_t offset = get_u32(&table[i * kTableEntrySize]);
        uint32_t length = get_u32(&table[i * kTableEntrySize + 4]);
        // Code that cannot lie in the section is refused before allocating.
        bool fits = static_cast<int64_t>(offset) + length <= code_room;
        if (fits) loaded[i] = new Segment(i, static_cast<int>(length));
        if (!fits || !loaded[i]->Read(file, kSectionSegs, static_cast<int>(code_start + offset))) {
            for (Segment* segment : loaded)
                delete segment;
            return Fail(file);
        }
    }
    Clear();
    segments_ = new Segment*[n > 0 ? n : 1]();
    for (int i = 0; i < n; i++)
        segments_[i] = loaded[i];
    capacity_ = count_ = n;
    start_ = static_cast<int>(start);
    return true;
}

bool SegmentManager::Write(TaggedFile* file) {
    std::vector<unsigned char> table(kHeadSize + static_cast<size_t>(count_) * kTableEntrySize);
    put_u32(table.data(), static_cast<uint32_t>(count_));
    put_u32(table.data() + 4, static_cast<uint32_t>(start_));
    uint32_t offset = 0;
    for (int i = 0; i < count_; i++) {
        uint32_t length = segments_[i] ? static_cast<uint32_t>(segments_[i]->Code_Length()) : 0;
        put_u32(&table[kHeadSize + i * kTableEntrySize], offset);
        put_u32(&table[kHeadSize + i * kTableEntrySize + 4], length);
        offset += length;
    }
    if (!file->Section_Start(kSectionSegs)) return Fail(file);
    int table_bytes = static_cast<int>(table.size());
    if (file->Section_Write(table.data(), table_bytes) != table_bytes) return Fail(file);
    for (int i = 0; i < count_; i++) {
        if (segments_[i] && !segments_[i]->Write(file)) return Fail(file);
    }
    return file->Section_End();
}
