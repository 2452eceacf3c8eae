#include "GridModel.h"

#include "ViewActions.h"

#include <QColor>
#include <QFont>

namespace vantor::views {

GridModel::GridModel(Dataset& rows, GridTitles& grid, QObject* parent)
    : QAbstractTableModel(parent), rows_(rows), grid_(grid), fields_(grid.resolve(rows)) {
    rows_.setObserver(this);
    arrivals_.setInterval(30);
    connect(&arrivals_, &QTimer::timeout, this, [this] { widgets::guarded([this] { takeArrived(); }); });
    if (rows_.isLoading()) arrivals_.start();
}

GridModel::~GridModel() {
    rows_.setObserver(nullptr);
}

int GridModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(rows_.rowCount());
}

int GridModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : grid_.columnCount();
}

QVariant GridModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || size_t(index.row()) >= rows_.rowCount()) return {};
    if (role == Qt::DisplayRole) {
        std::string text;
        grid_.appendShownText(text, rows_, size_t(index.row()), index.column(),
                              fields_[size_t(index.column())]);
        return QString::fromStdString(text);
    }
    // Record numbers count from 1: the odd ones are the rows 0, 2, 4 … here. The style paints the
    // selection over this background, so a selected cell keeps the skin's look.
    if (role == Qt::BackgroundRole && index.row() % 2 == 0) return QColor(kOddRowColour);
    return {};
}

QVariant GridModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= grid_.columnCount())
        return QAbstractTableModel::headerData(section, orientation, role);
    if (role == Qt::DisplayRole) return QString::fromStdString(grid_.caption(section));
    if (role == Qt::FontRole) {
        QFont font;
        font.setBold(grid_.bold(section));
        return font;
    }
    return {};
}

void GridModel::titleClick(int column) {
    bool changed = false;
    // A field the rows cannot be sorted by still leaves its marks; the error goes to the error log.
    widgets::guarded([&] { changed = grid_.titleClick(column, rows_); });
    if (changed || grid_.bold(column)) emit headerDataChanged(Qt::Horizontal, 0, grid_.columnCount() - 1);
}

void GridModel::aboutToReset() {
    beginResetModel();
}

void GridModel::reset() {
    fields_ = grid_.resolve(rows_);
    endResetModel();
    if (rows_.isLoading())
        arrivals_.start();
    else
        arrivals_.stop();
}

void GridModel::aboutToAppend(std::size_t first, std::size_t last) {
    beginInsertRows({}, int(first), int(last));
}

void GridModel::appended() {
    endInsertRows();
}

void GridModel::currentChanged() {
    emit currentRowChanged(rows_.current());
}

void GridModel::takeArrived() {
    if (!rows_.takeArrived()) arrivals_.stop();
}

} // namespace vantor::views
