#pragma once

#include "variables/VariableHash.h"

// The variable table of one compiled file whose variables really live in
// another hash (the request's globals or system variables). Its entries only
// map the file's numbering to the target's: an entry's version holds the
// target's entry number, -1 until it is first resolved by name.
class ReferenceVariableHash : public VariableHash {
  public:
    // Names in dictionary; the target is target's real identity.
    ReferenceVariableHash(Dictionary* dictionary, VariableHash* target, int bits = 12,
                          int capacity = 512);

    using VariableHash::Insert;
    using VariableHash::SetVariable;
    int SetVariable(const char* name, int length, const char* value, int value_length) override;
    int SetVariable(Variable* variable) override;
    // Entry n of this table, made in the target as a reference if missing.
    int SetVariable_Reference(int n, Variable* target) override;
    int SetVariable_Fancy(const char* name, int length, const char* value, int value_length,
                          int append) override;
    int Seek(int id, const char* name, int length, _VH_Entry** out = nullptr) override;
    int Insert(int id, const char* name, int length, Variable* variable) override;
    int Version() override;
    int ClearVariable(const char* name, int length) override;
    // A name of this table goes by its mapped number; any other name
    // straight to the target.
    bool Find(Variable** out, const char* name, int length, int create) override;
    bool LookupVariable_Fancy(Variable** out, const char* name, int length, int create) override;
    // Entry n of this table, as the target's variable.
    Variable* Index(int n, int create) override;
    int Entries() override;
    void AllocatedVars(VariableList* list) override;
    using VariableHash::Read;
    // Reads the table and marks every mapping unresolved.
    bool Read(TaggedFile* file) override;
    void Push() override;
    int Pop() override;
    VariableHash* RealIdentity() override;

    VariableHash* target() const { return target_; }

  private:
    // The target's number for entry n, resolving it by name on first use.
    // With create, a name missing in the target is made there: as a
    // reference to reference_to when that is given, else as a variable.
    int Resolve(int n, int create, Variable* reference_to = nullptr);

    VariableHash* target_;
};
