#include "CsvExport.h"

namespace vantor::views {

std::function<void(std::string&, std::size_t)> gridCells(const Dataset& rows, const GridTitles& grid,
                                                         int columns) {
    if (columns < 0) columns = grid.columnCount();
    return [&rows, &grid, columns, fields = grid.resolve(rows),
            cell = std::string()](std::string& line, std::size_t row) mutable {
        for (int c = 0; c < columns; ++c) {
            cell.clear();
            grid.appendCellText(cell, rows, row, c, fields[size_t(c)]);
            appendCsvSafe(line, cell);
            line += ',';
        }
    };
}

std::function<void(std::string&, std::size_t)> allFields(const Dataset& rows) {
    return [&rows, cell = std::string()](std::string& line, std::size_t row) mutable {
        for (int f = 0, n = rows.fieldCount(); f < n; ++f) {
            cell.clear();
            rows.appendDisplayText(cell, row, f);
            appendCsvSafe(line, cell);
            line += ',';
        }
    };
}

} // namespace vantor::views
