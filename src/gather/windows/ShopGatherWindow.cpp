#include "ShopGatherWindow.h"

#include "UserMessages.h"
#include "WindowActions.h"
#include "gather/GatherTexts.h"
#include "market/CategoryTable.h"
#include "market/SellerLevel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vantor {

namespace {

QString q8(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

enum Panel { SearchForm = 0, SearchProgress = 1, GatherProgress = 2 };
constexpr int kSelectColumn = 1;

} // namespace

// Passes what the search and the gathering report on their threads to the window's thread.
class ShopGatherWindow::Bridge : public gather::ShopSearchObserver, public gather::GatherObserver {
public:
    explicit Bridge(ShopGatherWindow* window) : window_(window) {}

    void searchTotal(int total) override {
        post([total](ShopGatherWindow* w) {
            w->totalFound_ = total;
            w->searchState->setText(QString("共搜索到%1家符合条件的店铺").arg(total));
        });
    }
    void shopsFound(const std::vector<TDianBaseInfo>& shops) override {
        post([shops](ShopGatherWindow* w) { w->addShops(shops); });
    }
    void statusLine(const std::string& text) override {
        post([text = q8(text)](ShopGatherWindow* w) { emit w->statusLine(text); });
    }
    void searchEnded(gather::JobEnd end, int listed, const std::string&) override {
        post([end, listed](ShopGatherWindow* w) { w->searchEnded(end, listed); });
    }
    void shopStarted(int index, int, const TDianBaseInfo& shop) override {
        post([index, name = q8(shop.dianzhu.empty() ? shop.webaddr : shop.dianzhu)](ShopGatherWindow* w) {
            w->shopLabel->setText(w->shopText(index, name));
            w->currentShop_ = index;
            w->showItemCount();
        });
    }
    void stageText(const std::string& text) override {
        post([text = q8(text)](ShopGatherWindow* w) { w->stageLabel->setText(text); });
    }
    void shopItemsGathered(int index, int count, int total) override {
        post([index, count, total](ShopGatherWindow* w) {
            w->shopItems_[index] = count;
            w->gathered_ = total;
            w->showItemCount();
        });
    }
    void ratingsGathered(int count) override {
        post([count](ShopGatherWindow* w) {
            w->gathered_ = count;
            w->showItemCount();
        });
    }
    void shopProgress(int index, int done, int expected) override {
        post([index, done, expected](ShopGatherWindow* w) { w->run->step(index, done, expected); });
    }
    void shopFinished(int done, int) override {
        post([done](ShopGatherWindow* w) {
            w->doneLabel->setText(QString("已下载：%1家店铺").arg(done));
            w->shopsDone_ = done;
            w->run->finished(done);
        });
    }
    void message(const std::string& text) override {
        post([text = q8(text)](ShopGatherWindow* w) { widgets::UserMessages::show(w, text); });
    }
    void gatherEnded(gather::JobEnd end, const std::string& detail,
                     const gather::GatherTally& saved) override {
        post([end, summary = q8(gather::gatherSummary(end, saved, detail))](ShopGatherWindow* w) {
            w->gatherEnded(end, summary);
        });
    }

private:
    template <class Change> void post(Change change) {
        ShopGatherWindow* window = window_;
        QMetaObject::invokeMethod(
            window, [window, change] { change(window); }, Qt::QueuedConnection);
    }
    ShopGatherWindow* window_;
};

ShopGatherWindow::ShopGatherWindow(const ShopGatherTexts& texts, download::AgentSource agent, db::TDM& dm,
                                   QWidget* parent)
    : QWidget(parent),
      texts_(texts),
      agent_(std::move(agent)),
      dm_(dm),
      bridge_(std::make_unique<Bridge>(this)) {
    setWindowTitle(texts.caption);

    // The advanced search page.
    q = new QLineEdit;
    title = new QCheckBox("店铺名");
    nick = new QCheckBox("掌柜名");
    tag = new QCheckBox("主营项目");
    title->setChecked(true);
    id = new QComboBox;
    for (const auto& category : market::shopSearchCategories())
        id->addItem(q8(category.name));
    loc = new QLineEdit;
    // The levels as the result grid's "信用级别" shows them: a row each of hearts, diamonds, crowns and
    // gold crowns.
    auto* levels = new QGroupBox("信用级别");
    auto* levelGrid = new QGridLayout(levels);
    for (int i = 0; i < gather::kCreditLevels; ++i) {
        ratesum[i] = new QCheckBox(q8(market::sellerLevelText(i + 1)));
        ratesum[i]->setObjectName(QString("ratesum%1").arg(i + 1));
        ratesum[i]->setToolTip(QString("信用级别%1").arg(i + 1));
        levelGrid->addWidget(ratesum[i], i / 5, i % 5);
    }
    sort1 = new QRadioButton(texts.byCredit);
    sort2 = new QRadioButton(texts.byPopularity);
    sort1->setChecked(true);
    searchPageSel = new QSlider(Qt::Horizontal);
    searchPageSel->setRange(gather::kMinSearchRange, gather::kMaxSearchRange);
    searchPageSel->setValue(gather::kDefaultSearchRange);
    searchRange = new QLabel(QString::number(gather::kDefaultSearchRange));
    search = new QPushButton("搜索");

    auto* form = new QWidget;
    auto* formLayout = new QFormLayout(form);
    auto* fields = new QHBoxLayout;
    fields->addWidget(title);
    fields->addWidget(nick);
    fields->addWidget(tag);
    fields->addStretch();
    formLayout->addRow("关键字：", q);
    formLayout->addRow("", fields);
    formLayout->addRow("类别：", id);
    formLayout->addRow("所在地：", loc);
    formLayout->addRow(levels);
    auto* order = new QHBoxLayout;
    order->addWidget(sort1);
    order->addWidget(sort2);
    order->addStretch();
    formLayout->addRow("排序：", order);
    auto* range = new QHBoxLayout;
    range->addWidget(searchPageSel, 1);
    range->addWidget(searchRange);
    formLayout->addRow("搜索范围：", range);
    formLayout->addRow("", search);

    // Progress of a search.
    auto* searching = new QWidget;
    auto* searchingLayout = new QVBoxLayout(searching);
    searchState = new QLabel("正在采集数据");
    cancelDownSearch = new QPushButton("取消");
    searchingLayout->addWidget(searchState);
    run = new RunGauges(this);
    totalGauge = run->total;
    auto* searchBars = new QVBoxLayout;
    searchingLayout->addLayout(searchBars);
    searchingLayout->addWidget(cancelDownSearch, 0, Qt::AlignLeft);
    searchingLayout->addStretch();

    // Progress of a gathering.
    auto* gathering = new QWidget;
    auto* gatheringLayout = new QVBoxLayout(gathering);
    needLabel = new QLabel("共需下载：0家店铺");
    doneLabel = new QLabel("已下载：0家店铺");
    shopLabel = new QLabel;
    stageLabel = new QLabel("正在处理");
    itemsLabel = new QLabel(QString(texts.gathered).arg(0));
    saveGauge = new QProgressBar;
    saveGauge->setObjectName("saveGauge");
    saveGauge->setFormat("保存：%p%");
    saveProgress_ = std::make_unique<QtProgress>(saveGauge);
    dianStopBtn = new QPushButton("停止下载");
    for (QWidget* w : std::initializer_list<QWidget*>{needLabel, doneLabel, totalGauge, run->remaining,
                                                      shopLabel, stageLabel, itemsLabel})
        gatheringLayout->addWidget(w);
    auto* gatherBars = new QVBoxLayout;
    gatheringLayout->addLayout(gatherBars);
    gatheringLayout->addWidget(saveGauge);
    gatheringLayout->addWidget(dianStopBtn, 0, Qt::AlignLeft);
    gatheringLayout->addStretch();

    panels = new QStackedWidget;
    panels->addWidget(form);
    panels->addWidget(searching);
    panels->addWidget(gathering);
    // The slot bars belong to whichever panel runs a job.
    connect(panels, &QStackedWidget::currentChanged, this, [this, searchBars, gatherBars](int panel) {
        (panel == GatherProgress ? gatherBars : searchBars)->addWidget(run->slotPanel);
    });
    searchBars->addWidget(run->slotPanel);

    auto* logBox = new QGroupBox("搜索日志");
    auto* logLayout = new QVBoxLayout(logBox);
    searchMemoLog = new QPlainTextEdit;
    searchMemoLog->setReadOnly(true);
    logLayout->addWidget(searchMemoLog);

    auto* searchPage = new QWidget;
    auto* searchPageLayout = new QHBoxLayout(searchPage);
    searchPageLayout->addWidget(panels, 3);
    searchPageLayout->addWidget(logBox, 2);

    // The result page.
    searchGrid = widgets::makeResultGrid(gather::searchGridColumns(), "searchGrid");
    selAll = new QPushButton(texts.selectAll);
    cancelSel = new QPushButton(texts.cancelAll);
    saveSearch = new QPushButton(texts.start);
    auto* resultPage = new QWidget;
    auto* resultLayout = new QVBoxLayout(resultPage);
    resultLayout->addWidget(searchGrid);
    auto* actions = new QHBoxLayout;
    actions->addWidget(selAll);
    actions->addWidget(cancelSel);
    actions->addStretch();
    gatherOptions = new QHBoxLayout;
    actions->addLayout(gatherOptions);
    actions->addWidget(saveSearch);
    resultLayout->addLayout(actions);

    pages = new QTabWidget;
    pages->addTab(searchPage, "高级搜索");
    pages->addTab(resultPage, "搜索结果");
    resultLabel = widgets::makeOutcomeLabel();
    resumeBtn = new QPushButton;
    resumeBtn->hide();
    auto* outcomeRow = new QHBoxLayout;
    outcomeRow->addWidget(resultLabel, 1);
    outcomeRow->addWidget(resumeBtn, 0, Qt::AlignRight);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(outcomeRow);
    layout->addWidget(pages, 1);

    connect(searchPageSel, &QSlider::valueChanged, this,
            [this](int value) { searchRange->setText(QString::number(value)); });
    connect(search, &QPushButton::clicked, this, &ShopGatherWindow::searchClick);
    connect(q, &QLineEdit::returnPressed, this, &ShopGatherWindow::searchClick);
    connect(loc, &QLineEdit::returnPressed, this, &ShopGatherWindow::searchClick);
    connect(cancelDownSearch, &QPushButton::clicked, this, &ShopGatherWindow::cancelDownSearchClick);
    // "选择" is a check box of its own: a click elsewhere in the row only selects the row. A tick changed
    // while a run goes on does not touch it: the run took its shops when it started.
    // A double-click opens the shop in the browser, to look before ticking it.
    connect(searchGrid, &QTableWidget::cellDoubleClicked, this, [this](int row, int) {
        if (row >= 0 && row < int(shops_.size())) widgets::openAddress(shops_[size_t(row)].webaddr);
    });
    widgets::addWatchAction(searchGrid, [this] {
        const int row = searchGrid->currentRow();
        if (row >= 0 && row < int(shops_.size())) emit watchRequested(q8(shops_[size_t(row)].webaddr));
    });
    connect(selAll, &QPushButton::clicked, this, [this] { markAll(true); });
    connect(cancelSel, &QPushButton::clicked, this, [this] { markAll(false); });
    connect(saveSearch, &QPushButton::clicked, this, &ShopGatherWindow::saveSearchClick);
    connect(dianStopBtn, &QPushButton::clicked, this, &ShopGatherWindow::dianStopBtnClick);
    connect(resumeBtn, &QPushButton::clicked, this, &ShopGatherWindow::resumeClick);
}

void ShopGatherWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refreshResumeOffer();
}

