#pragma once

#include "base/List.h"
#include "base/Stack.h"
#include "variables/VariableHash.h"

// The saved state of one entry of the system scope.
struct _SVH_Entry {
    int n;
    int version;
    Variable* variable;
};

// The system scope. Overrides can be scoped: after Push, every entry that
// is replaced or filled keeps its former state, and Pop puts it back.
// Version() is the level, the number of Pushes not yet popped.
class SystemVariableHash : public VariableHash {
  public:
    SystemVariableHash(Dictionary* dictionary, int bits = 12, int capacity = 512);
    // The tables of source over dictionary, with clones of its variables,
    // at level 0.
    SystemVariableHash(OxinApplication* application, Dictionary* dictionary,
                       SystemVariableHash& source);
    // Drops the saved variables without restoring them.
    ~SystemVariableHash() override;

    using VariableHash::Insert;
    using VariableHash::SetVariable;
    int SetVariable(Variable* variable) override;
    int SetVariable_Reference(int n, Variable* target) override;
    // Always without append.
    int SetVariable_Fancy(const char* name, int length, const char* value, int value_length,
                          int append) override;
    int Insert(int id, const char* name, int length, Variable* variable) override;
    bool Find(Variable** out, const char* name, int length, int create) override;
    int Version() override;
    // Opens a new level of overrides.
    void Push() override;
    // Restores every entry changed at the top level; 0 at level 0, else 1.
    int Pop() override;

    int level() const { return level_; }

  private:
    // Keeps entry n's present state at the current level.
    void Save(int n, int version, Variable* variable);

    int level_ = 0;
    Stack<List<_SVH_Entry>> saved_{1};
    List<_SVH_Entry>* current_ = nullptr;
};
