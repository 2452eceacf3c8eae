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
    // Shows a category's ranking of a month, as a gathering has just saved it.
    void showRanking(int category, int month);
    void exportBtnClick();
    void deleteBtnClick();
    void itemTopGridDblClick();
    void idChange();
    void updateDateChange();

    QComboBox* id;
    QComboBox* updateDate;
    QComboBox* sortName;
    QCheckBox* sort;
    QPushButton* queryBtn;
    QPushButton* exportBtn;
    QPushButton* deleteBtn;
    GridView* itemTopGrid;
    QProgressBar* saveProgress;
    QFileDialog* saveDialog;

private:
    RankingDataView data_;
};

} // namespace vantor::views