void ShopGatherWindow::refreshResumeOffer() {
    std::optional<gather::UnfinishedRun> run;
    if (!busy()) try {
            run = unfinishedRun();
        } catch (const std::exception&) {
            // A database that cannot be read now offers nothing; the gathering will say why.
        }
    if (run) resumeBtn->setText(q8(gather::resumeOfferText(run->shops.size())));
    resumeBtn->setVisible(run.has_value());
}

ShopGatherWindow::~ShopGatherWindow() {
    stopAndWait();
}

void ShopGatherWindow::stopAndWait() {
    // The jobs call back into this window: they end before it does, and their last reports, still
    // queued, are dropped (no message box on the way out).
    search_.reset();
    gathering_.reset();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

void ShopGatherWindow::showOutcome(const QString& text) {
    resultLabel->setText(text);
    resultLabel->setVisible(!text.isEmpty());
}

std::vector<download::SlotProgress*> ShopGatherWindow::slotGauges() {
    return run->slotProgress(agent_()->Slots);
}

void ShopGatherWindow::showItemCount() {
    QString text = QString(texts_.gathered).arg(gathered_);
    const auto shop = shopItems_.find(currentShop_);
    if (texts_.shopGathered && shop != shopItems_.end())
        text += QString(texts_.shopGathered).arg(shop->second);
    itemsLabel->setText(text);
}

void ShopGatherWindow::searchClick() {
    if (busy()) return;
    gather::ShopSearchQuery query;
    query.keyword = q->text().toStdString();
    query.inTitle = title->isChecked();
    query.inNick = nick->isChecked();
    query.inTag = tag->isChecked();
    query.category = id->currentIndex();
    query.location = loc->text().toStdString();
    for (int i = 0; i < gather::kCreditLevels; ++i)
        if (ratesum[i]->isChecked()) query.levels.insert(i + 1);
    query.byPopularity = sort2->isChecked();
    query.ratingOrderKeys = texts_.ratingOrderKeys;
    query.range = searchPageSel->value();
    if (auto refused = gather::validateShopSearch(query)) {
        widgets::UserMessages::show(this, *refused);
        return;
    }
    searchMemoLog->appendPlainText(q8(gather::shopSearchLog(query, ++searches_, DateTime::now())));
    searchGrid->setRowCount(0);
    shops_.clear();
    totalFound_ = 0;
    showOutcome({});
    searchState->setText("正在采集数据");
    panels->setCurrentIndex(SearchProgress);
    search_ = std::make_unique<gather::ShopSearchJob>(query, agent_(), slotGauges(), *bridge_);
    search_->start();
}

void ShopGatherWindow::cancelDownSearchClick() {
    if (search_) search_->stop();
}

void ShopGatherWindow::addShops(const std::vector<TDianBaseInfo>& shops) {
    for (const auto& shop : shops) {
        shops_.push_back(shop);
        int row = searchGrid->rowCount();
        searchGrid->insertRow(row);
        auto cells = gather::searchGridRow(row + 1, shop);
        for (int c = 0; c < int(cells.size()); ++c) {
            auto* item = new QTableWidgetItem(q8(cells[size_t(c)]));
            if (c == kSelectColumn) {
                item->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled | Qt::ItemIsSelectable);
                item->setCheckState(Qt::Unchecked);
            }
            searchGrid->setItem(row, c, item);
        }
    }
}

