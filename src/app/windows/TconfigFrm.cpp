#include "TconfigFrm.h"

#include "HelpPages.h"
#include "UserMessages.h"
#include "app/DatabaseSettings.h"
#include "app/HttpTest.h"

#include "base/TextNumbers.h"
#include "gather/RatingGathering.h"
#include "watch/WatchSettings.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vantor {

namespace {

QString q(const std::string& text) {
    return QString::fromStdString(text);
}
std::string s(const QLineEdit* edit) {
    return edit->text().toStdString();
}

QWidget* withUnit(QWidget* edit, const char* unit) {
    auto* box = new QWidget;
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(edit);
    layout->addWidget(new QLabel(unit));
    return box;
}

QHBoxLayout* buttonRow(std::initializer_list<QPushButton*> buttons) {
    auto* row = new QHBoxLayout;
    row->addStretch();
    for (auto* button : buttons)
        row->addWidget(button);
    return row;
}

} // namespace

TconfigFrm::TconfigFrm(TConfig& config, app::ConfigFile file, QWidget* parent)
    : QDialog(parent), config_(config), file_(std::move(file)), testAddress_(app::kTestAddress) {
    setWindowTitle("系统选项");
    widgets::giveHelp(this, widgets::HelpTopic::Settings);
    setModal(true);

    netType = new QComboBox;
    netType->addItems({"不使用网络代理", "使用HTTP代理"});
    server = new QLineEdit;
    port = new QLineEdit("8080");
    user = new QLineEdit;
    password = new QLineEdit;
    password->setEchoMode(QLineEdit::Password);
    domain = new QLineEdit;
    connectTimeOut = new QLineEdit("0");
    readTimeOut = new QLineEdit("0");
    connectTime = new QLineEdit("3");
    minInterval = new QLineEdit("0");
    slotCount = new QSpinBox;
    slotCount->setObjectName("slotCount");
    slotCount->setRange(download::kMinSlots, download::kMaxSlots);
    slotCount->setValue(download::kDefaultSlots);
    slotCount->setToolTip("采集时同时下载的页面数，每个下载通道一个进度条");
    testState = new QLabel;
    testBtn = new QPushButton("连接测试");
    stopBtn = new QPushButton("中止测试");
    stopBtn->hide();
    okbtn = new QPushButton("确定");
    cancel = new QPushButton("取消");
    useBtn = new QPushButton("应用");

    proxyPanel_ = new QWidget;
    auto* proxyForm = new QFormLayout(proxyPanel_);
    proxyForm->addRow("类型", netType);
    proxyForm->addRow("服务器", server);
    proxyForm->addRow("端口", port);
    proxyForm->addRow("用户名", user);
    proxyForm->addRow("密码", password);
    proxyForm->addRow("域", domain);
    proxyForm->addRow("连接超时间隔", withUnit(connectTimeOut, "毫秒"));
    proxyForm->addRow("读取超时间隔", withUnit(readTimeOut, "毫秒"));
    proxyForm->addRow("连接重试次数", withUnit(connectTime, "次"));
    proxyForm->addRow("请求最小间隔", withUnit(minInterval, "毫秒"));
    proxyForm->addRow("下载通道数", withUnit(slotCount, "个"));

    auto* network = new QWidget;
    auto* networkLayout = new QVBoxLayout(network);
    networkLayout->addWidget(proxyPanel_);
    networkLayout->addWidget(new QLabel("* 注：1000毫秒=1秒"));
    auto* testRow = new QHBoxLayout;
    testRow->addWidget(testBtn);
    testRow->addWidget(stopBtn);
    testRow->addWidget(testState, 1);
    networkLayout->addLayout(testRow);
    networkLayout->addStretch();
    networkLayout->addLayout(buttonRow({okbtn, cancel, useBtn}));

    optimizeComb = new QComboBox;
    optimizeComb->addItems({"每天一次", "每周一次", "每月一次"});
    okBtn1 = new QPushButton("确定");
    cancel1 = new QPushButton("取消");
    useBtn1 = new QPushButton("应用");
    auto* other = new QWidget;
    auto* otherLayout = new QVBoxLayout(other);
    auto* otherForm = new QFormLayout;
    otherForm->addRow("优化数据", optimizeComb);
    otherLayout->addLayout(otherForm);
    otherLayout->addStretch();
    otherLayout->addLayout(buttonRow({okBtn1, cancel1, useBtn1}));

    // The analysis page stores nothing of its own: it shows the bounds the rating gathering keeps, so
    // that its labels are not left without an answer. Its buttons act as the network page's.
    auto* analysis = new QWidget;
    auto* analysisLayout = new QVBoxLayout(analysis);
    auto* limits = new QFormLayout;
    const auto shown = [](const QString& text, const char* name) {
        auto* field = new QLineEdit(text);
        field->setObjectName(name);
        field->setReadOnly(true);
        return field;
    };
    limits->addRow("当前下载最大数", shown(QString("%1条（最近评价的前%2页）")
                                               .arg((gather::kFirstHistoryPage - 1) * gather::kRatingsPerPage)
                                               .arg(gather::kFirstHistoryPage - 1),
                                           "recentLimit"));
    auto* historyToo = new QCheckBox(QString("第%1页起从历史评价中下载").arg(gather::kFirstHistoryPage));
    historyToo->setObjectName("historyToo");
    historyToo->setChecked(true);
    historyToo->setEnabled(false);
    limits->addRow("当小于评价数时下载历史数据", historyToo);
    limits->addRow("历史下载最大数", shown(QString("%1条").arg(gather::kMaxRatingTo), "historyLimit"));
    analysisLayout->addLayout(limits);
    auto* rangeNote =
        new QLabel("这些上限由评价采集决定，本页不保存设置；每次下载哪些评价，在“评价数据采集”的"
                   "“下载数据范围：从…到”中选择。");
    rangeNote->setWordWrap(true);
    analysisLayout->addWidget(rangeNote);
    auto* ok2 = new QPushButton("确定");
    auto* cancel2 = new QPushButton("取消");
    auto* use2 = new QPushButton("应用");
    analysisLayout->addStretch();
    analysisLayout->addLayout(buttonRow({ok2, cancel2, use2}));

    // Where the data lives: the data file, or a PostgreSQL server's database for a team.
    dbType = new QComboBox;
    dbType->addItems({"本机数据文件", "PostgreSQL 数据库"});
    dbUrl = new QLineEdit;
    dbUrl->setPlaceholderText("postgresql://用户@主机:端口/数据库");
    dbState = new QLabel;
    dbState->setWordWrap(true);
    dbTestBtn = new QPushButton("连接测试");
    okBtn2 = new QPushButton("确定");
    cancel2 = new QPushButton("取消");
    useBtn2 = new QPushButton("应用");
    auto* database = new QWidget;
    auto* databaseLayout = new QVBoxLayout(database);
    auto* databaseForm = new QFormLayout;
    databaseForm->addRow("数据存放", dbType);
    databaseForm->addRow("数据库地址", dbUrl);
    databaseLayout->addLayout(databaseForm);
    databaseLayout->addWidget(
        new QLabel("* 注：密码请写在 ~/.pgpass 或环境变量 PGPASSWORD 中；重新启动程序后生效"));
    auto* dbTestRow = new QHBoxLayout;
    dbTestRow->addWidget(dbTestBtn);
    dbTestRow->addWidget(dbState, 1);
    databaseLayout->addLayout(dbTestRow);
    databaseLayout->addStretch();
    databaseLayout->addLayout(buttonRow({okBtn2, cancel2, useBtn2}));

    // The competitor watch's alerts: the lines a round marks 提醒, lists first and announces.
    pricePercent = new QDoubleSpinBox;
    pricePercent->setObjectName("pricePercent");
    pricePercent->setRange(0.01, 1000);
    pricePercent->setDecimals(2);
    pricePercent->setSuffix(" %");
    salesFactor = new QDoubleSpinBox;
    salesFactor->setObjectName("salesFactor");
    salesFactor->setRange(0.01, 1000);
    salesFactor->setDecimals(2);
    salesFactor->setSuffix(" × 近7日日均");
    badRating = new QCheckBox("新差评提醒");
    badRating->setObjectName("badRating");
    newItem = new QCheckBox("新商品提醒");
    newItem->setObjectName("newItem");
    okBtn3 = new QPushButton("确定");
    cancel3 = new QPushButton("取消");
    useBtn3 = new QPushButton("应用");
    auto* watchPage = new QWidget;
    auto* watchLayout = new QVBoxLayout(watchPage);
    auto* watchForm = new QFormLayout;
    watchForm->addRow("价格变化提醒 ≥", pricePercent);
    watchForm->addRow("", badRating);
    watchForm->addRow("销量突增提醒 ≥", salesFactor);
    watchForm->addRow("", newItem);
    watchLayout->addLayout(watchForm);
    watchLayout->addWidget(new QLabel("* 提醒的变化排在变化报告最前，更新结束时在桌面通知"));
    watchLayout->addStretch();
    watchLayout->addLayout(buttonRow({okBtn3, cancel3, useBtn3}));

    pages = new QTabWidget;
    pages->addTab(network, "网络设置");
    pages->addTab(other, "其他参数");
    pages->addTab(analysis, "分析参数");
    pages->addTab(database, "数据库");
    pages->addTab(watchPage, "店铺监控");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(pages);
    resize(460, 420);

    for (QLineEdit* edit :
         {server, port, user, password, domain, connectTimeOut, readTimeOut, connectTime, minInterval})
        connect(edit, &QLineEdit::textEdited, this, [this] { useBtn->setEnabled(true); });
    connect(netType, &QComboBox::currentIndexChanged, this, [this] { useBtn->setEnabled(true); });
    connect(slotCount, &QSpinBox::valueChanged, this, [this] { useBtn->setEnabled(true); });
    connect(optimizeComb, &QComboBox::currentIndexChanged, this, [this] { useBtn1->setEnabled(true); });
    connect(dbType, &QComboBox::currentIndexChanged, this, [this](int type) {
        dbUrl->setEnabled(type == app::kServerStore);
        dbTestBtn->setEnabled(type == app::kServerStore);
        useBtn2->setEnabled(true);
    });
    connect(dbUrl, &QLineEdit::textEdited, this, [this] { useBtn2->setEnabled(true); });
    connect(dbTestBtn, &QPushButton::clicked, this, &TconfigFrm::dbTestClick);
    connect(useBtn2, &QPushButton::clicked, this, [this] {
        if (saveDatabase()) useBtn2->setEnabled(false);
    });
    connect(okBtn2, &QPushButton::clicked, this, [this] {
        if (saveDatabase()) accept();
    });
    connect(cancel2, &QPushButton::clicked, this, &QDialog::reject);

    auto apply = [this] {
        if (saveNetwork().saved) useBtn->setEnabled(false);
    };
    // A refused server name or a failed write still closes; refused numbers cancel the whole action.
    auto applyAndClose = [this] {
        if (!saveNetwork().cancelAction) accept();
    };
    connect(useBtn, &QPushButton::clicked, this, apply);
    connect(use2, &QPushButton::clicked, this, apply);
    connect(okbtn, &QPushButton::clicked, this, applyAndClose);
    connect(ok2, &QPushButton::clicked, this, applyAndClose);
    for (QPushButton* button : {cancel, cancel1, cancel2})
        connect(button, &QPushButton::clicked, this, &QDialog::reject);
    connect(useBtn1, &QPushButton::clicked, this, [this] {
        if (saveSchedule()) useBtn1->setEnabled(false);
    });
    connect(okBtn1, &QPushButton::clicked, this, [this] {
        if (saveSchedule()) accept();
    });
    for (QDoubleSpinBox* box : {pricePercent, salesFactor})
        connect(box, &QDoubleSpinBox::valueChanged, this, [this] { useBtn3->setEnabled(true); });
    for (QCheckBox* box : {badRating, newItem})
        connect(box, &QCheckBox::toggled, this, [this] { useBtn3->setEnabled(true); });
    connect(useBtn3, &QPushButton::clicked, this, [this] {
        if (saveAlertRules()) useBtn3->setEnabled(false);
    });
    connect(okBtn3, &QPushButton::clicked, this, [this] {
        if (saveAlertRules()) accept();
    });
    connect(cancel3, &QPushButton::clicked, this, &QDialog::reject);
    connect(testBtn, &QPushButton::clicked, this, &TconfigFrm::testClick);
    connect(stopBtn, &QPushButton::clicked, this, &TconfigFrm::stopClick);

    fill();
}

