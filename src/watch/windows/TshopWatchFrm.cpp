#include "TshopWatchFrm.h"

#include "DesktopNotice.h"
#include "HelpPages.h"
#include "UserMessages.h"
#include "WindowActions.h"
#include "gather/GatherTexts.h"
#include "gather/SalesGathering.h"
#include "watch/WatchPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QTableWidget>
#include <QTimeEdit>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineView>

namespace vantor {

namespace {

constexpr const char* kDateFormat = "yyyy-MM-dd";
constexpr int kReportDays = 30; // the dates the report and the chart open with
enum ScheduleIndex { Daily = 0, EveryHours = 1, Off = 2 };

QString q8(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

std::string day(const QDateEdit* edit) {
    return edit->date().toString(kDateFormat).toStdString();
}

QDateEdit* dateEdit(const QDate& date, const char* name) {
    auto* edit = widgets::named(new QDateEdit(date), name);
    edit->setDisplayFormat(kDateFormat);
    edit->setCalendarPopup(true);
    return edit;
}

} // namespace

TshopWatchFrm::TshopWatchFrm(download::AgentSource agent, db::TDM& dm, const DataFolder& folder,
                             QWidget* parent)
    : QWidget(parent), agent_(std::move(agent)), dm_(dm), settings_(folder.config()), gallery_(folder) {
    setWindowTitle("店铺监控");
    widgets::giveHelp(this, widgets::HelpTopic::ShopWatch);

    // The watch list and how shops join it.
    watchGrid =
        widgets::makeResultGrid(watch::listColumns(), "watchGrid", {110, 95, 215, 70, 60, 135, 125, 70});
    watchGrid->setToolTip("双击可打开店铺");
    address = widgets::named(new QLineEdit, "address");
    address->setPlaceholderText("店铺网址，如 http://shop12345.taobao.com");
    itemCount = widgets::named(new QSpinBox, "itemCount");
    itemCount->setRange(1, gather::kMaxItemsPerShop);
    itemCount->setValue(gather::kDefaultItemsPerShop);
    followRatings = widgets::named(new QCheckBox("跟踪评价"), "followRatings");
    addBtn = widgets::named(new QPushButton("加入监控"), "addBtn");
    removeBtn = widgets::named(new QPushButton("移除"), "removeBtn");
    updateBtn = widgets::named(new QPushButton("立即更新"), "updateBtn");
    stopBtn = widgets::named(new QPushButton("停止更新"), "stopBtn");
    stopBtn->setEnabled(false);
    scheduleKind = widgets::named(new QComboBox, "scheduleKind");
    scheduleKind->addItems({"每天", "每隔", "不自动更新"});
    dailyTime = widgets::named(new QTimeEdit, "dailyTime");
    dailyTime->setDisplayFormat("HH:mm");
    everyHours = widgets::named(new QSpinBox, "everyHours");
    everyHours->setRange(1, 24);
    everyHours->setSuffix(" 小时");

    auto* addRow = new QHBoxLayout;
    addRow->addWidget(new QLabel("店铺网址："));
    addRow->addWidget(address, 1);
    addRow->addWidget(new QLabel("商品数："));
    addRow->addWidget(itemCount);
    addRow->addWidget(followRatings);
    addRow->addWidget(addBtn);
    addRow->addWidget(removeBtn);
    auto* roundRow = new QHBoxLayout;
    roundRow->addWidget(updateBtn);
    roundRow->addWidget(stopBtn);
    roundRow->addSpacing(16);
    roundRow->addWidget(new QLabel("自动更新："));
    roundRow->addWidget(scheduleKind);
    roundRow->addWidget(dailyTime);
    roundRow->addWidget(everyHours);
    roundRow->addStretch();

    // A round's progress, as the gathering windows show theirs.
    roundPanel = new QWidget;
    totalGauge = widgets::named(new QProgressBar, "totalGauge");
    totalGauge->setFormat("%v/%m 家店铺");
    shopLabel = widgets::named(new QLabel, "shopLabel");
    stageLabel = widgets::named(new QLabel, "stageLabel");
    auto* roundLayout = new QVBoxLayout(roundPanel);
    roundLayout->setContentsMargins(0, 0, 0, 0);
    auto* roundText = new QHBoxLayout;
    roundText->addWidget(shopLabel);
    roundText->addWidget(stageLabel, 1);
    roundLayout->addLayout(roundText);
    roundLayout->addWidget(totalGauge);
    auto* slotRow = new QHBoxLayout;
    roundLayout->addLayout(slotRow);
    slotBars_ = std::make_unique<SlotBars>(slotRow, SlotBars::Style::Thin);
    roundPanel->hide();
    roundState = widgets::makeOutcomeLabel();
    roundState->setObjectName("roundState");

    auto* listPart = new QWidget;
    auto* listLayout = new QVBoxLayout(listPart);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->addLayout(addRow);
    listLayout->addLayout(roundRow);
    listLayout->addWidget(roundPanel);
    listLayout->addWidget(roundState);
    listLayout->addWidget(watchGrid, 1);

    // The change report, its filters and its charts.
    const QDate today = QDate::currentDate();
    shopFilter = widgets::named(new QComboBox, "shopFilter");
    shopFilter->setMinimumWidth(140);
    kindFilter = widgets::named(new QComboBox, "kindFilter");
    kindFilter->addItem("全部");
    for (const std::string& kind : watch::reportKinds())
        kindFilter->addItem(q8(kind));
    dateFrom = dateEdit(today.addDays(-kReportDays), "dateFrom");
    dateTo = dateEdit(today, "dateTo");
    exportBtn = widgets::named(new QPushButton("导出"), "exportBtn");
    reportGrid =
        widgets::makeResultGrid(watch::reportColumns(), "reportGrid", {80, 110, 60, 160, 60, 60, 160, 40});
    reportGrid->setToolTip("选中一行商品，右侧显示它每轮的价格");
    chart = widgets::named(new QWebEngineView, "chart");
    chart->setMinimumWidth(260);
    saveGauge = widgets::makeSaveGauge(this);
    saveDialog = widgets::makeSaveDialog(this);

    auto* filters = new QHBoxLayout;
    filters->addWidget(new QLabel("店铺："));
    filters->addWidget(shopFilter);
    filters->addWidget(new QLabel("类型："));
    filters->addWidget(kindFilter);
    filters->addWidget(new QLabel("日期："));
    filters->addWidget(dateFrom);
    filters->addWidget(new QLabel("到"));
    filters->addWidget(dateTo);
    filters->addStretch();
    filters->addWidget(exportBtn);
    auto* reportPart = new QWidget;
    auto* reportLayout = new QVBoxLayout(reportPart);
    reportLayout->setContentsMargins(0, 0, 0, 0);
    reportLayout->addLayout(filters);
    auto* reportSplit = new QSplitter(Qt::Horizontal);
    reportSplit->addWidget(reportGrid);
    reportSplit->addWidget(chart);
    reportSplit->setStretchFactor(0, 3);
    reportSplit->setStretchFactor(1, 2);
    reportSplit->setSizes({3000, 2000}); // the report's columns need the room more than the chart
    reportLayout->addWidget(reportSplit, 1);
    reportLayout->addWidget(saveGauge);

    auto* split = new QSplitter(Qt::Vertical);
    auto* listBox = new QGroupBox("监控列表");
    (new QVBoxLayout(listBox))->addWidget(listPart);
    auto* reportBox = new QGroupBox("变化报告");
    (new QVBoxLayout(reportBox))->addWidget(reportPart);
    split->addWidget(listBox);
    split->addWidget(reportBox);
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 3);
    split->setSizes({2000, 3000});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(split);

