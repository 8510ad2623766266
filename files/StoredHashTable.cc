#include "files/StoredHashTable.h"

#include "base/Hash.h"
#include "base/LittleEndian.h"
#include "base/MemCmpI.h"
#include "files/TaggedFile.h"

namespace {

const char kCorruptText[] = "File is either corrupt or not a valid compiled Oxin Script file";

}  // namespace

StoredHashTable::StoredHashTable(int bits) {
    Clear(bits);
}

void StoredHashTable::Clear(int bits) {
    if (bits < 0) bits = 0;
    if (bits > kMaxBits) bits = kMaxBits;
    bits_ = bits;
    entries_ = 0;
    heads_.assign(static_cast<size_t>(1) << bits, -1);
}

bool StoredHashTable::Fail(const String& text) {
    Clear(0);
    error_ = text;
    return false;
}

int StoredHashTable::used_buckets() const {
    int used = 0;
    for (int32_t head : heads_)
        used += head != -1;
    return used;
}

bool StoredHashTable::ChainsEnd(const int* links, int count) {
    // 0 not seen, 1 on the walk in progress, 2 known to end.
    std::vector<unsigned char> state(static_cast<size_t>(count), 0);
    for (int start = 0; start < count; start++) {
        int n = start;
        while (n >= 0 && n < count && state[n] == 0) {
            state[n] = 1;
            n = links[n];
        }
        if (n >= 0 && n < count && state[n] == 1) return false;
        for (n = start; n >= 0 && n < count && state[n] == 1; n = links[n])
            state[n] = 2;
    }
    return true;
}

int32_t StoredHashTable::head(int bucket) const {
    if (bucket < 0 || bucket >= buckets()) return -1;
    return heads_[bucket];
}

void StoredHashTable::set_head(int bucket, int32_t entry) {
    if (bucket >= 0 && bucket < buckets()) heads_[bucket] = entry;
}

bool StoredHashTable::Read(TaggedFile* file, int entry_size, int head_size) {
    unsigned char head[kTokenIndexHeadSize];
    if (head_size != kHeadSize && head_size != kTokenIndexHeadSize) return Fail(kCorruptText);
    if (file->Section_Read(head, head_size) != head_size) return Fail(file->error());
    int used = get_u16(head);
    int bits = head[2];
    uint32_t entries = get_u32(head + 3);
    int64_t room = file->Section_Remaining();
    if (bits > kMaxBits || entries > static_cast<uint32_t>(INT32_MAX) ||
        static_cast<int64_t>(used) * kBucketRecordSize +
                static_cast<int64_t>(entries) * (entry_size > 0 ? entry_size : 0) >
            room) {
        return Fail(kCorruptText);
    }
    Clear(bits);
    entries_ = static_cast<int>(entries);
    if (used == 0) return true;
    std::vector<unsigned char> records(static_cast<size_t>(used) * kBucketRecordSize);
    int bytes = static_cast<int>(records.size());
    if (file->Section_Read(records.data(), bytes) != bytes) return Fail(file->error());
    for (int i = 0; i < used; i++) {
        const unsigned char* p = records.data() + i * kBucketRecordSize;
        int bucket = get_u16(p);
        uint32_t first = get_u32(p + 2);
        if (bucket >= buckets() || first >= entries) return Fail(kCorruptText);
        heads_[bucket] = static_cast<int32_t>(first);
    }
    return true;
}

bool StoredHashTable::Write(TaggedFile* file, int head_size) {
    if (head_size != kHeadSize && head_size != kTokenIndexHeadSize) return false;
    int used = used_buckets();
    std::vector<unsigned char> bytes(head_size + static_cast<size_t>(used) * kBucketRecordSize, 0);
    put_u16(bytes.data(), static_cast<uint16_t>(used));
    bytes[2] = static_cast<unsigned char>(bits_);
    put_u32(bytes.data() + 3, static_cast<uint32_t>(entries_));
    unsigned char* p = bytes.data() + head_size;
    for (int bucket = 0; bucket < buckets(); bucket++) {
        if (heads_[bucket] == -1) continue;
        put_u16(p, static_cast<uint16_t>(bucket));
        put_u32(p + 2, static_cast<uint32_t>(heads_[bucket]));
        p += kBucketRecordSize;
    }
    int size = static_cast<int>(bytes.size());
    if (file->Section_Write(bytes.data(), size) != size) {
        error_ = file->error();
        return false;
    }
    return true;
}

int StoredHashTable::Bucket(const char* name, int length, int bits) {
    unsigned mask = (1u << bits) - 1;
    return static_cast<int>(hashi(name, static_cast<unsigned>(length), 0) & mask);
}

int StoredHashTable::Compare(const char* a, int a_length, const char* b, int b_length) {
    if (a_length != b_length) return a_length < b_length ? -1 : 1;
    return memcmpi(a, b, a_length);
}

bool StoredHashTable::Read_U16(TaggedFile* file, uint16_t* value) {
    unsigned char bytes[2];
    if (file->Section_Read(bytes, 2) != 2) return false;
    *value = get_u16(bytes);
    return true;
}

bool StoredHashTable::Read_U32(TaggedFile* file, uint32_t* value) {
    unsigned char bytes[4];
    if (file->Section_Read(bytes, 4) != 4) return false;
    *value = get_u32(bytes);
    return true;
}

bool StoredHashTable::Write_U16(TaggedFile* file, uint16_t value) {
    unsigned char bytes[2];
    put_u16(bytes, value);
    return file->Section_Write(bytes, 2) == 2;
}

bool StoredHashTable::Write_U32(TaggedFile* file, uint32_t value) {
    unsigned char bytes[4];
    put_u32(bytes, value);
    return file->Section_Write(bytes, 4) == 4;
}
