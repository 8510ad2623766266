#include "statements/LocalizedLanguages.h"

#include <cstring>
#include <utility>

#include "application/OxinApplication.h"
#include "files/Dictionary.h"
#include "files/TaggedFile.h"

LocalizedLanguages::LocalizedLanguages(OxinApplication* application, Dictionary* dictionary,
                                       TaggedFile* file, int bits, int capacity)
    : application_(application),
      dictionary_(dictionary),
      file_(file),
      table_(dictionary, bits, capacity, kGrowth) {}

LocalizedLanguages::LocalizedLanguages(LocalizedLanguages& source, OxinApplication* application,
                                       Dictionary* dictionary)
    : application_(application),
      dictionary_(dictionary ? dictionary : source.dictionary_),
      file_(nullptr),
      table_(source.table_, dictionary_) {
    for (int n = 0; n < Entries(); n++) {
        LocalizedIndex* index = source.table_.Entry(n)->value;
        if (!index && source.file_) index = source.Index(n);
        table_.Entry(n)->value = index ? new LocalizedIndex(*index, dictionary_) : nullptr;
    }
}

LocalizedLanguages::~LocalizedLanguages() {
    DeleteIndexes();
}

void LocalizedLanguages::DeleteIndexes() {
    for (int n = 0; n < Entries(); n++) {
        LocalizedLanguages_Entry* entry = table_.Entry(n);
        delete entry->value;
        entry->value = nullptr;
    }
}

bool LocalizedLanguages::Fail(const String& text) {
    Error(text);
    return false;
}

int LocalizedLanguages::Add_Entry(int language) {
    int n = table_.Find(language);
    return n != -1 ? n : table_.Add(language, nullptr);
}

int LocalizedLanguages::Add_Entry(int language, int token, int value) {
    int n = Add_Entry(language);
    if (n == -1) return -1;
    return Index(n)->Add_Entry(token, value);
}

int LocalizedLanguages::Add_Entry(const char* language, int language_length, const char* token,
                                  int token_length, int value) {
    if (!language || !token) return -1;
    if (language_length < 0) language_length = static_cast<int>(strlen(language));
    int n = table_.Find(language, language_length);
    if (n == -1) n = table_.Add(dictionary_->Entry_Add(language, language_length), nullptr);
    return Index(n)->Add_Entry(dictionary_->Entry_Add(token, token_length), value);
}

LocalizedIndex* LocalizedLanguages::Index(int n) {
    LocalizedLanguages_Entry* entry = table_.Entry(n);
    if (!entry) return nullptr;
    if (!entry->value) {
        entry->value = new LocalizedIndex(dictionary_, n);
        if (file_) {
            // An index that cannot be read stays empty: a language without
            // messages prints nothing, which is no error of the request.
            entry->value->Read(file_);
            file_->Deactivate();
        }
    }
    return entry->value;
}

int LocalizedLanguages::Language_Named(const String& name) {
    return Get_Language_Entry(name.c_str(), name.length());
}

LocalizedIndex_Entry* LocalizedLanguages::Get_Entry(int token) {
    if (!application_) return nullptr;
    if (language_stamp_ != application_->languagecount()) {
        language_ = Language_Named(application_->language());
        language_stamp_ = application_->languagecount();
    }
    LocalizedIndex_Entry* entry = language_ != -1 ? Get_Entry(language_, token) : nullptr;
    if (entry) return entry;
    // Stamped with the language's count, as the engine always has: a later
    // call may look the default up again, which changes no result.
    if (default_stamp_ != application_->defaultlanguagecount()) {
        default_language_ = Language_Named(application_->defaultlanguage());
        default_stamp_ = application_->languagecount();
    }
    return default_language_ != -1 ? Get_Entry(default_language_, token) : nullptr;
}

LocalizedIndex_Entry* LocalizedLanguages::Get_Entry(int language, int token) {
    LocalizedIndex* index = Index(language);
    return index ? index->Get_Entry(token) : nullptr;
}

int LocalizedLanguages::Get_Language_Entry(int id) {
    int length = 0;
    const char* name = dictionary_->Entry(id, &length);
    return name ? Get_Language_Entry(name, length) : -1;
}

int LocalizedLanguages::Get_Language_Entry(const char* name, int length) {
    int n = table_.Find(name, length);
    if (n != -1 && file_) Index(n);
    return n;
}

bool LocalizedLanguages::Read() {
    if (!file_) return Fail(String("Invalid section"));
    return Read(file_);
}

bool LocalizedLanguages::Read(TaggedFile* file) {
    if (!file->Section_Read_Start(kSectionLocl)) return Fail(file->error());
    LocalizedTable<LocalizedIndex*> table(dictionary_, kHashBits, kCapacity, kGrowth);
    std::vector<unsigned char> records;
    String error;
    if (!table.Read(file, StoredHashTable::kHeadSize, kRecordSize, &records, &error)) {
        return Fail(error);
    }
    DeleteIndexes();
    table_ = std::move(table);
    language_stamp_ = default_stamp_ = kNoStamp;
    file_ = file;
    return true;
}

bool LocalizedLanguages::Write(TaggedFile* file) {
    if (!file->Section_Start(kSectionLocl)) return Fail(file->error());
    String error;
    if (!table_.Write_Head(file, StoredHashTable::kHeadSize, &error)) return Fail(error);
    std::vector<unsigned char> records = table_.Records(kRecordSize);
    int size = static_cast<int>(records.size());
    if (size > 0 && file->Section_Write(records.data(), size) != size) return Fail(file->error());
    if (!file->Section_End()) return Fail(file->error());

    bool one_index = file->version() <= kCompiledFileVersionOneTokenIndex;
    int languages = one_index && Entries() > 0 ? 1 : Entries();
    for (int n = 0; n < languages; n++) {
        LocalizedIndex* index = Index(n);
        uint32_t section = one_index ? kSectionTokenIndexOld : TokenIndexSectionId(n);
        if (!index->Write(file, section)) return Fail(index->error());
    }
    return true;
}
