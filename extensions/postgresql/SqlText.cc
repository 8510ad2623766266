#include "extensions/postgresql/SqlText.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>

namespace oxin_postgresql {
namespace {

std::string_view Trim(std::string_view text) {
    while (!text.empty() && isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    return text;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return lower;
}

bool StartsWithWord(std::string_view text, const char* word) {
    size_t length = strlen(word);
    return text.size() >= length && strncasecmp(text.data(), word, length) == 0;
}

// The text between the parentheses that follow a type word, "" for none.
std::string_view Parenthesized(std::string_view type) {
    size_t open = type.find('(');
    size_t close = type.find(')', open);
    if (open == std::string_view::npos || close == std::string_view::npos) return {};
    return Trim(type.substr(open + 1, close - open - 1));
}

bool AllDigits(std::string_view text) {
    if (text.empty()) return false;
    for (char c : text)
        if (!isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

// CHAR(n), NUMBER(n[.d]), DATE, BOOL and MEMO, matched by their beginnings
// as xBase does; any other type text stands as written.
bool ColumnType(std::string_view type, std::string* sql, std::string* error) {
    if (StartsWithWord(type, "CHAR")) {
        std::string_view length = Parenthesized(type);
        if (!AllDigits(length)) {
            *error = "A CHAR field needs a length, as in CHAR(20)";
            return false;
        }
        *sql = "varchar(" + std::string(length) + ")";
    } else if (StartsWithWord(type, "NUMBER")) {
        std::string_view size = Parenthesized(type);
        size_t point = size.find('.');
        std::string_view whole = size.substr(0, point);
        std::string_view decimals = point == std::string_view::npos ? "" : size.substr(point + 1);
        if (size.empty()) {
            *sql = "numeric(19)";
        } else if (!AllDigits(whole) || (point != std::string_view::npos && !AllDigits(decimals))) {
            *error = "A NUMBER field's size is digits, as in NUMBER(8) or NUMBER(6.2)";
            return false;
        } else if (decimals.empty()) {
            *sql = "numeric(" + std::string(whole) + ")";
        } else {
            int digits = atoi(std::string(whole).c_str()) + atoi(std::string(decimals).c_str());
            *sql = "numeric(" + std::to_string(digits) + ", " + std::string(decimals) + ")";
        }
    } else if (StartsWithWord(type, "DATE")) {
        *sql = "date";
    } else if (StartsWithWord(type, "BOOL")) {
        *sql = "boolean";
    } else if (StartsWithWord(type, "MEMO")) {
        *sql = "text";
    } else {
        *sql = std::string(type);
    }
    return true;
}

// The fields of a list, split at the commas outside parentheses, as a
// type such as numeric(10,2) has one of its own.
std::vector<std::string_view> SplitFields(std::string_view fields) {
    std::vector<std::string_view> parts;
    int depth = 0;
    size_t start = 0;
    for (size_t i = 0; i <= fields.size(); i++) {
        char c = i < fields.size() ? fields[i] : ',';
        if (c == '(') depth++;
        if (c == ')' && depth > 0) depth--;
        if (c != ',' || depth > 0) continue;
        parts.push_back(Trim(fields.substr(start, i - start)));
        start = i + 1;
    }
    return parts;
}

// Where the quoted text that starts at i ends, past its closing quote.
size_t SkipQuoted(std::string_view text, size_t i, char quote, bool backslashes) {
    for (i++; i < text.size(); i++) {
        if (backslashes && text[i] == '\\') {
            i++;
        } else if (text[i] == quote) {
            if (i + 1 < text.size() && text[i + 1] == quote) i++;
            else return i + 1;
        }
    }
    return text.size();
}

// Past a dollar-quoted string ($tag$ ... $tag$) that starts at i, or i
// itself when no such string starts there.
size_t SkipDollarQuoted(std::string_view text, size_t i) {
    size_t end = i + 1;
    while (end < text.size() && (isalnum(static_cast<unsigned char>(text[end])) || text[end] == '_'))
        end++;
    if (end >= text.size() || text[end] != '$' || isdigit(static_cast<unsigned char>(text[i + 1])))
        return i;
    std::string_view tag = text.substr(i, end - i + 1);
    size_t close = text.find(tag, end + 1);
    return close == std::string_view::npos ? text.size() : close + tag.size();
}

}  // namespace

std::string TableName(std::string_view path) {
    size_t slash = path.find_last_of('/');
    if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
    if (path.size() > 4 && strncasecmp(path.data() + path.size() - 4, ".dbf", 4) == 0)
        path.remove_suffix(4);
    return std::string(path);
}

std::string FileBaseName(std::string_view file) {
    size_t slash = file.find_last_of('/');
    if (slash != std::string_view::npos) file.remove_prefix(slash + 1);
    size_t dot = file.find_last_of('.');
    if (dot != std::string_view::npos && dot > 0) file = file.substr(0, dot);
    return Lower(file);
}

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::vector<std::string> SplitNames(std::string_view list) {
    std::vector<std::string> names;
    size_t start = 0;
    for (size_t i = 0; i <= list.size(); i++) {
        if (i < list.size() && list[i] != ',') continue;
        std::string_view name = Trim(list.substr(start, i - start));
        if (!name.empty()) names.emplace_back(name);
        start = i + 1;
    }
    return names;
}

int HighestPlaceholder(std::string_view query) {
    int highest = 0;
    for (size_t i = 0; i < query.size();) {
        char c = query[i];
        bool escaped = (c == '\'') && i > 0 && (query[i - 1] == 'E' || query[i - 1] == 'e') &&
                       (i < 2 || !(isalnum(static_cast<unsigned char>(query[i - 2])) ||
                                   query[i - 2] == '_'));
        if (c == '\'' || c == '"') {
            i = SkipQuoted(query, i, c, escaped);
        } else if (c == '-' && i + 1 < query.size() && query[i + 1] == '-') {
            size_t end = query.find('\n', i);
            i = end == std::string_view::npos ? query.size() : end;
        } else if (c == '/' && i + 1 < query.size() && query[i + 1] == '*') {
            size_t end = query.find("*/", i + 2);
            i = end == std::string_view::npos ? query.size() : end + 2;
        } else if (c == '$' && i + 1 < query.size() && isdigit(static_cast<unsigned char>(query[i + 1]))) {
            int number = 0;
            for (i++; i < query.size() && isdigit(static_cast<unsigned char>(query[i])); i++)
                number = number < 100000 ? number * 10 + (query[i] - '0') : number;
            highest = std::max(highest, number);
        } else if (c == '$') {
            size_t past = SkipDollarQuoted(query, i);
            i = past == i ? i + 1 : past;
        } else {
            i++;
        }
    }
    return highest;
}

bool ColumnDefinitions(std::string_view fields,
                       const std::function<std::string(std::string_view)>& quote,
                       std::string* definitions, std::string* error) {
    definitions->clear();
    for (std::string_view field : SplitFields(fields)) {
        if (field.empty()) {
            *error = "Empty field in the list of fields";
            return false;
        }
        size_t blank = 0;
        while (blank < field.size() && !isspace(static_cast<unsigned char>(field[blank]))) blank++;
        std::string_view type = Trim(field.substr(blank));
        if (type.empty()) {
            *error = "The field '" + std::string(field) + "' has no type";
            return false;
        }
        std::string sql_type;
        if (!ColumnType(type, &sql_type, error)) return false;
        *definitions += ", " + quote(Lower(field.substr(0, blank))) + " " + sql_type;
    }
    return true;
}

bool QuotedTableName(std::string_view table,
                     const std::function<std::string(std::string_view)>& quote,
                     std::string* quoted, std::string* error) {
    size_t dot = table.find('.');
    bool good = std::all_of(table.begin(), table.end(), [](char c) {
        return isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.';
    });
    good = good && !table.empty() && std::count(table.begin(), table.end(), '.') <= 1 &&
           dot != 0 && dot + 1 != table.size();
    if (!good) {
        *error = "The table name '" + std::string(table) +
                 "' may hold only letters, digits, '_' and one '.' after a schema";
        return false;
    }
    if (dot == std::string_view::npos)
        *quoted = quote(Lower(table));
    else
        *quoted = quote(Lower(table.substr(0, dot))) + "." + quote(Lower(table.substr(dot + 1)));
    return true;
}

}  // namespace oxin_postgresql
