#include "ChartPage.h"
#include "MainWindow.h"
#include "TsaleAnalyseFrm.h"
#include "TsaleCarrentFrm.h"
#include "TsaleTimeAreaFrm.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "charts/SalesFixture.h"
#include "support/TempDir.h"

#include <QAction>
#include <QComboBox>
#include <QDateEdit>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolBox>
#include <QToolButton>
#include <QWebEngineView>

using namespace vantor;
using namespace vantor::charts;

class SaleAnalysisTest : public QObject {
    Q_OBJECT

    std::unique_ptr<test::TempDir> dir;
    std::unique_ptr<db::TDM> dm;
    QStringList messages;

    DataFolder folder() const { return DataFolder(dir->path() / "data"); }

    template <class Window> std::unique_ptr<Window> openWindow() {
        auto window = std::make_unique<Window>(*dm, folder());
        window->resize(1000, 700);
        window->show();
        return window;
    }

    static void chooseShop(SaleAnalysisWindow& window, const QString& name, const QString& from,
                           const QString& to) {
        window.dianmingList->setCurrentIndex(window.dianmingList->findText(name));
        window.date1->setDate(QDate::fromString(from, "yyyy-MM-dd"));
        window.date2->setDate(QDate::fromString(to, "yyyy-MM-dd"));
    }

    // Presses "分析" and waits for the page to finish loading.
    static bool analyse(SaleAnalysisWindow& window) {
        QSignalSpy loaded(window.web1, &QWebEngineView::loadFinished);
        QTest::mouseClick(window.bsSkinButton1, Qt::LeftButton);
        return loaded.wait(20000) && loaded.first().first().toBool();
    }

    static QVariant evaluate(QWebEngineView* view, const QString& script) {
        QVariant result;
        bool done = false;
        view->page()->runJavaScript(script, [&](const QVariant& value) {
            result = value;
            done = true;
        });
        return QTest::qWaitFor([&] { return done; }, 10000) ? result : QVariant();
    }

    // The number of points each chart of the page drew, once the page script is done.
    static QString drawnPoints(QWebEngineView* view) {
        evaluate(view, "window.vantorGallery.ready.then(charts => { window.drawnPoints = charts.map(c => c ? "
                       "c.getModel().getSeriesByIndex(0).getData().count() : -1).join(','); })");
        QString points;
        bool drawn = QTest::qWaitFor(
            [&] {
                points = evaluate(view, "window.drawnPoints || ''").toString();
                return !points.isEmpty();
            },
            10000);
        return drawn ? points : "not drawn";
    }

    // Answers the save dialog once it shows: the file, or cancel for an empty name. The flag tells
    // that the dialog came and went.
    static std::shared_ptr<bool> answerSaveDialog(SaleAnalysisWindow& window, const QString& file) {
        auto answered = std::make_shared<bool>(false);
        // As a user would: the dialog opens in the folder, where only the name is typed.
        if (!file.isEmpty()) window.saveDlg->setDirectory(QFileInfo(file).absolutePath());
        auto* poll = new QTimer(&window);
        connect(poll, &QTimer::timeout, poll, [poll, &window, file, answered] {
            if (!window.saveDlg->isVisible()) return;
            poll->deleteLater();
            *answered = true;
            if (file.isEmpty()) {
                window.saveDlg->reject();
                return;
            }
            // Typed into the name field: selectFile leaves a focused field alone.
            window.saveDlg->findChild<QLineEdit*>("fileNameEdit")->setText(QFileInfo(file).fileName());
            static_cast<QDialog*>(window.saveDlg)->accept(); // QFileDialog's own accept checks the name
        });
        poll->start(20);
        return answered;
    }

    QString target(const char* name) const { return QString::fromStdString((dir->path() / name).string()); }

private slots:
    void init() {
        dir = std::make_unique<test::TempDir>();
        folder().create();
        dm = std::make_unique<db::TDM>(folder().database());
        dm->open();
        test::fillSalesFixture(dm->cn1());
        messages.clear();
        UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
    }

    void cleanup() {
        UserMessages::redirect({});
        dm.reset();
        dir.reset();
    }

