#pragma once

#include "extensions/oxin_extension.h"
#include "runtime/Database.h"

class ExternalDatabaseView;

// A database whose type a shared library supplies: every operation goes to
// the library's table of functions, and the library adds the views and
// their fields through the exported oxDatabase functions. A null function
// makes its statement an unsupported operation; a failed one gives the
// library's error text.
class ExternalDatabase : public Database {
  public:
    ExternalDatabase(OxinApplication* application, OxinVM* vm, const _OX_EL_Database* descriptor,
                     const StringTuple& alias);
    // Deletes the views, then lets the library release its data.
    ~ExternalDatabase() override;

    // Makes this class the maker of the machine's library databases.
    static void Register();

    int Open(const StringTuple& path, const StringTuple& alias, const StringTuple& connection1,
             const StringTuple& connection2, const StringTuple& connection3) override;
    // Closes every view, then the database.
    int Close() override;
    int Create(const StringTuple& path, const StringTuple& alias,
               const StringTuple& field_list) override;
    int OpenIndexes(OxinVM* vm, const StringTuple& indexes) override;
    int SetPrimaryIndex(const StringTuple& index) override;
    int CreateIndex(OxinVM* vm, const StringTuple& file, const StringTuple& expression,
                    const StringTuple& flags) override;
    int Pack() override;
    int Reindex() override;
    int OpenView(const StringTuple& view, const StringTuple& query, VariableList* list,
                 int count) override;
    // Closes the view and forgets it even when the library fails; the
    // first remaining view becomes primary if it was.
    int CloseView(const StringTuple& view) override;
    int RunQuery(const StringTuple& query, VariableList* list, int count) override;
    // Commit, Rollback and Transaction succeed where the library has none.
    int Commit() override;
    int Rollback() override;
    int Transaction() override;
    int Command(const StringTuple& command, const StringTuple& arguments) override;
    // Moves view to the head of the list and makes it primary.
    void SetPrimaryView(DatabaseView* view) override;

    // A new view of the library's, made primary; null when the name is
    // taken in this database.
    ExternalDatabaseView* Add_View(const char* name, int length, void* data);
    // Releases the library's old data (version 6) and keeps data.
    void SetData(void* data);
    void* data() const { return data_; }
    OxinVM* program() const { return vm_; }
    int version() const { return static_cast<int>(descriptor_->version); }

  private:
    // The result of a library call: success, or 0 with the library's text.
    int Result(int succeeded);
    int Unsupported(const char* text);
    void ReleaseData();

    const _OX_EL_Database* descriptor_;
    void* data_ = nullptr;
};
