// The program's own parsers over every page kind the demo market serves, through the market as a
// proxy, and the records they give checked against the market's data.
#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Gbk.h"
#include "demo-market/Markup.h"
#include "demo-market/Pages.h"
#include "market/CategoryTable.h"
#include "parse/Expressions.h"
#include "parse/ItemSearchParser.h"
#include "parse/RateSummaryParser.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/THTMLTools.h"
#include "parse/TParseHtml.h"

#include <gtest/gtest.h>

namespace vantor::demo {
namespace {

using test::percentEncode;

class PageCrossCheckTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { market = new DemoMarket(); }
    static void TearDownTestSuite() { delete market; }

    static std::string get(const std::string& url) {
        const auto got = test::viaProxy(market->port(), url);
        EXPECT_EQ(got.curlCode, 0) << url;
        EXPECT_EQ(got.status, 200) << url;
        EXPECT_NE(got.headers.find("charset=GBK"), std::string::npos) << url;
        return got.body;
    }

    static const MarketModel& model() { return market->model(); }
    static const Shop& shop(int index) { return model().shops()[static_cast<size_t>(index)]; }

    static DemoMarket* market;
};
DemoMarket* PageCrossCheckTest::market = nullptr;

void expectShopRow(const TDianBaseInfo& row, const Shop& s) {
    SCOPED_TRACE(s.nick);
    EXPECT_EQ(row.webaddr, s.webAddress());
    EXPECT_EQ(row.dianming, s.name);
    EXPECT_EQ(row.loc, s.mainBusiness);
    EXPECT_EQ(row.commodityNum, static_cast<int>(s.items.size()));
    EXPECT_EQ(row.dianzhu, s.nick);
    EXPECT_EQ(row.addr, s.location);
    EXPECT_EQ(row.salerCredit, s.sellerCredit);
    EXPECT_EQ(row.rateUrl, s.rateAddress());
}

TEST_F(PageCrossCheckTest, ShopSearchRowsAndTotalAreTheModelsShops) {
    const Shop& someone = shop(42);
    // Filters as the program writes them: the category id with the trailing double quote its table
    // holds, levels 1 to 14 ending in commas and 15 to 20 running on without.
    // Query columns: category id, location, keyword, in name, in nick, in business, levels, by credit.
    const std::pair<std::string, ShopQuery> searches[] = {
        {"&q=" + percentEncode(utf8ToGbk("店")) + "&soft=ratesum_desc",
         {"", "", "店", false, false, false, {}, true}},
        {"&q=" + percentEncode(utf8ToGbk(someone.nick)) + "&nick=nick&sort=default",
         {"", "", someone.nick, false, true, false, {}, false}},
        {"&cat=50011699%22&q=" + percentEncode(utf8ToGbk("运动")) + "&tag=tag&ratesum=3,6,14,1517",
         {"50011699", "", "运动", false, false, true, {3, 6, 14, 15, 17}, true}},
        {"&q=" + percentEncode(utf8ToGbk("會員")) + "&title=title",
         {"", "", "會員", true, false, false, {}, true}},
        {"&loc=" + percentEncode(utf8ToGbk("广东")), {"", "广东", "", false, false, false, {}, true}},
    };
    for (const auto& [params, query] : searches) {
        SCOPED_TRACE(params);
        const auto expected = model().findShops(query);
        ASSERT_FALSE(expected.empty());
        for (size_t offset = 0; offset < expected.size(); offset += 80) {
            const std::string page = get("http://shopsearch.taobao.com/browse/shop_search.htm?1=1" + params +
                                         "&n=80&s=" + std::to_string(offset) + "%20");
            EXPECT_EQ(TParseHtml::parseBracketCount(page), static_cast<int>(expected.size()));
            const auto rows = TParseHtml::parseShopList(page);
            ASSERT_EQ(rows.size(), std::min<size_t>(80, expected.size() - offset));
            EXPECT_EQ(rows.skippedRows(), 0u);
            for (size_t i = 0; i < rows.size(); ++i)
                expectShopRow(rows.record(i), *expected[offset + i]);
        }
    }
}

TEST_F(PageCrossCheckTest, ShopPagesGiveProfileRatingLinkAndUserId) {
    for (int index : {0, MarketModel::kNoRatingLinkShop, 2, 7, 57, 107, 157, 199, 319}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const TDianBaseInfo parsed = parseShopPage(get(s.webAddress()));
        EXPECT_EQ(parsed.rateUrl, s.hasRatingLink ? s.rateAddress() : "");
        EXPECT_EQ(parsed.userId, s.userId);
        EXPECT_EQ(parsed.dianzhu, s.nick);
        EXPECT_EQ(parsed.webaddr, s.webAddress());
        EXPECT_EQ(parsed.salerCredit, s.sellerCredit);
        EXPECT_EQ(parsed.buyerCredit, s.buyerCredit);
        EXPECT_EQ(parsed.favorite, s.favorite);
        EXPECT_EQ(parsed.createDate, s.createDate);
        EXPECT_EQ(parsed.commodityNum, static_cast<int>(s.items.size()));
        EXPECT_EQ(parsed.addr, s.location);
        EXPECT_EQ(parsed.loc, s.mainBusiness);
        EXPECT_EQ(parsed.firstPageUrl, s.webAddress() + "/");
    }
}

TEST_F(PageCrossCheckTest, ItemListPagesListEveryItemOfTheShop) {
    for (int index : {MarketModel::kBigRatingShop, 3}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const int pages = static_cast<int>((s.items.size() + 79) / 80);
        EXPECT_EQ(parseItemListPaging(get(s.webAddress())).pageCount, pages);
        size_t position = 0;
        for (int p = 0; p < pages; ++p) {
            const std::string page = get(itemListAddress(s, p * 80));
            const ItemListPaging paging = parseItemListPaging(page);
            EXPECT_EQ(paging.pageCount, pages);
            EXPECT_EQ(paging.total, static_cast<int>(s.items.size()));
            const auto rows = parseShopItemList(page);
            EXPECT_EQ(rows.skippedRows(), 0u);
            for (const auto& entry : rows) {
                ASSERT_LT(position, s.items.size());
                const Item& it = model().itemOf(s, static_cast<int>(position++));
                const TItemInfo& row = entry.record;
                EXPECT_EQ(row.itemUrl, it.address());
                EXPECT_EQ(row.itemTitle, it.title);
                EXPECT_EQ(row.place, it.location);
                EXPECT_EQ(row.price, money(it.price));
                EXPECT_EQ(row.dianzhu, s.nick);
                EXPECT_EQ(row.cell22, it.id);
                EXPECT_EQ(row.cell23, s.userId);
            }
        }
        EXPECT_EQ(position, s.items.size());
    }
}

void expectSale(const TAutionInfo& row, const Sale& sale) {
    SCOPED_TRACE(sale.tradeId);
    EXPECT_EQ(row.tradeId, sale.tradeId);
    EXPECT_EQ(row.buyerName, sale.buyerName);
    EXPECT_EQ(row.buyerId, sale.buyerId);
    EXPECT_EQ(row.itemTitle, sale.itemTitle);
    EXPECT_DOUBLE_EQ(row.amount, sale.price);
    EXPECT_DOUBLE_EQ(row.buyNum, sale.quantity);
    EXPECT_EQ(row.sj, sale.time);
    EXPECT_EQ(row.status, sale.status);
}

TEST_F(PageCrossCheckTest, ItemPagesAndTheirBuyerLists) {
    std::vector<const Item*> items;
    const Shop& odd = shop(MarketModel::kOddItemsShop);
    for (int k = 0; k < 4 && k < static_cast<int>(odd.items.size()); ++k)
        items.push_back(&model().itemOf(odd, k));
    items.push_back(&model().itemOf(shop(MarketModel::kBigRatingShop), 0)); // several buyer-list pages
    for (int index : {5, 40, 41, 300})
        items.push_back(&model().itemOf(shop(index), 0));
    for (const Item* it : items) {
        SCOPED_TRACE(it->id);
        const std::string page = get(it->address());
        const TItemBaseInfo parsed = TParseHtml::parseItemPage(page);
        EXPECT_EQ(parsed.itemId, it->hasItemId ? it->id : "000000000000000");
        EXPECT_EQ(parsed.itemTitle, it->title);
        EXPECT_EQ(parsed.curSale, it->curSale);
        EXPECT_EQ(parsed.monthSale, it->showsMonthSale ? it->monthSale : 0);
        EXPECT_EQ(parsed.favorite, it->favorite);
        EXPECT_EQ(parsed.addr, it->location);
        EXPECT_DOUBLE_EQ(parsed.curPrice, it->price);
        EXPECT_EQ(TParseHtml::parseShopEntry(page), shop(it->shopIndex).webAddress());
        const std::string buyers = TParseHtml::buyerListUrl(page);
        if (!it->hasBuyerList) {
            EXPECT_EQ(buyers, "");
            continue;
        }
        const int sold = TParseHtml::parseSoldTotal(page);
        EXPECT_EQ(sold, it->saleCount);
        const auto sales = model().sales(*it);
        size_t position = 0;
        for (int p = 1; p <= (sold + 79) / 80 + 1; ++p) {
            const auto rows = parseSaleList(get(buyers + std::to_string(p)));
            EXPECT_EQ(rows.skippedRows(), 0u);
            for (const auto& entry : rows) {
                ASSERT_LT(position, sales.size());
                expectSale(entry.record, sales[position++]);
            }
        }
        EXPECT_EQ(position, sales.size());
    }
}

TEST_F(PageCrossCheckTest, RatingSummaryPagesGiveTheCounters) {
    for (int index : {0, 1, 2, 9, 77, 250}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const TRateBaseInfo info = parseRateSummary(get(s.rateAddress()));
        const auto& sr = s.sellerRates;
        const auto& br = s.buyerRates;
        const std::array<std::array<int, 4>, 6> parsed = {{
            {info.salerGood1, info.salerGood2, info.salerGood3, info.salerGood4},
            {info.salerNotBad1, info.salerNotBad2, info.salerNotBad3, info.salerNotBad4},
            {info.salerBad1, info.salerBad2, info.salerBad3, info.salerBad4},
            {info.buyerGood1, info.buyerGood2, info.buyerGood3, info.buyerGood4},
            {info.buyerNotBad1, info.buyerNotBad2, info.buyerNotBad3, info.buyerNotBad4},
            {info.buyerBad1, info.buyerBad2, info.buyerBad3, info.buyerBad4},
        }};
        for (size_t g = 0; g < 3; ++g) {
            EXPECT_EQ(parsed[g], sr[g].period) << "seller grade " << g;
            EXPECT_EQ(parsed[g + 3], br[g].period) << "buyer grade " << g;
        }
        EXPECT_EQ(info.rateCount, s.ratingCount);
        EXPECT_EQ(info.salerCredit, s.sellerCredit);
        EXPECT_EQ(info.buyerCredit, s.buyerCredit);
        EXPECT_EQ(info.itemGoal, s.scores[0]);
        EXPECT_EQ(info.serviceGoal, s.scores[1]);
        EXPECT_EQ(info.consignGoal, s.scores[2]);
        EXPECT_DOUBLE_EQ(info.virtualGoal, s.virtualShare);
        EXPECT_DOUBLE_EQ(info.realGoal, s.realShare);
        EXPECT_DOUBLE_EQ(info.salerGoodRate, s.sellerGoodRate);
        EXPECT_DOUBLE_EQ(info.buyerGoodRate, s.buyerGoodRate);
    }
}

void expectRating(const std::string& listText, const TRateInfo& row, const Rating& r) {
    SCOPED_TRACE(r.tradeId);
    EXPECT_EQ(listText, r.time);
    EXPECT_EQ(row.pjsj, r.time);
    EXPECT_EQ(row.pj, gradeText(r.grade));
    EXPECT_EQ(row.pjInfo, r.comment);
    EXPECT_EQ(row.pjjs, r.explanation);
    EXPECT_EQ(row.pjName, r.raterName); // the page spells it in references
    EXPECT_EQ(row.itemTitle, r.itemTitle);
    EXPECT_EQ(row.tradeId, r.tradeId);
    EXPECT_DOUBLE_EQ(row.jg, r.price);
    EXPECT_EQ(row.counts, r.counts);
}

TEST_F(PageCrossCheckTest, RatingListPagesOnBothHosts) {
    const std::string& rowExpression = expression(Expression::RatingRow);
    const Shop& big = shop(MarketModel::kBigRatingShop);
    const auto ratings = model().ratings(big);
    const int last = model().ratingPageCount(big);
    for (int page : {1, 2, 99, 100, 101, last, last + 1}) {
        SCOPED_TRACE(page);
        std::string url = rateListAddress(big, page);
        // What the program does from page 100 on: the first 11 characters give way to the history host.
        if (page >= 100) url.replace(0, 11, "http://ratehis");
        const auto rows = TParseHtml::parseRateList(get(url), rowExpression);
        EXPECT_EQ(rows.skippedRows(), 0u);
        // The other host has no rows for this page, so a program that does not switch hosts reads none.
        std::string other = rateListAddress(big, page);
        if (page < 100) other.replace(0, 11, "http://ratehis");
        EXPECT_TRUE(TParseHtml::parseRateList(get(other), rowExpression).empty());
        const size_t begin = static_cast<size_t>(page - 1) * 20;
        ASSERT_EQ(rows.size(), begin < ratings.size() ? std::min<size_t>(20, ratings.size() - begin) : 0);
        for (size_t i = 0; i < rows.size(); ++i)
            expectRating(rows.text(i), rows.record(i), ratings[begin + i]);
    }
}

TEST_F(PageCrossCheckTest, ItemSearchBySalesWithPriceFilter) {
    const ItemQuery query{.words = "新款", .low = 20, .high = 1000, .location = ""};
    const auto expected = model().findItems(query);
    ASSERT_GT(expected.size(), 80u) << "two result pages";
    for (size_t offset = 0; offset < 160; offset += 80) {
        const std::string page = get(
            "http://s.taobao.com/search?sort=sale-desc&tab=coefp&q=" + percentEncode(utf8ToGbk(query.words)) +
            "&filter=reserve_price[20,1000]&loc=&&style=list&n=80&s=" + std::to_string(offset));
        EXPECT_EQ(parseItemSearchTotal(page), static_cast<int>(expected.size()));
        const auto rows = parseItemSearchList(page);
        EXPECT_EQ(rows.skippedRows(), 0u);
        ASSERT_EQ(rows.size(), std::min<size_t>(80, expected.size() - offset));
        for (size_t i = 0; i < rows.size(); ++i) {
            const Item& it = *expected[offset + i];
            const TItemInfo& row = rows.record(i);
            SCOPED_TRACE(it.id);
            EXPECT_EQ(row.itemUrl, it.address());
            EXPECT_EQ(row.itemTitle, it.title) << "highlight spans removed";
            EXPECT_EQ(row.place, it.location);
            EXPECT_EQ(row.price, money(it.price));
            EXPECT_EQ(row.shipping, money(it.shipping));
            EXPECT_EQ(row.dianzhu, shop(it.shopIndex).nick);
            EXPECT_EQ(row.cell22, std::to_string(it.monthSale));
        }
    }
}

TEST_F(PageCrossCheckTest, CategoryBrowsePagesRankTheMonthsBestSellers) {
    const std::string id = categoryBrowseCategories().front().id;
    const auto expected = model().categoryItems(id);
    ASSERT_GT(expected.size(), 80u) << "two pages";
    for (size_t offset = 0; offset < 160; offset += 80) {
        const auto rows = THTMLTools::parseItemList(
            get("http://list.taobao.com/browse/" + id +
                "/n-1----------------------0-false-----------------------------------------80--sale-desc-" +
                std::to_string(offset) + "-all-0.htm"),
            expression(Expression::CategoryItemRow));
        EXPECT_EQ(rows.skippedRows(), 0u);
        ASSERT_EQ(rows.size(), std::min<size_t>(80, expected.size() - offset));
        for (size_t i = 0; i < rows.size(); ++i) {
            const Item& it = *expected[offset + i];
            SCOPED_TRACE(it.id);
            TItemInfo want;
            want.itemUrl = it.address();
            want.itemTitle = it.title;
            want.place = it.location;
            want.price = money(it.price);
            want.shipping = money(it.shipping);
            want.dianzhu = shop(it.shopIndex).nick;
            want.cell22 = std::to_string(it.categorySale);
            want.cell23 = std::to_string(it.favorite);
            EXPECT_EQ(rows.record(i), want);
        }
    }
}

} // namespace
} // namespace vantor::demo
