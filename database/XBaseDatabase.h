#pragma once

#include <memory>
#include <vector>

#include "runtime/Database.h"

class XBaseDatabaseView;
class XBaseField;
class XBaseIndex;
class XBaseTable;
template <class T>
class List;

// A temporary file that a rebuild writes, and the file it is to replace.
struct XBaseTemporaryFile {
    String original;
    String temporary;
};

// The built-in database, "xbase3": one xBase table, its open indexes (the
// first is primary) and one view named after the alias. Paths are under the
// data root. Besides the statements it parses the field lists of
// OxCREATE, builds indexes, and rebuilds the table (Pack) or the indexes
// (Reindex) through temporary files renamed into place.
//
// Pack holds the whole table while it copies and renames, and marks the
// old files once the new ones are in place (see XBaseTable::MarkRebuilt):
// another process reads on in the old files, its appends go to the new ones,
// and its rewrites are refused. Reindex takes no lock on the table: another
// process keeps working on the old index files until it opens them again.
class XBaseDatabase : public Database {
  public:
    XBaseDatabase(OxinApplication* application, OxinVM* vm, const StringTuple& alias);
    ~XBaseDatabase() override;

    // Makes this the machine's built-in database kind; once, at start.
    static void Register();

    int Open(const StringTuple& path, const StringTuple& alias, const StringTuple& connection1,
             const StringTuple& connection2, const StringTuple& connection3) override;
    int Close() override;
    int Create(const StringTuple& path, const StringTuple& alias,
               const StringTuple& field_list) override;
    int OpenIndexes(OxinVM* vm, const StringTuple& indexes) override;
    int SetPrimaryIndex(const StringTuple& index) override;
    int CreateIndex(OxinVM* vm, const StringTuple& file, const StringTuple& expression,
                    const StringTuple& flags) override;
    int Pack() override;
    int Reindex() override;
    // Views, queries and commands are not part of xBase tables: these fail.
    int OpenView(const StringTuple& view, const StringTuple& query, VariableList* list,
                 int count) override;
    int CloseView(const StringTuple& view) override;
    int RunQuery(const StringTuple& query, VariableList* list, int count) override;
    int Command(const StringTuple& command, const StringTuple& arguments) override;
    // Changes are written at once: these do nothing.
    int Commit() override { return 1; }
    int Rollback() override { return 1; }
    int Transaction() override { return 1; }

    // Parses the field list of an OxCREATE ("name CHAR(30), n NUMBER(6.2)")
    // into fields (of no table); false with the text in error().
    bool ParseFieldList(const char* text, int length, List<XBaseField>& fields);
    // The flags of an index from its comma-separated words; false for an
    // empty word.
    bool ParseIndexFlags(const char* text, int length, unsigned int* flags);

    XBaseTable* table() const { return table_.get(); }
    XBaseDatabaseView* view() const { return view_; }

  private:
    struct Rebuild;

    int Fail(const String& text);
    void MakeView();
    void DropViews();
    XBaseIndex* FindIndex(const char* name, int length);
    // Makes an empty index for each open one in a temporary file.
    bool StartIndexes(Rebuild& rebuild);
    // Inserts the current record's key, under number record, into each new
    // index.
    bool InsertKeys(Rebuild& rebuild, unsigned int record);
    // Pack: copies the records not deleted into the new table and indexes.
    bool CopyRecords(Rebuild& rebuild);
    // Reindex: inserts every record's keys into the new indexes.
    bool IndexRecords(Rebuild& rebuild);
    // Closes the new files and the old ones, renames the new into place and
    // opens them; with a new table too when pack is set.
    bool Install(Rebuild& rebuild, bool pack);
    // Deletes what a failed rebuild made, and returns the view to the old
    // table.
    int Abandon(Rebuild& rebuild);

    std::unique_ptr<XBaseTable> table_;
    String datapath_;
    std::vector<std::unique_ptr<XBaseIndex>> indexes_;
    XBaseDatabaseView* view_ = nullptr;  // owned by the database's views
};
