#include "TsaleDataViewFrm.h"

#include "HelpPages.h"
#include "ViewActions.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vantor::views {
namespace {

// A grid with its keyword box and buttons above it.
QWidget* gridPart(QLineEdit* filter, const std::vector<QPushButton*>& buttons, GridView* grid) {
    auto* part = new QWidget;
    auto* bar = new QHBoxLayout;
    bar->addWidget(new QLabel("关键字："));
    bar->addWidget(filter);
    for (auto* b : buttons)
        bar->addWidget(b);
    bar->addStretch();
    auto* layout = new QVBoxLayout(part);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(bar);
    layout->addWidget(grid, 1);
    return part;
}

} // namespace

TsaleDataViewFrm::TsaleDataViewFrm(const db::TDM& dm, QWidget* parent)
    : QWidget(parent), data_(dm, QueryReader::Mode::Background) {
    setWindowTitle("销售数据浏览");
    widgets::giveHelp(this, widgets::HelpTopic::SalesView);
    saleData = new QTabWidget;
    saleData->setObjectName("saleData");
    shopFilter = widgets::named(new QLineEdit, "shopFilter");
    itemFilter = widgets::named(new QLineEdit, "itemFilter");
    bsSkinButton1 = widgets::named(new QPushButton("过滤"), "bsSkinButton1");
    bsSkinButton2 = widgets::named(new QPushButton("删除"), "bsSkinButton2");
    bsSkinButton3 = widgets::named(new QPushButton("导出"), "bsSkinButton3");
    bsSkinButton4 = widgets::named(new QPushButton("更新下载"), "bsSkinButton4");
    itemFilterBtn = widgets::named(new QPushButton("过滤"), "itemFilterBtn");
    bsSkinButton5 = widgets::named(new QPushButton("删除"), "bsSkinButton5");
    bsSkinButton6 = widgets::named(new QPushButton("导出"), "bsSkinButton6");
    bsSkinButton7 = widgets::named(new QPushButton("导出"), "bsSkinButton7");
    dianList =
        widgets::named(new GridView(data_.shops(), data_.shopGrid(), GridView::Titles::Sort), "dianList");
    dianList->setToolTip("双击可打开店铺");
    itemGridList =
        widgets::named(new GridView(data_.items(), data_.itemGrid(), GridView::Titles::Sort), "itemGridList");
    itemGridList->setToolTip("双击可打开宝贝链接");
    itemAutionList = widgets::named(new GridView(data_.sales(), data_.saleGrid(), GridView::Titles::Sort),
                                    "itemAutionList");

    auto* goods = new QSplitter(Qt::Vertical);
    goods->addWidget(
        gridPart(shopFilter, {bsSkinButton1, bsSkinButton2, bsSkinButton3, bsSkinButton4}, dianList));
    goods->addWidget(gridPart(itemFilter, {itemFilterBtn, bsSkinButton5, bsSkinButton6}, itemGridList));
    saleData->addTab(goods, "商品资料");

    auto* sales = new QWidget;
    auto* summary = new QGridLayout;
    const std::vector<std::pair<const char*, QLabel**>> labels = {
        {"平均每次销售：", &avgSaleCount}, {"销售数量：", &saleCount}, {"销售总额：", &totalAmount},
        {"购买人数：", &buyerNums},        {"购买次数：", &buyCount},  {"平均售价：", &avgAmount},
        {"平均每人购买：", &everySaleNum},
    };
    const char* names[] = {"avgSaleCount", "saleCount", "totalAmount", "buyerNums",
                           "buyCount",     "avgAmount", "everySaleNum"};
    for (size_t i = 0; i < labels.size(); ++i) {
        *labels[i].second = widgets::named(new QLabel("0"), names[i]);
        summary->addWidget(new QLabel(labels[i].first), int(i / 4), int(i % 4) * 2);
        summary->addWidget(*labels[i].second, int(i / 4), int(i % 4) * 2 + 1);
    }
    summary->addWidget(bsSkinButton7, 1, 7, Qt::AlignRight);
    auto* salesLayout = new QVBoxLayout(sales);
    salesLayout->addWidget(itemAutionList, 1);
    salesLayout->addLayout(summary);
    saleData->addTab(sales, "销售明细");

    saveProgress = widgets::makeSaveGauge(this);
    saveDialog = widgets::makeSaveDialog(this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(saleData, 1);
    layout->addWidget(saveProgress);

    connect(saleData, &QTabWidget::currentChanged, this, &TsaleDataViewFrm::saleDataPageChange);
    connect(bsSkinButton1, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton1Click);
    connect(itemFilterBtn, &QPushButton::clicked, this, &TsaleDataViewFrm::itemFilterBtnClick);
    connect(bsSkinButton2, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton2Click);
    connect(bsSkinButton5, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton5Click);
    connect(bsSkinButton3, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton3Click);
    connect(bsSkinButton6, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton6Click);
    connect(bsSkinButton7, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton7Click);
    connect(bsSkinButton4, &QPushButton::clicked, this, &TsaleDataViewFrm::bsSkinButton4Click);
    widgets::clickOnEnter({shopFilter}, bsSkinButton1);
    widgets::clickOnEnter({itemFilter}, itemFilterBtn);
    connect(dianList, &QTableView::doubleClicked, this, &TsaleDataViewFrm::dianListDblClick);
    connect(itemGridList, &QTableView::doubleClicked, this, &TsaleDataViewFrm::itemGridListDblClick);

    widgets::addWatchAction(dianList, [this] {
        if (data_.shops().current() >= 0) emit watchRequested(QString::fromStdString(data_.shopAddress()));
    });

    widgets::guarded([this] { data_.formCreate(); });
}

void TsaleDataViewFrm::showSummary(const ItemSummary& summary) {
    avgSaleCount->setText(QString::fromStdString(summary.avgSaleCount));
    saleCount->setText(QString::fromStdString(summary.saleCount));
    totalAmount->setText(QString::fromStdString(summary.totalAmount));
    buyerNums->setText(QString::fromStdString(summary.buyerNums));
    buyCount->setText(QString::fromStdString(summary.buyCount));
    avgAmount->setText(QString::fromStdString(summary.avgAmount));
    everySaleNum->setText(QString::fromStdString(summary.everySaleNum));
}

void TsaleDataViewFrm::saleDataPageChange(int page) {
    ItemSummary summary{avgSaleCount->text().toStdString(), saleCount->text().toStdString(),
                        totalAmount->text().toStdString(),  buyerNums->text().toStdString(),
                        buyCount->text().toStdString(),     avgAmount->text().toStdString(),
                        everySaleNum->text().toStdString()};
    // The labels set before a failure keep their new texts.
    widgets::guarded([&] { data_.pageChange(page, summary); });
    showSummary(summary);
}

void TsaleDataViewFrm::bsSkinButton1Click() {
    widgets::guarded([this] { data_.filterShops(shopFilter->text().toStdString()); });
}

void TsaleDataViewFrm::itemFilterBtnClick() {
    widgets::guarded([this] { data_.filterItems(itemFilter->text().toStdString()); });
}

void TsaleDataViewFrm::bsSkinButton2Click() {
    if (confirmAndDelete(
            this, data_.shops(), kDeleteShopQuestion, [this] { return data_.deleteShop(); }, kDeleteFailed))
        emit dataChanged();
}

void TsaleDataViewFrm::bsSkinButton5Click() {
    if (confirmAndDelete(
            this, data_.items(), kDeleteItemQuestion, [this] { return data_.deleteItem(); }, kDeleteFailed))
        emit dataChanged();
}

void TsaleDataViewFrm::reload() {
    widgets::guarded([this] { data_.reload(); });
    saleDataPageChange(saleData->currentIndex());
}

void TsaleDataViewFrm::bsSkinButton3Click() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *dianList, data_.shopExport(DateTime::now()));
}

void TsaleDataViewFrm::bsSkinButton6Click() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *itemGridList, data_.itemExport(DateTime::now()));
}

void TsaleDataViewFrm::bsSkinButton7Click() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *itemAutionList, data_.saleExport(DateTime::now()));
}

void TsaleDataViewFrm::bsSkinButton4Click() {
    if (auto shop = data_.shopForDownload()) emit updateDownloadRequested(*shop);
}

void TsaleDataViewFrm::dianListDblClick() {
    widgets::openAddress(data_.shopAddress());
}

void TsaleDataViewFrm::itemGridListDblClick() {
    widgets::openAddress(data_.itemAddress());
}

} // namespace vantor::views
