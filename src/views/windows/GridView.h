#pragma once

#include "GridModel.h"

#include <QTableView>

namespace vantor::views {

// A read-only, row-selecting grid over a GridModel: fixed row height and pixel scrolling, so a
// million rows scroll smoothly; the grid's column widths and hint; the selected row is the dataset's
// current row and the other way round.
class GridView : public QTableView {
    Q_OBJECT
public:
    enum class Titles { Sort, Plain };

    GridView(Dataset& rows, GridTitles& grid, Titles titles, QWidget* parent = nullptr);

    GridModel* gridModel() const { return model_; }

private:
    void selectCurrent(int row);

    GridModel* model_;
    bool following_ = false; // the selection is being moved to the dataset's current row
};

} // namespace vantor::views
