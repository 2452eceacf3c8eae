#pragma once

#include "Dataset.h"
#include "GridTitles.h"
#include "base/CsvFile.h"

#include <cstddef>
#include <functional>
#include <string>

namespace vantor::views {

// One export button of a view: its rows, the view's fixed header line, the proposed file name, how a
// data line is made from a row, and the grid whose columns the standard format writes as it shows them.
// It is written as any CSV job is.
struct ExportJob {
    Dataset* rows = nullptr;
    std::string header;
    std::string fileName;
    std::function<void(std::string& line, std::size_t row)> appendLine;
    const GridTitles* grid = nullptr;

    operator CsvJob() const;
};

// The program's usual line: every grid column's bound field in column order, as stored (amounts with two
// decimals), each followed by ",".
std::function<void(std::string&, std::size_t)> gridCells(const Dataset& rows, const GridTitles& grid,
                                                         int columns = -1);
// Every field of the query in its order ("xh" first where the query has it), each followed by ","; the
// fields named in `money` with two decimals.
std::function<void(std::string&, std::size_t)> allFields(const Dataset& rows,
                                                         const std::vector<std::string>& money = {});

} // namespace vantor::views
