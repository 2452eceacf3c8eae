#include "TrateAnalyseTopFrm.h"
#include "TrateDataAnalyseFrm.h"
#include "TsaleAnalyseFrm.h"
#include "TsaleCarrentFrm.h"
#include "TsaleTimeAreaFrm.h"
#include "charts/SalesFixture.h"
#include "windows/WindowTest.h"

#include <QImage>
#include <QWebEngineView>

#include <algorithm>

using namespace vantor;
using namespace vantor::charts;

class SaleAnalysisTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<db::TDM> dm;

    DataFolder folder() const { return DataFolder(*dir / "data"); }

    template <class Window> std::unique_ptr<Window> openWindow() {
        auto window = std::make_unique<Window>(*dm, folder());
        window->resize(1000, 700);
        window->show();
        return window;
    }

    // Chooses the shop and the dates, presses "分析" and waits for the page to finish loading.
    static bool analyse(AnalysisWindow& window, const QString& shop, const QString& from, const QString& to) {
        window.dianmingList->setCurrentIndex(window.dianmingList->findText(shop));
        window.date1->setDate(QDate::fromString(from, "yyyy-MM-dd"));
        window.date2->setDate(QDate::fromString(to, "yyyy-MM-dd"));
        QSignalSpy loaded(window.web1, &QWebEngineView::loadFinished);
        QTest::mouseClick(window.bsSkinButton1, Qt::LeftButton);
        return loaded.wait(20000) && loaded.first().first().toBool();
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

    // The text the pane shows before the first run, once its page has loaded.
    static QString emptyState(QWebEngineView* view) {
        QString text;
        bool shown = QTest::qWaitFor(
            [&] {
                text =
                    evaluate(view, "(document.getElementById('empty') || {}).textContent || ''").toString();
                return !text.isEmpty();
            },
            10000);
        return shown ? text : "no empty state";
    }

    // Clicks the page's own export link and saves the list as `file`.
    void exportByLink(AnalysisWindow& window, const QString& marker, const QString& file) {
        messages.clear();
        answerSaveDialog(window.saveDlg, file);
        evaluate(window.web1,
                 QString("document.querySelector('a[href=\"sale://%1_/\"]').click()").arg(marker));
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
    }

    void prepare() override {
        folder().create();
        dm = std::make_unique<db::TDM>(folder().database());
        dm->open();
        test::fillSalesFixture(dm->cn1());
    }
    void finish() override { dm.reset(); }

private slots:
    void theWindowOpensWithThisYearAndTheShopList() {
        auto window = openWindow<TsaleAnalyseFrm>();
        QDate today = QDate::currentDate();
        QCOMPARE(window->date1->date(), QDate(today.year(), 1, 1));
        QCOMPARE(window->date2->date(), today);
        // The order is the core's; the window shows the list with its first shop chosen.
        QCOMPARE(window->dianmingList->count(), 4);
        QCOMPARE(window->dianmingList->currentText(), QString("鲍勃"));
        // Before the first run the pane says what to do, and there is no picture to save yet.
        QCOMPARE(
            emptyState(window->web1),
            QString(
                "还没有分析结果。请在上方选择店铺和分析日期，再按“分析”，这里就会显示销售排行分析的图表。"));
        QVERIFY(!window->pictureButton->isEnabled());

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
        QVERIFY(!window->web1->url().isLocalFile());
        QVERIFY(emptyState(window->web1).contains("销售趋势分析"));
    }

    void theRankingPageDrawsAndItsLinksExportTheLastRun() {
        auto window = openWindow<TsaleAnalyseFrm>();
        QVERIFY(analyse(*window, "爱丽丝小店", "2011-01-01", "2011-12-31"));
        QVERIFY(messages.isEmpty());
        QCOMPARE(window->web1->url().fileName(), QString("saleAnalyse.html"));
        QCOMPARE(drawnPoints(window->web1), QString("3,3"));

        // The page's own link, clicked: the host arrives lower-cased and is still recognised.
        exportByLink(*window, "saleCount", target("count.xml"));
        QCOMPARE(test::readFile(target("count.xml").toStdString()),
                 test::readFile(window->gallery().document("saleCount.xml")));
        QCOMPARE(window->web1->url().fileName(), QString("saleAnalyse.html")); // the page stays

        // A marker anywhere in an address, in any letter case, is not followed but exported.
        messages.clear();
        answerSaveDialog(window->saveDlg, target("amount.xml"));
        window->web1->load(QUrl("http://127.0.0.1:9/next?to=SALE://SALEAMOUNT_/&x=1"));
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"文件导出成功！"}, 10000);
        QCOMPARE(test::readFile(target("amount.xml").toStdString()),
                 test::readFile(window->gallery().document("saleAmount.xml")));

        // A name ending in ".csv" gets the list as CSV: the element names as the header, a line per row
        // as the list has it (an item per price), GBK; the list document stays as it was.
        const std::string listBefore = test::readFile(window->gallery().document("saleCount.xml"));
        exportByLink(*window, "saleCount", target("count.csv"));
        QCOMPARE(QString::fromStdString(test::gbkFileAsUtf8(target("count.csv").toStdString())),
                 QString("排名,商品,销售量,销售额,单价\r\n"
                         "1,围巾,4,10.00,2.50,\r\n"
                         "2,Tom's\"AB\"包,3,31.50,10.50,\r\n"
                         "3,Tom's\"AB\"包,1,9.90,9.90,\r\n"));
        QCOMPARE(test::readFile(window->gallery().document("saleCount.xml")), listBefore);

        // The charts as one PNG picture.
        messages.clear();
        answerSaveDialog(window->pictureDlg, target("ranking.png"));
        QVERIFY(window->pictureButton->isEnabled());
        QTest::mouseClick(window->pictureButton, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(messages, QStringList{"图片保存成功！"}, 10000);
        const std::string png = test::readFile(target("ranking.png").toStdString());
        QVERIFY(png.size() > 2000);
        QCOMPARE(png.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
        QImage picture(target("ranking.png"));
        // Every chart, also the one scrolled out of sight: the picture spans them all.
        const int chartsHeight =
            evaluate(window->web1, "(() => { const c = [...document.querySelectorAll('[data-document]')];"
                                   " return c[c.length - 1].getBoundingClientRect().bottom -"
                                   " c[0].getBoundingClientRect().top; })()")
                .toInt();
        QVERIFY2(chartsHeight > window->web1->height(), "the page should scroll for this check");
        QCOMPARE(picture.height(), chartsHeight);
        QVERIFY(picture.width() <= window->web1->width());
        // Something is drawn: the picture is not one colour.
        QImage pixels = picture.convertToFormat(QImage::Format_RGB32);
        bool coloured = false;
        for (int y = 0; y < pixels.height() && !coloured; y += 4)
            for (int x = 0; x < pixels.width() && !coloured; x += 4)
                coloured = pixels.pixel(x, y) != pixels.pixel(0, 0);
        QVERIFY(coloured);

        // A cancelled save dialog exports nothing.
        messages.clear();
        auto answered = answerSaveDialog(window->saveDlg, QString());
        window->web1->load(QUrl("sale://saleCount_/"));
        QTRY_VERIFY_WITH_TIMEOUT(*answered, 10000);
        QTest::qWait(100);
        QVERIFY(messages.isEmpty());

        // Another shop's run loads the same page again and draws anew.
        QVERIFY(analyse(*window, "鲍勃", "2011-01-01", "2011-12-31"));
        QCOMPARE(drawnPoints(window->web1), QString("1,1"));
    }

    void theTrendLinksExportTheirOwnListsAndOtherAddressesAreFollowed() {
        auto window = openWindow<TsaleCarrentFrm>();
        QVERIFY(analyse(*window, "跨年小铺", "2010-01-01", "2011-12-31"));
        // Every day from 26 February 2010 to 2 January 2011 is a point, the days without sales as 0.
        QCOMPARE(drawnPoints(window->web1), QString("311,5,4"));
        for (QString list : {"saleCarrentDay", "saleCarrentWeek", "saleCarrentMonth"}) {
            QString file = target(qPrintable(list + "List.xml"));
            exportByLink(*window, list, file);
            QCOMPARE(test::readFile(file.toStdString()),
                     test::readFile(window->gallery().document((list + "List.xml").toStdString())));
        }
        // A cancelled sale:// navigation still reports a load that failed, possibly late: wait for one
        // that succeeded.
        QSignalSpy loaded(window->web1, &QWebEngineView::loadFinished);
        QUrl other =
            QUrl::fromLocalFile(QString::fromStdString(window->gallery().page("saleTimeArea.html").string()));
        window->web1->load(other);
        QTRY_VERIFY_WITH_TIMEOUT(std::any_of(loaded.begin(), loaded.end(),
                                             [](const QList<QVariant>& args) { return args.at(0).toBool(); }),
                                 10000);
        QCOMPARE(window->web1->url(), other);
    }

    void theTimeDistributionWindowDrawsItsPage() {
        auto window = openWindow<TsaleTimeAreaFrm>();
        QVERIFY(analyse(*window, "全天候", "2011-01-01", "2011-12-31"));
        // One sale every hour of a Sunday in May: all hours, weekdays and months are shown.
        QCOMPARE(drawnPoints(window->web1), QString("24,7,12"));
    }

    // The rating windows offer only shops with ratings; the credit page stacks one bar per week and
    // month, the check page fills its card and draws bands, days and the pie; both export by link.
    void theRatingWindowsDrawTheirPagesAndExportTheirLists() {
        dm->cn1().exec("insert into pjinfo(dian_id,pj,pjsj,trade_id,jg,pjName,pjInfo) values"
                       "(2,'好评','2011-03-01 10:00:00','r1',5,'回头客','好'),"
                       "(2,'差评','2011-03-09 10:00:00','r2',5,'回头客','差'),"
                       "(2,'好评','2011-04-02 10:00:00','r3',80,'新客','')");
        auto credit = openWindow<TrateAnalyseTopFrm>();
        QCOMPARE(credit->dianmingList->count(), 1);
        QVERIFY(analyse(*credit, "鲍勃", "2011-01-01", "2011-12-31"));
        QCOMPARE(credit->web1->url().fileName(), QString("Line2D.html"));
        QCOMPARE(drawnPoints(credit->web1), QString("3,2"));
        exportByLink(*credit, "rateTrendMonth", target("months.xml"));
        QCOMPARE(test::readFile(target("months.xml").toStdString()),
                 test::readFile(credit->gallery().document("rateTrendMonthList.xml")));

        auto check = openWindow<TrateDataAnalyseFrm>();
        QVERIFY(analyse(*check, "鲍勃", "2011-01-01", "2011-12-31"));
        QCOMPARE(drawnPoints(check->web1), QString("5,33,3"));
        QCOMPARE(evaluate(check->web1, "document.querySelectorAll('.card tbody tr').length").toInt(), 5);
        QCOMPARE(evaluate(check->web1, "document.querySelectorAll('.card .warn').length").toInt(),
                 2); // repeats, cheap
        exportByLink(*check, "rateRepeat", target("repeat.xml"));
        QVERIFY(test::gbkFileAsUtf8(target("repeat.xml").toStdString()).find("<买家>回头客</买家>") !=
                std::string::npos);
    }

    void aFailedRunKeepsThePageAndSaysSo() {
        auto window = openWindow<TsaleAnalyseFrm>();
        test::writeFile(window->gallery().folder(), "a file where the folder belongs");
        window->dianmingList->setCurrentIndex(window->dianmingList->findText("爱丽丝小店"));
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"生成数据出错！"});
        QVERIFY(!window->web1->url().isLocalFile());
        QVERIFY(!window->pictureButton->isEnabled());
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<SaleAnalysisTest>(argc, argv);
}

#include "tst_saleanalysis.moc"