TconfigFrm::~TconfigFrm() = default;

void TconfigFrm::showEvent(QShowEvent* event) {
    fill();
    QDialog::showEvent(event);
}

void TconfigFrm::fill() {
    showForm(app::networkForm(*config_.getHttpAgent()));
    optimizeComb->setCurrentIndex(app::scheduleIndex(config_.optimize));
    dbType->setCurrentIndex(config_.dbUrl.empty() ? app::kDataFileStore : app::kServerStore);
    dbUrl->setText(q(config_.dbUrl));
    dbUrl->setEnabled(!config_.dbUrl.empty());
    dbTestBtn->setEnabled(!config_.dbUrl.empty());
    useBtn->setEnabled(false);
    useBtn1->setEnabled(false);
    const watch::AlertRules rules = watch::WatchSettingsFile(file_.path()).alertRules();
    pricePercent->setValue(rules.pricePercent);
    salesFactor->setValue(rules.salesFactor);
    badRating->setChecked(rules.badRating);
    newItem->setChecked(rules.newItem);
    useBtn2->setEnabled(false);
    useBtn3->setEnabled(false);
}

void TconfigFrm::showForm(const app::NetworkForm& form) {
    netType->setCurrentIndex(form.netType);
    server->setText(q(form.server));
    port->setText(q(form.port));
    user->setText(q(form.user));
    password->setText(q(form.password));
    domain->setText(q(form.domain));
    connectTimeOut->setText(q(form.connectTimeOut));
    readTimeOut->setText(q(form.readTimeOut));
    connectTime->setText(q(form.connectTime));
    minInterval->setText(q(form.minInterval));
    slotCount->setValue(std::clamp(parseInt32(form.slotCount).value_or(download::kDefaultSlots),
                                   download::kMinSlots, download::kMaxSlots));
}

