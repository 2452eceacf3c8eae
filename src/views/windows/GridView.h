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

protected:
    // The first showing gives the columns the widths and order the user left them in.
    void showEvent(QShowEvent* event) override;

private:
    void selectCurrent(int row);

    GridModel* model_;
    bool following_ = false; // the selection is being moved to the dataset's current row
    bool columnsKept_ = false;
};

} // namespace vantor::views
