#include "variables/ClonedVariableHash.h"

#include "files/Dictionary.h"
#include "variables/SystemVariableHash.h"
#include "variables/Variable.h"

ClonedVariableHash::ClonedVariableHash(OxinApplication* application, Dictionary* dictionary,
                                       VariableHash& source)
    : VariableHash(source) {
    direct_index_ = false;
    VariableHash* real = source.RealIdentity();
    if (SystemVariableHash* system = dynamic_cast<SystemVariableHash*>(real)) {
        Dictionary* names = dictionary;
        if (real != &source) names = owned_dictionary_ = new Dictionary(*real->dictionary());
        delegate_ = new SystemVariableHash(application, names, *system);
    } else if (real != &source) {
        owned_dictionary_ = new Dictionary(*real->dictionary());
        delegate_ = new VariableHash(application, owned_dictionary_, *real);
    } else {
        dictionary_ = dictionary;
        for (int n = 0; n < count_; n++) {
            Variable* variable = source.Index(n, 0);
            if (variable) entries_[n].variable = variable->Clone(application);
        }
    }
}

ClonedVariableHash::~ClonedVariableHash() {
    if (Delegated()) delete delegate_;
    delete owned_dictionary_;
}

int ClonedVariableHash::Insert(Variable* variable) {
    return Delegated() ? delegate_->Insert(variable) : VariableHash::Insert(variable);
}

int ClonedVariableHash::Insert(const char* name, int length) {
    return Delegated() ? delegate_->Insert(name, length) : VariableHash::Insert(name, length);
}

int ClonedVariableHash::Insert(int id) {
    return Delegated() ? delegate_->Insert(id) : VariableHash::Insert(id);
}

int ClonedVariableHash::SetVariable(const char* name, int length, const char* value,
                                    int value_length) {
    return Delegated() ? delegate_->SetVariable(name, length, value, value_length)
                       : VariableHash::SetVariable(name, length, value, value_length);
}

int ClonedVariableHash::SetVariable(Variable* variable) {
    return Delegated() ? delegate_->SetVariable(variable) : VariableHash::SetVariable(variable);
}

int ClonedVariableHash::SetVariable_Reference(int n, Variable* target) {
    return Delegated() ? delegate_->SetVariable_Reference(n, target)
                       : VariableHash::SetVariable_Reference(n, target);
}

int ClonedVariableHash::SetVariable_Fancy(const char* name, int length, const char* value,
                                          int value_length, int append) {
    return Delegated() ? delegate_->SetVariable_Fancy(name, length, value, value_length, append)
                       : VariableHash::SetVariable_Fancy(name, length, value, value_length, append);
}

int ClonedVariableHash::Seek(int id, const char* name, int length, _VH_Entry** out) {
    return Delegated() ? delegate_->Seek(id, name, length, out)
                       : VariableHash::Seek(id, name, length, out);
}

int ClonedVariableHash::Insert(int id, const char* name, int length, Variable* variable) {
    return Delegated() ? delegate_->Insert(id, name, length, variable)
                       : VariableHash::Insert(id, name, length, variable);
}

int ClonedVariableHash::Version() {
    return Delegated() ? delegate_->Version() : VariableHash::Version();
}

int ClonedVariableHash::ClearVariable(const char* name, int length) {
    return Delegated() ? delegate_->ClearVariable(name, length)
                       : VariableHash::ClearVariable(name, length);
}

bool ClonedVariableHash::Find(Variable** out, const char* name, int length, int create) {
    return Delegated() ? delegate_->Find(out, name, length, create)
                       : VariableHash::Find(out, name, length, create);
}

bool ClonedVariableHash::LookupVariable_Fancy(Variable** out, const char* name, int length,
                                              int create) {
    return Delegated() ? delegate_->LookupVariable_Fancy(out, name, length, create)
                       : VariableHash::LookupVariable_Fancy(out, name, length, create);
}

Variable* ClonedVariableHash::Index(int n, int create) {
    return Delegated() ? delegate_->Index(n, create) : VariableHash::Index(n, create);
}

int ClonedVariableHash::Entries() {
    return Delegated() ? delegate_->Entries() : VariableHash::Entries();
}

void ClonedVariableHash::AllocatedVars(VariableList* list) {
    if (Delegated()) {
        delegate_->AllocatedVars(list);
    } else {
        VariableHash::AllocatedVars(list);
    }
}

bool ClonedVariableHash::Read(TaggedFile* file, uint32_t id) {
    return Delegated() ? delegate_->Read(file, id) : VariableHash::Read(file, id);
}

bool ClonedVariableHash::Write(TaggedFile* file, uint32_t id) {
    return Delegated() ? delegate_->Write(file, id) : VariableHash::Write(file, id);
}

bool ClonedVariableHash::Read(TaggedFile* file) {
    return Delegated() ? delegate_->Read(file) : VariableHash::Read(file);
}

bool ClonedVariableHash::Write(TaggedFile* file) {
    return Delegated() ? delegate_->Write(file) : VariableHash::Write(file);
}

const String& ClonedVariableHash::error() {
    return Delegated() ? delegate_->error() : VariableHash::error();
}

void ClonedVariableHash::Error(const String& text) {
    if (Delegated()) {
        delegate_->Error(text);
    } else {
        VariableHash::Error(text);
    }
}

void ClonedVariableHash::Push() {
    if (Delegated()) delegate_->Push();
}

int ClonedVariableHash::Pop() {
    return Delegated() ? delegate_->Pop() : VariableHash::Pop();
}

VariableHash* ClonedVariableHash::RealIdentity() {
    return Delegated() ? delegate_->RealIdentity() : this;
}
