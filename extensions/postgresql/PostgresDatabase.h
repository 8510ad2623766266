// A database of the PostgreSQL library: the connection it works on, the
// view of the table that OxOPEN named, if any, and the views of queries.
// It carries out the database statements for the library's table of
// functions.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/oxin_extension.h"
#include "extensions/postgresql/PostgresTableView.h"

namespace oxin_postgresql {

class PostgresDatabase {
  public:
    explicit PostgresDatabase(ExternalDatabase* handle) : handle_(handle) {}

    // Connects (c1, else the configured connection string) and, for a
    // non-empty path, opens the view of that table under the view name.
    bool Open(std::string_view path, std::string_view view_name, std::string_view conninfo);
    // Replaces the table that path names with a new one of the fields.
    bool Create(std::string_view path, std::string_view view_name, std::string_view fields);

    bool OpenView(std::string_view name, std::string_view query, VariableList* variables);
    bool RunQuery(std::string_view query, VariableList* variables, int count);
    bool Command(std::string_view sql, std::string_view arguments);
    bool Transaction() { return Report(connection_->Begin()); }
    bool Commit() { return Report(connection_->Commit()); }
    bool Rollback() { return Report(connection_->Rollback()); }

    bool SetPrimaryIndex(std::string_view index);
    bool CreateIndex(std::string_view file, std::string_view expression, std::string_view flags);
    bool OpenIndexes(std::string_view indexes);

    // Forgets a view that the engine closes.
    void CloseView(PostgresView* view);

    const char* error() const { return error_.c_str(); }

  private:
    bool Connect(std::string_view conninfo);
    std::string ConfiguredConnection() const;
    bool AddView(std::string_view name, std::unique_ptr<PostgresView> view);
    bool TableViewNeeded(const char* statement);
    bool Report(bool done);
    bool Fail(std::string text);
    Parameters Values(VariableList* variables, int count);

    ExternalDatabase* handle_;
    PostgresConnection* connection_ = nullptr;
    PostgresTableView* table_view_ = nullptr;
    std::vector<std::unique_ptr<PostgresView>> views_;
    std::string error_;
};

}  // namespace oxin_postgresql
