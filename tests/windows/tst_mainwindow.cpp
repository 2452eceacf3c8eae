#include "AnalysisWindow.h"
#include "BrowserPane.h"
#include "HelpPages.h"
#include "MainWindow.h"
#include "TconfigFrm.h"

#include "TrateDataViewFrm.h"
#include "TsaleDataViewFrm.h"
#include "WelcomeWindow.h"
#include "base/Version.h"
#include "demo-market/DemoMarket.h"
#include "gather/windows/TrateGatherFrm.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "support/HttpServer.h"
#include "views/ViewsFixture.h"
#include "windows/WindowTest.h"
#include <QGuiApplication>
#include <QScreen>

#include <QWebEngineView>
#include <algorithm>

using namespace vantor;

// Takes the mail addresses the program asks the system to open.
class MailCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened << url; }
};

class MainWindowTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<TConfig> config;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<MainWindow> window;

    QAction* action(const QString& name) { return window->menuBar()->findChild<QAction*>(name); }

    void prepare() override {
        DataFolder folder(*dir / "data");
        config = std::make_unique<TConfig>();
        dm = std::make_unique<db::TDM>(folder.database());
        window = std::make_unique<MainWindow>(folder, *config, *dm);
        QCOMPARE(window->startUp(), app::StartupOutcome::Ready);
        window->createWorkingWindows([](int) {});
        window->show();
    }
    void finish() override {
        window.reset();
        dm.reset();
    }

