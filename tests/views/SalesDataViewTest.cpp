#include "ViewsTest.h"
#include "views/CsvExport.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

using SalesDataViewTest = test::SalesViewTest;
using DeleteTest = test::ViewsTest;
using GridSortTest = test::SalesViewTest;
using FilterTest = test::SalesViewTest;

// The summary labels in the order the page shows them.
Texts labels(const ItemSummary& s) {
    return {s.buyCount, s.saleCount, s.avgSaleCount, s.totalAmount, s.avgAmount, s.buyerNums, s.everySaleNum};
}

// The titles carrying a sort mark or a bold face ("*").
Texts marked(const GridTitles& grid) {
    Texts texts;
    for (int c = 0; c < grid.columnCount(); ++c)
        if (grid.bold(c) || grid.caption(c).starts_with("▼") || grid.caption(c).starts_with("▲"))
            texts.push_back(grid.caption(c) + (grid.bold(c) ? "*" : ""));
    return texts;
}

// The GBK bytes of the sale records export of item 1001, written out by hand; GoogleTest prints a
// mismatch with \x escapes.
const std::string kHeader =
    "\xc9\xcc\xc6\xb7,\xb5\xb1\xc7\xb0\xbc\xdb\xb8\xf1,\xc2\xf2\xbc\xd2,"
    "\xb9\xba\xc2\xf2\xc8\xd5\xc6\xda,\xb9\xba\xc2\xf2\xca\xfd\xc1\xbf,"
    "\xb3\xc9\xbd\xbb\xca\xfd\xc1\xbf,\xb3\xc9\xbd\xbb\xd7\xb4\xcc\xac"; // 商品,当前价格,…,成交状态
// "春装 新款,连衣裙" made safe: the blank goes, the comma becomes "、".
const std::string kTitle = "\xb4\xba\xd7\xb0\xd0\xc2\xbf\xee\xa1\xa2\xc1\xac\xd2\xc2\xc8\xb9";
const std::string kDone = "\xb3\xc9\xbd\xbb"; // 成交

// The blank between date and time goes too; every data line ends with a comma.
const std::string kT1 = kTitle + ",10.5,buyerA,2011-02-0109:00:00,2,2," + kDone + ",\r\n";
const std::string kT2 = kTitle + ",20,buyerB,2011-02-0312:30:00,1,1," + kDone + ",\r\n";
const std::string kT3 = kTitle + ",1000,buyerA,2011-02-0218:00:00,3,3," + kDone + ",\r\n";
const std::string kSalesOf1001 = kHeader + "\r\n" + kT2 + kT3 + kT1; // newest sale first

class Gauge : public ProgressGauge {
public:
    void setMaximum(int value) override { maximum = value; }
    void setPosition(int value) override {
        EXPECT_GE(value, position);
        position = value;
    }
    int maximum = -1;
    int position = 0;
};

class CsvExportTest : public test::SalesViewTest {
protected:
    void SetUp() override {
        SalesViewTest::SetUp();
        view->items().setCurrent(1); // 1001
        ItemSummary summary;
        view->pageChange(SalesDataView::kSalePage, summary);
    }

    ExportJob sales() { return view->saleExport(DateTime{2011, 5, 20, 9, 30, 0}); }
};

} // namespace

TEST_F(SalesDataViewTest, TheViewOpensWithTheShopsThatHaveItemsAndTheFirstShopsItems) {
    EXPECT_EQ(cells(view->shops(), view->shopGrid(), 0),
              (Texts{"1", "三号小店", "张三", "1500", "6", "99.5", "2008-05-06 00:00:00",
                     "2011-03-01 10:00:00", "http://shop1.taobao.com"}));
    EXPECT_EQ(view->shops().rowCount(), 2u); // 李四 has no items
    // Most sold this month first, then most bookmarked.
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"1002", "1001", "1003"}));
    EXPECT_EQ(cells(view->items(), view->itemGrid(), 1),
              (Texts{"2", "春装 新款,连衣裙", "88.5", "6", "3041", "2011-02-01 09:00:00",
                     "2011-03-01 10:00:00", "12", "http://item.taobao.com/1001"}));
}

TEST_F(SalesDataViewTest, MovingToAnotherShopShowsItsItems) {
    view->shops().setCurrent(1);
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"2001"}));
    EXPECT_EQ(view->itemAddress(), "http://item.taobao.com/2001");
    EXPECT_EQ(view->shopAddress(), "http://shop2.taobao.com");
}

