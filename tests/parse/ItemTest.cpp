#include "ParseError.h"
#include "parse/Expressions.h"
#include "parse/ItemSearchParser.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/THTMLTools.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;
using namespace vantor::parse;
using fixtures::gbk;

namespace {
TItemBaseInfo parsed(const fixtures::ItemPage& fields) {
    return TParseHtml::parseItemPage(fixtures::itemPage(fields));
}
// The fields read from the page but the price, in one comparable value.
auto fields(const TItemBaseInfo& i) {
    return std::tie(i.itemId, i.itemTitle, i.curSale, i.monthSale, i.favorite, i.addr);
}

// The fields an item list fills, in one comparable value.
auto fields(const TItemInfo& r) {
    return std::tie(r.itemUrl, r.itemTitle, r.place, r.price, r.shipping, r.dianzhu, r.cell22, r.cell23);
}

} // namespace

TEST(ItemPage, EveryFieldFromItsExpression) {
    fixtures::ItemPage page;
    page.title = "2010春装  新款 關門韓版";
    const TItemBaseInfo item = parsed(page);
    EXPECT_EQ(fields(item), std::tuple("3958234761", "2010春装新款 關門韓版", 12, 34, 567, "浙江 杭州"));
    EXPECT_DOUBLE_EQ(item.curPrice, 88.0);
    // A price range yields its first number.
    page.priceBlock = "88.50 - 120.00";
    EXPECT_DOUBLE_EQ(parsed(page).curPrice, 88.5);
    page.priceBlock = "99";
    EXPECT_DOUBLE_EQ(parsed(page).curPrice, 99.0);
}

TEST(ItemPage, MissingFiguresAndTextsTakeTheirDefaultsEachOnItsOwn) {
    fixtures::ItemPage page;
    page.monthSale = ""; // hidden: the figures around it are still read
    EXPECT_EQ(fields(parsed(page)),
              std::tuple("3958234761", "2010春装新款 韩版修身连衣裙", 12, 0, 567, "浙江 杭州"));

    page.itemId = ""; // "itemIdStr":"" does not match `[^"]+`
    page.title = page.curSale = page.favorite = page.addr = page.priceBlock = "";
    const TItemBaseInfo item = parsed(page);
    EXPECT_EQ(fields(item), std::tuple("000000000000000", "xxxxxxxxxxxxxxxxxxx", 0, 0, 0, ""));
    EXPECT_DOUBLE_EQ(item.curPrice, 0.0);
}

TEST(ItemPage, AFigureTooLargeForAnIntegerRaises) {
    fixtures::ItemPage fields;
    fields.curSale = "99999999999";
    EXPECT_EQ(test::parseError([&] { parsed(fields); }), "“99999999999”不是有效的整数！");
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

TEST(FullRowItemList, MapsTheTwentyThreeGroups) {
    std::vector<fixtures::FullRow> rows = fixtures::sampleRows(fixtures::sampleFullRow, 3);
    // A self-closed break is not removed on this page kind: that row no longer fits, and costs no other.
    rows[1].cells[0] = "a<BR/>b";
    rows[2].cells[4] = "江苏<BR>苏州"; // group 7; this page kind breaks lines with <br>
    rows[2].cells[13] = "";            // group 16, the price
    rows[2].cells[14] = "";            // group 17, the shipping
    rows[2].title = "關門<SPAN class=\"H\">钱包</SPAN>&amp;皮夹";
    const auto list =
        THTMLTools::parseItemList(fixtures::fullRowListPage(rows), fixtures::fullRowExpression());

    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list.text(0), "0");
    EXPECT_EQ(fields(list.record(0)), std::tuple("http://item.taobao.com/item.htm?id=60001", "真皮钱包男款",
                                                 "c7", "c16", "c17", "c20", "c22", "c23"));
    EXPECT_EQ(list.text(1), "1");
    EXPECT_EQ(fields(list.record(1)), std::tuple("http://item.taobao.com/item.htm?id=60003", "關門钱包&皮夹",
                                                 "江苏苏州", "0", "0", "c20", "c22", "c23"));
}

