#include "statements/LocalizedIndex.h"

namespace {

constexpr int kValueOffset = 8;  // of the first piece in a stored record

}  // namespace

LocalizedIndex::LocalizedIndex(Dictionary* dictionary, int language, int bits, int capacity)
    : language_(language), table_(dictionary, bits, capacity, kGrowth) {}

LocalizedIndex::LocalizedIndex(const LocalizedIndex& other, Dictionary* dictionary)
    : language_(other.language_), table_(other.table_, dictionary) {}

bool LocalizedIndex::Fail(const String& text) {
    Error(text);
    return false;
}

int LocalizedIndex::Add_Entry(int token, int first_piece) {
    return table_.Add(token, first_piece);
}

LocalizedIndex_Entry* LocalizedIndex::Get_Entry(int token) {
    return table_.Entry(table_.Find(token));
}

LocalizedIndex_Entry* LocalizedIndex::Get_Entry(const char* text, int length) {
    return table_.Entry(table_.Find(text, length));
}

bool LocalizedIndex::Read(TaggedFile* file) {
    return Read(file, TokenIndexSectionId(language_));
}

bool LocalizedIndex::Read(TaggedFile* file, uint32_t section) {
    // Forget the current section: otherwise the reader would keep it in
    // place of a missing one.
    file->Section_Read_End();
    if (!file->Section_Read_Start(section)) {
        if (section == kSectionTokenIndexOld ||
            file->version() > kCompiledFileVersionOneTokenIndex) {
            return Fail(file->error());
        }
        if (!file->Section_Read_Start(kSectionTokenIndexOld)) return Fail(file->error());
    }
    std::vector<unsigned char> records;
    String error;
    if (!table_.Read(file, StoredHashTable::kTokenIndexHeadSize, kRecordSize, &records, &error)) {
        return Fail(error);
    }
    for (int n = 0; n < table_.Entries(); n++) {
        uint32_t piece =
            get_u32(records.data() + static_cast<size_t>(n) * kRecordSize + kValueOffset);
        table_.Entry(n)->value =
            piece == StoredHashTable::kEndOfChain ? -1 : static_cast<int>(piece);
    }
    return true;
}

bool LocalizedIndex::Write(TaggedFile* file) {
    uint32_t section = file->version() > kCompiledFileVersionOneTokenIndex
                           ? TokenIndexSectionId(language_)
                           : kSectionTokenIndexOld;
    return Write(file, section);
}

bool LocalizedIndex::Write(TaggedFile* file, uint32_t section) {
    if (!file->Section_Start(section)) return Fail(file->error());
    String error;
    if (!table_.Write_Head(file, StoredHashTable::kTokenIndexHeadSize, &error)) return Fail(error);
    std::vector<unsigned char> records = table_.Records(kRecordSize);
    for (int n = 0; n < table_.Entries(); n++) {
        int piece = table_.Entry(n)->value;
        put_u32(records.data() + static_cast<size_t>(n) * kRecordSize + kValueOffset,
                piece == -1 ? StoredHashTable::kEndOfChain : static_cast<uint32_t>(piece));
    }
    int size = static_cast<int>(records.size());
    if (size > 0 && file->Section_Write(records.data(), size) != size) return Fail(file->error());
    // Section 0 is never an open section for the next start to end, so every
    // section is ended here.
    if (!file->Section_End()) return Fail(file->error());
    return true;
}