    void theWindowOpensWithThisYearAndTheShopList() {
        auto window = openWindow<TsaleAnalyseFrm>();
        QCOMPARE(window->windowTitle(), QString("销售排行分析"));
        QDate today = QDate::currentDate();
        QCOMPARE(window->date1->date(), QDate(today.year(), 1, 1));
        QCOMPARE(window->date2->date(), today);
        QStringList shops;
        for (int i = 0; i < window->dianmingList->count(); ++i)
            shops << window->dianmingList->itemText(i);
        QCOMPARE(shops, (QStringList{"鲍勃", "跨年小铺", "爱丽丝小店", "全天候"}));
        QCOMPARE(window->dianmingList->currentIndex(), 0);
        QStringList labels;
        for (auto* label : window->findChildren<QLabel*>(Qt::FindDirectChildrenOnly))
            labels << label->text();
        QCOMPARE(labels, (QStringList{"店铺名：", "分析日期：", "到"}));
        QCOMPARE(window->refresh->text(), QString("刷新列表"));
        QCOMPARE(window->bsSkinButton1->text(), QString("分析"));
        QCOMPARE(window->helpButton->text(), QString("操作帮助"));
        QCOMPARE(openWindow<TsaleTimeAreaFrm>()->windowTitle(), QString("销售时间分布分析"));
        QCOMPARE(openWindow<TsaleCarrentFrm>()->windowTitle(), QString("销售趋势分析"));

        // A shop gathered meanwhile appears after "刷新列表".
        dm->cn1().exec("insert into dianbase(id,dianming,updateDate) values(9,'新店','2013-01-01 00:00:00');"
                       "insert into itemInfo(dian_id,itemId,itemTitle) values(9,'n1','新品')");
        QTest::mouseClick(window->refresh, Qt::LeftButton);
        QCOMPARE(window->dianmingList->count(), 5);
        QCOMPARE(window->dianmingList->itemText(0), QString("新店"));
    }

