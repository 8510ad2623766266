#include "variables/VariableHash.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/LittleEndian.h"
#include "base/MemCmpI.h"
#include "files/Dictionary.h"
#include "files/StoredHashTable.h"
#include "files/TaggedFile.h"
#include "variables/ReferenceVariable.h"
#include "variables/Variable.h"
#include "variables/VariableList.h"

namespace {

constexpr int kEntryRecordSize = 8;

int Measured(const char* text, int length) {
    return length < 0 && text ? static_cast<int>(strlen(text)) : length;
}

}  // namespace

// The buckets are made at the first insertion: most scopes of a request are
// replaced by the script's stored tables or stay empty.
VariableHash::VariableHash(Dictionary* dictionary, int bits, int capacity)
    : bits_(bits), bucket_count_(1 << bits), capacity_(capacity), dictionary_(dictionary) {
    links_ = new int[capacity_];
    entries_ = new _VH_Entry[capacity_];
}

VariableHash::VariableHash(VariableHash& source) : dictionary_(source.dictionary_) {
    CopyTables(source);
}

VariableHash::VariableHash(OxinApplication* application, Dictionary* dictionary,
                           VariableHash& source)
    : dictionary_(dictionary) {
    CopyTables(source);
    for (int n = 0; n < count_; n++) {
        Variable* variable = source.entries_[n].variable;
        if (variable) entries_[n].variable = variable->Clone(application);
    }
}

VariableHash::~VariableHash() {
    Dump();
    FreeTables();
}

void VariableHash::CopyTables(const VariableHash& source) {
    bits_ = source.bits_;
    bucket_count_ = source.bucket_count_;
    used_buckets_ = source.used_buckets_;
    capacity_ = source.capacity_;
    count_ = source.count_;
    if (source.buckets_) {
        buckets_ = new int[bucket_count_];
        memcpy(buckets_, source.buckets_, sizeof(int) * bucket_count_);
    }
    links_ = new int[capacity_];
    entries_ = new _VH_Entry[capacity_];
    for (int n = 0; n < count_; n++) {
        links_[n] = source.links_[n];
        entries_[n] = {source.entries_[n].id, source.entries_[n].version, nullptr};
    }
}

void VariableHash::FreeTables() {
    delete[] buckets_;
    delete[] links_;
    delete[] entries_;
    buckets_ = links_ = nullptr;
    entries_ = nullptr;
}

void VariableHash::Dump() {
    for (int n = 0; n < count_; n++) {
        Variable* variable = entries_[n].variable;
        entries_[n].variable = nullptr;
        if (variable) variable->DecRefCount();
    }
}

void VariableHash::Dump_Keeping(uint64_t entries) {
    for (int n = 0; n < count_; n++) {
        Variable* variable = entries_[n].variable;
        if (!variable) continue;
        if (n < 64 && (entries >> n & 1) && variable->Reusable()) {
            variable->Clear_For_Reuse();
            continue;
        }
        entries_[n].variable = nullptr;
        variable->DecRefCount();
    }
}

const char* VariableHash::EntryName(int n, int* length) const {
    *length = 0;
    return dictionary_->Entry(entries_[n].id, length);
}

int VariableHash::bucket_head(int bucket) const {
    return buckets_ && bucket >= 0 && bucket < bucket_count_ ? buckets_[bucket] : -1;
}

int VariableHash::next_link(int n) const {
    return InRange(n) ? links_[n] : -1;
}

const _VH_Entry* VariableHash::entry(int n) const {
    return InRange(n) ? &entries_[n] : nullptr;
}

void VariableHash::MakeBuckets() {
    buckets_ = new int[bucket_count_];
    for (int i = 0; i < bucket_count_; i++)
        buckets_[i] = -1;
}

void VariableHash::Grow() {
    int capacity = capacity_ + kGrowth;
    int* links = new int[capacity];
    _VH_Entry* entries = new _VH_Entry[capacity];
    for (int n = 0; n < count_; n++) {
        links[n] = links_[n];
        entries[n] = entries_[n];
    }
    delete[] links_;
    delete[] entries_;
    links_ = links;
    entries_ = entries;
    capacity_ = capacity;
}

