// liboxinpostgresql.so: the database type "postgresql". The engine calls
// the functions of the table below with its own objects; each finds the
// library's object behind them and hands the work over.
#include <pthread.h>

#include <string_view>

#include "extensions/oxin_extension.h"
#include "extensions/postgresql/PostgresDatabase.h"

using oxin_postgresql::PostgresConnection;
using oxin_postgresql::PostgresDatabase;
using oxin_postgresql::PostgresView;

namespace {

std::string_view Text(const char* text, int length) {
    return text && length > 0 ? std::string_view(text, length) : std::string_view();
}

PostgresDatabase* DatabaseOf(ExternalDatabase* db) {
    return static_cast<PostgresDatabase*>(oxDatabase_data(db));
}

PostgresView* ViewOf(ExternalDatabaseView* view) {
    return static_cast<PostgresView*>(oxDatabaseView_data(view));
}

PostgresView* ViewOf(ExternalDatabaseVariable* variable) {
    return ViewOf(oxDatabaseVariable_DatabaseView(variable));
}

intptr_t FieldOf(ExternalDatabaseVariable* variable) {
    return reinterpret_cast<intptr_t>(oxDatabaseVariable_data(variable));
}

// Every database gets its state before anything can fail, so that its
// error text has a home.
PostgresDatabase* NewDatabase(ExternalDatabase* db) {
    auto* database = new PostgresDatabase(db);
    oxDatabase_SetData(db, database);
    return database;
}

int Create(ExternalDatabase* db, const char* path, int path_length, const char* alias,
           int alias_length, const char* fields, int fields_length) {
    return NewDatabase(db)->Create(Text(path, path_length), Text(alias, alias_length),
                                   Text(fields, fields_length));
}

int Open(ExternalDatabase* db, const char* path, int path_length, const char* alias,
         int alias_length, const char* c1, int c1_length, const char*, int, const char*, int) {
    return NewDatabase(db)->Open(Text(path, path_length), Text(alias, alias_length),
                                 Text(c1, c1_length));
}

int Close(ExternalDatabase*) { return 1; }

int OpenView(ExternalDatabase* db, const char* name, int name_length, const char* query,
             int query_length, VariableList* variables, int) {
    return DatabaseOf(db)->OpenView(Text(name, name_length), Text(query, query_length),
                                    variables);
}

int RunQuery(ExternalDatabase* db, const char* query, int length, VariableList* variables,
             int count) {
    return DatabaseOf(db)->RunQuery(Text(query, length), variables, count);
}

int SetPrimaryIndex(ExternalDatabase* db, const char* index, int length) {
    return DatabaseOf(db)->SetPrimaryIndex(Text(index, length));
}

int CreateIndex(ExternalDatabase* db, const char* file, int file_length, const char* expression,
                int expression_length, const char* flags, int flags_length) {
    return DatabaseOf(db)->CreateIndex(Text(file, file_length),
                                       Text(expression, expression_length),
                                       Text(flags, flags_length));
}

int OpenIndexes(ExternalDatabase* db, const char* indexes, int length) {
    return DatabaseOf(db)->OpenIndexes(Text(indexes, length));
}

const char* DatabaseError(ExternalDatabase* db) {
    PostgresDatabase* database = DatabaseOf(db);
    return database ? database->error() : "";
}

int ViewClose(ExternalDatabaseView* view) {
    DatabaseOf(oxDatabaseView_Database(view))->CloseView(ViewOf(view));
    oxDatabaseView_SetData(view, nullptr);
    return 1;
}

int ViewSkip(ExternalDatabaseView* view, int count) { return ViewOf(view)->Skip(count); }
int ViewGo(ExternalDatabaseView* view, long position) { return ViewOf(view)->Go(position); }
int ViewAdd(ExternalDatabaseView* view) { return ViewOf(view)->Add(); }
int ViewDelete(ExternalDatabaseView* view) { return ViewOf(view)->Delete(); }
int ViewUpdate(ExternalDatabaseView* view) { return ViewOf(view)->Update(); }

int ViewFilter(ExternalDatabaseView* view, const char* expression, int length) {
    return ViewOf(view)->Filter(Text(expression, length));
}

int ViewFind(ExternalDatabaseView* view, const char* key, int length, int whole) {
    return ViewOf(view)->Find(Text(key, length), whole != 0);
}

const char* ViewError(ExternalDatabaseView* view) {
    PostgresView* held = ViewOf(view);
    return held ? held->error().c_str() : "";
}

int GetInteger(ExternalDatabaseVariable* variable, int* value) {
    return ViewOf(variable)->GetInteger(FieldOf(variable), value);
}

int GetDouble(ExternalDatabaseVariable* variable, double* value) {
    return ViewOf(variable)->GetDouble(FieldOf(variable), value);
}

int GetString(ExternalDatabaseVariable* variable, char** text, int* length, int* owned) {
    const char* value;
    if (!ViewOf(variable)->GetString(FieldOf(variable), &value, length)) return 0;
    *text = const_cast<char*>(value);  // the engine copies it, as owned is 0
    *owned = 0;
    return 1;
}

int SetString(ExternalDatabaseVariable* variable, const char* text, int length) {
    return ViewOf(variable)->Assign(FieldOf(variable), Text(text, length));
}

int Commit(ExternalDatabase* db) { return DatabaseOf(db)->Commit(); }
int Rollback(ExternalDatabase* db) { return DatabaseOf(db)->Rollback(); }
int Transaction(ExternalDatabase* db) { return DatabaseOf(db)->Transaction(); }

int Command(ExternalDatabase* db, const char* sql, int sql_length, const char* arguments,
            int arguments_length) {
    return DatabaseOf(db)->Command(Text(sql, sql_length), Text(arguments, arguments_length));
}

void Release(ExternalDatabase* db) { delete DatabaseOf(db); }

const _OX_EL_Database kTable = {
    6,           Create,     Open,       Close,      OpenView,    RunQuery,
    nullptr,  // Pack
    SetPrimaryIndex, CreateIndex, OpenIndexes,
    nullptr,  // Reindex
    DatabaseError, ViewClose, ViewSkip, ViewGo, ViewAdd, ViewDelete,
    nullptr,  // UnDelete
    ViewUpdate, ViewFilter, ViewFind,
    nullptr,  // RevealStructure_Table
    nullptr,  // RevealStructure_Aggregate
    ViewError, GetInteger, GetDouble, GetString,
    nullptr,  // Set_Integer: values come as text, as no preferred type is given
    nullptr,  // Set_Double
    SetString,
    nullptr,  // Variable_Release
    Commit, Rollback,
    nullptr,  // PreferredType: text
    Transaction, Command, Release,
};

// A task that the engine forks must not close its parent's connections.
__attribute__((constructor)) void ForgetConnectionsInForkedChildren() {
    pthread_atfork(nullptr, nullptr, [] { PostgresConnection::ForgetAllAfterFork(); });
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const _OX_EL_Database* oxin_database_library(
    void) {
    return &kTable;
}