    observer_ = std::make_unique<QtGatherObserver>(
        this,
        QtGatherObserver::Handlers{
            [this](int index, int count, const QString& shop) {
                shopLabel->setText(QString("正在更新第%1/%2家：%3").arg(index + 1).arg(count).arg(shop));
            },
            [this](const QString& text) { stageLabel->setText(text); },
            {},
            [this](int done, int count) {
                totalGauge->setRange(0, count);
                totalGauge->setValue(done);
            },
            [this](const QString& text) { emit statusLine(text); },
            [this](const QString& text) { widgets::UserMessages::show(this, text); },
            [this](gather::JobEnd, const QString&, const gather::GatherTally&) { roundFinished(); }});

    scheduleTimer = new QTimer(this);
    scheduleTimer->setInterval(60 * 1000);
    connect(scheduleTimer, &QTimer::timeout, this, &TshopWatchFrm::checkSchedule);
    scheduleTimer->start();

    connect(addBtn, &QPushButton::clicked, this, &TshopWatchFrm::addClick);
    connect(address, &QLineEdit::returnPressed, this, &TshopWatchFrm::addClick);
    connect(removeBtn, &QPushButton::clicked, this, &TshopWatchFrm::removeClick);
    connect(updateBtn, &QPushButton::clicked, this, [this] { startRound(); });
    connect(stopBtn, &QPushButton::clicked, this, [this] {
        if (!round_) return;
        round_->stop();
        stageLabel->setText("正在停止……");
    });
    connect(watchGrid, &QTableWidget::cellDoubleClicked, this, [this](int row, int) {
        if (row >= 0 && row < int(shops_.size())) widgets::openAddress(shops_[size_t(row)].address);
    });
    showSchedule();
    connect(scheduleKind, &QComboBox::currentIndexChanged, this, &TshopWatchFrm::scheduleChanged);
    connect(dailyTime, &QTimeEdit::timeChanged, this, &TshopWatchFrm::scheduleChanged);
    connect(everyHours, &QSpinBox::valueChanged, this, &TshopWatchFrm::scheduleChanged);
    for (QComboBox* filter : {shopFilter, kindFilter})
        connect(filter, &QComboBox::currentIndexChanged, this, &TshopWatchFrm::reloadReport);
    for (QDateEdit* edit : {dateFrom, dateTo})
        connect(edit, &QDateEdit::dateChanged, this, &TshopWatchFrm::reloadReport);
    connect(reportGrid, &QTableWidget::currentCellChanged, this,
            [this](int row, int, int, int) { reportRowChosen(row); });
    connect(exportBtn, &QPushButton::clicked, this, [this] {
        widgets::exportRows(this, *saveDialog, *saveGauge, *reportGrid,
                            watch::reportExport(lines_, DateTime::now()));
    });

