// The database statements: resolving a statement's database and view,
// opening and closing databases, and handing each statement to the
// database's or view's operation. Failures reach the script as run-time
// errors of the statement's tag.

#include <strings.h>

#include "application/OxinApplication.h"
#include "base/StringClass.h"
#include "extensions/ExternalDatabaseLibraryManager.h"
#include "runtime/BuiltinDatabase.h"
#include "runtime/Database.h"
#include "runtime/DatabaseView.h"
#include "runtime/OpenDatabases.h"
#include "runtime/OxinVM.h"
#include "runtime/OxinVM_Stack.h"
#include "variables/NULLVariable.h"
#include "variables/Variable.h"
#include "variables/VariableHash.h"
#include "variables/VariableList.h"

namespace {

// The tags of the database statements.
enum DatabaseTag {
    kTagOpen = 28,
    kTagClose = 29,
    kTagSkip = 30,
    kTagGo = 31,
    kTagPrimary = 32,
    kTagFind = 33,
    kTagSetIndex = 34,
    kTagUpdate = 35,
    kTagDelete = 36,
    kTagUndelete = 37,
    kTagAdd = 38,
    kTagMakeIndex = 39,
    kTagPack = 40,
    kTagReindex = 41,
    kTagCreate = 42,
    kTagRevealStructure = 43,
    kTagOpenView = 44,
    kTagCloseView = 45,
    kTagQuery = 46,
    kTagFilter = 47,
    kTagCommit = 52,
    kTagRollback = 53,
    kTagTransaction = 55,
    kTagCommand = 58,
};

// A popped text as an operation's argument; the operation copies it.
StringTuple tuple(const PoppedText& text) {
    return StringTuple{text.text() ? text.text() : "", text.length(), text.size(), nullptr};
}

String quoted(const char* before, const String& alias, const char* after) {
    String text(before);
    text.cat(alias.c_str(), alias.length());
    text.cat(after);
    return text;
}

String no_view_named(const String& alias, const PoppedText& name) {
    String text = quoted("Database '", alias, "' has no view named '");
    text.cat(name.text(), name.length());
    text.cat("'");
    return text;
}

bool is_xbase(const char* type, int length) {
    return length == 6 && strncasecmp(type, "xbase3", 6) == 0;
}

}  // namespace

OpenDatabases& OxinVM::databases() {
    return *databases_;
}

int OxinVM::GetDatabase(int tag, Database** result) {
    PoppedText alias = stack_->PopText();
    *result = nullptr;
    if (fatal_) return 0;
    if (alias.length() == 0) {
        *result = databases_->Primary();
        if (!*result) {
            RuntimeError(tag, String("There is no primary database, and no database was specified"));
            return 0;
        }
        return 1;
    }
    *result = databases_->Find(alias.text(), alias.length());
    if (*result) return 1;
    EncodedRuntimeError(tag, quoted("Database '", String(alias.text(), alias.length()),
                                    "' is not open"));
    return 0;
}

int OxinVM::GetDatabaseView(int tag, Database** database, DatabaseView** view) {
    PoppedText name = stack_->PopText();
    *view = nullptr;
    if (!GetDatabase(tag, database)) return 0;
    const String& alias = (*database)->name();
    if (name.length() == 0) {
        *view = (*database)->PrimaryView();
        if (*view) return 1;
        EncodedRuntimeError(tag, quoted("Database '", alias, "' has no primary view"));
        return 0;
    }
    *view = (*database)->View(name.text(), name.length());
    if (*view) return 1;
    EncodedRuntimeError(tag, no_view_named(alias, name));
    return 0;
}

void OxinVM::Database_Result(int tag, int succeeded, const String& error) {
    if (succeeded) {
        ClearErrorVariable(tag);
    } else {
        EncodedRuntimeError(tag, error);
    }
}

void OxinVM::with_database(int tag, int (Database::*operation)()) {
    Database* database;
    if (GetDatabase(tag, &database)) Database_Result(tag, (database->*operation)(), database->error());
}

void OxinVM::with_view(int tag, int (DatabaseView::*operation)()) {
    Database* database;
    DatabaseView* view;
    if (GetDatabaseView(tag, &database, &view))
        Database_Result(tag, (view->*operation)(), view->error());
}

