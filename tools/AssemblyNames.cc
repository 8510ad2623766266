#include "tools/AssemblyNames.h"

#include <algorithm>

#include "files/Dictionary.h"
#include "runtime/Function.h"
#include "runtime/FunctionManager.h"
#include "variables/VariableHash.h"

AssemblyNames::AssemblyNames(Dictionary* dictionary, VariableHash* system, VariableHash* global,
                             FunctionManager* functions)
    : dictionary_(dictionary), system_(system), global_(global), functions_(functions) {}

void AssemblyNames::Enter_Segment(int segment) {
    entries_.clear();
    if (!functions_) return;
    for (int id = 0; id < functions_->Entries(); id++) {
        Function* function = functions_->Function_Get(id);
        if (!function->external() && function->segment() == segment)
            entries_.push_back({function->offset(), function->LocalVariables()});
    }
    std::stable_sort(entries_.begin(), entries_.end(),
                     [](const Entry& a, const Entry& b) { return a.offset < b.offset; });
}

VariableHash* AssemblyNames::Locals(int offset) const {
    VariableHash* locals = nullptr;
    for (const Entry& entry : entries_) {
        if (entry.offset > offset) break;
        locals = entry.locals;
    }
    return locals;
}

VariableHash* AssemblyNames::Table(OperandRole role, int offset) const {
    switch (role) {
        case RoleSystem:
            return system_;
        case RoleGlobal:
            return global_;
        case RoleLocal:
            return Locals(offset);
        default:
            return nullptr;
    }
}

const char* AssemblyNames::Name(OperandRole role, int value, int offset, int* length) const {
    if (role == RoleDictionary) return dictionary_ ? dictionary_->Entry(value, length) : nullptr;
    if (role == RoleFunction) {
        Function* function = functions_ ? functions_->Function_Get(value) : nullptr;
        if (!function) return nullptr;
        *length = function->name().length();
        return function->name().c_str();
    }
    VariableHash* table = Table(role, offset);
    if (!table || value < 0 || value >= table->Entries()) return nullptr;
    return dictionary_ ? dictionary_->Entry(table->entry(value)->id, length) : nullptr;
}

int AssemblyNames::Number(OperandRole role, const std::string& name, int offset) {
    int length = static_cast<int>(name.size());
    if (role == RoleDictionary && dictionary_) return dictionary_->Entry_Add(name.data(), length);
    if (role == RoleFunction && functions_) {
        Function* function = functions_->Function_Get(name.data(), length);
        if (!function) error_ = "unknown function " + name;
        return function ? function->id() : -1;
    }
    VariableHash* table = Table(role, offset);
    if (!table) {
        error_ = role == RoleLocal ? "local " + name + " is not in the code of a function"
                                   : "this operand takes a number, not a name";
        return -1;
    }
    int number = table->Seek(-1, name.data(), length);
    return number >= 0 ? number : table->Insert(-1, name.data(), length, nullptr);
}
