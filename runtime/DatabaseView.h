#pragma once

#include "base/StringClass.h"
#include "base/HashTable.h"
#include "runtime/DatabaseVariableHash.h"
#include "runtime/StringTuple.h"

class Database;
class DatabaseView;
class OxinApplication;
class OxinVM;
class Segment;
class Variable;

// Views are found by name, regardless of case.
template <>
struct HashTableKey<DatabaseView> {
    static const char* Text(const DatabaseView* view, int* length);
};

// A cursor over a database: a current position, the field variables of the
// record there, and an optional filter that the moves obey. Positions for Go
// are record numbers, or -1 for the top and -2 for the bottom.
//
// The abstract operations return 1 on success and 0 with the text in
// error(). A view with a filter holds a count on the filter's machine.
class DatabaseView {
  public:
    DatabaseView(OxinApplication* application, OxinVM* vm, Database* database,
                 const String& name);
    // Drops the filter machine's count.
    virtual ~DatabaseView();
    DatabaseView(const DatabaseView&) = delete;
    DatabaseView& operator=(const DatabaseView&) = delete;

    // Drops the filter machine's count and nothing else.
    virtual void Release_VM();
    // The field variable of the name, any case, or null.
    virtual Variable* FindField(const char* name, int length);
    virtual int Close() = 0;
    virtual int Skip_NoFilter(int count) = 0;
    virtual int Skip_Filter(int count) = 0;
    virtual int Go_NoFilter(long position) = 0;
    virtual int Go_Filter(long position) = 0;
    // Searches the primary index for key: whole 1 for an equal key, 0 for a
    // key that begins with it.
    virtual int Find_NoFilter(const StringTuple& key, int whole) = 0;
    virtual int Find_Filter(const StringTuple& key, int whole) = 0;
    virtual int Add() = 0;
    virtual int Delete() = 0;
    virtual int UnDelete() = 0;
    virtual int Update() = 0;
    // Compiles expression as the view's filter; an empty one clears it.
    virtual int Filter(OxinVM* vm, const StringTuple& expression) = 0;
    // Writes the fields' names, types and sizes as records of a new table.
    virtual int RevealStructure_Table(const StringTuple& path) = 0;
    // The same into the elements 1, 2, ... of *variable.
    virtual int RevealStructure_Aggregate(Variable** variable) = 0;
    // Makes segment, run in vm, the filter; a null vm clears it.
    virtual void SetFilter(OxinVM* vm, Segment* segment);
    // Makes the field variables read the record anew: all of them (flag set),
    // or only the position's own (flag 0).
    virtual void SetDirty(int flag) = 0;

    const String& name() const { return name_; }
    bool IsFiltered() const { return filter_ != nullptr; }
    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }
    Database* database() const { return database_; }

  protected:
    OxinApplication* application_;
    OxinVM* vm_;
    Database* database_;
    String name_;
    String error_;
    DatabaseVariableHash variables_;
    Segment* filter_ = nullptr;
    OxinVM* filter_vm_ = nullptr;
};