// A new database under alias, of the kind that a type operand names: the
// built-in one for "xbase3" or for no type at all, else a library's. Null
// after the statement's error, also when the alias is taken.
std::unique_ptr<Database> OxinVM::New_Database(int tag, const PoppedText& type,
                                               const PoppedText& alias) {
    if (databases_->Find(alias.text(), alias.length())) {
        EncodedRuntimeError(tag, quoted("A database with the name '",
                                        String(alias.text(), alias.length()), "' is already open"));
        return nullptr;
    }
    String name(type.text() ? type.text() : "", type.length());
    if (name.length() == 0) {
        Variable* setting = nullptr;
        system_->LookupVariable_Fancy(&setting, "oxin_defaultdatabase", 20, 0);
        if (setting) name = setting->value();
        if (name.length() == 0) name = "xbase3";
    }
    if (!is_xbase(name.c_str(), name.length())) return New_ExternalDatabase(tag, name, alias);
    std::unique_ptr<Database> database = BuiltinDatabase::Make(application_, this, tuple(alias));
    if (!database)
        EncodedRuntimeError(tag, quoted("Database type '", name, "' is unsupported or not configured"));
    return database;
}

// A new database of a library's type, the library loaded at the first use
// of its type. Null after the statement's error.
std::unique_ptr<Database> OxinVM::New_ExternalDatabase(int tag, const String& type,
                                                       const PoppedText& alias) {
    ExternalDatabaseLibraryManager* manager = application_->databasemanager();
    const _OX_EL_Database* descriptor =
        manager ? manager->Lookup_DB(type.c_str(), type.length()) : nullptr;
    std::unique_ptr<Database> database;
    if (descriptor)
        database = BuiltinDatabase::MakeExternal(application_, this, descriptor, tuple(alias));
    if (!database)
        EncodedRuntimeError(tag, manager && !descriptor
                                     ? manager->error()
                                     : quoted("Database type '", type,
                                              "' is unsupported or not configured"));
    return database;
}

void OxinVM::dbopen(int with_third_connection) {
    PoppedText connection3;
    if (with_third_connection) connection3 = stack_->PopText();
    PoppedText connection2 = stack_->PopText();
    PoppedText connection1 = stack_->PopText();
    PoppedText type = stack_->PopText();
    PoppedText indexes = stack_->PopText_NS();
    PoppedText path = stack_->PopText_NS();
    PoppedText alias = stack_->PopText();
    if (fatal_) return;
    std::unique_ptr<Database> database = New_Database(kTagOpen, type, alias);
    if (!database) return;
    int opened = database->Open(tuple(path), tuple(alias), tuple(connection1),
                                tuple(connection2), tuple(connection3)) &&
                 (indexes.length() == 0 || database->OpenIndexes(this, tuple(indexes)));
    Keep_Database(kTagOpen, std::move(database), opened);
}

void OxinVM::Keep_Database(int tag, std::unique_ptr<Database> database, int ready) {
    if (!ready) {
        EncodedRuntimeError(tag, database->error());
        return;
    }
    ClearErrorVariable(tag);
    databases_->Add(std::move(database));
}

void OxinVM::dbcreate() {
    PoppedText field_list = stack_->PopText();
    PoppedText type = stack_->PopText();
    PoppedText path = stack_->PopText_NS();
    PoppedText alias = stack_->PopText();
    if (fatal_) return;
    std::unique_ptr<Database> database = New_Database(kTagCreate, type, alias);
    if (!database) return;
    int created = database->Create(tuple(path), tuple(alias), tuple(field_list));
    Keep_Database(kTagCreate, std::move(database), created);
}

void OxinVM::dbclose() {
    Database* database;
    if (!GetDatabase(kTagClose, &database)) return;
    std::unique_ptr<Database> closing = databases_->Remove(database);
    ClearErrorVariable(kTagClose);
    if (!closing->Close()) EncodedRuntimeError(kTagClose, closing->error());
}

