#include "DesktopNotice.h"
#include "TsaleDataViewFrm.h"
#include "TshopWatchFrm.h"
#include "demo-market/DemoMarket.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "windows/WindowTest.h"

#include <QWebEngineView>

#include <fstream>

using namespace vantor;

class ShopWatchTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<demo::DemoMarket> market;
    std::shared_ptr<const THttpAgent> agent;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<TshopWatchFrm> window;
    QStringList notices;

    DataFolder folder() const { return DataFolder(*dir / "data"); }

    // Shops of the demo market with a few items and ratings to follow.
    std::vector<std::string> shops(size_t count) const {
        std::vector<std::string> found;
        for (const demo::Shop& shop : market->model().shops())
            if (found.size() < count && shop.items.size() >= 3 && shop.items.size() <= 12 &&
                shop.hasRatingLink)
                found.push_back(shop.webAddress());
        return found;
    }

    void add(const std::string& address, int items = 3) {
        type(window->address, QString::fromStdString(address));
        window->itemCount->setValue(items);
        QTest::mouseClick(window->addBtn, Qt::LeftButton);
    }

    // Presses 立即更新 and waits for the round to end.
    void runRound() {
        QVERIFY(window->updateBtn->isEnabled());
        QTest::mouseClick(window->updateBtn, Qt::LeftButton);
        QVERIFY(window->busy());
        QVERIFY(!window->updateBtn->isEnabled());
        QVERIFY(window->stopBtn->isEnabled());
        QVERIFY(window->roundPanel->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!window->busy(), 60000);
        QVERIFY(window->updateBtn->isEnabled());
        QVERIFY(!window->roundPanel->isVisible());
    }

    QStringList column(QTableWidget* grid, int c) {
        QStringList cells;
        for (int row = 0; row < grid->rowCount(); ++row)
            cells << cell(grid, row, c);
        return cells;
    }

    // What the chart page drew once its script is done: evaluated on its charts object `c`.
    static QString drawn(QWebEngineView* view, const QString& expression) {
        QString value;
        // An empty value, when the page never draws, is what the callers check.
        (void)QTest::qWaitFor(
            [&] {
                evaluate(view, "window.vantorWatch && window.vantorWatch.ready.then(c => { window.drawn = "
                               "String(" +
                                   expression + "); })");
                value = evaluate(view, "window.drawn || ''").toString();
                return !value.isEmpty();
            },
            20000);
        return value;
    }

    void prepare() override {
        market = std::make_unique<demo::DemoMarket>();
        agent = std::make_shared<const THttpAgent>(
            THttpAgent{true, "127.0.0.1", std::int32_t(market->port()), "", "", "", 0, 0, 3});
        folder().create();
        dm = std::make_unique<db::TDM>(folder().database());
        dm->open();
        notices.clear();
        DesktopNotice::redirect(
            [this](const QString& title, const QString& body) { notices << title + "\n" + body; });
        window = std::make_unique<TshopWatchFrm>([this] { return agent; }, *dm, folder());
        window->resize(1100, 760);
        window->show();
    }
    void finish() override {
        window.reset();
        DesktopNotice::redirect({});
        dm.reset();
        market.reset();
    }

