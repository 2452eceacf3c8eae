#include "BrowserPane.h"
#include "ChartPage.h"
#include "MainWindow.h"
#include "SaleAnalysisWindow.h"
#include "TsaleDataViewFrm.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "WelcomeWindow.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "support/HttpServer.h"
#include "support/TempDir.h"
#include "views/ViewsFixture.h"

#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <QToolBox>
#include <QToolButton>
#include <QWebEngineView>

using namespace vantor;

namespace {

class ThrowingObject : public QObject {
public:
    bool event(QEvent* e) override {
        if (e->type() == QEvent::User) throw std::runtime_error("坏事件");
        return QObject::event(e);
    }
};

// Answers the next question box with this button, as a user would.
void answerNextQuestion(QMessageBox::StandardButton button) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, button] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) return;
        poll->stop();
        poll->deleteLater();
        box->button(button)->click();
    });
    poll->start(20);
}

} // namespace

class MainWindowTest : public QObject {
    Q_OBJECT

    std::unique_ptr<test::TempDir> dir;
    std::unique_ptr<TConfig> config;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<MainWindow> window;
    QStringList messages;
    QList<int> gauges;

    QAction* action(const char* name) { return window->menuBar()->findChild<QAction*>(name); }

private slots:
    void init() {
        dir = std::make_unique<test::TempDir>();
        DataFolder folder(dir->path() / "data");
        config = std::make_unique<TConfig>();
        dm = std::make_unique<db::TDM>(folder.database());
        window = std::make_unique<MainWindow>(folder, *config, *dm);
        messages.clear();
        gauges.clear();
        UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
        QCOMPARE(window->startUp(), StartupOutcome::Ready);
        window->createWorkingWindows([this](int value) { gauges.append(value); });
        window->show();
    }

    void cleanup() {
        window.reset();
        dm.reset();
        config.reset();
        dir.reset();
    }

    void startUpPreparesAnEmptyDataFolder() {
        QVERIFY(messages.isEmpty());
        QVERIFY(std::filesystem::exists(dir->path() / "data" / "config.ini"));
        QVERIFY(dm->isOpen());
        QCOMPARE(window->statusText(), QString()); // the compaction ran and took its line with it
        QCOMPARE(window->windowTitle(), QString("Vantor专业版"));
        QCOMPARE(gauges, (QList<int>{25, 40, 50, 60, 10, 80, 85, 100}));
    }

    void statusBarCarriesTheHintLabel() {
        QStringList labels;
        for (auto* label : window->statusBar()->findChildren<QLabel*>())
            labels << label->text();
        QVERIFY(labels.contains("操作提示："));
    }

    void navigationBarAndMenuBarCarryTheSameEntries() {
        QToolBox* bar = window->navigationBar();
        QStringList sections, menus;
        for (int i = 0; i < bar->count(); ++i)
            sections << bar->itemText(i);
        for (auto* menu : window->menuBar()->actions())
            menus << menu->text();
        QCOMPARE(sections, (QStringList{"热卖商品排行", "店铺销售分析", "店铺评价分析", "帮助"}));
        QCOMPARE(menus, sections);
        for (const char* name : {"N24", "N29", "N32", "N13", "N17", "N14", "N21"}) {
            QAction* menuItem = action(name);
            QVERIFY2(menuItem, name);
            auto* button = bar->findChild<QToolButton*>(QString(name) + "Button");
            QVERIFY2(button, name);
            // The menu may word an entry differently; it still triggers the entry of that name.
            if (QString(name) != "N17") QCOMPARE(button->text(), menuItem->text());
        }
        QCOMPARE(action("N17")->text(), QString("选项"));
        QCOMPARE(bar->findChild<QToolButton*>("N17Button")->text(), QString("系统选项"));
        // Windows that are not built are left out, not shown as dead entries.
        QVERIFY(!action("N10"));
    }