void OxinVM::dbskip() {
    int count = stack_->PopI();
    Database* database;
    DatabaseView* view;
    if (!GetDatabaseView(kTagSkip, &database, &view)) return;
    int done = view->IsFiltered() ? view->Skip_Filter(count) : view->Skip_NoFilter(count);
    Database_Result(kTagSkip, done, view->error());
}

void OxinVM::dbgo() {
    int position = stack_->PopDBPosition();
    Database* database;
    DatabaseView* view;
    if (!GetDatabaseView(kTagGo, &database, &view)) return;
    int done = view->IsFiltered() ? view->Go_Filter(position) : view->Go_NoFilter(position);
    Database_Result(kTagGo, done, view->error());
}

void OxinVM::dbfind() {
    int whole = stack_->PopI();
    PoppedText key = stack_->PopText();
    Database* database;
    DatabaseView* view;
    if (!GetDatabaseView(kTagFind, &database, &view)) return;
    int done = view->IsFiltered() ? view->Find_Filter(tuple(key), whole)
                                  : view->Find_NoFilter(tuple(key), whole);
    Database_Result(kTagFind, done, view->error());
}

void OxinVM::dbfilter() {
    PoppedText expression = stack_->PopText();
    Database* database;
    DatabaseView* view;
    if (GetDatabaseView(kTagFilter, &database, &view))
        Database_Result(kTagFilter, view->Filter(this, tuple(expression)), view->error());
}

void OxinVM::dbprimary() {
    PoppedText index = stack_->PopText();
    PoppedText name = stack_->PopText();
    PoppedText alias = stack_->PopText();
    if (fatal_) return;
    String alias_text(alias.text() ? alias.text() : "", alias.length());
    Database* database = databases_->Find(alias.text(), alias.length());
    if (!database) {
        EncodedRuntimeError(kTagPrimary, quoted("Database '", alias_text, "' is not open"));
        return;
    }
    databases_->MoveToHead(database);
    if (name.length() > 0) {
        DatabaseView* view = database->View(name.text(), name.length());
        if (!view) {
            EncodedRuntimeError(kTagPrimary, no_view_named(alias_text, name));
            return;
        }
        database->SetPrimaryView(view);
    }
    if (index.length() > 0 && !database->SetPrimaryIndex(tuple(index))) {
        EncodedRuntimeError(kTagPrimary, database->error());
        return;
    }
    ClearErrorVariable(kTagPrimary);
}

void OxinVM::dbsetindex() {
    PoppedText indexes = stack_->PopText();
    Database* database;
    DatabaseView* view;
    if (GetDatabaseView(kTagSetIndex, &database, &view))
        Database_Result(kTagSetIndex, database->OpenIndexes(this, tuple(indexes)),
                        database->error());
}

void OxinVM::dbmakeindex() {
    PoppedText flags = stack_->PopText();
    PoppedText expression = stack_->PopText();
    PoppedText file = stack_->PopText_NS();
    Database* database;
    if (GetDatabase(kTagMakeIndex, &database))
        Database_Result(kTagMakeIndex,
                        database->CreateIndex(this, tuple(file), tuple(expression), tuple(flags)),
                        database->error());
}

void OxinVM::dbrevealstructuredb() {
    PoppedText path = stack_->PopText();
    Database* database;
    DatabaseView* view;
    if (GetDatabaseView(kTagRevealStructure, &database, &view))
        Database_Result(kTagRevealStructure, view->RevealStructure_Table(tuple(path)),
                        view->error());
}

void OxinVM::dbrevealstructureagg() {
    Variable* variable = nullptr;
    int deletable = 0;
    bool popped = stack_->PopV(&variable, &deletable);
    Database* database;
    DatabaseView* view;
    if (GetDatabaseView(kTagRevealStructure, &database, &view) && popped)
        Database_Result(kTagRevealStructure, view->RevealStructure_Aggregate(&variable),
                        view->error());
    if (popped && deletable) variable->DecRefCount();
}