app::NetworkForm TconfigFrm::form() const {
    app::NetworkForm form;
    form.netType = netType->currentIndex();
    form.server = s(server);
    form.port = s(port);
    form.user = s(user);
    form.password = s(password);
    form.domain = s(domain);
    form.connectTimeOut = s(connectTimeOut);
    form.readTimeOut = s(readTimeOut);
    form.connectTime = s(connectTime);
    form.minInterval = s(minInterval);
    form.slotCount = std::to_string(slotCount->value());
    return form;
}

QLineEdit* TconfigFrm::field(app::NetworkField which) const {
    switch (which) {
    case app::NetworkField::Server:
        return server;
    case app::NetworkField::Port:
        return port;
    default:
        return nullptr;
    }
}

app::NetworkSaveResult TconfigFrm::saveNetwork() {
    app::NetworkForm typed = form();
    app::NetworkSaveResult result = saveNetworkPage(typed, file_, config_);
    if (result.saved) return result;
    showForm(typed); // a refused number resets fields
    widgets::UserMessages::show(this, result.message);
    if (QLineEdit* edit = field(result.focus)) edit->setFocus();
    return result;
}

bool TconfigFrm::saveDatabase() {
    const std::string url = dbUrl->text().trimmed().toStdString();
    // A server that cannot be reached is saved only when the user says so: the next start would ask.
    if (dbType->currentIndex() == app::kServerStore && url != config_.dbUrl && !app::checkDatabaseUrl(url)) {
        dbState->setText(app::kDatabaseTestRunning);
        dbState->repaint();
        QApplication::setOverrideCursor(Qt::WaitCursor);
        const auto problem = app::databaseProblem(url);
        QApplication::restoreOverrideCursor();
        dbState->setText(problem ? q(*problem) : q(app::kDatabaseTestPassed));
        if (problem && !widgets::UserMessages::confirm(this, q(app::unreachableSaveQuestion(*problem))))
            return false;
    }
    if (auto message = saveDatabasePage(dbType->currentIndex(), url, file_, config_)) {
        widgets::UserMessages::show(this, *message);
        return false;
    }
    dbState->setText(app::kDatabaseSaved);
    return true;
}

