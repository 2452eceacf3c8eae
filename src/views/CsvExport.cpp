#include "CsvExport.h"

#include <algorithm>

namespace vantor::views {

ExportJob::operator CsvJob() const {
    CsvJob job{[rows = rows] { return rows->recordCount(); }, header, fileName, appendLine, {}, {}};
    if (!grid) return job;
    for (int c = 0; c < grid->columnCount(); ++c)
        job.titles.push_back(grid->column(c).title);
    job.rowCells = [rows = rows, grid = grid, fields = grid->resolve(*rows)](std::vector<std::string>& cells,
                                                                             std::size_t row) {
        cells.resize(fields.size());
        for (int c = 0; c < grid->columnCount(); ++c) {
            cells[size_t(c)].clear();
            grid->appendShownText(cells[size_t(c)], *rows, row, c, fields[size_t(c)]);
        }
    };
    return job;
}

std::function<void(std::string&, std::size_t)> gridCells(const Dataset& rows, const GridTitles& grid,
                                                         int columns) {
    if (columns < 0) columns = grid.columnCount();
    // The program's format writes each column's bound field as stored, also where the grid draws it
    // otherwise (the seller level "1钻" is written 6); amounts keep their two decimals.
    std::vector<int> fields = grid.resolve(rows);
    for (int c = 0; c < columns; ++c)
        if (fields[size_t(c)] < 0) fields[size_t(c)] = rows.fieldIndex(grid.column(c).field);
    return [&rows, &grid, columns, fields = std::move(fields),
            cell = std::string()](std::string& line, std::size_t row) mutable {
        for (int c = 0; c < columns; ++c) {
            cell.clear();
            const int field = fields[size_t(c)];
            if (field >= 0) {
                rows.appendDisplayText(cell, row, field);
                if (grid.column(c).money) roundMoneyText(cell, 0);
            } else {
                grid.appendShownText(cell, rows, row, c, field);
            }
            appendCsvSafe(line, cell);
            line += ',';
        }
    };
}

std::function<void(std::string&, std::size_t)> allFields(const Dataset& rows,
                                                         const std::vector<std::string>& money) {
    std::vector<bool> isMoney(size_t(std::max(rows.fieldCount(), 0)), false);
    for (const std::string& name : money)
        if (int f = rows.fieldIndex(name); f >= 0 && size_t(f) < isMoney.size()) isMoney[size_t(f)] = true;
    return [&rows, isMoney, cell = std::string()](std::string& line, std::size_t row) mutable {
        for (int f = 0, n = rows.fieldCount(); f < n; ++f) {
            cell.clear();
            rows.appendDisplayText(cell, row, f);
            if (size_t(f) < isMoney.size() && isMoney[size_t(f)]) roundMoneyText(cell, 0);
            appendCsvSafe(line, cell);
            line += ',';
        }
    };
}

} // namespace vantor::views