int VariableHash::Insert(int id, const char* name, int length, Variable* variable) {
    length = Measured(name, length);
    if (name && id == -1) {
        id = dictionary_->Entry_Add(name, length);
    } else if (!name) {
        name = dictionary_->Entry(id, &length);
        if (!name) return -1;
    }
    if (!buckets_) MakeBuckets();
    if (count_ == capacity_) Grow();
    int n = count_++;
    entries_[n] = {id, Version(), variable};
    int bucket = StoredHashTable::Bucket(name, length, bits_);
    int previous = -1;
    int next = buckets_[bucket];
    int next_length;
    // Behind every name that sorts before or equal to the new one.
    while (next != -1) {
        const char* next_name = EntryName(next, &next_length);
        if (StoredHashTable::Compare(next_name, next_length, name, length) > 0) break;
        previous = next;
        next = links_[next];
    }
    links_[n] = next;
    if (previous != -1) {
        links_[previous] = n;
    } else {
        if (buckets_[bucket] == -1) used_buckets_++;
        buckets_[bucket] = n;
    }
    return n;
}

int VariableHash::Insert(Variable* variable) {
    const String& name = variable->name();
    return Insert(-1, name.c_str(), name.length(), variable);
}

int VariableHash::Insert(const char* name, int length) {
    return Insert(-1, name, length, nullptr);
}

int VariableHash::Insert(int id) {
    return Insert(id, nullptr, 0, nullptr);
}

int VariableHash::Seek(int id, const char* name, int length, _VH_Entry** out) {
    length = Measured(name, length);
    if (!name) {
        name = dictionary_->Entry(id, &length);
        if (!name) return -1;
    }
    if (!buckets_) return -1;
    int bucket = StoredHashTable::Bucket(name, length, bits_);
    int entry_length;
    for (int n = buckets_[bucket]; n != -1; n = links_[n]) {
        const char* entry_name = EntryName(n, &entry_length);
        int order = StoredHashTable::Compare(entry_name, entry_length, name, length);
        if (order > 0) break;
        if (order == 0) {
            if (out) *out = &entries_[n];
            return n;
        }
    }
    return -1;
}

int VariableHash::Version() {
    return 0;
}

Variable* VariableHash::Allocate(int n) {
    int length;
    const char* name = EntryName(n, &length);
    entries_[n].variable = new Variable(name, name ? length : 0);
    entries_[n].version = Version();
    return entries_[n].variable;
}

bool VariableHash::Find(Variable** out, const char* name, int length, int create) {
    int n = Seek(-1, name, length);
    if (n < 0) {
        *out = nullptr;
        return false;
    }
    if (!entries_[n].variable && create) Allocate(n);
    *out = entries_[n].variable;
    return true;
}

Variable* VariableHash::Index(int n, int create) {
    if (!InRange(n)) return nullptr;
    if (!entries_[n].variable && create) Allocate(n);
    return entries_[n].variable;
}

int VariableHash::Entries() {
    return count_;
}

int VariableHash::SetVariable(const char* name, int length, const char* value, int value_length) {
    length = Measured(name, length);
    Variable* variable;
    if (!Find(&variable, name, length, 1)) {
        variable = new Variable(name, length);
        Insert(variable);
    }
    variable->SetValue(value, value_length);
    return 1;
}

int VariableHash::SetVariable(Variable* variable) {
    const String& name = variable->name();
    int n = Seek(-1, name.c_str(), name.length());
    if (n < 0) {
        Insert(variable);
        return 1;
    }
    Variable* old = entries_[n].variable;
    entries_[n].variable = variable;
    if (old) old->DecRefCount();
    return 1;
}

int VariableHash::SetVariable_Reference(int n, Variable* target) {
    if (!InRange(n)) return 0;
    Variable* old = entries_[n].variable;
    if (old == target) return 1;
    int length;
    const char* name = EntryName(n, &length);
    entries_[n].variable = new ReferenceVariable(name, name ? length : 0, target);
    if (old) old->DecRefCount();
    return 1;
}

int VariableHash::ClearVariable(const char* name, int length) {
    Variable* variable;
    if (!Find(&variable, name, length, 0) || !variable) return 0;
    variable->SetNULL();
    return 1;
}

void VariableHash::AllocatedVars(VariableList* list) {
    for (int n = 0; n < count_; n++)
        if (entries_[n].variable) list->Insert(entries_[n].variable, ListTail);
}

