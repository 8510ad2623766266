// One connection to a PostgreSQL server, shared by every database that a
// request opens with the same connection string. It is made at the first
// open that needs it and lasts until the request ends.
#pragma once

#include <string>
#include <string_view>

#include "extensions/postgresql/PostgresResult.h"

namespace oxin_postgresql {

// A reader of rows that still holds the connection: before any other
// statement goes out, it must take the rest of its rows off the wire.
class RowStream {
  public:
    virtual ~RowStream() = default;
    // Reads every row still coming into the stream's own memory.
    virtual void Park() = 0;
};

class PostgresConnection {
  public:
    // The connection for conninfo, made on first use; null with the text in
    // *error when it cannot be made.
    static PostgresConnection* For(const std::string& conninfo, std::string* error);
    // Drops every connection without a word to the server: a forked child
    // must not close the sockets that its parent goes on using.
    static void ForgetAllAfterFork();

    ~PostgresConnection();

    // Runs one statement with its parameters; null, with error() set, unless
    // the server answered with rows or a completed command.
    Result Execute(std::string_view sql, const Parameters& parameters = {});

    // Sends a query whose rows then come one by one to NextRow. The stream
    // holds the connection until it ends, stops or is parked.
    bool StartStream(RowStream* owner, std::string_view sql, const Parameters& parameters);
    // The next result of owner's stream: one row (PGRES_SINGLE_TUPLE), or
    // the end, which describes the columns and has no rows (PGRES_TUPLES_OK,
    // or PGRES_COMMAND_OK for a statement without rows). After the end the
    // connection is free. Null on a failure, with error() set.
    Result NextResult(RowStream* owner);
    // Ends owner's stream early, asking the server to stop sending.
    void StopStream(RowStream* owner);

    // BEGIN, COMMIT and ROLLBACK. While a transaction is open a lost
    // connection is not made anew: every statement fails until the script
    // ends the transaction, whose work the server has undone.
    bool Begin();
    bool Commit();
    bool Rollback();

    // Quotes an SQL identifier ("Name" for Name).
    std::string Identifier(std::string_view name);

    const std::string& error() const { return error_; }

  private:
    explicit PostgresConnection(PGconn* connection) : connection_(connection) {}
    bool Ready();
    void ParkStream();
    bool Send(std::string_view sql, const Parameters& parameters);
    void FailWith(const PGresult* result);
    void DrainResults();

    PGconn* connection_;
    RowStream* stream_ = nullptr;
    bool in_transaction_ = false;
    std::string error_;
};

// "SQLSTATE: message" for a failed result or, without one, for the
// connection's own failure under fallback_state.
std::string ErrorText(PGconn* connection, const PGresult* result, const char* fallback_state);

}  // namespace oxin_postgresql
