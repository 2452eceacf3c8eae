#include "ViewsTest.h"
#include "views/RatingDataView.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

using DeleteTest = test::ViewsTest;

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

TEST_F(DeleteTest, TheRatingViewDeletesTheShopWithItsRatings) {
    RatingDataView view(*dm, QueryReader::Mode::Now);
    view.formCreate();
    view.shops().setSort("id");
    ASSERT_EQ(view.shops().currentText("dianzhu"), "张三");
    DeleteResult result = view.deleteShop();
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(count("select count(*) from pjinfo"), 1);
    EXPECT_EQ(count("select count(*) from dianbase where id=1"), 0);
    EXPECT_EQ(view.shops().rowCount(), 1u);
}
