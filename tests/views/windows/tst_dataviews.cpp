#include "ChartPage.h"
#include "MainWindow.h"
#include "TrateDataViewFrm.h"
#include "TsaleDataViewFrm.h"
#include "TtopDataViewFrm.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "WindowSettings.h"
#include "base/GbkText.h"
#include "support/TempDir.h"
#include "views/ViewsFixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>
#include <QTimer>

using namespace vantor;
using namespace vantor::views;

class DataViewsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<test::TempDir> dir;
    std::unique_ptr<db::TDM> dm;
    QStringList messages;
    QList<QUrl> opened;

    template <class Window> std::unique_ptr<Window> openWindow() {
        auto window = std::make_unique<Window>(*dm);
        window->resize(1000, 700);
        window->show();
        return window;
    }

    static QString text(const std::string& utf8) { return QString::fromStdString(utf8); }

    static QString header(GridView* grid, int column) {
        return grid->model()->headerData(column, Qt::Horizontal).toString();
    }
    static bool bold(GridView* grid, int column) {
        return grid->model()->headerData(column, Qt::Horizontal, Qt::FontRole).value<QFont>().bold();
    }
    static QString cell(GridView* grid, int row, int column) {
        return grid->model()->index(row, column).data().toString();
    }

    static void clickTitle(GridView* grid, int column) {
        QHeaderView* titles = grid->horizontalHeader();
        QPoint at(titles->sectionViewportPosition(column) + titles->sectionSize(column) / 2,
                  titles->height() / 2);
        QTest::mouseClick(titles->viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }
    static void clickRow(GridView* grid, int row) {
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier,
                          grid->visualRect(grid->model()->index(row, 1)).center());
    }

    // A press and release, then the double click, as the mouse sends them.
    static void doubleClickRow(GridView* grid, int row) {
        const QPoint at = grid->visualRect(grid->model()->index(row, 1)).center();
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, at);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }

    // Answers the next modal dialog once it shows; the flag tells that it came.
    std::shared_ptr<bool> answerNextDialog(std::function<void(QWidget*)> answer) {
        auto came = std::make_shared<bool>(false);
        auto* poll = new QTimer(this);
        connect(poll, &QTimer::timeout, poll, [poll, came, answer] {
            QWidget* dialog = QApplication::activeModalWidget();
            if (!dialog) return;
            poll->deleteLater();
            *came = true;
            answer(dialog);
        });
        poll->start(20);
        return came;
    }
    std::shared_ptr<bool> answerQuestion(QMessageBox::StandardButton button) {
        return answerNextDialog([button](QWidget* dialog) {
            auto* box = qobject_cast<QMessageBox*>(dialog);
            QVERIFY(box);
            box->button(button)->click();
        });
    }
    // Types the file's name into the save dialog, opened in the file's folder; an empty name cancels.
    // The name the dialog proposed goes to `proposed`.
    std::shared_ptr<bool> answerSaveDialog(QFileDialog* saveDialog, const QString& file,
                                           std::shared_ptr<QString> proposed = {}) {
        if (!file.isEmpty()) saveDialog->setDirectory(QFileInfo(file).absolutePath());
        return answerNextDialog([saveDialog, file, proposed](QWidget* dialog) {
            QCOMPARE(dialog, saveDialog);
            auto* name = saveDialog->findChild<QLineEdit*>("fileNameEdit");
            if (proposed) *proposed = name->text();
            if (file.isEmpty()) return saveDialog->reject();
            name->setText(QFileInfo(file).fileName());
            saveDialog->QDialog::accept(); // QFileDialog::accept would open a folder of that name
        });
    }

    QString target(const char* name) const { return QString::fromStdString((dir->path() / name).string()); }

    std::int64_t count(const std::string& sql) {
        db::Statement statement = dm->cn1().prepare(sql);
        statement.step();
        return statement.integer(0);
    }

public slots:
    void openUrl(const QUrl& url) { opened.append(url); }