    void withoutAShopTheRunIsRefused() {
        dm->cn1().exec("delete from itemInfo");
        auto window = openWindow<TsaleCarrentFrm>();
        QCOMPARE(window->dianmingList->count(), 0);
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"没有选择要分析的店铺，请选择！"});
        QVERIFY(!std::filesystem::exists(window->gallery().document("saleCarrentDay.xml")));
        QVERIFY(window->web1->url().isEmpty());
    }

    void theRankingPageDrawsAndItsLinksExportTheLists() {
        auto window = openWindow<TsaleAnalyseFrm>();
        chooseShop(*window, "爱丽丝小店", "2011-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        QVERIFY(messages.isEmpty());
        QCOMPARE(window->web1->url().fileName(), QString("saleAnalyse.html"));
        QCOMPARE(drawnPoints(window->web1), QString("3,3"));

        // The page's own link, clicked: the host arrives lower-cased and is still recognised.
        answerSaveDialog(*window, target("count.xml"));
        evaluate(window->web1, "document.querySelector('a[href=\"sale://saleCount_/\"]').click()");
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
        QCOMPARE(test::readFile(target("count.xml").toStdString()),
                 test::readFile(window->gallery().document("saleCount.xml")));
        QCOMPARE(window->web1->url().fileName(), QString("saleAnalyse.html")); // the page stays

        // A marker anywhere in an address, in any letter case, is not followed but exported.
        messages.clear();
        test::writeFile(target("amount.xml").toStdString(), "an older file in the way");
        answerSaveDialog(*window, target("amount.xml"));
        window->web1->load(QUrl("http://127.0.0.1:9/next?to=SALE://SALEAMOUNT_/&x=1"));
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
        QCOMPARE(test::readFile(target("amount.xml").toStdString()),
                 test::readFile(window->gallery().document("saleAmount.xml")));
    }

    void cancellingTheSaveDialogExportsNothing() {
        auto window = openWindow<TsaleAnalyseFrm>();
        chooseShop(*window, "爱丽丝小店", "2011-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        auto answered = answerSaveDialog(*window, QString());
        window->web1->load(QUrl("sale://saleCount_/"));
        QTRY_VERIFY_WITH_TIMEOUT(*answered, 10000);
        QTest::qWait(100);
        QVERIFY(messages.isEmpty());
    }

    void anAddressWithoutAMarkerIsFollowed() {
        auto window = openWindow<TsaleCarrentFrm>();
        chooseShop(*window, "跨年小铺", "2010-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        QCOMPARE(drawnPoints(window->web1), QString("5,5,4"));
        QSignalSpy loaded(window->web1, &QWebEngineView::loadFinished);
        QUrl other =
            QUrl::fromLocalFile(QString::fromStdString(window->gallery().page("saleTimeArea.html").string()));
        window->web1->load(other);
        QVERIFY(loaded.wait(10000));
        QCOMPARE(window->web1->url(), other);
        QVERIFY(messages.isEmpty());
    }

    void theTrendLinksExportTheirOwnLists() {
        auto window = openWindow<TsaleCarrentFrm>();
        chooseShop(*window, "跨年小铺", "2010-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        const char* markers[] = {"saleCarrentDay", "saleCarrentWeek", "saleCarrentMonth"};
        const char* lists[] = {"saleCarrentDayList.xml", "saleCarrentWeekList.xml",
                               "saleCarrentMonthList.xml"};
        for (int i = 0; i < 3; ++i) {
            messages.clear();
            QString file = target(lists[i]);
            answerSaveDialog(*window, file);
            evaluate(window->web1,
                     QString("document.querySelector('a[href=\"sale://%1_/\"]').click()").arg(markers[i]));
            QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
            QCOMPARE(test::readFile(file.toStdString()),
                     test::readFile(window->gallery().document(lists[i])));
        }
    }

    void anExportBeforeAnyRunCannotFindItsList() {
        auto window = openWindow<TsaleAnalyseFrm>();
        answerSaveDialog(*window, target("none.xml"));
        window->web1->load(QUrl("sale://saleCount_/"));
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件无法导出，请重新分析后，再进行导出！"}, 10000);
        QVERIFY(!std::filesystem::exists(dir->path() / "none.xml"));
    }

    void anotherShopsRunIsWhatTheNextExportGets() {
        auto window = openWindow<TsaleAnalyseFrm>();
        chooseShop(*window, "爱丽丝小店", "2011-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        chooseShop(*window, "鲍勃", "2011-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        QCOMPARE(drawnPoints(window->web1), QString("1,1"));
        answerSaveDialog(*window, target("bob.xml"));
        window->web1->load(QUrl("sale://saleCount_/"));
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
        QVERIFY(test::gbkFileAsUtf8(dir->path() / "bob.xml").find("<商品>手套</商品>") != std::string::npos);
    }

    void theTimeDistributionWindowHasNoListsToExport() {
        auto window = openWindow<TsaleTimeAreaFrm>();
        QVERIFY(!window->saveDlg);
        chooseShop(*window, "全天候", "2011-01-01", "2011-12-31");
        QVERIFY(analyse(*window));
        QCOMPARE(drawnPoints(window->web1), QString("24,1,1"));
    }

    void theMainWindowOffersTheThreeAnalysesInTheSalesSection() {
        TConfig config;
        MainWindow main(folder(), config, *dm);
        QCOMPARE(main.startUp(), StartupOutcome::Ready);
        main.createWorkingWindows([](int) {});
        QStringList entries;
        for (QAction* action : main.menuBar()->actions()[1]->menu()->actions())
            entries << action->objectName() + " " + action->text();
        QCOMPARE(main.menuBar()->actions()[1]->text(), QString("店铺销售分析"));
        QVERIFY(entries.indexOf("N25 销售分布分析") >= 0);
        QCOMPARE(entries.indexOf("N26 销售排行分析"), entries.indexOf("N25 销售分布分析") + 1);
        QCOMPARE(entries.indexOf("N27 销售趋势分析"), entries.indexOf("N26 销售排行分析") + 1);
        QCOMPARE(entries.indexOf("N29 操作帮助"), entries.indexOf("N27 销售趋势分析") + 1);
        QVERIFY(main.navigationBar()->findChild<QToolButton*>("N26Button"));

        const std::pair<const char*, const char*> shown[] = {{"N25", "Vantor专业版--销售时间分布分析"},
                                                             {"N26", "Vantor专业版--销售排行分析"},
                                                             {"N27", "Vantor专业版--销售趋势分析"}};
        for (auto [name, caption] : shown) {
            main.menuBar()->findChild<QAction*>(name)->trigger();
            QCOMPARE(main.windowTitle(), QString(caption));
            QVERIFY(qobject_cast<SaleAnalysisWindow*>(main.currentWorkingWindow()));
        }
    }

    void aFailedRunKeepsThePageAndSaysSo() {
        auto window = openWindow<TsaleAnalyseFrm>();
        test::writeFile(window->gallery().folder(), "a file where the folder belongs");
        chooseShop(*window, "爱丽丝小店", "2011-01-01", "2011-12-31");
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"生成数据出错！"});
        QVERIFY(window->web1->url().isEmpty());
    }
};

int main(int argc, char** argv) {
    registerSaleScheme();
    prepareQtEnvironment();
    VantorApplication app(argc, argv);
    SaleAnalysisTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_saleanalysis.moc"
