#include "TtopDataViewFrm.h"

#include "HelpPages.h"
#include "ViewActions.h"
#include "market/CategoryTable.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace vantor::views {

TtopDataViewFrm::TtopDataViewFrm(const db::TDM& dm, QWidget* parent)
    : QWidget(parent), data_(dm, QueryReader::Mode::Background) {
    setWindowTitle("类目热卖商品历史");
    widgets::giveHelp(this, widgets::HelpTopic::RankingHistory);
    id = widgets::named(new QComboBox, "id");
    for (const auto& category : market::categoryBrowseCategories())
        id->addItem(QString::fromStdString(category.name));
    updateDate = widgets::named(new QComboBox, "updateDate");
    for (const auto& month : RankingDataView::monthEntries())
        updateDate->addItem(QString::fromStdString(month));
    updateDate->setCurrentIndex(1);
    year = widgets::named(new QComboBox, "year");
    sortName = widgets::named(new QComboBox, "sortName");
    for (const auto& key : RankingDataView::sortEntries())
        sortName->addItem(QString::fromStdString(key));
    sort = widgets::named(new QCheckBox("降序"), "sort");
    sort->setChecked(true);
    queryBtn = widgets::named(new QPushButton("查询"), "queryBtn");
    exportBtn = widgets::named(new QPushButton("导出"), "exportBtn");
    deleteBtn = widgets::named(new QPushButton("删除"), "deleteBtn");
    itemTopGrid =
        widgets::named(new GridView(data_.ranking(), data_.grid(), GridView::Titles::Sort), "itemTopGrid");

    auto* bar = new QHBoxLayout;
    bar->addWidget(new QLabel("类别："));
    bar->addWidget(id);
    bar->addWidget(new QLabel("月份："));
    bar->addWidget(updateDate);
    bar->addWidget(new QLabel("年份："));
    bar->addWidget(year);
    bar->addWidget(sortName);
    bar->addWidget(sort);
    bar->addWidget(queryBtn);
    bar->addWidget(exportBtn);
    bar->addWidget(deleteBtn);
    bar->addStretch();
    saveProgress = widgets::makeSaveGauge(this);
    saveDialog = widgets::makeSaveDialog(this);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(itemTopGrid, 1);
    layout->addWidget(saveProgress);

    connect(queryBtn, &QPushButton::clicked, this, &TtopDataViewFrm::queryBtnClick);
    connect(exportBtn, &QPushButton::clicked, this, &TtopDataViewFrm::exportBtnClick);
    connect(deleteBtn, &QPushButton::clicked, this, &TtopDataViewFrm::deleteBtnClick);
    connect(itemTopGrid, &QTableView::doubleClicked, this, &TtopDataViewFrm::itemTopGridDblClick);
    connect(id, &QComboBox::currentIndexChanged, this, &TtopDataViewFrm::idChange);
    connect(updateDate, &QComboBox::currentIndexChanged, this, &TtopDataViewFrm::updateDateChange);
    connect(year, &QComboBox::currentIndexChanged, this, &TtopDataViewFrm::yearChange);

    // Opens on what was saved last, not on an empty month.
    widgets::guarded([this] {
        const int thisYear = DateTime::now().year;
        RankingChoice newest;
        newest.month = DateTime::now().month;
        newest.year = thisYear;
        if (auto saved = data_.newestSaved()) newest = *saved;
        fillYears(newest.year);
        showChoice(newest);
    });
}

void TtopDataViewFrm::fillYears(int chosen) {
    const QSignalBlocker quiet(year);
    year->clear();
    for (int saved : data_.savedYears(DateTime::now().year))
        year->addItem(QString::number(saved), saved);
    const int at = year->findData(chosen);
    year->setCurrentIndex(at >= 0 ? at : 0);
}

RankingChoice TtopDataViewFrm::choice() const {
    return {id->currentIndex(), updateDate->currentIndex(), sortName->currentIndex(), sort->isChecked(),
            year->currentData().toInt()};
}

void TtopDataViewFrm::queryBtnClick() {
    widgets::guarded([this] { data_.query(choice(), DateTime::now()); });
}

void TtopDataViewFrm::showRanking(int category, int month) {
    RankingChoice gathered;
    gathered.category = category;
    gathered.month = month;
    gathered.year = DateTime::now().year;
    fillYears(gathered.year); // a gathering may have saved the first ranking of a year
    showChoice(gathered);
}

void TtopDataViewFrm::showChoice(const RankingChoice& chosen) {
    const QSignalBlocker categoryQuiet(id), monthQuiet(updateDate), yearQuiet(year);
    id->setCurrentIndex(chosen.category);
    updateDate->setCurrentIndex(chosen.month);
    const int at = year->findData(chosen.year > 0 ? chosen.year : DateTime::now().year);
    if (at >= 0) year->setCurrentIndex(at);
    queryBtnClick();
}

void TtopDataViewFrm::exportBtnClick() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *itemTopGrid, data_.exportJob());
}

void TtopDataViewFrm::deleteBtnClick() {
    confirmAndDelete(
        this, data_.ranking(), RankingDataView::deleteQuestion(choice()),
        [this] { return data_.deleteRanking(choice(), DateTime::now()); }, kDeleteRankingFailed);
}

void TtopDataViewFrm::itemTopGridDblClick() {
    widgets::openAddress(data_.itemLink());
}

void TtopDataViewFrm::idChange() {
    queryBtnClick();
}

void TtopDataViewFrm::updateDateChange() {
    queryBtnClick();
}

void TtopDataViewFrm::yearChange() {
    queryBtnClick();
}

} // namespace vantor::views
