#include "ViewsFixture.h"
#include "base/GbkText.h"
#include "db/TDM.h"
#include "market/CategoryTable.h"
#include "support/Stores.h"
#include "support/TempDir.h"
#include "views/CsvExport.h"
#include "views/Dataset.h"
#include "views/RankingDataView.h"
#include "views/RatingDataView.h"
#include "views/SalesDataView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace vantor::test {

using Texts = std::vector<std::string>;

// A fresh store of the engine with the views fixture, rankings in 2011.
class ViewsTest : public ::testing::TestWithParam<Engine> {
protected:
    void SetUp() override {
        dm = std::make_unique<db::TDM>(storeOn(GetParam(), dir / "lmd_pin.db"));
        dm->open();
        fillViewsFixture(dm->cn1(), 2011);
    }

    // One field of every row, in view order.
    static Texts column(const views::Dataset& rows, const std::string& field) {
        Texts texts;
        for (std::size_t row = 0; row < rows.rowCount(); ++row)
            texts.push_back(rows.displayText(row, field));
        return texts;
    }

    // The cells of one row as a grid shows them.
    static Texts cells(views::Dataset& rows, views::GridTitles& grid, std::size_t row) {
        Texts texts;
        for (int c = 0; c < grid.columnCount(); ++c)
            texts.push_back(grid.cellText(rows, row, c));
        return texts;
    }

    std::int64_t count(const std::string& sql) {
        db::Statement statement = dm->cn1().prepare(sql);
        statement.step();
        return statement.integer(0);
    }

    TempDir dir;
    std::unique_ptr<db::TDM> dm;
};

// The sales data view on the fixture, opened as its window opens it.
class SalesViewTest : public ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<views::SalesDataView>(*dm, views::QueryReader::Mode::Background);
        view->formCreate();
    }

    std::unique_ptr<views::SalesDataView> view;
};

} // namespace vantor::test

using namespace vantor;
using namespace vantor::views;
using test::Texts;
using namespace std::string_literals; // assigning literals trips a false GCC 12 -Wrestrict warning

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

// The blank between date and time goes too; every data line ends with a comma; prices have two decimals.
const std::string kT1 = kTitle + ",10.50,buyerA,2011-02-0109:00:00,2,2," + kDone + ",\r\n";
const std::string kT2 = kTitle + ",20.00,buyerB,2011-02-0312:30:00,1,1," + kDone + ",\r\n";
const std::string kT3 = kTitle + ",1000.00,buyerA,2011-02-0218:00:00,3,3," + kDone + ",\r\n";
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

// Checks that appended rows follow on without a gap, as a model would hear them.
class Recorder : public DatasetObserver {
public:
    explicit Recorder(Dataset& rows) : rows_(rows) {}
    void aboutToReset() override {}
    void reset() override {}
    void aboutToAppend(std::size_t first, std::size_t last) override {
        EXPECT_EQ(first, rows_.rowCount());
        end = last + 1;
    }
    void appended() override { EXPECT_EQ(rows_.rowCount(), end); }
    void currentChanged() override {}
    std::size_t end = 0; // the row count the last append announced

private:
    Dataset& rows_;
};

class DatasetTest : public ::testing::TestWithParam<test::Engine> {
protected:
    void SetUp() override {
        dm = std::make_unique<db::TDM>(test::storeOn(GetParam(), dir / "lmd_pin.db"));
        dm->open();
        // Every third buyer repeats the one above, so equal texts in a column are shared in the store;
        // every seventh time is null.
        db::Database& db = dm->cn1();
        db.beginTransaction();
        auto insert =
            db.prepare("INSERT INTO saleInfo (itemId, buyerName, amount, sj) VALUES ('big', :buyer, "
                       ":amount, :sj)");
        for (int i = 1; i <= 5000; ++i) {
            char sj[32];
            std::snprintf(sj, sizeof sj, "2011-01-01 00:%02d:%02d", i / 60 % 60, i % 60);
            insert.bind("buyer", "buyer" + std::to_string(i % 3 == 0 ? i - 1 : i)).bind("amount", i * 0.5);
            insert.bind("sj", i % 7 == 0 ? db::Value() : db::Value(std::string(sj))).execute();
        }
        db.commit();
    }

    Dataset bigItem(QueryReader::Mode mode) {
        Dataset rows([this] { return dm->openConnection(); },
                     "select id, buyerName, amount, sj from saleInfo where itemId=:item order by id", true,
                     mode);
        rows.setParameter("item", "big");
        return rows;
    }

