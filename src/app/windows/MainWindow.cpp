#include "MainWindow.h"

#include "AboutDialog.h"
#include "BrowserPane.h"
#include "HelpPages.h"
#include "TconfigFrm.h"
#include "TrateAnalyseTopFrm.h"
#include "TrateDataAnalyseFrm.h"
#include "TrateDataViewFrm.h"
#include "TsaleAnalyseFrm.h"
#include "TsaleCarrentFrm.h"
#include "TsaleDataViewFrm.h"
#include "TsaleTimeAreaFrm.h"
#include "TshopWatchFrm.h"
#include "TtopDataViewFrm.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "WelcomeWindow.h"
#include "WindowSettings.h"
#include "app/ErrorLog.h"
#include "base/Version.h"
#include "gather/windows/TitemTopSaleGatherFrm.h"
#include "gather/windows/TrateGatherFrm.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "gather/windows/TtopListGatherFrm.h"

#include <QAction>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QLabel>
#include <QMenuBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QToolBox>
#include <QToolButton>
#include <QUrlQuery>
#include <QVBoxLayout>

namespace vantor {

namespace {

// A working window's purpose, for the status line. Not the window's status tip: Qt would show that as a
// passing message over the whole status bar whenever the mouse enters the window.
constexpr const char* kPurpose = "purpose";
// The status line before a working window is chosen.
constexpr const char* kStartHint = "在左侧选择要使用的功能；各部分的“操作帮助”说明如何使用";

// One entry of the navigation bar and of the menu bar.
struct NavigationEntry {
    const char* section;
    const char* text;
    const char* name;             // object name of the menu item
    const char* hint;             // the entry's tooltip, and the status line's while its window shows
    std::function<void()> action; // empty: its window does not exist, the entry is left out
    QWidget* window = nullptr;    // the working window it shows, if any
};

} // namespace

MainWindow::MainWindow(DataFolder folder, TConfig& config, db::TDM& dm, QWidget* parent)
    : QMainWindow(parent),
      folder_(std::move(folder)),
      config_(config),
      dm_(dm),
      toolBar_(new QToolBox),
      display_(new QStackedWidget),
      ad_(new BrowserPane("推荐", "ad.html")),
      statusText_(new QLabel) {
    setWindowTitle(kAppTitle);
    setMinimumSize(973, 647); // fits a 1024×768 screen with a panel
    widgets::WindowSettings::useFile(folder_.config());
    widgets::WindowSettings::restoreGeometry(this, "main", QSize(1100, 720));

    toolBar_->setObjectName("toolBar");
    toolBar_->setMinimumWidth(180);
    ad_->setObjectName("ad");
    ad_->setMinimumHeight(150);
    ad_->setMaximumHeight(220);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(4, 4, 4, 4);
    leftLayout->addWidget(toolBar_, 1);
    leftLayout->addWidget(ad_);
    left->setMaximumWidth(240);

    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(display_);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);

    statusBar()->addWidget(new QLabel("操作提示："));
    statusBar()->addWidget(statusText_, 1);

    // The display area starts empty, so the first window chosen also names itself in the caption.
    auto* empty = new QWidget;
    empty->setProperty(kPurpose, kStartHint);
    display_->addWidget(empty);

    ad_->open(vendorPage("/ad.jsp"));
}

MainWindow::~MainWindow() {
    widgets::setHelpViewer({});
}

app::StartupOutcome MainWindow::startUp() {
    return prepareData(folder_, config_, dm_, *this, DateTime::now());
}

