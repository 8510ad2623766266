#include "extensions/postgresql/PostgresConnection.h"

#include <memory>
#include <vector>

namespace oxin_postgresql {
namespace {

struct Registered {
    std::string conninfo;
    std::unique_ptr<PostgresConnection> connection;
};

std::vector<Registered>& registry() {
    static std::vector<Registered> connections;
    return connections;
}

// The first line of a libpq message, without its line end.
std::string FirstLine(const char* message) {
    std::string text = message ? message : "";
    size_t end = text.find('\n');
    if (end != std::string::npos) text.resize(end);
    return text;
}

// The server's notices (a table that DROP ... IF EXISTS did not find) are
// not for the web server's error log.
void IgnoreNotice(void*, const char*) {}

PGconn* Connect(const std::string& conninfo) {
    // The string's own settings override these, as it comes later.
    const char* keywords[] = {"connect_timeout", "fallback_application_name", "dbname", nullptr};
    const char* values[] = {"10", "oxin", conninfo.c_str(), nullptr};
    PGconn* connection = PQconnectdbParams(keywords, values, 1);
    PQsetNoticeProcessor(connection, IgnoreNotice, nullptr);
    return connection;
}

}  // namespace

std::string ErrorText(PGconn* connection, const PGresult* result, const char* fallback_state) {
    const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    const char* message = result ? PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY) : nullptr;
    if (state && message) return std::string(state) + ": " + message;
    std::string text = FirstLine(result ? PQresultErrorMessage(result) : nullptr);
    if (text.empty()) text = FirstLine(PQerrorMessage(connection));
    if (text.empty()) text = "the server sent no answer";
    return std::string(fallback_state) + ": " + text;
}

PostgresConnection* PostgresConnection::For(const std::string& conninfo, std::string* error) {
    for (auto& entry : registry())
        if (entry.conninfo == conninfo) return entry.connection.get();
    PGconn* connection = Connect(conninfo);
    if (PQstatus(connection) != CONNECTION_OK) {
        *error = ErrorText(connection, nullptr, "08001");
        PQfinish(connection);
        return nullptr;
    }
    registry().push_back({conninfo, std::unique_ptr<PostgresConnection>(
                                         new PostgresConnection(connection))});
    return registry().back().connection.get();
}

void PostgresConnection::ForgetAllAfterFork() {
    for (auto& entry : registry()) (void)entry.connection.release();
    registry().clear();
}

PostgresConnection::~PostgresConnection() { PQfinish(connection_); }

// A connection that the server dropped is made anew, unless a transaction
// was open on it: its work is lost, and the statements say so until the
// script ends it.
bool PostgresConnection::Ready() {
    ParkStream();
    if (PQstatus(connection_) == CONNECTION_OK) return true;
    if (in_transaction_) {
        error_ = "08006: The connection was lost inside a transaction, whose work is undone";
        return false;
    }
    PQreset(connection_);
    if (PQstatus(connection_) == CONNECTION_OK) return true;
    error_ = ErrorText(connection_, nullptr, "08001");
    return false;
}

void PostgresConnection::ParkStream() {
    if (!stream_) return;
    RowStream* owner = stream_;
    owner->Park();
    stream_ = nullptr;
}

// Without parameters the text goes as a simple query, which may hold more
// than one statement.
bool PostgresConnection::Send(std::string_view sql, const Parameters& parameters) {
    std::string text(sql);
    if (parameters.empty()) {
        if (PQsendQuery(connection_, text.c_str())) return true;
        error_ = ErrorText(connection_, nullptr, "08006");
        return false;
    }
    std::vector<const char*> values;
    std::vector<int> lengths, formats;
    for (const Parameter& parameter : parameters) {
        values.push_back(parameter.value ? parameter.value->data() : nullptr);
        lengths.push_back(parameter.value ? static_cast<int>(parameter.value->size()) : 0);
        formats.push_back(parameter.binary ? 1 : 0);
    }
    if (PQsendQueryParams(connection_, text.c_str(), static_cast<int>(values.size()), nullptr,
                          values.data(), lengths.data(), formats.data(), 0))
        return true;
    error_ = ErrorText(connection_, nullptr, "08006");
    return false;
}

void PostgresConnection::FailWith(const PGresult* result) {
    bool lost = PQstatus(connection_) != CONNECTION_OK;
    error_ = ErrorText(connection_, result, lost ? "08006" : "XX000");
}

void PostgresConnection::DrainResults() {
    while (PGresult* rest = PQgetResult(connection_)) PQclear(rest);
}

Result PostgresConnection::Execute(std::string_view sql, const Parameters& parameters) {
    if (!Ready() || !Send(sql, parameters)) return nullptr;
    // One statement gives one result; the last one counts.
    Result result;
    while (PGresult* next = PQgetResult(connection_)) result.reset(next);
    ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) return result;
    FailWith(result.get());
    return nullptr;
}

bool PostgresConnection::StartStream(RowStream* owner, std::string_view sql,
                                     const Parameters& parameters) {
    if (!Ready() || !Send(sql, parameters)) return false;
    PQsetSingleRowMode(connection_);
    stream_ = owner;
    return true;
}

Result PostgresConnection::NextResult(RowStream* owner) {
    if (stream_ != owner) {
        error_ = "The rows of this view are no longer on the connection";
        return nullptr;
    }
    Result result(PQgetResult(connection_));
    ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status == PGRES_SINGLE_TUPLE) return result;
    DrainResults();
    stream_ = nullptr;
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) return result;
    FailWith(result.get());
    return nullptr;
}

void PostgresConnection::StopStream(RowStream* owner) {
    if (stream_ != owner) return;
    if (PGcancel* cancel = PQgetCancel(connection_)) {
        char reason[256];
        PQcancel(cancel, reason, sizeof reason);
        PQfreeCancel(cancel);
    }
    DrainResults();
    stream_ = nullptr;
}

bool PostgresConnection::Begin() {
    if (!Execute("BEGIN")) return false;
    in_transaction_ = true;
    return true;
}

bool PostgresConnection::Commit() {
    bool lost = in_transaction_ && PQstatus(connection_) != CONNECTION_OK;
    if (lost) {
        in_transaction_ = false;
        error_ = "08006: The connection was lost inside the transaction, whose work is undone";
        return false;
    }
    in_transaction_ = false;
    Result result = Execute("COMMIT");
    if (!result) return false;
    // The server ends a transaction in which a statement failed with a
    // rollback, and says so only in the command's tag.
    if (std::string_view(PQcmdStatus(result.get())) == "ROLLBACK") {
        error_ = "25P02: The transaction was rolled back, as a statement in it failed";
        return false;
    }
    return true;
}

bool PostgresConnection::Rollback() {
    bool lost = in_transaction_ && PQstatus(connection_) != CONNECTION_OK;
    in_transaction_ = false;
    return lost || Execute("ROLLBACK") != nullptr;
}

std::string PostgresConnection::Identifier(std::string_view name) {
    char* quoted = PQescapeIdentifier(connection_, name.data(), name.size());
    if (!quoted) return "\"\"";
    std::string text(quoted);
    PQfreemem(quoted);
    return text;
}

}  // namespace oxin_postgresql
