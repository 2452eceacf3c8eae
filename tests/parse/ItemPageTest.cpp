#include "ParseError.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {
TItemBaseInfo parse(const fixtures::ItemPage& fields) {
    return TParseHtml::parseItemPage(fixtures::itemPage(fields));
}
} // namespace

TEST(ItemPage, EveryFieldFromItsExpression) {
    fixtures::ItemPage fields;
    fields.title = "2010春装  新款 關門韓版";
    const TItemBaseInfo item = parse(fields);
    EXPECT_EQ(item.itemId, "3958234761");
    EXPECT_EQ(item.itemTitle, "2010春装新款 關門韓版");
    EXPECT_EQ(item.curSale, 12);
    EXPECT_EQ(item.monthSale, 34);
    EXPECT_EQ(item.favorite, 567);
    EXPECT_EQ(item.addr, "浙江 杭州");
    EXPECT_DOUBLE_EQ(item.curPrice, 88.0);
    // A price range yields its first number.
    fields.priceBlock = "88.50 - 120.00";
    EXPECT_DOUBLE_EQ(parse(fields).curPrice, 88.5);
    fields.priceBlock = "99";
    EXPECT_DOUBLE_EQ(parse(fields).curPrice, 99.0);
}

TEST(ItemPage, MissingFiguresAndTextsTakeTheirDefaultsEachOnItsOwn) {
    fixtures::ItemPage fields;
    fields.monthSale = ""; // hidden: the figures around it are still read
    TItemBaseInfo item = parse(fields);
    EXPECT_EQ(item.monthSale, 0);
    EXPECT_EQ(item.curSale, 12);
    EXPECT_EQ(item.favorite, 567);

    fields.itemId = ""; // "itemIdStr":"" does not match `[^"]+`
    fields.title = "";
    fields.curSale = fields.favorite = fields.addr = fields.priceBlock = "";
    item = parse(fields);
    EXPECT_EQ(item.itemId, "000000000000000");
    EXPECT_EQ(item.itemTitle, "xxxxxxxxxxxxxxxxxxx");
    EXPECT_EQ(item.curSale, 0);
    EXPECT_EQ(item.favorite, 0);
    EXPECT_EQ(item.addr, "");
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
