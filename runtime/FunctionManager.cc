#include "runtime/FunctionManager.h"

#include <cstring>
#include <memory>

#include "base/LittleEndian.h"
#include "files/Dictionary.h"
#include "files/StoredHashTable.h"
#include "files/TaggedFile.h"
#include "runtime/Function.h"
#include "runtime/SegmentManager.h"
#include "variables/VariableHash.h"

namespace {

const char kCorruptText[] = "File is either corrupt or not a valid compiled Oxin Script file";

constexpr int kChainRecordSize = 4;
// The least that one function takes in the section: its chain link, its
// record and the head of its locals.
constexpr int kLeastFunctionSize =
    kChainRecordSize + FunctionManager::kFunctionRecordSize + StoredHashTable::kHeadSize;

int Measured(const char* text, int length) {
    if (!text) return 0;
    return length < 0 ? static_cast<int>(strlen(text)) : length;
}

uint32_t StoredLink(int link) {
    return link == -1 ? StoredHashTable::kEndOfChain : static_cast<uint32_t>(link);
}

// A script function begins at an offset of its segment, its end included.
// A segment id with no segment is left to the machine, which refuses it
// when the function is called.
bool EntryInside(const Function& function, const SegmentManager& segments) {
    if (function.external()) return true;
    if (function.offset() < 0) return false;
    const Segment* segment = segments.Segment_Get(function.segment());
    return !segment || function.offset() <= segment->Code_Length();
}

}  // namespace

FunctionManager::FunctionManager(Dictionary* dictionary, int bits) : dictionary_(dictionary) {
    if (bits < 0) bits = 0;
    if (bits > StoredHashTable::kMaxBits) bits = StoredHashTable::kMaxBits;
    hash_bits_ = bits;
    buckets_.assign(static_cast<size_t>(1) << bits, -1);
    chain_.reserve(kGrowth);
    functions_.reserve(kGrowth);
}

FunctionManager::FunctionManager(const FunctionManager& source, Dictionary* dictionary)
    : buckets_(source.buckets_),
      hash_bits_(source.hash_bits_),
      used_buckets_(source.used_buckets_),
      chain_(source.chain_),
      dictionary_(dictionary) {
    functions_.reserve(source.functions_.capacity());
    for (Function* function : source.functions_)
        functions_.push_back(new Function(*function, dictionary));
}

FunctionManager::~FunctionManager() {
    Free();
}

void FunctionManager::Free() {
    for (Function* function : functions_)
        delete function;
    functions_.clear();
    chain_.clear();
}

bool FunctionManager::Fail(const String& text) {
    Error(text);
    return false;
}

int FunctionManager::hash(const char* name, int length) const {
    return StoredHashTable::Bucket(name, Measured(name, length), hash_bits_);
}

int FunctionManager::bucket_head(int bucket) const {
    return bucket >= 0 && bucket < buckets() ? buckets_[bucket] : -1;
}

int FunctionManager::next_link(int id) const {
    return id >= 0 && id < Entries() ? chain_[id] : -1;
}

Function* FunctionManager::Function_Get(int id) const {
    return id >= 0 && id < Entries() ? functions_[id] : nullptr;
}

Function* FunctionManager::Function_Get(const char* name, int length) {
    if (!name) return nullptr;
    length = Measured(name, length);
    // A chain read from a damaged file might loop; no chain is longer than
    // the number of functions.
    int steps = Entries();
    for (int n = buckets_[hash(name, length)]; n != -1 && steps-- > 0; n = chain_[n]) {
        const String& entry = functions_[n]->name();
        int order = StoredHashTable::Compare(entry.c_str(), entry.length(), name, length);
        if (order > 0) break;
        if (order == 0) return functions_[n];
    }
    return nullptr;
}

Function* FunctionManager::Function_Add(int segment, int offset, const char* name, int length,
                                        const char* parameters, int parameters_length,
                                        unsigned flags) {
    length = Measured(name, length);
    int name_index = dictionary_->Entry_Add(name ? name : "", length);
    auto* function = new Function(Entries(), dictionary_, name_index, flags, segment, offset);
    function->SetParameters(parameters, parameters_length);
    return Function_Add(function, name, length);
}

Function* FunctionManager::Function_Add(const char* name, int length, unsigned flags) {
    return Function_Add(-1, -1, name, length, nullptr, 0, flags | Function::kExternal);
}

Function* FunctionManager::Function_Add(Function* function) {
    auto* copy = new Function(Entries(), dictionary_, *function);
    return Function_Add(copy, copy->name().c_str(), copy->name().length());
}

Function* FunctionManager::Function_Add(Function* function, const char* name, int length) {
    length = Measured(name, length);
    if (!name) name = "";
    int n = Entries();
    if (functions_.size() == functions_.capacity()) {
        functions_.reserve(functions_.capacity() + kGrowth);
        chain_.reserve(functions_.capacity());
    }
    functions_.push_back(function);
    int bucket = hash(name, length);
    int previous = -1;
    int next = buckets_[bucket];
    // Behind every name that sorts before or equal to the new one.
    while (next != -1) {
        const String& entry = functions_[next]->name();
        if (StoredHashTable::Compare(entry.c_str(), entry.length(), name, length) > 0) break;
        previous = next;
        next = chain_[next];
    }
    chain_.push_back(next);
    if (previous != -1) {
        chain_[previous] = n;
    } else {
        if (buckets_[bucket] == -1) used_buckets_++;
        buckets_[bucket] = n;
    }
    return function;
}

