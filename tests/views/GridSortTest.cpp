#include "ViewsTest.h"
#include "views/SalesDataView.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

class GridSortTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<SalesDataView>(*dm, QueryReader::Mode::Now);
        view->formCreate();
    }

    static Texts captions(const GridTitles& grid) {
        Texts texts;
        for (int c = 0; c < grid.columnCount(); ++c)
            texts.push_back(grid.caption(c));
        return texts;
    }

    static int boldColumns(const GridTitles& grid) {
        int bold = 0;
        for (int c = 0; c < grid.columnCount(); ++c)
            bold += grid.bold(c);
        return bold;
    }

    std::unique_ptr<SalesDataView> view;
};

} // namespace

TEST_F(GridSortTest, TheFirstClickSortsDescendingAndFurtherClicksAlternate) {
    GridTitles& grid = view->shopGrid();
    Dataset& shops = view->shops();
    ASSERT_EQ(column(shops, "dianzhu"), (Texts{"张三", "O'Neil"}));

    ASSERT_TRUE(grid.titleClick(1, shops)); // 店铺
    EXPECT_EQ(grid.caption(1), "▼店铺");
    EXPECT_TRUE(grid.bold(1));
    EXPECT_EQ(shops.sort(), "dianming DESC ");
    EXPECT_EQ(column(shops, "dianming"), (Texts{"奥尼尔,精品", "三号小店"})); // U+5965 after U+4E09

    ASSERT_TRUE(grid.titleClick(3, shops)); // 信用: the first column loses its mark and bold face
    EXPECT_EQ(grid.caption(1), "店铺");
    EXPECT_FALSE(grid.bold(1));
    EXPECT_EQ(grid.caption(3), "▼信用");
    EXPECT_EQ(boldColumns(grid), 1);
    EXPECT_EQ(shops.sort(), "salerCredit DESC ");
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"1500", "300"}));

    ASSERT_TRUE(grid.titleClick(3, shops));
    EXPECT_EQ(grid.caption(3), "▲信用");
    EXPECT_EQ(shops.sort(), "salerCredit");
    EXPECT_EQ(column(shops, "salerCredit"), (Texts{"300", "1500"}));
    // The row number counts the sorted rows.
    EXPECT_EQ(column(shops, "xh"), (Texts{"1", "2"}));
    EXPECT_EQ(shops.current(), 0);

    ASSERT_TRUE(grid.titleClick(3, shops));
    EXPECT_EQ(grid.caption(3), "▼信用");
    EXPECT_EQ(shops.sort(), "salerCredit DESC ");
    EXPECT_EQ(captions(grid), (Texts{"序号", "店铺", "掌柜", "▼信用", "信用级别", "卖家好评率", "创建日期",
                                     "更新日期", "网址"}));
}

TEST_F(GridSortTest, ClickingTheRowNumberOfAGridThatExcludesItChangesNothing) {
    GridTitles& grid = view->shopGrid();
    Dataset& shops = view->shops();
    EXPECT_FALSE(grid.titleClick(0, shops));
    EXPECT_EQ(shops.sort(), "");
    EXPECT_EQ(boldColumns(grid), 0);
    EXPECT_EQ(grid.caption(0), "序号");

    grid.titleClick(2, shops);
    const Texts marked = captions(grid);
    EXPECT_FALSE(grid.titleClick(0, shops));
    EXPECT_EQ(captions(grid), marked); // not even the marks of other columns
    EXPECT_TRUE(grid.bold(2));
    EXPECT_EQ(shops.sort(), "dianzhu DESC ");
}

TEST_F(GridSortTest, TheRowNumberCannotBeSortedWhereAGridLetsItsTitleBeClicked) {
    GridTitles grid({{"xh", "序号"}, {"dianzhu", "掌柜"}}, false);
    Dataset& shops = view->shops();
    EXPECT_THROW(grid.titleClick(0, shops), std::invalid_argument);
    EXPECT_EQ(shops.sort(), "");
    EXPECT_EQ(grid.caption(0), "序号");
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
    EXPECT_EQ(items.sort(), "");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002", "1001", "1003"}));
    // The title keeps its mark; the next click reads the empty sort text and sorts descending.
    EXPECT_EQ(view->itemGrid().caption(2), "▼价格");
    view->itemGrid().titleClick(2, items);
    EXPECT_EQ(items.sort(), "curPrice DESC ");

    view->filterItems("T恤");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    view->itemGrid().titleClick(2, items);
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    EXPECT_EQ(items.sort(), "curPrice");
    items.open();
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
}