    void choosingAnEntrySwapsTheWindowAndTheCaption() {
        action("N13")->trigger();
        QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
        QCOMPARE(window->windowTitle(), QString("Vantor专业版--欢迎"));

        QWidget other;
        other.setWindowTitle("销售数据浏览");
        window->showWorkingWindow(&other);
        QCOMPARE(window->currentWorkingWindow(), &other);
        QCOMPARE(window->windowTitle(), QString("Vantor专业版--销售数据浏览"));
        QVERIFY(!other.isWindow()); // placed into the display area without its own frame

        // The window already shown stays as it is, caption included.
        other.setWindowTitle("改过的标题");
        window->showWorkingWindow(&other);
        QCOMPARE(window->windowTitle(), QString("Vantor专业版--销售数据浏览"));

        action("N13")->trigger();
        QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
        QCOMPARE(window->windowTitle(), QString("Vantor专业版--欢迎"));
    }

    void helpEntriesOpenTheirVendorPageInTheWelcomeWindow() {
        action("N24")->trigger();
        QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
        QCOMPARE(window->welcomeWindow()->browser()->requestedUrl().path(), QString("/topList.jsp"));
        action("N32")->trigger();
        QCOMPARE(window->welcomeWindow()->browser()->requestedUrl().path(), QString("/rateAnalyse.jsp"));
    }

    void updateDownloadHandsTheShopToTheGatheringWindow() {
        auto* view = window->findChild<views::TsaleDataViewFrm*>();
        QVERIFY(view);
        TDianBaseInfo shop;
        shop.dianzhu = "老掌柜";
        shop.webaddr = "http://shop9.taobao.com";
        emit view->updateDownloadRequested(shop);
        TsaleGatherFrm* gather = window->saleGatherWindow();
        QCOMPARE(window->currentWorkingWindow(), gather);
        QCOMPARE(window->windowTitle(), QString("Vantor专业版--销售数据采集"));
        QCOMPARE(gather->searchGrid->rowCount(), 1);
        QCOMPARE(gather->searchGrid->item(0, 2)->text(), QString("老掌柜"));
        QCOMPARE(gather->searchGrid->item(0, 6)->text(), QString("http://shop9.taobao.com"));
        QCOMPARE(gather->pages->currentIndex(), 1);
    }

    void theWindowNeverGetsSmallerThanItsMinimum() {
        window->resize(500, 300);
        QVERIFY(window->width() >= 973);
        QVERIFY(window->height() >= 647);
        window->resize(1200, 800);
        QCOMPARE(window->size(), QSize(1200, 800));
    }

    void anUnreachableVendorSiteShowsTheBundledPage() {
        BrowserPane* pane = window->welcomeWindow()->browser();
        QSignalSpy ready(pane, &BrowserPane::pageReady);
        pane->open(vendorPage("/welcome.jsp"));
        QVERIFY(ready.wait(20000));
        QCOMPARE(ready.last().at(0).toBool(), true);
        QVERIFY(pane->showingFallback());
        QTRY_COMPARE_WITH_TIMEOUT(pane->view()->title(), QString("欢迎"), 10000);
    }

    void qtsOwnTextsAreChinese() {
        QMessageBox box(QMessageBox::Question, "", "", QMessageBox::Yes | QMessageBox::No);
        QVERIFY2(box.button(QMessageBox::Yes)->text().contains("是"),
                 qPrintable(box.button(QMessageBox::Yes)->text()));
        QVERIFY(box.button(QMessageBox::No)->text().contains("否"));
        QLineEdit edit;
        std::unique_ptr<QMenu> menu(edit.createStandardContextMenu());
        QStringList actions;
        for (QAction* a : menu->actions())
            actions << a->text();
        QVERIFY2(actions.join('|').contains("复制"), qPrintable(actions.join('|')));
    }

