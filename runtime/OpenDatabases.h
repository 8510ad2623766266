#pragma once

#include <memory>
#include <vector>

#include "base/HashTable.h"
#include "runtime/Database.h"

class DatabaseView;
class Variable;

// The databases open in a machine: in order, the first being the primary
// one, and by alias; and the views of all of them by view name, which form
// one name space. The machine owns the databases through this list.
class OpenDatabases {
  public:
    OpenDatabases() = default;
    ~OpenDatabases() { Delete_All(); }
    // Deletes every database left open, the primary first.
    void Delete_All();
    // Makes every database give up its machine (Database::Release_VM).
    void Release_VM();
    OpenDatabases(const OpenDatabases&) = delete;
    OpenDatabases& operator=(const OpenDatabases&) = delete;

    // The primary database, or null when none is open.
    Database* Primary() const { return list_.empty() ? nullptr : list_.front().get(); }
    Database* Find(const char* alias, int length);
    DatabaseView* View(const char* name, int length);
    // Takes database over as the new primary one.
    void Add(std::unique_ptr<Database> database);
    // Gives database back to the caller, out of the list and the alias hash.
    std::unique_ptr<Database> Remove(Database* database);
    // Makes database the primary one.
    void MoveToHead(Database* database);
    void Add_View(DatabaseView* view);
    void Remove_View(DatabaseView* view);
    // The first field of the name in the databases' order, or null.
    Variable* FindField(const char* name, int length);

  private:
    std::vector<std::unique_ptr<Database>> list_;
    HashTable<Database> by_alias_{0, 1, 8, 16};
    HashTable<DatabaseView> views_{0, 1, 8, 16};
};
