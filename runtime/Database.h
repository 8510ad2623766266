#pragma once

#include <memory>
#include <vector>

#include "base/HashTable.h"
#include "base/StringClass.h"
#include "runtime/DatabaseView.h"
#include "runtime/StringTuple.h"

class OxinApplication;
class OxinVM;
class Variable;
class VariableList;
class Database;

// Databases are found by alias, regardless of case.
template <>
struct HashTableKey<Database> {
    static const char* Text(const Database* database, int* length);
};

// An open database as scripts know it: an alias, one or more views with
// their field variables, and the operations of the database statements. The
// built-in xBase tables and the libraries' databases implement it.
//
// The abstract operations return 1 on success and 0 with the text in
// error(). A database holds a count on its machine until Release_VM.
class Database {
  public:
    Database(OxinApplication* application, OxinVM* vm, const StringTuple& name);
    // Deletes every view.
    virtual ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Gives up the machine's count, and the views' filter machines.
    virtual void Release_VM();

    virtual int Open(const StringTuple& path, const StringTuple& alias,
                     const StringTuple& connection1, const StringTuple& connection2,
                     const StringTuple& connection3) = 0;
    virtual int Close() = 0;
    // Makes a new database with the fields that field_list declares.
    virtual int Create(const StringTuple& path, const StringTuple& alias,
                       const StringTuple& field_list) = 0;
    // Replaces the open indexes by the comma-separated list; the first is
    // primary.
    virtual int OpenIndexes(OxinVM* vm, const StringTuple& indexes) = 0;
    virtual int SetPrimaryIndex(const StringTuple& index) = 0;
    // Builds a new index over every record; it becomes primary.
    virtual int CreateIndex(OxinVM* vm, const StringTuple& file, const StringTuple& expression,
                            const StringTuple& flags) = 0;
    virtual int Pack() = 0;
    virtual int Reindex() = 0;
    virtual int OpenView(const StringTuple& view, const StringTuple& query, VariableList* list,
                         int count) = 0;
    virtual int CloseView(const StringTuple& view) = 0;
    virtual int RunQuery(const StringTuple& query, VariableList* list, int count) = 0;
    virtual int Commit() = 0;
    virtual int Rollback() = 0;
    virtual int Transaction() = 0;
    virtual int Command(const StringTuple& command, const StringTuple& arguments) = 0;

    // Puts view into the machine's views, this database's and the end of
    // the list; the database owns it from here on.
    virtual void View_Add(DatabaseView* view);
    // Takes view out of all three and deletes it.
    virtual void View_Del(DatabaseView* view);
    virtual DatabaseView* PrimaryView();
    // Moves view to the head of the list; PrimaryView stays as it was.
    virtual void SetPrimaryView(DatabaseView* view);
    // The first field of the name among the views in list order, or null.
    virtual Variable* Find(const char* name, int length);

    const String& name() const { return name_; }
    const String& error() const { return error_; }
    void Error(const String& text) { error_ = text; }
    // The view of a name, or null.
    DatabaseView* View(const char* name, int length);

  protected:
    void SetPrimary(DatabaseView* view) { primary_ = view; }

    OxinApplication* application_;
    OxinVM* vm_;
    String name_;
    String error_;
    std::vector<std::unique_ptr<DatabaseView>> views_;  // the head is searched first
    HashTable<DatabaseView> views_hash_{0, 1, 12, 512};
    DatabaseView* primary_ = nullptr;
};