private slots:
    void initTestCase() { QDesktopServices::setUrlHandler("http", this, "openUrl"); }

    void init() {
        dir = std::make_unique<test::TempDir>();
        test::createViewsFixture(dir->path() / "lmd_pin.db", QDate::currentDate().year());
        dm = std::make_unique<db::TDM>(dir->path() / "lmd_pin.db");
        dm->open();
        messages.clear();
        opened.clear();
        UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
        static_cast<VantorApplication*>(qApp)->setErrorLog(dir->path() / "vantor.log");
    }

    void cleanup() {
        qDeleteAll(findChildren<QTimer*>()); // answers for dialogs that never came
        UserMessages::redirect({});
        WindowSettings::useFile({}); // a main window names its folder's settings file
        dm.reset();
        dir.reset();
    }

    void theSalesViewShowsShopsAndTheCurrentShopsItemsOnShadedRows() {
        auto window = openWindow<TsaleDataViewFrm>();
        QCOMPARE(window->windowTitle(), QString("销售数据浏览"));
        QCOMPARE(window->saleData->tabText(0), QString("商品资料"));
        QCOMPARE(window->saleData->tabText(1), QString("销售明细"));
        QCOMPARE(window->dianList->model()->rowCount(), 2);
        QCOMPARE(header(window->dianList, 0), QString("序号"));
        QCOMPARE(cell(window->dianList, 1, 2), QString("O'Neil"));
        QCOMPARE(window->itemGridList->model()->rowCount(), 3);
        QCOMPARE(header(window->itemGridList, 0), QString("排名"));
        // Record 1 (the first row) is odd and shaded; record 2 keeps the skin's background.
        auto* model = window->itemGridList->model();
        QCOMPARE(model->index(0, 3).data(Qt::BackgroundRole).value<QColor>(), QColor(240, 248, 255));
        QVERIFY(!model->index(1, 3).data(Qt::BackgroundRole).isValid());
        QCOMPARE(model->index(2, 0).data(Qt::BackgroundRole).value<QColor>(), QColor(240, 248, 255));

        clickRow(window->dianList, 1);
        QCOMPARE(window->itemGridList->model()->rowCount(), 1);
        QCOMPARE(cell(window->itemGridList, 0, 1), QString("Wool Scarf 羊毛围巾"));
        QCOMPARE(window->itemGridList->currentIndex().row(), 0);
    }

    void clickingTitlesMarksThemAndSorts() {
        auto window = openWindow<TsaleDataViewFrm>();
        GridView* grid = window->dianList;
        clickTitle(grid, 3);
        QCOMPARE(header(grid, 3), QString("▼信用"));
        QVERIFY(bold(grid, 3));
        QCOMPARE(cell(grid, 0, 3), QString("1500"));
        clickTitle(grid, 3);
        QCOMPARE(header(grid, 3), QString("▲信用"));
        QCOMPARE(cell(grid, 0, 3), QString("300"));
        QCOMPARE(cell(grid, 0, 0), QString("1"));
        // The items follow the shop now on the first row.
        QCOMPARE(cell(window->itemGridList, 0, 1), QString("Wool Scarf 羊毛围巾"));
        clickTitle(grid, 1);
        QCOMPARE(header(grid, 3), QString("信用"));
        QVERIFY(!bold(grid, 3));
        QCOMPARE(header(grid, 1), QString("▼店铺"));
        clickTitle(grid, 0); // 序号: nothing at all
        QCOMPARE(header(grid, 0), QString("序号"));
        QCOMPARE(header(grid, 1), QString("▼店铺"));
        QVERIFY(!bold(grid, 0));
    }

    void anEmptyKeywordBoxKeepsTheFilterInForce() {
        auto window = openWindow<TsaleDataViewFrm>();
        window->shopFilter->setText("精品");
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(window->dianList->model()->rowCount(), 1);
        window->shopFilter->clear();
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(window->dianList->model()->rowCount(), 1);
        QCOMPARE(cell(window->dianList, 0, 1), QString("奥尼尔,精品"));
        QCOMPARE(cell(window->itemGridList, 0, 1), QString("Wool Scarf 羊毛围巾"));
    }

    void theSummaryIsComputedWhenTheSalesPageOpens() {
        auto window = openWindow<TsaleDataViewFrm>();
        QCOMPARE(window->everySaleNum->text(), QString("0"));
        clickRow(window->itemGridList, 1); // 1001
        window->saleData->setCurrentIndex(1);
        QCOMPARE(window->itemAutionList->model()->rowCount(), 3);
        QCOMPARE(window->buyCount->text(), QString("3"));
        QCOMPARE(window->saleCount->text(), QString("6件"));
        QCOMPARE(window->avgSaleCount->text(), QString("2.00件"));
        QCOMPARE(window->totalAmount->text(), QString("3,041.00元"));
        QCOMPARE(window->avgAmount->text(), QString("343.50元"));
        QCOMPARE(window->buyerNums->text(), QString("2人"));
        QCOMPARE(window->everySaleNum->text(), QString("3.00件"));
    }

    void anItemWithoutSalesLeavesTheLastLabelAndLogsTheError() {
        auto window = openWindow<TsaleDataViewFrm>();
        clickRow(window->itemGridList, 1);
        window->saleData->setCurrentIndex(1);
        window->saleData->setCurrentIndex(0);
        clickRow(window->itemGridList, 2); // 1003, no sales
        window->saleData->setCurrentIndex(1);
        QCOMPARE(window->buyCount->text(), QString("0"));
        QCOMPARE(window->saleCount->text(), QString("件"));
        QCOMPARE(window->buyerNums->text(), QString("0人"));
        QCOMPARE(window->everySaleNum->text(), QString("3.00件"));
        const auto log = dir->path() / "vantor.log";
        QTRY_VERIFY(std::filesystem::exists(log));
        QVERIFY(test::readFile(log).find("浮点数除以零") != std::string::npos);
    }

    void theExportWritesTheChosenFileAndHidesTheGaugeAgain() {
        auto window = openWindow<TsaleDataViewFrm>();
        clickRow(window->itemGridList, 1);
        window->saleData->setCurrentIndex(1);
        auto proposed = std::make_shared<QString>();
        auto came = answerSaveDialog(window->saveDialog, target("sales.csv"), proposed);
        QTest::mouseClick(window->bsSkinButton7, Qt::LeftButton);
        QVERIFY(*came);
        const QString today = QDate::currentDate().toString("yyyy-MM-dd");
        QCOMPARE(*proposed, "导出春装 新款,连衣裙商品销售明细--" + today + ".csv");
        QCOMPARE(window->saveDialog->nameFilters().first(), QString("All files (*.csv)"));
        QCOMPARE(text(gbkToUtf8(test::readFile(dir->path() / "sales.csv"))),
                 QString("商品,当前价格,买家,购买日期,购买数量,成交数量,成交状态\r\n"
                         "春装新款、连衣裙,20,buyerB,2011-02-0312:30:00,1,1,成交,\r\n"
                         "春装新款、连衣裙,1000,buyerA,2011-02-0218:00:00,3,3,成交,\r\n"
                         "春装新款、连衣裙,10.5,buyerA,2011-02-0109:00:00,2,2,成交,\r\n"));
        QVERIFY(messages.isEmpty());
        QVERIFY(window->saveProgress->isHidden());
        QCOMPARE(window->saveProgress->value(), 0);
        QCOMPARE(window->saveProgress->format(), QString("已保存"));
        QVERIFY(window->itemAutionList->isEnabled());
    }

    void theExportEncodingAndTheColumnsAreKeptInTheSettingsFile() {
        WindowSettings::useFile(dir->path() / "config.ini");
        {
            auto window = openWindow<TsaleDataViewFrm>();
            QHeaderView* header = window->dianList->horizontalHeader();
            header->resizeSection(1, 233);
            header->moveSection(2, 1);
            QFileDialog* dialog = window->saveDialog;
            dialog->setDirectory(target("").chopped(1));
            auto came = answerNextDialog([dialog](QWidget*) {
                dialog->selectNameFilter(dialog->nameFilters().at(1)); // UTF-8 for a spreadsheet program
                dialog->findChild<QLineEdit*>("fileNameEdit")->setText("shops.csv");
                dialog->QDialog::accept();
            });
            QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton);
            QVERIFY(*came);
            const std::string written = test::readFile(dir->path() / "shops.csv");
            QVERIFY(written.starts_with("\xEF\xBB\xBF序号,店铺名,"));
            QTRY_VERIFY(test::readFile(dir->path() / "config.ini").find("dianList=") != std::string::npos);
        }
        auto again = openWindow<TsaleDataViewFrm>();
        QCOMPARE(again->dianList->horizontalHeader()->sectionSize(1), 233);
        QCOMPARE(again->dianList->horizontalHeader()->visualIndex(2), 1);
        QCOMPARE(WindowSettings::exportEncoding(), std::string("utf8"));
    }

    void aHeldFileIsNamedInTheWarningAndACancelledDialogWritesNothing() {
        auto window = openWindow<TsaleDataViewFrm>();
        const QString held = target("held.csv");
        std::filesystem::create_directory(held.toStdString());
        auto chosen = answerSaveDialog(window->saveDialog, held);
        QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton);
        QVERIFY(*chosen);
        QCOMPARE(messages, QStringList{held + "文件可能已被打开或损坏，重新选择或关闭文件！"});
        QVERIFY(std::filesystem::is_empty(held.toStdString()));

        auto came = answerSaveDialog(window->saveDialog, QString());
        QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton);
        QVERIFY(*came);
        QCOMPARE(messages.size(), 1);
        QStringList exports;
        for (const auto& entry : std::filesystem::directory_iterator(dir->path()))
            if (entry.path().extension() == ".csv")
                exports << QString::fromStdString(entry.path().filename());
        QCOMPARE(exports, QStringList{"held.csv"});
    }

    void anEmptyGridOpensNoDialog() {
        auto window = openWindow<TsaleDataViewFrm>(); // the sales page was never opened: no sale rows
        auto came = answerSaveDialog(window->saveDialog, target("none.csv"));
        QTest::mouseClick(window->bsSkinButton7, Qt::LeftButton);
        QTest::qWait(100);
        QVERIFY(!*came);
        QVERIFY(!window->saveDialog->isVisible());
        QVERIFY(!QFileInfo::exists(target("none.csv")));
    }

    void aDeleteAsksFirstAndReadsTheGridsAgain() {
        auto window = openWindow<TsaleDataViewFrm>();
        auto asked = answerQuestion(QMessageBox::No);
        QTest::mouseClick(window->bsSkinButton2, Qt::LeftButton);
        QVERIFY(*asked);
        QCOMPARE(count("select count(*) from dianbase"), 3);

        answerNextDialog([](QWidget* dialog) {
            auto* box = qobject_cast<QMessageBox*>(dialog);
            QCOMPARE(box->text(), QString("是否真的要删除此店铺的所有数据?"));
            box->button(QMessageBox::Yes)->click();
        });
        QTest::mouseClick(window->bsSkinButton2, Qt::LeftButton);
        QCOMPARE(count("select count(*) from dianbase where id=1"), 0);
        QCOMPARE(window->dianList->model()->rowCount(), 1);
        QCOMPARE(cell(window->itemGridList, 0, 1), QString("Wool Scarf 羊毛围巾"));
        QVERIFY(messages.isEmpty());
    }

    void aFailedDeleteSaysSoAndKeepsEverything() {
        dm->cn1().exec("CREATE TRIGGER keep BEFORE DELETE ON itemInfo BEGIN SELECT RAISE(ABORT, 'no'); END;");
        auto window = openWindow<TsaleDataViewFrm>();
        answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->bsSkinButton5, Qt::LeftButton); // the current item
        QCOMPARE(messages, QStringList{"删除数据出错，请联系官方网站!"});
        QCOMPARE(count("select count(*) from saleInfo"), 5);
        QCOMPARE(window->itemGridList->model()->rowCount(), 3);
    }

    void doubleClicksOpenPagesInTheBrowserAndUpdateDownloadHandsOverTheShop() {
        auto window = openWindow<TsaleDataViewFrm>();
        doubleClickRow(window->dianList, 1);
        doubleClickRow(window->itemGridList, 0);
        QCOMPARE(opened, (QList<QUrl>{QUrl("http://shop2.taobao.com"), QUrl("http://item.taobao.com/2001")}));

        QList<TDianBaseInfo> handed;
        connect(window.get(), &TsaleDataViewFrm::updateDownloadRequested, this,
                [&](const TDianBaseInfo& shop) { handed.append(shop); });
        QTest::mouseClick(window->bsSkinButton4, Qt::LeftButton);
        QCOMPARE(handed.size(), 1);
        QCOMPARE(text(handed[0].dianzhu), QString("O'Neil"));
        QCOMPARE(text(handed[0].dianming), QString("奥尼尔,精品"));
        QCOMPARE(handed[0].commodityNum, 8);
    }

    void aLargeGridFillsAsTheRowsArrive() {
        // Enough rows for several blocks: the model adds them from the reader while the window runs.
        dm->cn1().exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 9000) "
                       "INSERT INTO saleInfo (itemId, buyerName, amount, sj, getNum, buyNum) "
                       "SELECT '1003', 'b' || i, i, printf('2012-01-01 00:00:%05d', i), 1, 1 FROM n");
        auto window = openWindow<TsaleDataViewFrm>();
        clickRow(window->itemGridList, 2);
        window->saleData->setCurrentIndex(1);
        QCOMPARE(window->buyCount->text(), QString("9000"));
        // Read again, the grid starts with the first block and the rest comes while events run.
        window->data().sales().open();
        QCOMPARE(window->itemAutionList->model()->rowCount(), int(RowBlock::kRows));
        QTRY_COMPARE(window->itemAutionList->model()->rowCount(), 9000);
        QCOMPARE(cell(window->itemAutionList, 0, 2), QString("b9000"));
        QCOMPARE(cell(window->itemAutionList, 8999, 2), QString("b1"));
    }

    void theRatingViewSearchesWithQuotesAndFiltersRatings() {
        auto window = openWindow<TrateDataViewFrm>();
        QCOMPARE(window->windowTitle(), QString("店铺评价数据浏览"));
        QCOMPARE(window->findResult_l->text(), QString("共有2店铺"));
        QCOMPARE(window->level->count(), 21);
        QCOMPARE(window->level->itemText(20), QString("五颗金皇冠"));
        QCOMPARE(window->sj1->displayText(), QString("    -  -  "));

        QTest::keyClicks(window->nick, "O'Neil");
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(window->findResult_l->text(), QString("共有1店铺"));
        QCOMPARE(window->dianbaseGrid->model()->rowCount(), 1);
        QCOMPARE(window->details[0]->text(), QString("http://shop2.taobao.com"));

        window->rateData->setCurrentIndex(1);
        QCOMPARE(window->rate_l->text(), QString("当前共有1条评价"));
        QCOMPARE(window->pjInfo->toPlainText(), QString("好"));

        window->nick->clear();
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        clickRow(window->dianbaseGrid, 1); // 张三: older update
        window->rateData->setCurrentIndex(0);
        window->rateData->setCurrentIndex(1);
        QCOMPARE(window->rate_l->text(), QString("当前共有4条评价"));
        window->sj1->setFocus();
        QTest::keyClicks(window->sj1, "201103");
        QCOMPARE(window->sj1->displayText(), QString("2011-03-  "));
        QTest::mouseClick(window->bsSkinButton2, Qt::LeftButton);
        QCOMPARE(window->rate_l->text(), QString("当前共有2条评价"));
        window->jg1->setValue(100);
        QTest::mouseClick(window->bsSkinButton2, Qt::LeftButton);
        QCOMPARE(window->rate_l->text(), QString("当前共有1条评价"));
        QCOMPARE(cell(window->rateListGrid, 0, 2), QString("120.00")); // amounts: two decimals
    }

    void theRatingViewDeletesAShopkeeperWithTheirRatings() {
        auto window = openWindow<TrateDataViewFrm>();
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton); // newest first: O'Neil
        answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton);
        QCOMPARE(count("select count(*) from pjinfo where dian_id=2"), 0);
        QCOMPARE(count("select count(*) from dianbase where id=2"), 0);
        QCOMPARE(window->dianbaseGrid->model()->rowCount(), 1);
    }

    void theRankingViewQueriesOnEveryChange() {
        auto window = openWindow<TtopDataViewFrm>();
        QCOMPARE(window->windowTitle(), QString("商品排行数据"));
        QCOMPARE(window->id->currentText(), QString("网络游戏点卡"));
        QCOMPARE(window->updateDate->currentIndex(), 1);
        QVERIFY(window->sort->isChecked());
        QCOMPARE(window->itemTopGrid->model()->columnCount(), 11);
        window->updateDate->setCurrentIndex(3);
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 3);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("卖家乙"));
        QCOMPARE(cell(window->itemTopGrid, 0, 7), QString("38400.00"));
        window->updateDate->setCurrentIndex(0); // 全年
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 0);
        window->updateDate->setCurrentIndex(3);
        window->sortName->setCurrentIndex(2);
        window->sort->setChecked(false);
        QTest::mouseClick(window->queryBtn, Qt::LeftButton);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("卖家丙"));

        answerSaveDialog(window->saveDialog, target("top.csv"));
        QTest::mouseClick(window->exportBtn, Qt::LeftButton);
        std::string written = gbkToUtf8(test::readFile(dir->path() / "top.csv"));
        QVERIFY(written.starts_with(
            "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接\r\n1,"));
        QCOMPARE(std::count(written.begin(), written.end(), '\n'), 4);

        answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->deleteBtn, Qt::LeftButton);
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 0);
        QCOMPARE(count("select count(*) from itemTop"), 3);
    }

    void theMainWindowCreatesTheViewsInOrderAndNavigatesToThem() {
        DataFolder folder(dir->path());
        TConfig config;
        MainWindow main(folder, config, *dm);
        QCOMPARE(main.startUp(), StartupOutcome::Ready);
        QList<int> gauges;
        main.createWorkingWindows([&](int value) { gauges.append(value); });
        QVERIFY(gauges.indexOf(40) < gauges.indexOf(60) && gauges.indexOf(60) < gauges.indexOf(10));
        QCOMPARE(gauges.last(), 100);
        main.show();
        for (auto [name, caption] :
             {std::pair{"N4", "Vantor专业版--商品排行数据"}, std::pair{"N7", "Vantor专业版--销售数据浏览"},
              std::pair{"N11", "Vantor专业版--店铺评价数据浏览"}}) {
            main.menuBar()->findChild<QAction*>(name)->trigger();
            QCOMPARE(main.windowTitle(), QString(caption));
        }
        QCOMPARE(main.menuBar()->findChild<QAction*>("N7")->text(), QString("数据浏览"));
        QCOMPARE(main.menuBar()->findChild<QAction*>("N4")->text(), QString("类目热卖商品历史"));
    }
};

int main(int argc, char** argv) {
    prepareQtEnvironment();
    charts::registerSaleScheme();
    VantorApplication app(argc, argv);
    DataViewsTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dataviews.moc"
