#include "ParseError.h"
#include "parse/SaleListParser.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;

namespace {
TItemBaseInfo parse(const fixtures::ItemPage& fields) {
    return TParseHtml::parseItemPage(fixtures::itemPage(fields));
}
// The fields read from the page but the price, in one comparable value.
auto fields(const TItemBaseInfo& i) {
    return std::tie(i.itemId, i.itemTitle, i.curSale, i.monthSale, i.favorite, i.addr);
}
} // namespace

TEST(ItemPage, EveryFieldFromItsExpression) {
    fixtures::ItemPage page;
    page.title = "2010春装  新款 關門韓版";
    const TItemBaseInfo item = parse(page);
    EXPECT_EQ(fields(item), std::tuple("3958234761", "2010春装新款 關門韓版", 12, 34, 567, "浙江 杭州"));
    EXPECT_DOUBLE_EQ(item.curPrice, 88.0);
    // A price range yields its first number.
    page.priceBlock = "88.50 - 120.00";
    EXPECT_DOUBLE_EQ(parse(page).curPrice, 88.5);
    page.priceBlock = "99";
    EXPECT_DOUBLE_EQ(parse(page).curPrice, 99.0);
}

TEST(ItemPage, MissingFiguresAndTextsTakeTheirDefaultsEachOnItsOwn) {
    fixtures::ItemPage page;
    page.monthSale = ""; // hidden: the figures around it are still read
    EXPECT_EQ(fields(parse(page)),
              std::tuple("3958234761", "2010春装新款 韩版修身连衣裙", 12, 0, 567, "浙江 杭州"));

    page.itemId = ""; // "itemIdStr":"" does not match `[^"]+`
    page.title = page.curSale = page.favorite = page.addr = page.priceBlock = "";
    const TItemBaseInfo item = parse(page);
    EXPECT_EQ(fields(item), std::tuple("000000000000000", "xxxxxxxxxxxxxxxxxxx", 0, 0, 0, ""));
    EXPECT_DOUBLE_EQ(item.curPrice, 0.0);
}

TEST(ItemPage, AFigureTooLargeForAnIntegerRaises) {
    fixtures::ItemPage fields;
    fields.curSale = "99999999999";
    EXPECT_EQ(test::parseError([&] { parse(fields); }), "“99999999999”不是有效的整数！");
}

TEST(BuyerListUrl, ReadsTheButtonsParametersOrNothingAndRaisesWithoutThem) {
    fixtures::ItemPage fields;
    EXPECT_EQ(TParseHtml::buyerListUrl(fixtures::itemPage(fields)), "");
    fields.buyerButton = fixtures::defaultBuyerButton();
    // Eighty at a time, the page number appended by the caller.
    EXPECT_EQ(TParseHtml::buyerListUrl(fixtures::itemPage(fields)),
              "http://detail.taobao.com/json/show_buyer_list.htm?a=1&is_start=true&item_type=b"
              "&ends=1265990400000&starts=1263398400000&item_id=3958234761&sold_total_num=97&1=1"
              "&page_size=80&&bid_page=");
    fields.buyerButton =
        "<BUTTON id=\"J_listBuyerOnView\" type=\"button\" class=\"btn-view\">查看成交记录</BUTTON>";
    EXPECT_EQ(test::parseError([&] { TParseHtml::buyerListUrl(fixtures::itemPage(fields)); }),
              "商品交易链接解析出错！");
}

TEST(SoldTotal, ReadFromTheRawPage) {
    fixtures::ItemPage fields;
    fields.buyerButton = fixtures::defaultBuyerButton("1234");
    EXPECT_EQ(TParseHtml::parseSoldTotal(fixtures::itemPage(fields)), 1234);
    EXPECT_EQ(TParseHtml::parseSoldTotal(fixtures::itemPage(fixtures::ItemPage{})), 0);
    // No clean-up, so no lower-casing either.
    EXPECT_EQ(TParseHtml::parseSoldTotal("SOLD_TOTAL_NUM=5"), 0);
    EXPECT_EQ(TParseHtml::parseSoldTotal("x sold_total_num=5&y"), 5);
}

TEST(ShopEntry, TheLinkIntoTheShopOrNothing) {
    fixtures::ItemPage fields;
    fields.shopEntry = "http://Shop35792146.taobao.com/?From=Item";
    EXPECT_EQ(TParseHtml::parseShopEntry(fixtures::itemPage(fields)),
              "http://shop35792146.taobao.com/?from=item");
    fields.shopEntry = "";
    EXPECT_EQ(TParseHtml::parseShopEntry(fixtures::itemPage(fields)), "");
}

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