TEST_F(SalesDataViewTest, TheSummaryOfAnItemIsComputedOnTheSwitchToTheSalesPage) {
    view->items().setCurrent(1); // 1001
    ItemSummary summary;
    view->pageChange(0, summary);
    EXPECT_EQ(summary.buyCount, "0"); // only the sales page computes
    EXPECT_FALSE(view->sales().isOpen());

    view->pageChange(SalesDataView::kSalePage, summary);
    EXPECT_EQ(column(view->sales(), "trade_id"), (Texts{"T2", "T3", "T1"}));
    // 3 sales of 2 + 1 + 3 pieces: 2×10.5 + 1×20 + 3×1000 = 3041 in all, (10.5 + 20 + 1000) / 3 per
    // sale, by 2 buyers (buyerA twice).
    EXPECT_EQ(labels(summary), (Texts{"3", "6件", "2.00件", "3,041.00元", "343.50元", "2人", "3.00件"}));

    // Another item, then the page again: computed anew.
    view->items().setCurrent(0); // 1002
    view->pageChange(SalesDataView::kSalePage, summary);
    EXPECT_EQ(labels(summary), (Texts{"1", "1件", "1.00件", "25.00元", "25.00元", "1人", "1.00件"}));
}

TEST_F(SalesDataViewTest, AnItemWithoutSalesDividesByZeroAfterTheLabelsBeforeIt) {
    ItemSummary summary;
    summary.everySaleNum = "7.00件";
    view->items().setCurrent(2); // 1003
    EXPECT_THROW(view->pageChange(SalesDataView::kSalePage, summary), std::domain_error);
    EXPECT_EQ(labels(summary), (Texts{"0", "件", "件", "元", "元", "0人", "7.00件"}));
}

TEST_F(SalesDataViewTest, WithoutSalesRecordsTheShopGridIsEmptyAndTheSalesPageChangesNothing) {
    dm->cn1().exec("delete from itemInfo");
    SalesDataView empty(*dm, QueryReader::Mode::Now);
    empty.formCreate();
    EXPECT_EQ(empty.shops().rowCount(), 0u);
    EXPECT_EQ(empty.items().rowCount(), 0u);
    ItemSummary summary;
    empty.pageChange(SalesDataView::kSalePage, summary);
    EXPECT_FALSE(empty.sales().isOpen());
    EXPECT_EQ(summary.buyCount, "0");
    EXPECT_EQ(summary.totalAmount, "0");
    EXPECT_FALSE(empty.shopForDownload());
}

TEST_F(SalesDataViewTest, UpdateDownloadHandsOverTheShopAsASearchWouldFindIt) {
    view->shops().setCurrent(1);
    auto shop = view->shopForDownload();
    ASSERT_TRUE(shop);
    // The shop list's addr is its items' location.
    EXPECT_EQ(std::tie(shop->dianzhu, shop->dianming, shop->webaddr, shop->salerCredit, shop->addr, shop->loc,
                       shop->commodityNum),
              std::tuple("O'Neil", "奥尼尔,精品", "http://shop2.taobao.com", 300, "上海", "围巾", 8));
}

TEST_F(DeleteTest, AnItemGoesWithItsSalesThenTheShopWithTheRestAndTheGridsAreReadAgain) {
    SalesDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    view.items().setCurrent(1); // 1001
    DeleteResult result = view.deleteItem();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(count("select count(*) from itemInfo where itemId='1001'"), 0);
    EXPECT_EQ(count("select count(*) from saleInfo"), 2);
    EXPECT_EQ(column(view.items(), "itemId"), (Texts{"1002", "1003"}));

    ASSERT_EQ(view.shops().currentText("dianzhu"), "张三");
    result = view.deleteShop();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(count("select count(*) from saleInfo"), 1);
    EXPECT_EQ(count("select count(*) from itemInfo"), 1);
    EXPECT_EQ(count("select count(*) from dianbase where id=1"), 0);
    // The items are those of whichever shop is current now.
    EXPECT_EQ(column(view.shops(), "dianzhu"), (Texts{"O'Neil"}));
    EXPECT_EQ(column(view.items(), "itemId"), (Texts{"2001"}));
    EXPECT_EQ(view.sales().rowCount(), 0u);
}

