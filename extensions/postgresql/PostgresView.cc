#include "extensions/postgresql/PostgresView.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace oxin_postgresql {

std::string ScriptText(const Column& column, const Value& value) {
    if (!value) return "";
    switch (column.type) {
        case kBool:
            return *value == "t" ? "1" : "0";
        case kBpchar:
            return value->substr(0, value->find_last_not_of(' ') + 1);
        case kBytea: {
            size_t length = 0;
            unsigned char* bytes =
                PQunescapeBytea(reinterpret_cast<const unsigned char*>(value->c_str()), &length);
            if (!bytes) return "";
            std::string raw(reinterpret_cast<char*>(bytes), length);
            PQfreemem(bytes);
            return raw;
        }
        default:
            return *value;
    }
}

void PostgresView::Attach(ExternalDatabaseView* handle) {
    handle_ = handle;
    oxDatabaseView_SetData(handle, this);
    bool has_eof = false, has_recno = false;
    for (size_t i = 0; i < columns_.size(); i++) {
        const std::string& name = columns_[i].name;
        oxDatabaseView_AddVariable(handle, name.data(), static_cast<int>(name.size()),
                                   reinterpret_cast<void*>(static_cast<intptr_t>(i)));
        has_eof |= name == "eof";
        has_recno |= name == "recno";
    }
    if (!has_eof)
        oxDatabaseView_AddVariable(handle, "eof", 3, reinterpret_cast<void*>(kEofField));
    if (!has_recno)
        oxDatabaseView_AddVariable(handle, "recno", 5, reinterpret_cast<void*>(kRecnoField));
}

bool PostgresView::Find(std::string_view, bool) {
    return Fail("OxFIND needs a view of a table with a key: open the table with OxOPEN");
}

bool PostgresView::Filter(std::string_view) {
    return Fail("OxFILTER needs a view of a table: open the table with OxOPEN");
}

bool PostgresView::Add() {
    return Fail("OxADD needs a view of one table: open the table with OxOPEN");
}

bool PostgresView::Update() {
    return Fail("OxUPDATE needs a view of one table: open the table with OxOPEN");
}

bool PostgresView::Delete() {
    return Fail("OxDELETE needs a view of one table: open the table with OxOPEN");
}

void PostgresView::Refresh() {
    for (auto& value : assigned_) value.reset();
    oxDatabaseView_SetDirty(handle_, 1);
}

bool PostgresView::PastTheEnd() {
    eof_ = true;
    oxDatabaseView_SetDirty(handle_, 1);
    return true;
}

bool PostgresView::Fail(std::string text) {
    error_ = std::move(text);
    return false;
}

bool PostgresView::GetInteger(intptr_t field, int* value) {
    if (field == kEofField) {
        (void)current();  // a table's first read loads its first rows, which sets eof
        *value = eof_ ? 1 : 0;
        return true;
    }
    const char* text;
    int length;
    if (!GetString(field, &text, &length) || length == 0) return false;
    if (IsColumn(field) && columns_[field].type != kBool && !columns_[field].IsInteger() &&
        field != kRecnoField)
        return false;
    errno = 0;
    char* end;
    long long number = strtoll(text, &end, 10);
    if (errno || *end || number < INT_MIN || number > INT_MAX) return false;
    *value = static_cast<int>(number);
    return true;
}

bool PostgresView::GetDouble(intptr_t field, double* value) {
    if (!IsColumn(field) || !columns_[field].IsNumber()) return false;
    const char* text;
    int length;
    if (!GetString(field, &text, &length) || length == 0) return false;
    *value = strtod(text, nullptr);
    return true;
}

bool PostgresView::GetString(intptr_t field, const char** text, int* length) {
    const Row* row = current();  // first, as a table's first read sets eof
    if (field == kEofField)
        text_.assign(1, eof_ ? '1' : '0');
    else if (field == kRecnoField)
        text_ = row ? RecordNumber() : "0";
    else if (!IsColumn(field))
        return false;
    else
        text_ = row ? ScriptText(columns_[field], row->values[field]) : "";
    *text = text_.data();
    *length = static_cast<int>(text_.size());
    return true;
}

// A number with a fraction goes into an integer column truncated toward
// zero, as into an xBase field, where the server would refuse it.
bool PostgresView::Assign(intptr_t field, std::string_view text) {
    if (!IsColumn(field)) return false;
    const Column& column = columns_[field];
    if (text.empty() && !column.TakesEmptyText()) {
        assigned_[field] = Value();
        return true;
    }
    size_t point = text.find('.');
    if (column.IsInteger() && point != std::string_view::npos &&
        text.find_first_not_of("-0123456789") == point &&
        text.find_first_not_of("0123456789", point + 1) == std::string_view::npos)
        text = text.substr(0, point);
    assigned_[field] = Value(std::string(text));
    return true;
}

}  // namespace oxin_postgresql
