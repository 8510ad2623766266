#include "runtime/Function.h"

#include <cctype>
#include <cstring>

#include "base/MemCmpI.h"
#include "files/Dictionary.h"
#include "variables/VariableHash.h"

namespace {

bool IsSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// Narrows [*begin, *end) to its text without white space at either end.
void Strip(const char** begin, const char** end) {
    while (*begin < *end && IsSpace(**begin))
        (*begin)++;
    while (*end > *begin && IsSpace((*end)[-1]))
        (*end)--;
}

String DictionaryText(Dictionary* dictionary, int id) {
    int length = 0;
    const char* text = dictionary ? dictionary->Entry(id, &length) : nullptr;
    return text ? String(text, length) : String();
}

}  // namespace

FunctionParameter::FunctionParameter(int name_index, const char* name, int length, int flags,
                                     int localvar_index)
    : name_index_(name_index), flags_(flags), localvar_index_(localvar_index) {
    if (name) name_.assign(name, length);
}

Function::Function(int id, Dictionary* dictionary, int name_index, unsigned flags, int segment,
                   int offset)
    : id_(id),
      flags_(flags),
      name_index_(name_index),
      name_(DictionaryText(dictionary, name_index)),
      segment_(segment),
      offset_(offset),
      dictionary_(dictionary),
      locals_(new VariableHash(dictionary, kLocalBits, kLocalCapacity)) {}

Function::Function(int id, Dictionary* dictionary, Function& source)
    : id_(id),
      flags_(source.flags_),
      name_(source.name_),
      segment_(-1),
      offset_(-1),
      dictionary_(dictionary),
      text_(source.text_),
      locals_(new VariableHash(dictionary, kLocalBits, kLocalCapacity)) {
    name_index_ = dictionary->Entry_Add(name_.c_str(), name_.length());
    for (FunctionParameter* p = source.parameters_.First(); p; p = source.parameters_.Next())
        AddParameter(p->flags(), p->name().c_str(), p->name().length());
}

Function::Function(Function& source, Dictionary* dictionary)
    : id_(source.id_),
      flags_(source.flags_),
      name_index_(source.name_index_),
      name_(source.name_),
      segment_(source.segment_),
      offset_(source.offset_),
      dictionary_(dictionary ? dictionary : source.dictionary_),
      text_(source.text_),
      // The pattern holds names only, so there is nothing to clone and no
      // application is needed.
      locals_(new VariableHash(nullptr, dictionary_, *source.locals_)) {
    for (FunctionParameter* p = source.parameters_.First(); p; p = source.parameters_.Next()) {
        AddParameter(new FunctionParameter(p->name_index(), p->name().c_str(), p->name().length(),
                                           p->flags(), p->localvar_index()));
    }
}

Function::~Function() {
    delete locals_;
}

FunctionParameter* Function::AddParameter(int flags, const char* name, int length) {
    if (name && length < 0) length = static_cast<int>(strlen(name));
    if (!name) length = 0;
    int name_index = dictionary_->Entry_Add(name ? name : "", length);
    int local = locals_->Insert(name_index, name ? name : "", length, nullptr);
    auto* parameter = new FunctionParameter(name_index, name, length, flags, local);
    AddParameter(parameter);
    return parameter;
}

void Function::AddParameter(FunctionParameter* parameter) {
    parameters_.Insert(parameter, ListTail);
    int n = parameter->localvar_index();
    if (!parameter->byreference() && n >= 0 && n < 64) value_parameters_ |= uint64_t{1} << n;
}

void Function::SetParameters(const char* text, int length) {
    if (!text) return;
    if (length < 0) length = static_cast<int>(strlen(text));
    if (length == 0) return;
    const char* end = text + length;
    for (const char* piece = text;;) {
        const char* comma = static_cast<const char*>(memchr(piece, ',', end - piece));
        const char* piece_end = comma ? comma : end;
        const char* begin = piece;
        Strip(&begin, &piece_end);
        const char* name_end = begin;
        while (name_end < piece_end && !IsSpace(*name_end))
            name_end++;
        const char* rest = name_end;
        const char* rest_end = piece_end;
        Strip(&rest, &rest_end);
        bool reference = rest_end - rest == 3 && memcmpi(rest, "var", 3) == 0;
        AddParameter(reference ? FunctionParameter::kByReference : 0, begin,
                     static_cast<int>(name_end - begin));
        if (!comma) break;
        piece = comma + 1;
    }
}

FunctionParameter* Function::Parameter(int i) {
    if (i < 0) return nullptr;
    FunctionParameter* p = parameters_.First();
    for (; p && i > 0; i--)
        p = parameters_.Next();
    return p;
}

void Function::SetLocalVariables(VariableHash* locals) {
    if (locals == locals_) return;
    delete locals_;
    locals_ = locals;
    spare_locals_.clear();
}

// A spare made before the pattern gained names would miss them: only a
// spare of the pattern's size serves (names are only ever added).
VariableHash* Function::Take_Locals() {
    while (!spare_locals_.empty()) {
        std::unique_ptr<VariableHash> spare = std::move(spare_locals_.back());
        spare_locals_.pop_back();
        if (spare->Entries() == locals_->Entries()) return spare.release();
    }
    return new VariableHash(*locals_);
}

// The variables of parameters passed by value stay, emptied: every call
// fills them first, so that a new variable each time would be the same.
void Function::Keep_Locals(VariableHash* locals) {
    constexpr size_t kSpares = 8;  // enough for recursion a few levels deep
    std::unique_ptr<VariableHash> kept(locals);
    if (spare_locals_.size() >= kSpares) return;
    kept->Dump_Keeping(value_parameters_);
    spare_locals_.push_back(std::move(kept));
}
