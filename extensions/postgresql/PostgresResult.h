// The small value types that the PostgreSQL library passes around: a held
// result, a row copied out of one, a column's description and a statement
// parameter.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace oxin_postgresql {

struct ResultDeleter {
    void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

// One value of a row in PostgreSQL's text form; nullopt is SQL NULL.
using Value = std::optional<std::string>;

// A row copied out of a result, so that it outlives it.
struct Row {
    std::vector<Value> values;

    static Row From(const PGresult* result, int row);
};

// The type codes of pg_type that the fields treat specially.
enum TypeOid : Oid {
    kBool = 16,
    kBytea = 17,
    kInt8 = 20,
    kInt2 = 21,
    kInt4 = 23,
    kText = 25,
    kFloat4 = 700,
    kFloat8 = 701,
    kBpchar = 1042,
    kVarchar = 1043,
    kDate = 1082,
    kNumeric = 1700,
};

struct Column {
    std::string name;
    Oid type = kText;
    int modifier = -1;      // atttypmod: the length or precision, -1 none
    int key_position = 0;   // place in the primary key from 1, 0 outside it

    bool IsInteger() const;
    bool IsNumber() const;  // any number, integers included
    // Columns whose empty text is a value; an empty text for any other
    // column is written as NULL.
    bool TakesEmptyText() const;

    static std::vector<Column> From(const PGresult* result);
};

// A parameter of a statement, sent as text unless binary (bytea).
struct Parameter {
    Value value;
    bool binary = false;
};
using Parameters = std::vector<Parameter>;

}  // namespace oxin_postgresql