private slots:
    void aShopIsAddedByItsAddressAndRemovedAfterAsking() {
        QSignalSpy status(window.get(), &TshopWatchFrm::statusLine);
        QCOMPARE(window->itemCount->value(), 10); // the default
        type(window->address, "www.example.com/shop");
        QTest::mouseClick(window->addBtn, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"不是店铺网址：www.example.com/shop"});
        QCOMPARE(window->watchGrid->rowCount(), 0);

        const std::string shop = shops(1)[0];
        type(window->address, QString::fromStdString(shop));
        window->followRatings->setChecked(true);
        QTest::mouseClick(window->addBtn, Qt::LeftButton);
        QCOMPARE(window->watchGrid->rowCount(), 1);
        QCOMPARE(cell(window->watchGrid, 0, 2), QString::fromStdString(shop));
        QCOMPARE(cell(window->watchGrid, 0, 3), QString("10"));
        QCOMPARE(cell(window->watchGrid, 0, 4), QString("是"));
        QCOMPARE(cell(window->watchGrid, 0, 7), QString("等待首次更新"));
        QCOMPARE(status.last().first().toString(), "已加入监控：" + QString::fromStdString(shop));
        QVERIFY(window->address->text().isEmpty());
        QCOMPARE(window->shopFilter->count(), 2); // 全部 and the shop

        window->watchGrid->selectRow(0);
        auto asked = answerQuestion(QMessageBox::No);
        QTest::mouseClick(window->removeBtn, Qt::LeftButton);
        QVERIFY(*asked);
        QCOMPARE(window->watchGrid->rowCount(), 1);
        asked = answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->removeBtn, Qt::LeftButton);
        QVERIFY(*asked);
        QCOMPARE(window->watchGrid->rowCount(), 0);
        QCOMPARE(count(*dm, "select count(*) from watchShop"), 0);
        QCOMPARE(window->shopFilter->count(), 1);
    }

    void aRoundFillsTheListTheReportAndTheChart() {
        for (const std::string& shop : shops(2))
            add(shop);
        QCOMPARE(window->watchGrid->rowCount(), 2);
        runRound();
        QVERIFY2(window->roundState->text().startsWith("店铺监控更新完成：店铺2家"),
                 qPrintable(window->roundState->text()));
        QCOMPARE(column(window->watchGrid, 7), QStringList({"已更新", "已更新"}));
        for (int row = 0; row < 2; ++row) {
            QVERIFY(!cell(window->watchGrid, row, 0).isEmpty()); // the round named the shop
            QVERIFY(DateTime::parse(cell(window->watchGrid, row, 5).toStdString()));
        }
        QCOMPARE(column(window->reportGrid, 2), QStringList({"开始监控", "开始监控"}));
        QVERIFY(notices.isEmpty()); // a first round has no alerts

        // One line per watched shop, named as the list names them.
        QStringList names = {cell(window->watchGrid, 0, 0), cell(window->watchGrid, 1, 0)};
        names.sort();
        QCOMPARE(drawn(window->chart, "c.sales.getOption().series.map(s => s.name).sort().join('|')"),
                 names.join('|'));
        QCOMPARE(drawn(window->chart, "c.sales.getOption().series[0].data.length"),
                 QString::number(QDate::currentDate().addDays(-30).daysTo(QDate::currentDate()) + 1));
        QCOMPARE(drawn(window->chart, "c.price === null"), QString("true"));
    }

    void theFiltersNarrowTheReport() {
        for (const std::string& shop : shops(2))
            add(shop);
        runRound();
        QCOMPARE(window->reportGrid->rowCount(), 2);
        window->shopFilter->setCurrentIndex(2);
        QCOMPARE(column(window->reportGrid, 1), QStringList{window->shopFilter->currentText()});
        window->shopFilter->setCurrentIndex(0);
        window->kindFilter->setCurrentText("新商品");
        QCOMPARE(window->reportGrid->rowCount(), 0);
        window->kindFilter->setCurrentText("开始监控");
        QCOMPARE(window->reportGrid->rowCount(), 2);
        window->dateFrom->setDate(QDate::currentDate().addDays(1));
        QCOMPARE(window->reportGrid->rowCount(), 0);
        window->dateFrom->setDate(QDate::currentDate());
        QCOMPARE(window->reportGrid->rowCount(), 2);
        window->dateTo->setDate(QDate::currentDate().addDays(-1));
        QCOMPARE(window->reportGrid->rowCount(), 0);
    }

    void theExportWritesTheReport() {
        add(shops(1)[0]);
        runRound();
        const QString file = target("watch.csv");
        auto answered = answerSaveDialog(window->saveDialog, file);
        QTest::mouseClick(window->exportBtn, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(*answered, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(window->reportGrid->isEnabled() && QFileInfo::exists(file), 10000);
        std::ifstream in(file.toStdString(), std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // GBK: the column titles and the one line of the round.
        QVERIFY(text.find("\xc8\xd5\xc6\xda") != std::string::npos);                 // 日期
        QVERIFY(text.find("\xbf\xaa\xca\xbc\xbc\xe0\xbf\xd8") != std::string::npos); // 开始监控
    }

    void aRoundWithAlertsIsAnnouncedAndListsThemFirst() {
        add(shops(1)[0]);
        runRound();
        // The shop as if one of its items had not been listed before: the next round finds it new.
        const std::int64_t items = count(*dm, "select count(*) from watchItemSnap");
        QVERIFY(items >= 3);
        dm->cn1().exec("delete from watchItemSnap where rowid = (select min(rowid) from watchItemSnap "
                       "where followed = 1)");
        runRound();
        QCOMPARE(notices.size(), 1);
        QVERIFY2(notices[0].startsWith("店铺监控：1条提醒\n"), qPrintable(notices[0]));
        QVERIFY(notices[0].contains("新商品"));
        QCOMPARE(cell(window->reportGrid, 0, 2), QString("新商品"));
        QCOMPARE(cell(window->reportGrid, 0, 7), QString("提醒"));
        QVERIFY(window->reportGrid->item(0, 0)->font().bold());
        QVERIFY(!window->reportGrid->item(1, 0)->font().bold());
        QVERIFY(notices[0].contains(cell(window->reportGrid, 0, 3)));

        // The new item's price per round in the chart.
        QTest::qWait(0);
        QCOMPARE(drawn(window->chart, "c.price === null"), QString("true"));
        window->reportGrid->setCurrentCell(0, 3);
        QTRY_COMPARE_WITH_TIMEOUT(
            drawn(window->chart, "c.price ? c.price.getOption().series[0].data.length : 0"), QString("1"),
            20000);
        QVERIFY(drawn(window->chart, "c.price.getOption().title[0].text")
                    .contains(cell(window->reportGrid, 0, 3)));
    }

    void theScheduleIsSavedAndADueRoundStarts() {
        window->scheduleKind->setCurrentIndex(1);
        window->everyHours->setValue(6);
        QCOMPARE(watch::WatchSettingsFile(folder().config()).schedule().text(), std::string("every 6"));
        QVERIFY(window->everyHours->isVisible());
        QVERIFY(!window->dailyTime->isVisible());
        window->checkSchedule();
        QVERIFY(!window->busy()); // nothing watched
        add(shops(1)[0]);
        window->checkSchedule(); // never updated: due now
        QVERIFY(window->busy());
        QTRY_VERIFY_WITH_TIMEOUT(!window->busy(), 60000);
        const QString last = cell(window->watchGrid, 0, 5);
        QCOMPARE(
            cell(window->watchGrid, 0, 6),
            QString::fromStdString(DateTime::parse(last.toStdString())->addSeconds(6 * 3600).toString()));
        window->checkSchedule(); // six hours to go
        QVERIFY(!window->busy());
        window->scheduleKind->setCurrentIndex(2);
        QCOMPARE(watch::WatchSettingsFile(folder().config()).schedule().text(), std::string("off"));
        QCOMPARE(cell(window->watchGrid, 0, 6), QString("不自动更新"));
    }

    void theShopGridsAddTheirShopToTheWatch() {
        const std::string shop = shops(1)[0];
        add(shop);
        runRound();
        dm->cn1().exec("delete from watchShop");
        window->reload();
        QCOMPARE(window->watchGrid->rowCount(), 0);

        // The sales data view holds the shop the round gathered.
        views::TsaleDataViewFrm view(*dm);
        connect(&view, &views::TsaleDataViewFrm::watchRequested, window.get(),
                [this](const QString& address) {
                    window->addShop(address, gather::kDefaultItemsPerShop, false);
                });
        view.show();
        QVERIFY(view.dianList->model()->rowCount() > 0);
        clickRow(view.dianList, 0);
        auto* action = view.dianList->findChild<QAction*>("watchShop");
        QVERIFY(action);
        QCOMPARE(action->text(), QString("加入监控"));
        QVERIFY(view.dianList->actions().contains(action));
        action->trigger();
        QCOMPARE(window->watchGrid->rowCount(), 1);
        QCOMPARE(cell(window->watchGrid, 0, 2), QString::fromStdString(shop));
        QCOMPARE(cell(window->watchGrid, 0, 3), QString::number(gather::kDefaultItemsPerShop));

        // A search result of the gathering window offers it as well.
        TsaleGatherFrm gathering([this] { return agent; }, *dm);
        TDianBaseInfo found;
        found.webaddr = "http://shop777.taobao.com";
        gathering.takeShops({TDianBaseInfo{}, found});
        QSignalSpy asked(&gathering, &ShopGatherWindow::watchRequested);
        gathering.searchGrid->setCurrentCell(1, 2);
        gathering.searchGrid->findChild<QAction*>("watchShop")->trigger();
        QCOMPARE(asked.size(), 1);
        QCOMPARE(asked[0][0].toString(), QString("http://shop777.taobao.com"));
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<ShopWatchTest>(argc, argv);
}

#include "tst_shopwatch.moc"
