#include "ViewsTest.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

using GridSortTest = test::SalesViewTest;
using FilterTest = test::SalesViewTest;

// The titles carrying a sort mark or a bold face ("*").
Texts marked(const GridTitles& grid) {
    Texts texts;
    for (int c = 0; c < grid.columnCount(); ++c)
        if (grid.bold(c) || grid.caption(c).starts_with("▼") || grid.caption(c).starts_with("▲"))
            texts.push_back(grid.caption(c) + (grid.bold(c) ? "*" : ""));
    return texts;
}

} // namespace

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
