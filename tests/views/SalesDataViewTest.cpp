#include "ViewsTest.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

using SalesDataViewTest = test::SalesViewTest;
using DeleteTest = test::ViewsTest;

namespace {

// The summary labels in the order the page shows them.
Texts labels(const ItemSummary& s) {
    return {s.buyCount, s.saleCount, s.avgSaleCount, s.totalAmount, s.avgAmount, s.buyerNums, s.everySaleNum};
}

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
