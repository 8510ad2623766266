#pragma once

#include "variables/VariableHash.h"

// A copy of a scope with variables of its own, for a cloned machine that
// runs an asynchronous task: it shares no variable with the source. When the
// source stands for another hash (a file's table of the request's globals),
// the copy stands for a copy of that hash, its delegate, and forwards every
// operation there.
class ClonedVariableHash : public VariableHash {
  public:
    ClonedVariableHash(OxinApplication* application, Dictionary* dictionary, VariableHash& source);
    // Deletes the delegate and the dictionary copy, if this copy made them.
    ~ClonedVariableHash() override;

    using VariableHash::Insert;
    using VariableHash::Read;
    using VariableHash::SetVariable;
    using VariableHash::Write;
    int Insert(Variable* variable) override;
    int Insert(const char* name, int length) override;
    int Insert(int id) override;
    int SetVariable(const char* name, int length, const char* value, int value_length) override;
    int SetVariable(Variable* variable) override;
    int SetVariable_Reference(int n, Variable* target) override;
    int SetVariable_Fancy(const char* name, int length, const char* value, int value_length,
                          int append) override;
    int Seek(int id, const char* name, int length, _VH_Entry** out = nullptr) override;
    int Insert(int id, const char* name, int length, Variable* variable) override;
    int Version() override;
    int ClearVariable(const char* name, int length) override;
    bool Find(Variable** out, const char* name, int length, int create) override;
    bool LookupVariable_Fancy(Variable** out, const char* name, int length, int create) override;
    Variable* Index(int n, int create) override;
    int Entries() override;
    void AllocatedVars(VariableList* list) override;
    bool Read(TaggedFile* file, uint32_t id) override;
    bool Write(TaggedFile* file, uint32_t id) override;
    bool Read(TaggedFile* file) override;
    bool Write(TaggedFile* file) override;
    const String& error() override;
    void Error(const String& text) override;
    void Push() override;
    int Pop() override;
    VariableHash* RealIdentity() override;

    VariableHash* delegate() const { return delegate_; }

  private:
    bool Delegated() const { return delegate_ != this; }

    VariableHash* delegate_ = this;
    Dictionary* owned_dictionary_ = nullptr;
};
