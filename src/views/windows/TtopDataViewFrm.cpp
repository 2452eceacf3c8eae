#include "TtopDataViewFrm.h"

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
    setWindowTitle("商品排行数据");
    id = named(new QComboBox, "id");
    for (const auto& category : categoryBrowseCategories())
        id->addItem(QString::fromStdString(category.name));
    updateDate = named(new QComboBox, "updateDate");
    for (const auto& month : RankingDataView::monthEntries())
        updateDate->addItem(QString::fromStdString(month));
    updateDate->setCurrentIndex(1);
    sortName = named(new QComboBox, "sortName");
    for (const auto& key : RankingDataView::sortEntries())
        sortName->addItem(QString::fromStdString(key));
    sort = named(new QCheckBox("降序"), "sort");
    sort->setChecked(true);
    queryBtn = named(new QPushButton("查询"), "queryBtn");
    exportBtn = named(new QPushButton("导出"), "exportBtn");
    deleteBtn = named(new QPushButton("删除"), "deleteBtn");
    itemTopGrid = named(new GridView(data_.ranking(), data_.grid(), GridView::Titles::Sort), "itemTopGrid");

    auto* bar = new QHBoxLayout;
    bar->addWidget(new QLabel("类别："));
    bar->addWidget(id);
    bar->addWidget(new QLabel("月份："));
    bar->addWidget(updateDate);
    bar->addWidget(sortName);
    bar->addWidget(sort);
    bar->addWidget(queryBtn);
    bar->addWidget(exportBtn);
    bar->addWidget(deleteBtn);
    bar->addStretch();
    saveProgress = makeSaveGauge(this);
    saveDialog = makeSaveDialog(this);
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
}

RankingChoice TtopDataViewFrm::choice() const {
    return {id->currentIndex(), updateDate->currentIndex(), sortName->currentIndex(), sort->isChecked()};
}

void TtopDataViewFrm::queryBtnClick() {
    guarded([this] { data_.query(choice(), DateTime::now()); });
}

void TtopDataViewFrm::showRanking(int category, int month) {
    const QSignalBlocker categoryQuiet(id), monthQuiet(updateDate);
    id->setCurrentIndex(category);
    updateDate->setCurrentIndex(month);
    queryBtnClick();
}

void TtopDataViewFrm::exportBtnClick() {
    exportRows(this, *saveDialog, *saveProgress, *itemTopGrid, data_.exportJob());
}

void TtopDataViewFrm::deleteBtnClick() {
    confirmAndDelete(
        this, data_.ranking(), kDeleteRankingQuestion,
        [this] { return data_.deleteRanking(choice(), DateTime::now()); }, kDeleteRankingFailed);
}

void TtopDataViewFrm::itemTopGridDblClick() {
    openAddress(data_.itemLink());
}

void TtopDataViewFrm::idChange() {
    queryBtnClick();
}

void TtopDataViewFrm::updateDateChange() {
    queryBtnClick();
}

} // namespace vantor::views