    static void expectRow(Dataset& rows, std::size_t row) {
        const std::int64_t i = std::int64_t(row) + 1;
        ASSERT_EQ(rows.value(row, 0), db::Value(i)) << row; // xh
        ASSERT_EQ(rows.value(row, 1), db::Value(i)) << row;
        std::string buyer = "buyer" + std::to_string(i % 3 == 0 ? i - 1 : i);
        ASSERT_EQ(rows.displayText(row, 2), buyer) << row;
        ASSERT_EQ(rows.value(row, 3), db::Value(double(i) * 0.5)) << row;
        ASSERT_EQ(rows.value(row, 4).index(), i % 7 == 0 ? 0u : 3u) << row;
    }

    test::TempDir dir;
    std::unique_ptr<db::TDM> dm;
};

class RatingDataViewTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<RatingDataView>(*dm, QueryReader::Mode::Background);
        view->formCreate();
        view->shops().setSort("id");
    }

    std::unique_ptr<RatingDataView> view;
};

const DateTime kNow{2011, 5, 20, 12, 0, 0};

class RankingDataViewTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<RankingDataView>(*dm, QueryReader::Mode::Now);
    }

    Texts sellers(RankingChoice choice) {
        view->query(choice, kNow);
        return column(view->ranking(), "dianzhu");
    }

    std::unique_ptr<RankingDataView> view;
};

} // namespace

// Every view on both engines: the grids, filters, sorts, deletes and exports show and write the same.
INSTANTIATE_TEST_SUITE_P(BothEngines, SalesDataViewTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, DeleteTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, GridSortTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, FilterTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, CsvExportTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, DatasetTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, RatingDataViewTest, test::kBothEngines, test::engineName);
INSTANTIATE_TEST_SUITE_P(BothEngines, RankingDataViewTest, test::kBothEngines, test::engineName);

TEST_P(SalesDataViewTest, TheViewOpensWithTheShopsThatHaveItemsAndTheFirstShopsItems) {
    EXPECT_EQ(cells(view->shops(), view->shopGrid(), 0),
              (Texts{"1", "三号小店", "张三", "1500", "1钻", "99.5", "2008-05-06 00:00:00",
                     "2011-03-01 10:00:00", "http://shop1.taobao.com"}));
    EXPECT_EQ(view->shops().rowCount(), 2u); // 李四 has no items
    // Most sold this month first, then most bookmarked.
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"1002", "1001", "1003"}));
    EXPECT_EQ(cells(view->items(), view->itemGrid(), 1),
              (Texts{"2", "春装 新款,连衣裙", "88.5", "6", "3041", "2011-02-01 09:00:00",
                     "2011-03-01 10:00:00", "12", "http://item.taobao.com/1001"}));
}

