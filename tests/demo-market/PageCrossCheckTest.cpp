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

#include <set>

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

// The fields a search row and a shop page both give, and the shop's values for them.
auto shopFields(const TDianBaseInfo& r) {
    return std::tie(r.webaddr, r.loc, r.commodityNum, r.dianzhu, r.addr, r.salerCredit);
}
auto shopFields(const Shop& s) {
    return std::tuple(s.webAddress(), s.mainBusiness, static_cast<int>(s.items.size()), s.nick, s.location,
                      s.sellerCredit);
}

// The row an item list shows of an item: its 30-day sales or `cell22`, and `cell23`.
TItemInfo itemRow(const Item& it, const std::string& seller, std::string cell22, std::string cell23 = "") {
    TItemInfo row;
    row.itemUrl = it.address();
    row.itemTitle = it.title; // highlight spans removed
    row.place = it.location;
    row.price = money(it.price);
    row.shipping = money(it.shipping);
    row.dianzhu = seller;
    row.cell22 = std::move(cell22);
    row.cell23 = std::move(cell23);
    return row;
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
            for (size_t i = 0; i < rows.size(); ++i) {
                const TDianBaseInfo& row = rows.record(i);
                const Shop& s = *expected[offset + i];
                EXPECT_EQ(shopFields(row), shopFields(s));
                EXPECT_EQ(std::tie(row.dianming, row.rateUrl), std::tuple(s.name, s.rateAddress()));
            }
        }
    }
}

TEST_F(PageCrossCheckTest, ShopPagesGiveProfileRatingLinkAndUserId) {
    for (int index : {0, MarketModel::kNoRatingLinkShop, 2, 7, 57, 107, 157, 199, 319}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const TDianBaseInfo p = parse::parseShopPage(get(s.webAddress()));
        EXPECT_EQ(std::tie(p.rateUrl, p.userId, p.buyerCredit, p.favorite, p.createDate, p.firstPageUrl),
                  std::tuple(s.hasRatingLink ? s.rateAddress() : "", s.userId, s.buyerCredit, s.favorite,
                             s.createDate, s.webAddress() + "/"));
        EXPECT_EQ(shopFields(p), shopFields(s));
    }
}

TEST_F(PageCrossCheckTest, ItemListPagesListEveryItemOfTheShop) {
    for (int index : {MarketModel::kBigRatingShop, 3}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const int pages = static_cast<int>((s.items.size() + 79) / 80);
        EXPECT_EQ(parse::parseItemListPaging(get(s.webAddress())).pageCount, pages);
        size_t position = 0;
        for (int p = 0; p < pages; ++p) {
            const std::string page = get(itemListAddress(s, p * 80));
            const parse::ItemListPaging paging = parse::parseItemListPaging(page);
            EXPECT_EQ(paging.pageCount, pages);
            EXPECT_EQ(paging.total, static_cast<int>(s.items.size()));
            const auto rows = parse::parseShopItemList(page);
            EXPECT_EQ(rows.skippedRows(), 0u);
            for (const auto& entry : rows) {
                ASSERT_LT(position, s.items.size());
                const Item& it = model().itemOf(s, static_cast<int>(position++));
                TItemInfo want = itemRow(it, s.nick, it.id, s.userId);
                want.shipping = "0"; // a shop's list shows none
                EXPECT_EQ(entry.record, want);
            }
        }
        EXPECT_EQ(position, s.items.size());
    }
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
        const TItemBaseInfo p = TParseHtml::parseItemPage(page);
        EXPECT_EQ(std::tie(p.itemId, p.itemTitle, p.curSale, p.monthSale, p.favorite, p.addr, p.curPrice),
                  std::tuple(it->hasItemId ? it->id : "000000000000000", it->title, it->curSale,
                             it->showsMonthSale ? it->monthSale : 0, it->favorite, it->location, it->price));
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
            const auto rows = parse::parseSaleList(get(buyers + std::to_string(p)));
            EXPECT_EQ(rows.skippedRows(), 0u);
            for (const auto& [text, r] : rows) {
                ASSERT_LT(position, sales.size());
                const Sale& sale = sales[position++];
                EXPECT_EQ(std::tie(r.tradeId, r.buyerName, r.buyerId, r.itemTitle, r.amount, r.buyNum, r.sj,
                                   r.status),
                          std::tuple(sale.tradeId, sale.buyerName, sale.buyerId, sale.itemTitle, sale.price,
                                     double(sale.quantity), sale.time, sale.status));
            }
        }
        EXPECT_EQ(position, sales.size());
    }
}

