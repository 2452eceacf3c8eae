#include "GridView.h"

#include "WindowSettings.h"

#include <QHeaderView>
#include <QItemSelectionModel>

namespace vantor::views {

GridView::GridView(Dataset& rows, GridTitles& grid, Titles titles, QWidget* parent)
    : QTableView(parent), model_(new GridModel(rows, grid, this)) {
    setModel(model_);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    setWordWrap(false);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setSectionsMovable(true); // the user's order is kept between runs
    for (int c = 0; c < grid.columnCount(); ++c)
        setColumnWidth(c, grid.column(c).width);
    if (titles == Titles::Sort)
        connect(horizontalHeader(), &QHeaderView::sectionClicked, model_, &GridModel::titleClick);

    connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                if (!following_ && current.isValid()) model_->rows().setCurrent(current.row());
            });
    connect(model_, &GridModel::currentRowChanged, this, &GridView::selectCurrent);
    connect(model_, &QAbstractItemModel::modelReset, this,
            [this] { selectCurrent(model_->rows().current()); });
    selectCurrent(rows.current());
}

void GridView::selectCurrent(int row) {
    following_ = true;
    if (row < 0)
        selectionModel()->clearCurrentIndex();
    else if (currentIndex().row() != row)
        selectionModel()->setCurrentIndex(model_->index(row, qMax(0, currentIndex().column())),
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    following_ = false;
}

void GridView::showEvent(QShowEvent* event) {
    if (!columnsKept_) {
        columnsKept_ = true;
        widgets::WindowSettings::keepColumns(horizontalHeader(), objectName());
    }
    QTableView::showEvent(event);
}

} // namespace vantor::views
