#include "TrateDataViewFrm.h"
#include "TsaleDataViewFrm.h"
#include "TtopDataViewFrm.h"
#include "WindowSettings.h"
#include "base/GbkText.h"
#include "views/ViewsFixture.h"
#include "windows/WindowTest.h"

using namespace vantor;
using namespace vantor::views;

class DataViewsTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<db::TDM> dm;
    QList<QUrl> opened;

    template <class Window> std::unique_ptr<Window> openWindow() {
        auto window = std::make_unique<Window>(*dm);
        window->resize(1000, 700);
        window->show();
        return window;
    }

    static QString header(GridView* grid, int column) {
        return grid->model()->headerData(column, Qt::Horizontal).toString();
    }
    static bool bold(GridView* grid, int column) {
        return grid->model()->headerData(column, Qt::Horizontal, Qt::FontRole).value<QFont>().bold();
    }
    static void clickTitle(GridView* grid, int column) {
        QHeaderView* titles = grid->horizontalHeader();
        QPoint at(titles->sectionViewportPosition(column) + titles->sectionSize(column) / 2,
                  titles->height() / 2);
        QTest::mouseClick(titles->viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }
    // A press and release, then the double click, as the mouse sends them.
    static void doubleClickRow(GridView* grid, int row) {
        const QPoint at = grid->visualRect(grid->model()->index(row, 1)).center();
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, at);
        QTest::mouseDClick(grid->viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }
    std::int64_t count(const std::string& sql) { return WindowTest::count(*dm, sql); }

    void prepare() override {
        test::createViewsFixture(*dir / "lmd_pin.db", QDate::currentDate().year());
        dm = std::make_unique<db::TDM>(*dir / "lmd_pin.db");
        dm->open();
        opened.clear();
    }
    void finish() override { dm.reset(); }

public slots:
    void openUrl(const QUrl& url) { opened.append(url); }

private slots:
    void initTestCase() { QDesktopServices::setUrlHandler("http", this, "openUrl"); }

    void theSalesViewShowsShopsAndTheCurrentShopsItemsOnShadedRows() {
        auto window = openWindow<TsaleDataViewFrm>();
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

    void clickingTitlesSortsAndTheKeywordBoxFilters() {
        auto window = openWindow<TsaleDataViewFrm>();
        GridView* grid = window->dianList;
        clickTitle(grid, 3);
        QCOMPARE(header(grid, 3), QString("▼信用"));
        QVERIFY(bold(grid, 3));
        clickTitle(grid, 3);
        QCOMPARE(header(grid, 3), QString("▲信用"));
        QCOMPARE(cell(grid, 0, 3), QString("300"));
        // The items follow the shop now on the first row.
        QCOMPARE(cell(window->itemGridList, 0, 1), QString("Wool Scarf 羊毛围巾"));

        // An empty keyword box keeps the filter in force.
        window->shopFilter->setText("精品");
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(grid->model()->rowCount(), 1);
        window->shopFilter->clear();
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(cell(grid, 0, 1), QString("奥尼尔,精品"));
    }

    void theSalesPageSummarisesTheItemAndLogsADivisionByZero() {
        auto window = openWindow<TsaleDataViewFrm>();
        clickRow(window->itemGridList, 1); // 1001
        window->saleData->setCurrentIndex(1);
        QCOMPARE(window->itemAutionList->model()->rowCount(), 3);
        QCOMPARE(window->buyCount->text(), QString("3"));
        QCOMPARE(window->totalAmount->text(), QString("3,041.00元"));
        QCOMPARE(window->everySaleNum->text(), QString("3.00件"));

        // An item without sales leaves the last per-buyer label and logs the division by zero.
        window->saleData->setCurrentIndex(0);
        clickRow(window->itemGridList, 2); // 1003, no sales
        window->saleData->setCurrentIndex(1);
        QCOMPARE(window->buyCount->text(), QString("0"));
        QCOMPARE(window->everySaleNum->text(), QString("3.00件"));
        const auto log = *dir / "vantor.log";
        QTRY_VERIFY(std::filesystem::exists(log));
        QVERIFY(test::readFile(log).find("浮点数除以零") != std::string::npos);
    }

    void theExportWritesTheChosenFileAndTheGaugeSaysWhereItWent() {
        auto window = openWindow<TsaleDataViewFrm>();
        // The sales page was never opened: no sale rows, so no dialog and no file.
        auto early = answerSaveDialog(window->saveDialog, target("none.csv"));
        QTest::mouseClick(window->bsSkinButton7, Qt::LeftButton);
        QTest::qWait(100);
        QVERIFY(!*early);
        QVERIFY(!QFileInfo::exists(target("none.csv")));
        forgetAnswers();

        clickRow(window->itemGridList, 1);
        window->saleData->setCurrentIndex(1);
        auto proposed = std::make_shared<QString>();
        auto came = answerSaveDialog(window->saveDialog, target("sales.csv"), proposed);
        QTest::mouseClick(window->bsSkinButton7, Qt::LeftButton);
        QVERIFY(*came);
        const QString today = QDate::currentDate().toString("yyyy-MM-dd");
        QCOMPARE(*proposed, "导出春装 新款,连衣裙商品销售明细--" + today + ".csv");
        // The bytes are the core's; here the window must hand over the sale rows in GBK.
        const std::string written = gbkToUtf8(test::readFile(*dir / "sales.csv"));
        QVERIFY(written.starts_with(
            "商品,当前价格,买家,购买日期,购买数量,成交数量,成交状态\r\n春装新款、连衣裙,20.00,"));
        QCOMPARE(std::count(written.begin(), written.end(), '\n'), 4);
        QVERIFY(messages.isEmpty());
        QVERIFY(window->saveProgress->isVisible());
        QCOMPARE(window->saveProgress->text(),
                 "已导出到 " + QFileInfo(target("sales.csv")).absoluteFilePath());
        QVERIFY(window->itemAutionList->isEnabled());
    }

    void theExportEncodingAndTheColumnsAreKeptInTheSettingsFile() {
        widgets::WindowSettings::useFile(*dir / "config.ini");
        {
            auto window = openWindow<TsaleDataViewFrm>();
            QHeaderView* header = window->dianList->horizontalHeader();
            header->resizeSection(1, 233);
            header->moveSection(2, 1);
            QFileDialog* dialog = window->saveDialog;
            QCOMPARE(dialog->nameFilters(),
                     (QStringList{"Vantor 导出格式（GBK）(*.csv)", "Vantor 导出格式（UTF-8 带 BOM）(*.csv)",
                                  "标准 CSV（UTF-8，Excel/WPS 可直接打开）(*.csv)"}));
            dialog->setDirectory(target("").chopped(1));
            auto came = answerNextDialog([dialog](QWidget*) {
                dialog->selectNameFilter(dialog->nameFilters().at(1)); // UTF-8 for a spreadsheet program
                dialog->findChild<QLineEdit*>("fileNameEdit")->setText("shops.csv");
                dialog->QDialog::accept();
            });
            QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton);
            QVERIFY(*came);
            const std::string written = test::readFile(*dir / "shops.csv");
            QVERIFY(written.starts_with("\xEF\xBB\xBF序号,店铺名,"));
            QTRY_VERIFY(test::readFile(*dir / "config.ini").find("dianList=") != std::string::npos);
        }
        auto again = openWindow<TsaleDataViewFrm>();
        QCOMPARE(again->dianList->horizontalHeader()->sectionSize(1), 233);
        QCOMPARE(again->dianList->horizontalHeader()->visualIndex(2), 1);
        QCOMPARE(widgets::WindowSettings::exportEncoding(), std::string("utf8"));
        QCOMPARE(widgets::WindowSettings::exportFormat(), std::string("program"));

        // The standard format: the shop grid's columns as it shows them, and remembered for next time.
        QFileDialog* dialog = again->saveDialog;
        dialog->setDirectory(target("").chopped(1));
        auto offered = std::make_shared<QString>();
        auto came = answerNextDialog([dialog, offered](QWidget*) {
            *offered = dialog->selectedNameFilter();
            dialog->selectNameFilter(dialog->nameFilters().at(2));
            dialog->findChild<QLineEdit*>("fileNameEdit")->setText("standard.csv");
            dialog->QDialog::accept();
        });
        QTest::mouseClick(again->bsSkinButton3, Qt::LeftButton);
        QVERIFY(*came);
        QCOMPARE(*offered, dialog->nameFilters().at(1)); // the UTF-8 chosen before
        const std::string standard = test::readFile(*dir / "standard.csv");
        QVERIFY2(standard.starts_with(
                     "\xEF\xBB\xBF序号,店铺,掌柜,信用,信用级别,卖家好评率,创建日期,更新日期,网址\r\n"
                     "1,三号小店,张三,1500,1钻,99.5,2008-05-06 00:00:00,"),
                 standard.c_str());
        QVERIFY(standard.find("\r\n2,\"奥尼尔,精品\",O'Neil,") != std::string::npos);
        QCOMPARE(again->saveProgress->text(),
                 "已导出到 " + QFileInfo(target("standard.csv")).absoluteFilePath());
        QVERIFY(test::readFile(*dir / "config.ini").find("format=standard") != std::string::npos);
        QCOMPARE(widgets::WindowSettings::exportEncoding(),
                 std::string("utf8")); // the program's choice stays

        auto third = openWindow<TsaleDataViewFrm>();
        auto cancelled = answerNextDialog([dialog = third->saveDialog, offered](QWidget*) {
            *offered = dialog->selectedNameFilter();
            dialog->reject();
        });
        QTest::mouseClick(third->bsSkinButton3, Qt::LeftButton);
        QVERIFY(*cancelled);
        QCOMPARE(*offered, QString("标准 CSV（UTF-8，Excel/WPS 可直接打开）(*.csv)"));
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
        QCOMPARE(QDir(target("").chopped(1)).entryList({"*.csv"}), QStringList{"held.csv"});
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
        QCOMPARE(handed[0].dianzhu, std::string("O'Neil"));
    }

    void aLargeGridFillsAsTheRowsArrive() {
        // Enough rows for several blocks: the model adds them from the reader while the window runs.
        dm->cn1().exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 9000) "
                       "INSERT INTO saleInfo (itemId, buyerName, amount, sj, getNum, buyNum) "
                       "SELECT '1003', 'b' || i, i, printf('2012-01-01 00:00:%05d', i), 1, 1 FROM n");
        auto window = openWindow<TsaleDataViewFrm>();
        clickRow(window->itemGridList, 2);
        window->saleData->setCurrentIndex(1);
        // Read again, the grid starts with the first block and the rest comes while events run.
        window->data().sales().open();
        QCOMPARE(window->itemAutionList->model()->rowCount(), int(RowBlock::kRows));
        QTRY_COMPARE(window->itemAutionList->model()->rowCount(), 9000);
        QCOMPARE(cell(window->itemAutionList, 0, 2), QString("b9000"));
    }

    void theRatingViewSearchesWithQuotesFiltersRatingsAndDeletesTheShop() {
        auto window = openWindow<TrateDataViewFrm>();
        QCOMPARE(window->findResult_l->text(), QString("共有2店铺"));

        QTest::keyClicks(window->nick, "O'Neil");
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(window->findResult_l->text(), QString("共有1店铺"));
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

        // The standard export holds the grid's columns under the titles the grid shows, and its rows.
        QFileDialog* dialog = window->saveDialog;
        dialog->setDirectory(target("").chopped(1));
        auto came = answerNextDialog([dialog](QWidget*) {
            dialog->selectNameFilter(dialog->nameFilters().at(2));
            dialog->findChild<QLineEdit*>("fileNameEdit")->setText("ratings.csv");
            dialog->QDialog::accept();
        });
        QTest::mouseClick(window->bsSkinButton5, Qt::LeftButton);
        QVERIFY(*came);
        QStringList titles;
        for (int c = 0; c < window->rateListGrid->model()->columnCount(); ++c)
            titles << header(window->rateListGrid, c);
        QCOMPARE(titles.size(), 5);
        QCOMPARE(QString::fromStdString(test::readFile(*dir / "ratings.csv")),
                 "\uFEFF" + titles.join(',') + "\r\n好评,2011-03-20 00:00:00,120.00,buyerA,Wool Scarf\r\n");
        QCOMPARE(window->saveProgress->text(),
                 "已导出到 " + QFileInfo(target("ratings.csv")).absoluteFilePath());

        answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->bsSkinButton3, Qt::LeftButton); // 张三, the current shop
        QCOMPARE(window->dianbaseGrid->model()->rowCount(), 1);
        // The labels follow the delete: one shop left, and the ratings are O'Neil's.
        QCOMPARE(window->findResult_l->text(), QString("共有1店铺"));
        QCOMPARE(window->rate_l->text(), QString("当前共有1条评价"));
        QCOMPARE(window->details[0]->text(), QString("http://shop2.taobao.com"));
    }

    void theRatingViewsSearchKeepsTheCountsAndTheDetailsReadFromTheFirstDigit() {
        auto window = openWindow<TrateDataViewFrm>();
        QTest::mouseClick(window->bsSkinButton1, Qt::LeftButton);
        QCOMPARE(window->findResult_l->text(), QString("共有2店铺"));
        QCOMPARE(cell(window->dianbaseGrid, 0, 6), QString("1")); // O'Neil's one rating
        QCOMPARE(cell(window->dianbaseGrid, 1, 6), QString("4"));

        // Every detail field shows its text from the start, and a date and time fits whole.
        clickRow(window->dianbaseGrid, 1);
        for (QLineEdit* detail : window->details) {
            QVERIFY2(detail->cursorPosition() == 0, qPrintable(detail->objectName()));
            if (detail->objectName() == "updateDate" || detail->objectName() == "createDate") {
                QVERIFY(detail->text().startsWith("20"));
                QVERIFY2(detail->fontMetrics().horizontalAdvance(detail->text()) <
                             detail->contentsRect().width(),
                         qPrintable(detail->objectName()));
            }
        }
    }

    void theRankingViewQueriesOnEveryChange() {
        auto window = openWindow<TtopDataViewFrm>();
        // It opens on the newest saved ranking: April of this year in category 99.
        const int thisYear = QDate::currentDate().year();
        QCOMPARE(window->updateDate->currentText(), QString("四月"));
        QCOMPARE(window->year->currentText(), QString::number(thisYear));
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 1);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("卖家丁"));
        window->updateDate->setCurrentIndex(3);
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 3);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("卖家乙"));
        QCOMPARE(cell(window->itemTopGrid, 0, 7), QString("38400.00"));
        window->updateDate->setCurrentIndex(0); // 全年: March and April, told apart by the date
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 4);
        QCOMPARE(cell(window->itemTopGrid, 3, 1).left(7), QString("%1-04").arg(thisYear));
        // Last year is listed and chosen like any other.
        QCOMPARE(window->year->count(), 2);
        window->year->setCurrentIndex(1);
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 1);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("去年卖家"));
        window->year->setCurrentIndex(0);
        window->updateDate->setCurrentIndex(3);
        window->sortName->setCurrentIndex(2);
        window->sort->setChecked(false);
        QTest::mouseClick(window->queryBtn, Qt::LeftButton);
        QCOMPARE(cell(window->itemTopGrid, 0, 2), QString("卖家丙"));

        answerSaveDialog(window->saveDialog, target("top.csv"));
        QTest::mouseClick(window->exportBtn, Qt::LeftButton);
        std::string written = gbkToUtf8(test::readFile(*dir / "top.csv"));
        QVERIFY(written.starts_with(
            "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接\r\n1,"));
        QCOMPARE(std::count(written.begin(), written.end(), '\n'), 4);

        answerQuestion(QMessageBox::Yes);
        QTest::mouseClick(window->deleteBtn, Qt::LeftButton);
        QCOMPARE(window->itemTopGrid->model()->rowCount(), 0);
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<DataViewsTest>(argc, argv);
}

#include "tst_dataviews.moc"