TEST_F(PageCrossCheckTest, RatingSummaryPagesGiveTheCounters) {
    for (int index : {0, 1, 2, 9, 77, 250}) {
        const Shop& s = shop(index);
        SCOPED_TRACE(s.nick);
        const TRateBaseInfo info = parse::parseRateSummary(get(s.rateAddress()));
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
        EXPECT_EQ(std::tie(info.rateCount, info.salerCredit, info.buyerCredit, info.itemGoal,
                           info.serviceGoal, info.consignGoal, info.virtualGoal, info.realGoal,
                           info.salerGoodRate, info.buyerGoodRate),
                  std::tie(s.ratingCount, s.sellerCredit, s.buyerCredit, s.scores[0], s.scores[1],
                           s.scores[2], s.virtualShare, s.realShare, s.sellerGoodRate, s.buyerGoodRate));
    }
}

TEST_F(PageCrossCheckTest, RatingListPagesOnBothHosts) {
    const std::string& rowExpression = parse::expression(parse::Expression::RatingRow);
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
        for (size_t i = 0; i < rows.size(); ++i) {
            const TRateInfo& row = rows.record(i);
            const Rating& r = ratings[begin + i];
            // The page spells the rater's name in references.
            EXPECT_EQ(std::tie(rows.text(i), row.pjsj, row.pj, row.pjInfo, row.pjjs, row.pjName,
                               row.itemTitle, row.tradeId, row.jg, row.counts),
                      std::tuple(r.time, r.time, gradeText(r.grade), r.comment, r.explanation, r.raterName,
                                 r.itemTitle, r.tradeId, r.price, r.counts));
        }
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
        EXPECT_EQ(parse::parseItemSearchTotal(page), static_cast<int>(expected.size()));
        const auto rows = parse::parseItemSearchList(page);
        EXPECT_EQ(rows.skippedRows(), 0u);
        ASSERT_EQ(rows.size(), std::min<size_t>(80, expected.size() - offset));
        for (size_t i = 0; i < rows.size(); ++i) {
            const Item& it = *expected[offset + i];
            EXPECT_EQ(rows.record(i), itemRow(it, shop(it.shopIndex).nick, std::to_string(it.monthSale)));
        }
    }
}

TEST_F(PageCrossCheckTest, CategoryBrowsePagesRankTheMonthsBestSellers) {
    const std::string id = market::categoryBrowseCategories().front().id;
    const auto expected = model().categoryItems(id);
    ASSERT_GT(expected.size(), 80u) << "two pages";
    for (size_t offset = 0; offset < 160; offset += 80) {
        const auto rows = THTMLTools::parseItemList(
            get("http://list.taobao.com/browse/" + id +
                "/n-1----------------------0-false-----------------------------------------80--sale-desc-" +
                std::to_string(offset) + "-all-0.htm"),
            parse::expression(parse::Expression::CategoryItemRow));
        EXPECT_EQ(rows.skippedRows(), 0u);
        ASSERT_EQ(rows.size(), std::min<size_t>(80, expected.size() - offset));
        for (size_t i = 0; i < rows.size(); ++i) {
            const Item& it = *expected[offset + i];
            EXPECT_EQ(rows.record(i), itemRow(it, shop(it.shopIndex).nick, std::to_string(it.categorySale),
                                              std::to_string(it.favorite)));
        }
    }
}

// The pages of one seed served for two days a week apart: the later market's pages show the week's
// changes of the lively shops, and each market's pages agree with its own model.
class PagesDayByDayTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        DemoMarketOptions options;
        options.seed = 5;
        options.today = {2026, 9, 20};
        first = new DemoMarket(options);
        options.today = {2026, 9, 27};
        second = new DemoMarket(options);
    }
    static void TearDownTestSuite() {
        delete first;
        delete second;
    }
    static test::Fetch fetch(const DemoMarket& market, const std::string& url) {
        return test::viaProxy(market.port(), url);
    }
    static std::string get(const DemoMarket& market, const std::string& url) {
        const auto got = fetch(market, url);
        EXPECT_EQ(got.status, 200) << url;
        return got.body;
    }
    // The ids the shop's item list pages show, in order.
    static std::vector<std::string> listedIds(const DemoMarket& market, const Shop& s) {
        std::vector<std::string> ids;
        const int pages = parse::parseItemListPaging(get(market, s.webAddress())).pageCount;
        for (int p = 0; p < pages; ++p)
            for (const auto& entry : parse::parseShopItemList(get(market, itemListAddress(s, p * 80)))) {
                ids.push_back(entry.record.cell22);
                const Item* it = market.model().itemById(entry.record.cell22);
                EXPECT_TRUE(it && entry.record.price == money(it->price)) << entry.record.cell22;
            }
        return ids;
    }

    static DemoMarket* first;
    static DemoMarket* second;
};
DemoMarket* PagesDayByDayTest::first = nullptr;
DemoMarket* PagesDayByDayTest::second = nullptr;