void OxinVM::dbopenview() {
    PoppedText names = stack_->PopText();
    PoppedText query = stack_->PopText();
    PoppedText name = stack_->PopText();
    Database* database;
    if (!GetDatabase(kTagOpenView, &database)) return;
    if (database->View(name.text(), name.length())) {
        String text = quoted("Database '", database->name(), "' already has a view named '");
        text.cat(name.text(), name.length());
        text.cat("'");
        EncodedRuntimeError(kTagOpenView, text);
        return;
    }
    VariableList list;
    Lookup_VariableList(&list, names.text(), names.length());
    Database_Result(kTagOpenView,
                    database->OpenView(tuple(name), tuple(query), &list, list.Entries()),
                    database->error());
}

void OxinVM::dbcloseview() {
    PoppedText name = stack_->PopText();
    Database* database;
    if (GetDatabase(kTagCloseView, &database))
        Database_Result(kTagCloseView, database->CloseView(tuple(name)), database->error());
}

void OxinVM::dbquery() {
    PoppedText names = stack_->PopText();
    PoppedText query = stack_->PopText();
    Database* database;
    if (!GetDatabase(kTagQuery, &database)) return;
    VariableList list;
    Lookup_VariableList(&list, names.text(), names.length());
    Database_Result(kTagQuery, database->RunQuery(tuple(query), &list, list.Entries()),
                    database->error());
}

void OxinVM::dbcommand() {
    PoppedText arguments = stack_->PopText();
    PoppedText command = stack_->PopText();
    Database* database;
    if (GetDatabase(kTagCommand, &database))
        Database_Result(kTagCommand, database->Command(tuple(command), tuple(arguments)),
                        database->error());
}

void OxinVM::dbadd() { with_view(kTagAdd, &DatabaseView::Add); }
void OxinVM::dbupdate() { with_view(kTagUpdate, &DatabaseView::Update); }
void OxinVM::dbdelete() { with_view(kTagDelete, &DatabaseView::Delete); }
void OxinVM::dbundelete() { with_view(kTagUndelete, &DatabaseView::UnDelete); }
void OxinVM::dbpack() { with_database(kTagPack, &Database::Pack); }
void OxinVM::dbreindex() { with_database(kTagReindex, &Database::Reindex); }
void OxinVM::dbcommit() { with_database(kTagCommit, &Database::Commit); }
void OxinVM::dbrollback() { with_database(kTagRollback, &Database::Rollback); }
void OxinVM::dbtransaction() { with_database(kTagTransaction, &Database::Transaction); }

// Fields of database views, by view name and field name.
Variable* OxinVM::Field(const char* view_name, int view_length, const char* field, int field_length) {
    DatabaseView* view = databases_->View(view_name, view_length);
    return view ? view->FindField(field, field_length) : nullptr;
}

void OxinVM::pushd() {
    PoppedText field = stack_->PopText();
    PoppedText alias = stack_->PopText();
    if (fatal_) return;
    Variable* variable = Field(alias.text(), alias.length(), field.text(), field.length());
    stack_->PushV(variable ? variable : null_variable_, 1, 1);
}

void OxinVM::pushdc() {
    const char *alias, *field;
    int alias_length, field_length;
    if (!Dictionary_Text(dword1_, &alias, &alias_length) ||
        !Dictionary_Text(dword2_, &field, &field_length))
        return;
    Variable* variable = Field(alias, alias_length, field, field_length);
    stack_->PushV(variable ? variable : null_variable_, 1, 1);
}

void OxinVM::popd() {
    PoppedText field = stack_->PopText();
    PoppedText alias = stack_->PopText();
    if (fatal_) return;
    Variable* variable = Field(alias.text(), alias.length(), field.text(), field.length());
    if (variable) {
        stack_->PopV(variable);
    } else {
        stack_->Pop();
    }
}

void OxinVM::popdc() {
    const char *alias, *field;
    int alias_length, field_length;
    if (!Dictionary_Text(dword1_, &alias, &alias_length) ||
        !Dictionary_Text(dword2_, &field, &field_length))
        return;
    Variable* variable = nullptr;
    if (alias_length > 0) {
        variable = Field(alias, alias_length, field, field_length);
    } else if (Database* primary = databases_->Primary()) {
        if (DatabaseView* view = primary->PrimaryView())
            variable = view->FindField(field, field_length);
    }
    if (variable) {
        stack_->PopV(variable);
    } else {
        stack_->Pop();
    }
}