void MainWindow::createWorkingWindows(const std::function<void(int)>& gauge) {
    welcome_ = new WelcomeWindow;
    welcome_->setProperty(kPurpose, kStartHint);
    display_->addWidget(welcome_);
    widgets::setHelpViewer([this](const QUrl& page) { showHelpPage(page); });
    gauge(25);
    rateGather_ = new TrateGatherFrm([this] { return config_.getHttpAgent(); }, dm_);
    display_->addWidget(rateGather_);
    gauge(30);
    rateCheck_ = new charts::TrateDataAnalyseFrm(dm_, folder_);
    display_->addWidget(rateCheck_);
    gauge(35);
    rateDataView_ = new views::TrateDataViewFrm(dm_);
    display_->addWidget(rateDataView_);
    gauge(40);
    rateTrend_ = new charts::TrateAnalyseTopFrm(dm_, folder_);
    display_->addWidget(rateTrend_);
    gauge(45);
    saleGather_ = new TsaleGatherFrm([this] { return config_.getHttpAgent(); }, dm_);
    display_->addWidget(saleGather_);
    for (ShopGatherWindow* gathering : std::initializer_list<ShopGatherWindow*>{rateGather_, saleGather_}) {
        connect(gathering, &ShopGatherWindow::statusLine, this, &MainWindow::setStatusText);
        connect(gathering, &ShopGatherWindow::gatheringEnded, this,
                [this, gathering] { refreshData(gathering); });
    }
    gauge(50);
    saleDataView_ = new views::TsaleDataViewFrm(dm_);
    display_->addWidget(saleDataView_);
    // "更新下载": the shop goes back to the gathering window as its one search result, ticked, so that
    // "开始采集" is the one step left.
    connect(saleDataView_, &views::TsaleDataViewFrm::updateDownloadRequested, this,
            [this](const TDianBaseInfo& shop) {
                saleGather_->takeShops({shop}, true);
                showWorkingWindow(saleGather_);
            });
    gauge(60);
    itemTopSale_ = new TitemTopSaleGatherFrm([this] { return config_.getHttpAgent(); });
    display_->addWidget(itemTopSale_);
    connect(itemTopSale_, &RankingWindow::statusLine, this, &MainWindow::setStatusText);
    gauge(70);
    topListGather_ = new TtopListGatherFrm([this] { return config_.getHttpAgent(); }, dm_);
    display_->addWidget(topListGather_);
    connect(topListGather_, &RankingWindow::statusLine, this, &MainWindow::setStatusText);
    gauge(75);
    saleAnalyse_ = new charts::TsaleAnalyseFrm(dm_, folder_);
    display_->addWidget(saleAnalyse_);
    gauge(10);
    saleTimeArea_ = new charts::TsaleTimeAreaFrm(dm_, folder_);
    display_->addWidget(saleTimeArea_);
    gauge(80);
    saleCarrent_ = new charts::TsaleCarrentFrm(dm_, folder_);
    display_->addWidget(saleCarrent_);
    gauge(85);
    topDataView_ = new views::TtopDataViewFrm(dm_);
    display_->addWidget(topDataView_);
    connect(topListGather_, &TtopListGatherFrm::rankingsSaved, topDataView_,
            &views::TtopDataViewFrm::showRanking);
    connect(saleDataView_, &views::TsaleDataViewFrm::dataChanged, this,
            [this] { refreshData(saleDataView_); });
    connect(rateDataView_, &views::TrateDataViewFrm::dataChanged, this,
            [this] { refreshData(rateDataView_); });
    gauge(90);
    shopWatch_ = new TshopWatchFrm([this] { return config_.getHttpAgent(); }, dm_, folder_);
    display_->addWidget(shopWatch_);
    connect(shopWatch_, &TshopWatchFrm::statusLine, this, &MainWindow::setStatusText);
    connect(shopWatch_, &TshopWatchFrm::roundEnded, this, [this] { refreshData(shopWatch_); });
    // "加入监控" on the shop grids: the shop joins the watch with the default number of items.
    auto watch = [this](const QString& address) {
        shopWatch_->addShop(address, gather::kDefaultItemsPerShop, false);
    };
    connect(saleDataView_, &views::TsaleDataViewFrm::watchRequested, this, watch);
    connect(rateDataView_, &views::TrateDataViewFrm::watchRequested, this, watch);
    for (ShopGatherWindow* gathering : std::initializer_list<ShopGatherWindow*>{rateGather_, saleGather_})
        connect(gathering, &ShopGatherWindow::watchRequested, this, watch);
    gauge(100);
    buildNavigation();
    setStatusText({});
}