bool FunctionManager::Read(TaggedFile* file, const SegmentManager& segments) {
    if (!file->Section_Read_Start(kSectionFunc)) return Fail(file->error());
    StoredHashTable table;
    if (!table.Read(file, kLeastFunctionSize)) return Fail(table.error());
    int count = table.entries();

    std::vector<unsigned char> links(static_cast<size_t>(count) * kChainRecordSize);
    int size = static_cast<int>(links.size());
    if (size > 0 && file->Section_Read(links.data(), size) != size) return Fail(file->error());
    std::vector<int> chain(count);
    for (int n = 0; n < count; n++) {
        uint32_t next = get_u32(links.data() + n * kChainRecordSize);
        chain[n] = next < static_cast<uint32_t>(count) ? static_cast<int>(next) : -1;
    }
    if (!StoredHashTable::ChainsEnd(chain.data(), count)) return Fail(kCorruptText);

    std::vector<std::unique_ptr<Function>> functions;
    functions.reserve(count);
    for (int n = 0; n < count; n++) {
        unsigned char record[kFunctionRecordSize];
        if (file->Section_Read(record, kFunctionRecordSize) != kFunctionRecordSize) {
            return Fail(file->error());
        }
        uint32_t parameters = get_u32(record + 4);
        if (static_cast<int64_t>(parameters) * kParameterRecordSize > file->Section_Remaining()) {
            return Fail(kCorruptText);
        }
        functions.push_back(std::make_unique<Function>(
            n, dictionary_, static_cast<int>(get_u32(record)), get_u32(record + 8),
            static_cast<int>(get_u32(record + 12)), static_cast<int>(get_u32(record + 16))));
        Function* function = functions.back().get();
        if (!EntryInside(*function, segments)) return Fail(kCorruptText);

        std::vector<unsigned char> bytes(static_cast<size_t>(parameters) * kParameterRecordSize);
        size = static_cast<int>(bytes.size());
        if (size > 0 && file->Section_Read(bytes.data(), size) != size) return Fail(file->error());
        for (uint32_t i = 0; i < parameters; i++) {
            const unsigned char* p = bytes.data() + i * kParameterRecordSize;
            int name_index = static_cast<int>(get_u32(p));
            int length = 0;
            const char* name = dictionary_->Entry(name_index, &length);
            function->AddParameter(new FunctionParameter(name_index, name, length,
                                                         static_cast<int>(get_u32(p + 4)),
                                                         static_cast<int>(get_u32(p + 8))));
        }
        VariableHash* locals = function->LocalVariables();
        if (!locals->Read(file)) return Fail(locals->error());
    }

    Free();
    hash_bits_ = table.bits();
    buckets_.assign(table.heads(), table.heads() + table.buckets());
    used_buckets_ = table.used_buckets();
    chain_ = std::move(chain);
    chain_.reserve(kGrowth * (count / kGrowth + 1));
    functions_.reserve(chain_.capacity());
    for (auto& function : functions)
        functions_.push_back(function.release());
    return true;
}

bool FunctionManager::Write(TaggedFile* file) {
    if (!file->Section_Start(kSectionFunc)) return Fail(file->error());
    int count = Entries();
    StoredHashTable table(hash_bits_);
    table.set_entries(count);
    for (int bucket = 0; bucket < buckets(); bucket++)
        table.set_head(bucket, buckets_[bucket]);
    if (!table.Write(file)) return Fail(table.error().text() ? table.error() : file->error());

    std::vector<unsigned char> links(static_cast<size_t>(count) * kChainRecordSize);
    for (int n = 0; n < count; n++)
        put_u32(links.data() + n * kChainRecordSize, StoredLink(chain_[n]));
    int size = static_cast<int>(links.size());
    if (size > 0 && file->Section_Write(links.data(), size) != size) return Fail(file->error());

    for (Function* function : functions_) {
        int parameters = function->ParameterCount();
        std::vector<unsigned char> bytes(kFunctionRecordSize +
                                         static_cast<size_t>(parameters) * kParameterRecordSize);
        put_u32(bytes.data(), static_cast<uint32_t>(function->name_index()));
        put_u32(bytes.data() + 4, static_cast<uint32_t>(parameters));
        put_u32(bytes.data() + 8, function->flags());
        put_u32(bytes.data() + 12, static_cast<uint32_t>(function->segment()));
        put_u32(bytes.data() + 16, static_cast<uint32_t>(function->offset()));
        unsigned char* p = bytes.data() + kFunctionRecordSize;
        List<FunctionParameter>& list = function->Parameters();
        for (FunctionParameter* parameter = list.First(); parameter; parameter = list.Next()) {
            put_u32(p, static_cast<uint32_t>(parameter->name_index()));
            put_u32(p + 4, static_cast<uint32_t>(parameter->flags()));
            put_u32(p + 8, static_cast<uint32_t>(parameter->localvar_index()));
            p += kParameterRecordSize;
        }
        size = static_cast<int>(bytes.size());
        if (file->Section_Write(bytes.data(), size) != size) return Fail(file->error());
        VariableHash* locals = function->LocalVariables();
        if (!locals->Write(file)) return Fail(locals->error());
    }
    if (!file->Section_End()) return Fail(file->error());
    return true;
}