private slots:
    void theWindowFitsTheScreenAndComesBackAtItsLastSize() {
        const QRect free = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY(window->width() <= std::max(free.width(), window->minimumWidth()));
        QVERIFY(window->height() <= std::max(free.height(), window->minimumHeight()));
        QVERIFY(window->minimumWidth() <= 1024 && window->minimumHeight() <= 700);
        window->resize(1000, 650);
        QVERIFY(window->close());
        MainWindow again(DataFolder(*dir / "data"), *config, *dm);
        QCOMPARE(again.size(), QSize(1000, 650));
    }

    void startUpPreparesAnEmptyDataFolder() {
        QVERIFY(messages.isEmpty());
        // The compaction ran and took its line with it: the line is the welcome's again.
        QCOMPARE(window->statusText(), window->welcomeWindow()->property("purpose").toString());
        QCOMPARE(window->windowTitle(), QString("Vantor专业版"));
        QStringList labels;
        for (auto* label : window->statusBar()->findChildren<QLabel*>())
            labels << label->text();
        QVERIFY(labels.contains("操作提示："));
        // The window never gets smaller than the screen it was laid out for.
        window->resize(500, 300);
        QVERIFY(window->width() >= 973 && window->height() >= 647);
    }

    void theNavigationBarAndTheMenuBarOfferTheSameEntries() {
        QToolBox* bar = window->navigationBar();
        QStringList sections, menus;
        for (int i = 0; i < bar->count(); ++i)
            sections << bar->itemText(i);
        for (auto* menu : window->menuBar()->actions())
            menus << menu->text();
        QCOMPARE(menus, sections);
        const auto buttons = bar->findChildren<QToolButton*>(QRegularExpression("^N\\d+Button$"));
        QVERIFY(buttons.size() >= 10);
        for (QToolButton* button : buttons) {
            QAction* entry = action(button->objectName().chopped(6));
            QVERIFY2(entry, qPrintable(button->objectName()));
            QCOMPARE(button->text(), entry->text()); // one name in the bar and the menu
        }
    }

    void everyEntryShowsItsWindowUnderItsOwnNameAndPurpose() {
        QCOMPARE(window->statusText(), window->welcomeWindow()->property("purpose").toString());
        QVERIFY(!window->statusText().isEmpty());
        int windows = 0;
        for (QToolButton* button : window->navigationBar()->findChildren<QToolButton*>()) {
            const QString name = button->objectName().chopped(6);
            if (name == "N13" || name == "N17" || name == "N14" || name == "N21" ||
                button->text() == "操作帮助")
                continue;
            button->click();
            QWidget* shown = window->currentWorkingWindow();
            QVERIFY2(shown && shown != window->welcomeWindow(), qPrintable(name));
            ++windows;
            // The entry, the menu and the title bar call the window by one name.
            QCOMPARE(window->windowTitle(), "Vantor专业版--" + button->text());
            QCOMPARE(shown->windowTitle(), button->text());
            // The status line says what the window is for, as the entry's tooltip does.
            QCOMPARE(window->statusText(), button->toolTip());
            QVERIFY(!button->toolTip().isEmpty());
            QVERIFY(!shown->isWindow()); // placed into the display area without its own frame
            action("N13")->trigger();
            QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
            QCOMPARE(window->windowTitle(), QString("Vantor专业版--欢迎"));
            action(name)->trigger();
            QCOMPARE(window->currentWorkingWindow(), shown);
        }
        QCOMPARE(windows, 13);
        // An event keeps the line until the next one; clearing it brings the purpose back.
        window->setStatusText("2026-01-01 00:00:00异常出错.....！");
        action("N13")->trigger();
        QCOMPARE(window->statusText(), QString("2026-01-01 00:00:00异常出错.....！"));
        window->setStatusText({});
        QCOMPARE(window->statusText(), window->welcomeWindow()->property("purpose").toString());

        // The window already shown stays as it is, caption included.
        action("N11")->trigger();
        QWidget* shown = window->currentWorkingWindow();
        const QString title = window->windowTitle();
        shown->setWindowTitle("改过的标题");
        window->showWorkingWindow(shown);
        QCOMPARE(window->windowTitle(), title);
    }

    // Loads a page into the welcome window's browser and gives its text once it is there.
    QString shownPage(const std::function<void()>& open) {
        BrowserPane* pane = window->welcomeWindow()->browser();
        QSignalSpy ready(pane, &BrowserPane::pageReady);
        open();
        if (!ready.wait(20000) || ready.last().at(0).toBool()) return "not loaded";
        return evaluate(pane->view(), "document.title + '\\n' + document.body.innerText").toString();
    }

    // A control of the window itself, not of a dialog it owns; the windows themselves sit in the main
    // window's display area.
    static bool ownControl(QWidget* control, QWidget* window) {
        for (QWidget* w = control; w != window; w = w->parentWidget())
            if (w->isWindow()) return false;
        return true;
    }

    // The working windows the navigation shows, in its order, without the welcome window.
    QList<QWidget*> workingWindows() {
        QList<QWidget*> windows;
        QToolBox* bar = window->navigationBar();
        for (int i = 0; i < bar->count(); ++i) {
            if (bar->itemText(i) == "帮助") continue; // dialogs and the vendor's pages
            for (QToolButton* button : bar->widget(i)->findChildren<QToolButton*>()) {
                button->click();
                QWidget* shown = window->currentWorkingWindow();
                if (shown != window->welcomeWindow() && !windows.contains(shown)) windows << shown;
            }
        }
        return windows;
    }

    void sectionHelpEntriesOpenTheProgramsOwnPages() {
        const std::pair<const char*, widgets::HelpSection> entries[] = {
            {"N24", widgets::HelpSection::Ranking},
            {"N29", widgets::HelpSection::Sales},
            {"N32", widgets::HelpSection::Rating}};
        for (auto [name, section] : entries) {
            const QString text = shownPage([&] { action(name)->trigger(); });
            QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
            QCOMPARE(window->welcomeWindow()->browser()->requestedUrl(), widgets::helpPage(section));
            QVERIFY2(text.startsWith("操作帮助\n"), qPrintable(text));
            // The index, at the section's part.
            QCOMPARE(evaluate(window->welcomeWindow()->browser()->view(), "location.hash").toString(),
                     "#" + widgets::helpPage(section).fragment());
        }
    }

    void everyWindowsHelpPageNamesItsCaptionButtonsAndPages() {
        QList<QWidget*> windows = workingWindows();
        QCOMPARE(windows.size(), 13);
        TconfigFrm settings(*config, app::ConfigFile(DataFolder(*dir / "data").config()), window.get());
        windows << &settings;
        QFile indexFile(widgets::helpResource(widgets::HelpTopic::Index));
        QVERIFY(indexFile.open(QIODevice::ReadOnly));
        const QString index = QString::fromUtf8(indexFile.readAll());
        QSet<QUrl> pages;
        for (QWidget* shown : windows) {
            const QUrl page = widgets::helpPageOf(shown);
            QVERIFY2(page.scheme() == "qrc", qPrintable(shown->windowTitle()));
            pages << page;
            QVERIFY2(index.contains("href=\"" + page.fileName() + "\""), qPrintable(page.fileName()));
            QFile file(":" + page.path());
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(page.toString()));
            const QString html = QString::fromUtf8(file.readAll());
            const QString caption = shown->windowTitle();
            QVERIFY2(html.contains("<h1>" + caption + "</h1>"), qPrintable(caption));
            // The window's own buttons, not those of the dialogs it owns.
            for (QPushButton* button : shown->findChildren<QPushButton*>())
                if (ownControl(button, shown) && !button->text().trimmed().isEmpty())
                    QVERIFY2(html.contains(button->text().trimmed()),
                             qPrintable(caption + ": " + button->text()));
            for (QTabWidget* tabs : shown->findChildren<QTabWidget*>())
                for (int i = 0; ownControl(tabs, shown) && i < tabs->count(); ++i)
                    QVERIFY2(html.contains(tabs->tabText(i)), qPrintable(caption + ": " + tabs->tabText(i)));
        }
        QCOMPARE(pages.size(), windows.size()); // a page of its own each
    }

    void f1AndTheAnalysisWindowsHelpButtonOpenTheWindowsPage() {
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        int analyses = 0;
        for (QWidget* shown : workingWindows()) {
            const QUrl page = widgets::helpPageOf(shown);
            const QString caption = shown->windowTitle();
            // F1 as the user presses it: in a control of the window.
            window->showWorkingWindow(shown);
            const auto controls = shown->findChildren<QWidget*>();
            auto control = std::ranges::find_if(
                controls, [](QWidget* w) { return w->isVisible() && w->focusPolicy() & Qt::TabFocus; });
            QVERIFY2(control != controls.end(), qPrintable(caption));
            QString text = shownPage([&] {
                (*control)->setFocus();
                QTest::keyClick(*control, Qt::Key_F1);
            });
            QCOMPARE(window->welcomeWindow()->browser()->requestedUrl(), page);
            QVERIFY2(text.startsWith("操作帮助 - " + caption + "\n"), qPrintable(text));
            auto* analysis = qobject_cast<charts::AnalysisWindow*>(shown);
            if (!analysis) continue;
            ++analyses;
            window->showWorkingWindow(analysis);
            text = shownPage([&] { QTest::mouseClick(analysis->helpButton, Qt::LeftButton); });
            QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
            QCOMPARE(window->welcomeWindow()->browser()->requestedUrl(), page);
            QVERIFY2(text.contains("图表"), qPrintable(text)); // each explains its charts
        }
        QCOMPARE(analyses, 5);
    }

    void feedbackMailsTheVendorAndWithoutAnyHandlerShowsTheAddresses() {
        MailCatcher mail;
        QDesktopServices::setUrlHandler("mailto", &mail, "open");
        action("N14")->trigger();
        QDesktopServices::unsetUrlHandler("mailto");
        QCOMPARE(mail.opened.size(), 1);
        const QUrl sent = mail.opened.first();
        QCOMPARE(sent.scheme(), QString("mailto"));
        QCOMPARE(sent.path(), vendorMail());
        QVERIFY2(QUrlQuery(sent).queryItemValue("subject", QUrl::FullyDecoded).contains(kVersion),
                 qPrintable(sent.toString()));

        // The offscreen platform opens nothing, as a machine without mail program or browser.
        QVERIFY(!QDesktopServices::openUrl(vendorSite()));
        const QString text = shownPage([&] { action("N14")->trigger(); });
        QCOMPARE(window->currentWorkingWindow(), window->welcomeWindow());
        QVERIFY2(text.startsWith("建议反馈\n"), qPrintable(text));
        QVERIFY2(text.contains(vendorMail()) && text.contains(vendorSite().toString()), qPrintable(text));
        const auto* app = qobject_cast<VantorApplication*>(qApp);
        QVERIFY2(text.contains(QString::fromStdString(app->errorLog().string())), qPrintable(text));
        QVERIFY(!text.contains("{{"));
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
        QLineEdit edit;
        std::unique_ptr<QMenu> menu(edit.createStandardContextMenu());
        QVERIFY(std::ranges::any_of(menu->actions(), [](QAction* a) { return a->text().contains("复制"); }));
    }

    void updateDownloadHandsTheShopToTheGatheringWindow() {
        TDianBaseInfo shop;
        shop.dianzhu = "老掌柜";
        shop.webaddr = "http://shop9.taobao.com";
        emit window->findChild<views::TsaleDataViewFrm*>()->updateDownloadRequested(shop);
        TsaleGatherFrm* gather = window->saleGatherWindow();
        QCOMPARE(window->currentWorkingWindow(), gather);
        QCOMPARE(gather->searchGrid->rowCount(), 1);
        QCOMPARE(cell(gather->searchGrid, 0, 2) + " " + cell(gather->searchGrid, 0, 7),
                 QString("老掌柜 http://shop9.taobao.com"));
        QCOMPARE(gather->pages->currentIndex(), 1);
        QVERIFY(gather->isTicked(0)); // "开始采集" is the one step left
    }

    void gatheringsAndDeletesRefreshTheWindowsThatShowTheData() {
        auto* view = window->findChild<views::TsaleDataViewFrm*>();
        auto* analysis = window->findChild<charts::AnalysisWindow*>();
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
        answerQuestion(QMessageBox::Yes);
        view->bsSkinButton2Click();
        QCOMPARE(analysis->dianmingList->count(), 2);
        QVERIFY(analysis->dianmingList->findText(deleted) < 0);
    }

    void aRatingGatherShowsItsOutcomeAndRefreshesTheRatingDataView() {
        demo::DemoMarket market;
        config->setHttpAgent(std::make_shared<const THttpAgent>(
            THttpAgent{true, "127.0.0.1", std::int32_t(market.port()), "", "", "", 0, 0, 3}));
        action("N10")->trigger();
        TrateGatherFrm* gather = window->rateGatherWindow();
        QCOMPARE(window->currentWorkingWindow(), gather);
        const demo::Shop& shop = *std::find_if(market.model().shops().begin(), market.model().shops().end(),
                                               [](const demo::Shop& s) { return s.ratingCount > 40; });
        TDianBaseInfo row;
        row.webaddr = shop.webAddress();
        row.dianzhu = shop.nick;
        gather->takeShops({row});
        QTest::mouseClick(gather->selAll, Qt::LeftButton);

        gather->fromData->setValue(10);
        gather->toData->setValue(10);
        QTest::mouseClick(gather->saveSearch, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"下载范围数据输入错误，起始量要小于结束量！"});
        QVERIFY(!gather->busy());

        gather->fromData->setValue(1);
        gather->toData->setValue(40);
        QSignalSpy ended(gather, &TrateGatherFrm::gatheringEnded);
        QTest::mouseClick(gather->saveSearch, Qt::LeftButton);
        QVERIFY(gather->busy());
        QVERIFY(ended.wait(30000));
        const int gathered = 40;
        QCOMPARE(count(*dm, "select count(*) from pjinfo"), gathered);
        QCOMPARE(gather->shopLabel->text(), "正在连接掌柜：" + QString::fromStdString(shop.nick));
        QCOMPARE(gather->itemsLabel->text(), QString("已采集评价%1条").arg(gathered));
        QVERIFY(gather->resultLabel->isVisible());
        QCOMPARE(gather->resultLabel->text(), QString("采集完成：已保存店铺1家，评价%1条。").arg(gathered));
        // The rating data view shows the shop without being asked.
        auto* view = window->findChild<views::TrateDataViewFrm*>();
        QTRY_COMPARE(view->dianbaseGrid->model()->rowCount(), 1);
        QCOMPARE(view->findResult_l->text(), QString("共有1店铺"));
    }

    void stoppingOrClosingAsksAndSaysWhatIsLostThenKeepsNothingHalf() {
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
        TrateGatherFrm* rate = window->rateGatherWindow();
        rate->takeShops({shop, shop}, true);
        QTest::mouseClick(rate->saveSearch, Qt::LeftButton);
        QVERIFY(rate->busy());

        // A rating run throws its whole batch away: its stop asks first and says so.
        auto question = std::make_shared<QString>();
        const auto answer = [question](QMessageBox::StandardButton button) {
            return [question, button](QWidget* dialog) {
                auto* box = qobject_cast<QMessageBox*>(dialog);
                QVERIFY(box);
                *question = box->text();
                box->button(button)->click();
            };
        };
        answerNextDialog(answer(QMessageBox::No));
        QTest::mouseClick(rate->dianStopBtn, Qt::LeftButton);
        QCOMPARE(*question,
                 QString("确定要停止采集吗？\n评价采集整批保存：本次已下载的0家店铺（共2家）的评价全部不会"
                         "保存，须重新开始。"));
        QVERIFY(rate->busy());

        // The close names each running window and what it loses.
        answerNextDialog(answer(QMessageBox::No));
        QVERIFY(!window->close());
        QCOMPARE(*question,
                 QString("正在采集数据，退出将停止采集：\n"
                         "销售数据采集：已保存的0家店铺保留，其余1家店铺不会保存，以后可继续采集。\n"
                         "评价数据采集：评价采集整批保存：本次已下载的0家店铺（共2家）的评价全部不会保存，"
                         "须重新开始。\n确定要退出吗？"));
        QVERIFY(window->isVisible());
        QVERIFY(gather->busy());

        answerNextDialog(answer(QMessageBox::Yes));
        QSignalSpy rateEnded(rate, &TrateGatherFrm::gatheringEnded);
        QTest::mouseClick(rate->dianStopBtn, Qt::LeftButton);
        QVERIFY(rateEnded.wait(10000));
        QVERIFY(!rate->busy());

        answerQuestion(QMessageBox::Yes);
        QVERIFY(window->close());
        QVERIFY(!gather->busy()); // stopped and joined before the window went
        QCOMPARE(count(*dm, "select count(*) from dianbase"), 0);
    }

    void anExceptionInAnEventHandlerIsLogged() {
        struct Throwing : QObject {
            bool event(QEvent* e) override {
                if (e->type() == QEvent::User) throw std::runtime_error("坏事件");
                return QObject::event(e);
            }
        } target;
        QEvent event(QEvent::User);
        QCoreApplication::sendEvent(&target, &event);
        QCoreApplication::sendEvent(&target, &event);
        std::string text = test::readFile(*dir / "vantor.log");
        QCOMPARE(std::count(text.begin(), text.end(), '\n'), 2);
        QVERIFY(text.find(":坏事件\n") == 19); // "yyyy-MM-dd HH:mm:ss" then ":" and the message
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<MainWindowTest>(argc, argv);
}

#include "tst_mainwindow.moc"