void MainWindow::buildNavigation() {
    auto help = [this](widgets::HelpSection section) {
        return [this, section] { showHelpPage(widgets::helpPage(section)); };
    };
    auto show = [this](QWidget* window) -> std::function<void()> {
        if (!window) return {};
        return [this, window] { showWorkingWindow(window); };
    };
    const std::vector<NavigationEntry> entries = {
        {"热卖商品排行", "按类目采集热卖商品", "N3", "勾选类目，采集各类目的热卖商品排行并保存",
         show(topListGather_), topListGather_},
        {"热卖商品排行", "指定商品销售排行", "N2", "按商品名、价格和所在地搜索商品，按销量排行",
         show(itemTopSale_), itemTopSale_},
        {"热卖商品排行", "类目热卖商品历史", "N4", "查看保存过的类目热卖商品排行，按年月比较",
         show(topDataView_), topDataView_},
        {"热卖商品排行", "操作帮助", "N24", nullptr, help(widgets::HelpSection::Ranking)},
        {"店铺销售分析", "销售数据采集", "N6", "采集你所要关注的店铺的销售数据", show(saleGather_),
         saleGather_},
        {"店铺销售分析", "销售数据浏览", "N7", "浏览、筛选、导出或删除已采集的店铺、商品和销售记录",
         show(saleDataView_), saleDataView_},
        {"店铺销售分析", "销售时间分布分析", "N25", "选择店铺和日期，看销售按小时、星期和月份的分布",
         show(saleTimeArea_), saleTimeArea_},
        {"店铺销售分析", "销售排行分析", "N26", "选择店铺和日期，看哪些商品的销量和销售额最高",
         show(saleAnalyse_), saleAnalyse_},
        {"店铺销售分析", "销售趋势分析", "N27", "选择店铺和日期，看每天、每周、每月的销量和销售额走势",
         show(saleCarrent_), saleCarrent_},
        {"店铺销售分析", "操作帮助", "N29", nullptr, help(widgets::HelpSection::Sales)},
        {"店铺评价分析", "评价数据采集", "N10", "采集店铺的信用评价记录", show(rateGather_), rateGather_},
        {"店铺评价分析", "评价数据浏览", "N11", "浏览、查找、导出或删除已采集的店铺评价", show(rateDataView_),
         rateDataView_},
        {"店铺评价分析", "信用成长分析", "N30", "选择店铺和日期，看好评、中评、差评和信用的增长",
         show(rateTrend_), rateTrend_},
        {"店铺评价分析", "评价真实度分析", "N31", "选择店铺和日期，检查店铺评价的真实程度", show(rateCheck_),
         rateCheck_},
        {"店铺评价分析", "操作帮助", "N32", nullptr, help(widgets::HelpSection::Rating)},
        {"店铺监控", "店铺监控", "N40", "定期重新采集竞争店铺，报告价格、销量、评价的变化", show(shopWatch_),
         shopWatch_},
        {"帮助", "导航页", "N13", nullptr, [this] { showVendorPage("/welcome.jsp"); }},
        {"帮助", "系统选项", "N17", nullptr,
         [this] {
             TconfigFrm settings(config_, app::ConfigFile(folder_.config()), this);
             settings.exec();
         }},
        {"帮助", "建议反馈", "N14", nullptr, [this] { sendFeedback(); }},
        {"帮助", "关于", "N21", nullptr, [this] { AboutDialog(this).exec(); }},
    };

    QStringList sections;
    for (const auto& entry : entries)
        if (entry.action && !sections.contains(entry.section)) sections.append(entry.section);
    for (const QString& section : sections) {
        auto* page = new QWidget;
        auto* layout = new QVBoxLayout(page);
        layout->setSpacing(2);
        QMenu* menu = menuBar()->addMenu(section);
        for (const auto& entry : entries) {
            if (!entry.action || section != entry.section) continue;
            auto* action = menu->addAction(entry.text);
            action->setObjectName(entry.name);
            connect(action, &QAction::triggered, this, entry.action);
            auto* button = new QToolButton;
            button->setText(entry.text);
            button->setObjectName(QString(entry.name) + "Button");
            button->setToolButtonStyle(Qt::ToolButtonTextOnly);
            button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
            button->setAutoRaise(true);
            if (entry.hint) button->setToolTip(entry.hint);
            if (entry.hint) action->setStatusTip(entry.hint);
            if (entry.window && entry.hint) entry.window->setProperty(kPurpose, entry.hint);
            connect(button, &QToolButton::clicked, action, &QAction::trigger);
            layout->addWidget(button);
        }
        layout->addStretch();
        toolBar_->addItem(page, section);
    }
}

