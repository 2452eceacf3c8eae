#include "ViewsTest.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

using FilterTest = test::SalesViewTest;

TEST_F(FilterTest, AnEmptyBoxLeavesTheFilterSetBeforeInForceOrShowsEveryRowOnAFreshView) {
    view->filterShops("");
    EXPECT_EQ(view->shops().rowCount(), 2u);
    Dataset& items = view->items();
    view->filterItems("T恤");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    view->filterItems("");
    EXPECT_EQ(column(items, "itemId"), (Texts{"1002"}));
    EXPECT_EQ(column(items, "xh"), (Texts{"1"}));
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

TEST_F(FilterTest, TheItemFilterStaysWhenAnotherShopsItemsAreRead) {
    view->filterItems("Scarf");
    EXPECT_EQ(view->items().rowCount(), 0u); // 张三 sells no scarf
    view->shops().setCurrent(1);             // O'Neil
    EXPECT_EQ(column(view->items(), "itemId"), (Texts{"2001"}));
    view->shops().setCurrent(0);
    EXPECT_EQ(view->items().rowCount(), 0u);
}

TEST(RowFilter, ComparesNumbersAsNumbersAndDatesAsTyped) {
    RowStore store({"jg", "pjsj"});
    auto block = std::make_unique<RowBlock>(2);
    block->addReal(9.5);
    block->addText("2011-03-15 20:00:00");
    block->addInteger(100);
    block->addText("2011-02-28 23:59:59");
    block->addNull();
    block->addNull();
    store.append(std::move(block));

    auto matches = [&](FilterCondition condition) {
        RowFilter filter;
        filter.add(std::move(condition));
        auto bound = filter.bind(store);
        Texts rows;
        for (std::size_t row = 0; row < store.rowCount(); ++row)
            if (bound.matches(store, row)) rows.push_back(std::to_string(row));
        return rows;
    };
    using Op = FilterCondition::Op;
    EXPECT_EQ(matches({"jg", Op::AtLeast, "10", "jg>=10"}), (Texts{"1"})); // 9.5 < 10 although "9.5" > "10"
    EXPECT_EQ(matches({"jg", Op::AtMost, "100", "jg<=100"}), (Texts{"0", "1"}));
    EXPECT_EQ(matches({"PJSJ", Op::AtLeast, "2011-03-01", ""}), (Texts{"0"}));
    // A date bound is the day's midnight: the same day later on is past it.
    EXPECT_EQ(matches({"pjsj", Op::AtMost, "2011-03-15", ""}), (Texts{"1"}));
    EXPECT_EQ(matches({"pjsj", Op::AtLeast, "2011-03-  ", ""}), (Texts{"0"}));
    RowFilter unknown;
    unknown.add({"price", Op::Equal, "1", "price=1"});
    EXPECT_THROW(unknown.bind(store), std::invalid_argument);
}