bool TconfigFrm::saveAlertRules() {
    watch::AlertRules rules;
    rules.pricePercent = pricePercent->value();
    rules.salesFactor = salesFactor->value();
    rules.badRating = badRating->isChecked();
    rules.newItem = newItem->isChecked();
    try {
        watch::WatchSettingsFile(file_.path()).saveAlertRules(rules);
    } catch (const std::exception& e) {
        widgets::UserMessages::show(this, e.what());
        return false;
    }
    return true;
}

void TconfigFrm::dbTestClick() {
    if (dbTest_.joinable()) dbTest_.join(); // an earlier test has ended by now, or ends here
    dbTestBtn->setEnabled(false);
    dbState->setText(app::kDatabaseTestRunning);
    dbTest_ = std::jthread([this, url = dbUrl->text().trimmed().toStdString()] {
        const QString verdict = q(app::testDatabase(url));
        // The verdict arrives on the transfer loop's thread; controls belong to this one.
        QMetaObject::invokeMethod(
            this,
            [this, verdict] {
                dbState->setText(verdict);
                dbTestBtn->setEnabled(true);
            },
            Qt::QueuedConnection);
    });
}

bool TconfigFrm::saveSchedule() {
    if (auto message = saveSchedulePage(optimizeComb->currentIndex(), file_)) {
        widgets::UserMessages::show(this, *message);
        return false;
    }
    return true;
}