bool VariableHash::Malformed(Variable** out) {
    Error(String("Array index must be positive integer"));
    *out = nullptr;
    return false;
}

bool VariableHash::LookupVariable_Fancy(Variable** out, const char* name, int length, int create) {
    length = Measured(name, length);
    int mark = 0;
    while (mark < length && name[mark] != ':' && name[mark] != '[')
        mark++;
    Variable* current;
    if (!Find(&current, name, mark, create) && create) {
        current = new Variable(name, mark);
        Insert(current);
    }
    bool array = mark < length && name[mark] == '[';
    int position = mark + 1;
    for (bool done = mark >= length; !done;) {
        if (!current) break;
        int end = position;
        if (array) {
            for (; end < length && name[end] != ']'; end++) {
                unsigned char c = static_cast<unsigned char>(name[end]);
                if (!isdigit(c) && !isspace(c)) return Malformed(out);
            }
            if (end >= length) return Malformed(out);
            // The digits end at "]", so strtol stops inside the name.
            long index = strtol(name + position, nullptr, 10);
            if (index < 0 || index > INT_MAX) return Malformed(out);
            current = current->Element(AggregateIndex(static_cast<int>(index)), create);
            if (!current || end == length - 1) break;
            if (name[end + 1] != ':' && name[end + 1] != '[') return Malformed(out);
            array = name[end + 1] == '[';
            position = end + 2;
        } else {
            while (end < length && name[end] != ':' && name[end] != '[')
                end++;
            current = current->Element(AggregateIndex(name + position, end - position), create);
            if (!current || end == length) break;
            array = name[end] == '[';
            position = end + 1;
        }
    }
    *out = current;
    return true;
}

int VariableHash::SetVariable_Fancy(const char* name, int length, const char* value,
                                    int value_length, int append) {
    Variable* variable;
    if (!LookupVariable_Fancy(&variable, name, length, 1) || !variable) return 0;
    Variable* target = variable;
    if (append && (!variable->IsNULL() || variable->aggregatetype() == AggregateArray)) {
        if (variable->aggregatetype() != AggregateNone) {
            target = variable->Element(AggregateIndex(variable->ElementsUsed() + 1), 1);
        } else {
            Variable* first = new Variable(*variable);
            variable->Element(AggregateIndex(1), 1)->SetValue(*first);
            first->DecRefCount();
            target = variable->Element(AggregateIndex(2), 1);
        }
    }
    target->SetValue(value, value_length);
    return 0;
}

const String& VariableHash::error() {
    return error_;
}

void VariableHash::Error(const String& text) {
    if (text.text()) error_ = text;
}

void VariableHash::Push() {}

int VariableHash::Pop() {
    return 0;
}

VariableHash* VariableHash::RealIdentity() {
    return this;
}

bool VariableHash::Read(TaggedFile* file, uint32_t id) {
    if (!file->Section_Read_Start(id)) {
        Error(file->error());
        return false;
    }
    return Read(file);
}

bool VariableHash::Write(TaggedFile* file, uint32_t id) {
    if (!file->Section_Start(id)) {
        Error(file->error());
        return false;
    }
    if (!Write(file)) return false;
    if (!file->Section_End()) {
        Error(file->error());
        return false;
    }
    return true;
}

bool VariableHash::Read(TaggedFile* file) {
    Dump();
    FreeTables();
    count_ = capacity_ = used_buckets_ = 0;
    StoredHashTable table;
    bool read = table.Read(file, kEntryRecordSize);
    bits_ = table.bits();
    bucket_count_ = table.buckets();
    buckets_ = new int[bucket_count_];
    for (int i = 0; i < bucket_count_; i++) {
        buckets_[i] = table.head(i);
        if (buckets_[i] != -1) used_buckets_++;
    }
    capacity_ = table.entries();
    links_ = new int[capacity_];
    entries_ = new _VH_Entry[capacity_];
    for (int n = 0; n < capacity_; n++) {
        links_[n] = -1;
        entries_[n] = {0, 0, nullptr};
    }
    if (!read) {
        Error(table.error());
        return false;
    }
    std::vector<unsigned char> records(static_cast<size_t>(capacity_) * kEntryRecordSize);
    int size = static_cast<int>(records.size());
    if (size > 0 && file->Section_Read(records.data(), size) != size) {
        Error(file->error());
        return false;
    }
    for (int n = 0; n < capacity_; n++) {
        const unsigned char* record = records.data() + n * kEntryRecordSize;
        entries_[n].id = static_cast<int>(get_u32(record));
        uint32_t next = get_u32(record + 4);
        links_[n] = next < static_cast<uint32_t>(capacity_) ? static_cast<int>(next) : -1;
    }
    if (!StoredHashTable::ChainsEnd(links_, capacity_)) {
        Error(String("File is either corrupt or not a valid compiled Oxin Script file"));
        return false;
    }
    count_ = capacity_;
    return true;
}

