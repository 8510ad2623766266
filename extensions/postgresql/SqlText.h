// The texts that the PostgreSQL library reads from scripts and turns into
// SQL: table and index names, the names of variables, the placeholders of
// a query and OxCREATE's list of fields.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace oxin_postgresql {

// The table that a database path names: without its directory and a
// trailing ".dbf", so "data/guests.dbf" names guests.
std::string TableName(std::string_view path);

// A file name's base in lower case: "Data/Names.QTX" gives "names".
std::string FileBaseName(std::string_view file);

// Names compared as SQL and the engine compare field names: regardless of case.
bool SameName(std::string_view a, std::string_view b);

// The names of a comma-separated list, trimmed, empty ones left out.
std::vector<std::string> SplitNames(std::string_view list);

// The highest $n that query uses as a placeholder, outside its strings,
// quoted names and comments; 0 for none.
int HighestPlaceholder(std::string_view query);

// The column definitions of CREATE TABLE for OxCREATE's list of fields
// ("name CHAR(20), age NUMBER(3), note MEMO"): the xBase types become their
// PostgreSQL kin and any other type text is kept. quote makes identifiers.
// False with the text in *error for a list that cannot be read.
bool ColumnDefinitions(std::string_view fields,
                       const std::function<std::string(std::string_view)>& quote,
                       std::string* definitions, std::string* error);

// A table name that OxCREATE may make: letters, digits and "_", with at
// most one "." after a schema; each part quoted by quote, in lower case.
bool QuotedTableName(std::string_view table,
                     const std::function<std::string(std::string_view)>& quote,
                     std::string* quoted, std::string* error);

}  // namespace oxin_postgresql
