// The read-only view of a query's rows. Rows stream from the server as the
// script moves forward, so that a walk over a million rows holds one at a
// time; a move back or to the top runs the query again. When another
// statement needs the connection before the last row is read, the rest of
// the rows are read into memory first.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "extensions/postgresql/PostgresView.h"

namespace oxin_postgresql {

class PostgresQueryView : public PostgresView, public RowStream {
  public:
    // Runs query with parameters and stands on its first row; null with the
    // text in *error when the server refuses it.
    static std::unique_ptr<PostgresQueryView> Open(PostgresConnection* connection,
                                                   std::string query, Parameters parameters,
                                                   std::string* error);
    ~PostgresQueryView() override;

    bool Skip(int count) override;
    bool Go(long position) override;
    void Park() override;

  protected:
    const Row* current() override { return has_row_ ? &row_ : nullptr; }
    std::string RecordNumber() override { return std::to_string(position_); }

  private:
    enum class Read { kRow, kEnd, kFailed };

    PostgresQueryView(PostgresConnection* connection, std::string query, Parameters parameters)
        : PostgresView(connection, {}), query_(std::move(query)),
          parameters_(std::move(parameters)) {}

    // Sends the query again, before the first row.
    bool Restart();
    Read ReadRow(Row* row);
    // Reads forward until the row at position (from 1), or the end.
    bool ReadTo(long position);

    std::string query_;
    Parameters parameters_;
    bool streaming_ = false;    // rows may still come from the connection
    std::deque<Row> parked_;    // rows read ahead when the connection was needed
    std::string park_error_;    // a failure met while reading ahead
    Row row_;
    bool has_row_ = false;
    long position_ = 0;         // the current row's number from 1, 0 before the first
};

}  // namespace oxin_postgresql