bool VariableHash::Write(TaggedFile* file) {
    StoredHashTable table(bits_);
    table.set_entries(count_);
    for (int i = 0; i < bucket_count_; i++)
        table.set_head(i, bucket_head(i));
    if (!table.Write(file)) {
        Error(table.error().text() ? table.error() : file->error());
        return false;
    }
    std::vector<unsigned char> records(static_cast<size_t>(count_) * kEntryRecordSize);
    for (int n = 0; n < count_; n++) {
        unsigned char* record = records.data() + n * kEntryRecordSize;
        put_u32(record, static_cast<uint32_t>(entries_[n].id));
        put_u32(record + 4,
                links_[n] == -1 ? StoredHashTable::kEndOfChain : static_cast<uint32_t>(links_[n]));
    }
    int size = static_cast<int>(records.size());
    if (size > 0 && file->Section_Write(records.data(), size) != size) {
        Error(file->error());
        return false;
    }
    return true;
}

namespace {

bool PrefixIs(const char* name, const char* word, int length) {
    return memcmpi(name, word, length) == 0;
}

int ScopeOfLetter(char letter) {
    switch (tolower(static_cast<unsigned char>(letter))) {
        case 'd':
            return ScopeDatabase;
        case 'g':
            return ScopeGlobal;
        case 'l':
            return ScopeLocal;
        case 's':
            return ScopeSystem;
        default:
            return ScopeNone;
    }
}

bool IsD(char c) {
    return c == 'd' || c == 'D';
}

}  // namespace

int VariableHash::Scope(const char* name, int length, const char** rest, int* rest_length,
                        const char** database, int* database_length) {
    length = Measured(name, length);
    int scope = ScopeNone;
    int prefix = 0;
    const char* database_name = nullptr;
    int database_name_length = 0;
    auto named_database = [&](int name_length, int prefix_length) {
        scope = ScopeDatabase;
        database_name = name;
        database_name_length = name_length;
        prefix = prefix_length;
    };
    if (length >= 2 && name[1] == '.') {
        scope = ScopeOfLetter(name[0]);
        prefix = scope == ScopeNone ? 0 : 2;
        if (scope == ScopeDatabase) database_name = name;
        if (length >= 5 && name[3] == '.' && IsD(name[2])) named_database(1, 4);
        if (length >= 12 && name[10] == '.' && PrefixIs(name + 2, "DATABASE", 8)) {
            named_database(1, 11);
        }
    } else {
        const char* dot = static_cast<const char*>(memchr(name, '.', length > 0 ? length : 0));
        if (dot) {
            int k = static_cast<int>(dot - name);
            if (k == 5 && PrefixIs(name, "LOCAL", 5)) {
                scope = ScopeLocal;
                prefix = 6;
            } else if (k == 6 && PrefixIs(name, "GLOBAL", 6)) {
                scope = ScopeGlobal;
                prefix = 7;
            } else if (k == 6 && PrefixIs(name, "SYSTEM", 6)) {
                scope = ScopeSystem;
                prefix = 7;
            } else if (length - k >= 3 && name[k + 2] == '.' && IsD(name[k + 1])) {
                named_database(k, k + 3);
            } else if (length - k >= 10 && name[k + 9] == '.' &&
                       PrefixIs(name + k + 1, "DATABASE", 8)) {
                named_database(k, k + 10);
            } else if (k == 8 && PrefixIs(name, "DATABASE", 8)) {
                scope = ScopeDatabase;
                database_name = name;
                prefix = 9;
            }
        }
    }
    if (rest) *rest = name + prefix;
    if (rest_length) *rest_length = length - prefix;
    if (database) *database = database_name;
    if (database_length) *database_length = database_name_length;
    return scope;
}
