#include "demo-market/DemoMarket.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "windows/WindowTest.h"

using namespace vantor;

class SaleGatherTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<demo::DemoMarket> market;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<TsaleGatherFrm> window;

    QString ticks() {
        QString marks;
        for (int row = 0; row < window->searchGrid->rowCount(); ++row)
            marks += window->isTicked(row) ? "Y" : "-";
        return marks;
    }
    // A click on the check box of "选择" in a row.
    void clickTick(int row) {
        QTableWidget* grid = window->searchGrid;
        const QRect cellRect = grid->visualRect(grid->model()->index(row, 1));
        QStyleOptionViewItem option;
        option.initFrom(grid);
        option.rect = cellRect;
        option.features = QStyleOptionViewItem::HasCheckIndicator;
        const QRect box = grid->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &option, grid);
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, box.center());
    }

    void prepare() override {
        market = std::make_unique<demo::DemoMarket>();
        auto agent = std::make_shared<const THttpAgent>(
            THttpAgent{true, "127.0.0.1", std::int32_t(market->port()), "", "", "", 0, 0, 3, 0, 2});
        dm = std::make_unique<db::TDM>(*dir / "lmd_pin.db");
        dm->open();
        window = std::make_unique<TsaleGatherFrm>([agent] { return agent; }, *dm);
        window->show();
    }
    void finish() override {
        window.reset();
        dm.reset();
        market.reset();
    }