TEST_F(DeleteTest, AFailingStatementRollsBackTheOnesBeforeIt) {
    dm->cn1().exec(
        "CREATE TRIGGER keep_shops BEFORE DELETE ON dianbase BEGIN SELECT RAISE(ABORT, '店铺表只读'); END;");
    SalesDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    DeleteResult result = view.deleteShop();
    EXPECT_FALSE(result.done);
    EXPECT_NE(result.error.find("店铺表只读"), std::string::npos) << result.error;
    EXPECT_EQ(count("select count(*) from saleInfo"), 5);
    EXPECT_EQ(count("select count(*) from itemInfo"), 4);
    EXPECT_FALSE(dm->cn1().inTransaction());
    // The grids keep what they showed.
    EXPECT_EQ(column(view.shops(), "dianzhu"), (Texts{"张三", "O'Neil"}));
    EXPECT_EQ(view.items().rowCount(), 3u);
}

TEST_F(GridSortTest, TheFirstClickSortsDescendingAndFurtherClicksAlternate) {
    GridTitles& grid = view->shopGrid();
    Dataset& shops = view->shops();
    ASSERT_EQ(column(shops, "dianzhu"), (Texts{"张三", "O'Neil"}));

    ASSERT_TRUE(grid.titleClick(1, shops)); // 店铺
    EXPECT_EQ(marked(grid), (Texts{"▼店铺*"}));
    EXPECT_EQ(column(shops, "dianming"), (Texts{"奥尼尔,精品", "三号小店"})); // U+5965 after U+4E09

    // Another column: the first loses its mark and bold face.
    ASSERT_TRUE(grid.titleClick(3, shops)); // 信用
    EXPECT_EQ(marked(grid), (Texts{"▼信用*"}));
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"1500", "300"}));

    ASSERT_TRUE(grid.titleClick(3, shops));
    EXPECT_EQ(marked(grid), (Texts{"▲信用*"}));
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"300", "1500"}));
    // The row number counts the sorted rows.
    EXPECT_EQ(column(shops, "xh"), (Texts{"1", "2"}));
    EXPECT_EQ(shops.current(), 0);

    ASSERT_TRUE(grid.titleClick(3, shops));
    EXPECT_EQ(marked(grid), (Texts{"▼信用*"}));
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"1500", "300"}));

    // The row number's title sorts nothing and leaves the marks alone.
    EXPECT_FALSE(grid.titleClick(0, shops));
    EXPECT_EQ(marked(grid), (Texts{"▼信用*"}));
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"1500", "300"}));
}

TEST_F(GridSortTest, TiesKeepTheQueryOrderInBothDirections) {
    ItemSummary summary;
    view->items().setCurrent(1); // 1001: T2, T3, T1 newest first
    view->pageChange(SalesDataView::kSalePage, summary);
    Dataset& sales = view->sales();
    GridTitles& grid = view->saleGrid();
    grid.titleClick(2, sales); // 买家 descending
    EXPECT_EQ(column(sales, "trade_id"), (Texts{"T2", "T3", "T1"}));
    grid.titleClick(2, sales);
    EXPECT_EQ(column(sales, "trade_id"), (Texts{"T3", "T1", "T2"}));
    grid.titleClick(1, sales); // 价格: numbers by value, not as text
    EXPECT_EQ(column(sales, "amount"), (Texts{"1000", "20", "10.5"}));
}

TEST_F(GridSortTest, RowsReadAgainComeInTheQueryOrderAndAFilterStaysWhenSorting) {
    Dataset& items = view->items();
    view->itemGrid().titleClick(2, items); // 价格 descending
    EXPECT_EQ(column(items, "itemId"), (Texts{"1001", "1002", "1003"}));
    items.open();
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002", "1001", "1003"}));
    // The title keeps its mark, but the sort is gone: the next click sorts descending again.
    EXPECT_EQ(view->itemGrid().caption(2), "▼价格");
    view->itemGrid().titleClick(2, items);
    EXPECT_EQ(column(items, "itemId"), (Texts{"1001", "1002", "1003"}));

    view->filterItems("T恤");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    view->itemGrid().titleClick(2, items);
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    items.open();
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
}

TEST_F(FilterTest, KeywordsMatchInsideTheTextWhateverTheLetterCaseOfLatinLetters) {
    view->filterItems("t恤");
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"1002"}));
    view->filterShops(",");
    EXPECT_EQ(column(view->shops(), "dianzhu"), (Texts{"O'Neil"}));
    view->filterShops("没有这家");
    EXPECT_EQ(view->shops().rowCount(), 0u);
    EXPECT_EQ(view->shops().current(), -1);
}