void MainWindow::refreshData(QWidget* changedBy) {
    if (saleDataView_ != changedBy) saleDataView_->reload();
    if (rateDataView_ != changedBy) rateDataView_->reload();
    for (charts::AnalysisWindow* analysis :
         {saleAnalyse_, saleTimeArea_, saleCarrent_, rateTrend_, rateCheck_})
        analysis->refreshClick();
}

QString MainWindow::closeLoss() const {
    QStringList lines;
    const auto add = [&](const auto* window) {
        if (!window || !window->busy()) return;
        const QString loss = window->stopLoss();
        lines << window->windowTitle() + "：" + (loss.isEmpty() ? QString("正在进行的搜索将中止。") : loss);
    };
    add(saleGather_);
    add(rateGather_);
    add(topListGather_);
    add(itemTopSale_);
    add(shopWatch_);
    return lines.join("\n");
}

void MainWindow::closeEvent(QCloseEvent* event) {
    const QString loss = closeLoss();
    if (!loss.isEmpty()) {
        if (!widgets::UserMessages::confirm(this, QString(kCloseWhileGathering) + "\n" + loss + "\n" +
                                                      kCloseQuestion)) {
            event->ignore();
            return;
        }
        saleGather_->stopAndWait();
        rateGather_->stopAndWait();
        topListGather_->stopAndWait();
        itemTopSale_->stopAndWait();
        shopWatch_->stopAndWait();
    }
    widgets::WindowSettings::keepGeometry(this, "main");
    event->accept();
}

void MainWindow::showWorkingWindow(QWidget* window) {
    if (!window || display_->currentWidget() == window) return;
    if (display_->indexOf(window) < 0) display_->addWidget(window);
    display_->setCurrentWidget(window);
    setWindowTitle(QString(kAppTitle) + "--" + window->windowTitle());
    // What the window is for, until something happens worth the line.
    if (statusIsHint_) statusText_->setText(window->property(kPurpose).toString());
}

QWidget* MainWindow::currentWorkingWindow() const {
    return display_->currentIndex() > 0 ? display_->currentWidget() : nullptr;
}

void MainWindow::showVendorPage(const QString& path) {
    showWorkingWindow(welcome_);
    welcome_->openVendorPage(path);
}

void MainWindow::showHelpPage(const QUrl& page) {
    showWorkingWindow(welcome_);
    welcome_->browser()->open(page);
}

void MainWindow::sendFeedback() {
    QUrl mail("mailto:" + vendorMail());
    QUrlQuery subject;
    subject.addQueryItem("subject", QString("%1 %2 建议反馈").arg(kAppTitle, kVersion));
    mail.setQuery(subject);
    if (QDesktopServices::openUrl(mail) || QDesktopServices::openUrl(vendorSite())) return;
    auto* app = qobject_cast<VantorApplication*>(qApp);
    const std::filesystem::path log =
        app ? app->errorLog() : app::errorLogPath(QCoreApplication::applicationFilePath().toStdString());
    showWorkingWindow(welcome_);
    welcome_->browser()->openFilled(widgets::helpResource(widgets::HelpTopic::Feedback),
                                    {{"mail", vendorMail()},
                                     {"site", vendorSite().toString()},
                                     {"log", QString::fromStdString(log.string())},
                                     {"version", kVersion}});
}

void MainWindow::setStatusText(const QString& text) {
    statusIsHint_ = text.isEmpty();
    statusText_->setText(statusIsHint_ && display_->currentWidget()
                             ? display_->currentWidget()->property(kPurpose).toString()
                             : text);
}
QString MainWindow::statusText() const {
    return statusText_->text();
}

void MainWindow::showMessage(const std::string& text) {
    widgets::UserMessages::show(this, text);
}

app::ServerChoice MainWindow::askServerUnreachable(const std::string& text, const std::string& detail) {
    QStringList answers;
    for (const char* answer : app::kServerChoiceTexts)
        answers << answer;
    return app::ServerChoice(widgets::UserMessages::choose(this, QString::fromStdString(text),
                                                           QString::fromStdString(detail), answers));
}

void MainWindow::showStatus(const std::string& text) {
    setStatusText(QString::fromStdString(text));
}

} // namespace vantor
