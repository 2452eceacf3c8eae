#include "ParseError.h"
#include "parse/TParseException.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;
using fixtures::gbk;

TEST(ItemPage, EveryFieldFromItsExpression) {
    fixtures::ItemPage fields;
    fields.title = "2010春装  新款 關門韓版";
    const TItemBaseInfo item = TParseHtml::parseItemPage(fixtures::itemPage(fields));
    EXPECT_EQ(item.itemId, "3958234761");
    EXPECT_EQ(item.itemTitle, "2010春装新款 關門韓版");
    EXPECT_EQ(item.curSale, 12);
    EXPECT_EQ(item.monthSale, 34);
    EXPECT_EQ(item.favorite, 567);
    EXPECT_EQ(item.addr, "浙江 杭州");
    EXPECT_DOUBLE_EQ(item.curPrice, 88.0);
    // Left to the caller and the save.
    EXPECT_EQ(item.itemAutionUrl, "");
    EXPECT_EQ(item.updateDate, "");
    EXPECT_EQ(item.saleFromDate, "");
}

TEST(ItemPage, APriceRangeYieldsItsFirstNumber) {
    fixtures::ItemPage fields;
    fields.priceBlock = "88.50 - 120.00";
    EXPECT_DOUBLE_EQ(TParseHtml::parseItemPage(fixtures::itemPage(fields)).curPrice, 88.5);
    fields.priceBlock = "99";
    EXPECT_DOUBLE_EQ(TParseHtml::parseItemPage(fixtures::itemPage(fields)).curPrice, 99.0);
}

TEST(ItemPage, AHiddenFigureStaysZeroWhileTheOthersAreFilled) {
    fixtures::ItemPage fields;
    fields.monthSale = "";
    const TItemBaseInfo item = TParseHtml::parseItemPage(fixtures::itemPage(fields));
    EXPECT_EQ(item.monthSale, 0);
    EXPECT_EQ(item.curSale, 12);
    EXPECT_EQ(item.favorite, 567);
    EXPECT_EQ(item.itemId, "3958234761");
}

TEST(ItemPage, AMissingIdOrTitleTakesItsDefault) {
    fixtures::ItemPage fields;
    fields.itemId = ""; // "itemIdStr":"" does not match `[^"]+`
    fields.title = "";
    fields.curSale = fields.favorite = fields.addr = fields.priceBlock = "";
    const TItemBaseInfo item = TParseHtml::parseItemPage(fixtures::itemPage(fields));
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
    EXPECT_EQ(test::parseError([&] { TParseHtml::parseItemPage(fixtures::itemPage(fields)); }),
              "“99999999999”不是有效的整数！");
}

TEST(BuyerListUrl, ReadsTheButtonsParametersAndAsksForEightyAtATime) {
    fixtures::ItemPage fields;
    fields.buyerButton = fixtures::defaultBuyerButton();
    EXPECT_EQ(TParseHtml::buyerListUrl(fixtures::itemPage(fields)),
              "http://detail.taobao.com/json/show_buyer_list.htm?a=1&is_start=true&item_type=b"
              "&ends=1265990400000&starts=1263398400000&item_id=3958234761&sold_total_num=97&1=1"
              "&page_size=80&&bid_page=");
}

TEST(BuyerListUrl, NoButtonIsNoListAndAButtonWithoutParametersRaises) {
    fixtures::ItemPage fields;
    EXPECT_EQ(TParseHtml::buyerListUrl(fixtures::itemPage(fields)), "");
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