TEST(ItemSearch, RowsSoldCountsAndTheTotal) {
    std::vector<fixtures::ItemSearchRow> rows = fixtures::sampleRows(fixtures::sampleItemSearchRow, 3);
    rows[1].place = "上海";
    rows[1].seller = "Tea&amp;Cup關";
    const std::string page = fixtures::itemSearchPage(rows, "1234");
    const auto list = parseItemSearchList(page);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list.text(2), "2");
    // The highlight span is gone from the title, the word stays; cell 22 is the sold count.
    EXPECT_EQ(fields(list.record(0)),
              std::tuple("http://item.taobao.com/item.htm?id=400001", "韩版连衣裙春装新款1", "浙江 杭州",
                         "80.00", "10.00", "seller1", "500", ""));
    EXPECT_EQ(fields(list.record(1)),
              std::tuple("http://item.taobao.com/item.htm?id=400002", "韩版连衣裙春装新款2", "上海", "81.00",
                         "10.00", "tea&cup關", "499", ""));
    EXPECT_EQ(parseItemSearchTotal(page), 1234);
    EXPECT_EQ(parseItemSearchTotal("<DIV class=\"x\">没有找到相关宝贝</DIV>"), 0);

    // The short list reads the same groups of the same row expression, without the sold count.
    const auto same = TParseHtml::parseItemListShort(page, expression(Expression::ItemSearchRow));
    ASSERT_EQ(same.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        TItemInfo want = list.record(i);
        want.cell22 = "";
        EXPECT_EQ(same.record(i), want);
    }
}

TEST(ShortRowItemList, TheRowExpressionIsLowerCasedForTheLowerCasedPage) {
    const std::string page = gbk("<UL>\n  <LI class=\"X\"><A href=\"U\">Title</A>\n</UL>");
    const auto list = TParseHtml::parseItemListShort(
        page, "<LI\\sCLASS=\"X\"><A\\sHREF=\"([^\"]+)\">([^<]+)</A>()()()()()()()()()()()()()");
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(fields(list.record(0)), std::tuple("u", "title", "", "0", "0", "", "", ""));
}

TEST(ShopItemList, RowsCarryTheHiddenIdsAndNoShipping) {
    std::vector<fixtures::ShopItemRow> rows = fixtures::sampleRows(fixtures::sampleShopItemRow, 2);
    rows[0].title = "纯棉<SPAN class=\"h\">T恤</SPAN>  男款";
    const auto list = parseShopItemList(fixtures::shopItemListPage(rows));
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(fields(list.record(0)), std::tuple("http://item.taobao.com/item.htm?id=50001", "纯棉t恤男款",
                                                 "广东 广州", "30.50", "0", "cottonshop", "50001", "778899"));
    // The second row carries the video markup.
    EXPECT_EQ(fields(list.record(1)), std::tuple("http://item.taobao.com/item.htm?id=50002", "纯棉t恤 2",
                                                 "广东 广州", "31.50", "0", "cottonshop", "50002", "778899"));
}

TEST(ShopItemList, PagingFactsOrDefaults) {
    const ItemListPaging paging = parseItemListPaging(fixtures::shopItemListPage({}, "1/7", "321"));
    EXPECT_EQ(paging.pageCount, 7);
    EXPECT_EQ(paging.total, 321);
    EXPECT_EQ(paging.formAction, "http://list.taobao.com/browse/search.htm");
    // The page count reads a one-digit current page only, as the marketplace showed it.
    EXPECT_EQ(parseItemListPaging(fixtures::shopItemListPage({}, "10/12", "321")).pageCount, 0);
    const ItemListPaging none = parseItemListPaging(gbk("<P>空</P>"));
    EXPECT_EQ(std::tie(none.pageCount, none.total, none.formAction), std::tuple(0, 0, ""));
}

TEST(BracketCount, ReadsTheCountBeforeTheClosingDiv) {
    EXPECT_EQ(TParseHtml::parseBracketCount(fixtures::shopSearchPage({}, "1234")), 1234);
    EXPECT_EQ(TParseHtml::parseBracketCount("<DIV>找到( <BR/>56  )</DIV>"), 56);
    EXPECT_EQ(TParseHtml::parseBracketCount("<DIV>找到</DIV>"), 0);
    // No entity decoding on this page: an encoded blank is not a blank.
    EXPECT_EQ(TParseHtml::parseBracketCount("<DIV>(&nbsp;12&nbsp;)</DIV>"), 0);
}
