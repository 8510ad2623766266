// What a view of the PostgreSQL library shares, whether it walks a table or
// the rows of a query: the columns as the script's field variables, the
// values assigned to them, the specials eof and recno, and the moves that a
// kind of view may leave unsupported.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "extensions/oxin_extension.h"
#include "extensions/postgresql/PostgresConnection.h"

namespace oxin_postgresql {

// The field numbers of the two specials; columns count from 0.
constexpr intptr_t kEofField = -1;
constexpr intptr_t kRecnoField = -2;

class PostgresView {
  public:
    PostgresView(PostgresConnection* connection, std::vector<Column> columns)
        : connection_(connection), columns_(std::move(columns)), assigned_(columns_.size()) {}
    virtual ~PostgresView() = default;
    PostgresView(const PostgresView&) = delete;
    PostgresView& operator=(const PostgresView&) = delete;

    // Gives the view its engine object and adds a field variable for every
    // column, and eof and recno unless a column has that name.
    void Attach(ExternalDatabaseView* handle);

    // The moves: each returns false with error() set on a failure; running
    // past the rows is no failure but sets eof.
    virtual bool Skip(int count) = 0;
    virtual bool Go(long position) = 0;  // a record number, -1 top, -2 bottom
    virtual bool Find(std::string_view key, bool whole);
    virtual bool Filter(std::string_view condition);
    virtual bool Add();
    virtual bool Update();
    virtual bool Delete();

    // The fields. Reads fail where the value has no such form, and the
    // engine then derives it from another.
    bool GetInteger(intptr_t field, int* value);
    bool GetDouble(intptr_t field, double* value);
    // The text stays valid until the next read of this view.
    bool GetString(intptr_t field, const char** text, int* length);
    // Keeps a value assigned to a column for the next Add or Update. The
    // engine hands every value over as text, which loses nothing.
    bool Assign(intptr_t field, std::string_view text);

    const std::string& error() const { return error_; }

  protected:
    // The row that the fields read, or null when there is none.
    virtual const Row* current() = 0;
    // The value of recno for the current row.
    virtual std::string RecordNumber() = 0;

    // After a move: the fields read the new row, and assignments are gone.
    void Refresh();
    // A move that ran past the rows: eof is set, the view stays where it
    // was, and the fields are read again, eof among them. True.
    bool PastTheEnd();
    bool Fail(std::string text);
    bool IsColumn(intptr_t field) const {
        return field >= 0 && field < static_cast<intptr_t>(columns_.size());
    }

    PostgresConnection* connection_;
    ExternalDatabaseView* handle_ = nullptr;
    std::vector<Column> columns_;
    // Per column: nullopt when nothing was assigned, else the value to write.
    std::vector<std::optional<Value>> assigned_;
    bool eof_ = false;

  private:
    std::string error_;
    std::string text_;  // the last text handed to the engine
};

// The text that the script reads for a value of column: NULL as "",
// booleans as 1 and 0, char(n) without its padding, bytea as its bytes.
std::string ScriptText(const Column& column, const Value& value);

}  // namespace oxin_postgresql
