#pragma once

#include "GridView.h"
#include "views/RankingDataView.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QFileDialog;
class QProgressBar;
class QPushButton;

namespace vantor::views {

// The ranking data view: the saved monthly item rankings of one category. A new category or month
// queries at once; the window only wires its controls to RankingDataView.
class TtopDataViewFrm : public QWidget {
    Q_OBJECT
public:
    explicit TtopDataViewFrm(const db::TDM& dm, QWidget* parent = nullptr);

    RankingDataView& data() { return data_; }
    RankingChoice choice() const;

    void queryBtnClick();
    // Shows a category's ranking of a month of the current year, as a gathering has just saved it.
    void showRanking(int category, int month);
    // Shows the given choice of category, month and year (0: the current year).
    void showChoice(const RankingChoice& choice);
    void exportBtnClick();
    void deleteBtnClick();
    void itemTopGridDblClick();
    void idChange();
    void updateDateChange();
    void yearChange();

    QComboBox* id;
    QComboBox* updateDate;
    QComboBox* year;
    QComboBox* sortName;
    QCheckBox* sort;
    QPushButton* queryBtn;
    QPushButton* exportBtn;
    QPushButton* deleteBtn;
    GridView* itemTopGrid;
    QProgressBar* saveProgress;
    QFileDialog* saveDialog;

private:
    // Lists the years with saved rankings and the current one, keeping the chosen year where it is
    // still listed.
    void fillYears(int chosen);

    RankingDataView data_;
};

} // namespace vantor::views
