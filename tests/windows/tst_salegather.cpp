#include "UserMessages.h"
#include "VantorApplication.h"
#include "demo-market/DemoMarket.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "support/TempDir.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>

using namespace vantor;

class SaleGatherTest : public QObject {
    Q_OBJECT

    std::unique_ptr<demo::DemoMarket> market;
    std::unique_ptr<test::TempDir> dir;
    std::shared_ptr<const THttpAgent> agent;
    std::unique_ptr<db::TDM> dm;
    std::unique_ptr<TsaleGatherFrm> window;
    QStringList messages;

    std::int64_t count(const std::string& sql) {
        auto st = dm->cn1().prepare(sql);
        st.step();
        return st.integer(0);
    }
    QString cell(int row, int column) { return window->searchGrid->item(row, column)->text(); }

private slots:
    void init() {
        market = std::make_unique<demo::DemoMarket>();
        dir = std::make_unique<test::TempDir>();
        auto throughMarket = std::make_shared<THttpAgent>();
        throughMarket->AgentType = true;
        throughMarket->Server = "127.0.0.1";
        throughMarket->Port = market->port();
        throughMarket->ConnectTime = 3;
        agent = throughMarket;
        dm = std::make_unique<db::TDM>(dir->path() / "lmd_pin.db");
        dm->open();
        messages.clear();
        UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
        window = std::make_unique<TsaleGatherFrm>([this] { return agent; }, *dm);
        window->show();
    }

    void cleanup() {
        window.reset();
        UserMessages::redirect({});
    }

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
        QCOMPARE(cell(0, 0), QString("1"));
        QCOMPARE(cell(0, 1), QString(""));
        QVERIFY(cell(0, 6).startsWith("http://shop"));
        QVERIFY(window->searchMemoLog->toPlainText().startsWith("第1次搜索\n"));
        QVERIFY(window->searchMemoLog->toPlainText().contains("搜索范围：81"));
    }

    void clickingARowTwiceTicksAndUnticksIt() {
        std::vector<TDianBaseInfo> shops(3);
        for (int i = 0; i < 3; ++i)
            shops[size_t(i)].dianzhu = "掌柜" + std::to_string(i);
        window->takeShops(shops);
        QCOMPARE(window->searchGrid->rowCount(), 3);
        QTest::mouseClick(window->searchGrid->viewport(), Qt::LeftButton, {},
                          window->searchGrid->visualItemRect(window->searchGrid->item(1, 2)).center());
        QCOMPARE(cell(1, 1), QString("Y"));
        QTest::mouseClick(window->searchGrid->viewport(), Qt::LeftButton, {},
                          window->searchGrid->visualItemRect(window->searchGrid->item(1, 2)).center());
        QCOMPARE(cell(1, 1), QString(""));
        QTest::mouseClick(window->selAll, Qt::LeftButton);
        QCOMPARE(cell(0, 1) + cell(1, 1) + cell(2, 1), QString("YYY"));
        QTest::mouseClick(window->cancelSel, Qt::LeftButton);
        QCOMPARE(cell(0, 1) + cell(1, 1) + cell(2, 1), QString(""));
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
        QCOMPARE(window->itemsLabel->text(), QString("已采集商品4个"));
        QCOMPARE(window->totalGauge->value(), 2);
        QCOMPARE(count("select count(*) from dianbase"), 2);
        QCOMPARE(count("select count(*) from itemInfo"), 4);
        QVERIFY(messages.isEmpty());
        // What the run saved stays in sight until the next job.
        QVERIFY(window->resultLabel->isVisible());
        QCOMPARE(window->resultLabel->text(), QString("采集完成：已保存店铺2家，商品4个，销售记录%1条。")
                                                  .arg(count("select count(*) from saleInfo")));
        QVERIFY(window->search->isVisible());
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
    prepareQtEnvironment();
    VantorApplication app(argc, argv);
    SaleGatherTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_salegather.moc"
