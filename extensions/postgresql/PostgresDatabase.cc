#include "extensions/postgresql/PostgresDatabase.h"

#include <strings.h>

#include <algorithm>

#include "extensions/postgresql/PostgresQueryView.h"
#include "extensions/postgresql/SqlText.h"

namespace oxin_postgresql {
namespace {

const char kConnectionVariable[] = "postgresql_connection";

std::string ValueText(Variable* variable) {
    int length = 0;
    const char* text = oxVariable_Value(variable, &length);
    return text ? std::string(text, length) : std::string();
}

}  // namespace

bool PostgresDatabase::Report(bool done) {
    if (!done) error_ = connection_->error();
    return done;
}

bool PostgresDatabase::Fail(std::string text) {
    error_ = std::move(text);
    return false;
}

std::string PostgresDatabase::ConfiguredConnection() const {
    VariableHash* system = oxProgram_System_VariableHash(oxDatabase_Program(handle_));
    Variable* variable = system ? oxVariableHash_Find(system, kConnectionVariable,
                                                      sizeof kConnectionVariable - 1)
                                : nullptr;
    return variable ? ValueText(variable) : std::string();
}

bool PostgresDatabase::Connect(std::string_view conninfo) {
    std::string chosen = conninfo.empty() ? ConfiguredConnection() : std::string(conninfo);
    connection_ = PostgresConnection::For(chosen, &error_);
    return connection_ != nullptr;
}

bool PostgresDatabase::AddView(std::string_view name, std::unique_ptr<PostgresView> view) {
    ExternalDatabaseView* handle =
        oxDatabase_AddView(handle_, name.data(), static_cast<int>(name.size()), view.get());
    if (!handle)
        return Fail("The database has a view named '" + std::string(name) + "' already");
    view->Attach(handle);
    views_.push_back(std::move(view));
    return true;
}

bool PostgresDatabase::Open(std::string_view path, std::string_view view_name,
                            std::string_view conninfo) {
    if (!Connect(conninfo)) return false;
    std::string table = TableName(path);
    if (table.empty()) return true;
    std::unique_ptr<PostgresTableView> view =
        PostgresTableView::Open(connection_, table, &error_);
    if (!view) return false;
    table_view_ = view.get();
    return AddView(view_name.empty() ? std::string_view(table) : view_name, std::move(view));
}

// As OxCREATE of an xBase table makes a new file in the old one's place,
// an existing table of the name is dropped.
bool PostgresDatabase::Create(std::string_view path, std::string_view view_name,
                              std::string_view fields) {
    if (!Connect("")) return false;
    auto quote = [this](std::string_view name) { return connection_->Identifier(name); };
    std::string table, columns;
    if (!QuotedTableName(TableName(path), quote, &table, &error_) ||
        !ColumnDefinitions(fields, quote, &columns, &error_))
        return false;
    if (!connection_->Execute("DROP TABLE IF EXISTS " + table) ||
        !connection_->Execute("CREATE TABLE " + table + " (recno bigserial PRIMARY KEY" +
                              columns + ")"))
        return Report(false);
    return Open(path, view_name, "");
}

Parameters PostgresDatabase::Values(VariableList* variables, int count) {
    Parameters values;
    Variable* variable = count > 0 ? oxVariableList_First(variables) : nullptr;
    for (int i = 0; i < count && variable; i++, variable = oxVariableList_Next(variables))
        values.push_back({ValueText(variable), false});
    return values;
}

bool PostgresDatabase::OpenView(std::string_view name, std::string_view query,
                                VariableList* variables) {
    int count = variables ? oxVariableList_Entries(variables) : 0;
    std::unique_ptr<PostgresView> view =
        PostgresQueryView::Open(connection_, std::string(query), Values(variables, count), &error_);
    return view && AddView(name, std::move(view));
}

// The first variables give the query's parameters; those after them take
// the columns of the first row.
bool PostgresDatabase::RunQuery(std::string_view query, VariableList* variables, int count) {
    int inputs = std::min(HighestPlaceholder(query), count);
    Result result = connection_->Execute(query, Values(variables, inputs));
    if (!result) return Report(false);
    std::vector<Column> columns = Column::From(result.get());
    Row first = PQntuples(result.get()) > 0 ? Row::From(result.get(), 0) : Row();
    Variable* variable = oxVariableList_First(variables);
    for (int i = 0; i < inputs && variable; i++) variable = oxVariableList_Next(variables);
    for (int column = 0; variable; column++, variable = oxVariableList_Next(variables)) {
        bool known = column < static_cast<int>(first.values.size());
        std::string text = known ? ScriptText(columns[column], first.values[column]) : "";
        oxVariable_SetValue(variable, text.data(), static_cast<int>(text.size()));
    }
    return true;
}

bool PostgresDatabase::Command(std::string_view sql, std::string_view arguments) {
    OxinVM* vm = oxDatabase_Program(handle_);
    Parameters values;
    for (const std::string& name : SplitNames(arguments)) {
        Variable* variable = oxProgram_Lookup_Variable(vm, name.data(), static_cast<int>(name.size()));
        if (!variable) return Fail("There is no variable named '" + name + "'");
        values.push_back({ValueText(variable), false});
    }
    return Report(connection_->Execute(sql, values) != nullptr);
}

bool PostgresDatabase::TableViewNeeded(const char* statement) {
    if (table_view_) return true;
    return Fail(std::string(statement) + " needs a table: open one with OxOPEN");
}

bool PostgresDatabase::SetPrimaryIndex(std::string_view index) {
    if (!TableViewNeeded("OxPRIMARY")) return false;
    return table_view_->SetKey(index) || Fail(table_view_->error());
}

bool PostgresDatabase::CreateIndex(std::string_view file, std::string_view expression,
                                   std::string_view flags) {
    if (!TableViewNeeded("OxMAKEINDEX")) return false;
    bool unique = false;
    for (const std::string& flag : SplitNames(flags)) unique |= SameName(flag, "UNIQUE");
    return table_view_->MakeIndex(file, expression, unique) || Fail(table_view_->error());
}

// The first index of the list orders the view; the others are checked.
bool PostgresDatabase::OpenIndexes(std::string_view indexes) {
    if (!TableViewNeeded("OxOPEN with INDEXES")) return false;
    std::vector<std::string> names = SplitNames(indexes);
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        if (!table_view_->SetKey(*name)) return Fail(table_view_->error());
    return true;
}

void PostgresDatabase::CloseView(PostgresView* view) {
    if (view == table_view_) table_view_ = nullptr;
    views_.erase(std::remove_if(views_.begin(), views_.end(),
                                [view](const auto& held) { return held.get() == view; }),
                 views_.end());
}

}  // namespace oxin_postgresql