void ShopGatherWindow::searchEnded(gather::JobEnd end, int listed) {
    search_.reset();
    panels->setCurrentIndex(SearchForm);
    const QString outcome = q8(searchSummary(end, listed, totalFound_));
    searchState->setText(outcome);
    showOutcome(outcome);
    if (listed > 0) pages->setCurrentIndex(1);
}

void ShopGatherWindow::takeShops(const std::vector<TDianBaseInfo>& shops, bool ticked) {
    if (busy()) return;
    searchGrid->setRowCount(0);
    shops_.clear();
    addShops(shops);
    if (ticked) markAll(true);
    // A new list: the last run's outcome no longer speaks of it.
    showOutcome({});
    pages->setCurrentIndex(1);
}

bool ShopGatherWindow::isTicked(int row) const {
    const QTableWidgetItem* mark = searchGrid->item(row, kSelectColumn);
    return mark && mark->checkState() == Qt::Checked;
}

void ShopGatherWindow::tick(int row, bool ticked) {
    if (busy() || row < 0 || row >= searchGrid->rowCount()) return;
    searchGrid->item(row, kSelectColumn)->setCheckState(ticked ? Qt::Checked : Qt::Unchecked);
}

void ShopGatherWindow::markAll(bool ticked) {
    if (busy()) return;
    for (int row = 0; row < searchGrid->rowCount(); ++row)
        searchGrid->item(row, kSelectColumn)->setCheckState(ticked ? Qt::Checked : Qt::Unchecked);
}

