#include "extensions/postgresql/PostgresTableView.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "extensions/postgresql/SqlText.h"

namespace oxin_postgresql {
namespace {

constexpr int kBlockRows = 100;

// The table's name as SQL writes it, its own name, and per column its name,
// type, modifier and place in the primary key.
const char kDescribeTable[] =
    "SELECT c.oid::regclass::text, c.relname, a.attname, a.atttypid, a.atttypmod, "
    "array_position(i.indkey::int2[], a.attnum) - array_lower(i.indkey::int2[], 1) + 1 "
    "FROM pg_class c "
    "JOIN pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped "
    "LEFT JOIN pg_index i ON i.indrelid = c.oid AND i.indisprimary "
    "WHERE c.oid = $1::regclass ORDER BY a.attnum";

// The expression of the first column of an index of the table, found by
// its name or by the name made from a file name.
const char kIndexExpression[] =
    "SELECT pg_get_indexdef(i.indexrelid, 1, true) FROM pg_index i "
    "JOIN pg_class c ON c.oid = i.indexrelid "
    "WHERE i.indrelid = $1::regclass AND lower(c.relname) IN (lower($2), lower($3)) "
    "ORDER BY lower(c.relname) = lower($2) DESC LIMIT 1";

Parameters Texts(std::initializer_list<std::string> texts) {
    Parameters parameters;
    for (const std::string& text : texts) parameters.push_back({text, false});
    return parameters;
}

std::string Placeholders(int first, int count) {
    std::string text;
    for (int i = 0; i < count; i++) text += (i ? ", $" : "$") + std::to_string(first + i);
    return text;
}

}  // namespace

std::unique_ptr<PostgresTableView> PostgresTableView::Open(PostgresConnection* connection,
                                                           std::string_view table,
                                                           std::string* error) {
    Result result = connection->Execute(kDescribeTable, Texts({std::string(table)}));
    if (!result) {
        *error = connection->error();
        return nullptr;
    }
    std::vector<Column> columns(PQntuples(result.get()));
    for (int row = 0; row < PQntuples(result.get()); row++) {
        Column& column = columns[row];
        column.name = PQgetvalue(result.get(), row, 2);
        column.type = static_cast<Oid>(strtoul(PQgetvalue(result.get(), row, 3), nullptr, 10));
        column.modifier = atoi(PQgetvalue(result.get(), row, 4));
        column.key_position = atoi(PQgetvalue(result.get(), row, 5));
    }
    std::unique_ptr<PostgresTableView> view(new PostgresTableView(connection, columns));
    for (size_t i = 0; i < columns.size(); i++)
        if (columns[i].key_position > 0) view->primary_key_.push_back(static_cast<int>(i));
    std::sort(view->primary_key_.begin(), view->primary_key_.end(), [&](int a, int b) {
        return columns[a].key_position < columns[b].key_position;
    });
    if (view->primary_key_.empty()) {
        *error = "Table '" + std::string(table) + "' has no primary key";
        return nullptr;
    }
    for (int column : view->primary_key_)
        view->quoted_key_.push_back(connection->Identifier(columns[column].name));
    view->table_ = PQgetvalue(result.get(), 0, 0);
    view->relname_ = PQgetvalue(result.get(), 0, 1);
    return view;
}

// ---- reading in blocks

std::string PostgresTableView::SelectList() const {
    return key_.empty() ? "t.*" : "t.*, (" + key_ + ")";
}

std::string PostgresTableView::OrderBy(bool backward) const {
    std::string text;
    const char* direction = backward ? " DESC" : "";
    if (!key_.empty()) text += "(" + key_ + ")" + direction;
    for (const std::string& name : quoted_key_)
        text += (text.empty() ? "" : ", ") + name + direction;
    return text;
}

std::string PostgresTableView::KeyTuple() const {
    std::string text = key_.empty() ? "" : "(" + key_ + ")";
    for (const std::string& name : quoted_key_) text += (text.empty() ? "" : ", ") + name;
    return "(" + text + ")";
}

Parameters PostgresTableView::KeyValues(const Row& row) const {
    Parameters values;
    if (!key_.empty()) values.push_back({row.values.back(), false});
    for (int column : primary_key_) values.push_back({row.values[column], false});
    return values;
}

std::string PostgresTableView::PrimaryKeyMatch(int first_parameter) const {
    std::string text;
    for (const std::string& name : quoted_key_)
        text += (text.empty() ? "" : " AND ") + name + " = $" + std::to_string(first_parameter++);
    return text;
}

Parameters PostgresTableView::PrimaryKeyValues(const Row& row) const {
    Parameters values;
    for (int column : primary_key_) values.push_back({row.values[column], false});
    return values;
}

bool PostgresTableView::Fetch(const std::string& extra, const Parameters& parameters,
                              bool backward, std::vector<Row>* rows) {
    std::string where;
    if (!filter_.empty()) where = "(" + filter_ + ")";
    if (!extra.empty()) where += (where.empty() ? "" : " AND ") + extra;
    std::string sql = "SELECT " + SelectList() + " FROM " + table_ + " AS t" +
                      (where.empty() ? "" : " WHERE " + where) + " ORDER BY " +
                      OrderBy(backward) + " LIMIT " + std::to_string(kBlockRows);
    Result result = connection_->Execute(sql, parameters);
    if (!result) return Fail(connection_->error());
    rows->clear();
    for (int row = 0; row < PQntuples(result.get()); row++)
        rows->push_back(Row::From(result.get(), row));
    if (backward) std::reverse(rows->begin(), rows->end());
    return true;
}

bool PostgresTableView::FetchBeyond(const Row& row, bool backward, std::vector<Row>* rows) {
    Parameters values = KeyValues(row);
    std::string extra = KeyTuple() + (backward ? " < (" : " > (") +
                        Placeholders(1, static_cast<int>(values.size())) + ")";
    return Fetch(extra, values, backward, rows);
}

bool PostgresTableView::FetchRow(const Row& row, std::vector<Row>* rows) {
    return Fetch(PrimaryKeyMatch(1), PrimaryKeyValues(row), false, rows);
}

void PostgresTableView::Stand(std::vector<Row> rows, size_t index) {
    block_ = std::move(rows);
    index_ = block_.empty() ? -1 : static_cast<int>(std::min(index, block_.size() - 1));
    eof_ = block_.empty();
    loaded_ = true;
}

// The first rows are read when the script first needs a row. A find or go
// that missed before then has set eof, which stays.
bool PostgresTableView::EnsureLoaded() {
    if (loaded_) return true;
    std::vector<Row> rows;
    if (!Fetch("", {}, false, &rows)) return false;
    bool missed = eof_;
    Stand(std::move(rows), 0);
    eof_ = eof_ || missed;
    return true;
}

const Row* PostgresTableView::current() {
    if (!EnsureLoaded()) return nullptr;
    return index_ >= 0 ? &block_[index_] : nullptr;
}

std::string PostgresTableView::RecordNumber() {
    const Row* row = current();
    if (!row || !HasRecordNumbers()) return "0";
    return row->values[primary_key_[0]].value_or("0");
}

// ---- moves

PostgresTableView::Step PostgresTableView::StepOne(bool backward) {
    if (!backward && index_ + 1 < static_cast<int>(block_.size())) {
        index_++;
        return Step::kMoved;
    }
    if (backward && index_ > 0) {
        index_--;
        return Step::kMoved;
    }
    std::vector<Row> rows;
    if (!FetchBeyond(block_[index_], backward, &rows)) return Step::kFailed;
    if (rows.empty()) return Step::kEnd;
    size_t at = backward ? rows.size() - 1 : 0;
    block_ = std::move(rows);
    index_ = static_cast<int>(at);
    return Step::kMoved;
}

// Past either end the view stays on the last row reached, with eof set.
bool PostgresTableView::Skip(int count) {
    if (!EnsureLoaded()) return false;
    if (index_ < 0) return PastTheEnd();
    for (long left = labs(static_cast<long>(count)); left > 0; left--) {
        Step step = StepOne(count < 0);
        if (step == Step::kFailed) return false;
        if (step == Step::kEnd) return PastTheEnd();
    }
    eof_ = false;
    Refresh();
    return true;
}

// A record number is the value of a primary key of one integer column.
bool PostgresTableView::Go(long position) {
    std::vector<Row> rows;
    if (position == -1 || position == -2) {
        if (!Fetch("", {}, position == -2, &rows)) return false;
        size_t last = rows.empty() ? 0 : rows.size() - 1;
        Stand(std::move(rows), position == -2 ? last : 0);
        Refresh();
        return true;
    }
    if (!HasRecordNumbers())
        return Fail("OxGO to a record number needs a primary key of one integer column");
    if (!Fetch(PrimaryKeyMatch(1), Texts({std::to_string(position)}), false, &rows))
        return false;
    if (rows.empty()) return PastTheEnd();
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

// Not found: eof is set and the view stays where it was.
bool PostgresTableView::Find(std::string_view key, bool whole) {
    if (key_.empty()) return Fail("Database has no open indexes");
    std::vector<Row> rows;
    std::string extra = "(" + key_ + (whole ? ") = $1" : ") >= $1");
    if (!Fetch(extra, Texts({std::string(key)}), false, &rows)) return false;
    const Value& found = rows.empty() ? Value() : rows.front().values.back();
    if (!found || (!whole && found->compare(0, key.size(), key) != 0)) return PastTheEnd();
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

// A condition that the server refuses leaves the old one in force.
bool PostgresTableView::Filter(std::string_view condition) {
    std::string old = filter_;
    filter_ = std::string(condition);
    std::vector<Row> rows;
    if (!Fetch("", {}, false, &rows)) {
        filter_ = old;
        return false;
    }
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

// ---- changes

bool PostgresTableView::StandOn(Result result) {
    if (!result) return Fail(connection_->error());
    if (PQntuples(result.get()) == 0)
        return Fail("The current row is no longer in table '" + relname_ + "'");
    std::vector<Row> rows;
    rows.push_back(Row::From(result.get(), 0));
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

bool PostgresTableView::Add() {
    oxDatabaseView_Commit(handle_);
    std::string names;
    Parameters values;
    for (size_t i = 0; i < columns_.size(); i++) {
        if (!assigned_[i]) continue;
        names += (names.empty() ? "" : ", ") + connection_->Identifier(columns_[i].name);
        values.push_back({*assigned_[i], columns_[i].type == kBytea});
    }
    std::string sql = "INSERT INTO " + table_ + " AS t " +
                      (values.empty() ? "DEFAULT VALUES"
                                      : "(" + names + ") VALUES (" +
                                            Placeholders(1, static_cast<int>(values.size())) +
                                            ")") +
                      " RETURNING " + SelectList();
    return StandOn(connection_->Execute(sql, values));
}

bool PostgresTableView::Update() {
    oxDatabaseView_Commit(handle_);
    const Row* row = current();
    if (!row) return Fail("There is no current row to update");
    std::string settings;
    Parameters values;
    for (size_t i = 0; i < columns_.size(); i++) {
        if (!assigned_[i]) continue;
        values.push_back({*assigned_[i], columns_[i].type == kBytea});
        settings += (settings.empty() ? "" : ", ") + connection_->Identifier(columns_[i].name) +
                    " = $" + std::to_string(values.size());
    }
    if (values.empty()) {
        Refresh();
        return true;
    }
    std::string sql = "UPDATE " + table_ + " AS t SET " + settings + " WHERE " +
                      PrimaryKeyMatch(static_cast<int>(values.size()) + 1) + " RETURNING " +
                      SelectList();
    for (Parameter& value : PrimaryKeyValues(*row)) values.push_back(std::move(value));
    Result result = connection_->Execute(sql, values);
    if (!result) return Fail(connection_->error());
    if (PQntuples(result.get()) == 0)
        return Fail("The current row is no longer in table '" + relname_ + "'");
    block_[index_] = Row::From(result.get(), 0);
    Refresh();
    return true;
}

// The view moves on to the row after the one deleted.
bool PostgresTableView::Delete() {
    const Row* row = current();
    if (!row) return Fail("There is no current row to delete");
    Row gone = *row;
    std::string sql = "DELETE FROM " + table_ + " AS t WHERE " + PrimaryKeyMatch(1);
    if (!connection_->Execute(sql, PrimaryKeyValues(gone))) return Fail(connection_->error());
    std::vector<Row> rows;
    if (!FetchBeyond(gone, false, &rows)) return false;
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

// ---- keys

// A column is taken as it is; any other name is looked up among the
// table's indexes.
bool PostgresTableView::LookUpKey(std::string_view index, std::string* expression) {
    for (const Column& column : columns_)
        if (SameName(column.name, index)) {
            *expression = connection_->Identifier(column.name);
            return true;
        }
    std::string made = relname_ + "_" + FileBaseName(index);
    Result result = connection_->Execute(kIndexExpression,
                                         Texts({table_, std::string(index), made}));
    if (!result) return Fail(connection_->error());
    if (PQntuples(result.get()) > 0) {
        *expression = PQgetvalue(result.get(), 0, 0);
        return true;
    }
    return Fail("Table '" + relname_ + "' has no index or column named '" + std::string(index) +
                "'");
}

bool PostgresTableView::SetKey(std::string_view index) {
    std::string expression;
    if (!index.empty() && !LookUpKey(index, &expression)) return false;
    key_ = expression;
    if (!loaded_ || index_ < 0) return true;
    // The row read again carries its value of the new key.
    Row standing = block_[index_];
    std::vector<Row> rows;
    if (!FetchRow(standing, &rows)) return false;
    Stand(std::move(rows), 0);
    Refresh();
    return true;
}

bool PostgresTableView::MakeIndex(std::string_view file, std::string_view expression,
                                  bool unique) {
    std::string base = FileBaseName(file);
    if (base.empty()) return Fail("OxMAKEINDEX needs the name of the index");
    std::string name = relname_ + "_" + base;
    std::string sql = std::string("CREATE ") + (unique ? "UNIQUE " : "") +
                      "INDEX IF NOT EXISTS " + connection_->Identifier(name) + " ON " + table_ +
                      " ((" + std::string(expression) + "))";
    if (!connection_->Execute(sql)) return Fail(connection_->error());
    return SetKey(name);
}

}  // namespace oxin_postgresql
