#include "base/GbkText.h"
#include "demo-market/DemoMarket.h"
#include "gather/windows/TitemTopSaleGatherFrm.h"
#include "gather/windows/TtopListGatherFrm.h"
#include "market/CategoryTable.h"
#include "windows/WindowTest.h"

using namespace vantor;

// The two ranking windows on the demo marketplace: what the user sees of a run, its stop, its export.
class RankingWindowsTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<demo::DemoMarket> market;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<TitemTopSaleGatherFrm> items;
    std::unique_ptr<TtopListGatherFrm> categories;

    void prepare() override {
        market = std::make_unique<demo::DemoMarket>();
        auto agent = std::make_shared<const THttpAgent>(
            THttpAgent{true, "127.0.0.1", std::int32_t(market->port()), "", "", "", 0, 0, 3});
        dm = std::make_unique<db::TDM>(*dir / "lmd_pin.db");
        dm->open();
        items = std::make_unique<TitemTopSaleGatherFrm>([agent] { return agent; });
        categories = std::make_unique<TtopListGatherFrm>([agent] { return agent; }, *dm);
        items->show();
        categories->show();
    }
    void finish() override {
        items.reset();
        categories.reset();
        dm.reset();
        market.reset();
    }

private slots:
    void anItemRankingListsTheBestSellersAndExportsThem() {
        QTest::mouseClick(items->search, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"请输入商品名称或类别等条件进行搜索！"});
        messages.clear();

        items->q->setText("新款");
        items->searchPageSel->setValue(30);
        QTest::keyClick(items->q, Qt::Key_Return);
        QVERIFY(items->busy());
        QVERIFY(items->progressLabel->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(!items->busy(), 20000);
        const auto found =
            market->model().findItems({.words = "新款", .low = {}, .high = {}, .location = ""});
        QCOMPARE(items->resultLabel->text(), QString("共搜索到%1个符合条件的商品").arg(found.size()));
        QVERIFY(items->resultLabel->isVisible());
        QVERIFY(items->resultGrid->isVisible());
        QCOMPARE(items->resultGrid->rowCount(), 30);
        QCOMPARE(cell(items->resultGrid, 29, 0), QString("30"));
        QCOMPARE(cell(items->resultGrid, 0, 9), QString::fromStdString(found[0]->address()));
        QVERIFY(items->searchMemoLog->toPlainText().contains("商品名：新款\n"));

        auto proposed = std::make_shared<QString>();
        auto came = answerSaveDialog(items->saveDialog, target("items.csv"), proposed);
        QTest::mouseClick(items->exportButton, Qt::LeftButton);
        QVERIFY(*came);
        QCOMPARE(*proposed, QString("指定商品排行数据.csv"));
        QVERIFY(
            gbkToUtf8(test::readFile(*dir / "items.csv")).starts_with("序号,卖家,商品名,价格,运费,30天售出"));
        QVERIFY(messages.isEmpty());
    }

    void aCategoryRankingIsSavedShownAndAnnounced() {
        QTest::mouseClick(categories->start, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"请选择需要采集的类目！"});
        messages.clear();

        categories->categories->item(0)->setCheckState(Qt::Checked);
        categories->categories->item(5)->setCheckState(Qt::Checked);
        categories->depth->setValue(20);
        QSignalSpy saved(categories.get(), &TtopListGatherFrm::rankingsSaved);
        QTest::mouseClick(categories->start, Qt::LeftButton);
        QVERIFY(categories->busy());
        QTRY_VERIFY_WITH_TIMEOUT(!categories->busy(), 20000);
        QCOMPARE(categories->resultLabel->text(), QString("采集完成：已保存2个类目的排行，商品40个。"));
        QCOMPARE(categories->resultGrid->rowCount(), 40);
        QCOMPARE(cell(categories->resultGrid, 20, 0), QString("1")); // the second category ranks from 1 again
        // Each row names its category: the run lists both one after the other.
        QCOMPARE(categories->resultGrid->model()->headerData(1, Qt::Horizontal).toString(), QString("类目"));
        QCOMPARE(cell(categories->resultGrid, 0, 1),
                 QString::fromStdString(market::categoryBrowseCategories()[0].name).trimmed());
        QCOMPARE(cell(categories->resultGrid, 19, 1), cell(categories->resultGrid, 0, 1));
        QCOMPARE(cell(categories->resultGrid, 20, 1),
                 QString::fromStdString(market::categoryBrowseCategories()[5].name).trimmed());
        QCOMPARE(cell(categories->resultGrid, 19, 0), QString("20"));
        QCOMPARE(count(*dm, "select count(*) from itemTop"), 40);
        QCOMPARE(saved.count(), 1);
        QCOMPARE(saved.at(0).at(0).toInt(), 0);
        QCOMPARE(saved.at(0).at(1).toInt(), QDate::currentDate().month());
    }

    void aStoppedCategoryRankingSaysSoAndSavesNothing() {
        market->faults().add(demo::parseFaultRule("kind=delay&ms=500"));
        categories->markAll(true);
        QTest::mouseClick(categories->start, Qt::LeftButton);
        QVERIFY(categories->stopButton->isVisible());
        QTest::mouseClick(categories->stopButton, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!categories->busy(), 20000);
        QCOMPARE(messages, QStringList{"用户中止下载！"});
        QVERIFY(categories->resultLabel->text().startsWith("用户中止下载！已保存0个类目的排行"));
        QCOMPARE(count(*dm, "select count(*) from itemTop"), 0);
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<RankingWindowsTest>(argc, argv);
}

#include "tst_ranking.moc"
