#include "ParseError.h"
#include "parse/SaleListParser.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(SaleList, EveryFieldOfEverySale) {
    std::vector<fixtures::SaleRow> rows = fixtures::sampleRows(fixtures::sampleSaleRow, 3);
    rows[1].buyerUrl = "";
    rows[1].buyerName = "t**1（匿名）";
    rows[1].badge = false;
    rows[2].itemTitle = "羊毛&amp;围巾 關門";
    const auto list = parseSaleList(fixtures::salePage(rows));
    ASSERT_EQ(list.size(), 3u);

    const TAutionInfo& first = list.record(0);
    EXPECT_EQ(list.text(0), "0");
    EXPECT_EQ(first.buyerName, "买家1");
    EXPECT_EQ(first.buyerId, "p1");
    EXPECT_EQ(first.buyerLink, "<a href=\"http://rate.taobao.com/user-rate-p1.htm\" target=\"_blank\">");
    EXPECT_EQ(first.buyerBadge, "<img src=\"vip.gif\" title=\"vip\">");
    EXPECT_EQ(first.itemTitle, "羊毛围巾");
    EXPECT_EQ(
        first.itemLink,
        "href=\"http://trade.taobao.com/trade/detail/tradesnap.htm?trade_id=987650001\" target=\"_blank\"");
    EXPECT_EQ(first.tradeId, "987650001");
    EXPECT_DOUBLE_EQ(first.amount, 45.5);
    EXPECT_DOUBLE_EQ(first.buyNum, 1.0);
    EXPECT_EQ(first.sj, "2010-01-28 10:11:12");
    EXPECT_EQ(first.status, "成交");

    const TAutionInfo& anonymous = list.record(1);
    EXPECT_EQ(anonymous.buyerName, "t**1（匿名）");
    EXPECT_EQ(anonymous.buyerId, "");
    EXPECT_EQ(anonymous.buyerLink, "");
    EXPECT_EQ(anonymous.buyerBadge, "");
    EXPECT_DOUBLE_EQ(anonymous.buyNum, 2.0);
    EXPECT_EQ(anonymous.tradeId, "987650002");

    EXPECT_EQ(list.record(2).itemTitle, "羊毛&围巾 關門");
    EXPECT_EQ(list.text(2), "2");
}

TEST(SaleList, AQuantityThatIsNoNumberRaisesAndNoSalesIsAnEmptyList) {
    std::vector<fixtures::SaleRow> rows{fixtures::sampleSaleRow(0)};
    rows[0].quantity = "若干";
    EXPECT_EQ(test::parseError([&] { parseSaleList(fixtures::salePage(rows)); }), "“若干”不是有效的数字！");
    EXPECT_TRUE(parseSaleList(fixtures::salePage({})).empty());
}