TEST_F(PagesDayByDayTest, ALivelyShopsPagesShowItsNewItemItsNewPriceItsSalesAndItsBadRating) {
    const std::string firstNow = formatDateTime(first->model().calendar().now);
    for (int index : {5, 9, 13}) {
        const Shop& s1 = first->model().shops()[size_t(index)];
        const Shop& s2 = second->model().shops()[size_t(index)];
        SCOPED_TRACE(s2.nick);
        ASSERT_TRUE(s2.lively);

        // The item lists: the new item in place of the withdrawn one, whose pages are gone.
        const auto before = listedIds(*first, s1);
        const auto after = listedIds(*second, s2);
        const Item& gone = first->model().itemOf(s1, 3);
        const Item& added = second->model().itemOf(s2, 3);
        EXPECT_NE(std::find(before.begin(), before.end(), gone.id), before.end());
        EXPECT_EQ(std::find(after.begin(), after.end(), gone.id), after.end());
        EXPECT_EQ(std::find(before.begin(), before.end(), added.id), before.end());
        EXPECT_NE(std::find(after.begin(), after.end(), added.id), after.end());
        EXPECT_EQ(after.size(), s2.items.size());
        EXPECT_EQ(fetch(*first, gone.address()).status, 200);
        EXPECT_EQ(fetch(*second, gone.address()).status, 404);
        EXPECT_EQ(fetch(*second, buyerListParams(first->model(), gone) + "&bid_page=1").status, 404);

        // Item 1's page at the new price.
        const Item& item = second->model().itemOf(s2, 1);
        const double oldPrice = first->model().itemOf(s1, 1).price;
        EXPECT_EQ(TParseHtml::parseItemPage(get(*second, item.address())).curPrice, item.price);
        EXPECT_NE(item.price, oldPrice);
        EXPECT_EQ(TParseHtml::parseItemPage(get(*first, item.address())).curPrice, oldPrice);

        // The last item, which sells every day: the week's sales on its buyer list, and every sale at
        // the price of its day.
        const Item& last = second->model().itemOf(s2, static_cast<int>(s2.items.size()) - 1);
        const std::string page = get(*second, last.address());
        const std::string buyers = TParseHtml::buyerListUrl(page);
        std::set<std::string> weekDays;
        std::set<double> prices;
        for (int p = 1; p <= (TParseHtml::parseSoldTotal(page) + 79) / 80; ++p)
            for (const auto& [text, r] : parse::parseSaleList(get(*second, buyers + std::to_string(p)))) {
                if (r.sj > firstNow) weekDays.insert(r.sj.substr(0, 10));
                const std::int64_t day =
                    daysFromCivil({std::stoi(r.sj.substr(0, 4)), std::stoi(r.sj.substr(5, 2)),
                                   std::stoi(r.sj.substr(8, 2))});
                EXPECT_TRUE(r.amount == last.priceOn(day) || r.amount == last.secondPriceOn(day)) << r.sj;
                prices.insert(r.amount);
            }
        EXPECT_GE(weekDays.size(), 7u);
        EXPECT_GT(prices.size(), 1u) << "prices changed in two years";

        // The week's 中评 or 差评 on the rating pages, and the credit of the day on the summary.
        const std::string& rowExpression = parse::expression(parse::Expression::RatingRow);
        bool bad = false, older = false;
        for (int p = 1; !older && p <= second->model().ratingPageCount(s2); ++p)
            for (const auto& [text, row] :
                 TParseHtml::parseRateList(get(*second, rateListAddress(s2, p)), rowExpression)) {
                older = older || row.pjsj <= firstNow;
                bad = bad || (row.pjsj > firstNow && row.pj != gradeText(Grade::Good) && !row.pjInfo.empty());
            }
        EXPECT_TRUE(bad);
        EXPECT_EQ(parse::parseRateSummary(get(*second, s2.rateAddress())).salerCredit, s2.sellerCredit);
        EXPECT_EQ(parse::parseRateSummary(get(*first, s1.rateAddress())).salerCredit, s1.sellerCredit);
    }
}

} // namespace
} // namespace vantor::demo