void ShopGatherWindow::saveSearchClick() {
    if (busy() || !formAccepted()) return;
    std::vector<TDianBaseInfo> ticked;
    for (int row = 0; row < searchGrid->rowCount(); ++row)
        if (isTicked(row) && !searchGrid->item(row, 0)->text().isEmpty())
            ticked.push_back(shops_[size_t(row)]);
    if (ticked.empty()) {
        widgets::UserMessages::show(this, gather::kNoShopTicked);
        return;
    }
    const size_t count = ticked.size();
    startGathering(
        count, [&](const auto& database, auto gauges, gather::GatherObserver& observer, ProgressGauge* save) {
            return makeGathering(std::move(ticked), database, std::move(gauges), observer, save);
        });
}

void ShopGatherWindow::resumeClick() {
    if (busy()) return;
    std::optional<gather::UnfinishedRun> run;
    try {
        run = unfinishedRun();
    } catch (const std::exception& e) {
        widgets::UserMessages::show(this, e.what());
    }
    if (!run) {
        refreshResumeOffer();
        return;
    }
    const size_t count = run->shops.size();
    startGathering(
        count, [&](const auto& database, auto gauges, gather::GatherObserver& observer, ProgressGauge* save) {
            return makeResumedGathering(std::move(*run), database, std::move(gauges), observer, save);
        });
}

