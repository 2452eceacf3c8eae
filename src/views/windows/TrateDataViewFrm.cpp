#include "TrateDataViewFrm.h"

#include "HelpPages.h"
#include "ViewActions.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vantor::views {
namespace {

QComboBox* choices(const char* name, const std::vector<std::string>& entries) {
    auto* combo = widgets::named(new QComboBox, name);
    for (const auto& entry : entries)
        combo->addItem(QString::fromStdString(entry));
    return combo;
}

QSpinBox* price(const char* name) {
    auto* spin = widgets::named(new QSpinBox, name);
    spin->setRange(0, 99999999);
    return spin;
}

// A date box whose untouched text is the empty mask "    -  -  ".
QLineEdit* dateBox(const char* name) {
    auto* edit = widgets::named(new QLineEdit, name);
    edit->setInputMask("0000-00-00; ");
    return edit;
}

QPlainTextEdit* memo(const char* name) {
    auto* edit = widgets::named(new QPlainTextEdit, name);
    edit->setReadOnly(true);
    return edit;
}

} // namespace

TrateDataViewFrm::TrateDataViewFrm(const db::TDM& dm, QWidget* parent)
    : QWidget(parent), data_(dm, QueryReader::Mode::Background) {
    setWindowTitle("评价数据浏览");
    widgets::giveHelp(this, widgets::HelpTopic::RatingView);
    rateData = widgets::named(new QTabWidget, "rateData");

    nick = widgets::named(new QLineEdit, "nick");
    shop = widgets::named(new QLineEdit, "shop");
    loc = widgets::named(new QLineEdit, "loc");
    tag = widgets::named(new QLineEdit, "tag");
    level = choices("level", RatingDataView::levelEntries());
    bsSkinButton1 = widgets::named(new QPushButton("查找"), "bsSkinButton1");
    findResult_l = widgets::named(new QLabel("当前共有：0家店铺"), "findResult_l");
    bsSkinButton3 = widgets::named(new QPushButton("删除掌柜"), "bsSkinButton3");
    bsSkinButton4 = widgets::named(new QPushButton("导出掌柜"), "bsSkinButton4");
    dianbaseGrid =
        widgets::named(new GridView(data_.shops(), data_.shopGrid(), GridView::Titles::Sort), "dianbaseGrid");

    auto* search = new QGridLayout;
    const std::vector<std::pair<const char*, QWidget*>> boxes = {
        {"掌柜名：", nick}, {"店铺名：", shop}, {"地址：", loc}, {"主营：", tag}, {"信用级别：", level}};
    for (size_t i = 0; i < boxes.size(); ++i) {
        search->addWidget(new QLabel(boxes[i].first), 0, int(i) * 2);
        search->addWidget(boxes[i].second, 0, int(i) * 2 + 1);
    }
    search->addWidget(bsSkinButton1, 0, 10);
    auto* shopBar = new QHBoxLayout;
    shopBar->addWidget(findResult_l);
    shopBar->addStretch();
    shopBar->addWidget(bsSkinButton3);
    shopBar->addWidget(bsSkinButton4);

    auto* detailForm = new QFormLayout;
    for (const auto& field : RatingDataView::detailFields()) {
        auto* edit = widgets::named(new QLineEdit, field.field);
        edit->setReadOnly(true);
        // Wide enough for a stored date and time as a whole.
        edit->setMinimumWidth(edit->fontMetrics().horizontalAdvance("0000-00-00 00:00:00") + 16);
        details.push_back(edit);
        detailForm->addRow(QString(field.label) + "：", edit);
    }
    auto* detailPane = new QWidget;
    detailPane->setLayout(detailForm);
    auto* shopSplit = new QSplitter;
    shopSplit->addWidget(dianbaseGrid);
    shopSplit->addWidget(detailPane);
    shopSplit->setStretchFactor(0, 3);

    auto* shops = new QWidget;
    auto* shopsLayout = new QVBoxLayout(shops);
    shopsLayout->addLayout(search);
    shopsLayout->addLayout(shopBar);
    shopsLayout->addWidget(shopSplit, 1);
    rateData->addTab(shops, "掌柜资料");

    pjName = widgets::named(new QLineEdit, "pjName");
    item = widgets::named(new QLineEdit, "item");
    pj = choices("pj", RatingDataView::pjEntries());
    jg1 = price("jg1");
    jg2 = price("jg2");
    sj1 = dateBox("sj1");
    sj2 = dateBox("sj2");
    bsSkinButton2 = widgets::named(new QPushButton("查找"), "bsSkinButton2");
    rate_l = widgets::named(new QLabel("当前共有：0条评价"), "rate_l");
    bsSkinButton5 = widgets::named(new QPushButton("导出"), "bsSkinButton5");
    rateListGrid = widgets::named(new GridView(data_.ratings(), data_.rateGrid(), GridView::Titles::Sort),
                                  "rateListGrid");
    pjInfo = memo("pjInfo");
    pjjs = memo("pjjs");

    auto* filter = new QGridLayout;
    filter->addWidget(new QLabel("评价人："), 0, 0);
    filter->addWidget(pjName, 0, 1);
    filter->addWidget(new QLabel("宝贝："), 0, 2);
    filter->addWidget(item, 0, 3);
    filter->addWidget(new QLabel("评价："), 0, 4);
    filter->addWidget(pj, 0, 5);
    filter->addWidget(new QLabel("价格："), 1, 0);
    filter->addWidget(jg1, 1, 1);
    filter->addWidget(new QLabel("到"), 1, 2);
    filter->addWidget(jg2, 1, 3);
    filter->addWidget(new QLabel("评价时间："), 1, 4);
    filter->addWidget(sj1, 1, 5);
    filter->addWidget(new QLabel("到"), 1, 6);
    filter->addWidget(sj2, 1, 7);
    filter->addWidget(bsSkinButton2, 1, 8);
    auto* rateBar = new QHBoxLayout;
    rateBar->addWidget(rate_l);
    rateBar->addStretch();
    rateBar->addWidget(bsSkinButton5);
    auto* memos = new QFormLayout;
    memos->addRow("  评 价", pjInfo);
    memos->addRow("  解 释", pjjs);

    auto* ratings = new QWidget;
    auto* ratingsLayout = new QVBoxLayout(ratings);
    ratingsLayout->addLayout(filter);
    ratingsLayout->addLayout(rateBar);
    ratingsLayout->addWidget(rateListGrid, 1);
    ratingsLayout->addLayout(memos);
    rateData->addTab(ratings, "评价资料");

    saveProgress = widgets::makeSaveGauge(this);
    saveDialog = widgets::makeSaveDialog(this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(rateData, 1);
    layout->addWidget(saveProgress);

    connect(rateData, &QTabWidget::currentChanged, this, &TrateDataViewFrm::rateDataPageChange);
    connect(bsSkinButton1, &QPushButton::clicked, this, &TrateDataViewFrm::bsSkinButton1Click);
    widgets::clickOnEnter({nick, shop, loc, tag}, bsSkinButton1);
    widgets::clickOnEnter({pjName, item, sj1, sj2}, bsSkinButton2);
    connect(bsSkinButton2, &QPushButton::clicked, this, &TrateDataViewFrm::bsSkinButton2Click);
    connect(bsSkinButton3, &QPushButton::clicked, this, &TrateDataViewFrm::bsSkinButton3Click);
    connect(bsSkinButton4, &QPushButton::clicked, this, &TrateDataViewFrm::bsSkinButton4Click);
    connect(bsSkinButton5, &QPushButton::clicked, this, &TrateDataViewFrm::bsSkinButton5Click);
    widgets::addWatchAction(dianbaseGrid, [this] {
        if (data_.shops().current() >= 0) emit watchRequested(QString::fromStdString(data_.shopAddress()));
    });
    connect(dianbaseGrid, &QTableView::doubleClicked, this, &TrateDataViewFrm::dianbaseGridDblClick);
    connect(dianbaseGrid->gridModel(), &GridModel::currentRowChanged, this, &TrateDataViewFrm::showShop);
    connect(rateListGrid->gridModel(), &GridModel::currentRowChanged, this, &TrateDataViewFrm::showRating);

    widgets::guarded([this] {
        data_.formCreate();
        findResult_l->setText(QString::fromStdString(data_.findResultText()));
    });
    showShop();
}

void TrateDataViewFrm::showShop() {
    const auto& fields = RatingDataView::detailFields();
    // Shown from their first character: a long address or a date and time read from the left.
    for (size_t i = 0; i < fields.size(); ++i) {
        details[i]->setText(QString::fromStdString(data_.shops().currentText(fields[i].field)));
        details[i]->setCursorPosition(0);
    }
}

void TrateDataViewFrm::showRating() {
    pjInfo->setPlainText(QString::fromStdString(data_.ratings().currentText("pjInfo")));
    pjjs->setPlainText(QString::fromStdString(data_.ratings().currentText("pjjs")));
}

void TrateDataViewFrm::rateDataPageChange(int page) {
    widgets::guarded([&] {
        data_.pageChange(page);
        if (page == RatingDataView::kRatingPage)
            rate_l->setText(QString::fromStdString(data_.rateCountText()));
    });
}

void TrateDataViewFrm::bsSkinButton1Click() {
    widgets::guarded([this] {
        data_.searchShops({nick->text().toStdString(), shop->text().toStdString(), loc->text().toStdString(),
                           tag->text().toStdString(), level->currentIndex()});
        findResult_l->setText(QString::fromStdString(data_.findResultText()));
    });
}

void TrateDataViewFrm::bsSkinButton2Click() {
    widgets::guarded([this] {
        data_.filterRatings({pjName->text().toStdString(), item->text().toStdString(), pj->currentIndex(),
                             jg1->value(), jg2->value(), sj1->displayText().toStdString(),
                             sj2->displayText().toStdString()});
        rate_l->setText(QString::fromStdString(data_.rateCountText()));
    });
}

void TrateDataViewFrm::bsSkinButton3Click() {
    if (confirmAndDelete(
            this, data_.shops(), kDeleteShopkeeperQuestion, [this] { return data_.deleteShop(); },
            kDeleteFailed)) {
        findResult_l->setText(QString::fromStdString(data_.findResultText()));
        if (data_.ratings().isOpen()) rate_l->setText(QString::fromStdString(data_.rateCountText()));
        showShop();
        emit dataChanged();
    }
}

void TrateDataViewFrm::reload() {
    widgets::guarded([this] {
        data_.reload();
        findResult_l->setText(QString::fromStdString(data_.findResultText()));
    });
    rateDataPageChange(rateData->currentIndex());
}

void TrateDataViewFrm::bsSkinButton4Click() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *dianbaseGrid, data_.shopExport(DateTime::now()));
}

void TrateDataViewFrm::bsSkinButton5Click() {
    widgets::exportRows(this, *saveDialog, *saveProgress, *rateListGrid, data_.ratingExport(DateTime::now()));
}

void TrateDataViewFrm::dianbaseGridDblClick() {
    widgets::openAddress(data_.shopAddress());
}

} // namespace vantor::views
