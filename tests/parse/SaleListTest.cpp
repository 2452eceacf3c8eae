#include "ParseError.h"
#include "parse/SaleListParser.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;

TEST(SaleList, EveryFieldOfEverySale) {
    std::vector<fixtures::SaleRow> rows = fixtures::sampleRows(fixtures::sampleSaleRow, 3);
    rows[1].buyerUrl = "";
    rows[1].buyerName = "t**1（匿名）";
    rows[1].badge = false;
    rows[2].itemTitle = "羊毛&amp;围巾 關門";
    const auto list = parseSaleList(fixtures::salePage(rows));
    ASSERT_EQ(list.size(), 3u);

    const auto fields = [](const TAutionInfo& s) {
        return std::tie(s.buyerName, s.buyerId, s.buyerLink, s.buyerBadge, s.itemTitle, s.tradeId, s.sj,
                        s.status, s.amount, s.buyNum);
    };
    EXPECT_EQ(list.text(0), "0");
    EXPECT_EQ(fields(list.record(0)),
              std::tuple("买家1", "p1",
                         "<a href=\"http://rate.taobao.com/user-rate-p1.htm\" target=\"_blank\">",
                         "<img src=\"vip.gif\" title=\"vip\">", "羊毛围巾", "987650001",
                         "2010-01-28 10:11:12", "成交", 45.5, 1.0));
    EXPECT_EQ(
        list.record(0).itemLink,
        "href=\"http://trade.taobao.com/trade/detail/tradesnap.htm?trade_id=987650001\" target=\"_blank\"");
    EXPECT_EQ(fields(list.record(1)), std::tuple("t**1（匿名）", "", "", "", "羊毛围巾", "987650002",
                                                 "2010-01-27 10:11:12", "成交", 45.5, 2.0));

    EXPECT_EQ(list.record(2).itemTitle, "羊毛&围巾 關門");
    EXPECT_EQ(list.text(2), "2");
}

TEST(SaleList, AQuantityThatIsNoNumberRaisesAndNoSalesIsAnEmptyList) {
    std::vector<fixtures::SaleRow> rows{fixtures::sampleSaleRow(0)};
    rows[0].quantity = "若干";
    EXPECT_EQ(test::parseError([&] { parseSaleList(fixtures::salePage(rows)); }), "“若干”不是有效的数字！");
    EXPECT_TRUE(parseSaleList(fixtures::salePage({})).empty());
}
