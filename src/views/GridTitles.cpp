#include "GridTitles.h"

#include "market/SellerLevel.h"

#include <cstdio>
#include <cstdlib>

namespace vantor::views {

void roundMoneyText(std::string& out, std::size_t start) {
    if (out.size() <= start) return;
    const std::string cell = out.substr(start);
    char* end = nullptr;
    const double amount = std::strtod(cell.c_str(), &end);
    if (end != cell.c_str() + cell.size()) return;
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", amount);
    out.replace(start, std::string::npos, text);
}

GridTitles::GridTitles(std::vector<GridColumn> columns, bool excludesRowNumber)
    : columns_(std::move(columns)), excludesRowNumber_(excludesRowNumber) {
    for (const auto& column : columns_)
        captions_.push_back(column.title);
}

bool GridTitles::titleClick(int column, Dataset& rows) {
    const std::string& field = columns_.at(size_t(column)).field;
    if (excludesRowNumber_ && field == Dataset::kRowNumber) return false;
    for (auto& caption : captions_)
        for (std::string_view mark : {kAscendingMark, kDescendingMark})
            if (caption.starts_with(mark)) {
                caption.erase(0, mark.size());
                break;
            }
    bold_ = column;
    std::string& caption = captions_[size_t(column)];
    if (rows.sort() == field + " DESC ") {
        caption = std::string(kAscendingMark) + caption;
        rows.setSort(field);
    } else {
        rows.setSort(field + " DESC ");
        caption = std::string(kDescendingMark) + caption;
    }
    return true;
}

std::string sellerLevelCell(const Dataset& rows, std::size_t row) {
    const auto level = rows.integer(row, "salelevel");
    if (!level) return {};
    const std::string text = market::sellerLevelText(int(*level));
    return text.empty() ? std::to_string(*level) : text;
}

std::vector<int> GridTitles::resolve(const Dataset& rows) const {
    std::vector<int> fields;
    for (const auto& column : columns_)
        fields.push_back(column.derive ? -1 : rows.fieldIndex(column.field));
    return fields;
}

void GridTitles::appendCellText(std::string& out, const Dataset& rows, std::size_t row, int column,
                                int field) const {
    const GridColumn& c = columns_[size_t(column)];
    if (c.derive)
        out += c.derive(rows, row);
    else if (field >= 0)
        rows.appendDisplayText(out, row, field);
}

void GridTitles::appendShownText(std::string& out, const Dataset& rows, std::size_t row, int column,
                                 int field) const {
    const size_t start = out.size();
    appendCellText(out, rows, row, column, field);
    if (columns_[size_t(column)].money) roundMoneyText(out, start);
}

std::string GridTitles::cellText(const Dataset& rows, std::size_t row, int column) const {
    std::string out;
    appendCellText(out, rows, row, column, resolve(rows).at(size_t(column)));
    return out;
}

} // namespace vantor::views