    void gatheringsAndDeletesRefreshTheWindowsThatShowTheData() {
        auto* view = window->findChild<views::TsaleDataViewFrm*>();
        auto* analysis = window->findChild<charts::SaleAnalysisWindow*>();
        QCOMPARE(view->dianList->model()->rowCount(), 0);
        QCOMPARE(analysis->dianmingList->count(), 0);

        test::fillViewsFixture(dm->cn1(), 2011); // as a gathering commits them
        emit window->saleGatherWindow()->gatheringEnded();
        QTRY_COMPARE(view->dianList->model()->rowCount(), 2);
        QCOMPARE(analysis->dianmingList->count(), 2);

        // The user's shop stays current while rows come and go around it.
        view->data().shops().setCurrent(1);
        analysis->dianmingList->setCurrentIndex(1);
        const QString shop = analysis->dianmingList->currentText();
        const std::string shopId = view->data().shops().currentText("dian_id");
        dm->cn1().exec(
            "insert into dianbase(id,dianzhu,dianming,webaddr) values(9,'新掌柜','新店','http://shop9')");
        dm->cn1().exec("insert into itemInfo(dian_id,itemId,itemTitle) values(9,'9001','新品')");
        emit window->saleGatherWindow()->gatheringEnded();
        QTRY_COMPARE(view->dianList->model()->rowCount(), 3);
        QCOMPARE(view->data().shops().currentText("dian_id"), shopId);
        QCOMPARE(analysis->dianmingList->currentText(), shop);

        // A delete in the sales data view reaches the analyses.
        const QString deleted = QString::fromStdString(view->data().shops().currentText("dianming"));
        QVERIFY(analysis->dianmingList->findText(deleted) >= 0);
        answerNextQuestion(QMessageBox::Yes);
        view->bsSkinButton2Click();
        QCOMPARE(analysis->dianmingList->count(), 2);
        QVERIFY(analysis->dianmingList->findText(deleted) < 0);
    }

    void closingWhileGatheringAsksThenStopsAndKeepsNothingHalf() {
        // A shop page that never comes keeps the gathering running.
        test::HttpServer slow([](const test::HttpRequest&) {
            return test::HttpReply::late("<html></html>", std::chrono::seconds(60));
        });
        config->setHttpAgent(std::make_shared<THttpAgent>());
        TsaleGatherFrm* gather = window->saleGatherWindow();
        TDianBaseInfo shop;
        shop.webaddr = slow.url("/shop");
        shop.dianzhu = "慢掌柜";
        gather->takeShops({shop});
        QTest::mouseClick(gather->selAll, Qt::LeftButton);
        QTest::mouseClick(gather->saveSearch, Qt::LeftButton);
        QVERIFY(gather->busy());

        answerNextQuestion(QMessageBox::No);
        QVERIFY(!window->close());
        QVERIFY(window->isVisible());
        QVERIFY(gather->busy());

        answerNextQuestion(QMessageBox::Yes);
        QVERIFY(window->close());
        QVERIFY(!gather->busy()); // stopped and joined before the window went
        auto count = dm->cn1().prepare("select count(*) from dianbase");
        count.step();
        QCOMPARE(count.integer(0), std::int64_t(0));
    }

    void anExceptionInAnEventHandlerIsLogged() {
        auto* app = static_cast<VantorApplication*>(QCoreApplication::instance());
        auto log = dir->path() / "vantor.log";
        app->setErrorLog(log);
        ThrowingObject target;
        QEvent event(QEvent::User);
        QCoreApplication::sendEvent(&target, &event);
        QCoreApplication::sendEvent(&target, &event);
        std::string text = test::readFile(log);
        QCOMPARE(std::count(text.begin(), text.end(), '\n'), 2);
        QVERIFY(text.find(":坏事件\n") == 19); // "yyyy-MM-dd HH:mm:ss" then ":" and the message
    }
};

int main(int argc, char** argv) {
    prepareQtEnvironment();
    charts::registerSaleScheme();
    VantorApplication app(argc, argv);
    MainWindowTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mainwindow.moc"
