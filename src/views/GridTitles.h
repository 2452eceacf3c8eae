#pragma once

#include "Dataset.h"

#include <string>
#include <vector>

namespace vantor::views {

// One column of a grid: the field it shows, its title and its width in pixels. A column with a
// `derive` function shows a text made from the row instead of one field.
struct GridColumn {
    std::string field;
    std::string title;
    int width = 80;
    std::string (*derive)(const Dataset& rows, std::size_t row) = nullptr;
    bool money = false; // shown and exported with two decimals
};

// Turns the amount of money written from `start` on into its two decimals, so binary-float noise
// ("48325.8999…") never reaches the eye or a file; a text that is not a number stays as it is.
void roundMoneyText(std::string& out, std::size_t start);

// A shop's stored seller level as the marketplace draws it ("3钻"); a level it does not have, as stored.
std::string sellerLevelCell(const Dataset& rows, std::size_t row);

// A column of amounts of money.
inline GridColumn money(GridColumn column) {
    column.money = true;
    return column;
}

// The titles of a grid and the title-click sorting every grid shares: the first click on a column
// sorts it descending and marks its title "▼", each further click on it alternates with ascending,
// "▲"; the sorted column's title is bold and no other title keeps a mark. Which column is sorted is
// read from the dataset's sort text alone.
class GridTitles {
public:
    static constexpr const char* kAscendingMark = "▲";
    static constexpr const char* kDescendingMark = "▼";

    // excludesRowNumber: a click on the "xh" column does nothing at all.
    GridTitles(std::vector<GridColumn> columns, bool excludesRowNumber);

    int columnCount() const { return int(columns_.size()); }
    const GridColumn& column(int column) const { return columns_.at(size_t(column)); }
    const std::string& caption(int column) const { return captions_.at(size_t(column)); }
    bool bold(int column) const { return column == bold_; }

    // False when the click changed nothing. Raises std::invalid_argument (from the dataset) for a
    // column its rows cannot be sorted by.
    bool titleClick(int column, Dataset& rows);

    // The dataset field each column shows, -1 for a derived column or a field the rows do not have.
    std::vector<int> resolve(const Dataset& rows) const;
    // The cell text as exports write it; `field` is the column's entry of resolve().
    void appendCellText(std::string& out, const Dataset& rows, std::size_t row, int column, int field) const;
    std::string cellText(const Dataset& rows, std::size_t row, int column) const;
    // The cell text as grids, printed tables and exports show it: amounts of money with two decimals.
    void appendShownText(std::string& out, const Dataset& rows, std::size_t row, int column, int field) const;

private:
    std::vector<GridColumn> columns_;
    std::vector<std::string> captions_;
    bool excludesRowNumber_;
    int bold_ = -1;
};

} // namespace vantor::views
