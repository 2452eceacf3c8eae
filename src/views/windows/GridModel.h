#pragma once

#include "views/Dataset.h"
#include "views/GridTitles.h"

#include <QAbstractTableModel>
#include <QRgb>
#include <QTimer>

#include <vector>

namespace vantor::views {

// The one table model of every data view: the rows of a dataset in the columns of a grid. It only
// shows; sorting, filtering and reading the rows are the dataset's. While a dataset is still being
// read, the rows that have come are added every few milliseconds, so a grid of a million rows shows
// its first screen at once and never waits for a count.
class GridModel : public QAbstractTableModel, private DatasetObserver {
    Q_OBJECT
public:
    // Odd record numbers (the first row, the third …) are painted on this colour.
    static constexpr QRgb kOddRowColour = qRgb(240, 248, 255);

    GridModel(Dataset& rows, GridTitles& grid, QObject* parent = nullptr);
    ~GridModel() override;

    Dataset& rows() { return rows_; }
    GridTitles& grid() { return grid_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // The title-click sorting of the grid's titles.
    void titleClick(int column);

signals:
    // The dataset's current row moved (-1: no row).
    void currentRowChanged(int row);

private:
    void aboutToReset() override;
    void reset() override;
    void aboutToAppend(std::size_t first, std::size_t last) override;
    void appended() override;
    void currentChanged() override;
    void takeArrived();

    Dataset& rows_;
    GridTitles& grid_;
    std::vector<int> fields_; // the dataset field of each column
    QTimer arrivals_;
};

} // namespace vantor::views
