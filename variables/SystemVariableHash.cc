#include "variables/SystemVariableHash.h"

#include "variables/ReferenceVariable.h"
#include "variables/Variable.h"

SystemVariableHash::SystemVariableHash(Dictionary* dictionary, int bits, int capacity)
    : VariableHash(dictionary, bits, capacity) {}

SystemVariableHash::SystemVariableHash(OxinApplication* application, Dictionary* dictionary,
                                       SystemVariableHash& source)
    : VariableHash(application, dictionary, source) {}

SystemVariableHash::~SystemVariableHash() {
    while (List<_SVH_Entry>* list = saved_.Pop()) {
        for (_SVH_Entry* saved = list->First(); saved; saved = list->Next())
            if (saved->variable) saved->variable->DecRefCount();
        delete list;
    }
}

void SystemVariableHash::Save(int n, int version, Variable* variable) {
    current_->Insert(new _SVH_Entry{n, version, variable}, ListTail);
}

int SystemVariableHash::SetVariable(Variable* variable) {
    if (level_ == 0) return VariableHash::SetVariable(variable);
    const String& name = variable->name();
    int n = VariableHash::Seek(-1, name.c_str(), name.length());
    if (n < 0) return VariableHash::SetVariable(variable);
    Save(n, entries_[n].version, entries_[n].variable);
    entries_[n].variable = variable;
    return 1;
}

int SystemVariableHash::SetVariable_Reference(int n, Variable* target) {
    if (level_ == 0) return VariableHash::SetVariable_Reference(n, target);
    if (!InRange(n)) return 0;
    if (entries_[n].variable == target) return 1;
    Save(n, entries_[n].version, entries_[n].variable);
    int length;
    const char* name = EntryName(n, &length);
    entries_[n].variable = new ReferenceVariable(name, name ? length : 0, target);
    return 1;
}

int SystemVariableHash::SetVariable_Fancy(const char* name, int length, const char* value,
                                          int value_length, int) {
    return VariableHash::SetVariable_Fancy(name, length, value, value_length, 0);
}

int SystemVariableHash::Insert(int id, const char* name, int length, Variable* variable) {
    if (level_ == 0) return VariableHash::Insert(id, name, length, variable);
    int n = VariableHash::Seek(id, name, length);
    if (n >= 0) {
        Save(n, entries_[n].version, entries_[n].variable);
        entries_[n].variable = variable;
        entries_[n].version = level_;
        return n;
    }
    n = VariableHash::Insert(id, name, length, variable);
    if (n >= 0) Save(n, 0, nullptr);
    return n;
}

bool SystemVariableHash::Find(Variable** out, const char* name, int length, int create) {
    if (level_ == 0 || !create) return VariableHash::Find(out, name, length, create);
    int n = VariableHash::Seek(-1, name, length);
    if (n >= 0 && !entries_[n].variable) {
        Allocate(n);
        Save(n, 0, nullptr);
    }
    return VariableHash::Find(out, name, length, create);
}

int SystemVariableHash::Version() {
    return level_;
}

void SystemVariableHash::Push() {
    level_++;
    current_ = new List<_SVH_Entry>(1);
    saved_.Push(current_);
}

int SystemVariableHash::Pop() {
    if (level_ == 0) return 0;
    // Newest first, so that an entry changed twice at this level ends with
    // the state it had before the level began.
    for (_SVH_Entry* saved = current_->Last(); saved; saved = current_->Previous()) {
        _VH_Entry& entry = entries_[saved->n];
        if (entry.variable) entry.variable->DecRefCount();
        entry.variable = saved->variable;
        entry.version = saved->version;
    }
    delete saved_.Pop();
    level_--;
    current_ = saved_.Top();
    return 1;
}