    reload();
}

TshopWatchFrm::~TshopWatchFrm() {
    stopAndWait();
}

void TshopWatchFrm::stopAndWait() {
    if (round_) {
        round_->stop();
        round_->wait();
        round_.reset();
    }
    // Its last reports, still queued, are dropped: no message on the way out.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

void TshopWatchFrm::say(const QString& text) {
    roundState->setText(text);
    roundState->setVisible(!text.isEmpty());
    emit statusLine(text);
}

void TshopWatchFrm::reload() {
    widgets::guarded([this] {
        reloadList();
        reloadShopFilter();
        reloadReport();
    });
}

void TshopWatchFrm::reloadList() {
    dm_.open();
    shops_ = watch::watchedShops(dm_.cn1());
    const watch::Schedule schedule = settings_.schedule();
    const DateTime now = DateTime::now();
    const int current = watchGrid->currentRow();
    watchGrid->setRowCount(0);
    watchGrid->setRowCount(int(shops_.size()));
    for (int row = 0; row < int(shops_.size()); ++row)
        widgets::fillRow(watchGrid, row, watch::listCells(shops_[size_t(row)], schedule, now));
    if (current >= 0 && current < watchGrid->rowCount()) watchGrid->selectRow(current);
}

void TshopWatchFrm::reloadShopFilter() {
    const qint64 was = shopFilter->currentData().toLongLong();
    const QSignalBlocker quiet(shopFilter);
    shopFilter->clear();
    shopFilter->addItem("全部", qint64(0));
    for (const watch::WatchedShop& shop : shops_)
        shopFilter->addItem(q8(shop.name.empty() ? shop.address : shop.name), qint64(shop.id));
    shopFilter->setCurrentIndex(std::max(0, shopFilter->findData(was)));
}

void TshopWatchFrm::reloadReport() {
    widgets::guarded([this] {
        watch::ReportFilter filter;
        filter.since = day(dateFrom);
        filter.until = day(dateTo);
        filter.shop = shopFilter->currentData().toLongLong();
        if (kindFilter->currentIndex() > 0) filter.kind = kindFilter->currentText().toStdString();
        dm_.open();
        lines_ = watch::readReport(dm_.cn1(), filter);
        sales_ = watch::dailySales(dm_.cn1(), filter.since, filter.until);
        const QSignalBlocker quiet(reportGrid);
        reportGrid->setRowCount(0);
        reportGrid->setRowCount(int(lines_.size()));
        // Alerts come first; they stand out in colour and weight too.
        const QBrush alertBack(QColor(255, 228, 225));
        for (int row = 0; row < int(lines_.size()); ++row) {
            widgets::fillRow(reportGrid, row, watch::reportCells(lines_[size_t(row)]));
            if (!lines_[size_t(row)].alert) continue;
            for (int c = 0; c < reportGrid->columnCount(); ++c) {
                QTableWidgetItem* cell = reportGrid->item(row, c);
                cell->setBackground(alertBack);
                QFont bold = cell->font();
                bold.setBold(true);
                cell->setFont(bold);
            }
        }
        drawChart(nullptr);
    });
}

void TshopWatchFrm::reportRowChosen(int row) {
    if (row < 0 || row >= int(lines_.size()) || lines_[size_t(row)].itemId.empty()) return;
    widgets::guarded([&] { drawChart(&lines_[size_t(row)]); });
}

void TshopWatchFrm::drawChart(const watch::ChangeLine* priced) {
    const std::string document =
        priced ? watch::chartDocument(sales_, priced->shop + " · " + priced->item,
                                      watch::priceHistory(dm_.cn1(), priced->watchId, priced->itemId))
               : watch::chartDocument(sales_, "", {});
    gallery_.prepare();
    watch::saveChartDocument(gallery_.document(watch::kChartDocument), document);
    chart->load(QUrl::fromLocalFile(q8(gallery_.page(watch::kChartPage).string())));
}

bool TshopWatchFrm::addShop(const QString& typed, int items, bool ratings) {
    const auto shop = watch::shopAddress(typed.trimmed().toStdString());
    if (!shop) {
        widgets::UserMessages::show(this, "不是店铺网址：" + typed.trimmed());
        return false;
    }
    bool added = false;
    widgets::guarded([&] {
        dm_.open();
        watch::addWatched(dm_.cn1(), *shop, items, ratings, DateTime::now());
        added = true;
    });
    if (!added) return false;
    reloadList();
    reloadShopFilter();
    say("已加入监控：" + q8(*shop));
    return true;
}

void TshopWatchFrm::addClick() {
    if (addShop(address->text(), itemCount->value(), followRatings->isChecked())) address->clear();
}

void TshopWatchFrm::removeClick() {
    const int row = watchGrid->currentRow();
    if (busy() || row < 0 || row >= int(shops_.size())) return;
    const watch::WatchedShop shop = shops_[size_t(row)];
    const QString name = q8(shop.name.empty() ? shop.address : shop.name);
    if (!widgets::UserMessages::confirm(this, "不再监控“" + name + "”？它的监控记录和变化报告也会删除。"))
        return;
    widgets::guarded([&] { watch::removeWatched(dm_.cn1(), std::to_string(shop.id)); });
    reload();
    say("已不再监控：" + name);
}

void TshopWatchFrm::showSchedule() {
    const watch::Schedule schedule = settings_.schedule();
    const QSignalBlocker a(scheduleKind), b(dailyTime), c(everyHours);
    scheduleKind->setCurrentIndex(schedule.kind == watch::Schedule::Kind::Daily        ? Daily
                                  : schedule.kind == watch::Schedule::Kind::EveryHours ? EveryHours
                                                                                       : Off);
    dailyTime->setTime(QTime(schedule.hour, schedule.minute));
    everyHours->setValue(schedule.hours);
    dailyTime->setVisible(scheduleKind->currentIndex() == Daily);
    everyHours->setVisible(scheduleKind->currentIndex() == EveryHours);
}

void TshopWatchFrm::scheduleChanged() {
    watch::Schedule schedule = settings_.schedule();
    schedule.kind = scheduleKind->currentIndex() == Daily        ? watch::Schedule::Kind::Daily
                    : scheduleKind->currentIndex() == EveryHours ? watch::Schedule::Kind::EveryHours
                                                                 : watch::Schedule::Kind::Off;
    schedule.hour = dailyTime->time().hour();
    schedule.minute = dailyTime->time().minute();
    schedule.hours = everyHours->value();
    widgets::guarded([&] { settings_.saveSchedule(schedule); });
    showSchedule();
    reloadList();
    say("自动更新：" + q8(schedule.description()));
}

void TshopWatchFrm::checkSchedule() {
    if (busy()) return;
    bool due = false;
    widgets::guarded([&] {
        dm_.open();
        due = watch::roundDue(watch::watchedShops(dm_.cn1()), settings_.schedule(), DateTime::now());
    });
    if (due) startRound();
}

bool TshopWatchFrm::startRound() {
    if (busy()) return false;
    bool started = false;
    widgets::guarded([&] {
        dm_.open();
        const auto agent = agent_();
        round_ = std::make_unique<watch::WatchRound>(dm_.store(), agent, slotBars_->forRun(agent->Slots),
                                                     *observer_, settings_.alertRules(), DateTime::now());
        totalGauge->setRange(0, std::max<int>(1, int(shops_.size())));
        totalGauge->setValue(0);
        shopLabel->clear();
        stageLabel->setText("正在更新");
        setRunning(true);
        say("店铺监控正在更新……");
        round_->start();
        started = true;
    });
    if (!started) {
        round_.reset();
        setRunning(false);
    }
    return started;
}

void TshopWatchFrm::setRunning(bool running) {
    roundPanel->setVisible(running);
    updateBtn->setEnabled(!running);
    removeBtn->setEnabled(!running);
    stopBtn->setEnabled(running);
}

void TshopWatchFrm::roundFinished() {
    if (!round_) return;
    round_->wait();
    const watch::RoundOutcome outcome = round_->outcome();
    round_.reset();
    setRunning(false);
    const std::string failures = outcome.failures.text();
    say(q8(watch::roundSummary(outcome) + (failures.empty() ? std::string() : "失败：" + failures)));
    reload();
    if (!outcome.alerts.empty()) {
        const watch::AlertNotice notice = watch::alertNotice(outcome.alerts);
        DesktopNotice::show(q8(notice.title), q8(notice.body));
    }
    emit roundEnded();
}

QString TshopWatchFrm::stopLoss() const {
    return gather::kWatchStopLoss;
}

} // namespace vantor
