#include "ResultSet.h"

#include <strings.h>

namespace vantor::db {

ResultSet ResultSet::load(Statement& statement, bool rowNumber) {
    ResultSet set;
    set.rowNumber_ = rowNumber;
    int columns = statement.columnCount();
    for (int c = 0; c < columns; ++c)
        set.names_.push_back(statement.columnName(c));
    while (statement.step()) {
        std::vector<Value> row;
        row.reserve(size_t(columns));
        for (int c = 0; c < columns; ++c)
            row.push_back(statement.value(c));
        set.rows_.push_back(std::move(row));
    }
    statement.reset();
    return set;
}

std::string ResultSet::columnName(int column) const {
    if (rowNumber_) return column == 0 ? kRowNumber : names_.at(size_t(column - 1));
    return names_.at(size_t(column));
}

int ResultSet::columnIndex(std::string_view name) const {
    for (int c = 0, n = columnCount(); c < n; ++c) {
        std::string candidate = columnName(c);
        if (candidate.size() == name.size() && strncasecmp(candidate.data(), name.data(), name.size()) == 0)
            return c;
    }
    return -1;
}

Value ResultSet::value(int row, int column) const {
    if (rowNumber_) {
        if (column == 0) return std::int64_t(row >= 0 ? row + 1 : 1);
        --column;
    }
    return rows_.at(size_t(row)).at(size_t(column));
}

} // namespace vantor::db
