#pragma once

#include "Database.h"

#include <string>
#include <vector>

namespace vantor::db {

// The rows of a query held in memory, with the optional calculated row number "xh" as the first
// column: the row's 1-based position in the set.
class ResultSet {
public:
    static constexpr const char* kRowNumber = "xh";

    // Steps the statement to its end.
    static ResultSet load(Statement& statement, bool rowNumber);

    int rowCount() const { return int(rows_.size()); }
    int columnCount() const { return int(names_.size()) + (rowNumber_ ? 1 : 0); }
    std::string columnName(int column) const;
    int columnIndex(std::string_view name) const; // -1 when absent; case-insensitive
    Value value(int row, int column) const;

private:
    bool rowNumber_ = false;
    std::vector<std::string> names_;
    std::vector<std::vector<Value>> rows_;
};

} // namespace vantor::db
