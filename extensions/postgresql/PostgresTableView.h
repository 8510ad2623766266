// The view of one table, in the order of its key: an index's expression
// when the script named one, else the primary key. It reads the table in
// blocks of rows that follow one another by key, so that it never holds
// more than a block, never keeps a statement open between the script's
// statements, and writes rows back by primary key.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/postgresql/PostgresView.h"

namespace oxin_postgresql {

class PostgresTableView : public PostgresView {
  public:
    // The view of table, named as a script would write it in SQL; null with
    // the text in *error when the table is missing or has no primary key.
    static std::unique_ptr<PostgresTableView> Open(PostgresConnection* connection,
                                                   std::string_view table, std::string* error);

    bool Skip(int count) override;
    bool Go(long position) override;
    bool Find(std::string_view key, bool whole) override;
    bool Filter(std::string_view condition) override;
    bool Add() override;
    bool Update() override;
    bool Delete() override;

    // Orders the view and OxFIND by an index of the table (its name, or an
    // xBase-like file name "names.qtx" for the index "<table>_names") or a
    // column; "" returns to the primary key. The view stays on its row.
    bool SetKey(std::string_view index);
    // Makes the index "<table>_<file's base name>" on expression, unless it
    // exists, and orders the view by it.
    bool MakeIndex(std::string_view file, std::string_view expression, bool unique);

  protected:
    const Row* current() override;
    std::string RecordNumber() override;

  private:
    enum class Step { kMoved, kEnd, kFailed };

    PostgresTableView(PostgresConnection* connection, std::vector<Column> columns)
        : PostgresView(connection, std::move(columns)) {}

    // Up to a block of rows that match the filter and extra (with $1... in
    // parameters), ascending by key, or descending when backward, in which
    // case they are turned to ascending order. False on a failure.
    bool Fetch(const std::string& extra, const Parameters& parameters, bool backward,
               std::vector<Row>* rows);
    // The rows after (or, backward, before) row in key order.
    bool FetchBeyond(const Row& row, bool backward, std::vector<Row>* rows);
    bool FetchRow(const Row& row, std::vector<Row>* rows);
    Step StepOne(bool backward);
    bool EnsureLoaded();
    void Stand(std::vector<Row> rows, size_t index);
    bool StandOnWritten(Result result);
    bool StandOn(Result result);

    std::string SelectList() const;
    std::string OrderBy(bool backward) const;
    std::string KeyTuple() const;
    Parameters KeyValues(const Row& row) const;
    std::string PrimaryKeyMatch(int first_parameter) const;
    Parameters PrimaryKeyValues(const Row& row) const;
    bool LookUpKey(std::string_view index, std::string* expression);
    // Record numbers are the values of a primary key of one integer column.
    bool HasRecordNumbers() const {
        return primary_key_.size() == 1 && columns_[primary_key_[0]].IsInteger();
    }

    std::string table_;     // quoted, qualified as needed, for SQL text
    std::string relname_;   // the table's own name
    std::vector<int> primary_key_;  // the columns of the primary key, in order
    std::vector<std::string> quoted_key_;  // their names as SQL writes them
    std::string key_;       // the SQL expression of the key, "" for the primary key
    std::string filter_;    // the SQL condition of OxFILTER, "" for none

    std::vector<Row> block_;  // ascending; each row ends with its key's value when key_ is set
    int index_ = -1;          // the current row in block_, -1 for none
    bool loaded_ = false;
};

}  // namespace oxin_postgresql