TEST_P(SalesDataViewTest, TheSummaryOfAnItemIsComputedOnTheSwitchToTheSalesPage) {
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

TEST_P(SalesDataViewTest, AnItemWithoutSalesDividesByZeroAfterTheLabelsBeforeIt) {
    ItemSummary summary;
    summary.everySaleNum = "7.00件";
    view->items().setCurrent(2); // 1003
    EXPECT_THROW(view->pageChange(SalesDataView::kSalePage, summary), std::domain_error);
    EXPECT_EQ(labels(summary), (Texts{"0", "件", "件", "元", "元", "0人", "7.00件"}));
}

TEST_P(SalesDataViewTest, WithoutSalesRecordsTheShopGridIsEmptyAndTheSalesPageChangesNothing) {
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

TEST_P(SalesDataViewTest, UpdateDownloadHandsOverTheShopAsASearchWouldFindIt) {
    view->shops().setCurrent(1);
    auto shop = view->shopForDownload();
    ASSERT_TRUE(shop);
    // The shop list's addr is its items' location.
    EXPECT_EQ(std::tie(shop->dianzhu, shop->dianming, shop->webaddr, shop->salerCredit, shop->addr, shop->loc,
                       shop->commodityNum),
              std::tuple("O'Neil", "奥尼尔,精品", "http://shop2.taobao.com", 300, "上海", "围巾", 8));
}

TEST_P(DeleteTest, AnItemGoesWithItsSalesThenTheShopWithTheRestAndTheGridsAreReadAgain) {
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

TEST_P(DeleteTest, AFailingStatementRollsBackTheOnesBeforeIt) {
    if (GetParam() == test::Engine::File)
        dm->cn1().exec("CREATE TRIGGER keep_shops BEFORE DELETE ON dianbase BEGIN SELECT RAISE(ABORT, "
                       "'店铺表只读'); END;");
    else
        dm->cn1().exec(
            "CREATE FUNCTION keep_shops() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE "
            "EXCEPTION '店铺表只读'; END $$; CREATE TRIGGER keep_shops BEFORE DELETE ON dianbase FOR "
            "EACH ROW EXECUTE FUNCTION keep_shops();");
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

TEST_P(GridSortTest, TheFirstClickSortsDescendingAndFurtherClicksAlternate) {
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

TEST_P(GridSortTest, TiesKeepTheQueryOrderInBothDirections) {
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

TEST_P(GridSortTest, RowsReadAgainComeInTheQueryOrderAndAFilterStaysWhenSorting) {
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

TEST_P(FilterTest, KeywordsMatchInsideTheTextWhateverTheLetterCaseOfLatinLetters) {
    view->filterItems("t恤");
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"1002"}));
    view->filterShops(",");
    EXPECT_EQ(column(view->shops(), "dianzhu"), (Texts{"O'Neil"}));
    view->filterShops("没有这家");
    EXPECT_EQ(view->shops().rowCount(), 0u);
    EXPECT_EQ(view->shops().current(), -1);
}

TEST_P(FilterTest, AnEmptyBoxKeepsTheFilterInForceAndItStaysForAnotherShopsItems) {
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

TEST_P(CsvExportTest, TheSaleRecordsExportIsGbkWithCrLfAndATrailingCommaOnEveryDataLine) {
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

TEST(StandardCsv, TextsStayAsTheyAreAndOnlyFieldsWithASeparatorAQuoteOrALineBreakAreQuoted) {
    test::TempDir dir;
    const std::vector<Texts> rows = {{"春装 新款,连衣裙", "他说\"好\"", " ", "", "第一行\r\n第二行"},
                                     {"plain", "12.50", "a\nb", "\"", "尾 "}};
    CsvJob job{[&rows] { return rows.size(); },
               "甲,乙,丙,丁,戊",
               "t.csv",
               [](std::string&, std::size_t) { ADD_FAILURE() << "the program's line is not asked for"; },
               {"名称", "说\"明\"", "空 白", "无", "多行"},
               [&rows](std::vector<std::string>& cells, std::size_t row) { cells = rows[row]; }};
    const auto file = dir / "standard.csv";
    EXPECT_EQ(exportToFile(job, file, nullptr, ExportEncoding::Gbk, ExportFormat::Standard),
              ExportOutcome::Written);
    EXPECT_EQ(test::readFile(file), "\xEF\xBB\xBF"
                                    "名称,\"说\"\"明\"\"\",空 白,无,多行\r\n"
                                    "\"春装 新款,连衣裙\",\"他说\"\"好\"\"\", ,,\"第一行\r\n第二行\"\r\n"
                                    "plain,12.50,\"a\nb\",\"\"\"\",尾 \r\n"s);

    // A job that names no columns goes out with its program header and cells, which hold no separator.
    CsvJob program{[] { return std::size_t(1); },
                   "甲,乙",
                   "p.csv",
                   [](std::string& line, std::size_t) {
                       appendCsvCells(line, {"x\"y", ""});
                   },
                   {},
                   {}};
    StringSink sink;
    writeStandardCsv(program, sink, nullptr);
    EXPECT_EQ(sink.bytes, "\xEF\xBB\xBF甲,乙\r\n\"x\"\"y\",\r\n"s);

    EXPECT_EQ(exportFormatNamed("standard"), ExportFormat::Standard);
    EXPECT_EQ(exportFormatNamed("program"), ExportFormat::Program);
    EXPECT_EQ(exportFormatNamed("utf8"), std::nullopt);
}

TEST_P(CsvExportTest, TheStandardSaleRecordsAreTheGridsColumnsAsItShowsThem) {
    StringSink sink;
    Gauge gauge;
    writeStandardCsv(sales(), sink, &gauge);
    // The saleGrid's titles; the title keeps its blank and comma, the date its blank.
    EXPECT_EQ(sink.bytes, "\xEF\xBB\xBF"
                          "商品标题,价格,买家,购买时间,购买数量,成交数量,成交状态\r\n"
                          "\"春装 新款,连衣裙\",20.00,buyerB,2011-02-03 12:30:00,1,1,成交\r\n"
                          "\"春装 新款,连衣裙\",1000.00,buyerA,2011-02-02 18:00:00,3,3,成交\r\n"
                          "\"春装 新款,连衣裙\",10.50,buyerA,2011-02-01 09:00:00,2,2,成交\r\n"s);
    EXPECT_EQ(gauge.maximum, 3);
    EXPECT_EQ(gauge.position, 3);
}

TEST_P(CsvExportTest, AmountsAreWrittenWithTwoDecimalsWhateverTheStoredNumbersNoise) {
    // 535.2 as a single-precision float left it, and a sum that binary floats cannot hold exactly.
    dm->cn1().exec("update saleInfo set amount = 535.2000122070312 where trade_id = 'T1'");
    dm->cn1().exec("update saleInfo set amount = 82420.7999999999 where trade_id = 'T2'");
    view->sales().open();
    ASSERT_EQ(view->sales().displayText(0, "amount"), "82420.7999999999");
    StringSink sink;
    writeCsv(sales(), sink, nullptr, ExportEncoding::Utf8Bom);
    EXPECT_NE(sink.bytes.find(",82420.80,buyerB,"), std::string::npos) << sink.bytes;
    EXPECT_NE(sink.bytes.find(",535.20,buyerA,"), std::string::npos) << sink.bytes;
    sink.bytes.clear();
    writeStandardCsv(sales(), sink, nullptr);
    EXPECT_NE(sink.bytes.find(",82420.80,buyerB,"), std::string::npos) << sink.bytes;
    EXPECT_NE(sink.bytes.find(",535.20,buyerA,"), std::string::npos) << sink.bytes;
}

TEST_P(CsvExportTest, TheSellerLevelIsDrawnInTheStandardFormatAndWrittenAsStoredInTheProgramsOwn) {
    ExportJob shops = view->shopExport(DateTime{2011, 5, 20});
    StringSink program, standard;
    writeCsv(shops, program, nullptr, ExportEncoding::Utf8Bom);
    writeStandardCsv(shops, standard, nullptr);
    EXPECT_NE(program.bytes.find("1,三号小店,张三,1500,6,99.5,"), std::string::npos) << program.bytes;
    EXPECT_NE(standard.bytes.find("1,三号小店,张三,1500,1钻,99.5,"), std::string::npos) << standard.bytes;
}

TEST_P(CsvExportTest, TheProposedNameCarriesTheItemAndTheDate) {
    EXPECT_EQ(sales().fileName, "导出春装 新款,连衣裙商品销售明细--2011-05-20.csv");
    EXPECT_EQ(view->shopExport(DateTime{2011, 5, 20}).fileName, "导出销售掌柜数据2011-05-20.csv");
    EXPECT_EQ(view->itemExport(DateTime{2011, 5, 20}).fileName, "导出张三掌柜商品销售数据--2011-05-20.csv");
    EXPECT_EQ(safeFileName("女装/女士精品.csv"), "女装_女士精品.csv");
}

TEST_P(CsvExportTest, NothingIsWrittenWhereTheFileCannotBeOpenedOrCreatedOrThereAreNoRows) {
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

TEST_P(DatasetTest, EveryRowArrivesInOrderWhicheverWayItIsRead) {
    // Read now, every row is there when open returns. In the background the first block shows at once
    // and the rest follows as the model polls, or all at once when the record count is asked for.
    enum Way { Now, Polled, Counted };
    for (Way way : {Now, Polled, Counted}) {
        SCOPED_TRACE(way);
        Dataset rows = bigItem(way == Now ? QueryReader::Mode::Now : QueryReader::Mode::Background);
        Recorder recorder(rows);
        rows.setObserver(&recorder);
        rows.open();
        ASSERT_EQ(rows.rowCount(), way == Now ? 5000u : RowBlock::kRows);
        EXPECT_EQ(rows.current(), 0);
        if (way == Polled)
            while (rows.takeArrived()) {
            }
        if (way == Counted) {
            EXPECT_EQ(rows.recordCount(), 5000u);
        }
        EXPECT_FALSE(rows.isLoading());
        ASSERT_EQ(rows.rowCount(), 5000u);
        if (way != Now) {
            EXPECT_EQ(recorder.end, 5000u); // the model heard of the last row
        }
        for (std::size_t row = 0; row < 5000; ++row)
            expectRow(rows, row);
    }
}

TEST_P(DatasetTest, ClosingWhileAReaderRunsStopsIt) {
    Dataset rows = bigItem(QueryReader::Mode::Background);
    rows.open();
    rows.close();
    EXPECT_FALSE(rows.isOpen());
    EXPECT_EQ(rows.rowCount(), 0u);
    EXPECT_EQ(rows.current(), -1);
}

TEST_P(DatasetTest, AStatementTheDatabaseRefusesFailsAtOpenAndLeavesTheDatasetClosed) {
    Dataset rows([this] { return dm->openConnection(); }, "select nothing from nowhere", false,
                 QueryReader::Mode::Background);
    EXPECT_THROW(rows.open(), db::DbError);
    EXPECT_FALSE(rows.isOpen());
    EXPECT_EQ(rows.fieldCount(), 0);
}

TEST_P(DatasetTest, AParameterNobodySetIsNullAndSelectsNothing) {
    Dataset rows = Dataset::standing(*dm, "itemAution_q", QueryReader::Mode::Now);
    rows.open();
    EXPECT_TRUE(rows.isOpen());
    EXPECT_EQ(rows.rowCount(), 0u);
    EXPECT_EQ(rows.fieldIndex("buyername"), rows.fieldIndex("BUYERNAME"));
}

TEST(RowStore, NumbersReadAsTheProgramWritesThemEverywhere) {
    for (double value : {0.1 + 0.2, 99.5, 1e20, 123456789.123456789, -0.25, 1.0 / 3, 5e-7, 0.0,
                         std::numeric_limits<double>::infinity()}) {
        std::string text;
        appendNumberText(text, value);
        EXPECT_EQ(text, db::valueToText(value)) << value;
    }
    for (std::int64_t value :
         {std::int64_t(0), std::int64_t(-42), std::numeric_limits<std::int64_t>::max()}) {
        std::string text;
        appendNumberText(text, value);
        EXPECT_EQ(text, db::valueToText(value));
    }
}

TEST_P(RatingDataViewTest, TheRatingsPageShowsTheCurrentShopsRatingsNewestFirst) {
    view->pageChange(0);
    EXPECT_FALSE(view->ratings().isOpen());
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(column(view->ratings(), "trade_id"), (Texts{"R4", "R3", "R2", "R1"}));
    EXPECT_EQ(view->rateCountText(), "当前共有4条评价");
    view->shops().setCurrent(1);
    EXPECT_EQ(view->shopAddress(), "http://shop2.taobao.com");
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
}

TEST_P(RatingDataViewTest, EveryFilledFilterBoxNarrowsTheRatings) {
    view->pageChange(RatingDataView::kRatingPage);
    // Each case fills boxes of an untouched filter.
    const struct {
        void (*fill)(RatingFilterInput&);
        Texts ratings;
    } cases[] = {
        {[](auto& in) { in = {"b", "T恤", 2, 10, 30, "2011-02-01", "2011-03-31"}; }, {"R2"}},
        {[](auto&) {}, {"R4", "R3", "R2", "R1"}},
        {[](auto& in) { in.jg1 = 20; }, {"R4", "R2", "R1"}}, // numbers, not texts: 120 is at least 20
        {[](auto& in) { in.jg2 = 5; }, {"R3"}},
        // A partly filled date is compared as typed; a whole end date takes in its day, so R3 at
        // 20:00 of the 15th is found, and the start date is that day's midnight.
        {[](auto& in) { in.sj1 = "2011-03-  "s; }, {"R4", "R3"}},
        {[](auto& in) { in.sj2 = "2011-03-15"s; }, {"R3", "R2", "R1"}},
        {[](auto& in) { in.sj2 = "2011-03-14"s; }, {"R2", "R1"}},
        {[](auto& in) { in.sj1 = "2011-03-15"s, in.sj2 = "2011-03-15"s; }, {"R3"}},
        {[](auto& in) { in.sj2 = "2011-03-  "s; }, {"R2", "R1"}},
        // Names match as typed, quotes included, whatever the letter case of Latin letters.
        {[](auto& in) { in.pjName = "'"s; }, {"R3"}},
        {[](auto& in) { in.pjName = "BUYER"s; }, {"R4", "R2", "R1"}},
        {[](auto& in) { in.pj = 1; }, {"R4", "R1"}}, // 好评
        {[](auto& in) { in.pj = 3; }, {"R3"}},       // 差评
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        RatingFilterInput input;
        cases[i].fill(input);
        view->filterRatings(input);
        EXPECT_EQ(column(view->ratings(), "trade_id"), cases[i].ratings) << "case " << i;
    }
    RatingFilterInput all;
    cases[0].fill(all);
    view->filterRatings(all);
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
    RatingFilterInput toTheFifteenth;
    toTheFifteenth.sj2 = "2011-03-15";
    EXPECT_EQ(RatingDataView::ratingFilter(toTheFifteenth).text(), "pjsj<='2011-03-15 23:59:59'");
}

TEST_P(RatingDataViewTest, DeletingAShopLeavesTheCountAndTheRatingsOfTheShopNowCurrent) {
    view->pageChange(RatingDataView::kRatingPage);
    ASSERT_EQ(view->shops().currentText("dianzhu"), "张三");
    DeleteResult result = view->deleteShop();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(view->findResultText(), "共有1店铺");
    EXPECT_EQ(view->shops().currentText("dianzhu"), "O'Neil");
    EXPECT_EQ(column(view->ratings(), "trade_id"), (Texts{"R5"}));
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
}

TEST_P(RatingDataViewTest, TheShopSearchBindsWhatTheUserTyped) {
    // A shop of flag 0 that has no ratings: the view lists shops with ratings only, the search too.
    dm->cn1().exec("INSERT INTO dianbase (id, dianzhu, dianming, updateDate, flag, saleLevel) "
                   "VALUES (4, '王五', '无评价店', '2011-06-01 00:00:00', 0, 9)");
    view->shops().setSort("");
    // Every shop with flag 0, newest update first; 李四 has flag 1. Each case fills boxes of an
    // untouched search.
    const struct {
        void (*fill)(ShopSearch&);
        Texts found;
    } cases[] = {
        {[](auto&) {}, {"O'Neil", "张三"}},
        {[](auto& in) { in.nick = "O'Neil"s; }, {"O'Neil"}},
        {[](auto& in) { in.nick = "'"s; }, {"O'Neil"}},
        {[](auto& in) { in.shop = "'; drop table dianbase; --"s; }, {}},
        {[](auto& in) { in.shop = "三号"s; }, {"张三"}},
        {[](auto& in) { in.loc = "杭州"s; }, {"张三"}},   // "地址：" searches addr
        {[](auto& in) { in.tag = "围巾"s; }, {"O'Neil"}}, // "主营：" searches loc
        {[](auto& in) { in.level = 4; }, {"张三"}},       // level 6 >= 4, level 3 is not
        {[](auto& in) { in.nick = "张"s, in.level = 6; }, {"张三"}},
        // The pattern's wildcards keep their meaning, as in the statement written out.
        {[](auto& in) { in.nick = "%"s; }, {"O'Neil", "张三"}},
        {[](auto& in) { in.nick = "_'_"s; }, {"O'Neil"}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        ShopSearch search;
        cases[i].fill(search);
        view->searchShops(search);
        EXPECT_EQ(column(view->shops(), "dianzhu"), cases[i].found) << "case " << i;
    }
    EXPECT_EQ(count("select count(*) from dianbase"), 4);
    view->searchShops({});
    EXPECT_EQ(view->findResultText(), "共有2店铺");
    // A found shop keeps its counts: O'Neil has one rating and 1, 2, 3 and 4 in its credit periods.
    Texts counts;
    for (int columnIndex = 6; columnIndex <= 10; ++columnIndex)
        counts.push_back(view->shopGrid().cellText(view->shops(), 0, columnIndex));
    EXPECT_EQ(counts, (Texts{"1", "1", "2", "3", "4"}));
    EXPECT_EQ(view->shopGrid().cellText(view->shops(), 1, 6), "4");
    // The level as the marketplace draws it: O'Neil's 3 is three hearts, 张三's 6 one diamond.
    EXPECT_EQ(view->shopGrid().cellText(view->shops(), 0, 4), "3心");
    EXPECT_EQ(view->shopGrid().cellText(view->shops(), 1, 4), "1钻");
}

TEST_P(RatingDataViewTest, TheRatingsExportRepeatsCommentAndExplanationWithoutATrailingComma) {
    view->pageChange(RatingDataView::kRatingPage);
    ExportJob job = view->ratingExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出张三--2011-05-20数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    // pjinfo's fields: id, dian_id, pj, buyerOrSaler, pjName, itemId, itemTitle, pjsj, jg, pjInfo, pjjs,
    // trade_id; the oldest rating is the last line. The command line's test checks the header.
    const std::string text = gbkToUtf8(sink.bytes);
    EXPECT_TRUE(text.ends_with("\r\n4,1,1,好评,,buyerA,1001,春装新款、连衣裙,2011-01-0510:00:00,88.50,"
                               "很好、非常满意,谢谢,R1,很好、非常满意,谢谢\r\n"))
        << text;
}

TEST_P(RatingDataViewTest, TheStandardRatingsExportHasTheGridsColumnsOnly) {
    view->pageChange(RatingDataView::kRatingPage);
    ExportJob job = view->ratingExport(DateTime{2011, 5, 20});
    StringSink sink;
    writeStandardCsv(job, sink, nullptr);
    const GridTitles& grid = view->rateGrid();
    std::string titles;
    for (int c = 0; c < grid.columnCount(); ++c)
        titles += (c ? "," : "") + grid.column(c).title;
    EXPECT_EQ(titles, "评价,评价时间,价格,评价人,宝贝标题");
    // Newest first, as the grid lists them; no running number, no repeated comment.
    EXPECT_EQ(sink.bytes, "\xEF\xBB\xBF" + titles +
                              "\r\n"
                              "好评,2011-03-20 00:00:00,120.00,buyerA,Wool Scarf\r\n"
                              "差评,2011-03-15 20:00:00,5.00,o'brien,短袖T恤\r\n"
                              "中评,2011-02-10 08:00:00,25.00,Buyer_B,短袖T恤\r\n"
                              "好评,2011-01-05 10:00:00,88.50,buyerA,\"春装 新款,连衣裙\"\r\n"s);
}

TEST_P(RatingDataViewTest, TheShopExportWritesEveryFieldOfTheQuery) {
    ExportJob job = view->shopExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出2011-05-20掌柜数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    const std::string text = gbkToUtf8(sink.bytes);
    const std::string header = "序号,卖家,店铺名,卖家信用,信用级别,好评率,评价数,近一周评价数,近一月评价数,"
                               "近6月评价数,6月前评价数\r\n";
    ASSERT_TRUE(text.starts_with(header)) << text;
    // xh, the five counts, then dianbase's own fields from id on: zhuce is empty, the address loses its
    // blank.
    const std::string first = text.substr(header.size(), text.find("\r\n", header.size()) - header.size());
    EXPECT_TRUE(first.starts_with("1,4,8,25,110,920,1,张三,,浙江杭州,三号小店,http://shop1.taobao.com,"))
        << first;
    EXPECT_EQ(std::count(first.begin(), first.end(), ','), view->shops().fieldCount());
}

TEST_P(RankingDataViewTest, AMonthOfTheCurrentYearInTheChosenOrder) {
    // Pieces sold, most first; equal counts by update date.
    EXPECT_EQ(sellers({0, 3, 0, true}), (Texts{"卖家乙", "卖家丙", "卖家甲"}));
    EXPECT_EQ(sellers({0, 3, 0, false}), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
    // Turnover: 500×98.5 = 49250, 800×48 = 38400, 800×29 = 23200.
    EXPECT_EQ(sellers({0, 3, 1, true}), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
    EXPECT_EQ(sellers({0, 3, 2, false}), (Texts{"卖家丙", "卖家乙", "卖家甲"})); // price, lowest first
    EXPECT_EQ(sellers({0, 3, 3, true}), (Texts{"卖家乙", "卖家丙", "卖家甲"}));  // bookmarks
    EXPECT_EQ(sellers({0, 4, 0, true}), (Texts{"卖家丁"}));
    EXPECT_EQ(sellers({27, 3, 0, true}), (Texts{"女装卖家"})); // "女装、女士精品" is category 16
}

TEST_P(RankingDataViewTest, AMonthOrTheWholeYearOfTheChosenYearIsShown) {
    // "全年": March and April of this year together, in the chosen order; last year's March is not.
    EXPECT_EQ(sellers({0, 0, 0, true}), (Texts{"卖家乙", "卖家丙", "卖家甲", "卖家丁"}));
    EXPECT_EQ(sellers({0, 0, 0, false}), (Texts{"卖家丁", "卖家甲", "卖家乙", "卖家丙"}));
    Texts months;
    for (std::size_t row = 0; row < view->ranking().rowCount(); ++row)
        months.push_back(view->ranking().displayText(row, "updateDate").substr(0, 7));
    EXPECT_EQ(months, (Texts{"2011-04", "2011-03", "2011-03", "2011-03"}));
    // A past year by choice, a month of it or the whole of it.
    EXPECT_EQ(sellers({0, 3, 0, true, 2010}), (Texts{"去年卖家"}));
    EXPECT_EQ(sellers({0, 0, 0, true, 2010}), (Texts{"去年卖家"}));
    EXPECT_EQ(sellers({0, 4, 0, true, 2010}), (Texts{}));
    // Without a year the moment's year counts.
    view->query({0, 3, 0, true}, DateTime{2010, 1, 1});
    EXPECT_EQ(column(view->ranking(), "dianzhu"), (Texts{"去年卖家"}));
}

TEST_P(RankingDataViewTest, TheYearsAndTheNewestRankingAreThoseSaved) {
    EXPECT_EQ(view->savedYears(2011), (std::vector<int>{2011, 2010}));
    EXPECT_EQ(view->savedYears(2013), (std::vector<int>{2013, 2011, 2010}));
    // April of 2011 in category 99, the first entry of the browse table with that id.
    auto newest = view->newestSaved();
    ASSERT_TRUE(newest);
    EXPECT_EQ(market::categoryBrowseCategories().at(size_t(newest->category)).id, "99");
    EXPECT_EQ(std::tie(newest->month, newest->year), std::tuple(4, 2011));
    dm->cn1().exec(
        "INSERT INTO itemTop (typeId, dianzhu, updateDate) VALUES ('16', 'x', '2011-05-02 00:00:00')");
    newest = view->newestSaved();
    ASSERT_TRUE(newest);
    EXPECT_EQ(market::categoryBrowseCategories().at(size_t(newest->category)).id, "16");
    EXPECT_EQ(newest->month, 5);
    dm->cn1().exec("DELETE FROM itemTop");
    EXPECT_FALSE(view->newestSaved());
    EXPECT_EQ(view->savedYears(2011), (std::vector<int>{2011}));
}

TEST_P(RankingDataViewTest, TheGridAndItsExportShowTheRowNumberAndTheSalesAmount) {
    view->query({0, 3, 0, true}, kNow);
    EXPECT_EQ(cells(view->ranking(), view->grid(), 0),
              (Texts{"1", "2011-03-12 09:30:00", "卖家乙", "点卡, 50元", "48", "5", "800", "38400.00", "30",
                     "广东", "http://item.taobao.com/top/点卡, 50元", "新上榜"}));
    EXPECT_EQ(view->itemLink(), "http://item.taobao.com/top/点卡, 50元");
    ExportJob job = view->exportJob();
    EXPECT_EQ(job.fileName, "商品排行数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    EXPECT_EQ(
        gbkToUtf8(sink.bytes),
        "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接\r\n"
        "1,2011-03-1209:30:00,卖家乙,点卡、50元,48.00,5.00,800,38400.00,30,广东,http://item.taobao.com/top/"
        "点卡、50元,\r\n"
        "2,2011-03-1510:00:00,卖家丙,点卡30元,29.00,0.00,800,23200.00,20,上海,http://item.taobao.com/top/"
        "点卡30元,\r\n"
        "3,2011-03-1008:00:00,卖家甲,点卡100元,98.50,0.00,500,49250.00,10,浙江,http://item.taobao.com/top/"
        "点卡100元,\r\n");
}

TEST_P(RankingDataViewTest, TheMovementComparesEachItemsPlaceWithThePreviousMonthsSnapshot) {
    // February, saved best first: 丙, 乙, 甲; March saved 甲, 乙, 丙. April's 丁 was not in March.
    // Last December and this January hold the same item at the same place: the year turns over.
    dm->cn1().exec("INSERT INTO itemTop (typeId, dianzhu, itemUrl, monthSale, amount, updateDate) VALUES "
                   "('99', '丙', 'http://item.taobao.com/top/点卡 30元', 9, 1, '2011-02-03 00:00:00'),"
                   "('99', '乙', 'http://item.taobao.com/top/点卡, 50元', 8, 1, '2011-02-03 00:00:00'),"
                   "('99', '甲', 'http://item.taobao.com/top/点卡 100元', 7, 1, '2011-02-03 00:00:00'),"
                   "('99', '旧', 'http://item.taobao.com/top/x', 7, 1, '2010-12-31 23:59:59'),"
                   "('99', '新', 'http://item.taobao.com/top/x', 7, 1, '2011-01-01 00:00:00')");
    auto movement = [this](int month) {
        view->query({0, month, 0, true}, kNow);
        Texts texts;
        for (std::size_t row = 0; row < view->ranking().rowCount(); ++row)
            texts.push_back(view->ranking().displayText(row, "dianzhu") + " " +
                            view->grid().cellText(view->ranking(), row, 11));
        return texts;
    };
    EXPECT_EQ(movement(3), (Texts{"卖家乙 –", "卖家丙 ↓2", "卖家甲 ↑2"}));
    EXPECT_EQ(movement(4), (Texts{"卖家丁 新上榜"}));
    EXPECT_EQ(movement(1), (Texts{"新 –"}));
    // The whole year compares each row with the month before its own.
    Texts year = movement(0);
    std::sort(year.begin(), year.end());
    Texts expected = {"卖家乙 –", "卖家丙 ↓2", "卖家甲 ↑2", "卖家丁 新上榜",
                      "新 –",     "丙 新上榜", "乙 新上榜", "甲 新上榜"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(year, expected);
    // A click on its title sorts by it, most risen first.
    view->query({0, 3, 0, true}, kNow);
    ASSERT_TRUE(view->grid().titleClick(11, view->ranking()));
    EXPECT_EQ(column(view->ranking(), "dianzhu"), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
}

TEST_P(RankingDataViewTest, DeletingRemovesOnlyTheShownRanking) {
    view->query({0, 3, 0, true}, kNow);
    DeleteResult result = view->deleteRanking({0, 3, 0, true}, kNow);
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(view->ranking().rowCount(), 0u);
    EXPECT_EQ(count("select count(*) from itemTop"), 3); // April, last year's March, category 16
    EXPECT_EQ(sellers({0, 4, 0, true}), (Texts{"卖家丁"}));
    // The whole of last year: its March goes, this year's April stays.
    EXPECT_EQ(RankingDataView::deleteQuestion({0, 0}), std::string("是否真的要删除此类目全年的排行数据?"));
    result = view->deleteRanking({0, 0, 0, true, 2010}, kNow);
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(count("select count(*) from itemTop"), 2);
    EXPECT_EQ(sellers({0, 0, 0, true}), (Texts{"卖家丁"}));
}