TEST_F(FilterTest, AnEmptyBoxKeepsTheFilterInForceAndItStaysForAnotherShopsItems) {
    view->filterShops(""); // nothing set before: every row
    EXPECT_EQ(view->shops().rowCount(), 2u);
    Dataset& items = view->items();
    view->filterItems("T恤");
    view->filterItems("");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    EXPECT_EQ(column(items, "xh"), (Texts{"1"}));

    view->filterItems("Scarf");
    EXPECT_EQ(items.rowCount(), 0u); // 张三 sells no scarf
    view->shops().setCurrent(1);     // O'Neil
    EXPECT_EQ(column(items, "itemId"), (Texts{"2001"}));
    view->shops().setCurrent(0);
    EXPECT_EQ(items.rowCount(), 0u);
}

TEST(CsvSafeText, CommasBecomeEnumerationCommasAndEveryBlankGoes) {
    EXPECT_EQ(csvSafeText("a, b\nc"), "a、bc");
    EXPECT_EQ(csvSafeText("   "), "");
    EXPECT_EQ(csvSafeText("\t1,2\r\n,3 \v\f"), "1、2、3");
    EXPECT_EQ(csvSafeText(",,"), "、、");
    EXPECT_EQ(csvSafeText("\"quoted\";x"), "\"quoted\";x");         // nothing is quoted or escaped
    EXPECT_EQ(csvSafeText("全角，逗号　空格"), "全角，逗号　空格"); // only ASCII blanks and commas change
}

TEST_F(CsvExportTest, TheSaleRecordsExportIsGbkWithCrLfAndATrailingCommaOnEveryDataLine) {
    StringSink sink;
    Gauge gauge;
    writeCsv(sales(), sink, &gauge);
    EXPECT_EQ(sink.bytes, kSalesOf1001);
    EXPECT_EQ(gauge.maximum, 3);
    EXPECT_EQ(gauge.position, 3);

    // A file gets the same bytes, an older and longer file replaced whole.
    const auto file = dir / "sales.csv";
    test::writeFile(file, std::string(4096, 'x'));
    EXPECT_EQ(exportToFile(sales(), file, nullptr), ExportOutcome::Written);
    EXPECT_EQ(test::readFile(file), kSalesOf1001);

    // The rows go in the grid's sort order.
    view->saleGrid().titleClick(1, view->sales()); // 价格 descending
    sink.bytes.clear();
    writeCsv(sales(), sink, nullptr);
    EXPECT_EQ(sink.bytes, kHeader + "\r\n" + kT3 + kT2 + kT1);
}

TEST_F(CsvExportTest, TheProposedNameCarriesTheItemAndTheDate) {
    EXPECT_EQ(sales().fileName, "导出春装 新款,连衣裙商品销售明细--2011-05-20.csv");
    EXPECT_EQ(view->shopExport(DateTime{2011, 5, 20}).fileName, "导出销售掌柜数据2011-05-20.csv");
    EXPECT_EQ(view->itemExport(DateTime{2011, 5, 20}).fileName, "导出张三掌柜商品销售数据--2011-05-20.csv");
    EXPECT_EQ(safeFileName("女装/女士精品.csv"), "女装_女士精品.csv");
}

TEST_F(CsvExportTest, NothingIsWrittenWhereTheFileCannotBeOpenedOrCreatedOrThereAreNoRows) {
    // Permission bits do not stop root, so the held file is a folder of that name.
    const auto held = dir / "held.csv";
    std::filesystem::create_directory(held);
    EXPECT_TRUE(isLocked(held));
    EXPECT_FALSE(isLocked(dir / "new.csv"));
    EXPECT_EQ(exportToFile(sales(), held, nullptr), ExportOutcome::Locked);
    EXPECT_TRUE(std::filesystem::is_empty(held));
    EXPECT_EQ(lockedWarning(held), held.string() + "文件可能已被打开或损坏，重新选择或关闭文件！");

    // A file that cannot be created is an error for the error handler.
    test::writeFile(dir / "plain", "not a folder");
    EXPECT_THROW(exportToFile(sales(), dir / "plain" / "sales.csv", nullptr), std::system_error);
    EXPECT_EQ(test::readFile(dir / "plain"), "not a folder");

    view->sales().setParameter("item_Id", "1003");
    view->sales().open();
    EXPECT_EQ(exportToFile(sales(), dir / "empty.csv", nullptr), ExportOutcome::NoRows);
    EXPECT_FALSE(std::filesystem::exists(dir / "empty.csv"));
}
