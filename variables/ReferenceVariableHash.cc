#include "variables/ReferenceVariableHash.h"

#include "variables/ReferenceVariable.h"
#include "variables/Variable.h"

ReferenceVariableHash::ReferenceVariableHash(Dictionary* dictionary, VariableHash* target, int bits,
                                             int capacity)
    : VariableHash(dictionary, bits, capacity), target_(target->RealIdentity()) {
    direct_index_ = false;
}

int ReferenceVariableHash::Resolve(int n, int create, Variable* reference_to) {
    int& mapped = entries_[n].version;
    if (mapped >= 0) return mapped;
    int length;
    const char* name = EntryName(n, &length);
    if (!name) return -1;
    mapped = target_->Seek(-1, name, length);
    if (mapped < 0 && create) {
        Variable* variable = reference_to ? new ReferenceVariable(name, length, reference_to)
                                          : new Variable(name, length);
        mapped = target_->Insert(-1, name, length, variable);
    }
    return mapped;
}

bool ReferenceVariableHash::Find(Variable** out, const char* name, int length, int create) {
    int n = VariableHash::Seek(-1, name, length);
    if (n < 0) return target_->Find(out, name, length, create);
    int mapped = Resolve(n, create);
    *out = mapped >= 0 ? target_->Index(mapped, create) : nullptr;
    return mapped >= 0;
}

Variable* ReferenceVariableHash::Index(int n, int create) {
    if (!InRange(n)) return nullptr;
    int mapped = Resolve(n, create);
    return mapped >= 0 ? target_->Index(mapped, create) : nullptr;
}

int ReferenceVariableHash::SetVariable_Reference(int n, Variable* target) {
    if (!InRange(n)) return 0;
    int mapped = Resolve(n, 1, target);
    return mapped >= 0 ? target_->SetVariable_Reference(mapped, target) : 0;
}

bool ReferenceVariableHash::Read(TaggedFile* file) {
    bool read = VariableHash::Read(file);
    for (int n = 0; n < count_; n++)
        entries_[n].version = -1;
    return read;
}

bool ReferenceVariableHash::LookupVariable_Fancy(Variable** out, const char* name, int length,
                                                 int create) {
    if (target_->LookupVariable_Fancy(out, name, length, create)) return true;
    Error(target_->error());
    return false;
}

int ReferenceVariableHash::SetVariable(const char* name, int length, const char* value,
                                       int value_length) {
    return target_->SetVariable(name, length, value, value_length);
}

int ReferenceVariableHash::SetVariable(Variable* variable) {
    return target_->SetVariable(variable);
}

int ReferenceVariableHash::SetVariable_Fancy(const char* name, int length, const char* value,
                                             int value_length, int append) {
    return target_->SetVariable_Fancy(name, length, value, value_length, append);
}

int ReferenceVariableHash::Seek(int id, const char* name, int length, _VH_Entry** out) {
    return target_->Seek(id, name, length, out);
}

int ReferenceVariableHash::Insert(int id, const char* name, int length, Variable* variable) {
    return target_->Insert(id, name, length, variable);
}

int ReferenceVariableHash::Version() {
    return target_->Version();
}

int ReferenceVariableHash::ClearVariable(const char* name, int length) {
    return target_->ClearVariable(name, length);
}

int ReferenceVariableHash::Entries() {
    return target_->Entries();
}

void ReferenceVariableHash::AllocatedVars(VariableList* list) {
    target_->AllocatedVars(list);
}

void ReferenceVariableHash::Push() {
    target_->Push();
}

int ReferenceVariableHash::Pop() {
    return target_->Pop();
}

VariableHash* ReferenceVariableHash::RealIdentity() {
    return target_;
}