private slots:
    void aSearchWithoutConditionsIsRefused() {
        QTest::mouseClick(window->search, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"请输入店铺名称或类别等条件进行搜索！"});
        QVERIFY(!window->busy());
        QVERIFY(market->requests().empty());
    }

    void aSearchFillsTheGridAndTheLog() {
        window->id->setCurrentIndex(1);
        window->searchPageSel->setValue(81); // two pages
        QTest::keyClick(window->loc, Qt::Key_Return);
        QVERIFY(window->busy());
        QCOMPARE(window->panels->currentIndex(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!window->busy(), 20000);
        demo::ShopQuery q;
        q.categoryId = "16";
        int expected = int(market->model().findShops(q).size());
        QCOMPARE(window->searchGrid->rowCount(), std::min(expected, 160));
        // The total and the grid are in sight, not on a hidden panel.
        QVERIFY(window->resultLabel->isVisible());
        QCOMPARE(window->resultLabel->text(), QString("共搜索到%1家符合条件的店铺").arg(expected) +
                                                  (expected > 160 ? QString("，列出160家") : QString()));
        QCOMPARE(window->pages->currentIndex(), 1);
        QVERIFY(window->searchGrid->isVisible());
        QCOMPARE(cell(window->searchGrid, 0, 0), QString("1"));
        QCOMPARE(cell(window->searchGrid, 0, 1), QString(""));
        QCOMPARE(window->searchGrid->item(0, 1)->checkState(), Qt::Unchecked);
        QVERIFY(cell(window->searchGrid, 0, 7).startsWith("http://shop"));
        // The credit in points and the level drawn from it, side by side.
        QCOMPARE(window->searchGrid->horizontalHeaderItem(4)->text() +
                     window->searchGrid->horizontalHeaderItem(5)->text(),
                 QString("信用信用级别"));
        QVERIFY(
            QRegularExpression("^[1-5](心|钻|冠|金冠)$").match(cell(window->searchGrid, 0, 5)).hasMatch() ||
            cell(window->searchGrid, 0, 4).toInt() < 4);
        QVERIFY(window->searchMemoLog->toPlainText().contains("搜索范围：81")); // the core checks the rest
    }

    void theLevelsToSearchAreNamedAsTheGridShowsThem() {
        QStringList names;
        for (QCheckBox* level : window->ratesum)
            names << level->text();
        QCOMPARE(names.join(" "), QString("1心 2心 3心 4心 5心 1钻 2钻 3钻 4钻 5钻 1冠 2冠 3冠 4冠 5冠 "
                                          "1金冠 2金冠 3金冠 4金冠 5金冠"));
        QCOMPARE(window->ratesum[0]->parentWidget()->property("title").toString(), QString("信用级别"));
    }

    void rowsAreTickedInTheirCheckBoxAndAllAtOnce() {
        window->takeShops(std::vector<TDianBaseInfo>(3));
        QCOMPARE(window->searchGrid->rowCount(), 3);
        // A click elsewhere in the row selects it and ticks nothing.
        clickRow(window->searchGrid, 1, 2);
        QCOMPARE(ticks(), QString("---"));
        clickTick(1);
        QCOMPARE(ticks(), QString("-Y-"));
        clickTick(1);
        QCOMPARE(ticks(), QString("---"));
        QTest::mouseClick(window->selAll, Qt::LeftButton);
        QCOMPARE(ticks(), QString("YYY"));
        QTest::mouseClick(window->cancelSel, Qt::LeftButton);
        QCOMPARE(ticks(), QString("---"));
        QTest::mouseClick(window->saveSearch, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"请选择需要采集的店铺！"});
    }

    void aSmallGatherFillsTheDatabaseAndTheLabels() {
        std::vector<TDianBaseInfo> shops;
        for (int i : {3, 4}) {
            const auto& shop = market->model().shops()[size_t(i)];
            TDianBaseInfo row;
            row.webaddr = shop.webAddress();
            row.dianzhu = shop.nick;
            row.dianming = shop.name;
            shops.push_back(row);
        }
        window->takeShops(shops);
        window->fromData->setValue(2);
        QTest::mouseClick(window->selAll, Qt::LeftButton);
        QSignalSpy ended(window.get(), &TsaleGatherFrm::gatheringEnded);
        QTest::mouseClick(window->saveSearch, Qt::LeftButton);
        QCOMPARE(window->needLabel->text(), QString("共需下载：2家店铺"));
        QVERIFY(window->busy());
        QTest::mouseClick(window->search, Qt::LeftButton); // no second job while one runs
        QVERIFY(ended.wait(30000));
        QVERIFY(!window->busy());
        QCOMPARE(window->doneLabel->text(), QString("已下载：2家店铺"));
        // Names reach the labels as the records hold them, UTF-8, never decoded a second time.
        QCOMPARE(window->shopLabel->text(),
                 "正在处理第2家店铺：" + QString::fromStdString(market->model().shops()[4].nick));
        // The run's count and the last shop's own.
        QCOMPARE(window->itemsLabel->text(), QString("已采集商品4个，当前店铺2个"));
        QCOMPARE(window->totalGauge->value(), window->totalGauge->maximum());
        QVERIFY(window->run->remaining->text().isEmpty());
        // A bar for each of the settings' two download slots.
        QCOMPARE(window->run->slotBars.size(), size_t(2));
        for (QProgressBar* slot : window->run->slotBars)
            QVERIFY2(slot->text().endsWith("：空闲"), qPrintable(slot->text()));
        QCOMPARE(count(*dm, "select count(*) from dianbase"), 2);
        QCOMPARE(count(*dm, "select count(*) from itemInfo"), 4);
        QVERIFY(messages.isEmpty());
        // What the run saved stays in sight until the next job.
        QVERIFY(window->resultLabel->isVisible());
        QCOMPARE(window->resultLabel->text(), QString("采集完成：已保存店铺2家，商品4个，销售记录%1条。")
                                                  .arg(count(*dm, "select count(*) from saleInfo")));
        QVERIFY(window->search->isVisible());
        // A shop handed over for "更新下载" comes ticked, and the last run's outcome goes.
        window->takeShops({shops[0]}, true);
        QCOMPARE(ticks(), QString("Y"));
        QVERIFY(window->resultLabel->isHidden());
    }

    void aStoppedGatheringIsContinuedFromTheOffer() {
        std::vector<TDianBaseInfo> shops;
        for (int i : {5, 6, 7, 8, 9, 10}) {
            const auto& shop = market->model().shops()[size_t(i)];
            TDianBaseInfo row;
            row.webaddr = shop.webAddress();
            row.dianzhu = shop.nick;
            shops.push_back(row);
        }
        window->takeShops(shops);
        window->fromData->setValue(1);
        QVERIFY(window->resumeBtn->isHidden());
        market->faults().add(demo::parseFaultRule("kind=delay&ms=40")); // time to stop amid the shops
        QTest::mouseClick(window->selAll, Qt::LeftButton);
        QSignalSpy ended(window.get(), &TsaleGatherFrm::gatheringEnded);
        QTest::mouseClick(window->saveSearch, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(window->doneLabel->text() != QString("已下载：0家店铺"), 30000);
        QTest::mouseClick(window->dianStopBtn, Qt::LeftButton);
        QVERIFY(ended.wait(30000));
        QCOMPARE(messages, QStringList{"用户中止下载！"});
        const int kept = count(*dm, "select count(*) from dianbase");
        QVERIFY(kept >= 1 && kept < 6);
        QVERIFY(window->resumeBtn->isVisible());
        QCOMPARE(window->resumeBtn->text(), QString("继续上次未完成的采集（剩余%1家店铺）").arg(6 - kept));

        market->faults().clear();
        QTest::mouseClick(window->resumeBtn, Qt::LeftButton);
        QCOMPARE(window->needLabel->text(), QString("共需下载：%1家店铺").arg(6 - kept));
        QVERIFY(ended.wait(30000));
        QCOMPARE(count(*dm, "select count(*) from dianbase"), 6);
        QCOMPARE(count(*dm, "select count(*) from itemInfo"), 6);
        QVERIFY(window->resultLabel->text().startsWith(QString("采集完成：已保存店铺%1家").arg(6 - kept)));
        QVERIFY(window->resumeBtn->isHidden());
    }

    void aFailingMarketPutsTheTimeOutOnTheStatusLine() {
        market->faults().add(demo::parseFaultRule("kind=error&status=500"));
        QSignalSpy status(window.get(), &TsaleGatherFrm::statusLine);
        window->id->setCurrentIndex(2);
        QTest::mouseClick(window->search, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!window->busy(), 20000);
        QCOMPARE(status.count(), 1);
        QVERIFY(status.at(0).at(0).toString().endsWith(
            "连接超时.....！请检查你的网络状态是否良好？或通过工具选项增加连接时间。"));
        QCOMPARE(window->searchGrid->rowCount(), 0);
        QVERIFY(window->resultLabel->isVisible());
        QCOMPARE(window->resultLabel->text(), QString("搜索失败，请查看状态栏的提示。"));
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<SaleGatherTest>(argc, argv);
}

#include "tst_salegather.moc"