void ShopGatherWindow::startGathering(size_t shops, const MakeRun& make) {
    needLabel->setText(QString("共需下载：%1家店铺").arg(shops));
    doneLabel->setText("已下载：0家店铺");
    shopLabel->clear();
    stageLabel->setText("正在处理");
    currentShop_ = -1;
    shopsDone_ = 0;
    shopsCount_ = int(shops);
    shopItems_.clear();
    gathered_ = 0;
    showItemCount();
    saveGauge->setValue(0);
    run->start(int(shops));
    showOutcome({});
    resumeBtn->hide();
    pages->setCurrentIndex(0);
    panels->setCurrentIndex(GatherProgress);
    dm_.open();
    gathering_ = make(dm_.store(), slotGauges(), *bridge_, saveProgress_.get());
    gathering_->start();
}

QString ShopGatherWindow::stopLoss() const {
    return gathering_ ? q8(gather::salesStopLoss(shopsDone_, shopsCount_)) : QString();
}

void ShopGatherWindow::dianStopBtnClick() {
    if (!gathering_) return;
    if (askBeforeStop() && !widgets::UserMessages::confirm(this, "确定要停止采集吗？\n" + stopLoss())) return;
    // The run may have ended while the question was open.
    if (!gathering_) return;
    gathering_->stop();
    stageLabel->setText(gather::kGatherStopped);
}

void ShopGatherWindow::gatherEnded(gather::JobEnd end, const QString& summary) {
    gathering_.reset();
    run->end(end == gather::JobEnd::Finished);
    stageLabel->setText(end == gather::JobEnd::Finished  ? gather::kGatherFinished
                        : end == gather::JobEnd::Stopped ? gather::kGatherStopped
                                                         : gather::kGatherFailed);
    panels->setCurrentIndex(SearchForm);
    searchMemoLog->appendPlainText(summary);
    showOutcome(summary);
    refreshResumeOffer();
    if (end == gather::JobEnd::Stopped) widgets::UserMessages::show(this, gather::kGatherStopped);
    emit gatheringEnded();
}

} // namespace vantor
