#include "ViewsTest.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

using FilterTest = test::SalesViewTest;

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