void TconfigFrm::testClick() {
    testState->clear();
    app::ConnectionTestCheck check = checkConnectionTest(form());
    if (!check.agent) {
        widgets::UserMessages::show(this, check.message);
        if (QLineEdit* edit = field(check.focus)) edit->setFocus();
        return;
    }
    setTesting(true);
    testState->setText(app::kTestRunning);
    test_.reset(); // an earlier, stopped test ends here
    test_ = std::make_unique<THttpTest>(
        std::make_shared<const THttpAgent>(*check.agent), testAddress_.toStdString(),
        [this](const std::string& state, const TDownBean& bean) {
            // The verdict arrives on the transfer loop's thread; controls belong to this one.
            QMetaObject::invokeMethod(
                this, [this, text = q(app::testVerdict(state, bean))] { testEnded(text); },
                Qt::QueuedConnection);
        });
}

void TconfigFrm::stopClick() {
    if (test_) test_->requestStop();
    testState->setText(app::kTestStopped);
    setTesting(false);
}

void TconfigFrm::testEnded(const QString& state) {
    setTesting(false);
    testState->setText(state);
}

void TconfigFrm::setTesting(bool testing) {
    for (QWidget* control : {static_cast<QWidget*>(useBtn), static_cast<QWidget*>(cancel),
                             static_cast<QWidget*>(okbtn), proxyPanel_})
        control->setEnabled(!testing);
    stopBtn->setVisible(testing);
}

} // namespace vantor
