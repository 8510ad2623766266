#include "extensions/postgresql/PostgresResult.h"

namespace oxin_postgresql {

Row Row::From(const PGresult* result, int row) {
    Row copy;
    int columns = PQnfields(result);
    copy.values.reserve(columns);
    for (int column = 0; column < columns; column++) {
        if (PQgetisnull(result, row, column))
            copy.values.emplace_back(std::nullopt);
        else
            copy.values.emplace_back(std::string(PQgetvalue(result, row, column),
                                                 PQgetlength(result, row, column)));
    }
    return copy;
}

bool Column::IsInteger() const {
    if (type == kInt2 || type == kInt4 || type == kInt8) return true;
    // numeric(p) or numeric(p, 0): the scale sits in the low 16 bits of the
    // modifier, which counts 4 bytes of header.
    return type == kNumeric && modifier >= 4 && ((modifier - 4) & 0xffff) == 0;
}

bool Column::IsNumber() const {
    return IsInteger() || type == kNumeric || type == kFloat4 || type == kFloat8;
}

bool Column::TakesEmptyText() const {
    return type == kText || type == kVarchar || type == kBpchar || type == kBytea;
}

std::vector<Column> Column::From(const PGresult* result) {
    std::vector<Column> columns(PQnfields(result));
    for (int i = 0; i < static_cast<int>(columns.size()); i++) {
        columns[i].name = PQfname(result, i);
        columns[i].type = PQftype(result, i);
        columns[i].modifier = PQfmod(result, i);
    }
    return columns;
}

}  // namespace oxin_postgresql
